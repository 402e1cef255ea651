#include "tools/siusoak/Budget.h"

#include <algorithm>

namespace siusoak {

namespace {

struct CallInfo {
    const char* name;
    int exchanges;
};
constexpr CallInfo kCalls[kCallCount] = {
    {"SIU_Open", 1},          {"SIU_Close", 0},          {"SIU_GetSensorStatus", 2},
    {"SIU_SetIndicator", 1},  {"SIU_SetBuzzer", 1},      {"SIU_GetDeviceInfo", 1},
    {"SIU_GetSensorMotionTime", 1}, {"SIU_ResetSensorStatus", 1},
};

constexpr unsigned kWorkArea = 1000;  // bytes of the longest frame either way

unsigned wireMs(const Line& line, unsigned bitsPerCharacter) {
    const unsigned long long bits = 2ull * kWorkArea * bitsPerCharacter * 1000;
    return static_cast<unsigned>((bits + line.baud - 1) / line.baud);
}

unsigned deadline(const Line& line, bool rs485, const BudgetSettings& s) {
    return s.exchangeDeadlineMs ? s.exchangeDeadlineMs : exchangeDeadlineMs(line, rs485);
}

unsigned portWait(const Line& line, const BudgetSettings& s) {
    return s.lockBudgetMs ? s.lockBudgetMs : portWaitMs(line);
}

}  // namespace

const char* callName(Call c) {
    return kCalls[static_cast<int>(c)].name;
}

int exchangesOf(Call c) {
    return kCalls[static_cast<int>(c)].exchanges;
}

unsigned exchangeDeadlineMs(const Line& line, bool rs485) {
    const unsigned wire = wireMs(line, 10);
    if (!rs485) return wire + 5 * line.rxTimeoutMs;
    return 3 * (wire + (1000 / line.rxTimeoutMs + 1) * line.rxTimeoutMs);
}

unsigned portWaitMs(const Line& line) {
    const unsigned longest = std::max(exchangeDeadlineMs(line, false), exchangeDeadlineMs(line, true));
    return 2 * (line.intervalMs + longest + 1000);
}

unsigned callBudgetMs(Call c, const Line& line, bool rs485, const BudgetSettings& s,
                      unsigned otherBudgetMs) {
    unsigned ms = s.slackMs + 2 * kLogWaitMs;
    ms += static_cast<unsigned>(exchangesOf(c)) *
          (portWait(line, s) + line.intervalMs + (s.retries + 1) * deadline(line, rs485, s));
    if (c == Call::Open) ms += kConfigWaitMs;
    if (c == Call::Open || c == Call::Close) ms += otherBudgetMs;
    return ms;
}

std::string describeBudget(const Line& line, const BudgetSettings& s) {
    return "exchanges x (port wait " + std::to_string(portWait(line, s)) + " + pause " +
           std::to_string(line.intervalMs) + " + " + std::to_string(s.retries + 1) +
           " x deadline " + std::to_string(deadline(line, false, s)) + " point-to-point, " +
           std::to_string(deadline(line, true, s)) + " RS-485) + 2 log waits " +
           std::to_string(kLogWaitMs) + " + slack " + std::to_string(s.slackMs) +
           " ms; an open adds the configuration wait " + std::to_string(kConfigWaitMs) +
           ", an open or close the other thread's call";
}

}  // namespace siusoak
