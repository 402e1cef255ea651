// The real siuctl with the real library and Log.so against the real
// simulator, as a technician runs it. The command line is checked before the
// library is loaded: with a library that does not exist, a good command line
// ends in the loading error (3), a wrong one in a usage error (2). The last
// --lib given is the one loaded.

#include "CtlBench.h"

#include <cstdio>
#include <map>
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

// Each item of the example configuration with its state on a board whose
// replies S and P, run together, are digits.
static std::map<std::string, std::string> expectedStates(const std::string& digits) {
    const std::string kinds = "DLEPS";  // door, lock, electronic key, position, sensor
    const char* const set[] = {"OPENED", "UNLOCKED", "UNLOCKED", "AT_POSITION", "ON"};
    const char* const clear[] = {"CLOSED", "LOCKED", "LOCKED", "NOT_AT_POSITION", "OFF"};
    const std::string ini = siutest::readWholeFile(SIU_SOURCE_DIR "/examples/NorvaSensorBoard.ini");
    const std::regex item(
        R"(\[SIU\.NORVA_SIU_(\w+)\]\ncommand = ([SP])\ncommand_position = (\d+)\nbit_mask = (\d))");
    std::map<std::string, std::string> states;
    for (std::sregex_iterator m(ini.begin(), ini.end(), item), end; m != end; ++m) {
        const std::string name = (*m)[1];
        const size_t digit = std::stoul((*m)[3]) - 1 + ((*m)[2] == "P" ? 15 : 0);
        const bool on = std::stoi(digits.substr(digit, 1), nullptr, 16) & std::stoi((*m)[4]);
        states[name] = (on ? set : clear)[kinds.find(name[0])];
    }
    return states;
}

TEST(SiuctlStatus, ShowsEveryFlagOfTheBoardUnderItsItemsNameAsJsonAndInColumns) {
    // At rest, then in round k the flags f of digits d (S, then P) where bit k
    // of 4d + f + 1 is set: every item is seen on and off, no two alike.
    std::vector<std::string> replies = {"0000000B0000000FFFF1F"};
    for (int k = 0; k < 7; ++k) {
        replies.emplace_back();
        for (int d = 0; d < 21; ++d) {
            int v = 0;
            for (int f = 0; f < 4; ++f) v |= ((4 * d + f + 1) >> k & 1) << f;
            replies.back() += "0123456789ABCDEF"[v];
        }
    }
    Bench b;
    const std::regex item(R"re("([A-Z0-9_]+)":"([A-Z_]+)")re");
    for (const std::string& reply : replies) {
        b.sim({"set-reply", "S", reply.substr(0, 15)});
        b.sim({"set-reply", "P", reply.substr(15)});
        const Result r = b.siuctl({"status", "--json"});
        EXPECT_EQ(0, r.status) << r.err;
        EXPECT_TRUE(std::regex_match(
            std::regex_replace(r.out, item, "I"),
            std::regex(R"(\{"service":"SIU","time":")" + kTime + R"(","items":\{I(,I)*\}\}\n)")))
            << r.out;
        std::map<std::string, std::string> shown;
        std::string columns;  // the widest name has 30 characters; two blanks follow
        for (std::sregex_iterator m(r.out.begin(), r.out.end(), item), end; m != end; ++m) {
            shown[(*m)[1]] = (*m)[2];
            columns +=
                (*m)[1].str() + std::string(32 - (*m)[1].length(), ' ') + (*m)[2].str() + "\n";
        }
        EXPECT_EQ(expectedStates(reply), shown) << reply;
        const Result plain = b.siuctl({"-v", "status"});  // -v: the library's console on stderr
        EXPECT_EQ(columns, plain.out);
        EXPECT_NE(std::string::npos, plain.err.find("S - " + reply.substr(0, 15))) << plain.err;
    }
}

