#pragma once
// A pseudo-terminal standing in for the serial line: the port under test
// opens the slave by its path, the test plays the board on the master and
// reads the slave's settings back through its own slave descriptor.

#include <poll.h>
#include <pty.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <stdexcept>
#include <string>

#include "libuart/uart.h"

namespace siutest {

class PtyLine {
public:
    PtyLine() {
        const char* name = nullptr;
        if (openpty(&master_, &slave_, nullptr, nullptr, nullptr) != 0 ||
            (name = ttyname(slave_)) == nullptr)
            throw std::runtime_error("no pty");
        path_ = name;
    }
    ~PtyLine() {
        closeMaster();
        close(slave_);
    }
    PtyLine(const PtyLine&) = delete;
    PtyLine& operator=(const PtyLine&) = delete;

    char* path() { return path_.data(); }
    int slave() const { return slave_; }

    termios settings() const {
        termios tio{};
        tcgetattr(slave_, &tio);
        return tio;
    }

    // What the board sends.
    void send(const std::string& bytes) const {
        if (write(master_, bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size()))
            throw std::runtime_error("write to master failed");
    }

    // What the board received: up to n bytes, waiting at most timeoutMs for each piece.
    std::string receive(size_t n, int timeoutMs = 5000) const {
        std::string got;
        char buf[4096];
        pollfd p{master_, POLLIN, 0};
        while (got.size() < n && poll(&p, 1, timeoutMs) == 1) {
            ssize_t r = read(master_, buf, std::min(sizeof buf, n - got.size()));
            if (r <= 0) break;
            got.append(buf, static_cast<size_t>(r));
        }
        return got;
    }

    // True once the slave has input waiting (without consuming it).
    bool inputPending(int timeoutMs = 5000) const {
        pollfd p{slave_, POLLIN, 0};
        return poll(&p, 1, timeoutMs) == 1;
    }

    void closeMaster() {
        if (master_ >= 0) close(master_);
        master_ = -1;
    }

    // A 9600 8N1 line without flow control on this pty.
    uart_config_s config(int baud = 9600, int dataBits = 8, parity_e parity = PARITY_NONE,
                         int stopBits = 1, int flow = FLOW_CONTROL_NONE) {
        uart_config_s cfg{};
        cfg.device = path();
        cfg.baud_rate = baud;
        cfg.data_bits = dataBits;
        cfg.stop_bits = stopBits;
        cfg.parity = parity;
        cfg.flow_control = static_cast<flow_control_e>(flow);
        cfg.rx_timeout = 20;
        cfg.tx_timeout = 20;
        return cfg;
    }

private:
    int master_ = -1;
    int slave_ = -1;
    std::string path_;
};

}  // namespace siutest
