#include "CtlBench.h"

#include <map>

using namespace ctltest;

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
