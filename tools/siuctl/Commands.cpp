#include "tools/siuctl/Commands.h"

#include "common/IniLocation.h"
#include "tools/siuctl/ItemNames.h"
#include "tools/siuctl/ResultCodes.h"

#include <signal.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <ctime>
#include <string>
#include <vector>

namespace siuctl {

namespace {

volatile sig_atomic_t stopSignal = 0;

void onStop(int sig) {
    if (stopSignal != 0) {
        signal(sig, SIG_DFL);
        raise(sig);
        return;
    }
    stopSignal = sig;
    static const char kMsg[] = "siuctl: stopping after the exchange in progress\n";
    const ssize_t ignored = write(STDERR_FILENO, kMsg, sizeof kMsg - 1);
    (void)ignored;
}

// Sleeps ms milliseconds, or less when a stop was asked for; false then.
bool pause(unsigned ms) {
    constexpr unsigned kSlice = 20;
    for (unsigned slept = 0; slept < ms && stopSignal == 0; slept += kSlice) {
        const unsigned step = ms - slept < kSlice ? ms - slept : kSlice;
        timespec ts{0, static_cast<long>(step) * 1000000L};
        nanosleep(&ts, nullptr);
    }
    return stopSignal == 0;
}

using StatusArrays = std::array<std::array<unsigned, NORVA_SIU_ARRAY_SIZE>, kGroupCount>;

struct Item {
    std::size_t group;
    std::size_t index;
    const char* name;
};

struct DeviceInfo {
    std::string firmware;
    // Per group, then the indicators: bit n of caps is item n; items 32..63
    // are in reserved, item n at bit (n - 31) & 31.
    std::array<unsigned, kGroupCount + 1> caps{};
    std::array<unsigned, kGroupCount + 1> reserved{};

    bool has(std::size_t word, std::size_t n) const {
        if (n < 32) return ((caps[word] >> n) & 1U) != 0;
        return ((reserved[word] >> ((n - 31) & 31)) & 1U) != 0;
    }

    std::vector<Item> items(std::size_t word, const ItemGroup& g) const {
        std::vector<Item> out;
        for (std::size_t n = 0; n < g.count; ++n)
            if (has(word, n)) out.push_back({word, n, g.names[n]});
        return out;
    }

    std::vector<Item> sensorItems() const {
        std::vector<Item> out;
        for (std::size_t g = 0; g < kGroupCount; ++g) {
            const std::vector<Item> some = items(g, group(g));
            out.insert(out.end(), some.begin(), some.end());
        }
        return out;
    }
};

class Run {
public:
    Run(const Request& r, const Library& lib, std::FILE* o)
        : req(r), siu(lib.siu()), hint{r.service, lib.path(), ""}, out(o) {}

    int execute() {
        std::string service = req.service;
        int rc = siu.open(&service[0], &idx);
        if (rc != SIU_SUCCESS) return failed("opening service " + req.service, rc);
        // A hint names the item only for what the command did to it.
        if (req.command == Command::Indicator) hint.item = indicators().names[req.indicator];
        const int exitStatus = command();
        rc = siu.close(&service[0], &idx);
        if (rc != SIU_SUCCESS && exitStatus == kExitOk)
            return failed("closing service " + req.service, rc);
        return exitStatus;
    }

private:
    int command() {
        switch (req.command) {
            case Command::Info:
                return info();
            case Command::Status:
                return status();
            case Command::Watch:
                return watch();
            case Command::Indicator:
                return done(siu.setIndicator(idx, static_cast<unsigned>(req.indicator), req.value),
                            std::string(indicators().names[req.indicator]) + " " + word());
            case Command::Buzzer:
                return done(siu.setBuzzer(idx, req.value), "buzzer " + word());
            case Command::Ekey:
                return done(siu.setPorts(idx, NORVA_SIU_SETPORTS_ELETRONIC_KEY, req.value),
                            "electronic-key port " + word());
            case Command::Motion:
                return motion();
            case Command::Reset:
                return done(siu.reset(idx), "every indicator off");
            case Command::ResetSensors:
                return resetSensors();
            case Command::PowerCycle:
                return powerCycle();
            case Command::Help:
            case Command::Version:
                break;
        }
        return kExitUsage;
    }

