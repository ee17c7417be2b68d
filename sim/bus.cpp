#include "bus.h"

#include <algorithm>
#include <numeric>
#include <random>

namespace k7310sim {

namespace {

// The level one transmitter drives at a sample: 1 when idle, before it starts or after its
// last stop bit.
int levelAt(const Transmission& t, long sample, long charBits)
{
    const long rel = sample - t.start;
    if (rel < 0)
        return 1;
    const long bit = rel / samplesPerBit;
    const auto index = static_cast<std::size_t>(bit / charBits);
    if (index >= t.bytes.size())
        return 1;
    const long inChar = bit % charBits;
    if (inChar == 0)
        return 0; // start bit
    if (inChar <= 8)
        return (t.bytes[index] >> (inChar - 1)) & 1;
    return 1; // stop bits
}

} // namespace

Received receiveFromWire(std::span<const Transmission> sent, int stopBits)
{
    const long charBits = bitsPerChar(stopBits);
    const long charSamples = charBits * samplesPerBit;
    long first = 0;
    long last = 0;
    bool any = false;
    for (const Transmission& t : sent) {
        if (t.bytes.empty())
            continue;
        const long end = t.start + static_cast<long>(t.bytes.size()) * charSamples;
        first = any ? std::min(first, t.start) : t.start;
        last = any ? std::max(last, end) : end;
        any = true;
    }
    Received out;
    if (!any)
        return out;
    const auto wire = [&](long sample) {
        for (const Transmission& t : sent)
            if (levelAt(t, sample, charBits) == 0)
                return 0;
        return 1;
    };
    constexpr long half = samplesPerBit / 2;
    long s = first;
    while (s < last) {
        if (wire(s) != 0 || wire(s + half) != 0) {
            ++s; // idle, or a glitch shorter than half a bit
            continue;
        }
        const long middle = s + half; // middle of the start bit
        unsigned value = 0;
        for (int bit = 0; bit < 8; ++bit)
            value |= static_cast<unsigned>(wire(middle + (bit + 1) * samplesPerBit)) << bit;
        const long stopMiddle = middle + 9 * samplesPerBit;
        const bool framed = wire(stopMiddle) == 1;
        out.bytes.push_back(framed ? static_cast<std::uint8_t>(value) : 0);
        out.end.push_back(stopMiddle + half);
        // The receiver hunts for the next start bit from the middle of the stop bit on.
        s = stopMiddle + 1;
    }
    return out;
}

std::vector<long> collisionStarts(unsigned seed, std::span<const long> base,
                                  std::span<const int> positions, int stopBits)
{
    const long charSamples = bitsPerChar(stopBits) * samplesPerBit;
    std::vector<long> start(base.begin(), base.end());
    for (std::size_t i = 0; i < start.size(); ++i) {
        std::seed_seq seq{seed, static_cast<unsigned>(positions[i]), 0x7310U};
        std::mt19937 random(seq);
        start[i] += std::uniform_int_distribution<long>(0, charSamples - 1)(random);
    }
    std::vector<std::size_t> order(start.size());
    std::iota(order.begin(), order.end(), std::size_t{0});
    std::sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) {
        return start[a] != start[b] ? start[a] < start[b] : positions[a] < positions[b];
    });
    for (std::size_t k = 1; k < order.size(); ++k)
        start[order[k]] = std::max(start[order[k]], start[order[k - 1]] + samplesPerBit);
    return start;
}

} // namespace k7310sim
