#include "commissionrecord.h"

#include <QCryptographicHash>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

using namespace ConfigMap;

namespace Commission {

namespace {

// A control value as the word the panel holds; null when not known.
QJsonValue wordOf(int index, int value, bool known)
{
    if (!known || value == NoValue)
        return QJsonValue::Null;
    return WordOfValue(ParameterAt(index), value);
}

QString timeText(const QDateTime& at)
{
    return at.isValid() ? at.toString(Qt::ISODate) : QString();
}

const std::array<const char*, TestCount> testKeys{"lampTest", "alarmAck", "ledWalk"};

QJsonObject panelJson(const PanelRecord& panel)
{
    QJsonObject target{{"slave", panel.target.slave},
                       {"speed", panel.target.speed},
                       {"stops", panel.target.stops},
                       {"newSlave", panel.target.newSlave}};
    if (panel.target.newSpeed > 0)
        target.insert("newSpeed", panel.target.newSpeed);
    if (panel.target.newStops > 0)
        target.insert("newStops", panel.target.newStops);

    QJsonArray parameters;
    QJsonArray written;
    for (const Parameter& parameter : Parameters()) {
        const int i = parameter.index;
        parameters.append(QJsonObject{
            {"address", parameter.address},
            {"served", panel.served(i)},
            {"before", wordOf(i, panel.before[i], panel.beforeRead[i])},
            {"intended", wordOf(i, panel.intended[i], true)},
            {"readBack", wordOf(i, panel.readBack[i], panel.readBackRead[i])},
            {"differs", panel.differs(i)},
        });
        if (panel.written[i])
            written.append(parameter.address);
    }

    QJsonObject failure;
    if (!panel.configured())
        failure = QJsonObject{{"stage", StageKey(panel.failedAt)},
                              {"word", panel.failedWord},
                              {"outcome", OutcomeKey(panel.failure)},
                              {"exceptionCode", panel.exceptionCode}};
    QJsonObject tests;
    for (int t = 0; t < TestCount; ++t) {
        const TestResult& result = panel.tests[static_cast<size_t>(t)];
        QJsonObject test{{"result", VerdictKey(result.verdict)}, {"time", timeText(result.at)}};
        if (!result.reason.isEmpty())
            test.insert("reason", result.reason);
        tests.insert(QLatin1String(testKeys[static_cast<size_t>(t)]), test);
    }
    return QJsonObject{
        {"target", target},
        {"lineBefore", panel.lineBefore},
        {"lineAfter", panel.lineAfter},
        {"firmware", panel.firmware},
        {"parameters", parameters},
        {"writeTried", panel.writeTried},
        {"wordsWritten", written},
        {"failure", failure.isEmpty() ? QJsonValue(QJsonValue::Null) : QJsonValue(failure)},
        {"tests", tests},
        {"result", panel.passed() ? "PASS" : "FAIL"},
    };
}

} // namespace

bool PanelRecord::served(int index) const
{
    const int code = VersionCodeOf(firmware);
    return code == 0 || VersionServes(code, ParameterAt(index));
}

bool PanelRecord::differs(int index) const
{
    // Only a read back can differ: none follows a write that stopped.
    if (!writeTried || failedAt == Stage::Write || !served(index))
        return false;
    return !readBackRead[index] || readBack[index] != intended[index];
}

bool PanelRecord::passed() const
{
    return configured() && std::none_of(tests.begin(), tests.end(), [](const TestResult& test) {
               return test.verdict == Verdict::Failed;
           });
}

QString Sha256(const QByteArray& bytes)
{
    return QString::fromLatin1(QCryptographicHash::hash(bytes, QCryptographicHash::Sha256).toHex());
}

QString VerdictKey(Verdict verdict)
{
    switch (verdict) {
    case Verdict::Passed:
        return QStringLiteral("passed");
    case Verdict::Failed:
        return QStringLiteral("failed");
    case Verdict::Skipped:
        return QStringLiteral("skipped");
    case Verdict::NotRun:
        break;
    }
    return QStringLiteral("not-run");
}

QString StageKey(Stage stage)
{
    switch (stage) {
    case Stage::Line:
        return QStringLiteral("line");
    case Stage::ReadBefore:
        return QStringLiteral("read-before");
    case Stage::Write:
        return QStringLiteral("write");
    case Stage::ReadBack:
        return QStringLiteral("read-back");
    case Stage::Compare:
        return QStringLiteral("compare");
    case Stage::None:
        break;
    }
    return QString();
}

QByteArray ToJson(const Record& record)
{
    QJsonArray panels;
    for (const PanelRecord& panel : record.panels)
        panels.append(panelJson(panel));
    const bool allPassed = !record.panels.isEmpty() &&
                           std::all_of(record.panels.begin(), record.panels.end(),
                                       [](const PanelRecord& panel) { return panel.passed(); });
    const QJsonObject root{
        {"site", record.site},
        {"technician", record.technician},
        {"started", timeText(record.started)},
        {"consoleVersion", record.consoleVersion},
        {"port", record.port},
        {"adapter", record.adapter},
        {"template", QJsonObject{{"name", record.templateName}, {"sha256", record.templateSha256}}},
        {"panels", panels},
        {"result", allPassed ? "PASS" : "FAIL"},
    };
    return QJsonDocument(root).toJson(QJsonDocument::Indented);
}

QByteArray ToCsv(const Record& record, const CsvFormat& format)
{
    QList<QStringList> lines{{"slave", "newSlave", "lineBefore", "lineAfter", "firmware",
                              "configured", "failure", "differing", "lampTest", "alarmAck",
                              "ledWalk", "result"}};
    for (const PanelRecord& panel : record.panels) {
        QStringList differing;
        for (const Parameter& parameter : Parameters()) {
            if (panel.differs(parameter.index))
                differing << QString::number(parameter.address);
        }
        QString failure;
        if (!panel.configured())
            failure = StageKey(panel.failedAt) + QLatin1Char(' ') +
                      QString::number(panel.failedWord) + QLatin1Char(' ') +
                      OutcomeKey(panel.failure);
        QStringList line{QString::number(panel.target.slave),
                         QString::number(panel.target.newSlave),
                         panel.lineBefore,
                         panel.lineAfter,
                         panel.firmware,
                         panel.configured() ? "yes" : "no",
                         failure,
                         differing.join(QLatin1Char(' '))};
        for (const TestResult& test : panel.tests)
            line << VerdictKey(test.verdict);
        line << (panel.passed() ? "PASS" : "FAIL");
        lines << line;
    }
    return format.document(lines);
}

} // namespace Commission
