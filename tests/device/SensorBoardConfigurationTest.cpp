// The mapping tables loaded from an INI file in a temporary module directory,
// and the evaluation of stored board replies.

#include "device/SensorBoardConfiguration.h"

#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "common/Configuration.h"
#include "interface/NorvaSIU.h"
#include "manager/Global.h"
#include "support/TestSupport.h"

namespace {

// The section of item NORVA_SIU_<name>, read with command at position.
std::string sensor(const std::string& name, int position, const std::string& more = "") {
    return "[SIU.NORVA_SIU_" + name +
           "]\ncommand=S1\ncommand_position=" + std::to_string(position) + "\n" + more + "\n";
}

class Tables : public ::testing::Test {
protected:
    void SetUp() override {
        if (siutest::systemFilesPresent()) GTEST_SKIP() << "/Norva/NorvaAPI holds system files";
        siutest::setModuleDirectory(dir.path());
    }

    // The tables of service "SIU" with the given item sections.
    SensorBoardConfiguration& load(const std::string& sections) {
        dir.write("NorvaSensorBoard.ini", "[SIU]\n" + sections);
        EXPECT_EQ(SUCCESS, cfg.setService("SIU"));
        EXPECT_EQ(SUCCESS, cfg.setPathIniFile());
        tables = std::make_unique<SensorBoardConfiguration>(&cfg, nullptr);
        return *tables;
    }

    siutest::ModulePathGuard guard;
    siutest::TempDir dir;
    Configuration cfg;
    std::unique_ptr<SensorBoardConfiguration> tables;
};

TEST(CapabilityBits, ItemsFrom32OnSetTheReservedWordWithAnOffsetOfOne) {
    struct Case {
        unsigned int index, caps, reserved;
    } cases[] = {{0, 1, 0}, {31, 0x80000000u, 0}, {32, 0, 2}, {62, 0, 0x80000000u}, {63, 0, 1}};
    for (const Case& c : cases) {
        unsigned int caps = 0, reserved = 0;
        SensorBoardConfiguration::SetCapabilityBit(c.index, &caps, &reserved);
        EXPECT_EQ(c.caps, caps) << c.index;
        EXPECT_EQ(c.reserved, reserved) << c.index;
    }
}

TEST_F(Tables, ResetCommandNamesThePositionInBase19AndIndicatorsTheirOutput) {
    SensorBoardConfiguration& t =
        load(sensor("DOOR_SAFE_BOX", 0) + sensor("DOOR_PANEL", 10) + sensor("DOOR_FRONT_INF", 18) +
             sensor("DOOR_FRONT_MID", 19) +
             "[SIU.NORVA_SIU_INDICATOR_RECEIPT_PRINTER]\ncommand_position=3\n");
    const char* expected[] = {"Z0", "ZA", "ZI", nullptr};  // position 19 cannot be cleared
    for (unsigned int row = 0; row < 4; ++row) {
        char* reset = nullptr;
        ASSERT_EQ(SUCCESS, t.GetResetSensorCommandByIndex(SENSOR_TYPE_DOOR, row, &reset));
        EXPECT_STREQ(expected[row], reset) << row;
    }
    char* reset = nullptr;
    EXPECT_EQ(ERR_GEN_INTERNAL_ERROR, t.GetResetSensorCommandByIndex(SENSOR_TYPE_DOOR, 4, &reset));
    EXPECT_EQ(ERR_GEN_INTERNAL_ERROR, t.GetResetSensorCommandByIndex(7, 0, &reset));

    unsigned int position = 0;
    EXPECT_EQ(SUCCESS, t.GetIndicatorCommandPosition(2, &position));
    EXPECT_EQ(3u, position);
    EXPECT_EQ(ERR_CFG_INVALID_VALUE, t.GetIndicatorCommandPosition(5, &position));
    EXPECT_EQ(ERR_CMD_INVALID_PARAMETER, t.GetIndicatorCommandPosition(17, &position));
}

// The digit at the item's position, inverted over all 32 bits, under its mask.
TEST_F(Tables, EvaluationReadsOneHexDigitPerItemAndSkipsWhatItCannotRead) {
    SensorBoardConfiguration& t =
        load(sensor("SENSOR_OPERATOR", 1, "bit_mask=4") + sensor("SENSOR_HEAT", 1) +  // mask 1
             sensor("SENSOR_SEISMIC", 2, "bit_mask=8") +
             sensor("SENSOR_SMOKE", 3, "not_logic=1\nbit_mask=4294967295") +
             sensor("SENSOR_PROXIMITY", 4) +
             sensor("SENSOR_LEVEL", 5, "not_logic=1\nbit_mask=256") + sensor("SENSOR_AC_POWER", 6) +
             sensor("SENSOR_DC_POWER", 0) + "[SIU.NORVA_SIU_SENSOR_UPS_POWER]\ncommand=S1\n");
    auto evaluate = [&] {
        std::vector<unsigned int> values(NORVA_SIU_ARRAY_SIZE, 0);
        EXPECT_EQ(SUCCESS, t.ProcessGetSensorResponse(SENSOR_TYPE_SENSOR, values.data()));
        return values;
    };
    std::vector<unsigned int> expected(NORVA_SIU_ARRAY_SIZE, NORVA_SIU_VALUE_NOT_AVAILABLE);
    EXPECT_EQ(expected, evaluate());  // nothing read yet
    ASSERT_EQ(SUCCESS, t.UpdateGetSensorResponse("S1", "Cc0GF"));
    // C & 4, C & 1, c & 8, ~0 & ~0, G unreadable, ~F & 256; beyond the reply,
    // position 0 and an item without position are skipped.
    expected[0] = expected[2] = expected[3] = expected[5] = NORVA_SIU_VALUE_ON;
    expected[1] = NORVA_SIU_VALUE_OFF;
    EXPECT_EQ(expected, evaluate());
    EXPECT_EQ(ERR_CMD_NOT_SUPPORTED, t.UpdateGetSensorResponse("S2", "1"));
    EXPECT_EQ(ERR_CMD_INVALID_PARAMETER, t.ProcessGetSensorResponse(7, expected.data()));
    EXPECT_EQ(ERR_CMD_INVALID_PARAMETER, t.ProcessGetSensorResponse(0, nullptr));
}

}  // namespace
