// Faults the simulator can put into its answers, so that a master's error paths can be
// exercised: silence, a corrupted CRC, a byte too many or too few, a wrong slave or
// function echo (with a correct CRC, so that only the echo is wrong), an exception answer in
// place of the data, a late answer and noise bytes sent just before the answer.
#pragma once

#include <cstdint>
#include <optional>
#include <random>
#include <string>
#include <vector>

namespace k7310sim {

struct Fault
{
    enum class Kind {
        Off,
        NoAnswer,
        BadCrc,
        ExtraByte,
        Short,
        WrongSlave,
        WrongFunction,
        Late,
        Noise,
        Exception
    };
    Kind kind = Kind::Off;
    int arg = 0; // Late: delay in ms; Noise: number of noise bytes; Exception: its code
    bool operator==(const Fault&) const = default;
};

inline constexpr int defaultLateMs = 1500;
inline constexpr int defaultNoiseBytes = 4;
inline constexpr int defaultExceptionCode = 4; // slave device failure

// Parses "none", "bad-crc", "extra-byte", "short", "wrong-slave", "wrong-function",
// "late[:MS]", "noise[:COUNT]", "exception[:CODE]" and "off" (no fault).
std::optional<Fault> parseFault(const std::string& text);
std::string faultName(const Fault& fault);

// What goes on the line for an answer under a fault: the bytes to send (empty for no
// answer) and an extra delay before them. Noise bytes are put in front of the answer.
struct FaultedAnswer
{
    std::vector<std::uint8_t> bytes;
    int delayMs = 0;
};
// withCrc is false for the probe answer, which carries no CRC.
FaultedAnswer applyFault(const Fault& fault, std::vector<std::uint8_t> answer, bool withCrc,
                         std::mt19937& random);

} // namespace k7310sim
