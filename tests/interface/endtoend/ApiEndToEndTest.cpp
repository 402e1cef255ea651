// The whole library through its public functions against siusim, in both
// framings: what reaches the board (siusim's record of received commands and
// its outputs) and what comes back into the caller's variables.

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "support/ServiceFixture.h"
#include "tools/siusim/SimHarness.h"

namespace {

using simtest::Wire;
typedef std::vector<std::string> Commands;
typedef std::vector<unsigned int> Array;

const unsigned int NA = NORVA_SIU_VALUE_NOT_AVAILABLE;

// Items of the service, against the digits of the example board file: which
// command reads them, at which digit, under which mask, and inverted or not.
const char sensorSections[] =
    "[SIU.NORVA_SIU_DOOR_SAFE_BOX]\ncommand=S\ncommand_position=1\nbit_mask=1\n"
    "[SIU.NORVA_SIU_DOOR_FRONT_INF]\ncommand=S\ncommand_position=10\nbit_mask=1\n"
    "[SIU.NORVA_SIU_DOOR_CABINET]\ncommand=S\ncommand_position=2\nbit_mask=8\nnot_logic=1\n"
    "[SIU.NORVA_SIU_LOCK_LOCK]\ncommand=S\ncommand_position=3\n"
    "[SIU.NORVA_SIU_ELETRONIC_KEY]\ncommand=S\ncommand_position=4\nbit_mask=8\n"
    "[SIU.NORVA_SIU_ELETRONIC_KEY_FRONT_INF]\ncommand=S\ncommand_position=5\nbit_mask=1\n"
    "[SIU.NORVA_SIU_SENSOR_OPERATOR]\ncommand=S\ncommand_position=7\nnot_logic=1\n"
    "[SIU.NORVA_SIU_SENSOR_AC_POWER]\ncommand=S\ncommand_position=8\nbit_mask=1\n"
    "[SIU.NORVA_SIU_SENSOR_MOTOR_PANEL]\ncommand=S\ncommand_position=20\nbit_mask=2\n"
    "[SIU.NORVA_SIU_POS_CASH_DISPENSER]\ncommand=P\ncommand_position=1\nbit_mask=1\n"
    "[SIU.NORVA_SIU_POS_PINPAD]\ncommand=P\ncommand_position=4\nbit_mask=8\n"
    "[SIU.NORVA_SIU_SENSOR_CASSETTE_A]\ncommand=P\ncommand_position=6\nbit_mask=1\n"
    "[SIU.NORVA_SIU_SENSOR_CASSETTE_D]\ncommand=P\ncommand_position=6\nbit_mask=8\nnot_logic=1\n"
    "[SIU.NORVA_SIU_INDICATOR_OPERATOR]\ncommand_position=2\n"
    "[SIU.NORVA_SIU_INDICATOR_LED_GREEN]\ncommand_position=4\n";

// Seven caller arrays of 64 entries.
struct Arrays {
    explicit Arrays(unsigned int fill = 0) {
        for (Array& a : byType) a.assign(NORVA_SIU_ARRAY_SIZE, fill);
    }
    Array byType[7];
    Array& operator[](int type) { return byType[type]; }
};

// 64 entries not available but for the given ones.
Array states(std::initializer_list<std::pair<int, unsigned int>> set) {
    Array a(NORVA_SIU_ARRAY_SIZE, NA);
    for (auto& s : set) a[s.first] = s.second;
    return a;
}

class EndToEnd : public siutest::ServiceTest, public ::testing::WithParamInterface<Wire> {
protected:
    void SetUp() override {
        ServiceTest::SetUp();
        if (IsSkipped() || HasFatalFailure()) return;
        createDeviceZT = savedFactory;  // the real device
        sim = std::make_unique<simtest::Sim>(
            wire(),
            std::vector<std::string>{"--board", SIU_SOURCE_DIR "/examples/siusim-board.ini"});
    }

    virtual Wire wire() const { return GetParam(); }

