// The serial port over a pseudo-terminal. test_libuart is linked with --wrap for tcsetattr, ioctl
// and read: the spies below keep the settings asked for (a pty is 8 bits without parity whatever it
// is told), stand in for the modem lines a pty lacks and make a read fail as asked.

#include <errno.h>
#include <stdarg.h>
#include <sys/ioctl.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <future>
#include <memory>
#include <thread>
#include <tuple>

#include "libuart/PtyLine.h"
#include "libuart/comm_uart.h"
#include "manager/Global.h"

using namespace std::chrono_literals;
using siutest::PtyLine;
using testing::internal::CaptureStderr;
using testing::internal::GetCapturedStderr;

extern "C" int __real_tcsetattr(int fd, int action, const termios* tio);
extern "C" int __real_ioctl(int fd, unsigned long request, ...);
extern "C" ssize_t __real_read(int fd, void* buf, size_t n);

namespace {
termios applied{};          // the settings last handed to tcsetattr
int* modemLines = nullptr;  // while set, TIOCMGET and TIOCMSET use it instead of the device
int readErrno = 0;          // while set, every read fails with it
bool operator==(const termios& a, const termios& b) {
    return std::memcmp(&a, &b, sizeof a) == 0;
}
}  // namespace

extern "C" int __wrap_tcsetattr(int fd, int action, const termios* tio) {
    if (tio != nullptr) applied = *tio;
    return __real_tcsetattr(fd, action, tio);
}

extern "C" ssize_t __wrap_read(int fd, void* buf, size_t n) {
    if (readErrno != 0) return errno = readErrno, -1;
    return __real_read(fd, buf, n);
}

extern "C" int __wrap_ioctl(int fd, unsigned long request, ...) {
    va_list args;
    va_start(args, request);
    void* arg = va_arg(args, void*);
    va_end(args);
    if (modemLines == nullptr || (request != TIOCMGET && request != TIOCMSET))
        return __real_ioctl(fd, request, arg);
    if (request == TIOCMSET && *modemLines < 0) return errno = EIO, -1;  // a line that refuses
    if (request == TIOCMGET) *static_cast<int*>(arg) = *modemLines;
    if (request == TIOCMSET) *modemLines = *static_cast<int*>(arg);
    return 0;
}

// Software flow control comes only with the letters 'S', 'X' (88) and 'D': the
// enumerated XON_XOFF and DTR/DSR modes leave the line without any.
TEST(LineSetup, MakesARawLineOfTheConfiguredRateSizeParityStopBitsAndFlowControl) {
    const std::tuple<int, speed_t, int, parity_e, int, int, tcflag_t> cases[] = {
        {150, B150, 7, PARITY_EVEN, 1, FLOW_CONTROL_NONE, CS7},
        {921600, B921600, 8, PARITY_NONE, 2, FLOW_CONTROL_RTS_CTS, CS8},
        {500000, B500000, 5, PARITY_ODD, 1, 'X', CS5},
        {19200, B19200, 6, PARITY_EVEN, 2, 'S', CS6},
        {9600, B9600, 8, PARITY_NONE, 1, FLOW_CONTROL_XON_XOFF, CS8},
        {38400, B38400, 8, PARITY_MARK, 1, FLOW_CONTROL_NONE, CS8},
        {4800, B4800, 7, PARITY_SPACE, 2, FLOW_CONTROL_NONE, CS7}};
    PtyLine pty;
    for (auto [baud, speed, bits, parity, stop, flow, size] : cases) {
        SCOPED_TRACE(testing::Message() << baud << " " << flow);
        uart_config_s cfg = pty.config(baud, bits, parity, stop, flow);
        auto port = std::make_unique<CommUart>();
        ASSERT_EQ(SUCCESS, port->Open(&cfg));
        const termios asked = applied, t = pty.settings();
        port.reset();
        bool parityOn = parity != PARITY_NONE, soft = flow == 'S' || flow == 'X' || flow == 'D';
        bool stick = parity == PARITY_MARK || parity == PARITY_SPACE;
        EXPECT_EQ(size | (parityOn ? PARENB : 0u) | (stick ? CMSPAR : 0u),
                  asked.c_cflag & (CSIZE | PARENB | CMSPAR));
        EXPECT_EQ((parity == PARITY_ODD || parity == PARITY_MARK ? PARODD : 0u) |
                      (stop == 2 ? CSTOPB : 0u) |
                      (flow == FLOW_CONTROL_RTS_CTS ? CRTSCTS : 0u) | CREAD | HUPCL | CLOCAL,
                  t.c_cflag & (PARODD | CSTOPB | CRTSCTS | CREAD | HUPCL | CLOCAL));
        EXPECT_EQ((parityOn ? INPCK | ISTRIP : 0u) | (soft ? IXON | IXOFF : 0u) | IGNBRK,
                  t.c_iflag & (INPCK | ISTRIP | IXON | IXOFF | IXANY | IGNBRK | ICRNL));
        EXPECT_EQ(0u, (t.c_lflag & (ICANON | ECHO | ECHOE | ISIG)) | (t.c_oflag & OPOST));
        EXPECT_EQ(std::make_pair(speed, speed), std::make_pair(cfgetispeed(&t), cfgetospeed(&t)));
        EXPECT_EQ((std::vector<int>{1, 0, soft ? 0x11 : 0, soft ? 0x13 : 0}),
                  (std::vector<int>{t.c_cc[VMIN], t.c_cc[VTIME], t.c_cc[VSTART], t.c_cc[VSTOP]}));
    }
}

