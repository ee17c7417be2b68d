#include "datafunctions7310.h"
#include "errorhandling.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <sqlite3.h>

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

const QByteArray minimalTables =
    "CREATE TABLE T_Labels (Tag INTEGER PRIMARY KEY, Window TEXT, Note TEXT, English TEXT, "
    "Klingon TEXT);"
    "CREATE TABLE T_ToolTips (Tag INTEGER PRIMARY KEY, Window TEXT, Note TEXT, English TEXT, "
    "Klingon TEXT);"
    "CREATE TABLE T_Menus (Key TEXT PRIMARY KEY, Window TEXT, Note TEXT, English TEXT, "
    "Klingon TEXT);"
    "CREATE TABLE T_Defaults (ID INTEGER PRIMARY KEY, Note TEXT, Valeur INTEGER);";

bool copyWithDamage(const QString& to, qint64 offset, qint64 length)
{
    QFile::remove(to);
    if (!QFile::copy(builtFile, to))
        return false;
    QFile file(to);
    if (!file.open(QIODevice::ReadWrite))
        return false;
    if (length < 0)
        return file.resize(file.size() / 2);
    file.seek(offset);
    return file.write(QByteArray(length, '\x5A')) == length;
}

} // namespace

class TestDataFunctions : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();

    void textsFollowTheLanguage_data();
    void textsFollowTheLanguage();
    void languageChangeTakesEffectAtOnce();
    void missingAndNonNumericIds_data();
    void missingAndNonNumericIds();
    void nonNumericIdDoesNotNeedTheFile();
    void unknownLanguageIsAnError_data();
    void unknownLanguageIsAnError();
    void menuCaptions();
    void factoryDefaults_data();
    void factoryDefaults();
    void languageList();
    void nullTextAndEmptyLanguage();
    void openFailures_data();
    void openFailures();
    void dataFilePathBesideTheProgram();

private:
    QTemporaryDir m_dir;
    QStringList m_reports;
    ErrorReport::Presenter m_previous;
};

void TestDataFunctions::initTestCase()
{
    QVERIFY2(QFile::exists(builtFile), "build the target k7310_datafile first");
    QVERIFY(m_dir.isValid());
}

void TestDataFunctions::init()
{
    m_reports.clear();
    m_previous = ErrorReport::SetPresenter([this](const QString& m) { m_reports.append(m); });
    SetCurrentLanguage(QString());
    QString detail;
    QCOMPARE(OpenDataFile(builtFile, &detail), 0);
    QVERIFY(IsOpen());
}

void TestDataFunctions::cleanup()
{
    CloseDataFile();
    SetCurrentLanguage(QString());
    ErrorReport::SetPresenter(m_previous);
}

void TestDataFunctions::textsFollowTheLanguage_data()
{
    QTest::addColumn<QString>("language");
    QTest::addColumn<int>("id");
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("toolTip");
    QTest::newRow("no language: position 3") << "" << 10 << "No"
                                             << "";
    QTest::newRow("English") << "English" << 12 << "Cancel"
                             << "";
    QTest::newRow("French") << "Français" << 233312 << "Réponse :"
                            << "";
    QTest::newRow("German") << "Deutsch" << 1118 << "Gerade"
                            << "";
    QTest::newRow("column name without case") << "DEUTSCH" << 10 << "Nein"
                                              << "";
    QTest::newRow("French quoted caption")
        << "Français" << 231103 << "Bits de stop"
        << "Bits de stop de la ligne du panneau ; après écriture, la console les "
           "adopte";
    QTest::newRow("help file name") << "Deutsch" << 1 << "k7310console.qhc"
                                    << "";
    QTest::newRow("trailing blank kept") << "Français" << 1501 << "Version "
                                         << "";
    QTest::newRow("exception text")
        << "" << 233803 << "Exception: read holding registers (3) refused"
        << "";
}

