#pragma once
// Business-level device of one open sensor-board service ("ZT"). The client
// hands it every command of the service as a code of enum_commands with the
// command's input record; each handler checks the record, composes the board
// command through the codec and translates through the mapping tables loaded
// at open. Results go into the caller's record; buffer_resp is never used.
//
// Not thread-safe: the handlers take no lock, so a caller must not run two
// commands of one service at once. The volume-button watcher may run beside
// them: it touches the port only to read the modem lines.

#include <atomic>
#include <memory>

#include "device/BLDevice.h"

class LLDeviceZT;
class SensorBoardConfiguration;

class BLDeviceZT : public BLDevice {
public:
    // Volume the watcher starts from.
    static constexpr int INITIAL_VOLUME = 50;
    // Indicator characters of the "L" command when "NumberOFLeds" is missing
    // or out of range.
    static constexpr int DEFAULT_LEDS = 6;

    // params: the service's st_constructParams. Builds the codec over the
    // service's link; a configuration fault of the link throws
    // std::runtime_error (the manager catches it and refuses the open).
    explicit BLDeviceZT(void* params);
    // Adopts codec as the board codec (a null codec behaves as the first form).
    BLDeviceZT(void* params, LLDeviceZT* codec);
    ~BLDeviceZT() override;

    // Codes 0..12 go to their handler; any other is ERR_CMD_NOT_IMPLEMENTED.
    int executeCMD(int cmd, void* buffer_in, void** buffer_resp) override;

    // Opens the port, reads "NumberOFLeds", switches every indicator off and
    // loads the mapping tables. A failed reset leaves the port open and the
    // tables unloaded.
    int CmdOpen(void* buffer_in, void** buffer_resp);
    // Closes the port; the tables are kept.
    int CmdClose(void* buffer_in, void** buffer_resp);
    // Every indicator off.
    int CmdReset(void* buffer_in, void** buffer_resp);
    // st_cmd_get_device_info; none of its pointers may be null.
    int CmdGetDeviceInfo(void* buffer_in, void** buffer_resp);
    // Any non-null pointer; sends nothing.
    int CmdGetDeviceStatus(void* buffer_in, void** buffer_resp);
    // st_cmd_set_indicator.
    int CmdSetIndicator(void* buffer_in, void** buffer_resp);
    // st_cmd_sensor_status, seven arrays of NORVA_SIU_ARRAY_SIZE entries.
    int CmdGetSensorStatus(void* buffer_in, void** buffer_resp);
    // st_cmd_sensor_status; entries 0..6 of each array select what to clear.
    int CmdResetSensorStatus(void* buffer_in, void** buffer_resp);
    // st_cmd_set_ports.
    int CmdSetPorts(void* buffer_in, void** buffer_resp);
    // unsigned int* receiving the motion time.
    int CmdGetTimeSensorActiveMovement(void* buffer_in, void** buffer_resp);
    // unsigned int* holding the motion time, 100..999.
    int CmdSetSensorMotionTime(void* buffer_in, void** buffer_resp);
    // unsigned int* holding a NORVA_SIU_INDICATOR_VALUE.
    int CmdSetBuzzer(void* buffer_in, void** buffer_resp);
    // st_cmd_reset_remoto; TimerToOff 0..999, TimerToOn 0..99999.
    int CmdResetRemoto(void* buffer_in, void** buffer_resp);

    // Volume-button watcher, for ThreadCreate with this device as argument.
    // Polls the modem lines every 10 ms: a press of the up button (DSR) or
    // the down button (DCD) held for more than 300 ms moves the volume by one
    // step of 5 when it is released. Runs until exit_thread is set. No
    // command starts or stops it: a caller starts it after CMD_OPEN and stops
    // it (exit_thread, then WaitThread) before CMD_CLOSE.
    static void* ThreadFunction(void* self);
    // Waits up to about 3 s for the watcher to finish.
    void WaitThread();
    // The volume back end: accepts the value, drives no mixer, returns 0.
    int SetMasterVolume(long newVolume);

    std::atomic<bool> exit_thread{false};      // stop request for the watcher
    std::atomic<bool> thread_finished{false};  // set by the watcher when it ends
    std::atomic<int> volume{INITIAL_VOLUME};   // 0..100, changed only by the watcher

private:
    static constexpr int VOLUME_STEP = 5;
    static constexpr uint64_t LONG_PRESS_MS = 300;
    static constexpr unsigned int POLL_MS = 10;
    static constexpr uint64_t WAIT_THREAD_MS = 3001;
    // Modem-line bits of the two volume buttons.
    static constexpr unsigned char PIN_VOLUME_UP = 0x04;    // DSR
    static constexpr unsigned char PIN_VOLUME_DOWN = 0x20;  // DCD

    // The watcher's loop.
    void watchButtons();
    // True when the button on line pin was held long enough to count; returns
    // once it is released or the watcher is asked to stop.
    bool holdIsLong(unsigned char pin);
    // The modem lines of the port; 0 when they cannot be read.
    unsigned char readPins();
    // One line into the service's log, when there is one.
    void logText(int level, const char* caller, const char* text);

    int numberOFLeds;
    std::unique_ptr<LLDeviceZT> ll;
    std::unique_ptr<SensorBoardConfiguration> sensor_board_config;
};
