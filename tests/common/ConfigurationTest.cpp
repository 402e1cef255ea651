#include "common/Configuration.h"

#include <fcntl.h>
#include <semaphore.h>
#include <sys/stat.h>

#include <future>

#include "StandinLog.h"
#include "common/ProcessLock.h"
#include "manager/Global.h"

namespace {

const char kIni[] =
    "[Other]\nDevicePort=/dev/other\n"
    "[siu]\nDevicePort=/dev/ttyS0\nDeviceBaudrate = 9600 ; comment\nDeviceDataBits=0x10\n"
    "DeviceTxTimeout=12abc\nDeviceIntervalBetweenCommands=4294967296\n"
    "DeviceParity=NOT_DEFINED\nA=TRUE\nB=Yes\nC=1\nD=Y\n";

class ConfigurationTest : public ::testing::Test {
protected:
    void SetUp() override {
        if (siutest::systemFilesPresent()) GTEST_SKIP() << "/Norva/NorvaAPI holds system files";
        siutest::setModuleDirectory(dir.path());
    }
    // Every path through the class, failures included, gives the file lock back.
    void TearDown() override {
        sem_t* sem = sem_open("NorvaSensorBoard.ini", O_CREAT, 0644, 1);
        ASSERT_NE(SEM_FAILED, sem);
        EXPECT_TRUE(siutest::waitFor([&] { return sem_trywait(sem) == 0; }));
        sem_post(sem);  // also gives a leaked lock back, so that no other process is stuck
        int value = 0;
        sem_getvalue(sem, &value);
        EXPECT_GE(1, value);  // more would mean a double release
        sem_close(sem);
    }
    void open() {
        dir.write("NorvaSensorBoard.ini", kIni);
        ASSERT_EQ(SUCCESS, cfg.setService("SIU"));
        ASSERT_EQ(SUCCESS, cfg.setPathIniFile());
    }
    std::string file() const { return siutest::readWholeFile(dir.file("NorvaSensorBoard.ini")); }

    siutest::ModulePathGuard guard;
    siutest::TempDir dir;
    Configuration cfg;
    char* text = nullptr;
};

}  // namespace

TEST_F(ConfigurationTest, FindsTheFileBesideTheLibraryOnlyAndFailsEveryAccessWithoutIt) {
    modulePath[0] = '\0';
    EXPECT_EQ(ERR_CFG_GETMODULEPATH, cfg.setPathIniFile());
    siutest::setModuleDirectory(dir.path());
    // Neither a file in the working directory nor a directory of that name counts.
    siutest::TempDir cwd;
    cwd.write("NorvaSensorBoard.ini", kIni);
    ASSERT_EQ(0, mkdir(dir.file("NorvaSensorBoard.ini").c_str(), 0755));
    char saved[4096];
    ASSERT_NE(nullptr, getcwd(saved, sizeof saved));
    ASSERT_EQ(0, chdir(cwd.path().c_str()));
    int rc = cfg.setPathIniFile();
    ASSERT_EQ(0, chdir(saved));
    EXPECT_EQ(ERR_CFG_INI_FILE_NOT_FOUND, rc);
    ASSERT_EQ(SUCCESS, cfg.setService("SIU"));
    EXPECT_EQ(ERR_CFG_INI_FILE_NOT_FOUND, cfg.getDeviceConfig(DEVICEPORT, &text));
    EXPECT_EQ(ERR_CFG_INI_FILE_NOT_FOUND, cfg.getConfig(nullptr, "DevicePort", &text));
    EXPECT_EQ(ERR_CFG_INI_FILE_NOT_FOUND, cfg.setDeviceConfig(DEVICEPORT, "/dev/x"));
    EXPECT_EQ(ERR_CFG_INI_FILE_NOT_FOUND, cfg.setConfig("S", "K", "V"));
}

TEST_F(ConfigurationTest, RefusesUnknownServicesAndBadArgumentsWithoutTouchingTheFile) {
    dir.write("NorvaSensorBoard.ini", kIni);
    ASSERT_EQ(SUCCESS, cfg.setPathIniFile());
    EXPECT_EQ(ERR_CFG_INVALID_SERVICE_NAME, cfg.getDeviceConfig(DEVICEPORT, &text));
    EXPECT_EQ(ERR_CFG_INVALID_SERVICE_NAME, cfg.getConfig(nullptr, "DevicePort", &text));
    EXPECT_EQ(ERR_CFG_INVALID_SERVICE_NAME, cfg.setConfig(nullptr, "A", "B"));
    EXPECT_EQ(ERR_CFG_INVALID_SERVICE_NAME, cfg.setService(std::string(255, 'S').c_str()));
    EXPECT_EQ(SUCCESS, cfg.setService(std::string(254, 'S').c_str()));
    // Its section is absent: the service is unknown, not merely the key.
    EXPECT_EQ(ERR_CFG_INVALID_SERVICE_NAME, cfg.getDeviceConfig(DEVICEPORT, &text));
    EXPECT_EQ(ERR_CFG_INVALID_SERVICE_NAME, cfg.setDeviceConfig(DEVICEPORT, "/dev/x"));
    EXPECT_EQ(ERR_CFG_NOT_DEFINED, cfg.getConfig(nullptr, "DevicePort", &text));
    EXPECT_EQ(SUCCESS, cfg.setService("SIU"));  // section [siu], matched regardless of case
    EXPECT_EQ(ERR_CFG_INVALID_PARAMETER_VALUE, cfg.setDeviceConfig(enum_iniKeys(38), "x"));
    EXPECT_EQ(ERR_CFG_INVALID_PARAMETER_VALUE, cfg.getDeviceConfig(enum_iniKeys(-1), &text));
    EXPECT_EQ(ERR_CFG_INVALID_PARAMETER_VALUE, cfg.setConfig("siu", nullptr, nullptr));
    EXPECT_EQ(kIni, file());
}

