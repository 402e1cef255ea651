#include "device/LLDeviceZT.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>

#include "common/Log.h"
#include "manager/Global.h"

namespace {

// Copies reply bytes 1..len-1 (the payload behind the board's leading byte)
// into out as text, cut to size - 1 bytes.
void copyPayload(const unsigned char* reply, int len, char* out, size_t size) {
    size_t payload = len > 1 ? static_cast<size_t>(len) - 1 : 0;
    if (payload > size - 1) payload = size - 1;
    if (payload > 0) std::memcpy(out, reply + 1, payload);
    out[payload] = '\0';
}

// The outputs' last known state, shared by every service of the process: the
// board takes all outputs in one command, so each call resends them all with
// only the addressed one changed. The lock only keeps two services from
// tearing the buffer; ordering commands is the callers' business.
std::mutex indicatorLock;
char indicatorCommand[LLDeviceZT::MAX_LEDS + 2] = "L00000000000000000000";

struct LampLines {
    const char* on;
    const char* blink;
    const char* off;
};

// Fixed outputs 3..6 of the board: the printer LED and the green, red and
// orange lamps, logged after every indicator command whatever was changed.
const LampLines kLampLines[4] = {
    {"NORVA_SIU_INDICATOR_PRINTER_VALUE_ON", "NORVA_SIU_INDICATOR_PRINTER_VALUE_BLINK",
     "NORVA_SIU_INDICATOR_PRINTER_VALUE_OFF"},
    {"NORVA_SIU_INDICATOR_VALUE_ON_GREEN", "NORVA_SIU_INDICATOR_VALUE_BLINK_GREEN",
     "NORVA_SIU_INDICATOR_VALUE_OFF_GREEN"},
    {"NORVA_SIU_INDICATOR_VALUE_ON_RED", "NORVA_SIU_INDICATOR_VALUE_BLINK_RED",
     "NORVA_SIU_INDICATOR_VALUE_OFF_RED"},
    {"NORVA_SIU_INDICATOR_VALUE_ON_ORANGE", "NORVA_SIU_INDICATOR_VALUE_BLINK_ORANGE",
     "NORVA_SIU_INDICATOR_VALUE_OFF_ORANGE"},
};
constexpr unsigned int kFirstLampOutput = 3;

// Reply buffers: the set commands' answers are dropped; the motion time is a
// few digits, and a longer answer is cut to them before it is read.
constexpr size_t kReplySize = 100;
constexpr size_t kMotionReplySize = 10;

// The numbers each command carries, as wide as its digits allow.
constexpr unsigned int kMinMotionTime = 100;
constexpr unsigned int kMaxMotionTime = 999;
constexpr unsigned int kMaxTimeToOff = 999;
constexpr unsigned int kMaxTimeToOn = 99999;

}  // namespace

LLDeviceZT::LLDeviceZT(void* params) : LogicProtocol(params) {}

LLDeviceZT::LLDeviceZT(void* params, TransportProtocol* tp) : LogicProtocol(params, tp) {}

LLDeviceZT::~LLDeviceZT() = default;

int LLDeviceZT::CmdOpen() {
    if (!trans_protocol) return ERR_TRP_PORT_NOT_OPENED;
    return trans_protocol->openPort();
}

int LLDeviceZT::CmdClose() {
    if (!trans_protocol) return ERR_TRP_PORT_NOT_OPENED;
    return trans_protocol->closePort();
}

int LLDeviceZT::exchange(const char* send, size_t len, std::unique_ptr<unsigned char[]>* reply,
                         int* replyLen) {
    unsigned char* recv = nullptr;
    int recvLen = 0;
    int rc = sendRecvData(0, reinterpret_cast<unsigned char*>(const_cast<char*>(send)),
                          static_cast<int>(len), &recv, &recvLen, 0);
    reply->reset(recv);
    *replyLen = recv != nullptr && recvLen > 0 ? recvLen : 0;
    return rc;
}

int LLDeviceZT::CmdGetVersion(char* version) {
    return CmdGetVersion(version, VERSION_SIZE);
}

int LLDeviceZT::CmdGetVersion(char* version, size_t size) {
    if (version == nullptr || size == 0) return ERR_CMD_INVALID_PARAMETER;
    std::unique_ptr<unsigned char[]> reply;
    int len = 0;
    int rc = exchange("V", 1, &reply, &len);
    if (rc != SUCCESS) return rc;
    copyPayload(reply.get(), len, version, size);
    return SUCCESS;
}

