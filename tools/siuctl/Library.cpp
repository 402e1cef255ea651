#include "tools/siuctl/Library.h"

#include <dlfcn.h>
#include <sys/stat.h>
#include <unistd.h>

#include <climits>

namespace siuctl {

namespace {

// A path the dynamic linker takes as a file rather than a name to search for,
// and that the library, which looks for its files in the directory it was
// loaded from, sees as absolute.
std::string fileToLoad(const std::string& where) {
    if (where.empty()) return kLibraryName;
    std::string path = where;
    struct stat st {};
    if (stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode))
        path += std::string("/") + kLibraryName;
    if (path[0] != '/') {
        char cwd[PATH_MAX];
        if (getcwd(cwd, sizeof cwd) != nullptr) path = std::string(cwd) + "/" + path;
    }
    return path;
}

template <typename F>
void bind(void* handle, const char* name, F& out, std::string& missing) {
    out = reinterpret_cast<F>(dlsym(handle, name));
    if (out == nullptr) missing += std::string(missing.empty() ? "" : ", ") + name;
}

}  // namespace

bool Library::load(const std::string& where, std::string& error) {
    const std::string file = fileToLoad(where);
    // The library's manager lives as long as the process and is never
    // destroyed; unloading the library would leave it behind unreachable.
    handle.reset(dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE));
    if (!handle) {
        const char* why = dlerror();
        error = why != nullptr ? why : ("cannot load " + file);
        return false;
    }
    void* h = handle.get();
    std::string missing;
    bind(h, "SIU_Open", fns.open, missing);
    bind(h, "SIU_Close", fns.close, missing);
    bind(h, "SIU_Reset", fns.reset, missing);
    bind(h, "SIU_GetDeviceInfo", fns.getDeviceInfo, missing);
    bind(h, "SIU_SetIndicator", fns.setIndicator, missing);
    bind(h, "SIU_GetSensorStatus", fns.getSensorStatus, missing);
    bind(h, "SIU_ResetSensorStatus", fns.resetSensorStatus, missing);
    bind(h, "SIU_SetPorts", fns.setPorts, missing);
    bind(h, "SIU_GetSensorMotionTime", fns.getSensorMotionTime, missing);
    bind(h, "SIU_SetSensorMotionTime", fns.setSensorMotionTime, missing);
    bind(h, "SIU_SetBuzzer", fns.setBuzzer, missing);
    bind(h, "SIU_ResetRemoto", fns.resetRemoto, missing);
    bind(h, "SIU_freeBuffer", fns.freeBuffer, missing);
    if (!missing.empty()) {
        error = fns.open == nullptr && fns.freeBuffer == nullptr
                    ? file + " exports no SIU_ function"
                    : file + " lacks " + missing;
        handle.reset();
        return false;
    }
    Dl_info info{};
    if (dladdr(reinterpret_cast<void*>(fns.open), &info) != 0 && info.dli_fname != nullptr)
        loadedFrom = info.dli_fname;
    else
        loadedFrom = file;
    return true;
}

}  // namespace siuctl
