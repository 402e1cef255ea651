#pragma once
// Faults the simulator can put into its next answers, to exercise the host's
// error paths.

#include <string>
#include <vector>

namespace siusim {

enum class FaultKind {
    None,
    Nack,     // answer NACK instead of carrying out the command
    NoAck,    // leave out the ACK before the response frame
    BadBcc,   // corrupt the response frame's checksum
    Silent,   // answer nothing
    Garbage,  // answer bytes that are no part of the protocol instead
    Noise,    // send such bytes before an otherwise correct answer
    Stall,    // stop for stallMs in the middle of the response frame
    Drop,     // close the line and open a new one
    Trickle,  // send the answer one byte every stallMs, then stray bytes at
              // that pace until the host's next frame
};

struct Fault {
    FaultKind kind = FaultKind::None;
    unsigned count = 0;    // answers still to be affected
    unsigned stallMs = 0;  // for Stall and Trickle
};

// The bytes sent by Garbage and Noise: none of them is a control byte of
// either protocol.
std::vector<unsigned char> garbageBytes();

// Parses "MODE [COUNT [MS]]" (words already split); COUNT defaults to 1, MS to
// 100 for a stall and 150 for a trickle. Returns false and an explanation for a bad description.
bool parseFault(const std::vector<std::string>& words, Fault& out, std::string& error);
std::string describeFault(const Fault& f);

std::vector<std::string> splitWords(const std::string& text, char separator = ' ');

}  // namespace siusim
