// The control interface, the record of received commands, the command line,
// and the simulator's lifecycle around its link.

#include <gmock/gmock.h>

#include <filesystem>

#include "SimHarness.h"

using namespace simtest;

TEST(ControlInterface, SetsWhatTheBoardAnswersAndReadsItBack) {
    Sim sim;
    for (const char* set :
         {"set-version ZT 2.14 rev B", "set-remote-reply 1", "set-reply S 00000",
          "set-flag S 2 0x8 1", "set-flag S 2 1 1", "set-flag S 5 15 1", "set-flag S 5 4 0"})
        EXPECT_EQ("OK", sim.control(set)) << set;
    EXPECT_EQ("OK 0900B", sim.control("get-reply S"));
    sim.expectReply("S", "S0900B");
    sim.expectReply("V", "VZT 2.14 rev B");
    sim.expectReply("R99999999", "R1");
    for (const char* bad : {"set-flag S 6 1 1", "set-flag S 0 1 1", "set-flag S 1 16 1",
                            "set-flag S 1 1 2", "set-reply S 0G", "get-reply T", "bogus", ""})
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
        {board("[board]\ncolour = red\n"), 1, "[board] colour: unknown key"},
        {board("[get-sensor]\nS = 0\n[latched]\nS = 19\n"), 1,
         "[latched] S: positions are 1 to 18"},
        {board("[latched]\nT = 1\n"), 1, "[latched] T: not a command"},
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
    // The harness speaks wire and names it as direto or 485; the name given
    // after that decides what the simulator speaks.
    const std::pair<const char*, Wire> names[] = {
        {"NorvaDireto", Wire::Direct}, {"Norva485", Wire::Rs485}, {"Device65A", Wire::Rs485}};
    for (const auto& [name, wire] : names) {
        Sim sim(wire, {"--protocol", name});
        sim.expectReply("V", "VSIUSIM 1.0");
    }
}

TEST(Lifecycle, QuitAndSignalsRemoveTheLinkAndSocketAndAStaleLinkIsReplaced) {
    for (int signal : {0, SIGTERM, SIGINT, SIGKILL}) {
        Sim sim;
        const std::string ctl = sim.link() + ".ctl";
        ASSERT_EQ(0, access(ctl.c_str(), F_OK));
        EXPECT_EQ("OK", signal ? "OK" : sim.control("quit"));
        if (signal) kill(sim.pid, signal);
        EXPECT_EQ(signal == SIGKILL ? 128 + SIGKILL : 0, reap(sim.pid)) << signal;
        EXPECT_EQ(signal == SIGKILL,
                  std::filesystem::is_symlink(sim.link()) && access(ctl.c_str(), F_OK) == 0);
        if (signal == SIGKILL) Sim(Wire::Direct, {}, sim.link()).expectReply("V", "VSIUSIM 1.0");
    }
}
