// Bad input is refused or ignored, and the library offers nothing but its
// twelve entry points.

#include <gtest/gtest.h>

#include <cstdio>
#include <memory>

#include "LogSoSupport.h"

using siutest::TempDir;

TEST(BadInput, IsRefusedOrIgnoredWithoutWritingAnything) {
    TempDir dir;
    const LogSo& so = logSo();
    EXPECT_EQ(-1, so.createLog(nullptr, 1, 1, ~0u));
    EXPECT_EQ(-1, so.createLog("", 1, 1, ~0u));
    EXPECT_EQ(-1, so.createLog((dir.path() + "/").c_str(), 1, 1, ~0u));
    EXPECT_EQ(0, so.createLog(dir.file("missing/App").c_str(), 1, 1, ~0u));

    for (int index : {0, -1, 999999}) {
        EXPECT_EQ(-1, so.writeToFile(index, 5, "m"));
        EXPECT_EQ(-1, so.writeToFile2(index, 5, nullptr, nullptr, "m"));
        EXPECT_EQ(-1, so.writeToFileHex(index, 5, "m", nullptr, 0));
        EXPECT_EQ(-1, so.writeToFileHex2(index, 5, nullptr, nullptr, "m", nullptr, 0));
        EXPECT_EQ(-1, so.compressFiles(index));
        EXPECT_EQ(-1, so.decompressFiles(index));
        so.exitLog(index);
    }
    int closed = so.createLog(dir.file("App").c_str(), 1, 1 << 20, ~0u);
    ASSERT_GE(closed, 1);
    EXPECT_EQ(-1, so.writeToFile(closed, 5, nullptr));
    so.exitLog(closed);
    so.exitLog(closed);
    EXPECT_EQ(-1, so.writeToFile(closed, 5, "after exit"));

    std::string path = dir.path();
    char prefix[] = "Old", empty[] = "", text[] = "text";
    so.add(nullptr, prefix, 5, nullptr, nullptr, text);
    so.add(path.data(), nullptr, 5, nullptr, nullptr, text);
    so.add(path.data(), empty, 5, nullptr, nullptr, text);
    so.add(path.data(), prefix, 5, nullptr, nullptr, nullptr);
    so.logBuffer(path.data(), prefix, 5, nullptr, nullptr, nullptr, nullptr, 10);
    EXPECT_EQ(-1, so.compressFile(nullptr));
    EXPECT_EQ(-1, so.compressFile(""));
    EXPECT_EQ(-1, so.decompressFile(nullptr));
    EXPECT_EQ(-1, so.decompressFile(""));
    // Only the empty file of the session that opened.
    EXPECT_EQ((std::vector<std::string>{"App_" + localDate() + ".log"}), namesIn(dir.path()));
}

TEST(LogSoExports, AreExactlyTheTwelveEntryPoints) {
    std::unique_ptr<FILE, int (*)(FILE*)> nm(
        popen("nm -D --defined-only " LOGSO_PATH " | awk '{print $NF}' | sort", "r"), pclose);
    ASSERT_TRUE(nm);
    std::string out;
    char buf[256];
    while (fgets(buf, sizeof buf, nm.get())) out += buf;
    EXPECT_EQ(
        "add\ncompressFile\ncompressFiles\ncreateLog\ndecompressFile\ndecompressFiles\n"
        "exitLog\nlogBuffer\nwriteToFile\nwriteToFile2\nwriteToFileHex\nwriteToFileHex2\n",
        out);
}
