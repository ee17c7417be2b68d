#include "helpcopy.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>

namespace Help {

namespace {

// A copy is current when it has the installed file's size and modification time (the copy
// takes the latter over).
bool current(const QFileInfo& installed, const QFileInfo& copy)
{
    return copy.isFile() && copy.size() == installed.size() &&
           copy.lastModified() == installed.lastModified();
}

bool copyFile(const QFileInfo& installed, const QString& target)
{
    QFile::remove(target);
    if (!QFile::copy(installed.absoluteFilePath(), target))
        return false;
    QFile copy(target);
    // Installed files are read-only; the copy belongs to the user.
    return copy.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ReadUser |
                               QFile::WriteUser) &&
           copy.open(QIODevice::ReadWrite) &&
           copy.setFileTime(installed.lastModified(), QFileDevice::FileModificationTime);
}

} // namespace

QString PerUserCopy(const QString& installedCollection)
{
    const QFileInfo collection(installedCollection);
    const QString name = collection.completeBaseName();
    const QString cache = QStandardPaths::writableLocation(QStandardPaths::CacheLocation);
    const QString folder = cache + QStringLiteral("/help");
    if (!collection.isFile() || cache.isEmpty() || !QDir().mkpath(folder))
        return installedCollection;

    const QFileInfo sources[] = {
        collection,
        QFileInfo(collection.absolutePath() + QLatin1Char('/') + name + QStringLiteral(".qch"))};
    bool changed = false;
    for (const QFileInfo& source : sources) {
        const QString target = folder + QLatin1Char('/') + source.fileName();
        if (current(source, QFileInfo(target)))
            continue;
        if (!source.isFile() || !copyFile(source, target))
            return installedCollection;
        changed = true;
    }
    // An index of the previous pages would find words they no longer hold.
    if (changed)
        QDir(folder + QStringLiteral("/.") + name).removeRecursively();
    return folder + QLatin1Char('/') + collection.fileName();
}

} // namespace Help
