#include "datafunctions7310.h"

// Placeholder until the data file is wired in: every lookup answers its missing-text marker.
namespace DataFunctions7310 {

namespace {
QString& language()
{
    static QString value;
    return value;
}
} // namespace

QString CurrentLanguage()
{
    return language();
}

void SetCurrentLanguage(const QString& newLanguage)
{
    language() = newLanguage;
}

QString GetText(const QString& id)
{
    bool numeric = false;
    id.toLongLong(&numeric);
    return numeric ? QLatin1Char('#') + id + QLatin1Char('#') : QString();
}

QString GetToolTip(const QString&)
{
    return {};
}

std::int32_t GetDefaultValue(std::int16_t)
{
    return 0;
}

} // namespace DataFunctions7310
