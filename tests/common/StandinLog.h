#pragma once
// Loads a capturing stand-in of the log library as the process's "Log.so" and
// reads back the calls it recorded.

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <sstream>
#include <vector>

#include "common/LogDll.h"
#include "support/TestSupport.h"

namespace siutest {

typedef std::vector<std::string> Call;  // entry point, then its arguments

// A module directory holding the stand-in as "Log.so", loaded through the
// binding for the object's lifetime (any library loaded before is released).
class StandinLog {
public:
    explicit StandinLog(const char* standin) {
        EXPECT_EQ(0, symlink(standin, dir.file("Log.so").c_str()));
        setModuleDirectory(dir.path());
        EXPECT_EQ(0, loadLogDll());
        void* handle = dlopen(dir.file("Log.so").c_str(), RTLD_LAZY | RTLD_NOLOAD);
        record = static_cast<char*>(dlsym(handle, "standinCalls"));
        dlclose(handle);  // the binding's reference keeps it loaded
    }
    ~StandinLog() { freeLogDll(); }

    const TempDir& tempDir() const { return dir; }
    // Every call recorded since the last clear(), in order.
    std::vector<Call> calls() const {
        std::vector<Call> result;
        std::istringstream lines(record);
        for (std::string line, field; std::getline(lines, line);) {
            std::istringstream fields(line);
            for (result.emplace_back(); std::getline(fields, field, '\t');)
                result.back().push_back(field);
        }
        return result;
    }
    void clear() const { record[0] = '\0'; }

private:
    ModulePathGuard guard;
    TempDir dir;
    char* record = nullptr;
};

}  // namespace siutest
