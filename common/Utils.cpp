#include "common/Utils.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <pthread.h>
#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <memory>

#include "common/UniqueHandles.h"
#include "manager/Global.h"

char modulePath[256];

// --- Semaphores ----------------------------------------------------------------

int CreateNamedSem(const char* name, sem_t** sem) {
    if (sem == nullptr) return ERR_SEM_ERROR_CREATE_SEM;
    if (name == nullptr) {
        *sem = nullptr;
        return ERR_SEM_ERROR_CREATE_SEM;
    }
    sem_t* s = sem_open(name, O_CREAT, 0644, 1);
    if (s == SEM_FAILED) {
        *sem = nullptr;
        return ERR_SEM_ERROR_CREATE_SEM;
    }
    *sem = s;
    return SUCCESS;
}

int DestroyNamedSem(const char* /*name*/, sem_t** sem) {
    if (sem == nullptr || *sem == nullptr) return ERR_SEM_INVALID;
    if (sem_close(*sem) != 0) return ERR_SEM_ERROR_CLOSE_SEM;
    return SUCCESS;
}

int UnlinkNamedSem(const char* name) {
    if (name == nullptr || sem_unlink(name) != 0) return ERR_SEM_ERROR_CLOSE_SEM;
    return SUCCESS;
}

static int waitRetryingOnSignal(sem_t* sem) {
    int rc;
    do {
        rc = sem_wait(sem);
    } while (rc != 0 && errno == EINTR);
    return rc;
}

int LockNamedSem(sem_t* sem) {
    if (sem == nullptr) return ERR_SEM_INVALID;
    return waitRetryingOnSignal(sem) == 0 ? SUCCESS : ERR_SEM_GENERIC_ERROR;
}

// Absolute deadline "now + ms" on the given clock, computed as the original
// devices did: in double precision, nanoseconds truncated.
static timespec deadlineAfter(clockid_t clock, unsigned int ms) {
    timespec now{};
    clock_gettime(clock, &now);
    unsigned int s = ms / 1000;
    unsigned int r = ms % 1000;
    double ns = r * 1e6 + static_cast<double>(now.tv_nsec);
    timespec deadline{};
    if (ns >= 1e9) {
        deadline.tv_sec = now.tv_sec + s + 1;
        deadline.tv_nsec = static_cast<long>(r * 1e6 - 1e9 + static_cast<double>(now.tv_nsec));
    } else {
        deadline.tv_sec = now.tv_sec + s;
        deadline.tv_nsec = static_cast<long>(ns);
    }
    return deadline;
}

static int timedWait(sem_t* sem, clockid_t clock, unsigned int ms) {
    timespec deadline = deadlineAfter(clock, ms);
    int rc;
    do {
        rc = sem_timedwait(sem, &deadline);
    } while (rc != 0 && errno == EINTR);
    return rc == 0 ? SUCCESS : ERR_SEM_GENERIC_ERROR;
}

int LockNamedSemTimeOut(sem_t* sem, unsigned int ms) {
    if (sem == nullptr) return ERR_SEM_INVALID;
    return timedWait(sem, CLOCK_MONOTONIC, ms);
}

int ReleaseNamedSem(sem_t* sem) {
    if (sem == nullptr) return ERR_SEM_INVALID;
    return sem_post(sem) == 0 ? SUCCESS : ERR_SEM_RELEASE_FAILED;
}

int CreateUnamedSem(sem_t* sem) {
    if (sem == nullptr || sem_init(sem, 0, 1) != 0) return ERR_SEM_ERROR_CREATE_SEM;
    return SUCCESS;
}

int DestroyUnamedSem(sem_t* sem) {
    if (sem == nullptr) return ERR_SEM_INVALID;
    return sem_destroy(sem) == 0 ? SUCCESS : ERR_SEM_ERROR_CLOSE_SEM;
}

int LockUnamedSem(sem_t* sem) {
    if (sem == nullptr) return ERR_SEM_INVALID;
    return waitRetryingOnSignal(sem) == 0 ? SUCCESS : ERR_SEM_GENERIC_ERROR;
}

