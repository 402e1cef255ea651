// The RS-485 exchange against a scripted board: every outcome, the NACK
// limit, both sides of the attempt budgets and of the work-area bound.

#include <gtest/gtest.h>

#include "manager/Global.h"
#include "tests/transport/ScriptedPort.h"
#include "tests/transport/SimulatedBoard.h"

using siutest::LinkUnderTest;
using siutest::ScriptedPort;

namespace {

const std::string FRAME_AB =
    "\x04\x48\x29\x02"
    "AB\x03\x67";
const std::string ACK = "\x06";
const std::string NACK = "\x15";
const int S = ScriptedPort::SILENCE;

// SOH, header, data, ETX and a check that is right unless spoiled.
std::string reply(const std::string& data, bool spoiled = false) {
    std::string frame = "\x01H)0" + data + "\x03";
    char bcc = spoiled ? 0x7f : 0;
    for (char c : frame) bcc ^= c;
    return frame + bcc;
}

struct Rs485 {
    explicit Rs485(int rxTimeoutMs = 1000, int txTimeoutMs = 1000)
        : port(new ScriptedPort), link(std::unique_ptr<CommBase>(port), rxTimeoutMs, txTimeoutMs) {}

    int run(std::string command = "AB") {
        received = reinterpret_cast<unsigned char*>(&sentinel);
        replyLen = -1;
        int rc = link.protocolNorva485(3, reinterpret_cast<unsigned char*>(&command[0]),
                                       static_cast<int>(command.size()), &received, &replyLen);
        if (received != reinterpret_cast<unsigned char*>(&sentinel)) {
            replied.assign(received, received + replyLen + 1);
            delete[] received;
        }
        return rc;
    }

    ScriptedPort* port;
    LinkUnderTest link;
    unsigned char* received = nullptr;
    char sentinel = 0;
    int replyLen = -1;
    std::string replied;  // data and the NUL after it; empty when nothing was handed over
};

}  // namespace

TEST(Norva485Exchange, HandsOverTheReplyWithANulAndAcknowledgesIt) {
    for (const std::string& answer : {ACK + reply("12"), reply("12")}) {
        Rs485 r;
        r.port->answer(answer);
        EXPECT_EQ(r.run(), 0);
        EXPECT_EQ(r.replied, std::string("12\0", 3));
        EXPECT_EQ(r.replyLen, 2);
        EXPECT_EQ(r.port->writes, (std::vector<std::string>{FRAME_AB, ACK}));
        EXPECT_EQ(r.port->flushes, std::vector<unsigned char>{5});
    }
}

TEST(Norva485Exchange, HandsOverAnEmptyReplyAndTakesEveryHeaderByteAsHeader) {
    Rs485 r;
    r.port->answer("\x7f" + ACK + "\x7f" + reply(""));
    EXPECT_EQ(r.run(), 0);
    EXPECT_EQ(r.replyLen, 0);
    EXPECT_EQ(r.replied, std::string(1, '\0'));

    Rs485 h;
    std::string header = "\x01\x03\x03\x03\x03";
    h.port->answer(ACK + header + static_cast<char>(0x01));
    EXPECT_EQ(h.run(), 0);
    EXPECT_EQ(h.replyLen, 0);
}

TEST(Norva485Exchange, EndsAnLCommandAtTheAckLeavingTheOutputsAlone) {
    Rs485 r;
    r.port->answer(ACK + reply("12"));
    EXPECT_EQ(r.run("LAB"), 0);
    EXPECT_EQ(r.replyLen, -1);
    EXPECT_TRUE(r.replied.empty());
    EXPECT_EQ(r.port->writes.size(), 1u);
}

TEST(Norva485Exchange, ResendsOnNackAndGivesUpAfterTheThird) {
    Rs485 twice;
    twice.port->answer(NACK + NACK + ACK + reply("12"));
    EXPECT_EQ(twice.run(), 0);
    EXPECT_EQ(twice.port->writes, (std::vector<std::string>{FRAME_AB, FRAME_AB, FRAME_AB, ACK}));

    Rs485 thrice;
    thrice.port->answer(NACK + NACK + NACK + ACK + reply("12"));
    EXPECT_EQ(thrice.run(), ERR_CMD_NOT_SUPPORTED);
    EXPECT_EQ(thrice.port->writes, (std::vector<std::string>{FRAME_AB, FRAME_AB, FRAME_AB}));
    EXPECT_TRUE(thrice.replied.empty());
}

TEST(Norva485Exchange, NacksABadChecksumAndCountsItWithReceivedNacks) {
    Rs485 retried;
    retried.port->answer(ACK + reply("12", true) + reply("12"));
    EXPECT_EQ(retried.run(), 0);
    EXPECT_EQ(retried.replied, std::string("12\0", 3));
    EXPECT_EQ(retried.port->writes, (std::vector<std::string>{FRAME_AB, NACK, ACK}));

    Rs485 mixed;
    mixed.port->answer(NACK + ACK + reply("12", true) + reply("12", true) + reply("12"));
    EXPECT_EQ(mixed.run(), ERR_CMD_NOT_SUPPORTED);
    EXPECT_EQ(mixed.port->writes, (std::vector<std::string>{FRAME_AB, FRAME_AB, NACK}));
}

