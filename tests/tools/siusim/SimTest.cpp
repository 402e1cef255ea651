// The simulator as the host meets it on the line (frames byte for byte,
// commands, faults), its control interface and record of received commands,
// its command line, and its lifecycle around its link.

#include <gmock/gmock.h>
#include <sys/socket.h>

#include <filesystem>
#include <sstream>
#include <thread>

#include "SimHarness.h"
#include "tools/common/ControlClient.h"

using namespace simtest;

namespace {

class Line : public ::testing::TestWithParam<Wire> {
protected:
    Sim sim{GetParam()};
};

INSTANTIATE_TEST_SUITE_P(BothProtocols, Line, ::testing::Values(Wire::Direct, Wire::Rs485),
                         wireName);

}  // namespace

TEST_P(Line, AnswersTheWorkedExampleNacksAWrongChecksumDoingNothingAndSkipsStrayBytes) {
    // The reply is the command letter, which the host drops, and the configured digits.
    ASSERT_EQ("OK", sim.control("set-reply AB 12"));
    const bool direct = GetParam() == Wire::Direct;
    const Bytes frame = hostFrame(GetParam(), "AB");  // the worked examples of the protocols
    EXPECT_EQ(direct ? "02 41 42 03 02 " : "04 48 29 02 41 42 03 67 ", hex(frame));
    sim.send(frame);
    EXPECT_EQ(direct ? "06 02 41 31 32 03 43 " : "06 01 48 29 30 41 31 32 03 11 ",
              hex(sim.receive(direct ? 7 : 10)));
    sim.send({0x15});  // only an RS-485 host asks for the response again
    EXPECT_EQ(direct ? "" : "01 48 29 30 41 31 32 03 11 ", hex(sim.receive(9, 300)));
    Bytes wrong = hostFrame(GetParam(), "B1");
    wrong.back() ^= 0x01;
    sim.send({0x06});
    sim.send(wrong);
    EXPECT_EQ("15 ", hex(sim.receive(1)));
    EXPECT_EQ("OK leds=00000000000000000000 buzzer=0 key=0 motion=300", sim.control("outputs"));
    // Stray bytes, a frame for another address, and a frame cut short by the start of the next.
    Bytes noisy = {0x41, 0x00, 0x06, 0xFF, 0x15, 0x03};
    if (!direct) noisy.insert(noisy.end(), {4, 'H', '0', 2, 'V', 3, 0x2B});
    noisy.insert(noisy.end(), frame.begin(), frame.begin() + frame.size() / 2);
    sim.send(noisy);
    sim.expectReply("V", "VSIUSIM 1.0");
    sim.expectReply("V", "VSIUSIM 1.0");  // nothing else came in between
}

TEST_P(Line, TheBoardAnswersEveryCommandAndRefusesWrongArgumentsWithoutActing) {
    ASSERT_EQ("OK", sim.control("set-reply S 00C0"));
    ASSERT_EQ("OK", sim.control("set-reply P2 FFFF1F"));
    // Each word is a command and, after '=', its reply data; one without is refused.
    auto exchange = [&](const std::string& words) {
        std::istringstream in(words);
        for (std::string w; in >> w;) {
            const size_t eq = w.find('=');
            sim.expectReply(w.substr(0, eq), eq == std::string::npos ? nullptr : &w[eq + 1]);
        }
    };
    exchange(
        "S=S00C0 P2=PFFFF1F m=m300 FA1=F B2=B M100=M m=m100 R00500030=ROK L22222222222222222222=L");
    EXPECT_EQ("OK leds=22222222222222222222 buzzer=2 key=1 motion=100", sim.control("outputs"));
    // A shorter L turns the outputs it does not name off; refused commands change nothing.
    exchange(
        "L020100=L FA0=F B0=B M999=M m=m999 L0003 FA2 FB1 FA B3 B B11 M099 M1000 M12 M1a0 m1 "
        "R0050003 R005000300 R0050003x s P P20 X Z ZJ Z10 L000000000000000000000");
    EXPECT_EQ("OK leds=02010000000000000000 buzzer=0 key=0 motion=999", sim.control("outputs"));
}

