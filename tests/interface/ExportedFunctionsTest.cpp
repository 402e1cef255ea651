#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "support/ServiceFixture.h"

TEST(CommandNames, NameEveryCodeAndNothingBeyondTheLast) {
    EXPECT_STREQ("CMD_OPEN", getFunctionName(CMD_OPEN));
    EXPECT_STREQ("CMD_GET_SENSOR_TIME_ACTIVE_MOVEMENT",
                 getFunctionName(CMD_GET_SENSOR_TIME_ACTIVE_MOVEMENT));
    EXPECT_STREQ("CMD_RESET_REMOTO", getFunctionName(12));
    EXPECT_STREQ("NOT_DEFINED", getFunctionName(13));
    EXPECT_STREQ("NOT_DEFINED", getFunctionName(4294967295u));
}

// Each exported function hands the device its arguments as the command's
// input; the fake device keeps the last command and input it received.
class ExportedFunctions : public siutest::ServiceTest {
protected:
    void SetUp() override {
        siutest::ServiceTest::SetUp();
        if (IsSkipped()) return;
        writeIni(section("A"));
        setAnswer([this](const std::string&, int cmd, void* in) -> int {
            lastCmd = cmd;
            lastInput = in;
            if (cmd == CMD_SET_INDICATOR || cmd == CMD_SET_PORTS) {
                std::memcpy(pair, in, sizeof pair);
            } else if (cmd == CMD_SET_SENSOR_MOTION_TIME || cmd == CMD_SET_BUZZER) {
                pair[0] = *static_cast<unsigned int*>(in);
            } else if (cmd == CMD_GET_SENSOR_STATUS || cmd == CMD_RESET_SENSOR_STATUS) {
                status = *static_cast<st_cmd_sensor_status*>(in);
            } else if (cmd == CMD_GET_DEVICE_INFO) {
                info = *static_cast<st_cmd_get_device_info*>(in);
                *info.eprom_version = new char[3]{'V', '1', 0};
            } else if (cmd == CMD_RESET_REMOTO) {
                auto* record = static_cast<st_cmd_reset_remoto*>(in);
                pair[0] = record->TimerToOff;
                pair[1] = record->TimerToOn;
                std::memcpy(record->REspResetSensores, remotoAnswer, 4);
                return remotoResult;
            }
            return SUCCESS;
        });
        ASSERT_EQ(SUCCESS, open("A", &idx));
        lastCmd = -1;
    }

    int idx = -1;
    int lastCmd = -1;
    void* lastInput = nullptr;
    uint32_t pair[2] = {0, 0};
    // Records live on the exported function's stack: kept as copies.
    st_cmd_sensor_status status{};
    st_cmd_get_device_info info{};
    const char* remotoAnswer = "OK12";
    int remotoResult = SUCCESS;
};

TEST_F(ExportedFunctions, PassTheirArgumentsToTheDevice) {
    EXPECT_EQ(SUCCESS, SIU_SetIndicator(idx, 7, NORVA_SIU_INDICATOR_VALUE_BLINK));
    EXPECT_EQ(CMD_SET_INDICATOR, lastCmd);
    EXPECT_EQ(7u, pair[0]);
    EXPECT_EQ(2u, pair[1]);
    EXPECT_EQ(SUCCESS, SIU_SetPorts(idx, NORVA_SIU_SETPORTS_ELETRONIC_KEY, 0));
    EXPECT_EQ(CMD_SET_PORTS, lastCmd);
    EXPECT_EQ(1u, pair[0]);
    EXPECT_EQ(0u, pair[1]);
    EXPECT_EQ(SUCCESS, SIU_SetSensorMotionTime(idx, 250));
    EXPECT_EQ(250u, pair[0]);
    EXPECT_EQ(SUCCESS, SIU_SetBuzzer(idx, 2));
    EXPECT_EQ(CMD_SET_BUZZER, lastCmd);
    EXPECT_EQ(2u, pair[0]);
    EXPECT_EQ(SUCCESS, SIU_Reset(idx));
    EXPECT_EQ(nullptr, lastInput);

    unsigned int value = 0;
    EXPECT_EQ(SUCCESS, SIU_GetDeviceStatus(idx, &value));
    EXPECT_EQ(&value, lastInput);
    EXPECT_EQ(SUCCESS, SIU_GetSensorMotionTime(idx, &value));
    EXPECT_EQ(CMD_GET_SENSOR_TIME_ACTIVE_MOVEMENT, lastCmd);
    EXPECT_EQ(&value, lastInput);

    unsigned int a[7][NORVA_SIU_ARRAY_SIZE];
    EXPECT_EQ(SUCCESS, SIU_ResetSensorStatus(idx, a[0], a[1], a[2], a[3], a[4], a[5], a[6]));
    EXPECT_EQ(CMD_RESET_SENSOR_STATUS, lastCmd);
    EXPECT_EQ(SUCCESS, SIU_GetSensorStatus(idx, a[0], a[1], a[2], a[3], a[4], a[5], a[6]));
    EXPECT_EQ(CMD_GET_SENSOR_STATUS, lastCmd);
    EXPECT_EQ(a[0], status.door);
    EXPECT_EQ(a[5], status.sensor_cass);
    EXPECT_EQ(a[6], status.vendor);
}

