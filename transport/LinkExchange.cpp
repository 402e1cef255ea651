// The framed exchanges. Point-to-point: STX data ETX BCC to the board, ACK
// back, then (for commands with a reply) STX data ETX BCC from the board,
// acknowledged with ACK; commands are paced process-wide. RS-485: EOT 'H' ')'
// STX data ETX BCC to the board, ACK back, then SOH, three header bytes, data,
// ETX, BCC from the board, acknowledged with ACK or refused with NACK; its
// budgets count port calls, derived from the line's time-outs so that they
// amount to about one second of silence. Both run the one loop below, told
// apart by their descriptions.

#include <algorithm>
#include <atomic>
#include <climits>

#include "common/Checksum.h"
#include "common/Clock.h"
#include "common/Log.h"
#include "libuart/comm_base.h"
#include "manager/Global.h"
#include "transport/LinkFraming.h"
#include "transport/TransportProtocol.h"

using namespace linkframing;

std::atomic<uint64_t> TransportProtocol::ullL1_LastCommand{0};

namespace {

const unsigned char DIRETO_HEADER[] = {STX};
// The board's address on the multi-drop line: fixed by the protocol.
const unsigned char RS485_HEADER[] = {EOT, 0x48, 0x29, STX};

const Line NONE = {0, nullptr};

// The two framings side by side; the fields are explained in LinkFraming.h.
// clang-format off
const Framing DIRETO = {
    "TransportProtocol::protocolNorvaDireto",
    DIRETO_HEADER, sizeof DIRETO_HEADER,
    STX, 1, TransportProtocol::WAIT_STX,   // replyStart, replyHeaderLen, replyStartState
    0,                                     // noReplyCommand: a null reply pointer says so
    true, false, true,                     // clearsOutputs, terminatesReply, paced
    5, true, false,                        // silentReads, ackWithinOneTimeout, repeatsWrites
    false, true, true,                     // answersInLoop, strictReplyStart, keepsAck
    true, true, true,                      // portFailureIsTimeout, tracedWrites, dumpsEveryEnd
    {ERR, "Failed to receive %s !!!"},
    {WRN, "Read no Data -> Retries: [%u] !!!"},
    NONE,
    {NONE, NONE, NONE, NONE},
    {DBG, "ACK received !!!"},
    {ERR, "NACK Received!!!"},
    {WRN, "ACK not received. Received STX !!!"},
    {ERR, "Invalid ACK: [%02X] !!!"},
    {DBG, "STX received !!!"},
    {ERR, "Invalid STX !!!"},
    {DBG, "ETX received !!!"},
    {DBG, "Data Length [%u] !!!"},
    {DBG, "BCC Received [%04X] and Calculated [%04X] !!!"},
    {ERR, "BCC failure !!!"},
    {ERR, "Failed to send the command !!!"},
    {ERR, "Timeout failure !!!"},
    "RDATA: ",
};

const Framing RS485 = {
    "TransportProtocol::protocolNorva485",
    RS485_HEADER, sizeof RS485_HEADER,
    SOH, 4, TransportProtocol::WAIT_SOH,   // SOH and three header bytes that are not examined
    'L',                                   // output commands end at the ACK
    false, true, false,                    // clearsOutputs, terminatesReply, paced
    0, false, true,                        // silentReads, ackWithinOneTimeout, repeatsWrites
    true, false, false,                    // answersInLoop, strictReplyStart, keepsAck
    false, false, false,                   // portFailureIsTimeout, tracedWrites, dumpsEveryEnd
    {DBG, "Failed to receive %s. attempts remaining = %d"},
    NONE,
    {DBG, "Reset attempts"},
    {{DBG, "Wait ACK"}, {DBG, "Wait SOH"}, {DBG, "Wait ETX"}, {DBG, "Validate Checksum"}},
    NONE,
    {ERR, "NACK Received. Resending command"},
    {DBG, "SOH Received without ACK"},
    NONE,
    NONE,
    NONE,
    NONE,
    NONE,
    NONE,
    {ERR, "Failed in checksum Calc. Sending NACK to get new response"},
    {ERR, "Failed to send command. attempts remaining = %d"},
    {ERR, "RDATA: Timeout"},
    "RDATA:",
};
// clang-format on

// The pause between two point-to-point commands when none is configured.
const uint64_t DEFAULT_INTERVAL_MS = 500;
// NACKs, received and sent together, after which a command is unsupported.
const int MAX_NACKS = 2;
const unsigned int FAILED_WRITE_PAUSE_MS = 100;
// What the port waits when its time-out is not positive.
const int PORT_DEFAULT_TIMEOUT_MS = 50;

// Port calls in about one second, for a wait of timeoutMs per call.
int attemptsPerSecond(int timeoutMs) {
    return 1000 / (timeoutMs > 0 ? timeoutMs : PORT_DEFAULT_TIMEOUT_MS) + 1;
}

// The longest an exchange may take once its pause is kept: the time a full
// work area takes on the line in each direction at the configured rate and
// character size, plus the silence the framing's budget allows, once for
// every round the board may refuse before the command counts as unsupported.
// No board, however it trickles, holds the port longer.
uint64_t deadlineMs(const Framing& f, const uart_config_s& line) {
    const int dataBits = line.data_bits >= 5 && line.data_bits <= 8 ? line.data_bits : 8;
    const int stopBits = line.stop_bits == 2 ? 2 : 1;
    const uint64_t bitsPerByte = 1 + dataBits + (line.parity != PARITY_NONE ? 1 : 0) + stopBits;
    // A rate the line cannot take is not opened; the slowest one stands in.
    const uint64_t baud = line.baud_rate >= 150 ? static_cast<uint64_t>(line.baud_rate) : 150;
    const uint64_t wire = (2 * WORK_AREA_SIZE * bitsPerByte * 1000 + baud - 1) / baud;
    const uint64_t wait = line.rx_timeout >= 1 ? line.rx_timeout : PORT_DEFAULT_TIMEOUT_MS;
    const uint64_t silentReads =
        f.silentReads > 0 ? f.silentReads : attemptsPerSecond(line.rx_timeout);
    const uint64_t rounds = f.answersInLoop ? MAX_NACKS + 1 : 1;
    return rounds * (wire + silentReads * wait);
}

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
    return runExchange(DIRETO, send, len, recv, recvLen);
}

