#include "global.h"

#include <QUuid>

namespace Global {

QString ByteToText(std::uint8_t value)
{
    return QStringLiteral("%1").arg(value, 2, 16, QLatin1Char('0')).toUpper();
}

std::int32_t Unsigned(std::int16_t value)
{
    return static_cast<std::uint16_t>(value);
}

std::int16_t Signed(std::int32_t value)
{
    return static_cast<std::int16_t>(static_cast<std::uint16_t>(value & 0xFFFF));
}

std::int32_t BinToDec(const QString& bits)
{
    constexpr qsizetype width = 32;
    const QString padded = bits.size() >= width
                               ? bits.right(width)
                               : QString(width - bits.size(), QLatin1Char('0')) + bits;
    std::int32_t magnitude = 0;
    for (qsizetype position = 1; position < width; ++position)
        if (padded[position] == QLatin1Char('1'))
            magnitude |= std::int32_t{1} << (width - 1 - position);
    return padded[0] == QLatin1Char('1') ? -magnitude : magnitude;
}

QString IntToBin(std::int16_t value, bool strip)
{
    // The sign bit, then the low 15 bits of the two's-complement pattern.
    const bool negative = value < 0;
    const int low = negative ? value + 32768 : value;
    QString text;
    for (int bit = 0; bit <= 14; ++bit) {
        text.prepend((low >> bit) & 1 ? QLatin1Char('1') : QLatin1Char('0'));
        if (bit == 3 || bit == 7 || bit == 11)
            text.prepend(QLatin1Char(' '));
    }
    text.prepend(negative ? QLatin1Char('1') : QLatin1Char('0'));
    if (strip) {
        qsizetype first = 0;
        while (first < text.size() &&
               (text[first] == QLatin1Char('0') || text[first] == QLatin1Char(' ')))
            ++first;
        text.remove(0, first);
    }
    return text.trimmed();
}

QString CurrentVersion()
{
    return QStringLiteral(K7310_VERSION);
}

QVersionNumber CurrentVersionNumber()
{
    return QVersionNumber::fromString(CurrentVersion());
}

QString TimeCode(const QDateTime& when)
{
    return when.toString(QStringLiteral("yyyyMMdd-HHmmss"));
}

QString GetGuid()
{
    return QUuid::createUuid().toString(QUuid::WithBraces).toUpper();
}

} // namespace Global
