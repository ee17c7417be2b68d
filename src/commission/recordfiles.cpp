#include "recordfiles.h"

#include <QFile>
#include <QFileInfo>
#include <QSaveFile>

#include <memory>

namespace RecordFiles {

Saved Save(const QString& base, const Commission::Record& record, const CsvFormat& csv,
           const RecordPainter::Margins& margins)
{
    Saved saved;
    const QFileInfo info(base);
    const QString stem = info.suffix().isEmpty() || info.suffix().contains(QLatin1Char(' '))
                             ? base
                             : info.path() + QLatin1Char('/') + info.completeBaseName();
    const QByteArray json = Commission::ToJson(record);
    saved.jsonSha256 = Commission::Sha256(json);
    const QByteArray pdf = RecordPainter::Pdf(record, saved.jsonSha256, margins);
    if (pdf.isEmpty()) {
        saved.error = QStringLiteral("PDF");
        return saved;
    }
    const QList<std::pair<QString, QByteArray>> forms{
        {stem + QStringLiteral(".pdf"), pdf},
        {stem + QStringLiteral(".json"), json},
        {stem + QStringLiteral(".csv"), Commission::ToCsv(record, csv)},
    };
    std::vector<std::unique_ptr<QSaveFile>> files;
    for (const auto& [path, bytes] : forms) {
        auto file = std::make_unique<QSaveFile>(path);
        if (!file->open(QIODevice::WriteOnly) || file->write(bytes) != bytes.size()) {
            saved.error = path + QStringLiteral(": ") + file->errorString();
            return saved; // the files not committed are discarded with their objects
        }
        files.push_back(std::move(file));
    }
    for (auto& file : files) {
        if (!file->commit()) {
            saved.error = file->fileName() + QStringLiteral(": ") + file->errorString();
            for (const QString& done : saved.files)
                QFile::remove(done);
            saved.files.clear();
            return saved;
        }
        saved.files << file->fileName();
    }
    return saved;
}

} // namespace RecordFiles