TEST(Norva485Exchange, NamesTheFailingPortCall) {
    Rs485 reading;
    reading.port->answer({0x06, 0x01, ERR_SER_READ_FAILED});
    EXPECT_EQ(reading.run(), ERR_SER_READ_FAILED);

    Rs485 sending;
    sending.port->writeResults = {ERR_SER_WRITE_FAILED};
    EXPECT_EQ(sending.run(), ERR_SER_WRITE_FAILED);

    Rs485 acknowledging;
    acknowledging.port->answer(ACK + reply("12"));
    acknowledging.port->writeResults = {8, ERR_SER_WRITE_FAILED};
    EXPECT_EQ(acknowledging.run(), ERR_SER_WRITE_FAILED);

    Rs485 refusing;
    refusing.port->answer(ACK + reply("12", true));
    refusing.port->writeResults = {8, ERR_SER_WRITE_FAILED};
    EXPECT_EQ(refusing.run(), ERR_SER_WRITE_FAILED);
    EXPECT_TRUE(refusing.replied.empty());
}

TEST(Norva485Budget, AllowsASecondOfSilenceBetweenBytes) {
    // A 500 ms receive time-out gives 1000 / 500 + 1 = 3 reads.
    for (int silences : {2, 3}) {
        Rs485 r(500);
        r.port->answer({S, S});
        if (silences == 3) r.port->answer({S});
        r.port->answer(ACK + "\x01H)");
        r.port->answer({S, S});
        r.port->answer("0\x03" + reply("").substr(5));
        EXPECT_EQ(r.run(), silences == 2 ? 0 : ERR_SER_TIMEOUT) << silences;
    }
}

TEST(Norva485Budget, RetriesAnUnwrittenFrameForASecond) {
    // A 500 ms send time-out gives 3 further tries, 100 ms apart.
    for (int unwritten : {3, 4}) {
        Rs485 r(1000, 500);
        r.port->writeResults.assign(unwritten, 0);
        r.port->answer(ACK + reply("12"));
        EXPECT_EQ(r.run(), unwritten == 3 ? 0 : ERR_SER_TIMEOUT) << unwritten;
        EXPECT_EQ(r.port->writes.size(), unwritten == 3 ? 5u : 4u);
    }
}

TEST(Norva485Budget, TakesTheDefaultTimeOutForZeroOrNegativeOnes) {
    Rs485 r(0, -5);
    EXPECT_EQ(r.run(), ERR_SER_TIMEOUT);
    EXPECT_EQ(r.port->readCalls, 1000 / 50 + 1);
}

TEST(Norva485Bound, AcceptsAThousandBytesAfterTheFrameAndNoMore) {
    // ACK and a reply of 999 bytes fill the work area exactly.
    Rs485 full;
    full.port->answer(ACK + reply(std::string(993, 'x')));
    EXPECT_EQ(full.run(), 0);
    EXPECT_EQ(full.replyLen, 993);

    Rs485 over;
    over.port->answer(ACK + reply(std::string(994, 'x')));
    EXPECT_EQ(over.run(), ERR_SER_INVALID_SIZE);
    EXPECT_TRUE(over.replied.empty());

    // Skipped bytes count as well, so noise cannot keep the exchange alive.
    Rs485 noise;
    noise.port->answer(std::string(5000, 'x'));
    EXPECT_EQ(noise.run(), ERR_SER_INVALID_SIZE);
    EXPECT_EQ(noise.port->readCalls, 1000);
}

TEST(Norva485Exchange, RefusesCommandsThatDoNotFitTheFrame) {
    Rs485 r;
    EXPECT_EQ(r.run(std::string(995, 'x')), ERR_SER_INVALID_SIZE);
    EXPECT_TRUE(r.port->writes.empty());
    EXPECT_EQ(r.link.protocolNorva485(0, nullptr, 1, nullptr, nullptr), ERR_GEN_INVALID_POINTER);
}

TEST(Norva485OverALine, ExchangesWithTheSimulatedBoardThroughEachFault) {
    siutest::SimulatedBoard board("485");
    ASSERT_EQ(board.control("set-reply 1 2").substr(0, 2), "OK");
    LinkUnderTest link(std::make_unique<CommUart>(), 100, 100);
    ASSERT_EQ(link.openSerial(board.link(), 115200), 0);

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
                 {"silent", ERR_SER_TIMEOUT}};
    for (const auto& c : cases) {
        ASSERT_EQ(board.control(std::string("fault ") + c.fault).substr(0, 2), "OK");
        std::string reply;
        EXPECT_EQ(link.exchange(true, "1", &reply), c.expected) << c.fault;
        EXPECT_EQ(reply, c.expected == 0 ? std::string("12\0", 3) : "") << c.fault;
        board.control("fault none");
        link.port()->Flush(5);
    }
    unsigned char lights[] = {'L', '1', '2'};
    unsigned char* untouched = nullptr;
    EXPECT_EQ(link.protocolNorva485(0, lights, 3, &untouched, nullptr), 0);
    EXPECT_EQ(untouched, nullptr);
    EXPECT_EQ(board.control("outputs").substr(0, 13), "OK leds=12000");
}
