#include "tools/siusim/BoardFile.h"

#include "IniParse/minIni.h"
#include "tools/siusim/CommandLine.h"
#include "tools/siusim/Faults.h"

#include <strings.h>
#include <unistd.h>

namespace siusim {

namespace {

struct Reading {
    BoardConfig cfg;
    std::map<std::string, std::string> latched;  // command -> position list, checked at the end
    std::string error;
};

bool same(const char* a, const char* b) {
    return strcasecmp(a, b) == 0;
}

bool takeBoardKey(Reading& r, const std::string& key, const std::string& value) {
    unsigned long n = 0;
    const bool isVersion = same(key.c_str(), "version");
    if (isVersion || same(key.c_str(), "remote_reply")) {
        if (value.size() > kMaxText) {
            r.error = "longer than 200 characters";
            return false;
        }
        (isVersion ? r.cfg.version : r.cfg.remoteReply) = value;
    } else if (same(key.c_str(), "motion_time")) {
        if (!parseNumber(value, 999, n) || n < 100) {
            r.error = "must be 100 to 999";
            return false;
        }
        r.cfg.motionTime = static_cast<unsigned>(n);
    } else {
        r.error = "unknown key (version, motion_time, remote_reply)";
        return false;
    }
    return true;
}

bool takeLine(Reading& r, const char* section, const std::string& key, const std::string& value) {
    if (same(section, "board")) return takeBoardKey(r, key, value);
    if (same(section, "get-sensor")) {
        if (key.size() > kMaxCommandText || r.cfg.replies.count(key)) {
            r.error = "command name too long or given twice";
            return false;
        }
        if (!isHexText(value)) {
            r.error = "the reply must be up to 200 hex digits";
            return false;
        }
        r.cfg.replies[key] = value;
        return true;
    }
    if (same(section, "latched")) {
        r.latched[key] = value;
        return true;
    }
    r.error = "unknown section (board, get-sensor, latched)";
    return false;
}

int onLine(const char* section, const char* key, const char* value, const void* user) {
    auto* r = static_cast<Reading*>(const_cast<void*>(user));
    if (takeLine(*r, section, key, value)) return 1;
    r->error = std::string("[") + section + "] " + key + ": " + r->error;
    return 0;
}

bool checkLatched(Reading& r) {
    for (const auto& [command, list] : r.latched) {
        r.error = "[latched] " + command + ": ";
        if (!r.cfg.replies.count(command)) {
            r.error += "not a command of [get-sensor]";
            return false;
        }
        for (const std::string& word : splitWords(list, ' ')) {
            for (const std::string& item : splitWords(word, ',')) {
                unsigned long p = 0;
                if (!parseNumber(item, kMaxResetPosition, p) || p == 0) {
                    r.error += "positions are 1 to 18, separated by blanks or commas";
                    return false;
                }
                r.cfg.latched[command].insert(static_cast<unsigned>(p));
            }
        }
    }
    r.error.clear();
    return true;
}

}  // namespace

bool loadBoardFile(const std::string& path, BoardConfig& cfg, std::string& error) {
    Reading r;
    if (access(path.c_str(), R_OK) != 0 || ini_browse(onLine, &r, path.c_str()) == 0) {
        error = "cannot read board file " + path;
        return false;
    }
    if (!r.error.empty() || !checkLatched(r)) {
        error = "board file " + path + ": " + r.error;
        return false;
    }
    cfg = r.cfg;
    return true;
}

}  // namespace siusim
