// Commissioning against k7310sim: a line of three panels (one at firmware 2.6, one unplugged
// by the simulator during its write) configured from one template and tested; the panels'
// words afterwards, the record's JSON field by field, its PDF read back with pdftotext; and the
// refusals that come before anything is sent.
#include "../linecheck/fakesystem.h"
#include "commissionrun.h"
#include "configfile.h"
#include "panelcommands.h"
#include "shelltestkit.h"
#include "wcommissioning.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLineEdit>
#include <QProcess>
#include <QTableWidget>

using namespace Commission;

namespace {

QString run(const QString& program, const QStringList& arguments)
{
    QProcess process;
    process.start(program, arguments);
    process.waitForFinished(20000);
    return QString::fromUtf8(process.readAllStandardOutput());
}

// The values of the template: 9600 baud, 1 stop bit, bus mode 2, synchro on, no
// acknowledgement authorisation, both K/L options on.
ConfigFile::Contents templateContents()
{
    ConfigFile::Contents contents;
    contents.values = {3, 0, 1, 2, 1, 0, 1, 1};
    contents.firmware = QStringLiteral("2.8");
    return contents;
}

QStringList keys(const QJsonArray& array)
{
    QStringList list;
    for (const QJsonValue& value : array)
        list << QString::number(value.toInt());
    return list;
}

} // namespace

