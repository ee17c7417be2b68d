#include "recordpainter.h"

#include "configexchange.h"
#include "datafunctions7310.h"
#include "textids.h"

#include <QBuffer>
#include <QFont>
#include <QFontMetricsF>
#include <QPageLayout>
#include <QPagedPaintDevice>
#include <QPainter>
#include <QPdfWriter>

using namespace Commission;
using namespace ConfigMap;

namespace RecordPainter {

namespace {

QString text(int id)
{
    return DataFunctions7310::GetText(id);
}

// Without shaping no ligature is formed, so the PDF's text reads back as typed.
QFont font(double points, bool bold = false, bool fixed = false)
{
    QFont chosen(fixed ? QStringLiteral("DejaVu Sans Mono") : QStringLiteral("DejaVu Sans"));
    chosen.setPointSizeF(points);
    chosen.setBold(bold);
    chosen.setStyleStrategy(QFont::PreferNoShaping);
    return chosen;
}

QString verdictText(Verdict verdict)
{
    switch (verdict) {
    case Verdict::Passed:
        return text(TextId::RecordPassed);
    case Verdict::Failed:
        return text(TextId::RecordFailed);
    case Verdict::Skipped:
        return text(TextId::RecordSkipped);
    case Verdict::NotRun:
        break;
    }
    return text(TextId::RecordNotRun);
}

QString reasonText(const QString& reason)
{
    if (reason == QLatin1String("no"))
        return text(TextId::RecordReasonNo);
    if (reason == QLatin1String("time-out"))
        return text(TextId::RecordReasonTimeOut);
    if (reason == QLatin1String("no-answer"))
        return text(TextId::RecordReasonNoAnswer);
    if (reason == QLatin1String("cancelled"))
        return text(TextId::RecordReasonCancelled);
    return reason;
}

// Where and why a panel's configuration stopped.
QString failureText(const PanelRecord& panel)
{
    const int stageId =
        TextId::RecordStageLine + static_cast<int>(panel.failedAt) - static_cast<int>(Stage::Line);
    QString why;
    if (panel.failedAt == Stage::Compare) {
        why = text(TextId::RecordReadBackDiffers);
    } else {
        why = ConfigExchange::MissText({panel.failure, panel.exceptionCode});
    }
    return text(TextId::RecordStopped).arg(text(stageId)).arg(panel.failedWord).arg(why);
}

// Paints rows from the top of the area down, with a footer on every page.
class Pages
{
public:
    Pages(QPagedPaintDevice& device, QPainter& painter, const QString& footer)
        : m_device(device)
        , m_painter(painter)
        , m_footer(footer)
        , m_perMm(device.logicalDpiX() / 25.4)
        , m_area(device.pageLayout().paintRectPixels(device.logicalDpiX()))
    {}

