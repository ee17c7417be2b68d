#include "errorhandling.h"
#include "inifile.h"
#include "zrbfonctions.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

#include <unistd.h>

using namespace ZRBfonctions;

class TestIniFile : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void read_data();
    void read();
    void replaceInPlace_data();
    void replaceInPlace();
    void missingFileReadsEmptyAndIsCreated();
    void newSectionGoesAtTheEnd();
    void valuesRoundTrip_data();
    void valuesRoundTrip();
    void deleteKeyAndSection();
    void keyList();
    void readOnlyFileIsReportedAndKept();
    void unwritableFolderIsReported();
    void blockedFolderIsReported();
    void windowPlacement();
    void fileNameBesideTheProgram();

private:
    QString path() const { return m_dir->filePath(QStringLiteral("k7310console.ini")); }
    void writeFile(const QByteArray& bytes) const;
    QByteArray fileBytes() const;

    std::unique_ptr<QTemporaryDir> m_dir;
    QStringList m_reports;
    ErrorReport::Presenter m_previous;
};

void TestIniFile::init()
{
    m_dir = std::make_unique<QTemporaryDir>();
    QVERIFY(m_dir->isValid());
    SetIniFileName(path());
    m_reports.clear();
    m_previous = ErrorReport::SetPresenter([this](const QString& m) { m_reports.append(m); });
}

void TestIniFile::cleanup()
{
    ErrorReport::SetPresenter(m_previous);
    SetIniFileName(QString());
    QFile::setPermissions(m_dir->path(), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    m_dir.reset();
}

void TestIniFile::writeFile(const QByteArray& bytes) const
{
    QFile file(path());
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(bytes);
}

QByteArray TestIniFile::fileBytes() const
{
    QFile file(path());
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

static const QByteArray sample = "; console settings\n"
                                 "[General]\n"
                                 "Language=Français\n"
                                 "\n"
                                 "[Communication]\n"
                                 "# the port of the bench\n"
                                 "  Port = 3  \n"
                                 "Bauds=9600\n"
                                 ";Stops=2\n"
                                 "Caption=\"  spaced  \"\n"
                                 "\n"
                                 "[Print]\n"
                                 "LeftMargin=20\n";

void TestIniFile::read_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<QString>("section");
    QTest::addColumn<QString>("key");
    QTest::addColumn<QString>("expected");
    const QByteArray crlf = QByteArray(sample).replace("\n", "\r\n");
    QTest::newRow("General section is ordinary") << sample << "General"
                                                 << "Language" << QStringLiteral("Français");
    QTest::newRow("blanks around the equals sign") << sample << "Communication"
                                                   << "Port"
                                                   << "3";
    QTest::newRow("section and key without case") << sample << "COMMUNICATION"
                                                  << "bauds"
                                                  << "9600";
    QTest::newRow("commented key is absent") << sample << "Communication"
                                             << "Stops"
                                             << "dflt";
    QTest::newRow("quotes keep inner blanks") << sample << "Communication"
                                              << "Caption"
                                              << "  spaced  ";
    QTest::newRow("key of another section is absent") << sample << "Print"
                                                      << "Port"
                                                      << "dflt";
    QTest::newRow("missing section") << sample << "Panneau"
                                     << "Label1"
                                     << "dflt";
    QTest::newRow("CRLF file") << crlf << "Communication"
                               << "Bauds"
                               << "9600";
    QTest::newRow("CRLF last line") << crlf << "Print"
                                    << "LeftMargin"
                                    << "20";
    QTest::newRow("UTF-8 mark before the first section")
        << QByteArray("\xEF\xBB\xBF[General]\nLanguage=Deutsch\n") << "General"
        << "Language"
        << "Deutsch";
    QTest::newRow("no final line break") << QByteArray("[A]\nk=v") << "A"
                                         << "k"
                                         << "v";
    QTest::newRow("first of two equal sections counts") << QByteArray("[A]\nk=1\n[a]\nk=2\n") << "A"
                                                        << "k"
                                                        << "1";
    QTest::newRow("empty value is not the default") << QByteArray("[A]\nk=\n") << "A"
                                                    << "k"
                                                    << "";
    QTest::newRow("equals sign inside the value") << QByteArray("[A]\nk=a=b\n") << "A"
                                                  << "k"
                                                  << "a=b";
}

void TestIniFile::read()
{
    QFETCH(QByteArray, content);
    QFETCH(QString, section);
    QFETCH(QString, key);
    QFETCH(QString, expected);
    writeFile(content);
    QCOMPARE(GetIniParam(section, key, QStringLiteral("dflt")), expected);
    QVERIFY(m_reports.isEmpty());
}

// Replacing a value touches that line only: every other byte of the file stays.
void TestIniFile::replaceInPlace_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<QString>("section");
    QTest::addColumn<QString>("key");
    QTest::addColumn<QString>("value");
    QTest::addColumn<QByteArray>("expected");
    QTest::newRow("keeps comments, order and the key's blanks")
        << sample << "communication"
        << "PORT"
        << "ttyUSB0" << QByteArray(sample).replace("  Port = 3  \n", "  Port = ttyUSB0\n");
    QTest::newRow("CRLF file stays CRLF")
        << QByteArray(sample).replace("\n", "\r\n") << "Print"
        << "LeftMargin"
        << "25"
        << QByteArray(sample).replace("LeftMargin=20", "LeftMargin=25").replace("\n", "\r\n");
    QTest::newRow("new key after the last key of its section")
        << sample << "Communication"
        << "Stops"
        << "2"
        << QByteArray(sample).replace("Caption=\"  spaced  \"\n",
                                      "Caption=\"  spaced  \"\nStops=2\n");
    QTest::newRow("new key in a section that has none")
        << QByteArray("[A]\n\n[B]\nx=1\n") << "A"
        << "k"
        << "v" << QByteArray("[A]\nk=v\n\n[B]\nx=1\n");
    QTest::newRow("UTF-8 mark is kept") << QByteArray("\xEF\xBB\xBF[A]\nk=1\n") << "A"
                                        << "k"
                                        << "2" << QByteArray("\xEF\xBB\xBF[A]\nk=2\n");
}

