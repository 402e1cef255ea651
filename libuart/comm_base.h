#pragma once
// Abstract port through which the transport moves frame bytes. Every
// operation of the base answers ERR_CBI_UNSUPPORTED, so a port kind overrides
// only what it can do.

#include "libuart/uart.h"

// Port kinds the interface foresees but nothing implements yet; their records
// have no contents until one of them is built.
struct usb_config_s;
struct mfr_config_s;
struct socket_config_s;
struct file_config_s;
struct hid_config_s;

class CommBase {
public:
    CommBase() = default;
    virtual ~CommBase();
    CommBase(const CommBase&) = delete;
    CommBase& operator=(const CommBase&) = delete;

    virtual int Open(usb_config_s* cfg);
    virtual int Open(uart_config_s* cfg);
    virtual int Open(mfr_config_s* cfg);
    virtual int Open(socket_config_s* cfg);
    virtual int Open(file_config_s* cfg);
    virtual int Open(hid_config_s* cfg);
    virtual int Close();
    // Bytes written, or a negative result code.
    virtual int Write(const unsigned char* data, int len);
    // Bytes read (0 when nothing arrived in time), or a negative result code.
    virtual int Read(unsigned char* data, int len);
    // Flag bits: 1 discards the receive queue, 4 the transmit queue.
    virtual int Flush(unsigned char flags);
    virtual int SetTimeout(int timeout);
    virtual int SetTimeout(int rxTimeout, int txTimeout);
    virtual int SetFlowControl(int flowControl);
    virtual int SetPinOut_DTR(unsigned short value);
    virtual int SetPinOut_RTS(unsigned short value);
    // Modem status lines, one bit each: 1 CTS, 2 RTS, 4 DSR, 8 DTR, 16 RI,
    // 32 DCD.
    virtual int GetPinOut(unsigned char* pins);
    virtual int SetSpeed(int baud);
    // 1 when the line itself has gone (unplugged, far end hung up), 0 while
    // it is there. Read and Write results do not always tell.
    virtual int LineLost();
    // Writes that follow give up once a wait for the line passes this
    // deadline, in GetMonotonicTickMs milliseconds; 0 removes it.
    virtual int SetSendDeadline(uint64_t monotonicMs);
};
