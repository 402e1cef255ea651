#include "libuart/uart.h"

#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/select.h>
#include <termios.h>
#include <time.h>
#include <unistd.h>

#include <climits>
#include <cstdio>
#include <cstring>
#include <new>

#include "common/UniqueHandles.h"

struct uart_s {
    int uart_fd;             // negative when the device could not be opened
    uart_config_s* config;   // the caller's record, read on every send and receive
    struct termios tio_bkp;  // the line as found at open, restored at close
    int lost_errno;          // the last error of a read or write that meant the line went away
    uint64_t send_deadline;  // CLOCK_MONOTONIC ms after which a send stops waiting; 0 for none
};

namespace {

// Pace of the select waits when the configuration gives no time-out.
constexpr int kDefaultWaitMs = 50;
// Pace of the output-queue polls while a send with a deadline drains.
constexpr int kDrainPollMs = 5;

uint64_t monotonicMs() {
    timespec ts{};
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return static_cast<uint64_t>(ts.tv_sec) * 1000 + static_cast<uint64_t>(ts.tv_nsec) / 1000000;
}

bool passed(uint64_t deadline) {
    return deadline != 0 && monotonicMs() >= deadline;
}

// The part of a wait of ms that lies before the deadline: all of it without
// one, none once it has passed (the line is still looked at once).
int waitBefore(uint64_t deadline, int ms) {
    if (deadline == 0) return ms;
    const uint64_t now = monotonicMs();
    if (now >= deadline) return 0;
    return deadline - now < static_cast<uint64_t>(ms) ? static_cast<int>(deadline - now) : ms;
}

int sendGivesUp() {
    errno = ETIMEDOUT;
    perror("uart send deadline");
    return -1;
}

// Waits until the line has sent everything queued: 0, or -1 at the deadline.
// The queue is polled rather than drained with tcdrain, which would wait for
// as long as flow control holds the output back.
int drainBefore(int fd, uint64_t deadline) {
    for (;;) {
        int queued = 0;
        if (ioctl(fd, TIOCOUTQ, &queued) != 0 || queued == 0) return 0;
        if (passed(deadline)) return -1;
        poll(nullptr, 0, waitBefore(deadline, kDrainPollMs));
    }
}

// Software flow control is switched on by the characters 'S', 'X' and 'D',
// not by the flow_control_e values: of those only RTS_CTS takes effect, and
// XON_XOFF and the DTR/DSR modes leave the line without flow control. The
// asymmetry is deliberate; keep it.
constexpr int kSoftwareFlowSelectors[] = {'S', 'X', 'D'};
constexpr cc_t kXon = 0x11;
constexpr cc_t kXoff = 0x13;

uart_s* portOf(void* handle) {
    return static_cast<uart_s*>(handle);
}

bool isOpen(const uart_s* port) {
    return port != nullptr && port->uart_fd >= 0;
}

// Errors after which the descriptor will not carry bytes again: the device
// was unplugged or the far end of a pseudo-terminal closed.
void noteLineError(uart_s* port, int err) {
    if (err == EIO || err == ENXIO || err == ENODEV) port->lost_errno = err;
}

bool speedOf(int baud, speed_t* speed) {
    static const struct {
        int baud;
        speed_t speed;
    } kRates[] = {{150, B150},       {300, B300},       {600, B600},       {1200, B1200},
                  {1800, B1800},     {2400, B2400},     {4800, B4800},     {9600, B9600},
                  {19200, B19200},   {38400, B38400},   {57600, B57600},   {115200, B115200},
                  {230400, B230400}, {460800, B460800}, {500000, B500000}, {576000, B576000},
                  {921600, B921600}};
    for (const auto& rate : kRates) {
        if (rate.baud == baud) {
            *speed = rate.speed;
            return true;
        }
    }
    return false;
}

// First steps of every line set-up: current settings, made raw, at the new
// rate. 0, -EIO or -EINVAL.
int rawLineAt(int fd, int baud, struct termios* tio) {
    std::memset(tio, 0, sizeof *tio);
    if (tcgetattr(fd, tio) != 0) return -EIO;
    cfmakeraw(tio);
    tio->c_cflag &= ~CBAUD;
    speed_t speed;
    if (!speedOf(baud, &speed)) return -EINVAL;
    if (cfsetispeed(tio, speed) != 0 || cfsetospeed(tio, speed) != 0) return -EINVAL;
    return 0;
}

// Last step of every line set-up: nothing received or queued under the old
// settings survives them.
int applyLine(int fd, const struct termios& tio) {
    if (tcflush(fd, TCIOFLUSH) != 0) return -EIO;
    if (tcsetattr(fd, TCSANOW, &tio) != 0) return -EIO;
    return 0;
}

// One select() on one descriptor for at most ms milliseconds; select's result.
int waitReady(int fd, bool forWrite, int ms) {
    if (fd >= FD_SETSIZE) {  // FD_SET would write past the set
        errno = EBADF;
        return -1;
    }
    fd_set set;
    FD_ZERO(&set);
    FD_SET(fd, &set);
    struct timeval tv;
    tv.tv_sec = ms / 1000;
    tv.tv_usec = (ms % 1000) * 1000;
    return select(fd + 1, forWrite ? nullptr : &set, forWrite ? &set : nullptr, nullptr, &tv);
}

int setModemLine(void* handle, int line, unsigned int on, const char* getText,
                 const char* setText) {
    uart_s* port = portOf(handle);
    if (!isOpen(port)) return -EIO;
    int status = 0;
    if (ioctl(port->uart_fd, TIOCMGET, &status) != 0) {
        perror(getText);
        return -EIO;
    }
    if (on != 0) {
        status |= line;
    } else {
        status &= ~line;
    }
    if (ioctl(port->uart_fd, TIOCMSET, &status) != 0) {
        perror(setText);
        return -EIO;
    }
    return 0;
}

}  // namespace

