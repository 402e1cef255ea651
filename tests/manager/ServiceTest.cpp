// Services through the exported functions on fake devices: the table of ten
// services behind SIU_Open and SIU_Close, the opening banner and the lines
// that frame each command in the log, and closes that wait for running
// commands.

#include <thread>

#include "support/ServiceFixture.h"

class ServiceTable : public siutest::ServiceTest {};

TEST_F(ServiceTable, CountsOpensAndClosesTheDeviceOnTheLastCloseUnderItsOwnNameOnly) {
    writeIni(section("A") + section("B"));
    int first = -1, idx = -1;
    ASSERT_EQ(SUCCESS, open("A", &first));
    ASSERT_EQ(SUCCESS, open("A", &idx));
    EXPECT_EQ(first, idx);
    EXPECT_TRUE(logged("A", "Service A Already Opened - Tot.: 2"));
    EXPECT_EQ(SUCCESS, close("A", &idx));
    EXPECT_TRUE(logged("A", "Service A Opened yet - Tot.: 1"));
    // A wrong name drops the count but closes nothing; the right one then does.
    EXPECT_EQ(ERR_CFG_INVALID_SERVICE_NAME, close("B", &idx));
    EXPECT_EQ(SUCCESS, SIU_Reset(idx));
    EXPECT_EQ(SUCCESS, close("A", &idx));
    EXPECT_EQ(-1, idx);
    EXPECT_EQ("A OPEN, A RESET, A CLOSE", calls());
    EXPECT_EQ(0, devicesAlive());
    EXPECT_EQ(ERR_MGR_INVALID_INDEX, SIU_Reset(first));
    EXPECT_EQ(ERR_MGR_INVALID_INDEX, close("A", &first));
}

TEST_F(ServiceTable, HoldsTenServicesRefusesTheEleventhAndCommandsOnFreeSlotsAndReusesTheLowest) {
    std::string ini;
    for (int i = 0; i <= 10; ++i) ini += section("S" + std::to_string(i));
    writeIni(ini);
    int idx[11];
    for (int i = 0; i < 10; ++i) {
        ASSERT_EQ(SUCCESS, open("S" + std::to_string(i), &idx[i])) << i;
        EXPECT_EQ(i, idx[i]);
    }
    EXPECT_EQ(ERR_MGR_MAX_SERVICES, open("S10", &idx[10]));
    EXPECT_EQ(-1, idx[10]);
    EXPECT_EQ(10, devicesAlive());
    EXPECT_EQ(SUCCESS, close("S7", &idx[7]));
    EXPECT_EQ(SUCCESS, close("S3", &idx[3]));
    for (int bad : {3, 7, 10, -1, 2147483647})
        EXPECT_EQ(ERR_MGR_INVALID_INDEX, SIU_SetBuzzer(bad, 1));
    EXPECT_EQ(SUCCESS, open("S10", &idx[10]));
    EXPECT_EQ(3, idx[10]);
}

TEST_F(ServiceTable, RefusesServicesItCannotBuildOrOpenAndLeavesEverySlotFree) {
    writeIni(section("A") + "[X]\nCustomer=OTHER\nDeviceName=ZT\nLogGenerate=NO\n" +
             "[XY]\nCustomer=NORVA\nDeviceName=XY\nLogGenerate=NO\n" +
             "[NONAME]\nCustomer=NORVA\nLogGenerate=NO\n");
    setAnswer([](const std::string&, int cmd, void*) {
        return cmd == CMD_OPEN ? ERR_SER_TIMEOUT : SUCCESS;
    });
    auto refused = [&](const std::string& name, int code) {
        int idx = 4;
        EXPECT_EQ(code, open(name, &idx)) << name;
        EXPECT_EQ(-1, idx) << name;
    };
    refused("X", ERR_MGR_CLIENT_NOT_FOUND);
    refused("XY", ERR_MGR_DEVICE_NOT_FOUND);
    refused("NONAME", ERR_CFG_NOT_DEFINED);
    refused("MISSING", ERR_CFG_INVALID_SERVICE_NAME);
    refused(std::string(255, 'N'), ERR_CFG_INVALID_SERVICE_NAME);
    refused("A", ERR_SER_TIMEOUT);
    EXPECT_EQ("A OPEN, A CLOSE", calls());  // the refused open is undone
    EXPECT_EQ(0, devicesAlive());
    createDeviceZT = savedFactory;  // the real device cannot be built on a section without a link
    refused("A", ERR_MGR_INTERNAL_ERROR);
    EXPECT_EQ(ERR_MGR_INVALID_INDEX, SIU_Reset(0));
}

TEST_F(ServiceTable, AutomaticTriesTenNumberedServicesForOneThatAnswersAndClosesUnderItsBaseOnly) {
    // AUTO stands for SIU0..SIU9; SHORT is a base that those names only begin with.
    std::string ini = "[AUTO]\nAutomatic=SIU\n[SHORT]\nAutomatic=SI\n", tried;
    for (int i = 0; i < 10; ++i) {
        const std::string s = "SIU" + std::to_string(i);
        ini += section(s);
        tried += (i ? ", " : "") + s + " OPEN, " + s + " CLOSE";
    }
    writeIni(ini);
    setAnswer([](const std::string& s, int cmd, void*) {
        return cmd != CMD_OPEN ? SUCCESS : s == "SIU9" ? ERR_SER_NACK : ERR_SER_TIMEOUT;
    });
    int idx = 3;
    EXPECT_EQ(ERR_SER_NACK, open("AUTO", &idx));  // the last error
    EXPECT_EQ(-1, idx);
    EXPECT_EQ(tried, calls());
    setAnswer([](const std::string& s, int cmd, void*) {
        return cmd == CMD_OPEN && s < "SIU2" ? ERR_SER_TIMEOUT : SUCCESS;
    });
    ASSERT_EQ(SUCCESS, open("AUTO", &idx));
    EXPECT_EQ(0, idx);
    EXPECT_TRUE(logged("SIU2", "SERVICE:[SIU2]"));
    // The open name is the base and one digit: a shorter base it begins with closes nothing.
    EXPECT_EQ(ERR_CFG_INVALID_SERVICE_NAME, close("SHORT", &idx));
    EXPECT_EQ(SUCCESS, close("AUTO", &idx));
    EXPECT_EQ(-1, idx);
    EXPECT_EQ(tried + ", SIU0 OPEN, SIU0 CLOSE, SIU1 OPEN, SIU1 CLOSE, SIU2 OPEN, SIU2 OPEN, " +
                  "SIU2 CLOSE",
              calls());
    EXPECT_EQ(0, devicesAlive());
}

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
