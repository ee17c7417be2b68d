// The RS-485 bus that a line of panels shares, as far as it can be told without I/O: what
// reaches the master when several panels drive the wire at once, and when each of them
// starts. The simulator owns the line and the clock; it decides who hears a request (the
// panels at the master's speed and stop bits) and hands the answers that overlap to here.
#pragma once

#include "panelslave.h"

#include <span>
#include <vector>

namespace k7310sim {

// Time on the wire is counted in samples, 16 to a bit: a UART receiver's usual oversampling.
inline constexpr long samplesPerBit = 16;

// Bits of one character: start bit, 8 data bits, no parity, the stop bits.
constexpr long bitsPerChar(int stopBits)
{
    return 1 + 8 + stopBits;
}

// One transmitter's answer: its bytes and the sample at which its first start bit begins.
struct Transmission
{
    Bytes bytes;
    long start = 0;
};

// What the master's UART makes of the wire: the bytes, and for each the sample at which its
// (first) stop bit ends, when the receiver hands it over.
struct Received
{
    Bytes bytes;
    std::vector<long> end;
};

// Every transmission as UART bits (start 0, data least significant bit first, stop bits 1,
// idle 1), the wire carrying their AND (a driven 0 wins), decoded by a receiver at the same
// speed: it takes a 0 after idle as a start bit when it is still 0 half a bit later, samples
// each bit in its middle and checks the first stop bit. A character whose stop bit reads 0
// (a framing error) reaches the program as 0x00, as the Linux tty layer delivers it in raw
// mode. One transmission alone comes back as it was sent.
Received receiveFromWire(std::span<const Transmission> sent, int stopBits);

// Where the answers of one collision start. base: each answerer's start from its own
// turnaround, in samples; positions: each answerer's place on the line (1 for the first
// panel). Each is delayed by its own fraction of a character, drawn from the seed and its
// position, and no two start less than one bit apart: a later one is pushed back.
std::vector<long> collisionStarts(unsigned seed, std::span<const long> base,
                                  std::span<const int> positions, int stopBits);

} // namespace k7310sim
