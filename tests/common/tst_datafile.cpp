// Completeness of the shipped data file: every text the console asks for exists in every
// language, and the translations keep what the program relies on.
#include <QFile>
#include <QRegularExpression>
#include <QSet>
#include <QTest>

#include <sqlite3.h>

#include <map>

namespace {

const QString dataFile = QStringLiteral(K7310_BIN_DIR "/k7310console.dat");
const QString testData = QStringLiteral(K7310_SOURCE_DIR "/tests/common/data/");

QStringList sourceLines(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        qFatal("cannot read %s", qPrintable(path));
    QStringList lines;
    for (const QByteArray& raw : file.readAll().split('\n')) {
        const QString line = QString::fromUtf8(raw).section(QLatin1Char('#'), 0, 0).trimmed();
        if (!line.isEmpty())
            lines.append(line);
    }
    return lines;
}

// A text table as key -> (language column -> text); a null text is kept as a null QString.
struct TextTable
{
    QStringList languages;
    std::map<QString, std::map<QString, QString>> rows;
};

} // namespace

class TestDataFile : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanupTestCase();
    void everyLanguageIsComplete_data();
    void everyLanguageIsComplete();
    void documentIdsAreAllPresent();
    void publishedIdsAreAllPresent();
    void mainFrameKeysAreAllPresent();
    void tooltipsBelongToLabels();
    void translationsKeepWhatTheProgramUses_data();
    void translationsKeepWhatTheProgramUses();
    void exceptionTextsNameTheirFunction();

private:
    TextTable readTable(const char* table);
    void requirePresent(const TextTable& table, const QString& key);

    sqlite3* m_db = nullptr;
    TextTable m_labels;
    TextTable m_toolTips;
    TextTable m_menus;
};

void TestDataFile::initTestCase()
{
    QVERIFY2(QFile::exists(dataFile), "build the target k7310_datafile first");
    QCOMPARE(sqlite3_open_v2(QFile::encodeName(dataFile).constData(), &m_db, SQLITE_OPEN_READONLY,
                             nullptr),
             SQLITE_OK);
    QCOMPARE(sqlite3_key(m_db, "C73A", 4), SQLITE_OK);
    m_labels = readTable("T_Labels");
    m_toolTips = readTable("T_ToolTips");
    m_menus = readTable("T_Menus");
    QVERIFY(m_labels.rows.size() > 100);
    QCOMPARE(m_labels.languages, QStringList({QStringLiteral("English"), QStringLiteral("Français"),
                                              QStringLiteral("Deutsch")}));
    QCOMPARE(m_toolTips.languages, m_labels.languages);
    QCOMPARE(m_menus.languages, m_labels.languages);
}

void TestDataFile::cleanupTestCase()
{
    sqlite3_close(m_db);
}

TextTable TestDataFile::readTable(const char* table)
{
    TextTable result;
    sqlite3_stmt* statement = nullptr;
    const QByteArray sql = QByteArray("SELECT * FROM ") + table;
    if (sqlite3_prepare_v2(m_db, sql.constData(), -1, &statement, nullptr) != SQLITE_OK)
        qFatal("%s: %s", table, sqlite3_errmsg(m_db));
    const int columns = sqlite3_column_count(statement);
    // Columns 0..2 are the key and the translator's notes; the languages start at position 3.
    for (int c = 3; c < columns; ++c)
        result.languages.append(QString::fromUtf8(sqlite3_column_name(statement, c)));
    while (sqlite3_step(statement) == SQLITE_ROW) {
        auto& row = result.rows[QString::fromUtf8(
            reinterpret_cast<const char*>(sqlite3_column_text(statement, 0)))];
        for (int c = 3; c < columns; ++c) {
            const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(statement, c));
            row[result.languages[c - 3]] = text ? QString::fromUtf8(text) : QString();
        }
    }
    sqlite3_finalize(statement);
    return result;
}

void TestDataFile::requirePresent(const TextTable& table, const QString& key)
{
    const auto row = table.rows.find(key);
    QVERIFY2(row != table.rows.end(), qPrintable(QStringLiteral("no row for ") + key));
    for (const QString& language : table.languages) {
        const QString text = row->second.at(language);
        QVERIFY2(!text.trimmed().isEmpty(),
                 qPrintable(key + QStringLiteral(" is empty in ") + language));
    }
}

void TestDataFile::everyLanguageIsComplete_data()
{
    QTest::addColumn<QString>("table");
    QTest::newRow("labels") << "T_Labels";
    QTest::newRow("tooltips") << "T_ToolTips";
    QTest::newRow("menus") << "T_Menus";
}

void TestDataFile::everyLanguageIsComplete()
{
    QFETCH(QString, table);
    const TextTable& texts = table == QLatin1String("T_Labels")     ? m_labels
                             : table == QLatin1String("T_ToolTips") ? m_toolTips
                                                                    : m_menus;
    for (const auto& [key, row] : texts.rows)
        requirePresent(texts, key);
}

