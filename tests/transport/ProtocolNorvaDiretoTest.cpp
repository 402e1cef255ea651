// The point-to-point exchange against a scripted board (every outcome, the
// limits on silence and on length) and against the simulated board on a pty
// (each fault it can inject, and the pause between commands).

#include <gtest/gtest.h>

#include "manager/Global.h"
#include "tests/transport/ScriptedPort.h"
#include "tests/transport/SimulatedBoard.h"

using siutest::LinkUnderTest;
using siutest::ScriptedLink;
using siutest::ScriptedPort;

namespace {

const std::string FRAME_AB = std::string("\x02") + "AB\x03\x02";
const std::string ACK = "\x06";
const std::string REPLY_12 = std::string("\x02") + "12\x03\x02";
const int S = ScriptedPort::SILENCE;

}  // namespace

TEST(NorvaDiretoExchange, HandsOverTheReplyWithOrWithoutAckAndAcknowledgesIt) {
    // Noise before the ACK is skipped.
    for (const std::string& answer : {ACK + REPLY_12, REPLY_12, "\x41\x7f" + ACK + REPLY_12}) {
        ScriptedLink s;
        s.port->answer(answer);
        std::string reply;
        EXPECT_EQ(s.link.exchange(false, "AB", &reply), 0);
        EXPECT_EQ(reply, "12");
        EXPECT_EQ(s.port->writes, (std::vector<std::string>{FRAME_AB, ACK}));
        EXPECT_EQ(s.port->flushes, std::vector<unsigned char>{5});
    }
}

TEST(NorvaDiretoExchange, EndsACommandWithoutReplyAtTheAck) {
    ScriptedLink s;
    s.port->answer(ACK + REPLY_12);
    unsigned char ab[] = {'A', 'B'};
    int replyLen = -1;
    EXPECT_EQ(s.link.protocolNorvaDireto(0, ab, 2, nullptr, &replyLen), 0);
    EXPECT_EQ(replyLen, 0);
    EXPECT_EQ(s.port->writes, (std::vector<std::string>{FRAME_AB, ACK}));
    EXPECT_EQ(s.port->readCalls, 1);
}

TEST(NorvaDiretoExchange, ReportsEachProtocolErrorWithoutAcknowledging) {
    const struct {
        std::vector<int> answer;
        int expected;
    } cases[] = {
        {{0x15}, ERR_SER_NACK},
        {{0x41, S}, ERR_SER_ACK},
        {{0x06, 0x41}, ERR_SER_STX},
        {{0x06, 0x02, '1', 0x03, 0x00}, ERR_SER_BCC_WRONG},
    };
    for (const auto& c : cases) {
        ScriptedLink s;
        s.port->reads.assign(c.answer.begin(), c.answer.end());
        LinkUnderTest::ullL1_LastCommand = 1;
        std::string reply = "untouched";
        EXPECT_EQ(s.link.exchange(false, "AB", &reply), c.expected);
        EXPECT_EQ(reply, "");
        EXPECT_EQ(s.port->writes, std::vector<std::string>{FRAME_AB});
        // A refused exchange does not restart the pause between commands.
        EXPECT_EQ(LinkUnderTest::ullL1_LastCommand, 1u);
    }
}

TEST(NorvaDiretoExchange, TimesOutOnSilenceAndOnPortFailures) {
    ScriptedLink silent;
    EXPECT_EQ(silent.link.exchange(false, "AB"), ERR_SER_TIMEOUT);
    EXPECT_EQ(silent.port->readCalls, 1);  // the ACK must come within one receive time-out

    ScriptedLink readFails;
    readFails.port->answer({0x06, 0x02, ERR_SER_READ_FAILED});
    LinkUnderTest::ullL1_LastCommand = 1;
    EXPECT_EQ(readFails.link.exchange(false, "AB"), ERR_SER_TIMEOUT);
    EXPECT_EQ(readFails.port->writes.size(), 1u);
    EXPECT_GT(LinkUnderTest::ullL1_LastCommand, 1u);  // a time-out restarts the pause

    for (int written : {static_cast<int>(ERR_SER_WRITE_FAILED), 0, 3}) {
        ScriptedLink writeFails;
        writeFails.port->writeResults = {written};
        EXPECT_EQ(writeFails.link.exchange(false, "AB"), ERR_SER_TIMEOUT);
        EXPECT_EQ(writeFails.port->readCalls, 0);
    }
}

TEST(NorvaDiretoExchange, ToleratesFourEmptyReadsInTheReplyButNotFive) {
    for (int silences : {4, 5}) {
        ScriptedLink s;
        s.port->answer({0x06, 0x02, '1'});
        s.port->reads.insert(s.port->reads.end(), silences, S);
        s.port->answer({'2', 0x03, 0x02});
        EXPECT_EQ(s.link.exchange(false, "AB"), silences == 4 ? 0 : ERR_SER_TIMEOUT);
    }
}

