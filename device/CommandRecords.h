#pragma once
// Vocabulary of the device and the layers above it: the command codes on
// which each of them dispatches, their printable names and the command records
// that carry a call's arguments down to the device. The value sets
// (NORVA_SIU_...) are the application's own and come from the public header,
// the one header of the interface folder the device may include.

#include <cstdint>

#include "interface/NorvaSIU.h"
#include "manager/Global.h"

enum enum_commands : int {
    CMD_OPEN = 0,
    CMD_CLOSE = 1,
    CMD_RESET = 2,
    CMD_GET_DEVICE_INFO = 3,
    CMD_GET_DEVICE_STATUS = 4,
    CMD_SET_INDICATOR = 5,
    CMD_GET_SENSOR_STATUS = 6,
    CMD_RESET_SENSOR_STATUS = 7,
    CMD_SET_PORTS = 8,
    CMD_GET_SENSOR_TIME_ACTIVE_MOVEMENT = 9,
    CMD_SET_SENSOR_MOTION_TIME = 10,
    CMD_SET_BUZZER = 11,
    CMD_RESET_REMOTO = 12,
};

// Printable name of a command code, as written into the log; "NOT_DEFINED"
// for 13 and above. The text is static.
const char* getFunctionName(unsigned int idx);

// SIU_GetDeviceInfo: the version text (a new[] array the application releases
// with SIU_freeBuffer) and, per sensor group and for the indicators, a
// capability word with a reserved word beside it.
typedef struct st_cmd_get_device_info {
    char** eprom_version;
    unsigned int* caps_door;
    unsigned int* reserved_0;
    unsigned int* caps_lock;
    unsigned int* reserved_1;
    unsigned int* caps_sensor;
    unsigned int* reserved_2;
    unsigned int* caps_position;
    unsigned int* reserved_3;
    unsigned int* caps_auxiliar;
    unsigned int* reserved_4;
    unsigned int* caps_sensor_cass;
    unsigned int* reserved_5;
    unsigned int* caps_vendor;
    unsigned int* reserved_6;
    unsigned int* caps_indicator;
    unsigned int* reserved_7;
} st_cmd_get_device_info;

// SIU_SetIndicator: which indicator and a NORVA_SIU_INDICATOR_VALUE.
typedef struct st_cmd_set_indicator {
    uint32_t indicator;
    uint32_t value;
} st_cmd_set_indicator;

// SIU_GetSensorStatus and SIU_ResetSensorStatus: the application's seven
// arrays of NORVA_SIU_ARRAY_SIZE entries, one per sensor group.
typedef struct st_cmd_sensor_status {
    unsigned int* door;
    unsigned int* lock;
    unsigned int* sensor;
    unsigned int* position;
    unsigned int* auxiliar;
    unsigned int* sensor_cass;
    unsigned int* vendor;
} st_cmd_sensor_status;

// SIU_SetPorts: a NORVA_SIU_SETPORTS and a NORVA_SIU_SETPORTS_VALUE.
typedef struct st_cmd_set_ports {
    uint32_t port;
    uint32_t value;
} st_cmd_set_ports;

// SIU_ResetRemoto: the two timers, and the first four bytes of the board's
// answer (raw, not terminated). Applications bind to the field name as it is
// spelled.
typedef struct st_cmd_reset_remoto {
    uint32_t TimerToOff;
    uint32_t TimerToOn;
    unsigned char REspResetSensores[4];
} st_cmd_reset_remoto;

// The result codes the public header offers applications are the codes the
// library returns.
static_assert(SIU_SUCCESS == SUCCESS);
static_assert(SIU_ERR_MGR_MAX_SERVICES == ERR_MGR_MAX_SERVICES);
static_assert(SIU_ERR_MGR_INVALID_INDEX == ERR_MGR_INVALID_INDEX);
static_assert(SIU_ERR_MGR_INVALID_POINTER == ERR_MGR_INVALID_POINTER);
static_assert(SIU_ERR_MGR_INTERNAL_ERROR == ERR_MGR_INTERNAL_ERROR);
static_assert(SIU_ERR_MGR_CLIENT_NOT_FOUND == ERR_MGR_CLIENT_NOT_FOUND);
static_assert(SIU_ERR_MGR_DEVICE_NOT_FOUND == ERR_MGR_DEVICE_NOT_FOUND);
static_assert(SIU_ERR_CFG_INVALID_SERVICE_NAME == ERR_CFG_INVALID_SERVICE_NAME);
static_assert(SIU_ERR_CFG_NOT_DEFINED == ERR_CFG_NOT_DEFINED);
static_assert(SIU_ERR_CFG_INI_FILE_NOT_FOUND == ERR_CFG_INI_FILE_NOT_FOUND);
static_assert(SIU_ERR_CFG_GETMODULEPATH == ERR_CFG_GETMODULEPATH);
static_assert(SIU_ERR_CFG_INVALID_VALUE == ERR_CFG_INVALID_VALUE);
static_assert(SIU_ERR_SEM_TIMEOUT == ERR_SEM_TIMEOUT);
static_assert(SIU_ERR_SER_PORT_NOT_OPENED == ERR_SER_PORT_NOT_OPENED);
static_assert(SIU_ERR_SER_INVALID_PROTOCOL == ERR_SER_INVALID_PROTOCOL);
static_assert(SIU_ERR_SER_OPEN_FAILED == ERR_SER_OPEN_FAILED);
static_assert(SIU_ERR_SER_WRITE_FAILED == ERR_SER_WRITE_FAILED);
static_assert(SIU_ERR_SER_READ_FAILED == ERR_SER_READ_FAILED);
static_assert(SIU_ERR_SER_INVALID_SIZE == ERR_SER_INVALID_SIZE);
static_assert(SIU_ERR_SER_TIMEOUT == ERR_SER_TIMEOUT);
static_assert(SIU_ERR_SER_BCC_WRONG == ERR_SER_BCC_WRONG);
static_assert(SIU_ERR_SER_ACK == ERR_SER_ACK);
static_assert(SIU_ERR_SER_NACK == ERR_SER_NACK);
static_assert(SIU_ERR_SER_STX == ERR_SER_STX);
static_assert(SIU_ERR_CMD_NOT_IMPLEMENTED == ERR_CMD_NOT_IMPLEMENTED);
static_assert(SIU_ERR_CMD_INVALID_PARAMETER == ERR_CMD_INVALID_PARAMETER);
static_assert(SIU_ERR_CMD_NOT_SUPPORTED == ERR_CMD_NOT_SUPPORTED);
static_assert(SIU_ERR_TRP_PORT_NOT_OPENED == ERR_TRP_PORT_NOT_OPENED);
static_assert(SIU_ERR_DEV_LINK_NOT_OPEN == ERR_DEV_LINK_NOT_OPEN);

// The records are the layout applications were built against.
static_assert(sizeof(st_cmd_reset_remoto) == 12);
static_assert(sizeof(st_cmd_get_device_info) == 17 * sizeof(void*));
