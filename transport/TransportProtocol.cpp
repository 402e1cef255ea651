#include "transport/TransportProtocol.h"

#include <limits.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <exception>
#include <iterator>
#include <stdexcept>

#include "common/Configuration.h"
#include "common/ConstructParams.h"
#include "common/Log.h"
#include "common/Paths.h"
#include "common/Strings.h"
#include "libuart/comm_uart.h"
#include "manager/Global.h"

namespace {

const char kSerial[] = "SERIAL";

// Codes of a failed exchange that another attempt may cure: the line lost or
// garbled something. Anything else (port gone, command refused) is final.
bool isRetryableLinkError(int code) {
    switch (code) {
        case ERR_SER_INVALID_RESPONSE:
        case ERR_SER_TIMEOUT:
        case ERR_SER_ACK:
        case ERR_SER_NACK:
        case ERR_SER_CMD:
        case ERR_SER_DATALEN:
        case ERR_SER_ETX:
        case ERR_SER_STX:
        case ERR_SER_CRC16_WRONG:
        case ERR_SER_BCC_WRONG:
            return true;
        default:
            return false;
    }
}

// The words a line setting may take, exactly as written (case matters).
struct Word {
    const char* word;
    int value;
};
const Word kParities[] = {{"NONE", PARITY_NONE},
                          {"ODD", PARITY_ODD},
                          {"EVEN", PARITY_EVEN},
                          {"MARK", PARITY_MARK},
                          {"SPACE", PARITY_SPACE}};
const Word kFlowControls[] = {{"NONE", FLOW_CONTROL_NONE},
                              {"RTS_CTS", FLOW_CONTROL_RTS_CTS},
                              {"DTR_DSR", FLOW_CONTROL_DTR_DSR},
                              {"DTR_DSR_ENABLE", FLOW_CONTROL_DTR_DSR_ENABLE},
                              {"XON_XOFF", FLOW_CONTROL_XON_XOFF}};

// Ranges of the numeric settings, checked on the value as read (decimal,
// trailing text ignored, the receive time-out's floor applied). A rate, data
// size or stop count inside its range that the driver cannot set still fails
// the open in the driver.
struct Range {
    long low;
    long high;
};
const long kLongestTimeoutMs = 60000;
const Range kBaudRates{150, 921600};
const Range kDataBits{5, 8};
const Range kStopBits{1, 2};
const Range kRxTimeouts{1, kLongestTimeoutMs};
// 0 or less waits the driver's 50 ms.
const Range kTxTimeouts{INT_MIN, kLongestTimeoutMs};
// Carried in the line record and used by nothing: they only have to fit.
const Range kCarried{INT_MIN, INT_MAX};
const unsigned long kLongestIntervalMs = 60000;

// Thrown inside getSerialConfig when a mandatory key is missing; carries the
// key word for the log line and the configuration's code.
struct MissingKey {
    const char* word;
    int code;
};

}  // namespace

TransportProtocol::TransportProtocol(void* params) {
    initFields();
    if (params != nullptr) {
        auto* p = static_cast<st_constructParams*>(params);
        cfg = static_cast<Configuration*>(p->pCfg);
        log = static_cast<Log*>(p->pLog);
    }
    readSettings();
}

TransportProtocol::TransportProtocol(Log* logger, const uart_config_s& lineConfig,
                                     std::unique_ptr<CommBase> port) {
    initFields();
    log = logger;
    uart_config = lineConfig;
    comm = std::move(port);
    isOpened = comm != nullptr;
}

TransportProtocol::~TransportProtocol() {
    if (isOpened) closePort();
    lstErrorListToRetry.clear();
}

