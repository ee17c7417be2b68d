// The configuration subcommands: read, write, compare, init.
#include "configexchange.h"
#include "configfile.h"
#include "ctlinterrupt.h"
#include "ctlrun.h"
#include "datafunctions7310.h"
#include "errorhandling.h"
#include "textids.h"

#include <QDateTime>
#include <QFileInfo>
#include <QJsonArray>

using namespace ConfigMap;
using DataFunctions7310::GetText;

namespace {

// Stable names of the parameters in the JSON documents, by control index.
const char* const parameterNames[ParameterCount] = {"speed",   "stopBits",        "slave",
                                                    "busMode", "synchronisation", "acknowledgement",
                                                    "busKL",   "ledTestKL"};

QString withInsert(int textId, const QString& insert)
{
    return GetText(textId).replace(QStringLiteral("$$"), insert);
}

// Why the first word in the order of reading was not read, for the exit code.
std::optional<ConfigExchange::Miss> firstMiss(const ConfigExchange::Outcome& outcome)
{
    if (const Parameter* unread = ConfigExchange::FirstUnread(outcome))
        return outcome.unread[static_cast<std::size_t>(unread->index)];
    return std::nullopt;
}

} // namespace

QJsonObject CtlRun::parameterJson(const Parameter& parameter, int value) const
{
    const bool known = Acceptable(parameter, value);
    return {
        {QStringLiteral("address"), parameter.address},
        {QStringLiteral("name"), QLatin1String(parameterNames[parameter.index])},
        {QStringLiteral("label"), GetText(parameter.labelId)},
        {QStringLiteral("value"), known ? QJsonValue(value) : QJsonValue()},
        {QStringLiteral("word"), known ? QJsonValue(WordOfValue(parameter, value)) : QJsonValue()},
        {QStringLiteral("text"), ConfigMap::ValueText(parameter.index, value)},
    };
}

int CtlRun::openFile(const QString& path, Values& values)
{
    const ConfigFile::Opened opened = ConfigFile::Open(path);
    m_report.json().insert(QStringLiteral("file"), path);
    if (opened.refusal != ConfigFile::Refusal::None)
        return m_report.finish(CtlReport::FileError, ConfigFile::RefusalText(opened, path));
    values = opened.contents.values;
    // A list that the oldest firmware lacks can stay empty; the others cannot.
    for (const Parameter& parameter : Parameters()) {
        if (VersionServes(Version26, parameter) && values[parameter.index] == NoValue)
            return m_report.finish(CtlReport::FileError,
                                   withInsert(TextId::WriteNeedsValue, GetText(parameter.labelId)));
    }
    return -1;
}

int CtlRun::read()
{
    Values values;
    values.fill(NoValue);
    const ConfigExchange::Outcome outcome = ConfigExchange::Read(m_line, m_slave, values);
    const QString version = ConfigExchange::Conclude(outcome, values);
    QJsonArray parameters;
    QList<QStringList> rows;
    QStringList missed;
    for (const Parameter& parameter : Parameters()) {
        QJsonObject entry = parameterJson(parameter, values[parameter.index]);
        const auto& miss = outcome.unread[parameter.index];
        const QString reason = miss ? reasonOf(miss->reason, miss->exceptionCode) : QString();
        entry.insert(QStringLiteral("read"), !miss.has_value());
        entry.insert(QStringLiteral("reason"), miss ? QJsonValue(reason) : QJsonValue());
        parameters.append(entry);
        rows << QStringList{QString::number(parameter.address), GetText(parameter.labelId),
                            miss ? QStringLiteral("(%1)").arg(reason)
                                 : ConfigMap::ValueText(parameter.index, values[parameter.index])};
        if (miss)
            missed << GetText(TextId::MissedWord).arg(parameter.address).arg(reason);
    }
    m_report.json().insert(QStringLiteral("firmware"),
                           version.isEmpty() ? QJsonValue() : QJsonValue(version));
    m_report.json().insert(QStringLiteral("parameters"), parameters);
    m_report.line(version.isEmpty()
                      ? GetText(TextId::ConfirmReadNoVersion).arg(m_slave).arg(m_line.settings())
                      : GetText(TextId::ConfirmRead).arg(m_slave).arg(m_line.settings(), version));
    m_report.table(
        {GetText(TextId::CtlWord), GetText(TextId::CtlParameter), GetText(TextId::CtlValue)}, rows);
    const auto miss = firstMiss(outcome);
    if (!miss)
        return m_report.finish(CtlReport::Success);
    QString error = GetText(TextId::NotRead).arg(missed.join(QStringLiteral("; ")));
    if (version.isEmpty())
        error.prepend(GetText(TextId::NoAnswer) + QLatin1Char(' '));
    return m_report.finish(CtlReport::ExitOf(miss->reason), error);
}

