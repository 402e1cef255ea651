#pragma once
// A service's configuration and log for device tests: the INI file and the
// capturing log-library stand-in share one module directory, so the records
// a device writes can be read back.

#include <semaphore.h>
#include <unistd.h>

#include <memory>
#include <string>
#include <vector>

#include "common/Configuration.h"
#include "common/Log.h"
#include "common/StandinLog.h"
#include "manager/ConstructParams.h"
#include "manager/Global.h"
#include "support/TestSupport.h"

namespace devicetest {

// Files in /Norva/NorvaAPI are looked for first and would shadow the test's.
inline bool systemFilesPresent() {
    return siutest::systemLogLibraryPresent() ||
           access("/Norva/NorvaAPI/NorvaSensorBoard.ini", F_OK) == 0;
}

class LoggedService {
public:
    LoggedService() : lib(LOG_STANDIN_FULL) {}
    ~LoggedService() {
        log.reset();
        for (const char* suffix : {"", "_Min", "_MaintenanceMode"}) {
            sem_unlink((logName + suffix).c_str());
        }
    }

    // Writes the INI file: service "SIU" with its log keys, then sections.
    void configure(const std::string& sections) {
        lib.tempDir().write("NorvaSensorBoard.ini",
                            "[SIU]\nLogGenerate=yes\nLogPath=" + lib.tempDir().path() +
                                "/logs\nLogName=" + logName + "\n" + sections);
        EXPECT_EQ(SUCCESS, cfg.setService("SIU"));
        EXPECT_EQ(SUCCESS, cfg.setPathIniFile());
        log = std::make_unique<Log>();
        EXPECT_EQ(SUCCESS, log->setConfiguration(&cfg));
        params = {&cfg, log.get()};
        lib.clear();
    }

    // The text of every record written since configure(), in order.
    std::vector<std::string> records() const {
        std::vector<std::string> texts;
        for (const siutest::Call& call : lib.calls()) {
            if (call.size() > 1 && call[0].rfind("writeToFile", 0) == 0)
                texts.push_back(call.back());
        }
        return texts;
    }

    siutest::StandinLog lib;
    std::string logName = siutest::uniqueName("siudev");
    Configuration cfg;
    std::unique_ptr<Log> log;
    st_constructParams params{nullptr, nullptr};
};

}  // namespace devicetest
