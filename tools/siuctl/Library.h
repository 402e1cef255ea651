#pragma once
// libNorvaSensorBoard.so.1 loaded at run time, reached through its exported
// SIU_ functions only.

#include "common/UniqueHandles.h"
#include "interface/NorvaSIU.h"

#include <memory>
#include <string>

namespace siuctl {

constexpr const char kLibraryName[] = "libNorvaSensorBoard.so.1";

struct SiuFunctions {
    decltype(&SIU_Open) open = nullptr;
    decltype(&SIU_Close) close = nullptr;
    decltype(&SIU_Reset) reset = nullptr;
    decltype(&SIU_GetDeviceInfo) getDeviceInfo = nullptr;
    decltype(&SIU_SetIndicator) setIndicator = nullptr;
    decltype(&SIU_GetSensorStatus) getSensorStatus = nullptr;
    decltype(&SIU_ResetSensorStatus) resetSensorStatus = nullptr;
    decltype(&SIU_SetPorts) setPorts = nullptr;
    decltype(&SIU_GetSensorMotionTime) getSensorMotionTime = nullptr;
    decltype(&SIU_SetSensorMotionTime) setSensorMotionTime = nullptr;
    decltype(&SIU_SetBuzzer) setBuzzer = nullptr;
    decltype(&SIU_ResetRemoto) resetRemoto = nullptr;
    decltype(&SIU_freeBuffer) freeBuffer = nullptr;
};

class Library {
public:
    // where: empty for the dynamic linker's search (LD_LIBRARY_PATH, this
    // program's run path, the system's directories); a directory holding the
    // library; or the library file itself. False and a reason when the
    // library cannot be loaded or lacks one of the functions.
    bool load(const std::string& where, std::string& error);

    const SiuFunctions& siu() const { return fns; }
    // The path the library was loaded from: its directory is where it looks
    // for NorvaSensorBoard.ini and Log.so.
    const std::string& path() const { return loadedFrom; }

private:
    UniqueLibrary handle;
    SiuFunctions fns;
    std::string loadedFrom;
};

}  // namespace siuctl