TEST(LineSetup, RefusesWhatTheLineCannotTakeAndLeavesItAsFound) {
    PtyLine pty;
    const termios before = pty.settings();
    CommUart port;
    for (uart_config_s cfg :
         {pty.config(110), pty.config(200), pty.config(1000000),
          pty.config(9600, 8, static_cast<parity_e>(PARITY_SPACE + 1)), pty.config(9600, 4),
          pty.config(9600, 9),
          pty.config(9600, 8, PARITY_NONE, 0), pty.config(9600, 8, PARITY_NONE, 3)}) {
        CaptureStderr();
        EXPECT_EQ(ERR_SER_OPEN_FAILED, port.Open(&cfg)) << cfg.baud_rate;
        EXPECT_EQ("Erro [-22] configurando " + std::string(pty.path()) + "\n", GetCapturedStderr());
        EXPECT_TRUE(before == pty.settings());
    }
    // A missing device leaves a handle without descriptor, which the next Open releases.
    uart_config_s cfg = pty.config();
    char missing[] = "/nonexistent/ttyS9";
    cfg.device = missing;
    CaptureStderr();
    EXPECT_EQ(ERR_SER_OPEN_FAILED, port.Open(&cfg));
    EXPECT_EQ("Erro [2] abrindo /nonexistent/ttyS9\n", GetCapturedStderr());
}

TEST(LineSetup, CloseAndDestructionRestoreTheSettingsFoundAndAClosedPortAnswersWithCodes) {
    PtyLine pty;
    termios found = pty.settings();
    cfsetospeed(&found, B2400);
    found.c_cflag |= CSTOPB;
    found.c_lflag |= ICANON | ECHO;
    ASSERT_EQ(0, tcsetattr(pty.slave, TCSANOW, &found));
    found = pty.settings();
    uart_config_s cfg = pty.config(115200, 7, PARITY_EVEN);
    auto port = std::make_unique<CommUart>();
    ASSERT_EQ(SUCCESS, port->Open(&cfg));
    EXPECT_EQ(SUCCESS, port->Close());
    EXPECT_TRUE(found == pty.settings());
    unsigned char buf[4] = {};
    EXPECT_EQ(ERR_SER_CLOSE_FAILED, port->Close());
    EXPECT_EQ(ERR_SER_WRITE_FAILED, port->Write(buf, 4));
    EXPECT_EQ(ERR_SER_READ_FAILED, port->Read(buf, 4));
    EXPECT_EQ(ERR_SER_FLUSH_FAILED, port->Flush(5));
    EXPECT_EQ(ERR_SER_RTS_FAILED, port->GetPinOut(buf));
    ASSERT_EQ(SUCCESS, port->Open(&cfg));
    port.reset();
    EXPECT_TRUE(found == pty.settings());
}

class OpenPort : public testing::Test {
protected:
    void SetUp() override { ASSERT_EQ(SUCCESS, port.Open(&cfg)); }
    void TearDown() override { modemLines = nullptr; }
    PtyLine pty;
    uart_config_s cfg = pty.config();
    CommUart port;
    unsigned char buf[300] = {};
};

