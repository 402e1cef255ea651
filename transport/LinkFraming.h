#pragma once
// Pieces shared by the two framed link exchanges (point-to-point and RS-485):
// the control bytes, the size of the work areas, frame building with the XOR
// block check, and the hand-over of a received reply.

namespace linkframing {

constexpr unsigned char SOH = 0x01;
constexpr unsigned char STX = 0x02;
constexpr unsigned char ETX = 0x03;
constexpr unsigned char EOT = 0x04;
constexpr unsigned char ACK = 0x06;
constexpr unsigned char NACK = 0x15;

// A command frame and a reply are each built in an area of this size; the
// board never sends more, so anything longer is a fault of the line.
constexpr int WORK_AREA_SIZE = 1000;

// Writes header[0..headerLen), data[0..len), ETX and the block check (XOR of
// every byte from the first header byte through the ETX) into out, which
// holds WORK_AREA_SIZE bytes. Returns the frame length, ERR_SER_INVALID_SIZE
// when the frame would not fit, or ERR_GEN_INVALID_POINTER without data.
int buildFrame(const unsigned char* header, int headerLen, const unsigned char* data, int len,
               unsigned char* out);

// What a reading state of either exchange waits for ("ACK", "STX", "SOH",
// "ETX" or "BCC"), or null for a state that does not read.
const char* awaitedItem(int state);

// A new array holding data[0..len), followed by a NUL when terminate is set,
// or null when memory is short; the receiver frees it with delete[].
unsigned char* copyReply(const unsigned char* data, int len, bool terminate);

// One line of an exchange's log: a level of eLogLevel and a printf text, or
// no line at all when the text is null.
struct Line {
    int level;
    const char* text;
};

// What tells one framing from the other: the bytes around the data, the
// budgets, the branches the exchange loop takes and the lines it logs. Each
// text is given the arguments named beside it and may use fewer of them.
struct Framing {
    const char* caller;
    const unsigned char* header;  // written before the command data
    int headerLen;
    unsigned char replyStart;  // first byte of the board's reply frame
    int replyHeaderLen;        // reply bytes from replyStart up to the data
    int replyStartState;       // the state that waits for replyStart after the ACK

    // A command starting with this byte has no reply and ends at the board's
    // ACK with nothing handed over; 0 when the caller says so by giving no
    // reply pointer, and is still acknowledged after the ACK.
    unsigned char noReplyCommand;
    bool clearsOutputs;    // the reply pointer and length are cleared on entry
    bool terminatesReply;  // a NUL follows the data handed over, which may be empty
    bool paced;            // keeps the process-wide pause between commands

    // Budgets. silentReads: consecutive empty reads that end the exchange;
    // 0 derives both budgets from the line's time-outs as port calls in about
    // a second, the write budget then allowing failed writes to be repeated.
    int silentReads;
    bool ackWithinOneTimeout;  // an empty read while the ACK is due ends it
    bool repeatsWrites;        // a short write is paused and written again

    // The board's refusals. answersInLoop: a NACK makes the frame go again,
    // a bad check is answered with NACK and the good one with ACK, each a
    // state of the loop, and too many NACKs mean the command is unsupported.
    // Otherwise a NACK, a bad check or a stray byte where the reply must
    // start ends the exchange with its own code, and the ACK goes out,
    // unchecked, after the loop.
    bool answersInLoop;
    bool strictReplyStart;
    bool keepsAck;              // the ACK or NACK stays in the reply area
    bool portFailureIsTimeout;  // a failed read or write ends as a time-out
    bool tracedWrites;          // frames go through the traced Write wrapper
    bool dumpsEveryEnd;         // the reply area is dumped whatever the outcome

    // Log lines.
    Line readFailed;       // awaited item, attempts left
    Line silentRead;       // empty reads in a row
    Line byteRead;         // -
    Line byteAwaited[4];   // - ; for WAIT_ACK, the reply start, WAIT_ETX, VALIDATE_BCC
    Line ackReceived;      // -
    Line nackReceived;     // -
    Line startWithoutAck;  // -
    Line invalidAck;       // the byte
    Line replyStartFound;  // -
    Line replyStartWrong;  // -
    Line etxReceived;      // -
    Line dataLength;       // the data length
    Line bccCompared;      // received, calculated
    Line bccWrong;         // -
    Line sendFailed;       // attempts left
    Line timedOut;         // -
    const char* rdataLabel;
};

}  // namespace linkframing
