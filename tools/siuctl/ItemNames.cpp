#include "tools/siuctl/ItemNames.h"

#include <strings.h>

// The library identifies items only by their row number and does not export
// its name tables; both it and this tool compile them in from the same list.

namespace siuctl {

namespace {

#define SIU_ITEM_NAME(name) #name,

const char* const kDoors[] = {
#define SIU_DOOR_ITEM SIU_ITEM_NAME
#include "device/ItemNames.def"
};

const char* const kLocks[] = {
#define SIU_LOCK_ITEM SIU_ITEM_NAME
#include "device/ItemNames.def"
};

const char* const kSensors[] = {
#define SIU_SENSOR_ITEM SIU_ITEM_NAME
#include "device/ItemNames.def"
};

const char* const kPositions[] = {
#define SIU_POSITION_ITEM SIU_ITEM_NAME
#include "device/ItemNames.def"
};

const char* const kCassettes[] = {
#define SIU_CASSETTE_ITEM SIU_ITEM_NAME
#include "device/ItemNames.def"
};

const char* const kIndicators[] = {
#define SIU_INDICATOR_ITEM SIU_ITEM_NAME
#include "device/ItemNames.def"
};

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
