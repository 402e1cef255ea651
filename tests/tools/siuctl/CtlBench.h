#pragma once
// The real siuctl and library (with Log.so and the example configuration in a
// directory of their own) against the real siusim running the example board.

#include "support/TestSupport.h"
#include "tools/siusim/SimHarness.h"

#include <filesystem>

namespace ctltest {

using namespace std::chrono_literals;
using siutest::Args;
using siutest::Process;
using siutest::Result;
using siutest::run;
using siutest::operator+;

// siuctl's timestamps, as a regular expression
const std::string kTime = R"(\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3})";

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
