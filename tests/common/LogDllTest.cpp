#include "common/LogDll.h"

#include <gtest/gtest.h>

#include <cstring>

#include "StandinLog.h"

using siutest::Call;

TEST(LogLibraryBinding, LoadsNothingWithoutALibraryAndForgetsEntryPointsOnceFreed) {
    if (siutest::systemLogLibraryPresent()) GTEST_SKIP() << "/Norva/NorvaAPI/Log.so would load";
    {
        siutest::StandinLog full(LOG_STANDIN_FULL);
        ASSERT_TRUE(islogWriteToFile2());
        EXPECT_EQ(8, logCompressFiles(1));         // the entry point's own result
        siutest::StandinLog old(LOG_STANDIN_OLD);  // loading again releases the first library
        EXPECT_FALSE(isCreateLog() || islogWriteToFile2() || islogWriteToFileHex2());
        logAdd("/p/", "name", 2, "", "", "kept");
        EXPECT_EQ(std::vector<Call>({{"add", "/p/", "name", "2", "", "", "kept"}}), old.calls());
    }
    EXPECT_EQ(-1, createLog("/p/name", 1, 1, 1));
    logAdd("/p/", "name", 1, "", "", "x");
    EXPECT_EQ(0, freeLogDll());

    siutest::ModulePathGuard guard;
    siutest::TempDir empty;
    siutest::setModuleDirectory(empty.path());
    EXPECT_EQ(-1, loadLogDll());
    modulePath[0] = '\0';
    EXPECT_EQ(-1, loadLogDll());
    // A module directory too long for the path buffer is refused, not cut.
    std::memset(modulePath, 'd', sizeof modulePath - 1);
    modulePath[0] = modulePath[sizeof modulePath - 2] = '/';
    EXPECT_EQ(-1, loadLogDll());
}
