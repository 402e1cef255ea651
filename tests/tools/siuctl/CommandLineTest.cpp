// The command line is checked before the library is loaded: with a library
// path that does not exist, a command line that passes the checks ends in the
// loading error (3), one that does not in a usage error (2).

#include "CtlBench.h"

#include <gtest/gtest.h>

namespace ctltest {
namespace {

Result withoutLibrary(const Args& args) {
    Args argv = {SIUCTL_EXE, "--lib", "/nonexistent/siuctl-test"};
    argv.insert(argv.end(), args.begin(), args.end());
    return run(argv);
}

TEST(SiuctlCommandLine, HelpDocumentsEveryCommandAndExitsZero) {
    const Result r = run({SIUCTL_EXE, "--help"});
    EXPECT_EQ(0, r.status);
    for (const char* text :
         {"-s, --service SERVICE", "--lib PATH", "LD_LIBRARY_PATH", "\n  info ", "status [--json]",
          "watch [--interval MS] [--json]", "indicator NAME off|on|blink", "buzzer off|on|blink",
          "ekey on|off", "motion [MS]", "\n  reset ", "reset-sensors NAME...", "power-cycle OFF ON",
          "Exit status: 0"})
        EXPECT_NE(std::string::npos, r.out.find(text)) << text;
}

TEST(SiuctlCommandLine, RefusesWrongCommandLinesWithStatusTwoAndSaysWhy) {
    const std::vector<std::pair<Args, std::string>> cases = {
        {{}, "missing command"},
        {{"frobnicate"}, "unknown command 'frobnicate'"},
        {{"-s"}, "missing value of -s"},
        {{"indicator", "LED_PURPLE", "on"}, "no indicator is named 'LED_PURPLE'"},
        {{"indicator", "LED_GREEN", "dim"}, "'dim': expected off, on or blink"},
        {{"ekey", "blink"}, "'blink': expected on or off"},
        {{"motion", "99"}, "the motion time must be a number from 100 to 999, not '99'"},
        {{"motion", "3e2"}, "the motion time must be a number from 100 to 999, not '3e2'"},
        {{"power-cycle", "1000", "5"}, "OFF must be a number from 0 to 999"},
        {{"power-cycle", "5", "100000"}, "ON must be a number from 0 to 99999"},
        {{"reset-sensors", "INDICATOR_LED_GREEN"}, "no item is named 'INDICATOR_LED_GREEN'"},
        {{"reset-sensors", "SENSOR_HEAT", "SENSOR_SKIMMING"},
         "'SENSOR_SKIMMING' cannot be reset: the library resets only the first seven items"},
        {{"status", "--interval", "100"}, "unknown option '--interval' of status"},
        {{"watch", "--interval", "9"}, "--interval must be a number from 10 to 3600000"},
        {{"reset", "now"}, "unexpected 'now' after reset"},
    };
    for (const auto& c : cases) {
        const Result r = withoutLibrary(c.first);
        EXPECT_EQ(2, r.status) << c.second;
        EXPECT_EQ("siuctl: " + c.second, r.err.substr(0, c.second.size() + 8)) << r.err;
        EXPECT_NE(std::string::npos, r.err.find("\nsiuctl: hint: siuctl --help")) << c.second;
        EXPECT_EQ("", r.out);
    }
}

TEST(SiuctlCommandLine, TakesItemNamesInAnyCaseWithOrWithoutTheLibrarysPrefix) {
    for (const Args& args : std::vector<Args>{
             {"indicator", "norva_siu_indicator_led_green", "ON"},
             {"indicator", "Led_Red", "blink"},
             {"reset-sensors", "sensor_heat", "NORVA_SIU_DOOR_SAFE_BOX", "lock_rear_sup"},
             {"-s", "OTHER", "watch", "--json", "--interval", "3600000"},
             {"power-cycle", "999", "99999"}})
        EXPECT_EQ(3, withoutLibrary(args).status) << args[0];
}

TEST(SiuctlLibrary, ExitsThreeWithAHintWhenTheLibraryCannotBeLoaded) {
    Result r = withoutLibrary({"status"});
    EXPECT_EQ(3, r.status);
    EXPECT_EQ(0u, r.err.find("siuctl: cannot load the library: "));
    EXPECT_NE(std::string::npos, r.err.find("hint: --lib takes libNorvaSensorBoard.so.1 or the"));

    r = run({SIUCTL_EXE, "--lib", LOGSO_PATH, "info"});
    EXPECT_EQ(3, r.status);
    EXPECT_NE(std::string::npos, r.err.find("exports no SIU_ function")) << r.err;
}

}  // namespace
}  // namespace ctltest
