#pragma once
// The simulator's command line.

#include "tools/siusim/Faults.h"
#include "tools/siusim/Framing.h"

#include <string>
#include <vector>

namespace siusim {

struct Options {
    std::string link;
    Protocol protocol = Protocol::Direct;
    std::string boardFile;
    unsigned baud = 0;  // 0: no wire time
    std::string recordFile;
    Fault fault;
};

struct CommandLine {
    enum class Mode { Serve, Control, Help } mode = Mode::Serve;
    Options options;
    std::string controlPath;
    std::vector<std::string> controlWords;
};

extern const char kUsage[];

// False and an explanation for a command line that cannot be carried out.
bool parseCommandLine(int argc, const char* const* argv, CommandLine& out, std::string& error);

// A decimal or 0x-prefixed number that fits max; false for anything else.
bool parseNumber(const std::string& text, unsigned long max, unsigned long& out);

}  // namespace siusim