TEST_F(ConfigurationTest, ReadsTextDecimalNumbersAndYesOrTrue) {
    open();
    int n = 0, i = 77;
    long l = 77;
    unsigned long ul = 0;
    EXPECT_EQ(ERR_CFG_NOT_DEFINED, cfg.getDeviceConfig(DEVICEPARITY, &text));  // the sentinel
    EXPECT_EQ(ERR_CFG_NOT_DEFINED, cfg.getConfig("siu", "Missing", &text, &n));
    EXPECT_EQ(11, n);
    EXPECT_EQ(SUCCESS, cfg.getConfig("Other", "DevicePort", &text, &n));
    EXPECT_EQ(10, n);
    EXPECT_STREQ("/dev/other", text);
    delete[] text;
    // On failure the long forms leave the output alone, the int forms clear it.
    EXPECT_EQ(ERR_CFG_NOT_DEFINED, cfg.getDeviceConfig(DEVICEMODEL, &l));
    EXPECT_EQ(ERR_CFG_NOT_DEFINED, cfg.getConfig("siu", "Missing", &i));
    EXPECT_EQ(77, l);
    EXPECT_EQ(0, i);
    EXPECT_EQ(SUCCESS, cfg.getDeviceConfig(DEVICEBAUDRATE, &l));
    EXPECT_EQ(9600, l);
    EXPECT_EQ(SUCCESS, cfg.getDeviceConfig(DEVICEDATABITS, &i));
    EXPECT_EQ(0, i);  // "0x10"
    EXPECT_EQ(SUCCESS, cfg.getDeviceConfig(DEVICETXTIMEOUT, &ul));
    EXPECT_EQ(12u, ul);  // "12abc"
    EXPECT_EQ(SUCCESS, cfg.getDeviceConfig(DEVICEINTERVALBETWEENCOMMANDS, &ul));
    EXPECT_EQ(4294967296ul, ul);
    EXPECT_TRUE(cfg.getBoolConfig("siu", "A") && cfg.getBoolConfig(nullptr, "B"));
    for (const char* key : {"C", "D", "Missing"}) EXPECT_FALSE(cfg.getBoolConfig("siu", key));
}

TEST_F(ConfigurationTest, KeepsDeviceValuesReadOnceAndReadsFreeKeysAfresh) {
    open();
    ASSERT_EQ(SUCCESS, cfg.getDeviceConfig(DEVICEPORT, &text));
    dir.write("NorvaSensorBoard.ini", "[SIU]\nDevicePort=/dev/edited\nA=1\n");
    ASSERT_EQ(SUCCESS, cfg.getConfig(nullptr, "DevicePort", &text));
    EXPECT_STREQ("/dev/edited", text);
    delete[] text;
    // setConfig writes the file only; the cached device value stays.
    EXPECT_EQ(SUCCESS, cfg.setConfig(nullptr, "DevicePort", "/dev/written"));
    EXPECT_EQ(SUCCESS, cfg.setConfig(nullptr, "A", nullptr));
    EXPECT_EQ(SUCCESS, cfg.setConfig("SIU.door", "command", "SD"));
    EXPECT_EQ("[SIU]\nDevicePort=/dev/written\n[SIU.door]\ncommand=SD\n", file());
    ASSERT_EQ(SUCCESS, cfg.getDeviceConfig(DEVICEPORT, &text));
    EXPECT_STREQ("/dev/ttyS0", text);
    // setDeviceConfig writes the file and replaces the cache without reading back.
    EXPECT_EQ(SUCCESS, cfg.setDeviceConfig(DEVICEPORT, "/dev/ttyS1"));
    EXPECT_EQ(SUCCESS, cfg.setDeviceConfig(DEVICEBAUDRATE, -19200));
    EXPECT_EQ("[SIU]\nDevicePort=/dev/ttyS1\nDeviceBaudrate=-19200\n[SIU.door]\ncommand=SD\n",
              file());
    dir.write("NorvaSensorBoard.ini", "[SIU]\n");
    ASSERT_EQ(SUCCESS, cfg.getDeviceConfig(DEVICEPORT, &text));
    EXPECT_STREQ("/dev/ttyS1", text);
}

TEST_F(ConfigurationTest, WaitsForTheFileLockToWriteButSetsUpWithoutIt) {
    ProcessLock held;
    ASSERT_EQ(SUCCESS, held.open("NorvaSensorBoard.ini"));
    ASSERT_EQ(SUCCESS, held.acquire(Configuration::kFileLockBudgetMs));
    open();  // a hang here fails by time-out
    auto write =
        std::async(std::launch::async, [this] { return cfg.setConfig(nullptr, "New", "1"); });
    bool waited = write.wait_for(std::chrono::milliseconds(100)) == std::future_status::timeout;
    held.release();
    EXPECT_TRUE(waited);
    EXPECT_EQ(SUCCESS, write.get());
}

