#include "datafunctions7310.h"
#include "testkit.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#include <sqlite3.h>

using namespace DataFunctions7310;

namespace {

const QString builtFile = K7310_BIN_DIR "/k7310console.dat";

// Writes an SQLCipher file with the given password and SQL, for cases the shipped file lacks.
bool makeDataFile(const QString& path, const QByteArray& password, const QByteArray& sql)
{
    sqlite3* db = nullptr;
    bool ok = sqlite3_open_v2(QFile::encodeName(path).constData(), &db,
                              SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr) == SQLITE_OK &&
              sqlite3_key(db, password.constData(), int(password.size())) == SQLITE_OK &&
              sqlite3_exec(db, sql.constData(), nullptr, nullptr, nullptr) == SQLITE_OK;
    if (!ok)
        qWarning("%s", sqlite3_errmsg(db));
    sqlite3_close(db);
    return ok;
}

// The four tables with a language column "Klingon" beside English, and no rows.
const QByteArray minimalTables =
    "CREATE TABLE T_Labels (Tag INTEGER PRIMARY KEY, W, N, English TEXT, Klingon TEXT);"
    "CREATE TABLE T_ToolTips (Tag INTEGER PRIMARY KEY, W, N, English TEXT, Klingon TEXT);"
    "CREATE TABLE T_Menus (Key TEXT PRIMARY KEY, W, N, English TEXT, Klingon TEXT);"
    "CREATE TABLE T_Defaults (ID INTEGER PRIMARY KEY, Note TEXT, Valeur INTEGER);";

// The lines of a file, without "#" comments and blank lines.
QStringList listLines(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        qFatal("cannot read %s", qPrintable(path));
    QStringList lines;
    for (const QString& raw : QString::fromUtf8(file.readAll()).split('\n'))
        if (const QString line = raw.section('#', 0, 0).trimmed(); !line.isEmpty())
            lines.append(line);
    return lines;
}

} // namespace

class TestDataFunctions : public QObject
{
    Q_OBJECT

    const QStringList m_languages = {"English", "Français", "Deutsch"};
    QTemporaryDir m_dir;
    ReportCapture m_reports;

private slots:
    void init()
    {
        m_reports.clear();
        SetCurrentLanguage(QString());
        QCOMPARE(OpenDataFile(builtFile), 0);
    }
    void cleanup()
    {
        CloseDataFile();
        SetCurrentLanguage(QString());
    }

    // Each row opens the file afresh; the completeness test switches it on kept cursors.
    void texts_data()
    {
        columns<QString, QString, QString, QString>("language", "id", "text", "toolTip");
        row("no language: position 3", "", "10", "No", "");
        row("column name without case", "DEUTSCH", "10", "Nein", "");
        row("French quoted caption", "Français", "231103", "Bits de stop",
            "Bits de stop de la ligne du panneau ; après écriture, la console les adopte");
        row("trailing blank kept", "Français", "1501", "Version ", "");
        row("absent ID shows its marker", "", "35032", "#35032#", "");
        row("fraction matches no row", "", "10.5", "#10.5#", "");
        row("empty ID", "", "", "", "");
        row("not a number", "", "nan", "", "");
    }
    void texts()
    {
        const auto [language, id, text, toolTip] =
            fetch<QString, QString, QString, QString>("language", "id", "text", "toolTip");
        SetCurrentLanguage(language);
        QCOMPARE(GetText(id), text);
        QCOMPARE(GetToolTip(id), toolTip);
        // The numeric overloads used by the windows answer the same for a whole-number ID.
        if (bool whole = false; id == QString::number(id.toInt(&whole)) && whole) {
            QCOMPARE(GetText(id.toInt()), text);
            QCOMPARE(GetToolTip(id.toInt()), toolTip);
        }
        QVERIFY(m_reports.messages.isEmpty());
    }

    // A caption and its value, as each language writes a label; values may hold "%1".
    void captioned_data()
    {
        columns<QString, QString, QString>("language", "value", "expected");
        row("English", "English", "7", "Slave: 7");
        row("French no-break space before the colon", "Français", "7", "Esclave\u00a0: 7");
        row("German", "Deutsch", "7", "Slave: 7");
        row("value with a place marker kept", "Français", "%1 %2", "Esclave\u00a0: %1 %2");
        row("no data file open", "", "7", "#closed#: 7");
    }
    void captioned()
    {
        const auto [language, value, expected] =
            fetch<QString, QString, QString>("language", "value", "expected");
        SetCurrentLanguage(language);
        QString caption = GetText(1003);
        if (language.isEmpty()) {
            CloseDataFile();
            caption = "#closed#";
        }
        QCOMPARE(Captioned(caption, value), expected);
        QVERIFY(m_reports.messages.isEmpty());
    }

