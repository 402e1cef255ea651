// The board codec and the ZT device over a scripted link that records the
// bytes of every command and answers from a script (then with the board's
// leading byte alone), on a port whose modem lines the test sets.

#include <gtest/gtest.h>

#include <atomic>
#include <deque>
#include <thread>
#include <vector>

#include "common/ConstructParams.h"
#include "common/Threads.h"
#include "device/BLDeviceZT.h"
#include "device/CommandRecords.h"
#include "device/LLDeviceZT.h"
#include "libuart/comm_base.h"
#include "support/TestSupport.h"

namespace {

using namespace std::chrono_literals;
typedef std::vector<std::string> Sent;

// Buttons pressed by the test thread and read by the watcher's thread.
class ButtonPort : public CommBase {
public:
    std::atomic<unsigned char> lines{0};
    std::atomic<int> reads{0};
    int GetPinOut(unsigned char* out) override {
        ++reads;
        *out = lines;
        return SUCCESS;
    }
};

class ScriptedLink : public TransportProtocol {
public:
    explicit ScriptedLink(ButtonPort* port)
        : TransportProtocol(nullptr, uart_config_s{}, std::unique_ptr<CommBase>(port)) {}
    Sent sent;
    std::deque<std::pair<int, std::string>> script;  // result and reply bytes

