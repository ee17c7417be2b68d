#pragma once

#include "commissionrecord.h"

#include <QString>

class QPagedPaintDevice;

// The commissioning record for the customer: one painting routine for the preview, a printer
// and the PDF file. Texts come from the text database in the current language. Every page's
// footer carries the SHA-256 of the record's JSON form, so that a changed record can be told
// from the original.
namespace RecordPainter {

struct Margins
{
    double top = 20; // millimetres
    double bottom = 15;
    double left = 20;
    double right = 15;
};

// Paints the record on as many pages as it needs. False when the margins leave no room or the
// device cannot be painted on.
bool Paint(QPagedPaintDevice& device, const Commission::Record& record, const QString& jsonSha256,
           const Margins& margins = {});

// The record as A4 PDF bytes; empty when it could not be painted.
QByteArray Pdf(const Commission::Record& record, const QString& jsonSha256,
               const Margins& margins = {});

// A parameter's value as the configuration window shows it ("9600", "2", "Yes"); a dash when
// not known.
QString ValueText(int index, int value);

} // namespace RecordPainter
