// Each fault mode, what the host sees of it, and that it ends after its count.

#include "SimHarness.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <climits>

using namespace simtest;

namespace {

class Faults : public ::testing::TestWithParam<Wire> {
protected:
    void SetUp() override { ASSERT_EQ("OK", sim.control("set-reply S 0A")); }
    Sim sim{GetParam()};
    const Bytes good = boardAnswer(GetParam(), "S0A");
    // The answer without its leading ACK.
    const Bytes frame{good.begin() + 1, good.end()};
};

INSTANTIATE_TEST_SUITE_P(BothProtocols, Faults, ::testing::Values(Wire::Direct, Wire::Rs485),
                         wireName);

std::string linkTarget(const std::string& link) {
    char buf[PATH_MAX];
    const ssize_t n = readlink(link.c_str(), buf, sizeof buf);
    return n > 0 ? std::string(buf, static_cast<size_t>(n)) : "";
}

}  // namespace

TEST_P(Faults, NackRefusesTheNextCommandsWithoutCarryingThemOut) {
    ASSERT_EQ("OK nack 2", sim.control("fault nack 2"));
    EXPECT_EQ("15 ", hex(sim.ask("B1", {0x15})));
    EXPECT_EQ("15 ", hex(sim.ask("B1", {0x15})));
    EXPECT_EQ("0", sim.output("buzzer"));
    EXPECT_EQ("OK none", sim.control("fault"));
    sim.expectReply("S", "S0A");
}

TEST_P(Faults, NoAckLeavesOutTheAckBeforeTheResponse) {
    sim.control("fault no-ack");
    EXPECT_EQ(hex(frame), hex(sim.ask("S", frame)));
    sim.send({0x06});
    sim.expectReply("S", "S0A");
}

TEST_P(Faults, BadBccCorruptsTheChecksumOfTheNextResponses) {
    sim.control("fault bad-bcc 2");
    Bytes bad = good;
    bad.back() ^= 0xFF;
    EXPECT_EQ(hex(bad), hex(sim.ask("S", bad)));
    if (GetParam() == Wire::Rs485) {
        // The RS-485 host NACKs a bad response and gets it again.
        sim.send({0x15});
        EXPECT_EQ(hex(Bytes(bad.begin() + 1, bad.end())), hex(sim.receive(bad.size() - 1)));
        sim.send({0x15});
        EXPECT_EQ(hex(frame), hex(sim.receive(frame.size())));
        sim.send({0x06});
    } else {
        EXPECT_EQ(hex(bad), hex(sim.ask("S", bad)));
        sim.expectReply("S", "S0A");
    }
}

TEST_P(Faults, SilentAndGarbageReplaceTheAnswerAndCarryNothingOut) {
    sim.control("fault silent");
    sim.send(hostFrame(GetParam(), "B1"));
    ASSERT_TRUE(
        siutest::waitFor([&] { return sim.control("records").find(":B1") != std::string::npos; }));
    // The next bytes on the line belong to the next command: the first got none.
    sim.control("fault garbage");
    EXPECT_EQ("41 7E 55 AA 3F ", hex(sim.ask("B2", Bytes(5))));
    sim.expectReply("S", "S0A");
    EXPECT_EQ("0", sim.output("buzzer"));
}

TEST_P(Faults, NoisePrecedesAnOtherwiseCorrectAnswer) {
    sim.control("fault noise");
    Bytes noisy = {0x41, 0x7E, 0x55, 0xAA, 0x3F};
    noisy.insert(noisy.end(), good.begin(), good.end());
    EXPECT_EQ(hex(noisy), hex(sim.ask("S", noisy)));
}

TEST_P(Faults, StallHoldsBackTheSecondHalfOfTheResponse) {
    sim.control("fault stall 1 150");
    const Bytes all = good;
    const size_t firstPart = 1 + (all.size() - 1) / 2;
    sim.send(hostFrame(GetParam(), "S"));
    const Bytes first = sim.receive(firstPart);
    const auto start = std::chrono::steady_clock::now();
    const Bytes rest = sim.receive(all.size() - firstPart);
    EXPECT_GE(std::chrono::steady_clock::now() - start, 140ms);
    Bytes joined = first;
    joined.insert(joined.end(), rest.begin(), rest.end());
    EXPECT_EQ(hex(all), hex(joined));
}

TEST_P(Faults, DropHangsUpTheLineAndPointsTheLinkAtANewOne) {
    const std::string before = linkTarget(sim.link());
    sim.control("fault drop");
    sim.send(hostFrame(GetParam(), "S"));
    pollfd p{sim.fd(), POLLIN, 0};
    ASSERT_EQ(1, poll(&p, 1, 2000));
    EXPECT_TRUE(p.revents & POLLHUP);
    ASSERT_TRUE(siutest::waitFor([&] { return linkTarget(sim.link()) != before; }));
    EXPECT_EQ("OK " + linkTarget(sim.link()), sim.control("device"));
    sim.reopenLine();
    sim.expectReply("S", "S0A");
}

TEST(FaultOption, AppliesFromTheFirstAnswerAndEndsAfterItsCount) {
    Sim sim(Wire::Direct, {"--fault", "nack:2"});
    EXPECT_EQ("OK nack 2", sim.control("fault"));
    EXPECT_EQ("15 ", hex(sim.ask("m", {0x15})));
    EXPECT_EQ("15 ", hex(sim.ask("m", {0x15})));
    sim.expectReply("m", "m300");
}

TEST(FaultControl, RefusesBadDescriptionsAndCanBeCleared) {
    Sim sim;
    for (const char* bad : {"fault explode", "fault nack 0", "fault nack 1 100", "fault stall 1 x"})
        EXPECT_EQ("ERR", sim.control(bad).substr(0, 3)) << bad;
    EXPECT_EQ("OK stall 3 100", sim.control("fault stall 3"));
    EXPECT_EQ("OK none", sim.control("fault none"));
    sim.expectReply("m", "m300");
    EXPECT_EQ(2, runSiusim({"--link", sim.dir().file("x"), "--fault", "stall:1:x"}).status);
}
