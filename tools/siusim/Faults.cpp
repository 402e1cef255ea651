#include "tools/siusim/Faults.h"

#include <cstdlib>
#include <sstream>

namespace siusim {

std::vector<unsigned char> garbageBytes() {
    return {0x41, 0x7E, 0x55, 0xAA, 0x3F};
}

namespace {

struct Name {
    const char* text;
    FaultKind kind;
};
constexpr Name kNames[] = {
    {"none", FaultKind::None},      {"nack", FaultKind::Nack},     {"no-ack", FaultKind::NoAck},
    {"bad-bcc", FaultKind::BadBcc}, {"silent", FaultKind::Silent}, {"garbage", FaultKind::Garbage},
    {"noise", FaultKind::Noise},    {"stall", FaultKind::Stall},   {"drop", FaultKind::Drop},
    {"trickle", FaultKind::Trickle},
};

bool takesTime(FaultKind k) {
    return k == FaultKind::Stall || k == FaultKind::Trickle;
}

bool parseCount(const std::string& text, unsigned max, unsigned& out) {
    if (text.empty() || text.size() > 9) return false;
    for (char c : text)
        if (c < '0' || c > '9') return false;
    out = static_cast<unsigned>(std::strtoul(text.c_str(), nullptr, 10));
    return out <= max;
}

}  // namespace

std::vector<std::string> splitWords(const std::string& text, char separator) {
    std::vector<std::string> words;
    std::string word;
    std::istringstream in(text);
    while (std::getline(in, word, separator))
        if (!word.empty()) words.push_back(word);
    return words;
}

bool parseFault(const std::vector<std::string>& words, Fault& out, std::string& error) {
    if (words.empty() || words.size() > 3) {
        error = "expected MODE [COUNT [MS]]";
        return false;
    }
    Fault f;
    bool known = false;
    for (const Name& n : kNames) {
        if (words[0] == n.text) {
            f.kind = n.kind;
            known = true;
        }
    }
    if (!known) {
        error = "unknown fault '" + words[0] +
                "' (none, nack, no-ack, bad-bcc, silent, garbage, noise, stall, drop, "
                "trickle)";
        return false;
    }
    f.count = f.kind == FaultKind::None ? 0 : 1;
    f.stallMs = f.kind == FaultKind::Stall ? 100 : f.kind == FaultKind::Trickle ? 150 : 0;
    if (words.size() > 1 && (!parseCount(words[1], 1000000, f.count) || f.count == 0)) {
        error = "bad count '" + words[1] + "'";
        return false;
    }
    if (words.size() > 2 &&
        (!takesTime(f.kind) || !parseCount(words[2], 600000, f.stallMs) ||
         (f.kind == FaultKind::Trickle && f.stallMs == 0))) {
        error = "bad time '" + words[2] + "' (only stall and trickle take one, in ms)";
        return false;
    }
    if (f.kind == FaultKind::None) f.count = 0;
    out = f;
    return true;
}

std::string describeFault(const Fault& f) {
    std::string name = "none";
    for (const Name& n : kNames)
        if (n.kind == f.kind) name = n.text;
    if (f.kind == FaultKind::None || f.count == 0) return "none";
    std::string text = name + " " + std::to_string(f.count);
    if (takesTime(f.kind)) text += " " + std::to_string(f.stallMs);
    return text;
}

}  // namespace siusim
