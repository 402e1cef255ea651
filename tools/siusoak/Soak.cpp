#include "tools/siusoak/Soak.h"

#include <fcntl.h>
#include <poll.h>
#include <sched.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <random>
#include <sstream>
#include <vector>

#include "tools/common/ControlClient.h"
#include "tools/siuctl/ResultCodes.h"
#include "tools/siusoak/Client.h"

namespace siusoak {

namespace {

using Clock = std::chrono::steady_clock;
using Ms = std::chrono::milliseconds;

const char* const kFaults[] = {"nack",  "no-ack", "bad-bcc", "silent", "garbage",
                               "noise", "stall",  "trickle", "drop"};

volatile sig_atomic_t interrupted = 0;
void onInterrupt(int) {
    interrupted = 1;
}

double secondsSince(Clock::time_point t) {
    return std::chrono::duration<double>(Clock::now() - t).count();
}

bool writeFile(const std::string& path, const std::string& text) {
    std::ofstream out(path);
    out << text;
    return static_cast<bool>(out.flush());
}

// The library's cross-process locks are named semaphores in /dev/shm and its
// holder slot a System V segment, shared by the whole machine. A client killed
// while holding one must not stop other programs on the machine, so the soak
// runs in a mount and IPC namespace of its own with a private /dev/shm
// (a user namespace first when it lacks the privilege).
bool isolate(std::string& why) {
    const uid_t uid = geteuid();
    const gid_t gid = getegid();
    if (unshare(CLONE_NEWNS | CLONE_NEWIPC) != 0) {
        if (unshare(CLONE_NEWUSER | CLONE_NEWNS | CLONE_NEWIPC) != 0) {
            why = std::string("unshare: ") + std::strerror(errno);
            return false;
        }
        writeFile("/proc/self/setgroups", "deny");
        if (!writeFile("/proc/self/uid_map", std::to_string(uid) + " " + std::to_string(uid) + " 1") ||
            !writeFile("/proc/self/gid_map", std::to_string(gid) + " " + std::to_string(gid) + " 1")) {
            why = "cannot map the user into its namespace";
            return false;
        }
    }
    if (mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
        mount("siusoak", "/dev/shm", "tmpfs", MS_NOSUID | MS_NODEV, "mode=1777") != 0) {
        why = std::string("mount: ") + std::strerror(errno);
        return false;
    }
    return true;
}

// One command over a simulator's control socket; its answer, or "" when none
// came within two seconds.
std::string control(const std::string& link, const std::string& command) {
    std::string answer;
    siutools::askControl(link + ".ctl", command, 2000, &answer);
    return answer;
}

// The resident memory of a process in kB, or -1.
long residentKb(pid_t pid) {
    long pages = 0, resident = -1;
    FILE* f = std::fopen(("/proc/" + std::to_string(pid) + "/statm").c_str(), "r");
    if (f == nullptr) return -1;
    if (std::fscanf(f, "%ld %ld", &pages, &resident) != 2) resident = -1;
    std::fclose(f);
    return resident < 0 ? -1 : resident * (sysconf(_SC_PAGESIZE) / 1024);
}

std::string exitText(int status) {
    if (WIFSIGNALED(status)) return std::string("killed by ") + strsignal(WTERMSIG(status));
    return "exit status " + std::to_string(WEXITSTATUS(status));
}

struct Board {
    std::string link;
    bool rs485 = false;
    pid_t pid = -1;
    Clock::time_point backAt;  // while down: when it starts again
};

struct InFlight {
    bool active = false;
    Call call = Call::Open;
    Clock::time_point since;
    double at = 0;  // seconds into the soak
    unsigned budgetMs = 0;
    int hang = -1;  // its entry in the hangs once past its budget
};

struct Client {
    std::string dir;
    std::vector<std::pair<std::string, size_t>> services;  // name, board
    bool steady = false;  // never SIGKILLed: its memory spans the whole run
    pid_t pid = -1;
    int events = -1;
    int input = -1;
    std::string pending;
    std::map<std::string, InFlight> inFlight;
    Clock::time_point started;
    long calls = 0, callsThisRun = 0;
    long rssStart = -1, rssEnd = -1;
    unsigned incarnations = 0, killed = 0;
};

struct Hang {
    size_t client;
    pid_t pid;
    std::string service;
    Call call;
    double at;
    unsigned budgetMs;
    double seconds = 0;
    std::string outcome;  // empty while the call is still running
};

class Soak {
public:
    explicit Soak(const Options& o) : opt(o), rng(o.seed) {}
    int run();

private:
    bool setUp();
    bool startBoard(Board& b);
    void spawn(size_t i);
    void readEvents(size_t i);
    void onLine(size_t i, const std::string& line);
    void checkBudgets();
    void endCall(size_t i, InFlight& f, const std::string& outcome, double seconds);
    void killAndReap(pid_t pid, const std::string& who);
    void killClient();
    void restartBoard();
    void setFault();
    void reap();
    void pump(int timeoutMs);
    void stopAll();
    void report() const;
    unsigned budget(const Client& c, const std::string& service, Call call) const;
    template <typename T>
    T uniform(T lo, T hi) {
        return std::uniform_int_distribution<T>(lo, hi)(rng);
    }
    Clock::duration randomGap(unsigned meanMs) {
        return Ms(uniform<unsigned>(meanMs / 2, meanMs * 3 / 2));
    }

