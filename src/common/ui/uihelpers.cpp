#include "uihelpers.h"

#include "datafunctions7310.h"
#include "errorhandling.h"
#include "usercommand.h"

#include <QApplication>
#include <QDateTime>
#include <QDialog>
#include <QEvent>
#include <QLineEdit>
#include <QMessageBox>
#include <QStandardPaths>
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
        QMessageBox::critical(QApplication::activeWindow(), ConsoleTitle(), message);
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

namespace {

constexpr int consoleTitleId = 1000;

// Keeps a dialog as wide as its title: the window manager's title font is not known, so the
// bold application font with a tenth of slack, plus room for the icon and the close button.
class TitleWidth : public QObject
{
public:
    using QObject::QObject;

    static void Fit(QDialog* dialog)
    {
        QFont font = dialog->font();
        font.setBold(true);
        const int title = QFontMetrics(font).horizontalAdvance(dialog->windowTitle());
        const int decorations = 4 * QFontMetrics(font).height() + 32;
        dialog->setMinimumWidth(title + title / 10 + decorations);
    }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override
    {
        if (event->type() == QEvent::WindowTitleChange || event->type() == QEvent::FontChange)
            if (auto* dialog = qobject_cast<QDialog*>(watched))
                Fit(dialog);
        return false;
    }
};

} // namespace

QString ConsoleTitle()
{
    if (DataFunctions7310::IsOpen())
        if (const std::optional<QString> text = DataFunctions7310::FindText(consoleTitleId);
            text && !text->isEmpty())
            return *text;
    return QStringLiteral("K7310 console");
}

void MakeSmallDialog(QDialog* dialog)
{
    // CustomizeWindowHint makes the hints below the whole list: without it the window manager
    // is free to add its own buttons.
    dialog->setWindowFlags(Qt::Dialog | Qt::CustomizeWindowHint | Qt::WindowTitleHint |
                           Qt::WindowSystemMenuHint | Qt::WindowCloseButtonHint);
    dialog->installEventFilter(new TitleWidth(dialog));
    TitleWidth::Fit(dialog);
}

QRect KeptInside(QRect wanted, const QRect& area)
{
    if (!area.isValid())
        return wanted;
    wanted.setWidth(std::min(wanted.width(), area.width()));
    wanted.setHeight(std::min(wanted.height(), area.height()));
    wanted.moveLeft(std::clamp(wanted.left(), area.left(), area.right() - wanted.width() + 1));
    wanted.moveTop(std::clamp(wanted.top(), area.top(), area.bottom() - wanted.height() + 1));
    return wanted;
}

QString DatedDocumentPath(const QString& stem, const QString& extension)
{
    return QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation) + QLatin1Char('/') +
           stem + QLatin1Char('-') +
           QDateTime::currentDateTime().toString(QStringLiteral("yyyyMMdd-HHmmss")) +
           QLatin1Char('.') + extension;
}
