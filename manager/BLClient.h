#pragma once
// Client layer: one client per open service, made by the manager for the
// service's customer profile ("NORVA" is the only one). The client reads the
// service's device model ("DeviceName") and makes the matching device; every
// command of the service passes its range check on the way to the device.

#include <memory>

#include "device/BLDevice.h"

class Configuration;
class Log;

class BLClient {
public:
    // params: the service's st_constructParams. Reads "DeviceName" and makes
    // the device for it; the outcome is kept for getLastError().
    explicit BLClient(void* params);
    virtual ~BLClient();
    BLClient(const BLClient&) = delete;
    BLClient& operator=(const BLClient&) = delete;

    // SUCCESS when the device was made; otherwise the configuration's code
    // for a missing "DeviceName", ERR_MGR_DEVICE_NOT_FOUND for a model this
    // library does not drive, ERR_MGR_INTERNAL_ERROR when memory ran out.
    virtual int getLastError();

protected:
    int lastError;
    Configuration* cfg;  // not owned
    Log* log;            // not owned
    std::unique_ptr<BLDevice> disp;
    char* devicename;  // as the configuration returns it (owned by it)
};

class BLClientNORVA : public BLClient {
public:
    explicit BLClientNORVA(void* params);
    ~BLClientNORVA() override;

    // Codes 0..12 go to the device unchanged; anything else (negative codes
    // included) is ERR_CMD_NOT_IMPLEMENTED without reaching it.
    int executeCMD(int cmd, void* buffer_in, void** buffer_resp);
};

// Makes the device of the model "ZT" (a BLDeviceZT) from a service's
// st_constructParams. Tests replace it to run the service chain on a fake
// device; nothing else may. Not exported.
extern BLDevice* (*createDeviceZT)(void* params);
