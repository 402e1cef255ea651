// The entry points of Log.so: the session table, the older path-and-name
// interface and compression. No exception leaves an entry point.

#include "loglib/LogLib.h"

#include <sys/stat.h>

#include <climits>
#include <cstring>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "loglib/LogCompress.h"
#include "loglib/LogFile.h"
#include "loglib/LogRecord.h"

namespace loglib {
namespace {

// Each open session holds a descriptor; the bound keeps a caller that never
// calls exitLog from exhausting the process's descriptors.
constexpr std::size_t kMaxSessions = 256;
// Files of the older interface kept open at once.
constexpr std::size_t kMaxLegacyFiles = 16;
// A record buffer grown past this by a large dump is given back afterwards.
constexpr std::size_t kRecordBufferKeep = 64 * 1024;

struct Session {
    Session(const std::string& prefix, int maxDayCount, int maxByteSize, unsigned int levels)
        : file(prefix, maxDayCount, maxByteSize), mask(levels) {}
    std::mutex lock;
    LogFile file;
    const unsigned int mask;
};

struct LegacyFile {
    explicit LegacyFile(const std::string& prefix) : file(prefix, 0, 0) {}
    LogFile file;
    unsigned long lastUse = 0;
};

// Whether file is writing the file that st describes.
bool sameFile(const LogFile& file, const struct stat& st) {
    struct stat own {};
    return file.isOpen() && fstat(file.descriptor(), &own) == 0 && own.st_dev == st.st_dev &&
           own.st_ino == st.st_ino;
}

class Registry {
public:
    int create(const char* fileName, int maxDayCount, int maxByteSize, unsigned int mask) {
        if (fileName == nullptr || *fileName == '\0') return -1;
        std::string prefix(fileName);
        if (prefix.back() == '/') return -1;
        auto session = std::make_shared<Session>(prefix, maxDayCount, maxByteSize, mask);
        {
            std::lock_guard<std::mutex> guard(session->lock);
            if (!session->file.open(localNow().date)) return 0;
        }
        std::lock_guard<std::mutex> guard(lock);
        if (sessions.size() >= kMaxSessions) return 0;
        while (sessions.count(nextIndex) != 0) advanceIndex();
        int index = nextIndex;
        advanceIndex();
        sessions.emplace(index, std::move(session));
        return index;
    }

    std::shared_ptr<Session> find(int index) {
        std::lock_guard<std::mutex> guard(lock);
        auto it = sessions.find(index);
        return it == sessions.end() ? nullptr : it->second;
    }

    // A session still writing a record keeps its file until that record is
    // done; the descriptor closes with the last reference.
    void remove(int index) {
        std::lock_guard<std::mutex> guard(lock);
        sessions.erase(index);
    }

    void appendLegacy(const std::string& prefix, int date, const std::string& record) {
        std::lock_guard<std::mutex> guard(legacyLock);
        auto it = legacy.find(prefix);
        if (it == legacy.end()) {
            if (legacy.size() >= kMaxLegacyFiles) evictLeastRecentlyUsed();
            it = legacy.try_emplace(prefix, prefix).first;
        }
        it->second.lastUse = ++useCounter;
        it->second.file.append(date, record);
    }

    // Whether any session or older-interface file of this process is writing
    // path right now.
    bool isBeingWritten(const std::string& path) {
        struct stat st {};
        if (stat(path.c_str(), &st) != 0) return false;
        {
            std::lock_guard<std::mutex> guard(lock);
            for (auto& entry : sessions) {
                std::lock_guard<std::mutex> sessionGuard(entry.second->lock);
                if (sameFile(entry.second->file, st)) return true;
            }
        }
        std::lock_guard<std::mutex> guard(legacyLock);
        for (auto& entry : legacy) {
            if (sameFile(entry.second.file, st)) return true;
        }
        return false;
    }

private:
    void advanceIndex() { nextIndex = nextIndex == INT_MAX ? 1 : nextIndex + 1; }

    void evictLeastRecentlyUsed() {
        auto oldest = legacy.begin();
        for (auto it = legacy.begin(); it != legacy.end(); ++it) {
            if (it->second.lastUse < oldest->second.lastUse) oldest = it;
        }
        legacy.erase(oldest);
    }

    std::mutex lock;  // guards sessions and nextIndex; taken before any session's lock
    std::map<int, std::shared_ptr<Session>> sessions;
    int nextIndex = 1;

