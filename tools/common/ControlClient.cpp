#include "tools/common/ControlClient.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>

namespace siutools {

namespace {

using Clock = std::chrono::steady_clock;

// Answers are short status lines; a peer that sends more than this without a
// newline is not answering.
constexpr size_t kLongestAnswer = 4096;

// Rounded up, so that a wait of it does not end before the deadline.
int msLeft(Clock::time_point deadline) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now()).count();
    return left > 0 ? static_cast<int>(left) : 0;
}

// A zero time-out would mean none at all, so the shortest is 1 ms.
void limitSocketCalls(int fd, int option, int ms) {
    ms = std::max(ms, 1);
    timeval tv{ms / 1000, (ms % 1000) * 1000};
    setsockopt(fd, SOL_SOCKET, option, &tv, sizeof tv);
}

}  // namespace

bool unixAddress(const std::string& path, sockaddr_un& addr) {
    addr = {};
    addr.sun_family = AF_UNIX;
    if (path.empty() || path.size() >= sizeof addr.sun_path) return false;
    std::memcpy(addr.sun_path, path.c_str(), path.size() + 1);
    return true;
}

UniqueFd connectUnix(const std::string& path, int budgetMs) {
    sockaddr_un addr;
    if (!unixAddress(path, addr)) return UniqueFd();
    UniqueFd fd(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (!fd) return fd;
    // A connect to a UNIX socket whose backlog is full waits as a send does.
    limitSocketCalls(fd.get(), SO_SNDTIMEO, budgetMs);
    if (connect(fd.get(), reinterpret_cast<sockaddr*>(&addr), sizeof addr) != 0) return UniqueFd();
    return fd;
}

ControlOutcome askControl(const std::string& socketPath, const std::string& command, int budgetMs,
                          std::string* answer) {
    const Clock::time_point deadline = Clock::now() + std::chrono::milliseconds(budgetMs);
    answer->clear();
    const UniqueFd fd = connectUnix(socketPath, budgetMs);
    if (!fd) return ControlOutcome::Unreachable;
    const std::string line = command + "\n";
    limitSocketCalls(fd.get(), SO_SNDTIMEO, msLeft(deadline));
    if (send(fd.get(), line.data(), line.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(line.size()))
        return ControlOutcome::NotSent;

    std::string got;
    char buf[512];
    while (got.find('\n') == std::string::npos) {
        const int left = msLeft(deadline);
        pollfd p{fd.get(), POLLIN, 0};
        const int ready = left > 0 ? poll(&p, 1, left) : 0;
        if (ready < 0 && errno == EINTR) continue;
        if (ready <= 0 || got.size() > kLongestAnswer) return ControlOutcome::NoAnswer;
        const ssize_t n = recv(fd.get(), buf, sizeof buf, MSG_DONTWAIT);
        if (n < 0 && (errno == EINTR || errno == EAGAIN)) continue;
        if (n <= 0) break;  // the peer closed: what came is the answer
        got.append(buf, static_cast<size_t>(n));
    }
    if (got.empty()) return ControlOutcome::NoAnswer;
    *answer = got.substr(0, got.find('\n'));
    return ControlOutcome::Answered;
}

}  // namespace siutools
