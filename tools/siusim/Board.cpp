#include "tools/siusim/Board.h"

#include <cctype>
#include <cstdio>
#include <utility>

namespace siusim {

namespace {

bool allDigits(const std::string& s, size_t from) {
    if (from >= s.size()) return false;
    for (size_t i = from; i < s.size(); ++i)
        if (!std::isdigit(static_cast<unsigned char>(s[i]))) return false;
    return true;
}

// The reset commands carry the position as one base-19 digit, 0-9 then A-I.
int base19(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'A' && c <= 'I') return c - 'A' + 10;
    return -1;
}

int hexValue(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    return -1;
}

}  // namespace

bool isHexText(const std::string& text) {
    if (text.size() > kMaxReply) return false;
    for (char c : text)
        if (hexValue(c) < 0) return false;
    return true;
}

Board::Board(BoardConfig config) : cfg(std::move(config)) {}

std::optional<std::string> Board::execute(const std::string& command) {
    // Get-sensor commands come from the board file and are matched exactly,
    // before the fixed vocabulary.
    auto it = cfg.replies.find(command);
    if (it != cfg.replies.end()) return command.substr(0, 1) + it->second;
    return executeFixed(command);
}

std::optional<std::string> Board::executeFixed(const std::string& c) {
    if (c == "V") return "V" + cfg.version;
    if (c == "m") return "m" + std::to_string(cfg.motionTime);
    if (c.empty()) return std::nullopt;
    switch (c[0]) {
        case 'L': {
            if (c.size() - 1 > kOutputs) return std::nullopt;
            for (size_t i = 1; i < c.size(); ++i)
                if (c[i] < '0' || c[i] > '2') return std::nullopt;
            // "L" sets every output at once: those it does not name go off.
            leds.assign(kOutputs, '0');
            leds.replace(0, c.size() - 1, c.substr(1));
            return "L";
        }
        case 'Z': {
            const int p = c.size() == 2 ? base19(c[1]) : -1;
            if (p < 0) return std::nullopt;
            clearLatched(static_cast<unsigned>(p));
            return "Z";
        }
        case 'F':
            if (c != "FA0" && c != "FA1") return std::nullopt;
            keyPort = c[2];
            return "F";
        case 'B':
            if (c.size() != 2 || c[1] < '0' || c[1] > '2') return std::nullopt;
            buzzer = c[1];
            return "B";
        case 'M': {
            if (c.size() != 4 || !allDigits(c, 1)) return std::nullopt;
            const unsigned t = static_cast<unsigned>(std::stoul(c.substr(1)));
            if (t < 100) return std::nullopt;
            cfg.motionTime = t;
            return "M";
        }
        case 'R':
            // Time to off in three digits, time to on in five.
            if (c.size() != 9 || !allDigits(c, 1)) return std::nullopt;
            return "R" + cfg.remoteReply;
        default:
            return std::nullopt;
    }
}

void Board::clearLatched(unsigned position) {
    if (position == 0) return;
    for (auto& [command, positions] : cfg.latched) {
        auto it = cfg.replies.find(command);
        if (it != cfg.replies.end() && positions.count(position) && position <= it->second.size())
            it->second[position - 1] = '0';
    }
}

bool Board::setReply(const std::string& command, const std::string& hex) {
    if (command.empty() || command.size() > kMaxCommandText || !isHexText(hex)) return false;
    cfg.replies[command] = hex;
    return true;
}

bool Board::setFlag(const std::string& command, unsigned position, unsigned mask, bool on) {
    auto it = cfg.replies.find(command);
    if (it == cfg.replies.end() || position == 0 || position > it->second.size() || mask == 0 ||
        mask > 15)
        return false;
    char& digit = it->second[position - 1];
    const unsigned v = static_cast<unsigned>(hexValue(digit));
    digit = "0123456789ABCDEF"[on ? (v | mask) : (v & ~mask)];
    return true;
}

std::optional<std::string> Board::reply(const std::string& command) const {
    auto it = cfg.replies.find(command);
    if (it == cfg.replies.end()) return std::nullopt;
    return it->second;
}

std::string Board::outputs() const {
    return "leds=" + leds + " buzzer=" + buzzer + " key=" + keyPort +
           " motion=" + std::to_string(cfg.motionTime);
}

}  // namespace siusim
