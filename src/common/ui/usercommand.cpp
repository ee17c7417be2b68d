#include "usercommand.h"

#include "errorhandling.h"

#include <QApplication>
#include <QEvent>
#include <QKeyEvent>
#include <QMessageBox>
#include <QWidget>

namespace UserCommand {

namespace {

const QString watchName = QStringLiteral("userCommandWatch");

class CommandWatch : public QObject
{
public:
    explicit CommandWatch(QObject* parent)
        : QObject(parent)
    {
        setObjectName(watchName);
    }

    bool eventFilter(QObject* watched, QEvent* event) override
    {
        switch (event->type()) {
        case QEvent::MouseButtonPress:
        case QEvent::MouseButtonDblClick:
            startCommand(watched);
            break;
        case QEvent::KeyPress:
            if (!static_cast<QKeyEvent*>(event)->isAutoRepeat())
                startCommand(watched);
            break;
        default:
            break;
        }
        return false;
    }

private:
    static void startCommand(QObject* watched)
    {
        const auto* widget = qobject_cast<const QWidget*>(watched);
        // Only widgets: the same press also reaches the window handle first.
        if (!widget || qobject_cast<const QMessageBox*>(widget->window()))
            return;
        ErrorReport::ForgetShown();
    }
};

} // namespace

void Install()
{
    QCoreApplication* app = QCoreApplication::instance();
    if (!app || app->findChild<QObject*>(watchName, Qt::FindDirectChildrenOnly))
        return;
    app->installEventFilter(new CommandWatch(app));
}

} // namespace UserCommand
