/* Capturing stand-in for the log library, built with different sets of entry points: each call
 * appends a line of tab-separated fields (entry point, arguments, bytes in hex, their count). */
#include <stdarg.h>
#include <stdio.h>

#define EXPORT __attribute__((visibility("default")))
#define S(text) ((text) ? (text) : "(null)")

EXPORT char standinCalls[1 << 20];  // a test empties it by writing a NUL at its start
static size_t used;

__attribute__((format(printf, 1, 2))) static void put(const char* format, ...) {
    if (standinCalls[0] == '\0') used = 0;
    va_list args;
    va_start(args, format);
    int n = vsnprintf(standinCalls + used, sizeof standinCalls - used, format, args);
    va_end(args);
    if (n > 0 && (size_t)n < sizeof standinCalls - used) used += (size_t)n;
}

static void dump(const unsigned char* bytes, unsigned int n) {
    put("\t");
    for (unsigned int i = 0; bytes != NULL && i < n; ++i) put("%02x", bytes[i]);
    put("\t%u\n", n);
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
    static int nextSession = 1;
    return nextSession++;
}
EXPORT int writeToFile(int index, int level, const char* msg) {
    return put("writeToFile\t%d\t%d\t%s\n", index, level, S(msg)), 0;
}
EXPORT int writeToFileHex(int index, int level, const char* msg, const unsigned char* bytes,
                          unsigned int n) {
    return put("writeToFileHex\t%d\t%d\t%s", index, level, S(msg)), dump(bytes, n), 0;
}
EXPORT void exitLog(int index) {
    put("exitLog\t%d\n", index);
}
#endif

#ifdef STANDIN_COLUMNS
EXPORT int writeToFile2(int index, int level, char* idterm, const char* caller, const char* msg) {
    return put("writeToFile2\t%d\t%d\t%s\t%s\t%s\n", index, level, S(idterm), S(caller), S(msg)), 0;
}
EXPORT int writeToFileHex2(int index, int level, char* idterm, const char* caller, const char* msg,
                           const unsigned char* bytes, unsigned int n) {
    put("writeToFileHex2\t%d\t%d\t%s\t%s\t%s", index, level, S(idterm), S(caller), S(msg));
    return dump(bytes, n), 0;
}
#endif

#ifdef STANDIN_COMPRESSION
EXPORT int compressFiles(int index) {
    return put("compressFiles\t%d\n", index), 8;  // a result a test can tell apart
}
#endif
