/* Capturing stand-in for the log library. Built several times with different
 * sets of entry points (STANDIN_OLD, STANDIN_SESSIONS, STANDIN_COLUMNS,
 * STANDIN_COMPRESSION), it writes no file but records every call as one line
 * of tab-separated fields (entry point, then its arguments; bytes as hex),
 * which the tests read through standinCalls(). */
#include <pthread.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#define EXPORT __attribute__((visibility("default")))

static pthread_mutex_t lock = PTHREAD_MUTEX_INITIALIZER;
static char* calls;
static size_t used;
static size_t capacity;
static int nextSession = 1;

static void append(const char* text, size_t n) {
    if (used + n + 1 > capacity) {
        size_t want = capacity ? capacity : 4096;
        while (used + n + 1 > want) want *= 2;
        char* grown = realloc(calls, want);
        if (grown == NULL) return;
        calls = grown;
        capacity = want;
    }
    memcpy(calls + used, text, n);
    used += n;
    calls[used] = '\0';
}

static void appendf(const char* format, ...) __attribute__((format(printf, 1, 2)));
static void appendf(const char* format, ...) {
    char piece[8192];
    va_list args;
    va_start(args, format);
    int n = vsnprintf(piece, sizeof piece, format, args);
    va_end(args);
    if (n < 0) return;
    append(piece, (size_t)n < sizeof piece ? (size_t)n : sizeof piece - 1);
}

static const char* text(const char* s) {
    return s ? s : "(null)";
}

static void appendBytes(const unsigned char* bytes, unsigned int n) {
    append("\t", 1);
    for (unsigned int i = 0; bytes != NULL && i < n; ++i) appendf("%02x", bytes[i]);
    appendf("\t%u\n", n);
}

/* Everything recorded since the last standinClear(); valid until the next call. */
EXPORT const char* standinCalls(void) {
    return calls ? calls : "";
}

EXPORT void standinClear(void) {
    pthread_mutex_lock(&lock);
    used = 0;
    if (calls) calls[0] = '\0';
    nextSession = 1;
    pthread_mutex_unlock(&lock);
}

/* createLog hands out first, first + 1, ...; 0 makes every session "none". */
EXPORT void standinSetNextSession(int first) {
    nextSession = first;
}

#ifdef STANDIN_OLD
EXPORT void add(char* szPath, char* szFileNamePrefix, int Prefix, char* idterm, const char* Caller,
                char* strReg) {
    pthread_mutex_lock(&lock);
    appendf("add\t%s\t%s\t%d\t%s\t%s\t%s\n", text(szPath), text(szFileNamePrefix), Prefix,
            text(idterm), text(Caller), text(strReg));
    pthread_mutex_unlock(&lock);
}

EXPORT void logBuffer(char* szPath, char* szFileNamePrefix, int Prefix, char* idterm,
                      const char* Caller, const char* strReg, const unsigned char* pBuffer,
                      unsigned int tamBuffer) {
    pthread_mutex_lock(&lock);
    appendf("logBuffer\t%s\t%s\t%d\t%s\t%s\t%s", text(szPath), text(szFileNamePrefix), Prefix,
            text(idterm), text(Caller), text(strReg));
    appendBytes(pBuffer, tamBuffer);
    pthread_mutex_unlock(&lock);
}
#endif

#ifdef STANDIN_SESSIONS
EXPORT int createLog(const char* fileName, int maxDayCount, int maxByteSize, unsigned int mask) {
    pthread_mutex_lock(&lock);
    int session = nextSession ? nextSession++ : 0;
    appendf("createLog\t%s\t%d\t%d\t%x\n", text(fileName), maxDayCount, maxByteSize, mask);
    pthread_mutex_unlock(&lock);
    return session;
}

EXPORT int writeToFile(int index, int prefix, const char* msg) {
    pthread_mutex_lock(&lock);
    appendf("writeToFile\t%d\t%d\t%s\n", index, prefix, text(msg));
    pthread_mutex_unlock(&lock);
    return 0;
}

EXPORT int writeToFileHex(int index, int prefix, const char* msg, const unsigned char* hexMsgBuffer,
                          unsigned int bufferSize) {
    pthread_mutex_lock(&lock);
    appendf("writeToFileHex\t%d\t%d\t%s", index, prefix, text(msg));
    appendBytes(hexMsgBuffer, bufferSize);
    pthread_mutex_unlock(&lock);
    return 0;
}

EXPORT void exitLog(int index) {
    pthread_mutex_lock(&lock);
    appendf("exitLog\t%d\n", index);
    pthread_mutex_unlock(&lock);
}
#endif

#ifdef STANDIN_COLUMNS
EXPORT int writeToFile2(int index, int prefix, char* idterm, const char* Caller, const char* msg) {
    pthread_mutex_lock(&lock);
    appendf("writeToFile2\t%d\t%d\t%s\t%s\t%s\n", index, prefix, text(idterm), text(Caller),
            text(msg));
    pthread_mutex_unlock(&lock);
    return 0;
}

EXPORT int writeToFileHex2(int index, int prefix, char* idterm, const char* Caller, const char* msg,
                           const unsigned char* hexMsgBuffer, unsigned int bufferSize) {
    pthread_mutex_lock(&lock);
    appendf("writeToFileHex2\t%d\t%d\t%s\t%s\t%s", index, prefix, text(idterm), text(Caller),
            text(msg));
    appendBytes(hexMsgBuffer, bufferSize);
    pthread_mutex_unlock(&lock);
    return 0;
}
#endif

#ifdef STANDIN_COMPRESSION
static int recordName(const char* function, const char* fileName) {
    pthread_mutex_lock(&lock);
    appendf("%s\t%s\n", function, text(fileName));
    pthread_mutex_unlock(&lock);
    return 7; /* distinctive, so a test can see it came from here */
}

static int recordSession(const char* function, int index) {
    pthread_mutex_lock(&lock);
    appendf("%s\t%d\n", function, index);
    pthread_mutex_unlock(&lock);
    return 8;
}

EXPORT int compressFile(const char* fileName) {
    return recordName("compressFile", fileName);
}
EXPORT int decompressFile(const char* fileName) {
    return recordName("decompressFile", fileName);
}
EXPORT int compressFiles(int index) {
    return recordSession("compressFiles", index);
}
EXPORT int decompressFiles(int index) {
    return recordSession("decompressFiles", index);
}
#endif
