#pragma once

#include <QByteArray>
#include <QString>

#include <cstdint>

// Reading numbers out of what the user typed into a text box.
namespace NumberText {

// The number at the start of the text: leading blanks skipped, an optional sign, then decimal
// digits up to the first other character; 0 when there are none. Saturates far beyond 32 bits.
std::int64_t Val(const QString& text);
// True when the whole text, blanks around it aside, is a decimal integer with optional sign.
bool IsNumber(const QString& text);
// The hexadecimal number at the start of the text, 0 when there is none; only the low 32 bits
// of a longer number are kept.
std::uint32_t HexVal(const QString& text);

// Frame texts: every byte as two hexadecimal digits and a blank, so byte i starts at 3i.
QString FrameText(const QByteArray& frame);
// Length / 3 bytes (integer division), byte i read from the two characters at 3i; a text
// edited by hand is taken as it stands.
QByteArray ParseFrameText(const QString& text);

// A 16-bit word as four hexadecimal digits in two pairs, high pair first: "1A 2B".
QString HexPairs(std::int16_t word);
// A 16-bit word in decimal, read as unsigned (0..65535) or signed (-32768..32767).
QString Decimal(std::int16_t word, bool unsignedForm);

} // namespace NumberText