    std::string word() const {
        static const char* const kWords[] = {"off", "on", "blink"};
        return req.value < 3 ? kWords[req.value] : std::to_string(req.value);
    }

    int failed(const std::string& what, int rc) const {
        std::fprintf(stderr, "siuctl: %s: %s\nsiuctl: hint: %s\n", what.c_str(),
                     describe(rc).c_str(), codeHint(rc, hint).c_str());
        return kExitFailed;
    }

    // ERR_SER_TIMEOUT (-40012), or the number alone for a code without a name.
    static std::string describe(int rc) {
        const std::string name = codeName(rc);
        const std::string number = std::to_string(rc);
        return name == number ? number : name + " (" + number + ")";
    }

    int done(int rc, const std::string& what) const {
        if (rc != SIU_SUCCESS) return failed(what, rc);
        std::fprintf(out, "%s\n", what.c_str());
        return kExitOk;
    }

    int readInfo(DeviceInfo& d) const {
        char* version = nullptr;
        std::array<unsigned, 2 * (kGroupCount + 1)> w{};
        const int rc =
            siu.getDeviceInfo(idx, &version, &w[0], &w[1], &w[2], &w[3], &w[4], &w[5], &w[6], &w[7],
                              &w[8], &w[9], &w[10], &w[11], &w[12], &w[13], &w[14], &w[15]);
        if (version != nullptr) {
            d.firmware = version;
            siu.freeBuffer(reinterpret_cast<unsigned char**>(&version));
        }
        for (std::size_t i = 0; i <= kGroupCount; ++i) {
            d.caps[i] = w[2 * i];
            d.reserved[i] = w[2 * i + 1];
        }
        return rc;
    }

    // A board whose service configures no sensor answers "not implemented"
    // and still fills the arrays: that is a valid, empty reading.
    int readStatus(StatusArrays& a) const {
        const int rc = siu.getSensorStatus(idx, a[0].data(), a[1].data(), a[2].data(), a[3].data(),
                                           a[4].data(), a[5].data(), a[6].data());
        return rc == SIU_ERR_CMD_NOT_IMPLEMENTED ? SIU_SUCCESS : rc;
    }

    int info() const {
        DeviceInfo d;
        const int rc = readInfo(d);
        if (rc != SIU_SUCCESS) return failed("reading the device information", rc);
        const std::string dir = hint.library.substr(0, hint.library.rfind('/') + 1);
        char ini[4096];
        locateIniFile(dir.c_str(), ini, sizeof ini);
        std::fprintf(out, "library:        %s\n", hint.library.c_str());
        std::fprintf(out, "configuration:  %s\n", ini);
        std::fprintf(out, "service:        %s\n", req.service.c_str());
        std::fprintf(out, "firmware:       %s\n", d.firmware.c_str());
        for (std::size_t g = 0; g < kGroupCount; ++g)
            if (group(g).count > 0) listItems(group(g), d.items(g, group(g)));
        listItems(indicators(), d.items(kGroupCount, indicators()));
        return kExitOk;
    }

    void listItems(const ItemGroup& g, const std::vector<Item>& items) const {
        std::fprintf(out, "%s (%zu of %zu configured):\n", g.title, items.size(), g.count);
        constexpr std::size_t kIndent = 4;
        constexpr std::size_t kWidth = 100;
        std::size_t col = 0;
        for (const Item& it : items) {
            const std::size_t len = std::strlen(it.name);
            if (col > 0 && col + 1 + len > kWidth) {
                std::fputc('\n', out);
                col = 0;
            }
            col +=
                std::fprintf(out, "%*s%s", static_cast<int>(col == 0 ? kIndent : 1), "", it.name);
        }
        std::fputs(col > 0 ? "\n" : "    none\n", out);
    }