int uart_init(void** handle, uart_config_s* cfg) {
    if (handle == nullptr || cfg == nullptr || cfg->device == nullptr) return -1;
    uart_s* port = new (std::nothrow) uart_s{};
    if (port == nullptr) {
        fputs("Can't allocate memory\n", stderr);
        return -1;
    }
    port->uart_fd = -1;
    port->config = cfg;
    // From here the handle belongs to the caller, even when the open fails.
    *handle = port;

    // No O_NOCTTY: a session leader without a controlling terminal that opens
    // the line takes it as its controlling terminal, and a hang-up of the line
    // then sends it SIGHUP.
    UniqueFd fd(open(cfg->device, O_RDWR | O_NONBLOCK));
    if (fd.get() < 0) {
        int err = errno;
        fprintf(stderr, "Erro [%d] abrindo %s\n", err, cfg->device);
        return -1;
    }
    bool saved = tcgetattr(fd.get(), &port->tio_bkp) == 0;
    int result = uart_set_config(fd.get(), cfg->baud_rate, cfg->data_bits, cfg->stop_bits,
                                 cfg->parity, cfg->flow_control);
    if (result != 0) {
        fprintf(stderr, "Erro [%d] configurando %s\n", result, cfg->device);
        if (saved) tcsetattr(fd.get(), TCSANOW, &port->tio_bkp);
        return -1;  // the guard closes the descriptor; the handle keeps none
    }
    port->uart_fd = fd.release();
    return 0;
}

int uart_deinit(void** handle) {
    if (handle == nullptr || *handle == nullptr) return -1;
    uart_s* port = portOf(*handle);
    // Descriptor 0 is never ours to restore or close: it is where a handle
    // that opened nothing could point.
    if (port->uart_fd > 0) {
        if (tcsetattr(port->uart_fd, TCSANOW, &port->tio_bkp) != 0) return -1;
        int fd = port->uart_fd;
        // Linux releases the descriptor even when close reports an error, so
        // the handle must not keep the number: it may be reused at once.
        port->uart_fd = -1;
        if (close(fd) != 0) {
            fprintf(stderr, "Erro [%d] fechando %s\n", fd, port->config->device);
            return -1;
        }
    }
    delete port;
    *handle = nullptr;
    return 0;
}

void uart_release(void** handle) {
    if (handle == nullptr || *handle == nullptr) return;
    uart_s* port = portOf(*handle);
    if (port->uart_fd > 0) close(port->uart_fd);
    delete port;
    *handle = nullptr;
}

