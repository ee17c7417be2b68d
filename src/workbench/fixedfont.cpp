#include "fixedfont.h"

#include <QFontDatabase>

QFont FixedPitchFont()
{
    const QString family = QStringLiteral("Courier New");
    if (QFontDatabase::hasFamily(family))
        return QFont(family);
    return QFontDatabase::systemFont(QFontDatabase::FixedFont);
}