TEST(NorvaDiretoExchange, AcceptsAThousandReceivedBytesAndNoMore) {
    // ACK, STX, 996 data bytes, ETX and BCC fill the work area exactly; an
    // even number of equal bytes cancels out of the check.
    for (size_t dataLen : {996, 997}) {
        ScriptedLink s;
        s.port->answer(ACK + "\x02" + std::string(dataLen, 'x') + "\x03" +
                       static_cast<char>(dataLen % 2 ? 0x01 ^ 'x' : 0x01));
        std::string reply;
        EXPECT_EQ(s.link.exchange(false, "AB", &reply), dataLen == 996 ? 0 : ERR_SER_INVALID_SIZE);
        EXPECT_EQ(reply.size(), dataLen == 996 ? 996u : 0u);
    }
    // Skipped bytes count as well, so noise cannot run forever.
    ScriptedLink noise;
    noise.port->answer(std::string(5000, 'x'));
    EXPECT_EQ(noise.link.exchange(false, "AB"), ERR_SER_INVALID_SIZE);
    EXPECT_EQ(noise.port->readCalls, 1000);
}

TEST(NorvaDiretoExchange, RefusesCommandsThatDoNotFitTheFrame) {
    ScriptedLink s;
    s.port->answer(ACK + REPLY_12);
    EXPECT_EQ(s.link.exchange(false, std::string(998, 'x')), ERR_SER_INVALID_SIZE);
    EXPECT_TRUE(s.port->writes.empty());
    EXPECT_EQ(s.link.exchange(false, std::string(997, 'x')), 0);
    EXPECT_EQ(s.port->writes[0].size(), 1000u);
    EXPECT_EQ(s.link.protocolNorvaDireto(0, nullptr, 2, nullptr, nullptr), ERR_GEN_INVALID_POINTER);
}

TEST(NorvaDiretoPacing, WaitsTheConfiguredIntervalFromTheFirstCommandOn) {
    ScriptedLink s;
    s.link.setInterval(150);
    s.port->answer(ACK + REPLY_12 + ACK + REPLY_12);
    LinkUnderTest::ullL1_LastCommand = 0;
    uint64_t start = GetMonotonicTickMs();
    ASSERT_EQ(s.link.exchange(false, "AB"), 0);
    ASSERT_EQ(s.link.exchange(false, "AB"), 0);
    EXPECT_GE(s.port->writeTicks[0] - start, 150u);
    EXPECT_GE(s.port->writeTicks[2] - s.port->writeTicks[0], 150u);
}

TEST(NorvaDiretoPacing, DoesNotWaitWhenTheIntervalIsZero) {
    // Twenty commands would take ten seconds with the default pause.
    ScriptedLink s;
    uint64_t start = GetMonotonicTickMs();
    for (int i = 0; i < 20; ++i) {
        s.port->answer(ACK + REPLY_12);
        ASSERT_EQ(s.link.exchange(false, "AB"), 0);
    }
    EXPECT_LT(GetMonotonicTickMs() - start, 2000u);
}

TEST(NorvaDiretoOverALine, ExchangesWithTheSimulatedBoardThroughEachFault) {
    siutest::SimulatedBoard board("direto");
    ASSERT_EQ(board.control("set-reply 1 2").substr(0, 2), "OK");
    LinkUnderTest link(std::make_unique<CommUart>(), 100);
    ASSERT_EQ(link.openSerial(board.link(), 115200), 0);

    // The dropped line comes last: the port does not follow it.
    const struct {
        const char* fault;
        int expected;
    } cases[] = {{"none", 0},
                 {"nack", ERR_SER_NACK},
                 {"no-ack", 0},
                 {"noise", 0},
                 {"bad-bcc", ERR_SER_BCC_WRONG},
                 {"silent", ERR_SER_TIMEOUT},
                 {"garbage", ERR_SER_ACK},
                 {"drop", ERR_SER_TIMEOUT}};
    for (const auto& c : cases) {
        ASSERT_EQ(board.control(std::string("fault ") + c.fault).substr(0, 2), "OK");
        std::string reply;
        EXPECT_EQ(link.exchange(false, "1", &reply), c.expected) << c.fault;
        EXPECT_EQ(reply, c.expected == 0 ? "12" : "") << c.fault;
        link.port()->Flush(5);
    }
    auto heard = board.records();
    ASSERT_EQ(heard.size(), 8u);
    EXPECT_EQ(heard[0].second, "1");
}

TEST(NorvaDiretoPacing, KeepsHalfASecondBetweenCommandsByDefault) {
    siutest::SimulatedBoard board("direto");
    LinkUnderTest link(std::make_unique<CommUart>(), 100);
    ASSERT_EQ(link.openSerial(board.link(), 115200), 0);
    link.useDefaultInterval();
    ASSERT_EQ(link.exchange(false, "L1"), 0);
    ASSERT_EQ(link.exchange(false, "L1"), 0);
    auto heard = board.records();
    ASSERT_EQ(heard.size(), 2u);
    EXPECT_GE(heard[1].first - heard[0].first, 500.0);
}
