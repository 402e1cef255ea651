#include "tools/siusim/Engine.h"

namespace siusim {

Engine::Engine(Protocol p, Board& b, Recorder& r) : protocol(p), board(b), recorder(r), reader(p) {}

void Engine::reset() {
    reader.reset();
    lastFrame.clear();
    awaitingAck = false;
}

std::vector<Output> Engine::onByte(uint8_t byte, Clock::time_point at) {
    const HostEvent event = reader.push(byte);
    ended = event == HostEvent::Command || event == HostEvent::BadChecksum;
    switch (event) {
        case HostEvent::Command:
            recorder.add(at, reader.command());
            return answerCommand(reader.command());
        case HostEvent::BadChecksum:
            awaitingAck = false;
            return {Output{{kNack}}};
        case HostEvent::Ack:
            // The host's final ACK closes the exchange.
            awaitingAck = false;
            return {};
        case HostEvent::Nack:
            // Only the RS-485 host asks for a response again; the
            // point-to-point host resends its command instead.
            if (protocol == Protocol::Rs485 && awaitingAck) return resendResponse();
            return {};
        case HostEvent::None:
            return {};
    }
    return {};
}

// The faults that take the place of the whole answer; the command is then not
// carried out.
bool Engine::replacesAnswer(std::vector<Output>& out) {
    switch (pending()) {
        case FaultKind::Drop:
            out = {Output{{}, 0, true}};
            break;
        case FaultKind::Silent:
            out.clear();
            break;
        case FaultKind::Garbage:
            out = {Output{garbageBytes()}};
            break;
        default:
            return false;
    }
    use();
    lastFrame.clear();
    awaitingAck = false;
    return true;
}

std::vector<Output> Engine::answerCommand(const std::string& command) {
    std::vector<Output> out;
    if (pending() == FaultKind::Nack) {
        use();
        awaitingAck = false;
        return {Output{{kNack}}};
    }
    if (replacesAnswer(out)) return out;

    auto reply = board.execute(command);
    if (!reply) {
        awaitingAck = false;
        return {Output{{kNack}}};
    }
    // An RS-485 output command ends at the board's ACK: it has no response.
    Bytes frame;
    if (protocol == Protocol::Direct || command[0] != 'L') frame = responseFrame(protocol, *reply);
    lastFrame = frame;
    awaitingAck = !frame.empty();
    return deliver(true, frame);
}

std::vector<Output> Engine::resendResponse() {
    std::vector<Output> out;
    if (replacesAnswer(out)) return out;
    return deliver(false, lastFrame);
}

std::vector<Output> Engine::deliver(bool withAck, Bytes frame) {
    Bytes head;
    if (withAck) head.push_back(kAck);
    unsigned stall = 0;
    unsigned every = 0;
    switch (pending()) {
        case FaultKind::Trickle:
            use();
            every = fault.stallMs;
            break;
        case FaultKind::Noise:
            use();
            {
                const Bytes noise = garbageBytes();
                head.insert(head.begin(), noise.begin(), noise.end());
            }
            break;
        case FaultKind::NoAck:
            if (withAck) {
                use();
                head.pop_back();
            }
            break;
        case FaultKind::BadBcc:
            if (!frame.empty()) {
                use();
                frame.back() ^= 0xFF;
            }
            break;
        case FaultKind::Stall:
            if (!frame.empty()) {
                use();
                stall = fault.stallMs;
            }
            break;
        default:
            break;
    }
    // A stall falls in the middle of the response frame, after the ACK and
    // the first half of the frame have gone out.
    const size_t half = stall > 0 ? frame.size() / 2 : frame.size();
    Output first{head};
    first.everyMs = every;
    first.bytes.insert(first.bytes.end(), frame.begin(), frame.begin() + half);
    std::vector<Output> out;
    if (!first.bytes.empty()) out.push_back(first);
    if (half < frame.size()) out.push_back(Output{Bytes(frame.begin() + half, frame.end()), stall});
    return out;
}

}  // namespace siusim
