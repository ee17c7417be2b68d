#include "configfile.h"

#include "datafunctions7310.h"
#include "errorhandling.h"
#include "inifile.h"
#include "textids.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

using namespace ConfigMap;

namespace ConfigFile {

namespace {

const QString head = QStringLiteral("K7310");
const QString words = QStringLiteral("Words");
const QString device = QStringLiteral("K7310");
const QString missing = QStringLiteral("\x01"); // no stored value can be this

QString wordText(const Parameter& parameter, int value)
{
    return Acceptable(parameter, value) ? QString::number(WordOfValue(parameter, value))
                                        : QString();
}

} // namespace

void Save(const QString& path, const Contents& contents)
{
    // Written beside the target and renamed over it, so that a failed save leaves an existing
    // file whole and a replaced file keeps no keys of its own.
    const QString draft = path + QStringLiteral(".part");
    QFile::remove(draft);
    const IniFile ini;
    try {
        ini.write(head, QStringLiteral("Device"), device, draft);
        ini.write(head, QStringLiteral("Format"), QString::number(Format), draft);
        ini.write(head, QStringLiteral("Saved"), contents.saved, draft);
        ini.write(head, QStringLiteral("Firmware"), contents.firmware, draft);
        ini.write(head, QStringLiteral("Port"), contents.port, draft);
        ini.write(head, QStringLiteral("Line"), contents.line, draft);
        for (const Parameter& parameter : Parameters())
            ini.write(words, QString::number(parameter.address),
                      wordText(parameter, contents.values[parameter.index]), draft);
    } catch (const RunTimeError&) {
        QFile::remove(draft);
        throw;
    }
    QFile::remove(path);
    if (!QFile::rename(draft, path)) {
        QFile::remove(draft);
        throw RunTimeError(ErrorNumber::FileAccess, path);
    }
}

Opened Open(const QString& path)
{
    Opened opened;
    const QFileInfo info(path);
    if (!info.isFile() || !info.isReadable()) {
        opened.refusal = Refusal::Unreadable;
        return opened;
    }
    const IniFile ini;
    const auto malformed = [&opened](const QString& key) {
        opened.refusal = Refusal::Malformed;
        opened.detail = key;
        return opened;
    };
    try {
        const auto read = [&](const QString& section, const QString& key) {
            return ini.read(section, key, missing, path);
        };
        const QString named = read(head, QStringLiteral("Device"));
        if (named == missing)
            return malformed(QStringLiteral("Device"));
        if (named.compare(device, Qt::CaseInsensitive) != 0) {
            opened.refusal = Refusal::OtherDevice;
            opened.detail = named;
            return opened;
        }
        if (read(head, QStringLiteral("Format")) != QString::number(Format))
            return malformed(QStringLiteral("Format"));
        // The date, port and line are for the technician's eye; a file without them is used.
        Contents& contents = opened.contents;
        contents.firmware = ini.read(head, QStringLiteral("Firmware"), {}, path);
        if (!contents.firmware.isEmpty() && VersionCodeOf(contents.firmware) == 0)
            return malformed(QStringLiteral("Firmware"));
        contents.saved = ini.read(head, QStringLiteral("Saved"), {}, path);
        contents.port = ini.read(head, QStringLiteral("Port"), {}, path);
        contents.line = ini.read(head, QStringLiteral("Line"), {}, path);

        for (const Parameter& parameter : Parameters()) {
            const QString key = QString::number(parameter.address);
            const QString text = read(words, key);
            if (text == missing)
                return malformed(key);
            int value = NoValue;
            if (!text.isEmpty()) {
                bool number = false;
                const int word = text.toInt(&number);
                if (!number || word < INT16_MIN || word > INT16_MAX)
                    return malformed(key);
                value = ValueOfWord(parameter, static_cast<std::int16_t>(word));
                if (!Acceptable(parameter, value)) {
                    opened.refusal = Refusal::OutOfRange;
                    opened.index = parameter.index;
                    return opened;
                }
            } else if (parameter.coding == Coding::Number) {
                return malformed(key); // the slave text box cannot be empty
            }
            contents.values[parameter.index] = value;
        }
    } catch (const RunTimeError&) {
        opened.refusal = Refusal::Unreadable;
    }
    return opened;
}

QString RefusalText(const Opened& opened, const QString& path)
{
    int textId = 0;
    QString insert;
    switch (opened.refusal) {
    case Refusal::None:
        return QString();
    case Refusal::Unreadable:
        textId = TextId::FileUnreadable;
        insert = QDir::toNativeSeparators(path);
        break;
    case Refusal::Malformed:
        textId = TextId::FileMalformed;
        insert = opened.detail;
        break;
    case Refusal::OtherDevice:
        textId = TextId::FileOtherDevice;
        insert = opened.detail;
        break;
    case Refusal::OutOfRange:
        textId = TextId::FileOutOfRange;
        insert = DataFunctions7310::GetText(ConfigMap::ParameterAt(opened.index).labelId);
        break;
    }
    return DataFunctions7310::GetText(textId).replace(QStringLiteral("$$"), insert);
}

} // namespace ConfigFile
