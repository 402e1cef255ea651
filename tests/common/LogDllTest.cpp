#include "common/LogDll.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "StandinLog.h"
#include "support/TestSupport.h"

using siutest::Call;
using siutest::StandinLog;

namespace {

class LogLibraryBinding : public ::testing::Test {
protected:
    void SetUp() override {
        if (siutest::systemLogLibraryPresent())
            GTEST_SKIP() << "/Norva/NorvaAPI/Log.so exists and would be loaded instead";
    }
};

const unsigned char kBytes[] = {0x00, 0x7f, 0xff};

}  // namespace

TEST_F(LogLibraryBinding, PassesEveryCallThroughToAFullLibraryInTheModuleDirectory) {
    StandinLog lib(LOG_STANDIN_FULL);
    ASSERT_EQ(0, lib.loadResult());
    EXPECT_TRUE(isCreateLog());
    EXPECT_TRUE(islogWriteToFile2());
    EXPECT_TRUE(islogWriteToFileHex2());

    logAdd("/p/", "name", 3, "lib", "info", "text");
    logBuffer("/p/", "name", 4, "lib", "info", "text", kBytes, sizeof kBytes);
    EXPECT_EQ(1, createLog("/p/name", 2, 300, 0x80Cu));
    EXPECT_EQ(0, logWriteToFile(1, 5, "a"));
    EXPECT_EQ(0, logWriteToFile2(1, 6, "lib", "info", "b"));
    EXPECT_EQ(0, logWriteToFileHex(1, 7, "c", kBytes, 2));
    EXPECT_EQ(0, logWriteToFileHex2(1, 8, "lib", "info", "d", kBytes, 3));
    exitLog(1);
    EXPECT_EQ(7, logCompressFile("f1"));
    EXPECT_EQ(7, logDecompressFile("f2"));
    EXPECT_EQ(8, logCompressFiles(4));
    EXPECT_EQ(8, logDecompressFiles(5));

    std::vector<Call> expected = {
        {"add", "/p/", "name", "3", "lib", "info", "text"},
        {"logBuffer", "/p/", "name", "4", "lib", "info", "text", "007fff", "3"},
        {"createLog", "/p/name", "2", "300", "80c"},
        {"writeToFile", "1", "5", "a"},
        {"writeToFile2", "1", "6", "lib", "info", "b"},
        {"writeToFileHex", "1", "7", "c", "007f", "2"},
        {"writeToFileHex2", "1", "8", "lib", "info", "d", "007fff", "3"},
        {"exitLog", "1"},
        {"compressFile", "f1"},
        {"decompressFile", "f2"},
        {"compressFiles", "4"},
        {"decompressFiles", "5"},
    };
    EXPECT_EQ(expected, lib.calls());
}

TEST_F(LogLibraryBinding, FailsToLoadWhenNoLibraryExistsAndEveryWrapperIsANoOp) {
    siutest::ModulePathGuard guard;
    siutest::TempDir empty;
    siutest::setModuleDirectory(empty.path());
    EXPECT_EQ(-1, loadLogDll());
    EXPECT_FALSE(isCreateLog());
    EXPECT_EQ(-1, createLog("/p/name", 1, 1, 1));
    EXPECT_EQ(-1, logWriteToFile(1, 1, "x"));
    EXPECT_EQ(-1, logCompressFile("f"));
    logAdd("/p/", "name", 1, "", "", "x");
    logBuffer("/p/", "name", 1, "", "", "x", kBytes, 1);
    exitLog(1);
    EXPECT_EQ(0, freeLogDll());

    std::memset(modulePath, 0, sizeof modulePath);
    EXPECT_EQ(-1, loadLogDll());

    // A module directory too long for the path buffer is refused, not cut.
    std::memset(modulePath, 'd', sizeof modulePath - 1);
    modulePath[0] = '/';
    modulePath[sizeof modulePath - 2] = '/';
    EXPECT_EQ(-1, loadLogDll());
}

TEST_F(LogLibraryBinding, ForgetsTheEntryPointsWhenFreedOrReplaced) {
    {
        StandinLog full(LOG_STANDIN_FULL);
        ASSERT_EQ(0, full.loadResult());
        EXPECT_TRUE(isCreateLog());
        EXPECT_EQ(0, freeLogDll());
        EXPECT_FALSE(isCreateLog());
        EXPECT_EQ(-1, createLog("/p/name", 1, 1, 1));
        EXPECT_EQ(0, freeLogDll());
    }
    StandinLog full(LOG_STANDIN_FULL);
    ASSERT_TRUE(islogWriteToFile2());
    StandinLog old(LOG_STANDIN_OLD);  // loading again releases the first library
    EXPECT_FALSE(isCreateLog());
    EXPECT_FALSE(islogWriteToFile2());
    EXPECT_FALSE(islogWriteToFileHex2());
    EXPECT_EQ(-1, logWriteToFile2(1, 1, "lib", "info", "x"));
    logAdd("/p/", "name", 2, "", "", "kept");
    EXPECT_EQ(std::vector<Call>({{"add", "/p/", "name", "2", "", "", "kept"}}), old.calls());
}