TEST(SiuctlInfo, ShowsTheLibraryFoundThroughLdLibraryPathTheFirmwareAndTheConfiguredItems) {
    Bench b;
    b.sim({"set-version", "ZT 3.01"});
    const Result r = run({"/usr/bin/env", "LD_LIBRARY_PATH=" + b.dir, SIUCTL_EXE, "info"});
    EXPECT_EQ(0, r.status) << r.err;
    EXPECT_EQ(0u, r.out.find("library:        " + b.dir + "/libNorvaSensorBoard.so.1\n" +
                             "configuration:  " + b.dir + "/NorvaSensorBoard.ini\n" +
                             "service:        SIU\nfirmware:       ZT 3.01\n"))
        << r.out;
    const std::string words = std::regex_replace(r.out, std::regex("\\s+"), " ");
    for (const char* text :
         {"Doors (8 of 8 configured): DOOR_SAFE_BOX DOOR_PANEL",
          "Indicators (6 of 17 configured): INDICATOR_CARD_READER INDICATOR_RECEIPT_PRINTER "
          "INDICATOR_PINPAD INDICATOR_LED_GREEN INDICATOR_LED_RED INDICATOR_LED_ORANGE "})
        EXPECT_NE(std::string::npos, words.find(text)) << text << " in\n" << r.out;
    // groups without items are left out; lines are wrapped at 100 characters
    EXPECT_FALSE(std::regex_search(r.out, std::regex("Auxiliary|.{101}"))) << r.out;
}

TEST(SiuctlWatch, ShowsADoorOpenedTheBoardFallingSilentAndTheLineLostUntilSigintClosesIt) {
    const std::string json = R"(\{"time":")" + kTime + R"(",)";
    const std::pair<Args, std::string> modes[] = {
        // options, the lines as a regular expression
        {{},
         kTime + "  DOOR_SAFE_BOX {17}  CLOSED -> OPENED\n" + kTime +
             R"(  ERR_SER_TIMEOUT \(-40012\): board did not answer: .*\n)" + kTime +
             "  the board answers again\n" + kTime +
             R"(  line lost: ERR_SER_PORT_NOT_FOUND \(-40010\): the serial line is gone .*\n)" +
             kTime + "  line back\n"},
        {{"--json"},
         json + R"("item":"DOOR_SAFE_BOX","state":"OPENED","previous":"CLOSED"\}\n)" + json +
             R"("error":"ERR_SER_TIMEOUT","code":-40012,"hint":"board did not answer: [^"]*"\}\n)" +
             json + R"("board":"answering"\}\n)" + json +
             R"("line":"lost","error":"ERR_SER_PORT_NOT_FOUND","code":-40010,"hint":"[^"]*"\}\n)" +
             json + R"("line":"back"\}\n)"},
    };
    for (const auto& [options, lines] : modes) {
        Bench b;
        Process watch(b.ctl(Args{"watch", "--interval", "20"} + options), b.tmp.file("out"),
                      b.tmp.file("err"));
        const auto read = [&](const char* f) { return siutest::readWholeFile(b.tmp.file(f)); };
        const auto shows = [&](const char* f, const char* re) {
            return siutest::waitFor([&] { return std::regex_search(read(f), std::regex(re)); },
                                    10s);
        };
        // stderr tells when the first reading is done
        ASSERT_TRUE(shows("err", "siuctl: watching 72 items of service SIU every 20 ms\n"));
        b.sim({"set-flag", "S", "1", "1", "1"});
        ASSERT_TRUE(shows("out", "\n"));
        b.sim({"fault", "silent", "2"});
        ASSERT_TRUE(shows("out", "answers again|answering"));
        // the simulator closes its end and serves a new one behind the same
        // link, as an adapter unplugged and plugged back
        b.sim({"fault", "drop"});
        ASSERT_TRUE(shows("out", "line back|\"back\"")) << read("out");
        watch.signal(SIGINT);
        EXPECT_EQ(0, watch.wait(10s));
        EXPECT_TRUE(std::regex_match(read("out"), std::regex(lines))) << read("out");
        std::string logs;
        for (const auto& e : std::filesystem::directory_iterator(b.logs))
            logs += siutest::readWholeFile(e.path());
        EXPECT_NE(std::string::npos, logs.find("CMD_CLOSE")) << "the service was closed";
    }
}
