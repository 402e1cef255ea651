// Both framings' exchanges against a scripted board (byte-exact frames, what
// the simulator cannot produce, the NACK limit, both sides of the attempt
// budgets and of the work-area bound, port failures) and against the simulated
// board on a pty (each of its faults, the pacing).

#include <sstream>

#include "common/Clock.h"
#include "manager/Global.h"
#include "tests/tools/siusim/SimHarness.h"
#include "tests/transport/ScriptedPort.h"

using siutest::LinkUnderTest;
using siutest::Script;
using siutest::ScriptedLink;

namespace {

const std::string DIRETO_AB = "\x02\x41\x42\x03\x02", RS485_AB = "\x04\x48\x29\x02\x41\x42\x03\x67";
const std::string ACK = "\x06", NACK = "\x15";
const int S = siutest::ScriptedPort::SILENCE;

// ACK and a point-to-point reply of n 'x': an even number of them cancels out of the check.
std::string longReply(size_t n) {
    return "\x06\x02" + std::string(n, 'x') + "\x03" + char(n % 2 ? 0x01 ^ 'x' : 0x01);
}

// SOH, header, data, ETX and a check that is right unless spoiled.
std::string reply(const std::string& data, bool spoiled = false) {
    std::string frame = "\x01H)0" + data + "\x03";
    char bcc = spoiled ? 0x7f : 0;
    for (char c : frame) bcc ^= c;
    return frame + bcc;
}

}  // namespace

// What the simulator cannot produce, and the limits of each framing.
TEST(ScriptedExchange, EachFramingReportsEveryOutcomeWithinItsLimits) {
    const std::string good = ACK + reply("12"), bad = reply("12", true), d12("12\0", 3);
    const std::string d = DIRETO_AB, f = RS485_AB, x993(993, 'x');
    const int WRITE_FAILED = ERR_SER_WRITE_FAILED, REFUSED = ERR_CMD_NOT_SUPPORTED,
              TIMEOUT = ERR_SER_TIMEOUT;
    const bool P2P = false, RS485 = true;
    const struct {
        bool rs485;
        const char* name;
        Script answer;
        int expected;
        std::string reply;
        std::vector<std::string> writes;
        std::deque<int> writeResults = {};
        int rxTimeout = 1000, txTimeout = 1000;
    } cases[] = {
        {P2P, "clean", {0x06, 0x02, 0x31, 0x32, 0x03, 0x02}, 0, "12", {d, ACK}},
        {P2P, "wrong STX", {0x06, 0x41}, ERR_SER_STX, "", {d}},
        {P2P, "read fails", {0x06, 0x02, ERR_SER_READ_FAILED}, TIMEOUT, "", {d}},
        {P2P, "write fails", {}, TIMEOUT, "", {d}, {ERR_SER_WRITE_FAILED}},
        {P2P, "short write", {}, TIMEOUT, "", {d}, {3}},
        {P2P, "4 empty reads", {6, 2, '1', S, S, S, S, '2', 3, 2}, 0, "12", {d, ACK}},
        {P2P, "5 empty reads", {6, 2, '1', S, S, S, S, S, '2', 3, 2}, TIMEOUT, "", {d}},
        // ACK, STX, data, ETX and BCC: 1000 bytes fill the work area exactly.
        {P2P, "1000 bytes", longReply(996), 0, std::string(996, 'x'), {d, ACK}},
        {P2P, "1001 bytes", longReply(997), ERR_SER_INVALID_SIZE, "", {d}},
        {P2P, "endless noise", std::string(5000, 'x'), ERR_SER_INVALID_SIZE, "", {d}},
        {RS485, "clean", good, 0, d12, {f, ACK}},
        // An ETX among the header bytes is header.
        {RS485, "empty", ACK + "\x01\x03\x03\x03\x03\x01", 0, {'\0'}, {f, ACK}},
        {RS485, "2 NACKs", NACK + NACK + good, 0, d12, {f, f, f, ACK}},
        {RS485, "3 NACKs", NACK + NACK + NACK + good, REFUSED, "", {f, f, f}},
        // Received and sent NACKs count together.
        {RS485, "NACK and 2 bad", NACK + ACK + bad + bad + reply("12"), REFUSED, "", {f, f, NACK}},
        {RS485, "read fails", {0x06, 0x01, ERR_SER_READ_FAILED}, ERR_SER_READ_FAILED, "", {f}},
        {RS485, "frame unwritten", {}, WRITE_FAILED, "", {f}, {WRITE_FAILED}},
        {RS485, "ACK unwritten", good, WRITE_FAILED, "", {f, ACK}, {8, WRITE_FAILED}},
        {RS485, "NACK unwritten", ACK + bad, WRITE_FAILED, "", {f, NACK}, {8, WRITE_FAILED}},
        // 500 ms time-outs give 1000 / 500 + 1 = 3 tries, reads or writes.
        {RS485, "2 silences", {6, 1, 'H', ')', S, S, '0', 3, 0x53}, 0, {'\0'}, {f, ACK}, {}, 500},
        {RS485, "3 silences", {6, 1, 'H', ')', S, S, S, '0', 3, 0x53}, TIMEOUT, "", {f}, {}, 500},
        {RS485, "3 unwritten", good, 0, d12, {f, f, f, f, ACK}, {0, 0, 0}, 1000, 500},
        {RS485, "4 unwritten", good, TIMEOUT, "", {f, f, f, f}, {0, 0, 0, 0}, 1000, 500},
        {RS485, "no time-outs", {}, TIMEOUT, "", {f}, {}, 0, -5},
        // The ACK and a reply of 999 bytes fill the work area exactly.
        {RS485, "1000 bytes", ACK + reply(x993), 0, x993 + '\0', {f, ACK}},
        {RS485, "1001 bytes", ACK + reply(x993 + 'x'), ERR_SER_INVALID_SIZE, "", {f}},
        {RS485, "endless noise", std::string(5000, 'x'), ERR_SER_INVALID_SIZE, "", {f}},
    };
    for (const auto& c : cases) {
        ScriptedLink s(c.answer, c.rxTimeout, c.txTimeout);
        s.port->writeResults = c.writeResults;
        std::string got = "untouched";
        EXPECT_EQ(s.link.exchange(c.rs485, "AB", &got), c.expected) << c.name;
        EXPECT_EQ(got, c.reply) << c.name;
        EXPECT_EQ(s.port->writes, c.writes) << c.name;
    }
}

