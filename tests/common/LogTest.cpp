#include "common/Log.h"

#include <gtest/gtest.h>
#include <semaphore.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "StandinLog.h"
#include "common/Configuration.h"
#include "common/LogDll.h"
#include "manager/Global.h"
#include "support/TestSupport.h"

using siutest::Call;
using siutest::StandinLog;

namespace {

const unsigned char kBytes[] = {0x01, 0xab};

class LogTest : public ::testing::Test {
protected:
    void SetUp() override {
        if (siutest::systemLogLibraryPresent() ||
            access("/Norva/NorvaAPI/NorvaSensorBoard.ini", F_OK) == 0)
            GTEST_SKIP() << "files in /Norva/NorvaAPI would be used instead of the test's";
    }
    void TearDown() override {
        for (const char* suffix : {"", "_Min", "_MaintenanceMode"})
            sem_unlink((name + suffix).c_str());
    }

    // Makes the stand-in the process's log library; null: no library at all.
    void load(const char* standin) {
        if (standin != nullptr) {
            lib = std::make_unique<StandinLog>(standin);
            moduleDir = &lib->tempDir();
        } else {
            noLibrary = std::make_unique<siutest::TempDir>();
            moduleDir = noLibrary.get();
            siutest::setModuleDirectory(noLibrary->path());
            EXPECT_EQ(-1, loadLogDll());
        }
    }
    // Writes section [SIU] of the INI file in the module directory and
    // configures a fresh Log from it; the stand-in's records start empty.
    int configure(const std::string& section) {
        moduleDir->write("NorvaSensorBoard.ini", "[SIU]\n" + section);
        if (lib) lib->clear();
        cfg = std::make_unique<Configuration>();
        EXPECT_EQ(SUCCESS, cfg->setService("SIU"));
        EXPECT_EQ(SUCCESS, cfg->setPathIniFile());
        log = std::make_unique<Log>();
        int rc = log->setConfiguration(cfg.get());
        if (lib) configured = lib->calls(), lib->clear();
        return rc;
    }
    std::string keys() const {
        return "LogGenerate=yes\nLogPath=" + moduleDir->path() + "/logs\nLogName=" + name + "\n";
    }
    std::string full(const std::string& suffix) const {
        return moduleDir->path() + "/logs/" + name + suffix;
    }

    siutest::ModulePathGuard guard;
    std::string name = siutest::uniqueName("siulog");
    std::unique_ptr<siutest::TempDir> noLibrary;
    std::unique_ptr<StandinLog> lib;
    const siutest::TempDir* moduleDir = nullptr;
    std::unique_ptr<Configuration> cfg;
    std::unique_ptr<Log> log;
    std::vector<Call> configured;  // what setConfiguration called
    const std::string tid = "ThrId: " + std::to_string(UtlGetCurrentThreadId()) + " ";
};

// Writes one record of every level on the normal channel.
void writeEveryLevel(Log& log) {
    for (int level = INI; level <= PRM; ++level)
        log.addLogBuffer(static_cast<eLogLevel>(level), "C::f", "x");
}

}  // namespace

TEST_F(LogTest, OpensThreeSessionsWithTheMaintenanceSessionOnTheMinFile) {
    load(LOG_STANDIN_FULL);
    ASSERT_EQ(SUCCESS, configure(keys() + "LogLevel=ERR|WRN\nLogMaxDayCount=5\n"
                                          "LogMaxFileByteSize=4096\n"));
    std::vector<Call> expected = {{"createLog", full(""), "5", "4096", "80c"},
                                  {"createLog", full("_Min"), "5", "4096", "80c"},
                                  {"createLog", full("_Min"), "5", "4096", "80c"}};
    EXPECT_EQ(expected, configured);

    log->addLogBuffer(ERR, "A::b", "e");
    log->addLogBuffer(INF, "A::b", "dropped");
    log->addLogMinBuffer(WRN, "A::b", "w");
    log->addLogMaintenanceBuffer(ERR, "A::b", "m");
    log->addLogBufferList(ERR, "A::b", "%d-%s", 7, "x");
    log->addLogMinBufferList(ERR, "A::b", "%s", "");  // empty text: nothing
    log->addLogMaintenanceBufferList(INF, "A::b", "%s", "dropped");
    log->addLogBuffer_Hex(WRN, "A::b", "h", kBytes, 2);
    log->addLogMinBuffer_Hex(ERR, "A::b", "h", kBytes, 1);
    log->addLogMaintenanceBuffer_Hex(ERR, "A::b", "h", nullptr, 5);
    const std::string libName = "NorvaSensorBoard.so", info = tid + "|A|b";
    expected = {{"writeToFile2", "1", "3", libName, info, "e"},
                {"writeToFile2", "2", "2", libName, info, "w"},
                {"writeToFile2", "3", "3", libName, info, "m"},
                {"writeToFile2", "1", "3", libName, info, "7-x"},
                {"writeToFileHex2", "1", "2", libName, info, "h", "01ab", "2"},
                {"writeToFileHex2", "2", "3", libName, info, "h", "01", "1"},
                {"writeToFileHex2", "3", "3", libName, info, "h", "", "0"}};
    EXPECT_EQ(expected, lib->calls());
}

