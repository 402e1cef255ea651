#pragma once
// Where the library finds its configuration file. Header-only and free of the
// library's internals: siuctl includes it to show which file the library it
// loaded reads, so the two cannot disagree.

#include <sys/stat.h>

#include <cstddef>
#include <cstdio>

inline constexpr char kIniFileName[] = "NorvaSensorBoard.ini";
inline constexpr char kSystemIniPath[] = "/Norva/NorvaAPI/NorvaSensorBoard.ini";

// Writes into out (size bytes) the file the library reads: kSystemIniPath
// when that is a regular file, else kIniFileName in moduleDir, the library's
// own directory with its trailing '/'. The working directory is never
// searched, so an empty moduleDir finds nothing. False when no file was
// found; out then holds the second candidate (empty when it does not fit or
// moduleDir is empty).
inline bool locateIniFile(const char* moduleDir, char* out, std::size_t size) {
    struct stat st {};
    const auto isFile = [&st](const char* path) {
        return stat(path, &st) == 0 && S_ISREG(st.st_mode);
    };
    if (size == 0) return false;
    if (isFile(kSystemIniPath)) {
        std::snprintf(out, size, "%s", kSystemIniPath);
        return true;
    }
    out[0] = '\0';
    if (moduleDir == nullptr || moduleDir[0] == '\0') return false;
    const int n = std::snprintf(out, size, "%s%s", moduleDir, kIniFileName);
    if (n < 0 || static_cast<std::size_t>(n) >= size) {
        out[0] = '\0';
        return false;
    }
    return isFile(out);
}
