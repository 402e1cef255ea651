// The whole library through its public functions against siusim, in both
// framings: what reaches the board (siusim's record of received commands and
// its outputs) and what comes back into the caller's variables.

#include <memory>
#include <sstream>

#include "support/ServiceFixture.h"
#include "tools/siusim/SimHarness.h"

namespace {

using simtest::Wire;
typedef std::vector<std::string> Commands;
typedef std::vector<unsigned int> Array;

// Items read from the digits of the example board file.
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

class EndToEnd : public siutest::ServiceTest, public ::testing::WithParamInterface<Wire> {
protected:
    void SetUp() override {
        ServiceTest::SetUp();
        if (IsSkipped() || HasFatalFailure()) return;
        createDeviceZT = savedFactory;  // the real device
        sim = std::make_unique<simtest::Sim>(
            GetParam(),
            std::vector<std::string>{"--board", SIU_SOURCE_DIR "/examples/siusim-board.ini"});
    }

    // Writes the service "SIU" on the simulator's line with extra keys and
    // sections, and opens it; the open's commands are taken off the record.
    void openService(const std::string& keys = "", const std::string& sections = sensorSections) {
        std::string protocol = GetParam() == Wire::Direct ? "NorvaDireto" : "Norva485";
        writeIni(section("SIU", "DevicePort=" + sim->link() + "\nDeviceProtocol=" + protocol +
                                    "\nDeviceBaudrate=9600\nDeviceParity=NONE\nDeviceDataBits=8\n"
                                    "DeviceStopBit=1\nDeviceRxTimeout=50\nDeviceTxTimeout=50\n"
                                    "DeviceFlowControl=NONE\nDeviceIntervalBetweenCommands=0\n" +
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

    // The seven caller arrays of a status call, by sensor type.
    std::vector<Array> a = std::vector<Array>(7, Array(NORVA_SIU_ARRAY_SIZE, 0));
    int status(int (*call)(int, unsigned int*, unsigned int*, unsigned int*, unsigned int*,
                           unsigned int*, unsigned int*, unsigned int*) = SIU_GetSensorStatus) {
        return call(idx, a[0].data(), a[1].data(), a[2].data(), a[3].data(), a[4].data(),
                    a[5].data(), a[6].data());
    }
    // The entries of the arrays that hold a state, as "door0=CLOSED lock7=LOCKED".
    std::string states() const {
        const char* const types[] = {"door", "lock", "sensor", "position", "aux", "cass", "vendor"};
        const char* const values[] = {"OFF",    "ON",       "CLOSED",      "OPENED",
                                      "LOCKED", "UNLOCKED", "AT_POSITION", "NOT_AT_POSITION"};
        std::string text;
        for (int t = 0; t < 7; ++t)
            for (unsigned int i = 0; i < NORVA_SIU_ARRAY_SIZE; ++i)
                if (unsigned int v = a[t][i]; v != NORVA_SIU_VALUE_NOT_AVAILABLE)
                    text += std::string(text.empty() ? "" : " ") + types[t] + std::to_string(i) +
                            "=" + (v - 2 < 8 ? values[v - 2] : std::to_string(v));
        return text;
    }
    int deviceInfo(char** version, unsigned int* w) {
        return SIU_GetDeviceInfo(idx, version, &w[0], &w[1], &w[2], &w[3], &w[4], &w[5], &w[6],
                                 &w[7], &w[8], &w[9], &w[10], &w[11], &w[12], &w[13], &w[14],
                                 &w[15]);
    }

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
    EXPECT_TRUE(logged("SIU", "NORVA_SIU_INDICATOR_VALUE_ON_GREEN"));  // outputs 3..6: lamps
    EXPECT_EQ(SUCCESS, SIU_Reset(idx));
    EXPECT_EQ(Commands{"L000000"}, received());
}

// siuctl's tests drive the motion time, buzzer, key port and a power cycle through the library.
TEST_P(EndToEnd, APowerCycleCarriesItsTimesAndHandsBackFourBytesOfTheReplyZeroFilled) {
    openService();
    unsigned char data[4] = {1, 2, 3, 4};
    EXPECT_EQ(SUCCESS, SIU_ResetRemoto(idx, 5, 30, data));
    EXPECT_EQ(0, std::memcmp(data, "OK\0\0", 4));
    ASSERT_EQ("OK", sim->control("set-remote-reply ABCDEF"));
    EXPECT_EQ(SUCCESS, SIU_ResetRemoto(idx, 999, 99999, data));
    EXPECT_EQ(0, std::memcmp(data, "ABCD", 4));
    EXPECT_EQ((Commands{"R00500030", "R99999999"}), received());
}

TEST_P(EndToEnd, DeviceInfoGivesTheVersionAndAWordPerConfiguredGroup) {
    openService();
    char* version = nullptr;
    unsigned int w[16];
    std::memset(w, 0xAB, sizeof w);
    ASSERT_EQ(SUCCESS, deviceInfo(&version, w));
    EXPECT_STREQ("ZT-SIM 2.14", version);  // from the board file
    // door, lock, sensor, position, auxiliar, cassette, vendor, indicator; each
    // followed by its reserved word.
    EXPECT_EQ(
        (Array{0x85, 0, 0x181, 0, (1u << 28) | 0x41, 0, 0x8001, 0, 0, 0, 0x9, 0, 0, 0, 0x4001, 0}),
        Array(w, w + 16));
    EXPECT_EQ(Commands{"V"}, received());
    EXPECT_EQ(SUCCESS, SIU_freeBuffer(reinterpret_cast<unsigned char**>(&version)));
    EXPECT_EQ(nullptr, version);
}

TEST_P(EndToEnd, SensorStatesFollowTheBoardThroughMasksAndInversion) {
    openService();
    ASSERT_EQ(SUCCESS, status());
    EXPECT_EQ((Commands{"S", "P"}), received());
    // At rest: digits "0000000B0000000" and "FFFF1F". The cabinet door and
    // cassette D read their flag inverted; the motor panel sits beyond the
    // reply.
    EXPECT_EQ(
        "door0=CLOSED door2=CLOSED door7=OPENED lock0=LOCKED lock7=LOCKED lock8=LOCKED sensor0=ON "
        "sensor6=ON position0=AT_POSITION position15=AT_POSITION cass0=ON cass3=OFF",
        states());
    // Safe box opened, the inverted flags of cabinet and operator set, a lock
    // flag outside LOCK's mask, key unlocked, mains gone, pinpad out of
    // position, the inverted flag of cassette D cleared.
    for (const char* flag :
         {"S 1 1 1", "S 2 8 1", "S 7 1 1", "S 3 2 1", "S 4 8 1", "S 8 1 0", "P 4 8 0", "P 6 8 0"})
        ASSERT_EQ("OK", sim->control(std::string("set-flag ") + flag));
    ASSERT_EQ(SUCCESS, status());
    EXPECT_EQ(
        "door0=OPENED door2=CLOSED door7=CLOSED lock0=LOCKED lock7=UNLOCKED lock8=LOCKED "
        "sensor0=OFF "
        "sensor6=OFF position0=AT_POSITION position15=NOT_AT_POSITION cass0=ON cass3=ON",
        states());
}

// That the board clears a latched flag on its reset command siuctl's and siusim's tests show.
TEST_P(EndToEnd, ResetSensorStatusResetsMarkedItemsAmongTheFirstSevenOnly) {
    openService();
    a[1][7] = a[1][8] = 1;  // configured, but beyond the entries a reset looks at
    EXPECT_EQ(ERR_CMD_NOT_IMPLEMENTED, status(SIU_ResetSensorStatus));
    a[0][1] = a[0][2] = a[1][0] = 1;  // the door panel (entry 1) is not configured
    EXPECT_EQ(SUCCESS, status(SIU_ResetSensorStatus));
    EXPECT_EQ((Commands{"ZA", "Z3"}), received());
}

TEST_P(EndToEnd, ALinkFailurePassesThroughAndLeavesTheCallersVariables) {
    openService();
    // A silent board costs the RS-485 exchange about a second per command.
    ASSERT_EQ("OK silent 2", sim->control("fault silent 2"));
    const std::vector<Array> untouched(7, Array(NORVA_SIU_ARRAY_SIZE, 0xAB));
    a = untouched;
    EXPECT_EQ(ERR_SER_TIMEOUT, status());
    EXPECT_EQ(untouched, a);
    unsigned char data[4] = {};
    EXPECT_EQ(ERR_SER_TIMEOUT, SIU_ResetRemoto(idx, 5, 30, data));
    EXPECT_EQ(0, std::memcmp(data, "Erro", 4));
}

TEST_P(EndToEnd, NumberOfLedsOutsideZeroToTwentyMeansSixAndNoSensorsMeansNotImplemented) {
    for (auto leds : {std::make_pair("21", "L000000"), std::make_pair("-1", "L000000"),
                      std::make_pair("20", "L00000000000000000000")}) {
        openService(std::string("NumberOFLeds=") + leds.first + "\n");
        EXPECT_EQ(Commands{leds.second}, opening) << leds.first;
        ASSERT_EQ(SUCCESS, close("SIU", &idx));
    }
    openService("NumberOFLeds=0\n", "");
    EXPECT_EQ(Commands{"L"}, opening);
    a[0][0] = 1;
    EXPECT_EQ(ERR_CMD_NOT_IMPLEMENTED, status(SIU_ResetSensorStatus));
    EXPECT_EQ(ERR_CMD_NOT_IMPLEMENTED, status());
    EXPECT_EQ("", states());
    EXPECT_EQ(Commands{}, received());
}

TEST_P(EndToEnd, OpensPastAWriterKilledInsideAConfigurationWrite) {
    openService();
    ASSERT_EQ(SUCCESS, close("SIU", &idx));
    const std::string written = siutest::readWholeFile(dir.file("NorvaSensorBoard.ini"));

    // Killed at a random moment of a loop of writes, until it dies holding the file's lock.
    ProcessLock lock;
    ASSERT_EQ(SUCCESS, lock.open("NorvaSensorBoard.ini"));
    pid_t writer = -1;
    for (int tries = 0; tries < 50 && lock.holder() != writer; ++tries) {
        writer = fork();
        if (writer == 0) {
            Configuration cfg;
            cfg.setService("SIU");
            cfg.setPathIniFile();
            for (int i = 0;; ++i) cfg.setConfig("Count", "n", std::to_string(i).c_str());
        }
        siutest::waitFor([&] { return lock.holder() == writer; });
        kill(writer, SIGKILL);
        waitpid(writer, nullptr, 0);
    }
    ASSERT_EQ(writer, lock.holder());
    EXPECT_EQ(SUCCESS, open("SIU", &idx));
    EXPECT_EQ(0u, siutest::readWholeFile(dir.file("NorvaSensorBoard.ini")).find(written));
}

TEST_P(EndToEnd, NullPointersAreRefusedWithoutSending) {
    openService();
    unsigned int v = 0, *p = &v, w[16] = {};
    char* version = nullptr;
    EXPECT_EQ(ERR_CMD_INVALID_PARAMETER, deviceInfo(nullptr, w));
    EXPECT_EQ(ERR_CMD_INVALID_PARAMETER, SIU_GetDeviceInfo(idx, &version, p, p, p, p, p, p, p, p, p,
                                                           p, p, p, p, p, p, nullptr));
    EXPECT_EQ(ERR_CMD_INVALID_PARAMETER, SIU_GetDeviceStatus(idx, nullptr));
    EXPECT_EQ(ERR_CMD_INVALID_PARAMETER, SIU_GetSensorStatus(idx, p, p, p, p, p, p, nullptr));
    EXPECT_EQ(ERR_CMD_INVALID_PARAMETER, SIU_ResetSensorStatus(idx, nullptr, p, p, p, p, p, p));
    EXPECT_EQ(ERR_CMD_INVALID_PARAMETER, SIU_GetSensorMotionTime(idx, nullptr));
    EXPECT_EQ(Commands{}, received());
}

INSTANTIATE_TEST_SUITE_P(Framing, EndToEnd, ::testing::Values(Wire::Direct, Wire::Rs485),
                         simtest::wireName);

}  // namespace
