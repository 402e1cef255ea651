#include "common/Log.h"

#include <future>
#include <memory>

#include "StandinLog.h"
#include "common/Configuration.h"
#include "common/ProcessLock.h"
#include "common/Threads.h"
#include "manager/Global.h"

using Calls = std::vector<siutest::Call>;

namespace {

const unsigned char kBytes[] = {0x01, 0xab};

class LogTest : public ::testing::Test {
protected:
    void SetUp() override {
        if (siutest::systemFilesPresent()) GTEST_SKIP() << "/Norva/NorvaAPI holds system files";
    }
    void TearDown() override {
        for (const char* suffix : {"", "_Min", "_MaintenanceMode"})
            ProcessLock::discard((name + suffix).c_str());
    }
    // Configures a fresh Log from section [SIU]; what that called goes to
    // `configured`, and the records start empty.
    int configure(const std::string& section, bool withKeys = true) {
        std::string keys = "LogGenerate=yes\nLogPath=/logs\nLogName=" + name + "\n";
        lib->tempDir().write("NorvaSensorBoard.ini", "[SIU]\n" + (withKeys ? keys : "") + section);
        lib->clear();
        cfg = std::make_unique<Configuration>();
        EXPECT_EQ(SUCCESS, cfg->setService("SIU"));
        EXPECT_EQ(SUCCESS, cfg->setPathIniFile());
        log = std::make_unique<Log>();
        int rc = log->setConfiguration(cfg.get());
        configured = lib->calls();
        lib->clear();
        return rc;
    }
    void writeEveryLevel() {
        for (int level = INI; level <= PRM; ++level)
            log->addLogBuffer(static_cast<eLogLevel>(level), "C::f", "x");
    }

    std::unique_ptr<siutest::StandinLog> lib =
        std::make_unique<siutest::StandinLog>(LOG_STANDIN_FULL);
    std::string name = siutest::uniqueName("siulog");
    std::unique_ptr<Configuration> cfg;
    std::unique_ptr<Log> log;
    Calls configured;
    const std::string tid = "ThrId: " + std::to_string(UtlGetCurrentThreadId()) + " ";
};

}  // namespace

TEST_F(LogTest, WritesThreeChannelsThroughSessionsWithTheMaintenanceSessionOnTheMinFile) {
    ASSERT_EQ(SUCCESS, configure("LogLevel=ERR|WRN\nLogMaxDayCount=5\nLogMaxFileByteSize=64\n"));
    const std::string path = "/logs/" + name;
    EXPECT_EQ((Calls{{"createLog", path, "5", "64", "80c"},
                     {"createLog", path + "_Min", "5", "64", "80c"},
                     {"createLog", path + "_Min", "5", "64", "80c"}}),
              configured);
    log->addLogBuffer(ERR, "A::b", "e");
    log->addLogMinBuffer(WRN, "A::b", "w");
    log->addLogMaintenanceBuffer(ERR, "A::b", "m");
    log->addLogBufferList(ERR, "A::b", "%d-%s", 7, "x");
    log->addLogMinBufferList(ERR, "A::b", "%s", "");  // empty text: nothing
    log->addLogBuffer_Hex(WRN, "A::b", "h", kBytes, 2);
    log->addLogMaintenanceBuffer_Hex(ERR, "A::b", "h", nullptr, 5);
    log->compressFiles();
    log->exitLogSession();
    const std::string so = "NorvaSensorBoard.so", info = tid + "|A|b";
    EXPECT_EQ((Calls{{"writeToFile2", "1", "3", so, info, "e"},
                     {"writeToFile2", "2", "2", so, info, "w"},
                     {"writeToFile2", "3", "3", so, info, "m"},
                     {"writeToFile2", "1", "3", so, info, "7-x"},
                     {"writeToFileHex2", "1", "2", so, info, "h", "01ab", "2"},
                     {"writeToFileHex2", "3", "3", so, info, "h", "", "0"},
                     {"compressFiles", "1"},
                     {"exitLog", "1"},
                     {"exitLog", "2"},
                     {"exitLog", "3"}}),
              lib->calls());
}

