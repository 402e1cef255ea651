#pragma once
// The client side of the simulator's control socket, shared by the tools that
// drive a simulator: one command line out, the first line of the answer back.
// The whole request and answer run within one budget, so a simulator that
// stops, or trickles bytes without ever ending the line, cannot hold the
// caller.

#include <sys/un.h>

#include <string>

#include "common/UniqueHandles.h"

namespace siutools {

// Fills addr for the UNIX socket at path; false when the path is empty or
// does not fit.
bool unixAddress(const std::string& path, sockaddr_un& addr);

// A stream socket connected to the UNIX socket at path within budgetMs, or
// none.
UniqueFd connectUnix(const std::string& path, int budgetMs);

enum class ControlOutcome {
    Answered,     // a line came, or bytes and then the end of the connection
    Unreachable,  // nothing accepted the connection
    NotSent,      // the command could not be written
    NoAnswer,     // no whole line within the budget
};

// Sends command and a newline to the control socket at socketPath and reads
// the answer up to its first newline. *answer is that line, without the
// newline, when Answered; empty otherwise.
ControlOutcome askControl(const std::string& socketPath, const std::string& command, int budgetMs,
                          std::string* answer);

}  // namespace siutools
