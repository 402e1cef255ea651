#include "tools/siusim/Framing.h"

namespace siusim {

uint8_t blockCheck(const uint8_t* begin, const uint8_t* end) {
    uint8_t x = 0;
    for (const uint8_t* p = begin; p != end; ++p) x ^= *p;
    return x;
}

void FrameReader::reset() {
    state = State::Idle;
    frame.clear();
    data.clear();
    ours = true;
}

HostEvent FrameReader::startOrSkip(uint8_t byte) {
    frame.clear();
    const uint8_t start = protocol == Protocol::Direct ? kStx : kEot;
    if (byte == start) {
        frame.push_back(byte);
        state = protocol == Protocol::Direct ? State::Data : State::Address1;
        return HostEvent::None;
    }
    state = State::Idle;
    if (byte == kAck) return HostEvent::Ack;
    if (byte == kNack) return HostEvent::Nack;
    return HostEvent::None;
}

HostEvent FrameReader::push(uint8_t byte) {
    switch (state) {
        case State::Idle:
            return startOrSkip(byte);
        case State::Address1:
            frame.push_back(byte);
            ours = byte == kAddress1;
            state = State::Address2;
            return HostEvent::None;
        case State::Address2:
            frame.push_back(byte);
            ours = ours && byte == kAddress2;
            state = State::WaitStx;
            return HostEvent::None;
        case State::WaitStx:
            if (byte != kStx) return startOrSkip(byte);
            frame.push_back(byte);
            state = State::Data;
            return HostEvent::None;
        case State::Data:
            // Commands are ASCII: a frame start inside one means the host gave
            // up on the previous frame and began a new one.
            if (byte == (protocol == Protocol::Direct ? kStx : kEot)) return startOrSkip(byte);
            frame.push_back(byte);
            if (byte == kEtx) {
                state = State::Check;
            } else if (frame.size() > kMaxCommand + 4) {
                reset();
            }
            return HostEvent::None;
        case State::Check: {
            state = State::Idle;
            const uint8_t expected = blockCheck(frame.data(), frame.data() + frame.size());
            // A board on a multi-drop line keeps quiet about frames for others.
            if (!ours) return HostEvent::None;
            if (byte != expected) return HostEvent::BadChecksum;
            const size_t head = protocol == Protocol::Direct ? 1 : 4;
            data.assign(frame.begin() + head, frame.end() - 1);
            return HostEvent::Command;
        }
    }
    return HostEvent::None;
}

Bytes responseFrame(Protocol p, const std::string& data) {
    Bytes out;
    if (p == Protocol::Direct) {
        out.push_back(kStx);
    } else {
        // The host stores the three header bytes without looking at them; the
        // board puts its address and a status byte there.
        out = {kSoh, kAddress1, kAddress2, '0'};
    }
    out.insert(out.end(), data.begin(), data.end());
    out.push_back(kEtx);
    out.push_back(blockCheck(out.data(), out.data() + out.size()));
    return out;
}

}  // namespace siusim
