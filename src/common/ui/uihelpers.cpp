#include "uihelpers.h"

#include "errorhandling.h"
#include "usercommand.h"

#include <QApplication>
#include <QLineEdit>
#include <QMessageBox>
#include <QStyle>

WaitCursor::WaitCursor()
{
    QApplication::setOverrideCursor(Qt::WaitCursor);
}

WaitCursor::~WaitCursor()
{
    QApplication::restoreOverrideCursor();
}

void InstallMessageBoxPresenter()
{
    // A repeated message is held back within one user command only.
    UserCommand::Install();
    ErrorReport::SetPresenter([](const QString& message) {
        while (QApplication::overrideCursor())
            QApplication::restoreOverrideCursor();
        QMessageBox::critical(QApplication::activeWindow(), QApplication::applicationDisplayName(),
                              message);
    });
}

float SystemMetrics(const QWidget* window)
{
    const QStyle* style = window ? window->style() : QApplication::style();
    return static_cast<float>(style->pixelMetric(QStyle::PM_ScrollBarExtent, nullptr, window));
}

void SelectAll(QLineEdit* box)
{
    if (box)
        box->selectAll();
}

QString WithLineBreaks(QString text, const QString& lineBreak)
{
    return text.replace(QLatin1Char('|'), lineBreak);
}
