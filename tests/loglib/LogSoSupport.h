#pragma once
// Loads the built Log.so once per test process and reads what it wrote.

#include <dlfcn.h>
#include <zlib.h>

#include <algorithm>
#include <ctime>
#include <filesystem>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "loglib/LogLib.h"
#include "support/TestSupport.h"

// clang-format off
#define LOGSO_ENTRY_POINTS(X)                                                                  \
    X(add) X(logBuffer) X(createLog) X(writeToFile) X(writeToFile2) X(writeToFileHex)          \
    X(writeToFileHex2) X(exitLog) X(compressFile) X(decompressFile) X(compressFiles)           \
    X(decompressFiles)
// clang-format on

struct LogSo {
#define LOGSO_MEMBER(name) decltype(&::name) name;
    LOGSO_ENTRY_POINTS(LOGSO_MEMBER)
#undef LOGSO_MEMBER
};

// Never closed: sessions of one test may outlive it in the same process.
inline const LogSo& logSo() {
    static const LogSo lib = [] {
        void* handle = dlopen(LOGSO_PATH, RTLD_NOW | RTLD_LOCAL);
        if (handle == nullptr) throw std::runtime_error(dlerror());
        LogSo so;
#define LOGSO_LOAD(name)                                                 \
    so.name = reinterpret_cast<decltype(so.name)>(dlsym(handle, #name)); \
    if (so.name == nullptr) throw std::runtime_error(#name);
        LOGSO_ENTRY_POINTS(LOGSO_LOAD)
#undef LOGSO_LOAD
        return so;
    }();
    return lib;
}

// Local date YYYYMMDD, days away from today.
inline std::string localDate(int days = 0) {
    time_t now = time(nullptr);
    tm parts{};
    localtime_r(&now, &parts);
    parts.tm_mday += days;
    parts.tm_hour = 12;  // away from daylight-saving shifts
    mktime(&parts);
    char text[16];
    strftime(text, sizeof text, "%Y%m%d", &parts);
    return text;
}

// Names in dir, sorted.
inline std::vector<std::string> namesIn(const std::string& dir) {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(dir)) {
        names.push_back(entry.path().filename());
    }
    std::sort(names.begin(), names.end());
    return names;
}

// Today's files of prefix in the order they were written (numbered 0, 1, ...).
inline std::vector<std::string> todaysFiles(const std::string& prefix) {
    std::vector<std::string> files;
    for (int n = 0;; ++n) {
        std::string name = prefix + "_" + localDate() + (n ? "_" + std::to_string(n) : "") + ".log";
        if (!std::filesystem::exists(name)) return files;
        files.push_back(name);
    }
}

inline std::vector<std::string> linesOf(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) lines.push_back(line);
    return lines;
}

inline std::string gunzipped(const std::string& path) {
    gzFile gz = gzopen(path.c_str(), "rb");
    std::string out;
    char buf[4096];
    for (int n; gz && (n = gzread(gz, buf, sizeof buf)) > 0;) out.append(buf, n);
    if (gz) gzclose(gz);
    return out;
}

// A session on dir/name that is closed at the end of the scope.
struct Session {
    Session(const std::string& prefix, int days, int bytes, unsigned mask)
        : index(logSo().createLog(prefix.c_str(), days, bytes, mask)) {}
    ~Session() { logSo().exitLog(index); }
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;
    int index;
};