    // Writes the service "SIU" on the simulator's line with extra keys and
    // sections, and opens it; the open's commands are taken off the record.
    void openService(const std::string& keys = "", const std::string& sections = sensorSections) {
        writeIni(section("SIU", "DevicePort=" + sim->link() + "\nDeviceProtocol=" +
                                    (wire() == Wire::Direct ? "NorvaDireto" : "Norva485") +
                                    "\nDeviceBaudrate=9600\nDeviceParity=NONE\n"
                                    "DeviceDataBits=8\nDeviceStopBit=1\nDeviceRxTimeout=50\n"
                                    "DeviceTxTimeout=50\nDeviceFlowControl=NONE\n"
                                    "DeviceIntervalBetweenCommands=0\n" +
                                    keys) +
                 sections);
        ASSERT_EQ(SUCCESS, open("SIU", &idx));
        opening = received();
    }

    // Commands the board received since the last call.
    Commands received() {
        std::istringstream answer(sim->control("records"));
        std::string word;
        Commands commands;
        answer >> word >> word;  // "OK" and the count
        while (answer >> word) commands.push_back(word.substr(word.find(':') + 1));
        return commands;
    }

    int status(Arrays& a,
               int (*call)(int, unsigned int*, unsigned int*, unsigned int*, unsigned int*,
                           unsigned int*, unsigned int*, unsigned int*) = SIU_GetSensorStatus) {
        return call(idx, a[0].data(), a[1].data(), a[2].data(), a[3].data(), a[4].data(),
                    a[5].data(), a[6].data());
    }

    void flag(const std::string& args) { ASSERT_EQ("OK", sim->control("set-flag " + args)); }

