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

TEST_F(LogLibraryBinding, FailsToLoadWhenNoLibraryExistsAndEveryWrapperIsANoOp) {
    siutest::ModulePathGuard guard;
    siutest::TempDir empty;
    siutest::setModuleDirectory(empty.path());
    EXPECT_EQ(-1, loadLogDll());
    EXPECT_FALSE(isCreateLog());
    EXPECT_EQ(-1, createLog("/p/name", 1, 1, 1));
    EXPECT_EQ(-1, logWriteToFileHex(1, 1, "x", kBytes, 1));
    logAdd("/p/", "name", 1, "", "", "x");
    EXPECT_EQ(0, freeLogDll());

    std::memset(modulePath, 0, sizeof modulePath);
    EXPECT_EQ(-1, loadLogDll());
    // A module directory too long for the path buffer is refused, not cut.
    std::memset(modulePath, 'd', sizeof modulePath - 1);
    modulePath[0] = modulePath[sizeof modulePath - 2] = '/';
    EXPECT_EQ(-1, loadLogDll());
}

TEST_F(LogLibraryBinding, ForgetsTheEntryPointsWhenFreedOrReplaced) {
    StandinLog full(LOG_STANDIN_FULL);
    ASSERT_TRUE(islogWriteToFile2());
    EXPECT_EQ(8, logCompressFiles(1));  // the entry point's own result
    EXPECT_EQ(0, freeLogDll());
    EXPECT_EQ(-1, createLog("/p/name", 1, 1, 1));
    EXPECT_EQ(0, freeLogDll());

    ASSERT_EQ(0, loadLogDll());
    StandinLog old(LOG_STANDIN_OLD);  // loading again releases the first library
    EXPECT_FALSE(isCreateLog());
    EXPECT_FALSE(islogWriteToFile2());
    EXPECT_FALSE(islogWriteToFileHex2());
    logAdd("/p/", "name", 2, "", "", "kept");
    EXPECT_EQ(std::vector<Call>({{"add", "/p/", "name", "2", "", "", "kept"}}), old.calls());
}