void TransportProtocol::initFields() {
    std::memset(IO_port_info, 0, sizeof IO_port_info);
    cfg = nullptr;
    log = nullptr;
    semPort = nullptr;
    std::memset(&uart_config, 0, sizeof uart_config);
    lastError = 0;
    bIntervalSetted = false;
    intervalBetweenCommands = 0;
    isMultipleApplication = false;
    std::snprintf(defaultPhysicalLayer, sizeof defaultPhysicalLayer, "%s", kSerial);
    PhysicalLayer = defaultPhysicalLayer;
    callProtocol = nullptr;
    std::memset(semName, 0, sizeof semName);
    callByHeritage = true;
    txTimeout = 0;
    rxTimeout = 0;
    flowCtrl = 0;
    iUSBIdentified = 0;
    protocol = nullptr;
    isOpened = false;
    lineLost = false;
}

void TransportProtocol::readSettings() {
    char* text = nullptr;
    if (cfg != nullptr && cfg->getDeviceConfig(PHYSICALLAYER, &text) == SUCCESS &&
        text != nullptr) {
        PhysicalLayer = text;
    }

    unsigned long interval = 0;
    bIntervalSetted =
        cfg != nullptr && cfg->getDeviceConfig(DEVICEINTERVALBETWEENCOMMANDS, &interval) == SUCCESS;
    // "-1" reads as the largest unsigned value: a pause of ages inside the
    // port lock, refused like any other pause past a minute.
    if (bIntervalSetted && interval > kLongestIntervalMs) {
        refuseSetting(DEVICEINTERVALBETWEENCOMMANDS, 0, kLongestIntervalMs);
        interval = 0;
    }
    intervalBetweenCommands = bIntervalSetted ? interval : 0;

    text = nullptr;
    if (cfg != nullptr && cfg->getDeviceConfig(MULTIPLEAPPLICATION, &text) == SUCCESS &&
        text != nullptr) {
        multipleApplication = text;
        char first = text[0];
        if (first == 'Y' || first == 'y') {
            isMultipleApplication = true;
        } else if (first == 'N' || first == 'n') {
            isMultipleApplication = false;
        } else {
            throw std::runtime_error("Error in MULTIPLEAPPLICATION");
        }
    }

    text = nullptr;
    if (cfg == nullptr || cfg->getDeviceConfig(DEVICEPROTOCOL, &text) != SUCCESS ||
        text == nullptr) {
        throw std::runtime_error("Error in DEVICEPROTOCOL");
    }
    protocol = text;

    if (std::strcmp(PhysicalLayer, kSerial) == 0) {
        lastError = getSerialConfig(&uart_config);
        if (lastError != SUCCESS) throw std::runtime_error("Error in getSerialConfig");
    }
    lstErrorListToRetry.clear();
}

void TransportProtocol::refuseSetting(enum_iniKeys key, long long low, long long high) {
    char name[50] = "";
    char* text = nullptr;
    if (cfg != nullptr) {
        cfg->getValueIniKeys(key, name);
        cfg->getDeviceConfig(key, &text);
    }
    logPrintf(ERR, "TransportProtocol::readSettings",
              "ERR_CFG_INVALID_VALUE: %s = %s is outside %lld..%lld", name,
              text != nullptr ? text : "", low, high);
    settingsError = ERR_CFG_INVALID_VALUE;
}

void TransportProtocol::logPrintf(int level, const char* caller, const char* fmt, ...) {
    if (log == nullptr) return;
    char line[1024];
    va_list args;
    va_start(args, fmt);
    std::vsnprintf(line, sizeof line, fmt, args);
    va_end(args);
    log->addLogBuffer(static_cast<eLogLevel>(level), caller, line);
}

void TransportProtocol::logHex(int level, const char* caller, const char* label,
                               const unsigned char* data, int len) {
    if (log == nullptr) return;
    unsigned int count = (data == nullptr || len < 0) ? 0u : static_cast<unsigned int>(len);
    log->addLogBuffer_Hex(static_cast<eLogLevel>(level), caller, label, data, count);
}

