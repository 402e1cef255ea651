#pragma once
// Fixed name tables of the sensor board's logical items, built from
// ItemNames.def. A row's index in its table is the item's index everywhere:
// in the capability bit masks, in the 64-entry status arrays and in the
// mapping records. The names are also the last part of the item's INI section
// ("<service>.<name>").

#include <cstdint>

// Width of every name row.
constexpr unsigned int SENSOR_NAME_SIZE = 50;

// Sensor types, in the order of the arrays of st_cmd_sensor_status.
enum enum_sensor_type : unsigned int {
    SENSOR_TYPE_DOOR = 0,
    SENSOR_TYPE_LOCK = 1,
    SENSOR_TYPE_SENSOR = 2,
    SENSOR_TYPE_POSITION = 3,
    SENSOR_TYPE_AUXILIAR = 4,
    SENSOR_TYPE_SENSOR_CASS = 5,
    SENSOR_TYPE_VENDOR = 6,
    SENSOR_TYPE_COUNT = 7
};

// One name table: its rows and their count.
struct st_sensors_strings {
    const char (*enum_str)[SENSOR_NAME_SIZE];
    uint8_t enum_str_size;
};

// Indexed by enum_sensor_type. Auxiliar and vendor have no rows, so nothing
// of them can be configured.
extern const st_sensors_strings sensors_strings[SENSOR_TYPE_COUNT];

constexpr unsigned int INDICATOR_COUNT = 0
#define SIU_INDICATOR_ITEM(name) +1
#include "device/ItemNames.def"
    ;
extern const char indicator_str[INDICATOR_COUNT][SENSOR_NAME_SIZE];

// Rows are the values of NORVA_SIU_SETPORTS.
constexpr unsigned int PORT_COUNT = 0
#define SIU_PORT_ITEM(name) +1
#include "device/ItemNames.def"
    ;
extern const char ports_str[PORT_COUNT][SENSOR_NAME_SIZE];

// Command that clears the latched flag at a reply position: "Z" and the
// position as one base-19 digit, "Z0" .. "Z9", "ZA" .. "ZI". Positions from
// 19 on cannot be cleared.
constexpr unsigned int RESET_COMMAND_COUNT = 19;
extern const char zero_flags_str[RESET_COMMAND_COUNT][10];
