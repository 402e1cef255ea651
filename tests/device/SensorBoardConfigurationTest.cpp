// The mapping tables loaded from a real INI file in a temporary module
// directory, and the evaluation of stored board replies.

#include "device/SensorBoardConfiguration.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <string>
#include <vector>

#include "device/LoggedService.h"
#include "interface/NorvaSIU.h"
#include "manager/Global.h"

namespace {

// "[SIU.<name>]" with the given key lines.
std::string item(const std::string& name, const std::string& keys) {
    return "[SIU." + name + "]\n" + keys + "\n";
}

// A sensor read with command at position, plus further key lines.
std::string sensor(const std::string& name, const char* command, int position,
                   const std::string& more = "") {
    return item(name, std::string("command=") + command +
                          "\ncommand_position=" + std::to_string(position) + "\n" + more);
}

// A status array: not available but for the given entries.
std::vector<unsigned int> states(std::map<unsigned int, unsigned int> set) {
    std::vector<unsigned int> values(NORVA_SIU_ARRAY_SIZE, NORVA_SIU_VALUE_NOT_AVAILABLE);
    for (const auto& entry : set) values[entry.first] = entry.second;
    return values;
}

class Tables : public ::testing::Test {
protected:
    void SetUp() override {
        if (devicetest::systemFilesPresent())
            GTEST_SKIP() << "files in /Norva/NorvaAPI shadow ours";
        service = std::make_unique<devicetest::LoggedService>();
    }

    SensorBoardConfiguration& load(const std::string& sections) {
        service->configure(sections);
        tables = std::make_unique<SensorBoardConfiguration>(&service->cfg, service->log.get());
        return *tables;
    }

    bool logged(const std::string& text) const {
        std::vector<std::string> records = service->records();
        return std::find(records.begin(), records.end(), text) != records.end();
    }

    // Stores reply for command (when given) and evaluates type.
    std::vector<unsigned int> evaluate(unsigned int type, const char* command = nullptr,
                                       const char* reply = nullptr) {
        if (command != nullptr) {
            EXPECT_EQ(SUCCESS, tables->UpdateGetSensorResponse(command, reply));
        }
        std::vector<unsigned int> values(NORVA_SIU_ARRAY_SIZE, 0);
        EXPECT_EQ(SUCCESS, tables->ProcessGetSensorResponse(type, values.data()));
        return values;
    }