    int status() const {
        DeviceInfo d;
        int rc = readInfo(d);
        if (rc != SIU_SUCCESS) return failed("reading the device information", rc);
        StatusArrays a{};
        rc = readStatus(a);
        if (rc != SIU_SUCCESS) return failed("reading the sensors", rc);
        const std::vector<Item> items = d.sensorItems();
        if (req.json) {
            std::fprintf(out, "{\"service\":%s,\"time\":\"%s\",\"items\":{",
                         json(req.service).c_str(), now().c_str());
            for (std::size_t i = 0; i < items.size(); ++i)
                std::fprintf(out, "%s\"%s\":\"%s\"", i == 0 ? "" : ",", items[i].name,
                             stateName(a[items[i].group][items[i].index]).c_str());
            std::fputs("}}\n", out);
            return kExitOk;
        }
        const int width = nameWidth(items);
        for (const Item& it : items)
            std::fprintf(out, "%-*s  %s\n", width, it.name,
                         stateName(a[it.group][it.index]).c_str());
        return kExitOk;
    }

    int watch() const {
        DeviceInfo d;
        const int rc = readInfo(d);
        if (rc != SIU_SUCCESS) return failed("reading the device information", rc);
        const std::vector<Item> items = d.sensorItems();
        const int width = nameWidth(items);
        StatusArrays last{};
        bool haveBaseline = false;
        int lastError = SIU_SUCCESS;
        // The serial line itself vanished (adapter unplugged): the library
        // says so with its own code and opens the line again on a later call.
        bool lineLost = false;
        do {
            StatusArrays a{};
            const int read = readStatus(a);
            // A stop that came during the exchange may have cut a wait on the
            // line short: that reading is not the board's.
            if (stopSignal != 0) break;
            const int previous = lastError;
            lastError = read;
            if (read == rc::ERR_SER_PORT_NOT_FOUND) {
                if (!lineLost) lineLine(read);
                lineLost = true;
                continue;
            }
            if (read != SIU_SUCCESS) {
                if (read != previous) boardLine(read);
                continue;
            }
            if (lineLost)
                lineLine(SIU_SUCCESS);
            else if (previous != SIU_SUCCESS)
                boardLine(SIU_SUCCESS);
            lineLost = false;
            if (!haveBaseline) {
                haveBaseline = true;
                std::fprintf(stderr, "siuctl: watching %zu items of service %s every %u ms\n",
                             items.size(), req.service.c_str(), req.intervalMs);
            } else {
                for (const Item& it : items) {
                    const unsigned was = last[it.group][it.index];
                    const unsigned is = a[it.group][it.index];
                    if (was != is) changeLine(it, width, was, is);
                }
            }
            last = a;
        } while (pause(req.intervalMs));
        return kExitOk;
    }

    void changeLine(const Item& it, int width, unsigned was, unsigned is) const {
        if (req.json)
            std::fprintf(out,
                         "{\"time\":\"%s\",\"item\":\"%s\",\"state\":\"%s\",\"previous\":\"%s\"}\n",
                         now().c_str(), it.name, stateName(is).c_str(), stateName(was).c_str());
        else
            std::fprintf(out, "%s  %-*s  %s -> %s\n", now().c_str(), width, it.name,
                         stateName(was).c_str(), stateName(is).c_str());
    }

    // The board stopped answering (rc), or answers again (SUCCESS).
    void boardLine(int rc) const {
        const std::string t = now();
        if (req.json && rc == SIU_SUCCESS)
            std::fprintf(out, "{\"time\":\"%s\",\"board\":\"answering\"}\n", t.c_str());
        else if (req.json)
            std::fprintf(out, "{\"time\":\"%s\",%s}\n", t.c_str(), jsonError(rc).c_str());
        else if (rc == SIU_SUCCESS)
            std::fprintf(out, "%s  the board answers again\n", t.c_str());
        else
            std::fprintf(out, "%s  %s\n", t.c_str(), explain(rc).c_str());
    }

