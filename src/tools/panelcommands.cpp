#include "panelcommands.h"

#include "commfunctions.h"
#include "global.h"

#include <QList>

#include <algorithm>
#include <cmath>
#include <limits>

namespace PanelCommands {

namespace {

// Bit position of LED n inside its image word: 3 bits per LED, five LEDs a word.
constexpr int bitOf(int n)
{
    return (3 * n) % 15;
}

std::uint8_t byteAt(const QByteArray& bytes, int index)
{
    return static_cast<std::uint8_t>(bytes.at(index));
}

// Function 6 on one register: slave, 6, address, value, CRC.
QByteArray writeOne(int slave, int address, int value)
{
    return CommFunctions::FrameToSend(slave, 6, address, 1, value);
}

} // namespace

std::array<int, ImageWords> Pack(const PanelImage& image)
{
    std::array<int, ImageWords> words{};
    for (int n = 0; n < LedCount; ++n)
        words[n / 5] += image.leds[n] * (1 << bitOf(n));
    if (image.horn != 0)
        words[ImageWords - 1] += 1 << HornImageBit;
    return words;
}

bool Unpack(const QByteArray& answer, PanelImage& image)
{
    // Slave, function, byte count and the ten data bytes.
    if (answer.size() < 3 + 2 * ImageWords)
        return false;
    for (int n = 0; n < LedCount; ++n) {
        const int word = n / 5;
        const int value =
            Global::MakeWord(byteAt(answer, 3 + 2 * word), byteAt(answer, 4 + 2 * word));
        image.leds[n] = (value / (1 << bitOf(n))) & 7;
    }
    // Bit 12 of word 4 is bit 4 of its high byte.
    image.horn = (byteAt(answer, 3 + 2 * (ImageWords - 1)) & 0x10) != 0 ? 1 : 0;
    return true;
}

QByteArray LedRequest(int slave, int n, const PanelImage& image)
{
    if (n >= LedCount)
        return writeOne(slave, HornWord, image.horn);
    return writeOne(slave, FirstLed + n, image.leds[n]);
}

PanelImage AlarmImage()
{
    PanelImage alarm;
    alarm.leds[1] = AlarmState;
    alarm.leds[11] = AlarmState;
    alarm.horn = 1;
    return alarm;
}

PanelImage AcknowledgedImage(const PanelImage& image)
{
    PanelImage acknowledged = image;
    for (int& state : acknowledged.leds) {
        if (state > SteadyState)
            state = SteadyState;
    }
    acknowledged.horn = 0;
    return acknowledged;
}

QByteArray ImageWriteRequest(int slave, const PanelImage& image)
{
    const std::array<int, ImageWords> words = Pack(image);
    return CommFunctions::FrameToSend(slave, 16, ImageWord, ImageWords,
                                      QList<int>(words.begin(), words.end()));
}

QByteArray ImageReadRequest(int slave)
{
    return CommFunctions::FrameToSend(slave, 3, ImageWord, ImageWords);
}

QByteArray AllLedsOffRequest(int slave)
{
    return writeOne(slave, AllLeds, 0);
}

QByteArray HornOffRequest(int slave)
{
    return writeOne(slave, HornWord, 0);
}

QByteArray LampTestRequest(int slave)
{
    return writeOne(slave, LampTest, 1);
}

QByteArray AckReadRequest(int slave)
{
    return CommFunctions::FrameToSend(slave, 3, AckWord, 1);
}

bool AckAnswerShort(const QByteArray& answer)
{
    // Slave, function, byte count, the word and the CRC.
    return answer.size() < 7;
}

bool Acknowledged(const QByteArray& answer)
{
    // Byte 4 is the low byte of the word.
    return !AckAnswerShort(answer) && byteAt(answer, 4) == 1;
}

int SlaveNumber(const QString& text)
{
    // Leading blanks, a sign, digits, an optional fraction; anything after is ignored.
    const QString trimmed = text.trimmed();
    qsizetype end = 0;
    if (end < trimmed.size() && (trimmed[end] == u'-' || trimmed[end] == u'+'))
        ++end;
    while (end < trimmed.size() && trimmed[end].isDigit())
        ++end;
    if (end < trimmed.size() && trimmed[end] == u'.') {
        ++end;
        while (end < trimmed.size() && trimmed[end].isDigit())
            ++end;
    }
    bool ok = false;
    const double value = trimmed.left(end).toDouble(&ok);
    if (!ok || !std::isfinite(value))
        return 0;
    const double clamped = std::clamp(value, double(std::numeric_limits<std::int16_t>::min()),
                                      double(std::numeric_limits<std::int16_t>::max()));
    return static_cast<int>(std::nearbyint(clamped)); // the default rounding: half to even
}

bool Lit(int state, int phase)
{
    switch (state) {
    case 1:
        return true;
    case 2:
        return phase == 0;
    case 3:
        return phase == 0 || phase == 3;
    case 4:
        return phase == 0 || phase == 1;
    default:
        return false;
    }
}

std::array<bool, LedCount> LitLeds(const std::array<int, LedCount>& states, int phase)
{
    std::array<bool, LedCount> lit{};
    bool previous = false;
    for (int n = 0; n < LedCount; ++n) {
        if (states[n] < 5)
            previous = Lit(states[n], phase);
        lit[n] = previous;
    }
    return lit;
}

} // namespace PanelCommands
