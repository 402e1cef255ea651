#include "tools/siuctl/CommandLine.h"

#include <strings.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

namespace siuctl {

const char kUsage[] =
    "Usage: siuctl [-s SERVICE] [--lib PATH] [-v] COMMAND [ARGS]\n"
    "       siuctl --help | --version\n"
    "\n"
    "Drives one service of libNorvaSensorBoard.so.1 (a section of its\n"
    "NorvaSensorBoard.ini) through the library's public SIU_ functions.\n"
    "\n"
    "Options:\n"
    "  -s, --service SERVICE   the service (INI section) to open; default SIU\n"
    "      --lib PATH          the library to load: its file or the directory holding it.\n"
    "                          Default: libNorvaSensorBoard.so.1 through the dynamic linker's\n"
    "                          search (LD_LIBRARY_PATH, ../lib beside siuctl, the system).\n"
    "                          The library reads NorvaSensorBoard.ini and loads Log.so from\n"
    "                          /Norva/NorvaAPI/, else from the directory it was loaded from.\n"
    "  -v, --verbose           let the library's own console output through (on stderr)\n"
    "  -h, --help              this text\n"
    "      --version           the product version of siuctl and the library it is built with\n"
    "\n"
    "Options, those of a command (--json, --interval) too, may stand before the command or\n"
    "after it: siuctl --json status and siuctl status --json are the same.\n"
    "\n"
    "Commands:\n"
    "  info                    firmware version and the configured items\n"
    "  status [--json]         every configured item with its state (DOOR_SAFE_BOX OPENED);\n"
    "                          --json: one object for monitoring tools,\n"
    "                          "
    "{\"service\":..,\"time\":..,\"items\":{\"DOOR_SAFE_BOX\":\"OPENED\",..}}\n"
    "  watch [--interval MS] [--json]\n"
    "                          reads the board every MS ms (default 500) and prints one\n"
    "                          timestamped line per change, and a line when the board stops or\n"
    "                          starts answering again (\"line lost\" when the serial line itself\n"
    "                          is gone, \"line back\" when the board answers on it again),\n"
    "                          until SIGINT (Ctrl-C) or SIGTERM; then closes the service and\n"
    "                          exits 0. \"watching ...\" on stderr tells that the first reading\n"
    "                          is done. --json: one object per line,\n"
    "                          {\"time\":..,\"item\":..,\"state\":..,\"previous\":..},\n"
    "                          {\"time\":..,\"error\":..,\"code\":..,\"hint\":..},\n"
    "                          {\"time\":..,\"board\":\"answering\"},\n"
    "                          {\"time\":..,\"line\":\"lost\",\"error\":..,\"code\":..,\"hint\":..} or\n"
    "                          {\"time\":..,\"line\":\"back\"}\n"
    "  indicator NAME off|on|blink\n"
    "                          sets an indicator (INDICATOR_LED_GREEN, or just LED_GREEN)\n"
    "  buzzer off|on|blink     sets the buzzer\n"
    "  ekey on|off             switches the electronic-key port\n"
    "  motion [MS]             shows the sensor motion time, or sets it (100..999 ms)\n"
    "  reset                   switches every indicator off\n"
    "  reset-sensors NAME...   clears the latched flags of the items' board positions; only\n"
    "                          the first seven items of each group can be named (the library\n"
    "                          resets no others), e.g. SENSOR_HEAT, SENSOR_SEISMIC, SENSOR_SMOKE\n"
    "  power-cycle OFF ON      remote power cycle of the terminal: OFF 0..999, ON 0..99999, in\n"
    "                          the board's timer units; prints the board's answer\n"
    "\n"
    "Item names are those `siuctl info` lists; case does not matter and the library's\n"
    "NORVA_SIU_ prefix may be given.\n"
    "\n"
    "Exit status: 0 done; 1 the library returned an error (the code's name and a hint\n"
    "are printed on stderr); 2 wrong command line; 3 the library could not be loaded.\n";

namespace {

// The words of the command line that are not options, in order.
struct Args {
    std::vector<std::string> words;
    std::size_t next = 0;

