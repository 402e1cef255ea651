// Commands through the manager on fake devices: the opening banner and the
// lines that frame each command in the log, and closes that wait for running
// commands.

#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>

#include "support/ServiceFixture.h"

class Commands : public siutest::ServiceTest {};

TEST_F(Commands, FollowTheBannerFramedByBeginAndEndLinesAndReachTheDeviceOnlyWithinTheRange) {
    writeIni(section("A", "LogCompressFiles=YES") + section("B", "LogLevel=INI|INF"));
    setAnswer([](const std::string&, int cmd, void*) {
        if (cmd == CMD_CLOSE) return ERR_SER_WRITE_FAILED;
        return cmd == CMD_SET_INDICATOR ? ERR_CMD_INVALID_PARAMETER : SUCCESS;
    });
    int idx = -1, b = -1;
    ASSERT_EQ(SUCCESS, open("B", &b));  // whose banner goes out at INI: STR is off
    EXPECT_TRUE(logged("B", " INI [NorvaSensorBoard.so] [ThrId: "));
    ASSERT_EQ(SUCCESS, open("A", &idx));
    EXPECT_EQ(ERR_CMD_INVALID_PARAMETER, SIU_SetIndicator(idx, 1, 2));
    EXPECT_EQ(ERR_CMD_NOT_IMPLEMENTED, mgr->executeCMD(idx, 13, nullptr, nullptr));
    EXPECT_EQ(ERR_CMD_NOT_IMPLEMENTED, mgr->executeCMD(idx, -1, nullptr, nullptr));
    EXPECT_EQ(SUCCESS, SIU_ResetRemoto(idx, 1, 2, nullptr));
    // The last close succeeds even when the device refuses it.
    EXPECT_EQ(SUCCESS, close("A", &idx));
    EXPECT_EQ(-1, idx);
    EXPECT_EQ("B OPEN, A OPEN, A SET_INDICATOR, A RESET_REMOTO, A CLOSE", calls());
    EXPECT_TRUE(logged("A", "MODULE_PATH:[" + dir.path() + "/]"));
    for (const char* line :
         {" STR [NorvaSensorBoard.so]", "OPENING INFO: ", "SERVICE:[A]", "CUSTOMER:[NORVA]",
          "CURRENT_PATH:[", "MODULE_VERSION:[1.0.3.2]", "RELEASE_DATE:[21/08/2024]",
          "SVN_VERSION:[211]", "End Command str = CMD_OPEN Command = 0, return = 0 0x0 SUCCESS",
          "|Manager|executeCMD] Begin Command str = CMD_SET_INDICATOR command = 5",
          "End Command str = CMD_SET_INDICATOR Command = 5, return = -50002 -0xc352 "
          "ERR_CMD_INVALID_PARAMETER",
          "End Command str = NOT_DEFINED Command = 13, return = -50001 -0xc351 "
          "ERR_CMD_NOT_IMPLEMENTED",
          "End Command str = CMD_RESET_REMOTO Command = 12, return = 0 0x0 SUCCESS",
          "End Command str = CMD_CLOSE Command = 1, return = -40004 -0x9c44 ERR_SER_WRITE_FAILED",
          "Compressing Files..."}) {
        EXPECT_TRUE(logged("A", line)) << line;
    }
}

TEST_F(Commands, RunSideBySideButACloseWaitsForEveryRunningCommand) {
    writeIni(section("A") + section("B"));
    std::atomic<bool> entered{false}, released{false}, closed{false};
    setAnswer([&](const std::string& service, int cmd, void*) {
        if (service == "B" && cmd == CMD_RESET) {  // runs until the test releases it
            entered = true;
            siutest::waitFor([&] { return released.load(); });
        }
        return SUCCESS;
    });
    int a = -1, b = -1;
    ASSERT_EQ(SUCCESS, open("A", &a));
    ASSERT_EQ(SUCCESS, open("B", &b));
    std::thread command([&] { EXPECT_EQ(SUCCESS, SIU_Reset(b)); });
    EXPECT_TRUE(siutest::waitFor([&] { return entered.load(); }));
    EXPECT_EQ(SUCCESS, SIU_Reset(a));  // commands do not wait for each other
    std::thread closer([&] {
        EXPECT_EQ(SUCCESS, close("A", &a));
        EXPECT_TRUE(released.load()) << "the close ended while B's command ran";
        closed = true;
    });
    EXPECT_FALSE(siutest::waitFor([&] { return closed.load(); }, std::chrono::milliseconds(200)));
    released = true;
    command.join();
    closer.join();
    EXPECT_EQ(-1, a);
    EXPECT_EQ("A OPEN, B OPEN, B RESET, A RESET, A CLOSE", calls());
}