TEST_F(LogTest, FallsBackToWhatAnOlderLibraryOffers) {
    lib.reset();  // first: it frees the library on its way
    lib = std::make_unique<siutest::StandinLog>(LOG_STANDIN_OLD);
    ASSERT_EQ(SUCCESS, configure("LogInfo=CLASS\nLogCompressFiles=yes\n"));
    EXPECT_TRUE(configured.empty());
    EXPECT_FALSE(log->newVersion());  // so the manager compresses nothing
    log->addLogMinBuffer(INF, "A::b", "m");
    log->addLogMaintenanceBuffer_Hex(DBG, "A::b", "h", kBytes, 2);
    EXPECT_EQ(
        (Calls{{"add", "/logs/", name + "_Min", "5", "", "A", "m"},
               {"logBuffer", "/logs/", name + "_MaintenanceMode", "4", "", "A", "h", "01ab", "2"}}),
        lib->calls());

    lib.reset();
    lib = std::make_unique<siutest::StandinLog>(LOG_STANDIN_SESSIONS);
    ASSERT_EQ(SUCCESS, configure(""));
    log->addLogMinBuffer(STA, "A::b", "s");
    log->addLogBuffer_Hex(PRM, "A::b", "h", kBytes, 2);
    EXPECT_EQ(
        (Calls{{"writeToFile", "2", "6", "s"}, {"writeToFileHex", "1", "10", "h", "01ab", "2"}}),
        lib->calls());
}

TEST_F(LogTest, TurnsLevelTokensIntoTheMaskAndReadsTheCompressionSwitch) {
    const struct {
        std::string line, mask;
        bool compress;
    } cases[] = {{"", "ffffffff", false},
                 {"LogLevel=err,WRN\nLogCompressFiles=no\n", "80c", false},
                 {"LogLevel=DBG|CFG\nLogCompressFiles=Y\n", "910", true},
                 {"LogLevel=ALL\nLogCompressFiles=yes\n", "800", true},  // the extra bit only
                 {"LogLevel=INFO\n", "820", false},
                 {"LogLevel=PRMINI\n", "c01", false}};
    for (const auto& c : cases) {
        ASSERT_EQ(SUCCESS, configure(c.line));
        EXPECT_EQ(c.mask, configured.at(0).at(4)) << c.line;
        EXPECT_EQ(c.compress, log->compressFilesEnabled()) << c.line;
        writeEveryLevel();
        unsigned long levels = std::stoul(c.mask, nullptr, 16) & 0x7ff;
        EXPECT_EQ(static_cast<size_t>(__builtin_popcountl(levels)), lib->calls().size()) << c.line;
    }
}

TEST_F(LogTest, BuildsTheColumnsFromTheInfoTokensAndTheCaller) {
    const struct {
        std::string line, caller, lib, info;
    } cases[] = {{"", "Manager::newObject", "NorvaSensorBoard.so", tid + "|Manager|newObject"},
                 {"LogInfo=THREADID,FUNCTION\n", "BLDevice::CmdOpen", "", tid + "|CmdOpen"},
                 {"LogInfo=CLASS\n", "openPort", "", "openPort"},
                 {"LogInfo=THREADID|CLASS\n", "openPort", "", tid + "openPort"},
                 {"LogInfo=libname\n", "A::b", "NorvaSensorBoard.so", ""},
                 {"LogInfo=CLASS FUNCTION\n", "::f", "", "f"},
                 {"LogInfo=CLASS\n", std::string(600, 'C') + "::f", "", std::string(512, 'C')}};
    for (const auto& c : cases) {
        ASSERT_EQ(SUCCESS, configure(c.line));
        char *libName = nullptr, *info = nullptr;
        ASSERT_EQ(SUCCESS, log->getLogInfo(c.caller.c_str(), &libName, &info));
        EXPECT_EQ(c.lib, libName) << c.line << c.caller;
        EXPECT_EQ(c.info, info) << c.line << c.caller;
        delete[] libName;
        delete[] info;
    }
}

TEST_F(LogTest, RefusesALimitThatDoesNotFitAnIntAndSaysSoInTheLog) {
    ASSERT_EQ(SUCCESS, configure("LogMaxDayCount=2147483647 days\nLogMaxFileByteSize=-0x10\n"));
    EXPECT_EQ("2147483647", configured.at(0).at(2));
    EXPECT_EQ("0", configured.at(0).at(3));
    EXPECT_EQ(ERR_CFG_INVALID_VALUE, configure("LogMaxFileByteSize=2147483648\n"));
    EXPECT_EQ("ERR_CFG_INVALID_VALUE: LogMaxFileByteSize = 2147483648 is outside "
              "-2147483648..2147483647",
              configured.at(3).at(5));
}

