#include "manager/Manager.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <new>
#include <stdexcept>
#include <string>

#include "common/Clock.h"
#include "common/Configuration.h"
#include "common/ConstructParams.h"
#include "common/Log.h"
#include "common/LogDll.h"
#include "common/Paths.h"
#include "device/CommandRecords.h"
#include "manager/BLClient.h"
#include "manager/Global.h"

namespace {

// Build identity written into every service's opening banner.
const char releaseDate[] = "21/08/2024";
const char revision[] = "211";

// The only customer profile: commands are routed only to its clients.
const char customerNorva[] = "NORVA";

const char callerNewObject[] = "Manager::newObject";
const char callerDeleteObject[] = "Manager::deleteObject";
const char callerExecuteCMD[] = "Manager::executeCMD";

// Level-mask bit of STR: the banner goes out at STR where that level is on.
const int strLevelBit = 0x200;

// A failure of one open attempt: the code that becomes the result and the
// text written into the attempt's log.
class OpenFailure : public std::runtime_error {
public:
    OpenFailure(int failureCode, const char* text) : std::runtime_error(text), code(failureCode) {}
    int code;
};

void require(int code, const char* text) {
    if (code != SUCCESS) throw OpenFailure(code, text);
}

bool isNorva(const char* customer) {
    return customer != nullptr && std::strcmp(customer, customerNorva) == 0;
}

// Logging never decides a command's outcome, so nothing it throws (out of
// memory while formatting) gets past this.
void logLine(Log* log, eLogLevel level, const char* caller, const char* format, ...) noexcept
    __attribute__((format(printf, 4, 5)));

void logLine(Log* log, eLogLevel level, const char* caller, const char* format, ...) noexcept {
    if (log == nullptr) return;
    va_list args;
    va_start(args, format);
    va_list measure;
    va_copy(measure, args);
    int n = std::vsnprintf(nullptr, 0, format, measure);
    va_end(measure);
    try {
        if (n >= 0) {
            std::string text(static_cast<size_t>(n) + 1, '\0');
            std::vsnprintf(&text[0], text.size(), format, args);
            log->addLogBuffer(level, caller, text.c_str());
        }
    } catch (...) {
    }
    va_end(args);
}

void logText(Log* log, eLogLevel level, const char* caller, const char* text) noexcept {
    logLine(log, level, caller, "%s", text);
}

void logBegin(Log* log, const char* caller, int cmd) noexcept {
    logLine(log, INF, caller, "Begin Command str = %s command = %d",
            getFunctionName(static_cast<unsigned int>(cmd)), cmd);
}

void logEnd(Log* log, const char* caller, int cmd, int result) noexcept {
    // Magnitude in unsigned arithmetic: also right for the most negative int.
    unsigned int magnitude =
        result < 0 ? 0u - static_cast<unsigned int>(result) : static_cast<unsigned int>(result);
    logLine(log, INF, caller, "End Command str = %s Command = %d, return = %d %s%x %s",
            getFunctionName(static_cast<unsigned int>(cmd)), cmd, result, result < 0 ? "-0x" : "0x",
            magnitude, getGlobalStrErrors(result));
}

void logBanner(Log* log, const char* service, const char* customer) noexcept {
    char currentPath[1024];
    getCurrentPath(currentPath, sizeof currentPath);
    eLogLevel level = (log->levelMask() & strLevelBit) ? STR : INI;
    logLine(log, level, callerNewObject,
            "OPENING INFO: \nSERVICE:[%s] \nCUSTOMER:[%s] \nMODULE_PATH:[%s] \nCURRENT_PATH:[%s] "
            "\nMODULE_VERSION:[%s] \nRELEASE_DATE:[%s] \nSVN_VERSION:[%s]",
            service, customer, modulePath, currentPath, SIU_PRODUCT_VERSION, releaseDate, revision);
}

// Whether the name given to a close may close the service open in a slot.
// For an automatic base the slot holds the base with one digit appended.
bool closingNameMatches(Configuration& cfg, const char* service, const char* slotName) {
    char* base = nullptr;
    if (cfg.getConfig(service, "Automatic", &base) == SUCCESS && base != nullptr) {
        std::unique_ptr<char[]> owned(base);
        size_t n = std::strlen(base);
        return std::strlen(slotName) == n + 1 && std::strncmp(slotName, base, n) == 0;
    }
    return std::strcmp(service, slotName) == 0;
}

// Holds semManager for a scope, if it could be taken within its budget.
class SemGuard {
public:
    explicit SemGuard(SEM_UNNAMED* sem) : s(sem), held(LockUnamedSem(sem) == SUCCESS) {}
    ~SemGuard() {
        if (held) ReleaseUnamedSem(s);
    }
    bool holds() const { return held; }
    SemGuard(const SemGuard&) = delete;
    SemGuard& operator=(const SemGuard&) = delete;

private:
    SEM_UNNAMED* s;
    bool held;
};

}  // namespace

