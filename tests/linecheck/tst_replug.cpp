// Replugged adapters in the PC settings dialog (stored by their by-id name, a vanished
// ttyUSBn offered as the same adapter under its new name), and the line check's window.
#include "adapterinfo.h"
#include "fakesystem.h"
#include "shelltestkit.h"
#include "textids.h"
#include "wlinecheck.h"

#include <QClipboard>
#include <QSpinBox>
#include <QTableWidget>

namespace {

const FakeSystem::Usb ftdi{"0403", "6001", "A6008isP", "ftdi_sio", 16};
const QString ftdiKey = "0403:6001:A6008isP";
const QString ftdiLink = "usb-FTDI_FT232R_USB_UART_A6008isP-if00-port0";

QStringList IniLines(const ShellFixture& fixture, const QString& key)
{
    QStringList lines;
    for (const QString& line : fixture.iniText().split('\n'))
        if (line.startsWith(key + '='))
            lines << line;
    return lines;
}

} // namespace

class TestReplug : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        m_fixture = std::make_unique<ShellFixture>();
        QVERIFY(m_fixture->openData());
        DataFunctions7310::SetCurrentLanguage("English");
    }
    void cleanup() { m_fixture.reset(); }

    // A device chosen from the list is named by its by-id link; one without a link by itself.
    void stableNames()
    {
        FakeSystem system;
        const QString linked = system.plugUsb("ttyUSB0", ftdi, ftdiLink);
        const QString plain = system.plugUsb("ttyUSB1", FakeSystem::Usb{"1a86", "7523"});
        QCOMPARE(AdapterInfo::StableName(linked), system.path("dev/serial/by-id/") + ftdiLink);
        QCOMPARE(AdapterInfo::StableName(plain), plain);
    }

    void replugOffer_data()
    {
        // plugged: the adapters present now, as "tty:serial" (by-id links for each);
        // storedPort: relative to the fake /dev; storedAdapter: the identity stored with it;
        // offered: the by-id link the dialog shows instead ("" keeps the stored port).
        columns<QStringList, QString, QString, QString>("plugged", "storedPort", "storedAdapter",
                                                        "offered");
        row("renamed after a replug: offered under its by-id name", QStringList{"ttyUSB1:A6008isP"},
            "ttyUSB0", ftdiKey, ftdiLink);
        row("two adapters alike: the user chooses",
            QStringList{"ttyUSB1:A6008isP", "ttyUSB2:A6008isP"}, "ttyUSB0", ftdiKey, "");
        row("another adapter of the same make", QStringList{"ttyUSB1:B7719kQ"}, "ttyUSB0", ftdiKey,
            "");
        row("the stored device is still there", QStringList{"ttyUSB0:A6008isP"}, "ttyUSB0", ftdiKey,
            "");
        row("no adapter stored with the port", QStringList{"ttyUSB1:A6008isP"}, "ttyUSB0", "", "");
    }

    void replugOffer()
    {
        const auto [plugged, storedPort, storedAdapter, offered] =
            fetch<QStringList, QString, QString, QString>("plugged", "storedPort", "storedAdapter",
                                                          "offered");
        FakeSystem system;
        for (const QString& adapter : plugged) {
            FakeSystem::Usb usb = ftdi;
            usb.serial = adapter.section(':', 1);
            system.plugUsb(adapter.section(':', 0, 0), usb,
                           QString(ftdiLink).replace("A6008isP", adapter));
        }
        const QString stored = system.path("dev/") + storedPort;
        const QString offeredPath = offered.isEmpty()
                                        ? stored
                                        : system.path("dev/serial/by-id/") +
                                              QString(offered).replace("A6008isP", plugged[0]);
        ShellFixture& fixture = *m_fixture;
        fixture.writeIni("English", "PortAdapter=" + storedAdapter + '\n', stored);
        ComCtrl port;
        port.setPortName(stored);
        wConfig dialog(port);
        dialog.show();
        QCOMPARE(dialog.portList()->currentText(), offeredPath);
        QCOMPARE(bool(dialog.changedInputs() & wConfig::Port), !offered.isEmpty());
        if (offered.isEmpty())
            return;
        // OK stores the by-id name and the adapter's identity again.
        dialog.button(wConfig::Ok)->click();
        QCOMPARE(IniLines(fixture, "Port"), QStringList{"Port=" + offeredPath});
        QCOMPARE(IniLines(fixture, "PortAdapter"), QStringList{"PortAdapter=" + ftdiKey});
    }

    void lineCheckWindow_data()
    {
        columns<QString, QString, QString>("language", "title", "echoLine");
        row("English", "English", "Line check", "[PASS] Echo: No echo");
        row("German", "Deutsch", "Leitungsprüfung", "[OK] Echo: Kein Echo");
    }

    // The window runs the check on the console's line and hands the findings out as text:
    // to the clipboard and to a file.
    void lineCheckWindow()
    {
        const auto [language, title, echoLine] =
            fetch<QString, QString, QString>("language", "title", "echoLine");
        DataFunctions7310::SetCurrentLanguage(language);
        FakeSystem system;
        ScriptedLine pty(Replying(WithCrc(QByteArray::fromHex("01030200FE"))));
        wLineCheck window(pty.line);
        window.show();
        QCOMPARE(window.windowTitle(), title);
        window.findChild<QSpinBox*>("updSlave")->setValue(1);
        window.findChild<QPushButton*>("cmdCheck")->click();

        const auto* list = window.findChild<QTableWidget*>("lstFindings");
        QCOMPARE(list->rowCount(), 7); // a pty: no udev rule proposed
        QCOMPARE(window.findings().size(), 7);
        window.findChild<QPushButton*>("cmdCopy")->click();
        const QString copied = QApplication::clipboard()->text();
        QCOMPARE(copied.section('\n', 0, 0), window.findingsText().section('\n', 0, 0));
        QVERIFY2(copied.contains(echoLine), qPrintable(copied));
        QVERIFY(copied.section('\n', 0, 0).contains(pty.pty.slavePath()));

        const QString file = m_fixture->dir.filePath("check.txt");
        QVERIFY(window.saveTo(file));
        QFile saved(file);
        QVERIFY(saved.open(QIODevice::ReadOnly));
        QCOMPARE(QString::fromUtf8(saved.readAll()), copied);
    }

private:
    std::unique_ptr<ShellFixture> m_fixture;
};

QTEST_MAIN(TestReplug)
#include "tst_replug.moc"