    bool more() const { return next < words.size(); }
    std::string peek() const { return words[next]; }
    std::string take() { return words[next++]; }
};

bool number(const std::string& text, unsigned long lo, unsigned long hi, unsigned& out) {
    if (text.empty() || text.find_first_not_of("0123456789") != std::string::npos) return false;
    errno = 0;
    const unsigned long v = std::strtoul(text.c_str(), nullptr, 10);
    if (errno != 0 || v < lo || v > hi) return false;
    out = static_cast<unsigned>(v);
    return true;
}

bool numberText(const std::string& text, const char* what, unsigned long lo, unsigned long hi,
                unsigned& out, std::string& error) {
    if (number(text, lo, hi, out)) return true;
    error = std::string(what) + " must be a number from " + std::to_string(lo) + " to " +
            std::to_string(hi) + ", not '" + text + "'";
    return false;
}

bool numberArg(Args& a, const char* what, unsigned long lo, unsigned long hi, unsigned& out,
               std::string& error) {
    if (!a.more()) {
        error = std::string("missing ") + what;
        return false;
    }
    return numberText(a.take(), what, lo, hi, out, error);
}

// off / on / blink, as the values of NORVA_SIU_INDICATOR_VALUE; ekey knows
// no blink.
bool switchArg(Args& a, bool blinkAllowed, unsigned& out, std::string& error) {
    static const char* const kWords[] = {"off", "on", "blink"};
    const unsigned count = blinkAllowed ? 3 : 2;
    const std::string choices = blinkAllowed ? "off, on or blink" : "on or off";
    if (!a.more()) {
        error = "missing " + choices;
        return false;
    }
    const std::string word = a.take();
    for (unsigned v = 0; v < count; ++v) {
        if (strcasecmp(word.c_str(), kWords[v]) == 0) {
            out = v;
            return true;
        }
    }
    error = "'" + word + "': expected " + choices;
    return false;
}

bool sensorNames(Args& a, std::vector<ItemRef>& items, std::string& error) {
    // Only the first seven rows of each group are looked at by the library's
    // reset; naming another item would silently do nothing.
    constexpr std::size_t kResettableRows = 7;
    while (a.more()) {
        const std::string name = a.take();
        ItemRef ref{};
        if (!findSensor(name, ref)) {
            error = "no item is named '" + name + "' (siuctl info lists them)";
            return false;
        }
        if (ref.index >= kResettableRows) {
            error = "'" + name + "' cannot be reset: the library resets only the first seven " +
                    "items of each group (" + group(ref.group).names[0] + " ... " +
                    group(ref.group).names[kResettableRows - 1] + ")";
            return false;
        }
        items.push_back(ref);
    }
    if (items.empty()) error = "name at least one item to reset";
    return !items.empty();
}

bool commandArgs(const std::string& word, Args& a, Request& r, std::string& error) {
    if (word == "info") {
        r.command = Command::Info;
    } else if (word == "status" || word == "watch") {
        r.command = word == "status" ? Command::Status : Command::Watch;
    } else if (word == "indicator") {
        r.command = Command::Indicator;
        if (!a.more()) {
            error = "missing indicator name";
            return false;
        }
        const std::string name = a.take();
        if (!findIndicator(name, r.indicator)) {
            error = "no indicator is named '" + name + "' (siuctl info lists them)";
            return false;
        }
        if (!switchArg(a, true, r.value, error)) return false;
    } else if (word == "buzzer" || word == "ekey") {
        r.command = word == "buzzer" ? Command::Buzzer : Command::Ekey;
        if (!switchArg(a, r.command == Command::Buzzer, r.value, error)) return false;
    } else if (word == "motion") {
        r.command = Command::Motion;
        r.motionSet = a.more();
        if (r.motionSet && !numberArg(a, "the motion time", 100, 999, r.value, error)) return false;
    } else if (word == "reset") {
        r.command = Command::Reset;
    } else if (word == "reset-sensors") {
        r.command = Command::ResetSensors;
        return sensorNames(a, r.items, error);
    } else if (word == "power-cycle") {
        r.command = Command::PowerCycle;
        if (!numberArg(a, "OFF", 0, 999, r.timeOff, error) ||
            !numberArg(a, "ON", 0, 99999, r.timeOn, error))
            return false;
    } else {
        error = "unknown command '" + word + "'";
        return false;
    }
    if (a.more()) {
        error = "unexpected '" + a.peek() + "' after " + word;
        return false;
    }
    return true;
}

}  // namespace

bool parseCommandLine(int argc, const char* const* argv, Request& out, std::string& error) {
    // Options may stand anywhere: before the command, between its words or
    // after them. Nothing a command takes begins with '-'.
    Args words;
    bool intervalGiven = false;
    for (int i = 1; i < argc; ++i) {
        const std::string opt = argv[i];
        if (opt.empty() || opt[0] != '-') {
            words.words.push_back(opt);
        } else if (opt == "-h" || opt == "--help") {
            out.command = Command::Help;
            return true;
        } else if (opt == "--version") {
            out.command = Command::Version;
            return true;
        } else if (opt == "-v" || opt == "--verbose") {
            out.verbose = true;
        } else if (opt == "--json") {
            out.json = true;
        } else if (opt == "-s" || opt == "--service" || opt == "--lib" || opt == "--interval") {
            if (i + 1 >= argc || argv[i + 1][0] == '\0') {
                error = "missing value of " + opt;
                return false;
            }
            const std::string value = argv[++i];
            if (opt == "--interval") {
                intervalGiven = true;
                if (!numberText(value, "--interval", 10, 3600000, out.intervalMs, error))
                    return false;
            } else {
                (opt == "--lib" ? out.library : out.service) = value;
            }
        } else {
            error = "unknown option '" + opt + "'";
            return false;
        }
    }
    if (!words.more()) {
        error = "missing command";
        return false;
    }
    const std::string command = words.take();
    if (!commandArgs(command, words, out, error)) return false;
    if (out.json && out.command != Command::Status && out.command != Command::Watch) {
        error = "--json goes with status or watch, not with " + command;
        return false;
    }
    if (intervalGiven && out.command != Command::Watch) {
        error = "--interval goes with watch, not with " + command;
        return false;
    }
    return true;
}

}  // namespace siuctl
