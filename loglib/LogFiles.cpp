#include "loglib/LogFiles.h"

#include <dirent.h>
#include <unistd.h>

#include <memory>

namespace loglib {
namespace {

struct DirCloser {
    void operator()(DIR* dir) const { closedir(dir); }
};

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

bool hasSuffix(const std::string& text, std::size_t from, const char* suffix) {
    return text.compare(from, std::string::npos, suffix) == 0;
}

}  // namespace

std::string logFilePath(const std::string& prefix, int date, int number) {
    std::string path = prefix + "_" + std::to_string(date);
    if (number > 0) path += "_" + std::to_string(number);
    return path + ".log";
}

bool isValidDate(int yyyymmdd) {
    int year = yyyymmdd / 10000;
    int month = yyyymmdd / 100 % 100;
    int day = yyyymmdd % 100;
    if (year < 1 || month < 1 || month > 12 || day < 1) return false;
    static const int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    bool leap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
    int last = kDays[month - 1] + (month == 2 && leap ? 1 : 0);
    return day <= last;
}

long dayNumber(int yyyymmdd) {
    // Days from civil date in the proleptic Gregorian calendar.
    long year = yyyymmdd / 10000;
    long month = yyyymmdd / 100 % 100;
    long day = yyyymmdd % 100;
    year -= month <= 2 ? 1 : 0;
    long era = (year >= 0 ? year : year - 399) / 400;
    long yearOfEra = year - era * 400;
    long dayOfYear = (153 * (month + (month > 2 ? -3 : 9)) + 2) / 5 + day - 1;
    long dayOfEra = yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear;
    return era * 146097 + dayOfEra - 719468;
}

bool parseLogFileName(const std::string& base, const std::string& entry, LogFileId* id) {
    // base "_" 8 digits [ "_" number ] ".log" [ ".gz" ]
    if (entry.size() < base.size() + 13 || entry.compare(0, base.size(), base) != 0) {
        return false;
    }
    std::size_t pos = base.size();
    if (entry[pos++] != '_') return false;
    int date = 0;
    for (int i = 0; i < 8; ++i, ++pos) {
        if (!isDigit(entry[pos])) return false;
        date = date * 10 + (entry[pos] - '0');
    }
    if (!isValidDate(date)) return false;
    long number = 0;
    if (entry[pos] == '_') {
        ++pos;
        std::size_t first = pos;
        while (pos < entry.size() && isDigit(entry[pos]) && pos - first < 9) {
            number = number * 10 + (entry[pos] - '0');
            ++pos;
        }
        if (pos == first || entry[first] == '0') return false;
    }
    bool compressed;
    if (hasSuffix(entry, pos, ".log")) {
        compressed = false;
    } else if (hasSuffix(entry, pos, ".log.gz")) {
        compressed = true;
    } else {
        return false;
    }
    id->date = date;
    id->number = static_cast<int>(number);
    id->compressed = compressed;
    return true;
}

std::vector<LogFileEntry> listLogFiles(const std::string& prefix) {
    std::vector<LogFileEntry> files;
    std::size_t slash = prefix.rfind('/');
    std::string dirPart = slash == std::string::npos ? "" : prefix.substr(0, slash + 1);
    std::string base = slash == std::string::npos ? prefix : prefix.substr(slash + 1);
    if (base.empty()) return files;
    std::unique_ptr<DIR, DirCloser> dir(opendir(dirPart.empty() ? "." : dirPart.c_str()));
    if (!dir) return files;
    while (dirent* entry = readdir(dir.get())) {
        LogFileId id;
        if (parseLogFileName(base, entry->d_name, &id)) {
            files.push_back({dirPart + entry->d_name, id});
        }
    }
    return files;
}

void removeExpiredFiles(const std::string& prefix, int today, int maxDayCount) {
    if (maxDayCount <= 0 || !isValidDate(today)) return;
    long oldestKept = dayNumber(today) - maxDayCount;
    for (const LogFileEntry& file : listLogFiles(prefix)) {
        if (dayNumber(file.id.date) < oldestKept) unlink(file.path.c_str());
    }
}

}  // namespace loglib
