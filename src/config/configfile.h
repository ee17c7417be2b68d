#pragma once

#include "configmap.h"

#include <QString>

// A panel's configuration kept in a small text file (".k7310", sections and keys like the
// settings file), so that one panel's values can be applied to the next one:
//
//   [K7310]
//   Device=K7310           refused when it names another device
//   Format=1
//   Saved=2026-11-24 09:30:00
//   Firmware=2.8           the version the window showed; empty when none was known
//   Port=/dev/ttyUSB0
//   Line=9600,n,8,1
//   [Words]
//   128=254                each parameter's word as the panel codes it, by address;
//   ...                    empty for a list with no item chosen
namespace ConfigFile {

constexpr const char* Extension = "k7310";
constexpr int Format = 1;

struct Contents
{
    ConfigMap::Values values{};
    QString firmware; // "2.8", "2.7", "2.6" or ""
    QString saved;    // local date and time, "yyyy-MM-dd HH:mm:ss"
    QString port;
    QString line; // line settings text, "9600,n,8,1"
};

// Writes the file whole, replacing any file of that name. A value that is not acceptable for
// its control is stored empty. Throws RunTimeError (FileAccess, SettingsNotWritable) when it
// cannot be written; an existing file is then left as it was.
void Save(const QString& path, const Contents& contents);

enum class Refusal {
    None,
    Unreadable,  // missing, or cannot be read
    Malformed,   // not such a file, a key missing, a value that is not a number
    OtherDevice, // a configuration of another device
    OutOfRange,  // a word that its control cannot show
};

struct Opened
{
    Refusal refusal = Refusal::None;
    Contents contents;
    int index = -1; // OutOfRange: the control index of the first such word
    QString detail; // Malformed: the key at fault; OtherDevice: the device named
};

// Reads and checks a file; contents are meaningful only when refusal is None.
Opened Open(const QString& path);
// Why the file at `path` was refused, in the current language; empty when it was not.
QString RefusalText(const Opened& opened, const QString& path);

} // namespace ConfigFile