int LockUnamedSemTimeOut(sem_t* sem, unsigned int ms) {
    if (sem == nullptr) return ERR_SEM_GENERIC_ERROR;
    return timedWait(sem, CLOCK_REALTIME, ms);
}

int ReleaseUnamedSem(sem_t* sem) {
    if (sem == nullptr) return ERR_SEM_INVALID;
    return sem_post(sem) == 0 ? SUCCESS : ERR_SEM_RELEASE_FAILED;
}

// --- Threads ---------------------------------------------------------------------

int ThreadCreate(unsigned long* thread, void* (*routine)(void*), void* arg) {
    if (thread == nullptr || routine == nullptr) return -1;
    pthread_t t;
    if (pthread_create(&t, nullptr, routine, arg) != 0) return -1;
    *thread = static_cast<unsigned long>(t);
    return 0;
}

int ThreadClose(unsigned long thread) {
    return pthread_cancel(static_cast<pthread_t>(thread)) == 0 ? 0 : -1;
}

int ThreadWait(unsigned long thread) {
    return ThreadWaitTimeOut(thread, 0xFFFFFFFFu);
}

int ThreadWaitTimeOut(unsigned long thread, unsigned int /*ms*/) {
    return pthread_join(static_cast<pthread_t>(thread), nullptr) == 0 ? 0 : -1;
}

// --- Named events ----------------------------------------------------------------

int CreateNamedEvent(const char* /*name*/, void** handle, bool /*manualReset*/,
                     bool /*initialState*/) {
    return handle != nullptr ? 0 : ERR_INT_INVALID_POINTER;
}
int DestroyNamedEvent(void** handle) {
    return handle != nullptr ? 0 : ERR_INT_INVALID_POINTER;
}
int ResetNamedEvent(void* handle) {
    return handle != nullptr ? 0 : ERR_INT_INVALID_POINTER;
}
int SetNamedEvent(void* handle) {
    return handle != nullptr ? 0 : ERR_INT_INVALID_POINTER;
}
int SetNamedEvent(void** handle) {
    return SetNamedEvent(static_cast<void*>(handle));
}
bool IsNamedEventSetted(void* handle) {
    return handle != nullptr;
}
int DestroyHandle(void** /*handle*/) {
    return 0;
}

// --- Dynamic libraries -------------------------------------------------------------

int OpenLibrary(void** handle, const char* path) {
    if (handle == nullptr || path == nullptr) return -1;
    *handle = dlopen(path, RTLD_LAZY);
    return *handle != nullptr ? 0 : -1;
}

int CloseLibrary(void* handle) {
    if (handle == nullptr) return 0;
    return dlclose(handle) == 0 ? 0 : -1;
}

int GetSymbolAddress(void* handle, const char* name, void** address) {
    if (handle == nullptr || name == nullptr || address == nullptr) return ERR_GEN_INTERNAL_ERROR;
    *address = dlsym(handle, name);
    return *address != nullptr ? SUCCESS : ERR_GEN_INTERNAL_ERROR;
}

// --- Clocks ------------------------------------------------------------------------

static uint64_t toMs(const timespec& ts) {
    return static_cast<uint64_t>(ts.tv_sec) * 1000u + static_cast<uint64_t>(ts.tv_nsec) / 1000000u;
}

uint64_t GetTickMs() {
    timespec ts{};
    clock_gettime(CLOCK_REALTIME, &ts);
    return toMs(ts);
}

uint64_t GetTickMs_64() {
    return GetTickMs();
}

uint64_t GetCurrentTime() {
    timespec ts{};
    clock_gettime(CLOCK_REALTIME, &ts);
    ts.tv_sec -= 946080000;
    return toMs(ts);
}

uint64_t GetMonotonicTickMs() {
    timespec ts{};
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return toMs(ts);
}

uint64_t TickElapsedMs(uint64_t start, uint64_t now) {
    return now > start ? now - start : 0;
}

int Sleep_ms(unsigned int ms) {
    // 32-bit product as the callers expect: sleeps beyond ~71 minutes wrap.
    unsigned int us = ms * 1000u;
    usleep(us);
    return 0;
}

