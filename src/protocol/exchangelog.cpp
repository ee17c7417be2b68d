#include "exchangelog.h"

#include "detectk9120.h"
#include "errorhandling.h"
#include "textids.h"

#include <QSaveFile>

#include <array>

ExchangeLog::ExchangeLog(qsizetype capacity)
    : m_capacity(std::max<qsizetype>(capacity, 1))
{}

void ExchangeLog::append(const Exchange& exchange)
{
    if (m_slots.empty())
        m_slots.resize(static_cast<std::size_t>(m_capacity));
    if (full())
        dropOldest();
    m_slots[static_cast<std::size_t>((m_first + m_count) % m_capacity)] = exchange;
    ++m_count;
}

void ExchangeLog::dropOldest()
{
    if (m_count == 0)
        return;
    m_first = (m_first + 1) % m_capacity;
    --m_count;
}

void ExchangeLog::clear()
{
    m_first = 0;
    m_count = 0;
}

const Exchange& ExchangeLog::at(qsizetype index) const
{
    Q_ASSERT(index >= 0 && index < m_count);
    return m_slots[static_cast<std::size_t>((m_first + index) % m_capacity)];
}

namespace ExchangeText {

namespace {

using CommFunctions::TextLookup;

int byteAt(const QByteArray& bytes, qsizetype index)
{
    return static_cast<std::uint8_t>(bytes.at(index));
}

int wordAt(const QByteArray& bytes, qsizetype index)
{
    return byteAt(bytes, index) * 256 + byteAt(bytes, index + 1);
}

// The configuration words by their labels in the configuration window.
int configWordLabel(int address)
{
    switch (address) {
    case 128:
        return 231102;
    case 129:
        return 231103;
    case 130:
        return 231101;
    case 131:
        return 231104;
    case 65:
        return 231201;
    case 67:
        return 231202;
    case 69:
        return 231203;
    case 70:
        return 231204;
    default:
        return 0;
    }
}

QString wordText(int address, int value, const TextLookup& text)
{
    const int label = configWordLabel(address);
    QString shown = QString::number(value);
    // Word 128 holds a speed code: the speed follows in brackets.
    static constexpr std::array<std::pair<int, int>, 5> speeds{
        {{240, 1200}, {248, 2400}, {252, 4800}, {254, 9600}, {255, 19200}}};
    if (address == 128)
        for (const auto& [code, speed] : speeds)
            if (code == value)
                shown += QStringLiteral(" (%1)").arg(speed);
    return text(TextId::MonitorWord)
        .arg(address)
        .arg(label ? text(label) : QString(), shown)
        .simplified();
}

// LEDs lit in the five packed words at `offset`: 3 bits each at (3 × n) mod 15 of word n / 5.
QString imageText(int textId, const QByteArray& bytes, qsizetype offset, const TextLookup& text)
{
    int lit = 0;
    for (int n = 0; n < 24; ++n)
        lit += ((wordAt(bytes, offset + 2 * (n / 5)) >> ((3 * n) % 15)) & 7) != 0;
    const bool horn = (wordAt(bytes, offset + 8) & 0x1000) != 0;
    return text(textId).arg(lit) + (horn ? text(TextId::MonitorWithHorn) : QString());
}

QString functionName(int function, const TextLookup& text)
{
    static constexpr std::array<int, 8> listed{1, 2, 3, 4, 5, 6, 15, 16};
    for (std::size_t i = 0; i < listed.size(); ++i)
        if (listed[i] == function)
            return text(TextId::FunctionFirst + static_cast<int>(i));
    return QString::number(function);
}

QString requestMeaning(const Exchange& e, const TextLookup& text)
{
    const QByteArray& q = e.request;
    const QByteArray& a = e.answer;
    const bool complete = e.outcome == Exchange::Outcome::Complete;
    if (q == CommFunctions::ProbeRequest())
        return complete ? text(TextId::MonitorProbeAnswer)
                              .arg(byteAt(a, 1))
                              .arg(byteAt(a, 2))
                              .arg(byteAt(a, 3))
                        : text(TextId::MonitorProbe);
    if (q.size() < 8)
        return {};
    const int function = byteAt(q, 1);
    const int address = wordAt(q, 2);
    const int field = wordAt(q, 4);
    if (function == 6) {
        if (address == 0)
            return text(TextId::MonitorAllLedsOff);
        if (address <= 24)
            return text(TextId::MonitorLedState).arg(address - 1).arg(field);
        if (address == 64)
            return text(field ? TextId::MonitorHornOn : TextId::MonitorHornOff);
        if (address == 66)
            return text(TextId::MonitorLampTest);
        return wordText(address, static_cast<std::int16_t>(field), text);
    }
    if (function == 16 && address == 25 && field == 5 && q.size() >= 19)
        return imageText(TextId::MonitorImageWritten, q, 7, text);
    if (function == 3 && complete && a.size() == 2 * field + 5) {
        if (address == 25 && field == 5)
            return imageText(TextId::MonitorImageRead, a, 3, text);
        if (address == 68 && field == 1)
            return text(byteAt(a, 4) == 1 ? TextId::MonitorAckDone : TextId::MonitorAckNotYet);
        QStringList words;
        for (int i = 0; i < field; ++i)
            words << wordText(address + i, static_cast<std::int16_t>(wordAt(a, 3 + 2 * i)), text);
        return words.join(QStringLiteral("; "));
    }
    return text(TextId::MonitorRequestText)
        .arg(functionName(function, text))
        .arg(address)
        .arg(field);
}

QString hex(const QByteArray& bytes)
{
    return QString::fromLatin1(bytes.toHex(' ').toUpper());
}

// The fields of one exchange, as exported.
QStringList fields(const ExchangeLog& log, qsizetype index, const TextLookup& text,
                   const CsvFormat& format = {})
{
    const Exchange& e = log.at(index);
    const QString delta =
        index == 0 ? QString() : QString::number(e.startedMs - log.at(index - 1).startedMs);
    const QString outcome = e.outcome == Exchange::Outcome::Complete ? text(TextId::MonitorComplete)
                                                                     : OutcomeText(e, text);
    return {e.started().toString(Qt::ISODateWithMs),
            delta,
            e.origin ? text(e.origin) : QString(),
            e.port,
            e.settings,
            hex(e.request),
            hex(e.answer),
            format.number(e.durationUs / 1000.0, 3),
            outcome,
            requestMeaning(e, text)};
}

} // namespace

QString OutcomeText(const Exchange& exchange, const TextLookup& text)
{
    switch (exchange.outcome) {
    case Exchange::Outcome::Complete:
        return {};
    case Exchange::Outcome::Exception:
        return text(TextId::MonitorComplete + static_cast<int>(exchange.outcome))
            .arg(exchange.exceptionCode);
    case Exchange::Outcome::PortFault: {
        QString fault = ErrorReport::Description(exchange.faultNumber);
        if (!exchange.fault.isEmpty())
            fault += QStringLiteral(" (") + exchange.fault + QLatin1Char(')');
        return text(TextId::MonitorPortFault).arg(fault);
    }
    default:
        return text(TextId::MonitorComplete + static_cast<int>(exchange.outcome));
    }
}

QString Meaning(const Exchange& exchange, const TextLookup& text)
{
    const QString meaning = requestMeaning(exchange, text);
    const QString outcome = OutcomeText(exchange, text);
    if (outcome.isEmpty() || meaning.isEmpty())
        return meaning + outcome;
    return meaning + QStringLiteral(" - ") + outcome;
}

QByteArray Csv(const ExchangeLog& log, const QStringList& header, const TextLookup& text,
               const CsvFormat& format, const QString& preface)
{
    QList<QStringList> lines;
    lines.reserve(log.size() + 2);
    if (!preface.isEmpty())
        lines << QStringList{preface};
    lines << header;
    for (qsizetype i = 0; i < log.size(); ++i)
        lines << fields(log, i, text, format);
    return format.document(lines);
}

QByteArray PlainText(const ExchangeLog& log, const TextLookup& text, const QString& preface)
{
    QString plain = preface.isEmpty() ? QString() : preface + QLatin1Char('\n');
    for (qsizetype i = 0; i < log.size(); ++i)
        plain += fields(log, i, text).join(QStringLiteral("  ")) + QLatin1Char('\n');
    return plain.toUtf8();
}

bool SaveAtomically(const QString& path, const QByteArray& bytes, QString* error)
{
    QSaveFile file(path);
    if (file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size() && file.commit())
        return true;
    if (error)
        *error = path + QStringLiteral(": ") + file.errorString();
    file.cancelWriting();
    return false;
}

} // namespace ExchangeText