// --- Slots -------------------------------------------------------------------

st_objectPointer::st_objectPointer() : strtype(), ConectionCount(0) {}

st_objectPointer::~st_objectPointer() {
    clear();
}

void st_objectPointer::clear() {
    pointer.reset();
    log.reset();
    cfg.reset();
    std::memset(strtype, 0, sizeof strtype);
    ConectionCount = 0;
}

// --- Manager -----------------------------------------------------------------

Manager::Manager() : semManager(), iRunningCountCMD(0) {
    CreateUnamedSem(&semManager);
    getModulePath();
    if (loadLogDll() != 0) {
        static const char message[] = "\nError loading Log library (Log.dll/so)\n";
        std::fwrite(message, 1, sizeof message - 1, stdout);
        std::fflush(stdout);
    }
}

Manager::~Manager() {
    try {
        for (int i = 0; i < MAX_SERVICES; ++i) {
            st_objectPointer& slot = objectPointers[i];
            if (!slot.pointer) break;  // services after a gap stay open
            std::string name = slot.cfg && slot.cfg->getService() ? slot.cfg->getService() : "";
            int idx = i;
            deleteObject(&name[0], &idx, true);
        }
        freeLogDll();
    } catch (...) {
    }
    DestroyUnamedSem(&semManager);
}

int Manager::lock() {
    return LockUnamedSem(&semManager);
}

void Manager::unlock() {
    ReleaseUnamedSem(&semManager);
}

int Manager::newObject(char* service, int* idx, bool* already_open, bool open) {
    if (idx != nullptr) *idx = -1;
    if (service == nullptr || idx == nullptr || already_open == nullptr) {
        return ERR_CMD_INVALID_PARAMETER;
    }
    try {
        // Only to learn whether the name is an automatic base.
        Configuration probe;
        probe.setService(service);
        probe.setPathIniFile();
        char* base = nullptr;

        STRUCT_SERVICE request;
        std::unique_ptr<char[]> probedName;
        if (probe.getDeviceConfig(AUTOMATIC, &base) == SUCCESS && base != nullptr) {
            size_t n = std::strlen(base);
            probedName.reset(new (std::nothrow) char[n + 10]());
            if (!probedName) return ERR_GEN_OUT_OF_MEMORY;
            std::memcpy(probedName.get(), base, n);
            probedName[n] = '0';
            request.service = probedName.get();
            request.automatic = true;
        } else {
            request.service = service;
        }
        request.idx = idx;
        request.already_open = already_open;
        request.open = open;

        SemGuard guard(&semManager);
        if (!guard.holds()) return ERR_SEM_TIMEOUT;
        if (!request.automatic) return newObject(&request);

        // The first of base0 .. base9 whose device answers the open command.
        request.open = true;
        char* digit = request.service + std::strlen(request.service) - 1;
        int result = ERR_GEN_INTERNAL_ERROR;
        for (char d = '0'; d <= '9' && result != SUCCESS; ++d) {
            *digit = d;
            result = newObject(&request);
        }
        return result;
    } catch (...) {
        *idx = -1;
        return ERR_MGR_INTERNAL_ERROR;
    }
}

int Manager::newObject(STRUCT_SERVICE* req) {
    if (req == nullptr || req->service == nullptr || req->idx == nullptr ||
        req->already_open == nullptr) {
        return ERR_GEN_INTERNAL_ERROR;
    }
    for (int i = 0; i < MAX_SERVICES; ++i) {
        st_objectPointer& slot = objectPointers[i];
        const char* name = slot.pointer && slot.cfg ? slot.cfg->getService() : nullptr;
        if (name == nullptr || std::strcmp(name, req->service) != 0) continue;
        *req->idx = i;
        ++slot.ConectionCount;
        *req->already_open = true;
        logLine(slot.log.get(), INF, callerNewObject, "Service %s Already Opened - Tot.: %d",
                req->service, static_cast<int>(slot.ConectionCount));
        return SUCCESS;
    }
    int freeSlot = -1;
    for (int i = 0; i < MAX_SERVICES && freeSlot < 0; ++i) {
        if (!objectPointers[i].pointer) freeSlot = i;
    }
    *req->idx = freeSlot;
    if (freeSlot < 0) return ERR_MGR_MAX_SERVICES;

    int result = openAttempt(req, freeSlot);
    if (result != SUCCESS) *req->idx = -1;
    return result;
}

