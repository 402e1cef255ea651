#include "common/Configuration.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <semaphore.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <ctime>
#include <future>
#include <memory>
#include <string>
#include <thread>

#include "manager/Global.h"
#include "support/TestSupport.h"

namespace {

const char kSystemIni[] = "/Norva/NorvaAPI/NorvaSensorBoard.ini";

const char kIni[] =
    "[Other]\n"
    "DevicePort=/dev/other\n"
    "[siu]\n"
    "DevicePort=/dev/ttyS0\n"
    "DeviceBaudrate = 9600 ; comment\n"
    "DeviceDataBits=0x10\n"
    "DeviceStopBit=abc\n"
    "DeviceTxTimeout=12abc\n"
    "DeviceRxTimeout=-5\n"
    "DeviceIntervalBetweenCommands=4294967296\n"
    "DeviceParity=NOT_DEFINED\n"
    "A=TRUE\nB=Yes\nC=1\nD=Y\n";

// Takes and gives back the file's semaphore within 5 s. On a time-out the
// lock was leaked: it is given back anyway so that other processes of the
// machine are not stuck behind the failing test.
bool fileLockIsFree() {
    sem_t* sem = sem_open("NorvaSensorBoard.ini", O_CREAT, 0644, 1);
    if (sem == SEM_FAILED) return false;
    timespec deadline{};
    clock_gettime(CLOCK_REALTIME, &deadline);
    deadline.tv_sec += 5;
    bool taken = sem_timedwait(sem, &deadline) == 0;
    sem_post(sem);
    int value = 0;
    sem_getvalue(sem, &value);
    sem_close(sem);
    return taken && value <= 1;  // more than 1 would mean a double release
}

class ConfigurationTest : public ::testing::Test {
protected:
    void SetUp() override {
        struct stat st {};
        if (stat(kSystemIni, &st) == 0)
            GTEST_SKIP() << kSystemIni << " exists on this machine and would be found first";
        std::memcpy(savedModulePath, modulePath, sizeof savedModulePath);
        siutest::setModuleDirectory(dir.path());
    }
    void TearDown() override { std::memcpy(modulePath, savedModulePath, sizeof modulePath); }

    std::string iniPath() const { return dir.file("NorvaSensorBoard.ini"); }
    void writeIni(const std::string& text) const { dir.write("NorvaSensorBoard.ini", text); }
    void open(Configuration& c, const std::string& text = kIni) {
        writeIni(text);
        ASSERT_EQ(SUCCESS, c.setService("SIU"));
        ASSERT_EQ(SUCCESS, c.setPathIniFile());
    }

