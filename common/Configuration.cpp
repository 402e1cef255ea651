#include "common/Configuration.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

#include "IniParse/minIni.h"
#include "common/IniLocation.h"
#include "common/Log.h"
#include "common/Paths.h"
#include "common/Strings.h"
#include "manager/Global.h"

namespace {

// Also the name of the semaphore that guards the file.
const char* const kSemName = kIniFileName;
// Default handed to the reader, which gives it back for a missing key. A value
// written literally as NOT_DEFINED cannot be told from that and counts as
// missing too.
const char kNotDefined[] = "NOT_DEFINED";
// Values longer than 255 characters are cut to 255.
constexpr int kValueBufferSize = 256;

const st_iniKeys kKeyTable[] = {
    {"Service", nullptr},
    {"Customer", nullptr},
    {"DeviceName", nullptr},
    {"DeviceModel", nullptr},
    {"Automatic", nullptr},
    {"DevicePort", nullptr},
    {"DeviceBaudrate", nullptr},
    {"DeviceParity", nullptr},
    {"DeviceDataBits", nullptr},
    {"DeviceStopBit", nullptr},
    {"DeviceTxTimeout", nullptr},
    {"DeviceRxTimeout", nullptr},
    {"DeviceFlowControl", nullptr},
    {"DeviceSendBreakTerm", nullptr},
    {"DeviceIgnoreConfigUart", nullptr},
    {"DeviceUSBInterface", nullptr},
    {"DeviceUSBConfig", nullptr},
    {"DeviceUSBPid", nullptr},
    {"DeviceUSBVid", nullptr},
    {"DeviceUSBEpIn", nullptr},
    {"DeviceUSBEpOut", nullptr},
    {"DeviceUSBIoMethod", nullptr},
    {"DeviceSocketHostName", nullptr},
    {"DeviceSocketPort", nullptr},
    {"DeviceFilePath", nullptr},
    {"DeviceFileName", nullptr},
    {"DeviceProtocol", nullptr},
    {"PhysicalLayer", nullptr},
    {"DeviceIndex", nullptr},
    {"DeviceManufacturer", nullptr},
    {"LogGenerate", nullptr},
    {"LogPath", nullptr},
    {"LogName", nullptr},
    {"LogLevel", nullptr},
    {"LogInfo", nullptr},
    {"DeviceIntervalBetweenCommands", nullptr},
    {"MultipleApplication", nullptr},
    {"AutomaticReset", nullptr},
};
static_assert(sizeof kKeyTable / sizeof kKeyTable[0] == MAXITENS_INIKEYS,
              "one row per enumerator of enum_iniKeys");
static_assert(AUTOMATICRESET == MAXITENS_INIKEYS - 1, "one row per enumerator of enum_iniKeys");

// Holds the file's lock for one operation and releases it on every path.
// When the lock could not be opened (e.g. its semaphore belongs to another
// user), the file is still used, unguarded: a tool run by another user keeps
// working instead of failing every read. A live process that keeps the lock
// past the budget fails the operation instead of hanging it.
class FileLock {
public:
    FileLock(ProcessLock& lock, Log* log)
        : hold(lock, Configuration::kFileLockBudgetMs, &wait) {
        if (hold.status() == ERR_SEM_TIMEOUT && log != nullptr) {
            log->addLogBufferList(ERR, "Configuration::FileLock",
                                  "ERR_SEM_TIMEOUT: %s held by process %d for over %u ms",
                                  kSemName, static_cast<int>(wait.heldBy),
                                  Configuration::kFileLockBudgetMs);
        }
    }
    // SUCCESS, or ERR_SEM_TIMEOUT when the file must be left alone.
    int status() const { return hold.status() == ERR_SEM_TIMEOUT ? ERR_SEM_TIMEOUT : SUCCESS; }

private:
    ProcessLock::Wait wait;
    ProcessLockHold hold;
};

// Decimal conversion that stops at the first non-digit; "0x10" is 0.
long toLong(const char* text) {
    return std::strtol(text, nullptr, 10);
}

}  // namespace

void Configuration::KeyTableDeleter::operator()(st_iniKeys* table) const {
    for (int i = 0; i < MAXITENS_INIKEYS; ++i) delete[] table[i].strValueKey;
    delete[] table;
}

Configuration::Configuration() : filePathIni{}, service{}, lastError(SUCCESS) {
    inikeys.reset(new (std::nothrow) st_iniKeys[MAXITENS_INIKEYS]);
    if (!inikeys) {
        lastError = ERR_CFG_INTERNAL_ERROR;
        return;
    }
    for (int i = 0; i < MAXITENS_INIKEYS; ++i) inikeys[i] = kKeyTable[i];
    // Not checked: without the lock the file is used unguarded.
    fileLock.open(kSemName);
}

