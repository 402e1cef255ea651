#pragma once
// The per-service logger. Three channels, each its own file in the log
// library: the normal log, the reduced "_Min" log and the "_MaintenanceMode"
// log. Records are handed to the run-time-loaded log library (LogDll.h); a Log
// never opens files itself. Until setConfiguration succeeds every add is a
// no-op, so a service works without a log.

#include <sys/types.h>

#include <atomic>
#include <cstdint>
#include <memory>

#include "common/ProcessLock.h"

class Configuration;

// Bit index into the level mask; the configuration tokens are the names.
enum eLogLevel : int32_t {
    INI = 0,
    FIM = 1,
    WRN = 2,
    ERR = 3,
    DBG = 4,
    INF = 5,
    STA = 6,
    DBX = 7,
    CFG = 8,
    STR = 9,
    PRM = 10,
};

// Bit index into the info mask (the columns of a record).
enum eLogInfo : int32_t {
    eLogInfo_LibName = 0,
    eLogInfo_ThreadId = 1,
    eLogInfo_Class = 2,
    eLogInfo_Function = 3,
};

extern const char cLogLevel[11][4];
extern const char cLogInfo[4][10];

// Library name written in the first column of a record.
extern const char* const logLibraryName;

class Log {
public:
    Log();
    ~Log();
    Log(const Log&) = delete;
    Log& operator=(const Log&) = delete;

    // Configures from the service's section and opens the library sessions.
    // 0, ERR_LOG_INVALID_POINTER, ERR_LOG_DISABLED or the code of a missing
    // key; on failure the object stays unconfigured.
    int setConfiguration(Configuration* pclCfg);

    // pcCaller is "Class::function" (a text without "::" is used whole).
    void addLogBuffer(eLogLevel eLevel, const char* pcCaller, const char* pcBuffer);
    void addLogBuffer_Hex(eLogLevel eLevel, const char* pcCaller, const char* pcBuffer,
                          const unsigned char* pucHexBuffer, unsigned int uiHexBufferLength);
    void addLogBufferList(eLogLevel eLevel, const char* pcCaller, const char* pcFormat, ...)
        __attribute__((format(printf, 4, 5)));

    void addLogMinBuffer(eLogLevel eLevel, const char* pcCaller, const char* pcBuffer);
    void addLogMinBuffer_Hex(eLogLevel eLevel, const char* pcCaller, const char* pcBuffer,
                             const unsigned char* pucHexBuffer, unsigned int uiHexBufferLength);
    void addLogMinBufferList(eLogLevel eLevel, const char* pcCaller, const char* pcFormat, ...)
        __attribute__((format(printf, 4, 5)));

    void addLogMaintenanceBuffer(eLogLevel eLevel, const char* pcCaller, const char* pcBuffer);
    void addLogMaintenanceBuffer_Hex(eLogLevel eLevel, const char* pcCaller, const char* pcBuffer,
                                     const unsigned char* pucHexBuffer,
                                     unsigned int uiHexBufferLength);
    void addLogMaintenanceBufferList(eLogLevel eLevel, const char* pcCaller, const char* pcFormat,
                                     ...) __attribute__((format(printf, 4, 5)));

    // Builds the library-name and information columns of a record as new[]
    // texts the caller frees. 0, or ERR_GEN_INVALID_POINTER for a null output.
    int getLogInfo(const char* pcCaller, char** lpcLibName, char** lpcInfo);
    // The longest column, terminator included.
    static constexpr size_t kColumnSize = 1024;

    // Back to the unconfigured state (closes the sessions too).
    void logClean();
    // Closes the library sessions; the indices are kept.
    void exitLogSession();

    void compressFile(const char* pcFileName);
    void decompressFile(const char* pcFileName);
    // Act on the normal channel's session.
    void compressFiles();
    void decompressFiles();

    // Read by the manager when the service closes: compressFiles() is called
    // only when both hold.
    bool newVersion() const { return isNewVersion; }
    bool compressFilesEnabled() const { return isCompressFilesEnabled; }
    // The level mask (bit n enables eLogLevel n); the manager writes a
    // service's opening banner at STR when that bit is on, else at INI.
    int levelMask() const { return logLevel; }

    // Longest wait for a channel's lock, ms. A record that cannot get its
    // channel in that time is dropped (and counted), never the command held;
    // while the same live process keeps the channel, later records do not
    // wait at all.
    static constexpr unsigned int kChannelBudgetMs = 1000;
    // Records dropped so far because their channel was held.
    unsigned int droppedRecords() const { return dropped.load(); }

private:
    // The library-name and information columns of a record.
    struct Columns {
        char lib[kColumnSize];
        char info[kColumnSize];
    };
    void buildColumns(const char* pcCaller, Columns* columns) const;

    typedef std::unique_ptr<char[]> Text;

    // A channel's cross-process lock and who kept it from the last record.
    struct ChannelLock {
        ProcessLock lock;
        std::atomic<pid_t> blockedBy{0};
        std::atomic<unsigned int> droppedSince{0};
    };

    int configure(Configuration* pclCfg);
    // SUCCESS without a key; else logs the key's value as out of range,
    // unconfigures and answers ERR_CFG_INVALID_VALUE.
    int refuseLimit(Configuration* pclCfg, const char* key);

    // What distinguishes the three channels.
    struct Channel {
        ChannelLock* lock;
        const char* name;
        int session;
    };
    Channel normalChannel();
    Channel minChannel();
    Channel maintenanceChannel();

    void write(const Channel& channel, eLogLevel eLevel, const char* pcCaller,
               const char* pcBuffer);
    void writeHex(const Channel& channel, eLogLevel eLevel, const char* pcCaller,
                  const char* pcBuffer, const unsigned char* pucHexBuffer,
                  unsigned int uiHexBufferLength);
    bool levelEnabled(eLogLevel eLevel) const;
    // No wait while the live process that made the last record drop still
    // holds the channel.
    static unsigned int channelBudget(const ChannelLock& channel);
    // After the channel's lock was asked for: false when the record is to be
    // dropped (counted). A channel without a lock writes unserialised. Once
    // the channel is had again, a line tells how many records were lost.
    bool admitted(const Channel& channel, const ProcessLockHold& hold,
                  const ProcessLock::Wait& wait, const char* lib, const char* info);
    void emit(const Channel& channel, eLogLevel eLevel, const char* lib, const char* info,
              const char* text);

    bool bEnable = false;
    Text logPath;
    int logInfo = 0;
    ChannelLock normalLock;
    Text logName;
    Text logNameFull;
    ChannelLock minLock;
    Text logName_Min;
    Text logNameFull_Min;
    ChannelLock maintenanceLock;
    Text logName_Maintenance;
    Text logNameFull_Maintenance;
    int logMaxDayCount = 0;
    int logMaxFileByteSize = 0;
    int logLevel = 0;
    bool isNewVersion = false;
    bool isCompressFilesEnabled = false;
    int logSession = 0;
    int logSession_Min = 0;
    int logSession_Maintenance = 0;
    std::atomic<unsigned int> dropped{0};
};
