// The RS-485 exchange against a scripted board (every outcome, the NACK
// limit, both sides of the attempt budgets and of the work-area bound) and
// against the simulated board on a pty.

#include <gtest/gtest.h>

#include "manager/Global.h"
#include "tests/transport/ScriptedPort.h"
#include "tests/transport/SimulatedBoard.h"

using siutest::LinkUnderTest;
using siutest::ScriptedLink;
using siutest::ScriptedPort;

namespace {

const std::string FRAME_AB = std::string("\x04\x48\x29\x02") + "AB\x03\x67";
const std::string ACK = "\x06";
const std::string NACK = "\x15";
const std::string DATA_12 = std::string("12\0", 3);
const int S = ScriptedPort::SILENCE;

// SOH, header, data, ETX and a check that is right unless spoiled.
std::string reply(const std::string& data, bool spoiled = false) {
    std::string frame = "\x01H)0" + data + "\x03";
    char bcc = spoiled ? 0x7f : 0;
    for (char c : frame) bcc ^= c;
    return frame + bcc;
}

}  // namespace

TEST(Norva485Exchange, HandsOverTheReplyWithANulAndAcknowledgesIt) {
    // Noise before the ACK and between ACK and SOH is skipped.
    for (const std::string& answer :
         {ACK + reply("12"), reply("12"), "\x7f" + ACK + "\x7f" + reply("12")}) {
        ScriptedLink s;
        s.port->answer(answer);
        std::string got;
        EXPECT_EQ(s.link.exchange(true, "AB", &got), 0);
        EXPECT_EQ(got, DATA_12);
        EXPECT_EQ(s.port->writes, (std::vector<std::string>{FRAME_AB, ACK}));
        EXPECT_EQ(s.port->flushes, std::vector<unsigned char>{5});
    }
}

TEST(Norva485Exchange, HandsOverAnEmptyReplyAndTakesEveryHeaderByteAsHeader) {
    for (const std::string& answer : {reply(""), std::string("\x01\x03\x03\x03\x03\x01")}) {
        ScriptedLink s;
        s.port->answer(ACK + answer);
        std::string got;
        EXPECT_EQ(s.link.exchange(true, "AB", &got), 0);
        EXPECT_EQ(got, std::string(1, '\0'));
    }
}

TEST(Norva485Exchange, EndsAnLCommandAtTheAckLeavingTheOutputsAlone) {
    ScriptedLink s;
    s.port->answer(ACK + reply("12"));
    unsigned char command[] = {'L', '1'};
    unsigned char* received = command;
    int replyLen = -1;
    EXPECT_EQ(s.link.protocolNorva485(0, command, 2, &received, &replyLen), 0);
    EXPECT_EQ(received, command);
    EXPECT_EQ(replyLen, -1);
    EXPECT_EQ(s.port->writes.size(), 1u);
}

TEST(Norva485Exchange, CountsReceivedAndSentNacksTogetherUpToTwo) {
    const struct {
        std::string answer;
        int expected;
        std::vector<std::string> writes;
    } cases[] = {
        {NACK + NACK + ACK + reply("12"), 0, {FRAME_AB, FRAME_AB, FRAME_AB, ACK}},
        {NACK + NACK + NACK + ACK + reply("12"),
         ERR_CMD_NOT_SUPPORTED,
         {FRAME_AB, FRAME_AB, FRAME_AB}},
        {ACK + reply("12", true) + reply("12"), 0, {FRAME_AB, NACK, ACK}},
        {NACK + ACK + reply("12", true) + reply("12", true) + reply("12"),
         ERR_CMD_NOT_SUPPORTED,
         {FRAME_AB, FRAME_AB, NACK}},
    };
    for (const auto& c : cases) {
        ScriptedLink s;
        s.port->answer(c.answer);
        std::string got;
        EXPECT_EQ(s.link.exchange(true, "AB", &got), c.expected);
        EXPECT_EQ(got, c.expected == 0 ? DATA_12 : "");
        EXPECT_EQ(s.port->writes, c.writes);
    }
}

TEST(Norva485Exchange, NamesTheFailingPortCall) {
    const struct {
        std::vector<int> answer;
        std::deque<int> writeResults;
        int expected;
    } cases[] = {
        {{0x06, 0x01, ERR_SER_READ_FAILED}, {}, ERR_SER_READ_FAILED},
        {{}, {ERR_SER_WRITE_FAILED}, ERR_SER_WRITE_FAILED},
        {{0x06, 0x01, 'H', ')', '0', 0x03, 0x01 ^ 'H' ^ ')' ^ '0' ^ 0x03},
         {8, ERR_SER_WRITE_FAILED},
         ERR_SER_WRITE_FAILED},
        {{0x06, 0x01, 'H', ')', '0', 0x03, 0x00}, {8, ERR_SER_WRITE_FAILED}, ERR_SER_WRITE_FAILED},
    };
    for (const auto& c : cases) {
        ScriptedLink s;
        s.port->reads.assign(c.answer.begin(), c.answer.end());
        s.port->writeResults = c.writeResults;
        std::string got;
        EXPECT_EQ(s.link.exchange(true, "AB", &got), c.expected);
        EXPECT_EQ(got, "");
    }
}

