// siud against the simulator: how late a door change reaches registered
// clients, what siud adds to a status read, and what a client costs.
//   siud_bench [--seconds S] [--rounds N]
// Prints the figures of one run.

#include "tools/siuctl/CtlBench.h"
#include "tools/siuctl/Library.h"
#include "tools/siud/Client.h"

#include <sys/socket.h>
#include <sys/un.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <random>
#include <thread>

namespace {

using namespace ctltest;
using Clock = std::chrono::steady_clock;
using json = nlohmann::json;

double msSince(Clock::time_point t0, Clock::time_point t) {
    return std::chrono::duration<double, std::milli>(t - t0).count();
}

// One command on the simulator's control socket, without a process start.
bool control(const std::string& link, const std::string& line) {
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un addr{};
    addr.sun_family = AF_UNIX;
    const std::string path = link + ".ctl";
    std::strncpy(addr.sun_path, path.c_str(), sizeof addr.sun_path - 1);
    char answer[64] = {};
    const std::string text = line + "\n";
    const bool ok = connect(fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr) == 0 &&
                    write(fd, text.data(), text.size()) == static_cast<ssize_t>(text.size()) &&
                    read(fd, answer, sizeof answer - 1) > 0 && std::strncmp(answer, "OK", 2) == 0;
    close(fd);
    return ok;
}

long rssKiB(pid_t pid) {
    std::ifstream in("/proc/" + std::to_string(pid) + "/status");
    for (std::string line; std::getline(in, line);)
        if (line.rfind("VmRSS:", 0) == 0) return std::stol(line.substr(6));
    return -1;
}

// The process whose command line names the file (Process keeps its pid to itself).
pid_t pidOf(const std::string& file) {
    for (const auto& e : std::filesystem::directory_iterator("/proc")) {
        const std::string name = e.path().filename();
        if (name.find_first_not_of("0123456789") != std::string::npos) continue;
        std::string cmdline = siutest::readWholeFile(e.path().string() + "/cmdline");
        std::replace(cmdline.begin(), cmdline.end(), '\0', ' ');
        if (cmdline.find(" --config " + file) != std::string::npos) return std::stoi(name);
    }
    return -1;
}

// siud on the bench's service, configured with the poll interval.
struct Daemon {
    Daemon(const Bench& b, const std::string& tag, int pollMs)
        : config(b.tmp.write(tag + ".ini", "[siud]\nport = 0\nmax_clients = 200\nlibrary = " + b.dir +
                                               "\n[SIU]\npoll_interval = " + std::to_string(pollMs) +
                                               "\n[SIU.auxiliaries]\nsafeDoor = DOOR_SAFE_BOX\n")),
          err(b.tmp.file(tag + ".err")),
          process({SIUD_EXE, "--config", config}, b.tmp.file(tag + ".out"), err) {
        std::smatch m;
        siutest::waitFor([&] {
            const std::string text = siutest::readWholeFile(err);
            return std::regex_search(text, m, std::regex("listening on (\\S+)")) &&
                   !(url = m[1].str() + "/SIU").empty();
        }, 10s);
    }
    void connect(siud::Client& c) const {
        std::string error;
        if (!c.connect(url, error)) std::fprintf(stderr, "connect: %s\n", error.c_str());
    }
    std::string config, err;
    Process process;
    std::string url;
};

double percentile(std::vector<double> v, double q) {
    std::sort(v.begin(), v.end());
    return v.empty() ? 0 : v[std::min(v.size() - 1, static_cast<std::size_t>(q * v.size()))];
}

}  // namespace

