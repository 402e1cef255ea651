#include "CtlBench.h"

#include <cstdio>
#include <tuple>

using namespace ctltest;

TEST(SiuctlDrive, EveryCommandReachesTheBoardAndSaysWhatItDid) {
    // siuctl's arguments and output, then a pattern the simulator's state must hold
    const std::vector<std::tuple<Args, std::string, std::string>> steps = {
        {{"indicator", "LED_GREEN", "on"}, "INDICATOR_LED_GREEN on", "leds=00010000000000000000"},
        // every indicator command switches the others off first
        {{"indicator", "pinpad", "blink"}, "INDICATOR_PINPAD blink", "leds=02000000000000000000"},
        {{"buzzer", "blink"}, "buzzer blink", "buzzer=2"},
        {{"ekey", "on"}, "electronic-key port on", "key=1"},
        {{"ekey", "off"}, "electronic-key port off", "key=0"},
        {{"motion", "450"}, "motion time 450 ms", "motion=450"},
        {{"motion"}, "motion time 450 ms", ""},
        {{"power-cycle", "5", "30"}, "power cycle 5 30: the board answered OK", ":R00500030 "},
        {{"reset"}, "every indicator off", "leds=00000000000000000000"},
        {{"reset-sensors", "SENSOR_OPERATOR", "SENSOR_HEAT"},
         "reset SENSOR_OPERATOR SENSOR_HEAT",
         ":Z7 .*:ZA .*S=0000000B0000000"},
    };
    Bench b;
    b.sim({"set-flag", "S", "10", "3", "1"});  // heat and seismic: digit 10 latches
    for (const auto& [args, shown, expected] : steps) {
        const Result r = b.siuctl(args);
        EXPECT_EQ(0, r.status) << r.err;
        EXPECT_EQ(shown + "\n", r.out);
        const std::string board = b.sim({"outputs"}) + " " + b.sim({"records"}) +
                                  " S=" + b.sim({"get-reply", "S"}).substr(3) + " ";
        EXPECT_TRUE(std::regex_search(board, std::regex(expected))) << shown << ": " << board;
    }
}

TEST(SiuctlErrors, NameTheResultCodeAndHintAtTheCauseOnStderrAndExitOne) {
    Bench b;
    const auto explains = [&](const Args& args, const std::string& what, const std::string& hint) {
        const Result r = b.siuctl(args);
        EXPECT_EQ(1, r.status) << r.err;
        // the serial driver's own diagnostics may come first; @ is the library's directory
        const std::string lines = "siuctl: " + what + "\nsiuctl: hint: " + hint;
        EXPECT_NE(std::string::npos, r.err.find(std::regex_replace(lines, std::regex("@"), b.dir)))
            << r.err;
        EXPECT_EQ("", r.out);
    };
    explains({"-s", "NOPE", "info"}, "opening service NOPE: ERR_CFG_INVALID_SERVICE_NAME (-20001)",
             "the configuration file has no section [NOPE]");
    explains({"indicator", "INDICATOR_OPERATOR", "on"},
             "INDICATOR_OPERATOR on: ERR_CFG_INVALID_VALUE (-20006)",
             "not configured: INDICATOR_OPERATOR needs a section "
             "[SIU.NORVA_SIU_INDICATOR_OPERATOR] with command_position");
    b.sim({"fault", "silent", "100"});
    explains({"status"}, "opening service SIU: ERR_SER_TIMEOUT (-40012)",
             "board did not answer: check its power and cable");
    b.configure(b.tmp.file("no-such-device"));
    explains({"status"}, "opening service SIU: ERR_SER_OPEN_FAILED (-40003)",
             "port could not be opened: check DevicePort in section [SIU]");
    std::remove((b.dir + "/NorvaSensorBoard.ini").c_str());
    explains({"status"}, "opening service SIU: ERR_CFG_INI_FILE_NOT_FOUND (-20003)",
             "configuration file not found: the library reads /Norva/NorvaAPI/"
             "NorvaSensorBoard.ini, else NorvaSensorBoard.ini beside @/libNorvaSensorBoard.so.1\n");
}