void TestDataFunctions::textsFollowTheLanguage()
{
    QFETCH(QString, language);
    QFETCH(int, id);
    QFETCH(QString, text);
    QFETCH(QString, toolTip);
    SetCurrentLanguage(language);
    QCOMPARE(GetText(id), text);
    QCOMPARE(GetToolTip(QString::number(id)), toolTip);
    QVERIFY(m_reports.isEmpty());
}

void TestDataFunctions::languageChangeTakesEffectAtOnce()
{
    const QStringList expected = {QStringLiteral("Yes"), QStringLiteral("Oui"),
                                  QStringLiteral("Ja"), QStringLiteral("Yes")};
    const QStringList languages = {QStringLiteral("English"), QStringLiteral("Français"),
                                   QStringLiteral("Deutsch"), QString()};
    for (qsizetype i = 0; i < languages.size(); ++i) {
        SetCurrentLanguage(languages[i]);
        QCOMPARE(GetText(QStringLiteral("11")), expected[i]);
        QCOMPARE(GetMenuText(QStringLiteral("mnuFile")).value_or(QString()).isEmpty(), false);
    }
    SetCurrentLanguage(QStringLiteral("Deutsch"));
    QCOMPARE(GetMenuText(QStringLiteral("mnuFileQuit")), std::optional(QStringLiteral("&Beenden")));
}

void TestDataFunctions::missingAndNonNumericIds_data()
{
    QTest::addColumn<QString>("id");
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("toolTip");
    QTest::newRow("absent ID shows its marker") << "35032"
                                                << "#35032#"
                                                << "";
    QTest::newRow("absent tooltip only") << "10"
                                         << "No"
                                         << "";
    QTest::newRow("present tooltip") << "231012"
                                     << "Read from panel"
                                     << "Read the configuration from the panel";
    QTest::newRow("negative absent ID") << "-4"
                                        << "#-4#"
                                        << "";
    QTest::newRow("fraction matches no row") << "10.5"
                                             << "#10.5#"
                                             << "";
    QTest::newRow("blanks around a number") << " 10 "
                                            << "No"
                                            << "";
    QTest::newRow("empty") << ""
                           << ""
                           << "";
    QTest::newRow("letters") << "abc"
                             << ""
                             << "";
    QTest::newRow("number then letters") << "12abc"
                                         << ""
                                         << "";
    QTest::newRow("not a number") << "nan"
                                  << ""
                                  << "";
    QTest::newRow("SQL in the ID") << "1 OR 1=1"
                                   << ""
                                   << "";
}

void TestDataFunctions::missingAndNonNumericIds()
{
    QFETCH(QString, id);
    QFETCH(QString, text);
    QFETCH(QString, toolTip);
    QCOMPARE(GetText(id), text);
    QCOMPARE(GetToolTip(id), toolTip);
    // The numeric overloads used by the windows answer the same for a whole-number ID.
    bool whole = false;
    const int number = id.toInt(&whole);
    if (whole && id == QString::number(number)) {
        QCOMPARE(GetText(number), text);
        QCOMPARE(GetToolTip(number), toolTip);
    }
    QVERIFY(m_reports.isEmpty());
}

// A non-numeric ID is answered before any table is touched: even without a data file there is
// nothing to report. A numeric one needs the file and reports its absence.
void TestDataFunctions::nonNumericIdDoesNotNeedTheFile()
{
    CloseDataFile();
    QCOMPARE(GetText(QStringLiteral("abc")), QString());
    QCOMPARE(GetToolTip(QString()), QString());
    QVERIFY(m_reports.isEmpty());
    QCOMPARE(GetText(10), QString());
    QCOMPARE(m_reports.size(), 1);
    QVERIFY(m_reports[0].contains(QStringLiteral("Function : GetText")));
    QVERIFY_THROWS_EXCEPTION(RunTimeError, GetDefaultValue(128));
}

void TestDataFunctions::unknownLanguageIsAnError_data()
{
    QTest::addColumn<QString>("language");
    QTest::newRow("unknown name") << "Klingon";
    QTest::newRow("key column") << "Tag";
    QTest::newRow("note column") << "Note";
    QTest::newRow("quoted name") << "\"Xx\"";
    QTest::newRow("bracket escape") << "English] FROM T_Menus --";
}

