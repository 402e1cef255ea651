#pragma once
// The control interface: a UNIX stream socket beside the link that takes
// one-line text commands and answers each with one line, and the small client
// that sends one command from a shell.

#include "common/UniqueHandles.h"

#include <poll.h>

#include <functional>
#include <string>
#include <vector>

namespace siusim {

std::string controlPathFor(const std::string& link);

// True when a process accepts connections on the socket.
bool controlSocketAnswers(const std::string& socketPath);

// Sends the words joined by blanks as one command and prints the answer.
// Exit status: 0 for an answer beginning with "OK", 1 for any other answer,
// 2 when no simulator could be reached.
int runControlClient(const std::string& path, const std::vector<std::string>& words);

class ControlServer {
public:
    using Handler = std::function<std::string(const std::string& line)>;

    ControlServer() = default;
    ~ControlServer() { close(); }
    ControlServer(const ControlServer&) = delete;
    ControlServer& operator=(const ControlServer&) = delete;

    bool listen(const std::string& socketPath, std::string& error);
    // Closes every connection and removes the socket.
    void close();

    void addPollFds(std::vector<pollfd>& fds);
    // Accepts, reads and answers, given the poll results for the descriptors
    // that addPollFds added.
    void service(const std::vector<pollfd>& fds, const Handler& handler);
    // Sends what is still queued, waiting at most a short while.
    void flush();

private:
    struct Client {
        UniqueFd fd;
        std::string in;
        std::string out;
        bool closing = false;
    };
    void readFrom(Client& c, const Handler& handler);
    static void writeTo(Client& c);

    UniqueFd listenFd;
    std::string path;
    std::vector<Client> clients;
    size_t firstPollIndex = 0;
};

}  // namespace siusim