int uart_set_config(int fd, int baud, int data_bits, int stop_bits, int parity, int flow_control) {
    struct termios tio;
    int result = rawLineAt(fd, baud, &tio);
    if (result != 0) return result;

    tio.c_cflag &= ~(PARENB | PARODD | CMSPAR);
    tio.c_iflag &= ~INPCK;
    switch (parity) {
        case PARITY_NONE:
            break;
        case PARITY_ODD:
            tio.c_cflag |= PARENB | PARODD;
            tio.c_iflag |= INPCK | ISTRIP;
            break;
        case PARITY_EVEN:
            tio.c_cflag |= PARENB;
            tio.c_iflag |= INPCK | ISTRIP;
            break;
        // Stick parity: the parity bit is always 1 (mark) or always 0 (space).
        case PARITY_MARK:
            tio.c_cflag |= PARENB | CMSPAR | PARODD;
            tio.c_iflag |= INPCK | ISTRIP;
            break;
        case PARITY_SPACE:
            tio.c_cflag |= PARENB | CMSPAR;
            tio.c_iflag |= INPCK | ISTRIP;
            break;
        default:
            return -EINVAL;
    }

    switch (stop_bits) {
        case 1:
            tio.c_cflag &= ~CSTOPB;
            break;
        case 2:
            tio.c_cflag |= CSTOPB;
            break;
        default:
            return -EINVAL;
    }

    tio.c_cflag &= ~CSIZE;
    switch (data_bits) {
        case 5:
            tio.c_cflag |= CS5;
            break;
        case 6:
            tio.c_cflag |= CS6;
            break;
        case 7:
            tio.c_cflag |= CS7;
            break;
        case 8:
            tio.c_cflag |= CS8;
            break;
        default:
            return -EINVAL;
    }

    bool software = false;
    for (int selector : kSoftwareFlowSelectors) software = software || flow_control == selector;
    if (flow_control == FLOW_CONTROL_RTS_CTS) {
        tio.c_cflag |= CRTSCTS;
        tio.c_iflag &= ~(IXON | IXOFF | IXANY);
    } else if (software) {
        tio.c_cflag &= ~CRTSCTS;
        tio.c_iflag |= IXON | IXOFF;
    } else {
        tio.c_cflag &= ~CRTSCTS;
        tio.c_iflag &= ~(IXON | IXOFF | IXANY);
    }

    tio.c_iflag |= IGNBRK;
    tio.c_cflag |= CREAD | HUPCL | CLOCAL;
    tio.c_lflag &= ~ECHOE;
    tio.c_cc[VMIN] = 1;
    tio.c_cc[VTIME] = 0;
    tio.c_cc[VSTART] = (tio.c_iflag & IXON) ? kXon : 0;
    tio.c_cc[VSTOP] = (tio.c_iflag & IXOFF) ? kXoff : 0;
    return applyLine(fd, tio);
}

// What a send may take when its caller gave no deadline: the time its bytes
// take on the line at the configured rate (12 bits a character covers parity
// and two stop bits) and a second for a peer that holds the line off briefly.
// Flow control held off for good then ends the send instead of the caller.
static uint64_t ownSendDeadline(const uart_config_s* config, size_t len) {
    const uint64_t baud = config->baud_rate >= 150 ? static_cast<uint64_t>(config->baud_rate) : 150;
    return monotonicMs() + (static_cast<uint64_t>(len) * 12 * 1000 + baud - 1) / baud + 1000;
}

int uart_send_data(void* handle, const unsigned char* buf, size_t len) {
    uart_s* port = portOf(handle);
    if (!isOpen(port) || buf == nullptr || len > INT_MAX) return -1;
    const uint64_t deadline =
        port->send_deadline != 0 ? port->send_deadline : ownSendDeadline(port->config, len);
    size_t done = 0;
    while (done < len) {
        // Read each time: the caller may change the pace while the port is open.
        int wait = port->config->tx_timeout > 0 ? port->config->tx_timeout : kDefaultWaitMs;
        int ready = waitReady(port->uart_fd, true, waitBefore(deadline, wait));
        if (ready < 0) {
            if (errno == EINTR) continue;
            perror("uart send select");
            return -1;
        }
        // A wait that timed out only paces the polling; what ends the send is
        // the deadline.
        if (ready == 0) {
            if (passed(deadline)) return sendGivesUp();
            continue;
        }
        ssize_t written = write(port->uart_fd, buf + done, len - done);
        if (written > 0) {
            done += static_cast<size_t>(written);
        } else if (written < 0 && errno != EAGAIN) {
            noteLineError(port, errno);
            perror("uart send write");
            return -1;
        }
    }
    if (drainBefore(port->uart_fd, deadline) != 0) return sendGivesUp();
    return static_cast<int>(done);
}

