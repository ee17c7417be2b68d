#include "zrbfonctions.h"

#include "errorhandling.h"
#include "inifile.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>

#include <optional>

namespace ZRBfonctions {

namespace {

const IniFile& settingsFile()
{
    static const IniFile instance;
    return instance;
}

QString& explicitPath()
{
    static QString path;
    return path;
}

// Where the two files lie; empty: beside the executable and in the per-user folder.
struct Places
{
    QString beside;
    QString perUser;
};
Places& placesOverride()
{
    static Places places;
    return places;
}

QString programFolder()
{
    return QCoreApplication::instance() ? QCoreApplication::applicationDirPath()
                                        : QDir::currentPath();
}

QString programName()
{
    const QString path =
        QCoreApplication::instance() ? QCoreApplication::applicationFilePath() : QString();
    const QString name = QFileInfo(path).completeBaseName();
    return name.isEmpty() ? QStringLiteral("k7310console") : name;
}

// Runs one settings-file operation and reports its failure under the function's name.
template<typename Operation> bool reported(const char* function, Operation&& operation)
{
    try {
        operation();
        return true;
    } catch (const RunTimeError& error) {
        ErrorHandling(QStringLiteral("ZRBfonctions.") + QLatin1String(function), error);
        return false;
    }
}

std::optional<int> number(const QString& text)
{
    bool ok = false;
    const int value = text.trimmed().toInt(&ok);
    return ok ? std::optional<int>(value) : std::nullopt;
}

// A file (or, when there is none yet, its folder) that may be written in place. One without
// any write permission bit counts as read-only even for a user whom the system would let
// write it: the mark is the owner's wish.
bool writableInPlace(const QString& path)
{
    constexpr QFile::Permissions anyWrite =
        QFile::WriteOwner | QFile::WriteGroup | QFile::WriteOther;
    const QFileInfo file(path);
    const QFileInfo target = file.exists() ? file : QFileInfo(file.absolutePath());
    return target.isWritable() && (target.permissions() & anyWrite);
}

// The settings beside the program belong to a copy that carries its own data file there (a
// build folder, a portable copy). An installed program (/usr/bin) shares its folder with
// others and keeps its data elsewhere: its settings are per-user even when the folder could
// be written (as root).
bool besideOwnData(const QString& besidePath)
{
    const QFileInfo settings(besidePath);
    return QFileInfo::exists(settings.absolutePath() + QLatin1Char('/') +
                             settings.completeBaseName() + QStringLiteral(".dat"));
}

// Whether writes may go to the file beside the program.
bool besideWritable(const QString& besidePath)
{
    return besideOwnData(besidePath) && writableInPlace(besidePath);
}

Places places()
{
    if (!placesOverride().beside.isEmpty())
        return placesOverride();
    const QString fileName = programName() + QStringLiteral(".ini");
    return {programFolder() + QLatin1Char('/') + fileName,
            QStandardPaths::writableLocation(QStandardPaths::AppConfigLocation) + QLatin1Char('/') +
                fileName};
}

// The file that writes go to. When the one beside the program cannot be written, the per-user
// file takes over, starting as a copy of it so that nothing provisioned there is lost.
QString writableIniFileName()
{
    if (!explicitPath().isEmpty())
        return explicitPath();
    const Places where = places();
    if (besideWritable(where.beside))
        return where.beside;
    if (!QFileInfo::exists(where.perUser) && QFileInfo::exists(where.beside)) {
        if (!QDir().mkpath(QFileInfo(where.perUser).absolutePath()) ||
            !QFile::copy(where.beside, where.perUser))
            throw RunTimeError(ErrorNumber::SettingsNotWritable,
                               where.perUser + QStringLiteral(": cannot copy ") + where.beside);
        // The copy keeps the read-only mark of its original: it is the user's own now.
        QFile::setPermissions(where.perUser, QFile::ReadOwner | QFile::WriteOwner);
    }
    return where.perUser;
}

} // namespace

QString IniFileName()
{
    if (!explicitPath().isEmpty())
        return explicitPath();
    const Places where = places();
    if (!besideWritable(where.beside) && QFileInfo::exists(where.perUser))
        return where.perUser;
    return where.beside;
}

void SetIniFileName(const QString& path)
{
    explicitPath() = path;
}

void SetIniPlaces(const QString& beside, const QString& perUser)
{
    placesOverride() = {beside, perUser};
}

QString GetIniParam(const QString& section, const QString& key, const QString& defaultValue)
{
    QString value = defaultValue;
    reported("GetIniParam",
             [&] { value = settingsFile().read(section, key, defaultValue, IniFileName()); });
    return value;
}

bool SetIniParam(const QString& section, const QString& key, const QString& value)
{
    return reported("SetIniParam",
                    [&] { settingsFile().write(section, key, value, writableIniFileName()); });
}

bool DelIniParam(const QString& section, const QString& key)
{
    return reported("DelIniParam",
                    [&] { settingsFile().removeKey(section, key, writableIniFileName()); });
}

bool DelIniSection(const QString& section)
{
    return reported("DelIniSection",
                    [&] { settingsFile().removeSection(section, writableIniFileName()); });
}

QStringList GetIniParamsList(const QString& section)
{
    QStringList keys;
    reported("GetIniParamsList", [&] { keys = settingsFile().keys(section, IniFileName()); });
    return keys;
}

void StorePos(const QString& windowName, const QPoint& topLeft)
{
    SetIniParam(windowName, QStringLiteral("Left"), QString::number(topLeft.x()));
    SetIniParam(windowName, QStringLiteral("Top"), QString::number(topLeft.y()));
}

QPoint RestorePos(const QString& windowName, const QPoint& fallback)
{
    const auto left = number(GetIniParam(windowName, QStringLiteral("Left"), QString()));
    const auto top = number(GetIniParam(windowName, QStringLiteral("Top"), QString()));
    if (!left || !top)
        return fallback;
    return {*left, *top};
}

void SaveWindow(const QString& windowName, const WindowPlacement& placement)
{
    StorePos(windowName, placement.geometry.topLeft());
    SetIniParam(windowName, QStringLiteral("Width"), QString::number(placement.geometry.width()));
    SetIniParam(windowName, QStringLiteral("Height"), QString::number(placement.geometry.height()));
    SetIniParam(windowName, QStringLiteral("WindowState"),
                QString::number(static_cast<int>(placement.state)));
}

WindowPlacement RestoreWindow(const QString& windowName, const WindowPlacement& fallback)
{
    const auto left = number(GetIniParam(windowName, QStringLiteral("Left"), QString()));
    const auto top = number(GetIniParam(windowName, QStringLiteral("Top"), QString()));
    const auto width = number(GetIniParam(windowName, QStringLiteral("Width"), QString()));
    const auto height = number(GetIniParam(windowName, QStringLiteral("Height"), QString()));
    if (!left || !top || !width || !height || *width <= 0 || *height <= 0)
        return fallback;
    WindowPlacement placement;
    placement.geometry = QRect(*left, *top, *width, *height);
    const auto state = number(GetIniParam(windowName, QStringLiteral("WindowState"), QString()));
    if (state && *state == static_cast<int>(WindowState::Maximized))
        placement.state = WindowState::Maximized;
    return placement;
}

} // namespace ZRBfonctions
