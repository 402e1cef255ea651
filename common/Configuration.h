#pragma once
// Per-service view of the configuration file "NorvaSensorBoard.ini".
//
// A service's device keys live in the section named after the service and are
// read by enumerator (getDeviceConfig); once read, a value is cached for the
// object's lifetime, so editing the file while a service is open does not
// change what it already uses. Free keys of any section are read by name
// (getConfig, getBoolConfig) and are never cached. Every access to the file is
// serialised across processes by the lock "NorvaSensorBoard.ini", because a
// writer replaces the file through a temporary copy and a rename; a value
// already cached is answered without it.

#include <cstdint>
#include <memory>

#include "common/ProcessLock.h"

class Log;

enum enum_iniKeys : int32_t {
    SERVICE = 0,
    CUSTOMER,
    DEVICENAME,
    DEVICEMODEL,
    AUTOMATIC,
    DEVICEPORT,
    DEVICEBAUDRATE,
    DEVICEPARITY,
    DEVICEDATABITS,
    DEVICESTOPBIT,
    DEVICETXTIMEOUT,
    DEVICERXTIMEOUT,
    DEVICEFLOWCONTROL,
    DEVICESENDBREAKTERM,
    DEVICEIGNORECONFIGUART,
    DEVICEUSBINTERFACE,
    DEVICEUSBCONFIG,
    DEVICEUSBPID,
    DEVICEUSBVID,
    DEVICEUSBEPIN,
    DEVICEUSBEPOUT,
    DEVICEUSBIOMETHOD,
    DEVICESOCKETHOSTNAME,
    DEVICESOCKETPORT,
    DEVICEFILEPATH,
    DEVICEFILENAME,
    DEVICEPROTOCOL,
    PHYSICALLAYER,
    DEVICEINDEX,
    DEVICEMANUFACTURER,
    LOGGENERATE,
    LOGPATH,
    LOGNAME,
    LOGLEVEL,
    LOGINFO,
    DEVICEINTERVALBETWEENCOMMANDS,
    MULTIPLEAPPLICATION,
    AUTOMATICRESET,
};

// Number of rows of the key table, one per enumerator of enum_iniKeys.
constexpr int MAXITENS_INIKEYS = 38;

typedef struct st_iniKeys {
    char strKey[50];    // key name as written in the file
    char* strValueKey;  // cached value (new[]), null until read
} st_iniKeys, *pst_iniKeys;

class Configuration {
public:
    Configuration();
    ~Configuration();
    Configuration(const Configuration&) = delete;
    Configuration& operator=(const Configuration&) = delete;

    // Null, or 255 characters and more: ERR_CFG_INVALID_SERVICE_NAME.
    int setService(const char* service);
    char* getService();
    // 0, or ERR_CFG_INTERNAL_ERROR when the key table could not be built.
    int getLastError();
    // Looks for the file in /Norva/NorvaAPI/, then in the library's own
    // directory (modulePath); never in the working directory.
    int setPathIniFile();

    // The text belongs to this object and stays valid until the key is set
    // again or the object is destroyed; the caller must not free it.
    int getDeviceConfig(enum_iniKeys en_key, char** value);
    // Decimal only ("0x10" reads as 0); on failure the output is untouched.
    int getDeviceConfig(enum_iniKeys en_key, long* value);
    int getDeviceConfig(enum_iniKeys en_key, unsigned long* value);
    // Decimal only; on failure the output is set to 0.
    int getDeviceConfig(enum_iniKeys en_key, int* value);

    // A null section is the service's own section. The text is a new[] copy
    // that the caller releases with delete[].
    int getConfig(const char* strSection, const char* strKey, char** strValue);
    // Also stores the length of the text read, or of "NOT_DEFINED" (11) when
    // the key is missing.
    int getConfig(const char* strSection, const char* strKey, char** strValue, int* n);
    // Decimal only; on failure the output is untouched.
    int getConfig(const char* strSection, const char* strKey, long* lValue);
    // Decimal only; on failure the output is set to 0.
    int getConfig(const char* strSection, const char* strKey, int* iValue);
    // True only for "yes" and "true" in any case; "1" and "Y" are false.
    bool getBoolConfig(const char* strSection, const char* strKey);

    // Writes the key into the service's existing section and replaces the
    // cached value without reading the file back.
    int setDeviceConfig(enum_iniKeys en_key, const char* value);
    int setDeviceConfig(enum_iniKeys en_key, int iValue);
    // Creates the section when missing; a null value deletes the key. The
    // cache is not touched, so a device key read earlier keeps its old value.
    int setConfig(const char* strSection, const char* strKey, const char* strValue);

    // Key name as a malloc'd copy (caller frees with free); null for a key
    // outside the table.
    char* getValueIniKeys(enum_iniKeys en_key);
    // Copies the key name (at most 49 characters) into value and returns it;
    // null when value is null or the key is outside the table.
    char* getValueIniKeys(enum_iniKeys en_key, char* value);

    // Longest wait for the file's lock, ms; a live process holding it longer
    // makes the access fail with ERR_SEM_TIMEOUT.
    static constexpr unsigned int kFileLockBudgetMs = 5000;
    // Where such a failure is reported (null: nowhere). The log must outlive
    // every later access.
    void reportTo(Log* logger) { log = logger; }

private:
    struct KeyTableDeleter {
        void operator()(st_iniKeys* table) const;
    };

    bool validKey(enum_iniKeys en_key) const;
    // SUCCESS, ERR_CFG_INVALID_PARAMETER_VALUE or ERR_CFG_INTERNAL_ERROR.
    int checkKey(enum_iniKeys en_key) const;
    const char* cachedService() const;
    int readText(const char* strSection, const char* strKey, char** strValue, int* n);
    // Replaces the row's cached value by a copy of value; false when out of memory.
    bool cacheValue(enum_iniKeys en_key, const char* value);

    char filePathIni[256];
    char service[255];
    int lastError;
    std::unique_ptr<st_iniKeys[], KeyTableDeleter> inikeys;
    ProcessLock fileLock;
    Log* log = nullptr;
};
