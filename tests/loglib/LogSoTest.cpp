// Log.so end to end, loaded as the driver loads it: records, levels, files
// rotated, deleted and compressed, and writers at once.

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <map>
#include <regex>
#include <set>
#include <stdexcept>
#include <thread>

#include "loglib/LogLib.h"
#include "support/TestSupport.h"

using siutest::readWholeFile;
using siutest::TempDir;
using std::filesystem::exists;
using Lines = std::vector<std::string>;
using Names = std::set<std::string>;

namespace {

// An entry point of the loaded library (never closed: sessions may outlive a test).
template <typename Fn>
Fn entry(const char* name) {
    static void* handle = dlopen(LOGSO_PATH, RTLD_NOW | RTLD_LOCAL);
    void* fn = handle != nullptr ? dlsym(handle, name) : nullptr;
    if (fn == nullptr) throw std::runtime_error(name);
    return reinterpret_cast<Fn>(fn);
}
#define LOGSO(name) entry<decltype(&::name)>(#name)

struct Session {
    Session(const std::string& prefix, int days, int bytes, unsigned mask = ~0u)
        : index(LOGSO(createLog)(prefix.c_str(), days, bytes, mask)) {}
    ~Session() { LOGSO(exitLog)(index); }
    int write(const std::string& text, int level = 5) const {
        return LOGSO(writeToFile)(index, level, text.c_str());
    }
    int index;
};

// Local date YYYYMMDD days away from today (at noon, clear of clock changes).
std::string localDate(int days = 0) {
    time_t now = time(nullptr);
    tm parts{};
    localtime_r(&now, &parts);
    parts.tm_mday += days;
    parts.tm_hour = 12;
    mktime(&parts);
    char text[16];
    return std::string(text, strftime(text, sizeof text, "%Y%m%d", &parts));
}

Names namesIn(const TempDir& dir) {
    Names names;
    for (const auto& e : std::filesystem::directory_iterator(dir.path())) names.insert(e.path());
    return names;
}

// Today's files of prefix in the order they were written.
Lines todaysFiles(const std::string& prefix) {
    Lines files;
    for (int n = 0;; ++n) {
        std::string name = prefix + "_" + localDate() + (n ? "_" + std::to_string(n) : "") + ".log";
        if (!exists(name)) return files;
        files.push_back(name);
    }
}

Lines linesIn(const Lines& files) {
    Lines lines;
    for (const auto& file : files) {
        std::ifstream in(file);
        for (std::string line; std::getline(in, line);) lines.push_back(line);
    }
    return lines;
}

// The lines of dir's only file, which must be today's file of prefix, without
// the local stamps of the records.
Lines recordsIn(const TempDir& dir, const std::string& prefix) {
    const std::string d = localDate(), name = prefix + "_" + d + ".log";
    EXPECT_EQ(Names{dir.file(name)}, namesIn(dir));
    const std::regex stamp("^" + d.substr(0, 4) + "-" + d.substr(4, 2) + "-" + d.substr(6) +
                           R"( \d\d:\d\d:\d\d\.\d{3} )");
    Lines lines;
    for (const auto& line : linesIn({dir.file(name)}))
        lines.push_back(regex_replace(line, stamp, ""));
    return lines;
}

const std::string record100(71, 'x');  // a line of 100 bytes with stamp and level

}  // namespace

TEST(Records, AreOneLineOfStampLevelGivenColumnsAndMessageAndADumpOfAnyBytes) {
    TempDir dir, old;
    char lib[] = "lib", none[] = "", text[] = "text", prefix[] = "Old";
    const unsigned char bytes[] = "\x02Hello, board!\x03\x7f\xff\x00xyz";
    Session s(dir.file("App"), 10, 1 << 20);
    EXPECT_EQ(0, LOGSO(writeToFile2)(s.index, 5, lib, "ThrId: 7 |Manager|new", "Begin"));
    EXPECT_EQ(0, LOGSO(writeToFile2)(s.index, 3, none, nullptr, "no columns"));
    EXPECT_EQ(0, LOGSO(writeToFile2)(s.index, 2, nullptr, "openPort", "two\nlines\r\n"));
    EXPECT_EQ(0, LOGSO(writeToFileHex2)(s.index, 4, lib, "Cls::fn", "frame", bytes, 21));
    EXPECT_EQ(0, LOGSO(writeToFileHex)(s.index, 4, "no buffer", nullptr, 100));
    EXPECT_EQ(
        (Lines{"INF [lib] [ThrId: 7 |Manager|new] Begin", "ERR no columns",
               "WRN [openPort] two lines", "DBG [lib] [Cls::fn] frame",
               "    0000  02 48 65 6C 6C 6F 2C 20  62 6F 61 72 64 21 03 7F  .Hello, board!..",
               "    0010  FF 00 78 79 7A " + std::string(35, ' ') + "..xyz", "DBG no buffer"}),
        recordsIn(dir, "App"));

    // The older calls, without a session, write to a path and prefix.
    LOGSO(add)(old.file("").data(), prefix, 9, lib, "Cls|fn", text);
    LOGSO(logBuffer)(old.file("").data(), prefix, 4, none, nullptr, "dump", bytes + 8, 3);
    EXPECT_EQ((Lines{"STR [lib] [Cls|fn] text", "DBG dump",
                     "    0000  62 6F 61 " + std::string(41, ' ') + "boa"}),
              recordsIn(old, "Old"));
}

