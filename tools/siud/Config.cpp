#include "tools/siud/Config.h"

#include "tools/siuctl/ItemNames.h"

#include <algorithm>
#include <fstream>
#include <sstream>

namespace siud {

namespace {

struct FieldName {
    const char* name;
    FieldKind kind;
};
// The Auxiliaries status fields a board of this kind can feed.
const FieldName kFields[] = {
    {"safeDoor", FieldKind::Door},          {"cabinetDoor", FieldKind::Door},
    {"cabinetFrontDoor", FieldKind::Door},  {"cabinetRearDoor", FieldKind::Door},
    {"cabinetLeftDoor", FieldKind::Door},   {"cabinetRightDoor", FieldKind::Door},
    {"vandalShield", FieldKind::Door},      {"operatorSwitch", FieldKind::OperatorSwitch},
    {"tamperSensor", FieldKind::OnOff},     {"internalTamperSensor", FieldKind::OnOff},
    {"seismicSensor", FieldKind::OnOff},    {"heatSensor", FieldKind::OnOff},
    {"proximitySensor", FieldKind::Presence}, {"ambientLightSensor", FieldKind::OnOff},
    {"bootSwitchSensor", FieldKind::OnOff}, {"handsetSensor", FieldKind::OnOff},
};

const char* const kLights[] = {
    "cardReader",     "pinPad",         "notesDispenser",     "coinDispenser",
    "receiptPrinter", "passbookPrinter", "envelopeDepository", "checkUnit",
    "billAcceptor",   "envelopeDispenser", "documentPrinter",  "coinAcceptor",
    "scanner",        "contactless",    "cardReader2",        "notesDispenser2",
    "billAcceptor2",  "statusGood",     "statusWarning",      "statusBad",
    "statusSupervisor", "statusInService", "fasciaLight"};

const char* const kPositions[] = {"left", "right",  "center", "top",
                                  "bottom", "front", "rear",  "default"};

template <std::size_t N>
bool listed(const char* const (&names)[N], const std::string& s) {
    return std::find(std::begin(names), std::end(names), s) != std::end(names);
}

std::string trim(const std::string& s) {
    const auto b = s.find_first_not_of(" \t\r");
    if (b == std::string::npos) return "";
    return s.substr(b, s.find_last_not_of(" \t\r") - b + 1);
}

std::vector<std::string> words(const std::string& s) {
    std::istringstream in(s);
    std::vector<std::string> out;
    for (std::string w; in >> w;) out.push_back(w);
    return out;
}

bool number(const std::string& s, unsigned long max, unsigned long& out) {
    if (s.empty() || s.size() > 9 || s.find_first_not_of("0123456789") != std::string::npos)
        return false;
    out = std::stoul(s);
    return out <= max;
}

bool sensorItem(const std::string& name, Item& out) {
    siuctl::ItemRef ref;
    if (!siuctl::findSensor(name, ref)) return false;
    out = {ref.group, ref.index, siuctl::group(ref.group).names[ref.index]};
    return true;
}

bool indicatorItem(const std::string& name, Item& out) {
    std::size_t index = 0;
    if (!siuctl::findIndicator(name, index)) return false;
    out = {kIndicatorGroup, index, siuctl::indicators().names[index]};
    return true;
}

class Parser {
public:
    Parser(const std::string& f, Config& c) : file(f), cfg(c) {}

    bool line(const std::string& raw, std::string& error) {
        ++lineNo;
        std::string text = raw.substr(0, raw.find_first_of(";#"));
        text = trim(text);
        if (text.empty()) return true;
        if (text.front() == '[') {
            if (text.back() != ']') return fail("a section header ends with ]", error);
            return section(trim(text.substr(1, text.size() - 2)), error);
        }
        const auto eq = text.find('=');
        if (eq == std::string::npos) return fail("expected key = value", error);
        return entry(trim(text.substr(0, eq)), trim(text.substr(eq + 1)), error);
    }

    bool finish(std::string& error) {
        if (cfg.services.empty()) return fail("no service section", error);
        if (cfg.tlsCertificate.empty() != cfg.tlsPrivateKey.empty())
            return fail("tls_certificate and tls_private_key go together", error);
        return true;
    }

private:
    enum class Kind { None, Daemon, Service, Auxiliaries, Lights } kind = Kind::None;

    bool fail(const std::string& what, std::string& error) const {
        error = file + ":" + std::to_string(lineNo) + ": " + what;
        return false;
    }

    ServiceConfig* service(const std::string& name) {
        for (ServiceConfig& s : cfg.services)
            if (s.name == name) return &s;
        return nullptr;
    }

    bool section(const std::string& name, std::string& error) {
        current = nullptr;
        if (name == "siud") {
            kind = Kind::Daemon;
            return true;
        }
        const auto dot = name.find('.');
        if (dot == std::string::npos) {
            if (name.empty() || service(name) != nullptr)
                return fail("empty or repeated service [" + name + "]", error);
            cfg.services.push_back({});
            cfg.services.back().name = name;
            current = &cfg.services.back();
            kind = Kind::Service;
            return true;
        }
        const std::string part = name.substr(dot + 1);
        current = service(name.substr(0, dot));
        if (current == nullptr)
            return fail("[" + name + "] before its service's section", error);
        if (part == "auxiliaries") kind = Kind::Auxiliaries;
        else if (part == "lights") kind = Kind::Lights;
        else return fail("unknown section [" + name + "]", error);
        return true;
    }

