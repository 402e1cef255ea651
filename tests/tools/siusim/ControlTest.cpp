// The control interface, the record of received commands, wire time, and the
// simulator's lifecycle around its link.

#include "SimHarness.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <iomanip>
#include <sstream>

using namespace simtest;

namespace {

bool exists(const std::string& path) {
    struct stat st {};
    return lstat(path.c_str(), &st) == 0;
}

// "OK <n> <ms>:<command> ..." -> the times and the commands
void parseRecords(const std::string& answer, std::vector<double>& times,
                  std::vector<std::string>& commands) {
    std::istringstream in(answer);
    std::string ok, word;
    size_t n = 0;
    in >> ok >> n;
    while (in >> word) {
        const size_t colon = word.find(':');
        times.push_back(std::stod(word.substr(0, colon)));
        commands.push_back(word.substr(colon + 1));
    }
    EXPECT_EQ(n, commands.size());
}

}  // namespace

TEST(ControlInterface, SetsAndReadsGetSensorRepliesAndSingleFlags) {
    Sim sim;
    EXPECT_EQ("OK", sim.control("set-reply S 00000"));
    EXPECT_EQ("OK", sim.control("set-flag S 2 0x8 1"));
    EXPECT_EQ("OK", sim.control("set-flag S 2 1 1"));
    EXPECT_EQ("OK", sim.control("set-flag S 5 15 1"));
    EXPECT_EQ("OK", sim.control("set-flag S 5 4 0"));
    EXPECT_EQ("OK 0900B", sim.control("get-reply S"));
    sim.expectReply("S", "S0900B");
    for (const char* bad :
         {"set-flag S 6 1 1", "set-flag S 0 1 1", "set-flag S 1 16 1", "set-flag S 1 1 2",
          "set-flag T 1 1 1", "set-reply S 0G", "get-reply T", "set-reply S", "bogus", ""})
        EXPECT_EQ("ERR", sim.control(bad).substr(0, 3)) << bad;
    EXPECT_EQ("OK", sim.control("ping"));
}

TEST(ControlInterface, HandsOutAndClearsTheRecordOfReceivedCommands) {
    siutest::TempDir d;
    const std::string file = d.file("rec.txt");
    Sim sim(Wire::Direct, {"--record", file});
    sim.expectReply("V", "VSIUSIM 1.0");
    sim.expectReply("L01", "L");
    sim.send(hostFrame(Wire::Direct, "q w\\"));
    EXPECT_EQ("15 ", hex(sim.receive(1)));
    std::vector<double> t;
    std::vector<std::string> c;
    parseRecords(sim.control("records"), t, c);
    ASSERT_EQ((std::vector<std::string>{"V", "L01", "q\\x20w\\x5C"}), c);
    EXPECT_LE(t[0], t[1]);
    EXPECT_LE(t[1], t[2]);
    // The stamps are of the monotonic clock the test itself reads.
    const double nowMs = std::chrono::duration<double, std::milli>(
                             std::chrono::steady_clock::now().time_since_epoch())
                             .count();
    EXPECT_LE(t[2], nowMs);
    EXPECT_GT(t[0], nowMs - 10000);
    EXPECT_EQ("OK 0", sim.control("records"));
    // The file has the same lines, and keeps them.
    std::ostringstream expected;
    for (size_t i = 0; i < c.size(); ++i)
        expected << std::fixed << std::setprecision(3) << t[i] << " " << c[i] << "\n";
    EXPECT_EQ(expected.str(), siutest::readWholeFile(file));
}

TEST(WireTime, PacesBothDirectionsAsARealLine) {
    // At 1200 baud a byte takes 8.3 ms: the 4-byte command and the 15-byte
    // answer take at least 158 ms.
    Sim sim(Wire::Direct, {"--baud", "1200"});
    const auto start = std::chrono::steady_clock::now();
    sim.expectReply("V", "VSIUSIM 1.0");
    EXPECT_GE(std::chrono::steady_clock::now() - start, 155ms);
}

TEST(ControlClient, PrintsTheAnswerAndExitsWithItsVerdict) {
    Sim sim;
    Outcome ok = runSiusim({"--control", sim.link(), "set-reply", "S", "0F"});
    EXPECT_EQ(0, ok.status);
    EXPECT_EQ("OK\n", ok.out);
    ok = runSiusim({"--control", sim.link() + ".ctl", "get-reply", "S"});
    EXPECT_EQ("OK 0F\n", ok.out);
    EXPECT_EQ(1, runSiusim({"--control", sim.link(), "get-reply", "T"}).status);
    EXPECT_EQ(2, runSiusim({"--control", sim.dir().file("none"), "ping"}).status);
}

TEST(Lifecycle, QuitSigtermAndSigintRemoveTheLinkAndTheSocket) {
    for (const char* how : {"quit", "TERM", "INT"}) {
        Sim sim;
        ASSERT_TRUE(exists(sim.link() + ".ctl"));
        if (std::string(how) == "quit") {
            EXPECT_EQ("OK", sim.control("quit"));
        } else {
            kill(sim.pid(), std::string(how) == "TERM" ? SIGTERM : SIGINT);
        }
        EXPECT_EQ(0, sim.waitExit()) << how;
        EXPECT_FALSE(exists(sim.link())) << how;
        EXPECT_FALSE(exists(sim.link() + ".ctl")) << how;
    }
}

TEST(Lifecycle, RefusesAPathThatIsNotItsOwnStaleLink) {
    siutest::TempDir d;
    const std::string file = d.write("port", "mine");
    Outcome r = runSiusim({"--link", file});
    EXPECT_EQ(1, r.status);
    EXPECT_NE(std::string::npos, r.out.find("not replacing it")) << r.out;
    EXPECT_EQ("mine", siutest::readWholeFile(file));

    ASSERT_EQ(0, symlink("/etc/hostname", d.file("other").c_str()));
    EXPECT_EQ(1, runSiusim({"--link", d.file("other")}).status);

    // A running simulator's link is not stale either.
    Sim sim;
    r = runSiusim({"--link", sim.link()});
    EXPECT_EQ(1, r.status);
    EXPECT_NE(std::string::npos, r.out.find("another siusim")) << r.out;
    EXPECT_EQ("OK", sim.control("ping"));
}

TEST(Lifecycle, ReplacesTheStaleLinkOfASimulatorThatDied) {
    Sim dead;
    kill(dead.pid(), SIGKILL);
    dead.waitExit();
    ASSERT_TRUE(exists(dead.link()));
    Sim again(Wire::Direct, {}, dead.link());
    again.expectReply("V", "VSIUSIM 1.0");
    EXPECT_EQ("OK", again.control("quit"));
    EXPECT_EQ(0, again.waitExit());
    EXPECT_FALSE(exists(dead.link()));
}

TEST(CommandLine, ExplainsItselfAndRefusesBadOptions) {
    Outcome help = runSiusim({"--help"});
    EXPECT_EQ(0, help.status);
    EXPECT_NE(std::string::npos, help.out.find("siusim --link PATH"));
    for (const std::vector<std::string>& bad :
         std::vector<std::vector<std::string>>{{},
                                               {"--link"},
                                               {"--link", "x", "--protocol", "rs232"},
                                               {"--link", "x", "--baud", "0"},
                                               {"--link", "x", "--bogus", "1"},
                                               {"--control", "x"}})
        EXPECT_EQ(2, runSiusim(bad).status);
}
