#include "testkit.h"
#include "zrbfonctions.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

#include <unistd.h>

using namespace ZRBfonctions;

namespace {

const QByteArray sample = "; console settings\n[General]\nLanguage=Français\n\n"
                          "[Communication]\n# the port of the bench\n  Port = 3  \nBauds=9600\n"
                          ";Stops=2\nCaption=\"  spaced  \"\n\n[Print]\nLeftMargin=20\n";

QByteArray edited(const char* from, const char* to)
{
    return QByteArray(sample).replace(from, to);
}

// The bytes of a file; null when it cannot be read.
QByteArray bytes(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// Writes a file; a null content leaves it missing.
bool writeFile(const QString& path, const QByteArray& content)
{
    QFile file(path);
    return content.isNull() || (file.open(QIODevice::WriteOnly) && file.write(content) >= 0);
}

// The superuser writes into read-only folders: run as nobody for a while, in a folder that
// nobody owns. The effective ids come back when it goes.
class OrdinaryUser
{
public:
    explicit OrdinaryUser(const QString& folder)
    {
        m_ok = !m_wasRoot || (QProcess::execute("chown", {"-R", "65534:65534", folder}) == 0 &&
                              ::setegid(65534) == 0 && ::seteuid(65534) == 0);
    }
    bool ok() const { return m_ok; }
    ~OrdinaryUser()
    {
        if (m_wasRoot)
            m_ok = ::seteuid(0) == 0 && ::setegid(0) == 0;
    }

private:
    const bool m_wasRoot = geteuid() == 0;
    bool m_ok = true;
};

} // namespace

class TestIniFile : public QObject
{
    Q_OBJECT

    QString path() const { return m_dir->filePath("k7310console.ini"); }

