#include "transport/LogicProtocol.h"

#include <stdexcept>

#include "common/ConstructParams.h"
#include "manager/Global.h"

namespace {

std::unique_ptr<TransportProtocol> makeTransport(void* params) {
    auto transport = std::make_unique<TransportProtocol>(params);
    if (transport->setCallProtocol() != SUCCESS) {
        throw std::runtime_error("Error in setCallProtocol");
    }
    return transport;
}

}  // namespace

LogicProtocol::LogicProtocol(void* params) : LogicProtocol(params, nullptr) {}

LogicProtocol::LogicProtocol(void* params, TransportProtocol* tp)
    : trans_protocol(tp != nullptr ? std::unique_ptr<TransportProtocol>(tp)
                                   : makeTransport(params)),
      lastError(trans_protocol->getLastError()),
      cfg(nullptr),
      log(nullptr) {
    if (params != nullptr) {
        auto* p = static_cast<st_constructParams*>(params);
        cfg = static_cast<Configuration*>(p->pCfg);
        log = static_cast<Log*>(p->pLog);
    }
}

LogicProtocol::~LogicProtocol() = default;

int LogicProtocol::sendRecvData(int cmd, unsigned char* send_data, int bytes_to_send,
                                unsigned char** data_recv, int* bytes_received, int retries) {
    return trans_protocol->sendRecvData(cmd, send_data, bytes_to_send, data_recv, bytes_received,
                                        retries);
}
