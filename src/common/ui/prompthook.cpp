#include "prompthook.h"

#include <QLabel>
#include <QTimer>

#include <utility>

namespace PromptHook {

namespace {

Handler& installed()
{
    static Handler handler;
    return handler;
}

Handler& installedConfirm()
{
    static Handler handler;
    return handler;
}

// Lives in a panel that shows a passing text: what to put back, and when.
class PassingText : public QObject
{
    Q_OBJECT

public:
    explicit PassingText(QLabel* panel)
        : QObject(panel)
        , m_panel(panel)
    {
        setObjectName(QStringLiteral("passingText"));
        m_timer.setSingleShot(true);
        connect(&m_timer, &QTimer::timeout, this, &PassingText::restore);
    }

    void show(const QString& text, int milliseconds)
    {
        // While a passing text stands, the standing text is the one saved before it.
        if (!m_timer.isActive() || m_panel->text() != m_passing)
            m_standing = m_panel->text();
        m_passing = text;
        m_panel->setText(text);
        m_timer.start(milliseconds);
    }

private:
    void restore()
    {
        // Someone else wrote the panel meanwhile (a new standing text): that one stays.
        if (m_panel->text() == m_passing)
            m_panel->setText(m_standing);
        m_passing.clear();
    }

    QLabel* m_panel;
    QTimer m_timer;
    QString m_standing;
    QString m_passing;
};

} // namespace

Handler Set(Handler handler)
{
    return std::exchange(installed(), std::move(handler));
}

bool Show(const QString& text)
{
    const Handler& handler = installed();
    if (!handler)
        return false;
    handler(text);
    return true;
}

Handler SetConfirm(Handler handler)
{
    return std::exchange(installedConfirm(), std::move(handler));
}

bool Confirm(const QString& text)
{
    const Handler& handler = installedConfirm();
    if (!handler)
        return false;
    handler(text);
    return true;
}

void ShowPassing(QLabel* panel, const QString& text, int milliseconds)
{
    if (!panel)
        return;
    auto* passing =
        panel->findChild<PassingText*>(QStringLiteral("passingText"), Qt::FindDirectChildrenOnly);
    if (!passing)
        passing = new PassingText(panel);
    passing->show(text, milliseconds);
}

} // namespace PromptHook

#include "prompthook.moc"
