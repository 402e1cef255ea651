#pragma once
// Helpers for hermetic, parallel-safe tests.

#include <sys/types.h>

#include <chrono>
#include <cstring>
#include <functional>
#include <string>

#include "common/Paths.h"

namespace siutest {

// A fresh directory under $TMPDIR (or /tmp), removed with its contents on
// destruction. A test that renames or syncs many files may ask for a base in
// memory (TempDir::inMemory()); when that is not writable, the default holds.
class TempDir {
public:
    explicit TempDir(const char* base = nullptr);
    static const char* inMemory() { return "/dev/shm"; }
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    const std::string& path() const { return dir; }
    // path() + "/" + name
    std::string file(const std::string& name) const;
    // Writes text to path()/name and returns the full path.
    std::string write(const std::string& name, const std::string& text) const;

private:
    std::string dir;
};

// A name no other test process uses at the same time: prefix, pid and a
// per-process counter. Safe for named semaphores, links and sockets.
std::string uniqueName(const std::string& prefix);

// Polls cond until it holds or the timeout expires; returns its last value.
bool waitFor(const std::function<bool()>& cond,
             std::chrono::milliseconds timeout = std::chrono::seconds(5),
             std::chrono::milliseconds step = std::chrono::milliseconds(5));

std::string readWholeFile(const std::string& path);

// The child's exit status or 128 + the signal that ended it; one still running
// after the time-out is killed.
int exitStatus(pid_t pid, std::chrono::milliseconds timeout = std::chrono::seconds(20));

// Points the library's module directory (where it looks for its INI file and
// Log.so) at dir; a trailing "/" is added when missing.
void setModuleDirectory(const std::string& dir);

// Gives the module directory back as it was when the guard was made.
struct ModulePathGuard {
    ModulePathGuard() { std::memcpy(saved, modulePath, sizeof saved); }
    ~ModulePathGuard() { std::memcpy(modulePath, saved, sizeof saved); }
    char saved[sizeof modulePath];
};

// The system directory's INI file or Log.so, which the library would take
// instead of a test's.
bool systemFilesPresent();

}  // namespace siutest
