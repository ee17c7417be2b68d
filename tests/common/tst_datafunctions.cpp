#include "datafunctions7310.h"
#include "testkit.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#include <sqlite3.h>

#include <map>

using namespace DataFunctions7310;

namespace {

const QString builtFile = QStringLiteral(K7310_BIN_DIR "/k7310console.dat");

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

// A copy of the built file with `length` bytes at `offset` overwritten, or cut at `offset`
// when length is 0.
bool copyWithDamage(const QString& to, qint64 offset, qint64 length)
{
    QFile file(to);
    if (!QFile::copy(builtFile, to) || !file.open(QIODevice::ReadWrite))
        return false;
    if (length == 0)
        return file.resize(offset);
    return file.seek(offset) && file.write(QByteArray(length, '\x5A')) == length;
}

QString readText(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        qFatal("cannot read %s", qPrintable(path));
    return QString::fromUtf8(file.readAll());
}

// The lines of a list in tests/common/data, without "#" comments and blank lines.
QStringList listLines(const char* name)
{
    QStringList lines;
    for (const QString& raw :
         readText(QStringLiteral(K7310_SOURCE_DIR "/tests/common/data/") + QLatin1String(name))
             .split(QLatin1Char('\n'))) {
        if (const QString line = raw.section(QLatin1Char('#'), 0, 0).trimmed(); !line.isEmpty())
            lines.append(line);
    }
    return lines;
}

// A text table: key -> texts of the language columns (from position 3 on), null kept as null.
using TextTable = std::map<QString, QStringList>;

} // namespace

class TestDataFunctions : public QObject
{
    Q_OBJECT

    TextTable readTable(const char* table)
    {
        TextTable result;
        sqlite3_stmt* statement = nullptr;
        const QByteArray sql = QByteArray("SELECT * FROM ") + table;
        if (sqlite3_prepare_v2(m_db, sql.constData(), -1, &statement, nullptr) != SQLITE_OK)
            qFatal("%s: %s", table, sqlite3_errmsg(m_db));
        const int columns = sqlite3_column_count(statement);
        QStringList languages;
        for (int c = 3; c < columns; ++c)
            languages.append(QString::fromUtf8(sqlite3_column_name(statement, c)));
        if (languages != m_languages)
            qFatal("%s: languages %s", table, qPrintable(languages.join(QLatin1Char(' '))));
        const auto text = [statement](int c) {
            return QString::fromUtf8(
                reinterpret_cast<const char*>(sqlite3_column_text(statement, c)));
        };
        while (sqlite3_step(statement) == SQLITE_ROW)
            for (int c = 3; c < columns; ++c)
                result[text(0)].append(text(c));
        sqlite3_finalize(statement);
        return result;
    }

    sqlite3* m_db = nullptr;
    const QStringList m_languages = {"English", "Français", "Deutsch"};
    TextTable m_labels, m_toolTips, m_menus;

    QTemporaryDir m_dir;
    ReportCapture m_reports;

private slots:
    void initTestCase()
    {
        QVERIFY2(QFile::exists(builtFile), "build k7310_datafile first");
        QCOMPARE(sqlite3_open_v2(QFile::encodeName(builtFile).constData(), &m_db,
                                 SQLITE_OPEN_READONLY, nullptr),
                 SQLITE_OK);
        QCOMPARE(sqlite3_key(m_db, "C73A", 4), SQLITE_OK);
        m_labels = readTable("T_Labels");
        m_toolTips = readTable("T_ToolTips");
        m_menus = readTable("T_Menus");
        QVERIFY(m_labels.size() > 100);
    }
    void cleanupTestCase() { sqlite3_close(m_db); }
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

