// Point-to-point exchange: STX data ETX BCC to the board, ACK back, then
// (for commands with a reply) STX data ETX BCC from the board, acknowledged
// with ACK. Commands are paced process-wide.

#include <climits>

#include "common/Log.h"
#include "common/Utils.h"
#include "libuart/comm_base.h"
#include "manager/Global.h"
#include "transport/LinkFraming.h"
#include "transport/TransportProtocol.h"

using namespace linkframing;

uint64_t TransportProtocol::ullL1_LastCommand = 0;

namespace {

const char* const CALLER = "TransportProtocol::protocolNorvaDireto";
const uint64_t DEFAULT_INTERVAL_MS = 500;
// Consecutive empty reads after which the board counts as silent.
const unsigned int MAX_EMPTY_READS = 5;

// The tick that stamps a command. The clock counts whole milliseconds, so a
// stamp taken late in a millisecond would shorten the next pause by up to one
// millisecond; stamping the next tick keeps every pause at least as long as
// the interval.
uint64_t commandStamp() {
    return GetMonotonicTickMs() + 1;
}

}  // namespace

int TransportProtocol::protocolNorvaDireto(int /*cmd*/, unsigned char* send, int len,
                                           unsigned char** recv, int* recvLen) {
    if (recv != nullptr) *recv = nullptr;
    if (recvLen != nullptr) *recvLen = 0;
    if (!comm) return ERR_SER_PORT_NOT_FOUND;

    unsigned char frame[WORK_AREA_SIZE];
    const int frameLen = buildFrame(&STX, 1, send, len, frame);
    if (frameLen < 0) return frameLen;

    // Keep the pause between two commands of the process. The clock starts at
    // the first command, which therefore waits the full interval too.
    const uint64_t interval = bIntervalSetted ? intervalBetweenCommands : DEFAULT_INTERVAL_MS;
    uint64_t now = GetMonotonicTickMs();
    if (ullL1_LastCommand == 0) ullL1_LastCommand = commandStamp();
    for (uint64_t elapsed; (elapsed = TickElapsedMs(ullL1_LastCommand, now)) < interval;) {
        const uint64_t remaining = interval - elapsed;
        const unsigned int pause =
            remaining > INT_MAX ? INT_MAX : static_cast<unsigned int>(remaining);
        logPrintf(INF, CALLER, "Waiting %dms:", static_cast<int>(pause));
        Sleep_ms(pause);
        now = GetMonotonicTickMs();
    }

    unsigned char rx[WORK_AREA_SIZE];
    int held = 0;      // bytes kept in rx
    int received = 0;  // bytes read in this exchange, discarded ones included
    int start = 0;     // position of the reply's STX: 1 after an ACK, 0 without
    int dataLen = 0;
    int state = SEND_COMMAND;
    int error = 0;
    unsigned int emptyReads = 0;
    bool writeFailed = false;
    bool gotSomething = false;

    while (state != FINISHED && error == 0 && !writeFailed && emptyReads < MAX_EMPTY_READS) {
        if (const char* awaited = awaitedItem(state)) {
            // Counting discarded bytes as well bounds an exchange against a
            // board that never stops talking.
            if (received >= WORK_AREA_SIZE) {
                logPrintf(ERR, CALLER, "Invalid Packet Size !!!");
                error = ERR_SER_INVALID_SIZE;
                break;
            }
            int n = Read(&rx[held], 1, false);
            if (n < 0) {
                logPrintf(ERR, CALLER, "Failed to receive %s !!!", awaited);
                break;
            }
            if (n == 0) {
                ++emptyReads;
                if (state == WAIT_ACK) {
                    // The ACK must come within one receive time-out.
                    if (gotSomething) {
                        logPrintf(ERR, CALLER, "Invalid ACK !!!");
                        error = ERR_SER_ACK;
                    }
                    break;
                }
                logPrintf(WRN, CALLER, "Read no Data -> Retries: [%u] !!!", emptyReads);
                continue;
            }
            ++held;
            ++received;
            emptyReads = 0;
            gotSomething = true;
        }

        switch (state) {
            case SEND_COMMAND: {
                comm->Flush(5);
                int n = Write(frame, frameLen, true);
                if (n == frameLen) {
                    gotSomething = false;
                    dataLen = 0;
                    start = 0;
                    state = WAIT_ACK;
                } else {
                    writeFailed = true;
                    if (n < 0) logPrintf(ERR, CALLER, "Failed to send the command !!!");
                }
                break;
            }
            case WAIT_ACK: {
                unsigned char first = rx[0];
                if (first == ACK) {
                    logPrintf(DBG, CALLER, "ACK received !!!");
                    start = 1;
                    state = recv != nullptr ? WAIT_STX : FINISHED;
                } else if (first == NACK) {
                    logPrintf(ERR, CALLER, "NACK Received!!!");
                    error = ERR_SER_NACK;
                } else if (first == STX) {
                    logPrintf(WRN, CALLER, "ACK not received. Received STX !!!");
                    start = 0;
                    state = WAIT_ETX;
                } else {
                    logPrintf(ERR, CALLER, "Invalid ACK: [%02X] !!!", first);
                    held = 0;
                }
                break;
            }
            case WAIT_STX:
                if (rx[start] == STX) {
                    logPrintf(DBG, CALLER, "STX received !!!");
                    state = WAIT_ETX;
                } else {
                    logPrintf(ERR, CALLER, "Invalid STX !!!");
                    error = ERR_SER_STX;
                }
                break;
            case WAIT_ETX:
                if (rx[held - 1] == ETX) {
                    dataLen = held - start - 2;
                    logPrintf(DBG, CALLER, "ETX received !!!");
                    logPrintf(DBG, CALLER, "Data Length [%u] !!!",
                              static_cast<unsigned int>(dataLen));
                    state = VALIDATE_BCC;
                }
                break;
            case VALIDATE_BCC: {
                unsigned int check = rx[held - 1];
                unsigned int calculated = GetBCC(rx, start, held - 2) & 0xFF;
                logPrintf(DBG, CALLER, "BCC Received [%04X] and Calculated [%04X] !!!", check,
                          calculated);
                if (check == calculated) {
                    state = FINISHED;
                } else {
                    logPrintf(ERR, CALLER, "BCC failure !!!");
                    error = ERR_SER_BCC_WRONG;
                }
                break;
            }
            default:
                break;
        }
    }

    logHex(DBX, CALLER, "RDATA: ", rx, held);
    // A protocol error leaves the pacing clock alone and is not acknowledged.
    if (error != 0) return error;

    ullL1_LastCommand = commandStamp();
    if (state != FINISHED) {
        logPrintf(ERR, CALLER, "Timeout failure !!!");
        return ERR_SER_TIMEOUT;
    }
    unsigned char ack = ACK;
    Write(&ack, 1, true);

    if (recvLen != nullptr) *recvLen = dataLen;
    if (recv != nullptr && dataLen > 0) {
        *recv = copyReply(&rx[start + 1], dataLen, false);
        if (*recv == nullptr) return ERR_GEN_OUT_OF_MEMORY;
    }
    return 0;
}
