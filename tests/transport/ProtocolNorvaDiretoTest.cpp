// The point-to-point exchange against a scripted board (byte-exact frames,
// what the simulator cannot produce, the limits on silence and length) and
// against the simulated board on a pty (each of its faults, the pacing).

#include <gtest/gtest.h>

#include <sstream>

#include "common/Clock.h"
#include "manager/Global.h"
#include "tests/tools/siusim/SimHarness.h"
#include "tests/transport/ScriptedPort.h"

using siutest::LinkUnderTest;
using siutest::Script;
using siutest::ScriptedLink;

namespace {

const std::string FRAME_AB = "\x02\x41\x42\x03\x02";
const int S = siutest::ScriptedPort::SILENCE;

// ACK and a reply frame of n 'x': an even number of them cancels out of the check.
std::string longReply(size_t n) {
    return "\x06\x02" + std::string(n, 'x') + "\x03" + char(n % 2 ? 0x01 ^ 'x' : 0x01);
}

}  // namespace

TEST(NorvaDiretoExchange, ReportsEachOutcomeTheSimulatorCannotProduce) {
    const struct {
        const char* name;
        Script answer;
        int expected;
        std::string reply;
        std::deque<int> writeResults = {};
    } cases[] = {
        {"clean", {0x06, 0x02, 0x31, 0x32, 0x03, 0x02}, 0, "\x31\x32"},
        {"wrong STX", {0x06, 0x41}, ERR_SER_STX, ""},
        {"read fails", {0x06, 0x02, ERR_SER_READ_FAILED}, ERR_SER_TIMEOUT, ""},
        {"write fails", {}, ERR_SER_TIMEOUT, "", {ERR_SER_WRITE_FAILED}},
        {"short write", {}, ERR_SER_TIMEOUT, "", {3}},
        {"4 empty reads", {0x06, 0x02, '1', S, S, S, S, '2', 0x03, 0x02}, 0, "12"},
        {"5 empty reads", {0x06, 0x02, '1', S, S, S, S, S, '2', 0x03, 0x02}, ERR_SER_TIMEOUT, ""},
        // ACK, STX, data, ETX and BCC: 1000 bytes fill the work area exactly.
        {"1000 bytes", longReply(996), 0, std::string(996, 'x')},
        {"1001 bytes", longReply(997), ERR_SER_INVALID_SIZE, ""},
        {"endless noise", std::string(5000, 'x'), ERR_SER_INVALID_SIZE, ""},
    };
    for (const auto& c : cases) {
        ScriptedLink s(c.answer);
        s.port->writeResults = c.writeResults;
        std::string reply = "untouched";
        EXPECT_EQ(s.link.exchange(false, "AB", &reply), c.expected) << c.name;
        EXPECT_EQ(reply, c.reply) << c.name;
        const std::vector<std::string> acked{FRAME_AB, "\x06"}, refused{FRAME_AB};
        EXPECT_EQ(s.port->writes, c.expected == 0 ? acked : refused) << c.name;
    }
}

TEST(NorvaDiretoExchange, RefusesCommandsThatDoNotFitTheFrame) {
    ScriptedLink s;
    EXPECT_EQ(s.link.exchange(false, std::string(998, 'x')), ERR_SER_INVALID_SIZE);
    EXPECT_TRUE(s.port->writes.empty());
    EXPECT_EQ(s.link.exchange(false, std::string(997, 'x')), ERR_SER_TIMEOUT);
    EXPECT_EQ(s.port->writes.at(0).size(), 1000u);
    EXPECT_EQ(s.link.protocolNorvaDireto(0, nullptr, 2, nullptr, nullptr), ERR_GEN_INVALID_POINTER);
}

TEST(NorvaDiretoExchange, EndsACommandWithoutReplyAtTheAck) {
    ScriptedLink s(std::string("\x06\x02\x31\x32\x03\x02"));
    unsigned char ab[] = {'A', 'B'};
    int replyLen = -1;
    EXPECT_EQ(s.link.protocolNorvaDireto(0, ab, 2, nullptr, &replyLen), 0);
    EXPECT_EQ(replyLen, 0);
    EXPECT_EQ(s.port->readCalls, 1);
}

TEST(NorvaDiretoOverALine, ExchangesWithTheSimulatedBoardThroughEachFault) {
    simtest::Sim board(simtest::Wire::Direct);
    ASSERT_EQ(board.control("set-reply 1 2"), "OK");
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
        EXPECT_EQ(reply, c.expected == 0 ? "\x31\x32" : "") << c.fault;
        link.getPort()->Flush(5);
    }
    EXPECT_EQ(board.control("records").substr(0, 5), "OK 8 ");
}

TEST(NorvaDiretoPacing, KeepsHalfASecondBetweenCommandsByDefaultAndNoneWhenSetToZero) {
    simtest::Sim board(simtest::Wire::Direct);
    LinkUnderTest link(std::make_unique<CommUart>(), 100);
    ASSERT_EQ(link.openSerial(board.link(), 115200), 0);
    link.useDefaultInterval();
    ASSERT_EQ(link.exchange(false, "L1"), 0);
    ASSERT_EQ(link.exchange(false, "L1"), 0);
    link.setInterval(0);
    const uint64_t start = GetMonotonicTickMs();
    ASSERT_EQ(link.exchange(false, "L1"), 0);
    EXPECT_LT(GetMonotonicTickMs() - start, 400u);
    std::istringstream words(board.control("records"));
    std::string ok, count, command;
    double first = 0, second = 0;
    words >> ok >> count >> first >> command >> second;
    EXPECT_EQ(count, "3");
    EXPECT_GE(second - first, 500.0);
}
