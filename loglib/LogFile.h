#pragma once
// The file family of one log prefix as one writer sees it: the descriptor of
// the file being written, its day, number and size.

#include <string>

#include "common/UniqueHandles.h"
#include "loglib/LogFiles.h"

namespace loglib {

class LogFile {
public:
    // maxBytes <= 0: no size limit; maxDayCount <= 0: no clean-up.
    LogFile(std::string prefix, int maxDayCount, long long maxBytes);

    // Removes expired files and opens the day's current file: the highest
    // numbered one of the day (compressed ones count), or the next one when
    // that is full. False when no file can be opened.
    bool open(int date);

    // Writes one record with a single write(); moves to the new day's file or
    // to the next numbered file first when needed. Reopens after an earlier
    // failure. False when the record could not be written whole.
    bool append(int date, const std::string& record);

    const std::string& prefix() const { return filePrefix; }
    // The file being written; id() is meaningful only while isOpen().
    bool isOpen() const { return fd.get() >= 0; }
    std::string path() const { return logFilePath(filePrefix, current.date, current.number); }
    const LogFileId& id() const { return current; }
    int descriptor() const { return fd.get(); }

private:
    bool openNumber(int number);
    bool full(std::size_t incoming) const;
    bool moveToNextNumber(std::size_t incoming);

    std::string filePrefix;
    int maxDayCount;
    long long maxBytes;
    UniqueFd fd;
    LogFileId current;
    long long size = 0;
    long retryAfter = 0;  // monotonic second before which no reopen is tried
};

}  // namespace loglib