TEST_F(LogTest, DrivesALibraryWithoutSessionsByPathAndNameThroughAdd) {
    load(LOG_STANDIN_OLD);
    ASSERT_EQ(SUCCESS, configure(keys() + "LogInfo=CLASS\nLogCompressFiles=yes\n"));
    EXPECT_TRUE(configured.empty());
    EXPECT_FALSE(log->newVersion());  // so the manager compresses nothing

    log->addLogBuffer(INF, "A::b", "n");
    log->addLogMinBuffer(INF, "A::b", "m");
    log->addLogMaintenanceBuffer(INF, "A::b", "t");
    log->addLogMaintenanceBuffer_Hex(DBG, "A::b", "h", kBytes, 2);
    const std::string path = moduleDir->path() + "/logs/";
    std::vector<Call> expected = {
        {"add", path, name, "5", "", "A", "n"},
        {"add", path, name + "_Min", "5", "", "A", "m"},
        {"add", path, name + "_MaintenanceMode", "5", "", "A", "t"},
        {"logBuffer", path, name + "_MaintenanceMode", "4", "", "A", "h", "01ab", "2"}};
    EXPECT_EQ(expected, lib->calls());
}

TEST_F(LogTest, DropsTheColumnsWhenTheLibraryLacksTheTwoColumnWriters) {
    load(LOG_STANDIN_SESSIONS);
    ASSERT_EQ(SUCCESS, configure(keys()));
    log->addLogMinBuffer(STA, "A::b", "s");
    log->addLogBuffer_Hex(PRM, "A::b", "h", kBytes, 2);
    std::vector<Call> expected = {{"writeToFile", "2", "6", "s"},
                                  {"writeToFileHex", "1", "10", "h", "01ab", "2"}};
    EXPECT_EQ(expected, lib->calls());
}

TEST_F(LogTest, WorksWithoutAnyLibrary) {
    load(nullptr);
    ASSERT_EQ(SUCCESS, configure(keys()));
    EXPECT_FALSE(log->newVersion());
    writeEveryLevel(*log);
    log->addLogBuffer_Hex(ERR, "C::f", "h", kBytes, 2);
    log->compressFiles();
    log->exitLogSession();
}

TEST_F(LogTest, TurnsLevelTokensIntoTheMaskWithTheExtraBitAlwaysSet) {
    load(LOG_STANDIN_FULL);
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"", "ffffffff"},          {"LogLevel=ERR|WRN\n", "80c"}, {"LogLevel=err,wrn\n", "80c"},
        {"LogLevel=ALL\n", "800"}, {"LogLevel=INFO\n", "820"},    {"LogLevel=PRMINI\n", "c01"}};
    for (const auto& [line, mask] : cases) {
        SCOPED_TRACE(line);
        ASSERT_EQ(SUCCESS, configure(keys() + line));
        EXPECT_EQ(mask, configured.at(0).at(4));
        writeEveryLevel(*log);
        unsigned long levels = std::stoul(mask, nullptr, 16) & 0x7ff;
        EXPECT_EQ(static_cast<size_t>(__builtin_popcountl(levels)), lib->calls().size());
    }
}

TEST_F(LogTest, BuildsTheColumnsFromTheInfoTokensAndTheCaller) {
    load(LOG_STANDIN_FULL);
    struct Case {
        std::string line, caller, lib, info;
    };
    const std::string longClass(600, 'C');
    const std::vector<Case> cases = {
        {"", "Manager::newObject", "NorvaSensorBoard.so", tid + "|Manager|newObject"},
        {"LogInfo=THREADID,FUNCTION\n", "BLDevice::CmdOpen", "", tid + "|CmdOpen"},
        {"LogInfo=CLASS\n", "openPort", "", "openPort"},
        {"LogInfo=THREADID|CLASS\n", "openPort", "", tid + "openPort"},
        {"LogInfo=libname\n", "A::b", "NorvaSensorBoard.so", ""},
        {"LogInfo=CLASS FUNCTION\n", "::f", "", "f"},
        {"LogInfo=CLASS\n", longClass + "::f", "", std::string(512, 'C')}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.line + c.caller);
        ASSERT_EQ(SUCCESS, configure(keys() + c.line));
        char* libName = nullptr;
        char* info = nullptr;
        ASSERT_EQ(SUCCESS, log->getLogInfo(c.caller.c_str(), &libName, &info));
        EXPECT_STREQ(c.lib.c_str(), libName);
        EXPECT_STREQ(c.info.c_str(), info);
        delete[] libName;
        delete[] info;
    }
}

