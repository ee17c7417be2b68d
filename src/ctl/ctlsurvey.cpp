// The line survey from the command line: every panel that answers, at every setting tried.
#include "ctlinterrupt.h"
#include "ctlrun.h"
#include "datafunctions7310.h"
#include "errorhandling.h"
#include "linesurvey.h"
#include "statusline.h"
#include "textids.h"

#include <QJsonArray>

using DataFunctions7310::GetText;

namespace {

QString seconds(qint64 milliseconds)
{
    return QString::number(static_cast<double>(milliseconds) / 1000.0, 'f', 1) +
           QStringLiteral(" s");
}

// Progress on standard error when it is a terminal, one line rewritten in place; Ctrl-C stops
// the survey before its next probe.
class TerminalProgress : public LineSurvey::Observer
{
public:
    bool keepGoing(const LineSurvey::Progress& progress) override
    {
        if (m_line.onTerminal())
            m_line.show(LineSurvey::ProgressText(progress, seconds));
        return !CtlInterrupt::Requested();
    }
    void rowsChanged(const QList<LineSurvey::Row>&) override {}

private:
    StatusLine m_line;
};

QJsonObject remarkJson(const LineSurvey::Remark& remark)
{
    QJsonObject json{{QStringLiteral("kind"), LineSurvey::RemarkKey(remark.kind)},
                     {QStringLiteral("text"), LineSurvey::RemarkText(remark)}};
    if (remark.kind == LineSurvey::Remark::Kind::Exception)
        json.insert(QStringLiteral("exceptionCode"), remark.exceptionCode);
    if (remark.kind == LineSurvey::Remark::Kind::AlsoAt)
        json.insert(QStringLiteral("other"), LineSurvey::SettingText(remark.other));
    return json;
}

} // namespace

int CtlRun::survey()
{
    if (const int exit = openLine(); exit >= 0)
        return exit;
    LineSurvey::Result result;
    {
        TerminalProgress progress;
        result = LineSurvey::Run(m_line, m_options.survey, &progress, TextId::CtlOrigin);
    }
    QJsonArray panels;
    QList<QStringList> rows;
    bool allClean = true;
    for (const LineSurvey::Row& row : result.rows) {
        QJsonArray remarks;
        QStringList remarkTexts;
        for (const LineSurvey::Remark& remark : row.remarks) {
            remarks.append(remarkJson(remark));
            remarkTexts << LineSurvey::RemarkText(remark);
        }
        QJsonArray parameters;
        for (const ConfigMap::Parameter& parameter : ConfigMap::Parameters())
            parameters.append(parameterJson(parameter, row.values[parameter.index]));
        panels.append(QJsonObject{
            {QStringLiteral("slave"), row.slave},
            {QStringLiteral("speed"), row.setting.speed},
            {QStringLiteral("stopBits"), row.setting.stops},
            {QStringLiteral("firmware"),
             row.version.isEmpty() ? QJsonValue() : QJsonValue(row.version)},
            {QStringLiteral("configRead"), row.configRead},
            {QStringLiteral("clean"), row.clean()},
            {QStringLiteral("parameters"), parameters},
            {QStringLiteral("remarks"), remarks},
        });
        allClean = allClean && row.clean();
        QStringList values;
        for (const ConfigMap::Parameter& parameter : ConfigMap::Parameters())
            values << ConfigMap::ValueText(parameter.index, row.values[parameter.index]);
        rows << QStringList{QString::number(row.slave),
                            QString::number(row.setting.speed),
                            QString::number(row.setting.stops),
                            row.version,
                            row.configRead ? values.join(QStringLiteral(", ")) : QString(),
                            remarkTexts.join(QStringLiteral("; "))};
    }
    static const char* const ends[] = {"done", "cancelled", "enough-panels", "line-busy",
                                       "port-fault"};
    QJsonObject& json = m_report.json();
    json.insert(QStringLiteral("end"), QLatin1String(ends[static_cast<int>(result.end)]));
    json.insert(QStringLiteral("panels"), panels);
    json.insert(QStringLiteral("probes"), result.probes);
    json.insert(QStringLiteral("elapsedMs"), result.elapsedMs);
    m_report.table({GetText(TextId::SurveyColumnSlave), GetText(TextId::SurveyColumnSpeed),
                    GetText(TextId::SurveyColumnStops), GetText(TextId::SurveyColumnVersion),
                    GetText(TextId::CtlConfiguration), GetText(TextId::SurveyColumnRemarks)},
                   rows);

    const auto count = result.rows.size();
    const QString spent = seconds(result.elapsedMs);
    switch (result.end) {
    case LineSurvey::Result::End::Cancelled:
        return m_report.finish(CtlReport::Interrupted,
                               GetText(TextId::SurveyCancelled).arg(count).arg(spent));
    case LineSurvey::Result::End::PortFault:
    case LineSurvey::Result::End::LineBusy: {
        QString fault = ErrorReport::Description(result.faultNumber);
        if (!result.fault.isEmpty())
            fault += QStringLiteral(" (") + result.fault + QLatin1Char(')');
        return m_report.finish(CtlReport::LineError,
                               GetText(TextId::SurveyPortFault).arg(fault).arg(count));
    }
    case LineSurvey::Result::End::EnoughPanels:
        m_report.line(GetText(TextId::SurveyEnough).arg(count).arg(spent));
        break;
    case LineSurvey::Result::End::Done:
        if (count == 0)
            return m_report.finish(CtlReport::NoAnswer,
                                   GetText(TextId::SurveyDone).arg(count).arg(spent));
        m_report.line(GetText(TextId::SurveyDone).arg(count).arg(spent));
        break;
    }
    // Damaged answers, refusals, shared numbers: the line answered, not all of it well.
    return m_report.finish(allClean ? CtlReport::Success : CtlReport::WrongAnswer);
}
