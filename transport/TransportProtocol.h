#pragma once
// Link layer between the board command codec and the serial port: reads the
// port settings of a service, opens and closes the port, selects the framing
// exchange named by the configuration and runs each command exchange, with
// retries, under a named semaphore shared by every process that drives the
// same device.

#include <sys/types.h>

#include <atomic>
#include <cstdint>
#include <list>
#include <memory>
#include <mutex>
#include <string>

#include "common/ProcessLock.h"
#include "common/Semaphores.h"
#include "libuart/uart.h"

class CommBase;
class Configuration;
enum enum_iniKeys : int32_t;
class Log;
namespace linkframing {
struct Framing;
}

class TransportProtocol {
public:
    // States of the framing exchanges.
    enum {
        SEND_COMMAND = 0,
        WAIT_ACK = 1,
        WAIT_STX = 2,
        WAIT_CMD = 3,
        WAIT_LEN = 4,
        WAIT_DATA = 5,
        WAIT_SOH = 6,
        WAIT_ETX = 7,
        VALIDATE_BCC = 8,
        VALIDATE_CRC = 9,
        SEND_ACK = 10,
        SEND_NACK = 11,
        FINISHED = 12
    };

    // One exchange: frame send[0..len), send it, receive and check the reply.
    typedef int (TransportProtocol::*ProtocolCall)(int cmd, unsigned char* send, int len,
                                                   unsigned char** recv, int* recvLen);

    // params is the service's st_constructParams. Throws std::runtime_error
    // on a configuration fault.
    explicit TransportProtocol(void* params);
    virtual ~TransportProtocol();
    TransportProtocol(const TransportProtocol&) = delete;
    TransportProtocol& operator=(const TransportProtocol&) = delete;

    virtual int sendGenericData(void* data);
    virtual int receiveGenericData(void* data);
    // Runs one exchange while no protocol has been selected by name, so a
    // derived transport can bring its own framing.
    virtual int callProtocolByHeritage(int cmd, unsigned char* send, int len, unsigned char** recv,
                                       int* recvLen);
    virtual int sendRecvData(int cmd, unsigned char* send, int len, unsigned char** recv,
                             int* recvLen, int retries);
    virtual int setCallProtocol();

    int getSerialConfig(uart_config_s* config);
    int openPort();
    int closePort();
    // Discards the port's queues (low byte of flags: 1 receive, 4 transmit)
    // under the port's semaphore. Its results are its public contract, which
    // outside callers of the transport see: ERR_TRP_GENERIC on success, not
    // SUCCESS; on failure the port's code, with the semaphore left held.
    int flush(int flags);
    int sendData(unsigned char* buf, int len);
    int sendData(void* data);
    int recvData(unsigned char* buf, int len);
    int recvData(void* data);
    int getLastError() const { return lastError; }

    // Cross-process sharing of the port.
    int createSem();
    int getSharedMemory(int** slot);
    int verifyPid(int pid);
    // lockSem waits at most portWaitBudgetMs() and answers ERR_SEM_TIMEOUT
    // (logged with the holder's pid) when a live process keeps the port.
    int lockSem(sem_t* sem);
    int releaseSem(sem_t* sem);
    unsigned int portWaitBudgetMs() const;
    // The deadline of the longer of the two framings at this line's settings:
    // another process on the same port may use either.
    uint64_t longestExchangeMs() const;
    bool errorExistsInListToRetry(int code);
    bool doRetry(int code);

    // Raw port I/O; log switches the data trace on or off.
    int Write(unsigned char* buf, int len, bool log);
    int Read(unsigned char* buf, int len, bool log);

    // The framing exchanges selectable by name.
    int protocolNorvaDireto(int cmd, unsigned char* send, int len, unsigned char** recv,
                            int* recvLen);
    int protocolNorva485(int cmd, unsigned char* send, int len, unsigned char** recv, int* recvLen);

    bool isPortOpened() const { return isOpened; }
    const char* getSemName() const { return semName; }
    const uart_config_s& getUartConfig() const { return uart_config; }
    // The port object while the port is open and its line there, else null.
    CommBase* getPort() const { return comm.get(); }
    // The modem status lines (bits as CommBase::GetPinOut gives them), read
    // without the port's semaphore: the device's volume-button watcher polls
    // them between and during exchanges. ERR_TRP_PORT_NOT_OPENED without a
    // port object.
    int getModemLines(unsigned char* pins);

    // Tick (ms) of the last completed point-to-point command: the pause
    // between commands is kept across every transport of the process, whose
    // services may run on threads of their own.
    static std::atomic<uint64_t> ullL1_LastCommand;

protected:
    // A transport over a port that is already open, with no configuration
    // and no semaphore: lets the exchanges run against any CommBase.
    TransportProtocol(Log* log, const uart_config_s& lineConfig, std::unique_ptr<CommBase> port);

    // One line into the service's log at an eLogLevel; nothing without a log.
    void logPrintf(int level, const char* caller, const char* fmt, ...)
        __attribute__((format(printf, 4, 5)));
    // The label followed by a dump of len bytes.
    void logHex(int level, const char* caller, const char* label, const unsigned char* data,
                int len);

    struct ShmDetach {
        void operator()(int* slot) const;
    };

    char IO_port_info[60];
    std::unique_ptr<CommBase> comm;
    std::mutex portSwap;  // held to replace comm and to read the modem lines
    Configuration* cfg;
    Log* log;
    // semPort is portLock's semaphore while the port is open.
    ProcessLock portLock;
    SEM_NAMED semPort;
    std::unique_ptr<int, ShmDetach> semPid;
    uart_config_s uart_config;
    int lastError;
    bool bIntervalSetted;
    uint64_t intervalBetweenCommands;
    std::string multipleApplication;
    bool isMultipleApplication;
    const char* PhysicalLayer;
    char defaultPhysicalLayer[60];
    ProtocolCall callProtocol;
    char semName[128];
    bool callByHeritage;
    int txTimeout;
    int rxTimeout;
    unsigned int flowCtrl;
    int iUSBIdentified;
    const char* protocol;
    std::list<int> lstErrorListToRetry;
    bool isOpened;
    // ERR_CFG_INVALID_VALUE when a numeric setting read outside its range:
    // the open is then refused.
    int settingsError = 0;
    // The line went away under an open port: the port object is gone and
    // the next command opens portPath again.
    bool lineLost;
    std::string portPath;

private:
    void initFields();
    void readSettings();
    // Logs the key, its text and its range, and marks the settings refused.
    void refuseSetting(enum_iniKeys key, long long low, long long high);
    int openSerialPort();
    int shutPort(const char* caller, bool announce);
    int destroySem();
    // One framed exchange as the framing describes it.
    int runExchange(const linkframing::Framing& framing, const unsigned char* send, int len,
                    unsigned char** recv, int* recvLen);
    // The pause kept between two point-to-point commands: the configured
    // one, else the default.
    uint64_t pauseMs() const;
    void keepPace(const char* caller);
    bool lineGone() const;
    int reopenLine();
    void setPort(std::unique_ptr<CommBase> port);
    // Runs op under the port semaphore once the port is open.
    template <typename Op>
    int whileHoldingPort(bool needsPort, Op op);
};
