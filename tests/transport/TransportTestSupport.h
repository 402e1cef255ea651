#pragma once
// Transport tests' service: a pseudo-terminal behind a uniquely named link (the
// semaphore is named after it), an INI file and a capturing log library in one
// module directory, and a working directory of its own (the slot follows it).

#include <gmock/gmock.h>
#include <semaphore.h>
#include <signal.h>
#include <sys/shm.h>

#include <climits>
#include <fstream>
#include <map>
#include <memory>

#include "common/Clock.h"
#include "common/Configuration.h"
#include "common/ConstructParams.h"
#include "common/Log.h"
#include "common/StandinLog.h"
#include "libuart/PtyLine.h"
#include "manager/Global.h"
#include "support/TestSupport.h"
#include "transport/TransportProtocol.h"

namespace transporttest {

using ::testing::Contains;
using siutest::exitStatus;
using Texts = std::vector<std::string>;

// The transport's state open to the tests; each exchange attempt gives the
// next result of the script (the last one again once it runs out). With a
// mark, an exchange writes "<mark" and, a little later, "mark>" to the line.
class TestTransport : public TransportProtocol {
public:
    using TransportProtocol::TransportProtocol;
    static constexpr int kThrows = INT_MIN;  // in a script: the attempt throws
    std::vector<int> script{0};
    int attempts = 0, semValueInExchange = -1, slotInExchange = -1;
    unsigned char mark = 0;

    int callProtocolByHeritage(int, unsigned char*, int, unsigned char**, int*) override {
        semValueInExchange = semValue();
        slotInExchange = slot();
        if (mark != 0) {
            unsigned char opening[] = {'<', mark}, closing[] = {mark, '>'};
            Write(opening, 2, false);
            Sleep_ms(5);  // widens the window an unserialised exchange would need
            Write(closing, 2, false);
        }
        const int rc = script[std::min<size_t>(attempts++, script.size() - 1)];
        if (rc == kThrows) throw std::runtime_error("exchange");
        return rc;
    }
    int semValue(int v = -1) { return semPort && sem_getvalue(semPort, &v) == 0 ? v : -1; }
    int slot() { return semPid ? *semPid : -1; }
    sem_t* semaphore() { return semPort; }
    uint64_t interval() const { return bIntervalSetted ? intervalBetweenCommands : 0; }
    bool selected(ProtocolCall call) const { return !callByHeritage && callProtocol == call; }
    void addRetryable(int code) { lstErrorListToRetry.push_back(code); }
};

// One service's configuration and log, read from the module directory.
struct Service {
    explicit Service(const siutest::StandinLog& lib) {
        cfg.setService("SIU");
        cfg.setPathIniFile();
        log.setConfiguration(&cfg);
        lib.clear();
    }
    Configuration cfg;
    Log log;
    st_constructParams params{&cfg, &log};
};

class TransportTest : public ::testing::Test {
protected:
    void SetUp() override {
        if (siutest::systemFilesPresent()) GTEST_SKIP() << "/Norva/NorvaAPI holds system files";
        for (char c : link) semName += c == '/' ? "" : std::string(1, c);
        ASSERT_EQ(0, symlink(pty.path(), link.c_str()));
        ASSERT_TRUE(getcwd(saved, sizeof saved) && chdir(cwd.path().c_str()) == 0);
    }
    void TearDown() override {
        ProcessLock::discard(semName.c_str());
        EXPECT_TRUE(saved[0] == '\0' || chdir(saved) == 0);
        shmctl(shmget(ftok(cwd.path().c_str(), '/'), sizeof(int), 0), IPC_RMID, nullptr);
    }

    // A transport of a fresh service of the keys (written to the INI file
    // unless a parent process has done so).
    std::unique_ptr<TestTransport> make(bool writeIni = true) {
        if (writeIni) {
            std::ofstream ini(lib.tempDir().file("NorvaSensorBoard.ini"));
            ini << "[SIU]\nLogGenerate=YES\nLogName=t\nLogPath=" << cwd.path() << "\n";
            for (const auto& kv : keys) ini << kv.first << "=" << kv.second << "\n";
        }
        services.push_back(std::make_unique<Service>(lib));
        service = services.back().get();
        return std::make_unique<TestTransport>(&service->params);
    }
    // Texts of the records so far, a dump's followed by its bytes.
    Texts logged() const {
        Texts texts;
        for (const auto& c : lib.calls()) {
            if (c[0].rfind("writeToFile", 0) != 0 || c.size() < 6) continue;
            texts.push_back(c.size() > 6 && !c[6].empty() ? c[5] + " " + c[6] : c[5]);
        }
        return texts;
    }

    siutest::TempDir cwd;
    char saved[512] = "";
    siutest::StandinLog lib{LOG_STANDIN_FULL};
    siutest::PtyLine pty;
    const std::string link = cwd.file(siutest::uniqueName("tty"));
    std::string semName = "/";
    std::map<std::string, std::string> keys = {
        {"DevicePort", link},         {"DeviceBaudrate", "9600"},
        {"DeviceDataBits", "8"},      {"DeviceStopBit", "1"},
        {"DeviceRxTimeout", "20"},    {"DeviceTxTimeout", "20"},
        {"DeviceParity", "NONE"},     {"DeviceFlowControl", "NONE"},
        {"MultipleApplication", "N"}, {"DeviceProtocol", "NorvaDireto"}};
    // Every service made stays until the test ends: a transport made earlier
    // (the watcher of PortSharing) still logs through its own when it closes.
    std::vector<std::unique_ptr<Service>> services;
    Service* service = nullptr;
};

// The port shared, opened by this process too, which watches the holder's slot.
class PortSharing : public TransportTest {
protected:
    void SetUp() override {
        TransportTest::SetUp();
        if (IsSkipped() || HasFatalFailure()) return;
        keys["MultipleApplication"] = "Y";
        ASSERT_EQ(0, (watch = make())->openPort());
    }
    template <typename Fn>
    pid_t child(Fn fn) {
        pid_t pid = fork();
        if (pid == 0) _exit(fn());
        return pid;
    }
    std::unique_ptr<TestTransport> watch;
};

}  // namespace transporttest
