#include "CtlBench.h"

#include <gtest/gtest.h>
#include <signal.h>

namespace ctltest {
namespace {

// siuctl watch in the background, its output in files of the bench.
class Watch {
public:
    Watch(const Bench& b, const Args& options)
        : outFile(b.dir().file("watch.out")),
          errFile(b.dir().file("watch.err")),
          process(b.siuctlArgv(withWatch(options)), outFile, errFile) {}

    std::string out() const { return siutest::readWholeFile(outFile); }
    std::string err() const { return siutest::readWholeFile(errFile); }
    bool shows(const std::string& text) const {
        return siutest::waitFor([&] { return out().find(text) != std::string::npos; }, 10s);
    }
    // Once the first reading is done, "watching" appears.
    bool started() const {
        const std::string line = "siuctl: watching 72 items of service SIU every ";
        return siutest::waitFor([&] { return err().find(line) == 0; }, 10s);
    }
    int stop(int sig) {
        process.signal(sig);
        return process.wait(10s);
    }

private:
    static Args withWatch(Args options) {
        options.insert(options.begin(), "watch");
        return options;
    }

    std::string outFile;
    std::string errFile;
    Process process;
};

TEST(SiuctlWatch, ShowsADoorOpenedOnTheBoardAndClosesTheServiceOnSigint) {
    Bench b;
    Watch w(b, {"--json", "--interval", "50"});
    ASSERT_TRUE(w.started()) << w.err();
    EXPECT_EQ("", w.out());
    b.sim({"set-flag", "S", "1", "1", "1"});
    ASSERT_TRUE(w.shows("\n")) << w.err();
    EXPECT_EQ(0, w.stop(SIGINT)) << w.err();

    EXPECT_EQ("DOOR_SAFE_BOX OPENED CLOSED 23",
              jq("\"\\(.item) \\(.state) \\(.previous) \\(.time | length)\"", w.out()));
    EXPECT_NE(std::string::npos, b.logs().find("CMD_CLOSE")) << "the service was closed";
}

TEST(SiuctlWatch, ReportsTheBoardFallingSilentAndAnsweringAgain) {
    Bench b;
    Watch w(b, {"--interval", "20"});
    ASSERT_TRUE(w.started()) << w.err();
    b.sim({"fault", "silent", "2"});
    ASSERT_TRUE(w.shows("  the board answers again\n")) << w.out() << w.err();
    b.sim({"set-flag", "S", "1", "2", "1"});
    ASSERT_TRUE(w.shows("DOOR_PANEL")) << w.out();
    EXPECT_EQ(0, w.stop(SIGTERM)) << w.err();

    // time, the message; one line each
    const std::string out = w.out();
    const std::string silent = "  ERR_SER_TIMEOUT (-40012): board did not answer: check its power";
    EXPECT_EQ(23u, out.find(silent)) << out;
    const size_t back = out.find('\n') + 1;
    EXPECT_EQ(back + 23, out.find("  the board answers again\n")) << out;
    const size_t change = out.find('\n', back) + 1;
    EXPECT_EQ(change + 23, out.find("  DOOR_PANEL" + std::string(22, ' ') + "CLOSED -> OPENED\n"))
        << out;
}

}  // namespace
}  // namespace ctltest
