#include "panelwidgets.h"

#include <QMouseEvent>
#include <QPainter>

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
    , m_klaxonOn(QStringLiteral(":/tools/images/klaxonon.svg"))
    , m_klaxonOff(QStringLiteral(":/tools/images/klaxonoff.svg"))
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
    QPainter painter(this);
    const QIcon& picture = m_on ? m_klaxonOn : m_klaxonOff;
    picture.paint(&painter, rect(), Qt::AlignCenter, isEnabled() ? QIcon::Normal : QIcon::Disabled);
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
