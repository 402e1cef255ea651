// RS-485 exchange: EOT 'H' ')' STX data ETX BCC to the board, ACK back, then
// SOH, three header bytes, data, ETX, BCC from the board, acknowledged with
// ACK or refused with NACK. Budgets count port calls, derived from the line's
// time-outs so that they amount to about one second of silence.

#include "common/Log.h"
#include "common/Utils.h"
#include "libuart/comm_base.h"
#include "manager/Global.h"
#include "transport/LinkFraming.h"
#include "transport/TransportProtocol.h"

using namespace linkframing;

namespace {

const char* const CALLER = "TransportProtocol::protocolNorva485";
// The board's address on the multi-drop line: fixed by the protocol.
const unsigned char FRAME_HEADER[] = {EOT, 0x48, 0x29, STX};
// SOH and three header bytes precede the data of a reply.
const int REPLY_HEADER_LEN = 4;
// SOH, header, ETX and BCC: what a reply carries besides its data.
const int REPLY_OVERHEAD = 6;
// Commands starting with this byte have no reply: the board's ACK ends them.
const unsigned char NO_REPLY_COMMAND = 'L';
const int MAX_NACKS = 2;
const unsigned int FAILED_WRITE_PAUSE_MS = 100;
// What the port waits when its time-out is not positive.
const int PORT_DEFAULT_TIMEOUT_MS = 50;

// Port calls in about one second, for a wait of timeoutMs per call.
int attemptsPerSecond(int timeoutMs) {
    return 1000 / (timeoutMs > 0 ? timeoutMs : PORT_DEFAULT_TIMEOUT_MS) + 1;
}

}  // namespace

