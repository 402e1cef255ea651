#include "libuart/LineSpy.h"

#include <errno.h>
#include <stdarg.h>
#include <sys/ioctl.h>
#include <unistd.h>

// The names are the linker's --wrap convention.
extern "C" int __real_tcsetattr(int fd, int action, const termios* tio);
extern "C" int __real_ioctl(int fd, unsigned long request, ...);
extern "C" ssize_t __real_read(int fd, void* buf, size_t len);

namespace {
termios applied{};
siutest::ModemLines* modem = nullptr;
int readError = 0;
}  // namespace

extern "C" int __wrap_tcsetattr(int fd, int action, const termios* tio) {
    if (tio != nullptr) applied = *tio;
    return __real_tcsetattr(fd, action, tio);
}

extern "C" int __wrap_ioctl(int fd, unsigned long request, ...) {
    va_list args;
    va_start(args, request);
    void* arg = va_arg(args, void*);
    va_end(args);
    if (modem != nullptr && (request == TIOCMGET || request == TIOCMSET)) {
        int* status = static_cast<int*>(arg);
        if (request == TIOCMGET) {
            *status = modem->status;
        } else if (modem->failSet) {
            errno = EIO;
            return -1;
        } else {
            modem->status = *status;
        }
        return 0;
    }
    return __real_ioctl(fd, request, arg);
}

extern "C" ssize_t __wrap_read(int fd, void* buf, size_t len) {
    if (readError != 0) {
        errno = readError;
        readError = 0;
        return -1;
    }
    return __real_read(fd, buf, len);
}

namespace siutest {
termios lastAppliedSettings() {
    return applied;
}
void fakeModemLines(ModemLines* lines) {
    modem = lines;
}
void failNextRead(int err) {
    readError = err;
}
}  // namespace siutest
