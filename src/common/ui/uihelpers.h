#pragma once

#include <QString>

class QLineEdit;
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