    bool entry(const std::string& key, const std::string& value, std::string& error) {
        switch (kind) {
            case Kind::None: return fail("key outside a section", error);
            case Kind::Daemon: return daemonKey(key, value, error);
            case Kind::Service: return serviceKey(key, value, error);
            case Kind::Auxiliaries: return auxiliaryKey(key, value, error);
            case Kind::Lights: return lightKey(key, value, error);
        }
        return false;
    }

    bool daemonKey(const std::string& key, const std::string& value, std::string& error) {
        unsigned long n = 0;
        if (key == "address") cfg.address = value;
        else if (key == "library") cfg.library = value;
        else if (key == "vendor_name") cfg.vendorName = value;
        else if (key == "tls_certificate") cfg.tlsCertificate = value;
        else if (key == "tls_private_key") cfg.tlsPrivateKey = value;
        else if (key == "port" && number(value, 65535, n)) cfg.port = static_cast<unsigned short>(n);
        else if (key == "max_clients" && number(value, 10000, n) && n > 0) cfg.maxClients = n;
        else if (key == "max_message" && number(value, 16u << 20, n) && n >= 1024) cfg.maxMessage = n;
        else if (key == "max_requests" && number(value, 1000, n) && n > 0) cfg.maxRequests = n;
        else return fail("unknown key or bad value: " + key + " = " + value, error);
        return true;
    }

    bool serviceKey(const std::string& key, const std::string& value, std::string& error) {
        unsigned long n = 0;
        if (key == "poll_interval" && number(value, 60000, n) && n >= 10) {
            current->pollMs = static_cast<unsigned>(n);
            return true;
        }
        return fail("unknown key or bad value: " + key + " = " + value, error);
    }

    // field = ITEM [LOCK_ITEM]; audibleAlarm = BUZZER
    bool auxiliaryKey(const std::string& key, const std::string& value, std::string& error) {
        const std::vector<std::string> w = words(value);
        if (key == "audibleAlarm") {
            if (w.size() != 1 || w[0] != "BUZZER")
                return fail("audibleAlarm can only be the BUZZER", error);
            current->audibleAlarm = true;
            return true;
        }
        FieldKind fk;
        if (!auxFieldKind(key, fk)) return fail("not an Auxiliaries field: " + key, error);
        for (const AuxField& f : current->auxiliaries)
            if (f.field == key) return fail(key + " mapped twice", error);
        AuxField f;
        f.field = key;
        const std::size_t most = fk == FieldKind::Door ? 2 : 1;
        if (w.empty() || w.size() > most || !sensorItem(w[0], f.item))
            return fail(key + ": expected " + (most == 2 ? "a door item and maybe a lock item"
                                                         : "one sensor item"),
                        error);
        if (w.size() == 2 && !sensorItem(w[1], f.lock))
            return fail(key + ": no board item " + w[1], error);
        f.hasLock = w.size() == 2;
        current->auxiliaries.push_back(f);
        return true;
    }

    // light[.position] = INDICATOR [colour]
    bool lightKey(const std::string& key, const std::string& value, std::string& error) {
        LightOutput out;
        const auto dot = key.find('.');
        out.light = key.substr(0, dot);
        out.position = dot == std::string::npos ? "default" : key.substr(dot + 1);
        if (!isLightName(out.light)) return fail("not a light: " + out.light, error);
        if (!isLightPosition(out.position)) return fail("not a position: " + out.position, error);
        for (const LightOutput& l : current->lights)
            if (l.light == out.light && l.position == out.position)
                return fail(key + " mapped twice", error);
        const std::vector<std::string> w = words(value);
        if (w.empty() || w.size() > 2 || !indicatorItem(w[0], out.indicator))
            return fail(key + ": expected an indicator and maybe a colour", error);
        if (w.size() == 2) out.color = w[1];
        current->lights.push_back(out);
        return true;
    }

    const std::string& file;
    Config& cfg;
    ServiceConfig* current = nullptr;
    int lineNo = 0;
};

}  // namespace

bool auxFieldKind(const std::string& field, FieldKind& kind) {
    for (const FieldName& f : kFields)
        if (field == f.name) {
            kind = f.kind;
            return true;
        }
    return false;
}

bool isLightName(const std::string& light) {
    return listed(kLights, light);
}
bool isLightPosition(const std::string& position) {
    return listed(kPositions, position);
}

bool parseConfig(const std::string& text, const std::string& file, Config& out,
                 std::string& error) {
    Config cfg;
    Parser parser(file, cfg);
    std::istringstream in(text);
    for (std::string l; std::getline(in, l);)
        if (!parser.line(l, error)) return false;
    if (!parser.finish(error)) return false;
    out = cfg;
    return true;
}

bool loadConfig(const std::string& path, Config& out, std::string& error) {
    std::ifstream in(path);
    if (!in) {
        error = "cannot read " + path;
        return false;
    }
    std::ostringstream text;
    text << in.rdbuf();
    return parseConfig(text.str(), path, out, error);
}

}  // namespace siud
