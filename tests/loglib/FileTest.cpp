// Which files a session writes, keeps, deletes and compresses.

#include <gtest/gtest.h>
#include <unistd.h>

#include "LogSoSupport.h"

using siutest::readWholeFile;
using siutest::TempDir;
using std::filesystem::exists;

namespace {

// A record whose line is exactly 100 bytes (28 of stamp and level).
std::string record100(int n) {
    std::string text = "record " + std::to_string(1000 + n) + " ";
    return text + std::string(71 - text.size(), 'x');
}

}  // namespace

TEST(SizeRotation, StartsTheNextNumberedFileBeforeARecordWouldPassTheLimit) {
    TempDir dir;
    std::string prefix = dir.file("App");
    {
        Session s(prefix, 10, 1000, ~0u);
        for (int n = 0; n < 25; ++n) logSo().writeToFile(s.index, 5, record100(n).c_str());
        // A record larger than the limit takes a file of its own.
        EXPECT_EQ(0, logSo().writeToFile(s.index, 5, std::string(1500, 'L').c_str()));
        EXPECT_EQ(0, logSo().writeToFile(s.index, 5, record100(25).c_str()));
    }
    auto files = todaysFiles(prefix);
    ASSERT_EQ(5u, files.size());
    std::string all;
    for (const auto& file : files) all += readWholeFile(file);
    EXPECT_EQ(readWholeFile(files[0]).size(), 1000u);
    EXPECT_EQ(readWholeFile(files[2]).size(), 500u);
    EXPECT_EQ(readWholeFile(files[3]).size(), 1529u);
    auto lines = linesOf(all);
    ASSERT_EQ(27u, lines.size());
    for (int n = 0; n < 25; ++n) EXPECT_EQ(record100(n), lines[n].substr(28)) << n;
    EXPECT_EQ(record100(25), lines[26].substr(28));

    // A new session resumes the day's highest file while it has room.
    Session again(prefix, 10, 1000, ~0u);
    logSo().writeToFile(again.index, 5, "resumed");
    EXPECT_EQ(5u, todaysFiles(prefix).size());
    EXPECT_EQ("resumed", linesOf(readWholeFile(files[4])).back().substr(28));
}

TEST(Retention, DeletesOnlyTheSessionsFilesOlderThanTheLimitWhenItOpens) {
    TempDir dir;
    std::vector<std::string> expired = {"App_" + localDate(-3) + ".log",
                                        "App_" + localDate(-3) + "_2.log.gz",
                                        "App_" + localDate(-40) + ".log"};
    std::string old = localDate(-9);
    std::vector<std::string> kept = {"App_" + localDate(-1) + ".log",
                                     "App_" + localDate(-2) + "_7.log.gz",
                                     "App_Min_" + old + ".log",
                                     "Other_" + old + ".log",
                                     "App_" + old + "_01.log",
                                     "App_" + old + ".log.bak",
                                     "App_" + old + ".txt",
                                     "App_20231332.log",
                                     "App" + old + ".log",
                                     "xApp_" + old + ".log"};
    for (const auto& name : expired) dir.write(name, "old\n");
    for (const auto& name : kept) dir.write(name, "keep\n");
    { Session unlimited(dir.file("App"), 0, 1 << 20, ~0u); }
    EXPECT_EQ(expired.size() + kept.size() + 1, namesIn(dir.path()).size());

    Session s(dir.file("App"), 2, 1 << 20, ~0u);
    ASSERT_GE(s.index, 1);
    for (const auto& name : expired) EXPECT_FALSE(exists(dir.file(name))) << name;
    for (const auto& name : kept) EXPECT_TRUE(exists(dir.file(name))) << name;
}

TEST(Compression, GzipsTheSessionsFinishedFilesButNeverTheOneBeingWritten) {
    TempDir dir;
    std::string prefix = dir.file("App");
    Session s(prefix, 10, 1000, ~0u);
    for (int n = 0; n < 25; ++n) logSo().writeToFile(s.index, 5, record100(n).c_str());
    auto files = todaysFiles(prefix);
    files.push_back(dir.write("App_" + localDate(-1) + ".log", "yesterday\n"));
    ASSERT_EQ(4u, files.size());
    std::vector<std::string> contents;
    for (const auto& f : files) contents.push_back(readWholeFile(f));

    EXPECT_EQ(0, logSo().compressFiles(s.index));
    for (std::size_t i = 0; i < files.size(); ++i) {
        bool active = i == 2;
        EXPECT_EQ(active, exists(files[i])) << i;
        EXPECT_EQ(active ? "" : contents[i], gunzipped(files[i] + ".gz")) << i;
    }
    logSo().writeToFile(s.index, 5, record100(99).c_str());
    EXPECT_EQ(contents[2].size() + 100, readWholeFile(files[2]).size());

    EXPECT_EQ(0, logSo().decompressFiles(s.index));
    for (std::size_t i : {0, 1, 3}) {
        EXPECT_FALSE(exists(files[i] + ".gz")) << i;
        EXPECT_EQ(contents[i], readWholeFile(files[i])) << i;
    }
}

TEST(Compression, RoundTripsOneNamedFileAndRefusesWithoutChangingAnything) {
    TempDir dir;
    std::string bytes;
    for (int i = 0; i < 100000; ++i) bytes += static_cast<char>(i * 7 % 251);
    std::string file = dir.write("data.bin", bytes);
    EXPECT_EQ(0, logSo().compressFile(file.c_str()));
    EXPECT_FALSE(exists(file));
    EXPECT_EQ(bytes, gunzipped(file + ".gz"));
    EXPECT_EQ(0, logSo().decompressFile((file + ".gz").c_str()));
    EXPECT_EQ(bytes, readWholeFile(file));
    EXPECT_EQ((std::vector<std::string>{"data.bin"}), namesIn(dir.path()));

    // Neither direction replaces an existing file.
    dir.write("data.bin.gz", "other");
    EXPECT_EQ(-1, logSo().compressFile(file.c_str()));
    EXPECT_EQ(-1, logSo().decompressFile(file.c_str()));  // the name without ".gz" works too
    EXPECT_EQ(bytes, readWholeFile(file));
    EXPECT_EQ("other", readWholeFile(file + ".gz"));

    // No gzip data, a truncated gzip file, a missing file, a directory.
    dir.write("plain.gz", "not compressed");
    EXPECT_EQ(-1, logSo().decompressFile(dir.file("plain.gz").c_str()));
    std::string cut = dir.write("cut.bin", bytes);
    ASSERT_EQ(0, logSo().compressFile(cut.c_str()));
    ASSERT_EQ(0, truncate((cut + ".gz").c_str(), 100));
    EXPECT_EQ(-1, logSo().decompressFile(cut.c_str()));
    EXPECT_EQ(-1, logSo().compressFile(dir.file("missing").c_str()));
    EXPECT_EQ(-1, logSo().compressFile(dir.path().c_str()));
    EXPECT_EQ((std::vector<std::string>{"cut.bin.gz", "data.bin", "data.bin.gz", "plain.gz"}),
              namesIn(dir.path()));

    // The file a session is writing stays as it is.
    Session s(dir.file("App"), 10, 1 << 20, ~0u);
    std::string live = dir.file("App_" + localDate() + ".log");
    EXPECT_EQ(-1, logSo().compressFile(live.c_str()));
    EXPECT_TRUE(exists(live));
}
