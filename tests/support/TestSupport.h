#pragma once
// Helpers for hermetic, parallel-safe tests.

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

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

using Args = std::vector<std::string>;

inline Args operator+(Args a, const Args& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

// A child writing to files; ended (SIGTERM) and reaped at destruction.
class Process {
public:
    Process(Args argv, const std::string& outFile, const std::string& errFile) {
        std::vector<char*> p;
        for (std::string& s : argv) p.push_back(s.data());
        p.push_back(nullptr);
        posix_spawn_file_actions_t fa;
        posix_spawn_file_actions_init(&fa);
        posix_spawn_file_actions_addopen(&fa, 0, "/dev/null", O_RDONLY, 0);
        posix_spawn_file_actions_addopen(&fa, 1, outFile.c_str(), O_WRONLY | O_CREAT, 0644);
        posix_spawn_file_actions_addopen(&fa, 2, errFile.c_str(), O_WRONLY | O_CREAT, 0644);
        const int rc = posix_spawn(&pid, p[0], &fa, nullptr, p.data(), environ);
        posix_spawn_file_actions_destroy(&fa);
        if (rc != 0) throw std::runtime_error("cannot start " + argv[0]);
    }
    ~Process() {
        signal(SIGTERM);
        if (wait(std::chrono::seconds(5)) < 0) signal(SIGKILL);
        wait(std::chrono::seconds(5));
    }
    void signal(int sig) const {
        if (pid > 0) kill(pid, sig);
    }
    // The exit status, 128 + the signal that ended it, or -1 while it runs.
    int wait(std::chrono::milliseconds timeout) {
        int st = 0;
        if (pid > 0 && waitFor([&] { return waitpid(pid, &st, WNOHANG) == pid; }, timeout)) {
            pid = 0;
            status = WIFEXITED(st) ? WEXITSTATUS(st) : 128 + WTERMSIG(st);
        }
        return status;
    }

private:
    pid_t pid = -1;
    int status = -1;
};

struct Result {
    int status;
    std::string out, err;
};

// Runs argv to its end (at most 30 s): exit status and output.
inline Result run(const Args& argv) {
    TempDir d;
    const int status = Process(argv, d.file("out"), d.file("err")).wait(std::chrono::seconds(30));
    return {status, readWholeFile(d.file("out")), readWholeFile(d.file("err"))};
}

}  // namespace siutest
