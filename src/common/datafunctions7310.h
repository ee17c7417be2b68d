#pragma once

#include <QString>
#include <QStringList>

#include <cstdint>
#include <optional>

// The text database: every visible text, tooltip and parameter default, looked up by number
// in the current language from the password-protected data file beside the program.
//
// Text tables (T_Labels, T_ToolTips, T_Menus) have one column per language, named by the
// language; the column at position 3 is used while no language is set. Each lookup goes
// through a prepared statement made on first use and kept until the file is closed.
namespace DataFunctions7310 {

// The current language: a column name of the text tables; empty until one is chosen.
QString CurrentLanguage();
void SetCurrentLanguage(const QString& language);

// Text by ID in the current language; "#id#" when the ID has no row, "" for a non-numeric ID,
// "" for a null text. Failures (no data file, a language without a column) go to the error
// report under "DataFunctions.GetText" and give "".
QString GetText(const QString& id);
QString GetText(int id);
// Text by ID in the current language, without a report: std::nullopt when the ID has no row
// or the text cannot be had (no data file, no column for the language). For the error report,
// which must not report its own look-ups.
std::optional<QString> FindText(int id);
// A caption and its value joined as the language writes a label: "Slave: 7", "Esclave : 7"
// with a no-break space before the colon. Used wherever a caption is followed by a value.
QString Captioned(const QString& caption, const QString& value);
QString Captioned(int captionId, const QString& value);
// The same with the joining text already looked up (text 17); a pattern without "%2", such as
// an ID marker, joins with ": ".
QString Captioned(const QString& caption, const QString& value, const QString& pattern);
// Tooltip by ID; "" when the ID has no row. Failures are reported under
// "DataFunctions.GetToolTip" and give "".
QString GetToolTip(const QString& id);
QString GetToolTip(int id);
// Factory default of a parameter by key (the word address); 0 when the key has no row.
// Not trapped here: a failure throws RunTimeError for the caller's trap.
std::int32_t GetDefaultValue(std::int16_t id);

// The data file: the program's folder, its name without extension (or baseName, for another
// program that reads the console's file), ".dat"; when there is none, the same name in the
// installed data folders; the first path if neither exists.
QString DataFilePath(const QString& baseName = {});
// A file of an installed copy: in <prefix>/share/k7310console beside the program's folder
// <prefix>/bin, else in the per-user and system data folders (QStandardPaths::AppDataLocation);
// empty when none has it.
QString LocateInstalled(const QString& name);
// Opens the data file with the console's password and checks it completely (key, tables,
// pages) before anything is looked up. Returns 0, or the error number (ErrorNumber::
// DataFileNotFound, DataFileBadPassword for a wrong password or a file that is not a data file,
// DataFileDamaged, DataFileError), with the engine's message in *detail. On failure nothing
// stays open, including a file that was open before.
int OpenDataFile(const QString& path, QString* detail = nullptr);
// Closes the file and its statements; later lookups report that no data file is open.
void CloseDataFile();
bool IsOpen();

// Caption of a menu entry or toolbar button (T_Menus, by its name) in the current language,
// with the same column rule as GetText; std::nullopt when the name has no row. A caption may
// hold a "&" mnemonic marker (strip it for a tooltip); separators carry "-".
// Failures throw RunTimeError: the main frame reports them under its own name.
std::optional<QString> GetMenuText(const QString& key);

// The language columns offered in the language list: every column from position 3 on whose
// text in row 0 of T_Labels (the language's own name) is not empty. Throws RunTimeError.
QStringList LanguageColumns();

} // namespace DataFunctions7310
