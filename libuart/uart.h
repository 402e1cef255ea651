#pragma once
// Termios layer of the serial port: opens a serial device, sets up the line
// and moves bytes through it with select-paced, non-blocking I/O.
//
// Results follow POSIX habits rather than the library's result codes: 0 or a
// byte count on success, -1, or a negated errno value (-EIO, -EINVAL) on
// failure. Problems are also reported on standard error with fixed texts
// (the Portuguese ones among them are kept word for word). CommUart
// (comm_uart.h) translates these results into ERR_SER_ codes.
//
// This header deliberately exposes no termios type, so the layers above never
// depend on <termios.h>.

#include <stddef.h>
#include <stdint.h>

enum parity_e : int {
    PARITY_NONE = 0,
    PARITY_ODD = 1,
    PARITY_EVEN = 2,
    PARITY_MARK = 3,   // stick parity: the bit always 1
    PARITY_SPACE = 4,  // stick parity: the bit always 0
};

enum flow_control_e : int {
    FLOW_CONTROL_NONE = 0,
    FLOW_CONTROL_RTS_CTS = 1,
    FLOW_CONTROL_DTR_DSR = 2,
    FLOW_CONTROL_DTR_DSR_ENABLE = 3,
    FLOW_CONTROL_XON_XOFF = 4,
};

// Line settings of one port. The port references the record instead of
// copying it: it must outlive the open port, and rx_timeout / tx_timeout are
// read again on every receive and send, so changing them takes effect at once.
struct uart_config_s {
    char* device;  // NUL-terminated device path; not owned
    int baud_rate;
    int data_bits;  // 5 to 8
    int stop_bits;  // 1 or 2
    parity_e parity;
    flow_control_e flow_control;
    int rx_timeout;          // ms per receive wait; below 1 means 50
    int tx_timeout;          // ms per send wait; 0 or less means 50
    int send_break_term;     // carried for the layers above; unused here
    int ignore_config_uart;  // likewise
};

// Allocates a handle into *handle, opens cfg->device and sets up the line;
// 0 or -1. When the device cannot be opened the handle stays allocated (with
// no descriptor) and must still be released with uart_deinit.
int uart_init(void** handle, uart_config_s* cfg);
// Restores the settings found at open, closes the device and frees the
// handle (*handle becomes null); 0 or -1, the handle being kept on failure.
int uart_deinit(void** handle);
// Last resort when uart_deinit failed and the handle must go anyway: closes
// the descriptor without restoring the settings and frees the handle.
void uart_release(void** handle);

// Writes all of buf and waits until the line has sent it; the byte count or
// -1. Waits for writability in steps of tx_timeout ms, and gives up with -1
// once a wait finds the send deadline passed, whether the bytes are still to
// be written or still queued for the line. Without a deadline set, the send
// has its own: the time its bytes take at the line's rate and one second.
int uart_send_data(void* handle, const unsigned char* buf, size_t len);
// Deadline for the sends that follow, in CLOCK_MONOTONIC milliseconds (the
// clock of GetMonotonicTickMs); 0 removes it. The link protocol sets its
// exchange deadline here, so that flow control held off for good cannot
// keep a send waiting past it. 0, or -1 without an open port.
int uart_set_send_deadline(void* handle, uint64_t monotonicMs);
// One wait of rx_timeout ms and one read of at most len bytes. Returns the
// count, 0 when nothing arrived, after an interrupted wait, and after a hard
// read error, and -1 when the line woke up with nothing to read.
int uart_recv_data(void* handle, unsigned char* buf, size_t len);

// Raw line of the given rate, size, stop bits, parity and flow control, both
// queues discarded; 0, -EIO (settings could not be read or applied) or
// -EINVAL (a value outside what the line supports).
int uart_set_config(int fd, int baud, int data_bits, int stop_bits, int parity, int flow_control);
// 1 when the line has gone away (the far end hung up, or a send or receive
// met an I/O error that the results above do not tell apart), else 0; never
// waits. The results of send and receive stay as documented.
int uart_line_lost(void* handle);

// Discards the receive (in) and/or transmit (out) queue; 0, -1 when neither
// is asked for, -EIO when the line refuses.
int uart_flush(void* handle, int in, int out);

// Modem status lines into *pins: 1 CTS, 2 RTS, 4 DSR, 8 DTR, 16 RI, 32 DCD.
int uart_get_pinout(void* handle, unsigned char* pins);
int uart_set_RTS(void* handle, unsigned int on);  // 0 or -EIO
int uart_set_DTR(void* handle, unsigned int on);  // 0 or -EIO
// Level 0 drops RTS, 1 raises it, anything else -1.
int uart_write_rts(void* handle, int level);

// New rate on a raw 8-bit, no-parity line: the size and parity of the open
// are not re-applied. 0, -EIO or -EINVAL.
int uart_set_speed(void* handle, int baud);
// Does nothing and returns 0: the time-outs live in the referenced
// uart_config_s.
int uart_set_timmeout(void* handle, int rx, int tx);
