#include "tools/siud/Protocol.h"

namespace siud {

namespace {

bool versionText(const json& v) {
    if (!v.is_string()) return false;
    const std::string s = v.get<std::string>();
    const auto dot = s.find('.');
    const auto digits = [](const std::string& d) {
        return !d.empty() && d.size() <= 4 && d.find_first_not_of("0123456789") == std::string::npos;
    };
    return dot != std::string::npos && digits(s.substr(0, dot)) && digits(s.substr(dot + 1));
}

json header(const Command& c, const char* type) {
    json h = json::object();
    if (!c.name.empty()) h["name"] = c.name;
    if (c.requestId > 0) h["requestId"] = c.requestId;
    h["type"] = type;
    h["version"] = kMessageVersion;
    return h;
}

std::string message(json h, const json& payload) {
    json m = json::object();
    m["header"] = std::move(h);
    m["payload"] = payload.is_null() ? json::object() : payload;
    // Names and texts from a client may hold invalid UTF-8: replace, never throw.
    return m.dump(-1, ' ', false, json::error_handler_t::replace);
}

}  // namespace

bool parseCommand(const std::string& text, Command& out, std::string& why) {
    out = Command{};
    const json m = json::parse(text, nullptr, false);
    if (m.is_discarded()) return why = "not JSON", false;
    if (!m.is_object() || !m.contains("header") || !m["header"].is_object())
        return why = "no header object", false;
    const json& h = m["header"];
    if (h.contains("name") && h["name"].is_string()) out.name = h["name"].get<std::string>();
    if (h.contains("requestId") && h["requestId"].is_number_integer() &&
        !(h["requestId"].is_number_unsigned() && h["requestId"].get<std::uint64_t>() > INT64_MAX))
        out.requestId = h["requestId"].get<std::int64_t>();
    if (out.name.empty()) return why = "header.name must be a non-empty string", false;
    if (out.requestId <= 0) return why = "header.requestId must be a positive integer", false;
    if (!h.contains("type") || h["type"] != "command")
        return why = "header.type must be \"command\"", false;
    if (!h.contains("version") || !versionText(h["version"]))
        return why = "header.version must be \"major.minor\"", false;
    if (h.contains("timeout")) {
        const json& t = h["timeout"];
        if (!t.is_number_integer() || t.get<std::int64_t>() < 0 ||
            t.get<std::int64_t>() > 24LL * 3600 * 1000)
            return why = "header.timeout must be a number of milliseconds", false;
        out.timeoutMs = t.get<unsigned>();
    }
    if (m.contains("payload")) {
        if (!m["payload"].is_object()) return why = "payload must be an object", false;
        out.payload = m["payload"];
    }
    return true;
}

std::string acknowledge(const Command& c, const char* status) {
    json h = header(c, "acknowledge");
    if (status != nullptr) h["status"] = status;
    return message(std::move(h), json::object());
}

std::string completion(const Command& c, const std::string& code, const std::string& description,
                       const json& payload) {
    json h = header(c, "completion");
    h["completionCode"] = code;
    if (!description.empty()) h["errorDescription"] = description;
    return message(std::move(h), payload);
}

std::string unsolicited(const std::string& name, const json& payload) {
    Command c;
    c.name = name;
    return message(header(c, "unsolicited"), payload);
}

}  // namespace siud
