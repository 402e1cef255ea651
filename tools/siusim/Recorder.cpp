#include "tools/siusim/Recorder.h"

#include <cerrno>
#include <cstring>
#include <utility>

namespace siusim {

bool Recorder::openFile(const std::string& path, std::string& error) {
    file.reset(std::fopen(path.c_str(), "a"));
    if (!file) error = "cannot open " + path + ": " + std::strerror(errno);
    return file != nullptr;
}

void Recorder::add(Clock::time_point at, const std::string& command) {
    kept.push_back({at, command});
    // Bounded, so a host that polls for hours does not grow the simulator
    // without limit when nobody reads the record.
    if (kept.size() > 100000) kept.erase(kept.begin(), kept.begin() + 50000);
    if (file) {
        std::fprintf(file.get(), "%s %s\n", stamp(at).c_str(), escape(command).c_str());
        std::fflush(file.get());
    }
}

std::vector<Received> Recorder::take() {
    return std::exchange(kept, {});
}

std::string Recorder::stamp(Clock::time_point at) {
    const long long us =
        std::chrono::duration_cast<std::chrono::microseconds>(at.time_since_epoch()).count();
    char text[32];
    std::snprintf(text, sizeof text, "%lld.%03lld", us / 1000, us % 1000);
    return text;
}

std::string Recorder::escape(const std::string& command) {
    std::string out;
    for (unsigned char c : command) {
        if (c > ' ' && c < 0x7F && c != '\\') {
            out += static_cast<char>(c);
        } else {
            char hex[5];
            std::snprintf(hex, sizeof hex, "\\x%02X", c);
            out += hex;
        }
    }
    return out;
}

}  // namespace siusim