int uart_set_send_deadline(void* handle, uint64_t monotonicMs) {
    uart_s* port = portOf(handle);
    if (!isOpen(port)) return -1;
    port->send_deadline = monotonicMs;
    return 0;
}

int uart_recv_data(void* handle, unsigned char* buf, size_t len) {
    uart_s* port = portOf(handle);
    if (!isOpen(port) || buf == nullptr) return -1;
    int wait = port->config->rx_timeout >= 1 ? port->config->rx_timeout : kDefaultWaitMs;
    int ready = waitReady(port->uart_fd, false, wait);
    if (ready < 0) {
        if (errno == EINTR) return 0;
        perror("select");
        return -1;
    }
    if (ready == 0) return 0;
    ssize_t got = read(port->uart_fd, buf, len > INT_MAX ? INT_MAX : len);
    if (got >= 0) return static_cast<int>(got);
    noteLineError(port, errno);
    // Inverted on purpose: a hard read error reads as "nothing arrived", which
    // the link protocol turns into its own time-out and retry, while a wake-up
    // with nothing to read is reported as a failure.
    return errno == EAGAIN ? -1 : 0;
}

int uart_line_lost(void* handle) {
    uart_s* port = portOf(handle);
    if (!isOpen(port)) return 0;
    if (port->lost_errno != 0) return 1;
    // Asking for no event still reports a hang-up or an error, without
    // waiting and without touching the input.
    pollfd p{port->uart_fd, 0, 0};
    return poll(&p, 1, 0) == 1 && (p.revents & (POLLHUP | POLLERR | POLLNVAL)) != 0 ? 1 : 0;
}

int uart_flush(void* handle, int in, int out) {
    uart_s* port = portOf(handle);
    if (!isOpen(port)) return -1;
    int queue;
    if (in != 0 && out != 0) {
        queue = TCIOFLUSH;
    } else if (in != 0) {
        queue = TCIFLUSH;
    } else if (out != 0) {
        queue = TCOFLUSH;
    } else {
        return -1;
    }
    return tcflush(port->uart_fd, queue) == 0 ? 0 : -EIO;
}

int uart_get_pinout(void* handle, unsigned char* pins) {
    uart_s* port = portOf(handle);
    if (!isOpen(port) || pins == nullptr) return -1;
    int status = 0;
    if (ioctl(port->uart_fd, TIOCMGET, &status) != 0) {
        perror("getpinout error: ");
        return -1;
    }
    static const struct {
        int line;
        unsigned char bit;
    } kPins[] = {{TIOCM_CTS, 0x01}, {TIOCM_RTS, 0x02}, {TIOCM_DSR, 0x04},
                 {TIOCM_DTR, 0x08}, {TIOCM_RNG, 0x10}, {TIOCM_CAR, 0x20}};
    *pins = 0;
    for (const auto& pin : kPins) {
        if (status & pin.line) *pins |= pin.bit;
    }
    return 0;
}

int uart_set_RTS(void* handle, unsigned int on) {
    return setModemLine(handle, TIOCM_RTS, on, "setRTS(): TIOCMGET", "setRTS(): TIOCMSET");
}

int uart_set_DTR(void* handle, unsigned int on) {
    return setModemLine(handle, TIOCM_DTR, on, "setDTR(): TIOCMGET", "setDTR: TIOCMSET");
}

int uart_write_rts(void* handle, int level) {
    uart_s* port = portOf(handle);
    if (!isOpen(port)) return -1;
    int status = 0;
    if (ioctl(port->uart_fd, TIOCMGET, &status) != 0) {
        perror("TIOCMGET: ");
        status = 0;
    }
    if (level == 0) {
        status &= ~TIOCM_RTS;
    } else if (level == 1) {
        status |= TIOCM_RTS;
    } else {
        return -1;
    }
    ioctl(port->uart_fd, TIOCMSET, &status);
    return 0;
}

int uart_set_speed(void* handle, int baud) {
    uart_s* port = portOf(handle);
    if (!isOpen(port)) return -EIO;
    // Raw again, so the size falls back to 8 bits and parity goes off; the
    // rest of the open's settings is not re-applied.
    struct termios tio;
    int result = rawLineAt(port->uart_fd, baud, &tio);
    if (result != 0) return result;
    return applyLine(port->uart_fd, tio);
}

int uart_set_timmeout(void*, int, int) {
    return 0;
}
