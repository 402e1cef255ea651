// Board files: the shipped example, latching, and files that are refused.

#include "SimHarness.h"

#include <gtest/gtest.h>

using namespace simtest;

namespace {

const std::string kExample = std::string(SIU_SOURCE_DIR) + "/examples/siusim-board.ini";

}  // namespace

TEST(BoardFile, TheExampleBoardAnswersAsItDocuments) {
    Sim sim(Wire::Rs485, {"--board", kExample});
    sim.expectReply("V", "VZT-SIM 2.14");
    sim.expectReply("S", "S0000000B0000000");
    sim.expectReply("P", "PFFFF1F");
    sim.expectReply("m", "m300");
    sim.expectReply("R00500030", "ROK");
}

TEST(BoardFile, ResetCommandsClearOnlyLatchedDigits) {
    Sim sim(Wire::Direct, {"--board", kExample});
    // The safe-box door opens (digit 1) and the seismic sensor trips (digit
    // 10, which latches).
    ASSERT_EQ("OK", sim.control("set-flag S 1 1 1"));
    ASSERT_EQ("OK", sim.control("set-flag S 10 7 1"));
    sim.expectReply("S", "S1000000B0700000");
    sim.expectReply("Z1", "Z");
    sim.expectReply("ZA", "Z");
    sim.expectReply("ZI", "Z");
    sim.expectReply("S", "S1000000B0000000");
}

TEST(BoardFile, IsRefusedWithAMessageNamingTheBadLine) {
    siutest::TempDir d;
    const struct {
        const char* text;
        const char* message;
    } cases[] = {
        {"[get-sensor]\nS = 0G\n", "[get-sensor] S: "},
        {"[board]\nmotion_time = 99\n", "[board] motion_time: "},
        {"[board]\ncolour = red\n", "[board] colour: unknown key"},
        {"[sensors]\nS = 00\n", "[sensors] S: unknown section"},
        {"[get-sensor]\nS = 00\n[latched]\nS = 1 19\n", "[latched] S: positions are 1 to 18"},
        {"[get-sensor]\nS = 00\n[latched]\nT = 1\n", "[latched] T: not a command"},
    };
    for (const auto& c : cases) {
        const Outcome r =
            runSiusim({"--link", d.file("line"), "--board", d.write("board.ini", c.text)});
        EXPECT_EQ(1, r.status) << c.text;
        EXPECT_NE(std::string::npos, r.out.find(c.message)) << r.out;
    }
    EXPECT_EQ(1, runSiusim({"--link", d.file("line"), "--board", d.file("missing.ini")}).status);
}
