#pragma once

#include <QByteArrayView>
#include <QString>

#include <optional>

// The echo of 2-wire adapters without echo suppression: every byte the console sends comes
// back to it, ahead of the answer.
namespace LineEcho {

// "Adapter echoes what it sends". Automatic finds out on the first exchange after opening.
enum class Setting { Automatic, Yes, No };
// The value in the settings file ("Automatic", "Yes", "No"), and back; nullopt for others.
QString SettingValue(Setting setting);
std::optional<Setting> ParseSetting(const QString& value);

// What the bytes received after a request say about its echo.
enum class Finding {
    Pending, // nothing yet, or a true beginning of the request
    Echoed,  // they begin with the whole request
    Absent,  // they differ from the request at some byte
};
Finding Judge(QByteArrayView request, QByteArrayView received);

// True when the normal answer to the request is the request itself (functions 5 and 6):
// one copy of it received proves no echo.
bool AnswerMayRepeatRequest(QByteArrayView request);

} // namespace LineEcho
