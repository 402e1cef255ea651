#pragma once
// A port that plays a scripted board, for byte sequences and port failures
// that the simulator cannot produce. Each Read takes the next entry of the
// script; each Write is recorded and answered as scripted.

#include <cstdint>
#include <deque>
#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

#include "common/Utils.h"
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

    void answer(std::initializer_list<int> entries) { reads.insert(reads.end(), entries); }
    void answer(const std::string& bytes) {
        for (unsigned char b : bytes) reads.push_back(b);
    }

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
        writeTicks.push_back(GetMonotonicTickMs());
        if (writeResults.empty()) return len;
        int result = writeResults.front();
        writeResults.pop_front();
        return result;
    }
    int Flush(unsigned char flags) override {
        flushes.push_back(flags);
        return 0;
    }

    std::deque<int> reads;
    std::deque<int> writeResults;  // one per Write; none scripted: the whole length
    std::vector<std::string> writes;
    std::vector<uint64_t> writeTicks;  // monotonic ms of each Write
    std::vector<unsigned char> flushes;
    int readCalls = 0;
};

// A transport driving its exchanges over a given port, with the line
// time-outs and pacing a test chooses.
class LinkUnderTest : public TransportProtocol {
public:
    explicit LinkUnderTest(std::unique_ptr<CommBase> port, int rxTimeoutMs = 1000,
                           int txTimeoutMs = 1000, Log* logger = nullptr)
        : TransportProtocol(logger, lineConfig(rxTimeoutMs, txTimeoutMs), std::move(port)) {
        setInterval(0);
    }
    void setInterval(uint64_t ms) {
        bIntervalSetted = true;
        intervalBetweenCommands = ms;
    }
    void useDefaultInterval() { bIntervalSetted = false; }
    // Opens device 8N1 at baud as the port of this transport, which must be
    // an unopened CommUart; the port's result.
    int openSerial(const std::string& device, int baud) {
        devicePath = device;
        uart_config.device = &devicePath[0];
        uart_config.baud_rate = baud;
        uart_config.data_bits = 8;
        uart_config.stop_bits = 1;
        return comm->Open(&uart_config);
    }
    uart_config_s& line() { return uart_config; }
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
    CommBase* port() { return comm.get(); }

private:
    std::string devicePath;
    static uart_config_s lineConfig(int rxTimeoutMs, int txTimeoutMs) {
        uart_config_s c{};
        c.rx_timeout = rxTimeoutMs;
        c.tx_timeout = txTimeoutMs;
        return c;
    }
};

// A transport over a fresh scripted port.
struct ScriptedLink {
    explicit ScriptedLink(int rxTimeoutMs = 1000, int txTimeoutMs = 1000)
        : port(new ScriptedPort), link(std::unique_ptr<CommBase>(port), rxTimeoutMs, txTimeoutMs) {}
    ScriptedPort* port;  // owned by link
    LinkUnderTest link;
};

}  // namespace siutest
