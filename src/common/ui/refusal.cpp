#include "refusal.h"

#include "datafunctions7310.h"
#include "prompthook.h"

#include <QApplication>
#include <QEvent>
#include <QPainter>
#include <QTimer>
#include <QWidget>

namespace Refusal {

namespace {

const QString cueName = QStringLiteral("refusalCue");

// A red frame laid over a field, which it follows in size; clicks go through to the field.
// Drawn over the field rather than through a style sheet, so that the field keeps its own
// style and colours, light or dark.
class Cue : public QWidget
{
    Q_OBJECT

public:
    explicit Cue(QWidget* field)
        : QWidget(field)
    {
        setObjectName(cueName);
        setAttribute(Qt::WA_TransparentForMouseEvents);
        setFocusPolicy(Qt::NoFocus);
        field->installEventFilter(this);
        m_timer.setSingleShot(true);
        connect(&m_timer, &QTimer::timeout, this, [this] {
            hide();
            deleteLater();
        });
    }

    void restart()
    {
        setGeometry(parentWidget()->rect());
        raise();
        show();
        m_timer.start(CueMilliseconds);
    }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override
    {
        if (watched == parentWidget() && event->type() == QEvent::Resize)
            setGeometry(parentWidget()->rect());
        return false;
    }

    void paintEvent(QPaintEvent*) override
    {
        // A red that stands out from the field's own background, whether that is light or dark.
        const bool dark = parentWidget()->palette().color(QPalette::Base).lightness() < 128;
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setPen(QPen(dark ? QColor(255, 92, 92) : QColor(204, 0, 0), 2));
        painter.drawRoundedRect(QRectF(rect()).adjusted(1, 1, -1, -1), 2, 2);
    }

private:
    QTimer m_timer;
};

Cue* cueOf(const QWidget* field)
{
    return field->findChild<Cue*>(cueName, Qt::FindDirectChildrenOnly);
}

} // namespace

void Refuse(QWidget* field, int reasonId)
{
    QApplication::beep();
    if (field) {
        Cue* cue = cueOf(field);
        if (!cue)
            cue = new Cue(field);
        cue->restart();
    }
    if (reasonId != 0)
        PromptHook::Show(DataFunctions7310::GetText(reasonId));
}

bool IsCued(const QWidget* field)
{
    const Cue* cue = field ? cueOf(field) : nullptr;
    return cue && cue->isVisible();
}

} // namespace Refusal

#include "refusal.moc"
