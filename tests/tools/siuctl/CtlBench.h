#pragma once
// The real siuctl and library (with Log.so and the example configuration in a
// directory of their own) against the real siusim running the example board.

#include "support/TestSupport.h"
#include "tools/siusim/SimHarness.h"

#include <spawn.h>

#include <filesystem>
#include <stdexcept>

namespace ctltest {

using namespace std::chrono_literals;
using Args = std::vector<std::string>;

// siuctl's timestamps, as a regular expression
const std::string kTime = R"(\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3})";

inline Args operator+(Args a, const Args& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

// A child writing to files; ended (SIGTERM) and reaped at destruction.
class Process {
public:
    Process(Args argv, const std::string& outFile, const std::string& errFile) {
        std::vector<char*> p;
        for (std::string& s : argv) p.push_back(s.data());
        p.push_back(nullptr);
        posix_spawn_file_actions_t fa;
        posix_spawn_file_actions_init(&fa);
        posix_spawn_file_actions_addopen(&fa, 0, "/dev/null", O_RDONLY, 0);
        posix_spawn_file_actions_addopen(&fa, 1, outFile.c_str(), O_WRONLY | O_CREAT, 0644);
        posix_spawn_file_actions_addopen(&fa, 2, errFile.c_str(), O_WRONLY | O_CREAT, 0644);
        const int rc = posix_spawn(&pid, p[0], &fa, nullptr, p.data(), environ);
        posix_spawn_file_actions_destroy(&fa);
        if (rc != 0) throw std::runtime_error("cannot start " + argv[0]);
    }
    ~Process() {
        signal(SIGTERM);
        if (wait(5s) < 0) signal(SIGKILL);
        wait(5s);
    }
    void signal(int sig) const {
        if (pid > 0) kill(pid, sig);
    }
    // The exit status, 128 + the signal that ended it, or -1 while it runs.
    int wait(std::chrono::milliseconds timeout) {
        int st = 0;
        if (pid > 0 &&
            siutest::waitFor([&] { return waitpid(pid, &st, WNOHANG) == pid; }, timeout)) {
            pid = 0;
            status = WIFEXITED(st) ? WEXITSTATUS(st) : 128 + WTERMSIG(st);
        }
        return status;
    }

private:
    pid_t pid = -1;
    int status = -1;
};

struct Result {
    int status;
    std::string out, err;
};

inline Result run(const Args& argv) {
    siutest::TempDir d;
    const int status = Process(argv, d.file("out"), d.file("err")).wait(30s);
    return {status, siutest::readWholeFile(d.file("out")), siutest::readWholeFile(d.file("err"))};
}

struct Bench {
    Bench() {
        for (const std::string& d : {logs, dir}) std::filesystem::create_directories(d);
        std::filesystem::copy_file(SIU_LIBRARY, dir + "/libNorvaSensorBoard.so.1");
        std::filesystem::copy_file(LOGSO_PATH, dir + "/Log.so");
        configure(board.link());
    }
    // The example configuration, with DevicePort port and LogPath logs.
    void configure(const std::string& port) const {
        std::string ini = siutest::readWholeFile(SIU_SOURCE_DIR "/examples/NorvaSensorBoard.ini");
        ini = std::regex_replace(ini, std::regex("\nDevicePort = .*"), "\nDevicePort = " + port);
        ini = std::regex_replace(ini, std::regex("\nLogPath = .*"), "\nLogPath = " + logs);
        tmp.write("run/NorvaSensorBoard.ini", ini);
    }
    Args ctl(const Args& args) const { return Args{SIUCTL_EXE, "--lib", dir} + args; }
    Result siuctl(const Args& args) const { return run(ctl(args)); }
    // The simulator's one-line answer to the control command, which must be OK.
    std::string sim(const Args& words) const {
        std::string command = words[0];
        for (size_t i = 1; i < words.size(); ++i) command += " " + words[i];
        const std::string answer = board.control(command);
        EXPECT_EQ("OK", answer.substr(0, 2)) << command << ": " << answer;
        return answer;
    }

    siutest::TempDir tmp;
    std::string dir = tmp.file("run");
    std::string logs = tmp.file("logs");
    simtest::Sim board{simtest::Wire::Direct, {"--board", SIU_SOURCE_DIR "/examples/siusim-board.ini"}};
};

}  // namespace ctltest
