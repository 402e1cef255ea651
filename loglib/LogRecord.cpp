#include "loglib/LogRecord.h"

#include <cstring>
#include <ctime>

namespace loglib {
namespace {

const char* const kLevelTokens[] = {"INI", "FIM", "WRN", "ERR", "DBG", "INF",
                                    "STA", "DBX", "CFG", "STR", "PRM"};
constexpr int kLevelCount = sizeof(kLevelTokens) / sizeof(kLevelTokens[0]);

void putDigits(char* at, int value, int width) {
    for (int i = width - 1; i >= 0; --i) {
        at[i] = static_cast<char>('0' + value % 10);
        value /= 10;
    }
}

// Appends text with CR and LF turned into blanks (a record stays one line);
// trailing line breaks are dropped.
void appendOneLine(std::string& out, const char* text) {
    std::size_t len = std::strlen(text);
    while (len > 0 && (text[len - 1] == '\n' || text[len - 1] == '\r')) --len;
    std::size_t start = out.size();
    out.append(text, len);
    for (std::size_t i = start; i < out.size(); ++i) {
        if (out[i] == '\n' || out[i] == '\r') out[i] = ' ';
    }
}

void appendColumn(std::string& out, const char* text) {
    if (text == nullptr || *text == '\0') return;
    out += '[';
    appendOneLine(out, text);
    out += "] ";
}

void appendDump(std::string& out, const unsigned char* bytes, std::size_t count) {
    static const char kHex[] = "0123456789ABCDEF";
    for (std::size_t row = 0; row < count; row += 16) {
        char line[96];
        char* p = line;
        *p++ = ' ';
        *p++ = ' ';
        *p++ = ' ';
        *p++ = ' ';
        // Offsets take four digits, more only for buffers past 64 KiB.
        int digits = 4;
        while (digits < 16 && (row >> (4 * digits)) != 0) ++digits;
        for (int d = digits - 1; d >= 0; --d) *p++ = kHex[(row >> (4 * d)) & 0xF];
        *p++ = ' ';
        *p++ = ' ';
        std::size_t n = count - row < 16 ? count - row : 16;
        for (std::size_t i = 0; i < 16; ++i) {
            if (i == 8) *p++ = ' ';
            if (i < n) {
                *p++ = kHex[bytes[row + i] >> 4];
                *p++ = kHex[bytes[row + i] & 0xF];
            } else {
                *p++ = ' ';
                *p++ = ' ';
            }
            *p++ = ' ';
        }
        *p++ = ' ';
        for (std::size_t i = 0; i < n; ++i) {
            unsigned char c = bytes[row + i];
            *p++ = (c >= 0x20 && c < 0x7F) ? static_cast<char>(c) : '.';
        }
        *p++ = '\n';
        out.append(line, static_cast<std::size_t>(p - line));
    }
}

}  // namespace

LocalTime localNow() {
    thread_local time_t cachedSecond = -1;
    thread_local LocalTime cached;
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    if (now.tv_sec != cachedSecond) {
        tm parts{};
        localtime_r(&now.tv_sec, &parts);
        int year = parts.tm_year + 1900;
        cached.date = year * 10000 + (parts.tm_mon + 1) * 100 + parts.tm_mday;
        char* s = cached.stamp;
        putDigits(s, year, 4);
        s[4] = '-';
        putDigits(s + 5, parts.tm_mon + 1, 2);
        s[7] = '-';
        putDigits(s + 8, parts.tm_mday, 2);
        s[10] = ' ';
        putDigits(s + 11, parts.tm_hour, 2);
        s[13] = ':';
        putDigits(s + 14, parts.tm_min, 2);
        s[16] = ':';
        putDigits(s + 17, parts.tm_sec, 2);
        s[19] = '.';
        s[23] = '\0';
        cachedSecond = now.tv_sec;
    }
    LocalTime result = cached;
    putDigits(result.stamp + 20, static_cast<int>(now.tv_nsec / 1000000), 3);
    return result;
}

std::string levelToken(int level) {
    if (level >= 0 && level < kLevelCount) return kLevelTokens[level];
    return "L" + std::to_string(level);
}

bool levelEnabled(unsigned int mask, int level) {
    if (level >= 0 && level < 32) return (mask >> level) & 1u;
    return mask == ~0u;
}

void formatRecord(std::string& out, const LocalTime& time, int level, const char* idterm,
                  const char* caller, const char* msg, const unsigned char* bytes,
                  std::size_t count) {
    out.clear();
    out.append(time.stamp, 23);
    out += ' ';
    if (level >= 0 && level < kLevelCount) {
        out.append(kLevelTokens[level], 3);
    } else {
        out += levelToken(level);
    }
    out += ' ';
    appendColumn(out, idterm);
    appendColumn(out, caller);
    if (msg != nullptr) appendOneLine(out, msg);
    out += '\n';
    if (bytes != nullptr) appendDump(out, bytes, count);
}

}  // namespace loglib
