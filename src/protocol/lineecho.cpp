#include "lineecho.h"

namespace LineEcho {

QString SettingValue(Setting setting)
{
    switch (setting) {
    case Setting::Yes:
        return QStringLiteral("Yes");
    case Setting::No:
        return QStringLiteral("No");
    case Setting::Automatic:
        break;
    }
    return QStringLiteral("Automatic");
}

std::optional<Setting> ParseSetting(const QString& value)
{
    for (Setting setting : {Setting::Automatic, Setting::Yes, Setting::No})
        if (value.compare(SettingValue(setting), Qt::CaseInsensitive) == 0)
            return setting;
    return std::nullopt;
}

Finding Judge(QByteArrayView request, QByteArrayView received)
{
    const qsizetype compared = std::min(request.size(), received.size());
    if (received.first(compared) != request.first(compared))
        return Finding::Absent;
    return compared == request.size() && !request.isEmpty() ? Finding::Echoed : Finding::Pending;
}

bool AnswerMayRepeatRequest(QByteArrayView request)
{
    if (request.size() != 8)
        return false;
    const auto function = static_cast<unsigned char>(request[1]);
    return function == 5 || function == 6;
}

} // namespace LineEcho
