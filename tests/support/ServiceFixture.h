#pragma once
// Runs whole services through the exported functions on a fake device: an INI
// file and the real Log.so in a temporary module directory, and the client's
// device factory pointed at FakeDevice, whose answers each test scripts.

#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <map>
#include <mutex>
#include <vector>

#include "common/Configuration.h"
#include "common/LogDll.h"
#include "common/ProcessLock.h"
#include "device/BLDevice.h"
#include "device/CommandRecords.h"
#include "interface/NorvaSIU.h"
#include "manager/BLClient.h"
#include "manager/Manager.h"
#include "support/TestSupport.h"

namespace siutest {

// What every fake device of the process answers (SUCCESS unless a test says
// otherwise), the commands they were given ("A OPEN, A RESET"), and how many
// devices exist.
inline struct FakeBoard {
    typedef std::function<int(const std::string& service, int cmd, void* buffer_in)> Answer;
    std::mutex m;  // for answer and calls
    Answer answer;
    std::string calls;
    std::atomic<int> alive{0};
} fakeBoard;

class FakeDevice : public BLDevice {
public:
    explicit FakeDevice(void* params) : BLDevice(params), service(cfg->getService()) {
        ++fakeBoard.alive;
    }
    ~FakeDevice() override { --fakeBoard.alive; }
    int executeCMD(int cmd, void* buffer_in, void** /*buffer_resp*/) override {
        FakeBoard::Answer answer;
        {
            std::lock_guard<std::mutex> lock(fakeBoard.m);
            const std::string name = getFunctionName(static_cast<unsigned int>(cmd));
            fakeBoard.calls += (fakeBoard.calls.empty() ? "" : ", ") + service + " " + &name[4];
            answer = fakeBoard.answer;
        }
        return answer ? answer(service, cmd, buffer_in) : SUCCESS;
    }

private:
    std::string service;
};

class ServiceTest : public ::testing::Test {
protected:
    void SetUp() override {
        if (systemFilesPresent()) GTEST_SKIP() << "/Norva/NorvaAPI holds the system's own files";
        std::filesystem::create_symlink(SIU_TEST_LIB_DIR "/Log.so", dir.file("Log.so"));
        setModuleDirectory(dir.path());
        ASSERT_EQ(0, loadLogDll());
        savedFactory = createDeviceZT;
        createDeviceZT = [](void* params) -> BLDevice* { return new FakeDevice(params); };
        std::lock_guard<std::mutex> lock(fakeBoard.m);
        fakeBoard.answer = nullptr;
        fakeBoard.calls.clear();
    }

    void TearDown() override {
        if (IsSkipped()) return;
        // Nothing a test left open may leak into the next test of the process;
        // answers may refer to the test's locals, gone by now.
        setAnswer(nullptr);
        for (auto& s : opened)
            for (int i = 0; i < 10 && mgr->validateIndex(&s.first[0], s.second) == SUCCESS; ++i)
                SIU_Close(&s.first[0], &s.second);
        createDeviceZT = savedFactory;
        for (const auto& name : logNames)
            for (const char* channel : {"", "_Min", "_MaintenanceMode"})
                ProcessLock::discard((name.second + channel).c_str());
    }

    // A section that opens on the fake device and logs into the temporary
    // directory under a name of its own.
    std::string section(const std::string& service, const std::string& extra = "") {
        logNames[service] = uniqueName("siu_" + service);
        return "[" + service +
               "]\nCustomer=NORVA\nDeviceName=ZT\nLogGenerate=YES\nLogPath=" + dir.path() +
               "\nLogName=" + logNames[service] + "\n" + extra + "\n";
    }
    void writeIni(const std::string& text) { dir.write("NorvaSensorBoard.ini", text); }

    // SIU_Open, remembering the service so that TearDown can close it.
    int open(const std::string& service, int* idx) {
        opened.push_back({service, -1});
        int result = SIU_Open(&opened.back().first[0], idx);
        opened.back().second = *idx;
        return result;
    }
    int close(std::string service, int* idx) { return SIU_Close(&service[0], idx); }

    // Whether the service's normal channel wrote text so far.
    bool logged(const std::string& service, const std::string& text) {
        std::string all;
        for (const auto& entry : std::filesystem::directory_iterator(dir.path()))
            if (entry.path().filename().string().rfind(logNames[service] + "_2", 0) == 0)
                all += readWholeFile(entry.path());
        return all.find(text) != std::string::npos;
    }

    int devicesAlive() { return fakeBoard.alive; }
    void setAnswer(FakeBoard::Answer answer) {
        std::lock_guard<std::mutex> lock(fakeBoard.m);
        fakeBoard.answer = std::move(answer);
    }
    std::string calls() {
        std::lock_guard<std::mutex> lock(fakeBoard.m);
        return fakeBoard.calls;
    }

    ModulePathGuard guard;
    TempDir dir;
    BLDevice* (*savedFactory)(void*) = nullptr;  // the one the library ships with

private:
    std::vector<std::pair<std::string, int>> opened;
    std::map<std::string, std::string> logNames;
};

}  // namespace siutest