int TransportProtocol::getSerialConfig(uart_config_s* config) {
    static const char kCaller[] = "TransportProtocol::getSerialConfig";
    if (config == nullptr) return ERR_GEN_INVALID_POINTER;
    std::memset(config, 0, sizeof *config);
    std::memset(IO_port_info, 0, sizeof IO_port_info);

    auto text = [this](enum_iniKeys key, const char* word) {
        char* value = nullptr;
        int rc = cfg == nullptr ? ERR_CFG_NOT_DEFINED : cfg->getDeviceConfig(key, &value);
        if (rc != SUCCESS || value == nullptr) {
            throw MissingKey{word, rc != SUCCESS ? rc : ERR_CFG_NOT_DEFINED};
        }
        return value;
    };
    // A number within its range (else refused, and 0 kept); below 1 it
    // becomes floorValue when that is given.
    auto inRange = [&](enum_iniKeys key, const char* word, long read, Range range, int* value) {
        logPrintf(INF, kCaller, "%s = %ld", word, read);
        bool fits = read >= range.low && read <= range.high;
        if (!fits) refuseSetting(key, range.low, range.high);
        *value = fits ? static_cast<int>(read) : 0;
    };
    auto number = [&](enum_iniKeys key, const char* word, Range range, int* value,
                      int floorValue = 0) {
        long read = 0;
        int rc = cfg == nullptr ? ERR_CFG_NOT_DEFINED : cfg->getDeviceConfig(key, &read);
        if (rc != SUCCESS) throw MissingKey{word, rc};
        if (read < 1 && floorValue > 0) read = floorValue;
        inRange(key, word, read, range, value);
    };
    auto optionalNumber = [&](enum_iniKeys key, const char* word, int* value) {
        long read = 0;
        if (cfg == nullptr || cfg->getDeviceConfig(key, &read) != SUCCESS) read = 0;
        inRange(key, word, read, kCarried, value);
    };
    // One of the words of a table, or null (logged) when the text is none of them.
    auto choice = [&](enum_iniKeys key, const char* word, const Word* table,
                      size_t count) -> const Word* {
        const char* value = text(key, word);
        logPrintf(INF, kCaller, "%s = %s", word, value);
        for (size_t i = 0; i < count; ++i) {
            if (std::strcmp(value, table[i].word) == 0) return &table[i];
        }
        logPrintf(ERR, kCaller, "getSerialConfig - ERR_CFG_INVALID_VALUE in %s", word);
        return nullptr;
    };

    try {
        config->device = text(DEVICEPORT, "DEVICEPORT");
        logPrintf(INF, kCaller, "DEVICEPORT = %s", config->device);
        number(DEVICEBAUDRATE, "DEVICEBAUDRATE", kBaudRates, &config->baud_rate);
        number(DEVICEDATABITS, "DEVICEDATABITS", kDataBits, &config->data_bits);
        number(DEVICESTOPBIT, "DEVICESTOPBIT", kStopBits, &config->stop_bits);
        number(DEVICERXTIMEOUT, "DEVICERXTIMEOUT", kRxTimeouts, &config->rx_timeout, 50);
        number(DEVICETXTIMEOUT, "DEVICETXTIMEOUT", kTxTimeouts, &config->tx_timeout);

        const Word* parity = choice(DEVICEPARITY, "DEVICEPARITY", kParities, std::size(kParities));
        if (parity == nullptr) return ERR_CFG_INVALID_VALUE;
        config->parity = static_cast<parity_e>(parity->value);
        std::snprintf(IO_port_info, sizeof IO_port_info, "%s %d %d%s%d", config->device,
                      config->baud_rate, config->data_bits, parity->word, config->stop_bits);

        const Word* flow =
            choice(DEVICEFLOWCONTROL, "DEVICEFLOWCONTROL", kFlowControls, std::size(kFlowControls));
        if (flow == nullptr) return ERR_CFG_INVALID_VALUE;
        config->flow_control = static_cast<flow_control_e>(flow->value);

        optionalNumber(DEVICESENDBREAKTERM, "DEVICESENDBREAKTERM", &config->send_break_term);
        optionalNumber(DEVICEIGNORECONFIGUART, "DEVICEIGNORECONFIGUART",
                       &config->ignore_config_uart);
        return SUCCESS;
    } catch (const MissingKey& missing) {
        logPrintf(ERR, kCaller, "getSerialConfig - Error in catch %s", missing.word);
        return missing.code;
    } catch (const std::exception& e) {
        logPrintf(ERR, kCaller, "%s", e.what()[0] != '\0' ? e.what() : "Internal error");
        return ERR_CFG_INTERNAL_ERROR;
    } catch (...) {
        logPrintf(ERR, kCaller, "Internal error");
        return ERR_CFG_INTERNAL_ERROR;
    }
}

