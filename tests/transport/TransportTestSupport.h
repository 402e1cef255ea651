#pragma once
// A service set up for transport tests: a pseudo-terminal reached through a
// uniquely named link (so the semaphore named after it is unique), an INI
// file and a capturing log library in one module directory, and a working
// directory of its own (the shared-memory slot follows the working directory).

#include <semaphore.h>
#include <sys/ipc.h>
#include <sys/shm.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "common/Configuration.h"
#include "common/Log.h"
#include "common/StandinLog.h"
#include "libuart/PtyLine.h"
#include "manager/ConstructParams.h"
#include "support/TestSupport.h"
#include "transport/TransportProtocol.h"

namespace transporttest {

// Gives the tests access to the transport's state and lets them script the
// result of each exchange attempt.
class TestTransport : public TransportProtocol {
public:
    using TransportProtocol::TransportProtocol;
    std::vector<int> script{0};
    int attempts = 0;
    int semValueInExchange = -1;
    int slotInExchange = -1;

    int callProtocolByHeritage(int, unsigned char*, int, unsigned char**, int*) override {
        semValueInExchange = semValue();
        slotInExchange = semPid ? *semPid : -1;
        size_t i = std::min(static_cast<size_t>(attempts++), script.size() - 1);
        return script[i];
    }
    int semValue() {
        int v = -1;
        if (semPort != nullptr) sem_getvalue(semPort, &v);
        return v;
    }
    int* slot() { return semPid.get(); }
    sem_t* semaphore() { return semPort; }
    const char* portInfo() const { return IO_port_info; }
    bool sharing() const { return isMultipleApplication; }
    bool intervalSet() const { return bIntervalSetted; }
    uint64_t interval() const { return intervalBetweenCommands; }
    bool selected(ProtocolCall call) const { return !callByHeritage && callProtocol == call; }
    void addRetryable(int code) { lstErrorListToRetry.push_back(code); }
};

// A pseudo-terminal reached through a uniquely named link, so that the
// semaphore named after the device is unique too.
struct PtyLink : siutest::PtyLine {
    explicit PtyLink(const std::string& dir) : link(dir + "/" + siutest::uniqueName("tty")) {
        linked = symlink(path(), link.c_str()) == 0;
    }
    ~PtyLink() { sem_unlink(semaphoreName().c_str()); }
    std::string semaphoreName() const {
        std::string name = link;
        name.erase(std::remove(name.begin(), name.end(), '/'), name.end());
        return "/" + name;
    }
    std::string link;
    bool linked;
};

typedef std::vector<std::pair<std::string, std::string>> Keys;

inline Keys serialKeys(const std::string& port) {
    return {{"DevicePort", port},
            {"DeviceBaudrate", "9600"},
            {"DeviceDataBits", "8"},
            {"DeviceStopBit", "1"},
            {"DeviceRxTimeout", "20"},
            {"DeviceTxTimeout", "20"},
            {"DeviceParity", "NONE"},
            {"DeviceFlowControl", "NONE"},
            {"DeviceProtocol", "NorvaDireto"},
            {"MultipleApplication", "N"}};
}

inline void setKey(Keys& keys, const std::string& key, const std::string& value) {
    for (auto& kv : keys) {
        if (kv.first == key) {
            kv.second = value;
            return;
        }
    }
    keys.emplace_back(key, value);
}

inline void eraseKey(Keys& keys, const std::string& key) {
    keys.erase(
        std::remove_if(keys.begin(), keys.end(), [&](const auto& kv) { return kv.first == key; }),
        keys.end());
}

inline void writeIni(const siutest::StandinLog& lib, const Keys& keys) {
    std::ofstream ini(lib.tempDir().path() + "/NorvaSensorBoard.ini", std::ios::trunc);
    ini << "[SIU]\nLogGenerate=YES\nLogName=transport\nLogPath=" << lib.tempDir().path() << "\n";
    for (const auto& kv : keys) ini << kv.first << "=" << kv.second << "\n";
}

// One service's configuration and log, read from the INI file in the
// capturing log library's module directory.
class Service {
public:
    explicit Service(const siutest::StandinLog& lib) {
        cfg.setService("SIU");
        cfg.setPathIniFile();
        log.setConfiguration(&cfg);
        params = {&cfg, &log};
        lib.clear();
    }
    Configuration cfg;
    Log log;
    st_constructParams params{};
};

// Texts of the records written so far, in order (dump records by their label).
inline std::vector<std::string> logged(const siutest::StandinLog& lib) {
    std::vector<std::string> texts;
    for (const auto& call : lib.calls()) {
        if ((call[0] == "writeToFile2" || call[0] == "writeToFileHex2") && call.size() > 5) {
            texts.push_back(call[5]);
        }
    }
    return texts;
}

inline bool wasLogged(const siutest::StandinLog& lib, const std::string& text) {
    auto texts = logged(lib);
    return std::find(texts.begin(), texts.end(), text) != texts.end();
}

// Runs in a working directory of its own and removes the shared-memory slot
// that the directory keys.
class OwnWorkingDirectory {
public:
    OwnWorkingDirectory() {
        if (getcwd(saved, sizeof saved) == nullptr) saved[0] = '\0';
        if (chdir(dir.path().c_str()) != 0) ADD_FAILURE() << "cannot enter " << dir.path();
    }
    ~OwnWorkingDirectory() {
        if (saved[0] != '\0' && chdir(saved) != 0) ADD_FAILURE() << "cannot go back";
        removeSlot(dir.path());
    }
    OwnWorkingDirectory(const OwnWorkingDirectory&) = delete;
    OwnWorkingDirectory& operator=(const OwnWorkingDirectory&) = delete;

