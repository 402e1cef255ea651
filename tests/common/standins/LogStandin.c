/* Capturing stand-in for the log library, built with different sets of entry
 * points (STANDIN_OLD, STANDIN_SESSIONS, STANDIN_COLUMNS, STANDIN_COMPRESSION).
 * It writes no file: every call becomes one line of tab-separated fields
 * (entry point, its arguments, bytes in hex and their count), read through
 * standinCalls. Calls arrive serialised by the caller's named semaphores. */
#include <stdarg.h>
#include <stdio.h>

#define EXPORT __attribute__((visibility("default")))
#define S(text) ((text) ? (text) : "(null)")

static char calls[1 << 20];
static size_t used;
static int nextSession = 1;

/* Appends to the record buffer; once it is full, later text is lost. */
static void put(const char* format, ...) __attribute__((format(printf, 1, 2)));
static void put(const char* format, ...) {
    va_list args;
    va_start(args, format);
    int n = vsnprintf(calls + used, sizeof calls - used, format, args);
    va_end(args);
    used += n > 0 ? (size_t)n : 0;
    if (used >= sizeof calls) used = sizeof calls - 1;
}

static void dump(const unsigned char* bytes, unsigned int n) {
    put("\t");
    for (unsigned int i = 0; bytes != NULL && i < n; ++i) put("%02x", bytes[i]);
    put("\t%u\n", n);
}

EXPORT const char* standinCalls(void) {
    return calls;
}
EXPORT void standinClear(void) {
    used = 0, calls[0] = '\0';
}
/* createLog hands out first, first + 1, ...; 0 makes every session "none". */
EXPORT void standinSetNextSession(int first) {
    nextSession = first;
}

#ifdef STANDIN_OLD
EXPORT void add(char* path, char* prefix, int level, char* idterm, const char* caller, char* msg) {
    put("add\t%s\t%s\t%d\t%s\t%s\t%s\n", S(path), S(prefix), level, S(idterm), S(caller), S(msg));
}
EXPORT void logBuffer(char* path, char* prefix, int level, char* idterm, const char* caller,
                      const char* msg, const unsigned char* bytes, unsigned int n) {
    put("logBuffer\t%s\t%s\t%d\t%s\t%s\t%s", S(path), S(prefix), level, S(idterm), S(caller),
        S(msg));
    dump(bytes, n);
}
#endif

#ifdef STANDIN_SESSIONS
EXPORT int createLog(const char* fileName, int maxDayCount, int maxByteSize, unsigned int mask) {
    put("createLog\t%s\t%d\t%d\t%x\n", S(fileName), maxDayCount, maxByteSize, mask);
    return nextSession ? nextSession++ : 0;
}
EXPORT int writeToFile(int index, int level, const char* msg) {
    put("writeToFile\t%d\t%d\t%s\n", index, level, S(msg));
    return 0;
}
EXPORT int writeToFileHex(int index, int level, const char* msg, const unsigned char* bytes,
                          unsigned int n) {
    put("writeToFileHex\t%d\t%d\t%s", index, level, S(msg));
    dump(bytes, n);
    return 0;
}
EXPORT void exitLog(int index) {
    put("exitLog\t%d\n", index);
}
#endif

#ifdef STANDIN_COLUMNS
EXPORT int writeToFile2(int index, int level, char* idterm, const char* caller, const char* msg) {
    put("writeToFile2\t%d\t%d\t%s\t%s\t%s\n", index, level, S(idterm), S(caller), S(msg));
    return 0;
}
EXPORT int writeToFileHex2(int index, int level, char* idterm, const char* caller, const char* msg,
                           const unsigned char* bytes, unsigned int n) {
    put("writeToFileHex2\t%d\t%d\t%s\t%s\t%s", index, level, S(idterm), S(caller), S(msg));
    dump(bytes, n);
    return 0;
}
#endif

#ifdef STANDIN_COMPRESSION
/* Distinctive results, so a test can see they came from here. */
EXPORT int compressFile(const char* name) {
    return put("compressFile\t%s\n", S(name)), 7;
}
EXPORT int decompressFile(const char* name) {
    return put("decompressFile\t%s\n", S(name)), 7;
}
EXPORT int compressFiles(int index) {
    return put("compressFiles\t%d\n", index), 8;
}
EXPORT int decompressFiles(int index) {
    return put("decompressFiles\t%d\n", index), 8;
}
#endif
