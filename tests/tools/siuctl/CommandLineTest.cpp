// The command line is checked before the library is loaded: with a library
// that does not exist, a good command line ends in the loading error (3), a
// wrong one in a usage error (2). The last --lib given is the one loaded.

#include "CtlBench.h"

#include <tuple>

using namespace ctltest;

TEST(SiuctlCommandLine, HelpDocumentsEveryCommandAndVersionNamesTheProductBothExitingZero) {
    const Result version = run({SIUCTL_EXE, "status", "--version"});
    EXPECT_EQ(0, version.status);
    EXPECT_EQ("siuctl " SIU_PRODUCT_VERSION "\n", version.out);
    const Result r = run({SIUCTL_EXE, "--help"});
    EXPECT_EQ(0, r.status);
    for (const char* text :
         {"-s, --service SERVICE", "--version", "--lib PATH", "LD_LIBRARY_PATH", "\n  info ", "status [--json]",
          "watch [--interval MS] [--json]", "indicator NAME off|on|blink", "buzzer off|on|blink",
          "ekey on|off", "motion [MS]", "\n  reset ", "reset-sensors NAME...", "power-cycle OFF ON",
          "Exit status: 0"})
        EXPECT_NE(std::string::npos, r.out.find(text)) << text;
}

TEST(SiuctlCommandLine, RefusesWrongOnesWithTwoAndTakesNamesInAnyCaseWithOrWithoutPrefix) {
    const std::string loading = "cannot load the library: ";
    const std::vector<std::tuple<Args, int, std::string>> cases = {
        {{}, 2, "missing command"},
        {{"frobnicate"}, 2, "unknown command 'frobnicate'"},
        {{"-s"}, 2, "missing value of -s"},
        {{"indicator", "LED_PURPLE", "on"}, 2, "no indicator is named 'LED_PURPLE'"},
        {{"indicator", "LED_GREEN", "dim"}, 2, "'dim': expected off, on or blink"},
        {{"ekey", "blink"}, 2, "'blink': expected on or off"},
        {{"motion", "99"}, 2, "the motion time must be a number from 100 to 999, not '99'"},
        {{"power-cycle", "1000", "5"}, 2, "OFF must be a number from 0 to 999"},
        {{"power-cycle", "5", "100000"}, 2, "ON must be a number from 0 to 99999"},
        {{"reset-sensors", "INDICATOR_LED_GREEN"}, 2, "no item is named 'INDICATOR_LED_GREEN'"},
        {{"reset-sensors", "SENSOR_HEAT", "SENSOR_DC_POWER"},
         2,
         "'SENSOR_DC_POWER' cannot be reset: the library resets only the first seven items"},
        {{"--interval", "100", "status"}, 2, "--interval goes with watch, not with status"},
        {{"--json", "info"}, 2, "--json goes with status or watch, not with info"},
        {{"status", "--bogus"}, 2, "unknown option '--bogus'"},
        {{"watch", "--interval", "9"}, 2, "--interval must be a number from 10 to 3600000"},
        {{"reset", "now"}, 2, "unexpected 'now' after reset"},
        {{"indicator", "norva_siu_indicator_led_green", "ON"}, 3, loading},
        {{"indicator", "Led_Red", "blink"}, 3, loading},
        {{"reset-sensors", "sensor_heat", "NORVA_SIU_DOOR_SAFE_BOX", "lock_rear_sup"}, 3, loading},
        {{"-s", "OTHER", "watch", "--json", "--interval", "3600000"}, 3, loading},
        {{"--json", "--interval", "10", "watch", "-s", "OTHER"}, 3, loading},
        {{"power-cycle", "999", "99999"}, 3, loading},
        {{"--lib", LOGSO_PATH, "info"}, 3, loading + LOGSO_PATH + " exports no SIU_ function"},
    };
    for (const auto& [args, status, message] : cases) {
        const Result r = run(Args{SIUCTL_EXE, "--lib", "/nonexistent/siuctl-test"} + args);
        EXPECT_EQ(status, r.status) << message;
        EXPECT_EQ(0u, r.err.find("siuctl: " + message)) << r.err;
        EXPECT_NE(std::string::npos, r.err.find(status == 2 ? "\nsiuctl: hint: siuctl --help"
                                                            : "\nsiuctl: hint: --lib takes"));
        EXPECT_EQ("", r.out);
    }
}