    siutest::TempDir dir;
    Configuration cfg;
    char savedModulePath[sizeof modulePath];
};

TEST_F(ConfigurationTest, FindsTheFileBesideTheLibraryOnly) {
    modulePath[0] = '\0';
    EXPECT_EQ(ERR_CFG_GETMODULEPATH, cfg.setPathIniFile());

    // A file in the working directory is not looked at.
    siutest::TempDir cwd;
    cwd.write("NorvaSensorBoard.ini", kIni);
    char saved[4096];
    ASSERT_NE(nullptr, getcwd(saved, sizeof saved));
    ASSERT_EQ(0, chdir(cwd.path().c_str()));
    siutest::setModuleDirectory(dir.path());
    int rc = cfg.setPathIniFile();
    ASSERT_EQ(0, chdir(saved));
    EXPECT_EQ(ERR_CFG_INI_FILE_NOT_FOUND, rc);

    ASSERT_EQ(0, mkdir(iniPath().c_str(), 0755));  // a directory of that name is no file
    EXPECT_EQ(ERR_CFG_INI_FILE_NOT_FOUND, cfg.setPathIniFile());
    ASSERT_EQ(0, rmdir(iniPath().c_str()));

    open(cfg);
    char* port = nullptr;
    EXPECT_EQ(SUCCESS, cfg.getDeviceConfig(DEVICEPORT, &port));
    EXPECT_STREQ("/dev/ttyS0", port);
}

TEST_F(ConfigurationTest, EveryFileAccessFailsWithoutAFile) {
    ASSERT_EQ(SUCCESS, cfg.setService("SIU"));
    EXPECT_EQ(ERR_CFG_INI_FILE_NOT_FOUND, cfg.setPathIniFile());
    char* text = reinterpret_cast<char*>(1);
    long l = 7;
    EXPECT_EQ(ERR_CFG_INI_FILE_NOT_FOUND, cfg.getDeviceConfig(DEVICEPORT, &text));
    EXPECT_EQ(nullptr, text);
    EXPECT_EQ(ERR_CFG_INI_FILE_NOT_FOUND, cfg.getConfig(nullptr, "DevicePort", &l));
    EXPECT_EQ(7, l);
    EXPECT_EQ(ERR_CFG_INI_FILE_NOT_FOUND, cfg.setDeviceConfig(DEVICEPORT, "/dev/x"));
    EXPECT_EQ(ERR_CFG_INI_FILE_NOT_FOUND, cfg.setConfig("S", "K", "V"));
    EXPECT_FALSE(cfg.getBoolConfig("siu", "A"));
}

TEST_F(ConfigurationTest, RefusesServiceNamesThatDoNotFitAndNeedsOne) {
    writeIni(kIni);
    ASSERT_EQ(SUCCESS, cfg.setPathIniFile());
    char* text = nullptr;
    EXPECT_EQ(ERR_CFG_INVALID_SERVICE_NAME, cfg.getDeviceConfig(DEVICEPORT, &text));
    EXPECT_EQ(ERR_CFG_INVALID_SERVICE_NAME, cfg.setDeviceConfig(DEVICEPORT, "/dev/x"));
    EXPECT_EQ(ERR_CFG_INVALID_SERVICE_NAME, cfg.getConfig(nullptr, "DevicePort", &text));

    EXPECT_EQ(ERR_CFG_INVALID_SERVICE_NAME, cfg.setService(nullptr));
    EXPECT_EQ(ERR_CFG_INVALID_SERVICE_NAME, cfg.setService(std::string(255, 'S').c_str()));
    EXPECT_EQ(SUCCESS, cfg.setService(std::string(254, 'S').c_str()));
    EXPECT_EQ(std::string(254, 'S'), cfg.getService());
    // Its section is absent: the service is unknown, not merely the key.
    EXPECT_EQ(ERR_CFG_INVALID_SERVICE_NAME, cfg.getDeviceConfig(DEVICEPORT, &text));
    EXPECT_EQ(ERR_CFG_INVALID_SERVICE_NAME, cfg.setDeviceConfig(DEVICEPORT, "/dev/x"));
    EXPECT_EQ(ERR_CFG_NOT_DEFINED, cfg.getConfig(nullptr, "DevicePort", &text));
    EXPECT_EQ(siutest::readWholeFile(iniPath()), kIni);  // no section was created

    EXPECT_EQ(SUCCESS, cfg.setService("SIU"));  // section [siu], matched regardless of case
    EXPECT_EQ(SUCCESS, cfg.getDeviceConfig(SERVICE, &text));
    EXPECT_STREQ("SIU", text);
    EXPECT_EQ(SUCCESS, cfg.getDeviceConfig(DEVICEPORT, &text));
    EXPECT_STREQ("/dev/ttyS0", text);
}

TEST_F(ConfigurationTest, TreatsMissingKeysAndTheSentinelAsNotDefined) {
    open(cfg);
    char* text = reinterpret_cast<char*>(1);
    EXPECT_EQ(ERR_CFG_NOT_DEFINED, cfg.getDeviceConfig(DEVICEMODEL, &text));
    EXPECT_EQ(nullptr, text);
    EXPECT_EQ(ERR_CFG_NOT_DEFINED, cfg.getDeviceConfig(DEVICEPARITY, &text));
    int n = 0;
    EXPECT_EQ(ERR_CFG_NOT_DEFINED, cfg.getConfig("siu", "Missing", &text, &n));
    EXPECT_EQ(11, n);
    EXPECT_EQ(nullptr, text);
    EXPECT_EQ(SUCCESS, cfg.getConfig("siu", "DevicePort", &text, &n));
    EXPECT_EQ(10, n);
    EXPECT_STREQ("/dev/ttyS0", text);
    delete[] text;
    EXPECT_EQ(SUCCESS, cfg.getConfig("Other", "DevicePort", &text));
    EXPECT_STREQ("/dev/other", text);
    delete[] text;
}

TEST_F(ConfigurationTest, RefusesNullAndOutOfRangeArguments) {
    open(cfg);
    char* text = nullptr;
    EXPECT_EQ(ERR_CFG_INVALID_PARAMETER_VALUE, cfg.setDeviceConfig(DEVICEPORT, nullptr));
    EXPECT_EQ(ERR_CFG_INVALID_PARAMETER_VALUE, cfg.setDeviceConfig(enum_iniKeys(38), "x"));
    EXPECT_EQ(ERR_CFG_INVALID_PARAMETER_VALUE, cfg.getDeviceConfig(enum_iniKeys(-1), &text));
    EXPECT_EQ(ERR_CFG_INVALID_PARAMETER_VALUE, cfg.getConfig("siu", nullptr, &text));
    // A null key would delete the whole section.
    EXPECT_EQ(ERR_CFG_INVALID_PARAMETER_VALUE, cfg.setConfig("siu", nullptr, nullptr));
    EXPECT_EQ(siutest::readWholeFile(iniPath()), kIni);
}

TEST_F(ConfigurationTest, ConvertsDecimalTextOnly) {
    open(cfg);
    char* text = nullptr;
    long l = 77;
    unsigned long ul = 77;
    int i = 77;
    EXPECT_EQ(SUCCESS, cfg.getDeviceConfig(DEVICEBAUDRATE, &text));
    EXPECT_STREQ("9600", text);
    EXPECT_EQ(SUCCESS, cfg.getDeviceConfig(DEVICEBAUDRATE, &l));
    EXPECT_EQ(9600, l);
    EXPECT_EQ(SUCCESS, cfg.getDeviceConfig(DEVICEDATABITS, &i));
    EXPECT_EQ(0, i);  // "0x10"
    EXPECT_EQ(SUCCESS, cfg.getDeviceConfig(DEVICESTOPBIT, &l));
    EXPECT_EQ(0, l);  // "abc"
    EXPECT_EQ(SUCCESS, cfg.getDeviceConfig(DEVICETXTIMEOUT, &ul));
    EXPECT_EQ(12u, ul);  // "12abc"
    EXPECT_EQ(SUCCESS, cfg.getDeviceConfig(DEVICERXTIMEOUT, &i));
    EXPECT_EQ(-5, i);
    EXPECT_EQ(SUCCESS, cfg.getDeviceConfig(DEVICEINTERVALBETWEENCOMMANDS, &ul));
    EXPECT_EQ(4294967296ul, ul);
    EXPECT_EQ(SUCCESS, cfg.getConfig("siu", "DeviceBaudrate", &i));
    EXPECT_EQ(9600, i);

    // On failure the long forms leave the output alone, the int forms clear it.
    l = 77, ul = 77, i = 77;
    EXPECT_EQ(ERR_CFG_NOT_DEFINED, cfg.getDeviceConfig(DEVICEMODEL, &l));
    EXPECT_EQ(ERR_CFG_NOT_DEFINED, cfg.getDeviceConfig(DEVICEMODEL, &ul));
    EXPECT_EQ(ERR_CFG_NOT_DEFINED, cfg.getConfig("siu", "Missing", &l));
    EXPECT_EQ(77, l);
    EXPECT_EQ(77u, ul);
    EXPECT_EQ(ERR_CFG_NOT_DEFINED, cfg.getDeviceConfig(DEVICEMODEL, &i));
    EXPECT_EQ(0, i);
    i = 77;
    EXPECT_EQ(ERR_CFG_NOT_DEFINED, cfg.getConfig("siu", "Missing", &i));
    EXPECT_EQ(0, i);
}

TEST_F(ConfigurationTest, AcceptsOnlyYesAndTrueAsBooleans) {
    open(cfg);
    EXPECT_TRUE(cfg.getBoolConfig("siu", "A"));
    EXPECT_TRUE(cfg.getBoolConfig(nullptr, "B"));
    EXPECT_FALSE(cfg.getBoolConfig("siu", "C"));
    EXPECT_FALSE(cfg.getBoolConfig("siu", "D"));
    EXPECT_FALSE(cfg.getBoolConfig("siu", "Missing"));
}

TEST_F(ConfigurationTest, KeepsDeviceValuesReadOnceAndReadsFreeKeysAfresh) {
    open(cfg);
    char* first = nullptr;
    char* again = nullptr;
    char* text = nullptr;
    ASSERT_EQ(SUCCESS, cfg.getDeviceConfig(DEVICEPORT, &first));
    writeIni("[SIU]\nDevicePort=/dev/edited\n");
    ASSERT_EQ(SUCCESS, cfg.getDeviceConfig(DEVICEPORT, &again));
    EXPECT_EQ(first, again);
    EXPECT_STREQ("/dev/ttyS0", again);
    ASSERT_EQ(SUCCESS, cfg.getConfig(nullptr, "DevicePort", &text));
    EXPECT_STREQ("/dev/edited", text);
    delete[] text;

    // setConfig writes the file only; the cached device value stays.
    EXPECT_EQ(SUCCESS, cfg.setConfig(nullptr, "DevicePort", "/dev/written"));
    ASSERT_EQ(SUCCESS, cfg.getDeviceConfig(DEVICEPORT, &text));
    EXPECT_STREQ("/dev/ttyS0", text);

    // setDeviceConfig writes the file and replaces the cache without reading back.
    EXPECT_EQ(SUCCESS, cfg.setDeviceConfig(DEVICEPORT, "/dev/ttyS1"));
    EXPECT_EQ(SUCCESS, cfg.setDeviceConfig(DEVICEBAUDRATE, -19200));
    EXPECT_EQ("[SIU]\nDevicePort=/dev/ttyS1\nDeviceBaudrate=-19200\n",
              siutest::readWholeFile(iniPath()));
    writeIni("[SIU]\n");
    ASSERT_EQ(SUCCESS, cfg.getDeviceConfig(DEVICEPORT, &text));
    EXPECT_STREQ("/dev/ttyS1", text);
}

TEST_F(ConfigurationTest, SetConfigCreatesSectionsAndDeletesKeys) {
    open(cfg, "[SIU]\nA=1\nB=2\n");
    EXPECT_EQ(SUCCESS, cfg.setConfig(nullptr, "A", nullptr));
    EXPECT_EQ(SUCCESS, cfg.setConfig("SIU.door", "command", "SD"));
    EXPECT_EQ("[SIU]\nB=2\n[SIU.door]\ncommand=SD\n", siutest::readWholeFile(iniPath()));
}

TEST_F(ConfigurationTest, NamesKeysByEnumerator) {
    char* name = cfg.getValueIniKeys(DEVICEINTERVALBETWEENCOMMANDS);
    EXPECT_STREQ("DeviceIntervalBetweenCommands", name);
    std::free(name);
    char buffer[50];
    EXPECT_EQ(buffer, cfg.getValueIniKeys(AUTOMATICRESET, buffer));
    EXPECT_STREQ("AutomaticReset", buffer);
    EXPECT_EQ(nullptr, cfg.getValueIniKeys(SERVICE, nullptr));
    EXPECT_EQ(nullptr, cfg.getValueIniKeys(enum_iniKeys(MAXITENS_INIKEYS)));
}

TEST_F(ConfigurationTest, ReleasesTheFileLockOnEveryPath) {
    char* text = nullptr;
    long l = 0;
    Configuration unset;
    EXPECT_EQ(ERR_CFG_INVALID_SERVICE_NAME, unset.getDeviceConfig(DEVICEPORT, &text));
    EXPECT_TRUE(fileLockIsFree());
    ASSERT_EQ(SUCCESS, unset.setService("SIU"));
    EXPECT_EQ(ERR_CFG_INI_FILE_NOT_FOUND, unset.getDeviceConfig(DEVICEPORT, &text));
    EXPECT_EQ(ERR_CFG_INI_FILE_NOT_FOUND, unset.setConfig(nullptr, "A", "B"));
    EXPECT_TRUE(fileLockIsFree());

    open(cfg);
    EXPECT_EQ(ERR_CFG_NOT_DEFINED, cfg.getDeviceConfig(DEVICEMODEL, &l));
    EXPECT_EQ(SUCCESS, cfg.getDeviceConfig(DEVICEPORT, &text));
    EXPECT_EQ(SUCCESS, cfg.getDeviceConfig(DEVICEPORT, &text));  // from the cache
    EXPECT_EQ(ERR_CFG_NOT_DEFINED, cfg.getConfig("siu", "Missing", &l));
    EXPECT_TRUE(fileLockIsFree());
    EXPECT_EQ(SUCCESS, cfg.setService("Absent"));
    EXPECT_EQ(ERR_CFG_INVALID_SERVICE_NAME, cfg.getDeviceConfig(DEVICEMODEL, &text));
    EXPECT_EQ(ERR_CFG_INVALID_SERVICE_NAME, cfg.setDeviceConfig(DEVICEMODEL, "x"));
    EXPECT_TRUE(fileLockIsFree());
}

TEST_F(ConfigurationTest, WaitsForTheFileLockButSetsUpWithoutIt) {
    sem_t* sem = sem_open("NorvaSensorBoard.ini", O_CREAT, 0644, 1);
    ASSERT_NE(SEM_FAILED, sem);
    writeIni(kIni);
    ASSERT_EQ(0, sem_wait(sem));
    // Setting up never waits for the lock (a hang here fails by time-out).
    EXPECT_EQ(SUCCESS, cfg.setService("SIU"));
    EXPECT_EQ(SUCCESS, cfg.setPathIniFile());
    auto read = std::async(std::launch::async, [this] {
        char* text = nullptr;
        return cfg.getDeviceConfig(DEVICEPORT, &text);
    });
    bool waited = read.wait_for(std::chrono::milliseconds(100)) == std::future_status::timeout;
    sem_post(sem);
    sem_close(sem);
    EXPECT_TRUE(waited);
    EXPECT_EQ(SUCCESS, read.get());
}

// Writers share one temporary file name; without the lock, updates get lost.
TEST_F(ConfigurationTest, ConcurrentWritersLoseNoKey) {
    writeIni("[SIU]\n");
    auto writer = [](const char* prefix) {
        Configuration c;
        if (c.setService("SIU") != SUCCESS || c.setPathIniFile() != SUCCESS) return false;
        for (int k = 0; k < 40; ++k) {
            std::string key = prefix + std::to_string(k);
            if (c.setConfig(nullptr, key.c_str(), "v") != SUCCESS) return false;
        }
        return true;
    };
    auto a = std::async(std::launch::async, writer, "a");
    auto b = std::async(std::launch::async, writer, "b");
    ASSERT_TRUE(a.get());
    ASSERT_TRUE(b.get());
    ASSERT_EQ(SUCCESS, cfg.setService("SIU"));
    ASSERT_EQ(SUCCESS, cfg.setPathIniFile());
    for (const char* prefix : {"a", "b"}) {
        for (int k = 0; k < 40; ++k) {
            std::string key = prefix + std::to_string(k);
            char* text = nullptr;
            EXPECT_EQ(SUCCESS, cfg.getConfig(nullptr, key.c_str(), &text)) << key;
            delete[] text;
        }
    }
}

}  // namespace