unsigned long UtlGetCurrentThreadId() {
    return static_cast<unsigned long>(pthread_self());
}

// --- Strings and paths ---------------------------------------------------------------

void rtrim(char* s) {
    if (s == nullptr || *s == '\0') return;
    char* p = s + std::strlen(s) - 1;
    while (*p == ' ' || *p == '\t') {
        *p = '\0';
        if (p == s) break;
        --p;
    }
}

char* strTrim(const char* s) {
    if (s == nullptr || *s == '\0') return nullptr;
    size_t n = std::strlen(s);
    char* out = new char[n + 1];
    size_t j = 0;
    for (size_t i = 0; i < n; ++i) {
        if (s[i] != ' ') out[j++] = s[i];
    }
    out[j] = '\0';
    return out;
}

int removeCharFromString(char* s, char c) {
    if (s == nullptr) return -1;
    char* w = s;
    for (char* r = s; *r != '\0'; ++r) {
        if (*r != c) *w++ = *r;
    }
    *w = '\0';
    return 0;
}

int stricmp(const char* a, const char* b) {
    if (a == nullptr || b == nullptr) return a == b ? 0 : (a == nullptr ? -1 : 1);
    return strcasecmp(a, b);
}

void getModulePath() {
    std::memset(modulePath, 0, sizeof modulePath);
    Dl_info info{};
    if (dladdr(reinterpret_cast<void*>(&getModulePath), &info) == 0 || info.dli_fname == nullptr)
        return;
    // The loader may report the path as it was found (relative to the working
    // directory at load time); resolve it so a later chdir cannot move it.
    std::unique_ptr<char, decltype(&std::free)> resolved(realpath(info.dli_fname, nullptr),
                                                         &std::free);
    const char* file = resolved ? resolved.get() : info.dli_fname;
    const char* slash = std::strrchr(file, '/');
    if (slash == nullptr) return;
    size_t n = static_cast<size_t>(slash - file) + 1;
    if (n >= sizeof modulePath) return;  // would not fit with its terminator
    std::memcpy(modulePath, file, n);
}

char* getCurrentPath(char* buf, unsigned int size) {
    if (buf == nullptr || size == 0) return nullptr;
    std::memset(buf, 0, size);
    char cwd[4096];
    if (getcwd(cwd, sizeof cwd) != nullptr) {
        std::strncpy(buf, cwd, size);
        buf[size - 1] = '\0';
    }
    return buf;
}

int SearchUSB(const char*, const char*, char*) {
    return -1;
}

char* getString(char* buf, int size) {
    if (buf == nullptr || size < 1) return nullptr;
    buf[0] = '\0';
    if (std::fgets(buf, size, stdin) == nullptr) return buf;
    buf[std::strcspn(buf, "\r\n")] = '\0';
    return buf;
}

int getInt() {
    char line[64];
    return std::atoi(getString(line, sizeof line));
}

char getChar() {
    char line[64];
    return getString(line, sizeof line)[0];
}

float getFloat() {
    char line[64];
    return static_cast<float>(std::atof(getString(line, sizeof line)));
}

void printBufferEx(const unsigned char* buf, unsigned int len) {
    if (buf == nullptr) return;
    for (unsigned int i = 0; i < len; ++i) std::printf("%02x ", buf[i]);
    std::printf("\n");
}

// --- Hex and integer conversions -------------------------------------------------------

void CharToHex(unsigned char* out, const char* in, int len) {
    if (out == nullptr || in == nullptr) return;
    // No validation: a digit gives c - '0', a letter c - '7' ("A".."F" give 10..15).
    auto nibble = [](char ch) {
        int c = std::toupper(static_cast<unsigned char>(ch));
        return static_cast<unsigned char>(c < 'A' ? c - '0' : c - '7');
    };
    for (int i = 0; i + 1 < len; i += 2) {
        out[i / 2] = static_cast<unsigned char>((nibble(in[i]) << 4) | (nibble(in[i + 1]) & 0x0F));
    }
}

