// What a technician sees when the service cannot be used: the result code's
// name, a hint, nothing on standard output, and exit status 1.

#include "CtlBench.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdio>

namespace ctltest {
namespace {

void expectExplained(const Result& r, const std::string& what, const std::string& hint) {
    EXPECT_EQ(1, r.status) << r.err;
    const std::string expected = "siuctl: " + what + "\nsiuctl: hint: " + hint;
    // The serial driver's own diagnostics may come first on standard error.
    EXPECT_NE(std::string::npos, r.err.find(expected)) << r.err;
    EXPECT_EQ("", r.out);
}

TEST(SiuctlErrors, MissingConfigurationFileSaysWhereTheLibraryLooksForIt) {
    struct stat st {};
    if (stat("/Norva/NorvaAPI/NorvaSensorBoard.ini", &st) == 0)
        GTEST_SKIP() << "this machine has a configuration in /Norva/NorvaAPI/";
    Bench b;
    std::remove((b.runDir() + "/NorvaSensorBoard.ini").c_str());
    expectExplained(b.siuctl({"status"}),
                    "opening service SIU: ERR_CFG_INI_FILE_NOT_FOUND (-20003)",
                    "configuration file not found: the library reads "
                    "/Norva/NorvaAPI/NorvaSensorBoard.ini, else NorvaSensorBoard.ini beside " +
                        b.runDir() + "/libNorvaSensorBoard.so.1");
}

TEST(SiuctlErrors, ServiceWithoutASectionIsExplained) {
    Bench b;
    expectExplained(b.siuctl({"-s", "NOPE", "info"}),
                    "opening service NOPE: ERR_CFG_INVALID_SERVICE_NAME (-20001)",
                    "the configuration file has no section [NOPE]; name the service with -s");
}

TEST(SiuctlErrors, PortThatCannotBeOpenedIsExplained) {
    Bench b;
    b.configure({{"DevicePort", b.dir().file("no-such-device")}});
    expectExplained(b.siuctl({"status"}), "opening service SIU: ERR_SER_OPEN_FAILED (-40003)",
                    "port could not be opened: check DevicePort in section [SIU]");
}

TEST(SiuctlErrors, SilentBoardIsExplained) {
    Bench b;
    b.sim({"fault", "silent", "100"});
    expectExplained(b.siuctl({"status"}), "opening service SIU: ERR_SER_TIMEOUT (-40012)",
                    "board did not answer: check its power and cable");
}

TEST(SiuctlErrors, UnconfiguredIndicatorIsExplainedAndTheBoardLeftAlone) {
    Bench b;
    expectExplained(b.siuctl({"indicator", "INDICATOR_OPERATOR", "on"}),
                    "INDICATOR_OPERATOR on: ERR_CFG_INVALID_VALUE (-20006)",
                    "not configured: INDICATOR_OPERATOR needs a section "
                    "[SIU.NORVA_SIU_INDICATOR_OPERATOR] with command_position");
    EXPECT_EQ(std::string(20, '0'), b.output("leds"));
}

}  // namespace
}  // namespace ctltest
