#pragma once

#include <QString>

class QDialog;
class QLineEdit;
class QRect;
class QWidget;

// The hourglass for the length of a device action; the pointer comes back when it goes out
// of scope, whatever way the action ends.
class WaitCursor
{
public:
    WaitCursor();
    ~WaitCursor();
    WaitCursor(const WaitCursor&) = delete;
    WaitCursor& operator=(const WaitCursor&) = delete;
};

// Shows the error report's messages in a modal critical-icon box titled with the
// application's name, and puts back the normal pointer first.
void InstallMessageBoxPresenter();

// Width of a vertical scroll bar in pixels, as the style reports it.
float SystemMetrics(const QWidget* window = nullptr);

// Selects the whole text of a text box (used when a box gains the focus).
void SelectAll(QLineEdit* box);

// "|" in a database text stands for a line break.
QString WithLineBreaks(QString text, const QString& lineBreak = QStringLiteral("\n"));

// The console's name in the current language (text 1000), the title of its message boxes;
// the English name while the data file is not open.
QString ConsoleTitle();

// A dialog of fixed content: title bar with a close button only (no minimise or maximise
// button on any window manager), and at least as wide as its title in every language, so the
// title is never cut. Call it once, after the dialog's flags are otherwise set.
void MakeSmallDialog(QDialog* dialog);

// The rectangle moved, and shrunk where it is larger, so that it lies wholly inside area: a
// position saved on a larger screen comes back into sight.
QRect KeptInside(QRect wanted, const QRect& area);

// A file name to propose for saving: the documents folder, the stem, the local date and time
// ("k7310-line-20261124-153000.csv"), so that one save does not overwrite the last.
QString DatedDocumentPath(const QString& stem, const QString& extension);
