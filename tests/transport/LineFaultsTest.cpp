// What the line itself does wrong, in both framings: a board that trickles
// and a write that flow control holds off (the exchange's deadline), and a
// line that goes away under an open service and comes back (simulator killed
// and started again on the same link, as an adapter unplugged and plugged
// back looks).

#include <future>
#include <thread>

#include "TransportTestSupport.h"
#include "tests/tools/siusim/SimHarness.h"
#include "tests/transport/ScriptedPort.h"

using namespace transporttest;
using simtest::Wire;
using siutest::LinkUnderTest;

namespace {

using Clock = std::chrono::steady_clock;
long msSince(Clock::time_point start) {
    return static_cast<long>(
        std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start).count());
}

}  // namespace

// 300 ms receive time-outs. At 115200 baud 8N1 a work area each way takes
// 174 ms, so point-to-point allows 174 + 5 x 300 = 1674 ms and RS-485, which
// may go three rounds, 3 x (174 + 4 x 300) = 4122 ms. The board sends a reply
// of 200 digits one byte every 150 ms: never silent long enough for the
// silence budget, far from the 1000-byte cap, and done only after 30 s.
TEST(ExchangeDeadline, EndsAReplyThatTricklesAtTheDeadlineInBothFramings) {
    for (auto [wire, deadline] : {std::pair{Wire::Direct, 1674L}, {Wire::Rs485, 4122L}}) {
        const bool rs485 = wire == Wire::Rs485;
        simtest::Sim board(wire);
        ASSERT_EQ("OK", board.control("set-reply 1 " + std::string(200, '7')));
        ASSERT_EQ("OK", board.control("fault trickle 1 150").substr(0, 2));
        LinkUnderTest link(std::make_unique<CommUart>(), 300, 300);
        ASSERT_EQ(0, link.openSerial(board.link(), 115200));
        const auto start = Clock::now();
        EXPECT_EQ(ERR_SER_TIMEOUT, link.exchange(rs485, "1")) << rs485;
        const long took = msSince(start);
        EXPECT_GE(took, deadline - 450) << rs485;
        // The deadline is checked as each trickled byte comes in; the margin
        // is for a loaded machine, which may run the caller late.
        EXPECT_LE(took, deadline + 1500) << rs485;
    }
}

// The other side: at 9600 baud a reply of 201 data bytes (the command letter
// and 200 digits) takes about 210 ms on the wire, and a pause in its middle
// within the silence budget (300 ms receive time-outs: three empty reads of
// five point-to-point, two of four on RS-485, with room for a loaded machine)
// still leaves it legal.
TEST(ExchangeDeadline, LetsASlowButLegalReplyAt9600BaudThrough) {
    const std::string digits(200, '7');
    for (Wire wire : {Wire::Direct, Wire::Rs485}) {
        const bool rs485 = wire == Wire::Rs485;
        simtest::Sim board(wire, {"--baud", "9600"});
        ASSERT_EQ("OK", board.control("set-reply 1 " + digits));
        ASSERT_EQ("OK",
                  board.control(rs485 ? "fault stall 1 750" : "fault stall 1 1150").substr(0, 2));
        LinkUnderTest link(std::make_unique<CommUart>(), 300, 300);
        ASSERT_EQ(0, link.openSerial(board.link(), 9600));
        std::string reply;
        EXPECT_EQ(0, link.exchange(rs485, "1", &reply)) << rs485;
        EXPECT_EQ("1" + digits + (rs485 ? std::string(1, '\0') : ""), reply) << rs485;
    }
}