int TransportProtocol::protocolNorva485(int /*cmd*/, unsigned char* send, int len,
                                        unsigned char** recv, int* recvLen) {
    return runExchange(RS485, send, len, recv, recvLen);
}

uint64_t TransportProtocol::pauseMs() const {
    return bIntervalSetted ? intervalBetweenCommands : DEFAULT_INTERVAL_MS;
}

// Keeps the pause between two commands of the process. The clock starts at
// the first command, which therefore waits the full interval too.
void TransportProtocol::keepPace(const char* caller) {
    const uint64_t interval = pauseMs();
    uint64_t now = GetMonotonicTickMs();
    uint64_t unset = 0;
    ullL1_LastCommand.compare_exchange_strong(unset, commandStamp());
    for (uint64_t elapsed; (elapsed = TickElapsedMs(ullL1_LastCommand.load(), now)) < interval;) {
        const uint64_t remaining = interval - elapsed;
        const unsigned int pause =
            remaining > INT_MAX ? INT_MAX : static_cast<unsigned int>(remaining);
        logPrintf(INF, caller, "Waiting %dms:", static_cast<int>(pause));
        Sleep_ms(pause);
        now = GetMonotonicTickMs();
    }
}

// The texts come from the framing descriptions above, each used with the
// arguments its field names.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
#pragma GCC diagnostic ignored "-Wformat-security"

uint64_t TransportProtocol::longestExchangeMs() const {
    return std::max(deadlineMs(DIRETO, uart_config), deadlineMs(RS485, uart_config));
}

