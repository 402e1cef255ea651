#pragma once
// Serial line port: thin adapters over the termios layer (uart.h) that turn
// its negative results into ERR_SER_ codes. Not thread-safe: one thread uses
// a port at a time, and processes sharing a device are serialised above.

#include "libuart/comm_base.h"

class CommUart : public CommBase {
public:
    CommUart();
    // Closes the port if it is still open, restoring the line settings.
    ~CommUart() override;

    using CommBase::Open;
    // cfg (and its device text) must stay alive while the port is open; its
    // time-outs are read on every Read and Write. ERR_SER_OPEN_FAILED when the
    // device cannot be opened or set up. Opening an open port closes it first.
    int Open(uart_config_s* cfg) override;
    int Close() override;  // ERR_SER_CLOSE_FAILED, also when not open
    int Write(const unsigned char* data, int len) override;
    int Read(unsigned char* data, int len) override;
    int Flush(unsigned char flags) override;
    // Accepted and ignored (always 0): change the time-outs in the
    // uart_config_s given to Open instead.
    int SetTimeout(int timeout) override;
    int SetTimeout(int rxTimeout, int txTimeout) override;
    int SetPinOut_DTR(unsigned short value) override;
    int SetPinOut_RTS(unsigned short value) override;
    // Fails with ERR_SER_RTS_FAILED: the modem lines share that code.
    int GetPinOut(unsigned char* pins) override;
    // 0, -EIO or -EINVAL as the termios layer gives them, not ERR_SER_ codes.
    // The line comes back raw 8N at the new rate.
    int SetSpeed(int baud) override;
    int LineLost() override;
    // A Write past the deadline fails with ERR_SER_WRITE_FAILED.
    int SetSendDeadline(uint64_t monotonicMs) override;

private:
    void* uart_hl_st;  // termios-layer handle; null while closed
};
