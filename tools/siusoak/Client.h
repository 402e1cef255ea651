#pragma once
// One client process of the soak: the library loaded from a directory of its
// own (with its INI file and Log.so), one thread per service calling the SIU_
// functions at random, as an application would.
//
// It tells the soak what it does on descriptor 3, one line per event, each
// written at once (lines are short enough for a pipe to keep them whole):
//   B <service> <call>                  a call begins
//   E <service> <call> <result> <us>    it ended, with its result and duration
// It ends, closing its services, when its standard input reaches its end.

#include <string>
#include <vector>

namespace siusoak {

constexpr int kEventFd = 3;

// Exit status: 0 stopped as asked, 3 the library could not be loaded.
int runClient(const std::string& dir, const std::vector<std::string>& services,
              unsigned long seed);

}  // namespace siusoak
