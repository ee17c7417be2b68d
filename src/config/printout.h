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
    QStringList heading; // date, line, slave and version, one line each
    QList<Line> lines;   // label at the left margin, value in the value column
};

struct Margins
{
    double top = 20;
    double bottom = 10;
    double left = 20;
    double right = 20;
    double value = 120; // the value column, from the left margin
};

// The margins of section "Print"; a value that cannot be read counts as its default.
Margins StoredMargins();

// Sets the device's margins and paints the content on as many pages as it needs.
void Paint(QPagedPaintDevice& device, const Content& content, const Margins& margins);

// Writes the print-out as a PDF file, all or nothing. Empty on success, else why it failed.
QString WritePdf(const QString& path, const Content& content, const Margins& margins);

} // namespace PrintOut
