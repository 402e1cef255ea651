#include "tools/siusoak/Budget.h"

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
constexpr unsigned kBitsPerByte = 10;
constexpr unsigned kSilences = 5;
constexpr unsigned kTransmissions = 3;

}  // namespace

const char* callName(Call c) {
    return kCalls[static_cast<int>(c)].name;
}

int exchangesOf(Call c) {
    return kCalls[static_cast<int>(c)].exchanges;
}

unsigned exchangeDeadlineMs(const Line& line) {
    const unsigned wireMs = 2 * kWorkArea * kBitsPerByte * 1000 / line.baud;
    return kTransmissions * (wireMs + kSilences * line.rxTimeoutMs + line.txTimeoutMs);
}

unsigned lockBudgetMs(const Line& line) {
    return 2 * exchangeDeadlineMs(line);
}

unsigned callBudgetMs(Call c, const Line& line, const BudgetSettings& s, unsigned otherBudgetMs) {
    const unsigned deadline = s.exchangeDeadlineMs ? s.exchangeDeadlineMs : exchangeDeadlineMs(line);
    const unsigned lock = s.lockBudgetMs ? s.lockBudgetMs : lockBudgetMs(line);
    unsigned ms = s.slackMs;
    ms += static_cast<unsigned>(exchangesOf(c)) * (lock + line.intervalMs + (s.retries + 1) * deadline);
    if (c == Call::Open) ms += 2 * lock;
    if (c == Call::Open || c == Call::Close) ms += otherBudgetMs;
    return ms;
}

std::string describeBudget(const Line& line, const BudgetSettings& s) {
    const unsigned deadline = s.exchangeDeadlineMs ? s.exchangeDeadlineMs : exchangeDeadlineMs(line);
    const unsigned lock = s.lockBudgetMs ? s.lockBudgetMs : lockBudgetMs(line);
    return "exchanges x (lock " + std::to_string(lock) + " + pause " +
           std::to_string(line.intervalMs) + " + " + std::to_string(s.retries + 1) +
           " x deadline " + std::to_string(deadline) + ") + slack " + std::to_string(s.slackMs) +
           " ms; an open adds two lock waits, an open or close the other thread's call";
}

}  // namespace siusoak
