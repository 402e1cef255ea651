#include "tools/siud/Model.h"

#include "interface/NorvaSIU.h"
#include "tools/siuctl/ItemNames.h"

namespace siud {

namespace {

// A reading as the state of a field of the given kind; empty when the board
// did not report the item.
std::string fieldState(FieldKind kind, unsigned v) {
    switch (v) {
        case NORVA_SIU_VALUE_RUN: return kind == FieldKind::OperatorSwitch ? "run" : "";
        case NORVA_SIU_VALUE_SUPERVISOR: return kind == FieldKind::OperatorSwitch ? "supervisor" : "";
        case NORVA_SIU_VALUE_MAINTENANCE:
            return kind == FieldKind::OperatorSwitch ? "maintenance" : "";
        default: break;
    }
    bool active;
    if (v == NORVA_SIU_VALUE_ON || v == NORVA_SIU_VALUE_OPENED || v == NORVA_SIU_VALUE_UNLOCKED)
        active = true;
    else if (v == NORVA_SIU_VALUE_OFF || v == NORVA_SIU_VALUE_CLOSED || v == NORVA_SIU_VALUE_LOCKED)
        active = false;
    else
        return "";
    switch (kind) {
        case FieldKind::Door: return active ? "open" : "closed";
        // The board's operator switch is a plain contact: set means the
        // terminal is switched to supervisor mode.
        case FieldKind::OperatorSwitch: return active ? "supervisor" : "run";
        case FieldKind::OnOff: return active ? "on" : "off";
        case FieldKind::Presence: return active ? "present" : "notPresent";
    }
    return "";
}

unsigned reading(const Snapshot& s, const Item& item) {
    return s[item.group][item.index];
}

using Marks = std::array<std::array<bool, 64>, 7>;

// The items the board has that an Auxiliaries field takes: the others go to
// the board's own section.
Marks mappedItems(const ServiceConfig& cfg, const BoardInfo& info) {
    Marks mapped{};
    for (const AuxField& f : cfg.auxiliaries) {
        if (!info.has(f.item)) continue;
        mapped[f.item.group][f.item.index] = true;
        if (f.hasLock && info.has(f.lock)) mapped[f.lock.group][f.lock.index] = true;
    }
    return mapped;
}

FieldKind kindOf(const std::string& field) {
    FieldKind kind = FieldKind::OnOff;
    auxFieldKind(field, kind);
    return kind;
}

json versions() {
    return json{{"versions", json::array({"1.0"})}};
}

}  // namespace

json sensorSections(const ServiceConfig& cfg, const BoardInfo& info, const Snapshot& s) {
    json aux = json::object();
    const Marks mapped = mappedItems(cfg, info);
    for (const AuxField& f : cfg.auxiliaries) {
        if (!info.has(f.item)) continue;
        std::string state = fieldState(kindOf(f.field), reading(s, f.item));
        if (state == "closed" && f.hasLock && info.has(f.lock) &&
            reading(s, f.lock) == NORVA_SIU_VALUE_LOCKED)
            state = "locked";
        if (!state.empty()) aux[f.field] = state;
    }
    json board = json::object();
    for (std::size_t g = 0; g < siuctl::kGroupCount; ++g) {
        const siuctl::ItemGroup& group = siuctl::group(g);
        for (std::size_t i = 0; i < group.count; ++i) {
            const Item item{g, i, ""};
            if (!mapped[g][i] && info.has(item) && reading(s, item) != NORVA_SIU_VALUE_NOT_AVAILABLE)
                board[group.names[i]] = siuctl::stateName(reading(s, item));
        }
    }
    json out = json::object();
    out["auxiliaries"] = std::move(aux);
    out[kBoardSection] = std::move(board);
    return out;
}

json lightsOff(const ServiceConfig& cfg, const BoardInfo& info) {
    json lights = json::object();
    for (const LightOutput& l : cfg.lights) {
        if (!info.has(l.indicator)) continue;
        json state = {{"flashRate", "off"}};
        if (!l.color.empty()) state["color"] = l.color;
        lights[l.light][l.position] = state;
    }
    return lights;
}

json capabilities(const ServiceConfig& cfg, const BoardInfo& info) {
    json interfaces = json::array();
    interfaces.push_back({{"name", "Common"},
                          {"commands", {{"Common.Status", versions()},
                                        {"Common.Capabilities", versions()}}},
                          {"events", {{"Common.StatusChangedEvent", versions()}}}});
    interfaces.push_back({{"name", "Auxiliaries"},
                          {"commands", {{"Auxiliaries.SetAuxiliaries", versions()},
                                        {"Auxiliaries.Register", versions()}}},
                          {"events", json::object()}});
    interfaces.push_back({{"name", "Lights"},
                          {"commands", {{"Lights.SetLight", versions()}}},
                          {"events", json::object()}});
    json device = {{"modelName", "ZT sensor board"}};
    if (info.known)
        device["firmware"] = json::array({{{"firmwareName", "board"},
                                           {"firmwareVersion", info.firmware}}});
    json out = {{"interfaces", interfaces},
                {"common", {{"serviceVersion", "1.0"},
                            {"deviceInformation", json::array({device})}}}};
    json aux = json::object();
    json board = json::object();
    const Marks mapped = mappedItems(cfg, info);
    for (const AuxField& f : cfg.auxiliaries) {
        if (!info.has(f.item)) continue;
        const FieldKind kind = kindOf(f.field);
        const bool locks = f.hasLock && info.has(f.lock);
        if (kind == FieldKind::Door)
            aux[f.field] = {{"closed", true}, {"open", true}, {"locked", locks}};
        else if (kind == FieldKind::OperatorSwitch)
            aux[f.field] = {{"run", true}, {"supervisor", true}, {"maintenance", false}};
        else
            aux[f.field] = true;
    }
    if (cfg.audibleAlarm) aux["audibleAlarm"] = true;
    for (std::size_t g = 0; g < siuctl::kGroupCount; ++g)
        for (std::size_t i = 0; i < siuctl::group(g).count; ++i)
            if (!mapped[g][i] && info.has(Item{g, i, ""})) board[siuctl::group(g).names[i]] = true;
    json lights = json::object();
    for (const LightOutput& l : cfg.lights) {
        if (!info.has(l.indicator)) continue;
        json c = {{"flashRate", {{"off", true}, {"slow", true}, {"medium", true},
                                 {"quick", true}, {"continuous", true}}}};
        if (!l.color.empty()) c["color"] = {{l.color, true}};
        lights[l.light][l.position] = c;
    }
    out["auxiliaries"] = std::move(aux);
    out["lights"] = std::move(lights);
    out[kBoardSection] = std::move(board);
    return out;
}

json changes(const json& before, const json& after) {
    json out = json::object();
    for (const auto& [key, value] : after.items()) {
        const auto old = before.find(key);
        if (old == before.end())
            out[key] = value;
        else if (*old != value)
            out[key] = old->is_object() && value.is_object() ? changes(*old, value) : value;
    }
    for (const auto& [key, value] : before.items())
        if (!after.contains(key)) out[key] = nullptr;
    return out;
}

json forClient(const json& change, const std::set<std::string>& registered) {
    json out = json::object();
    for (const auto& [section, value] : change.items()) {
        if (section == "auxiliaries" && value.is_object()) {
            json aux = json::object();
            for (const auto& [field, state] : value.items())
                if (registered.count(field) != 0) aux[field] = state;
            if (!aux.empty()) out[section] = std::move(aux);
        } else if (section != kBoardSection || registered.count(kBoardSection) != 0) {
            out[section] = value;
        }
    }
    return out;
}

bool indicatorValue(const std::string& flashRate, unsigned& value) {
    if (flashRate == "off") value = NORVA_SIU_INDICATOR_VALUE_OFF;
    else if (flashRate == "continuous") value = NORVA_SIU_INDICATOR_VALUE_ON;
    else if (flashRate == "slow" || flashRate == "medium" || flashRate == "quick")
        value = NORVA_SIU_INDICATOR_VALUE_BLINK;  // the board has one blinking rate
    else
        return false;
    return true;
}

}  // namespace siud
