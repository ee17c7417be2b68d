#pragma once

#include <QString>
#include <QStringList>

// Reader and writer of a sectioned settings file ("[Section]" lines, then "key=value" lines).
//
// Rules of the file:
// - section and key names match without regard to case; blanks around names, around "=" and
//   around the value are ignored; a value wrapped in double quotes keeps its inner blanks;
// - lines starting with ";" or "#" are comments; keys before the first section are ignored;
//   a "[General]" section is an ordinary section;
// - LF and CRLF files are read; a rewrite keeps the file's line ending and UTF-8 mark;
// - replacing a value changes that one line only (its key spelling and the blanks around "="
//   stay); a new key goes after the last setting of its section, a new section at the end;
// - a missing file reads as empty; when a section or key appears twice, the first one counts;
// - every write goes to a temporary file in the same folder that is renamed over the old
//   file, so a crash or a full disk leaves the old file whole.
// Values are single lines: line breaks in a value are stored as blanks.
//
// Failures (the file or its folder cannot be read or written) throw RunTimeError with
// ErrorNumber::SettingsNotWritable or FileAccess and the path as detail; the file is then
// left exactly as it was.
class IniFile
{
public:
    // The value of key in section, or defaultValue when the file, section or key is missing.
    QString read(const QString& section, const QString& key, const QString& defaultValue,
                 const QString& path) const;
    // Stores value under key in section, creating the file, section or key as needed.
    void write(const QString& section, const QString& key, const QString& value,
               const QString& path) const;
    // Removes one key; nothing happens when it is absent.
    void removeKey(const QString& section, const QString& key, const QString& path) const;
    // Removes a section with all its lines; nothing happens when it is absent.
    void removeSection(const QString& section, const QString& path) const;
    // The keys of a section in file order, spelled as in the file.
    QStringList keys(const QString& section, const QString& path) const;
};