void TestIniFile::replaceInPlace()
{
    QFETCH(QByteArray, content);
    QFETCH(QString, section);
    QFETCH(QString, key);
    QFETCH(QString, value);
    QFETCH(QByteArray, expected);
    writeFile(content);
    QVERIFY(SetIniParam(section, key, value));
    QCOMPARE(fileBytes(), expected);
    QCOMPARE(GetIniParam(section, key, QString()), value);
    QVERIFY(m_reports.isEmpty());
}

void TestIniFile::missingFileReadsEmptyAndIsCreated()
{
    QVERIFY(!QFile::exists(path()));
    QCOMPARE(GetIniParam(QStringLiteral("General"), QStringLiteral("Language"), QString()),
             QString());
    QCOMPARE(GetIniParam(QStringLiteral("Communication"), QStringLiteral("LastSlave"),
                         QStringLiteral("1")),
             QStringLiteral("1"));
    QVERIFY(GetIniParamsList(QStringLiteral("General")).isEmpty());
    QVERIFY(!QFile::exists(path()));

    QVERIFY(SetIniParam(QStringLiteral("General"), QStringLiteral("Language"),
                        QStringLiteral("Deutsch")));
    QCOMPARE(fileBytes(), QByteArray("[General]\nLanguage=Deutsch\n"));
    QVERIFY(m_reports.isEmpty());
}

