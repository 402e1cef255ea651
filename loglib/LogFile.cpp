#include "loglib/LogFile.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <ctime>
#include <utility>

namespace loglib {
namespace {

// A bound on how many full numbered files are stepped over in one go, so that
// a directory crowded by other writers cannot hold a record up for long.
constexpr int kMaxNumberSteps = 10000;

bool exists(const std::string& path) {
    struct stat st {};
    return lstat(path.c_str(), &st) == 0;
}

}  // namespace

LogFile::LogFile(std::string prefix, int maxDays, long long maxSize)
    : filePrefix(std::move(prefix)), maxDayCount(maxDays), maxBytes(maxSize) {}

bool LogFile::openNumber(int number) {
    current.number = number;
    fd.reset(::open(path().c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC | O_NOFOLLOW, 0644));
    if (fd.get() < 0) return false;
    struct stat st {};
    if (fstat(fd.get(), &st) != 0 || !S_ISREG(st.st_mode)) {
        fd.reset();
        return false;
    }
    size = st.st_size;
    return true;
}

bool LogFile::full(std::size_t incoming) const {
    return maxBytes > 0 && size > 0 && size + static_cast<long long>(incoming) > maxBytes;
}

bool LogFile::moveToNextNumber(std::size_t incoming) {
    int number = current.number;
    for (int step = 0; step < kMaxNumberSteps; ++step) {
        ++number;
        // A compressed file of that number is finished; never write beside it.
        if (exists(logFilePath(filePrefix, current.date, number) + ".gz")) continue;
        if (!openNumber(number)) return false;
        if (!full(incoming)) return true;
    }
    return isOpen();
}

bool LogFile::open(int date) {
    fd.reset();
    current = LogFileId{};
    current.date = date;
    removeExpiredFiles(filePrefix, date, maxDayCount);
    int highest = 0;
    for (const LogFileEntry& file : listLogFiles(filePrefix)) {
        if (file.id.date == date && file.id.number > highest) highest = file.id.number;
    }
    current.number = highest;
    if (exists(path() + ".gz")) return moveToNextNumber(1);
    if (!openNumber(highest)) return false;
    return !full(1) || moveToNextNumber(1);
}

bool LogFile::append(int date, const std::string& record) {
    if (date != current.date || !isOpen()) {
        // After a failed open, wait a second before trying again: an
        // unwritable directory must not cost a directory scan per record.
        timespec now{};
        clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
        if (date == current.date && now.tv_sec < retryAfter) return false;
        if (!open(date)) {
            retryAfter = now.tv_sec + 1;
            return false;
        }
    }
    if (full(record.size()) && !moveToNextNumber(record.size())) return false;
    const char* data = record.data();
    std::size_t left = record.size();
    while (left > 0) {
        ssize_t n = write(fd.get(), data, left);
        if (n < 0) {
            if (errno == EINTR) continue;
            fd.reset();  // reopened with the next record
            return false;
        }
        data += n;
        left -= static_cast<std::size_t>(n);
    }
    // The offset of an O_APPEND descriptor is the end of the file after our
    // write, so the size also counts what other writers have appended.
    off_t end = lseek(fd.get(), 0, SEEK_CUR);
    size = end >= 0 ? static_cast<long long>(end) : size + static_cast<long long>(record.size());
    return true;
}

}  // namespace loglib
