#pragma once
// Names of the files of a log prefix and the clean-up of old ones.
//
// A prefix is a full file-name prefix ("/var/log/app/Sensor"); its files are
//     <prefix>_<YYYYMMDD>.log, <prefix>_<YYYYMMDD>_<n>.log (n >= 1, no leading zero)
// and the same names followed by ".gz". Nothing else in the directory belongs
// to the prefix, whatever its name starts with.

#include <string>
#include <vector>

namespace loglib {

struct LogFileId {
    int date = 0;    // YYYYMMDD
    int number = 0;  // 0 for the day's first file
    bool compressed = false;

    // Order of writing: by day, then by number.
    bool before(const LogFileId& other) const {
        return date != other.date ? date < other.date : number < other.number;
    }
};

struct LogFileEntry {
    std::string path;
    LogFileId id;
};

// <prefix>_<date>.log or <prefix>_<date>_<number>.log
std::string logFilePath(const std::string& prefix, int date, int number);

// Whether entry (a name inside the prefix's directory) is one of the files of
// the prefix whose last path component is base; fills id when it is.
bool parseLogFileName(const std::string& base, const std::string& entry, LogFileId* id);

// Whether yyyymmdd is a real calendar date.
bool isValidDate(int yyyymmdd);

// Days from 1970-01-01 to a valid yyyymmdd.
long dayNumber(int yyyymmdd);

// Every file of the prefix in its directory, in no particular order.
std::vector<LogFileEntry> listLogFiles(const std::string& prefix);

// Deletes the files of the prefix dated more than maxDayCount days before
// today; maxDayCount <= 0 keeps everything.
void removeExpiredFiles(const std::string& prefix, int today, int maxDayCount);

}  // namespace loglib
