// Moving bytes through an open port: send, receive and their waits, flush,
// modem lines and what a closed or misused port answers.

#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cstring>
#include <string>
#include <thread>

#include "libuart/LineSpy.h"
#include "libuart/PtyLine.h"
#include "libuart/comm_uart.h"
#include "manager/Global.h"
#include "support/FakePort.h"

using siutest::PtyLine;
using testing::HasSubstr;
using testing::StartsWith;
using testing::internal::CaptureStderr;
using testing::internal::GetCapturedStderr;

namespace {

const unsigned char* bytes(const std::string& s) {
    return reinterpret_cast<const unsigned char*>(s.data());
}

// Reads until n bytes came or a receive came back empty.
std::string readUpTo(CommUart& port, size_t n) {
    std::string got;
    unsigned char buf[300];
    while (got.size() < n) {
        int r = port.Read(buf, static_cast<int>(std::min(sizeof buf, n - got.size())));
        if (r <= 0) break;
        got.append(reinterpret_cast<char*>(buf), static_cast<size_t>(r));
    }
    return got;
}

int openDescriptors() {
    int count = 0;
    if (DIR* d = opendir("/proc/self/fd")) {
        while (readdir(d) != nullptr) ++count;
        closedir(d);
    }
    return count;
}

class OpenPort : public testing::Test {
protected:
    void SetUp() override { ASSERT_EQ(SUCCESS, port.Open(&cfg)); }
    PtyLine pty;
    uart_config_s cfg = pty.config();
    CommUart port;
};

}  // namespace

TEST_F(OpenPort, CarriesEveryByteValueBothWays) {
    std::string all;
    for (int b = 0; b < 256; ++b) all.push_back(static_cast<char>(b));
    EXPECT_EQ(256, port.Write(bytes(all), 256));
    EXPECT_EQ(all, pty.receive(256));

    pty.send(all);
    ASSERT_TRUE(pty.inputPending());
    unsigned char first[2];
    EXPECT_EQ(2, port.Read(first, 2));  // no more than asked for
    cfg.rx_timeout = 2000;
    EXPECT_EQ(all.substr(2), readUpTo(port, 254));
}

TEST_F(OpenPort, ReceiveWithNothingArrivingReturnsZero) {
    unsigned char buf[4];
    for (int rx : {20, 0, -5}) {  // 0 and below wait the default 50 ms
        cfg.rx_timeout = rx;
        EXPECT_EQ(0, port.Read(buf, sizeof buf)) << rx;
    }
}

TEST_F(OpenPort, ReceiveTakesBytesArrivingDuringTheWaitFromTheLiveRecord) {
    unsigned char buf[4];
    cfg.rx_timeout = 1;
    // The setters leave the record alone: the wait stays 1 ms.
    EXPECT_EQ(SUCCESS, port.SetTimeout(10000));
    EXPECT_EQ(SUCCESS, port.SetTimeout(10000, 10000));
    EXPECT_EQ(0, port.Read(buf, sizeof buf));

    cfg.rx_timeout = 10000;
    std::thread board([this] {
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        pty.send("K");
    });
    EXPECT_EQ(1, port.Read(buf, sizeof buf));
    board.join();
    EXPECT_EQ('K', buf[0]);
}

TEST_F(OpenPort, ReceiveReportsAHardReadErrorAsNothingAndAnEmptyWakeUpAsFailure) {
    unsigned char buf[4];
    pty.send("ab");
    ASSERT_TRUE(pty.inputPending());
    siutest::failNextRead(EIO);
    EXPECT_EQ(0, port.Read(buf, sizeof buf));
    siutest::failNextRead(EAGAIN);
    EXPECT_EQ(ERR_SER_READ_FAILED, port.Read(buf, sizeof buf));
    EXPECT_EQ(2, port.Read(buf, sizeof buf));  // the bytes were never taken
}

TEST_F(OpenPort, SendOutlastsWaitsThatTimeOutUntilTheLineDrains) {
    // Far more than the pty buffers: the send stalls, its 1 ms waits time out
    // again and again, and it still delivers everything once the board reads.
    cfg.tx_timeout = 1;
    std::string block(256 * 1024, '\0');
    for (size_t i = 0; i < block.size(); ++i) block[i] = static_cast<char>(i * 7);
    std::string received;
    std::thread board([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
        received = pty.receive(block.size());
    });
    EXPECT_EQ(static_cast<int>(block.size()), port.Write(bytes(block), block.size()));
    board.join();
    EXPECT_TRUE(received == block);
}