    std::unique_ptr<devicetest::LoggedService> service;
    std::unique_ptr<SensorBoardConfiguration> tables;
};

TEST_F(Tables, SensorsSharingACommandRegisterItOnce) {
    SensorBoardConfiguration& t =
        load(sensor("NORVA_SIU_DOOR_SAFE_BOX", "S1", 1) + sensor("NORVA_SIU_DOOR_PANEL", "S1", 2) +
             sensor("NORVA_SIU_LOCK_LOCK", "S2", 1) + sensor("NORVA_SIU_SENSOR_HEAT", "s1", 1));
    EXPECT_TRUE(logged("Configuration found: NORVA_SIU_SENSOR_HEAT"));
    std::vector<std::string> visited;
    char* command = nullptr;
    do {
        ASSERT_EQ(SUCCESS, t.GetGetSensorCommand(&command));
        if (command != nullptr) visited.push_back(command);
    } while (command != nullptr && visited.size() < 10);
    EXPECT_EQ((std::vector<std::string>{"S1", "S2", "s1"}), visited);

    char unknown[] = "S3";
    command = unknown;
    EXPECT_EQ(ERR_CMD_NOT_SUPPORTED, t.GetGetSensorCommand(&command));
    EXPECT_EQ(nullptr, command);
}

TEST_F(Tables, NothingConfiguredMeansNoCommandToIterate) {
    SensorBoardConfiguration& t = load(item("NORVA_SIU_DOOR_PANEL", "command=S1"));
    SensorBoardConfiguration withoutConfiguration(nullptr, nullptr);
    for (SensorBoardConfiguration* each : {&t, &withoutConfiguration}) {
        char* command = nullptr;
        EXPECT_EQ(ERR_CMD_NOT_SUPPORTED, each->GetGetSensorCommand(&command));
        EXPECT_EQ(nullptr, command);
    }
}

TEST_F(Tables, CapabilitiesHaveOneBitPerConfiguredRow) {
    SensorBoardConfiguration& t = load(
        sensor("NORVA_SIU_DOOR_SAFE_BOX", "S1", 1) +
        item("NORVA_SIU_DOOR_FRONT_MID", "command=S1") + sensor("NORVA_SIU_DOOR_CABINET", "S1", 2) +
        sensor("NORVA_SIU_ELETRONIC_KEY_REAR_SUP", "S1", 3) +
        sensor("NORVA_SIU_SENSOR_MOTOR_PANEL", "S2", 1) +
        item("NORVA_SIU_INDICATOR_OPERATOR", "command_position=1") +
        item("NORVA_SIU_INDICATOR_LED_ORANGE", "command_position=6"));
    auto caps = [&](unsigned int type) {
        unsigned int words[2] = {1, 1};
        int rc = type < SENSOR_TYPE_COUNT ? t.GetSensorsCapabilities(type, &words[0], &words[1])
                                          : t.GetIndicatorCapabilities(&words[0], &words[1]);
        EXPECT_EQ(SUCCESS, rc);
        return std::make_pair(words[0], words[1]);
    };
    EXPECT_EQ(std::make_pair(0x81u, 0u), caps(SENSOR_TYPE_DOOR));
    EXPECT_EQ(std::make_pair(1u << 13, 0u), caps(SENSOR_TYPE_LOCK));
    EXPECT_EQ(std::make_pair(1u << 28, 0u), caps(SENSOR_TYPE_SENSOR));
    EXPECT_EQ(std::make_pair(0u, 0u), caps(SENSOR_TYPE_VENDOR));
    EXPECT_EQ(std::make_pair(0x10001u, 0u), caps(SENSOR_TYPE_COUNT));  // indicators
    unsigned int word = 0;
    EXPECT_EQ(ERR_CMD_INVALID_PARAMETER, t.GetSensorsCapabilities(7, &word, &word));
}

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

TEST_F(Tables, ResetCommandNamesThePositionInBase19) {
    SensorBoardConfiguration& t =
        load(sensor("NORVA_SIU_DOOR_SAFE_BOX", "S1", 0) + sensor("NORVA_SIU_DOOR_PANEL", "S1", 10) +
             sensor("NORVA_SIU_DOOR_FRONT_INF", "S1", 18) +
             sensor("NORVA_SIU_DOOR_FRONT_MID", "S1", 19));
    const char* expected[] = {"Z0", "ZA", "ZI"};
    for (unsigned int row = 0; row < 3; ++row) {
        char* reset = nullptr;
        ASSERT_EQ(SUCCESS, t.GetResetSensorCommandByIndex(SENSOR_TYPE_DOOR, row, &reset));
        ASSERT_NE(nullptr, reset);
        EXPECT_STREQ(expected[row], reset);
    }
    char sentinel[] = "keep";
    char* reset = sentinel;
    EXPECT_EQ(SUCCESS, t.GetResetSensorCommandByIndex(SENSOR_TYPE_DOOR, 3, &reset));
    EXPECT_EQ(nullptr, reset);  // position 19 loads but cannot be cleared
    reset = sentinel;
    EXPECT_EQ(ERR_GEN_INTERNAL_ERROR, t.GetResetSensorCommandByIndex(SENSOR_TYPE_DOOR, 4, &reset));
    EXPECT_EQ(sentinel, reset);
    EXPECT_EQ(ERR_GEN_INTERNAL_ERROR, t.GetResetSensorCommandByIndex(7, 0, &reset));
    EXPECT_EQ(nullptr, reset);
}

TEST_F(Tables, IndicatorPositionComesFromItsSection) {
    SensorBoardConfiguration& t =
        load(item("NORVA_SIU_INDICATOR_RECEIPT_PRINTER", "command_position=3"));
    unsigned int position = 0;
    EXPECT_EQ(SUCCESS, t.GetIndicatorCommandPosition(2, &position));
    EXPECT_EQ(3u, position);
    EXPECT_EQ(ERR_CFG_INVALID_VALUE, t.GetIndicatorCommandPosition(5, &position));
    EXPECT_EQ(ERR_CMD_INVALID_PARAMETER, t.GetIndicatorCommandPosition(17, &position));
    EXPECT_EQ(3u, position);
    EXPECT_TRUE(logged("NORVA_SIU_INDICATOR_BIOMETRIC not available in configuration"));
    EXPECT_TRUE(logged("Indicator index invalid"));
}

TEST_F(Tables, StoredRepliesBelongToKnownCommandsOnly) {
    SensorBoardConfiguration& t = load(sensor("NORVA_SIU_DOOR_PANEL", "S1", 1));
    char* reply = nullptr;
    EXPECT_EQ(SUCCESS, t.GetGetSensorResponse("S1", &reply));
    EXPECT_EQ(nullptr, reply);
    EXPECT_EQ(states({}), evaluate(SENSOR_TYPE_DOOR));  // never read
    EXPECT_EQ(SUCCESS, t.UpdateGetSensorResponse("S1", "0"));
    EXPECT_EQ(states({{1, NORVA_SIU_VALUE_OPENED}}), evaluate(SENSOR_TYPE_DOOR, "S1", "1F"));
    EXPECT_EQ(SUCCESS, t.GetGetSensorResponse("S1", &reply));
    EXPECT_STREQ("1F", reply);
    EXPECT_EQ(ERR_CMD_NOT_SUPPORTED, t.UpdateGetSensorResponse("S2", "01"));
    EXPECT_EQ(ERR_CMD_NOT_SUPPORTED, t.GetGetSensorResponse("S2", &reply));
    EXPECT_EQ(nullptr, reply);
    std::vector<unsigned int> values(NORVA_SIU_ARRAY_SIZE);
    EXPECT_EQ(ERR_CMD_INVALID_PARAMETER, t.ProcessGetSensorResponse(7, values.data()));
    EXPECT_EQ(ERR_CMD_INVALID_PARAMETER, t.ProcessGetSensorResponse(0, nullptr));
}

TEST_F(Tables, DoorReadsOpenedOrClosedThroughMaskAndInversion) {
    load(sensor("NORVA_SIU_DOOR_SAFE_BOX", "S1", 2, "bit_mask=1") +
         sensor("NORVA_SIU_DOOR_PANEL", "S1", 2, "bit_mask=1\nnot_logic=1") +
         sensor("NORVA_SIU_DOOR_CABINET", "S1", 1));  // bit_mask defaults to 1
    EXPECT_EQ(states({{0, NORVA_SIU_VALUE_OPENED},
                      {1, NORVA_SIU_VALUE_CLOSED},
                      {7, NORVA_SIU_VALUE_CLOSED}}),
              evaluate(SENSOR_TYPE_DOOR, "S1", "01"));
}

TEST_F(Tables, MaskSelectsBitsAndUnreadableCharactersAreNotAvailable) {
    load(sensor("NORVA_SIU_SENSOR_OPERATOR", "S2", 1, "bit_mask=4") +
         sensor("NORVA_SIU_SENSOR_HEAT", "S2", 1, "bit_mask=1") +
         sensor("NORVA_SIU_SENSOR_SEISMIC", "S2", 2, "bit_mask=8") +
         sensor("NORVA_SIU_SENSOR_SMOKE", "S2", 3, "not_logic=1\nbit_mask=4294967295") +
         sensor("NORVA_SIU_SENSOR_PROXIMITY", "S2", 4) +
         sensor("NORVA_SIU_SENSOR_LEVEL", "S2", 5, "not_logic=1\nbit_mask=256") +
         sensor("NORVA_SIU_SENSOR_AC_POWER", "S2", 6) +
         sensor("NORVA_SIU_SENSOR_DC_POWER", "S2", 0));
    EXPECT_EQ(states({{0, NORVA_SIU_VALUE_ON},               // C & 4
                      {1, NORVA_SIU_VALUE_OFF},              // C & 1
                      {2, NORVA_SIU_VALUE_ON},               // c & 8: either case
                      {3, NORVA_SIU_VALUE_ON},               // ~0 & 0xFFFFFFFF
                      {5, NORVA_SIU_VALUE_ON}}),             // ~F reaches above the low byte
              evaluate(SENSOR_TYPE_SENSOR, "S2", "Cc0GF"));  // G, beyond, position 0: skipped
    for (const char* name : {"AC_POWER", "DC_POWER"}) {
        EXPECT_TRUE(logged(std::string("Skipping NORVA_SIU_SENSOR_") + name +
                           ". Command position configured is greater than device response"));
    }
}

TEST_F(Tables, EachTypeWritesItsOwnActiveAndInactiveValues) {
    load(sensor("NORVA_SIU_LOCK_LOCK", "S1", 1) + sensor("NORVA_SIU_ELETRONIC_KEY", "S1", 2) +
         sensor("NORVA_SIU_POS_CASH_DISPENSER", "S1", 1) +
         sensor("NORVA_SIU_POS_DEPOSIT", "S1", 2) + sensor("NORVA_SIU_SENSOR_CASSETTE_A", "S1", 1) +
         sensor("NORVA_SIU_SENSOR_CASSETTE_D", "S1", 2));
    EXPECT_EQ(states({{0, NORVA_SIU_VALUE_UNLOCKED}, {7, NORVA_SIU_VALUE_LOCKED}}),
              evaluate(SENSOR_TYPE_LOCK, "S1", "10"));
    EXPECT_EQ(states({{0, NORVA_SIU_VALUE_AT_POSITION}, {1, NORVA_SIU_VALUE_NOT_AT_POSITION}}),
              evaluate(SENSOR_TYPE_POSITION));
    EXPECT_EQ(states({{0, NORVA_SIU_VALUE_ON}, {3, NORVA_SIU_VALUE_OFF}}),
              evaluate(SENSOR_TYPE_SENSOR_CASS));
    EXPECT_EQ(states({}), evaluate(SENSOR_TYPE_AUXILIAR));
    EXPECT_EQ(states({}), evaluate(SENSOR_TYPE_VENDOR));
    EXPECT_EQ(states({}), evaluate(SENSOR_TYPE_DOOR));
}

}  // namespace
