#include "SimHarness.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <stdexcept>
#include <thread>

namespace simtest {

namespace {

uint8_t xorAll(const Bytes& b) {
    uint8_t x = 0;
    for (uint8_t c : b) x ^= c;
    return x;
}

// head, data, ETX and the XOR of all of them
Bytes framed(Bytes head, const std::string& data) {
    head.insert(head.end(), data.begin(), data.end());
    head.push_back(0x03);
    head.push_back(xorAll(head));
    return head;
}

pid_t spawn(const std::vector<std::string>& args, const std::string& outFile) {
    std::vector<char*> argv;
    argv.push_back(const_cast<char*>(SIUSIM_EXE));
    for (const std::string& a : args) argv.push_back(const_cast<char*>(a.c_str()));
    argv.push_back(nullptr);
    posix_spawn_file_actions_t fa;
    posix_spawn_file_actions_init(&fa);
    posix_spawn_file_actions_addopen(&fa, 1, outFile.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    posix_spawn_file_actions_adddup2(&fa, 1, 2);
    pid_t pid = -1;
    const int rc = posix_spawn(&pid, SIUSIM_EXE, &fa, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&fa);
    if (rc != 0) throw std::runtime_error("cannot start siusim");
    return pid;
}

int reap(pid_t pid, std::chrono::milliseconds timeout) {
    int status = 0;
    if (!siutest::waitFor([&] { return waitpid(pid, &status, WNOHANG) == pid; }, timeout))
        return -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

}  // namespace

std::string wireName(const ::testing::TestParamInfo<Wire>& info) {
    return info.param == Wire::Direct ? "direto" : "rs485";
}

Bytes bytesOf(const std::string& s) {
    return Bytes(s.begin(), s.end());
}

std::string hex(const Bytes& b) {
    std::string out;
    char buf[4];
    for (uint8_t c : b) {
        std::snprintf(buf, sizeof buf, "%02X ", c);
        out += buf;
    }
    return out;
}

Bytes hostFrame(Wire w, const std::string& command) {
    return framed(w == Wire::Direct ? Bytes{0x02} : Bytes{0x04, 0x48, 0x29, 0x02}, command);
}

Bytes boardAnswer(Wire w, const std::string& data) {
    Bytes f = framed(w == Wire::Direct ? Bytes{0x02} : Bytes{0x01, 0x48, 0x29, 0x30}, data);
    f.insert(f.begin(), 0x06);
    return f;
}

Sim::Sim(Wire w, std::vector<std::string> extra, const std::string& link)
    : linkPath(link.empty() ? tmp.file("line") : link), protocol(w) {
    std::vector<std::string> args = {"--link", linkPath, "--protocol",
                                     w == Wire::Direct ? "direto" : "485"};
    args.insert(args.end(), extra.begin(), extra.end());
    child = spawn(args, tmp.file("siusim.out"));
    if (!siutest::waitFor([&] { return control("ping") == "OK"; }, 5s))
        throw std::runtime_error("siusim did not come up: " +
                                 siutest::readWholeFile(tmp.file("siusim.out")));
    reopenLine();
}

Sim::~Sim() {
    if (lineFd >= 0) close(lineFd);
    if (child > 0 && kill(child, SIGTERM) == 0 && reap(child, 5s) < 0) {
        kill(child, SIGKILL);
        reap(child, 5s);
    }
}

void Sim::reopenLine() {
    if (lineFd >= 0) close(lineFd);
    lineFd = open(linkPath.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    if (lineFd < 0) throw std::runtime_error("cannot open " + linkPath);
}

int Sim::waitExit(std::chrono::milliseconds timeout) {
    const int status = reap(child, timeout);
    if (status >= 0) child = -1;
    return status;
}

std::string Sim::control(const std::string& line) const {
    sockaddr_un addr{};
    addr.sun_family = AF_UNIX;
    const std::string path = linkPath + ".ctl";
    std::strncpy(addr.sun_path, path.c_str(), sizeof addr.sun_path - 1);
    const int fd = socket(AF_UNIX, SOCK_STREAM, 0);
    std::string answer;
    timeval tv{5, 0};
    setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &tv, sizeof tv);
    if (connect(fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr) == 0) {
        const std::string msg = line + "\n";
        if (write(fd, msg.data(), msg.size()) == static_cast<ssize_t>(msg.size())) {
            char c;
            while (read(fd, &c, 1) == 1 && c != '\n') answer += c;
        }
    }
    close(fd);
    return answer;
}

std::string Sim::output(const std::string& name) const {
    const std::string all = " " + control("outputs") + " ";
    const size_t at = all.find(" " + name + "=");
    if (at == std::string::npos) return "?";
    const size_t from = at + name.size() + 2;
    return all.substr(from, all.find(' ', from) - from);
}

void Sim::send(const Bytes& b) const {
    ASSERT_EQ(static_cast<ssize_t>(b.size()), write(lineFd, b.data(), b.size()));
}

Bytes Sim::receive(size_t n, std::chrono::milliseconds timeout) const {
    Bytes got;
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (got.size() < n) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            deadline - std::chrono::steady_clock::now());
        pollfd p{lineFd, POLLIN, 0};
        if (left.count() <= 0 || poll(&p, 1, static_cast<int>(left.count())) <= 0) break;
        uint8_t buf[256];
        const ssize_t r = read(lineFd, buf, std::min(sizeof buf, n - got.size()));
        if (r <= 0) break;
        got.insert(got.end(), buf, buf + r);
    }
    return got;
}

Bytes Sim::ask(const std::string& command, const Bytes& expected) const {
    send(hostFrame(protocol, command));
    return receive(expected.size());
}

void Sim::expectReply(const std::string& command, const std::string& data) const {
    // An RS-485 output command ends at the board's ACK.
    const Bytes expected =
        protocol == Wire::Rs485 && command[0] == 'L' ? Bytes{0x06} : boardAnswer(protocol, data);
    EXPECT_EQ(hex(expected), hex(ask(command, expected))) << "command " << command;
    if (expected.size() > 1) send({0x06});
}

Outcome runSiusim(const std::vector<std::string>& args) {
    siutest::TempDir d;
    const pid_t pid = spawn(args, d.file("out"));
    const int status = reap(pid, 10s);
    return {status, siutest::readWholeFile(d.file("out"))};
}

}  // namespace simtest
