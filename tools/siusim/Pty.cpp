#include "tools/siusim/Pty.h"

#include "tools/siusim/Control.h"

// The simulator is the board, not the library: it drives its own end of the
// line with the terminal interface directly.
#include <fcntl.h>
#include <pty.h>
#include <sys/stat.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstring>

namespace siusim {

bool Pty::open(std::string& error) {
    termios raw{};
    cfmakeraw(&raw);
    cfsetispeed(&raw, B9600);
    cfsetospeed(&raw, B9600);
    raw.c_cflag |= CREAD | CLOCAL;
    int m = -1;
    int s = -1;
    if (openpty(&m, &s, nullptr, &raw, nullptr) != 0) {
        error = std::string("openpty failed: ") + std::strerror(errno);
        return false;
    }
    UniqueFd newMaster(m);
    UniqueFd newDevice(s);
    char name[PATH_MAX];
    if (ttyname_r(s, name, sizeof name) != 0) {
        error = std::string("ttyname failed: ") + std::strerror(errno);
        return false;
    }
    const int flags = fcntl(m, F_GETFL);
    if (flags < 0 || fcntl(m, F_SETFL, flags | O_NONBLOCK) != 0 ||
        fcntl(m, F_SETFD, FD_CLOEXEC) != 0 || fcntl(s, F_SETFD, FD_CLOEXEC) != 0) {
        error = std::string("fcntl failed: ") + std::strerror(errno);
        return false;
    }
    masterFd = std::move(newMaster);
    deviceFd = std::move(newDevice);
    path = name;
    return true;
}

void Pty::close() {
    masterFd.reset();
    deviceFd.reset();
    path.clear();
}

namespace {

bool readLink(const std::string& link, std::string& target) {
    char buf[PATH_MAX];
    const ssize_t n = readlink(link.c_str(), buf, sizeof buf - 1);
    if (n < 0) return false;
    target.assign(buf, static_cast<size_t>(n));
    return true;
}

}  // namespace

std::string claimLinkPath(const std::string& link, const std::string& socketPath) {
    struct stat st {};
    const bool linkThere = lstat(link.c_str(), &st) == 0;
    std::string target;
    if (linkThere &&
        (!S_ISLNK(st.st_mode) || !readLink(link, target) || target.rfind("/dev/pts/", 0) != 0))
        return link + " exists and is not a link left by siusim; not replacing it";

    struct stat sst {};
    const bool socketThere = lstat(socketPath.c_str(), &sst) == 0;
    if (socketThere && !S_ISSOCK(sst.st_mode))
        return socketPath + " exists and is not a siusim control socket; not replacing it";
    if (socketThere && controlSocketAnswers(socketPath))
        return "another siusim serves " + link + " (its control socket " + socketPath + " answers)";

    // What is left is the stale link and socket of a simulator that died.
    if (linkThere) unlink(link.c_str());
    if (socketThere) unlink(socketPath.c_str());
    return {};
}

bool pointLink(const std::string& link, const std::string& target, std::string& error) {
    const std::string temp = link + ".new";
    unlink(temp.c_str());
    if (symlink(target.c_str(), temp.c_str()) != 0 || rename(temp.c_str(), link.c_str()) != 0) {
        error = "cannot create link " + link + ": " + std::strerror(errno);
        unlink(temp.c_str());
        return false;
    }
    return true;
}

void releaseLink(const std::string& link, const std::string& target) {
    std::string now;
    if (readLink(link, now) && now == target) unlink(link.c_str());
}

}  // namespace siusim