void HexToChar(char* out, const unsigned char* in, int n) {
    if (out == nullptr || n < 0) return;
    std::memset(out, 0, static_cast<size_t>(2 * n + 1));
    if (in == nullptr) return;
    static const char digits[] = "0123456789ABCDEF";
    for (int i = 0; i < n; ++i) {
        out[2 * i] = digits[in[i] >> 4];
        out[2 * i + 1] = digits[in[i] & 0x0F];
    }
}

unsigned char* bufferToHexa(const char* text, int len, unsigned char** out, unsigned int* outLen) {
    if (out == nullptr || outLen == nullptr) return nullptr;
    if (text == nullptr || len < 1) {
        *out = nullptr;
        *outLen = 0;
        return nullptr;
    }
    unsigned int n = static_cast<unsigned int>((len + 1) / 2);
    unsigned char* bytes = new unsigned char[n]();
    for (int i = 0; i < len; ++i) {
        int c = std::toupper(static_cast<unsigned char>(text[i]));
        unsigned char v = static_cast<unsigned char>(c > 0x40 ? c - 0x37 : c - '0');
        if (i % 2 == 0)
            bytes[i / 2] = static_cast<unsigned char>(v << 4);
        else
            bytes[i / 2] = static_cast<unsigned char>(bytes[i / 2] | (v & 0x0F));
    }
    *out = bytes;
    *outLen = n;
    return bytes;
}

int insertIntInBuffer(unsigned char* buffer, int idxBuffer, int vlr, unsigned int qtdBytesCP,
                      int lenFieldSize) {
    if (qtdBytesCP > 4) return -1;
    if (buffer == nullptr || idxBuffer < 0 || lenFieldSize < 0) return -1;
    unsigned char* p = buffer + idxBuffer;
    for (int i = 0; i < lenFieldSize; ++i) p[i] = 0;
    if (lenFieldSize > 0) p[lenFieldSize - 1] = static_cast<unsigned char>(qtdBytesCP);
    p += lenFieldSize;
    unsigned int v = static_cast<unsigned int>(vlr);
    for (unsigned int i = 0; i < qtdBytesCP; ++i) {
        p[i] = static_cast<unsigned char>(v >> (8 * (qtdBytesCP - 1 - i)));
    }
    return 0;
}

unsigned int bufferHexToint(const unsigned char* buf, unsigned int n) {
    if (n > 4 || buf == nullptr) return 0;
    unsigned int v = 0;
    for (unsigned int i = 0; i < n; ++i) v = (v << 8) | buf[i];
    return v;
}

char* uIntToBinaryString(unsigned int value, char* buf, unsigned short size) {
    if (buf == nullptr || size <= 1) return nullptr;
    std::memset(buf, '0', size - 1u);
    buf[size - 1] = '\0';
    for (unsigned int k = 0; k < 32 && k < size - 1u; ++k) {
        if (value & (1u << k)) buf[size - 2 - k] = '1';
    }
    return buf;
}

// --- Files ---------------------------------------------------------------------------------

void readFile(const char* path, unsigned char** buf, unsigned int* len) {
    if (len == nullptr) return;
    *len = 0;
    if (path == nullptr || buf == nullptr) return;
    UniqueFile f(std::fopen(path, "rb"));
    if (!f) return;
    if (std::fseek(f.get(), 0, SEEK_END) != 0) return;
    long size = std::ftell(f.get());
    if (size <= 0 || static_cast<unsigned long>(size) > 0xFFFFFFFFul) return;
    std::rewind(f.get());
    std::unique_ptr<unsigned char[]> data(new unsigned char[static_cast<size_t>(size)]);
    size_t got = std::fread(data.get(), 1, static_cast<size_t>(size), f.get());
    *len = static_cast<unsigned int>(got);
    // A short read releases the buffer: the caller sees *len != file size.
    if (got == static_cast<size_t>(size)) *buf = data.release();
}

int writeFile(const char* path, const unsigned char* buf, unsigned int n) {
    if (path == nullptr || (buf == nullptr && n > 0)) return -1;
    UniqueFile f(std::fopen(path, "wb"));
    if (!f) return -1;
    if (n > 0 && std::fwrite(buf, 1, n, f.get()) != n) return -1;
    return std::fclose(f.release()) == 0 ? 0 : -1;
}
