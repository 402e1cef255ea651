// The simulator's frames, byte for byte, as the host meets them on the line.

#include "SimHarness.h"

#include <gtest/gtest.h>

using namespace simtest;

namespace {

class PointToPointLine : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ("OK", sim.control("set-reply AB 12"));
        ASSERT_EQ("OK", sim.control("set-reply 1 2"));
    }
    Sim sim{Wire::Direct};
};

class Rs485Line : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_EQ("OK", sim.control("set-reply AB 12")); }
    Sim sim{Wire::Rs485};
};

}  // namespace

TEST(HostFrames, MatchTheWorkedExamplesOfBothProtocols) {
    EXPECT_EQ("02 41 42 03 02 ", hex(hostFrame(Wire::Direct, "AB")));
    EXPECT_EQ("04 48 29 02 41 42 03 67 ", hex(hostFrame(Wire::Rs485, "AB")));
}

TEST_F(PointToPointLine, AnswersACorrectFrameWithAckAndAChecksummedResponse) {
    sim.send({0x02, 0x41, 0x42, 0x03, 0x02});
    // The reply text is the command letter, which the host drops, and the
    // configured digits.
    EXPECT_EQ("06 02 41 31 32 03 43 ", hex(sim.receive(7)));
    sim.send({0x06});
    sim.send({0x02, 0x31, 0x03, 0x30});
    EXPECT_EQ("06 02 31 32 03 02 ", hex(sim.receive(6)));
}

TEST_F(Rs485Line, AnswersACorrectFrameWithAckAndAChecksummedResponse) {
    sim.send({0x04, 0x48, 0x29, 0x02, 0x41, 0x42, 0x03, 0x67});
    EXPECT_EQ("06 01 48 29 30 41 31 32 03 11 ", hex(sim.receive(10)));
}

TEST_F(PointToPointLine, NacksAWrongChecksumAndCarriesNothingOut) {
    sim.send({0x02, 0x42, 0x32, 0x03, 0x00});
    EXPECT_EQ("15 ", hex(sim.receive(1)));
    sim.expectReply("V", "VSIUSIM 1.0");
    EXPECT_EQ("0", sim.output("buzzer"));
}

TEST_F(Rs485Line, NacksAWrongChecksum) {
    sim.send({0x04, 0x48, 0x29, 0x02, 0x41, 0x42, 0x03, 0x66});
    EXPECT_EQ("15 ", hex(sim.receive(1)));
}

TEST_F(PointToPointLine, SkipsStrayBytesAndTheHostsFinalAckBetweenFrames) {
    Bytes noisy = {0x41, 0x00, 0x06, 0xFF, 0x15, 0x03};
    const Bytes frame = hostFrame(Wire::Direct, "AB");
    noisy.insert(noisy.end(), frame.begin(), frame.end());
    sim.send(noisy);
    EXPECT_EQ(hex(boardAnswer(Wire::Direct, "A12")), hex(sim.receive(7)));
    sim.send({0x06});
    // Nothing else was sent in between: the next bytes are the next answer.
    sim.expectReply("1", "12");
}

TEST_F(PointToPointLine, StartsAgainWhenANewFrameBeginsInsideAnUnfinishedOne) {
    sim.send({0x02, 0x41});
    sim.expectReply("AB", "A12");
}

TEST_F(Rs485Line, EndsAnOutputCommandAtTheAck) {
    EXPECT_EQ("06 ", hex(sim.ask("L010", {0x06})));
    sim.expectReply("AB", "A12");
    EXPECT_EQ("01000000000000000000", sim.output("leds"));
}

TEST_F(Rs485Line, ResendsTheResponseWhenTheHostNacksIt) {
    const Bytes answer = boardAnswer(Wire::Rs485, "A12");
    EXPECT_EQ(hex(answer), hex(sim.ask("AB", answer)));
    sim.send({0x15});
    EXPECT_EQ(hex(Bytes(answer.begin() + 1, answer.end())), hex(sim.receive(answer.size() - 1)));
    sim.send({0x06});
    // After the final ACK a NACK no longer asks for anything.
    sim.send({0x15});
    sim.expectReply("AB", "A12");
}

TEST_F(Rs485Line, KeepsQuietAboutFramesForAnotherAddress) {
    sim.send({0x04, 0x48, 0x30, 0x02, 0x41, 0x42, 0x03, 0x7E});
    sim.expectReply("AB", "A12");
    const std::string records = sim.control("records");
    EXPECT_EQ("OK 1 ", records.substr(0, 5));
    EXPECT_EQ(":AB", records.substr(records.size() - 3));
}
