#pragma once

#include <QList>
#include <QString>
#include <QStringList>

class QPagedPaintDevice;

// The configuration print-out: one painting routine for the preview, a printer and a PDF
// file. The page is laid out in millimetres from the device's page layout and the margins.
namespace PrintOut {

struct Line
{
    QString label;
    QString value;
};

struct Content
{
    QString title;
    QStringList heading; // under the title, one line each: the date, the console's line
    QString section;     // bold, over the lines
    QList<Line> lines;   // label at the left margin, value in the value column
    QStringList closing; // labels of the lines filled in by hand at the end (site, signature)
};

struct Margins
{
    double top = 20;
    double bottom = 10;
    double left = 20;
    double right = 20;
    double value = 120; // the value column, from the left margin
};

// Space between the widest label and the value column when the values need the room.
constexpr double LabelGapMm = 5;

// The margins of section "Print"; a value that cannot be read counts as its default.
Margins StoredMargins();

// Sets the device's margins. False when they leave no room on its page or the device cannot
// print that close to the edge; the device's margins are then not the ones asked for, and
// nothing may be painted.
bool ApplyMargins(QPagedPaintDevice& device, const Margins& margins);

// Sets the device's margins and paints the content on as many pages as it needs. No text is
// cut: a value wraps inside its column, and when a single word is wider than the room beside
// the value column the column moves left, down to the widest label plus LabelGapMm. False,
// with nothing painted, when ApplyMargins refuses the margins.
bool Paint(QPagedPaintDevice& device, const Content& content, const Margins& margins);

// Writes the print-out as an A4 PDF file, all or nothing. Empty on success, else why it failed
// (margins that do not fit the page give the text of TextId::PrintMarginsNoRoom).
QString WritePdf(const QString& path, const Content& content, const Margins& margins);

} // namespace PrintOut
