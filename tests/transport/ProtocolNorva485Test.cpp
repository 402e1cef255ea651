// The RS-485 exchange against a scripted board (byte-exact frames, the NACK
// limit, both sides of the attempt budgets and of the work-area bound, port
// failures) and against the simulated board on a pty (each of its faults).

#include <gtest/gtest.h>

#include "manager/Global.h"
#include "tests/tools/siusim/SimHarness.h"
#include "tests/transport/ScriptedPort.h"

using siutest::LinkUnderTest;
using siutest::Script;
using siutest::ScriptedLink;

namespace {

const std::string FRAME_AB = "\x04\x48\x29\x02\x41\x42\x03\x67";
const std::string ACK = "\x06", NACK = "\x15";
const int S = siutest::ScriptedPort::SILENCE;

// SOH, header, data, ETX and a check that is right unless spoiled.
std::string reply(const std::string& data, bool spoiled = false) {
    std::string frame = "\x01H)0" + data + "\x03";
    char bcc = spoiled ? 0x7f : 0;
    for (char c : frame) bcc ^= c;
    return frame + bcc;
}

}  // namespace

TEST(Norva485Exchange, ReportsEachOutcomeWithinItsLimits) {
    const std::string good = ACK + reply("12"), bad = reply("12", true), d12("12\0", 3);
    const std::string f = FRAME_AB, x993(993, 'x');
    const int WRITE_FAILED = ERR_SER_WRITE_FAILED, REFUSED = ERR_CMD_NOT_SUPPORTED;
    const struct {
        const char* name;
        Script answer;
        int expected;
        std::string reply;
        std::vector<std::string> writes;
        std::deque<int> writeResults = {};
        int rxTimeout = 1000, txTimeout = 1000;
    } cases[] = {
        {"clean", good, 0, d12, {f, ACK}},
        // An ETX among the header bytes is header.
        {"empty", ACK + "\x01\x03\x03\x03\x03\x01", 0, {'\0'}, {f, ACK}},
        {"2 NACKs", NACK + NACK + good, 0, d12, {f, f, f, ACK}},
        {"3 NACKs", NACK + NACK + NACK + good, REFUSED, "", {f, f, f}},
        // Received and sent NACKs count together.
        {"NACK and 2 bad", NACK + ACK + bad + bad + reply("12"), REFUSED, "", {f, f, NACK}},
        {"read fails", {0x06, 0x01, ERR_SER_READ_FAILED}, ERR_SER_READ_FAILED, "", {f}},
        {"frame unwritten", {}, WRITE_FAILED, "", {f}, {WRITE_FAILED}},
        {"ACK unwritten", good, WRITE_FAILED, "", {f, ACK}, {8, WRITE_FAILED}},
        {"NACK unwritten", ACK + bad, WRITE_FAILED, "", {f, NACK}, {8, WRITE_FAILED}},
        // 500 ms time-outs give 1000 / 500 + 1 = 3 tries, reads or writes.
        {"2 silences", {0x06, 0x01, 'H', ')', S, S, '0', 3, 0x53}, 0, {'\0'}, {f, ACK}, {}, 500},
        {"3 silences",
         {0x06, 0x01, 'H', ')', S, S, S, '0', 3, 0x53},
         ERR_SER_TIMEOUT,
         "",
         {f},
         {},
         500},
        {"3 unwritten", good, 0, d12, {f, f, f, f, ACK}, {0, 0, 0}, 1000, 500},
        {"4 unwritten", good, ERR_SER_TIMEOUT, "", {f, f, f, f}, {0, 0, 0, 0}, 1000, 500},
        {"no time-outs", {}, ERR_SER_TIMEOUT, "", {f}, {}, 0, -5},
        // The ACK and a reply of 999 bytes fill the work area exactly.
        {"1000 bytes", ACK + reply(x993), 0, x993 + '\0', {f, ACK}},
        {"1001 bytes", ACK + reply(x993 + 'x'), ERR_SER_INVALID_SIZE, "", {f}},
        {"endless noise", std::string(5000, 'x'), ERR_SER_INVALID_SIZE, "", {f}},
    };
    for (const auto& c : cases) {
        ScriptedLink s(c.answer, c.rxTimeout, c.txTimeout);
        s.port->writeResults = c.writeResults;
        std::string got = "untouched";
        EXPECT_EQ(s.link.exchange(true, "AB", &got), c.expected) << c.name;
        EXPECT_EQ(got, c.reply) << c.name;
        EXPECT_EQ(s.port->writes, c.writes) << c.name;
    }
    ScriptedLink s;
    EXPECT_EQ(s.link.exchange(true, std::string(995, 'x')), ERR_SER_INVALID_SIZE);
    EXPECT_TRUE(s.port->writes.empty());
    EXPECT_EQ(s.link.protocolNorva485(0, nullptr, 1, nullptr, nullptr), ERR_GEN_INVALID_POINTER);
}

TEST(Norva485Exchange, EndsAnLCommandAtTheAckLeavingTheOutputsAlone) {
    ScriptedLink s(ACK + reply("12"));
    unsigned char command[] = {'L', '1'};
    unsigned char* received = command;
    int replyLen = -1;
    EXPECT_EQ(s.link.protocolNorva485(0, command, 2, &received, &replyLen), 0);
    EXPECT_EQ(received, command);
    EXPECT_EQ(replyLen, -1);
    EXPECT_EQ(s.port->writes.size(), 1u);
}

TEST(Norva485OverALine, ExchangesWithTheSimulatedBoardThroughEachFault) {
    simtest::Sim board(simtest::Wire::Rs485);
    ASSERT_EQ(board.control("set-reply 1 2"), "OK");
    LinkUnderTest link(std::make_unique<CommUart>(), 100, 100);
    ASSERT_EQ(link.openSerial(board.link(), 115200), 0);
    EXPECT_EQ(link.exchange(true, "L12"), 0);
    EXPECT_EQ(board.output("leds").substr(0, 5), "12000");
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
        EXPECT_EQ(got, c.expected == 0 ? std::string("12\0", 3) : "") << c.fault;
        board.control("fault none");
        link.getPort()->Flush(5);
    }
}
