#pragma once

#include <QIcon>
#include <QString>

class QPalette;

// Conversions of settings-file values, with the faults a bad value raises: the caller's
// trap reports them.
namespace IniValue {

// A whole number; blanks around it are ignored and a decimal fraction is rounded. Throws
// RunTimeError(TypeMismatch) for any other text, Overflow outside -32768..32767.
int Short(const QString& text);
// The same within the 32-bit range.
qint32 Long(const QString& text);
// A number (0 is false, anything else true) or "True"/"False" in any case; TypeMismatch
// otherwise.
bool Boolean(const QString& text);

} // namespace IniValue

// Asks every open window (main frame, child windows, dialogs) to re-caption itself in the
// current language.
void RefreshAllWindows();

// An image of the console (an SVG resource drawn in navy with light details) for a palette:
// on a dark window background navy and light trade places, so the shapes keep their contrast.
QIcon ThemedIcon(const QString& resource, const QPalette& palette);
