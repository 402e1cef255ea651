#include "common/Log.h"

#include <cctype>
#include <climits>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <new>
#include <string>

#include "common/Configuration.h"
#include "common/LogDll.h"
#include "common/Strings.h"
#include "common/Threads.h"
#include "manager/Global.h"

const char cLogLevel[11][4] = {"INI", "FIM", "WRN", "ERR", "DBG", "INF",
                               "STA", "DBX", "CFG", "STR", "PRM"};
const char cLogInfo[4][10] = {"LIBNAME", "THREADID", "CLASS", "FUNCTION"};
const char* const logLibraryName = "NorvaSensorBoard.so";

namespace {

// Size of the working buffers of the two columns, and the longest class name.
constexpr size_t kColumnSize = Log::kColumnSize;
const size_t kMaxClassName = 512;

std::unique_ptr<char[]> joinText(const char* first, const char* second) {
    std::string joined = std::string(first) + second;  // "%s%s"
    return copyText(joined.c_str());
}

std::string upperCase(const char* text) {
    std::string upper(text != nullptr ? text : "");
    for (char& c : upper) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    return upper;
}

// Sets bit n for each token n the value contains. One probe more than there
// are tokens is made with an empty token, which every value contains: the
// extra bit is always set when the key is present. That is how a present
// value without any valid token (ALL, NONE) ends up enabling nothing, while a
// missing key enables everything, and it is kept so.
template <size_t Rows, size_t Width>
int tokenMask(const char* value, const char (&tokens)[Rows][Width]) {
    std::string upper = upperCase(value);
    unsigned int mask = 0;
    for (size_t n = 0; n <= Rows; ++n) {
        const char* token = n < Rows ? tokens[n] : "";
        if (upper.find(token) != std::string::npos) mask |= 1u << n;
    }
    return static_cast<int>(mask);
}

// Appends text to a column buffer, cutting it at the buffer's end.
void append(char* column, const char* text, size_t textLength) {
    size_t used = std::strlen(column);
    size_t room = kColumnSize - 1 - used;
    size_t n = textLength < room ? textLength : room;
    std::memcpy(column + used, text, n);
    column[used + n] = '\0';
}

void appendField(char* column, const char* text, size_t textLength) {
    if (column[0] != '\0') append(column, "|", 1);
    append(column, text, textLength);
}

// vsnprintf into an exactly sized buffer; null for an empty or failed result.
std::unique_ptr<char[]> formatList(const char* format, va_list args) {
    if (format == nullptr) return nullptr;
    va_list measure;
    va_copy(measure, args);
    int length = std::vsnprintf(nullptr, 0, format, measure);
    va_end(measure);
    if (length <= 0) return nullptr;
    std::unique_ptr<char[]> text(new (std::nothrow) char[static_cast<size_t>(length) + 1]);
    if (text) std::vsnprintf(text.get(), static_cast<size_t>(length) + 1, format, args);
    return text;
}

const char* orEmpty(const char* text) {
    return text != nullptr ? text : "";
}

}  // namespace

Log::Log() = default;

// The library sessions are not closed here: the manager closes them with
// exitLogSession when the service closes, and the indices are not reset, so
// closing again could end a session the library has since handed to another
// service.
Log::~Log() = default;

int Log::setConfiguration(Configuration* pclCfg) {
    if (pclCfg == nullptr) return ERR_LOG_INVALID_POINTER;
    logClean();
    try {
        return configure(pclCfg);
    } catch (const std::bad_alloc&) {
        logClean();
        return ERR_GEN_OUT_OF_MEMORY;
    }
}