    int callProtocolByHeritage(int, unsigned char* send, int len, unsigned char** recv,
                               int* recvLen) override {
        sent.emplace_back(reinterpret_cast<char*>(send), len);
        if (script.empty()) script.emplace_back(SUCCESS, "x");  // the board's leading byte alone
        const auto [rc, reply] = script.front();
        script.pop_front();
        if (rc == SUCCESS) {
            *recv = new unsigned char[reply.size() + 1];
            std::memcpy(*recv, reply.data(), *recvLen = static_cast<int>(reply.size()));
        }
        return rc;
    }
};

class ZT : public ::testing::Test {
protected:
    // The outputs' state is one buffer for the whole process: each test
    // starts with every output off.
    ZT() {
        codec->CmdSetIndicator(0, 0, LLDeviceZT::MAX_LEDS, true);
        link->sent.clear();
    }
    st_constructParams params{nullptr, nullptr};
    ButtonPort* port = new ButtonPort;                  // owned by link
    ScriptedLink* link = new ScriptedLink(port);        // owned by codec
    LLDeviceZT* codec = new LLDeviceZT(&params, link);  // owned by device
    BLDeviceZT device{&params, codec};
};

TEST_F(ZT, IndicatorCommandsResendTheLastStateOfEveryOutputEvenAfterAFailure) {
    ASSERT_EQ(SUCCESS, codec->CmdSetIndicator(2, 2, 6, false));
    ASSERT_EQ(SUCCESS, codec->CmdSetIndicator(4, 1, 6, false));
    link->script.push_back({ERR_SER_TIMEOUT, ""});
    EXPECT_EQ(ERR_SER_TIMEOUT, codec->CmdSetIndicator(3, 1, 6, false));
    ASSERT_EQ(SUCCESS, codec->CmdSetIndicator(20, 2, 20, false));
    ASSERT_EQ(SUCCESS, codec->CmdSetIndicator(0, 0, 4, true));
    EXPECT_EQ(
        (Sent{"L020000", "L020100", "L021100", "L0211" + std::string(15, '0') + "2", "L0000"}),
        link->sent);
}

TEST_F(ZT, CodecAndDeviceRefuseBadArgumentsWithoutSending) {
    char rsp[10];
    EXPECT_EQ(ERR_CMD_INVALID_PARAMETER, codec->CmdSetIndicator(0, 1, 6, false));
    EXPECT_EQ(ERR_CMD_INVALID_PARAMETER, codec->CmdSetIndicator(7, 1, 6, false));
    EXPECT_EQ(ERR_CMD_INVALID_PARAMETER, codec->CmdSetIndicator(2, 3, 6, false));
    EXPECT_EQ(ERR_CMD_INVALID_PARAMETER, codec->CmdSetIndicator(0, 0, 21, true));
    EXPECT_EQ(ERR_CMD_INVALID_PARAMETER, codec->CmdGenericCommand(nullptr, rsp));
    EXPECT_EQ(ERR_CMD_INVALID_PARAMETER, codec->CmdGenericCommand("m", nullptr, 10));
    EXPECT_EQ(ERR_CMD_INVALID_PARAMETER, codec->CmdGenericCommand("m", rsp, 0));
    EXPECT_EQ(ERR_CMD_INVALID_PARAMETER, codec->CmdGetVersion(nullptr));
    unsigned int times[] = {99, 1000}, buzzer = 3;
    st_cmd_set_ports panel{NORVA_SIU_SETPORTS_PANEL, 1}, unknown{2, 1};
    st_cmd_reset_remoto off{1000, 0, {}}, on{0, 100000, {}};
    for (unsigned int& t : times)
        EXPECT_EQ(ERR_CMD_INVALID_PARAMETER,
                  device.executeCMD(CMD_SET_SENSOR_MOTION_TIME, &t, nullptr));
    EXPECT_EQ(ERR_CMD_INVALID_PARAMETER, device.executeCMD(CMD_SET_BUZZER, &buzzer, nullptr));
    EXPECT_EQ(ERR_CMD_NOT_IMPLEMENTED, device.executeCMD(CMD_SET_PORTS, &panel, nullptr));
    EXPECT_EQ(ERR_CMD_INVALID_PARAMETER, device.executeCMD(CMD_SET_PORTS, &unknown, nullptr));
    EXPECT_EQ(ERR_CMD_INVALID_PARAMETER, device.executeCMD(CMD_RESET_REMOTO, &off, nullptr));
    EXPECT_EQ(ERR_CMD_INVALID_PARAMETER, device.executeCMD(CMD_RESET_REMOTO, &on, nullptr));
    EXPECT_EQ(0, std::memcmp(on.REspResetSensores, "Erro", 4));
    EXPECT_EQ(Sent{}, link->sent);
}

TEST_F(ZT, RepliesLoseTheirLeadingByteAndAreCutToTheCallersBuffer) {
    char rsp[4] = "old";
    char version[LLDeviceZT::VERSION_SIZE + 1];
    std::memset(version, '#', sizeof version);
    link->script = {{SUCCESS, "x"},
                    {ERR_SER_NACK, "x1"},
                    {SUCCESS, "x123456"},
                    {SUCCESS, "xV1.02"},
                    {SUCCESS, "x" + std::string(80, 'V')},
                    {SUCCESS, ""}};
    EXPECT_EQ(SUCCESS, codec->CmdGenericCommand("m", rsp));
    EXPECT_EQ(ERR_SER_NACK, codec->CmdGenericCommand("m", rsp));
    EXPECT_STREQ("old", rsp);  // no payload: the buffer is left alone
    ASSERT_EQ(SUCCESS, codec->CmdGenericCommand("S1", rsp));
    EXPECT_STREQ("123", rsp);
    ASSERT_EQ(SUCCESS, codec->CmdGetVersion(version));
    EXPECT_STREQ("V1.02", version);
    ASSERT_EQ(SUCCESS, codec->CmdGetVersion(version));
    EXPECT_EQ(std::string(LLDeviceZT::VERSION_SIZE - 1, 'V'), version);
    EXPECT_EQ('#', version[LLDeviceZT::VERSION_SIZE]);
    ASSERT_EQ(SUCCESS, codec->CmdGetVersion(version));
    EXPECT_STREQ("", version);
    EXPECT_EQ((Sent{"m", "m", "S1", "V", "V", "V"}), link->sent);
}

TEST_F(ZT, TheMotionTimeIsReadAsACNumberWithItsBasePrefixes) {
    const std::pair<std::string, unsigned int> cases[] = {
        {"x450", 450}, {"x0x10", 16}, {"x010", 8}, {"x12ab", 12}, {"x123456789999", 123456789}};
    for (const auto& [reply, expected] : cases) {
        link->script = {{SUCCESS, reply}};
        unsigned int time = 0;
        EXPECT_EQ(SUCCESS, device.executeCMD(CMD_GET_SENSOR_TIME_ACTIVE_MOVEMENT, &time, nullptr));
        EXPECT_EQ(expected, time) << reply;
    }
    EXPECT_EQ(Sent(5, "m"), link->sent);
}

TEST_F(ZT, CommandsNeedingTheTablesAnswerLinkNotOpenUntilAnOpenSucceeds) {
    char* version = nullptr;
    unsigned int w[16] = {};
    st_cmd_get_device_info info{&version, &w[0],  &w[1],  &w[2],  &w[3], &w[4],
                                &w[5],    &w[6],  &w[7],  &w[8],  &w[9], &w[10],
                                &w[11],   &w[12], &w[13], &w[14], &w[15]};
    st_cmd_set_indicator indicator{0, 1};
    unsigned int a[7][NORVA_SIU_ARRAY_SIZE] = {};
    st_cmd_sensor_status status{a[0], a[1], a[2], a[3], a[4], a[5], a[6]};
    auto expectNoTables = [&] {
        for (auto [cmd, in] : std::initializer_list<std::pair<int, void*>>{
                 {CMD_GET_DEVICE_INFO, &info}, {CMD_SET_INDICATOR, &indicator},
                 {CMD_GET_SENSOR_STATUS, &status}, {CMD_RESET_SENSOR_STATUS, &status}})
            EXPECT_EQ(ERR_DEV_LINK_NOT_OPEN, device.executeCMD(cmd, in, nullptr)) << cmd;
    };
    expectNoTables();
    link->script.push_back({ERR_SER_TIMEOUT, ""});  // the open's reset of the outputs fails
    EXPECT_EQ(ERR_SER_TIMEOUT, device.executeCMD(CMD_OPEN, nullptr, nullptr));
    expectNoTables();
    ASSERT_EQ(SUCCESS, device.executeCMD(CMD_OPEN, nullptr, nullptr));
    EXPECT_EQ(ERR_CFG_INVALID_VALUE, device.executeCMD(CMD_SET_INDICATOR, &indicator, nullptr));
    EXPECT_EQ((Sent{"L000000", "L000000"}), link->sent);  // six outputs without a configuration
}

class Watcher : public ZT {
protected:
    void SetUp() override {
        ASSERT_EQ(0, ThreadCreate(&thread, BLDeviceZT::ThreadFunction, &device));
        // The watcher clears a stop request when it starts, so let it start.
        ASSERT_TRUE(siutest::waitFor([&] { return port->reads > 0; }));
    }
    void TearDown() override {
        device.exit_thread = true;
        device.WaitThread();
        EXPECT_TRUE(device.thread_finished);
        ThreadWait(thread);
    }
    unsigned long thread = 0;
};

TEST_F(Watcher, ALongPressStepsTheVolumeOnceAShortOneOrAnotherLineNever) {
    struct Press {
        unsigned char lines;
        std::chrono::milliseconds hold;
        int from, to;
    } presses[] = {
        {0x04, 800ms, 93, 98},                // up, however long it is held
        {0x04 | 0x20, 400ms, 98, 100},        // up wins over down, and stops at 100
        {0x20, 400ms, 3, 0},                  // down stops at 0
        {0x04, 100ms, 50, 50},                // short presses
        {0x20, 100ms, 50, 50},                //
        {0x01 | 0x08 | 0x10, 400ms, 50, 50},  // CTS, DTR, RI
    };
    for (const Press& p : presses) {
        device.volume = p.from;
        port->lines = p.lines;
        int seen = port->reads;
        ASSERT_TRUE(siutest::waitFor([&] { return port->reads > seen + 1; }));
        std::this_thread::sleep_for(p.hold);  // the press itself, not a wait for the watcher
        port->lines = 0;
        seen = port->reads;
        // The first read after the release ends the hold; the second comes
        // after the volume was changed.
        ASSERT_TRUE(siutest::waitFor([&] { return port->reads > seen + 1; }));
        EXPECT_EQ(p.to, device.volume) << int(p.lines) << " held " << p.hold.count() << " ms";
    }
}

}  // namespace
