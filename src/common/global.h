#pragma once

#include <QDateTime>
#include <QString>
#include <QVersionNumber>

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

// The bit pattern of a signed word read as unsigned: 0..65535 (-1 gives 65535).
std::int32_t Unsigned(std::int16_t value);
// The low 16 bits of value read as signed: -32768..32767 (65535 gives -1, 32768 gives -32768).
std::int16_t Signed(std::int32_t value);

// A text of "0"/"1" digits as a number, on 32 positions (padded on the left with "0", longer
// texts lose their leftmost digits). The leftmost of the 32 positions is a sign flag over the
// magnitude of the other 31 (sign and magnitude, not two's complement): a 1 followed by
// thirty-one 0s is 0, a 1, thirty 0s and a 1 is -1. Any other character counts as 0 but keeps
// its position, so callers remove blanks first.
std::int32_t BinToDec(const QString& bits);

// The 16 binary digits of value in four groups of four, most significant first
// ("0000 0000 0000 0101" for 5, "1111 1111 1111 1111" for -1). With strip, leading zeros and
// blanks go ("101" for 5, "" for 0).
QString IntToBin(std::int16_t value, bool strip);

// The program's version as "major.minor.revision", and as numbers (splash and About box).
QString CurrentVersion();
QVersionNumber CurrentVersionNumber();

// A compact local time stamp for file names and print-outs: "yyyyMMdd-HHmmss".
QString TimeCode(const QDateTime& when = QDateTime::currentDateTime());

// A new globally unique identifier in registry form: "{XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}",
// upper-case hexadecimal.
QString GetGuid();

} // namespace Global
