#include "manager/BLClient.h"

#include <cstring>
#include <new>

#include "common/Configuration.h"
#include "common/ConstructParams.h"
#include "device/BLDeviceZT.h"
#include "device/CommandRecords.h"

namespace {

// The device model this library drives, by its "DeviceName".
const char deviceModelZT[] = "ZT";

bool isModelZT(const char* name) {
    return name != nullptr && std::strcmp(name, deviceModelZT) == 0;
}

// The sensor board device. Allocation failures throw and become
// ERR_MGR_INTERNAL_ERROR below; a link the configuration does not describe
// throws std::runtime_error, which the manager turns into a refused open.
BLDevice* newDeviceZT(void* params) {
    return new BLDeviceZT(params);
}

}  // namespace

BLDevice* (*createDeviceZT)(void* params) = newDeviceZT;

BLClient::BLClient(void* params)
    : lastError(ERR_MGR_INVALID_POINTER), cfg(nullptr), log(nullptr), devicename(nullptr) {
    const st_constructParams* p = static_cast<const st_constructParams*>(params);
    if (p == nullptr || p->pCfg == nullptr) return;
    cfg = static_cast<Configuration*>(p->pCfg);
    log = static_cast<Log*>(p->pLog);

    lastError = cfg->getDeviceConfig(DEVICENAME, &devicename);
    if (lastError != SUCCESS) return;
    if (!isModelZT(devicename)) {
        lastError = ERR_MGR_DEVICE_NOT_FOUND;
        return;
    }
    try {
        disp.reset(createDeviceZT(params));
        lastError = disp ? SUCCESS : ERR_MGR_DEVICE_NOT_FOUND;
    } catch (const std::bad_alloc&) {
        lastError = ERR_MGR_INTERNAL_ERROR;
    }
}

BLClient::~BLClient() {
    try {
        // The name is read again and decides what is destroyed: a device
        // whose model name no longer reads "ZT" is left alone.
        if (cfg == nullptr || cfg->getDeviceConfig(DEVICENAME, &devicename) != SUCCESS ||
            !isModelZT(devicename)) {
            disp.release();
        }
        disp.reset();
    } catch (...) {
        disp.release();
    }
}

int BLClient::getLastError() {
    return lastError;
}

BLClientNORVA::BLClientNORVA(void* params) : BLClient(params) {}

BLClientNORVA::~BLClientNORVA() = default;

int BLClientNORVA::executeCMD(int cmd, void* buffer_in, void** buffer_resp) {
    if (static_cast<unsigned int>(cmd) > CMD_RESET_REMOTO) return ERR_CMD_NOT_IMPLEMENTED;
    if (!isModelZT(devicename)) return ERR_MGR_DEVICE_NOT_FOUND;
    if (!disp) return ERR_MGR_INVALID_POINTER;
    return disp->executeCMD(cmd, buffer_in, buffer_resp);
}
