#include "tools/siusim/Simulator.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

namespace siusim {

namespace {

int signalPipe[2] = {-1, -1};

void onSignal(int) {
    const int saved = errno;
    const char c = 's';
    ssize_t ignored = write(signalPipe[1], &c, 1);
    (void)ignored;
    errno = saved;
}

bool installSignals(std::string& error) {
    if (pipe2(signalPipe, O_NONBLOCK | O_CLOEXEC) != 0) {
        error = std::string("pipe failed: ") + std::strerror(errno);
        return false;
    }
    struct sigaction sa {};
    sa.sa_handler = onSignal;
    sigemptyset(&sa.sa_mask);
    sigaction(SIGINT, &sa, nullptr);
    sigaction(SIGTERM, &sa, nullptr);
    signal(SIGPIPE, SIG_IGN);
    return true;
}

unsigned long numberOr(const std::vector<std::string>& w, size_t i, bool& ok) {
    unsigned long v = 0;
    ok = ok && i < w.size() && parseNumber(w[i], 0xFFFFFFFFul, v);
    return v;
}

// The rest of the line after its first word, for texts that may hold blanks.
std::string restOfLine(const std::string& line) {
    const size_t start = line.find_first_not_of(' ', line.find(' '));
    return start == std::string::npos ? std::string() : line.substr(start);
}

}  // namespace

Simulator::Simulator(const Options& options, const BoardConfig& cfg)
    : opts(options), board(cfg), engine(options.protocol, board, recorder) {
    engine.setFault(options.fault);
    socketPath = controlPathFor(options.link);
    if (options.baud > 0)
        byteTime = std::chrono::duration_cast<Clock::duration>(
            std::chrono::nanoseconds(10ull * 1000000000ull / options.baud));
}

bool Simulator::setUp() {
    std::string error;
    bool ok = opts.recordFile.empty() || recorder.openFile(opts.recordFile, error);
    if (ok) {
        error = claimLinkPath(opts.link, socketPath);
        ok = error.empty();
    }
    // The control socket comes last: once it answers, the line is ready.
    ok = ok && installSignals(error) && pty.open(error) &&
         pointLink(opts.link, pty.devicePath(), error) && server.listen(socketPath, error);
    if (!ok) {
        std::fprintf(stderr, "siusim: %s\n", error.c_str());
        return false;
    }
    std::printf("siusim: %s board on %s -> %s, control %s\n",
                opts.protocol == Protocol::Direct ? "point-to-point" : "RS-485", opts.link.c_str(),
                pty.devicePath().c_str(), socketPath.c_str());
    std::fflush(stdout);
    return true;
}

int Simulator::run() {
    if (!setUp()) {
        releaseLink(opts.link, pty.devicePath());
        server.close();
        return 1;
    }
    loop();
    server.flush();
    releaseLink(opts.link, pty.devicePath());
    server.close();
    return 0;
}

void Simulator::loop() {
    lastArrival = lastLeaving = Clock::now();
    while (!quit) {
        const Clock::time_point now = Clock::now();
        actOnArrived(now);
        sendDue(now);
        std::vector<pollfd> fds = {
            {signalPipe[0], POLLIN, 0},
            {pty.master(), static_cast<short>(POLLIN | (writeBlocked ? POLLOUT : 0)), 0}};
        server.addPollFds(fds);
        const int timeout = pollTimeoutMs(now);
        if (poll(fds.data(), fds.size(), timeout) < 0 && errno != EINTR) {
            std::perror("siusim: poll");
            return;
        }
        if (fds[0].revents & POLLIN) return;
        if (fds[1].revents & POLLOUT) writeBlocked = false;
        if (fds[1].revents & POLLIN) readLine(Clock::now());
        server.service(fds, [this](const std::string& line) { return control(line); });
    }
}

int Simulator::pollTimeoutMs(Clock::time_point now) const {
    Clock::time_point next = Clock::time_point::max();
    if (!arriving.empty()) next = arriving.front().at;
    if (!leaving.empty() && !writeBlocked) next = std::min(next, leaving.front().at);
    if (next == Clock::time_point::max()) return -1;
    if (next <= now) return 0;
    // Rounded up, so the loop never wakes a little early and spins.
    const auto us = std::chrono::duration_cast<std::chrono::microseconds>(next - now).count();
    return static_cast<int>((us + 999) / 1000);
}

void Simulator::readLine(Clock::time_point now) {
    uint8_t buf[512];
    const ssize_t n = read(pty.master(), buf, sizeof buf);
    for (ssize_t i = 0; i < n; ++i) {
        // On a real line each byte arrives one byte time after the one before
        // it, however fast the host's write() returned.
        lastArrival = std::max(now, lastArrival) + byteTime;
        arriving.push_back({lastArrival, buf[i], false});
    }
}

void Simulator::actOnArrived(Clock::time_point now) {
    while (!arriving.empty() && arriving.front().at <= now) {
        const Timed t = arriving.front();
        arriving.pop_front();
        const std::vector<Output> outs = engine.onByte(t.byte, t.at);
        if (engine.frameEnded()) stopTrickle(t.at);
        schedule(outs, t.at);
    }
}

void Simulator::schedule(const std::vector<Output>& outs, Clock::time_point from) {
    if (outs.empty()) return;
    Clock::time_point t = std::max(from, lastLeaving);
    for (const Output& o : outs) {
        t += std::chrono::milliseconds(o.pauseMs);
        if (o.drop) leaving.push_back({t, 0, true});
        const bool trickled = o.everyMs > 0;
        for (uint8_t b : o.bytes) {
            t += trickled ? std::chrono::milliseconds(o.everyMs) : byteTime;
            leaving.push_back({t, b, false, trickled});
        }
        if (trickled) trickleMs = o.everyMs;
    }
    lastLeaving = t;
}

void Simulator::sendDue(Clock::time_point now) {
    if (writeBlocked) return;
    uint8_t buf[512];
    size_t n = 0;
    while (n < sizeof buf && n < leaving.size() && leaving[n].at <= now && !leaving[n].drop)
        buf[n] = leaving[n].byte, ++n;
    if (n > 0) {
        const ssize_t w = write(pty.master(), buf, n);
        if (w > 0) leaving.erase(leaving.begin(), leaving.begin() + w);
        if (w < 0 && errno == EAGAIN) writeBlocked = true;
        if (w < static_cast<ssize_t>(n)) return;
    }
    if (!leaving.empty() && leaving.front().drop && leaving.front().at <= now) dropLine();
    if (leaving.empty() && trickleMs > 0) {
        const std::vector<unsigned char> stray = garbageBytes();
        lastLeaving = std::max(lastLeaving, now) + std::chrono::milliseconds(trickleMs);
        leaving.push_back({lastLeaving, stray[strayIndex++ % stray.size()], false, true});
    }
}

void Simulator::stopTrickle(Clock::time_point now) {
    if (trickleMs == 0) return;
    // The trickled bytes are always the last ones queued.
    while (!leaving.empty() && leaving.back().trickled) leaving.pop_back();
    lastLeaving = leaving.empty() ? now : leaving.back().at;
    trickleMs = 0;
}

void Simulator::dropLine() {
    // The new pair is opened before the old one closes, so the host that
    // still holds the old device sees it hang up and finds a new node behind
    // the link.
    Pty fresh;
    std::string error;
    if (!fresh.open(error) || !pointLink(opts.link, fresh.devicePath(), error)) {
        std::fprintf(stderr, "siusim: cannot reopen the line: %s\n", error.c_str());
        quit = true;
        return;
    }
    pty = std::move(fresh);
    arriving.clear();
    leaving.clear();
    engine.reset();
    writeBlocked = false;
    trickleMs = 0;
    lastArrival = lastLeaving = Clock::now();
    std::printf("siusim: line dropped, %s -> %s\n", opts.link.c_str(), pty.devicePath().c_str());
    std::fflush(stdout);
}

std::string Simulator::control(const std::string& line) {
    const std::vector<std::string> w = splitWords(line);
    if (w.empty()) return "ERR empty command";
    const std::string& c = w[0];
    bool ok = true;
    if (c == "ping" && w.size() == 1) return "OK";
    if (c == "quit" && w.size() == 1) {
        quit = true;
        return "OK";
    }
    if (c == "device" && w.size() == 1) return "OK " + pty.devicePath();
    if (c == "outputs" && w.size() == 1) return "OK " + board.outputs();
    if (c == "records" && w.size() == 1) {
        const std::vector<Received> r = recorder.take();
        std::string out = "OK " + std::to_string(r.size());
        for (const Received& x : r)
            out += " " + Recorder::stamp(x.at) + ":" + Recorder::escape(x.command);
        return out;
    }
    if (c == "set-reply" && w.size() == 3)
        return board.setReply(w[1], w[2]) ? "OK" : "ERR reply must be up to 200 hex digits";
    if (c == "get-reply" && w.size() == 2) {
        auto r = board.reply(w[1]);
        return r ? "OK " + *r : "ERR no get-sensor command " + w[1];
    }
    if (c == "set-flag" && w.size() == 5) {
        const unsigned long pos = numberOr(w, 2, ok), mask = numberOr(w, 3, ok);
        const unsigned long on = numberOr(w, 4, ok);
        if (ok && on <= 1 && board.setFlag(w[1], pos, mask, on == 1)) return "OK";
        return "ERR set-flag CMD POS MASK 0|1: no such command or digit, or MASK not 1..15";
    }
    const std::string text = restOfLine(line);
    if ((c == "set-version" || c == "set-remote-reply") && w.size() > 1) {
        if (text.size() > kMaxText) return "ERR the text is longer than 200 characters";
        c == "set-version" ? board.setVersion(text) : board.setRemoteReply(text);
        return "OK";
    }
    if (c == "fault") {
        if (w.size() == 1) return "OK " + describeFault(engine.currentFault());
        Fault f;
        std::string error;
        if (!parseFault({w.begin() + 1, w.end()}, f, error)) return "ERR " + error;
        engine.setFault(f);
        return "OK " + describeFault(f);
    }
    return "ERR unknown command or wrong arguments: " + line + " (see siusim --help)";
}

}  // namespace siusim
