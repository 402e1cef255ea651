#pragma once
// The board's link behaviour: turns the bytes that arrive from the host into
// the bytes the board sends back, carrying out commands on the Board and
// putting in the configured faults. It does no I/O and keeps no time of its
// own, so the event loop decides when each byte really leaves.

#include "tools/siusim/Board.h"
#include "tools/siusim/Faults.h"
#include "tools/siusim/Framing.h"
#include "tools/siusim/Recorder.h"

#include <vector>

namespace siusim {

// One piece of an answer: wait pauseMs, then send bytes; or drop the line.
// With everyMs the bytes leave one every everyMs, and stray bytes follow at
// that pace until the host's next frame has arrived (a trickling board).
struct Output {
    Bytes bytes;
    unsigned pauseMs = 0;
    bool drop = false;
    unsigned everyMs = 0;
};

class Engine {
public:
    Engine(Protocol p, Board& board, Recorder& recorder);

    std::vector<Output> onByte(uint8_t byte, Clock::time_point at);
    // True when the last byte given to onByte ended a host frame.
    bool frameEnded() const { return ended; }
    // Forgets a half-received frame and the last response (the line was
    // dropped).
    void reset();

    // A fault affects the next `count` answers. An answer is what the board
    // sends for a host frame with a correct checksum, or for the host's NACK
    // of a response; bad-bcc and stall count only answers that carry a
    // response frame, no-ack only those that carry an ACK.
    void setFault(const Fault& f) { fault = f; }
    const Fault& currentFault() const { return fault; }

private:
    std::vector<Output> answerCommand(const std::string& command);
    std::vector<Output> resendResponse();
    bool replacesAnswer(std::vector<Output>& out);
    std::vector<Output> deliver(bool withAck, Bytes frame);
    FaultKind pending() const { return fault.count > 0 ? fault.kind : FaultKind::None; }
    void use() { --fault.count; }

    Protocol protocol;
    Board& board;
    Recorder& recorder;
    FrameReader reader;
    Fault fault;
    Bytes lastFrame;  // the last response, resent when an RS-485 host NACKs it
    bool awaitingAck = false;
    bool ended = false;
};

}  // namespace siusim