int TransportProtocol::openPort() {
    static const char kCaller[] = "TransportProtocol::openPort";
    logPrintf(DBG, kCaller, "Started");
    int rc = SUCCESS;
    if (isOpened) {
        logPrintf(INF, kCaller, "Port Allready Open !!!");
    } else if (settingsError != SUCCESS) {
        rc = settingsError;  // each value was logged when it was read
    } else {
        semName[0] = '\0';
        if (PhysicalLayer == nullptr) {
            logPrintf(ERR, kCaller, "ERROR -> \"Physical Layer\" Not configured !!!");
            rc = ERR_TRP_NOT_DEFINED_PHYSICALLAYER;
        } else {
            logPrintf(INF, kCaller, "Open Port \"Physical Layer\": [%s]", PhysicalLayer);
            if (std::strcmp(PhysicalLayer, kSerial) != 0) {
                logPrintf(ERR, kCaller, "ERROR -> Unknown \"Physical Layer\" !!!");
                rc = ERR_TRP_UNKNOWN_PHYSICALLAYER;
            } else {
                rc = openSerialPort();
            }
        }
    }
    logPrintf(DBG, kCaller, "Finished: Return=%d", rc);
    return rc;
}

int TransportProtocol::openSerialPort() {
    static const char kCaller[] = "TransportProtocol::openPort";
    if (comm == nullptr) setPort(std::make_unique<CommUart>());
    int rc = comm->Open(&uart_config);
    if (rc != SUCCESS) {
        logPrintf(ERR, kCaller, "ERROR -> Port Not Opened !!!");
        int closeRc = shutPort(kCaller, true);
        return closeRc != SUCCESS ? closeRc : rc;
    }

    // The semaphore is named after the device with its slashes dropped. The
    // device text is edited in place: the port is never reopened from it.
    // It is kept first, made absolute, for reopening a line that was lost.
    portPath.clear();
    if (uart_config.device != nullptr && uart_config.device[0] != '/') {
        char cwd[4096];
        if (getcwd(cwd, sizeof cwd) != nullptr) portPath = std::string(cwd) + "/";
    }
    portPath += uart_config.device != nullptr ? uart_config.device : "";
    lineLost = false;
    removeCharFromString(uart_config.device, '/');
    std::snprintf(semName, sizeof semName, "/%s",
                  uart_config.device != nullptr ? uart_config.device : "");

    char found[256] = {0};
    iUSBIdentified = 0;
    if (SearchUSB("0B6A", "0625", found) == 0 || SearchUSB("1ABD", "00F0", found) == 0) {
        iUSBIdentified = 1;
    }

    isOpened = true;
    logPrintf(INF, kCaller, "Port Opened !!!");
    logPrintf(INF, kCaller, "Create \"Named Semaphore\": [%s]", semName);
    rc = createSem();
    if (rc == SUCCESS) {
        logPrintf(INF, kCaller, "\"Named Semaphore\" Created !!!");
        return SUCCESS;
    }
    logPrintf(ERR, kCaller, "ERROR -> \"Named Semaphore\" Not Created !!!");
    int closeRc = shutPort(kCaller, true);
    return closeRc != SUCCESS ? closeRc : rc;
}

// Closes the port when it is marked open (a failing close returns its code
// and leaves everything as it was), then drops the port object and the
// semaphore.
int TransportProtocol::shutPort(const char* caller, bool announce) {
    if (isOpened) {
        if (announce) logPrintf(INF, caller, "Close Port \"Physical Layer\": [%s]", PhysicalLayer);
        int rc = comm != nullptr ? comm->Close() : SUCCESS;
        if (rc != SUCCESS) return rc;
        isOpened = false;
        logPrintf(INF, caller, "Port Closed !!!");
    }
    setPort(nullptr);
    destroySem();
    return SUCCESS;
}

