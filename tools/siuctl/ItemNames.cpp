#include "tools/siuctl/ItemNames.h"

#include <strings.h>

// The library identifies items only by their row number and does not export
// its name tables, so this tool carries its own copy of them. The rows and
// their order are part of the library's interface (they are the indices of
// the status arrays and of the capability bits) and must stay in step with the
// device layer's tables; only the NORVA_SIU_ prefix is left out here.

namespace siuctl {

namespace {

const char* const kDoors[] = {"DOOR_SAFE_BOX", "DOOR_PANEL",    "DOOR_FRONT_INF", "DOOR_FRONT_MID",
                              "DOOR_REAR_INF", "DOOR_REAR_MID", "DOOR_REAR_SUP",  "DOOR_CABINET"};

const char* const kLocks[] = {"LOCK_LOCK",
                              "LOCK_FRONT_INF",
                              "LOCK_FRONT_MID",
                              "LOCK_FRONT_SUP",
                              "LOCK_REAR_INF",
                              "LOCK_REAR_MID",
                              "LOCK_REAR_SUP",
                              "ELETRONIC_KEY",
                              "ELETRONIC_KEY_FRONT_INF",
                              "ELETRONIC_KEY_FRONT_MID",
                              "ELETRONIC_KEY_FRONT_SUP",
                              "ELETRONIC_KEY_REAR_INF",
                              "ELETRONIC_KEY_REAR_MID",
                              "ELETRONIC_KEY_REAR_SUP"};

const char* const kSensors[] = {"SENSOR_OPERATOR",
                                "SENSOR_HEAT",
                                "SENSOR_SEISMIC",
                                "SENSOR_SMOKE",
                                "SENSOR_PROXIMITY",
                                "SENSOR_LEVEL",
                                "SENSOR_AC_POWER",
                                "SENSOR_DC_POWER",
                                "SENSOR_UPS_POWER",
                                "SENSOR_BATTERY_BOARD",
                                "SENSOR_BATTERY_BOARD_LOW",
                                "SENSOR_SKIMMING",
                                "SENSOR_SKIMMING_ZONE1",
                                "SENSOR_SKIMMING_ZONE2",
                                "SENSOR_SKIMMING_ZONE3",
                                "SENSOR_SKIMMING_ZONE4",
                                "SENSOR_SKIMMING_BARRIER",
                                "SENSOR_DEP_SHUTTER_VIOLANCE",
                                "SENSOR_DEP_SHUTTER_HEAT",
                                "SENSOR_DEP_SHUTTER_IMPACT",
                                "SENSOR_CDM_SHUTTER_VIOLANCE",
                                "SENSOR_CDM_SHUTTER_HEAT",
                                "SENSOR_CDM_SHUTTER_IMPACT",
                                "SENSOR_CDM_GRID_DOOR",
                                "SENSOR_ELETRONIC_ARMOR_FRONTAL",
                                "SENSOR_ELETRONIC_ARMOR_RIGHT",
                                "SENSOR_ELETRONIC_ARMOR_LEFT",
                                "SENSOR_EARPHONE",
                                "SENSOR_MOTOR_PANEL"};

const char* const kPositions[] = {"POS_CASH_DISPENSER",
                                  "POS_DEPOSIT",
                                  "POS_CARD_READER",
                                  "POS_RECEIPT_PRINTER",
                                  "POS_CHECK_PRINTER",
                                  "POS_CHECK_BOOK",
                                  "POS_CASH_ACCEPTOR",
                                  "POS_COIN_ACCEPTOR",
                                  "POS_PANEL_OPERATOR",
                                  "POS_PRCDM",
                                  "POS_MODULE_INGRESS",
                                  "POS_ENVELOPE_DISPENSER",
                                  "POS_KEYBOARD",
                                  "POS_BIOMETRIC",
                                  "POS_CONTACTLESS",
                                  "POS_PINPAD",
                                  "POS_JACK"};

const char* const kCassettes[] = {"SENSOR_CASSETTE_A", "SENSOR_CASSETTE_B", "SENSOR_CASSETTE_C",
                                  "SENSOR_CASSETTE_D"};

const char* const kIndicators[] = {
    "INDICATOR_OPERATOR",       "INDICATOR_CARD_READER",   "INDICATOR_RECEIPT_PRINTER",
    "INDICATOR_SHEET_PRINTER",  "INDICATOR_PINPAD",        "INDICATOR_BIOMETRIC",
    "INDICATOR_CASH_DISPENSER", "INDICATOR_CASH_ACCEPTOR", "INDICATOR_COIN_DISPENSER",
    "INDICATOR_COIN_ACCEPTOR",  "INDICATOR_ENV_DISPENSER", "INDICATOR_ENV_ACCEPTOR",
    "INDICATOR_JACK",           "INDICATOR_VOLUME",        "INDICATOR_LED_GREEN",
    "INDICATOR_LED_RED",        "INDICATOR_LED_ORANGE"};

template <std::size_t N>
constexpr std::size_t rows(const char* const (&)[N]) {
    return N;
}

// The auxiliary and vendor groups have no rows: nothing of them can be
// configured, and they always read as not available.
const ItemGroup kGroups[kGroupCount] = {
    {"door", "Doors", kDoors, rows(kDoors)},
    {"lock", "Locks and electronic keys", kLocks, rows(kLocks)},
    {"sensor", "Sensors", kSensors, rows(kSensors)},
    {"position", "Module positions", kPositions, rows(kPositions)},
    {"auxiliar", "Auxiliary", nullptr, 0},
    {"sensor_cass", "Cassettes", kCassettes, rows(kCassettes)},
    {"vendor", "Vendor", nullptr, 0},
};

const ItemGroup kIndicatorGroup = {"indicator", "Indicators", kIndicators, rows(kIndicators)};

const char* const kStates[] = {"NOT_AVAILABLE",   "OFF",    "ON",         "CLOSED",
                               "OPENED",          "LOCKED", "UNLOCKED",   "AT_POSITION",
                               "NOT_AT_POSITION", "RUN",    "SUPERVISOR", "MAINTENANCE"};

// The name as the tables hold it: without the library's prefix.
std::string bare(const std::string& name) {
    static const char kPrefix[] = "NORVA_SIU_";
    constexpr std::size_t n = sizeof kPrefix - 1;
    if (name.size() > n && strncasecmp(name.c_str(), kPrefix, n) == 0) return name.substr(n);
    return name;
}

bool findIn(const ItemGroup& g, const std::string& name, std::size_t& index) {
    for (std::size_t i = 0; i < g.count; ++i) {
        if (strcasecmp(g.names[i], name.c_str()) == 0) {
            index = i;
            return true;
        }
    }
    return false;
}

}  // namespace

const ItemGroup& group(std::size_t g) {
    return kGroups[g];
}

const ItemGroup& indicators() {
    return kIndicatorGroup;
}

bool findSensor(const std::string& name, ItemRef& out) {
    const std::string b = bare(name);
    for (std::size_t g = 0; g < kGroupCount; ++g) {
        if (findIn(kGroups[g], b, out.index)) {
            out.group = g;
            return true;
        }
    }
    return false;
}

bool findIndicator(const std::string& name, std::size_t& index) {
    const std::string b = bare(name);
    return findIn(kIndicatorGroup, b, index) || findIn(kIndicatorGroup, "INDICATOR_" + b, index);
}

std::string stateName(unsigned int value) {
    if (value >= 1 && value <= rows(kStates)) return kStates[value - 1];
    return "?" + std::to_string(value);
}

}  // namespace siuctl
