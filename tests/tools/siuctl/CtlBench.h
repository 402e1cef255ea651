#pragma once
// Runs the real siuctl against the real library, copied with Log.so and the
// example configuration into a directory of its own, and the real siusim with
// the example board file on a pseudo-terminal.

#include "support/TestSupport.h"

#include <sys/types.h>

#include <chrono>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace ctltest {

using namespace std::chrono_literals;
using Args = std::vector<std::string>;

struct Result {
    int status;  // exit status, 128 + signal, or -1 when it did not end in time
    std::string out;
    std::string err;
};

// A child process writing to files; ended and reaped at destruction.
class Process {
public:
    Process(const Args& argv, const std::string& outFile, const std::string& errFile,
            const Args& extraEnv = {});
    ~Process();
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;

    void signal(int sig) const;
    bool ended();  // reaps it
    // Exit status as in Result, -1 when it did not end within timeout.
    int wait(std::chrono::milliseconds timeout);

private:
    pid_t pid = -1;
    int status = -1;
};

Result run(const Args& argv, const Args& extraEnv = {});

// jq's output (raw) for filter applied to json, which must be exactly one
// JSON value.
std::string jq(const std::string& filter, const std::string& json);

class Bench {
public:
    Bench();
    ~Bench();

    const std::string& runDir() const { return run; }
    const siutest::TempDir& dir() const { return tmp; }

    // Installs the example configuration with the values of the keys named
    // replaced; DevicePort is the simulator's link and LogPath a directory of
    // the bench unless named.
    void configure(const std::map<std::string, std::string>& keys = {}) const;

    Args siuctlArgv(const Args& args) const;  // siuctl --lib <run dir> args...
    Result siuctl(const Args& args) const;
    // siusim --control <link> words...; the test fails unless it answers OK.
    std::string sim(const Args& words) const;
    // One field of the simulator's "outputs" (leds, buzzer, key, motion).
    std::string output(const std::string& field) const;
    std::string logs() const;

private:
    siutest::TempDir tmp;
    std::string run;
    std::string line;
    std::unique_ptr<Process> simulator;
};

}  // namespace ctltest
