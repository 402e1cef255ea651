#pragma once
// Clocks in milliseconds, and sleeping.

#include <cstdint>

// Wall-clock milliseconds (CLOCK_REALTIME): a clock change moves them.
uint64_t GetTickMs();
uint64_t GetTickMs_64();
// Milliseconds since an epoch 946080000 s (30 years of 365 days) after 1970.
uint64_t GetCurrentTime();
// Milliseconds of CLOCK_MONOTONIC, for measuring intervals that must not jump.
uint64_t GetMonotonicTickMs();
// Milliseconds elapsed from start to now on the same clock; 0 when now < start.
uint64_t TickElapsedMs(uint64_t start, uint64_t now);
int Sleep_ms(unsigned int ms);
