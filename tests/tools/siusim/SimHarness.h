#pragma once
// Runs siusim as a child process and plays the host on its line. The frames
// here are built by hand, independently of the simulator and of the library,
// and are themselves pinned to literal bytes in the framing tests.

#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

namespace simtest {

using Bytes = std::vector<uint8_t>;
using namespace std::chrono_literals;

enum class Wire { Direct, Rs485 };

// Names the protocol in parameterised test names.
std::string wireName(const ::testing::TestParamInfo<Wire>& info);

Bytes hostFrame(Wire w, const std::string& command);
// What a correct board sends back: ACK and the response frame for data.
Bytes boardAnswer(Wire w, const std::string& data);
std::string hex(const Bytes& b);

class Sim {
public:
    // Starts siusim --link <link> plus extra (the link defaults to a fresh
    // temporary path); waits until it answers and opens the line as the host
    // would.
    explicit Sim(Wire w = Wire::Direct, std::vector<std::string> extra = {},
                 const std::string& link = "");
    ~Sim();
    Sim(const Sim&) = delete;
    Sim& operator=(const Sim&) = delete;

    const std::string& link() const { return linkPath; }
    const siutest::TempDir& dir() const { return tmp; }
    pid_t pid() const { return child; }
    int fd() const { return lineFd; }

    // One control command over the socket; its one-line answer.
    std::string control(const std::string& line) const;

    // One field of the "outputs" control answer (leds, buzzer, key, motion).
    std::string output(const std::string& name) const;

    void reopenLine();
    void send(const Bytes& b) const;
    // Reads until n bytes have come or the timeout passes.
    Bytes receive(size_t n, std::chrono::milliseconds timeout = 2s) const;
    // Sends the command framed and reads as many bytes as expected holds.
    Bytes ask(const std::string& command, const Bytes& expected) const;
    // Sends the command and the host's final ACK; the reply data must match.
    void expectReply(const std::string& command, const std::string& data) const;

    // Waits (bounded) for the process to end; its exit status or -1.
    int waitExit(std::chrono::milliseconds timeout = 5s);

private:
    siutest::TempDir tmp;
    std::string linkPath;
    Wire protocol;
    pid_t child = -1;
    int lineFd = -1;
};

// Runs siusim with the arguments to its end; exit status and output.
struct Outcome {
    int status;
    std::string out;
};
Outcome runSiusim(const std::vector<std::string>& args);

}  // namespace simtest
