#include "libuart/comm_uart.h"

#include "manager/Global.h"

namespace {

// A negative termios-layer result becomes the method's code; counts and 0
// pass through.
int mapFailure(int result, int code) {
    return result < 0 ? code : result;
}

}  // namespace

CommUart::CommUart() : uart_hl_st(nullptr) {}

CommUart::~CommUart() {
    if (uart_hl_st != nullptr && Close() != SUCCESS) {
        // The settings could not be restored (a device unplugged, a pty whose
        // other side went away); the descriptor must not outlive the object.
        uart_release(&uart_hl_st);
    }
}

int CommUart::Open(uart_config_s* cfg) {
    // A handle left by an earlier open, even a failed one, is released first so
    // that its descriptor and saved settings are not lost.
    if (uart_hl_st != nullptr && uart_deinit(&uart_hl_st) != 0) return ERR_SER_OPEN_FAILED;
    return mapFailure(uart_init(&uart_hl_st, cfg), ERR_SER_OPEN_FAILED);
}

int CommUart::Close() {
    return mapFailure(uart_deinit(&uart_hl_st), ERR_SER_CLOSE_FAILED);
}

int CommUart::Write(const unsigned char* data, int len) {
    if (len < 0) return ERR_SER_INVALID_SIZE;
    return mapFailure(uart_send_data(uart_hl_st, data, static_cast<size_t>(len)),
                      ERR_SER_WRITE_FAILED);
}

int CommUart::Read(unsigned char* data, int len) {
    if (len < 0) return ERR_SER_INVALID_SIZE;
    return mapFailure(uart_recv_data(uart_hl_st, data, static_cast<size_t>(len)),
                      ERR_SER_READ_FAILED);
}

int CommUart::Flush(unsigned char flags) {
    return mapFailure(uart_flush(uart_hl_st, flags & 1, flags & 4), ERR_SER_FLUSH_FAILED);
}

int CommUart::SetTimeout(int timeout) {
    uart_set_timmeout(uart_hl_st, timeout, timeout);
    return SUCCESS;
}

int CommUart::SetTimeout(int rxTimeout, int txTimeout) {
    uart_set_timmeout(uart_hl_st, rxTimeout, txTimeout);
    return SUCCESS;
}

int CommUart::SetPinOut_DTR(unsigned short value) {
    return mapFailure(uart_set_DTR(uart_hl_st, value), ERR_SER_DTR_FAILED);
}

int CommUart::SetPinOut_RTS(unsigned short value) {
    return mapFailure(uart_set_RTS(uart_hl_st, value), ERR_SER_RTS_FAILED);
}

int CommUart::GetPinOut(unsigned char* pins) {
    return mapFailure(uart_get_pinout(uart_hl_st, pins), ERR_SER_RTS_FAILED);
}

int CommUart::SetSpeed(int baud) {
    return uart_set_speed(uart_hl_st, baud);
}

int CommUart::LineLost() {
    return uart_line_lost(uart_hl_st);
}

int CommUart::SetSendDeadline(uint64_t monotonicMs) {
    return mapFailure(uart_set_send_deadline(uart_hl_st, monotonicMs), ERR_SER_WRITE_FAILED);
}
