#pragma once
// Runs siusim as a child process and plays the host on its line. The frames
// here are built by hand, independently of the simulator and of the library,
// and are themselves pinned to literal bytes in the framing tests.

#include <gtest/gtest.h>
#include <poll.h>

#include <regex>
#include <sstream>

#include "support/TestSupport.h"

namespace simtest {

using Bytes = std::vector<uint8_t>;
using siutest::operator+;
using namespace std::chrono_literals;

enum class Wire { Direct, Rs485 };
// The protocol's name in parameterised test names.
inline std::string wireName(const ::testing::TestParamInfo<Wire>& info) {
    return info.param == Wire::Direct ? "direto" : "rs485";
}

inline std::string hex(const Bytes& b) {
    std::string out;
    char buf[4];
    for (uint8_t c : b) out += (std::snprintf(buf, sizeof buf, "%02X ", c), buf);
    return out;
}

// head, data, ETX and the XOR of all of them; the board puts an ACK before.
inline Bytes framed(Bytes head, const std::string& data, bool ack = false) {
    head.insert(head.end(), data.begin(), data.end());
    head.push_back(0x03);
    uint8_t x = 0;
    for (uint8_t c : head) x ^= c;
    head.push_back(x);
    if (ack) head.insert(head.begin(), 0x06);
    return head;
}
inline Bytes hostFrame(Wire w, const std::string& command) {
    return framed(w == Wire::Direct ? Bytes{0x02} : Bytes{0x04, 0x48, 0x29, 0x02}, command);
}
inline Bytes boardAnswer(Wire w, const std::string& data) {
    return framed(w == Wire::Direct ? Bytes{0x02} : Bytes{0x01, 0x48, 0x29, 0x30}, data, true);
}

// Runs siusim with the words (split at blanks) to its end: exit status and
// what it wrote to stderr and stdout.
inline std::pair<int, std::string> runSiusim(const std::string& words) {
    siutest::Args argv{SIUSIM_EXE};
    std::istringstream in(words);
    for (std::string w; in >> w;) argv.push_back(w);
    const siutest::Result r = siutest::run(argv);
    return {r.status, r.err + r.out};
}

// A running simulator: siusim --link <link> plus extra (the link a fresh
// temporary path by default), with the line opened as the host opens it.
struct Sim {
    explicit Sim(Wire w = Wire::Direct, const siutest::Args& extra = {}, const std::string& at = "")
        : linkPath(at.empty() ? tmp.file("line") : at),
          wire(w),
          process(siutest::Args{SIUSIM_EXE, "--link", linkPath, "--protocol",
                                w == Wire::Direct ? "direto" : "485"} + extra,
                  tmp.file("out"), tmp.file("err")) {
        if (!siutest::waitFor([&] { return control("ping") == "OK"; }))
            ADD_FAILURE() << "no siusim: " << siutest::readWholeFile(tmp.file("err"));
        fd = open(linkPath.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
        EXPECT_GE(fd, 0) << linkPath;
    }
    ~Sim() {
        if (fd >= 0) close(fd);
    }

    // One control command through siusim --control: its one-line answer.
    std::string control(const std::string& line) const {
        const std::string out = siutest::run({SIUSIM_EXE, "--control", linkPath, line}).out;
        return out.substr(0, out.find('\n'));
    }
    // One field of the "outputs" answer (leds, buzzer, key, motion).
    std::string output(const std::string& name) const {
        std::smatch m;
        const std::string all = control("outputs");
        return std::regex_search(all, m, std::regex(" " + name + "=(\\S*)")) ? m[1].str() : "?";
    }
    const std::string& link() const { return linkPath; }

    void send(const Bytes& b) const {
        EXPECT_EQ(static_cast<ssize_t>(b.size()), write(fd, b.data(), b.size()));
    }
    // Up to n bytes, waiting at most timeoutMs for each piece.
    Bytes receive(size_t n, int timeoutMs = 2000) const {
        Bytes got;
        uint8_t buf[256];
        pollfd p{fd, POLLIN, 0};
        while (got.size() < n && poll(&p, 1, timeoutMs) == 1) {
            const ssize_t r = read(fd, buf, std::min(sizeof buf, n - got.size()));
            if (r <= 0) break;
            got.insert(got.end(), buf, buf + r);
        }
        return got;
    }
    Bytes ask(const std::string& command, size_t n) const {
        send(hostFrame(wire, command));
        return receive(n);
    }
    // Sends the command, expects the board's answer with the reply data (a
    // NACK for nullptr) and ends the exchange with the host's ACK.
    void expectReply(const std::string& command, const char* data) const {
        // An RS-485 output command ends at the board's ACK.
        const Bytes answer = data == nullptr                            ? Bytes{0x15}
                             : wire == Wire::Rs485 && command[0] == 'L' ? Bytes{0x06}
                                                                        : boardAnswer(wire, data);
        EXPECT_EQ(hex(answer), hex(ask(command, answer.size()))) << command;
        if (answer.size() > 1) send({0x06});
    }

    siutest::TempDir tmp;
    const std::string linkPath;
    const Wire wire;
    siutest::Process process;
    int fd = -1;
};

}  // namespace simtest
