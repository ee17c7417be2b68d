#pragma once

#include "commissionrecord.h"
#include "recordpainter.h"

#include <QString>
#include <QStringList>

// The three forms of a record written together: NAME.pdf for the customer, NAME.json for
// machines, NAME.csv as a summary. All three or none: each is written aside and renamed over
// only once all have been written; if a rename fails, the ones already renamed are removed.
namespace RecordFiles {

struct Saved
{
    QString error;     // empty when all three were written
    QStringList files; // pdf, json, csv
    QString jsonSha256;
};

// `base` is the path without its extension (an extension given is dropped).
Saved Save(const QString& base, const Commission::Record& record, const CsvFormat& csv,
           const RecordPainter::Margins& margins = {});

} // namespace RecordFiles
