#include "panelwidgets.h"

#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>

#include <algorithm>

namespace {

bool leftClickInside(const QWidget* widget, const QMouseEvent* event)
{
    return event->button() == Qt::LeftButton &&
           widget->rect().contains(event->position().toPoint());
}

} // namespace

LedLamp::LedLamp(int number, QWidget* parent)
    : QWidget(parent)
    , m_number(number)
{
    setObjectName(QStringLiteral("lblPanneau_%1").arg(number));
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
    setCursor(Qt::PointingHandCursor);
}

void LedLamp::setLit(bool lit)
{
    if (lit == m_lit)
        return;
    m_lit = lit;
    update();
}

QSize LedLamp::sizeHint() const
{
    return {34, 20};
}

void LedLamp::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    const qreal ratio = devicePixelRatioF();
    QPixmap& cached = m_faces[m_lit ? 1 : 0];
    if (cached.isNull() || cached.devicePixelRatio() != ratio)
        cached = face(m_lit);
    painter.drawPixmap(0, 0, cached);
}

QPixmap LedLamp::face(bool lit) const
{
    const qreal ratio = devicePixelRatioF();
    QPixmap pixmap(size() * ratio);
    pixmap.setDevicePixelRatio(ratio);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    const QRectF lamp = QRectF(rect()).adjusted(1, 1, -1, -1);
    const QPalette::ColorGroup group = isEnabled() ? QPalette::Active : QPalette::Disabled;
    painter.setPen(QPen(palette().color(group, QPalette::WindowText), 1));
    painter.setBrush(QColor::fromRgb(lit ? LitColour : UnlitColour));
    painter.drawRoundedRect(lamp, 4, 4);
    // White on both colours reads well; the number is the LED's own, 0 to 23.
    painter.setPen(Qt::white);
    QFont bold = font();
    bold.setBold(true);
    painter.setFont(bold);
    painter.drawText(lamp, Qt::AlignCenter, QString::number(m_number));
    return pixmap;
}

void LedLamp::changeEvent(QEvent* event)
{
    QWidget::changeEvent(event);
    const auto type = event->type();
    if (type == QEvent::PaletteChange || type == QEvent::FontChange ||
        type == QEvent::EnabledChange)
        m_faces = {};
}

void LedLamp::resizeEvent(QResizeEvent* event)
{
    QWidget::resizeEvent(event);
    m_faces = {};
}

void LedLamp::mouseReleaseEvent(QMouseEvent* event)
{
    if (leftClickInside(this, event))
        emit clicked();
}

HornImage::HornImage(QWidget* parent)
    : QWidget(parent)
{
    setObjectName(QStringLiteral("imgKlaxon"));
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
    setCursor(Qt::PointingHandCursor);
}

void HornImage::setOn(bool on)
{
    if (on == m_on)
        return;
    m_on = on;
    update();
}

QSize HornImage::sizeHint() const
{
    return {48, 48};
}

void HornImage::paintEvent(QPaintEvent*)
{
    // Drawn on a 48 x 48 grid, scaled to the widget and centred.
    constexpr qreal grid = 48;
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const qreal scale = std::min(width(), height()) / grid;
    painter.translate((width() - grid * scale) / 2, (height() - grid * scale) / 2);
    painter.scale(scale, scale);

    const QPalette::ColorGroup group = isEnabled() ? QPalette::Active : QPalette::Disabled;
    const QColor ink = palette().color(group, QPalette::WindowText);
    const QColor bell = m_on ? palette().color(group, QPalette::Highlight)
                             : palette().color(group, QPalette::Window);
    const auto pen = [&ink](qreal width) {
        return QPen(ink, width, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin);
    };

    // The body, and the bell opening to the right.
    painter.setPen(Qt::NoPen);
    painter.setBrush(ink);
    painter.drawRoundedRect(QRectF(4, 18, 8, 12), 1.5, 1.5);
    painter.setPen(pen(2));
    painter.setBrush(bell);
    painter.drawPolygon(QPolygonF{{12, 19}, {27, 8}, {27, 40}, {12, 29}});

    painter.setBrush(Qt::NoBrush);
    painter.setPen(pen(2.5));
    if (m_on) {
        // Three sound waves: where each starts, how far up and down it reaches, how far it
        // bulges to the right.
        struct Wave
        {
            qreal x, reach, bulge;
        };
        for (const Wave& w : {Wave{32, 6, 3}, Wave{36.5, 10.5, 5.5}, Wave{41, 15, 7.5}}) {
            QPainterPath wave({w.x, 24 - w.reach});
            wave.quadTo({w.x + w.bulge, 24}, {w.x, 24 + w.reach});
            painter.drawPath(wave);
        }
    } else {
        // Crossed out: silent.
        painter.drawLine(QLineF(33, 19, 43, 29));
        painter.drawLine(QLineF(43, 19, 33, 29));
    }
}

void HornImage::mouseReleaseEvent(QMouseEvent* event)
{
    if (leftClickInside(this, event))
        emit clicked();
}

void ClickLabel::mouseReleaseEvent(QMouseEvent* event)
{
    QLabel::mouseReleaseEvent(event);
    if (leftClickInside(this, event))
        emit clicked();
}
