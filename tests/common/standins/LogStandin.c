/* Capturing stand-in for the log library, built with different sets of entry
 * points (STANDIN_OLD, STANDIN_SESSIONS, STANDIN_COLUMNS, STANDIN_COMPRESSION).
 * It writes no file: every call becomes one line of tab-separated fields
 * (entry point, then its arguments, bytes in hex), read through standinCalls. */
#include <pthread.h>
#include <stdarg.h>
#include <stdio.h>

#define EXPORT __attribute__((visibility("default")))
#define S(text) ((text) ? (text) : "(null)")

static pthread_mutex_t lock = PTHREAD_MUTEX_INITIALIZER;
static char calls[1 << 20];
static size_t used;
static int nextSession = 1;

/* Appends to the record buffer; once it is full, later text is lost. */
static void vput(const char* format, va_list args) __attribute__((format(printf, 1, 0)));
static void vput(const char* format, va_list args) {
    int n = vsnprintf(calls + used, sizeof calls - used, format, args);
    used += n > 0 ? (size_t)n : 0;
    if (used >= sizeof calls) used = sizeof calls - 1;
}

static void put(const char* format, ...) __attribute__((format(printf, 1, 2)));
static void put(const char* format, ...) {
    va_list args;
    va_start(args, format);
    vput(format, args);
    va_end(args);
}

/* One call; n < 0 means the entry point takes no bytes. */
static void record(const unsigned char* bytes, long n, const char* format, ...)
    __attribute__((format(printf, 3, 4)));
static void record(const unsigned char* bytes, long n, const char* format, ...) {
    pthread_mutex_lock(&lock);
    va_list args;
    va_start(args, format);
    vput(format, args);
    va_end(args);
    if (n >= 0) {
        put("\t");
        for (long i = 0; bytes != NULL && i < n; ++i) put("%02x", bytes[i]);
        put("\t%ld", n);
    }
    put("\n");
    pthread_mutex_unlock(&lock);
}

EXPORT const char* standinCalls(void) {
    return calls;
}
EXPORT void standinClear(void) {
    used = 0, calls[0] = '\0', nextSession = 1;
}
/* createLog hands out first, first + 1, ...; 0 makes every session "none". */
EXPORT void standinSetNextSession(int first) {
    nextSession = first;
}

#ifdef STANDIN_OLD
EXPORT void add(char* path, char* prefix, int level, char* idterm, const char* caller, char* msg) {
    record(NULL, -1, "add\t%s\t%s\t%d\t%s\t%s\t%s", S(path), S(prefix), level, S(idterm), S(caller),
           S(msg));
}
EXPORT void logBuffer(char* path, char* prefix, int level, char* idterm, const char* caller,
                      const char* msg, const unsigned char* bytes, unsigned int n) {
    record(bytes, n, "logBuffer\t%s\t%s\t%d\t%s\t%s\t%s", S(path), S(prefix), level, S(idterm),
           S(caller), S(msg));
}
#endif

#ifdef STANDIN_SESSIONS
EXPORT int createLog(const char* fileName, int maxDayCount, int maxByteSize, unsigned int mask) {
    record(NULL, -1, "createLog\t%s\t%d\t%d\t%x", S(fileName), maxDayCount, maxByteSize, mask);
    return nextSession ? nextSession++ : 0;
}
EXPORT int writeToFile(int index, int level, const char* msg) {
    record(NULL, -1, "writeToFile\t%d\t%d\t%s", index, level, S(msg));
    return 0;
}
EXPORT int writeToFileHex(int index, int level, const char* msg, const unsigned char* bytes,
                          unsigned int n) {
    record(bytes, n, "writeToFileHex\t%d\t%d\t%s", index, level, S(msg));
    return 0;
}
EXPORT void exitLog(int index) {
    record(NULL, -1, "exitLog\t%d", index);
}
#endif

#ifdef STANDIN_COLUMNS
EXPORT int writeToFile2(int index, int level, char* idterm, const char* caller, const char* msg) {
    record(NULL, -1, "writeToFile2\t%d\t%d\t%s\t%s\t%s", index, level, S(idterm), S(caller),
           S(msg));
    return 0;
}
EXPORT int writeToFileHex2(int index, int level, char* idterm, const char* caller, const char* msg,
                           const unsigned char* bytes, unsigned int n) {
    record(bytes, n, "writeToFileHex2\t%d\t%d\t%s\t%s\t%s", index, level, S(idterm), S(caller),
           S(msg));
    return 0;
}
#endif

#ifdef STANDIN_COMPRESSION
/* Distinctive results, so a test can see they came from here. */
EXPORT int compressFile(const char* name) {
    return record(NULL, -1, "compressFile\t%s", S(name)), 7;
}
EXPORT int decompressFile(const char* name) {
    return record(NULL, -1, "decompressFile\t%s", S(name)), 7;
}
EXPORT int compressFiles(int index) {
    return record(NULL, -1, "compressFiles\t%d", index), 8;
}
EXPORT int decompressFiles(int index) {
    return record(NULL, -1, "decompressFiles\t%d", index), 8;
}
#endif
