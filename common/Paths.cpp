#include "common/Paths.h"

#include <dlfcn.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <memory>

char modulePath[256];

void getModulePath() {
    std::memset(modulePath, 0, sizeof modulePath);
    Dl_info info{};
    if (dladdr(reinterpret_cast<void*>(&getModulePath), &info) == 0 || info.dli_fname == nullptr)
        return;
    // The loader may report the path as it was found (relative to the working
    // directory at load time); resolve it so a later chdir cannot move it.
    std::unique_ptr<char, decltype(&std::free)> resolved(realpath(info.dli_fname, nullptr),
                                                         &std::free);
    const char* file = resolved ? resolved.get() : info.dli_fname;
    const char* slash = std::strrchr(file, '/');
    if (slash == nullptr) return;
    size_t n = static_cast<size_t>(slash - file) + 1;
    if (n >= sizeof modulePath) return;  // would not fit with its terminator
    std::memcpy(modulePath, file, n);
}

char* getCurrentPath(char* buf, unsigned int size) {
    if (buf == nullptr || size == 0) return nullptr;
    std::memset(buf, 0, size);
    char cwd[4096];
    if (getcwd(cwd, sizeof cwd) != nullptr) {
        std::strncpy(buf, cwd, size);
        buf[size - 1] = '\0';
    }
    return buf;
}

int SearchUSB(const char*, const char*, char*) {
    return -1;
}