int LLDeviceZT::CmdGenericCommand(const char* command, char* command_rsp, size_t rsp_size) {
    if (command == nullptr || command_rsp == nullptr || rsp_size == 0) {
        return ERR_CMD_INVALID_PARAMETER;
    }
    std::unique_ptr<unsigned char[]> reply;
    int len = 0;
    int rc = exchange(command, std::strlen(command), &reply, &len);
    if (rc != SUCCESS) return rc;
    if (len > 1) copyPayload(reply.get(), len, command_rsp, rsp_size);
    return SUCCESS;
}

int LLDeviceZT::sendOnly(const char* command) {
    char rsp[kReplySize] = {};
    return CmdGenericCommand(command, rsp, sizeof rsp);
}

int LLDeviceZT::CmdSetElectronicKey(bool on) {
    return sendOnly(on ? "FA1" : "FA0");
}

int LLDeviceZT::CmdGetMotionTime(unsigned int* ms) {
    if (ms == nullptr) return ERR_CMD_INVALID_PARAMETER;
    char rsp[kMotionReplySize] = {};
    int rc = CmdGenericCommand("m", rsp, sizeof rsp);
    if (rc != SUCCESS) return rc;
    // Read as a C number: decimal, hexadecimal after 0x, octal after a
    // leading 0 ("010" is 8). The board answers plain decimal; applications
    // get this reading of anything else, so it must not change.
    *ms = static_cast<unsigned int>(std::strtoul(rsp, nullptr, 0));
    return SUCCESS;
}

int LLDeviceZT::CmdSetMotionTime(unsigned int ms) {
    if (ms < kMinMotionTime || ms > kMaxMotionTime) return ERR_CMD_INVALID_PARAMETER;
    char command[8];
    std::snprintf(command, sizeof command, "M%u", ms);
    return sendOnly(command);
}

int LLDeviceZT::CmdSetBuzzer(unsigned int value) {
    static const char* const commands[] = {"B0", "B1", "B2"};
    if (value > 2) return ERR_CMD_INVALID_PARAMETER;
    return sendOnly(commands[value]);
}

int LLDeviceZT::CmdResetRemote(unsigned int timeToOff, unsigned int timeToOn, char* answer,
                               size_t size) {
    if (timeToOff > kMaxTimeToOff || timeToOn > kMaxTimeToOn) return ERR_CMD_INVALID_PARAMETER;
    char command[16];
    std::snprintf(command, sizeof command, "R%03u%05u", timeToOff, timeToOn);
    return CmdGenericCommand(command, answer, size);
}

int LLDeviceZT::CmdSetIndicator(unsigned int pos, unsigned int value, unsigned int max_size_leds,
                                bool valueReset) {
    if (max_size_leds > MAX_LEDS) return ERR_CMD_INVALID_PARAMETER;
    if (!valueReset && (pos == 0 || pos > max_size_leds || value > 2)) {
        return ERR_CMD_INVALID_PARAMETER;
    }

    char command[sizeof indicatorCommand];
    {
        std::lock_guard<std::mutex> guard(indicatorLock);
        if (valueReset) {
            std::memset(indicatorCommand + 1, '0', max_size_leds);
        } else {
            indicatorCommand[pos] = static_cast<char>('0' + value);
        }
        std::memcpy(command, indicatorCommand, sizeof command);
    }

    std::unique_ptr<unsigned char[]> reply;
    int len = 0;
    int rc = exchange(command, max_size_leds + 1, &reply, &len);
    if (rc != SUCCESS) return rc;

    if (log != nullptr) {
        for (unsigned int i = 0; i < 4; ++i) {
            const LampLines& lines = kLampLines[i];
            const char* text = nullptr;
            switch (command[kFirstLampOutput + i]) {
                case '1':
                    text = lines.on;
                    break;
                case '2':
                    text = lines.blink;
                    break;
                case '0':
                    text = lines.off;
                    break;
                default:
                    break;
            }
            if (text != nullptr) log->addLogBuffer(INF, "LLDeviceZT::CmdSetIndicator", text);
        }
    }
    return SUCCESS;
}
