#include "common/Clock.h"

#include <unistd.h>

#include <ctime>

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
    // The product is taken in 32 bits: a pause beyond 4,294,967 ms (about 71
    // minutes) wraps round to a shorter one.
    unsigned int us = ms * 1000u;
    usleep(us);
    return 0;
}
