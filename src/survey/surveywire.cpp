// The survey's wire times, the settings it tries and the texts of its results.
#include "linesurvey.h"

#include "comctrl.h"
#include "commfunctions.h"
#include "datafunctions7310.h"
#include "textids.h"
#include "zrbfonctions.h"

#include <cmath>

namespace LineSurvey {

namespace {

const QString section = QStringLiteral("Survey");
const QString allowanceKey = QStringLiteral("Allowance");

} // namespace

int AllowanceFromSettingsFile()
{
    bool ok = false;
    const int value =
        ZRBfonctions::GetIniParam(section, allowanceKey, QString::number(DefaultAllowanceMs))
            .toInt(&ok);
    return ok && value >= 0 && value <= MaxAllowanceMs ? value : DefaultAllowanceMs;
}

bool StoreAllowance(int milliseconds)
{
    return ZRBfonctions::SetIniParam(section, allowanceKey, QString::number(milliseconds));
}

QList<Setting> DefaultSettings(const Setting& current)
{
    QList<Setting> settings{current};
    for (const std::int32_t speed : CommFunctions::SearchSpeeds) {
        for (const std::int16_t stops : {std::int16_t(1), std::int16_t(2)}) {
            const Setting setting{speed, stops};
            if (!settings.contains(setting))
                settings.append(setting);
        }
    }
    return settings;
}

qint64 WireUs(const QString& settings, double characters)
{
    const int baud = std::max(1, CommFunctions::CommBaudsOf(settings));
    return std::llround(characters * ComCtrl::BitsPerCharacter(settings) * 1e6 / baud);
}

qint64 AnswerWaitUs(const QString& settings, int answerBytes, int allowanceMs)
{
    return WireUs(settings, answerBytes + 3.5) + qint64(allowanceMs) * 1000;
}

QStringList ValueTexts(const Row& row)
{
    QStringList texts;
    for (int index = 0; index < ConfigMap::ParameterCount; ++index)
        texts << ConfigMap::ValueText(index, row.values[index]);
    return texts;
}

QString SettingText(const Setting& setting)
{
    return QStringLiteral("%1/%2").arg(setting.speed).arg(setting.stops);
}

QString ProgressText(const Progress& progress, QString (*duration)(qint64 milliseconds))
{
    const QString setting = SettingText(progress.setting);
    QString text = progress.slavesToDo == 0 ? DataFunctions7310::GetText(TextId::SurveyProbing)
                                                  .arg(progress.settingNumber)
                                                  .arg(progress.settingCount)
                                                  .arg(setting)
                                            : DataFunctions7310::GetText(TextId::SurveySweeping)
                                                  .arg(progress.settingNumber)
                                                  .arg(progress.settingCount)
                                                  .arg(setting)
                                                  .arg(progress.slavesDone)
                                                  .arg(progress.slavesToDo);
    return text + QStringLiteral(" — ") +
           DataFunctions7310::GetText(TextId::SurveyFound)
               .arg(progress.panelsFound)
               .arg(duration(progress.elapsedMs), duration(progress.remainingMs));
}

QString RemarkText(const Remark& remark)
{
    using Kind = Remark::Kind;
    const int id = TextId::SurveyRemarkFirst + static_cast<int>(remark.kind);
    switch (remark.kind) {
    case Kind::Exception:
        return DataFunctions7310::GetText(id).arg(remark.exceptionCode);
    case Kind::AlsoAt:
        return DataFunctions7310::GetText(id).arg(SettingText(remark.other));
    default:
        return DataFunctions7310::GetText(id);
    }
}

QString RemarkKey(Remark::Kind kind)
{
    static const char* const keys[] = {"crc-error",      "exception", "noise",
                                       "shared-number",  "also-at",   "config-incomplete",
                                       "no-confirmation"};
    return QString::fromLatin1(keys[static_cast<int>(kind)]);
}

} // namespace LineSurvey