// The column's name must never come back as the text; each failure is one report under the
// lookup's own name, and the next lookup in a valid language works again.
void TestDataFunctions::unknownLanguageIsAnError()
{
    QFETCH(QString, language);
    SetCurrentLanguage(language);
    QCOMPARE(GetText(10), QString());
    QCOMPARE(GetToolTip(231012), QString());
    QCOMPARE(m_reports.size(), 2);
    QVERIFY(m_reports[0].contains(QStringLiteral("Module : DataFunctions\r\nFunction : GetText")));
    QVERIFY(m_reports[1].contains(QStringLiteral("Function : GetToolTip")));
    QVERIFY(
        m_reports[0].startsWith(QStringLiteral("Error Nr %1 ").arg(ErrorNumber::DataItemNotFound)));
    QVERIFY_THROWS_EXCEPTION(RunTimeError, GetMenuText(QStringLiteral("mnuFile")));

    SetCurrentLanguage(QStringLiteral("Français"));
    QCOMPARE(GetText(10), QStringLiteral("Non"));
    QCOMPARE(m_reports.size(), 2);
}

void TestDataFunctions::menuCaptions()
{
    QCOMPARE(GetMenuText(QStringLiteral("mnuFile")), std::optional(QStringLiteral("&File")));
    QCOMPARE(GetMenuText(QStringLiteral("mnuHelpSep1")), std::optional(QStringLiteral("-")));
    QCOMPARE(GetMenuText(QStringLiteral("mnuFileMRU")), std::nullopt);
    QCOMPARE(GetMenuText(QString()), std::nullopt);
    SetCurrentLanguage(QStringLiteral("Français"));
    QCOMPARE(GetMenuText(QStringLiteral("mnuFileConfig")),
             std::optional(QStringLiteral("Configuration du panneau")));
}

// The simulator's factory state (9600 baud, 1 stop bit, slave 1) relies on these positions.
void TestDataFunctions::factoryDefaults_data()
{
    QTest::addColumn<int>("word");
    QTest::addColumn<int>("value");
    QTest::newRow("speed 9600 is position 3") << 128 << 3;
    QTest::newRow("1 stop bit is position 0") << 129 << 0;
    QTest::newRow("slave 1") << 130 << 1;
    QTest::newRow("bus control off") << 131 << 0;
    QTest::newRow("synchronisation") << 65 << 0;
    QTest::newRow("acknowledgement allowed") << 67 << 1;
    QTest::newRow("bus control with K/L") << 69 << 0;
    QTest::newRow("LED test with K/L") << 70 << 0;
    QTest::newRow("word 66 has no default") << 66 << 0;
    QTest::newRow("absent key") << -1 << 0;
}

void TestDataFunctions::factoryDefaults()
{
    QFETCH(int, word);
    QFETCH(int, value);
    QCOMPARE(GetDefaultValue(static_cast<std::int16_t>(word)), value);
}

void TestDataFunctions::languageList()
{
    QCOMPARE(LanguageColumns(), QStringList({QStringLiteral("English"), QStringLiteral("Français"),
                                             QStringLiteral("Deutsch")}));
}

void TestDataFunctions::nullTextAndEmptyLanguage()
{
    const QString path = m_dir.filePath(QStringLiteral("null.dat"));
    QVERIFY(makeDataFile(path, "C73A",
                         minimalTables +
                             "INSERT INTO T_Labels VALUES (0, '', '', 'English', '');"
                             "INSERT INTO T_Labels VALUES (5, '', '', NULL, 'qaStaHvIS');"
                             "INSERT INTO T_ToolTips VALUES (5, '', '', 'tip', NULL);"
                             "INSERT INTO T_Defaults VALUES (128, '', 70000);"));
    QCOMPARE(OpenDataFile(path), 0);
    QCOMPARE(GetText(5), QString());
    QCOMPARE(GetToolTip(5), QStringLiteral("tip"));
    SetCurrentLanguage(QStringLiteral("Klingon"));
    QCOMPARE(GetText(5), QStringLiteral("qaStaHvIS"));
    QCOMPARE(GetToolTip(5), QString());
    QVERIFY(m_reports.isEmpty());
    QCOMPARE(GetDefaultValue(128), 70000);
    // Row 0 has no Klingon name: that column is not offered.
    QCOMPARE(LanguageColumns(), QStringList(QStringLiteral("English")));
}