    Options opt;
    std::mt19937_64 rng;
    std::string work;
    bool isolated = false;
    std::vector<Board> boards;
    std::vector<Client> clients;
    std::map<int, long> byResult;
    std::map<std::string, unsigned> faults;
    std::vector<Hang> hangs;
    std::vector<std::string> crashes;
    unsigned kills = 0, killsInCall = 0, restarts = 0;
    struct {
        double seconds = 0;
        Call call = Call::Open;
        unsigned budgetMs = 0;
        size_t client = 0;
        std::string service;
    } slowest;
    bool setupFailed = false;
    Clock::time_point begin = Clock::now();
    double ranSeconds = 0;
};

unsigned Soak::budget(const Client& c, const std::string& service, Call call) const {
    unsigned other = 0;
    bool rs485 = false;
    for (const auto& [name, board] : c.services) {
        if (name == service) {
            rs485 = boards[board].rs485;
            continue;
        }
        for (int k = 0; k < kCallCount; ++k)
            other = std::max(other, callBudgetMs(static_cast<Call>(k), opt.line,
                                                 boards[board].rs485, opt.budget, 0));
    }
    return callBudgetMs(call, opt.line, rs485, opt.budget, other);
}

bool Soak::setUp() {
    std::string why;
    isolated = isolate(why);
    if (!isolated)
        std::printf("siusoak: sharing the machine's semaphores (%s): a killed client may block "
                    "other programs that use the library\n",
                    why.c_str());
    const char* tmp = std::getenv("TMPDIR");
    std::string pattern = std::string(tmp != nullptr && *tmp ? tmp : "/tmp") + "/siusoak.XXXXXX";
    if (mkdtemp(&pattern[0]) == nullptr) {
        std::perror("siusoak: mkdtemp");
        return false;
    }
    work = pattern;
    std::filesystem::create_directory(work + "/logs");
    writeFile(work + "/board.ini",
              "[board]\nversion = SOAK 1.0\n[get-sensor]\nS = 0000000B0000000\nP = FFFF1F\n"
              "[latched]\nS = 10\n");
    for (unsigned p = 0; p < opt.ports; ++p) {
        Board b;
        b.link = work + "/line" + std::to_string(p);
        b.rs485 = p % 2 == 1;
        boards.push_back(b);
        if (!startBoard(boards.back())) return false;
    }
    const Line& l = opt.line;
    for (unsigned i = 0; i < opt.clients; ++i) {
        Client c;
        c.dir = work + "/client" + std::to_string(i);
        c.steady = i < opt.clients / 2;
        c.services.push_back({"A", i % opt.ports});
        if (opt.ports > 1 && i % 2 == 1) c.services.push_back({"B", (i + 1) % opt.ports});
        std::filesystem::create_directory(c.dir);
        // A copy: the library finds its INI file beside the file it was
        // loaded from, after resolving links.
        std::error_code failed;
        std::filesystem::copy_file(opt.libDir + "/libNorvaSensorBoard.so.1",
                                   c.dir + "/libNorvaSensorBoard.so.1", failed);
        if (failed) {
            std::fprintf(stderr, "siusoak: cannot copy the library from %s: %s\n",
                         opt.libDir.c_str(), failed.message().c_str());
            return false;
        }
        std::filesystem::create_symlink(opt.libDir + "/Log.so", c.dir + "/Log.so");
        std::ostringstream ini;
        for (const auto& [name, board] : c.services) {
            ini << "[" << name << "]\nCustomer = NORVA\nDeviceName = ZT\nDevicePort = "
                << boards[board].link
                << "\nDeviceProtocol = " << (boards[board].rs485 ? "Norva485" : "NorvaDireto")
                << "\nPhysicalLayer = SERIAL\nDeviceBaudrate = " << l.baud
                << "\nDeviceParity = NONE\nDeviceDataBits = 8\nDeviceStopBit = 1\n"
                   "DeviceFlowControl = NONE\nDeviceRxTimeout = "
                << l.rxTimeoutMs << "\nDeviceTxTimeout = " << l.txTimeoutMs
                << "\nDeviceIntervalBetweenCommands = " << l.intervalMs
                << "\nMultipleApplication = Y\nNumberOFLeds = 6\nLogGenerate = YES\nLogPath = "
                << work << "/logs\nLogName = soak\nLogLevel = INI|FIM|WRN|ERR\n"
                   "LogMaxFileByteSize = 1048576\n"
                << "[" << name << ".NORVA_SIU_DOOR_SAFE_BOX]\ncommand = S\ncommand_position = 1\n"
                << "[" << name << ".NORVA_SIU_SENSOR_SEISMIC]\ncommand = S\ncommand_position = 10\n"
                << "bit_mask = 2\n"
                << "[" << name << ".NORVA_SIU_SENSOR_CASSETTE_A]\ncommand = P\ncommand_position = 6\n"
                << "[" << name << ".NORVA_SIU_INDICATOR_LED_GREEN]\ncommand_position = 4\n";
        }
        writeFile(c.dir + "/NorvaSensorBoard.ini", ini.str());
        clients.push_back(c);
        spawn(clients.size() - 1);
    }
    return true;
}

bool Soak::startBoard(Board& b) {
    const std::string out = b.link + ".out";
    const pid_t pid = fork();
    if (pid == 0) {
        const int fd = open(out.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0644);
        if (fd >= 0) dup2(fd, 1), dup2(fd, 2);
        const std::string board = work + "/board.ini";
        execl(opt.siusim.c_str(), "siusim", "--link", b.link.c_str(), "--protocol",
              b.rs485 ? "485" : "direto", "--board", board.c_str(), nullptr);
        _exit(127);
    }
    b.pid = pid;
    const auto until = Clock::now() + std::chrono::seconds(10);
    while (Clock::now() < until) {
        if (control(b.link, "ping") == "OK") return true;
        if (waitpid(pid, nullptr, WNOHANG) == pid) break;
        poll(nullptr, 0, 10);
    }
    std::fprintf(stderr, "siusoak: siusim did not start on %s (see %s)\n", b.link.c_str(),
                 out.c_str());
    if (waitpid(pid, nullptr, WNOHANG) == 0) killAndReap(pid, "siusim");
    b.pid = -1;
    setupFailed = true;
    return false;
}

void Soak::spawn(size_t i) {
    Client& c = clients[i];
    int ev[2], in[2];
    if (pipe2(ev, O_CLOEXEC) != 0 || pipe2(in, O_CLOEXEC) != 0) {
        std::perror("siusoak: pipe");
        setupFailed = true;
        return;
    }
    const std::string seed = std::to_string(opt.seed * 1000003 + i * 1009 + c.incarnations);
    std::vector<std::string> args = {opt.self, "--client", c.dir, "--seed", seed};
    for (const auto& s : c.services) args.push_back(s.first);
    const pid_t pid = fork();
    if (pid == 0) {
        dup2(in[0], 0);
        dup2(ev[1], kEventFd);
        const int fd = open((c.dir + "/client.out").c_str(), O_WRONLY | O_CREAT | O_APPEND, 0644);
        if (fd >= 0) dup2(fd, 1), dup2(fd, 2);
        std::vector<char*> argv;
        for (std::string& a : args) argv.push_back(&a[0]);
        argv.push_back(nullptr);
        execv(opt.self.c_str(), argv.data());
        _exit(127);
    }
    close(ev[1]);
    close(in[0]);
    fcntl(ev[0], F_SETFL, O_NONBLOCK);
    c.pid = pid;
    c.events = ev[0];
    c.input = in[1];
    c.pending.clear();
    c.inFlight.clear();
    c.started = Clock::now();
    c.rssStart = c.rssEnd = -1;
    c.callsThisRun = 0;
    ++c.incarnations;
}

void Soak::readEvents(size_t i) {
    Client& c = clients[i];
    char buf[4096];
    ssize_t n;
    while (c.events >= 0 && (n = read(c.events, buf, sizeof buf)) > 0) {
        c.pending.append(buf, static_cast<size_t>(n));
        size_t nl;
        while ((nl = c.pending.find('\n')) != std::string::npos) {
            onLine(i, c.pending.substr(0, nl));
            c.pending.erase(0, nl + 1);
        }
    }
}

void Soak::onLine(size_t i, const std::string& line) {
    Client& c = clients[i];
    std::istringstream in(line);
    std::string kind, service;
    int call = -1;
    in >> kind >> service >> call;
    if (call < 0 || call >= kCallCount) return;
    InFlight& f = c.inFlight[service];
    if (kind == "B") {
        f = InFlight{true, static_cast<Call>(call), Clock::now(), secondsSince(begin),
                     budget(c, service, static_cast<Call>(call)), -1};
        return;
    }
    int rc = 0;
    long long us = 0;
    if (kind != "E" || !(in >> rc >> us) || !f.active) return;
    ++byResult[rc];
    ++c.calls;
    // Memory is measured once the services are warm: opened, their tables
    // loaded, their logs started.
    if (++c.callsThisRun == 50) c.rssStart = residentKb(c.pid);
    const double seconds = static_cast<double>(us) / 1e6;
    if (seconds > slowest.seconds) slowest = {seconds, f.call, f.budgetMs, i, service};
    if (seconds * 1000 > f.budgetMs && f.hang < 0) {
        f.hang = static_cast<int>(hangs.size());
        hangs.push_back({i, c.pid, service, f.call, f.at, f.budgetMs, 0, ""});
    }
    endCall(i, f, "returned " + siuctl::codeName(rc), seconds);
}

void Soak::endCall(size_t, InFlight& f, const std::string& outcome, double seconds) {
    if (f.hang >= 0) {
        hangs[static_cast<size_t>(f.hang)].outcome = outcome;
        hangs[static_cast<size_t>(f.hang)].seconds = seconds;
    }
    f.active = false;
}

void Soak::checkBudgets() {
    for (size_t i = 0; i < clients.size(); ++i) {
        for (auto& [service, f] : clients[i].inFlight) {
            if (f.active && f.hang < 0 && secondsSince(f.since) * 1000 > f.budgetMs) {
                f.hang = static_cast<int>(hangs.size());
                hangs.push_back({i, clients[i].pid, service, f.call, f.at, f.budgetMs, 0, ""});
            }
        }
    }
}

// A child that SIGKILL does not end within seconds is stuck in the kernel,
// most likely in the terminal driver: that is a finding, not something to
// wait out.
void Soak::killAndReap(pid_t pid, const std::string& who) {
    kill(pid, SIGKILL);
    const auto until = Clock::now() + std::chrono::seconds(5);
    while (waitpid(pid, nullptr, WNOHANG) == 0) {
        if (Clock::now() > until) {
            crashes.push_back(who + " (pid " + std::to_string(pid) +
                              ") still there 5 s after SIGKILL");
            return;
        }
        poll(nullptr, 0, 5);
    }
}

void Soak::killClient() {
    std::vector<size_t> candidates;
    for (size_t i = 0; i < clients.size(); ++i)
        if (!clients[i].steady && clients[i].pid > 0) candidates.push_back(i);
    if (candidates.empty()) return;
    Client& c = clients[candidates[uniform<size_t>(0, candidates.size() - 1)]];
    const size_t i = static_cast<size_t>(&c - clients.data());
    killAndReap(c.pid, "client " + std::to_string(i));
    readEvents(i);
    bool inCall = false;
    for (auto& [service, f] : c.inFlight) {
        if (!f.active) continue;
        inCall = true;
        endCall(i, f, "SIGKILLed by the soak inside the call", secondsSince(f.since));
    }
    ++kills;
    killsInCall += inCall;
    ++c.killed;
    close(c.events);
    close(c.input);
    c.pid = -1;
    spawn(i);
}

void Soak::restartBoard() {
    std::vector<size_t> up;
    for (size_t p = 0; p < boards.size(); ++p)
        if (boards[p].pid > 0) up.push_back(p);
    if (up.empty()) return;
    Board& b = boards[up[uniform<size_t>(0, up.size() - 1)]];
    // What a USB adapter unplugged and plugged back looks like: the line's
    // far end vanishes, and comes back on the same path a moment later. Its
    // link goes first, as udev removes an adapter's by-id link with it: left
    // behind, it would name a terminal number that the next pseudo-terminal
    // opened on the machine takes, and a client recovering its line would
    // talk to someone else's board.
    unlink(b.link.c_str());
    killAndReap(b.pid, "siusim");
    b.pid = -1;
    b.backAt = Clock::now() + Ms(uniform<unsigned>(0, 1500));
    ++restarts;
}

void Soak::setFault() {
    std::vector<size_t> up;
    for (size_t p = 0; p < boards.size(); ++p)
        if (boards[p].pid > 0) up.push_back(p);
    if (up.empty()) return;
    const Board& b = boards[up[uniform<size_t>(0, up.size() - 1)]];
    const std::string mode = kFaults[uniform<size_t>(0, std::size(kFaults) - 1)];
    std::string command = "fault " + mode + " " + std::to_string(uniform<unsigned>(1, 3));
    if (mode == "stall") command += " " + std::to_string(uniform<unsigned>(100, 3000));
    if (mode == "trickle") command += " " + std::to_string(uniform<unsigned>(20, 400));
    if (control(b.link, command).rfind("OK", 0) == 0) ++faults[mode];
}

void Soak::reap() {
    int status = 0;
    pid_t pid;
    while ((pid = waitpid(-1, &status, WNOHANG)) > 0) {
        for (size_t i = 0; i < clients.size(); ++i) {
            Client& c = clients[i];
            if (c.pid != pid) continue;
            readEvents(i);
            c.pid = -1;
            for (auto& [service, f] : c.inFlight)
                if (f.active) endCall(i, f, "the client ended: " + exitText(status), secondsSince(f.since));
            if (WIFEXITED(status) && WEXITSTATUS(status) == 3) {
                std::fprintf(stderr, "siusoak: a client could not load the library (see %s)\n",
                             (c.dir + "/client.out").c_str());
                setupFailed = true;
            } else if (!(WIFEXITED(status) && WEXITSTATUS(status) == 0 && c.input < 0)) {
                crashes.push_back("client " + std::to_string(i) + " (pid " + std::to_string(pid) +
                                  "): " + exitText(status));
            }
            close(c.events);
            c.events = -1;
            if (c.input >= 0 && !setupFailed) {
                close(c.input);
                c.input = -1;
                spawn(i);
            }
        }
        for (size_t p = 0; p < boards.size(); ++p) {
            if (boards[p].pid != pid) continue;
            crashes.push_back("siusim on line " + std::to_string(p) + ": " + exitText(status));
            boards[p].pid = -1;
            boards[p].backAt = Clock::now();
        }
    }
}

void Soak::pump(int timeoutMs) {
    std::vector<pollfd> fds;
    std::vector<size_t> owner;
    for (size_t i = 0; i < clients.size(); ++i) {
        if (clients[i].events < 0) continue;
        fds.push_back({clients[i].events, POLLIN, 0});
        owner.push_back(i);
    }
    poll(fds.data(), fds.size(), timeoutMs);
    for (size_t k = 0; k < fds.size(); ++k)
        if (fds[k].revents & (POLLIN | POLLHUP)) readEvents(owner[k]);
    reap();
    checkBudgets();
}

void Soak::stopAll() {
    for (Board& b : boards)
        if (b.pid > 0) control(b.link, "fault none");
    unsigned longest = 0;
    for (Client& c : clients) {
        for (const auto& sv : c.services)
            for (int k = 0; k < kCallCount; ++k)
                longest = std::max(longest, budget(c, sv.first, static_cast<Call>(k)));
        if (c.pid > 0) c.rssEnd = residentKb(c.pid);
        if (c.input >= 0) close(c.input);
        c.input = -1;
    }
    // Each client finishes its call and closes its services, within two
    // budgets; one stuck in a call already past its budget is not waited for.
    const auto until = Clock::now() + Ms(2 * longest);
    auto waited = [](const Client& c) {
        if (c.pid <= 0) return false;
        return std::none_of(c.inFlight.begin(), c.inFlight.end(),
                            [](const auto& f) { return f.second.active && f.second.hang >= 0; });
    };
    while (std::any_of(clients.begin(), clients.end(), waited) && Clock::now() < until) pump(50);
    for (size_t i = 0; i < clients.size(); ++i) {
        Client& c = clients[i];
        if (c.pid <= 0) continue;
        killAndReap(c.pid, "client " + std::to_string(i));
        readEvents(i);
        for (auto& [service, f] : c.inFlight)
            if (f.active) endCall(i, f, "still running when the soak ended", secondsSince(f.since));
        c.pid = -1;
    }
    for (Board& b : boards) {
        if (b.pid <= 0) continue;
        control(b.link, "quit");
        const auto quitBy = Clock::now() + std::chrono::seconds(2);
        while (waitpid(b.pid, nullptr, WNOHANG) == 0) {
            if (Clock::now() > quitBy) {
                killAndReap(b.pid, "siusim");
                break;
            }
            poll(nullptr, 0, 10);
        }
        b.pid = -1;
    }
}

int Soak::run() {
    signal(SIGPIPE, SIG_IGN);
    signal(SIGINT, onInterrupt);
    signal(SIGTERM, onInterrupt);
    begin = Clock::now();
    if (!setUp() || setupFailed) {
        stopAll();
        return 2;
    }
    const auto end = begin + std::chrono::seconds(opt.seconds);
    auto nextFault = begin + randomGap(opt.faultEveryMs);
    auto nextKill = begin + randomGap(opt.killEveryMs);
    auto nextRestart = begin + randomGap(opt.restartEveryMs);
    while (Clock::now() < end && !interrupted && !setupFailed) {
        pump(20);
        const auto now = Clock::now();
        for (Board& b : boards)
            if (b.pid < 0 && now >= b.backAt && !startBoard(b)) break;
        if (opt.faultEveryMs && now >= nextFault) setFault(), nextFault = now + randomGap(opt.faultEveryMs);
        if (opt.killEveryMs && now >= nextKill) killClient(), nextKill = now + randomGap(opt.killEveryMs);
        if (opt.restartEveryMs && now >= nextRestart)
            restartBoard(), nextRestart = now + randomGap(opt.restartEveryMs);
    }
    ranSeconds = secondsSince(begin);
    stopAll();
    report();
    if (!opt.keep && !setupFailed) std::filesystem::remove_all(work);
    if (setupFailed) return 2;
    return hangs.empty() && crashes.empty() ? 0 : 1;
}

void Soak::report() const {
    std::printf("siusoak: %.0f s, seed %lu, %zu clients (%u steady), %zu lines, %s\n", ranSeconds,
                opt.seed, clients.size(), opt.clients / 2, boards.size(),
                isolated ? "private /dev/shm" : "shared /dev/shm");
    std::printf("budget: %s\n", describeBudget(opt.line, opt.budget).c_str());
    long total = 0;
    for (const auto& [rc, n] : byResult) total += n;
    std::printf("calls: %ld\n", total);
    for (const auto& [rc, n] : byResult)
        std::printf("  %-34s %8ld\n",
                    rc == 0 ? "SUCCESS (0)" : (siuctl::codeName(rc) + " (" + std::to_string(rc) + ")").c_str(), n);
    std::printf("slowest call: %s %.3f s (budget %.1f s), client %zu service %s\n",
                callName(slowest.call), slowest.seconds, slowest.budgetMs / 1000.0, slowest.client,
                slowest.service.c_str());
    std::printf("faults set:");
    for (const auto& [mode, n] : faults) std::printf(" %s %u", mode.c_str(), n);
    std::printf("\nclients SIGKILLed: %u (%u inside a call); siusim restarts: %u\n", kills,
                killsInCall, restarts);
    std::printf("hangs (calls past their budget): %zu\n", hangs.size());
    for (const Hang& h : hangs) {
        char took[32];
        std::snprintf(took, sizeof took, " after %.1f s", h.seconds);
        std::printf("  client %zu (pid %d) service %s %s at %.1f s: budget %.1f s, %s\n", h.client,
                    h.pid, h.service.c_str(), callName(h.call), h.at, h.budgetMs / 1000.0,
                    (h.outcome + took).c_str());
    }
    std::printf("crashes: %zu\n", crashes.size());
    for (const std::string& c : crashes) std::printf("  %s\n", c.c_str());
    std::printf("memory (RSS kB after 50 calls -> at the end, last run of each client):\n");
    for (size_t i = 0; i < clients.size(); ++i) {
        const Client& c = clients[i];
        std::printf("  client %zu (%s, %zu service%s, %u run%s, %ld calls): %ld -> %ld\n", i,
                    c.steady ? "steady" : "killed at random", c.services.size(),
                    c.services.size() > 1 ? "s" : "", c.incarnations, c.incarnations > 1 ? "s" : "",
                    c.calls, c.rssStart, c.rssEnd);
    }
    if (opt.keep) std::printf("kept: %s\n", work.c_str());
    std::printf("%s\n", hangs.empty() && crashes.empty() ? "PASS" : "FAIL");
    std::fflush(stdout);
}

}  // namespace

int runSoak(const Options& options) {
    return Soak(options).run();
}

}  // namespace siusoak