// Software flow control (the letter 'X' switches it on), the board having sent
// XOFF: the host's line takes no byte, so the command's write waits on it. It
// ends at the deadline above with the code of a failed write (RS-485 stops
// writing 100 ms early, for its pause after a failed write), and after XON
// the next command goes through.
TEST(ExchangeDeadline, EndsAWriteThatFlowControlHoldsOffAndTheNextCommandGoesOnAfterXon) {
    const struct {
        bool rs485;
        size_t frameLen;
        long deadline;
        int code;
        const char* reply;  // the reply frame to "1", after the ACK
    } cases[] = {{false, 4, 1674, ERR_SER_TIMEOUT, "\x06\x02K\x03J"},
                 {true, 7, 4122, ERR_SER_WRITE_FAILED,
                  "\x06\x01"
                  "000K\x03y"}};
    for (const auto& c : cases) {
        siutest::PtyLine pty;
        LinkUnderTest link(std::make_unique<CommUart>(), 300, 300);
        ASSERT_EQ(0, link.openSerial(pty.path(), 115200, 'X'));
        ASSERT_TRUE(pty.flow("\x13", false)) << "XOFF did not stop the line";
        const auto start = Clock::now();
        auto held = std::async(std::launch::async, [&] { return link.exchange(c.rs485, "1"); });
        // Bounded, so that a write that waits for good fails the test.
        if (held.wait_for(std::chrono::milliseconds(c.deadline + 1000)) !=
            std::future_status::ready)
            ADD_FAILURE() << c.rs485 << ": the write still waits " << msSince(start) << " ms on";
        const long took = msSince(start);
        ASSERT_TRUE(pty.flow("\x11", true)) << "XON did not start the line";
        EXPECT_EQ(c.code, held.get()) << c.rs485;
        EXPECT_GE(took, c.deadline - 50) << c.rs485;
        EXPECT_LE(took, c.deadline + 300) << c.rs485;

        std::thread board([&] {
            if (pty.receive(c.frameLen).size() == c.frameLen) pty.send(c.reply);
        });
        std::string reply;
        EXPECT_EQ(0, link.exchange(c.rs485, "1", &reply)) << c.rs485;
        EXPECT_EQ(c.rs485 ? std::string("K\0", 2) : "K", reply) << c.rs485;
        board.join();
    }
}

TEST_F(TransportTest, ALostLineFailsAtOnceAndTheNextCommandAfterItsReturnReopensIt) {
    unlink(link.c_str());  // the simulator's link takes the fixture's place
    keys["DeviceIntervalBetweenCommands"] = "0";
    keys["DeviceRxTimeout"] = "300";
    for (Wire wire : {Wire::Direct, Wire::Rs485}) {
        keys["DeviceProtocol"] = wire == Wire::Direct ? "NorvaDireto" : "Norva485";
        auto board = std::make_unique<simtest::Sim>(wire, std::vector<std::string>{}, link);
        ASSERT_EQ("OK", board->control("set-reply 1 2"));
        auto tp = make();
        ASSERT_EQ(0, tp->openPort());
        ASSERT_EQ(0, tp->setCallProtocol());
        auto command = [&] {
            unsigned char one[] = {'1'};
            unsigned char* reply = nullptr;
            int replyLen = 0;
            const int rc = tp->sendRecvData(0, one, 1, &reply, &replyLen, 3);
            delete[] reply;
            return rc;
        };
        EXPECT_EQ(0, command());

        // The link goes with the board, as an adapter's by-id link does: a
        // stale one would name a terminal that another test's may now be.
        unlink(link.c_str());
        board->process.signal(SIGKILL);
        ASSERT_EQ(128 + SIGKILL, board->process.wait(std::chrono::seconds(5)));
        board.reset();
        lib.clear();
        for (int outage = 0; outage < 2; ++outage) {  // lost, then still away
            const auto start = Clock::now();
            EXPECT_EQ(ERR_SER_PORT_NOT_FOUND, command());
            // Well inside one attempt's silence budget (5 x 300 ms), which a
            // line taken for a silent board would use up three times over.
            EXPECT_LT(msSince(start), 1000);
        }
        board = std::make_unique<simtest::Sim>(wire, std::vector<std::string>{}, link);
        ASSERT_EQ("OK", board->control("set-reply 1 2"));
        EXPECT_EQ(0, command());
        EXPECT_EQ(0, command());
        // The port's lock is free again and its holder slot clear.
        EXPECT_EQ(1, tp->semValue());
        EXPECT_EQ(0, tp->slot());

        const Texts texts = logged();
        EXPECT_EQ(1, std::count(texts.begin(), texts.end(), "Line lost: [" + link + "] !!!"));
        EXPECT_EQ(1, std::count_if(texts.begin(), texts.end(), [](const std::string& t) {
                      return t.rfind("Line back: [/dev/", 0) == 0;
                  }));
        EXPECT_EQ(0, tp->closePort());
    }
}