void TestDataFile::documentIdsAreAllPresent()
{
    static const QRegularExpression range(QStringLiteral("^(\\d+)(?:-(\\d+))?$"));
    int count = 0;
    for (const QString& line : sourceLines(testData + QStringLiteral("document_text_ids.txt"))) {
        const auto match = range.match(line);
        QVERIFY2(match.hasMatch(), qPrintable(line));
        const int first = match.captured(1).toInt();
        const int last = match.captured(2).isEmpty() ? first : match.captured(2).toInt();
        QVERIFY(last >= first);
        for (int id = first; id <= last; ++id, ++count)
            requirePresent(m_labels, QString::number(id));
    }
    QVERIFY(count >= 120);
}

// Every single ID that the windows take from textids.h; the families counted from a first ID
// are covered by the document's list.
void TestDataFile::publishedIdsAreAllPresent()
{
    QFile header(QStringLiteral(K7310_SOURCE_DIR "/src/common/textids.h"));
    QVERIFY(header.open(QIODevice::ReadOnly));
    static const QRegularExpression constant(QStringLiteral("constexpr int (\\w+) = (\\d+);"));
    int count = 0;
    for (auto it = constant.globalMatch(QString::fromUtf8(header.readAll())); it.hasNext();) {
        const auto match = it.next();
        if (match.captured(1) == QLatin1String("ExceptionBase"))
            continue;
        requirePresent(m_labels, match.captured(2));
        ++count;
    }
    QVERIFY(count > 100);
}

void TestDataFile::mainFrameKeysAreAllPresent()
{
    for (const QString& key : sourceLines(testData + QStringLiteral("main_frame_keys.txt")))
        requirePresent(m_menus, key);
}

void TestDataFile::tooltipsBelongToLabels()
{
    for (const auto& [tag, row] : m_toolTips.rows)
        QVERIFY2(m_labels.rows.count(tag), qPrintable(tag + QStringLiteral(" has no label")));
}

void TestDataFile::translationsKeepWhatTheProgramUses_data()
{
    QTest::addColumn<QString>("what");
    QTest::newRow("placeholders") << "placeholders";
    QTest::newRow("trailing blanks") << "trailing blanks";
    QTest::newRow("menu separators") << "separators";
    QTest::newRow("one mnemonic at most") << "mnemonics";
    QTest::newRow("language names") << "language names";
}

// Things a translation can break without leaving a cell empty.
void TestDataFile::translationsKeepWhatTheProgramUses()
{
    QFETCH(QString, what);
    const QString english = m_labels.languages.first();
    if (what == QLatin1String("placeholders")) {
        for (const auto& [tag, row] : m_labels.rows)
            for (const auto& [language, text] : row)
                QVERIFY2(text.count(QStringLiteral("$.$")) ==
                             row.at(english).count(QStringLiteral("$.$")),
                         qPrintable(tag + QLatin1Char(' ') + language));
        QVERIFY(
            m_labels.rows.at(QStringLiteral("10121")).at(english).contains(QStringLiteral("$.$")));
    } else if (what == QLatin1String("trailing blanks")) {
        // Texts that the program follows directly with a number or a settings string.
        for (const auto& [tag, row] : m_labels.rows)
            for (const auto& [language, text] : row)
                QVERIFY2(text.endsWith(QLatin1Char(' ')) ==
                             row.at(english).endsWith(QLatin1Char(' ')),
                         qPrintable(tag + QLatin1Char(' ') + language));
        QVERIFY(m_labels.rows.at(QStringLiteral("1501")).at(english).endsWith(QLatin1Char(' ')));
        QVERIFY(m_labels.rows.at(QStringLiteral("234201")).at(english).endsWith(QLatin1Char(' ')));
    } else if (what == QLatin1String("separators")) {
        for (const auto& [key, row] : m_menus.rows)
            for (const auto& [language, text] : row)
                QVERIFY2((text == QLatin1String("-")) == key.contains(QStringLiteral("Sep")),
                         qPrintable(key + QLatin1Char(' ') + language));
    } else if (what == QLatin1String("mnemonics")) {
        for (const auto& [key, row] : m_menus.rows)
            for (const auto& [language, text] : row)
                QVERIFY2(text.count(QLatin1Char('&')) <= 1,
                         qPrintable(key + QLatin1Char(' ') + language));
    } else if (what == QLatin1String("language names")) {
        // Row 0 names each language in itself; that name is also the column's name.
        for (const QString& language : m_labels.languages)
            QCOMPARE(m_labels.rows.at(QStringLiteral("0")).at(language), language);
    }
}

void TestDataFile::exceptionTextsNameTheirFunction()
{
    QSet<QString> seen;
    for (int function = 1; function <= 16; ++function) {
        const auto& row = m_labels.rows.at(QString::number(233800 + function));
        for (const auto& [language, text] : row) {
            static const QRegularExpression number(QStringLiteral("\\b(\\d+)\\b"));
            QVERIFY2(number.match(text).captured(1) == QString::number(function), qPrintable(text));
            QVERIFY2(!seen.contains(text), qPrintable(text));
            seen.insert(text);
        }
    }
}

QTEST_GUILESS_MAIN(TestDataFile)
#include "tst_datafile.moc"