    void unknownLanguageIsAnError_data()
    {
        QTest::addColumn<QString>("language");
        row("unknown name", "Klingon");
        row("key column", "Tag");
        row("bracket escape", "English] FROM T_Menus --");
    }
    // The column's name must never come back as the text; each failure is one report under the
    // lookup's own name, and the next lookup in a valid language works again.
    void unknownLanguageIsAnError()
    {
        QFETCH(QString, language);
        SetCurrentLanguage(language);
        QCOMPARE(GetText(10), QString());
        QCOMPARE(GetToolTip(231012), QString());
        const QStringList& reports = m_reports.messages;
        QCOMPARE(reports.size(), 2);
        QVERIFY(reports[0].startsWith(QString("Error Nr %1 ").arg(ErrorNumber::DataItemNotFound)));
        QVERIFY(reports[0].contains("Module : DataFunctions\r\nFunction : GetText"));
        QVERIFY(reports[1].contains("Function : GetToolTip"));
        QVERIFY_THROWS_EXCEPTION(RunTimeError, GetMenuText("mnuFile"));
        SetCurrentLanguage("Français");
        QCOMPARE(GetText(10), "Non");
        QCOMPARE(reports.size(), 2);
    }

    // The error report's descriptions are texts of the data file; the built-in English ones
    // serve where the file has none or is not open.
    void errorDescriptionsFollowTheLanguage()
    {
        SetCurrentLanguage("Deutsch");
        QCOMPARE(ErrorReport::Description(ErrorNumber::PortNotOpen),
                 "Ungültiger Vorgang: die Schnittstelle ist nicht geöffnet");
        QCOMPARE(ErrorReport::Description(4711), "Application-defined or object-defined error");
        // A device path that is not there is named as missing, not as a wrong number.
        const QStringList missing{"The port does not exist (/dev/ttyUSB7)",
                                  "Le port n'existe pas (/dev/ttyUSB7)",
                                  "Die Schnittstelle existiert nicht (/dev/ttyUSB7)"};
        const QStringList languages{"English", "Français", "Deutsch"};
        for (int i = 0; i < languages.size(); ++i) {
            SetCurrentLanguage(languages[i]);
            const QString message =
                ErrorReport::Message("ComCtrl.Open", ErrorNumber::PortNotFound, "/dev/ttyUSB7");
            QVERIFY2(message.contains(" : " + missing[i] + "\r\n"), qPrintable(message));
        }
        CloseDataFile();
        QCOMPARE(ErrorReport::Description(ErrorNumber::PortNotOpen),
                 "Operation not valid: the port is not open");
        // Without the file a non-numeric ID is answered before any table is touched; a numeric
        // one reports the missing file.
        QCOMPARE(GetText("abc"), QString());
        QVERIFY(m_reports.messages.isEmpty());
        QCOMPARE(GetText(10), QString());
        QCOMPARE(m_reports.messages.size(), 1);
        QVERIFY(m_reports.messages[0].contains("Function : GetText"));
        QVERIFY_THROWS_EXCEPTION(RunTimeError, GetDefaultValue(128));
    }

    // A null text stays null; a default value is read whole, and an absent key gives 0.
    void nullTextUnnamedLanguageAndDefaults()
    {
        const QString path = m_dir.filePath("null.dat");
        QVERIFY(makeDataFile(path, "C73A",
                             minimalTables +
                                 "INSERT INTO T_Labels VALUES (5, '', '', NULL, 'qaStaHvIS');"
                                 "INSERT INTO T_ToolTips VALUES (5, '', '', 'tip', NULL);"
                                 "INSERT INTO T_Defaults VALUES (128, '', 70000);"));
        QCOMPARE(OpenDataFile(path), 0);
        QCOMPARE(GetText(5), QString());
        SetCurrentLanguage("Klingon");
        QCOMPARE(GetText(5), "qaStaHvIS");
        QCOMPARE(GetToolTip(5), QString());
        QVERIFY(m_reports.messages.isEmpty());
        QCOMPARE(GetDefaultValue(128), 70000);
        QCOMPARE(GetDefaultValue(-1), 0);
    }

