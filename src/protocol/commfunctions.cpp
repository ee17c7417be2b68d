#include "commfunctions.h"

#include "comctrl.h"
#include "datafunctions7310.h"
#include "errorhandling.h"
#include "exchange.h"
#include "global.h"
#include "zrbfonctions.h"

#include <QDeadlineTimer>

#include <algorithm>
#include <cmath>
#include <limits>

namespace CommFunctions {

namespace {

struct SharedValues
{
    bool rtsHandshake = false;
    int rtsDelay = 5;
    int frameDelay = 50;
    // How the last device-word transaction ended.
    Exchange::Outcome lastWordOutcome = Exchange::Outcome::Complete;
    int lastWordException = 0;
};

SharedValues& shared()
{
    static SharedValues values;
    return values;
}

std::uint8_t at(const QByteArray& bytes, qsizetype index)
{
    return static_cast<std::uint8_t>(bytes.at(index));
}

// Quantity field (bytes 4..5) of a request, high byte first.
int requestQuantity(const QByteArray& request)
{
    if (request.size() < 6)
        return 0;
    return at(request, 4) * 256 + at(request, 5);
}

void putCrc(QByteArray& frame)
{
    const std::uint16_t crc = Crc16Of(frame.constData(), frame.size() - 2);
    frame[frame.size() - 2] = static_cast<char>(Global::LoByte(crc));
    frame[frame.size() - 1] = static_cast<char>(Global::HiByte(crc));
}

bool crcMatches(const QByteArray& frame)
{
    if (frame.size() < 3)
        return false;
    const std::uint16_t crc = Crc16Of(frame.constData(), frame.size() - 2);
    return at(frame, frame.size() - 2) == Global::LoByte(crc) &&
           at(frame, frame.size() - 1) == Global::HiByte(crc);
}

QByteArray eightByteRequest(std::uint8_t slave, std::uint8_t function, std::int32_t address,
                            int field)
{
    QByteArray frame(8, '\0');
    frame[0] = static_cast<char>(slave);
    frame[1] = static_cast<char>(function);
    frame[2] = static_cast<char>(Global::HiByte(address));
    frame[3] = static_cast<char>(Global::LoByte(address));
    frame[4] = static_cast<char>(Global::HiByte(field));
    frame[5] = static_cast<char>(Global::LoByte(field));
    putCrc(frame);
    return frame;
}

// A panel answered when its frame is whole: the line shows its number.
void noteAnswer(ComCtrl& line, const QByteArray& answer)
{
    if (answer.size() >= 5 && crcMatches(answer))
        line.noteAnswer(at(answer, 0));
}

// One transaction of the device-word operations: the request on the line with the RTS
// cycle, then at most WordTimeoutMs for `expected` bytes or an exception answer. Returns
// every byte waiting then.
QByteArray wordTransaction(ComCtrl& line, const QByteArray& request, int expected)
{
    ExchangeRecorder record(line, request);
    shared().lastWordOutcome = Exchange::Outcome::PortFault;
    shared().lastWordException = 0;
    try {
        line.sendRequest(request, RtsHandshake(), RtsDelay());
        line.waitForBytes(expected, QDeadlineTimer(WordTimeoutMs), ExceptionAnswerIn);
        line.bytesWaiting();
        QByteArray answer = line.read();
        noteAnswer(line, answer);
        shared().lastWordOutcome = ClassifyAnswer(request, answer, &shared().lastWordException);
        record.answered(answer);
        return answer;
    } catch (const RunTimeError& error) {
        record.failed(error);
        throw;
    }
}

} // namespace

bool RtsHandshake()
{
    return shared().rtsHandshake;
}
void SetRtsHandshake(bool on)
{
    shared().rtsHandshake = on;
}
int RtsDelay()
{
    return shared().rtsDelay;
}
void SetRtsDelay(int milliseconds)
{
    shared().rtsDelay = milliseconds;
}
int FrameDelay()
{
    return shared().frameDelay;
}
void SetFrameDelay(int milliseconds)
{
    shared().frameDelay = milliseconds;
}

std::uint16_t Crc16Of(const char* data, qsizetype size)
{
    std::uint32_t crc = 0xFFFF;
    for (qsizetype i = 0; i < size; ++i) {
        crc ^= static_cast<std::uint8_t>(data[i]);
        for (int bit = 0; bit < 8; ++bit) {
            const bool carry = (crc & 1u) != 0;
            crc >>= 1;
            if (carry)
                crc ^= 0xA001u;
        }
    }
    return static_cast<std::uint16_t>(crc);
}

std::int16_t CRC16(const QByteArray& bytes, std::int16_t length)
{
    // The CRC is meant to be stored behind the covered bytes: the array needs room for it.
    if (length >= bytes.size() - 1) {
        ErrorHandling(QStringLiteral("CommFunctions.CRC16"), ErrorNumber::IndexOutOfRange);
        return 0;
    }
    return static_cast<std::int16_t>(Crc16Of(bytes.constData(), std::max<int>(length, 0)));
}

QByteArray FrameToSend(int slave, int function, std::int32_t address, int quantity,
                       const FrameData& data)
{
    const QList<int>* list = std::get_if<QList<int>>(&data);
    const int* single = std::get_if<int>(&data);
    const int items = list ? static_cast<int>(list->size()) : (single ? 1 : 0);
    const auto error = [](FrameError code) {
        return QByteArray(1, static_cast<char>(code));
    };

    if (slave < 0 || slave > 64)
        return error(BadSlave);
    if (address < 0 || address > 65535)
        return error(BadAddress);
    if ((function == 15 && quantity >= 1969) || (function == 16 && quantity >= 124))
        return error(QuantityTooLarge);
    if (function > 4 && items == 0)
        return error(MissingData);
    if ((function == 15 || function == 16) && !list)
        return error(DataNotList);
    if ((function == 15 || function == 16) && quantity > items)
        return error(TooFewItems);
    if ((function == 5 || function == 6) && quantity != 1)
        return error(QuantityNotOne);

    qsizetype size = 0;
    switch (function) {
    case 1:
    case 2:
    case 3:
    case 4:
    case 5:
    case 6:
        size = 8;
        break;
    case 15:
        size = Global::DivUp(items, 8) + 9;
        break;
    case 16:
        size = 2 * qsizetype(items) + 9;
        break;
    default:
        // No layout for this code: such a frame is never sent.
        ErrorHandling(QStringLiteral("CommFunctions.FrameToSend"), ErrorNumber::IndexOutOfRange);
        return {};
    }

    QByteArray frame(size, '\0');
    frame[0] = static_cast<char>(slave);
    frame[1] = static_cast<char>(function);
    frame[2] = static_cast<char>(Global::HiByte(address));
    frame[3] = static_cast<char>(Global::LoByte(address));
    const int value = list ? (list->isEmpty() ? 0 : list->first()) : (single ? *single : 0);
    if (function == 5) {
        frame[4] = static_cast<char>(value != 0 ? 0xFF : 0x00);
        frame[5] = 0;
    } else if (function == 6) {
        frame[4] = static_cast<char>(Global::HiByte(value));
        frame[5] = static_cast<char>(Global::LoByte(value));
    } else {
        frame[4] = static_cast<char>(Global::HiByte(quantity));
        frame[5] = static_cast<char>(Global::LoByte(quantity));
    }

    if (function == 15) {
        // Least significant bit first; a partly filled last byte keeps its high bits 0.
        frame[6] = static_cast<char>(Global::LoByte(Global::DivUp(std::max(quantity, 0), 8)));
        for (int i = 0; i < quantity; ++i) {
            if (list->at(i) != 0)
                frame[7 + i / 8] = static_cast<char>(at(frame, 7 + i / 8) | (1u << (i % 8)));
        }
    } else if (function == 16) {
        // Byte count; a quantity far below zero must not overflow on the way.
        frame[6] = static_cast<char>(
            Global::LoByte(static_cast<int>((static_cast<std::uint32_t>(quantity) * 2u) & 0xFFu)));
        for (int i = 0; i < quantity; ++i) {
            frame[7 + 2 * i] = static_cast<char>(Global::HiByte(list->at(i)));
            frame[8 + 2 * i] = static_cast<char>(Global::LoByte(list->at(i)));
        }
    }
    putCrc(frame);
    return frame;
}

int ExpectedAnswerLength(const QByteArray& request, const QByteArray& answerSoFar)
{
    // An exception answer: slave, function | 0x80, exception code, CRC.
    if (answerSoFar.size() > 1 && at(answerSoFar, 1) > 128)
        return 5;
    const int function = request.size() > 1 ? at(request, 1) : 0;
    const int quantity = requestQuantity(request);
    switch (function) {
    case 3:
    case 4:
        return quantity * 2 + 5;
    case 1:
    case 2:
        // Counted per 16 bits, not per 8: the wait ends there even though a bit answer
        // holds one byte per 8 bits. Kept so, the callers rely on the shorter wait.
        return Global::DivUp(quantity, 16) + 5;
    default:
        return 8;
    }
}

QByteArray FrameReceived(ComCtrl& line, const QByteArray& frame, float timeoutSeconds)
{
    QByteArray answer;
    ExchangeRecorder record(line, frame);
    try {
        const double seconds = std::isfinite(timeoutSeconds) ? std::max(0.0f, timeoutSeconds) : 0.0;
        line.sendRequest(frame, RtsHandshake(), RtsDelay());
        const QDeadlineTimer deadline(static_cast<qint64>(std::llround(seconds * 1000.0)));
        int expected = ExpectedAnswerLength(frame);
        while (answer.size() < expected) {
            if (line.waitForBytes(1, deadline) == 0)
                break; // deadline passed with nothing new
            answer += line.read();
            expected = ExpectedAnswerLength(frame, answer);
        }
        noteAnswer(line, answer);
        record.answered(answer);
    } catch (const RunTimeError& error) {
        record.failed(error);
        ErrorHandling(QStringLiteral("CommFunctions.FrameReceived"), error);
    }
    if (answer.isEmpty())
        return QByteArray(1, '\0');
    return answer;
}

QString FrameToText(const QByteArray& frame)
{
    return FrameToText(frame, [](int textId) { return DataFunctions7310::GetText(textId); });
}

QString FrameToText(const QByteArray& frame, const TextLookup& lookup)
{
    if (frame.size() == 1 && frame.at(0) == 0)
        return QStringLiteral("(Time-out)");
    // The 256 byte texts are made once; frames are shown after every exchange.
    static const QList<QString> byteTexts = [] {
        QList<QString> texts;
        for (int value = 0; value < 256; ++value)
            texts.append(Global::ByteToText(static_cast<std::uint8_t>(value)) + QLatin1Char(' '));
        return texts;
    }();
    QString text;
    text.reserve(frame.size() * 3);
    for (const char byte : frame)
        text += byteTexts[static_cast<std::uint8_t>(byte)];
    if (frame.size() > 1 && at(frame, 1) >= 129) {
        // 233800 + the requested function code, which is byte 1 without its high bit.
        const int textId = ExceptionTextBase - 128 + at(frame, 1);
        text += QLatin1Char('(') + (lookup ? lookup(textId) : QString()) + QLatin1Char(')');
    }
    return text;
}

// ---- Settings text -----------------------------------------------------------------------

namespace {

// Leading decimal digits of a text, as a number (0 when there are none).
qint64 leadingNumber(QStringView text)
{
    text = text.trimmed();
    qint64 value = 0;
    bool negative = false;
    qsizetype i = 0;
    if (i < text.size() && (text[i] == QLatin1Char('-') || text[i] == QLatin1Char('+'))) {
        negative = text[i] == QLatin1Char('-');
        ++i;
    }
    for (; i < text.size() && text[i].isDigit() && value < 1'000'000'000'000; ++i)
        value = value * 10 + text[i].digitValue();
    return negative ? -value : value;
}

bool applyText(ComCtrl& line, const QString& text, const char* procedure)
{
    try {
        line.setSettings(text);
        return true;
    } catch (const RunTimeError& error) {
        ErrorHandling(QLatin1String(procedure), error);
        return false;
    }
}

} // namespace

std::int32_t CommBaudsOf(const QString& settings)
{
    const qsizetype comma = settings.indexOf(QLatin1Char(','));
    const qint64 value =
        leadingNumber(QStringView(settings).left(comma < 0 ? settings.size() : comma));
    return static_cast<std::int32_t>(std::clamp<qint64>(
        value, std::numeric_limits<std::int32_t>::min(), std::numeric_limits<std::int32_t>::max()));
}

QString WithCommBauds(const QString& settings, std::int32_t bauds)
{
    const qsizetype comma = settings.indexOf(QLatin1Char(','));
    return QString::number(bauds) + (comma < 0 ? QString() : settings.mid(comma));
}

std::int16_t CommStopsOf(const QString& settings)
{
    if (settings.isEmpty())
        return 0;
    return static_cast<std::int16_t>(leadingNumber(QStringView(settings).right(1)));
}

QString WithCommStops(const QString& settings, std::int16_t stops)
{
    return settings.left(std::max<qsizetype>(settings.size() - 1, 0)) + QString::number(stops);
}

QString CommParityOf(const QString& settings)
{
    // Without a comma this is the first character, as the field position 0 + 1 gives.
    return settings.mid(settings.indexOf(QLatin1Char(',')) + 1, 1);
}

QString WithCommParity(const QString& settings, const QString& parity)
{
    const qsizetype position = settings.indexOf(QLatin1Char(',')) + 1;
    if (parity.isEmpty() || position >= settings.size())
        return settings;
    QString text = settings;
    text[position] = parity.at(0);
    return text;
}

std::int32_t GetCommBauds(const ComCtrl& line)
{
    return CommBaudsOf(line.settings());
}

bool SetCommBauds(ComCtrl& line, std::int32_t bauds)
{
    return applyText(line, WithCommBauds(line.settings(), bauds), "CommFunctions.SetCommBauds");
}

std::int16_t GetCommStops(const ComCtrl& line)
{
    return CommStopsOf(line.settings());
}

bool SetCommStops(ComCtrl& line, std::int16_t stops)
{
    return applyText(line, WithCommStops(line.settings(), stops), "CommFunctions.SetCommStops");
}

void StoreLineSettings(const ComCtrl& line)
{
    const QString communication = QStringLiteral("Communication");
    ZRBfonctions::SetIniParam(communication, QStringLiteral("Bauds"),
                              QString::number(GetCommBauds(line)));
    ZRBfonctions::SetIniParam(communication, QStringLiteral("Stops"),
                              QString::number(GetCommStops(line)));
}

QString GetCommParity(const ComCtrl& line)
{
    return CommParityOf(line.settings());
}

bool SetCommParity(ComCtrl& line, const QString& parity)
{
    return applyText(line, WithCommParity(line.settings(), parity), "CommFunctions.SetCommParity");
}

// ---- Device words ------------------------------------------------------------------------

QByteArray ReadWordsRequest(std::uint8_t slave, std::int32_t address, int count)
{
    return eightByteRequest(slave, 3, address, count);
}

QByteArray WriteWordRequest(std::uint8_t slave, std::int32_t address, std::int16_t value)
{
    return eightByteRequest(slave, 6, address, value);
}

bool ValidReadAnswer(const QByteArray& request, const QByteArray& answer)
{
    if (request.size() != 8 || at(request, 1) != 3)
        return false;
    const int expected = 2 * requestQuantity(request) + 5;
    return answer.size() == expected && crcMatches(answer) && at(answer, 1) == 3 &&
           at(answer, 0) == at(request, 0);
}

QList<std::int16_t> AnswerWords(const QByteArray& answer)
{
    QList<std::int16_t> words;
    const qsizetype count = (answer.size() - 5) / 2;
    words.reserve(std::max<qsizetype>(count, 0));
    for (qsizetype i = 0; i < count; ++i)
        words.append(Global::MakeWord(at(answer, 3 + 2 * i), at(answer, 4 + 2 * i)));
    return words;
}

bool ValidWriteAnswer(const QByteArray& request, const QByteArray& answer)
{
    if (request.size() != 8 || at(request, 1) != 6)
        return false;
    return answer.size() == 8 && at(answer, 1) == 6 && at(answer, 0) == at(request, 0);
}

bool ExceptionAnswerIn(QByteArrayView waiting)
{
    if (waiting.size() < 5 || (static_cast<std::uint8_t>(waiting[1]) & 0x80u) == 0)
        return false;
    const std::uint16_t crc = Crc16Of(waiting.data(), 3);
    return static_cast<std::uint8_t>(waiting[3]) == Global::LoByte(crc) &&
           static_cast<std::uint8_t>(waiting[4]) == Global::HiByte(crc);
}

bool LitMots(ComCtrl& line, std::uint8_t slave, std::int32_t address, QList<std::int16_t>& words)
{
    try {
        if (words.isEmpty())
            throw RunTimeError(ErrorNumber::IndexOutOfRange);
        const int count = static_cast<int>(words.size());
        const QByteArray request = ReadWordsRequest(slave, address, count);
        const QByteArray answer = wordTransaction(line, request, 2 * count + 5);
        if (!ValidReadAnswer(request, answer))
            return false;
        words = AnswerWords(answer);
        return true;
    } catch (const RunTimeError& error) {
        ErrorHandling(QStringLiteral("CommFunctions.LitMots"), error);
        return false;
    }
}

Exchange::Outcome LastWordOutcome(int* exceptionCode)
{
    if (exceptionCode)
        *exceptionCode = shared().lastWordException;
    return shared().lastWordOutcome;
}

bool EcritMots(ComCtrl& line, std::uint8_t slave, std::int32_t address, std::int16_t value)
{
    try {
        const QByteArray request = WriteWordRequest(slave, address, value);
        return ValidWriteAnswer(request, wordTransaction(line, request, 8));
    } catch (const RunTimeError& error) {
        ErrorHandling(QStringLiteral("CommFunctions.EcritMots"), error);
        return false;
    }
}

} // namespace CommFunctions
