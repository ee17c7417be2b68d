#pragma once

#include <QString>

#include <cstdint>

// Shared conversions of 16-bit values and the byte helpers of the frame code.
namespace Global {

// High byte of a word: value div 256 within 0..255.
inline std::uint8_t HiByte(int value)
{
    return static_cast<std::uint8_t>((static_cast<unsigned>(value) >> 8) & 0xFFu);
}
// Low byte of a word: value mod 256.
inline std::uint8_t LoByte(int value)
{
    return static_cast<std::uint8_t>(static_cast<unsigned>(value) & 0xFFu);
}
// Word from its high and low byte, read as a signed 16-bit value.
inline std::int16_t MakeWord(std::uint8_t high, std::uint8_t low)
{
    return static_cast<std::int16_t>(static_cast<std::uint16_t>((high << 8) | low));
}
// Quotient rounded up, for non-negative numerators and positive divisors.
inline int DivUp(int numerator, int divisor)
{
    return (numerator + divisor - 1) / divisor;
}
// A byte as it appears in frame texts: two upper-case hexadecimal digits.
QString ByteToText(std::uint8_t value);

} // namespace Global
