// siud-client: sends XFS4IoT commands to siud and prints every message it
// gets, one JSON text per line.

#include "tools/siud/Client.h"

#include <cstdio>
#include <cstring>
#include <vector>

namespace {

const char kUsage[] =
    "usage: siud-client [--ca FILE] [--timeout MS] [--events N] URL [NAME [PAYLOAD]]...\n"
    "  Sends each command NAME (payload: a JSON object, default {}) in turn and\n"
    "  waits for its completion; then, with --events N, waits for N unsolicited\n"
    "  messages. Every message received is printed on one line. --ca FILE trusts\n"
    "  that certificate for wss://. Each wait lasts at most MS (default 5000).\n"
    "  Exit status: 0 done, 1 a command did not succeed or a wait timed out,\n"
    "  2 wrong command line, 3 no connection.\n";

}  // namespace

int main(int argc, char** argv) {
    using json = nlohmann::json;
    std::string ca, url;
    long timeoutMs = 5000, events = 0;
    std::vector<std::pair<std::string, json>> commands;
    for (int i = 1; i < argc; ++i) {
        const std::string a = argv[i];
        if ((a == "--ca" || a == "--timeout" || a == "--events") && i + 1 < argc) {
            const char* v = argv[++i];
            if (a == "--ca") ca = v;
            else (a == "--timeout" ? timeoutMs : events) = std::strtol(v, nullptr, 10);
        } else if (a == "--help") {
            std::fputs(kUsage, stdout);
            return 0;
        } else if (url.empty()) {
            url = a;
        } else if (a.find('.') != std::string::npos && a[0] != '{') {
            commands.emplace_back(a, json::object());
        } else if (!commands.empty()) {
            commands.back().second = json::parse(a, nullptr, false);
            if (!commands.back().second.is_object()) {
                std::fprintf(stderr, "siud-client: not a JSON object: %s\n", a.c_str());
                return 2;
            }
        } else {
            std::fputs(kUsage, stderr);
            return 2;
        }
    }
    if (url.empty() || timeoutMs <= 0) {
        std::fputs(kUsage, stderr);
        return 2;
    }
    const std::chrono::milliseconds wait(timeoutMs);
    siud::Client client;
    std::string error;
    if (!client.connect(url, error, ca, wait)) {
        std::fprintf(stderr, "siud-client: %s: %s\n", url.c_str(), error.c_str());
        return 3;
    }
    int status = 0;
    long long id = 0;
    const auto show = [&](const std::string& m) {
        std::printf("%s\n", m.c_str());
        std::fflush(stdout);
        const json j = json::parse(m, nullptr, false);
        if (siud::Client::is(j, "unsolicited")) --events;
        return j;
    };
    for (const auto& [name, payload] : commands) {
        client.send(siud::Client::command(name, ++id, payload));
        for (;;) {
            const auto m = client.receive(wait);
            if (!m) {
                std::fprintf(stderr, "siud-client: no completion of %s\n", name.c_str());
                return 1;
            }
            const json j = show(*m);
            if (siud::Client::is(j, "acknowledge", id) && j["header"].contains("status")) {
                status = 1;
                break;
            }
            if (siud::Client::is(j, "completion", id)) {
                if (j["header"]["completionCode"] != "success") status = 1;
                break;
            }
        }
    }
    while (events > 0) {
        const auto m = client.receive(wait);
        if (!m) {
            std::fprintf(stderr, "siud-client: %ld event(s) did not come\n", events);
            return 1;
        }
        show(*m);
    }
    client.close();
    return status;
}