Configuration::~Configuration() = default;

bool Configuration::validKey(enum_iniKeys en_key) const {
    return inikeys && en_key >= 0 && en_key < MAXITENS_INIKEYS;
}

int Configuration::checkKey(enum_iniKeys en_key) const {
    if (!inikeys) return ERR_CFG_INTERNAL_ERROR;
    return validKey(en_key) ? SUCCESS : ERR_CFG_INVALID_PARAMETER_VALUE;
}

const char* Configuration::cachedService() const {
    return inikeys ? inikeys[SERVICE].strValueKey : nullptr;
}

bool Configuration::cacheValue(enum_iniKeys en_key, const char* value) {
    try {
        std::unique_ptr<char[]> copy = copyText(value);
        delete[] inikeys[en_key].strValueKey;
        inikeys[en_key].strValueKey = copy.release();
        return true;
    } catch (const std::bad_alloc&) {
        return false;
    }
}

int Configuration::setService(const char* name) {
    if (name == nullptr || std::strlen(name) >= sizeof service) return ERR_CFG_INVALID_SERVICE_NAME;
    if (!inikeys) return ERR_CFG_INTERNAL_ERROR;
    std::strcpy(service, name);
    return cacheValue(SERVICE, name) ? SUCCESS : ERR_CFG_INTERNAL_ERROR;
}

char* Configuration::getService() {
    return service;
}

int Configuration::getLastError() {
    return lastError;
}

int Configuration::setPathIniFile() {
    if (locateIniFile(modulePath, filePathIni, sizeof filePathIni)) return SUCCESS;
    filePathIni[0] = '\0';
    return modulePath[0] == '\0' ? ERR_CFG_GETMODULEPATH : ERR_CFG_INI_FILE_NOT_FOUND;
}

int Configuration::getDeviceConfig(enum_iniKeys en_key, char** value) {
    if (value == nullptr) return ERR_CFG_INVALID_PARAMETER_VALUE;
    *value = nullptr;
    if (int rc = checkKey(en_key); rc != SUCCESS) return rc;
    if (cachedService() == nullptr) return ERR_CFG_INVALID_SERVICE_NAME;
    if (filePathIni[0] == '\0') return ERR_CFG_INI_FILE_NOT_FOUND;
    if (inikeys[en_key].strValueKey != nullptr) {
        *value = inikeys[en_key].strValueKey;
        return SUCCESS;
    }
    FileLock lock(fileLock, log);
    if (lock.status() != SUCCESS) return lock.status();
    // A missing section means the service is not configured at all, which
    // callers tell apart from a single missing key.
    if (ini_section_is_valid(service, filePathIni) == 0) return ERR_CFG_INVALID_SERVICE_NAME;
    char buffer[kValueBufferSize];
    ini_gets(service, inikeys[en_key].strKey, kNotDefined, buffer, sizeof buffer, filePathIni);
    if (std::strcmp(buffer, kNotDefined) == 0) return ERR_CFG_NOT_DEFINED;
    if (!cacheValue(en_key, buffer)) return ERR_CFG_INTERNAL_ERROR;
    *value = inikeys[en_key].strValueKey;
    return SUCCESS;
}

int Configuration::getDeviceConfig(enum_iniKeys en_key, long* value) {
    if (value == nullptr) return ERR_CFG_INVALID_PARAMETER_VALUE;
    char* text = nullptr;
    int rc = getDeviceConfig(en_key, &text);
    if (rc == SUCCESS) *value = toLong(text);
    return rc;
}

int Configuration::getDeviceConfig(enum_iniKeys en_key, unsigned long* value) {
    if (value == nullptr) return ERR_CFG_INVALID_PARAMETER_VALUE;
    char* text = nullptr;
    int rc = getDeviceConfig(en_key, &text);
    if (rc == SUCCESS) *value = std::strtoul(text, nullptr, 10);
    return rc;
}

int Configuration::getDeviceConfig(enum_iniKeys en_key, int* value) {
    if (value == nullptr) return ERR_CFG_INVALID_PARAMETER_VALUE;
    long l = 0;
    int rc = getDeviceConfig(en_key, &l);
    *value = rc == SUCCESS ? static_cast<int>(l) : 0;
    return rc;
}