    double mm(double millimetres) const { return millimetres * m_perMm; }
    double width() const { return m_area.width(); }
    // Room for `height` on this page, below which the footer stands; a new page otherwise.
    void need(double height)
    {
        if (m_y > 0 && m_y + height > m_area.height() - mm(10)) {
            finishPage();
            m_device.newPage();
            m_y = 0;
        }
    }
    // One row of cells, each from its x position to the next cell's (the last one to the right
    // margin); a text wider than its cell wraps, and the row grows to its tallest cell.
    void row(const QList<std::pair<double, QString>>& cells, const QFont& rowFont)
    {
        const QFontMetricsF metrics(rowFont, &m_device);
        constexpr int flags = Qt::AlignLeft | Qt::AlignTop | Qt::TextWordWrap;
        QList<QRectF> boxes;
        double height = metrics.height();
        for (qsizetype i = 0; i < cells.size(); ++i) {
            const double x = cells.at(i).first;
            const double right = i + 1 < cells.size() ? cells.at(i + 1).first - mm(2) : width();
            const QRectF box(x, 0, std::max(right - x, mm(5)), 1e6);
            boxes << box;
            height =
                std::max(height, metrics.boundingRect(box, flags, cells.at(i).second).height());
        }
        height += metrics.height() * 0.25;
        need(height);
        m_painter.setFont(rowFont);
        for (qsizetype i = 0; i < cells.size(); ++i)
            m_painter.drawText(boxes.at(i).translated(0, m_y), flags, cells.at(i).second);
        m_y += height;
    }
    void skip(double millimetres) { m_y += mm(millimetres); }
    void rule()
    {
        m_painter.setPen(QPen(Qt::black, mm(0.2)));
        m_painter.drawLine(QPointF(0, m_y), QPointF(width(), m_y));
        m_y += mm(1.5);
    }
    void finishPage()
    {
        ++m_page;
        const QFont small = font(7);
        m_painter.setFont(small);
        const QFontMetricsF metrics(small, &m_device);
        m_painter.drawText(QPointF(0, m_area.height() - metrics.descent()),
                           QString(m_footer).arg(m_page));
    }

private:
    QPagedPaintDevice& m_device;
    QPainter& m_painter;
    QString m_footer;
    double m_perMm;
    QRectF m_area;
    double m_y = 0;
    int m_page = 0;
};

void paintPanel(Pages& pages, const PanelRecord& panel)
{
    const QFont body = font(9);
    const QFont bold = font(9, true);
    // A panel's section starts on a new page unless its heading and table fit.
    pages.need(pages.mm(60));
    pages.skip(4);
    pages.row({{0, text(TextId::RecordPanel).arg(panel.target.slave).arg(panel.target.newSlave)},
               {pages.width() * 0.75,
                DataFunctions7310::Captioned(TextId::RecordResult, panel.passed()
                                                                       ? QStringLiteral("PASS")
                                                                       : QStringLiteral("FAIL"))}},
              font(11, true));
    pages.rule();
    const double value = pages.mm(45);
    pages.row({{0, text(TextId::RecordLine)},
               {value, panel.lineAfter == panel.lineBefore
                           ? panel.lineBefore
                           : panel.lineBefore + QStringLiteral(" → ") + panel.lineAfter}},
              body);
    pages.row({{0, text(TextId::RecordFirmware)},
               {value, panel.firmware.isEmpty() ? QStringLiteral("—") : panel.firmware}},
              body);
    if (panel.writeTried) {
        QStringList words;
        for (const Parameter& parameter : Parameters()) {
            if (panel.written[static_cast<size_t>(parameter.index)])
                words << QString::number(parameter.address);
        }
        pages.row({{0, text(TextId::RecordWordsTaken)
                           .arg(words.isEmpty() ? text(TextId::RecordNone)
                                                : words.join(QStringLiteral(", ")))}},
                  body);
    }
    if (!panel.configured())
        pages.row({{0, failureText(panel)}}, bold);

    pages.skip(2);
    const double columns[] = {0, pages.mm(48), pages.mm(90), pages.mm(132)};
    pages.row({{columns[0], text(TextId::RecordParameter)},
               {columns[1], text(TextId::RecordBefore)},
               {columns[2], text(TextId::RecordIntended)},
               {columns[3], text(TextId::RecordReadBack)}},
              bold);
    for (const Parameter& parameter : Parameters()) {
        const int i = parameter.index;
        const auto at = static_cast<size_t>(i);
        const QString label = text(parameter.labelId);
        if (!panel.served(i)) {
            pages.row({{columns[0], label}, {columns[1], text(TextId::RecordNotServed)}}, body);
            continue;
        }
        const bool differs = panel.differs(i);
        QString back = ValueText(i, panel.readBackRead[at] ? panel.readBack[i] : NoValue);
        if (differs)
            back += QStringLiteral(" (≠ ") + text(TextId::RecordDiffers) + QLatin1Char(')');
        pages.row({{columns[0], label},
                   {columns[1], ValueText(i, panel.beforeRead[at] ? panel.before[i] : NoValue)},
                   {columns[2], ValueText(i, panel.intended[i])},
                   {columns[3], back}},
                  differs ? bold : body);
    }

    pages.skip(2);
    pages.row({{0, text(TextId::RecordTests)}}, bold);
    const int testIds[] = {TextId::CommissionTestLamp, TextId::CommissionTestAlarm,
                           TextId::CommissionTestWalk};
    for (int t = 0; t < TestCount; ++t) {
        const TestResult& result = panel.tests[static_cast<size_t>(t)];
        QString verdict = verdictText(result.verdict);
        if (!result.reason.isEmpty())
            verdict += QStringLiteral(" (") + reasonText(result.reason) + QLatin1Char(')');
        pages.row({{columns[0], text(testIds[t])},
                   {columns[1], verdict},
                   {columns[3], result.at.isValid() ? result.at.toString(QStringLiteral("HH:mm:ss"))
                                                    : QString()}},
                  result.verdict == Verdict::Failed ? bold : body);
    }
}

} // namespace

QString ValueText(int index, int value)
{
    const QString shown = ConfigMap::ValueText(index, value);
    return shown.isEmpty() ? QStringLiteral("—") : shown;
}

bool Paint(QPagedPaintDevice& device, const Record& record, const QString& jsonSha256,
           const Margins& margins)
{
    if (!device.setPageMargins(QMarginsF(margins.left, margins.top, margins.right, margins.bottom),
                               QPageLayout::Millimeter))
        return false;
    QPainter painter(&device);
    if (!painter.isActive())
        return false;
    Pages pages(device, painter, text(TextId::RecordFooter).arg(jsonSha256, QStringLiteral("%1")));

    pages.row({{0, text(TextId::RecordTitle)}}, font(15, true));
    pages.skip(3);
    const QFont body = font(9);
    const double value = pages.mm(45);
    const int passed = static_cast<int>(std::count_if(record.panels.begin(), record.panels.end(),
                                                      [](const auto& p) { return p.passed(); }));
    const QList<std::pair<int, QString>> heading{
        {TextId::CommissionSite, record.site},
        {TextId::CommissionTechnician, record.technician},
        {TextId::RecordDate, record.started.toString(QStringLiteral("yyyy-MM-dd HH:mm:ss t"))},
        {TextId::RecordConsole, record.consoleVersion},
        {TextId::RecordPort, record.port},
        {TextId::RecordAdapter, record.adapter},
        {TextId::RecordTemplate, record.templateName},
    };
    for (const auto& [id, line] : heading)
        pages.row({{0, text(id)}, {value, line}}, body);
    pages.row({{0, text(TextId::RecordTemplateSha)}, {value, record.templateSha256}},
              font(8, false, true));
    pages.row({{0, text(TextId::RecordPanelsSummary).arg(passed).arg(record.panels.size())}},
              font(9, true));
    for (const PanelRecord& panel : record.panels)
        paintPanel(pages, panel);
    pages.finishPage();
    return true;
}

QByteArray Pdf(const Record& record, const QString& jsonSha256, const Margins& margins)
{
    QBuffer buffer;
    buffer.open(QIODevice::WriteOnly);
    bool painted = false;
    {
        QPdfWriter writer(&buffer);
        writer.setPageSize(QPageSize(QPageSize::A4));
        writer.setResolution(300);
        writer.setTitle(text(TextId::RecordTitle));
        writer.setCreator(record.consoleVersion);
        painted = Paint(writer, record, jsonSha256, margins);
    }
    return painted ? buffer.data() : QByteArray();
}

} // namespace RecordPainter
