#pragma once
// The record format shared by every entry point of Log.so, and the local clock
// it is stamped with.

#include <cstddef>
#include <string>

namespace loglib {

// Local date as YYYYMMDD and the stamp "YYYY-MM-DD HH:MM:SS.mmm".
struct LocalTime {
    int date = 0;
    char stamp[24] = {};
};

// The current local time. localtime_r runs at most once per second and thread.
LocalTime localNow();

// "INF" for level 5 and so on; "L<level>" for a level outside 0..10.
std::string levelToken(int level);

// Whether mask enables level (bit n = level n). A level outside 0..31 has no
// bit of its own and is enabled only by a mask with every bit set.
bool levelEnabled(unsigned int mask, int level);

// Replaces out with one record: the line, then the dump of count bytes when
// bytes is given. idterm, caller and msg may be null (treated as empty).
void formatRecord(std::string& out, const LocalTime& time, int level, const char* idterm,
                  const char* caller, const char* msg, const unsigned char* bytes,
                  std::size_t count);

}  // namespace loglib