    // Each row opens the file afresh; languageSwitch() below changes it on kept cursors.
    void texts_data()
    {
        QTest::addColumn<QString>("language");
        QTest::addColumn<QString>("id");
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("toolTip");
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
        QFETCH(QString, language);
        QFETCH(QString, id);
        QFETCH(QString, text);
        QFETCH(QString, toolTip);
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

    void languageSwitch()
    {
        QCOMPARE(LanguageColumns(), QStringList({"English", "Français", "Deutsch"}));
        QStringList shown;
        for (const char* language : {"English", "Français", "Deutsch", ""}) {
            SetCurrentLanguage(language);
            shown << GetText("11") << GetMenuText("mnuFile").value_or("(none)");
        }
        QCOMPARE(shown,
                 (QStringList{"Yes", "&File", "Oui", "&Fichier", "Ja", "&Datei", "Yes", "&File"}));
        QCOMPARE(GetMenuText("mnuHelpSep1"), std::optional(QStringLiteral("-")));
        QCOMPARE(GetMenuText("mnuFileMRU"), std::nullopt);
        QVERIFY(m_reports.messages.isEmpty());
    }

    // A non-numeric ID is answered before any table is touched: even without a data file there
    // is nothing to report. A numeric one needs the file and reports its absence.
    void nonNumericIdDoesNotNeedTheFile()
    {
        CloseDataFile();
        QCOMPARE(GetText("abc"), QString());
        QCOMPARE(GetToolTip(QString()), QString());
        QVERIFY(m_reports.messages.isEmpty());
        QCOMPARE(GetText(10), QString());
        QCOMPARE(m_reports.messages.size(), 1);
        QVERIFY(m_reports.messages[0].contains("Function : GetText"));
        QVERIFY_THROWS_EXCEPTION(RunTimeError, GetDefaultValue(128));
    }

    void unknownLanguageIsAnError_data()
    {
        QTest::addColumn<QString>("language");
        row("unknown name", "Klingon");
        row("key column", "Tag");
        row("quoted name", "\"Xx\"");
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
        QCOMPARE(GetText(10), QStringLiteral("Non"));
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
        SetCurrentLanguage("Klingon");
        QCOMPARE(ErrorReport::Description(ErrorNumber::PortNotOpen),
                 "Operation not valid: the port is not open");
        CloseDataFile();
        SetCurrentLanguage("Deutsch");
        QCOMPARE(ErrorReport::Description(ErrorNumber::PortLost),
                 "The port was lost (adapter removed?)");
        QVERIFY(m_reports.messages.isEmpty());
    }

    // The simulator's factory state relies on these: 9600 baud is the speed at position 3,
    // 1 stop bit the one at position 0, slave 1; an absent key gives 0.
    void factoryDefaults()
    {
        QCOMPARE((QList<int>{GetDefaultValue(128), GetDefaultValue(129), GetDefaultValue(130),
                             GetDefaultValue(-1)}),
                 (QList<int>{3, 0, 1, 0}));
    }

    void nullTextAndUnnamedLanguage()
    {
        const QString path = m_dir.filePath("null.dat");
        QVERIFY(makeDataFile(path, "C73A",
                             minimalTables +
                                 "INSERT INTO T_Labels VALUES (0, '', '', 'English', '');"
                                 "INSERT INTO T_Labels VALUES (5, '', '', NULL, 'qaStaHvIS');"
                                 "INSERT INTO T_ToolTips VALUES (5, '', '', 'tip', NULL);"
                                 "INSERT INTO T_Defaults VALUES (128, '', 70000);"));
        QCOMPARE(OpenDataFile(path), 0);
        QCOMPARE(GetText(5), QString());
        SetCurrentLanguage("Klingon");
        QCOMPARE(GetText(5), QStringLiteral("qaStaHvIS"));
        QCOMPARE(GetToolTip(5), QString());
        QVERIFY(m_reports.messages.isEmpty());
        QCOMPARE(GetDefaultValue(128), 70000);
        // Row 0 has no Klingon name: that column is not offered.
        QCOMPARE(LanguageColumns(), QStringList("English"));
    }

    void openFailures_data()
    {
        const qint64 size = QFileInfo(builtFile).size();
        QTest::addColumn<QString>("kind");
        QTest::addColumn<qint64>("offset"); // of the damage done to a copy
        QTest::addColumn<qint64>("length"); // 0: the copy is cut at offset
        QTest::addColumn<int>("expected");
        namespace E = ErrorNumber;
        row("missing file", "missing", 0LL, 0LL, int(E::DataFileNotFound));
        row("wrong password", "wrong password", 0LL, 0LL, int(E::DataFileBadPassword));
        row("empty file", "copy", 0LL, 0LL, int(E::DataFileDamaged));
        row("right password, no text tables", "no tables", 0LL, 0LL, int(E::DataFileDamaged));
        row("page in the middle damaged", "copy", size / 2, 16LL, int(E::DataFileDamaged));
        row("first page damaged", "copy", 40LL, 16LL, int(E::DataFileBadPassword));
        row("cut in half", "copy", size / 2, 0LL, int(E::DataFileDamaged));
    }
    // Every failure is a clean error number: nothing stays open (the file opened in init() is
    // closed too), lookups report instead of answering, and the real file opens again afterwards.
    void openFailures()
    {
        QFETCH(QString, kind);
        QFETCH(qint64, offset);
        QFETCH(qint64, length);
        QFETCH(int, expected);
        const QString path = m_dir.filePath(QString::fromUtf8(QTest::currentDataTag()));
        if (kind == QLatin1String("wrong password"))
            QVERIFY(makeDataFile(path, "C73B", minimalTables));
        else if (kind == QLatin1String("no tables"))
            QVERIFY(makeDataFile(path, "C73A", "CREATE TABLE T_Labels (Tag INTEGER PRIMARY KEY);"));
        else if (kind == QLatin1String("copy"))
            QVERIFY(copyWithDamage(path, offset, length));

        QString detail;
        QCOMPARE(OpenDataFile(path, &detail), expected);
        QVERIFY(!detail.isEmpty());
        QVERIFY(!IsOpen());
        QCOMPARE(GetText(10), QString());
        QCOMPARE(m_reports.messages.size(), 1);
        QVERIFY(m_reports.messages[0].startsWith(
            QString("Error Nr %1 ").arg(ErrorNumber::DataFileError)));
        QCOMPARE(OpenDataFile(builtFile), 0);
        QCOMPARE(GetText(10), QStringLiteral("No"));
    }

    void dataFilePathBesideTheProgram()
    {
        QCOMPARE(DataFilePath(), QCoreApplication::applicationDirPath() + "/tst_datafunctions.dat");
    }

    // The shipped data file is complete: every text the console asks for exists in every
    // language, and the translations keep what the program relies on.
    // Keys the program asks for: the IDs of the console's description (one ID or a range
    // "a-b" a line), every single ID of textids.h, every menu entry and toolbar key.
    void requiredKeysArePresent_data()
    {
        QTest::addColumn<QString>("table");
        QTest::addColumn<QStringList>("keys");
        QStringList document;
        static const QRegularExpression range(QStringLiteral("^\\d+(-\\d+)?$"));
        for (const QString& line : listLines("document_text_ids.txt")) {
            const int first = line.section('-', 0, 0).toInt(), last = line.section('-', -1).toInt();
            QVERIFY2(range.match(line).hasMatch() && last >= first, qPrintable(line));
            for (int id = first; id <= last; ++id)
                document.append(QString::number(id));
        }
        QVERIFY(document.size() >= 120);
        QStringList published;
        static const QRegularExpression constant(
            QStringLiteral("constexpr int (?!ExceptionBase )\\w+ = (\\d+);"));
        const QString header = readText(QStringLiteral(K7310_SOURCE_DIR "/src/common/textids.h"));
        for (auto it = constant.globalMatch(header); it.hasNext();)
            published.append(it.next().captured(1));
        QVERIFY(published.size() > 100);
        row("description IDs", "labels", document);
        row("textids.h IDs", "labels", published);
        row("main frame keys", "menus", listLines("main_frame_keys.txt"));
    }
    void requiredKeysArePresent()
    {
        QFETCH(QString, table);
        QFETCH(QStringList, keys);
        const TextTable& rows = table == QLatin1String("labels") ? m_labels : m_menus;
        for (const QString& key : keys)
            QVERIFY2(rows.count(key), qPrintable("no row for " + key));
    }

    // No cell is empty, and a translation keeps what the program relies on: the "$.$"
    // placeholders and the trailing blank of a label, "-" exactly for separators and at most one
    // "&" in a menu caption, a label for each tooltip. Every text that breaks one is listed.
    void translationsKeepWhatTheProgramUses()
    {
        QStringList broken;
        for (const TextTable* table : {&m_labels, &m_toolTips, &m_menus})
            for (const auto& [key, texts] : *table)
                for (const QString& text : texts)
                    if (text.trimmed().isEmpty() ||
                        (table == &m_labels && (text.count("$.$") != texts[0].count("$.$") ||
                                                text.endsWith(QLatin1Char(' ')) !=
                                                    texts[0].endsWith(QLatin1Char(' ')))) ||
                        (table == &m_menus && ((text == "-") != key.contains("Sep") ||
                                               text.count(QLatin1Char('&')) > 1)) ||
                        (table == &m_toolTips && !m_labels.count(key)))
                        broken << key + ": " + text;
        QCOMPARE(broken, QStringList());
        QVERIFY(m_labels.at("10121")[0].contains("$.$"));
        QVERIFY(m_labels.at("234201")[0].endsWith(QLatin1Char(' ')));
        // Row 0 names each language in itself; that name is also the column's name.
        QCOMPARE(m_labels.at("0"), m_languages);
    }
};

QTEST_GUILESS_MAIN(TestDataFunctions)
#include "tst_datafunctions.moc"