TEST_F(LogTest, StaysSilentWhenLoggingIsOffOrAKeyIsMissing) {
    const std::string at = "LogPath=/logs\n", called = "LogName=" + name + "\n";
    const std::vector<std::pair<std::string, int>> cases = {
        {"LogGenerate=no\n" + at + called, ERR_LOG_DISABLED},
        {"LogGenerate=N\n" + at + called, ERR_LOG_DISABLED},
        {at + called, ERR_CFG_NOT_DEFINED},
        {"LogGenerate=yes\n" + called, ERR_CFG_NOT_DEFINED},
        {"LogGenerate=yes\n" + at, ERR_CFG_NOT_DEFINED}};
    for (const auto& [section, rc] : cases) {
        EXPECT_EQ(rc, configure(section, false)) << section;
        writeEveryLevel();
        EXPECT_TRUE(configured.empty() && lib->calls().empty()) << section;
    }
    // Only NO and N switch logging off; the path gets its "/".
    ASSERT_EQ(SUCCESS, configure("LogGenerate=false\n" + at + called, false));
    EXPECT_EQ("/logs/" + name, configured.at(0).at(1));
}

TEST_F(LogTest, WaitsForAChannelHeldByAnotherWriterAndDropsRecordsPastTheBudget) {
    ASSERT_EQ(SUCCESS, configure(""));
    ProcessLock held;
    ASSERT_EQ(SUCCESS, held.open(name.c_str()));
    ASSERT_EQ(SUCCESS, held.acquire(0));
    log->addLogMinBuffer(ERR, "C::f", "other channel");  // not blocked
    auto writer = std::async(std::launch::async, [&] { log->addLogBuffer(ERR, "C::f", "waited"); });
    EXPECT_EQ(std::future_status::timeout, writer.wait_for(std::chrono::milliseconds(100)));
    held.release();
    EXPECT_EQ(std::future_status::ready, writer.wait_for(std::chrono::seconds(5)));
    EXPECT_EQ("waited", lib->calls().at(1).at(5));

    // Kept past the budget: the record is dropped, and the next one at once.
    ASSERT_EQ(SUCCESS, held.acquire(0));
    auto start = std::chrono::steady_clock::now();
    log->addLogBuffer(ERR, "C::f", "lost");
    auto first = std::chrono::steady_clock::now() - start;
    log->addLogBuffer_Hex(ERR, "C::f", "lost", kBytes, 2);
    auto both = std::chrono::steady_clock::now() - start;
    EXPECT_GE(first, std::chrono::milliseconds(Log::kChannelBudgetMs));
    EXPECT_LT(both, first + std::chrono::milliseconds(200));
    EXPECT_EQ(2u, log->droppedRecords());
    held.release();
    lib->clear();
    log->addLogBuffer(ERR, "C::f", "back");
    ASSERT_EQ(2u, lib->calls().size());
    EXPECT_EQ("2 records dropped: channel held by process " + std::to_string(getpid()),
              lib->calls()[0].at(5));
    EXPECT_EQ("back", lib->calls()[1].at(5));
}

TEST(LogLibraryBinding, LoadsNothingWithoutALibraryAndForgetsEntryPointsOnceFreed) {
    if (siutest::systemFilesPresent()) GTEST_SKIP() << "/Norva/NorvaAPI/Log.so would load";
    {
        siutest::StandinLog full(LOG_STANDIN_FULL);
        ASSERT_TRUE(islogWriteToFile2());
        EXPECT_EQ(8, logCompressFiles(1));         // the entry point's own result
        siutest::StandinLog old(LOG_STANDIN_OLD);  // loading again releases the first library
        EXPECT_FALSE(isCreateLog() || islogWriteToFile2() || islogWriteToFileHex2());
        logAdd("/p/", "name", 2, "", "", "kept");
        EXPECT_EQ(Calls({{"add", "/p/", "name", "2", "", "", "kept"}}), old.calls());
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
