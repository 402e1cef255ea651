#pragma once
// Facade of the link layer used by the board codec: owns one transport and
// forwards each exchange to it.

#include <memory>

#include "transport/TransportProtocol.h"

class Configuration;
class Log;

class LogicProtocol {
public:
    // Builds a transport from the service's st_constructParams and selects
    // its exchange; throws std::runtime_error when either step fails.
    explicit LogicProtocol(void* params);
    // Adopts tp when given, else behaves as the first form.
    LogicProtocol(void* params, TransportProtocol* tp);
    virtual ~LogicProtocol();
    LogicProtocol(const LogicProtocol&) = delete;
    LogicProtocol& operator=(const LogicProtocol&) = delete;

    virtual int sendRecvData(int cmd, unsigned char* send_data, int bytes_to_send,
                             unsigned char** data_recv, int* bytes_received, int retries);

    // The owned transport (never null after construction).
    TransportProtocol* getTransport() const { return trans_protocol.get(); }

protected:
    std::unique_ptr<TransportProtocol> trans_protocol;
    int lastError;
    Configuration* cfg;
    Log* log;
};
