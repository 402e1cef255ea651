#pragma once
// XFS4IoT messages: one JSON text frame {"header": {...}, "payload": {...}}.
// A command gets an acknowledge (with a "status" only when refused), then one
// completion with the same requestId and a "completionCode"; events go out as
// unsolicited messages without a requestId.

#include <nlohmann/json.hpp>

#include <cstdint>
#include <optional>
#include <string>

namespace siud {

using nlohmann::json;

constexpr const char kMessageVersion[] = "1.0";

struct Command {
    std::string name;
    std::int64_t requestId = 0;
    unsigned timeoutMs = 0;  // 0: none
    json payload = json::object();
};

// Reads a command. False when the text is not one: malformed JSON, a missing
// header field, a field of the wrong type, a type other than "command". The
// name and requestId are filled in as far as they could be read, so that the
// refusal can carry them.
bool parseCommand(const std::string& text, Command& out, std::string& why);

// The acknowledge: accepted without status, else invalidMessage,
// invalidRequestID or tooManyRequests.
std::string acknowledge(const Command& c, const char* status = nullptr);

// The completion; description only on failure, payload may be empty.
std::string completion(const Command& c, const std::string& code,
                       const std::string& description = "",
                       const json& payload = json::object());

std::string unsolicited(const std::string& name, const json& payload);

}  // namespace siud
