#include "inifile.h"

#include "errorhandling.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>

#include <optional>

namespace {

// The file as lines, with what a rewrite must keep: line ending and byte-order mark.
struct Document
{
    QStringList lines;
    bool crlf = false;
    bool byteOrderMark = false;
};

// Lines [header, end) of a section: end is the next section's header or the end of the file.
struct Range
{
    qsizetype header = -1;
    qsizetype end = -1;
    bool found() const { return header >= 0; }
};

bool isComment(const QString& trimmed)
{
    return trimmed.startsWith(QLatin1Char(';')) || trimmed.startsWith(QLatin1Char('#'));
}

std::optional<QString> sectionName(const QString& line)
{
    const QString trimmed = line.trimmed();
    if (!trimmed.startsWith(QLatin1Char('[')))
        return std::nullopt;
    const qsizetype close = trimmed.indexOf(QLatin1Char(']'));
    if (close < 0)
        return std::nullopt;
    return trimmed.mid(1, close - 1).trimmed();
}

std::optional<QString> keyName(const QString& line)
{
    const QString trimmed = line.trimmed();
    if (trimmed.isEmpty() || isComment(trimmed) || trimmed.startsWith(QLatin1Char('[')))
        return std::nullopt;
    const qsizetype equals = trimmed.indexOf(QLatin1Char('='));
    if (equals <= 0)
        return std::nullopt;
    QString key = trimmed.left(equals).trimmed();
    if (key.isEmpty())
        return std::nullopt;
    return key;
}

bool sameName(const QString& a, const QString& b)
{
    return a.compare(b, Qt::CaseInsensitive) == 0;
}

QString decodeValue(const QString& line)
{
    QString value = line.mid(line.indexOf(QLatin1Char('=')) + 1).trimmed();
    if (value.size() >= 2 && value.startsWith(QLatin1Char('"')) && value.endsWith(QLatin1Char('"')))
        value = value.mid(1, value.size() - 2);
    return value;
}

// Quotes a value whose outer blanks or quotes would otherwise be lost on reading.
QString encodeValue(QString value)
{
    value.replace(QLatin1String("\r\n"), QLatin1String(" "));
    value.replace(QLatin1Char('\r'), QLatin1Char(' '));
    value.replace(QLatin1Char('\n'), QLatin1Char(' '));
    const bool quoted =
        value.size() >= 2 && value.startsWith(QLatin1Char('"')) && value.endsWith(QLatin1Char('"'));
    if (value != value.trimmed() || quoted)
        return QLatin1Char('"') + value + QLatin1Char('"');
    return value;
}

Range findSection(const Document& document, const QString& section, qsizetype from = 0)
{
    Range range;
    for (qsizetype i = from; i < document.lines.size(); ++i) {
        const auto name = sectionName(document.lines[i]);
        if (!name)
            continue;
        if (range.found()) {
            range.end = i;
            return range;
        }
        if (sameName(*name, section))
            range.header = i;
    }
    if (range.found())
        range.end = document.lines.size();
    return range;
}

qsizetype findKey(const Document& document, const Range& range, const QString& key)
{
    for (qsizetype i = range.header + 1; i < range.end; ++i) {
        const auto name = keyName(document.lines[i]);
        if (name && sameName(*name, key))
            return i;
    }
    return -1;
}

qsizetype lastKeyLine(const Document& document, const Range& range)
{
    qsizetype last = range.header;
    for (qsizetype i = range.header + 1; i < range.end; ++i)
        if (keyName(document.lines[i]))
            last = i;
    return last;
}

Document load(const QString& path)
{
    Document document;
    QFile file(path);
    if (!file.exists())
        return document;
    if (!file.open(QIODevice::ReadOnly))
        throw RunTimeError(ErrorNumber::FileAccess,
                           path + QStringLiteral(": ") + file.errorString());
    QByteArray bytes = file.readAll();
    if (bytes.startsWith("\xEF\xBB\xBF")) {
        document.byteOrderMark = true;
        bytes.remove(0, 3);
    }
    const QString text = QString::fromUtf8(bytes);
    if (text.isEmpty())
        return document;
    document.lines = text.split(QLatin1Char('\n'));
    if (document.lines.last().isEmpty())
        document.lines.removeLast();
    document.crlf = !document.lines.isEmpty() && document.lines.first().endsWith(QLatin1Char('\r'));
    for (QString& line : document.lines)
        if (line.endsWith(QLatin1Char('\r')))
            line.chop(1);
    return document;
}

// A file marked read-only (no write permission for anybody) is treated as read-only even for a
// user whom the system would let write it: the mark is the owner's wish.
bool markedReadOnly(const QFileInfo& info)
{
    constexpr QFile::Permissions anyWrite =
        QFile::WriteOwner | QFile::WriteGroup | QFile::WriteOther;
    return !info.isWritable() || !(info.permissions() & anyWrite);
}

void save(const QString& path, const Document& document)
{
    const QFileInfo info(path);
    if (info.exists() && markedReadOnly(info))
        throw RunTimeError(ErrorNumber::SettingsNotWritable,
                           path + QStringLiteral(": the file is read-only"));
    if (!QDir().mkpath(info.absolutePath()))
        throw RunTimeError(ErrorNumber::SettingsNotWritable,
                           path + QStringLiteral(": the folder cannot be created"));

    const QString eol = document.crlf ? QStringLiteral("\r\n") : QStringLiteral("\n");
    QByteArray bytes;
    if (document.byteOrderMark)
        bytes = "\xEF\xBB\xBF";
    for (const QString& line : document.lines)
        bytes += (line + eol).toUtf8();

    QSaveFile file(path);
    // A writable file in a folder that is not: written in place rather than refused.
    file.setDirectWriteFallback(true);
    if (!file.open(QIODevice::WriteOnly))
        throw RunTimeError(ErrorNumber::SettingsNotWritable,
                           path + QStringLiteral(": ") + file.errorString());
    if (file.write(bytes) != bytes.size() || !file.commit())
        throw RunTimeError(ErrorNumber::SettingsNotWritable,
                           path + QStringLiteral(": ") + file.errorString());
}

} // namespace

