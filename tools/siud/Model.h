#pragma once
// The board's state as XFS4IoT status and capabilities, and the changes
// between two states that become Common.StatusChangedEvent.

#include "tools/siud/Config.h"

#include <nlohmann/json.hpp>

#include <array>
#include <set>
#include <string>

namespace siud {

using nlohmann::json;

// The section that carries the board items with no XFS4IoT field (module
// positions, cassettes, electronic keys, unmapped doors and sensors). No
// XFS4IoT interface has this name, so a strict client ignores it.
constexpr const char kBoardSection[] = "norvaBoard";

// Seven status arrays of SIU_GetSensorStatus.
using Snapshot = std::array<std::array<unsigned, 64>, 7>;

// What SIU_GetDeviceInfo told: firmware and one capability word per group
// (the seven sensor groups, then the indicators).
struct BoardInfo {
    bool known = false;
    std::string firmware;
    std::array<unsigned, 8> caps{};
    bool has(const Item& item) const {
        return known && item.index < 32 && (caps[item.group] >> item.index & 1u) != 0;
    }
};

// {"auxiliaries": {...}, "norvaBoard": {...}} from one reading.
json sensorSections(const ServiceConfig& cfg, const BoardInfo& info, const Snapshot& s);

// Lights of this board, all off: {light: {position: {flashRate, color}}}.
json lightsOff(const ServiceConfig& cfg, const BoardInfo& info);

json capabilities(const ServiceConfig& cfg, const BoardInfo& info);

// What changed from before to after: changed or new keys with their new
// value, nested objects compared key by key, removed keys as null. Empty when
// nothing changed.
json changes(const json& before, const json& after);

// The part of a change a client sees: common and lights always, an
// auxiliaries field or the board section only when registered for.
json forClient(const json& change, const std::set<std::string>& registered);

// The flash rates of Lights.SetLight and the indicator value each sets.
bool indicatorValue(const std::string& flashRate, unsigned& value);

}  // namespace siud
