// The board's command set: what each command answers and what it changes.

#include "SimHarness.h"

#include <gtest/gtest.h>

using namespace simtest;

namespace {

class BoardCommands : public ::testing::TestWithParam<Wire> {
protected:
    Sim sim{GetParam()};
    void expectRefused(const std::string& command) {
        EXPECT_EQ("15 ", hex(sim.ask(command, {0x15}))) << command;
    }
};

INSTANTIATE_TEST_SUITE_P(BothProtocols, BoardCommands, ::testing::Values(Wire::Direct, Wire::Rs485),
                         wireName);

}  // namespace

TEST_P(BoardCommands, AnswerTheVersionThatWasConfigured) {
    sim.expectReply("V", "VSIUSIM 1.0");
    ASSERT_EQ("OK", sim.control("set-version ZT 2.14 rev B"));
    sim.expectReply("V", "VZT 2.14 rev B");
}

TEST_P(BoardCommands, SetEveryOutputAtOnceWithL) {
    sim.expectReply("L020100", "L");
    EXPECT_EQ("02010000000000000000", sim.output("leds"));
    // Outputs that a shorter command does not name go off.
    sim.expectReply("L1", "L");
    EXPECT_EQ("10000000000000000000", sim.output("leds"));
    sim.expectReply("L22222222222222222222", "L");
    EXPECT_EQ("22222222222222222222", sim.output("leds"));
    expectRefused("L0003");
    expectRefused("L000000000000000000000");
    EXPECT_EQ("22222222222222222222", sim.output("leds"));
}

TEST_P(BoardCommands, DriveTheKeyPortAndTheBuzzer) {
    sim.expectReply("FA1", "F");
    sim.expectReply("B2", "B");
    EXPECT_EQ("1", sim.output("key"));
    EXPECT_EQ("2", sim.output("buzzer"));
    sim.expectReply("FA0", "F");
    sim.expectReply("B0", "B");
    EXPECT_EQ("0", sim.output("key"));
    EXPECT_EQ("0", sim.output("buzzer"));
    for (const char* bad : {"FA2", "FB1", "FA", "B3", "B", "B11"}) expectRefused(bad);
}

TEST_P(BoardCommands, KeepTheMotionTimeWithinItsRange) {
    sim.expectReply("m", "m300");
    sim.expectReply("M100", "M");
    sim.expectReply("m", "m100");
    sim.expectReply("M999", "M");
    sim.expectReply("m", "m999");
    for (const char* bad : {"M099", "M1000", "M12", "M1a0", "m1"}) expectRefused(bad);
    EXPECT_EQ("999", sim.output("motion"));
}

TEST_P(BoardCommands, AnswerTheRemotePowerCycleWithTheConfiguredReply) {
    sim.expectReply("R00500030", "ROK");
    ASSERT_EQ("OK", sim.control("set-remote-reply 1"));
    sim.expectReply("R99999999", "R1");
    for (const char* bad : {"R0050003", "R005000300", "R0050003x"}) expectRefused(bad);
}

TEST_P(BoardCommands, AnswerGetSensorCommandsWithTheirDigitsAndRefuseUnknownOnes) {
    ASSERT_EQ("OK", sim.control("set-reply S 00C0"));
    ASSERT_EQ("OK", sim.control("set-reply P2 FFFF1F"));
    sim.expectReply("S", "S00C0");
    sim.expectReply("P2", "PFFFF1F");
    // Command texts are compared exactly.
    for (const char* bad : {"s", "P", "P20", "v", "X", "Z", "ZJ", "Z10"}) expectRefused(bad);
}
