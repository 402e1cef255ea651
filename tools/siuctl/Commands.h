#pragma once
// siuctl's commands, each run against one open service.

#include "tools/siuctl/CommandLine.h"
#include "tools/siuctl/Library.h"

#include <cstdio>

namespace siuctl {

// Opens the request's service, runs its command, closes the service again and
// returns the exit status. Results go to out, errors and hints to stderr.
int runCommand(const Request& request, const Library& library, std::FILE* out);

// Installs the handlers of SIGINT, SIGTERM and SIGHUP: the first one asks
// the running command to stop after the exchange in progress (watch then
// closes the service and ends with 0); a second one ends the process at once.
void installStopHandlers();

}  // namespace siuctl
