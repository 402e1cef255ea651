#include "tools/siusim/Control.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>

#include "tools/common/ControlClient.h"

namespace siusim {

namespace {

constexpr size_t kMaxLine = 4096;

// The simulator answers from its loop at once; this bounds a shell's wait on
// one that has stopped.
constexpr int kClientBudgetMs = 5000;

}  // namespace

std::string controlPathFor(const std::string& link) {
    return link + ".ctl";
}

bool controlSocketAnswers(const std::string& socketPath) {
    return static_cast<bool>(siutools::connectUnix(socketPath, kClientBudgetMs));
}

int runControlClient(const std::string& path, const std::vector<std::string>& words) {
    // The link's path names the simulator as well as its socket does.
    struct stat st {};
    const bool isSocket = stat(path.c_str(), &st) == 0 && S_ISSOCK(st.st_mode);
    const std::string socketPath = isSocket ? path : controlPathFor(path);
    std::string line;
    for (const std::string& w : words) line += (line.empty() ? "" : " ") + w;
    std::string answer;
    switch (siutools::askControl(socketPath, line, kClientBudgetMs, &answer)) {
        case siutools::ControlOutcome::Unreachable:
            std::fprintf(stderr, "siusim: no simulator answers on %s\n", socketPath.c_str());
            return 2;
        case siutools::ControlOutcome::NotSent:
            std::fprintf(stderr, "siusim: cannot send to %s\n", socketPath.c_str());
            return 2;
        case siutools::ControlOutcome::NoAnswer:
            std::fprintf(stderr, "siusim: no answer from %s\n", socketPath.c_str());
            return 2;
        case siutools::ControlOutcome::Answered:
            break;
    }
    std::printf("%s\n", answer.c_str());
    return answer.rfind("OK", 0) == 0 ? 0 : 1;
}

bool ControlServer::listen(const std::string& socketPath, std::string& error) {
    sockaddr_un addr;
    if (!siutools::unixAddress(socketPath, addr)) {
        error = "control socket path too long: " + socketPath;
        return false;
    }
    UniqueFd fd(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (!fd || bind(fd.get(), reinterpret_cast<sockaddr*>(&addr), sizeof addr) != 0 ||
        ::listen(fd.get(), 16) != 0) {
        error = "cannot listen on " + socketPath + ": " + std::strerror(errno);
        return false;
    }
    listenFd = std::move(fd);
    path = socketPath;
    return true;
}

void ControlServer::close() {
    clients.clear();
    if (listenFd) {
        listenFd.reset();
        unlink(path.c_str());
    }
}

void ControlServer::addPollFds(std::vector<pollfd>& fds) {
    firstPollIndex = fds.size();
    fds.push_back({listenFd.get(), POLLIN, 0});
    for (const Client& c : clients)
        fds.push_back({c.fd.get(), static_cast<short>(c.out.empty() ? POLLIN : POLLOUT), 0});
}

void ControlServer::service(const std::vector<pollfd>& fds, const Handler& handler) {
    for (size_t i = 0; i < clients.size(); ++i) {
        const short ev = fds[firstPollIndex + 1 + i].revents;
        if (ev & (POLLIN | POLLHUP | POLLERR)) readFrom(clients[i], handler);
        if (!clients[i].out.empty()) writeTo(clients[i]);
    }
    clients.erase(std::remove_if(clients.begin(), clients.end(),
                                 [](const Client& c) { return c.closing && c.out.empty(); }),
                  clients.end());
    if (fds[firstPollIndex].revents & POLLIN) {
        int fd;
        while ((fd = accept4(listenFd.get(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC)) >= 0)
            clients.push_back(Client{UniqueFd(fd), {}, {}, false});
    }
}

void ControlServer::readFrom(Client& c, const Handler& handler) {
    char buf[1024];
    const ssize_t n = recv(c.fd.get(), buf, sizeof buf, 0);
    if (n == 0 || (n < 0 && errno != EAGAIN && errno != EINTR)) {
        c.closing = true;
        return;
    }
    if (n < 0) return;
    c.in.append(buf, static_cast<size_t>(n));
    size_t nl;
    while ((nl = c.in.find('\n')) != std::string::npos) {
        std::string line = c.in.substr(0, nl);
        c.in.erase(0, nl + 1);
        if (!line.empty() && line.back() == '\r') line.pop_back();
        c.out += handler(line) + "\n";
    }
    if (c.in.size() > kMaxLine) {
        c.out += "ERR line too long\n";
        c.closing = true;
    }
}

void ControlServer::writeTo(Client& c) {
    const ssize_t n = send(c.fd.get(), c.out.data(), c.out.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
    if (n > 0) {
        c.out.erase(0, static_cast<size_t>(n));
    } else if (n < 0 && errno != EAGAIN && errno != EINTR) {
        c.out.clear();
        c.closing = true;
    }
}

void ControlServer::flush() {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(500);
    for (Client& c : clients) {
        while (!c.out.empty() && std::chrono::steady_clock::now() < deadline) {
            pollfd p{c.fd.get(), POLLOUT, 0};
            if (poll(&p, 1, 50) > 0) writeTo(c);
        }
    }
}

}  // namespace siusim
