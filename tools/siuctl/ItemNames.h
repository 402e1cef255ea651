#pragma once
// Names of the board's items as siuctl shows them: the library's item names
// without their NORVA_SIU_ prefix (DOOR_SAFE_BOX, INDICATOR_LED_GREEN).

#include <cstddef>
#include <string>

namespace siuctl {

// One group of the status record: the arrays of SIU_GetSensorStatus and the
// capability words of SIU_GetDeviceInfo come in this order.
struct ItemGroup {
    const char* key;    // "door", "lock", ... as in the configuration's tables
    const char* title;  // for people: "Doors", "Locks and electronic keys", ...
    const char* const* names;
    std::size_t count;
};

constexpr std::size_t kGroupCount = 7;
const ItemGroup& group(std::size_t g);
const ItemGroup& indicators();

// Where a name (case-insensitive, with or without NORVA_SIU_) is found.
struct ItemRef {
    std::size_t group;  // kGroupCount for an indicator
    std::size_t index;  // row in the group's table: the index the library uses
};

// False when no sensor item has that name.
bool findSensor(const std::string& name, ItemRef& out);
// Indicators may also be named without INDICATOR_ (LED_GREEN).
bool findIndicator(const std::string& name, std::size_t& index);

// A NORVA_SIU_VALUE as text: OPENED, LOCKED, ...; "?<n>" for other numbers.
std::string stateName(unsigned int value);

}  // namespace siuctl