TEST_F(OpenPort, FlushDiscardsWhatWasReceivedOnlyWhenAsked) {
    unsigned char buf[8];
    pty.send("stale");
    ASSERT_TRUE(pty.inputPending());
    EXPECT_EQ(ERR_SER_FLUSH_FAILED, port.Flush(0));
    EXPECT_EQ(SUCCESS, port.Flush(4));
    EXPECT_TRUE(pty.inputPending(0));
    EXPECT_EQ(SUCCESS, port.Flush(1));
    EXPECT_EQ(0, port.Read(buf, sizeof buf));

    pty.send("stale");
    ASSERT_TRUE(pty.inputPending());
    EXPECT_EQ(SUCCESS, port.Flush(5));
    EXPECT_EQ(0, port.Read(buf, sizeof buf));
}

TEST_F(OpenPort, ModemLinesOfALineWithoutThemFailWithTheirCodes) {
    unsigned char pins = 0xAA;
    CaptureStderr();
    EXPECT_EQ(ERR_SER_RTS_FAILED, port.GetPinOut(&pins));
    EXPECT_EQ(ERR_SER_RTS_FAILED, port.SetPinOut_RTS(1));
    EXPECT_EQ(ERR_SER_DTR_FAILED, port.SetPinOut_DTR(0));
    std::string err = GetCapturedStderr();
    EXPECT_EQ(0xAA, pins);
    EXPECT_THAT(err, StartsWith("getpinout error: : "));
    EXPECT_THAT(err, HasSubstr("\nsetRTS(): TIOCMGET: "));
    EXPECT_THAT(err, HasSubstr("\nsetDTR(): TIOCMGET: "));
}

class ModemPort : public OpenPort {
protected:
    void SetUp() override {
        OpenPort::SetUp();
        siutest::fakeModemLines(&lines);
    }
    void TearDown() override { siutest::fakeModemLines(nullptr); }
    siutest::ModemLines lines;
};

TEST_F(ModemPort, ReportsEachLineOnItsBitAndMovesOnlyRtsAndDtr) {
    const std::pair<int, unsigned char> map[] = {{TIOCM_CTS, 0x01}, {TIOCM_RTS, 0x02},
                                                 {TIOCM_DSR, 0x04}, {TIOCM_DTR, 0x08},
                                                 {TIOCM_RNG, 0x10}, {TIOCM_CAR, 0x20}};
    unsigned char pins = 0xFF;
    for (const auto& [line, bit] : map) {
        lines.status = line | TIOCM_LE | TIOCM_ST | TIOCM_SR;  // lines without a bit
        EXPECT_EQ(SUCCESS, port.GetPinOut(&pins));
        EXPECT_EQ(bit, pins) << line;
    }

    lines.status = TIOCM_CTS;
    EXPECT_EQ(SUCCESS, port.SetPinOut_RTS(1));
    EXPECT_EQ(SUCCESS, port.SetPinOut_DTR(2));
    EXPECT_EQ(TIOCM_CTS | TIOCM_RTS | TIOCM_DTR, lines.status);
    EXPECT_EQ(SUCCESS, port.SetPinOut_RTS(0));
    EXPECT_EQ(TIOCM_CTS | TIOCM_DTR, lines.status);

    lines.failSet = true;
    CaptureStderr();
    EXPECT_EQ(ERR_SER_RTS_FAILED, port.SetPinOut_RTS(1));
    EXPECT_EQ(ERR_SER_DTR_FAILED, port.SetPinOut_DTR(0));
    EXPECT_EQ(std::string("setRTS(): TIOCMSET: ") + strerror(EIO) +
                  "\nsetDTR: TIOCMSET: " + strerror(EIO) + "\n",
              GetCapturedStderr());
}

TEST_F(OpenPort, RefusesBadBuffersAndSizesWithCodes) {
    unsigned char buf[4];
    EXPECT_EQ(ERR_SER_WRITE_FAILED, port.Write(nullptr, 3));
    EXPECT_EQ(ERR_SER_READ_FAILED, port.Read(nullptr, 3));
    EXPECT_EQ(ERR_SER_INVALID_SIZE, port.Write(buf, -1));
    EXPECT_EQ(ERR_SER_INVALID_SIZE, port.Read(buf, -1));
    EXPECT_EQ(ERR_SER_RTS_FAILED, port.GetPinOut(nullptr));
    EXPECT_EQ(0, port.Write(buf, 0));
}