    void openFailures_data()
    {
        const qint64 size = QFileInfo(builtFile).size();
        // password: of a file made afresh, null for a damaged copy of the built file; offset
        // and length: of the damage, a length of 0 cutting the copy at offset
        columns<QByteArray, qint64, qint64, int>("password", "offset", "length", "expected");
        namespace E = ErrorNumber;
        const QByteArray copy;
        row("missing file", QByteArray("none"), 0LL, 0LL, int(E::DataFileNotFound));
        row("wrong password", QByteArray("C73B"), 0LL, 0LL, int(E::DataFileBadPassword));
        row("right password, no text tables", QByteArray("C73A"), 0LL, 0LL,
            int(E::DataFileDamaged));
        row("empty file", copy, 0LL, 0LL, int(E::DataFileDamaged));
        row("page in the middle damaged", copy, size / 2, 16LL, int(E::DataFileDamaged));
        row("first page damaged", copy, 40LL, 16LL, int(E::DataFileBadPassword));
        row("cut in half", copy, size / 2, 0LL, int(E::DataFileDamaged));
    }
    // Every failure is a clean error number: nothing stays open (the file opened in init() is
    // closed too), lookups report instead of answering, and the real file opens again afterwards.
    void openFailures()
    {
        const auto [password, offset, length, expected] =
            fetch<QByteArray, qint64, qint64, int>("password", "offset", "length", "expected");
        const QString path = m_dir.filePath(QTest::currentDataTag());
        QFile file(path);
        if (password.isNull()) {
            QVERIFY(QFile::copy(builtFile, path) && file.open(QIODevice::ReadWrite));
            QVERIFY(length ? file.seek(offset) && file.write(QByteArray(length, 'Z')) == length
                           : file.resize(offset));
            file.close();
        } else if (password != "none") {
            QVERIFY(makeDataFile(path, password,
                                 password == "C73A"
                                     ? "CREATE TABLE T_Labels (Tag INTEGER PRIMARY KEY);"
                                     : minimalTables));
        }

        QString detail;
        QCOMPARE(OpenDataFile(path, &detail), expected);
        QVERIFY(!detail.isEmpty());
        QVERIFY(!IsOpen());
        QCOMPARE(GetText(10), QString());
        QCOMPARE(m_reports.messages.size(), 1);
        QVERIFY(m_reports.messages[0].startsWith(
            QString("Error Nr %1 ").arg(ErrorNumber::DataFileError)));
        QCOMPARE(OpenDataFile(builtFile), 0);
        QCOMPARE(GetText(10), "No");
    }

    // The shipped data file is complete: every text the console asks for exists in every
    // language (the IDs its windows show, listed in tests/common/data one ID or range "a-b" a
    // line, every single ID of textids.h, every menu entry and toolbar key), and a translation
    // keeps what the program relies on: the "$.$" placeholders and the trailing blank of a
    // label, "-" exactly for separators and at most one "&" in a menu caption.
    void shippedDataFileIsComplete()
    {
        const QString lists = K7310_SOURCE_DIR "/tests/common/data/";
        QList<int> labels;
        for (const QString& line : listLines(lists + "document_text_ids.txt"))
            for (int id = line.section('-', 0, 0).toInt(); id <= line.section('-', -1).toInt();
                 ++id)
                labels.append(id);
        static const QRegularExpression constant("constexpr int (?!ExceptionBase )\\w+ = (\\d+);");
        const QString header = listLines(K7310_SOURCE_DIR "/src/common/textids.h").join('\n');
        for (auto it = constant.globalMatch(header); it.hasNext();)
            labels.append(it.next().captured(1).toInt());
        QVERIFY(labels.size() >= 220); // both lists were read

        QCOMPARE(LanguageColumns(), m_languages);
        QStringList broken;
        QHash<int, QString> english;
        for (const QString& language : m_languages) {
            SetCurrentLanguage(language);
            QCOMPARE(GetText(0), language); // row 0 names each language in itself
            for (const int id : labels) {
                const QString text = GetText(id), first = english.value(id, text);
                english.insert(id, first);
                if (text.trimmed().isEmpty() || text == QString("#%1#").arg(id) ||
                    text.count("$.$") != first.count("$.$") ||
                    text.endsWith(' ') != first.endsWith(' '))
                    broken << QString("%1 %2: %3").arg(language).arg(id).arg(text);
            }
            for (const QString& key : listLines(lists + "main_frame_keys.txt")) {
                const QString text = GetMenuText(key).value_or(QString());
                if (text.trimmed().isEmpty() || (text == "-") != key.contains("Sep") ||
                    text.count('&') > 1)
                    broken << language + ' ' + key + ": " + text;
            }
        }
        QCOMPARE(broken, QStringList());
        QVERIFY(m_reports.messages.isEmpty());
    }
};

QTEST_GUILESS_MAIN(TestDataFunctions)
#include "tst_datafunctions.moc"