int Log::configure(Configuration* pclCfg) {
    // Texts of getDeviceConfig belong to the configuration.
    char* value = nullptr;
    int rc = pclCfg->getDeviceConfig(LOGGENERATE, &value);
    if (rc != SUCCESS) return rc;
    // Only these two words switch logging off; FALSE, 0 or OFF turn it on.
    std::string generate = upperCase(value);
    if (generate == "NO" || generate == "N") return ERR_LOG_DISABLED;

    rc = pclCfg->getDeviceConfig(LOGPATH, &value);
    if (rc != SUCCESS) return rc;
    size_t pathLength = std::strlen(value);
    Text path = joinText(value, pathLength > 0 && value[pathLength - 1] == '/' ? "" : "/");

    rc = pclCfg->getDeviceConfig(LOGNAME, &value);
    if (rc != SUCCESS) return rc;
    Text name = copyText(value);
    Text nameMin = joinText(value, "_Min");
    Text nameMaintenance = joinText(value, "_MaintenanceMode");

    int level = 0;
    if (pclCfg->getDeviceConfig(LOGLEVEL, &value) == SUCCESS) level = tokenMask(value, cLogLevel);
    int info = 0;
    if (pclCfg->getDeviceConfig(LOGINFO, &value) == SUCCESS) info = tokenMask(value, cLogInfo);

    // Named after the files, so that every process logging under the same
    // name serialises its records on the same semaphores.
    normalLock.lock.open(name.get());
    minLock.lock.open(nameMin.get());
    maintenanceLock.lock.open(nameMaintenance.get());

    char* compress = nullptr;
    if (pclCfg->getConfig(nullptr, "LogCompressFiles", &compress) == SUCCESS) {
        Text owned(compress);
        std::string upper = upperCase(owned.get());
        isCompressFilesEnabled = upper == "YES" || upper == "Y";
    }

    logNameFull = joinText(path.get(), name.get());
    logNameFull_Min = joinText(path.get(), nameMin.get());
    logNameFull_Maintenance = joinText(path.get(), nameMaintenance.get());

    // The two limits go to the log library as ints: a value that does not
    // fit is refused (after the log is up, so that the refusal is logged).
    const char* tooLarge = nullptr;
    auto limit = [&](const char* key) {
        long number = 0;
        if (pclCfg->getConfig(nullptr, key, &number) != SUCCESS) return INT_MAX;
        if (number >= INT_MIN && number <= INT_MAX) return static_cast<int>(number);
        tooLarge = key;
        return INT_MAX;
    };
    logMaxDayCount = limit("LogMaxDayCount");
    logMaxFileByteSize = limit("LogMaxFileByteSize");

    logPath = std::move(path);
    logName = std::move(name);
    logName_Min = std::move(nameMin);
    logName_Maintenance = std::move(nameMaintenance);
    logLevel = level != 0 ? level : -1;
    logInfo = info != 0 ? info : -1;

    if (!isCreateLog()) {
        // Older library: records go by directory and name through "add".
        bEnable = true;
        return refuseLimit(pclCfg, tooLarge);
    }

    isNewVersion = true;
    unsigned int mask = static_cast<unsigned int>(logLevel);
    logSession = createLog(logNameFull.get(), logMaxDayCount, logMaxFileByteSize, mask);
    logSession_Min = createLog(logNameFull_Min.get(), logMaxDayCount, logMaxFileByteSize, mask);
    // The maintenance session is opened on the "_Min" file name, so with a
    // session library maintenance records land in the "_Min" file (the older
    // interface writes them under "_MaintenanceMode"). Installed systems are
    // read that way; keep it.
    logSession_Maintenance =
        createLog(logNameFull_Min.get(), logMaxDayCount, logMaxFileByteSize, mask);
    bEnable = true;
    return refuseLimit(pclCfg, tooLarge);
}

int Log::refuseLimit(Configuration* pclCfg, const char* key) {
    if (key == nullptr) return SUCCESS;
    char* text = nullptr;
    pclCfg->getConfig(nullptr, key, &text);
    Text owned(text);
    addLogBufferList(ERR, "Log::setConfiguration", "ERR_CFG_INVALID_VALUE: %s = %s is outside %d..%d",
                     key, text != nullptr ? text : "", INT_MIN, INT_MAX);
    logClean();
    return ERR_CFG_INVALID_VALUE;
}

bool Log::levelEnabled(eLogLevel eLevel) const {
    if (eLevel < 0 || eLevel >= 32) return false;
    return (static_cast<unsigned int>(logLevel) >> eLevel) & 1u;
}

Log::Channel Log::normalChannel() {
    return {&normalLock, logName.get(), logSession};
}

Log::Channel Log::minChannel() {
    return {&minLock, logName_Min.get(), logSession_Min};
}

Log::Channel Log::maintenanceChannel() {
    return {&maintenanceLock, logName_Maintenance.get(),
            logSession_Maintenance};
}

void Log::write(const Channel& channel, eLogLevel eLevel, const char* pcCaller,
                const char* pcBuffer) {
    if (!bEnable || !levelEnabled(eLevel)) return;
    Columns columns;
    buildColumns(pcCaller, &columns);
    const char* text = orEmpty(pcBuffer);

    ProcessLock::Wait wait;
    ProcessLockHold hold(channel.lock->lock, channelBudget(*channel.lock), &wait);
    if (!admitted(channel, hold, wait, columns.lib, columns.info)) return;
    emit(channel, eLevel, columns.lib, columns.info, text);
}