TEST_F(OpenPort, FlushesOnlyWhenAskedAndCarriesEveryByteValueBothWays) {
    for (unsigned char flags : {1, 5}) {  // the receive queue, both queues
        pty.send("stale");
        ASSERT_TRUE(pty.inputPending());
        EXPECT_EQ(ERR_SER_FLUSH_FAILED, port.Flush(0));
        EXPECT_EQ(SUCCESS, port.Flush(4));
        EXPECT_TRUE(pty.inputPending(0));
        EXPECT_EQ(SUCCESS, port.Flush(flags));
        EXPECT_EQ(0, port.Read(buf, 8));
    }
    std::string all, got;
    for (int b = 0; b < 256; ++b) all.push_back(static_cast<char>(b));
    EXPECT_EQ(256, port.Write(reinterpret_cast<const unsigned char*>(all.data()), 256));
    EXPECT_EQ(all, pty.receive(256));
    pty.send(all);
    cfg.rx_timeout = 2000;
    for (int n; got.size() < 256 && (n = port.Read(buf, sizeof buf)) > 0;)
        got.append(reinterpret_cast<char*>(buf), n);
    EXPECT_EQ(all, got);
}

// A receive gives up after one wait; a send of more than the pty buffers goes on past its waits.
TEST_F(OpenPort, ReceiveWaitsOnceForItsTimeOutAndSendOutlastsItsWaits) {
    for (int rx : {20, 0}) {  // 0 waits the default 50 ms
        cfg.rx_timeout = rx;
        auto start = std::chrono::steady_clock::now();
        EXPECT_EQ(0, port.Read(buf, 4)) << rx;
        EXPECT_LE(rx ? 15 : 45, (std::chrono::steady_clock::now() - start) / 1ms);
    }
    cfg.rx_timeout = 10000;  // read from the record at every receive
    cfg.tx_timeout = 1;
    std::string block(256 * 1024, 'x'), received;
    std::thread board([&] {
        std::this_thread::sleep_for(100ms);
        pty.send("K");
        std::this_thread::sleep_for(100ms);
        received = pty.receive(block.size());
    });
    EXPECT_EQ(1, port.Read(buf, 4));
    EXPECT_EQ(static_cast<int>(block.size()),
              port.Write(reinterpret_cast<const unsigned char*>(block.data()), block.size()));
    board.join();
    EXPECT_TRUE(received == block);
}

// Software flow control ('X'), the board having sent XOFF: a send without a
// deadline of its caller's gives up after its own, the bytes' time on the
// line and one second; after XON the next send goes through.
TEST(LineFlow, ASendThatXoffHoldsOffEndsAfterItsOwnDeadlineAndTheNextGoesAfterXon) {
    PtyLine pty;
    uart_config_s cfg = pty.config(115200, 8, PARITY_NONE, 1, 'X');
    CommUart port;
    ASSERT_EQ(SUCCESS, port.Open(&cfg));
    ASSERT_TRUE(pty.flow("\x13", false));
    CaptureStderr();
    const auto start = std::chrono::steady_clock::now();
    auto held = std::async(std::launch::async, [&] {
        return port.Write(reinterpret_cast<const unsigned char*>("abc"), 3);
    });
    if (held.wait_for(3s) != std::future_status::ready) ADD_FAILURE() << "the send waits on";
    const auto took = (std::chrono::steady_clock::now() - start) / 1ms;
    ASSERT_TRUE(pty.flow("\x11", true));
    EXPECT_EQ(ERR_SER_WRITE_FAILED, held.get());
    GetCapturedStderr();
    EXPECT_GE(took, 1000);
    EXPECT_LE(took, 1300);
    EXPECT_EQ(3, port.Write(reinterpret_cast<const unsigned char*>("abc"), 3));
}

// A speed change makes the line raw again (8N1) at the new rate; the open's
// parity and size are not re-applied.
TEST(LineSpeed, ChangesTheRateOfAnOpenLineOnlyToATableRate) {
    PtyLine pty;
    uart_config_s cfg = pty.config();
    cfg.data_bits = 7;
    cfg.parity = PARITY_EVEN;
    CommUart port;
    EXPECT_EQ(-EIO, port.SetSpeed(19200));
    ASSERT_EQ(SUCCESS, port.Open(&cfg));
    EXPECT_EQ(0, port.SetSpeed(19200));
    EXPECT_EQ(B19200, cfgetospeed(&applied));
    EXPECT_EQ(CS8, applied.c_cflag & CSIZE);
    EXPECT_EQ(0u, applied.c_cflag & PARENB);
    EXPECT_EQ(-EINVAL, port.SetSpeed(110));
    EXPECT_EQ(B19200, cfgetospeed(&applied));
}

