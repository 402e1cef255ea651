#pragma once
// What the soak calls, the line every service of the soak uses, and how long
// each call may take at most: its budget. A call past its budget is a hang.

#include <string>

namespace siusoak {

enum class Call {
    Open,
    Close,
    GetSensorStatus,
    SetIndicator,
    SetBuzzer,
    GetDeviceInfo,
    GetSensorMotionTime,
    ResetSensorStatus,
    Count
};
constexpr int kCallCount = static_cast<int>(Call::Count);

const char* callName(Call c);

// Exchanges with the board one call makes at most: the open switches the
// indicators off, a status read sends each get-sensor command of the
// service's items once (S and P here), the close sends nothing.
int exchangesOf(Call c);

// The settings every service of the soak gets. The INI files are written from
// these and the budgets computed from them, so the two cannot disagree.
struct Line {
    unsigned baud = 9600;
    unsigned rxTimeoutMs = 100;
    unsigned txTimeoutMs = 100;
    unsigned intervalMs = 10;
};

struct BudgetSettings {
    // 0: the library's documented figures (exchangeDeadlineMs, portWaitMs).
    unsigned exchangeDeadlineMs = 0;
    unsigned lockBudgetMs = 0;
    // Attempts after the first that the library makes of one exchange.
    unsigned retries = 0;
    // Scheduling on a loaded machine: added once to every budget.
    unsigned slackMs = 1000;
};

// The library's documented limits (README, "Budgets" and "Locks between
// processes"), for an 8N1 line:
// - one exchange ends within the time a 1000-byte work area takes on the wire
//   each way plus the silence budget: five receive time-outs point-to-point,
//   1000 / DeviceRxTimeout + 1 of them three times over on RS-485;
unsigned exchangeDeadlineMs(const Line& line, bool rs485);
// - a wait for the port gives up after two turns of a holder, a turn being
//   the pause, the longer of the two exchange deadlines above and one second;
unsigned portWaitMs(const Line& line);
// - a wait for the configuration file gives up after 5 s, one for a log
//   channel after 1 s (the record is dropped).
constexpr unsigned kConfigWaitMs = 5000;
constexpr unsigned kLogWaitMs = 1000;

// The budget of one call on a service of that line: each exchange may wait
// for the port, pause between commands and run (retries + 1) attempts, each
// within the exchange deadline; the call's first and last log records may
// each wait for their channel; an open also waits for the configuration file;
// an open or a close waits for the command another thread of the process is
// running (otherBudgetMs, 0 when there is none).
unsigned callBudgetMs(Call c, const Line& line, bool rs485, const BudgetSettings& s,
                      unsigned otherBudgetMs);

// The budget formula with its figures, for the report.
std::string describeBudget(const Line& line, const BudgetSettings& s);

}  // namespace siusoak