TEST(Records, NameTheLevelByTokenOrNumberAndKeepOnlyThoseOfTheMask) {
    auto levelsWritten = [](unsigned mask) {
        TempDir dir;
        Session s(dir.file("App"), 10, 1 << 20, mask);
        for (int level = -1; level <= 40; ++level) EXPECT_EQ(0, s.write("m", level)) << level;
        return recordsIn(dir, "App");
    };
    Lines all = {"L-1 m", "INI m", "FIM m", "WRN m", "ERR m", "DBG m",
                 "INF m", "STA m", "DBX m", "CFG m", "STR m", "PRM m"};
    for (int level = 11; level <= 40; ++level) all.push_back("L" + std::to_string(level) + " m");
    EXPECT_EQ(all, levelsWritten(~0u));
    EXPECT_EQ((Lines{"WRN m", "ERR m", "L11 m"}), levelsWritten(0x80C));
    EXPECT_EQ(Lines{}, levelsWritten(0));
}

TEST(BadInput, IsRefusedOrIgnoredLeavingOnlyTheFileOfTheSessionThatOpened) {
    TempDir dir;
    EXPECT_EQ(-1, LOGSO(createLog)(nullptr, 1, 1, ~0u));
    EXPECT_EQ(-1, LOGSO(createLog)(dir.file("").c_str(), 1, 1, ~0u));
    EXPECT_EQ(0, LOGSO(createLog)(dir.file("missing/App").c_str(), 1, 1, ~0u));
    int closed = Session(dir.file("App"), 1, 1 << 20).index;
    for (int index : {0, closed}) EXPECT_EQ(-1, LOGSO(writeToFile)(index, 5, "m")) << index;
    LOGSO(exitLog)(closed);
    LOGSO(add)(dir.file("").data(), nullptr, 5, nullptr, nullptr, nullptr);
    EXPECT_EQ(-1, LOGSO(compressFile)(nullptr));
    EXPECT_EQ(Names{dir.file("App_" + localDate() + ".log")}, namesIn(dir));
}

TEST(SizeRotation, StartsTheNextNumberedFileBeforeARecordWouldPassTheLimit) {
    TempDir dir;
    const std::string prefix = dir.file("App");
    {
        Session s(prefix, 10, 1000);
        for (int n = 0; n < 25; ++n) s.write(record100);
        EXPECT_EQ(0, s.write(std::string(1500, 'L')));  // larger than the limit: a file of its own
        EXPECT_EQ(0, s.write(record100));
    }
    auto files = todaysFiles(prefix);
    std::vector<size_t> sizes;
    for (const auto& file : files) sizes.push_back(readWholeFile(file).size());
    EXPECT_EQ((std::vector<size_t>{1000, 1000, 500, 1529, 100}), sizes);

    // A new session resumes the day's highest file while it has room.
    Session(prefix, 10, 1000).write("resumed");
    EXPECT_EQ(files, todaysFiles(prefix));
    EXPECT_EQ("resumed", linesIn({files.back()}).back().substr(28));
}

TEST(Retention, DeletesOnlyTheSessionsFilesOlderThanTheLimitWhenItOpens) {
    TempDir dir;
    const std::string old = localDate(-9);
    const Lines expired = {"App_" + localDate(-3) + "_2.log.gz", "App_" + localDate(-40) + ".log"};
    const Lines kept = {"App_" + localDate(-2) + ".log", "App_Min_" + old + ".log",
                        "xApp_" + old + ".log",          "App_" + old + "_01.log",
                        "App_" + old + ".log.bak",       "App_20231332.log"};
    for (const auto& name : expired) dir.write(name, "old\n");
    for (const auto& name : kept) dir.write(name, "keep\n");
    Session(dir.file("App"), 0, 1 << 20);  // no limit
    EXPECT_EQ(expired.size() + kept.size() + 1, namesIn(dir).size());

    Session s(dir.file("App"), 2, 1 << 20);
    for (const auto& name : expired) EXPECT_FALSE(exists(dir.file(name))) << name;
    for (const auto& name : kept) EXPECT_TRUE(exists(dir.file(name))) << name;
}

