// siusoak: runs client processes against simulated boards under random
// faults, kills and restarts for a given time, and reports every call that
// took longer than its budget and every crash.

#include <unistd.h>

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "tools/siusoak/Client.h"
#include "tools/siusoak/Soak.h"

namespace {

const char kUsage[] = R"(Usage: siusoak [OPTION...]

Starts one simulated board (siusim) per line and client processes that use
the library through its SIU_ functions: each client has a directory of its
own with the library, Log.so and an INI file whose services
(MultipleApplication = Y) are on one or two of the lines, and one thread per
service calling at random. For the given time it sets random faults on the
lines (nack, no-ack, bad-bcc, silent, garbage, noise, stall, trickle, drop),
SIGKILLs clients and restarts them, and kills and restarts boards on the same
link (a line lost and back). The first half of the clients are never killed,
so their memory spans the run. Then it prints the calls by result code, the
slowest call against its budget, every hang (a call past its budget), every
crash and each client's memory (RSS).

Options:
  --seconds N             how long to run (60)
  --seed N                seed of every random choice (1)
  --clients N             client processes (4)
  --ports N               lines, 1 or 2; the second one uses RS-485 framing (2)
  --lib DIR               where libNorvaSensorBoard.so.1 and Log.so are
                          (../lib beside this program)
  --siusim PATH           the simulator (siusim beside this program)
  --fault-every MS        mean time between two faults (400; 0: none)
  --kill-every MS         mean time between two client SIGKILLs (3000; 0: none)
  --restart-every MS      mean time between two board restarts (10000; 0: none)
  --exchange-deadline MS  the longest one exchange may take (from the line)
  --lock-budget MS        the longest one lock wait may take (from the line)
  --retries N             attempts after the first of one exchange (0)
  --slack MS              added to every budget for a loaded machine (1000)
  --keep                  keep the working directory (INI files, logs)

Exit status: 0 no hang and no crash, 1 a hang or a crash, 2 the soak could
not be set up or the command line is wrong.
)";

std::string besideSelf(const std::string& self, const std::string& relative) {
    return self.substr(0, self.rfind('/') + 1) + relative;
}

bool number(const char* text, unsigned long max, unsigned long& out) {
    char* end = nullptr;
    errno = 0;
    const unsigned long v = std::strtoul(text, &end, 10);
    if (*text < '0' || *text > '9' || *end != '\0' || errno != 0 || v > max) return false;
    out = v;
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    char self[PATH_MAX];
    const ssize_t n = readlink("/proc/self/exe", self, sizeof self - 1);
    if (n <= 0) return 2;
    self[n] = '\0';

    if (argc >= 5 && std::strcmp(argv[1], "--client") == 0 && std::strcmp(argv[3], "--seed") == 0) {
        unsigned long seed = 0;
        number(argv[4], ULONG_MAX, seed);
        return siusoak::runClient(argv[2], std::vector<std::string>(argv + 5, argv + argc), seed);
    }

    siusoak::Options o;
    o.self = self;
    o.libDir = besideSelf(self, "../lib");
    o.siusim = besideSelf(self, "siusim");
    for (int i = 1; i < argc; ++i) {
        const std::string a = argv[i];
        if (a == "--help" || a == "-h") {
            std::fputs(kUsage, stdout);
            return 0;
        }
        if (a == "--keep") {
            o.keep = true;
            continue;
        }
        if (i + 1 >= argc) {
            std::fprintf(stderr, "siusoak: %s needs a value (see --help)\n", a.c_str());
            return 2;
        }
        const char* v = argv[++i];
        unsigned long x = 0;
        const struct {
            const char* name;
            unsigned long min, max;
            unsigned* field;
        } numbers[] = {
            {"--seconds", 1, 86400 * 7, &o.seconds},
            {"--clients", 1, 64, &o.clients},
            {"--ports", 1, 2, &o.ports},
            {"--fault-every", 0, 3600000, &o.faultEveryMs},
            {"--kill-every", 0, 3600000, &o.killEveryMs},
            {"--restart-every", 0, 3600000, &o.restartEveryMs},
            {"--exchange-deadline", 1, 3600000, &o.budget.exchangeDeadlineMs},
            {"--lock-budget", 1, 3600000, &o.budget.lockBudgetMs},
            {"--retries", 0, 100, &o.budget.retries},
            {"--slack", 0, 3600000, &o.budget.slackMs},
        };
        bool known = false;
        for (const auto& num : numbers) {
            if (a != num.name) continue;
            known = true;
            if (!number(v, num.max, x) || x < num.min) {
                std::fprintf(stderr, "siusoak: %s takes %lu to %lu\n", num.name, num.min, num.max);
                return 2;
            }
            *num.field = static_cast<unsigned>(x);
        }
        if (known) continue;
        if (a == "--seed" && number(v, ULONG_MAX, x)) {
            o.seed = x;
        } else if (a == "--lib") {
            o.libDir = v;
        } else if (a == "--siusim") {
            o.siusim = v;
        } else {
            std::fprintf(stderr, "siusoak: wrong option '%s %s' (see --help)\n", a.c_str(), v);
            return 2;
        }
    }
    return siusoak::runSoak(o);
}
