#include "CtlBench.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <sstream>

namespace ctltest {
namespace {

// The example board's reply digits as examples/siusim-board.ini lays them
// out: per digit, the items on its flags 1, 2, 4 and 8 ("" for none).
using Digits = std::vector<std::array<const char*, 4>>;

const Digits kS = {
    {"DOOR_SAFE_BOX", "DOOR_PANEL", "DOOR_FRONT_INF", "DOOR_FRONT_MID"},
    {"DOOR_REAR_INF", "DOOR_REAR_MID", "DOOR_REAR_SUP", "DOOR_CABINET"},
    {"LOCK_LOCK", "LOCK_FRONT_INF", "LOCK_FRONT_MID", "LOCK_FRONT_SUP"},
    {"LOCK_REAR_INF", "LOCK_REAR_MID", "LOCK_REAR_SUP", "ELETRONIC_KEY"},
    {"ELETRONIC_KEY_FRONT_INF", "ELETRONIC_KEY_FRONT_MID", "ELETRONIC_KEY_FRONT_SUP",
     "ELETRONIC_KEY_REAR_INF"},
    {"ELETRONIC_KEY_REAR_MID", "ELETRONIC_KEY_REAR_SUP", "", ""},
    {"SENSOR_OPERATOR", "SENSOR_PROXIMITY", "SENSOR_LEVEL", "SENSOR_EARPHONE"},
    {"SENSOR_AC_POWER", "SENSOR_DC_POWER", "SENSOR_UPS_POWER", "SENSOR_BATTERY_BOARD"},
    {"SENSOR_BATTERY_BOARD_LOW", "SENSOR_MOTOR_PANEL", "SENSOR_CDM_GRID_DOOR", ""},
    {"SENSOR_HEAT", "SENSOR_SEISMIC", "SENSOR_SMOKE", ""},
    {"SENSOR_SKIMMING", "SENSOR_SKIMMING_ZONE1", "SENSOR_SKIMMING_ZONE2", "SENSOR_SKIMMING_ZONE3"},
    {"SENSOR_SKIMMING_ZONE4", "SENSOR_SKIMMING_BARRIER", "", ""},
    {"SENSOR_DEP_SHUTTER_VIOLANCE", "SENSOR_DEP_SHUTTER_HEAT", "SENSOR_DEP_SHUTTER_IMPACT", ""},
    {"SENSOR_CDM_SHUTTER_VIOLANCE", "SENSOR_CDM_SHUTTER_HEAT", "SENSOR_CDM_SHUTTER_IMPACT", ""},
    {"SENSOR_ELETRONIC_ARMOR_FRONTAL", "SENSOR_ELETRONIC_ARMOR_RIGHT",
     "SENSOR_ELETRONIC_ARMOR_LEFT", ""},
};

const Digits kP = {
    {"POS_CASH_DISPENSER", "POS_DEPOSIT", "POS_CARD_READER", "POS_RECEIPT_PRINTER"},
    {"POS_CHECK_PRINTER", "POS_CHECK_BOOK", "POS_CASH_ACCEPTOR", "POS_COIN_ACCEPTOR"},
    {"POS_PANEL_OPERATOR", "POS_PRCDM", "POS_MODULE_INGRESS", "POS_ENVELOPE_DISPENSER"},
    {"POS_KEYBOARD", "POS_BIOMETRIC", "POS_CONTACTLESS", "POS_PINPAD"},
    {"POS_JACK", "", "", ""},
    {"SENSOR_CASSETTE_A", "SENSOR_CASSETTE_B", "SENSOR_CASSETTE_C", "SENSOR_CASSETTE_D"},
};

// "NAME STATE" lines, one per item, as the board's replies S and P make them.
std::string expectedStates(const std::string& s, const std::string& p) {
    std::string lines;
    for (const auto& [digits, reply] : {std::make_pair(&kS, s), std::make_pair(&kP, p)}) {
        for (size_t d = 0; d < digits->size(); ++d) {
            const int value = std::stoi(reply.substr(d, 1), nullptr, 16);
            for (int f = 0; f < 4; ++f) {
                const std::string item = (*digits)[d][f];
                const bool on = (value >> f) & 1;
                if (item.empty()) continue;
                if (item.rfind("DOOR_", 0) == 0)
                    lines += item + (on ? " OPENED\n" : " CLOSED\n");
                else if (item.rfind("LOCK_", 0) == 0 || item.rfind("ELETRONIC_KEY", 0) == 0)
                    lines += item + (on ? " UNLOCKED\n" : " LOCKED\n");
                else if (item.rfind("POS_", 0) == 0)
                    lines += item + (on ? " AT_POSITION\n" : " NOT_AT_POSITION\n");
                else
                    lines += item + (on ? " ON\n" : " OFF\n");
            }
        }
    }
    return lines;
}

std::string sortedLines(const std::string& text) {
    std::istringstream in(text);
    std::vector<std::string> lines;
    for (std::string l; std::getline(in, l);) lines.push_back(l);
    std::sort(lines.begin(), lines.end());
    std::string all;
    for (const std::string& l : lines) all += l + "\n";
    return all;
}

std::string statusJson(const Bench& b) {
    const Result r = b.siuctl({"status", "--json"});
    EXPECT_EQ(0, r.status) << r.err;
    return r.out;
}

std::string statesOf(const Bench& b) {
    return sortedLines(jq(".items | to_entries[] | \"\\(.key) \\(.value)\"", statusJson(b)) + "\n");
}

TEST(SiuctlStatus, ExampleConfigurationReadsEveryFlagOfTheExampleBoard) {
    Bench b;
    EXPECT_EQ(sortedLines(expectedStates("0000000B0000000", "FFFF1F")), statesOf(b));
    // One flag set in every digit tells each item's flag; the digits whose
    // number has bit k set, all flags on, tell over four rounds its digit.
    std::vector<std::pair<std::string, std::string>> patterns;
    for (const char flag : {'1', '2', '4', '8'})
        patterns.emplace_back(std::string(15, flag), std::string(6, flag));
    for (int k = 0; k < 4; ++k) {
        std::string digits;
        for (int d = 1; d <= 15; ++d) digits += (d >> k) & 1 ? 'F' : '0';
        patterns.emplace_back(digits, digits.substr(0, 6));
    }
    for (const auto& [s, p] : patterns) {
        b.sim({"set-reply", "S", s});
        b.sim({"set-reply", "P", p});
        EXPECT_EQ(sortedLines(expectedStates(s, p)), statesOf(b)) << "S " << s << ", P " << p;
    }
}

TEST(SiuctlStatus, JsonShowsADoorOpenedOnTheBoard) {
    Bench b;
    b.sim({"set-flag", "S", "1", "1", "1"});
    EXPECT_EQ(
        "SIU OPENED CLOSED 23",
        jq("\"\\(.service) \\(.items.DOOR_SAFE_BOX) \\(.items.DOOR_PANEL) \\(.time | length)\"",
           statusJson(b)));
}

TEST(SiuctlStatus, PrintsEveryConfiguredItemWithItsStateInAlignedColumns) {
    Bench b;
    const Result r = b.siuctl({"status"});
    ASSERT_EQ(0, r.status) << r.err;
    // The widest name, SENSOR_ELETRONIC_ARMOR_FRONTAL, and two blanks.
    const size_t column = 32;
    std::istringstream in(r.out);
    std::string squeezed;
    for (std::string l; std::getline(in, l);) {
        EXPECT_EQ(column, l.find_last_of(' ') + 1) << l;
        squeezed += l.substr(0, l.find(' ')) + " " + l.substr(column) + "\n";
    }
    EXPECT_EQ(sortedLines(expectedStates("0000000B0000000", "FFFF1F")), sortedLines(squeezed));
    EXPECT_EQ(0u, r.out.find("DOOR_SAFE_BOX" + std::string(column - 13, ' ') + "CLOSED\n"));
}

TEST(SiuctlStatus, StandardOutputStaysJsonWhenTheLibraryCannotLoadLogSo) {
    Bench b;
    std::remove((b.runDir() + "/Log.so").c_str());
    EXPECT_EQ("LOCKED", jq(".items.LOCK_LOCK", statusJson(b)));
}

TEST(SiuctlInfo, ShowsTheFirmwareWhereTheLibraryIsAndTheConfiguredItems) {
    Bench b;
    b.sim({"set-version", "ZT 3.01"});
    const Result r = b.siuctl({"info"});
    ASSERT_EQ(0, r.status) << r.err;
    EXPECT_EQ(0u, r.out.find("library:        " + b.runDir() +
                             "/libNorvaSensorBoard.so.1\n"
                             "configuration:  " +
                             b.runDir() +
                             "/NorvaSensorBoard.ini\n"
                             "service:        SIU\n"
                             "firmware:       ZT 3.01\n"))
        << r.out;
    std::string words;  // every run of blanks and line breaks made one blank
    for (char c : r.out)
        if ((c != ' ' && c != '\n') || (!words.empty() && words.back() != ' '))
            words += c == '\n' ? ' ' : c;
    for (const char* text :
         {"Doors (8 of 8 configured): DOOR_SAFE_BOX DOOR_PANEL DOOR_FRONT_INF",
          "Locks and electronic keys (14 of 14 configured): LOCK_LOCK",
          "Sensors (29 of 29 configured): SENSOR_OPERATOR", "SENSOR_MOTOR_PANEL Module positions",
          "Module positions (17 of 17 configured): POS_CASH_DISPENSER",
          "Cassettes (4 of 4 configured): SENSOR_CASSETTE_A",
          "Indicators (6 of 17 configured): INDICATOR_CARD_READER INDICATOR_RECEIPT_PRINTER "
          "INDICATOR_PINPAD INDICATOR_LED_GREEN INDICATOR_LED_RED INDICATOR_LED_ORANGE "})
        EXPECT_NE(std::string::npos, words.find(text)) << text << "\nin:\n" << r.out;
    EXPECT_EQ(std::string::npos, r.out.find("Auxiliary"));
    for (size_t from = 0, nl; (nl = r.out.find('\n', from)) != std::string::npos; from = nl + 1)
        EXPECT_LE(nl - from, 100u) << r.out.substr(from, nl - from);
}

TEST(SiuctlInfo, FindsTheLibraryThroughLdLibraryPathWithoutLib) {
    Bench b;
    const Result r = run({SIUCTL_EXE, "info"}, {"LD_LIBRARY_PATH=" + b.runDir()});
    ASSERT_EQ(0, r.status) << r.err;
    EXPECT_EQ(0u, r.out.find("library:        " + b.runDir() + "/libNorvaSensorBoard.so.1\n"));
}

}  // namespace
}  // namespace ctltest