    std::mutex legacyLock;  // guards legacy and useCounter, held while writing
    std::map<std::string, LegacyFile> legacy;
    unsigned long useCounter = 0;
};

Registry& registry() {
    static Registry instance;
    return instance;
}

std::string& recordBuffer() {
    thread_local std::string buffer;
    return buffer;
}

void releaseLargeBuffer(std::string& buffer) {
    if (buffer.capacity() > kRecordBufferKeep) std::string().swap(buffer);
}

int writeRecord(int index, int level, const char* idterm, const char* caller, const char* msg,
                const unsigned char* bytes, unsigned int count) {
    if (msg == nullptr) return -1;
    std::shared_ptr<Session> session = registry().find(index);
    if (!session) return -1;
    if (!levelEnabled(session->mask, level)) return 0;
    LocalTime now = localNow();
    std::string& record = recordBuffer();
    formatRecord(record, now, level, idterm, caller, msg, bytes, bytes ? count : 0);
    bool written;
    {
        std::lock_guard<std::mutex> guard(session->lock);
        written = session->file.append(now.date, record);
    }
    releaseLargeBuffer(record);
    return written ? 0 : -1;
}

void writeLegacyRecord(const char* path, const char* prefix, int level, const char* idterm,
                       const char* caller, const char* msg, const unsigned char* bytes,
                       unsigned int count) {
    if (path == nullptr || prefix == nullptr || *prefix == '\0' || msg == nullptr) return;
    std::string filePrefix(path);
    if (!filePrefix.empty() && filePrefix.back() != '/') filePrefix += '/';
    filePrefix += prefix;
    LocalTime now = localNow();
    std::string& record = recordBuffer();
    formatRecord(record, now, level, idterm, caller, msg, bytes, bytes ? count : 0);
    registry().appendLegacy(filePrefix, now.date, record);
    releaseLargeBuffer(record);
}

int compressOne(const std::string& path) {
    if (registry().isBeingWritten(path)) return -1;
    return gzipFile(path) ? 0 : -1;
}

// Gzips every file of the session that is finished: dated before the file
// being written, or of its day with a lower number. Later numbers may belong
// to another process of the same prefix that rotated first.
int compressSessionFiles(int index) {
    std::shared_ptr<Session> session = registry().find(index);
    if (!session) return -1;
    std::string prefix;
    LogFileId writing;
    {
        std::lock_guard<std::mutex> guard(session->lock);
        prefix = session->file.prefix();
        writing = session->file.id();
    }
    int result = 0;
    for (const LogFileEntry& file : listLogFiles(prefix)) {
        if (file.id.compressed || !file.id.before(writing)) continue;
        // Another session of this process (the same prefix opened twice) may
        // still be on an older file.
        if (registry().isBeingWritten(file.path)) continue;
        if (!gzipFile(file.path)) result = -1;
    }
    return result;
}

int decompressSessionFiles(int index) {
    std::shared_ptr<Session> session = registry().find(index);
    if (!session) return -1;
    int result = 0;
    for (const LogFileEntry& file : listLogFiles(session->file.prefix())) {
        if (file.id.compressed && !gunzipFile(file.path)) result = -1;
    }
    return result;
}

template <typename Body, typename Result>
Result guarded(Body body, Result onFailure) {
    try {
        return body();
    } catch (...) {
        return onFailure;
    }
}

}  // namespace
}  // namespace loglib

using namespace loglib;

extern "C" {

void add(char* szPath, char* szFileNamePrefix, int Prefix, char* idterm, const char* Caller,
         char* strReg) {
    guarded(
        [&] {
            writeLegacyRecord(szPath, szFileNamePrefix, Prefix, idterm, Caller, strReg, nullptr, 0);
            return 0;
        },
        0);
}

void logBuffer(char* szPath, char* szFileNamePrefix, int Prefix, char* idterm, const char* Caller,
               const char* strReg, const unsigned char* pBuffer, unsigned int tamBuffer) {
    guarded(
        [&] {
            static const unsigned char kNoBytes = 0;
            // A record of the hex form always carries its dump, empty or not.
            writeLegacyRecord(szPath, szFileNamePrefix, Prefix, idterm, Caller, strReg,
                              pBuffer ? pBuffer : &kNoBytes, pBuffer ? tamBuffer : 0);
            return 0;
        },
        0);
}

int createLog(const char* fileName, int maxDayCount, int maxByteSize, unsigned int mask) {
    return guarded([&] { return registry().create(fileName, maxDayCount, maxByteSize, mask); }, 0);
}

int writeToFile(int index, int prefix, const char* msg) {
    return guarded([&] { return writeRecord(index, prefix, nullptr, nullptr, msg, nullptr, 0); },
                   -1);
}

int writeToFile2(int index, int prefix, char* idterm, const char* Caller, const char* msg) {
    return guarded([&] { return writeRecord(index, prefix, idterm, Caller, msg, nullptr, 0); }, -1);
}

int writeToFileHex(int index, int prefix, const char* msg, const unsigned char* hexMsgBuffer,
                   unsigned int bufferSize) {
    return guarded(
        [&] { return writeRecord(index, prefix, nullptr, nullptr, msg, hexMsgBuffer, bufferSize); },
        -1);
}

int writeToFileHex2(int index, int prefix, char* idterm, const char* Caller, const char* msg,
                    const unsigned char* hexMsgBuffer, unsigned int bufferSize) {
    return guarded(
        [&] { return writeRecord(index, prefix, idterm, Caller, msg, hexMsgBuffer, bufferSize); },
        -1);
}

void exitLog(int index) {
    guarded(
        [&] {
            registry().remove(index);
            return 0;
        },
        0);
}

int compressFile(const char* fileName) {
    return guarded(
        [&] {
            if (fileName == nullptr || *fileName == '\0') return -1;
            std::string path(fileName);
            if (path.size() >= 3 && path.compare(path.size() - 3, 3, ".gz") == 0) return -1;
            return compressOne(path);
        },
        -1);
}

int decompressFile(const char* fileName) {
    return guarded(
        [&] {
            if (fileName == nullptr || *fileName == '\0') return -1;
            std::string path(fileName);
            if (path.size() < 3 || path.compare(path.size() - 3, 3, ".gz") != 0) path += ".gz";
            return gunzipFile(path) ? 0 : -1;
        },
        -1);
}

int compressFiles(int index) {
    return guarded([&] { return compressSessionFiles(index); }, -1);
}

int decompressFiles(int index) {
    return guarded([&] { return decompressSessionFiles(index); }, -1);
}

}  // extern "C"
