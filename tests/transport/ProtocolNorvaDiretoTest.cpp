// The point-to-point exchange against a scripted board: every outcome, the
// limits on silence and on length, and the pacing between commands.

#include <gtest/gtest.h>

#include "manager/Global.h"
#include "tests/transport/ScriptedPort.h"
#include "tests/transport/SimulatedBoard.h"

using siutest::LinkUnderTest;
using siutest::ScriptedPort;

namespace {

const std::string FRAME_AB =
    "\x02"
    "AB\x03\x02";
const std::string ACK = "\x06";

struct Direto {
    explicit Direto(int rxTimeoutMs = 1000)
        : port(new ScriptedPort), link(std::unique_ptr<CommBase>(port), rxTimeoutMs) {}

    int run(std::string command = "AB", bool withReply = true) {
        unsigned char* data = reinterpret_cast<unsigned char*>(&command[0]);
        unsigned char* received = reinterpret_cast<unsigned char*>(1);
        replyLen = -1;
        int rc = link.protocolNorvaDireto(7, data, static_cast<int>(command.size()),
                                          withReply ? &received : nullptr, &replyLen);
        replyNull = received == nullptr;
        if (withReply && received != nullptr) reply.assign(received, received + replyLen);
        if (withReply) delete[] received;
        return rc;
    }

    ScriptedPort* port;
    LinkUnderTest link;
    std::string reply;
    int replyLen = -1;
    bool replyNull = false;
};

}  // namespace

TEST(NorvaDiretoExchange, HandsOverTheReplyAndAcknowledgesIt) {
    for (const std::string& answer : {ACK + "\x02"
                                            "12\x03\x02",
                                      std::string("\x02"
                                                  "12\x03\x02")}) {
        Direto d;
        d.port->answer(answer);
        EXPECT_EQ(d.run(), 0);
        EXPECT_EQ(d.reply, "12");
        EXPECT_EQ(d.replyLen, 2);
        EXPECT_EQ(d.port->writes, (std::vector<std::string>{FRAME_AB, ACK}));
        EXPECT_EQ(d.port->flushes, std::vector<unsigned char>{5});
    }
}

TEST(NorvaDiretoExchange, EndsACommandWithoutReplyAtTheAck) {
    Direto d;
    d.port->answer(ACK +
                   "\x02"
                   "12\x03\x02");
    EXPECT_EQ(d.run("AB", false), 0);
    EXPECT_EQ(d.replyLen, 0);
    EXPECT_EQ(d.port->writes, (std::vector<std::string>{FRAME_AB, ACK}));
    EXPECT_EQ(d.port->readCalls, 1);
}

TEST(NorvaDiretoExchange, GivesNoArrayForAnEmptyReply) {
    Direto d;
    d.port->answer(ACK + "\x02\x03\x01");
    EXPECT_EQ(d.run(), 0);
    EXPECT_EQ(d.replyLen, 0);
    EXPECT_TRUE(d.replyNull);
}

TEST(NorvaDiretoExchange, SkipsNoiseBeforeTheAck) {
    Direto d;
    d.port->answer("\x41\x7f" + ACK +
                   "\x02"
                   "12\x03\x02");
    EXPECT_EQ(d.run(), 0);
    EXPECT_EQ(d.reply, "12");
}

TEST(NorvaDiretoExchange, ReportsEachProtocolErrorWithoutAcknowledging) {
    const struct {
        std::vector<int> answer;
        int expected;
    } cases[] = {
        {{0x15}, ERR_SER_NACK},
        {{0x41, ScriptedPort::SILENCE}, ERR_SER_ACK},
        {{0x06, 0x41}, ERR_SER_STX},
        {{0x06, 0x02, '1', 0x03, 0x00}, ERR_SER_BCC_WRONG},
    };
    for (const auto& c : cases) {
        Direto d;
        d.port->reads.assign(c.answer.begin(), c.answer.end());
        LinkUnderTest::ullL1_LastCommand = 1;
        EXPECT_EQ(d.run(), c.expected);
        EXPECT_EQ(d.port->writes, std::vector<std::string>{FRAME_AB});
        EXPECT_TRUE(d.replyNull);
        EXPECT_EQ(d.replyLen, 0);
        // A refused exchange does not restart the pause between commands.
        EXPECT_EQ(LinkUnderTest::ullL1_LastCommand, 1u);
    }
}

TEST(NorvaDiretoExchange, TimesOutOnSilenceAndOnPortFailures) {
    Direto silent;
    EXPECT_EQ(silent.run(), ERR_SER_TIMEOUT);
    EXPECT_EQ(silent.port->readCalls, 1);  // the ACK must come within one receive time-out

    Direto readFails;
    readFails.port->answer({0x06, 0x02, ERR_SER_READ_FAILED});
    EXPECT_EQ(readFails.run(), ERR_SER_TIMEOUT);

    for (int written : {static_cast<int>(ERR_SER_WRITE_FAILED), 0, 3}) {
        Direto writeFails;
        writeFails.port->writeResults = {written};
        EXPECT_EQ(writeFails.run(), ERR_SER_TIMEOUT);
        EXPECT_EQ(writeFails.port->readCalls, 0);
    }
    // Timed-out exchanges are not acknowledged but do restart the pause.
    EXPECT_EQ(readFails.port->writes.size(), 1u);
    EXPECT_GT(LinkUnderTest::ullL1_LastCommand, 1u);
}