int TransportProtocol::runExchange(const Framing& f, const unsigned char* send, int len,
                                   unsigned char** recv, int* recvLen) {
    auto say = [&](const Line& line, auto... args) {
        if (line.text != nullptr) logPrintf(line.level, f.caller, line.text, args...);
    };
    if (f.clearsOutputs) {
        if (recv != nullptr) *recv = nullptr;
        if (recvLen != nullptr) *recvLen = 0;
    }
    if (!comm) return ERR_SER_PORT_NOT_FOUND;

    unsigned char frame[WORK_AREA_SIZE];
    const int frameLen = buildFrame(f.header, f.headerLen, send, len, frame);
    if (frameLen < 0) return frameLen;
    const bool replyExpected =
        f.noReplyCommand != 0 ? !(len > 0 && send[0] == f.noReplyCommand) : recv != nullptr;
    if (f.paced) keepPace(f.caller);

    const int txAttempts =
        f.silentReads > 0 ? f.silentReads : attemptsPerSecond(uart_config.tx_timeout);
    const int rxAttempts =
        f.silentReads > 0 ? f.silentReads : attemptsPerSecond(uart_config.rx_timeout);
    int attempts = txAttempts;  // port calls left; every pass but the last takes one
    int nacks = 0;
    int state = SEND_COMMAND;
    int error = 0;  // a protocol error, which ends the exchange with its own code
    bool portFailed = false;
    bool gotSomething = false;
    unsigned int silentReads = 0;

    // A pass waits at most one receive time-out (or the pause after a
    // failed write), so none starts that could end past the deadline.
    const uint64_t began = GetMonotonicTickMs();
    const uint64_t deadline = deadlineMs(f, uart_config);
    const uint64_t passWait = std::max<uint64_t>(
        uart_config.rx_timeout >= 1 ? uart_config.rx_timeout : PORT_DEFAULT_TIMEOUT_MS,
        f.repeatsWrites ? FAILED_WRITE_PAUSE_MS : 0);
    // The port's writes end at the deadline too, when flow control holds the
    // line off for good; early enough that the pause after a failed write
    // still ends by it. Later writes of other callers have none.
    struct SendDeadline {
        CommBase& port;
        ~SendDeadline() { port.SetSendDeadline(0); }
    } sendDeadline{*comm};
    comm->SetSendDeadline(began + deadline - (f.repeatsWrites ? FAILED_WRITE_PAUSE_MS : 0));

    unsigned char rx[WORK_AREA_SIZE];
    int held = 0;       // bytes kept in rx
    int start = 0;      // where the reply frame begins in rx (after a kept ACK)
    int sinceSend = 0;  // bytes read since the last frame or NACK went out (>= held)
    int dataLen = 0;

    // A refusal either way: answered within the loop and counted, or the
    // end of the exchange with its own code.
    auto refused = [&](int answer, int code) {
        if (f.answersInLoop) {
            ++nacks;
            attempts = txAttempts;
            state = answer;
        } else {
            error = code;
        }
    };

    for (;;) {
        if (TickElapsedMs(began, GetMonotonicTickMs()) + passWait > deadline) {
            logPrintf(ERR, f.caller, "Deadline of %llums reached !!!",
                      static_cast<unsigned long long>(deadline));
            break;
        }
        bool haveByte = false;
        unsigned char byte = 0;
        if (const char* awaited = awaitedItem(state)) {
            // Counting discarded bytes as well bounds an exchange against a
            // board that never stops talking.
            if (sinceSend >= WORK_AREA_SIZE) {
                logPrintf(ERR, f.caller, "Invalid Packet Size !!!");
                error = ERR_SER_INVALID_SIZE;
                break;
            }
            int n = comm->Read(&rx[held], 1);
            if (n < 0) {
                say(f.readFailed, awaited, attempts);
                portFailed = true;
                break;
            }
            if (n == 0) {
                ++silentReads;
                if (state == WAIT_ACK && f.ackWithinOneTimeout) {
                    if (gotSomething) {
                        logPrintf(ERR, f.caller, "Invalid ACK !!!");
                        error = ERR_SER_ACK;
                    }
                    break;
                }
                say(f.silentRead, silentReads);
            } else {
                say(f.byteRead);
                attempts = rxAttempts;
                haveByte = true;
                byte = rx[held];
                ++sinceSend;
                silentReads = 0;
                gotSomething = true;
            }
        }

        switch (state) {
            case SEND_COMMAND: {
                comm->Flush(5);
                int n =
                    f.tracedWrites ? Write(frame, frameLen, true) : comm->Write(frame, frameLen);
                if (n == frameLen) {
                    if (!f.tracedWrites) logHex(DBX, f.caller, "WDATA:", frame, frameLen);
                    state = WAIT_ACK;
                    attempts = rxAttempts;
                    sinceSend = held = start = dataLen = 0;
                    gotSomething = false;
                } else {
                    if (n < 0) say(f.sendFailed, attempts);
                    if (f.repeatsWrites) Sleep_ms(FAILED_WRITE_PAUSE_MS);
                    if (n < 0 || !f.repeatsWrites) portFailed = true;
                }
                break;
            }
            case WAIT_ACK:
                if (!haveByte) break;
                say(f.byteAwaited[0]);
                if (byte == ACK) {
                    if (f.keepsAck) start = ++held;
                    say(f.ackReceived);
                    if (replyExpected) {
                        state = f.replyStartState;
                    } else if (f.answersInLoop) {
                        return SUCCESS;
                    } else {
                        state = FINISHED;
                    }
                } else if (byte == NACK) {
                    if (f.keepsAck) ++held;
                    say(f.nackReceived);
                    refused(SEND_COMMAND, ERR_SER_NACK);
                } else if (byte == f.replyStart) {
                    say(f.startWithoutAck);
                    start = held++;
                    state = WAIT_ETX;
                } else {
                    // Dropped: the next byte is again examined as the ACK.
                    say(f.invalidAck, byte);
                }
                break;
            case WAIT_STX:
            case WAIT_SOH:
                if (!haveByte) break;
                say(f.byteAwaited[1]);
                if (byte == f.replyStart) {
                    ++held;
                    say(f.replyStartFound);
                    state = WAIT_ETX;
                } else if (f.strictReplyStart) {
                    ++held;
                    say(f.replyStartWrong);
                    error = ERR_SER_STX;
                }
                break;
            case WAIT_ETX:
                if (!haveByte) break;
                say(f.byteAwaited[2]);
                ++held;
                // No byte stuffing: the first ETX after the header ends the
                // data. The header bytes are not examined, so an ETX among
                // them is header and a reply always has room for its header.
                if (byte == ETX && held - start > f.replyHeaderLen) {
                    dataLen = held - start - f.replyHeaderLen - 1;
                    say(f.etxReceived);
                    say(f.dataLength, static_cast<unsigned int>(dataLen));
                    state = VALIDATE_BCC;
                }
                break;
            case VALIDATE_BCC: {
                if (!haveByte) break;
                say(f.byteAwaited[3]);
                const unsigned int calculated = GetBCC(rx, start, held - 1) & 0xFF;
                ++held;
                say(f.bccCompared, static_cast<unsigned int>(byte), calculated);
                if (byte == calculated) {
                    attempts = txAttempts;
                    state = f.answersInLoop ? SEND_ACK : FINISHED;
                } else {
                    say(f.bccWrong);
                    refused(SEND_NACK, ERR_SER_BCC_WRONG);
                }
                break;
            }
            case SEND_ACK:
            case SEND_NACK: {
                const bool acknowledge = state == SEND_ACK;
                logPrintf(DBG, f.caller, acknowledge ? "Send ACK" : "Send NACK");
                const unsigned char answer = acknowledge ? ACK : NACK;
                int n = comm->Write(&answer, 1);
                if (n == 1) {
                    if (acknowledge) {
                        state = FINISHED;
                    } else {
                        held = start = sinceSend = 0;
                        attempts = rxAttempts;
                        state = f.replyStartState;
                    }
                } else {
                    if (n < 0) {
                        logPrintf(ERR, f.caller, "Failed to send %s. attempts remaining = %d",
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

        if (state == FINISHED || error != 0) break;
        const int before = attempts--;
        if (before <= 0 || portFailed || nacks > MAX_NACKS) break;
    }

    if (f.dumpsEveryEnd) logHex(DBX, f.caller, f.rdataLabel, rx, held);
    // A protocol error leaves the pacing clock alone and is not acknowledged.
    if (error != 0) return error;
    if (f.paced) ullL1_LastCommand.store(commandStamp());

    if (state != FINISHED) {
        // A command the board keeps refusing counts as unsupported, not as a
        // fault of the link.
        if (nacks > MAX_NACKS) return ERR_CMD_NOT_SUPPORTED;
        if (portFailed && !f.portFailureIsTimeout)
            return awaitedItem(state) != nullptr ? ERR_SER_READ_FAILED : ERR_SER_WRITE_FAILED;
        say(f.timedOut);
        return ERR_SER_TIMEOUT;
    }
    if (!f.answersInLoop) {
        unsigned char ack = ACK;
        Write(&ack, 1, true);
    }
    if (!f.dumpsEveryEnd) logHex(DBX, f.caller, f.rdataLabel, rx, held);
    if (recv != nullptr && (dataLen > 0 || f.terminatesReply)) {
        *recv = copyReply(&rx[start + f.replyHeaderLen], dataLen, f.terminatesReply);
        if (*recv == nullptr) return ERR_GEN_OUT_OF_MEMORY;
    }
    if (recvLen != nullptr) *recvLen = dataLen;
    return SUCCESS;
}

#pragma GCC diagnostic pop
