#pragma once

#include <QPoint>
#include <QRect>
#include <QString>
#include <QStringList>

// The user's settings file. Every read and write of the program goes through these functions;
// they form the path with IniFileName() on every call and hand the work to one settings-file
// object (IniFile) kept for the run. Values are text; callers convert.
// A file that cannot be read or written is reported through the central error report under
// "ZRBfonctions.<function>"; the file is then left as it was.
namespace ZRBfonctions {

// The file that reads come from: beside the executable (its folder, its name without
// extension, ".ini"), or the same name in the per-user configuration folder once the file
// beside the program has proved read-only and a per-user copy exists. Writes go beside the
// program when they can (a writable file in a read-only folder is written in place) and the
// program's own data file lies there too (a build folder or a portable copy, not /usr/bin);
// otherwise to the per-user file, which starts as a copy of the one beside the program.
// SetIniFileName() fixes one path for both instead (tests, or a shell that wants another
// place); an empty path restores the rule. SetIniPlaces() moves the two files (tests).
QString IniFileName();
void SetIniFileName(const QString& path);
void SetIniPlaces(const QString& beside, const QString& perUser);

// The stored value, or defaultValue when the file, the section or the key is missing.
QString GetIniParam(const QString& section, const QString& key, const QString& defaultValue);
// Stores value under key in section. Returns false (after reporting) when it could not be saved.
bool SetIniParam(const QString& section, const QString& key, const QString& value);
// Removes a key, or a whole section. Returns false (after reporting) on a write failure.
bool DelIniParam(const QString& section, const QString& key);
bool DelIniSection(const QString& section);
// The keys of a section in file order.
QStringList GetIniParamsList(const QString& section);

// Window positions, kept in a section named after the window: Left, Top, Width, Height and
// WindowState (0 normal, 1 minimised, 2 maximised). The geometry is the window's normal
// (not maximised) frame, so that a maximised window comes back to its own size later.
enum class WindowState { Normal = 0, Minimized = 1, Maximized = 2 };
struct WindowPlacement
{
    QRect geometry;
    WindowState state = WindowState::Normal;
};

// Position only (dialogs of fixed size).
void StorePos(const QString& windowName, const QPoint& topLeft);
// The stored position, or fallback when none is stored or it is not a number.
QPoint RestorePos(const QString& windowName, const QPoint& fallback);

// Position, size and state (resizable windows).
void SaveWindow(const QString& windowName, const WindowPlacement& placement);
// The stored placement, or fallback when none is stored or the size is not positive.
// A window stored minimised comes back in its normal state.
WindowPlacement RestoreWindow(const QString& windowName, const WindowPlacement& fallback);

} // namespace ZRBfonctions