TEST(Compression, RoundTripsAFileAndRefusesToReplaceOneOrToUnpackCutData) {
    TempDir dir;
    std::string bytes;
    for (int i = 0; i < 100000; ++i) bytes += static_cast<char>(i * 7 % 251);
    const std::string file = dir.write("data.bin", bytes), cut = dir.write("cut.bin", bytes);
    EXPECT_EQ(0, LOGSO(compressFile)(file.c_str()));
    ASSERT_EQ(0, std::system(("gzip -dc " + file + ".gz > " + dir.file("unzipped")).c_str()));
    EXPECT_EQ(bytes, readWholeFile(dir.file("unzipped")));
    EXPECT_EQ(0, LOGSO(decompressFile)((file + ".gz").c_str()));
    EXPECT_EQ(bytes, readWholeFile(file));

    dir.write("data.bin.gz", "other");
    EXPECT_EQ(-1, LOGSO(compressFile)(file.c_str()));
    EXPECT_EQ(-1, LOGSO(decompressFile)(file.c_str()));  // the name without ".gz" works too
    ASSERT_EQ(0, LOGSO(compressFile)(cut.c_str()));
    ASSERT_EQ(0, truncate((cut + ".gz").c_str(), 100));
    EXPECT_EQ(-1, LOGSO(decompressFile)(cut.c_str()));
    EXPECT_EQ((Names{cut + ".gz", file, file + ".gz", dir.file("unzipped")}), namesIn(dir));
    EXPECT_EQ("other", readWholeFile(file + ".gz"));
}

TEST(Compression, TakesTheSessionsFinishedFilesButNeverTheOneBeingWritten) {
    TempDir dir;
    Session s(dir.file("App"), 10, 1000);
    for (int n = 0; n < 25; ++n) s.write(record100);
    auto files = todaysFiles(dir.file("App"));
    files.push_back(dir.write("App_" + localDate(-1) + ".log", "yesterday\n"));
    EXPECT_EQ(0, LOGSO(compressFiles)(s.index));
    EXPECT_EQ(-1, LOGSO(compressFile)(files[2].c_str()));
    EXPECT_EQ((Names{files[0] + ".gz", files[1] + ".gz", files[2], files[3] + ".gz"}),
              namesIn(dir));
    EXPECT_EQ(0, LOGSO(decompressFiles)(s.index));
    EXPECT_EQ(Names(files.begin(), files.end()), namesIn(dir));
}

TEST(Concurrency, ProcessesAndThreadsWritingOnePrefixLeaveOnlyWholeRecordsInOrder) {
    TempDir dir;
    const std::string prefix = dir.file("Shared");
    const int records = 400;
    const unsigned char bytes[] = "dump\x01\x02\x03\x04\x05\x06\x07\x08\x09\x0a\x0b\x0c";
    auto text = [](int w, int n) {
        return "w" + std::to_string(w) + " n" + std::to_string(n) + std::string(300, 'a' + w);
    };
    for (int p = 0; p < 2; ++p) {
        if (fork() != 0) continue;
        // A session per process written by two threads; its files rotate while the others write.
        int index = LOGSO(createLog)(prefix.c_str(), 10, 64 * 1024, ~0u);
        std::atomic<int> failures{index >= 1 ? 0 : 1};
        auto write = [&](int w) {
            for (int n = 0; n < records; ++n)
                failures -= LOGSO(writeToFileHex)(index, 5, text(w, n).c_str(), bytes, 16);
        };
        std::thread other(write, 2 * p + 1);
        write(2 * p);
        other.join();
        _exit(failures == 0 ? 0 : 1);
    }
    for (int status = -1; wait(&status) > 0;) EXPECT_EQ(0, status);
    EXPECT_GT(todaysFiles(prefix).size(), 5u);
    Lines lines = linesIn(todaysFiles(prefix));  // whole records, each with its dump, in order
    ASSERT_EQ(2u * 4 * records, lines.size());
    std::map<int, int> next;
    for (std::size_t i = 0; i < lines.size(); i += 2) {
        int w = lines[i].size() > 29 ? lines[i][29] - '0' : -1;
        ASSERT_EQ("INF " + text(w, next[w]++), lines[i].substr(24)) << i;
        ASSERT_EQ("    0000  64 75 6D 70 01 02 03 04  05 06 07 08 09 0A 0B 0C  dump............",
                  lines[i + 1]);
    }
}
