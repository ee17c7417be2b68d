#include "printout.h"

#include "datafunctions7310.h"
#include "textids.h"
#include "wprintconfig.h"
#include "zrbfonctions.h"

#include <QFont>
#include <QFontMetricsF>
#include <QPageLayout>
#include <QPagedPaintDevice>
#include <QPainter>
#include <QPdfWriter>
#include <QRegularExpression>
#include <QSaveFile>
#include <QTextLayout>

#include <algorithm>

namespace PrintOut {

namespace {

// A font of the print-out. Latin text needs no shaping; without it no ligature is formed, so
// a PDF's text reads back as typed ("fi", not one "ﬁ" glyph) and can be searched.
QFont printFont(double points, bool bold)
{
    QFont font(QStringLiteral("DejaVu Sans"));
    font.setPointSizeF(points);
    font.setBold(bold);
    font.setStyleStrategy(QFont::PreferNoShaping);
    return font;
}

// Lays text out in lines of `width` device units: at word boundaries, and inside a word only
// when the word alone is wider than the line. Returns the height of all its lines.
double layOut(QTextLayout& layout, double width)
{
    QTextOption option(Qt::AlignLeft);
    option.setWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
    layout.setTextOption(option);
    layout.beginLayout();
    double height = 0;
    for (QTextLine line = layout.createLine(); line.isValid(); line = layout.createLine()) {
        line.setLeadingIncluded(true);
        line.setLineWidth(width);
        line.setPosition(QPointF(0, height));
        height += line.height();
    }
    layout.endLayout();
    return height;
}

double widestWord(const QString& text, const QFontMetricsF& metrics)
{
    static const QRegularExpression space(QStringLiteral("\\s+"));
    double widest = 0;
    for (const QString& word : text.split(space, Qt::SkipEmptyParts))
        widest = std::max(widest, metrics.horizontalAdvance(word));
    return widest;
}

} // namespace

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

bool ApplyMargins(QPagedPaintDevice& device, const Margins& margins)
{
    const QSizeF page = device.pageLayout().fullRect(QPageLayout::Millimeter).size();
    if (std::min({margins.top, margins.bottom, margins.left, margins.right}) < 0 ||
        margins.left + margins.right >= page.width() ||
        margins.top + margins.bottom >= page.height())
        return false;
    // The device refuses margins inside the edge it cannot print and then keeps its own.
    return device.setPageMargins(
        QMarginsF(margins.left, margins.top, margins.right, margins.bottom),
        QPageLayout::Millimeter);
}

bool Paint(QPagedPaintDevice& device, const Content& content, const Margins& margins)
{
    if (!ApplyMargins(device, margins))
        return false;
    QPainter painter(&device);
    if (!painter.isActive())
        return false;
    // The painter's origin is the top left corner of the area inside the margins.
    const QRectF area = device.pageLayout().paintRectPixels(device.logicalDpiX());
    const double perMm = device.logicalDpiX() / 25.4;
    const QFont body = printFont(10, false);
    const QFont bold = printFont(10, true);
    const QFont title = printFont(14, true);
    const QFontMetricsF bodyMetrics(body, &device);

    // The value column where the margins put it, unless a value's word does not fit beside
    // it: then as far left as that word needs, but never over the labels.
    double valueX = std::max(margins.value, 0.0) * perMm;
    double labelWidth = 0;
    double wordWidth = 0;
    for (const Line& entry : content.lines) {
        labelWidth = std::max(labelWidth, bodyMetrics.horizontalAdvance(entry.label));
        wordWidth = std::max(wordWidth, widestWord(entry.value, bodyMetrics));
    }
    if (valueX + wordWidth > area.width())
        valueX =
            std::min(valueX, std::max(labelWidth + LabelGapMm * perMm, area.width() - wordWidth));
    // A column never narrower than a millimetre, so that a line always holds a character.
    const double labelColumn = std::max(valueX - 2 * perMm, perMm);
    const double valueColumn = std::max(area.width() - valueX, perMm);

    double y = 0;
    // The top of a block of `height`, on a new page when it does not fit below what stands.
    const auto place = [&](double height) {
        if (y > 0 && y + height > area.height()) {
            device.newPage();
            y = 0;
        }
        const double top = y;
        y += height;
        return top;
    };
    const auto paragraph = [&](const QFont& font, const QString& text) {
        QTextLayout layout(text, font, &device);
        const double top = place(layOut(layout, area.width()));
        layout.draw(&painter, QPointF(0, top));
    };

    paragraph(title, content.title);
    y += 3 * perMm;
    for (const QString& heading : content.heading)
        paragraph(body, heading);
    y += 6 * perMm;
    if (!content.section.isEmpty()) {
        paragraph(bold, content.section);
        y += 2 * perMm;
    }
    for (const Line& entry : content.lines) {
        QTextLayout label(entry.label, body, &device);
        QTextLayout value(entry.value, body, &device);
        const double height =
            std::max(layOut(label, labelColumn), layOut(value, valueColumn)) + perMm;
        const double top = place(height);
        label.draw(&painter, QPointF(0, top));
        value.draw(&painter, QPointF(valueX, top));
    }

    if (content.closing.isEmpty())
        return true;
    // Lines to write on by hand, kept together on one page, each beginning after the widest
    // of their labels.
    const double row = 10 * perMm;
    y += 4 * perMm;
    double rowTop = place(row * static_cast<double>(content.closing.size()));
    double closingWidth = 0;
    for (const QString& label : content.closing)
        closingWidth = std::max(closingWidth, bodyMetrics.horizontalAdvance(label));
    const double lineStart = std::min(closingWidth + LabelGapMm * perMm, area.width() / 2);
    painter.setFont(body);
    painter.setPen(QPen(Qt::black, 0.2 * perMm));
    for (const QString& label : content.closing) {
        rowTop += row;
        const double baseline = rowTop - perMm;
        painter.drawText(QPointF(0, baseline), label);
        painter.drawLine(QPointF(lineStart, baseline), QPointF(area.width(), baseline));
    }
    return true;
}

QString WritePdf(const QString& path, const Content& content, const Margins& margins)
{
    // The file appears only once it is complete: written aside, then renamed over.
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return file.errorString();
    bool painted = false;
    {
        QPdfWriter writer(&file);
        writer.setPageSize(QPageSize(QPageSize::A4));
        writer.setResolution(300);
        writer.setTitle(content.title);
        painted = Paint(writer, content, margins);
    }
    if (!painted) {
        file.cancelWriting();
        return DataFunctions7310::GetText(TextId::PrintMarginsNoRoom);
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