    std::unique_ptr<simtest::Sim> sim;
    int idx = -1;
    Commands opening;
};

TEST_P(EndToEnd, IndicatorsAreSentAsTheWholeStateOfEveryOutput) {
    openService();
    EXPECT_EQ(Commands{"L000000"}, opening);
    EXPECT_EQ(SUCCESS, SIU_SetIndicator(idx, 0, NORVA_SIU_INDICATOR_VALUE_BLINK));
    EXPECT_EQ(SUCCESS, SIU_SetIndicator(idx, 14, NORVA_SIU_INDICATOR_VALUE_ON));
    EXPECT_EQ((Commands{"L020000", "L020100"}), received());
    EXPECT_EQ("02010000000000000000", sim->output("leds"));

    EXPECT_EQ(ERR_CMD_INVALID_PARAMETER, SIU_SetIndicator(idx, 0, 3));
    EXPECT_EQ(ERR_CMD_INVALID_PARAMETER, SIU_SetIndicator(idx, 17, 1));
    EXPECT_EQ(ERR_CFG_INVALID_VALUE, SIU_SetIndicator(idx, 5, 1));
    EXPECT_EQ(Commands{}, received());

    EXPECT_EQ(SUCCESS, SIU_Reset(idx));
    EXPECT_EQ(Commands{"L000000"}, received());
    EXPECT_EQ(std::string(20, '0'), sim->output("leds"));
}

TEST_P(EndToEnd, BoardCommandsCarryTheirArgumentsAndRefuseBadOnesUnsent) {
    openService();
    EXPECT_EQ(ERR_CMD_INVALID_PARAMETER, SIU_SetSensorMotionTime(idx, 99));
    EXPECT_EQ(ERR_CMD_INVALID_PARAMETER, SIU_SetSensorMotionTime(idx, 1000));
    EXPECT_EQ(ERR_CMD_INVALID_PARAMETER, SIU_SetBuzzer(idx, 3));
    EXPECT_EQ(ERR_CMD_NOT_IMPLEMENTED, SIU_SetPorts(idx, NORVA_SIU_SETPORTS_PANEL, 1));
    EXPECT_EQ(ERR_CMD_INVALID_PARAMETER, SIU_SetPorts(idx, 2, 1));
    unsigned char data[4] = {1, 2, 3, 4};
    EXPECT_EQ(ERR_CMD_INVALID_PARAMETER, SIU_ResetRemoto(idx, 1000, 0, data));
    EXPECT_EQ(0, std::memcmp(data, "Erro", 4));
    EXPECT_EQ(ERR_CMD_INVALID_PARAMETER, SIU_ResetRemoto(idx, 0, 100000, data));
    EXPECT_EQ(Commands{}, received());

    EXPECT_EQ(SUCCESS, SIU_SetSensorMotionTime(idx, 100));
    unsigned int time = 0;
    EXPECT_EQ(SUCCESS, SIU_GetSensorMotionTime(idx, &time));
    EXPECT_EQ(100u, time);
    EXPECT_EQ(SUCCESS, SIU_SetBuzzer(idx, NORVA_SIU_INDICATOR_VALUE_BLINK));
    EXPECT_EQ("2", sim->output("buzzer"));
    EXPECT_EQ(SUCCESS, SIU_SetPorts(idx, NORVA_SIU_SETPORTS_ELETRONIC_KEY, 1));
    EXPECT_EQ("1", sim->output("key"));
    EXPECT_EQ(SUCCESS, SIU_SetPorts(idx, NORVA_SIU_SETPORTS_ELETRONIC_KEY, 0));
    EXPECT_EQ(SUCCESS, SIU_ResetRemoto(idx, 5, 30, data));
    EXPECT_EQ(0, std::memcmp(data, "OK\0\0", 4));
    ASSERT_EQ("OK", sim->control("set-remote-reply ABCDEF"));
    EXPECT_EQ(SUCCESS, SIU_ResetRemoto(idx, 999, 99999, data));
    EXPECT_EQ(0, std::memcmp(data, "ABCD", 4));
    EXPECT_EQ((Commands{"M100", "m", "B2", "FA1", "FA0", "R00500030", "R99999999"}), received());
}

TEST_P(EndToEnd, DeviceInfoGivesTheVersionAndAWordPerConfiguredGroup) {
    openService();
    ASSERT_EQ("OK", sim->control("set-version ZT 3.1"));
    char* version = nullptr;
    unsigned int w[16];
    std::memset(w, 0xAB, sizeof w);
    ASSERT_EQ(SUCCESS, SIU_GetDeviceInfo(idx, &version, &w[0], &w[1], &w[2], &w[3], &w[4], &w[5],
                                         &w[6], &w[7], &w[8], &w[9], &w[10], &w[11], &w[12], &w[13],
                                         &w[14], &w[15]));
    ASSERT_NE(nullptr, version);
    EXPECT_STREQ("ZT 3.1", version);
    // door, lock, sensor, position, auxiliar, cassette, vendor, indicator; each
    // followed by its reserved word.
    EXPECT_EQ((std::vector<unsigned int>{0x85, 0, 0x181, 0, (1u << 28) | 0x41, 0, 0x8001, 0, 0, 0,
                                         0x9, 0, 0, 0, 0x4001, 0}),
              std::vector<unsigned int>(w, w + 16));
    EXPECT_EQ(Commands{"V"}, received());
    EXPECT_EQ(SUCCESS, SIU_freeBuffer(reinterpret_cast<unsigned char**>(&version)));
    EXPECT_EQ(nullptr, version);
}

TEST_P(EndToEnd, SensorStatesFollowTheBoardThroughMasksAndInversion) {
    openService();
    Arrays a;
    ASSERT_EQ(SUCCESS, status(a));
    EXPECT_EQ((Commands{"S", "P"}), received());
    // At rest: digits "0000000B0000000" and "FFFF1F". The cabinet door and
    // cassette D read their flag inverted; the motor panel sits beyond the
    // reply.
    EXPECT_EQ(states({{0, NORVA_SIU_VALUE_CLOSED},
                      {2, NORVA_SIU_VALUE_CLOSED},
                      {7, NORVA_SIU_VALUE_OPENED}}),
              a[0]);
    EXPECT_EQ(states({{0, NORVA_SIU_VALUE_LOCKED},
                      {7, NORVA_SIU_VALUE_LOCKED},
                      {8, NORVA_SIU_VALUE_LOCKED}}),
              a[1]);
    EXPECT_EQ(states({{0, NORVA_SIU_VALUE_ON}, {6, NORVA_SIU_VALUE_ON}}), a[2]);
    EXPECT_EQ(states({{0, NORVA_SIU_VALUE_AT_POSITION}, {15, NORVA_SIU_VALUE_AT_POSITION}}), a[3]);
    EXPECT_EQ(states({}), a[4]);
    EXPECT_EQ(states({{0, NORVA_SIU_VALUE_ON}, {3, NORVA_SIU_VALUE_OFF}}), a[5]);
    EXPECT_EQ(states({}), a[6]);

    flag("S 1 1 1");  // safe box opened
    flag("S 2 8 1");  // cabinet: inverted flag set
    flag("S 3 2 1");  // a lock outside LOCK's mask
    flag("S 4 8 1");  // electronic key unlocked
    flag("S 7 1 1");  // operator: inverted flag set
    flag("S 8 1 0");  // mains gone
    flag("P 4 8 0");  // pinpad out of position
    flag("P 6 8 0");  // cassette D: inverted flag cleared
    ASSERT_EQ(SUCCESS, status(a));
    EXPECT_EQ(states({{0, NORVA_SIU_VALUE_OPENED},
                      {2, NORVA_SIU_VALUE_CLOSED},
                      {7, NORVA_SIU_VALUE_CLOSED}}),
              a[0]);
    EXPECT_EQ(states({{0, NORVA_SIU_VALUE_LOCKED},
                      {7, NORVA_SIU_VALUE_UNLOCKED},
                      {8, NORVA_SIU_VALUE_LOCKED}}),
              a[1]);
    EXPECT_EQ(states({{0, NORVA_SIU_VALUE_OFF}, {6, NORVA_SIU_VALUE_OFF}}), a[2]);
    EXPECT_EQ(states({{0, NORVA_SIU_VALUE_AT_POSITION}, {15, NORVA_SIU_VALUE_NOT_AT_POSITION}}),
              a[3]);
    EXPECT_EQ(states({{0, NORVA_SIU_VALUE_ON}, {3, NORVA_SIU_VALUE_ON}}), a[5]);
}

TEST_P(EndToEnd, ResetSensorStatusClearsMarkedItemsAmongTheFirstSevenOnly) {
    openService();
    flag("S 10 1 1");  // the door at digit 10 opens; the digit latches until cleared
    Arrays a, marks;
    ASSERT_EQ(SUCCESS, status(a));
    EXPECT_EQ(NORVA_SIU_VALUE_OPENED, a[0][2]);

    marks[1][7] = 1;  // configured, but beyond the entries a reset looks at
    marks[1][8] = 1;
    EXPECT_EQ(ERR_CMD_NOT_IMPLEMENTED, status(marks, SIU_ResetSensorStatus));
    marks[0][1] = 1;  // not configured
    marks[0][2] = 1;
    marks[1][0] = 1;
    EXPECT_EQ(SUCCESS, status(marks, SIU_ResetSensorStatus));
    EXPECT_EQ((Commands{"S", "P", "ZA", "Z3"}), received());

    ASSERT_EQ(SUCCESS, status(a));
    EXPECT_EQ(NORVA_SIU_VALUE_CLOSED, a[0][2]);
}

TEST_P(EndToEnd, ALinkFailurePassesThroughAndLeavesTheCallersVariables) {
    openService();
    // A silent board costs the RS-485 exchange about a second per command.
    ASSERT_EQ("OK silent 2", sim->control("fault silent 2"));
    Arrays a(0xAB);
    EXPECT_EQ(ERR_SER_TIMEOUT, status(a));
    for (int type = 0; type < 7; ++type) EXPECT_EQ(Arrays(0xAB)[type], a[type]) << type;
    unsigned char data[4] = {};
    EXPECT_EQ(ERR_SER_TIMEOUT, SIU_ResetRemoto(idx, 5, 30, data));
    EXPECT_EQ(0, std::memcmp(data, "Erro", 4));

    // A refusing board: NACK, three times over RS-485.
    const int refused = wire() == Wire::Direct ? ERR_SER_NACK : ERR_CMD_NOT_SUPPORTED;
    ASSERT_EQ("OK nack 100", sim->control("fault nack 100"));
    unsigned int time = 7;
    EXPECT_EQ(refused, SIU_GetSensorMotionTime(idx, &time));
    EXPECT_EQ(7u, time);
    char* version = nullptr;
    unsigned int w[16] = {};
    EXPECT_EQ(refused, SIU_GetDeviceInfo(idx, &version, &w[0], &w[1], &w[2], &w[3], &w[4], &w[5],
                                         &w[6], &w[7], &w[8], &w[9], &w[10], &w[11], &w[12], &w[13],
                                         &w[14], &w[15]));
    EXPECT_EQ(nullptr, version);
    EXPECT_EQ(refused, SIU_SetBuzzer(idx, 1));
    EXPECT_EQ(refused, SIU_SetIndicator(idx, 0, 1));
}

INSTANTIATE_TEST_SUITE_P(Framing, EndToEnd, ::testing::Values(Wire::Direct, Wire::Rs485),
                         simtest::wireName);

// Settings that need a service of their own, on the point-to-point line.
class EndToEndService : public EndToEnd {
protected:
    Wire wire() const override { return Wire::Direct; }
};

TEST_F(EndToEndService, NumberOfLedsOutsideZeroToTwentyMeansSix) {
    for (auto leds : {std::make_pair("21", "L000000"), std::make_pair("-1", "L000000"),
                      std::make_pair("0", "L"), std::make_pair("20", "L00000000000000000000")}) {
        openService(std::string("NumberOFLeds=") + leds.first + "\n");
        EXPECT_EQ(Commands{leds.second}, opening) << leds.first;
        ASSERT_EQ(SUCCESS, close("SIU", &idx));
        received();
    }
}

TEST_F(EndToEndService, ABoardWithoutSensorsReportsNotImplementedAndSendsNothing) {
    openService("", "");
    Arrays a, marks(1);
    EXPECT_EQ(ERR_CMD_NOT_IMPLEMENTED, status(a));
    for (int type = 0; type < 7; ++type) EXPECT_EQ(states({}), a[type]) << type;
    EXPECT_EQ(ERR_CMD_NOT_IMPLEMENTED, status(marks, SIU_ResetSensorStatus));
    EXPECT_EQ(Commands{}, received());
}

TEST_F(EndToEndService, NullPointersAreRefusedWithoutSending) {
    openService();
    unsigned int v = 0;
    unsigned int* p = &v;
    char* version = nullptr;
    Arrays a;
    EXPECT_EQ(ERR_CMD_INVALID_PARAMETER,
              SIU_GetDeviceInfo(idx, nullptr, p, p, p, p, p, p, p, p, p, p, p, p, p, p, p, p));
    EXPECT_EQ(ERR_CMD_INVALID_PARAMETER, SIU_GetDeviceInfo(idx, &version, p, p, p, p, p, p, p, p, p,
                                                           p, p, p, p, p, p, nullptr));
    EXPECT_EQ(ERR_CMD_INVALID_PARAMETER, SIU_GetDeviceStatus(idx, nullptr));
    EXPECT_EQ(ERR_CMD_INVALID_PARAMETER,
              SIU_GetSensorStatus(idx, a[0].data(), a[1].data(), a[2].data(), a[3].data(),
                                  a[4].data(), a[5].data(), nullptr));
    EXPECT_EQ(ERR_CMD_INVALID_PARAMETER, SIU_ResetSensorStatus(idx, nullptr, p, p, p, p, p, p));
    EXPECT_EQ(ERR_CMD_INVALID_PARAMETER, SIU_GetSensorMotionTime(idx, nullptr));
    EXPECT_EQ(ERR_MGR_INVALID_POINTER, SIU_freeBuffer(nullptr));
    EXPECT_EQ(ERR_MGR_INVALID_POINTER, SIU_freeBuffer(reinterpret_cast<unsigned char**>(&version)));
    EXPECT_EQ(SUCCESS, SIU_GetDeviceStatus(idx, p));
    EXPECT_EQ(Commands{}, received());
}

}  // namespace
