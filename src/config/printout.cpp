#include "printout.h"

#include "wprintconfig.h"
#include "zrbfonctions.h"

#include <QFont>
#include <QFontMetricsF>
#include <QPageLayout>
#include <QPagedPaintDevice>
#include <QPainter>
#include <QPdfWriter>
#include <QSaveFile>

namespace PrintOut {

Margins StoredMargins()
{
    std::array<double, 5> mm{};
    for (int i = 0; i < 5; ++i) {
        const QString key = wPrintConfig::MarginKey(i);
        bool ok = false;
        mm.at(static_cast<size_t>(i)) =
            ZRBfonctions::GetIniParam(QStringLiteral("Print"), key, wPrintConfig::MarginDefault(i))
                .trimmed()
                .toDouble(&ok);
        if (!ok)
            mm.at(static_cast<size_t>(i)) = wPrintConfig::MarginDefault(i).toDouble();
    }
    using P = wPrintConfig;
    return {mm[P::Top], mm[P::Bottom], mm[P::Left], mm[P::Right], mm[P::Value]};
}

void Paint(QPagedPaintDevice& device, const Content& content, const Margins& margins)
{
    device.setPageMargins(QMarginsF(margins.left, margins.top, margins.right, margins.bottom),
                          QPageLayout::Millimeter);
    QPainter painter(&device);
    if (!painter.isActive())
        return;
    // The painter's origin is the top left corner of the area inside the margins.
    const QRectF area = device.pageLayout().paintRectPixels(device.logicalDpiX());
    const double perMm = device.logicalDpiX() / 25.4;
    const double valueX = margins.value * perMm;
    const double gap = 2 * perMm;

    QFont body(QStringLiteral("DejaVu Sans"));
    body.setPointSizeF(10);
    QFont title = body;
    title.setPointSizeF(14);
    title.setBold(true);

    double y = 0;
    const auto line = [&](const QFont& font) {
        painter.setFont(font);
        const double height = QFontMetricsF(font, &device).lineSpacing();
        if (y > 0 && y + height > area.height()) {
            device.newPage();
            y = 0;
        }
        const double top = y;
        y += height;
        return top;
    };
    const auto text = [&](double x, double top, double width, const QString& s) {
        const QFontMetricsF metrics(painter.font(), &device);
        const QString shown = metrics.elidedText(s, Qt::ElideRight, width);
        painter.drawText(QRectF(x, top, width, metrics.lineSpacing()),
                         Qt::AlignLeft | Qt::AlignTop | Qt::TextSingleLine, shown);
    };

    double top = line(title);
    text(0, top, area.width(), content.title);
    y += perMm * 3;
    for (const QString& heading : content.heading) {
        top = line(body);
        text(0, top, area.width(), heading);
    }
    y += perMm * 5;
    for (const Line& entry : content.lines) {
        top = line(body);
        text(0, top, std::max(valueX - gap, 0.0), entry.label);
        text(valueX, top, std::max(area.width() - valueX, 0.0), entry.value);
    }
}

QString WritePdf(const QString& path, const Content& content, const Margins& margins)
{
    // The file appears only once it is complete: written aside, then renamed over.
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return file.errorString();
    {
        QPdfWriter writer(&file);
        writer.setPageSize(QPageSize(QPageSize::A4));
        writer.setResolution(300);
        writer.setTitle(content.title);
        Paint(writer, content, margins);
    }
    if (file.error() != QFileDevice::NoError) {
        const QString why = file.errorString();
        file.cancelWriting();
        return why;
    }
    if (!file.commit())
        return file.errorString();
    return {};
}

} // namespace PrintOut