TEST(BoardFile, TheExampleAnswersAsItDocumentsAndResetCommandsClearOnlyLatchedDigits) {
    Sim sim(Wire::Rs485, {"--board", SIU_SOURCE_DIR "/examples/siusim-board.ini"});
    sim.expectReply("V", "VZT-SIM 2.14");
    // The safe-box door opens (digit 1) and the seismic sensor trips (digit 10, which latches).
    ASSERT_EQ("OK", sim.control("set-flag S 1 1 1"));
    ASSERT_EQ("OK", sim.control("set-flag S 10 7 1"));
    sim.expectReply("S", "S1000000B0700000");
    for (const char* reset : {"Z1", "ZA", "ZI"}) sim.expectReply(reset, "Z");
    sim.expectReply("S", "S1000000B0000000");
}

TEST_P(Line, FaultsChangeTheNextAnswerAndCarryTheCommandOutOrNot) {
    const Bytes good = boardAnswer(GetParam(), "B"), garbage = {0x41, 0x7E, 0x55, 0xAA, 0x3F};
    Bytes badBcc = good, noisy = garbage;
    badBcc.back() ^= 0xFF;
    noisy.insert(noisy.end(), good.begin(), good.end());
    const struct {
        const char* fault;
        Bytes seen;
        char buzzer;  // 1 when the command was carried out
        std::chrono::milliseconds atLeast;
    } cases[] = {
        {"nack", {0x15}, '0', 0ms},
        {"no-ack", Bytes(good.begin() + 1, good.end()), '1', 0ms},
        {"bad-bcc", badBcc, '1', 0ms},
        {"silent", {}, '0', 0ms},
        {"garbage", garbage, '0', 0ms},
        {"noise", noisy, '1', 0ms},
        {"stall 1 150", good, '1', 150ms},
    };
    for (const auto& c : cases) {
        ASSERT_EQ("OK", sim.control(std::string("fault ") + c.fault).substr(0, 2));
        const auto start = std::chrono::steady_clock::now();
        EXPECT_EQ(hex(c.seen), hex(sim.ask("B1", c.seen.size()))) << c.fault;
        EXPECT_GE(std::chrono::steady_clock::now() - start, c.atLeast) << c.fault;
        ASSERT_TRUE(siutest::waitFor(
            [&] { return sim.control("records").find(":B1") != std::string::npos; }));
        EXPECT_EQ(std::string(1, c.buzzer), sim.output("buzzer")) << c.fault;
        sim.send({0x06});
        sim.expectReply("B0", "B");  // the fault has ended
    }
}

TEST_P(Line, TrickleSendsTheAnswerAByteAtATimeThenStrayBytesUntilTheHostsNextFrame) {
    const Bytes good = boardAnswer(GetParam(), "B");
    ASSERT_EQ("OK trickle 1 20", sim.control("fault trickle 1 20"));
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(hex(good), hex(sim.ask("B1", good.size())));
    EXPECT_GE(std::chrono::steady_clock::now() - start, good.size() * 20ms);
    EXPECT_EQ(hex({0x41, 0x7E, 0x55}), hex(sim.receive(3)));
    // A stray byte may already be on its way when the next frame arrives.
    const Bytes next = boardAnswer(GetParam(), "B"), got = sim.ask("B0", next.size() + 1);
    ASSERT_GE(got.size(), next.size());
    EXPECT_LE(got.size(), next.size() + 1);
    EXPECT_EQ(hex(next), hex(Bytes(got.end() - next.size(), got.end())));
    EXPECT_EQ("", hex(sim.receive(1, 100)));
}

