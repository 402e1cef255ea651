#pragma once
// The record of every command that reached the board, with the monotonic time
// at which its frame had fully arrived.

#include <chrono>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "common/UniqueHandles.h"

namespace siusim {

using Clock = std::chrono::steady_clock;

struct Received {
    Clock::time_point at;
    std::string command;
};

class Recorder {
public:
    // Also appends every record to path, one line "<ms> <command>" each.
    bool openFile(const std::string& path, std::string& error);
    void add(Clock::time_point at, const std::string& command);
    // Hands out the records kept so far and forgets them.
    std::vector<Received> take();

    // Milliseconds of the monotonic clock with three decimals, the clock that
    // std::chrono::steady_clock and CLOCK_MONOTONIC read.
    static std::string stamp(Clock::time_point at);
    // The command as one word: bytes outside '!'..'~' and the backslash as \xHH.
    static std::string escape(const std::string& command);

private:
    std::vector<Received> kept;
    UniqueFile file;
};

}  // namespace siusim
