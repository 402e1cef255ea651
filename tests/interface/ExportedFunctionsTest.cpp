// Every exported function answers bad input with a code, whatever else it is passed.

#include <gtest/gtest.h>

#include <cstring>

#include "interface/NorvaSIU.h"
#include "manager/Global.h"

TEST(ExportedFunctions, AnswerBadIndicesAndMissingArgumentsWithACode) {
    unsigned int* n = nullptr;
    unsigned char data[4] = {1, 2, 3, 4};
    for (int bad : {-1, 10, 9}) {
        EXPECT_EQ(ERR_MGR_INVALID_INDEX, SIU_Reset(bad));
        EXPECT_EQ(ERR_MGR_INVALID_INDEX,
                  SIU_GetDeviceInfo(bad, nullptr, n, n, n, n, n, n, n, n, n, n, n, n, n, n, n, n));
        EXPECT_EQ(ERR_MGR_INVALID_INDEX, SIU_GetDeviceStatus(bad, n));
        EXPECT_EQ(ERR_MGR_INVALID_INDEX, SIU_SetIndicator(bad, 99, 99));
        EXPECT_EQ(ERR_MGR_INVALID_INDEX, SIU_GetSensorStatus(bad, n, n, n, n, n, n, n));
        EXPECT_EQ(ERR_MGR_INVALID_INDEX, SIU_ResetSensorStatus(bad, n, n, n, n, n, n, n));
        EXPECT_EQ(ERR_MGR_INVALID_INDEX, SIU_SetPorts(bad, 7, 7));
        EXPECT_EQ(ERR_MGR_INVALID_INDEX, SIU_GetSensorMotionTime(bad, n));
        EXPECT_EQ(ERR_MGR_INVALID_INDEX, SIU_SetSensorMotionTime(bad, 4294967295u));
        EXPECT_EQ(ERR_MGR_INVALID_INDEX, SIU_SetBuzzer(bad, 7));
        EXPECT_EQ(ERR_MGR_INVALID_INDEX, SIU_ResetRemoto(bad, 0, 0, data));
        EXPECT_EQ(0, std::memcmp(data, "\0\0\0\0", 4));  // no device wrote the answer
    }
    int idx = 3;
    char name[] = "A";
    EXPECT_EQ(ERR_CMD_INVALID_PARAMETER, SIU_Open(nullptr, &idx));
    EXPECT_EQ(-1, idx);
    EXPECT_EQ(ERR_CMD_INVALID_PARAMETER, SIU_Open(name, nullptr));
    EXPECT_EQ(ERR_CMD_INVALID_PARAMETER, SIU_Close(nullptr, &idx));
    EXPECT_EQ(ERR_CMD_INVALID_PARAMETER, SIU_Close(name, nullptr));
    EXPECT_EQ(ERR_MGR_INVALID_POINTER, SIU_freeBuffer(nullptr));
}
