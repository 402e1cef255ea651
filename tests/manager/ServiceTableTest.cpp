#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/ServiceFixture.h"

using siutest::FakeCall;
typedef std::vector<FakeCall> Calls;

class ServiceTable : public siutest::ServiceTest {};

TEST_F(ServiceTable, CountsRepeatedOpensAndClosesTheDeviceOnlyOnTheLastClose) {
    writeIni(section("A"));
    int first = -1, idx = -1;
    ASSERT_EQ(SUCCESS, open("A", &first));
    ASSERT_EQ(SUCCESS, open("A", &idx));
    EXPECT_EQ(first, idx);
    EXPECT_EQ(Calls({{"A", CMD_OPEN}}), calls());
    EXPECT_NE(std::string::npos, logOf("A").find("Service A Already Opened - Tot.: 2"));

    EXPECT_EQ(SUCCESS, close("A", &idx));
    EXPECT_EQ(first, idx);
    EXPECT_NE(std::string::npos, logOf("A").find("Service A Opened yet - Tot.: 1"));
    EXPECT_EQ(SUCCESS, SIU_Reset(idx));

    EXPECT_EQ(SUCCESS, close("A", &idx));
    EXPECT_EQ(-1, idx);
    EXPECT_EQ(Calls({{"A", CMD_OPEN}, {"A", CMD_RESET}, {"A", CMD_CLOSE}}), calls());
    EXPECT_EQ(0, devicesAlive());
    EXPECT_EQ(ERR_MGR_INVALID_INDEX, SIU_Reset(first));
}

TEST_F(ServiceTable, HoldsTenServicesRefusesTheEleventhAndReusesTheLowestFreeSlot) {
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
    EXPECT_EQ(SUCCESS, open("S10", &idx[10]));
    EXPECT_EQ(3, idx[10]);
}

TEST_F(ServiceTable, RefusesCustomersAndDeviceNamesItHasNoClientOrDeviceFor) {
    writeIni(
        "[X]\nCustomer=OTHER\nDeviceName=ZT\nLogGenerate=NO\n"
        "[XY]\nCustomer=NORVA\nDeviceName=XY\nLogGenerate=NO\n"
        "[NONAME]\nCustomer=NORVA\nLogGenerate=NO\n" +
        section("A"));
    int idx = 4;
    EXPECT_EQ(ERR_MGR_CLIENT_NOT_FOUND, open("X", &idx));
    EXPECT_EQ(-1, idx);
    EXPECT_EQ(ERR_MGR_DEVICE_NOT_FOUND, open("XY", &idx));
    EXPECT_EQ(-1, idx);
    EXPECT_EQ(ERR_CFG_NOT_DEFINED, open("NONAME", &idx));
    EXPECT_EQ(-1, idx);
    EXPECT_EQ(0, devicesAlive());
    EXPECT_TRUE(calls().empty());
    // The real "ZT" device cannot be built on a section without a link.
    createDeviceZT = savedFactory;
    EXPECT_EQ(ERR_MGR_INTERNAL_ERROR, open("A", &idx));
    EXPECT_EQ(ERR_MGR_INVALID_INDEX, SIU_Reset(0));  // every slot stayed free
}

TEST_F(ServiceTable, RefusesNullArgumentsAndNamesTheFileLacks) {
    writeIni(section("A"));
    int idx = 7;
    char name[] = "A";
    EXPECT_EQ(ERR_CMD_INVALID_PARAMETER, SIU_Open(nullptr, &idx));
    EXPECT_EQ(-1, idx);
    EXPECT_EQ(ERR_CMD_INVALID_PARAMETER, SIU_Open(name, nullptr));
    EXPECT_EQ(ERR_CFG_INVALID_SERVICE_NAME, open("MISSING", &idx));
    EXPECT_EQ(ERR_CFG_INVALID_SERVICE_NAME, open(std::string(255, 'N'), &idx));
    EXPECT_EQ(-1, idx);

    ASSERT_EQ(SUCCESS, open("A", &idx));
    EXPECT_EQ(ERR_CMD_INVALID_PARAMETER, SIU_Close(nullptr, &idx));
    EXPECT_EQ(ERR_CMD_INVALID_PARAMETER, SIU_Close(name, nullptr));
    EXPECT_EQ(SUCCESS, SIU_Reset(idx));
}

TEST_F(ServiceTable, UndoesAnOpenTheDeviceRefuses) {
    writeIni(section("A"));
    setAnswer([](const std::string&, int cmd, void*) {
        return cmd == CMD_OPEN ? ERR_SER_TIMEOUT : SUCCESS;
    });
    int idx = 0;
    EXPECT_EQ(ERR_SER_TIMEOUT, open("A", &idx));
    EXPECT_EQ(-1, idx);
    EXPECT_EQ(Calls({{"A", CMD_OPEN}, {"A", CMD_CLOSE}}), calls());
    EXPECT_EQ(0, devicesAlive());
    EXPECT_EQ(ERR_MGR_INVALID_INDEX, SIU_Reset(0));
}

TEST_F(ServiceTable, ClosingUnderAnotherNameFailsAndLeavesTheServiceOpen) {
    writeIni(section("A") + section("B"));
    int idx = -1;
    ASSERT_EQ(SUCCESS, open("A", &idx));
    int copy = idx;
    EXPECT_EQ(ERR_CFG_INVALID_SERVICE_NAME, close("B", &copy));
    EXPECT_EQ(idx, copy);
    EXPECT_EQ(SUCCESS, SIU_Reset(idx));
    EXPECT_EQ(SUCCESS, close("A", &copy));
    EXPECT_EQ(-1, copy);
    EXPECT_EQ(0, devicesAlive());
}

TEST_F(ServiceTable, RefusesCommandsOnIndicesThatNameNoOpenServiceAndLogsNothing) {
    writeIni(section("A"));
    int idx = -1;
    ASSERT_EQ(SUCCESS, open("A", &idx));
    ASSERT_EQ(0, idx);
    std::string before = logOf("A");
    for (int bad : {10, -1, 1, 2147483647}) {
        EXPECT_EQ(ERR_MGR_INVALID_INDEX, SIU_SetBuzzer(bad, 1)) << bad;
        int copy = bad;
        EXPECT_EQ(ERR_MGR_INVALID_INDEX, close("A", &copy)) << bad;
    }
    EXPECT_EQ(before, logOf("A"));
    EXPECT_EQ(Calls({{"A", CMD_OPEN}}), calls());
}
