#pragma once
// siuctl's command line.

#include "tools/siuctl/ItemNames.h"

#include <string>
#include <vector>

namespace siuctl {

// Exit statuses.
constexpr int kExitOk = 0;
constexpr int kExitFailed = 1;   // the library answered with an error code
constexpr int kExitUsage = 2;    // the command line is wrong
constexpr int kExitLibrary = 3;  // the library could not be loaded

constexpr const char kDefaultService[] = "SIU";

enum class Command {
    Help,
    Version,
    Info,
    Status,
    Watch,
    Indicator,
    Buzzer,
    Ekey,
    Motion,
    Reset,
    ResetSensors,
    PowerCycle
};

struct Request {
    std::string service = kDefaultService;
    std::string library;   // --lib; empty: the dynamic linker's search
    bool verbose = false;  // let the library's own console output through
    Command command = Command::Help;
    bool json = false;
    unsigned intervalMs = 500;  // watch
    std::size_t indicator = 0;  // indicator
    unsigned value = 0;         // indicator, buzzer, ekey, motion (when set)
    bool motionSet = false;
    std::vector<ItemRef> items;  // reset-sensors
    unsigned timeOff = 0;        // power-cycle
    unsigned timeOn = 0;
};

extern const char kUsage[];

// False and an explanation for a command line that cannot be carried out;
// names and ranges are checked here, before anything is loaded or opened.
// Options may come before, between or after the command's words.
bool parseCommandLine(int argc, const char* const* argv, Request& out, std::string& error);

}  // namespace siuctl
