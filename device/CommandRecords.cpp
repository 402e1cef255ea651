#include "device/CommandRecords.h"

namespace {

// One fixed slot per command code, indexed by the code.
const char commandNames[CMD_RESET_REMOTO + 1][50] = {
    "CMD_OPEN",
    "CMD_CLOSE",
    "CMD_RESET",
    "CMD_GET_DEVICE_INFO",
    "CMD_GET_DEVICE_STATUS",
    "CMD_SET_INDICATOR",
    "CMD_GET_SENSOR_STATUS",
    "CMD_RESET_SENSOR_STATUS",
    "CMD_SET_PORTS",
    "CMD_GET_SENSOR_TIME_ACTIVE_MOVEMENT",
    "CMD_SET_SENSOR_MOTION_TIME",
    "CMD_SET_BUZZER",
    "CMD_RESET_REMOTO",
};

const char notDefined[] = "NOT_DEFINED";

}  // namespace

const char* getFunctionName(unsigned int idx) {
    if (idx > CMD_RESET_REMOTO) return notDefined;
    return commandNames[idx];
}