void Log::emit(const Channel& channel, eLogLevel eLevel, const char* lib, const char* info,
               const char* text) {
    if (isNewVersion) {
        if (islogWriteToFile2())
            logWriteToFile2(channel.session, eLevel, lib, info, text);
        else
            logWriteToFile(channel.session, eLevel, text);
    } else {
        logAdd(logPath.get(), channel.name, eLevel, lib, info, text);
    }
}

unsigned int Log::channelBudget(const ChannelLock& channel) {
    pid_t blocker = channel.blockedBy.load();
    return blocker != 0 && channel.lock.holder() == blocker ? 0 : kChannelBudgetMs;
}

bool Log::admitted(const Channel& channel, const ProcessLockHold& hold,
                   const ProcessLock::Wait& wait, const char* lib, const char* info) {
    ChannelLock& state = *channel.lock;
    if (hold.status() == ERR_SEM_TIMEOUT) {
        state.blockedBy.store(wait.heldBy);
        state.droppedSince.fetch_add(1);
        dropped.fetch_add(1);
        return false;
    }
    pid_t blocker = state.blockedBy.exchange(0);
    unsigned int lost = state.droppedSince.exchange(0);
    if (lost > 0 && levelEnabled(WRN)) {
        char note[128];
        std::snprintf(note, sizeof note, "%u records dropped: channel held by process %d", lost,
                      static_cast<int>(blocker));
        emit(channel, WRN, lib, info, note);
    }
    return true;
}

void Log::writeHex(const Channel& channel, eLogLevel eLevel, const char* pcCaller,
                   const char* pcBuffer, const unsigned char* pucHexBuffer,
                   unsigned int uiHexBufferLength) {
    if (!bEnable || !levelEnabled(eLevel)) return;
    Columns columns;
    buildColumns(pcCaller, &columns);
    const char* text = orEmpty(pcBuffer);
    if (pucHexBuffer == nullptr) uiHexBufferLength = 0;

    ProcessLock::Wait wait;
    ProcessLockHold hold(channel.lock->lock, channelBudget(*channel.lock), &wait);
    if (!admitted(channel, hold, wait, columns.lib, columns.info)) return;
    if (isNewVersion) {
        if (islogWriteToFileHex2())
            logWriteToFileHex2(channel.session, eLevel, columns.lib, columns.info, text,
                               pucHexBuffer, uiHexBufferLength);
        else
            logWriteToFileHex(channel.session, eLevel, text, pucHexBuffer, uiHexBufferLength);
    } else {
        logBuffer(logPath.get(), channel.name, eLevel, columns.lib, columns.info, text,
                  pucHexBuffer, uiHexBufferLength);
    }
}

void Log::addLogBuffer(eLogLevel eLevel, const char* pcCaller, const char* pcBuffer) {
    write(normalChannel(), eLevel, pcCaller, pcBuffer);
}

void Log::addLogMinBuffer(eLogLevel eLevel, const char* pcCaller, const char* pcBuffer) {
    write(minChannel(), eLevel, pcCaller, pcBuffer);
}

void Log::addLogMaintenanceBuffer(eLogLevel eLevel, const char* pcCaller, const char* pcBuffer) {
    write(maintenanceChannel(), eLevel, pcCaller, pcBuffer);
}

void Log::addLogBuffer_Hex(eLogLevel eLevel, const char* pcCaller, const char* pcBuffer,
                           const unsigned char* pucHexBuffer, unsigned int uiHexBufferLength) {
    writeHex(normalChannel(), eLevel, pcCaller, pcBuffer, pucHexBuffer, uiHexBufferLength);
}

void Log::addLogMinBuffer_Hex(eLogLevel eLevel, const char* pcCaller, const char* pcBuffer,
                              const unsigned char* pucHexBuffer, unsigned int uiHexBufferLength) {
    writeHex(minChannel(), eLevel, pcCaller, pcBuffer, pucHexBuffer, uiHexBufferLength);
}

void Log::addLogMaintenanceBuffer_Hex(eLogLevel eLevel, const char* pcCaller, const char* pcBuffer,
                                      const unsigned char* pucHexBuffer,
                                      unsigned int uiHexBufferLength) {
    writeHex(maintenanceChannel(), eLevel, pcCaller, pcBuffer, pucHexBuffer, uiHexBufferLength);
}

