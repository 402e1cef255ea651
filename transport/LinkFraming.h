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

}  // namespace linkframing
