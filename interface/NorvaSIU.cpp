// The exported functions: thin shims that pack their arguments into a command
// record and hand it to the one manager of the process. No exception leaves
// them; whatever escapes from below becomes ERR_MGR_INTERNAL_ERROR.

#include "interface/NorvaSIU.h"

#include <cstring>

#include "device/CommandRecords.h"
#include "manager/Manager.h"

namespace {

Manager* createManager() noexcept {
    try {
        return new Manager();
    } catch (...) {
        return nullptr;
    }
}

template <typename Call>
int withManager(Call call) noexcept {
    if (mgr == nullptr) return ERR_MGR_INTERNAL_ERROR;
    try {
        return call(*mgr);
    } catch (...) {
        return ERR_MGR_INTERNAL_ERROR;
    }
}

int sendCommand(int idx, int cmd, void* buffer_in) noexcept {
    return withManager([&](Manager& m) { return m.executeCMD(idx, cmd, buffer_in, nullptr); });
}

}  // namespace

// Made when the library is loaded and deliberately never destroyed: services
// still open at process exit are not closed by the library.
Manager* mgr = createManager();

extern "C" {

int SIU_Open(char* service, int* idx) {
    return withManager([&](Manager& m) {
        bool already_open = false;
        int result = m.newObject(service, idx, &already_open, false);
        if (result != SUCCESS || already_open) return result;
        result = m.executeCMD(*idx, CMD_OPEN, nullptr, nullptr);
        if (result != SUCCESS) m.deleteObject(service, idx, true);
        return result;
    });
}

int SIU_Close(char* service, int* idx) {
    return withManager([&](Manager& m) { return m.deleteObject(service, idx, true); });
}

int SIU_Reset(int idx) {
    return sendCommand(idx, CMD_RESET, nullptr);
}

int SIU_GetDeviceInfo(int idx, char** eprom_version, unsigned int* caps_door,
                      unsigned int* reserved_0, unsigned int* caps_lock, unsigned int* reserved_1,
                      unsigned int* caps_sensor, unsigned int* reserved_2,
                      unsigned int* caps_position, unsigned int* reserved_3,
                      unsigned int* caps_auxiliar, unsigned int* reserved_4,
                      unsigned int* caps_sensor_cass, unsigned int* reserved_5,
                      unsigned int* caps_vendor, unsigned int* reserved_6,
                      unsigned int* caps_indicator, unsigned int* reserved_7) {
    st_cmd_get_device_info info = {
        eprom_version, caps_door,     reserved_0, caps_lock,      reserved_1, caps_sensor,
        reserved_2,    caps_position, reserved_3, caps_auxiliar,  reserved_4, caps_sensor_cass,
        reserved_5,    caps_vendor,   reserved_6, caps_indicator, reserved_7};
    return sendCommand(idx, CMD_GET_DEVICE_INFO, &info);
}

int SIU_GetDeviceStatus(int idx, unsigned int* status) {
    return sendCommand(idx, CMD_GET_DEVICE_STATUS, status);
}

int SIU_SetIndicator(int idx, unsigned int indicator, unsigned int value) {
    st_cmd_set_indicator record = {indicator, value};
    return sendCommand(idx, CMD_SET_INDICATOR, &record);
}

int SIU_GetSensorStatus(int idx, unsigned int* door, unsigned int* lock, unsigned int* sensor,
                        unsigned int* position, unsigned int* auxiliar, unsigned int* sensor_cass,
                        unsigned int* vendor) {
    st_cmd_sensor_status record = {door, lock, sensor, position, auxiliar, sensor_cass, vendor};
    return sendCommand(idx, CMD_GET_SENSOR_STATUS, &record);
}

int SIU_ResetSensorStatus(int idx, unsigned int* door, unsigned int* lock, unsigned int* sensor,
                          unsigned int* position, unsigned int* auxiliar, unsigned int* sensor_cass,
                          unsigned int* vendor) {
    st_cmd_sensor_status record = {door, lock, sensor, position, auxiliar, sensor_cass, vendor};
    return sendCommand(idx, CMD_RESET_SENSOR_STATUS, &record);
}

int SIU_SetPorts(int idx, unsigned int port, unsigned int value) {
    st_cmd_set_ports record = {port, value};
    return sendCommand(idx, CMD_SET_PORTS, &record);
}

int SIU_GetSensorMotionTime(int idx, unsigned int* time) {
    return sendCommand(idx, CMD_GET_SENSOR_TIME_ACTIVE_MOVEMENT, time);
}

int SIU_SetSensorMotionTime(int idx, unsigned int time) {
    unsigned int value = time;
    return sendCommand(idx, CMD_SET_SENSOR_MOTION_TIME, &value);
}

int SIU_SetBuzzer(int idx, unsigned int value) {
    unsigned int copy = value;
    return sendCommand(idx, CMD_SET_BUZZER, &copy);
}

int SIU_ResetRemoto(int idx, unsigned int TimerToOff, unsigned int TimerToOn, unsigned char* data) {
    st_cmd_reset_remoto record = {TimerToOff, TimerToOn, {0, 0, 0, 0}};
    int result = sendCommand(idx, CMD_RESET_REMOTO, &record);
    // The answer's four bytes go back whatever the result: zeros when the
    // device wrote nothing.
    if (data != nullptr) {
        std::memcpy(data, record.REspResetSensores, sizeof record.REspResetSensores);
    }
    return result;
}

int SIU_freeBuffer(unsigned char** buffer) {
    return withManager([&](Manager& m) {
        if (buffer == nullptr) return m.freeBuffer(nullptr);
        void* text = *buffer;
        int result = m.freeBuffer(&text);
        if (result == SUCCESS) *buffer = nullptr;
        return result;
    });
}

}  // extern "C"
