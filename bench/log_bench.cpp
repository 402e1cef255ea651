// Records per second through Log into the real log library, every level and
// every column on, written into a temporary directory.
//   build/bin/log_bench [--benchmark_min_time=2]
// Rates are per wall-clock second (UseRealTime): the write to the file is
// part of a record's cost.

#include <benchmark/benchmark.h>
#include <semaphore.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string>

#include "common/Clock.h"
#include "common/Configuration.h"
#include "common/Log.h"
#include "common/LogDll.h"
#include "common/Paths.h"

namespace {

Log* benchLog = nullptr;

const unsigned char kFrame[32] = {0x01, 0x02, 'S', 'T', 'A', 0x03, 0x5a, 0x06, 0x15, 0x04};

void BM_TextRecord(benchmark::State& state) {
    for (auto _ : state)
        benchLog->addLogBuffer(INF, "BLDeviceZT::CmdGetSensorStatus",
                               "Begin Command str = GetSensorStatus command = 6");
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_TextRecord)->UseRealTime();

void BM_FormattedRecord(benchmark::State& state) {
    int n = 0;
    for (auto _ : state)
        benchLog->addLogBufferList(DBG, "TransportProtocol::sendRecvData",
                                   "End Command str = %s Command = %d, return = %d", "SetPorts", 8,
                                   -(n++ & 7));
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_FormattedRecord)->UseRealTime();

void BM_HexRecord(benchmark::State& state) {
    for (auto _ : state)
        benchLog->addLogBuffer_Hex(DBX, "LogicProtocol::sendData", "TX", kFrame, sizeof kFrame);
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_HexRecord)->UseRealTime();

// A module directory in a fresh temporary directory holding the log library
// and an INI file whose service logs everything into the same directory.
class Environment {
public:
    Environment() {
        const char* base = std::getenv("TMPDIR");
        std::string tmpl = std::string(base && *base ? base : "/tmp") + "/log_bench.XXXXXX";
        if (mkdtemp(tmpl.data()) == nullptr) return;
        dir = tmpl;
        name = "log_bench." + std::to_string(getpid());
        std::string lib = dir + "/Log.so";
        if (symlink(LOG_LIBRARY, lib.c_str()) != 0) return;
        std::FILE* ini = std::fopen((dir + "/NorvaSensorBoard.ini").c_str(), "w");
        if (ini == nullptr) return;
        std::fprintf(ini, "[BENCH]\nLogGenerate=yes\nLogPath=%s\nLogName=%s\n", dir.c_str(),
                     name.c_str());
        std::fclose(ini);

        std::snprintf(modulePath, sizeof modulePath, "%s/", dir.c_str());
        if (loadLogDll() != 0 || !isCreateLog()) return;
        cfg.setService("BENCH");
        if (cfg.setPathIniFile() != 0) return;
        ready = log.setConfiguration(&cfg) == 0;
    }
    ~Environment() {
        log.logClean();  // closes the sessions
        freeLogDll();
        for (const char* suffix : {"", "_Min", "_MaintenanceMode"})
            sem_unlink((name + suffix).c_str());
        std::error_code ec;
        if (!dir.empty()) std::filesystem::remove_all(dir, ec);
    }

    bool ready = false;
    Log log;

private:
    std::string dir;
    std::string name;
    Configuration cfg;
};

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    Environment env;
    if (!env.ready) {
        std::fprintf(stderr, "log_bench: cannot set up the log library in a temporary directory\n");
        return 1;
    }
    benchLog = &env.log;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
