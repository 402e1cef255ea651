#pragma once
// The pseudo-terminal that stands in for the serial line, and the symbolic
// link through which the host finds its device node.

#include "common/UniqueHandles.h"

#include <string>

namespace siusim {

class Pty {
public:
    // Opens a new pair in raw mode. The simulator keeps the device side open
    // itself as well, so the line stays up while no host has it open.
    bool open(std::string& error);
    void close();
    int master() const { return masterFd.get(); }
    const std::string& devicePath() const { return path; }

private:
    UniqueFd masterFd;
    UniqueFd deviceFd;
    std::string path;
};

// Makes sure the link may be created: nothing is there, or only a link into
// /dev/pts/ and a control socket that no running simulator answers on (both
// are then removed). Returns an empty text, or why PATH is refused.
std::string claimLinkPath(const std::string& link, const std::string& socketPath);

// Points the link at target, replacing an existing link atomically.
bool pointLink(const std::string& link, const std::string& target, std::string& error);

// Removes the link if it still points at target.
void releaseLink(const std::string& link, const std::string& target);

}  // namespace siusim