class TestCommission : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        QVERIFY(m_fixture.openData());
        // To look at a record: K7310_RECORD_LANGUAGE (a column of the data file) and
        // K7310_KEEP_RECORD (where the PDF is copied).
        DataFunctions7310::SetCurrentLanguage(qEnvironmentVariable("K7310_RECORD_LANGUAGE"));
        m_template = m_fixture.dir.filePath("site.k7310");
        ConfigFile::Save(m_template, templateContents());
        QVERIFY(m_sim.start(
            {"--panel", "slave=1", "--panel", "slave=2,version=2.6", "--panel", "slave=3"}));
        m_port.setPortName(m_sim.path());
        m_port.setSettings("9600,n,8,1");
        m_port.open();
        ZRBfonctions::SetIniParam("Communication", "LastSlave", "7");

        // The technician acknowledges on panels 11 and 13 as soon as they are polled; panel 3
        // loses power once it has taken its stop bits, the first time only.
        m_port.addObserver([this](const Exchange& exchange) {
            for (const int slave : {11, 13}) {
                if (exchange.request == PanelCommands::AckReadRequest(slave) &&
                    !m_acknowledged.contains(slave) &&
                    !m_sim.reply(QByteArray("ack ") + QByteArray::number(slave)).isEmpty())
                    m_acknowledged << slave;
            }
            if (!m_unplugged && exchange.request.startsWith(QByteArray::fromHex("03060081")))
                m_unplugged = !m_sim.reply("unplug 3").isEmpty();
        });

        m_window = std::make_unique<wCommissioning>(m_port);
        wCommissioning& window = *m_window;
        window.setTemplateFile(m_template);
        window.addPanels({Target{1, 9600, 1, {}, 11, 0, 0}, Target{2, 9600, 1, {}, 12, 19200, 2},
                          Target{3, 9600, 1, {}, 13, 0, 0}});
        window.setAckWaitMs(1500);
        window.setWalkStepMs(1);
        window.setAsker([this](int questionId, int slave) {
            m_asked << QStringLiteral("%1 %2").arg(questionId).arg(slave);
            return true;
        });
        window.findChild<QLineEdit*>("txtSite")->setText("Harbour pumping station");
        QVERIFY(window.apply());
        QVERIFY(m_acknowledged.contains(11) && m_unplugged);
        m_lineAfter = m_port.settings();

        const QString base = m_fixture.dir.filePath("record");
        QCOMPARE(window.saveRecord(base), QString());
        if (qEnvironmentVariableIsSet("K7310_KEEP_RECORD"))
            QFile::copy(base + ".pdf", qEnvironmentVariable("K7310_KEEP_RECORD"));
        QFile json(base + ".json");
        QVERIFY(json.open(QIODevice::ReadOnly));
        m_jsonBytes = json.readAll();
        m_json = QJsonDocument::fromJson(m_jsonBytes).object();
        m_pdfText = run("pdftotext", {"-layout", base + ".pdf", "-"});
        m_pages = run("pdfinfo", {base + ".pdf"}).section("Pages:", 1).section('\n', 0, 0).toInt();
        QFile csv(base + ".csv");
        QVERIFY(csv.open(QIODevice::ReadOnly));
        m_csv = QString::fromUtf8(csv.readAll()).split("\r\n", Qt::SkipEmptyParts);
    }

    void panelOnLineAndInRecord_data()
    {
        QTest::addColumn<int>("index");
        QTest::addColumn<QString>("status");   // the simulator's words of the panel afterwards
        QTest::addColumn<QString>("firmware"); // in the record
        QTest::addColumn<QString>("written");  // words the panel took
        QTest::addColumn<QString>("failure");  // stage, word, outcome
        QTest::addColumn<QString>("tests");
        QTest::addColumn<QString>("result");
        QTest::newRow("2.8 renumbered, acknowledged on the panel")
            << 0 << "line 9600/1 slave 11 bus-mode 2 words 65=1 67=0 69=1 70=1"
            << "2.8"
            << "128 129 130 131 65 67 70 69"
            << ""
            << "passed passed passed"
            << "PASS";
        QTest::newRow("2.6 moved to 19200/2, acknowledgement timed out")
            << 1 << "line 19200/2 slave 12 bus-mode 2 words 65=1 67=0"
            << "2.6"
            << "128 129 130 131 65 67"
            << ""
            << "passed failed passed"
            << "FAIL";
        QTest::newRow("unplugged after its stop bits") << 2 << ""
                                                       << "2.8"
                                                       << "128 129"
                                                       << "write 130 time-out"
                                                       << "skipped skipped skipped"
                                                       << "FAIL";
    }
    void panelOnLineAndInRecord()
    {
        QFETCH(int, index);
        QFETCH(QString, status);
        const QJsonObject panel = m_json["panels"].toArray().at(index).toObject();
        if (!status.isEmpty())
            QVERIFY2(m_sim.reply(QStringLiteral("status #%1").arg(index + 1).toLatin1())
                         .contains(status),
                     qPrintable(status));
        QTEST(panel["firmware"].toString(), "firmware");
        QTEST(keys(panel["wordsWritten"].toArray()).join(' '), "written");
        const QJsonObject failure = panel["failure"].toObject();
        QTEST(failure.isEmpty() ? QString()
                                : QStringLiteral("%1 %2 %3")
                                      .arg(failure["stage"].toString())
                                      .arg(failure["word"].toInt())
                                      .arg(failure["outcome"].toString()),
              "failure");
        const QJsonObject tests = panel["tests"].toObject();
        QTEST(QStringList({tests["lampTest"].toObject()["result"].toString(),
                           tests["alarmAck"].toObject()["result"].toString(),
                           tests["ledWalk"].toObject()["result"].toString()})
                  .join(' '),
              "tests");
        QTEST(panel["result"].toString(), "result");
        QTEST(m_csv.at(index + 1).section(',', -1), "result");
        // What was read back is what was meant, for every word the firmware serves.
        for (const QJsonValue& value : panel["parameters"].toArray()) {
            const QJsonObject parameter = value.toObject();
            QVERIFY(!parameter["differs"].toBool());
            if (parameter["served"].toBool() && failure.isEmpty())
                QCOMPARE(parameter["readBack"], parameter["intended"]);
        }
    }

    void recordHeadingAndLine()
    {
        QCOMPARE(m_json["site"].toString(), QString("Harbour pumping station"));
        QCOMPARE(m_json["port"].toString(), m_sim.path());
        QFile file(m_template);
        QVERIFY(file.open(QIODevice::ReadOnly));
        QCOMPARE(m_json["template"].toObject()["sha256"].toString(), Sha256(file.readAll()));
        QCOMPARE(m_json["template"].toObject()["name"].toString(), QString("site.k7310"));
        QCOMPARE(m_json["result"].toString(), QString("FAIL"));
        // Questions asked: lamps and walk on the two panels that were configured.
        QCOMPARE(m_asked.size(), 4);
        // The line and the settings file end where they were.
        QCOMPARE(m_lineAfter, QString("9600,n,8,1"));
        QCOMPARE(ZRBfonctions::GetIniParam("Communication", "LastSlave", {}), QString("7"));
    }

    void pdfReadsBack()
    {
        QVERIFY(m_pages >= 1);
        // Every page's footer names the JSON it was made with.
        const QString footer = "SHA-256: " + Sha256(m_jsonBytes);
        QCOMPARE(m_pdfText.count(footer), m_pages);
        for (const char* expected :
             {"Commissioning record", "Harbour pumping station", "Panel slave 1 → 11",
              "Panel slave 2 → 12", "Panel slave 3 → 13", "9600,n,8,1 → 19200,n,8,2",
              "Stopped at writing, word 130", "Words written: 128, 129", "not in this firmware",
              "no acknowledgement in time", "Panels passed: 1 of 3"})
            QVERIFY2(m_pdfText.contains(QString::fromUtf8(expected)), expected);
    }

    void refusedBeforeSending_data()
    {
        QTest::addColumn<int>("secondTarget");
        QTest::addColumn<QString>("templateText");
        QTest::addColumn<QString>("message");
        QTest::newRow("two panels to one number") << 5 << ""
                                                  << "slave number 5 on this line";
        QTest::newRow("template not a configuration file") << 6 << "not a configuration"
                                                           << "Device";
    }
    void refusedBeforeSending()
    {
        QFETCH(int, secondTarget);
        QFETCH(QString, templateText);
        QString path = m_template;
        if (!templateText.isEmpty()) {
            path = m_fixture.dir.filePath("bad.k7310");
            QFile bad(path);
            QVERIFY(bad.open(QIODevice::WriteOnly));
            bad.write(templateText.toUtf8());
        }
        ComCtrl port;
        port.setPortName(m_fixture.pty.slavePath());
        port.open();
        int exchanges = 0;
        port.addObserver([&exchanges](const Exchange&) { ++exchanges; });
        wCommissioning window(port);
        window.setTemplateFile(path);
        window.addPanels({Target{1, 9600, 1, {}, 5, 0, 0}, Target{2, 9600, 1, {}, secondTarget}});
        ModalUser user([](QWidget* other) { other->close(); });
        QVERIFY(!window.apply());
        QCOMPARE(user.messages.size(), 1);
        QFETCH(QString, message);
        QVERIFY2(user.messages.first().contains(message), qPrintable(user.messages.first()));
        QCOMPARE(exchanges, 0);
    }

    // A record that cannot be written is reported, and the results stay to be saved elsewhere.
    void unwritableRecordKeepsResults()
    {
        QFile plain(m_fixture.dir.filePath("plain"));
        QVERIFY(plain.open(QIODevice::WriteOnly));
        plain.close();
        ModalUser user([](QWidget* other) { other->close(); });
        QVERIFY(!m_window->saveRecord(plain.fileName() + "/record").isEmpty());
        QCOMPARE(user.messages.size(), 1);
        QCOMPARE(m_window->record().panels.size(), 3);
        const QString again = m_fixture.dir.filePath("again");
        QCOMPARE(m_window->saveRecord(again), QString());
        for (const char* extension : {".pdf", ".json", ".csv"})
            QVERIFY(QFile::exists(again + extension));
    }

    // The heading names the USB adapter behind the port, as its sysfs entries tell; here one
    // whose port cannot be opened, so that the run fails at once.
    void adapterNamedInHeading()
    {
        FakeSystem system;
        ComCtrl port;
        port.setPortName(
            system.plugUsb("ttyUSB0", FakeSystem::Usb{"0403", "6001", "A6008isP", "ftdi_sio"}));
        wCommissioning window(port);
        window.setTemplateFile(m_template);
        window.addPanels({Target{1, 9600, 1, {}, 5, 0, 0}});
        ModalUser user([](QWidget* other) { other->close(); });
        QVERIFY(window.apply());
        QCOMPARE(window.record().adapter, QString("FTDI FT232R USB UART A6008isP"));
        QVERIFY(!window.record().panels.first().passed());
    }

    // Retry failed runs the failed panels again and adds to the record begun by the first run.
    void retryKeepsTheRecord()
    {
        const QDateTime started = m_window->record().started;
        QVERIFY(!m_sim.reply("plug 3").isEmpty());
        QVERIFY(m_window->retryFailed());
        const Record record = m_window->record();
        QCOMPARE(record.started, started);
        QCOMPARE(record.panels.size(), 3);
        QVERIFY(record.panels.at(0).passed());
        QVERIFY(!record.panels.at(1).passed()); // its acknowledgement still does not come
        QVERIFY(record.panels.at(2).passed());
        QVERIFY(m_sim.reply("status #3").contains("slave 13"));
    }

private:
    ShellFixture m_fixture;
    SimProcess m_sim;
    ComCtrl m_port;
    std::unique_ptr<wCommissioning> m_window;
    QString m_template;
    QStringList m_asked;
    QString m_lineAfter;
    QList<int> m_acknowledged;
    bool m_unplugged = false;
    QByteArray m_jsonBytes;
    QJsonObject m_json;
    QString m_pdfText;
    int m_pages = 0;
    QStringList m_csv;
};

QTEST_MAIN(TestCommission)
#include "tst_commission.moc"