void TestDataFunctions::openFailures_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<int>("expected");
    QTest::newRow("missing file") << "missing.dat" << int(ErrorNumber::DataFileNotFound);
    QTest::newRow("folder instead of a file") << "folder" << int(ErrorNumber::DataFileNotFound);
    QTest::newRow("wrong password") << "wrongkey.dat" << int(ErrorNumber::DataFileBadPassword);
    QTest::newRow("text file") << "text.dat" << int(ErrorNumber::DataFileBadPassword);
    QTest::newRow("empty file") << "empty.dat" << int(ErrorNumber::DataFileDamaged);
    QTest::newRow("right password, no text tables")
        << "notables.dat" << int(ErrorNumber::DataFileDamaged);
    QTest::newRow("page in the middle damaged")
        << "middle.dat" << int(ErrorNumber::DataFileDamaged);
    QTest::newRow("last page damaged") << "last.dat" << int(ErrorNumber::DataFileDamaged);
    QTest::newRow("first page damaged") << "first.dat" << int(ErrorNumber::DataFileBadPassword);
    QTest::newRow("cut in half") << "half.dat" << int(ErrorNumber::DataFileDamaged);
}

// Every failure is a clean error number: nothing stays open (the file opened in init() is
// closed too), lookups report instead of answering, and the real file opens again afterwards.
void TestDataFunctions::openFailures()
{
    QFETCH(QString, name);
    QFETCH(int, expected);
    const QString path = m_dir.filePath(name);
    QFile::remove(path);
    const qint64 size = QFileInfo(builtFile).size();
    if (name == QLatin1String("folder")) {
        QVERIFY(QDir(m_dir.path()).mkpath(name));
    } else if (name == QLatin1String("wrongkey.dat")) {
        QVERIFY(makeDataFile(path, "C73B", minimalTables));
    } else if (name == QLatin1String("text.dat")) {
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(QByteArray("[General]\nLanguage=English\n").repeated(100));
    } else if (name == QLatin1String("empty.dat")) {
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly));
    } else if (name == QLatin1String("notables.dat")) {
        QVERIFY(makeDataFile(path, "C73A", "CREATE TABLE T_Labels (Tag INTEGER PRIMARY KEY);"));
    } else if (name == QLatin1String("middle.dat")) {
        QVERIFY(copyWithDamage(path, size / 2, 16));
    } else if (name == QLatin1String("last.dat")) {
        QVERIFY(copyWithDamage(path, size - 40, 8));
    } else if (name == QLatin1String("first.dat")) {
        QVERIFY(copyWithDamage(path, 40, 16));
    } else if (name == QLatin1String("half.dat")) {
        QVERIFY(copyWithDamage(path, 0, -1));
    }

    QString detail;
    QCOMPARE(OpenDataFile(path, &detail), expected);
    QVERIFY(!detail.isEmpty());
    QVERIFY(!IsOpen());
    QCOMPARE(GetText(10), QString());
    QCOMPARE(m_reports.size(), 1);
    QVERIFY(
        m_reports[0].startsWith(QStringLiteral("Error Nr %1 ").arg(ErrorNumber::DataFileError)));

    QCOMPARE(OpenDataFile(builtFile), 0);
    QCOMPARE(GetText(10), QStringLiteral("No"));
}

void TestDataFunctions::dataFilePathBesideTheProgram()
{
    QCOMPARE(DataFilePath(),
             QCoreApplication::applicationDirPath() + QStringLiteral("/tst_datafunctions.dat"));
}

QTEST_GUILESS_MAIN(TestDataFunctions)
#include "tst_datafunctions.moc"
