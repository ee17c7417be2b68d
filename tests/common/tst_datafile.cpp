// Completeness of the shipped data file: every text the console asks for exists in every
// language, and the translations keep what the program relies on.
#include "testkit.h"

#include <QFile>
#include <QRegularExpression>
#include <QTest>

#include <sqlite3.h>

#include <map>

namespace {

const QString dataFile = QStringLiteral(K7310_BIN_DIR "/k7310console.dat");

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

class TestDataFile : public QObject
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

private slots:
    void initTestCase()
    {
        QVERIFY2(QFile::exists(dataFile), "build the target k7310_datafile first");
        QCOMPARE(sqlite3_open_v2(QFile::encodeName(dataFile).constData(), &m_db,
                                 SQLITE_OPEN_READONLY, nullptr),
                 SQLITE_OK);
        QCOMPARE(sqlite3_key(m_db, "C73A", 4), SQLITE_OK);
        m_labels = readTable("T_Labels");
        m_toolTips = readTable("T_ToolTips");
        m_menus = readTable("T_Menus");
        QVERIFY(m_labels.size() > 100);
    }
    void cleanupTestCase() { sqlite3_close(m_db); }

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

QTEST_GUILESS_MAIN(TestDataFile)
#include "tst_datafile.moc"