TEST(ClosedPort, AnswersEveryOperationWithACode) {
    CommUart port;
    unsigned char buf[4] = {};
    EXPECT_EQ(ERR_SER_CLOSE_FAILED, port.Close());
    EXPECT_EQ(ERR_SER_WRITE_FAILED, port.Write(buf, 4));
    EXPECT_EQ(ERR_SER_READ_FAILED, port.Read(buf, 4));
    EXPECT_EQ(ERR_SER_FLUSH_FAILED, port.Flush(5));
    EXPECT_EQ(ERR_SER_RTS_FAILED, port.GetPinOut(buf));
    EXPECT_EQ(ERR_SER_RTS_FAILED, port.SetPinOut_RTS(1));
    EXPECT_EQ(ERR_SER_DTR_FAILED, port.SetPinOut_DTR(1));
    EXPECT_EQ(SUCCESS, port.SetTimeout(5));
    // Port kinds and operations a serial line does not offer.
    EXPECT_EQ(ERR_CBI_UNSUPPORTED, port.SetFlowControl(FLOW_CONTROL_RTS_CTS));
    EXPECT_EQ(ERR_CBI_UNSUPPORTED, port.Open(static_cast<socket_config_s*>(nullptr)));
    EXPECT_EQ(ERR_CBI_UNSUPPORTED, port.Open(static_cast<usb_config_s*>(nullptr)));
    // No record, or one without a device, opens nothing.
    EXPECT_EQ(ERR_SER_OPEN_FAILED, port.Open(static_cast<uart_config_s*>(nullptr)));
    uart_config_s noDevice{};
    EXPECT_EQ(ERR_SER_OPEN_FAILED, port.Open(&noDevice));
    EXPECT_EQ(-1, uart_init(nullptr, &noDevice));
    EXPECT_EQ(-1, uart_deinit(nullptr));
}

TEST(ClosedPort, DescriptorZeroIsFreedButNeverClosed) {
    PtyLine pty;
    uart_config_s cfg = pty.config();
    int savedStdin = dup(0);
    close(0);
    void* handle = nullptr;
    ASSERT_EQ(0, uart_init(&handle, &cfg));  // the lowest free descriptor: 0
    ASSERT_STREQ(pty.path(), ttyname(0));
    EXPECT_EQ(0, uart_deinit(&handle));
    EXPECT_EQ(nullptr, handle);
    EXPECT_STREQ(pty.path(), ttyname(0));
    close(0);
    if (savedStdin >= 0) {
        dup2(savedStdin, 0);
        close(savedStdin);
    }
}

TEST(PortLifetime, NoDescriptorOutlivesReopeningOrAPortThatCannotBeRestored) {
    const int baseline = openDescriptors();
    {
        PtyLine pty;
        uart_config_s cfg = pty.config();
        CommUart port;
        ASSERT_EQ(SUCCESS, port.Open(&cfg));
        ASSERT_EQ(SUCCESS, port.Open(&cfg));  // the first handle is closed, not lost
        EXPECT_EQ(baseline + 3, openDescriptors());
        // With the board side gone the line is hung up: its settings can no
        // longer be restored, so Close fails and keeps the handle...
        pty.closeMaster();
        EXPECT_EQ(ERR_SER_CLOSE_FAILED, port.Close());
    }  // ...and destruction still lets the descriptor go.
    EXPECT_EQ(baseline, openDescriptors());
}

TEST(PortInterface, UnimplementedOperationsAreUnsupportedAndPinsComeFromTheFake) {
    siutest::FakePort fake;
    CommBase& port = fake;
    unsigned char buf[2] = {};
    EXPECT_EQ(ERR_CBI_UNSUPPORTED, port.Open(static_cast<hid_config_s*>(nullptr)));
    EXPECT_EQ(ERR_CBI_UNSUPPORTED, port.Write(buf, 2));
    EXPECT_EQ(ERR_CBI_UNSUPPORTED, port.SetSpeed(9600));

    fake.pins = 0x05;  // CTS and DSR raised
    EXPECT_EQ(SUCCESS, port.GetPinOut(buf));
    EXPECT_EQ(0x05, buf[0]);
    fake.pinResult = ERR_SER_RTS_FAILED;
    EXPECT_EQ(ERR_SER_RTS_FAILED, port.GetPinOut(buf));
    EXPECT_EQ(2, fake.pinReads);
}
