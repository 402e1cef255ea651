// Line set-up at open, its refusals, speed change and the settings restored
// at close.

#include <errno.h>
#include <termios.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "libuart/LineSpy.h"
#include "libuart/PtyLine.h"
#include "libuart/comm_uart.h"
#include "manager/Global.h"
#include "support/TestSupport.h"

using siutest::lastAppliedSettings;
using siutest::PtyLine;
using testing::internal::CaptureStderr;
using testing::internal::GetCapturedStderr;

namespace {

struct Line {
    termios kept;   // read back from the pty
    termios asked;  // handed to tcsetattr, size and parity included
};

Line openedWith(PtyLine& pty, uart_config_s cfg) {
    CommUart port;
    EXPECT_EQ(SUCCESS, port.Open(&cfg));
    return {pty.settings(), lastAppliedSettings()};  // the destructor restores the line
}

bool sameSettings(const termios& a, const termios& b) {
    return a.c_iflag == b.c_iflag && a.c_oflag == b.c_oflag && a.c_cflag == b.c_cflag &&
           a.c_lflag == b.c_lflag && cfgetispeed(&a) == cfgetispeed(&b) &&
           cfgetospeed(&a) == cfgetospeed(&b) &&
           std::equal(std::begin(a.c_cc), std::end(a.c_cc), std::begin(b.c_cc));
}

}  // namespace

TEST(LineSetup, MakesARawLineOfTheConfiguredRateSizeParityAndStopBits) {
    struct Case {
        int baud;
        speed_t speed;
        int bits;
        parity_e parity;
        int stop;
        tcflag_t size;
    } cases[] = {{150, B150, 7, PARITY_EVEN, 1, CS7},
                 {921600, B921600, 8, PARITY_NONE, 2, CS8},
                 {500000, B500000, 5, PARITY_ODD, 1, CS5},
                 {19200, B19200, 6, PARITY_EVEN, 2, CS6}};
    PtyLine pty;
    for (const Case& c : cases) {
        SCOPED_TRACE(c.baud);
        Line line = openedWith(pty, pty.config(c.baud, c.bits, c.parity, c.stop));
        const termios& t = line.kept;
        EXPECT_EQ(c.size, line.asked.c_cflag & CSIZE);
        EXPECT_EQ(c.parity != PARITY_NONE, (line.asked.c_cflag & PARENB) != 0);
        EXPECT_EQ(c.parity == PARITY_ODD, (t.c_cflag & PARODD) != 0);
        EXPECT_EQ(c.parity != PARITY_NONE, (t.c_iflag & (INPCK | ISTRIP)) == (INPCK | ISTRIP));
        EXPECT_EQ(c.stop == 2, (t.c_cflag & CSTOPB) != 0);
        EXPECT_EQ(c.speed, cfgetospeed(&t));
        EXPECT_EQ(c.speed, cfgetispeed(&t));
        EXPECT_EQ(IGNBRK, t.c_iflag & (IGNBRK | ICRNL | IXON));
        EXPECT_EQ(CREAD | HUPCL | CLOCAL, t.c_cflag & (CREAD | HUPCL | CLOCAL));
        EXPECT_EQ(0u, t.c_lflag & (ICANON | ECHO | ECHOE | ISIG));
        EXPECT_EQ(0u, t.c_oflag & OPOST);
        EXPECT_EQ(1, t.c_cc[VMIN]);
        EXPECT_EQ(0, t.c_cc[VTIME]);
    }
}

TEST(LineSetup, FlowControlOnlyForRtsCtsAndTheLetterSelectors) {
    PtyLine pty;
    termios t = openedWith(pty, pty.config(9600, 8, PARITY_NONE, 1, FLOW_CONTROL_RTS_CTS)).kept;
    EXPECT_NE(0u, t.c_cflag & CRTSCTS);
    EXPECT_EQ(0u, t.c_iflag & (IXON | IXOFF | IXANY));
    for (int flow : {'S', 'X', 'D'}) {  // 'X' is 88
        t = openedWith(pty, pty.config(9600, 8, PARITY_NONE, 1, flow)).kept;
        EXPECT_EQ(IXON | IXOFF, t.c_iflag & (IXON | IXOFF | IXANY)) << flow;
        EXPECT_EQ(0u, t.c_cflag & CRTSCTS) << flow;
        EXPECT_EQ(0x11, t.c_cc[VSTART]) << flow;
        EXPECT_EQ(0x13, t.c_cc[VSTOP]) << flow;
    }
    // The enumerated XON_XOFF and DTR/DSR modes leave the line without any
    // flow control.
    for (int flow : {+FLOW_CONTROL_NONE, +FLOW_CONTROL_DTR_DSR, +FLOW_CONTROL_DTR_DSR_ENABLE,
                     +FLOW_CONTROL_XON_XOFF, 89}) {
        t = openedWith(pty, pty.config(9600, 8, PARITY_NONE, 1, flow)).kept;
        EXPECT_EQ(0u, t.c_iflag & (IXON | IXOFF | IXANY)) << flow;
        EXPECT_EQ(0u, t.c_cflag & CRTSCTS) << flow;
        EXPECT_EQ(0, t.c_cc[VSTART] | t.c_cc[VSTOP]) << flow;
    }
}

