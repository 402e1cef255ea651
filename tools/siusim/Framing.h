#pragma once
// The board's side of the two framed link protocols: reassembling the host's
// command frames from the byte stream and building the board's response
// frames. Written from the board's point of view on purpose: it shares no code
// with the host's framing, so a checksum computed wrongly on one side cannot
// hide behind the same mistake on the other.

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace siusim {

using Bytes = std::vector<uint8_t>;

enum class Protocol { Direct, Rs485 };

constexpr uint8_t kSoh = 0x01;
constexpr uint8_t kStx = 0x02;
constexpr uint8_t kEtx = 0x03;
constexpr uint8_t kEot = 0x04;
constexpr uint8_t kAck = 0x06;
constexpr uint8_t kNack = 0x15;

// The RS-485 host addresses the board with these two fixed bytes.
constexpr uint8_t kAddress1 = 0x48;
constexpr uint8_t kAddress2 = 0x29;

// Longest command the board accepts; a longer run of bytes is line noise.
constexpr size_t kMaxCommand = 1000;

// XOR of every byte of [begin, end).
uint8_t blockCheck(const uint8_t* begin, const uint8_t* end);

// What one received byte completed.
enum class HostEvent {
    None,         // nothing yet, or a byte skipped between frames
    Command,      // a whole frame for this board with a correct checksum
    BadChecksum,  // a whole frame for this board whose checksum is wrong
    Ack,          // ACK between frames
    Nack,         // NACK between frames
};

class FrameReader {
public:
    explicit FrameReader(Protocol p) : protocol(p) {}

    // Takes the next byte from the line. After Command, command() holds the
    // frame's data bytes.
    HostEvent push(uint8_t byte);
    const std::string& command() const { return data; }
    void reset();

private:
    enum class State { Idle, Address1, Address2, WaitStx, Data, Check };
    HostEvent startOrSkip(uint8_t byte);

    Protocol protocol;
    State state = State::Idle;
    Bytes frame;       // from the frame's first byte on, as the checksum covers it
    bool ours = true;  // the RS-485 address named this board
    std::string data;
};

// The frame that carries a reply (without the ACK that precedes it):
// point-to-point STX data ETX BCC, the check over STX..ETX;
// RS-485 SOH 'H' ')' '0' data ETX BCC, the check over SOH..ETX.
Bytes responseFrame(Protocol p, const std::string& data);

}  // namespace siusim