TEST_F(LogTest, StaysUnconfiguredWhenLoggingIsOffOrAKeyIsMissing) {
    load(LOG_STANDIN_FULL);
    const std::string path = "LogPath=" + moduleDir->path() + "\n", logName = "LogName=n\n";
    const std::vector<std::pair<std::string, int>> cases = {
        {"LogGenerate=no\n" + path + logName, ERR_LOG_DISABLED},
        {"LogGenerate=N\n" + path + logName, ERR_LOG_DISABLED},
        {path + logName, ERR_CFG_NOT_DEFINED},
        {"LogGenerate=yes\n" + logName, ERR_CFG_NOT_DEFINED},
        {"LogGenerate=yes\n" + path, ERR_CFG_NOT_DEFINED}};
    for (const auto& [section, rc] : cases) {
        SCOPED_TRACE(section);
        EXPECT_EQ(rc, configure(section));
        EXPECT_TRUE(configured.empty());
        writeEveryLevel(*log);
        EXPECT_TRUE(lib->calls().empty());
    }
    EXPECT_EQ(ERR_LOG_INVALID_POINTER, log->setConfiguration(nullptr));

    // Only NO and N switch logging off.
    ASSERT_EQ(SUCCESS, configure("LogGenerate=false\n" + path + "LogName=" + name + "\n"));
    EXPECT_EQ(moduleDir->path() + "/" + name, configured.at(0).at(1));  // "/" appended
    log->addLogBuffer(INI, "C::f", "x");
    EXPECT_EQ(1u, lib->calls().size());
}

TEST_F(LogTest, CompressesOnlyWhenEnabledWithASessionLibrary) {
    load(LOG_STANDIN_FULL);
    const std::vector<std::pair<std::string, bool>> cases = {{"", false},
                                                             {"LogCompressFiles=no\n", false},
                                                             {"LogCompressFiles=yes\n", true},
                                                             {"LogCompressFiles=y\n", true}};
    for (const auto& [line, enabled] : cases) {
        SCOPED_TRACE(line);
        lib->setNextSession(1);
        ASSERT_EQ(SUCCESS, configure(keys() + line));
        EXPECT_TRUE(log->newVersion());
        EXPECT_EQ(enabled, log->compressFilesEnabled());
    }
    log->compressFiles();
    log->decompressFiles();
    log->compressFile("a.log");
    log->decompressFile("b.log");
    std::vector<Call> expected = {{"compressFiles", "1"},
                                  {"decompressFiles", "1"},
                                  {"compressFile", "a.log"},
                                  {"decompressFile", "b.log"}};
    EXPECT_EQ(expected, lib->calls());
}

TEST_F(LogTest, ClosesOnlySessionsThatWereOpened) {
    load(LOG_STANDIN_FULL);
    ASSERT_EQ(SUCCESS, configure(keys()));
    log->exitLogSession();
    std::vector<Call> expected = {{"exitLog", "1"}, {"exitLog", "2"}, {"exitLog", "3"}};
    EXPECT_EQ(expected, lib->calls());

    // Reconfiguring starts from scratch: the old sessions are closed first.
    lib->clear();
    lib->setNextSession(7);
    ASSERT_EQ(SUCCESS, log->setConfiguration(cfg.get()));
    EXPECT_EQ(Call({"exitLog", "1"}), lib->calls().at(0));
    EXPECT_EQ(Call({"createLog", full(""), "2147483647", "2147483647", "ffffffff"}),
              lib->calls().at(3));
    lib->clear();
    log->addLogBuffer(FIM, "C::f", "x");
    EXPECT_EQ("7", lib->calls().at(0).at(1));

    lib->setNextSession(0);
    ASSERT_EQ(SUCCESS, configure(keys()));
    log->logClean();
    writeEveryLevel(*log);
    EXPECT_TRUE(lib->calls().empty());
}

TEST_F(LogTest, WaitsForTheChannelSemaphoreHeldByAnotherWriter) {
    load(LOG_STANDIN_FULL);
    ASSERT_EQ(SUCCESS, configure(keys()));
    sem_t* held = sem_open(name.c_str(), 0);
    ASSERT_NE(SEM_FAILED, held);
    ASSERT_EQ(0, sem_wait(held));

    log->addLogMinBuffer(ERR, "C::f", "other channel");  // not blocked
    std::atomic<bool> done{false};
    std::thread writer([&] {
        log->addLogBuffer(ERR, "C::f", "waited");
        done = true;
    });
    EXPECT_FALSE(siutest::waitFor([&] { return done.load(); }, std::chrono::milliseconds(100)));
    EXPECT_EQ(1u, lib->calls().size());
    sem_post(held);
    EXPECT_TRUE(siutest::waitFor([&] { return done.load(); }));
    writer.join();
    sem_close(held);
    EXPECT_EQ("waited", lib->calls().at(1).at(5));
}