TEST(LineSetup, RefusesValuesTheLineCannotTakeAndLeavesItAsFound) {
    PtyLine pty;
    struct Case {
        int baud, bits;
        parity_e parity;
        int stop;
    } cases[] = {{110, 8, PARITY_NONE, 1},     {200, 8, PARITY_NONE, 1},
                 {1000000, 8, PARITY_NONE, 1}, {9600, 8, PARITY_MARK, 1},
                 {9600, 8, PARITY_SPACE, 1},   {9600, 8, static_cast<parity_e>(-1), 1},
                 {9600, 4, PARITY_NONE, 1},    {9600, 9, PARITY_NONE, 1},
                 {9600, 8, PARITY_NONE, 0},    {9600, 8, PARITY_NONE, 3}};
    const termios before = pty.settings();
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << c.baud << " " << c.bits << c.parity << c.stop);
        uart_config_s cfg = pty.config(c.baud, c.bits, c.parity, c.stop);
        CommUart port;
        CaptureStderr();
        EXPECT_EQ(ERR_SER_OPEN_FAILED, port.Open(&cfg));
        EXPECT_EQ("Erro [-22] configurando " + std::string(pty.path()) + "\n", GetCapturedStderr());
        EXPECT_TRUE(sameSettings(before, pty.settings()));
        EXPECT_EQ(SUCCESS, port.Close());  // frees the handle, touches no descriptor
    }
}

TEST(LineSetup, ReportsDevicesThatCannotBeOpenedOrAreNoTerminal) {
    siutest::TempDir dir;
    std::string missing = dir.file("ttyS9");
    char devNull[] = "/dev/null";
    uart_config_s cfg{};
    cfg.baud_rate = 9600;
    cfg.data_bits = 8;
    cfg.stop_bits = 1;

    cfg.device = missing.data();
    void* handle = nullptr;
    CaptureStderr();
    EXPECT_EQ(-1, uart_init(&handle, &cfg));
    EXPECT_EQ("Erro [" + std::to_string(ENOENT) + "] abrindo " + missing + "\n",
              GetCapturedStderr());
    // The handle stays allocated, with no descriptor; closing only frees it.
    ASSERT_NE(nullptr, handle);
    EXPECT_EQ(0, uart_deinit(&handle));
    EXPECT_EQ(nullptr, handle);

    cfg.device = devNull;
    CommUart port;
    CaptureStderr();
    EXPECT_EQ(ERR_SER_OPEN_FAILED, port.Open(&cfg));
    EXPECT_EQ("Erro [-5] configurando /dev/null\n", GetCapturedStderr());
}

TEST(LineSetup, CloseAndDestructionRestoreTheSettingsFoundAtOpen) {
    PtyLine pty;
    termios found = pty.settings();
    cfsetospeed(&found, B2400);
    found.c_cflag |= CSTOPB;
    found.c_lflag |= ICANON | ECHO;
    ASSERT_EQ(0, tcsetattr(pty.slave(), TCSANOW, &found));
    found = pty.settings();

    uart_config_s cfg = pty.config(115200);
    CommUart port;
    ASSERT_EQ(SUCCESS, port.Open(&cfg));
    ASSERT_FALSE(sameSettings(found, pty.settings()));
    EXPECT_EQ(SUCCESS, port.Close());
    EXPECT_TRUE(sameSettings(found, pty.settings()));
    {
        CommUart forgotten;
        ASSERT_EQ(SUCCESS, forgotten.Open(&cfg));
    }
    EXPECT_TRUE(sameSettings(found, pty.settings()));
}

TEST(LineSetup, SpeedChangeLeavesARaw8BitLineWithoutParity) {
    PtyLine pty;
    uart_config_s cfg = pty.config(9600, 7, PARITY_EVEN, 1);
    CommUart port;
    ASSERT_EQ(SUCCESS, port.Open(&cfg));
    EXPECT_EQ(SUCCESS, port.SetSpeed(19200));
    termios t = pty.settings();
    EXPECT_EQ(B19200, cfgetospeed(&t));
    EXPECT_EQ(CS8, lastAppliedSettings().c_cflag & CSIZE);
    EXPECT_EQ(0u, lastAppliedSettings().c_cflag & (PARENB | CSTOPB));

    EXPECT_EQ(-EINVAL, port.SetSpeed(110));
    t = pty.settings();
    EXPECT_EQ(B19200, cfgetospeed(&t));
    EXPECT_EQ(SUCCESS, port.Close());
    EXPECT_EQ(-EIO, port.SetSpeed(9600));
}
