#include "tools/siusim/CommandLine.h"

#include <cerrno>
#include <cstdlib>

namespace siusim {

const char kUsage[] = R"(Usage:
  siusim --link PATH [--protocol P] [--board FILE] [--baud B]
         [--record FILE] [--fault MODE[:COUNT[:MS]]]
  siusim --control PATH COMMAND [ARG...]
  siusim --help

Behaves like the sensor board at the far end of the serial line, on a
pseudo-terminal. PATH becomes a symbolic link to the terminal's device node
(name it as DevicePort in the service's section) and PATH.ctl its control
socket; both are removed when the simulator ends (SIGINT, SIGTERM or the
control command quit). A PATH that exists is refused unless it is the stale
link of a simulator that died.

Options:
  --link PATH       where to create the link to the device node
  --protocol P      direto or NorvaDireto: point-to-point framing (the
                    default); 485, Norva485 or Device65A: RS-485 framing.
                    The long names are those of DeviceProtocol
  --board FILE      board file: firmware version, get-sensor commands and
                    their replies, latched positions (see README.md)
  --baud B          take as long as a real line at B baud with 10 bits per
                    byte, in both directions
  --record FILE     append each received command to FILE as "<ms> <command>"
                    (ms of the monotonic clock)
  --fault F         fault for the first answers, as MODE[:COUNT[:MS]]
  --control PATH    send one command to the simulator serving PATH (its link
                    or its .ctl socket) and print the one-line answer; exit
                    status 0 for OK, 1 for ERR, 2 when nothing answers

Faults, for the next COUNT answers (default 1):
  nack      answer NACK             no-ack    leave out the ACK
  bad-bcc   corrupt the checksum    silent    answer nothing
  garbage   answer stray bytes      noise     stray bytes, then the answer
  stall     stop MS ms (default 100) in the middle of the response frame
  drop      close the line and open a new one; the link follows
  trickle   the answer one byte every MS ms (default 150), then stray bytes
            at that pace until the host's next frame
  none      no fault

Control commands:
  ping                         OK
  set-reply CMD HEX            set (or add) a get-sensor command's reply
  get-reply CMD                the reply digits of a get-sensor command
  set-flag CMD POS MASK 0|1    clear or set bits MASK of digit POS (from 1)
  set-version TEXT             what "V" answers
  set-remote-reply TEXT        what "R" answers
  outputs                      leds=<20 digits> buzzer=<0-2> key=<0|1> motion=<ms>
  records                      "<n> <ms>:<command> ..." received since the
                               last call; the record is then cleared
  fault [MODE [COUNT [MS]]]    set the fault, or show it
  device                       the device node the link points at
  quit                         end the simulator
)";

bool parseNumber(const std::string& text, unsigned long max, unsigned long& out) {
    if (text.empty() || text[0] == '-' || text[0] == '+' || text[0] == ' ') return false;
    char* end = nullptr;
    errno = 0;
    const unsigned long v = std::strtoul(text.c_str(), &end, 0);
    if (errno != 0 || *end != '\0' || v > max) return false;
    out = v;
    return true;
}

bool parseCommandLine(int argc, const char* const* argv, CommandLine& out, std::string& error) {
    CommandLine cl;
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        if (arg == "--help" || arg == "-h") {
            out.mode = CommandLine::Mode::Help;
            return true;
        }
        if (arg == "--control") {
            if (i + 2 >= argc) {
                error = "--control needs a PATH and a COMMAND";
                return false;
            }
            cl.mode = CommandLine::Mode::Control;
            cl.controlPath = argv[i + 1];
            cl.controlWords.assign(argv + i + 2, argv + argc);
            out = cl;
            return true;
        }
        if (i + 1 >= argc) {
            error = arg.rfind("--", 0) == 0 ? arg + " needs a value" : "unexpected '" + arg + "'";
            return false;
        }
        const std::string value = argv[++i];
        unsigned long n = 0;
        if (arg == "--link") {
            cl.options.link = value;
        } else if (arg == "--protocol") {
            if (value == "direto" || value == "NorvaDireto") {
                cl.options.protocol = Protocol::Direct;
            } else if (value == "485" || value == "Norva485" || value == "Device65A") {
                cl.options.protocol = Protocol::Rs485;
            } else {
                error = "--protocol takes direto (NorvaDireto) or 485 (Norva485, Device65A)";
                return false;
            }
        } else if (arg == "--board") {
            cl.options.boardFile = value;
        } else if (arg == "--baud") {
            if (!parseNumber(value, 4000000, n) || n < 50) {
                error = "--baud takes a rate from 50 to 4000000";
                return false;
            }
            cl.options.baud = static_cast<unsigned>(n);
        } else if (arg == "--record") {
            cl.options.recordFile = value;
        } else if (arg == "--fault") {
            if (!parseFault(splitWords(value, ':'), cl.options.fault, error)) {
                error = "--fault: " + error;
                return false;
            }
        } else {
            error = "unknown option '" + arg + "'";
            return false;
        }
    }
    if (cl.options.link.empty()) {
        error = "--link PATH is required";
        return false;
    }
    out = cl;
    return true;
}

}  // namespace siusim