void TestIniFile::newSectionGoesAtTheEnd()
{
    writeFile(sample);
    QVERIFY(SetIniParam(QStringLiteral("Panneau"), QStringLiteral("Label1"),
                        QStringLiteral("Pump 1 fault")));
    QCOMPARE(fileBytes(), sample + "\n[Panneau]\nLabel1=Pump 1 fault\n");
    QVERIFY(SetIniParam(QStringLiteral("Panneau"), QStringLiteral("Label2"),
                        QStringLiteral("Tank high")));
    QVERIFY(fileBytes().endsWith("[Panneau]\nLabel1=Pump 1 fault\nLabel2=Tank high\n"));
}

void TestIniFile::valuesRoundTrip_data()
{
    QTest::addColumn<QString>("value");
    QTest::addColumn<QString>("expected");
    QTest::newRow("plain") << "9600"
                           << "9600";
    QTest::newRow("empty") << ""
                           << "";
    QTest::newRow("outer blanks") << "  LED 3 "
                                  << "  LED 3 ";
    QTest::newRow("quoted text") << "\"quoted\""
                                 << "\"quoted\"";
    QTest::newRow("equals and semicolon") << "a=b;c"
                                          << "a=b;c";
    QTest::newRow("non-ASCII") << "Pompe n°2 — défaut"
                               << "Pompe n°2 — défaut";
    QTest::newRow("line breaks become blanks") << "two\nlines"
                                               << "two lines";
    QTest::newRow("looks like a section") << "[Print]"
                                          << "[Print]";
}

void TestIniFile::valuesRoundTrip()
{
    QFETCH(QString, value);
    QFETCH(QString, expected);
    writeFile(sample);
    QVERIFY(SetIniParam(QStringLiteral("Panneau"), QStringLiteral("Label1"), value));
    QVERIFY(SetIniParam(QStringLiteral("Panneau"), QStringLiteral("Label2"), QStringLiteral("x")));
    QCOMPARE(GetIniParam(QStringLiteral("Panneau"), QStringLiteral("Label1"), QStringLiteral("?")),
             expected);
    QCOMPARE(GetIniParam(QStringLiteral("Panneau"), QStringLiteral("Label2"), QString()),
             QStringLiteral("x"));
    QCOMPARE(GetIniParam(QStringLiteral("Print"), QStringLiteral("LeftMargin"), QString()),
             QStringLiteral("20"));
}

void TestIniFile::deleteKeyAndSection()
{
    writeFile(sample);
    QVERIFY(DelIniParam(QStringLiteral("communication"), QStringLiteral("bauds")));
    QCOMPARE(fileBytes(), QByteArray(sample).replace("Bauds=9600\n", ""));
    QVERIFY(DelIniParam(QStringLiteral("Nowhere"), QStringLiteral("Port")));

    QVERIFY(DelIniSection(QStringLiteral("COMMUNICATION")));
    QCOMPARE(fileBytes(), QByteArray("; console settings\n[General]\nLanguage=Français\n\n"
                                     "[Print]\nLeftMargin=20\n"));
    QCOMPARE(GetIniParam(QStringLiteral("Communication"), QStringLiteral("Port"),
                         QStringLiteral("none")),
             QStringLiteral("none"));
    QVERIFY(m_reports.isEmpty());
}

void TestIniFile::keyList()
{
    writeFile(sample);
    QCOMPARE(
        GetIniParamsList(QStringLiteral("communication")),
        QStringList({QStringLiteral("Port"), QStringLiteral("Bauds"), QStringLiteral("Caption")}));
    QVERIFY(GetIniParamsList(QStringLiteral("Panneau")).isEmpty());
}

void TestIniFile::readOnlyFileIsReportedAndKept()
{
    writeFile(sample);
    QVERIFY(QFile::setPermissions(path(), QFile::ReadOwner | QFile::ReadGroup));
    QVERIFY(
        !SetIniParam(QStringLiteral("Communication"), QStringLiteral("Port"), QStringLiteral("5")));
    QVERIFY(!DelIniSection(QStringLiteral("Print")));
    QCOMPARE(m_reports.size(), 2);
    QVERIFY2(m_reports[0].contains(QString::number(ErrorNumber::SettingsNotWritable)),
             qPrintable(m_reports[0]));
    QVERIFY(m_reports[0].contains(QStringLiteral("Function : SetIniParam")));
    QCOMPARE(fileBytes(), sample);
    QCOMPARE(GetIniParam(QStringLiteral("Communication"), QStringLiteral("Port"), QString()),
             QStringLiteral("3"));
}