QString IniFile::read(const QString& section, const QString& key, const QString& defaultValue,
                      const QString& path) const
{
    const Document document = load(path);
    const Range range = findSection(document, section);
    if (!range.found())
        return defaultValue;
    const qsizetype line = findKey(document, range, key);
    return line < 0 ? defaultValue : decodeValue(document.lines[line]);
}

void IniFile::write(const QString& section, const QString& key, const QString& value,
                    const QString& path) const
{
    Document document = load(path);
    const Document before = document;
    const QString encoded = encodeValue(value);
    const Range range = findSection(document, section);
    if (!range.found()) {
        if (!document.lines.isEmpty() && !document.lines.last().trimmed().isEmpty())
            document.lines.append(QString());
        document.lines.append(QLatin1Char('[') + section + QLatin1Char(']'));
        document.lines.append(key + QLatin1Char('=') + encoded);
    } else if (const qsizetype line = findKey(document, range, key); line >= 0) {
        // Keep the key as spelled and the blanks after "=": only the value changes.
        QString& text = document.lines[line];
        qsizetype start = text.indexOf(QLatin1Char('=')) + 1;
        while (start < text.size() &&
               (text[start] == QLatin1Char(' ') || text[start] == QLatin1Char('\t')))
            ++start;
        text = text.left(start) + encoded;
    } else {
        document.lines.insert(lastKeyLine(document, range) + 1, key + QLatin1Char('=') + encoded);
    }
    if (document.lines != before.lines)
        save(path, document);
}

void IniFile::removeKey(const QString& section, const QString& key, const QString& path) const
{
    Document document = load(path);
    const Range range = findSection(document, section);
    if (!range.found())
        return;
    const qsizetype line = findKey(document, range, key);
    if (line < 0)
        return;
    document.lines.removeAt(line);
    save(path, document);
}

void IniFile::removeSection(const QString& section, const QString& path) const
{
    Document document = load(path);
    bool changed = false;
    // Every copy of the section goes; comments and blank lines after its last key stay with
    // whatever follows.
    for (Range range = findSection(document, section); range.found();
         range = findSection(document, section, range.header)) {
        qsizetype end = lastKeyLine(document, range) + 1;
        while (end < range.end && document.lines[end].trimmed().isEmpty())
            ++end;
        document.lines.remove(range.header, end - range.header);
        changed = true;
    }
    if (changed)
        save(path, document);
}

QStringList IniFile::keys(const QString& section, const QString& path) const
{
    const Document document = load(path);
    const Range range = findSection(document, section);
    QStringList result;
    if (!range.found())
        return result;
    for (qsizetype i = range.header + 1; i < range.end; ++i)
        if (const auto name = keyName(document.lines[i]))
            result.append(*name);
    return result;
}