    // The serial line is gone (rc), or back and the board answers (SUCCESS).
    void lineLine(int rc) const {
        const std::string t = now();
        if (req.json && rc == SIU_SUCCESS)
            std::fprintf(out, "{\"time\":\"%s\",\"line\":\"back\"}\n", t.c_str());
        else if (req.json)
            std::fprintf(out, "{\"time\":\"%s\",\"line\":\"lost\",%s}\n", t.c_str(),
                         jsonError(rc).c_str());
        else if (rc == SIU_SUCCESS)
            std::fprintf(out, "%s  line back\n", t.c_str());
        else
            std::fprintf(out, "%s  line lost: %s\n", t.c_str(), explain(rc).c_str());
    }

    // ERR_SER_TIMEOUT (-40012): board did not answer: ...
    std::string explain(int rc) const { return describe(rc) + ": " + codeHint(rc, hint); }

    // "error":..,"code":..,"hint":..
    std::string jsonError(int rc) const {
        return "\"error\":" + json(codeName(rc)) + ",\"code\":" + std::to_string(rc) +
               ",\"hint\":" + json(codeHint(rc, hint));
    }

    int motion() const {
        if (req.motionSet)
            return done(siu.setSensorMotionTime(idx, req.value),
                        "motion time " + std::to_string(req.value) + " ms");
        unsigned ms = 0;
        const int rc = siu.getSensorMotionTime(idx, &ms);
        if (rc != SIU_SUCCESS) return failed("reading the motion time", rc);
        return done(rc, "motion time " + std::to_string(ms) + " ms");
    }

    int resetSensors() const {
        StatusArrays marks{};
        std::string names;
        for (const ItemRef& r : req.items) {
            marks[r.group][r.index] = 1;
            names += std::string(" ") + group(r.group).names[r.index];
        }
        return done(siu.resetSensorStatus(idx, marks[0].data(), marks[1].data(), marks[2].data(),
                                          marks[3].data(), marks[4].data(), marks[5].data(),
                                          marks[6].data()),
                    "reset" + names);
    }

    int powerCycle() const {
        unsigned char answer[4] = {};
        const int rc = siu.resetRemoto(idx, req.timeOff, req.timeOn, answer);
        std::string text;
        for (unsigned char c : answer) {
            if (c == 0) break;
            text += c >= 0x20 && c < 0x7F ? static_cast<char>(c) : '?';
        }
        if (rc != SIU_SUCCESS) return failed("power cycle", rc);
        return done(rc, "power cycle " + std::to_string(req.timeOff) + " " +
                            std::to_string(req.timeOn) + ": the board answered " + text);
    }

    static int nameWidth(const std::vector<Item>& items) {
        std::size_t w = 0;
        for (const Item& it : items) w = std::max(w, std::strlen(it.name));
        return static_cast<int>(w);
    }

    static std::string now() {
        timespec ts{};
        clock_gettime(CLOCK_REALTIME, &ts);
        tm local{};
        localtime_r(&ts.tv_sec, &local);
        char buf[40];
        const std::size_t n = std::strftime(buf, sizeof buf, "%Y-%m-%dT%H:%M:%S", &local);
        std::snprintf(buf + n, sizeof buf - n, ".%03ld", ts.tv_nsec / 1000000L);
        return buf;
    }

    static std::string json(const std::string& s) {
        std::string j = "\"";
        for (unsigned char c : s) {
            if (c == '"' || c == '\\') {
                j += '\\';
                j += static_cast<char>(c);
            } else if (c < 0x20) {
                char esc[8];
                std::snprintf(esc, sizeof esc, "\\u%04x", c);
                j += esc;
            } else {
                j += static_cast<char>(c);
            }
        }
        return j + "\"";
    }

    const Request& req;
    const SiuFunctions& siu;
    HintContext hint;
    std::FILE* out;
    int idx = -1;
};

}  // namespace

void installStopHandlers() {
    struct sigaction sa {};
    sa.sa_handler = onStop;
    sigemptyset(&sa.sa_mask);
    sa.sa_flags = 0;
    for (int sig : {SIGINT, SIGTERM, SIGHUP}) sigaction(sig, &sa, nullptr);
}

int runCommand(const Request& request, const Library& library, std::FILE* out) {
    return Run(request, library, out).execute();
}

}  // namespace siuctl
