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
    // 0: the library's documented figure for the line (exchangeDeadlineMs).
    unsigned exchangeDeadlineMs = 0;
    // 0: the library's documented budget of one wait for a cross-process
    // lock (lockBudgetMs).
    unsigned lockBudgetMs = 0;
    // Attempts after the first that the library makes of one exchange.
    unsigned retries = 0;
    // Scheduling on a loaded machine: added once to every budget.
    unsigned slackMs = 1000;
};

// The longest one exchange may take: the longest legal reply (the 1,000-byte
// work area) and the command at the line's speed, plus the receive time-outs
// of the silences the protocols allow (up to five empty reads), for each of
// the three transmissions two NACKs allow.
unsigned exchangeDeadlineMs(const Line& line);
// The longest a wait for the port, the configuration file or a log channel
// may last before the call gives up: two exchanges of the holder.
unsigned lockBudgetMs(const Line& line);

// The budget of one call: each exchange may wait for the port, pause between
// commands and run (retries + 1) attempts; an open also waits for the
// configuration file and the log; a close waits for the command another
// thread of the process is running (otherBudgetMs, 0 when there is none).
unsigned callBudgetMs(Call c, const Line& line, const BudgetSettings& s, unsigned otherBudgetMs);

// The text of a description of the budget formula, for the report.
std::string describeBudget(const Line& line, const BudgetSettings& s);

}  // namespace siusoak