int CtlRun::write()
{
    const Values& values = m_fileValues;
    const std::uint8_t slave = static_cast<std::uint8_t>(m_slave);
    const ConfigExchange::Outcome outcome =
        ConfigExchange::Write(m_line, slave, values, &CtlInterrupt::Requested);
    Values shown = values;
    const QString version = ConfigExchange::Conclude(outcome, shown);
    m_slave = outcome.confirmed[Slave] ? values[Slave] : m_slave;

    QJsonArray parameters;
    QJsonArray written;
    QList<QStringList> rows;
    QStringList taken;
    for (const Parameter& parameter : Parameters()) {
        const bool confirmed = outcome.confirmed[parameter.index];
        QJsonObject entry = parameterJson(parameter, values[parameter.index]);
        entry.insert(QStringLiteral("written"), confirmed);
        parameters.append(entry);
        if (confirmed) {
            written.append(parameter.address);
            taken << QString::number(parameter.address);
        }
        rows << QStringList{QString::number(parameter.address), GetText(parameter.labelId),
                            ConfigMap::ValueText(parameter.index, values[parameter.index]),
                            confirmed ? GetText(TextId::Yes) : GetText(TextId::No)};
    }
    QJsonArray followed;
    for (const auto& each : outcome.followed)
        followed.append(QJsonObject{{QStringLiteral("address"), each.address},
                                    {QStringLiteral("at"), each.at}});
    QJsonObject& json = m_report.json();
    json.insert(QStringLiteral("slave"), m_slave);
    json.insert(QStringLiteral("line"), m_line.settings());
    json.insert(QStringLiteral("firmware"), version.isEmpty() ? QJsonValue() : QJsonValue(version));
    json.insert(QStringLiteral("parameters"), parameters);
    json.insert(QStringLiteral("written"), written);
    json.insert(QStringLiteral("followed"), followed);
    json.insert(QStringLiteral("interrupted"), outcome.interrupted);
    json.insert(QStringLiteral("stoppedAt"),
                outcome.stoppedAt ? QJsonValue(outcome.stoppedAt) : QJsonValue());
    const QString reason =
        outcome.stoppedAt && !outcome.interrupted
            ? reasonOf(outcome.stopReason.reason, outcome.stopReason.exceptionCode)
            : QString();
    json.insert(QStringLiteral("reason"), reason.isEmpty() ? QJsonValue() : QJsonValue(reason));

    for (const auto& each : outcome.followed)
        m_report.line(GetText(each.address == ParameterAt(Slave).address ? TextId::FollowedSlave
                                                                         : TextId::FollowedSettings)
                          .arg(each.address)
                          .arg(each.at));
    m_report.table({GetText(TextId::CtlWord), GetText(TextId::CtlParameter),
                    GetText(TextId::CtlValue), GetText(TextId::CtlWritten)},
                   rows);
    m_report.line(GetText(TextId::CtlLineNow).arg(m_line.settings()).arg(m_slave));
    const QString takenText =
        taken.isEmpty() ? GetText(TextId::CtlNone) : taken.join(QStringLiteral(", "));
    if (outcome.interrupted)
        return m_report.finish(
            CtlReport::Interrupted,
            GetText(TextId::CtlWriteInterrupted).arg(outcome.stoppedAt).arg(takenText));
    if (outcome.stoppedAt != 0) {
        const Exchange::Outcome why = outcome.stopReason.reason;
        return m_report.finish(
            CtlReport::ExitOf(why),
            GetText(TextId::WriteStopped).arg(slave).arg(outcome.stoppedAt).arg(reason) +
                QLatin1Char(' ') + DataFunctions7310::Captioned(TextId::CtlWritten, takenText));
    }
    m_report.line(GetText(TextId::ConfirmWrite).arg(m_slave).arg(m_line.settings(), version));
    // Values that the panel's firmware cannot take were given and not written.
    QStringList lacked;
    QJsonArray notInFirmware;
    for (const Parameter& parameter : Parameters()) {
        if (values[parameter.index] != NoValue && !VersionServes(outcome.versionCode, parameter)) {
            lacked << GetText(parameter.labelId);
            notInFirmware.append(parameter.address);
        }
    }
    json.insert(QStringLiteral("notInFirmware"), notInFirmware);
    if (!lacked.isEmpty())
        m_report.line(
            GetText(TextId::NotInFirmware).arg(version, lacked.join(QStringLiteral(", "))));
    return m_report.finish(CtlReport::Success);
}

