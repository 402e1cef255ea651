#pragma once
// A port that plays a scripted board, for byte sequences and port failures
// the simulator cannot produce, and a transport driving its exchanges over
// a given port with the line time-outs and pacing a test chooses.

#include <deque>
#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

#include "libuart/comm_base.h"
#include "libuart/comm_uart.h"
#include "transport/TransportProtocol.h"

namespace siutest {

class ScriptedPort : public CommBase {
public:
    // Read script entries: 0..255 a byte, SILENCE an empty read, anything
    // negative a result code returned as it stands. An exhausted script is
    // silence.
    static constexpr int SILENCE = 0x100;

    int Read(unsigned char* data, int len) override {
        ++readCalls;
        if (reads.empty() || len < 1) return 0;
        int entry = reads.front();
        reads.pop_front();
        if (entry == SILENCE) return 0;
        if (entry < 0) return entry;
        data[0] = static_cast<unsigned char>(entry);
        return 1;
    }
    int Write(const unsigned char* data, int len) override {
        writes.emplace_back(data, data + len);
        if (writeResults.empty()) return len;
        int result = writeResults.front();
        writeResults.pop_front();
        return result;
    }
    int Flush(unsigned char) override { return 0; }

    std::deque<int> reads;
    std::deque<int> writeResults;  // one per Write; none scripted: the whole length
    std::vector<std::string> writes;
    int readCalls = 0;
};

class LinkUnderTest : public TransportProtocol {
public:
    explicit LinkUnderTest(std::unique_ptr<CommBase> port, int rxTimeoutMs = 1000,
                           int txTimeoutMs = 1000, Log* logger = nullptr)
        : TransportProtocol(logger, uart_config_s{}, std::move(port)) {
        uart_config.rx_timeout = rxTimeoutMs;
        uart_config.tx_timeout = txTimeoutMs;
        setInterval(0);
    }
    void setInterval(uint64_t ms) {
        bIntervalSetted = true;
        intervalBetweenCommands = ms;
    }
    void useDefaultInterval() { bIntervalSetted = false; }
    // Opens device 8N1 as the port, which must be an unopened CommUart.
    int openSerial(const std::string& device, int baud, int flowControl = FLOW_CONTROL_NONE) {
        devicePath = device;
        uart_config = {&devicePath[0], baud, 8, 1, PARITY_NONE, static_cast<flow_control_e>(flowControl),
                       uart_config.rx_timeout, uart_config.tx_timeout, 0, 0};
        return comm->Open(&uart_config);
    }
    // One exchange of command by either framing; what was handed over (with
    // the RS-485 terminator) replaces *reply.
    int exchange(bool rs485, std::string command, std::string* reply = nullptr) {
        unsigned char* data = reinterpret_cast<unsigned char*>(&command[0]);
        int size = static_cast<int>(command.size());
        unsigned char* got = nullptr;
        int gotLen = 0;
        int rc = rs485 ? protocolNorva485(0, data, size, &got, &gotLen)
                       : protocolNorvaDireto(0, data, size, &got, &gotLen);
        if (reply != nullptr) {
            reply->clear();
            if (got != nullptr) reply->assign(got, got + gotLen + (rs485 ? 1 : 0));
        }
        delete[] got;
        return rc;
    }

private:
    std::string devicePath;
};

// Read script entries, from a list of them or from the bytes of a text.
struct Script : std::vector<int> {
    Script(std::initializer_list<int> entries) : std::vector<int>(entries) {}
    Script(const std::string& bytes) : std::vector<int>(bytes.begin(), bytes.end()) {
        for (int& b : *this) b &= 0xff;
    }
};

// A transport over a fresh scripted port that reads script.
struct ScriptedLink {
    explicit ScriptedLink(const Script& script = {}, int rxTimeoutMs = 1000, int txTimeoutMs = 1000)
        : port(new ScriptedPort), link(std::unique_ptr<CommBase>(port), rxTimeoutMs, txTimeoutMs) {
        port->reads.assign(script.begin(), script.end());
    }
    ScriptedPort* port;  // owned by link
    LinkUnderTest link;
};

}  // namespace siutest
