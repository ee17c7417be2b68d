#include "boxhook.h"

#include <QFocusEvent>
#include <QKeyEvent>
#include <QLineEdit>
#include <QTimer>

BoxHook::BoxHook(QLineEdit* box)
    : QObject(box)
    , m_box(box)
{
    box->installEventFilter(this);
}

BoxHook* BoxHook::of(QLineEdit* box)
{
    if (auto* hook = box->findChild<BoxHook*>(QString(), Qt::FindDirectChildrenOnly))
        return hook;
    return new BoxHook(box);
}

void BoxHook::InstallKeyFilter(QLineEdit* box, KeyFilter filter)
{
    of(box)->m_keyFilter = std::move(filter);
}

void BoxHook::SelectAllOnEntry(QLineEdit* box)
{
    of(box)->m_selectOnEntry = true;
}

bool BoxHook::eventFilter(QObject* watched, QEvent* event)
{
    if (watched != m_box)
        return false;
    if (event->type() == QEvent::KeyPress && m_keyFilter) {
        const QString typed = static_cast<QKeyEvent*>(event)->text();
        if (typed.size() != 1)
            return false;
        const QChar key = typed.at(0);
        if (!key.isPrint() && key != QLatin1Char('\b'))
            return false;
        const int passed = m_keyFilter(key.unicode());
        if (passed == 0)
            return true;
        if (passed != key.unicode()) {
            m_box->insert(QString(QChar(passed)));
            return true;
        }
        return false;
    }
    if (event->type() == QEvent::FocusIn && m_selectOnEntry) {
        // Deferred: a mouse click that gives the focus would place the caret afterwards.
        QTimer::singleShot(0, m_box, [box = m_box] {
            if (box->hasFocus())
                box->selectAll();
        });
    }
    return false;
}