int CtlRun::compare()
{
    const Values& wanted = m_fileValues;
    Values panel;
    panel.fill(NoValue);
    const ConfigExchange::Outcome outcome = ConfigExchange::Read(m_line, m_slave, panel);
    const QString version = ConfigExchange::Conclude(outcome, panel);
    m_report.json().insert(QStringLiteral("firmware"),
                           version.isEmpty() ? QJsonValue() : QJsonValue(version));
    // Only a panel whose every essential word answered can be compared.
    if (!outcome.lineWordsRead || version.isEmpty()) {
        const auto miss = firstMiss(outcome);
        const Exchange::Outcome why = miss ? miss->reason : Exchange::Outcome::TimeOut;
        return m_report.finish(CtlReport::ExitOf(why), GetText(TextId::NotCompared).arg(m_slave) +
                                                           QLatin1Char(' ') +
                                                           GetText(TextId::NoAnswer));
    }
    int differing = 0;
    QJsonArray parameters;
    QList<QStringList> rows;
    for (const Parameter& parameter : Parameters()) {
        const int index = parameter.index;
        const bool differs =
            ConfigExchange::Differs(parameter, wanted[index], panel[index], outcome.versionCode);
        differing += differs ? 1 : 0;
        parameters.append(QJsonObject{
            {QStringLiteral("address"), parameter.address},
            {QStringLiteral("name"), QLatin1String(parameterNames[index])},
            {QStringLiteral("file"), parameterJson(parameter, wanted[index])},
            {QStringLiteral("panel"), parameterJson(parameter, panel[index])},
            {QStringLiteral("differs"), differs},
        });
        rows << QStringList{QString::number(parameter.address), GetText(parameter.labelId),
                            ConfigMap::ValueText(parameter.index, wanted[index]),
                            ConfigMap::ValueText(parameter.index, panel[index]),
                            differs ? GetText(TextId::CtlDiffers) : QString()};
    }
    m_report.json().insert(QStringLiteral("differences"), differing);
    m_report.json().insert(QStringLiteral("parameters"), parameters);
    m_report.line(GetText(TextId::ConfirmCompare).arg(m_slave).arg(differing));
    m_report.table({GetText(TextId::CtlWord), GetText(TextId::CtlParameter),
                    GetText(TextId::CtlFileValue), GetText(TextId::CtlPanelValue), QString()},
                   rows);
    return m_report.finish(differing == 0 ? CtlReport::Success : CtlReport::WrongAnswer);
}

int CtlRun::init()
{
    const QString path = m_options.arguments.first();
    m_report.json().insert(QStringLiteral("file"), path);
    if (QFileInfo::exists(path) && !m_options.force)
        return m_report.finish(CtlReport::FileError, GetText(TextId::CtlFileExists).arg(path));
    ConfigFile::Contents contents;
    try {
        contents.values = ConfigExchange::FactoryDefaults();
        contents.saved =
            QDateTime::currentDateTime().toString(QStringLiteral("yyyy-MM-dd HH:mm:ss"));
        contents.port = m_options.port;
        contents.line = m_options.line;
        ConfigFile::Save(path, contents);
    } catch (const RunTimeError&) {
        return m_report.finish(CtlReport::FileError, withInsert(TextId::FileNotSaved, path));
    }
    QJsonArray parameters;
    QList<QStringList> rows;
    for (const Parameter& parameter : Parameters()) {
        parameters.append(parameterJson(parameter, contents.values[parameter.index]));
        rows << QStringList{
            QString::number(parameter.address), GetText(parameter.labelId),
            ConfigMap::ValueText(parameter.index, contents.values[parameter.index])};
    }
    m_report.json().insert(QStringLiteral("parameters"), parameters);
    m_report.line(GetText(TextId::CtlDefaultsSaved).arg(path));
    m_report.table(
        {GetText(TextId::CtlWord), GetText(TextId::CtlParameter), GetText(TextId::CtlValue)}, rows);
    return m_report.finish(CtlReport::Success);
}