TEST_F(ExportedFunctions, HandOutTheVersionTextForSIU_freeBufferToRelease) {
    char* version = nullptr;
    unsigned int w[16];
    EXPECT_EQ(SUCCESS, SIU_GetDeviceInfo(idx, &version, &w[0], &w[1], &w[2], &w[3], &w[4], &w[5],
                                         &w[6], &w[7], &w[8], &w[9], &w[10], &w[11], &w[12], &w[13],
                                         &w[14], &w[15]));
    EXPECT_EQ(&version, info.eprom_version);
    EXPECT_EQ(&w[0], info.caps_door);
    EXPECT_EQ(&w[13], info.reserved_6);
    EXPECT_EQ(&w[15], info.reserved_7);
    ASSERT_STREQ("V1", version);

    auto buffer = reinterpret_cast<unsigned char**>(&version);
    EXPECT_EQ(SUCCESS, SIU_freeBuffer(buffer));
    EXPECT_EQ(nullptr, version);
    EXPECT_EQ(ERR_MGR_INVALID_POINTER, SIU_freeBuffer(buffer));
    EXPECT_EQ(ERR_MGR_INVALID_POINTER, SIU_freeBuffer(nullptr));
}

TEST_F(ExportedFunctions, ResetRemotoAlwaysReturnsFourAnswerBytes) {
    unsigned char data[5] = {'x', 'x', 'x', 'x', 'y'};
    EXPECT_EQ(SUCCESS, SIU_ResetRemoto(idx, 10, 20, data));
    EXPECT_EQ(10u, pair[0]);
    EXPECT_EQ(20u, pair[1]);
    EXPECT_EQ(0, std::memcmp(data, "OK12y", 5));

    remotoAnswer = "Erro";
    remotoResult = ERR_SER_TIMEOUT;
    EXPECT_EQ(ERR_SER_TIMEOUT, SIU_ResetRemoto(idx, 1, 2, data));
    EXPECT_EQ(0, std::memcmp(data, "Erroy", 5));
    EXPECT_EQ(ERR_SER_TIMEOUT, SIU_ResetRemoto(idx, 1, 2, nullptr));

    // Nothing written by the device: four zero bytes.
    EXPECT_EQ(ERR_MGR_INVALID_INDEX, SIU_ResetRemoto(9, 1, 2, data));
    EXPECT_EQ(0, std::memcmp(data, "\0\0\0\0y", 5));
}

TEST_F(ExportedFunctions, AnswerABadIndexWithACodeWhateverElseIsPassed) {
    unsigned int* n = nullptr;
    for (int bad : {-1, 10, 9}) {
        EXPECT_EQ(ERR_MGR_INVALID_INDEX,
                  SIU_GetDeviceInfo(bad, nullptr, n, n, n, n, n, n, n, n, n, n, n, n, n, n, n, n));
        EXPECT_EQ(ERR_MGR_INVALID_INDEX, SIU_GetDeviceStatus(bad, n));
        EXPECT_EQ(ERR_MGR_INVALID_INDEX, SIU_SetIndicator(bad, 99, 99));
        EXPECT_EQ(ERR_MGR_INVALID_INDEX, SIU_GetSensorStatus(bad, n, n, n, n, n, n, n));
        EXPECT_EQ(ERR_MGR_INVALID_INDEX, SIU_ResetSensorStatus(bad, n, n, n, n, n, n, n));
        EXPECT_EQ(ERR_MGR_INVALID_INDEX, SIU_SetPorts(bad, 7, 7));
        EXPECT_EQ(ERR_MGR_INVALID_INDEX, SIU_GetSensorMotionTime(bad, n));
        EXPECT_EQ(ERR_MGR_INVALID_INDEX, SIU_SetSensorMotionTime(bad, 4294967295u));
        EXPECT_EQ(ERR_MGR_INVALID_INDEX, SIU_ResetRemoto(bad, 0, 0, nullptr));
    }
    EXPECT_EQ(-1, lastCmd);  // the device saw none of it
}