    std::unique_ptr<QTemporaryDir> m_dir;
    ReportCapture m_reports;

private slots:
    void init()
    {
        m_dir = std::make_unique<QTemporaryDir>();
        QVERIFY(m_dir->isValid());
        SetIniFileName(path());
        m_reports.clear();
    }
    void cleanup()
    {
        SetIniFileName(QString());
        QFile::setPermissions(m_dir->path(),
                              QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        m_dir.reset();
    }

    void read_data()
    {
        columns<QByteArray, QString, QString, QString>("content", "section", "key", "expected");
        const QByteArray crlf = QByteArray(sample).replace("\n", "\r\n");
        row("General section is ordinary", sample, "General", "Language", "Français");
        row("blanks around the equals sign", sample, "Communication", "Port", "3");
        row("section and key without case", sample, "COMMUNICATION", "bauds", "9600");
        row("commented key is absent", sample, "Communication", "Stops", "dflt");
        row("quotes keep inner blanks", sample, "Communication", "Caption", "  spaced  ");
        row("key of another section is absent", sample, "Print", "Port", "dflt");
        row("CRLF file", crlf, "Print", "LeftMargin", "20");
        row("missing file is not created", QByteArray(), "General", "Language", "dflt");
        row("corrupt file", QByteArray("\x00\xff[General\x01\nLanguage\x80=x", 24), "General",
            "Language", "dflt");
        row("UTF-8 mark before the first section",
            QByteArray("\xEF\xBB\xBF[General]\nLanguage=Deutsch\n"), "General", "Language",
            "Deutsch");
        row("no final line break", QByteArray("[A]\nk=v"), "A", "k", "v");
        row("empty value is not the default", QByteArray("[A]\nk=\n"), "A", "k", "");
    }
    void read()
    {
        const auto [content, section, key, expected] =
            fetch<QByteArray, QString, QString, QString>("content", "section", "key", "expected");
        QVERIFY(writeFile(path(), content));
        QCOMPARE(GetIniParam(section, key, "dflt"), expected);
        QCOMPARE(QFile::exists(path()), !content.isNull()); // reading creates nothing
        QVERIFY(m_reports.messages.isEmpty());
    }

    // A write touches its own lines only: every other byte of the file stays.
    void write_data()
    {
        columns<QByteArray, QString, QString, QString, QByteArray>("content", "section", "key",
                                                                   "value", "expected");
        row("keeps comments, order and the key's blanks", sample, "communication", "PORT",
            "ttyUSB0", edited("  Port = 3  \n", "  Port = ttyUSB0\n"));
        row("CRLF file stays CRLF", QByteArray(sample).replace("\n", "\r\n"), "Print", "LeftMargin",
            "25", edited("LeftMargin=20", "LeftMargin=25").replace("\n", "\r\n"));
        row("new key after the last key of its section", sample, "Communication", "Stops", "2",
            edited("Caption=\"  spaced  \"\n", "Caption=\"  spaced  \"\nStops=2\n"));
        row("new key in a section that has none", QByteArray("[A]\n\n[B]\nx=1\n"), "A", "k", "v",
            QByteArray("[A]\nk=v\n\n[B]\nx=1\n"));
        row("new section at the end of the file", sample, "Panneau", "Label1", "Pump 1 fault",
            sample + "\n[Panneau]\nLabel1=Pump 1 fault\n");
        // Values that need quotes to keep their outer blanks or their own quotes.
        row("outer blanks are kept", sample, "Print", "Header", "  LED 3 ",
            edited("LeftMargin=20\n", "LeftMargin=20\nHeader=\"  LED 3 \"\n"));
        row("quoted value is kept", sample, "Print", "LeftMargin", "\"20\"",
            edited("LeftMargin=20\n", "LeftMargin=\"\"20\"\"\n"));
        row("equals sign and semicolon in a value", sample, "Print", "LeftMargin", "a=b;c",
            edited("LeftMargin=20\n", "LeftMargin=a=b;c\n"));
        row("line break becomes a blank", sample, "Communication", "Port", "two\nlines",
            edited("  Port = 3  \n", "  Port = two lines\n"));
    }
    void write()
    {
        const auto [content, section, key, value, expected] =
            fetch<QByteArray, QString, QString, QString, QByteArray>("content", "section", "key",
                                                                     "value", "expected");
        QVERIFY(writeFile(path(), content));
        QVERIFY(SetIniParam(section, key, value));
        QCOMPARE(bytes(path()), expected);
        QCOMPARE(GetIniParam(section, key, "dflt"), QString(value).replace('\n', ' '));
        QVERIFY(m_reports.messages.isEmpty());
    }

    // The value is refused and reported with the path, and the file stays whole with no
    // temporary file left beside it.
    void notWritable_data()
    {
        QTest::addColumn<bool>("blocked");
        row("read-only file", false);
        row("folder name taken by a file", true); // fails even for the superuser
    }
    void notWritable()
    {
        QFETCH(bool, blocked);
        QVERIFY(writeFile(path(), sample));
        const QString target = blocked ? path() + "/settings.ini" : path();
        QVERIFY(blocked || QFile::setPermissions(path(), QFile::ReadOwner | QFile::ReadGroup));
        SetIniFileName(target);
        QVERIFY(!SetIniParam("General", "Language", "English"));
        QCOMPARE(m_reports.messages.size(), 1);
        const QString& report = m_reports.messages[0];
        QVERIFY2(report.startsWith(QString("Error Nr %1 ").arg(ErrorNumber::SettingsNotWritable)) &&
                     report.contains("Function : SetIniParam") && report.contains(target),
                 qPrintable(report));
        QCOMPARE(bytes(path()), sample);
        QCOMPARE(QDir(m_dir->path()).entryList(QDir::Files), QStringList("k7310console.ini"));
    }

    // Placement comes back by the window's name in any case; a window stored minimised comes
    // back normal; a size that is not positive gives the fallback.
    void windowPlacement()
    {
        const WindowPlacement fallback{QRect(10, 20, 300, 200), WindowState::Normal};
        SaveWindow("wPanelTools", {QRect(-5, 40, 640, 480), WindowState::Maximized});
        const WindowPlacement restored = RestoreWindow("wpaneltools", fallback);
        QCOMPARE(restored.geometry, QRect(-5, 40, 640, 480));
        QCOMPARE(restored.state, WindowState::Maximized);
        SaveWindow("wPanelTools", {QRect(1, 2, 30, 40), WindowState::Minimized});
        QCOMPARE(RestoreWindow("wPanelTools", fallback).state, WindowState::Normal);
        QVERIFY(SetIniParam("wPanelTools", "Width", "0"));
        QCOMPARE(RestoreWindow("wPanelTools", fallback).geometry, fallback.geometry);
        QVERIFY(m_reports.messages.isEmpty());
    }

    // The file beside the program is read whatever its permissions; writes go there when the
    // file (or, without one, its folder) can be written, else to the per-user file, which
    // starts as a copy or is created. Without any file, reads give the default. Run as an
    // ordinary user: the superuser would write anywhere.
    void settingsFilePlaces_data()
    {
        // dataBeside false: an installed program, data elsewhere; a null content: no such file
        columns<QString, bool, bool, QByteArray, QByteArray>(
            "beside", "folderWritable", "dataBeside", "besideAfter", "perUserAfter");
        const QByteArray port = "[Communication]\nPort=ttyUSB3\n";
        const QByteArray both = port + "\n[General]\nLanguage=Deutsch\n";
        const QByteArray language("[General]\nLanguage=Deutsch\n");
        row("read-only file, writable folder", "r", true, true, port, both);
        row("writable file, read-only folder", "rw", false, true, both, QByteArray());
        row("no file, read-only folder", "", false, true, QByteArray(), language);
        row("installed, no file, writable folder", "", true, false, QByteArray(), language);
        row("installed, writable file and folder", "rw", true, false, port, both);
    }
    void settingsFilePlaces()
    {
        const auto [beside, folderWritable, dataBeside, besideAfter, perUserAfter] =
            fetch<QString, bool, bool, QByteArray, QByteArray>(
                "beside", "folderWritable", "dataBeside", "besideAfter", "perUserAfter");
        const QDir program(m_dir->filePath("bin"));
        const QString besideFile = program.filePath("k7310console.ini"),
                      userFile = m_dir->filePath("home/k7310console/k7310console.ini");
        QVERIFY(program.mkpath("."));
        const QFile::Permissions readOnly = QFile::ReadOwner,
                                 readWrite = readOnly | QFile::WriteOwner;
        SetIniFileName(QString());
        SetIniPlaces(besideFile, userFile);
        {
            const OrdinaryUser asNobody(m_dir->path());
            QVERIFY(asNobody.ok());
            if (!beside.isEmpty()) {
                QVERIFY(writeFile(besideFile, "[Communication]\nPort=ttyUSB3\n"));
                QVERIFY(QFile::setPermissions(besideFile, beside == "r" ? readOnly : readWrite));
            }
            QVERIFY(!dataBeside || writeFile(program.filePath("k7310console.dat"), ""));
            QVERIFY(folderWritable ||
                    QFile::setPermissions(program.path(), QFile::ReadOwner | QFile::ExeOwner));

            const QString port = beside.isEmpty() ? "1" : "ttyUSB3";
            QCOMPARE(GetIniParam("Communication", "Port", "1"), port);
            QVERIFY(SetIniParam("General", "Language", "Deutsch"));
            QCOMPARE(GetIniParam("General", "Language", ""), "Deutsch");
            QCOMPARE(GetIniParam("Communication", "Port", "1"), port);
            QCOMPARE(bytes(besideFile), besideAfter);
            QCOMPARE(bytes(userFile), perUserAfter);
            QCOMPARE(QFile::exists(userFile), !perUserAfter.isNull());
            QCOMPARE(program.entryList({"*.ini"}, QDir::Files),
                     besideAfter.isNull() ? QStringList() : QStringList("k7310console.ini"));
            QFile::setPermissions(program.path(),
                                  QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        }
        SetIniPlaces(QString(), QString());
        QVERIFY(m_reports.messages.isEmpty());
    }
};

QTEST_GUILESS_MAIN(TestIniFile)
#include "tst_inifile.moc"
