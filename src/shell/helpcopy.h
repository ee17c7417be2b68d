#pragma once

#include <QString>

namespace Help {

// The collection to open for an installed one. Qt Help keeps a collection's full-text index in
// a folder beside it (.<name>/), so a collection in a shared, read-only data folder is copied
// with its help file (<name>.qch, registered relative to the collection) into the per-user
// cache folder, where the index can live. The copy is refreshed when the installed files
// change (an upgrade). Returns the installed collection itself when no copy can be made.
QString PerUserCopy(const QString& installedCollection);

} // namespace Help
