#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "support/ServiceFixture.h"

using siutest::FakeCall;
typedef std::vector<FakeCall> Calls;

class Commands : public siutest::ServiceTest {
protected:
    bool logs(const std::string& service, const std::string& text) {
        return logOf(service).find(text) != std::string::npos;
    }
};

TEST_F(Commands, FrameEachCommandWithBeginAndEndLinesCarryingTheResultAndItsText) {
    writeIni(section("A"));
    setAnswer([](const std::string&, int cmd, void*) {
        return cmd == CMD_SET_INDICATOR ? ERR_CMD_INVALID_PARAMETER : SUCCESS;
    });
    int idx = -1;
    ASSERT_EQ(SUCCESS, open("A", &idx));
    EXPECT_EQ(ERR_CMD_INVALID_PARAMETER, SIU_SetIndicator(idx, 1, 2));
    EXPECT_TRUE(logs("A", "Begin Command str = CMD_OPEN command = 0"));
    EXPECT_TRUE(logs("A", "End Command str = CMD_OPEN Command = 0, return = 0 0x0 SUCCESS"));
    EXPECT_TRUE(
        logs("A", "|Manager|executeCMD] Begin Command str = CMD_SET_INDICATOR command = 5"));
    EXPECT_TRUE(logs("A",
                     "End Command str = CMD_SET_INDICATOR Command = 5, return = -50002 "
                     "-0xc352 ERR_CMD_INVALID_PARAMETER"));
}

TEST_F(Commands, WriteTheOpeningBannerAtSTRWhenThatLevelIsOnAndAtINIOtherwise) {
    writeIni(section("A") + section("B", "LogLevel=INI|INF"));
    int a = -1, b = -1;
    ASSERT_EQ(SUCCESS, open("A", &a));
    ASSERT_EQ(SUCCESS, open("B", &b));
    std::string log = logOf("A");
    size_t banner = log.find("OPENING INFO:");
    ASSERT_NE(std::string::npos, banner);
    std::string line = log.substr(log.rfind('\n', banner) + 1);
    line = line.substr(0, line.find('\n'));
    EXPECT_NE(std::string::npos, line.find(" STR [NorvaSensorBoard.so]"));
    for (const std::string& field :
         {std::string("SERVICE:[A]"), std::string("CUSTOMER:[NORVA]"),
          "MODULE_PATH:[" + dir.path() + "/]", std::string("CURRENT_PATH:["),
          std::string("MODULE_VERSION:[1.0.3.2]"), std::string("RELEASE_DATE:[21/08/2024]"),
          std::string("SVN_VERSION:[211]")}) {
        EXPECT_NE(std::string::npos, line.find(field)) << field;
    }
    EXPECT_TRUE(logs("B", " INI [NorvaSensorBoard.so] [ThrId: "));
    EXPECT_TRUE(logs("B", "SERVICE:[B]"));
}

TEST_F(Commands, ReportASuccessfulLastCloseEvenWhenTheDeviceRefusesCMD_CLOSE) {
    writeIni(section("A", "LogCompressFiles=YES"));
    setAnswer([](const std::string&, int cmd, void*) {
        return cmd == CMD_CLOSE ? ERR_SER_WRITE_FAILED : SUCCESS;
    });
    int idx = -1;
    ASSERT_EQ(SUCCESS, open("A", &idx));
    EXPECT_EQ(SUCCESS, close("A", &idx));
    EXPECT_EQ(-1, idx);
    EXPECT_TRUE(logs("A",
                     "End Command str = CMD_CLOSE Command = 1, return = -40004 -0x9c44 "
                     "ERR_SER_WRITE_FAILED"));
    EXPECT_TRUE(logs("A", "Compressing Files..."));
}

TEST_F(Commands, ReachTheDeviceOnlyWithinTheCommandRange) {
    writeIni(section("A"));
    int idx = -1;
    ASSERT_EQ(SUCCESS, open("A", &idx));
    EXPECT_EQ(ERR_CMD_NOT_IMPLEMENTED, mgr->executeCMD(idx, 13, nullptr, nullptr));
    EXPECT_EQ(ERR_CMD_NOT_IMPLEMENTED, mgr->executeCMD(idx, -1, nullptr, nullptr));
    EXPECT_EQ(SUCCESS, mgr->executeCMD(idx, CMD_RESET_REMOTO, nullptr, nullptr));
    EXPECT_EQ(Calls({{"A", CMD_OPEN}, {"A", CMD_RESET_REMOTO}}), calls());
    EXPECT_TRUE(logs("A",
                     "End Command str = NOT_DEFINED Command = 13, return = -50001 -0xc351 "
                     "ERR_CMD_NOT_IMPLEMENTED"));
}

TEST_F(Commands, RunSideBySideButACloseWaitsForEveryRunningCommand) {
    writeIni(section("A") + section("B"));
    // B's reset blocks in the device until the test releases it.
    std::mutex m;
    std::condition_variable cv;
    bool entered = false, released = false;
    std::vector<std::string> events;
    setAnswer([&](const std::string& service, int cmd, void*) {
        std::unique_lock<std::mutex> lock(m);
        if (service == "B" && cmd == CMD_RESET) {
            entered = true;
            cv.notify_all();
            cv.wait(lock, [&] { return released; });
        }
        events.push_back(service + " " + getFunctionName(static_cast<unsigned int>(cmd)));
        return SUCCESS;
    });
    int a = -1, b = -1;
    ASSERT_EQ(SUCCESS, open("A", &a));
    ASSERT_EQ(SUCCESS, open("B", &b));

    std::thread command([&] { EXPECT_EQ(SUCCESS, SIU_Reset(b)); });
    {
        std::unique_lock<std::mutex> lock(m);
        ASSERT_TRUE(cv.wait_for(lock, std::chrono::seconds(5), [&] { return entered; }));
    }
    EXPECT_EQ(SUCCESS, SIU_Reset(a));  // commands do not wait for each other
    std::atomic<bool> closed{false};
    std::thread closer([&] {
        EXPECT_EQ(SUCCESS, close("A", &a));
        closed = true;
    });
    // The close of A waits while B's command runs, and goes on once it ends.
    EXPECT_FALSE(siutest::waitFor([&] { return closed.load(); }, std::chrono::milliseconds(200)));
    {
        std::lock_guard<std::mutex> lock(m);
        released = true;
        cv.notify_all();
    }
    command.join();
    closer.join();
    EXPECT_EQ(-1, a);
    EXPECT_EQ(std::vector<std::string>(
                  {"A CMD_OPEN", "B CMD_OPEN", "A CMD_RESET", "B CMD_RESET", "A CMD_CLOSE"}),
              events);
}