    static int slotValue(const std::string& directory) {
        int id = shmget(ftok(directory.c_str(), directory[0]), sizeof(int), 0);
        if (id < 0) return -1;
        int* p = static_cast<int*>(shmat(id, nullptr, SHM_RDONLY));
        int v = *p;
        shmdt(p);
        return v;
    }
    static void removeSlot(const std::string& directory) {
        int id = shmget(ftok(directory.c_str(), directory[0]), sizeof(int), 0);
        if (id >= 0) shmctl(id, IPC_RMID, nullptr);
    }

    siutest::TempDir dir;

private:
    char saved[512];
};

// A pseudo-terminal service in a working directory of its own, with the
// records of its log captured.
class TransportTest : public ::testing::Test {
protected:
    void SetUp() override {
        if (siutest::systemLogLibraryPresent() ||
            access("/Norva/NorvaAPI/NorvaSensorBoard.ini", F_OK) == 0) {
            GTEST_SKIP() << "files in /Norva/NorvaAPI/ would be used instead of the test's";
        }
        ASSERT_TRUE(pty.linked);
        keys = serialKeys(pty.link);
    }

    std::unique_ptr<TestTransport> make() {
        writeIni(lib, keys);
        service = std::make_unique<Service>(lib);
        return std::make_unique<TestTransport>(&service->params);
    }

    OwnWorkingDirectory cwd;
    siutest::StandinLog lib{LOG_STANDIN_FULL};
    PtyLink pty{cwd.dir.path()};
    Keys keys;
    std::unique_ptr<Service> service;
};

// Forks a child that runs fn and exits with its result; waitChild collects
// it within a bounded time (killing it when it overruns: -1).
template <typename Fn>
pid_t runChild(Fn fn) {
    pid_t pid = fork();
    if (pid == 0) _exit(fn());
    return pid;
}

inline int waitChild(pid_t pid, int seconds = 20) {
    int status = 0;
    bool done = siutest::waitFor([&] { return waitpid(pid, &status, WNOHANG) == pid; },
                                 std::chrono::seconds(seconds));
    if (!done) {
        kill(pid, SIGKILL);
        waitpid(pid, &status, 0);
        return -1;
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

}  // namespace transporttest
