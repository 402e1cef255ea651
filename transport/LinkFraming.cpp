#include "transport/LinkFraming.h"

#include <cstring>
#include <new>

#include "common/Checksum.h"
#include "manager/Global.h"
#include "transport/TransportProtocol.h"

namespace linkframing {

int buildFrame(const unsigned char* header, int headerLen, const unsigned char* data, int len,
               unsigned char* out) {
    if (len < 0 || len > WORK_AREA_SIZE - headerLen - 2) return ERR_SER_INVALID_SIZE;
    if (len > 0 && data == nullptr) return ERR_GEN_INVALID_POINTER;
    std::memcpy(out, header, headerLen);
    if (len > 0) std::memcpy(out + headerLen, data, len);
    int end = headerLen + len;
    out[end] = ETX;
    out[end + 1] = static_cast<unsigned char>(GetBCC(out, 0, end));
    return end + 2;
}

const char* awaitedItem(int state) {
    switch (state) {
        case TransportProtocol::WAIT_ACK:
            return "ACK";
        case TransportProtocol::WAIT_STX:
            return "STX";
        case TransportProtocol::WAIT_SOH:
            return "SOH";
        case TransportProtocol::WAIT_ETX:
            return "ETX";
        case TransportProtocol::VALIDATE_BCC:
            return "BCC";
        default:
            return nullptr;
    }
}

unsigned char* copyReply(const unsigned char* data, int len, bool terminate) {
    unsigned char* reply = new (std::nothrow) unsigned char[len + (terminate ? 1 : 0)];
    if (reply == nullptr) return nullptr;
    if (len > 0) std::memcpy(reply, data, len);
    if (terminate) reply[len] = 0;
    return reply;
}

}  // namespace linkframing
