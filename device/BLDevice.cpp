#include "device/BLDevice.h"

#include "common/ConstructParams.h"
#include "device/CommandRecords.h"

BLDevice::BLDevice(void* params) : lastError(SUCCESS), cfg(nullptr), log(nullptr), bLocked(false) {
    const st_constructParams* p = static_cast<const st_constructParams*>(params);
    if (p == nullptr) return;
    cfg = static_cast<Configuration*>(p->pCfg);
    log = static_cast<Log*>(p->pLog);
}

BLDevice::~BLDevice() = default;
