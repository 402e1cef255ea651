#pragma once
// Loads one of the capturing log-library stand-ins as the process's "Log.so"
// and reads back what it recorded.

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstring>
#include <sstream>
#include <string>
#include <vector>

#include "common/LogDll.h"
#include "common/Utils.h"
#include "support/TestSupport.h"

namespace siutest {

// The binding tries this file before the module directory; where it exists
// the tests cannot choose the library.
inline bool systemLogLibraryPresent() {
    return access("/Norva/NorvaAPI/Log.so", F_OK) == 0;
}

// Saves the module directory and puts it back on destruction.
class ModulePathGuard {
public:
    ModulePathGuard() { std::memcpy(saved, modulePath, sizeof saved); }
    ~ModulePathGuard() { std::memcpy(modulePath, saved, sizeof saved); }
    ModulePathGuard(const ModulePathGuard&) = delete;
    ModulePathGuard& operator=(const ModulePathGuard&) = delete;

private:
    char saved[sizeof modulePath];
};

typedef std::vector<std::string> Call;  // entry point, then its arguments

// A module directory holding the stand-in as "Log.so", loaded through the
// binding for the object's lifetime (any library loaded before is released).
class StandinLog {
public:
    explicit StandinLog(const char* standin) : path(dir.file("Log.so")) {
        if (symlink(standin, path.c_str()) != 0) ADD_FAILURE() << "cannot link " << standin;
        setModuleDirectory(dir.path());
        loaded = loadLogDll();
    }
    ~StandinLog() { freeLogDll(); }
    StandinLog(const StandinLog&) = delete;
    StandinLog& operator=(const StandinLog&) = delete;

    int loadResult() const { return loaded; }
    const TempDir& tempDir() const { return dir; }

    // Every call recorded since the last clear(), in order.
    std::vector<Call> calls() const {
        std::vector<Call> result;
        auto read = symbol<const char* (*)()>("standinCalls");
        if (!read) return result;
        std::istringstream lines(read());
        std::string line;
        while (std::getline(lines, line)) {
            Call call;
            std::istringstream fields(line);
            std::string field;
            while (std::getline(fields, field, '\t')) call.push_back(field);
            result.push_back(call);
        }
        return result;
    }
    void clear() const {
        if (auto fn = symbol<void (*)()>("standinClear")) fn();
    }
    void setNextSession(int first) const {
        if (auto fn = symbol<void (*)(int)>("standinSetNextSession")) fn(first);
    }

private:
    // Resolves a control function of the loaded stand-in without taking a
    // reference of its own (it only bumps and drops the count).
    template <typename Fn>
    Fn symbol(const char* name) const {
        void* handle = dlopen(path.c_str(), RTLD_LAZY | RTLD_NOLOAD);
        if (handle == nullptr) return nullptr;
        Fn fn = reinterpret_cast<Fn>(dlsym(handle, name));
        dlclose(handle);
        return fn;
    }

    ModulePathGuard guard;
    TempDir dir;
    std::string path;
    int loaded = -1;
};

}  // namespace siutest