TEST(Norva485Budget, AllowsASecondOfSilenceBetweenBytes) {
    // A 500 ms receive time-out gives 1000 / 500 + 1 = 3 reads.
    for (int silences : {2, 3}) {
        ScriptedLink s(500);
        s.port->reads.assign(silences, S);
        s.port->answer(ACK + "\x01H)");
        s.port->answer({S, S});
        s.port->answer("0\x03" + reply("").substr(5));
        EXPECT_EQ(s.link.exchange(true, "AB"), silences == 2 ? 0 : ERR_SER_TIMEOUT) << silences;
    }
}

TEST(Norva485Budget, RetriesAnUnwrittenFrameForASecond) {
    // A 500 ms send time-out gives 3 further tries, 100 ms apart.
    for (int unwritten : {3, 4}) {
        ScriptedLink s(1000, 500);
        s.port->writeResults.assign(unwritten, 0);
        s.port->answer(ACK + reply("12"));
        EXPECT_EQ(s.link.exchange(true, "AB"), unwritten == 3 ? 0 : ERR_SER_TIMEOUT) << unwritten;
        EXPECT_EQ(s.port->writes.size(), unwritten == 3 ? 5u : 4u);
    }
}

TEST(Norva485Budget, TakesTheDefaultTimeOutForZeroOrNegativeOnes) {
    ScriptedLink s(0, -5);
    EXPECT_EQ(s.link.exchange(true, "AB"), ERR_SER_TIMEOUT);
    EXPECT_EQ(s.port->readCalls, 1000 / 50 + 1);
}

TEST(Norva485Bound, AcceptsAThousandBytesAfterTheFrameAndNoMore) {
    // The ACK and a reply of 999 bytes fill the work area exactly.
    for (size_t dataLen : {993, 994}) {
        ScriptedLink s;
        s.port->answer(ACK + reply(std::string(dataLen, 'x')));
        std::string got;
        EXPECT_EQ(s.link.exchange(true, "AB", &got), dataLen == 993 ? 0 : ERR_SER_INVALID_SIZE);
        EXPECT_EQ(got.size(), dataLen == 993 ? 994u : 0u);
    }
    // Skipped bytes count as well, so noise cannot keep the exchange alive.
    ScriptedLink noise;
    noise.port->answer(std::string(5000, 'x'));
    EXPECT_EQ(noise.link.exchange(true, "AB"), ERR_SER_INVALID_SIZE);
    EXPECT_EQ(noise.port->readCalls, 1000);

    ScriptedLink s;
    EXPECT_EQ(s.link.exchange(true, std::string(995, 'x')), ERR_SER_INVALID_SIZE);
    EXPECT_TRUE(s.port->writes.empty());
    EXPECT_EQ(s.link.protocolNorva485(0, nullptr, 1, nullptr, nullptr), ERR_GEN_INVALID_POINTER);
}

TEST(Norva485OverALine, ExchangesWithTheSimulatedBoardThroughEachFault) {
    siutest::SimulatedBoard board("485");
    ASSERT_EQ(board.control("set-reply 1 2").substr(0, 2), "OK");
    LinkUnderTest link(std::make_unique<CommUart>(), 100, 100);
    ASSERT_EQ(link.openSerial(board.link(), 115200), 0);
    EXPECT_EQ(link.exchange(true, "L12"), 0);
    EXPECT_EQ(board.control("outputs").substr(0, 13), "OK leds=12000");

    // The dropped line comes last: the port does not follow it.
    const struct {
        const char* fault;
        int expected;
    } cases[] = {{"none", 0},
                 {"no-ack", 0},
                 {"noise", 0},
                 {"nack 2", 0},
                 {"bad-bcc 2", 0},
                 {"nack 3", ERR_CMD_NOT_SUPPORTED},
                 {"bad-bcc 3", ERR_CMD_NOT_SUPPORTED},
                 {"silent", ERR_SER_TIMEOUT},
                 {"drop", ERR_SER_TIMEOUT}};
    for (const auto& c : cases) {
        ASSERT_EQ(board.control(std::string("fault ") + c.fault).substr(0, 2), "OK");
        std::string got;
        EXPECT_EQ(link.exchange(true, "1", &got), c.expected) << c.fault;
        EXPECT_EQ(got, c.expected == 0 ? DATA_12 : "") << c.fault;
        board.control("fault none");
        link.port()->Flush(5);
    }
}
