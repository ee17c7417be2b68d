#include "csvformat.h"

#include "datafunctions7310.h"

CsvFormat CsvFormat::ForLanguage(const QString& language)
{
    if (language.isEmpty() || language.compare(QLatin1String("English"), Qt::CaseInsensitive) == 0)
        return {};
    return CsvFormat{QLatin1Char(';'), QLatin1Char(','), true};
}

CsvFormat CsvFormat::Current()
{
    return ForLanguage(DataFunctions7310::CurrentLanguage());
}

QString CsvFormat::field(QString value) const
{
    if (value.contains(separator) || value.contains(QLatin1Char('"')) ||
        value.contains(QLatin1Char('\n')) || value.contains(QLatin1Char('\r'))) {
        value.replace(QLatin1String("\""), QLatin1String("\"\""));
        return QLatin1Char('"') + value + QLatin1Char('"');
    }
    return value;
}

QString CsvFormat::number(double value, int decimals) const
{
    QString text = QString::number(value, 'f', decimals);
    if (decimalMark != QLatin1Char('.'))
        text.replace(QLatin1Char('.'), decimalMark);
    return text;
}

QString CsvFormat::line(const QStringList& values) const
{
    QStringList quoted;
    quoted.reserve(values.size());
    for (const QString& value : values)
        quoted << field(value);
    return quoted.join(separator) + QStringLiteral("\r\n");
}

QByteArray CsvFormat::document(const QList<QStringList>& lines) const
{
    QString text;
    for (const QStringList& values : lines)
        text += line(values);
    QByteArray bytes = text.toUtf8();
    if (byteOrderMark)
        bytes.prepend("\xEF\xBB\xBF");
    return bytes;
}
