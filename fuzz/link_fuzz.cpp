// Arbitrary board bytes into both link exchanges. The first input byte picks
// the receive time-out, the command and whether a reply is wanted; the rest
// is what the board sends, where 0xFF escapes the next byte: 0 an empty
// read, 1 a failing read, anything else a literal 0xFF. Every exchange must
// end with a known result, within its budget, and hand over only what fits.

#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "manager/Global.h"
#include "tests/transport/ScriptedPort.h"

using siutest::LinkUnderTest;
using siutest::ScriptedPort;

namespace {

const int RX_TIMEOUTS[] = {0, 1, 50, 1000};

void require(bool condition) {
    if (!condition) std::abort();
}

bool isExchangeResult(int rc) {
    for (int known : {0, ERR_SER_TIMEOUT, ERR_SER_ACK, ERR_SER_NACK, ERR_SER_STX, ERR_SER_BCC_WRONG,
                      ERR_SER_INVALID_SIZE, ERR_SER_READ_FAILED, ERR_CMD_NOT_SUPPORTED})
        if (rc == known) return true;
    return false;
}

void scriptBoard(ScriptedPort& port, const uint8_t* data, size_t size) {
    for (size_t i = 0; i < size; ++i) {
        if (data[i] != 0xFF || i + 1 == size) {
            port.reads.push_back(data[i]);
            continue;
        }
        uint8_t escaped = data[++i];
        port.reads.push_back(escaped == 0   ? ScriptedPort::SILENCE
                             : escaped == 1 ? static_cast<int>(ERR_SER_READ_FAILED)
                                            : 0xFF);
    }
}

void exchange(bool rs485, uint8_t options, const uint8_t* data, size_t size) {
    auto* port = new ScriptedPort;
    scriptBoard(*port, data, size);
    const size_t scripted = port->reads.size();
    const int rxTimeout = RX_TIMEOUTS[options & 3];
    LinkUnderTest link(std::unique_ptr<CommBase>(port), rxTimeout);

    unsigned char command[] = {static_cast<unsigned char>((options & 4) ? 'L' : 'G'), '0', '1'};
    const bool wantReply = (options & 8) == 0;
    unsigned char* reply = nullptr;
    int replyLen = -1;
    int rc = rs485 ? link.protocolNorva485(0, command, 3, wantReply ? &reply : nullptr, &replyLen)
                   : link.protocolNorvaDireto(0, command, 3, wantReply ? &reply : nullptr,
                                              &replyLen);

    require(isExchangeResult(rc));
    // Silence after the script ends the exchange within one budget.
    const int rxAttempts = 1000 / (rxTimeout > 0 ? rxTimeout : 50) + 1;
    require(static_cast<size_t>(port->readCalls) <= scripted + (rs485 ? rxAttempts : 5));
    if (rc == 0 && reply != nullptr) {
        require(replyLen >= 0 && replyLen <= 1000);
        if (rs485) require(reply[replyLen] == 0);
        volatile unsigned char last = reply[rs485 ? replyLen : replyLen - 1];
        (void)last;
    }
    delete[] reply;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) return 0;
    exchange(false, data[0], data + 1, size - 1);
    exchange(true, data[0], data + 1, size - 1);
    return 0;
}
