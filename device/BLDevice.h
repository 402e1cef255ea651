#pragma once
// Base of every business-level device: the object a client hands each command
// of its service. A device is built from the service's st_constructParams and
// uses the service's configuration and log without owning them. Its
// destructor ends nothing: stopping the device's activity is CMD_CLOSE's job,
// which the manager sends before the client destroys the device.

class Configuration;
class Log;

class BLDevice {
public:
    // params: an st_constructParams; its two pointers are copied, the record
    // is not kept. A null record leaves both null.
    explicit BLDevice(void* params);
    virtual ~BLDevice();
    BLDevice(const BLDevice&) = delete;
    BLDevice& operator=(const BLDevice&) = delete;

    // Runs one command of enum_commands with its input record (see
    // device/CommandRecords.h); results go into the caller's record and
    // buffer_resp is not used. Returns an API_ERROR code.
    virtual int executeCMD(int cmd, void* buffer_in, void** buffer_resp) = 0;

protected:
    int lastError;
    Configuration* cfg;
    Log* log;
    bool bLocked;
};
