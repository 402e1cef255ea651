// The two sensor-state commands of BLDeviceZT: reading every sensor into the
// caller's arrays, and clearing the latched flags of marked sensors.

#include <cstdio>

#include "common/Log.h"
#include "device/BLDeviceZT.h"
#include "device/CommandRecords.h"
#include "device/LLDeviceZT.h"
#include "device/SensorBoardConfiguration.h"

namespace {

// A get-sensor reply carries one hex digit per reply position.
constexpr size_t SENSOR_REPLY_SIZE = 1000;
constexpr size_t RESET_REPLY_SIZE = 100;
// Only the first entries of each array are looked at for a reset: the reset
// commands address reply positions, and this bound is what callers rely on.
constexpr unsigned int RESETTABLE_ENTRIES = 7;

// The arrays of a st_cmd_sensor_status in sensor-type order; false when the
// record or one of its arrays is missing.
bool arraysOf(void* buffer_in, unsigned int* (&arrays)[SENSOR_TYPE_COUNT]) {
    const st_cmd_sensor_status* in = static_cast<const st_cmd_sensor_status*>(buffer_in);
    if (in == nullptr) return false;
    unsigned int* byType[SENSOR_TYPE_COUNT] = {
        in->door, in->lock, in->sensor, in->position, in->auxiliar, in->sensor_cass, in->vendor};
    for (unsigned int type = 0; type < SENSOR_TYPE_COUNT; ++type) {
        if (byType[type] == nullptr) return false;
        arrays[type] = byType[type];
    }
    return true;
}

const char* const arrayNames[SENSOR_TYPE_COUNT] = {
    "NORVA_SIU_ARRAY_DOOR",     "NORVA_SIU_ARRAY_LOCK",     "NORVA_SIU_ARRAY_SENSOR",
    "NORVA_SIU_ARRAY_POSITION", "NORVA_SIU_ARRAY_AUXILIAR", "NORVA_SIU_ARRAY_SENSOR_CASS",
    "NORVA_SIU_ARRAY_VENDOR"};

}  // namespace

int BLDeviceZT::CmdGetSensorStatus(void* buffer_in, void** /*buffer_resp*/) {
    unsigned int* arrays[SENSOR_TYPE_COUNT];
    if (!arraysOf(buffer_in, arrays)) return ERR_CMD_INVALID_PARAMETER;
    if (!sensor_board_config) return ERR_DEV_LINK_NOT_OPEN;

    // A board without configured sensors answers ERR_CMD_NOT_IMPLEMENTED and
    // still fills the arrays (all not available).
    int result = ERR_CMD_NOT_IMPLEMENTED;
    char* command = nullptr;
    sensor_board_config->GetGetSensorCommand(&command);
    while (command != nullptr) {
        char rsp[SENSOR_REPLY_SIZE] = {};
        result = ll->CmdGenericCommand(command, rsp, sizeof rsp);
        // A failed read leaves the caller's arrays as they were.
        if (result != SUCCESS) return result;
        std::printf("%s - %s\n", command, rsp);
        sensor_board_config->UpdateGetSensorResponse(command, rsp);
        if (sensor_board_config->GetGetSensorCommand(&command) != SUCCESS) break;
    }

    for (unsigned int type = 0; type < SENSOR_TYPE_COUNT; ++type) {
        sensor_board_config->ProcessGetSensorResponse(type, arrays[type]);
        if (log != nullptr) {
            log->addLogBufferList(INF, "BLDeviceZT::CmdGetSensorStatus", "%s [%d]",
                                  arrayNames[type], static_cast<int>(arrays[type][0]));
        }
    }
    return result;
}

int BLDeviceZT::CmdResetSensorStatus(void* buffer_in, void** /*buffer_resp*/) {
    unsigned int* arrays[SENSOR_TYPE_COUNT];
    if (!arraysOf(buffer_in, arrays)) return ERR_CMD_INVALID_PARAMETER;
    if (!sensor_board_config) return ERR_DEV_LINK_NOT_OPEN;

    int result = ERR_CMD_NOT_IMPLEMENTED;
    for (unsigned int type = 0; type < SENSOR_TYPE_COUNT; ++type) {
        for (unsigned int j = 0; j < RESETTABLE_ENTRIES; ++j) {
            if (arrays[type][j] == 0) continue;
            // Items that are not configured, or sit where no clear command
            // reaches, yield no command and are skipped.
            char* reset = nullptr;
            sensor_board_config->GetResetSensorCommandByIndex(type, j, &reset);
            if (reset == nullptr) continue;
            char rsp[RESET_REPLY_SIZE] = {};
            result = ll->CmdGenericCommand(reset, rsp, sizeof rsp);
            // The clears before a failed one stay done.
            if (result != SUCCESS) return result;
        }
    }
    return result;
}