int Manager::openAttempt(STRUCT_SERVICE* req, int slotIdx) {
    // Declared so that a failure destroys the client before the log and the
    // configuration it uses.
    std::unique_ptr<Configuration> cfg;
    std::unique_ptr<Log> log;
    std::unique_ptr<BLClientNORVA> client;
    try {
        cfg.reset(new Configuration());
        require(cfg->getLastError(), "Error in create CFG");
        require(cfg->setService(req->service), "Failed in setService");
        require(cfg->setPathIniFile(), "Failed in setPathIniFile");
        char* customer = nullptr;
        require(cfg->getDeviceConfig(CUSTOMER, &customer), "Failed in getDeviceConfig");

        log.reset(new Log());
        int logResult = log->setConfiguration(cfg.get());
        if (logResult != ERR_LOG_DISABLED) require(logResult, "Failed in initialize log");
        // The log dies before the configuration on every path out of here.
        cfg->reportTo(log.get());
        logBanner(log.get(), req->service, customer);

        if (!isNorva(customer)) require(ERR_MGR_CLIENT_NOT_FOUND, "Failed in create a NEWOBJECT");
        st_constructParams params = {cfg.get(), log.get()};
        client.reset(new BLClientNORVA(&params));
        require(client->getLastError(), "Failed in getLastError from the new client");

        if (req->open) {
            logBegin(log.get(), callerNewObject, CMD_OPEN);
            int openResult = client->executeCMD(CMD_OPEN, nullptr, nullptr);
            if (openResult != SUCCESS) {
                client->executeCMD(CMD_CLOSE, nullptr, nullptr);
                require(openResult, "Failed in execute command");
            }
            logEnd(log.get(), callerNewObject, CMD_OPEN, openResult);
        }

        st_objectPointer& slot = objectPointers[slotIdx];
        std::strncpy(slot.strtype, customer, sizeof slot.strtype - 1);
        slot.cfg = std::move(cfg);
        slot.log = std::move(log);
        slot.pointer = std::move(client);
        slot.ConectionCount = 1;
        return SUCCESS;
    } catch (const OpenFailure& e) {
        logText(log.get(), ERR, callerNewObject, e.what());
        return e.code;
    } catch (const std::exception& e) {
        logText(log.get(), ERR, callerNewObject, e.what());
    } catch (...) {
    }
    return ERR_MGR_INTERNAL_ERROR;
}

// Returns with semManager held, unless it fails. Commands may go on starting
// between two looks, so a close that never meets a quiet moment gives up
// after the lock's own budget rather than wait on them for ever.
int Manager::waitForRunningCommands() {
    const uint64_t began = GetMonotonicTickMs();
    for (;;) {
        bool running = iRunningCountCMD > 0;
        unlock();
        if (running) Sleep_ms(5);
        int result = lock();
        if (result != SUCCESS || !running) return result;
        if (TickElapsedMs(began, GetMonotonicTickMs()) > kSemLockBudgetMs) {
            unlock();
            return ERR_SEM_TIMEOUT;
        }
    }
}

int Manager::deleteObject(char* service, int* idx, bool lockTable) {
    if (service == nullptr || idx == nullptr) return ERR_CMD_INVALID_PARAMETER;
    if (lockTable && lock() != SUCCESS) return ERR_SEM_TIMEOUT;
    int result = waitForRunningCommands();
    if (result != SUCCESS) return ERR_SEM_TIMEOUT;
    try {
        result = closeLastReference(service, idx);
    } catch (...) {
        result = ERR_MGR_INTERNAL_ERROR;
    }
    if (lockTable) unlock();
    return result;
}

