#pragma once
// A pseudo-terminal standing in for the serial line: the port under test opens
// the slave by its path, the test plays the board on the master and reads the
// line settings back through its own slave descriptor.

#include <poll.h>
#include <pty.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <stdexcept>

#include "libuart/uart.h"
#include "support/TestSupport.h"

namespace siutest {

class PtyLine {
public:
    PtyLine() {
        if (openpty(&masterFd, &slave, nullptr, nullptr, nullptr) != 0)
            throw std::runtime_error("pty");
        slavePath = ttyname(slave);
    }
    ~PtyLine() {
        closeMaster();
        close(slave);
    }

    char* path() { return slavePath.data(); }
    termios settings() const {
        termios tio{};  // zeroed, so that two readings compare bytewise
        tcgetattr(slave, &tio);
        return tio;
    }
    void send(const std::string& bytes) const {
        if (write(masterFd, bytes.data(), bytes.size()) < 0) throw std::runtime_error("pty write");
    }
    // What the board received: up to n bytes, waiting at most timeoutMs for each piece.
    std::string receive(size_t n, int timeoutMs = 5000) const {
        std::string got;
        char buf[4096];
        for (pollfd p{masterFd, POLLIN, 0}; got.size() < n && poll(&p, 1, timeoutMs) == 1;) {
            ssize_t r = read(masterFd, buf, std::min(sizeof buf, n - got.size()));
            if (r <= 0) break;
            got.append(buf, static_cast<size_t>(r));
        }
        return got;
    }
    // True once the slave has input waiting, which stays unread.
    bool inputPending(int timeoutMs = 5000) const {
        pollfd p{slave, POLLIN, 0};
        return poll(&p, 1, timeoutMs) == 1;
    }
    // Sends XOFF or XON and waits until the line has taken it (stopped or
    // started taking output), before a flush of the input could discard it.
    bool flow(const char* byte, bool writable) const {
        send(byte);
        return waitFor([&] {
            pollfd p{slave, POLLOUT, 0};
            return poll(&p, 1, 0) == (writable ? 1 : 0);
        });
    }
    void closeMaster() {
        if (masterFd >= 0) close(masterFd);
        masterFd = -1;
    }
    uart_config_s config(int baud = 9600, int bits = 8, parity_e parity = PARITY_NONE, int stop = 1,
                         int flow = FLOW_CONTROL_NONE) {
        return {path(), baud, bits, stop, parity, static_cast<flow_control_e>(flow), 20, 20, 0, 0};
    }

    int slave = -1;

private:
    int masterFd = -1;
    std::string slavePath;
};

}  // namespace siutest
