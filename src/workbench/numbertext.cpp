#include "numbertext.h"

#include "global.h"

namespace NumberText {

namespace {
constexpr std::int64_t saturation = std::int64_t{1} << 40;

int hexDigit(QChar c)
{
    const char16_t u = c.unicode();
    if (u >= u'0' && u <= u'9')
        return u - u'0';
    if (u >= u'A' && u <= u'F')
        return u - u'A' + 10;
    if (u >= u'a' && u <= u'f')
        return u - u'a' + 10;
    return -1;
}
} // namespace

std::int64_t Val(const QString& text)
{
    qsizetype i = 0;
    while (i < text.size() && text.at(i).isSpace())
        ++i;
    bool negative = false;
    if (i < text.size() && (text.at(i) == QLatin1Char('-') || text.at(i) == QLatin1Char('+'))) {
        negative = text.at(i) == QLatin1Char('-');
        ++i;
    }
    std::int64_t value = 0;
    for (; i < text.size(); ++i) {
        const QChar c = text.at(i);
        if (c < QLatin1Char('0') || c > QLatin1Char('9'))
            break;
        value = qMin(value * 10 + (c.unicode() - '0'), saturation);
    }
    return negative ? -value : value;
}

bool IsNumber(const QString& text)
{
    const QString trimmed = text.trimmed();
    qsizetype i = 0;
    if (!trimmed.isEmpty() && (trimmed.at(0) == QLatin1Char('-') || trimmed.at(0) == '+'))
        i = 1;
    if (i == trimmed.size())
        return false;
    for (; i < trimmed.size(); ++i) {
        if (trimmed.at(i) < QLatin1Char('0') || trimmed.at(i) > QLatin1Char('9'))
            return false;
    }
    return true;
}

std::uint32_t HexVal(const QString& text)
{
    std::uint32_t value = 0;
    for (const QChar c : text) {
        const int digit = hexDigit(c);
        if (digit < 0)
            break;
        value = (value << 4) | static_cast<std::uint32_t>(digit);
    }
    return value;
}

QString FrameText(const QByteArray& frame)
{
    QString text;
    text.reserve(frame.size() * 3);
    for (const char byte : frame) {
        text += Global::ByteToText(static_cast<std::uint8_t>(byte));
        text += QLatin1Char(' ');
    }
    return text;
}

QByteArray ParseFrameText(const QString& text)
{
    QByteArray bytes(text.size() / 3, '\0');
    for (qsizetype i = 0; i < bytes.size(); ++i)
        bytes[i] = static_cast<char>(HexVal(text.mid(3 * i, 2)) & 0xFFu);
    return bytes;
}

QString HexPairs(std::int16_t word)
{
    return Global::ByteToText(Global::HiByte(word)) + QLatin1Char(' ') +
           Global::ByteToText(Global::LoByte(word));
}

QString Decimal(std::int16_t word, bool unsignedForm)
{
    return QString::number(unsignedForm ? Global::Unsigned(word) : word);
}

} // namespace NumberText