int Manager::closeLastReference(char* service, int* idx) {
    int result = validateIndex(*idx);
    if (result != SUCCESS) return result;
    st_objectPointer& slot = objectPointers[*idx];
    Configuration* cfg = slot.cfg.get();
    Log* log = slot.log.get();
    const char* slotName = cfg != nullptr ? cfg->getService() : nullptr;
    if (slotName == nullptr) return ERR_MGR_INVALID_INDEX;

    if (slot.ConectionCount > 0) --slot.ConectionCount;
    if (slot.ConectionCount > 0) {
        logLine(log, INF, callerDeleteObject, "Service %s Opened yet - Tot.: %d", service,
                static_cast<int>(slot.ConectionCount));
        return SUCCESS;
    }
    // The count stays dropped: a later close with the right name closes it.
    if (!closingNameMatches(*cfg, service, slotName)) return ERR_CFG_INVALID_SERVICE_NAME;

    logBegin(log, callerDeleteObject, CMD_CLOSE);
    int closeResult = ERR_MGR_CLIENT_NOT_FOUND;
    if (isNorva(slot.strtype)) {
        closeResult = slot.pointer ? slot.pointer->executeCMD(CMD_CLOSE, nullptr, nullptr)
                                   : ERR_MGR_INVALID_POINTER;
    }
    logEnd(log, callerDeleteObject, CMD_CLOSE, closeResult);

    if (log != nullptr && log->newVersion()) {
        if (log->compressFilesEnabled()) {
            logText(log, INF, callerDeleteObject, "Compressing Files...");
            log->compressFiles();
        }
        log->exitLogSession();
    }

    char* customer = nullptr;
    result = cfg->getDeviceConfig(CUSTOMER, &customer);
    if (result != SUCCESS) return result;
    // A close the device did not answer still frees the service: the failure
    // shows only in the End Command line.
    if (!isNorva(customer)) {
        result = ERR_MGR_CLIENT_NOT_FOUND;
        slot.pointer.release();  // not a client of ours to destroy
    }
    slot.clear();
    *idx = -1;
    return result;
}

int Manager::executeCMD(int idx, int cmd, void* buffer_in, void** buffer_resp) {
    BLClientNORVA* client = nullptr;
    Log* log = nullptr;
    bool norva = false;
    int result;
    {
        SemGuard guard(&semManager);
        if (!guard.holds()) return ERR_SEM_TIMEOUT;
        ++iRunningCountCMD;
        // Read under the lock so that an open in progress is never seen half
        // made; a close waits for this command before it frees the slot.
        result = validateIndex(idx);
        if (result == SUCCESS) {
            client = objectPointers[idx].pointer.get();
            log = objectPointers[idx].log.get();
            norva = isNorva(objectPointers[idx].strtype);
        }
    }
    if (result == SUCCESS) {
        try {
            logBegin(log, callerExecuteCMD, cmd);
            if (!norva) {
                result = ERR_MGR_CLIENT_NOT_FOUND;
            } else if (client == nullptr) {
                result = ERR_MGR_INVALID_POINTER;
            } else {
                result = client->executeCMD(cmd, buffer_in, buffer_resp);
            }
            logEnd(log, callerExecuteCMD, cmd, result);
        } catch (const std::exception& e) {
            logText(log, WRN, callerExecuteCMD, e.what());
            result = ERR_MGR_INTERNAL_ERROR;
        } catch (...) {
            logText(log, WRN, callerExecuteCMD, "Internal error");
            result = ERR_MGR_INTERNAL_ERROR;
        }
    }
    // Counted down even when the lock is not had in time: a count left up
    // would hold every later close in its wait.
    SemGuard guard(&semManager);
    --iRunningCountCMD;
    return result;
}

int Manager::freeBuffer(void** buffer) {
    if (buffer == nullptr || *buffer == nullptr) return ERR_MGR_INVALID_POINTER;
    delete[] static_cast<char*>(*buffer);
    *buffer = nullptr;
    return SUCCESS;
}

int Manager::validateIndex(int idx) {
    if (idx < 0 || idx >= MAX_SERVICES || !objectPointers[idx].pointer) {
        return ERR_MGR_INVALID_INDEX;
    }
    return SUCCESS;
}

int Manager::validateIndex(char* service, int idx) {
    if (service == nullptr) return ERR_GEN_INVALID_POINTER;
    for (int i = 0; i < MAX_SERVICES; ++i) {
        const st_objectPointer& slot = objectPointers[i];
        const char* name = slot.pointer && slot.cfg ? slot.cfg->getService() : nullptr;
        if (name != nullptr && std::strcmp(name, service) == 0) {
            return i == idx ? SUCCESS : ERR_MGR_INVALID_INDEX;
        }
    }
    return ERR_MGR_INVALID_INDEX;
}
