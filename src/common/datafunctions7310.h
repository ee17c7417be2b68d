#pragma once

#include <QString>

#include <cstdint>

// The text database: every visible text, tooltip and parameter default, looked up by number
// in the current language from the password-protected data file beside the program.
namespace DataFunctions7310 {

// The current language: a column name of the text tables; empty until one is chosen.
QString CurrentLanguage();
void SetCurrentLanguage(const QString& language);

// Text by ID in the current language; "#id#" when the ID has no row, "" for a non-numeric ID.
QString GetText(const QString& id);
inline QString GetText(int id)
{
    return GetText(QString::number(id));
}
// Tooltip by ID; "" when the ID has no row.
QString GetToolTip(const QString& id);
// Factory default of a parameter by key (the word address); 0 when the key has no row.
std::int32_t GetDefaultValue(std::int16_t id);

} // namespace DataFunctions7310