TEST(NorvaDiretoExchange, ToleratesFourEmptyReadsInTheReplyButNotFive) {
    const int S = ScriptedPort::SILENCE;
    Direto four;
    four.port->answer({0x06, 0x02, '1', S, S, S, S, '2', 0x03, 0x02});
    EXPECT_EQ(four.run(), 0);
    EXPECT_EQ(four.reply, "12");

    Direto five;
    five.port->answer({0x06, 0x02, '1', S, S, S, S, S, '2', 0x03, 0x02});
    EXPECT_EQ(five.run(), ERR_SER_TIMEOUT);
}

TEST(NorvaDiretoExchange, AcceptsAThousandReceivedBytesAndNoMore) {
    // ACK, STX, 996 data bytes, ETX and BCC fill the work area exactly.
    std::string data(996, 'x');
    unsigned char bcc = 0x02 ^ 0x03;  // an even number of 'x' cancels out
    Direto full;
    full.port->answer(ACK + "\x02" + data + "\x03" + static_cast<char>(bcc));
    EXPECT_EQ(full.run(), 0);
    EXPECT_EQ(full.replyLen, 996);

    Direto over;
    over.port->answer(ACK + "\x02" + data + "x\x03" + static_cast<char>(bcc ^ 'x'));
    EXPECT_EQ(over.run(), ERR_SER_INVALID_SIZE);

    // Bytes that are skipped count as well, so noise cannot run forever.
    Direto noise;
    noise.port->answer(std::string(5000, 'x'));
    EXPECT_EQ(noise.run(), ERR_SER_INVALID_SIZE);
    EXPECT_EQ(noise.port->readCalls, 1000);
}

TEST(NorvaDiretoExchange, RefusesCommandsThatDoNotFitTheFrame) {
    Direto d;
    d.port->answer(ACK);
    EXPECT_EQ(d.run(std::string(998, 'x'), false), ERR_SER_INVALID_SIZE);
    EXPECT_TRUE(d.port->writes.empty());
    EXPECT_EQ(d.run(std::string(997, 'x'), false), 0);
    EXPECT_EQ(d.port->writes[0].size(), 1000u);
    EXPECT_EQ(d.link.protocolNorvaDireto(0, nullptr, 2, nullptr, nullptr), ERR_GEN_INVALID_POINTER);
}

TEST(NorvaDiretoPacing, WaitsTheConfiguredIntervalFromTheFirstCommandOn) {
    Direto d;
    d.link.setInterval(150);
    d.port->answer(ACK + ACK);
    LinkUnderTest::ullL1_LastCommand = 0;
    uint64_t start = GetMonotonicTickMs();
    ASSERT_EQ(d.run("AB", false), 0);
    ASSERT_EQ(d.run("AB", false), 0);
    EXPECT_GE(d.port->writeTicks[0] - start, 150u);
    EXPECT_GE(d.port->writeTicks[2] - d.port->writeTicks[0], 150u);
}

TEST(NorvaDiretoPacing, DoesNotWaitWhenTheIntervalIsZero) {
    // Twenty commands would take ten seconds with the default pause.
    Direto d;
    uint64_t start = GetMonotonicTickMs();
    for (int i = 0; i < 20; ++i) {
        d.port->answer(ACK);
        ASSERT_EQ(d.run("AB", false), 0);
    }
    EXPECT_LT(GetMonotonicTickMs() - start, 2000u);
}

TEST(NorvaDiretoOverALine, ExchangesWithTheSimulatedBoardThroughEachFault) {
    siutest::SimulatedBoard board("direto");
    ASSERT_EQ(board.control("set-reply 1 2").substr(0, 2), "OK");
    LinkUnderTest link(std::make_unique<CommUart>(), 100);
    ASSERT_EQ(link.openSerial(board.link(), 115200), 0);

    const struct {
        const char* fault;
        int expected;
    } cases[] = {{"none", 0},
                 {"nack", ERR_SER_NACK},
                 {"no-ack", 0},
                 {"noise", 0},
                 {"bad-bcc", ERR_SER_BCC_WRONG},
                 {"silent", ERR_SER_TIMEOUT},
                 {"garbage", ERR_SER_ACK}};
    for (const auto& c : cases) {
        ASSERT_EQ(board.control(std::string("fault ") + c.fault).substr(0, 2), "OK");
        std::string reply;
        EXPECT_EQ(link.exchange(false, "1", &reply), c.expected) << c.fault;
        EXPECT_EQ(reply, c.expected == 0 ? "12" : "") << c.fault;
        link.port()->Flush(5);
    }
    auto heard = board.records();
    ASSERT_EQ(heard.size(), 7u);
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