TEST(ControlInterface, SetsWhatTheBoardAnswersAndItsFaultsAndReadsThemBack) {
    Sim sim(Wire::Direct, {"--fault", "nack:2"});
    EXPECT_EQ("OK nack 2", sim.control("fault"));
    for (const char* set :
         {"set-version ZT 2.14 rev B", "set-remote-reply 1", "set-reply S 00000",
          "set-flag S 2 0x8 1", "set-flag S 2 1 1", "set-flag S 5 15 1", "set-flag S 5 4 0"})
        EXPECT_EQ("OK", sim.control(set)) << set;
    EXPECT_EQ("OK 0900B", sim.control("get-reply S"));
    EXPECT_EQ("OK " + std::filesystem::read_symlink(sim.link()).string(), sim.control("device"));
    for (const char* reply : {"", "", "S0900B"}) sim.expectReply("S", *reply ? reply : nullptr);
    EXPECT_EQ("OK none", sim.control("fault"));
    sim.expectReply("V", "VZT 2.14 rev B");
    sim.expectReply("R99999999", "R1");
    EXPECT_EQ("OK stall 3 100", sim.control("fault stall 3"));
    EXPECT_EQ("OK none", sim.control("fault none"));
    for (const char* bad : {"set-flag S 6 1 1", "set-flag S 0 1 1", "set-flag S 1 16 1",
                            "set-flag S 1 1 2", "set-reply S 0G", "get-reply T", "bogus", "",
                            "fault explode", "fault nack 0", "fault nack 1 100", "fault stall 1 x",
                            "fault trickle 1 0"})
        EXPECT_EQ("ERR", sim.control(bad).substr(0, 3)) << bad;
}

TEST(ControlInterface, HandsOutAndClearsTheRecordOfReceivedCommandsThatTheFileKeeps) {
    siutest::TempDir d;
    Sim sim(Wire::Direct, {"--record", d.file("rec.txt")});
    sim.expectReply("V", "VSIUSIM 1.0");
    sim.expectReply("L01", "L");
    sim.expectReply("q w\\", nullptr);
    const std::string records = sim.control("records");
    EXPECT_THAT(records,
                ::testing::MatchesRegex(R"(OK 3 [0-9.]+:V [0-9.]+:L01 [0-9.]+:q\\x20w\\x5C)"));
    EXPECT_EQ("OK 0", sim.control("records"));
    EXPECT_THAT(siutest::readWholeFile(d.file("rec.txt")),
                ::testing::MatchesRegex("[0-9.]+ V\n[0-9.]+ L01\n[0-9.]+ q\\\\x20w\\\\x5C\n"));
    // The stamps are of the monotonic clock the test itself reads.
    const double now = std::chrono::steady_clock::now().time_since_epoch() / 1.0ms;
    EXPECT_NEAR(now - 5000, std::stod(records.substr(5)), 5000);
}