void TestIniFile::unwritableFolderIsReported()
{
    if (geteuid() == 0)
        QSKIP("the superuser writes into any folder");
    writeFile(sample);
    QVERIFY(QFile::setPermissions(m_dir->path(), QFile::ReadOwner | QFile::ExeOwner));
    QVERIFY(!SetIniParam(QStringLiteral("General"), QStringLiteral("Language"),
                         QStringLiteral("English")));
    QCOMPARE(m_reports.size(), 1);
    QCOMPARE(fileBytes(), sample);
    QCOMPARE(QDir(m_dir->path()).entryList(QDir::Files),
             QStringList(QStringLiteral("k7310console.ini")));
}

// A folder that cannot exist because a file holds its name: fails even for the superuser.
void TestIniFile::blockedFolderIsReported()
{
    writeFile(sample);
    const QString blocked = path() + QStringLiteral("/settings.ini");
    SetIniFileName(blocked);
    QCOMPARE(
        GetIniParam(QStringLiteral("General"), QStringLiteral("Language"), QStringLiteral("dflt")),
        QStringLiteral("dflt"));
    QVERIFY(!SetIniParam(QStringLiteral("General"), QStringLiteral("Language"),
                         QStringLiteral("English")));
    QCOMPARE(m_reports.size(), 1);
    QVERIFY(m_reports[0].contains(blocked));
    QCOMPARE(fileBytes(), sample);
}

void TestIniFile::windowPlacement()
{
    const WindowPlacement fallback{QRect(10, 20, 300, 200), WindowState::Normal};
    QCOMPARE(RestoreWindow(QStringLiteral("wPanelTools"), fallback).geometry, fallback.geometry);
    QCOMPARE(RestorePos(QStringLiteral("wAskSlave"), QPoint(7, 8)), QPoint(7, 8));

    SaveWindow(QStringLiteral("wPanelTools"), {QRect(-5, 40, 640, 480), WindowState::Maximized});
    StorePos(QStringLiteral("wAskSlave"), QPoint(100, 150));
    const WindowPlacement restored = RestoreWindow(QStringLiteral("wpaneltools"), fallback);
    QCOMPARE(restored.geometry, QRect(-5, 40, 640, 480));
    QCOMPARE(restored.state, WindowState::Maximized);
    QCOMPARE(RestorePos(QStringLiteral("wAskSlave"), QPoint()), QPoint(100, 150));

    SaveWindow(QStringLiteral("wPanelTools"), {QRect(1, 2, 30, 40), WindowState::Minimized});
    QCOMPARE(RestoreWindow(QStringLiteral("wPanelTools"), fallback).state, WindowState::Normal);

    QVERIFY(
        SetIniParam(QStringLiteral("wPanelTools"), QStringLiteral("Width"), QStringLiteral("0")));
    QCOMPARE(RestoreWindow(QStringLiteral("wPanelTools"), fallback).geometry, fallback.geometry);
    QVERIFY(SetIniParam(QStringLiteral("wAskSlave"), QStringLiteral("Top"), QStringLiteral("abc")));
    QCOMPARE(RestorePos(QStringLiteral("wAskSlave"), QPoint(7, 8)), QPoint(7, 8));
    QVERIFY(m_reports.isEmpty());
}

void TestIniFile::fileNameBesideTheProgram()
{
    SetIniFileName(QString());
    const QString expected =
        QCoreApplication::applicationDirPath() + QStringLiteral("/tst_inifile.ini");
    QCOMPARE(IniFileName(), expected);
}

QTEST_GUILESS_MAIN(TestIniFile)
#include "tst_inifile.moc"
