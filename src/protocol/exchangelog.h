#pragma once

#include "commfunctions.h"
#include "csvformat.h"
#include "exchange.h"

#include <QString>

#include <vector>

// The last exchanges on the line, oldest first, in a ring of fixed size so that a console left
// running for days keeps its memory bounded: the oldest goes first.
class ExchangeLog
{
public:
    static constexpr qsizetype DefaultCapacity = 10000;
    explicit ExchangeLog(qsizetype capacity = DefaultCapacity);

    // Adds the newest exchange, dropping the oldest when the log is full.
    void append(const Exchange& exchange);
    void dropOldest();
    void clear();
    qsizetype size() const { return m_count; }
    qsizetype capacity() const { return m_capacity; }
    bool full() const { return size() >= m_capacity; }
    // 0 is the oldest exchange kept.
    const Exchange& at(qsizetype index) const;

private:
    // A ring over slots made once, on the first append: storing an exchange then allocates
    // nothing, so an observed transaction costs no more than a copy.
    qsizetype m_capacity;
    std::vector<Exchange> m_slots;
    qsizetype m_first = 0;
    qsizetype m_count = 0;
};

namespace ExchangeText {

// What an exchange means, in words: the function, address, count and values, with the K7310's
// own words named ("word 128 Line speed = 254 (9600)", "LED 5 → state 2", "horn on",
// "probe: slave 1, firmware 2.8"); then the outcome when it is not a complete answer.
QString Meaning(const Exchange& exchange, const CommFunctions::TextLookup& text);
// The outcome in words ("" for a complete answer); an exception names its code.
QString OutcomeText(const Exchange& exchange, const CommFunctions::TextLookup& text);

// The whole log as CSV in the given form (separator, decimal mark, byte-order mark; CRLF line
// ends, quoted fields where needed), one header line then one line per exchange: ISO 8601 time
// with milliseconds, milliseconds since the previous exchange, origin, port, settings,
// request and answer in hexadecimal, duration in milliseconds, outcome, meaning.
// A preface, when given, comes first as a line of its own (one field): how the line was run.
QByteArray Csv(const ExchangeLog& log, const QStringList& header,
               const CommFunctions::TextLookup& text, const CsvFormat& format = {},
               const QString& preface = {});
// The same as aligned plain text, one exchange a line.
QByteArray PlainText(const ExchangeLog& log, const CommFunctions::TextLookup& text,
                     const QString& preface = {});
// Writes bytes to path atomically: false and *error set when it could not, with no half file.
bool SaveAtomically(const QString& path, const QByteArray& bytes, QString* error);

} // namespace ExchangeText