int TransportProtocol::destroySem() {
    static const char kCaller[] = "TransportProtocol::destroySem";
    semPid.reset();
    if (semPort == nullptr) return SUCCESS;
    logPrintf(INF, kCaller, "Destroy \"Named Semaphore\": [%s]", semName);
    portLock.close();
    logPrintf(INF, kCaller, "\"Named Semaphore\" Destroyed !!!");
    semPort = nullptr;
    return SUCCESS;
}

int TransportProtocol::closePort() {
    static const char kCaller[] = "TransportProtocol::closePort";
    if (!isOpened) {
        logPrintf(ERR, kCaller, "Port Not Opened !!!");
        return ERR_TRP_PORT_NOT_OPENED;
    }
    return shutPort(kCaller, false);
}

int TransportProtocol::setCallProtocol() {
    if (protocol == nullptr) return ERR_SER_INVALID_PROTOCOL;
    if (std::strcmp(protocol, "NorvaDireto") == 0) {
        callProtocol = &TransportProtocol::protocolNorvaDireto;
    } else if (std::strcmp(protocol, "Norva485") == 0 || std::strcmp(protocol, "Device65A") == 0) {
        // The 65A board speaks the same multi-drop framing.
        callProtocol = &TransportProtocol::protocolNorva485;
    } else {
        logPrintf(ERR, "TransportProtocol::setCallProtocol", "ERR_SER_INVALID_PROTOCOL");
        return ERR_SER_INVALID_PROTOCOL;
    }
    callByHeritage = false;
    return SUCCESS;
}

int TransportProtocol::sendGenericData(void*) {
    return ERR_TRP_GENERIC;
}

int TransportProtocol::receiveGenericData(void*) {
    return ERR_TRP_GENERIC;
}

int TransportProtocol::callProtocolByHeritage(int, unsigned char*, int, unsigned char**, int*) {
    return ERR_TRP_GENERIC;
}

namespace {

// The port's turn for a scope, given back on every way out, an exception
// included: a turn kept by a live process is never taken over, and would
// stop every later command of every process on the line. Only a live holder
// that keeps the port past the budget refuses it; a transport without a lock
// runs unguarded, as it always could.
class PortTurn {
public:
    PortTurn(TransportProtocol& transport, sem_t* sem)
        : owner(transport), semaphore(sem), locked(transport.lockSem(sem)) {}
    ~PortTurn() {
        if (locked == SUCCESS) owner.releaseSem(semaphore);
    }
    PortTurn(const PortTurn&) = delete;
    PortTurn& operator=(const PortTurn&) = delete;
    bool refused() const { return locked == ERR_SEM_TIMEOUT; }

private:
    TransportProtocol& owner;
    sem_t* semaphore;
    int locked;
};

}  // namespace

int TransportProtocol::sendRecvData(int cmd, unsigned char* send, int len, unsigned char** recv,
                                    int* recvLen, int retries) {
    static const char kCaller[] = "TransportProtocol::sendRecvData";
    if (!isOpened) return ERR_TRP_PORT_NOT_OPENED;
    if (!callByHeritage) {
        if (callProtocol == nullptr) return ERR_SER_INVALID_PROTOCOL;
        if (comm == nullptr && !lineLost) return ERR_SER_PORT_NOT_FOUND;
    }

    PortTurn turn(*this, semPort);
    if (turn.refused()) return ERR_SEM_TIMEOUT;
    unsigned int attempts = retries > 0 ? static_cast<unsigned int>(retries) : 1u;
    int rc = lineLost ? reopenLine() : SUCCESS;
    if (rc != SUCCESS) attempts = 0;
    for (unsigned int attempt = 0; attempt < attempts; ++attempt) {
        rc = callByHeritage ? callProtocolByHeritage(cmd, send, len, recv, recvLen)
                            : (this->*callProtocol)(cmd, send, len, recv, recvLen);
        if (rc == SUCCESS) break;
        if (lineGone()) {
            // No retry can cure it; the next command reopens the line.
            logPrintf(ERR, kCaller, "Line lost: [%s] !!!", portPath.c_str());
            lineLost = true;
            setPort(nullptr);
            rc = ERR_SER_PORT_NOT_FOUND;
            break;
        }
        logPrintf(DBG, kCaller, "Return: [%d]", rc);
        if (!isRetryableLinkError(rc) && !doRetry(rc)) break;
        if (attempt + 1 < attempts) logPrintf(DBG, kCaller, "Retry: [%u]", attempt);
    }
    return rc;
}