int main(int argc, char** argv) {
    double seconds = 3;
    int rounds = 40;
    for (int i = 1; i + 1 < argc; i += 2) {
        if (std::strcmp(argv[i], "--seconds") == 0) seconds = std::atof(argv[i + 1]);
        if (std::strcmp(argv[i], "--rounds") == 0) rounds = std::atoi(argv[i + 1]);
    }
    const auto span = std::chrono::duration<double>(seconds);
    Bench b;

    // Direct calls, as an application polling the library would make them.
    double directPerSecond = 0, readMs = 0;
    {
        // the library prints every reading on standard output
        std::fflush(stdout);
        const int out = dup(STDOUT_FILENO), sink = open("/dev/null", O_WRONLY);
        dup2(sink, STDOUT_FILENO);
        siuctl::Library lib;
        std::string error;
        if (!lib.load(b.dir, error)) return std::fprintf(stderr, "%s\n", error.c_str()), 1;
        char name[] = "SIU";
        int idx = -1;
        if (lib.siu().open(name, &idx) != 0) return std::fprintf(stderr, "no SIU\n"), 1;
        unsigned a[7][64];
        long n = 0;
        const auto t0 = Clock::now();
        for (; Clock::now() - t0 < span; ++n)
            lib.siu().getSensorStatus(idx, a[0], a[1], a[2], a[3], a[4], a[5], a[6]);
        const double ms = msSince(t0, Clock::now());
        directPerSecond = n * 1000.0 / ms;
        readMs = ms / n;
        lib.siu().close(name, &idx);
        std::fflush(stdout);
        dup2(out, STDOUT_FILENO);
        close(out);
        close(sink);
    }

    // Status round trips through siud, whose own poll is then out of the way.
    double siudPerSecond = 0;
    {
        const Daemon quiet(b, "quiet", 60000);
        siud::Client c;
        quiet.connect(c);
        long n = 0;
        const auto t0 = Clock::now();
        for (; Clock::now() - t0 < span; ++n) {
            c.send(siud::Client::command("Common.Status", n + 1));
            if (!c.next([&](const json& j) { return siud::Client::is(j, "completion", n + 1); }, 5s))
                return std::fprintf(stderr, "no completion\n"), 1;
        }
        siudPerSecond = n * 1000.0 / msSince(t0, Clock::now());
    }

    // Event latency: 10 clients registered for the safe door; the door is
    // flipped at a random phase of the poll.
    const Daemon d(b, "polling", 100);
    constexpr int kClients = 10;
    std::vector<std::unique_ptr<siud::Client>> clients;
    for (int i = 0; i < kClients; ++i) {
        clients.push_back(std::make_unique<siud::Client>());
        d.connect(*clients.back());
        clients.back()->send(siud::Client::command("Auxiliaries.Register", 1, {{"safeDoor", "register"}}));
        clients.back()->next([](const json& j) { return siud::Client::is(j, "completion", 1); }, 5s);
    }
    std::vector<double> latencies;
    std::mt19937 random(12345);
    int missed = 0;
    for (int r = 0; r < rounds; ++r) {
        std::this_thread::sleep_for(std::chrono::milliseconds(random() % 100));
        std::vector<double> got(kClients, -1);
        const auto t0 = Clock::now();
        control(b.board.link(), "set-flag S 1 1 " + std::to_string((r + 1) % 2));
        std::vector<std::thread> waiters;
        for (int i = 0; i < kClients; ++i)
            waiters.emplace_back([&, i] {
                if (clients[i]->next([](const json& j) { return siud::Client::is(j, "unsolicited"); }, 2s))
                    got[i] = msSince(t0, Clock::now());
            });
        for (std::thread& t : waiters) t.join();
        for (double g : got) g >= 0 ? latencies.push_back(g) : void(++missed);
    }

    // Memory per connected client.
    const pid_t pid = pidOf(d.config);
    const long before = rssKiB(pid);
    constexpr int kMore = 100;
    std::vector<std::unique_ptr<siud::Client>> more;
    for (int i = 0; i < kMore; ++i) {
        more.push_back(std::make_unique<siud::Client>());
        d.connect(*more.back());
    }
    more.back()->send(siud::Client::command("Common.Status", 1));
    more.back()->next([](const json& j) { return siud::Client::is(j, "completion", 1); }, 5s);
    const long after = rssKiB(pid);

    std::printf("status read, direct SIU_GetSensorStatus:   %8.1f /s  (%.2f ms each)\n",
                directPerSecond, readMs);
    std::printf("Common.Status round trips through siud:    %8.1f /s\n", siudPerSecond);
    std::printf("event latency, %d clients, 100 ms poll:    median %.1f ms, p99 %.1f ms over %zu "
                "events (%d missed)\n",
                kClients, percentile(latencies, 0.5), percentile(latencies, 0.99), latencies.size(),
                missed);
    std::printf("  floor: one poll interval plus one read:  %.1f ms (worst case); a change at a "
                "random phase waits half an interval on average: %.1f ms\n",
                100 + readMs, 50 + readMs);
    std::printf("memory per connected client:               %.1f KiB  (siud RSS %ld -> %ld KiB "
                "for %d more clients)\n",
                (after - before) / static_cast<double>(kMore), before, after, kMore);
    return 0;
}