TEST_F(OpenPort, ModemLinesReportEachOnItsBitAndFailWithTheirCodes) {
    CaptureStderr();  // a pty has no modem lines
    EXPECT_EQ(ERR_SER_RTS_FAILED, port.GetPinOut(buf));
    EXPECT_EQ(ERR_SER_RTS_FAILED, port.SetPinOut_RTS(1));
    EXPECT_EQ(ERR_SER_DTR_FAILED, port.SetPinOut_DTR(0));
    int lines = 0;
    modemLines = &lines;
    const int order[] = {TIOCM_CTS, TIOCM_RTS, TIOCM_DSR, TIOCM_DTR, TIOCM_RNG, TIOCM_CAR};
    for (int k = 0; k < 6; ++k) {
        lines = order[k] | TIOCM_LE | TIOCM_ST | TIOCM_SR;  // lines without a bit
        EXPECT_EQ(SUCCESS, port.GetPinOut(buf));
        EXPECT_EQ(1 << k, buf[0]) << order[k];
    }
    lines = TIOCM_CTS;
    EXPECT_EQ(SUCCESS, port.SetPinOut_RTS(1));
    EXPECT_EQ(SUCCESS, port.SetPinOut_DTR(2));
    EXPECT_EQ(TIOCM_CTS | TIOCM_RTS | TIOCM_DTR, lines);
    EXPECT_EQ(SUCCESS, port.SetPinOut_RTS(0));
    EXPECT_EQ(TIOCM_CTS | TIOCM_DTR, lines);
    lines = -1;
    EXPECT_EQ(ERR_SER_RTS_FAILED, port.SetPinOut_RTS(1));
    EXPECT_EQ(ERR_SER_DTR_FAILED, port.SetPinOut_DTR(0));
    GetCapturedStderr();
    EXPECT_EQ(ERR_CBI_UNSUPPORTED, CommBase().Flush(1));  // what a port kind does not offer
    EXPECT_EQ(ERR_CBI_UNSUPPORTED, port.SetFlowControl(FLOW_CONTROL_RTS_CTS));
}

// Inverted on purpose: a hard read error reads as "nothing arrived" and a wake-up with nothing to
// read as a failure, both without a word on stderr. A hard error or a hang-up tells the line lost.
TEST_F(OpenPort, ReadsAHardErrorAsNothingAndAnEmptyWakeUpAsAFailureAndTellsALostLine) {
    pty.send("x");  // wakes every wait
    ASSERT_TRUE(pty.inputPending());
    const struct {
        int err, result, lost;
    } cases[] = {{EAGAIN, ERR_SER_READ_FAILED, 0}, {EINTR, 0, 0}, {EIO, 0, 1}};
    for (const auto& c : cases) {
        CaptureStderr();
        readErrno = c.err;
        EXPECT_EQ(c.result, port.Read(buf, 1)) << c.err;
        readErrno = 0;
        EXPECT_EQ("", GetCapturedStderr()) << c.err;
        EXPECT_EQ(c.lost, port.LineLost()) << c.err;
    }
    PtyLine other;
    uart_config_s line = other.config();
    CommUart hungUp;
    ASSERT_EQ(SUCCESS, hungUp.Open(&line));
    EXPECT_EQ(0, hungUp.LineLost());
    other.closeMaster();
    EXPECT_EQ(1, hungUp.LineLost());
    EXPECT_EQ(ERR_CBI_UNSUPPORTED, CommBase().LineLost());
}

TEST(PortLifetime, NoDescriptorOutlivesReopeningOrAFailedCloseAndZeroIsNeverClosed) {
    auto descriptors = [] {
        return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
    };
    const auto baseline = descriptors();
    {
        PtyLine pty;
        uart_config_s cfg = pty.config();
        CommUart port;
        ASSERT_EQ(SUCCESS, port.Open(&cfg));
        ASSERT_EQ(SUCCESS, port.Open(&cfg));  // the first handle is closed, not lost
        // A hung-up line cannot be restored, so Close fails and keeps the handle...
        pty.closeMaster();
        EXPECT_EQ(ERR_SER_CLOSE_FAILED, port.Close());
    }  // ...and destruction still lets the descriptor go.
    EXPECT_EQ(baseline, descriptors());

    PtyLine pty;
    uart_config_s cfg = pty.config();
    int savedStdin = dup(0);
    close(0);
    void* handle = nullptr;
    ASSERT_EQ(0, uart_init(&handle, &cfg));  // the lowest free descriptor: 0
    EXPECT_EQ(0, uart_deinit(&handle));
    EXPECT_STREQ(pty.path(), ttyname(0));  // freed, but never ours to close
    close(0);
    dup2(savedStdin, 0);
    close(savedStdin);
}