// The largest command that fits each frame goes out whole; one byte more is
// refused before anything is written.
TEST(ProtocolExchange, RefusesCommandsThatDoNotFitTheFrameOrLackABuffer) {
    for (auto [rs485, fits] : {std::pair{false, 997}, {true, 994}}) {
        ScriptedLink s;
        EXPECT_EQ(s.link.exchange(rs485, std::string(fits + 1, 'x')), ERR_SER_INVALID_SIZE);
        EXPECT_TRUE(s.port->writes.empty());
        EXPECT_EQ(s.link.exchange(rs485, std::string(fits, 'x')), ERR_SER_TIMEOUT);
        EXPECT_EQ(s.port->writes.at(0).size(), 1000u);
    }
    ScriptedLink s;
    EXPECT_EQ(s.link.protocolNorvaDireto(0, nullptr, 2, nullptr, nullptr), ERR_GEN_INVALID_POINTER);
    EXPECT_EQ(s.link.protocolNorva485(0, nullptr, 1, nullptr, nullptr), ERR_GEN_INVALID_POINTER);
}

TEST(ProtocolExchange, EndsACommandWithoutReplyAtTheAck) {
    ScriptedLink direto(std::string("\x06\x02\x31\x32\x03\x02")), rs485(ACK + reply("12"));
    unsigned char ab[] = {'A', 'B'}, l1[] = {'L', '1'};
    int replyLen = -1;
    EXPECT_EQ(direto.link.protocolNorvaDireto(0, ab, 2, nullptr, &replyLen), 0);
    EXPECT_EQ(replyLen, 0);
    EXPECT_EQ(direto.port->readCalls, 1);
    // An L command leaves the outputs alone.
    unsigned char* received = l1;
    replyLen = -1;
    EXPECT_EQ(rs485.link.protocolNorva485(0, l1, 2, &received, &replyLen), 0);
    EXPECT_EQ(received, l1);
    EXPECT_EQ(replyLen, -1);
    EXPECT_EQ(rs485.port->writes.size(), 1u);
}

TEST(ProtocolOverALine, ExchangesWithTheSimulatedBoardThroughEachFault) {
    const std::vector<std::pair<const char*, int>> direto = {
        {"none", 0},     {"nack", ERR_SER_NACK},  {"no-ack", 0},           {"noise", 0},
        {"bad-bcc", ERR_SER_BCC_WRONG}, {"silent", ERR_SER_TIMEOUT}, {"garbage", ERR_SER_ACK},
        {"drop", ERR_SER_TIMEOUT}};
    const std::vector<std::pair<const char*, int>> rs485 = {
        {"none", 0},       {"no-ack", 0}, {"noise", 0},
        {"nack 2", 0},     {"bad-bcc 2", 0},
        {"nack 3", ERR_CMD_NOT_SUPPORTED}, {"bad-bcc 3", ERR_CMD_NOT_SUPPORTED},
        {"silent", ERR_SER_TIMEOUT},       {"drop", ERR_SER_TIMEOUT}};
    for (bool is485 : {false, true}) {
        SCOPED_TRACE(is485 ? "RS-485" : "point-to-point");
        simtest::Sim board(is485 ? simtest::Wire::Rs485 : simtest::Wire::Direct);
        ASSERT_EQ(board.control("set-reply 1 2"), "OK");
        LinkUnderTest link(std::make_unique<CommUart>(), 100, is485 ? 100 : 1000);
        ASSERT_EQ(link.openSerial(board.link(), 115200), 0);
        if (is485) {
            EXPECT_EQ(link.exchange(true, "L12"), 0);
            EXPECT_EQ(board.output("leds").substr(0, 5), "12000");
        }
        // The dropped line comes last: the port does not follow it.
        for (const auto& [fault, expected] : is485 ? rs485 : direto) {
            ASSERT_EQ(board.control(std::string("fault ") + fault).substr(0, 2), "OK");
            std::string got;
            EXPECT_EQ(link.exchange(is485, "1", &got), expected) << fault;
            EXPECT_EQ(got, expected != 0 ? "" : is485 ? std::string("12\0", 3) : "12") << fault;
            board.control("fault none");
            link.getPort()->Flush(5);
        }
        if (!is485) {
            EXPECT_EQ(board.control("records").substr(0, 5), "OK 8 ");
        }
    }
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
