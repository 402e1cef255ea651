#include "support/TestSupport.h"

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <thread>

namespace siutest {

TempDir::TempDir(const char* base) {
    if (base == nullptr || access(base, W_OK) != 0) base = std::getenv("TMPDIR");
    std::string tmpl = std::string(base && *base ? base : "/tmp") + "/siutest.XXXXXX";
    if (!mkdtemp(tmpl.data())) throw std::runtime_error("mkdtemp failed");
    dir = tmpl;
}

TempDir::~TempDir() {
    std::error_code ec;
    std::filesystem::remove_all(dir, ec);
}

std::string TempDir::file(const std::string& name) const { return dir + "/" + name; }

std::string TempDir::write(const std::string& name, const std::string& text) const {
    std::string p = file(name);
    std::ofstream(p, std::ios::binary | std::ios::trunc) << text;
    return p;
}

std::string uniqueName(const std::string& prefix) {
    static std::atomic<unsigned> counter{0};
    return prefix + "." + std::to_string(getpid()) + "." + std::to_string(counter++);
}

bool waitFor(const std::function<bool()>& cond, std::chrono::milliseconds timeout,
             std::chrono::milliseconds step) {
    auto deadline = std::chrono::steady_clock::now() + timeout;
    while (!cond()) {
        if (std::chrono::steady_clock::now() >= deadline) return cond();
        std::this_thread::sleep_for(step);
    }
    return true;
}

std::string readWholeFile(const std::string& path) {
    std::stringstream ss;
    ss << std::ifstream(path, std::ios::binary).rdbuf();
    return ss.str();
}

int exitStatus(pid_t pid, std::chrono::milliseconds timeout) {
    int status = 0;
    if (!waitFor([&] { return waitpid(pid, &status, WNOHANG) == pid; }, timeout)) {
        kill(pid, SIGKILL);
        waitpid(pid, &status, 0);
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

void setModuleDirectory(const std::string& dir) {
    std::string d = dir;
    if (d.empty() || d.back() != '/') d += '/';
    std::memset(modulePath, 0, sizeof modulePath);
    std::strncpy(modulePath, d.c_str(), sizeof modulePath - 1);
}

bool systemFilesPresent() {
    return access("/Norva/NorvaAPI/NorvaSensorBoard.ini", F_OK) == 0 ||
           access("/Norva/NorvaAPI/Log.so", F_OK) == 0;
}

}  // namespace siutest
