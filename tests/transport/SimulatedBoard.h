#pragma once
// The siusim board simulator as a child process on a pseudo-terminal, for
// exchanges over a real line. The host side is the library's own port.

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "support/TestSupport.h"

extern char** environ;

namespace siutest {

class SimulatedBoard {
public:
    // protocol is "direto" or "485"; extra options follow it.
    explicit SimulatedBoard(const std::string& protocol, std::vector<std::string> extra = {})
        : linkPath(dir.file("line")) {
        std::vector<std::string> args = {SIUSIM_EXE, "--link", linkPath, "--protocol", protocol};
        args.insert(args.end(), extra.begin(), extra.end());
        std::vector<char*> argv;
        for (std::string& a : args) argv.push_back(&a[0]);
        argv.push_back(nullptr);
        const std::string out = dir.file("siusim.out");
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_addopen(&actions, 1, out.c_str(), O_WRONLY | O_CREAT, 0644);
        posix_spawn_file_actions_adddup2(&actions, 1, 2);
        int rc = posix_spawn(&pid, SIUSIM_EXE, &actions, nullptr, argv.data(), environ);
        posix_spawn_file_actions_destroy(&actions);
        if (rc != 0 || !waitFor([this] { return control("ping").rfind("OK", 0) == 0; })) {
            stop();
            throw std::runtime_error("siusim did not start: " + readWholeFile(out));
        }
    }
    ~SimulatedBoard() { stop(); }
    SimulatedBoard(const SimulatedBoard&) = delete;
    SimulatedBoard& operator=(const SimulatedBoard&) = delete;

    const std::string& link() const { return linkPath; }

    // One control command; the simulator's one-line answer, empty when it
    // cannot be reached.
    std::string control(const std::string& line) const {
        int fd = socket(AF_UNIX, SOCK_STREAM, 0);
        if (fd < 0) return "";
        sockaddr_un addr{};
        addr.sun_family = AF_UNIX;
        std::snprintf(addr.sun_path, sizeof addr.sun_path, "%s.ctl", linkPath.c_str());
        std::string answer;
        timeval limit{5, 0};
        setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
        const std::string request = line + "\n";
        if (connect(fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr) == 0 &&
            write(fd, request.data(), request.size()) == static_cast<ssize_t>(request.size())) {
            char c;
            while (read(fd, &c, 1) == 1 && c != '\n') answer += c;
        }
        close(fd);
        return answer;
    }

    // The commands received since the last call, each with the monotonic ms
    // at which its frame had arrived.
    std::vector<std::pair<double, std::string>> records() const {
        std::istringstream words(control("records"));
        std::vector<std::pair<double, std::string>> got;
        std::string word;
        words >> word >> word;  // OK and the count
        while (words >> word) {
            size_t colon = word.find(':');
            got.emplace_back(std::stod(word.substr(0, colon)), word.substr(colon + 1));
        }
        return got;
    }

private:
    void stop() {
        if (pid <= 0) return;
        kill(pid, SIGTERM);
        int status;
        waitpid(pid, &status, 0);
        pid = -1;
    }

    TempDir dir;
    std::string linkPath;
    pid_t pid = -1;
};

}  // namespace siutest
