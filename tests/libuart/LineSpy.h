#pragma once
// Observation points for what a pty cannot show. test_libuart is linked with
// --wrap for tcsetattr, ioctl and read, so the port's calls pass through here
// on their way to the real functions.

#include <termios.h>

namespace siutest {

// The settings last handed to tcsetattr, as asked for: a pty keeps most of
// them but is always 8 bits without parity.
termios lastAppliedSettings();

// While installed, TIOCMGET answers status and TIOCMSET stores into it (or
// fails with EIO when failSet) instead of reaching the device.
struct ModemLines {
    int status = 0;
    bool failSet = false;
};
void fakeModemLines(ModemLines* lines);  // nullptr: back to the device

// The next read() of the process fails with err instead of reading.
void failNextRead(int err);

}  // namespace siutest