int Configuration::readText(const char* strSection, const char* strKey, char** strValue, int* n) {
    if (strValue == nullptr) return ERR_CFG_INVALID_PARAMETER_VALUE;
    *strValue = nullptr;
    if (strKey == nullptr) return ERR_CFG_INVALID_PARAMETER_VALUE;
    const char* section = strSection != nullptr ? strSection : cachedService();
    // Without a service the null section would silently become the nameless one.
    if (section == nullptr) return ERR_CFG_INVALID_SERVICE_NAME;
    FileLock lock(fileLock, log);
    if (lock.status() != SUCCESS) return lock.status();
    if (filePathIni[0] == '\0') return ERR_CFG_INI_FILE_NOT_FOUND;
    char buffer[kValueBufferSize];
    int len = ini_gets(section, strKey, kNotDefined, buffer, sizeof buffer, filePathIni);
    if (n != nullptr) *n = len;
    if (std::strcmp(buffer, kNotDefined) == 0) return ERR_CFG_NOT_DEFINED;
    try {
        *strValue = copyText(buffer).release();
        return SUCCESS;
    } catch (const std::bad_alloc&) {
        return ERR_CFG_INTERNAL_ERROR;
    }
}

int Configuration::getConfig(const char* strSection, const char* strKey, char** strValue) {
    return readText(strSection, strKey, strValue, nullptr);
}

int Configuration::getConfig(const char* strSection, const char* strKey, char** strValue, int* n) {
    return readText(strSection, strKey, strValue, n);
}

int Configuration::getConfig(const char* strSection, const char* strKey, long* lValue) {
    if (lValue == nullptr) return ERR_CFG_INVALID_PARAMETER_VALUE;
    char* text = nullptr;
    int rc = readText(strSection, strKey, &text, nullptr);
    if (rc == SUCCESS) *lValue = toLong(text);
    delete[] text;
    return rc;
}

int Configuration::getConfig(const char* strSection, const char* strKey, int* iValue) {
    if (iValue == nullptr) return ERR_CFG_INVALID_PARAMETER_VALUE;
    long l = 0;
    int rc = getConfig(strSection, strKey, &l);
    *iValue = rc == SUCCESS ? static_cast<int>(l) : 0;
    return rc;
}

bool Configuration::getBoolConfig(const char* strSection, const char* strKey) {
    char* text = nullptr;
    if (readText(strSection, strKey, &text, nullptr) != SUCCESS) return false;
    bool yes = stricmp(text, "yes") == 0 || stricmp(text, "true") == 0;
    delete[] text;
    return yes;
}

int Configuration::setDeviceConfig(enum_iniKeys en_key, const char* value) {
    if (value == nullptr) return ERR_CFG_INVALID_PARAMETER_VALUE;
    if (int rc = checkKey(en_key); rc != SUCCESS) return rc;
    FileLock lock(fileLock, log);
    if (lock.status() != SUCCESS) return lock.status();
    if (cachedService() == nullptr) return ERR_CFG_INVALID_SERVICE_NAME;
    if (filePathIni[0] == '\0') return ERR_CFG_INI_FILE_NOT_FOUND;
    // A device key is never written into a section of its own making.
    if (ini_section_is_valid(service, filePathIni) == 0) return ERR_CFG_INVALID_SERVICE_NAME;
    if (ini_puts(service, inikeys[en_key].strKey, value, filePathIni) == 0)
        return ERR_CFG_NOT_DEFINED;
    return cacheValue(en_key, value) ? SUCCESS : ERR_CFG_INTERNAL_ERROR;
}

int Configuration::setDeviceConfig(enum_iniKeys en_key, int iValue) {
    char text[16];
    std::snprintf(text, sizeof text, "%d", iValue);
    return setDeviceConfig(en_key, text);
}

int Configuration::setConfig(const char* strSection, const char* strKey, const char* strValue) {
    // A null key would make the engine delete the whole section.
    if (strKey == nullptr) return ERR_CFG_INVALID_PARAMETER_VALUE;
    const char* section = strSection != nullptr ? strSection : cachedService();
    if (section == nullptr) return ERR_CFG_INVALID_SERVICE_NAME;
    FileLock lock(fileLock, log);
    if (lock.status() != SUCCESS) return lock.status();
    if (filePathIni[0] == '\0') return ERR_CFG_INI_FILE_NOT_FOUND;
    return ini_puts(section, strKey, strValue, filePathIni) != 0 ? SUCCESS : ERR_CFG_NOT_DEFINED;
}

char* Configuration::getValueIniKeys(enum_iniKeys en_key) {
    if (!validKey(en_key)) return nullptr;
    return strdup(inikeys[en_key].strKey);
}

char* Configuration::getValueIniKeys(enum_iniKeys en_key, char* value) {
    if (value == nullptr || !validKey(en_key)) return nullptr;
    std::strcpy(value, inikeys[en_key].strKey);
    return value;
}
