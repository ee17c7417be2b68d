#include "shellhelpers.h"

#include "childwindow.h"
#include "errorhandling.h"

#include <QApplication>
#include <QFile>
#include <QMetaObject>
#include <QPainter>
#include <QPalette>
#include <QPixmap>
#include <QSvgRenderer>
#include <QWidget>

#include <cmath>

namespace {

double number(const QString& text)
{
    bool ok = false;
    const double value = text.trimmed().toDouble(&ok);
    if (!ok || !std::isfinite(value))
        throw RunTimeError(ErrorNumber::TypeMismatch, text);
    // Halves go to the even neighbour, as the conversion functions of the settings did.
    return std::nearbyint(value);
}

} // namespace

namespace IniValue {

int Short(const QString& text)
{
    const double value = number(text);
    if (value < -32768 || value > 32767)
        throw RunTimeError(ErrorNumber::Overflow, text);
    return static_cast<int>(value);
}

qint32 Long(const QString& text)
{
    const double value = number(text);
    if (value < -2147483648.0 || value > 2147483647.0)
        throw RunTimeError(ErrorNumber::Overflow, text);
    return static_cast<qint32>(value);
}

bool Boolean(const QString& text)
{
    const QString trimmed = text.trimmed();
    if (trimmed.compare(QLatin1String("true"), Qt::CaseInsensitive) == 0)
        return true;
    if (trimmed.compare(QLatin1String("false"), Qt::CaseInsensitive) == 0)
        return false;
    bool ok = false;
    const double value = trimmed.toDouble(&ok);
    if (!ok)
        throw RunTimeError(ErrorNumber::TypeMismatch, text);
    return value != 0;
}

} // namespace IniValue

void RefreshAllWindows()
{
    // Every window of the shell offers a nationality() slot or is a child window.
    const auto widgets = QApplication::allWidgets();
    for (QWidget* widget : widgets) {
        if (auto* child = qobject_cast<ChildWindow*>(widget)) {
            child->nationality();
            continue;
        }
        if (widget->isWindow() && widget->metaObject()->indexOfMethod("nationality()") >= 0)
            QMetaObject::invokeMethod(widget, "nationality");
    }
}

QIcon ThemedIcon(const QString& resource, const QPalette& palette)
{
    QFile file(resource);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    QByteArray svg = file.readAll();
    if (palette.color(QPalette::Window).lightness() < 128) {
        svg.replace("#1d3b5a", "#swap#");
        svg.replace("#d8e6f2", "#1d3b5a");
        svg.replace("#swap#", "#d8e6f2");
    }
    QSvgRenderer renderer(svg);
    QIcon icon;
    for (int side : {16, 24, 32, 48, 64}) {
        QPixmap picture(side, side);
        picture.fill(Qt::transparent);
        QPainter painter(&picture);
        renderer.render(&painter);
        painter.end();
        icon.addPixmap(picture);
    }
    return icon;
}
