#pragma once

#include "configmap.h"
#include "csvformat.h"
#include "exchange.h"

#include <QByteArray>
#include <QDateTime>
#include <QList>
#include <QString>

#include <array>

// What a commissioning run did to each panel and what it found: the record handed over with a
// site. No widgets; the forms for machines (JSON, CSV) are made here, the PDF by RecordPainter.
namespace Commission {

// One panel to commission: where it is found now, and what it is to become. A new speed or stop
// bits of 0 keeps the template's.
struct Target
{
    int slave = 1;
    int speed = 9600;
    int stops = 1;
    QString version; // as a survey found it; may be empty
    int newSlave = 1;
    int newSpeed = 0;
    int newStops = 0;
};

enum class Verdict { NotRun, Passed, Failed, Skipped };

enum Test { LampTest = 0, AlarmAck = 1, LedWalk = 2 };
constexpr int TestCount = 3;

struct TestResult
{
    Verdict verdict = Verdict::NotRun;
    QDateTime at;
    // Failed: why, as a key for machines ("no", "time-out", "no-answer", "cancelled").
    QString reason;
};

// Where a panel's configuration stopped.
enum class Stage { None, Line, ReadBefore, Write, ReadBack, Compare };

struct PanelRecord
{
    Target target;
    QString lineBefore; // the console's line settings text when the panel was reached
    QString lineAfter;  // and once its configuration was written
    QString firmware;   // "2.8", "2.7", "2.6"; "" when not known
    ConfigMap::Values before{};
    ConfigMap::Values intended{};
    ConfigMap::Values readBack{};
    std::array<bool, ConfigMap::ParameterCount> beforeRead{};
    std::array<bool, ConfigMap::ParameterCount> readBackRead{};
    // The words the panel took, by control index: what went in when the write stopped.
    std::array<bool, ConfigMap::ParameterCount> written{};
    bool writeTried = false;
    Stage failedAt = Stage::None;
    int failedWord = 0; // the word at fault, 0 when none
    Exchange::Outcome failure = Exchange::Outcome::Complete;
    int exceptionCode = 0;
    std::array<TestResult, TestCount> tests{};

    // A parameter that this panel's firmware serves.
    bool served(int index) const;
    // After a complete write: a served parameter read back otherwise than intended, or not
    // read back at all.
    bool differs(int index) const;
    bool configured() const { return failedAt == Stage::None; }
    // Configured and no test failed.
    bool passed() const;
};

struct Record
{
    QString site;
    QString technician;
    QDateTime started;
    QString consoleVersion;
    QString port;
    QString adapter;
    QString templateName;
    QString templateSha256;
    QList<PanelRecord> panels;
};

// Lower-case hexadecimal SHA-256 of the bytes.
QString Sha256(const QByteArray& bytes);

// Keys for machines.
QString VerdictKey(Verdict verdict);
QString StageKey(Stage stage);

// The record as one JSON document: heading fields, then per panel the target, the line before
// and after, each parameter's word before, intended and read back (null when not known), the
// words written, the failure, the tests and the overall result.
QByteArray ToJson(const Record& record);
// One line per panel, with a heading line, in the spreadsheet form of `format`.
QByteArray ToCsv(const Record& record, const CsvFormat& format);

} // namespace Commission
