#include "common/LogDll.h"

#include <cstdio>
#include <memory>

#include "common/DynamicLibrary.h"
#include "common/Paths.h"
#include "common/UniqueHandles.h"

namespace {

// Signatures of the entry points exactly as the log library exports them. The
// library only reads the texts it receives, so the wrappers accept const text
// and cast the qualifier away at this one boundary.
typedef void (*pfnAdd)(char*, char*, int, char*, const char*, char*);
typedef void (*pfnLogBuffer)(char*, char*, int, char*, const char*, const char*,
                             const unsigned char*, unsigned int);
typedef int (*pfnCreateLog)(const char*, int, int, unsigned int);
typedef int (*pfnWriteToFile)(int, int, const char*);
typedef int (*pfnWriteToFile2)(int, int, char*, const char*, const char*);
typedef int (*pfnWriteToFileHex)(int, int, const char*, const unsigned char*, unsigned int);
typedef int (*pfnWriteToFileHex2)(int, int, char*, const char*, const char*, const unsigned char*,
                                  unsigned int);
typedef void (*pfnExitLog)(int);
typedef int (*pfnFileName)(const char*);
typedef int (*pfnSession)(int);

char* writable(const char* text) {
    return const_cast<char*>(text);
}

}  // namespace

// The library handle (null when nothing is loaded). It lives in storage that
// is never destroyed: a static destructor must not unload the library while
// threads of the application still log during exit. Being created on first
// use, it is also ready for the manager's constructor, which runs during
// static initialisation. Replacing or releasing it closes the library.
static UniqueLibrary& hLogDll() {
    static UniqueLibrary* handle = new UniqueLibrary;
    return *handle;
}

static pfnAdd _logAdd;
static pfnLogBuffer _logBuffer;
static pfnCreateLog _createLog;
static pfnWriteToFile _writeToFile;
static pfnWriteToFile2 _writeToFile2;
static pfnWriteToFileHex _writeToFileHex;
static pfnWriteToFileHex2 _writeToFileHex2;
static pfnExitLog _exitLog;
static pfnFileName _compressFile;
static pfnFileName _decompressFile;
static pfnSession _compressFiles;
static pfnSession _decompressFiles;

// Looks a symbol up into a typed pointer; a missing one leaves it null.
template <typename Fn>
static void lookUp(void* handle, const char* name, Fn* fn) {
    void* address = nullptr;
    GetSymbolAddress(handle, name, &address);
    *fn = reinterpret_cast<Fn>(address);
}

static void forgetEntryPoints() {
    _logAdd = nullptr;
    _logBuffer = nullptr;
    _createLog = nullptr;
    _writeToFile = nullptr;
    _writeToFile2 = nullptr;
    _writeToFileHex = nullptr;
    _writeToFileHex2 = nullptr;
    _exitLog = nullptr;
    _compressFile = nullptr;
    _decompressFile = nullptr;
    _compressFiles = nullptr;
    _decompressFiles = nullptr;
}

extern "C" {

int loadLogDll() {
    freeLogDll();

    void* handle = nullptr;
    if (OpenLibrary(&handle, "/Norva/NorvaAPI/Log.so") != 0) {
        if (modulePath[0] == '\0') return -1;
        char path[256];
        int n = std::snprintf(path, sizeof path, "%sLog.so", modulePath);
        if (n < 0 || static_cast<size_t>(n) >= sizeof path) return -1;
        if (OpenLibrary(&handle, path) != 0) return -1;
    }
    hLogDll().reset(handle);

    lookUp(handle, "add", &_logAdd);
    lookUp(handle, "logBuffer", &_logBuffer);
    lookUp(handle, "createLog", &_createLog);
    lookUp(handle, "writeToFile", &_writeToFile);
    lookUp(handle, "writeToFile2", &_writeToFile2);
    lookUp(handle, "writeToFileHex", &_writeToFileHex);
    lookUp(handle, "writeToFileHex2", &_writeToFileHex2);
    lookUp(handle, "exitLog", &_exitLog);
    lookUp(handle, "compressFile", &_compressFile);
    lookUp(handle, "decompressFile", &_decompressFile);
    lookUp(handle, "compressFiles", &_compressFiles);
    lookUp(handle, "decompressFiles", &_decompressFiles);
    return 0;
}

int freeLogDll() {
    // Forget the entry points before the code behind them is unmapped.
    forgetEntryPoints();
    return CloseLibrary(hLogDll().release());
}

void logAdd(const char* szPath, const char* szFileNamePrefix, int Prefix, const char* idterm,
            const char* Caller, const char* strReg) {
    if (_logAdd)
        _logAdd(writable(szPath), writable(szFileNamePrefix), Prefix, writable(idterm), Caller,
                writable(strReg));
}

void logBuffer(const char* szPath, const char* szFileNamePrefix, int Prefix, const char* idterm,
               const char* Caller, const char* strReg, const unsigned char* pBuffer,
               unsigned int tamBuffer) {
    if (_logBuffer)
        _logBuffer(writable(szPath), writable(szFileNamePrefix), Prefix, writable(idterm), Caller,
                   strReg, pBuffer, tamBuffer);
}

int createLog(const char* fileName, int maxDayCount, int maxByteSize, unsigned int mask) {
    return _createLog ? _createLog(fileName, maxDayCount, maxByteSize, mask) : -1;
}

void exitLog(int index) {
    if (_exitLog) _exitLog(index);
}

int logWriteToFile(int index, int prefix, const char* msg) {
    return _writeToFile ? _writeToFile(index, prefix, msg) : -1;
}

int logWriteToFile2(int index, int prefix, const char* idterm, const char* Caller,
                    const char* msg) {
    return _writeToFile2 ? _writeToFile2(index, prefix, writable(idterm), Caller, msg) : -1;
}

int logWriteToFileHex(int index, int prefix, const char* msg, const unsigned char* hexMsgBuffer,
                      unsigned int bufferSize) {
    return _writeToFileHex ? _writeToFileHex(index, prefix, msg, hexMsgBuffer, bufferSize) : -1;
}

int logWriteToFileHex2(int index, int prefix, const char* idterm, const char* Caller,
                       const char* msg, const unsigned char* hexMsgBuffer,
                       unsigned int bufferSize) {
    if (!_writeToFileHex2) return -1;
    return _writeToFileHex2(index, prefix, writable(idterm), Caller, msg, hexMsgBuffer, bufferSize);
}

int logCompressFile(const char* fileName) {
    return _compressFile ? _compressFile(fileName) : -1;
}

int logDecompressFile(const char* fileName) {
    return _decompressFile ? _decompressFile(fileName) : -1;
}

int logCompressFiles(int index) {
    return _compressFiles ? _compressFiles(index) : -1;
}

int logDecompressFiles(int index) {
    return _decompressFiles ? _decompressFiles(index) : -1;
}

bool isCreateLog() {
    return _createLog != nullptr;
}

bool islogWriteToFile2() {
    return _writeToFile2 != nullptr;
}

bool islogWriteToFileHex2() {
    return _writeToFileHex2 != nullptr;
}

}  // extern "C"
