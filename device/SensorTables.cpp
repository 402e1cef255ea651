#include "device/SensorTables.h"

namespace {

// Each table takes one group of the item list, with the library's prefix.
#define SIU_ITEM_NAME(name) "NORVA_SIU_" #name,

const char doorStr[][SENSOR_NAME_SIZE] = {
#define SIU_DOOR_ITEM SIU_ITEM_NAME
#include "device/ItemNames.def"
};

const char lockStr[][SENSOR_NAME_SIZE] = {
#define SIU_LOCK_ITEM SIU_ITEM_NAME
#include "device/ItemNames.def"
};

const char sensorStr[][SENSOR_NAME_SIZE] = {
#define SIU_SENSOR_ITEM SIU_ITEM_NAME
#include "device/ItemNames.def"
};

const char positionStr[][SENSOR_NAME_SIZE] = {
#define SIU_POSITION_ITEM SIU_ITEM_NAME
#include "device/ItemNames.def"
};

const char sensorCassStr[][SENSOR_NAME_SIZE] = {
#define SIU_CASSETTE_ITEM SIU_ITEM_NAME
#include "device/ItemNames.def"
};

template <unsigned int N>
constexpr st_sensors_strings rows(const char (&table)[N][SENSOR_NAME_SIZE]) {
    static_assert(N < 64, "a status array holds 64 entries");
    return st_sensors_strings{table, static_cast<uint8_t>(N)};
}

}  // namespace

const st_sensors_strings sensors_strings[SENSOR_TYPE_COUNT] = {
    rows(doorStr),       rows(lockStr), rows(sensorStr),
    rows(positionStr),   {nullptr, 0},  // auxiliar
    rows(sensorCassStr), {nullptr, 0},  // vendor
};

const char indicator_str[INDICATOR_COUNT][SENSOR_NAME_SIZE] = {
#define SIU_INDICATOR_ITEM SIU_ITEM_NAME
#include "device/ItemNames.def"
};

const char ports_str[PORT_COUNT][SENSOR_NAME_SIZE] = {
#define SIU_PORT_ITEM SIU_ITEM_NAME
#include "device/ItemNames.def"
};

const char zero_flags_str[RESET_COMMAND_COUNT][10] = {
    "Z0", "Z1", "Z2", "Z3", "Z4", "Z5", "Z6", "Z7", "Z8", "Z9",
    "ZA", "ZB", "ZC", "ZD", "ZE", "ZF", "ZG", "ZH", "ZI",
};
