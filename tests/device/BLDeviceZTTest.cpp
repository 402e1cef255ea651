// The device's state before open and its volume-button watcher, on a scripted
// link whose port reports whatever modem lines a test sets. The board traffic
// of every command is tested through the public functions against siusim
// (tests/interface/endtoend).

#include "device/BLDeviceZT.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "device/LLDeviceZT.h"
#include "interface/SIUGlobal.h"
#include "support/FakePort.h"
#include "support/TestSupport.h"

namespace {

using namespace std::chrono_literals;

// Buttons pressed by the test thread and read by the watcher's thread.
class ButtonPort : public siutest::FakePort {
public:
    std::atomic<unsigned char> lines{0};
    std::atomic<int> reads{0};

    int GetPinOut(unsigned char* out) override {
        ++reads;
        *out = lines;
        return SUCCESS;
    }
};

// Records every command and answers it with the board's leading byte alone,
// or fails it with failWith.
class ScriptedLink : public TransportProtocol {
public:
    explicit ScriptedLink(ButtonPort* port)
        : TransportProtocol(nullptr, uart_config_s{}, std::unique_ptr<CommBase>(port)) {}

    std::vector<std::string> sent;
    int failWith = SUCCESS;

    int callProtocolByHeritage(int, unsigned char* send, int len, unsigned char** recv,
                               int* recvLen) override {
        sent.emplace_back(reinterpret_cast<char*>(send), len);
        if (failWith != SUCCESS) return failWith;
        *recv = new unsigned char[1]{'x'};
        *recvLen = 1;
        return SUCCESS;
    }
};

class Device : public ::testing::Test {
protected:
    Device()
        : port(new ButtonPort),
          link(new ScriptedLink(port)),
          device(&params, new LLDeviceZT(&params, link)) {}

    st_constructParams params{nullptr, nullptr};
    ButtonPort* port;    // owned by link
    ScriptedLink* link;  // owned by device
    BLDeviceZT device;
};

TEST_F(Device, CommandsNeedingTheTablesAnswerLinkNotOpenUntilAnOpenSucceeds) {
    char* version = nullptr;
    unsigned int w[16] = {};
    st_cmd_get_device_info info{&version, &w[0],  &w[1],  &w[2],  &w[3], &w[4],
                                &w[5],    &w[6],  &w[7],  &w[8],  &w[9], &w[10],
                                &w[11],   &w[12], &w[13], &w[14], &w[15]};
    st_cmd_set_indicator indicator{0, 1};
    unsigned int a[7][NORVA_SIU_ARRAY_SIZE] = {};
    st_cmd_sensor_status status{a[0], a[1], a[2], a[3], a[4], a[5], a[6]};
    auto expectNoTables = [&] {
        EXPECT_EQ(ERR_DEV_LINK_NOT_OPEN, device.executeCMD(CMD_GET_DEVICE_INFO, &info, nullptr));
        EXPECT_EQ(ERR_DEV_LINK_NOT_OPEN, device.executeCMD(CMD_SET_INDICATOR, &indicator, nullptr));
        EXPECT_EQ(ERR_DEV_LINK_NOT_OPEN,
                  device.executeCMD(CMD_GET_SENSOR_STATUS, &status, nullptr));
        EXPECT_EQ(ERR_DEV_LINK_NOT_OPEN,
                  device.executeCMD(CMD_RESET_SENSOR_STATUS, &status, nullptr));
    };
    expectNoTables();
    EXPECT_TRUE(link->sent.empty());

    // A failed reset fails the open and loads no tables.
    link->failWith = ERR_SER_TIMEOUT;
    EXPECT_EQ(ERR_SER_TIMEOUT, device.executeCMD(CMD_OPEN, nullptr, nullptr));
    expectNoTables();

    link->failWith = SUCCESS;
    link->sent.clear();
    ASSERT_EQ(SUCCESS, device.executeCMD(CMD_OPEN, nullptr, nullptr));
    // Without a configuration: six indicators, and no sensor to read.
    EXPECT_EQ(std::vector<std::string>{"L000000"}, link->sent);
    EXPECT_EQ(ERR_CMD_NOT_IMPLEMENTED, device.executeCMD(CMD_GET_SENSOR_STATUS, &status, nullptr));
    EXPECT_EQ(NORVA_SIU_VALUE_NOT_AVAILABLE, a[0][0]);
    EXPECT_EQ(std::vector<std::string>{"L000000"}, link->sent);
}

TEST_F(Device, CommandCodesOutsideTheTableAreNotImplemented) {
    EXPECT_EQ(ERR_CMD_NOT_IMPLEMENTED, device.executeCMD(-1, nullptr, nullptr));
    EXPECT_EQ(ERR_CMD_NOT_IMPLEMENTED, device.executeCMD(CMD_RESET_REMOTO + 1, nullptr, nullptr));
    EXPECT_TRUE(link->sent.empty());
}

class Watcher : public Device {
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

    // Holds the buttons on lines for hold and releases them; returns once
    // the watcher has acted on the release.
    void press(unsigned char lines, std::chrono::milliseconds hold) {
        port->lines = lines;
        int seen = port->reads;
        ASSERT_TRUE(siutest::waitFor([&] { return port->reads > seen + 1; }));
        std::this_thread::sleep_for(hold);  // the press itself, not a wait for the watcher
        port->lines = 0;
        seen = port->reads;
        // The first read after the release ends the hold; the second comes
        // after the volume was changed.
        ASSERT_TRUE(siutest::waitFor([&] { return port->reads > seen + 1; }));
    }

    unsigned long thread = 0;
};

TEST_F(Watcher, ALongPressMovesTheVolumeOneStepHoweverLongItIsHeld) {
    device.volume = 93;
    press(0x04, 800ms);
    EXPECT_EQ(98, device.volume);
}

TEST_F(Watcher, LongPressesStopAtTheEndsAndUpWinsOverDown) {
    device.volume = 98;
    press(0x04 | 0x20, 400ms);
    EXPECT_EQ(100, device.volume);
    device.volume = 3;
    press(0x20, 400ms);
    EXPECT_EQ(0, device.volume);
}

TEST_F(Watcher, AShortPressOrAnotherLineChangesNothing) {
    press(0x04, 100ms);
    press(0x20, 100ms);
    press(0x01 | 0x08 | 0x10, 400ms);  // CTS, DTR, RI
    EXPECT_EQ(BLDeviceZT::INITIAL_VOLUME, device.volume);
}

}  // namespace