TEST(ControlClient, TakesALineTrickledWithinItsBudgetAndGivesUpOnOneThatNeverEnds) {
    using siutools::ControlOutcome;
    struct Case {
        std::string trickle;  // sent a byte every 20 ms, then 'x' for 3 s unless it ends the line
        ControlOutcome outcome;
        const char* answer;
    };
    for (const Case& c : {Case{"OK pong\n", ControlOutcome::Answered, "OK pong"},
                          Case{"OK pong", ControlOutcome::NoAnswer, ""}}) {
        siutest::TempDir d;
        sockaddr_un addr;
        ASSERT_TRUE(siutools::unixAddress(d.file("ctl"), addr));
        const UniqueFd server(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
        ASSERT_EQ(0, bind(server.get(), reinterpret_cast<sockaddr*>(&addr), sizeof addr));
        ASSERT_EQ(0, listen(server.get(), 1));
        std::thread peer([&] {
            pollfd p{server.get(), POLLIN, 0};
            if (poll(&p, 1, 3000) != 1) return;
            const UniqueFd fd(accept(server.get(), nullptr, nullptr));
            const auto end = std::chrono::steady_clock::now() + 3s;
            for (size_t i = 0; std::chrono::steady_clock::now() < end; ++i) {
                const char byte = i < c.trickle.size() ? c.trickle[i] : 'x';
                if (send(fd.get(), &byte, 1, MSG_NOSIGNAL) != 1 || byte == '\n') break;
                std::this_thread::sleep_for(20ms);
            }
        });
        std::string answer = "stale";
        const auto began = std::chrono::steady_clock::now();
        EXPECT_EQ(c.outcome, siutools::askControl(d.file("ctl"), "ping", 500, &answer));
        const auto took = std::chrono::steady_clock::now() - began;
        peer.join();
        EXPECT_EQ(c.answer, answer);
        // A whole line ends the wait within the budget, a line that never ends at it.
        EXPECT_EQ(c.outcome == ControlOutcome::Answered, took < 500ms);
        EXPECT_LT(took, 1500ms);
    }
}

TEST(CommandLine, RefusesWhatItCannotRunWithTheExitStatusAndAMessage) {
    siutest::TempDir d;
    const std::string line = d.file("line"), mine = d.write("port", "mine");
    ASSERT_EQ(0, symlink("/etc/hostname", d.file("other").c_str()));
    Sim running;
    int n = 0;
    auto board = [&](const char* text) {
        return "--link " + line + " --board " + d.write(std::to_string(++n) + ".ini", text);
    };
    const struct {
        std::string words;
        int status;
        const char* output;
    } cases[] = {
        {"--help", 0, "siusim --link PATH"},
        {"--control " + running.link() + ".ctl set-reply S 0F", 0, "OK\n"},
        {"--control " + running.link() + " get-reply T", 1, "ERR"},
        {"--control " + line + " ping", 2, ""},
        {"--link " + mine, 1, "not replacing it"},
        {"--link " + d.file("other"), 1, ""},
        {"--link " + running.link(), 1, "another siusim"},
        {"--link " + line + " --board " + d.file("missing.ini"), 1, ""},
        {board("[get-sensor]\nS = 0G\n"), 1, "[get-sensor] S: "},
        {board("[get-sensor]\nS = 0\n[latched]\nS = 19\n"), 1,
         "[latched] S: positions are 1 to 18"},
    };
    for (const auto& c : cases) {
        const auto [status, out] = runSiusim(c.words);
        EXPECT_EQ(c.status, status) << c.words << ": " << out;
        EXPECT_NE(std::string::npos, out.find(c.output)) << c.words << ": " << out;
    }
    // A usage error is one line and a pointer to --help, not the whole usage.
    for (const char* bad : {"", "--protocol rs232", "--protocol norva485", "--baud 0", "--bogus 1",
                            "--fault stall:1:x", "--link"}) {
        const auto [status, out] = runSiusim(bad[0] ? "--link " + line + " " + bad : "");
        EXPECT_EQ(2, status) << bad;
        EXPECT_THAT(out, ::testing::MatchesRegex("siusim: [^\n]+\nsiusim: hint: siusim --help "
                                                 "describes the options\n"))
            << bad;
    }
    EXPECT_EQ("mine", siutest::readWholeFile(mine));
    EXPECT_EQ("OK 0F", running.control("get-reply S"));
}

TEST(CommandLine, TakesTheProtocolNamesOfTheConfigurationToo) {
    // The name given after the harness's own decides what the simulator speaks.
    for (const auto& [name, wire] : std::initializer_list<std::pair<const char*, Wire>>{
             {"NorvaDireto", Wire::Direct}, {"Norva485", Wire::Rs485}, {"Device65A", Wire::Rs485}})
        Sim(wire, {"--protocol", name}).expectReply("V", "VSIUSIM 1.0");
}

TEST(Lifecycle, QuitAndSignalsRemoveTheLinkAndSocketAndAStaleLinkIsReplaced) {
    for (int signal : {0, SIGTERM, SIGINT, SIGKILL}) {
        Sim sim;
        const std::string ctl = sim.link() + ".ctl";
        ASSERT_EQ(0, access(ctl.c_str(), F_OK));
        EXPECT_EQ("OK", signal ? "OK" : sim.control("quit"));
        if (signal) sim.process.signal(signal);
        EXPECT_EQ(signal == SIGKILL ? 128 + SIGKILL : 0, sim.process.wait(5s)) << signal;
        EXPECT_EQ(signal == SIGKILL,
                  std::filesystem::is_symlink(sim.link()) && access(ctl.c_str(), F_OK) == 0);
        if (signal == SIGKILL) Sim(Wire::Direct, {}, sim.link()).expectReply("V", "VSIUSIM 1.0");
    }
}