// The List forms format before the level test (made by the plain form), so
// the text is built even for a disabled level.
void Log::addLogBufferList(eLogLevel eLevel, const char* pcCaller, const char* pcFormat, ...) {
    va_list args;
    va_start(args, pcFormat);
    std::unique_ptr<char[]> text = formatList(pcFormat, args);
    va_end(args);
    if (text) addLogBuffer(eLevel, pcCaller, text.get());
}

void Log::addLogMinBufferList(eLogLevel eLevel, const char* pcCaller, const char* pcFormat, ...) {
    va_list args;
    va_start(args, pcFormat);
    std::unique_ptr<char[]> text = formatList(pcFormat, args);
    va_end(args);
    if (text) addLogMinBuffer(eLevel, pcCaller, text.get());
}

void Log::addLogMaintenanceBufferList(eLogLevel eLevel, const char* pcCaller, const char* pcFormat,
                                      ...) {
    va_list args;
    va_start(args, pcFormat);
    std::unique_ptr<char[]> text = formatList(pcFormat, args);
    va_end(args);
    if (text) addLogMaintenanceBuffer(eLevel, pcCaller, text.get());
}

int Log::getLogInfo(const char* pcCaller, char** lpcLibName, char** lpcInfo) {
    if (lpcLibName == nullptr || lpcInfo == nullptr) return ERR_GEN_INVALID_POINTER;
    *lpcLibName = nullptr;
    *lpcInfo = nullptr;
    Columns columns;
    buildColumns(pcCaller, &columns);
    try {
        Text libCopy = copyText(columns.lib);
        Text infoCopy = copyText(columns.info);
        *lpcLibName = libCopy.release();
        *lpcInfo = infoCopy.release();
    } catch (const std::bad_alloc&) {
        return ERR_GEN_OUT_OF_MEMORY;
    }
    return SUCCESS;
}

// Built in place: every record takes its columns, and two allocations a
// record showed in the cost of an exchange with logging on.
void Log::buildColumns(const char* pcCaller, Columns* columns) const {
    char* lib = columns->lib;
    char* info = columns->info;
    lib[0] = info[0] = '\0';
    unsigned int mask = static_cast<unsigned int>(logInfo);
    if (mask & (1u << eLogInfo_LibName)) append(lib, logLibraryName, std::strlen(logLibraryName));
    if (mask & (1u << eLogInfo_ThreadId))
        std::snprintf(info, kColumnSize, "ThrId: %lu ", UtlGetCurrentThreadId());

    unsigned int callerBits = (1u << eLogInfo_Class) | (1u << eLogInfo_Function);
    if (pcCaller != nullptr && (mask & callerBits) != 0) {
        const char* separator = std::strstr(pcCaller, "::");
        if (separator == nullptr) {
            append(info, pcCaller, std::strlen(pcCaller));
        } else {
            size_t classLength = static_cast<size_t>(separator - pcCaller);
            if (classLength > kMaxClassName) classLength = kMaxClassName;
            const char* function = separator + 2;
            if (mask & (1u << eLogInfo_Class)) appendField(info, pcCaller, classLength);
            if (mask & (1u << eLogInfo_Function))
                appendField(info, function, std::strlen(function));
        }
    }
}

void Log::logClean() {
    bEnable = false;
    logLevel = 0;
    logInfo = 0;
    logPath.reset();
    logName.reset();
    logName_Min.reset();
    logName_Maintenance.reset();
    logNameFull.reset();
    logNameFull_Min.reset();
    logNameFull_Maintenance.reset();
    isNewVersion = false;
    isCompressFilesEnabled = false;
    logMaxDayCount = 0;
    logMaxFileByteSize = 0;
    exitLogSession();
}

void Log::exitLogSession() {
    if (!isCreateLog()) return;
    if (logSession != 0) exitLog(logSession);
    if (logSession_Min != 0) exitLog(logSession_Min);
    if (logSession_Maintenance != 0) exitLog(logSession_Maintenance);
}

void Log::compressFile(const char* pcFileName) {
    if (pcFileName != nullptr) logCompressFile(pcFileName);
}

void Log::decompressFile(const char* pcFileName) {
    if (pcFileName != nullptr) logDecompressFile(pcFileName);
}

void Log::compressFiles() {
    logCompressFiles(logSession);
}

void Log::decompressFiles() {
    logDecompressFiles(logSession);
}