bool TransportProtocol::lineGone() const {
    if (comm != nullptr && comm->LineLost() == 1) return true;
    // The node gone: an unplugged adapter takes its device node and the
    // names that lead to it along.
    struct stat node;
    return !portPath.empty() && stat(portPath.c_str(), &node) != 0 &&
           (errno == ENOENT || errno == ENOTDIR);
}

// Opens the configured path again, resolved anew so that a name that follows
// the adapter (such as /dev/serial/by-id/...) leads to its new node, with the
// settings of the first open. Runs under the port semaphore.
int TransportProtocol::reopenLine() {
    char resolved[PATH_MAX];
    if (realpath(portPath.c_str(), resolved) == nullptr) return ERR_SER_PORT_NOT_FOUND;
    auto port = std::make_unique<CommUart>();
    // The record's device text was edited at the first open; the port reads
    // the path only while opening.
    char* edited = uart_config.device;
    uart_config.device = resolved;
    int rc = port->Open(&uart_config);
    uart_config.device = edited;
    if (rc != SUCCESS) return ERR_SER_PORT_NOT_FOUND;
    setPort(std::move(port));
    lineLost = false;
    logPrintf(INF, "TransportProtocol::sendRecvData", "Line back: [%s] !!!", resolved);
    return SUCCESS;
}

int TransportProtocol::getModemLines(unsigned char* pins) {
    std::lock_guard<std::mutex> hold(portSwap);
    if (comm == nullptr) return ERR_TRP_PORT_NOT_OPENED;
    return comm->GetPinOut(pins);
}

// The one thread that owns the exchanges replaces the port object; the lock
// only keeps a reader of the modem lines from using one being destroyed.
void TransportProtocol::setPort(std::unique_ptr<CommBase> port) {
    std::lock_guard<std::mutex> hold(portSwap);
    comm = std::move(port);
}

int TransportProtocol::flush(int flags) {
    if (!isOpened) return ERR_TRP_PORT_NOT_OPENED;
    if (comm == nullptr) return ERR_SER_PORT_NOT_FOUND;
    const int locked = lockSem(semPort);
    if (locked == ERR_SEM_TIMEOUT) return locked;
    int rc = comm->Flush(static_cast<unsigned char>(flags & 0xFF));
    if (rc != SUCCESS) {
        // Returns holding the semaphore (see the header).
        logPrintf(ERR, "TransportProtocol::flush", "Command error: [%d]", rc);
        return rc;
    }
    if (locked == SUCCESS) releaseSem(semPort);
    return ERR_TRP_GENERIC;
}

template <typename Op>
int TransportProtocol::whileHoldingPort(bool needsPort, Op op) {
    if (!isOpened) return ERR_TRP_PORT_NOT_OPENED;
    if (needsPort && comm == nullptr) return ERR_SER_PORT_NOT_FOUND;
    PortTurn turn(*this, semPort);
    if (turn.refused()) return ERR_SEM_TIMEOUT;
    return op();
}

int TransportProtocol::sendData(unsigned char* buf, int len) {
    return whileHoldingPort(true, [&] { return comm->Write(buf, len); });
}

int TransportProtocol::recvData(unsigned char* buf, int len) {
    return whileHoldingPort(true, [&] { return comm->Read(buf, len); });
}

int TransportProtocol::sendData(void* data) {
    return whileHoldingPort(false, [&] { return sendGenericData(data); });
}

int TransportProtocol::recvData(void* data) {
    return whileHoldingPort(false, [&] { return receiveGenericData(data); });
}
