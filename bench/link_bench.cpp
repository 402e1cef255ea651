// Exchanges per second over a pty against the board simulator, for both
// framings, with no pause between commands, logging off and with every level
// on; and at 9600 baud, the time of an exchange beside the time its bytes take
// on the wire (10 bits a byte).
//   build/bin/link_bench

#include <benchmark/benchmark.h>

#include <semaphore.h>
#include <unistd.h>

#include <memory>
#include <string>

#include "common/Clock.h"
#include "common/Configuration.h"
#include "common/Log.h"
#include "common/LogDll.h"
#include "tests/tools/siusim/SimHarness.h"
#include "tests/transport/ScriptedPort.h"

namespace {

using siutest::LinkUnderTest;

// The command and its reply data (the board repeats the command letter).
const std::string COMMAND = "1";
const std::string REPLY = "2";

// Bytes on the wire for one exchange of COMMAND: the command frame, the
// board's ACK and reply frame, the host's final ACK.
int wireBytes(bool rs485) {
    const int data = static_cast<int>(COMMAND.size());
    const int reply = 1 + static_cast<int>(REPLY.size());
    return rs485 ? (4 + data + 2) + 1 + (4 + reply + 2) + 1
                 : (1 + data + 2) + 1 + (1 + reply + 2) + 1;
}

// A service log with every level and column on, written through the real
// log library into a temporary directory.
class FullLog {
public:
    FullLog() {
        dir.write("NorvaSensorBoard.ini",
                  "[BENCH]\nLogGenerate=yes\nLogPath=" + dir.path() + "\nLogName=" + name + "\n");
        siutest::setModuleDirectory(dir.path());
        ready = symlink(LOG_LIBRARY, dir.file("Log.so").c_str()) == 0 && loadLogDll() == 0 &&
                cfg.setService("BENCH") == 0 && cfg.setPathIniFile() == 0 &&
                log.setConfiguration(&cfg) == 0;
    }
    ~FullLog() {
        log.logClean();
        freeLogDll();
        for (const char* suffix : {"", "_Min", "_MaintenanceMode"})
            sem_unlink((name + suffix).c_str());
    }

    bool ready = false;
    Log log;

private:
    siutest::TempDir dir;
    std::string name = siutest::uniqueName("link_bench");
    Configuration cfg;
};

// Runs exchanges for as long as the state asks; the mean ms of one.
double runExchanges(benchmark::State& state, bool rs485, const std::vector<std::string>& extra,
                    Log* log = nullptr) {
    simtest::Sim board(rs485 ? simtest::Wire::Rs485 : simtest::Wire::Direct, extra);
    board.control("set-reply " + COMMAND + " " + REPLY);
    LinkUnderTest link(std::make_unique<CommUart>(), 50, 50, log);
    if (link.openSerial(board.link(), 115200) != 0) {
        state.SkipWithError("cannot open the simulator's line");
        return 0;
    }
    std::string reply;
    const uint64_t start = GetMonotonicTickMs();
    for (auto _ : state) {
        if (link.exchange(rs485, COMMAND, &reply) != 0) {
            state.SkipWithError("exchange failed");
            return 0;
        }
    }
    const double elapsed = static_cast<double>(GetMonotonicTickMs() - start);
    state.counters["exchanges/s"] =
        benchmark::Counter(static_cast<double>(state.iterations()), benchmark::Counter::kIsRate);
    return elapsed / static_cast<double>(state.iterations());
}

void BM_Exchange(benchmark::State& state) {
    const bool rs485 = state.range(0) != 0;
    if (state.range(1) == 0) {
        runExchanges(state, rs485, {});
        return;
    }
    FullLog full;
    if (!full.ready) return state.SkipWithError("cannot set up the log library");
    runExchanges(state, rs485, {}, &full.log);
}
BENCHMARK(BM_Exchange)
    ->ArgNames({"rs485", "log"})
    ->ArgsProduct({{0, 1}, {0, 1}})
    ->UseRealTime()
    ->Unit(benchmark::kMicrosecond);

void BM_ExchangeAt9600(benchmark::State& state) {
    const bool rs485 = state.range(0) != 0;
    const double exchangeMs = runExchanges(state, rs485, {"--baud", "9600"});
    const double wireMs = wireBytes(rs485) * 10 * 1000.0 / 9600;
    state.counters["wire_ms"] = wireMs;
    state.counters["above_wire_ms"] = exchangeMs - wireMs;
}
BENCHMARK(BM_ExchangeAt9600)
    ->ArgName("rs485")
    ->Arg(0)
    ->Arg(1)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond)
    ->MinTime(2.0);

}  // namespace

BENCHMARK_MAIN();