int TransportProtocol::protocolNorva485(int /*cmd*/, unsigned char* send, int len,
                                        unsigned char** recv, int* recvLen) {
    if (!comm) return ERR_SER_PORT_NOT_FOUND;

    unsigned char frame[WORK_AREA_SIZE];
    const int frameLen = buildFrame(FRAME_HEADER, sizeof FRAME_HEADER, send, len, frame);
    if (frameLen < 0) return frameLen;
    const bool noReply = len > 0 && send[0] == NO_REPLY_COMMAND;

    const int txAttempts = attemptsPerSecond(uart_config.tx_timeout);
    const int rxAttempts = attemptsPerSecond(uart_config.rx_timeout);
    int attempts = txAttempts;
    int nackCount = 0;
    int state = SEND_COMMAND;
    bool portFailed = false;

    unsigned char rx[WORK_AREA_SIZE];
    int kept = 0;       // reply bytes kept from the SOH on
    int sinceSend = 0;  // bytes read since the last frame or NACK went out (>= kept)

    for (;;) {
        bool haveByte = false;
        unsigned char byte = 0;
        if (const char* awaited = awaitedItem(state)) {
            if (sinceSend >= WORK_AREA_SIZE) {
                logPrintf(ERR, CALLER, "Invalid Packet Size !!!");
                return ERR_SER_INVALID_SIZE;
            }
            int n = comm->Read(&rx[kept], 1);
            if (n > 0) {
                logPrintf(DBG, CALLER, "Reset attempts");
                attempts = rxAttempts;
                haveByte = true;
                byte = rx[kept];
                ++sinceSend;
            } else if (n < 0) {
                logPrintf(DBG, CALLER, "Failed to receive %s. attempts remaining = %d", awaited,
                          attempts);
                portFailed = true;
            }
        }

        switch (state) {
            case SEND_COMMAND: {
                comm->Flush(5);
                int n = comm->Write(frame, frameLen);
                if (n == frameLen) {
                    logHex(DBX, CALLER, "WDATA:", frame, frameLen);
                    state = WAIT_ACK;
                    attempts = rxAttempts;
                    sinceSend = 0;
                    kept = 0;
                } else {
                    if (n < 0) {
                        logPrintf(ERR, CALLER, "Failed to send command. attempts remaining = %d",
                                  attempts);
                        portFailed = true;
                    }
                    Sleep_ms(FAILED_WRITE_PAUSE_MS);
                }
                break;
            }
            case WAIT_ACK:
                if (!haveByte) break;
                logPrintf(DBG, CALLER, "Wait ACK");
                if (byte == ACK) {
                    if (noReply) return 0;
                    state = WAIT_SOH;
                } else if (byte == NACK) {
                    logPrintf(ERR, CALLER, "NACK Received. Resending command");
                    ++nackCount;
                    attempts = txAttempts;
                    state = SEND_COMMAND;
                } else if (byte == SOH) {
                    logPrintf(DBG, CALLER, "SOH Received without ACK");
                    ++kept;
                    state = WAIT_ETX;
                }
                break;
            case WAIT_SOH:
                if (!haveByte) break;
                logPrintf(DBG, CALLER, "Wait SOH");
                if (byte == SOH) {
                    ++kept;
                    state = WAIT_ETX;
                }
                break;
            case WAIT_ETX:
                if (!haveByte) break;
                logPrintf(DBG, CALLER, "Wait ETX");
                ++kept;
                // The header bytes are not examined: an ETX among them is
                // header, so a reply always has room for its header.
                if (byte == ETX && kept > REPLY_HEADER_LEN) state = VALIDATE_BCC;
                break;
            case VALIDATE_BCC:
                if (!haveByte) break;
                logPrintf(DBG, CALLER, "Validate Checksum");
                if (byte == static_cast<unsigned char>(GetBCC(rx, 0, kept - 1))) {
                    ++kept;
                    attempts = txAttempts;
                    state = SEND_ACK;
                } else {
                    logPrintf(ERR, CALLER,
                              "Failed in checksum Calc. Sending NACK to get new response");
                    ++nackCount;
                    attempts = txAttempts;
                    state = SEND_NACK;
                }
                break;
            case SEND_ACK:
            case SEND_NACK: {
                const bool acknowledge = state == SEND_ACK;
                logPrintf(DBG, CALLER, acknowledge ? "Send ACK" : "Send NACK");
                const unsigned char answer = acknowledge ? ACK : NACK;
                int n = comm->Write(&answer, 1);
                if (n == 1) {
                    if (acknowledge) {
                        state = FINISHED;
                    } else {
                        kept = 0;
                        sinceSend = 0;
                        attempts = rxAttempts;
                        state = WAIT_SOH;
                    }
                } else {
                    if (n < 0) {
                        logPrintf(ERR, CALLER, "Failed to send %s. attempts remaining = %d",
                                  acknowledge ? "ACK" : "NACK", attempts);
                        portFailed = true;
                    }
                    Sleep_ms(FAILED_WRITE_PAUSE_MS);
                }
                break;
            }
            default:
                break;
        }

        if (state == FINISHED) break;
        const int before = attempts--;
        if (before <= 0 || portFailed || nackCount > MAX_NACKS) break;
    }

    if (state == FINISHED) {
        logHex(DBX, CALLER, "RDATA:", rx, kept);
        const int dataLen = kept - REPLY_OVERHEAD;
        if (recv != nullptr) {
            *recv = copyReply(&rx[REPLY_HEADER_LEN], dataLen, true);
            if (*recv == nullptr) return ERR_GEN_OUT_OF_MEMORY;
        }
        if (recvLen != nullptr) *recvLen = dataLen;
        return 0;
    }
    // A command the board keeps refusing counts as unsupported, not as a
    // fault of the link.
    if (nackCount > MAX_NACKS) return ERR_CMD_NOT_SUPPORTED;
    if (portFailed)
        return awaitedItem(state) != nullptr ? ERR_SER_READ_FAILED : ERR_SER_WRITE_FAILED;
    logPrintf(ERR, CALLER, "RDATA: Timeout");
    return ERR_SER_TIMEOUT;
}
