#pragma once
// The soak: boards on pseudo-terminals (siusim), client processes driving
// them through the library, and a seeded schedule of faults on the lines,
// SIGKILLs of clients and restarts of the boards; then the report.

#include <string>

#include "tools/siusoak/Budget.h"

namespace siusoak {

struct Options {
    unsigned seconds = 60;
    unsigned long seed = 1;
    unsigned clients = 4;
    unsigned ports = 2;
    std::string libDir;  // holds libNorvaSensorBoard.so.1 and Log.so
    std::string siusim;
    std::string self;    // this program, run again for each client
    // Mean times between two faults set on a line, two SIGKILLs of a client,
    // two restarts of a board; 0 switches that off.
    unsigned faultEveryMs = 400;
    unsigned killEveryMs = 3000;
    unsigned restartEveryMs = 10000;
    Line line;
    BudgetSettings budget;
    bool keep = false;
};

// Exit status: 0 no hang and no crash, 1 a hang or a crash, 2 the soak could
// not be set up.
int runSoak(const Options& options);

}  // namespace siusoak
