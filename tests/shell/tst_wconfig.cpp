#include "childwindow.h"
#include "comctrl.h"
#include "commfunctions.h"
#include "datafunctions7310.h"
#include "shelltestkit.h"
#include "wconfig.h"
#include "wmain.h"
#include "wsplash.h"

#include <QAction>
#include <QCheckBox>
#include <QComboBox>
#include <QGroupBox>
#include <QPushButton>
#include <QSpinBox>
#include <QTabWidget>
#include <QtTest>

#include <functional>

namespace {

const QString baseIni = QStringLiteral(
    "[General]\nLanguage=English\n[Communication]\nPort=%1\nBauds=9600\nStops=1\nParity=n\n");

// A port opened on the pty with the given line settings, as the start-up leaves it.
void openPort(ComCtrl& port, const Pty& pty, const QString& settings = "9600,n,8,1")
{
    port.setPortName(pty.path());
    port.setSettings(settings);
    port.open();
}

} // namespace

using ConfigChange = std::function<void(wConfig&)>;
Q_DECLARE_METATYPE(ConfigChange)

class TestConfig : public QObject
{
    Q_OBJECT

private slots:
    void loadShowsPortSettings_data();
    void loadShowsPortSettings();
    void applyWritesWhatChanged_data();
    void applyWritesWhatChanged();
    void nothingChangedWritesNothing();
    void failedReopenIsReportedAndDialogStays();
    void firstRunFormStoresLanguage();
    void languageWithoutOwnNameIsNotOffered();
    void rtsValueTheBoxCannotShowIsReported_data();
    void rtsValueTheBoxCannotShowIsReported();
    void languageChangeRecaptionsEveryWindow();
};

void TestConfig::loadShowsPortSettings_data()
{
    QTest::addColumn<QString>("settings");
    QTest::addColumn<int>("parityIndex");
    QTest::addColumn<QString>("parityText");
    QTest::addColumn<QString>("bauds");
    QTest::addColumn<QString>("stops");
    QTest::newRow("e shows the even entry") << "9600,e,8,1" << 1 << "Paire"
                                            << "9600"
                                            << "1";
    QTest::newRow("n shows the none entry") << "19200,n,8,2" << 0 << "Sans"
                                            << "19200"
                                            << "2";
    QTest::newRow("o shows the odd entry") << "1200,o,8,1" << 2 << "Impaire"
                                           << "1200"
                                           << "1";
    QTest::newRow("upper-case letter") << "4800,E,8,1" << 1 << "Paire"
                                       << "4800"
                                       << "1";
}

void TestConfig::loadShowsPortSettings()
{
    QFETCH(QString, settings);
    QFETCH(int, parityIndex);
    QFETCH(QString, parityText);
    QFETCH(QString, bauds);
    QFETCH(QString, stops);

    ShellFixture fixture;
    QVERIFY(fixture.openData());
    DataFunctions7310::SetCurrentLanguage(QStringLiteral("Français"));
    ComCtrl port;
    port.setPortName(QStringLiteral("/dev/ttyUSB7"));
    port.setSettings(settings);
    wConfig dialog(port);
    QCOMPARE(dialog.parity()->currentIndex(), parityIndex);
    QCOMPARE(dialog.parity()->currentText(), parityText);
    QCOMPARE(dialog.bauds()->currentText(), bauds);
    QCOMPARE(dialog.stops()->currentText(), stops);
    QCOMPARE(dialog.portList()->currentText(), QStringLiteral("/dev/ttyUSB7"));
    QCOMPARE(dialog.languages()->currentText(), QStringLiteral("Français"));
    QCOMPARE(dialog.windowTitle(), QStringLiteral("Paramètres du PC"));
    QCOMPARE(dialog.changedInputs(), 0U);
    QVERIFY(!dialog.button(wConfig::Apply)->isEnabled());
    QVERIFY(fixture.reports().isEmpty());
}

void TestConfig::applyWritesWhatChanged_data()
{
    QTest::addColumn<ConfigChange>("change");
    QTest::addColumn<QStringList>("written");    // lines that must be in the file afterwards
    QTest::addColumn<QStringList>("notWritten"); // keys that must not have been written
    QTest::addColumn<QString>("lineSettings");

    using Change = std::function<void(wConfig&)>;
    QTest::newRow("speed: the four line settings")
        << Change([](wConfig& d) { d.bauds()->setCurrentText(QStringLiteral("4800")); })
        << QStringList{"Bauds=4800", "Stops=1", "Parity=n"} << QStringList{"RTS=", "RtsDelay="}
        << "4800,n,8,1";
    QTest::newRow("parity odd stored as its letter")
        << Change([](wConfig& d) { d.parity()->setCurrentIndex(2); })
        << QStringList{"Parity=o", "Bauds=9600"} << QStringList{"RTS="} << "9600,o,8,1";
    QTest::newRow("stop bits") << Change([](wConfig& d) {
        d.stops()->setCurrentText(QStringLiteral("2"));
    }) << QStringList{"Stops=2"}
                               << QStringList{"RTS="} << "9600,n,8,2";
    QTest::newRow("half duplex only: port untouched")
        << Change([](wConfig& d) { d.halfDuplex()->setChecked(true); })
        << QStringList{"RTS=1", "RtsDelay=5"} << QStringList{"Language=Deutsch"} << "9600,n,8,1";
    QTest::newRow("RTS delay only")
        << Change([](wConfig& d) { d.rtsDelay()->setValue(12); })
        << QStringList{"RTS=0", "RtsDelay=12"} << QStringList{} << "9600,n,8,1";
    QTest::newRow("language only")
        << Change([](wConfig& d) { d.languages()->setCurrentText(QStringLiteral("Deutsch")); })
        << QStringList{"Language=Deutsch"} << QStringList{"RTS="} << "9600,n,8,1";
}

void TestConfig::applyWritesWhatChanged()
{
    QFETCH(ConfigChange, change);
    QFETCH(QStringList, written);
    QFETCH(QStringList, notWritten);
    QFETCH(QString, lineSettings);

    ShellFixture fixture;
    QVERIFY(fixture.openData());
    Pty pty;
    fixture.writeIni(baseIni.arg(pty.path()));
    DataFunctions7310::SetCurrentLanguage(QStringLiteral("English"));
    ComCtrl port;
    openPort(port, pty);
    wConfig dialog(port);
    dialog.show();
    change(dialog);
    QVERIFY(dialog.button(wConfig::Apply)->isEnabled());
    dialog.button(wConfig::Apply)->click();

    QVERIFY(fixture.reports().isEmpty());
    QVERIFY(!dialog.button(wConfig::Apply)->isEnabled());
    QCOMPARE(dialog.changedInputs(), 0U);
    QVERIFY(dialog.isVisible());
    QCOMPARE(dialog.rtsDelayFrame()->isVisible(), dialog.halfDuplex()->isChecked());
    const QString text = fixture.iniText();
    for (const QString& line : written)
        QVERIFY2(text.contains(line), qPrintable(line + " in\n" + text));
    for (const QString& line : notWritten)
        QVERIFY2(!text.contains(line), qPrintable(line + " in\n" + text));
    QVERIFY(port.isOpen());
    QCOMPARE(port.settings(), lineSettings);
    QCOMPARE(CommFunctions::RtsHandshake(), dialog.halfDuplex()->isChecked());
    QCOMPARE(CommFunctions::RtsDelay(), dialog.rtsDelay()->value());
    QCOMPARE(DataFunctions7310::CurrentLanguage(), dialog.languages()->currentText());
    // Cancel after Apply leaves what was applied.
    dialog.button(wConfig::Cancel)->click();
    QVERIFY(!dialog.isVisible());
    QCOMPARE(port.settings(), lineSettings);
    CommFunctions::SetRtsHandshake(false);
    CommFunctions::SetRtsDelay(5);
}

void TestConfig::nothingChangedWritesNothing()
{
    ShellFixture fixture;
    QVERIFY(fixture.openData());
    Pty pty;
    const QString before = baseIni.arg(pty.path()) + QStringLiteral("; kept as it is\n");
    fixture.writeIni(before);
    ComCtrl port;
    openPort(port, pty);
    for (const int button : {wConfig::Ok, wConfig::Cancel, wConfig::Apply}) {
        wConfig dialog(port);
        dialog.show();
        // Visiting the other page and back is not a change.
        dialog.pages()->setCurrentIndex(1);
        dialog.pages()->setCurrentIndex(0);
        dialog.button(button)->click();
        QCOMPARE(dialog.isVisible(), button == wConfig::Apply);
    }
    QCOMPARE(fixture.iniText(), before);
    QVERIFY(port.isOpen());
    QVERIFY(fixture.reports().isEmpty());
}

void TestConfig::failedReopenIsReportedAndDialogStays()
{
    ShellFixture fixture;
    QVERIFY(fixture.openData());
    Pty pty;
    fixture.writeIni(baseIni.arg(pty.path()));
    ComCtrl port;
    openPort(port, pty);
    wConfig dialog(port);
    dialog.show();
    dialog.portList()->setCurrentText(QStringLiteral("/dev/k7310-no-such-port"));
    dialog.button(wConfig::Ok)->click();

    QCOMPARE(fixture.reports().size(), 1);
    QVERIFY(fixture.reports().first().contains(QStringLiteral("Error Nr 8002 ")));
    QVERIFY(fixture.reports().first().contains(
        QStringLiteral("Module : wConfig\r\nObject : cmdButtons\r\nEvent : Click")));
    QVERIFY(dialog.isVisible());
    QVERIFY(!port.isOpen());
    // The settings file already holds the new values.
    QVERIFY(fixture.iniText().contains(QStringLiteral("Port=/dev/k7310-no-such-port")));
}

void TestConfig::firstRunFormStoresLanguage()
{
    ShellFixture fixture;
    QVERIFY(fixture.openData());
    ComCtrl port;
    wConfig dialog(port);
    dialog.setFirstRun();
    dialog.show();
    QVERIFY(!dialog.button(wConfig::Cancel)->isVisible());
    QVERIFY(!dialog.button(wConfig::Apply)->isVisible());
    QVERIFY(dialog.button(wConfig::Ok)->isVisible());
    QCOMPARE(dialog.languages()->currentIndex(), 0);
    dialog.button(wConfig::Ok)->click();
    QVERIFY(!dialog.isVisible());
    const QString text = fixture.iniText();
    QVERIFY(text.contains(QStringLiteral("[General]")));
    QVERIFY(text.contains(QStringLiteral("Language=English")));
    QVERIFY(!text.contains(QStringLiteral("Communication")));
    QCOMPARE(DataFunctions7310::CurrentLanguage(), QStringLiteral("English"));
}

void TestConfig::languageWithoutOwnNameIsNotOffered()
{
    ShellFixture fixture(QStringLiteral(K7310_SHELL_TEST_DATA "/nogerman.dat"));
    QVERIFY(fixture.openData());
    ComCtrl port;
    wConfig dialog(port);
    QStringList offered;
    for (int i = 0; i < dialog.languages()->count(); ++i)
        offered.append(dialog.languages()->itemText(i));
    QCOMPARE(offered, (QStringList{QStringLiteral("English"), QStringLiteral("Français")}));
}

void TestConfig::rtsValueTheBoxCannotShowIsReported_data()
{
    QTest::addColumn<QString>("rts");
    QTest::addColumn<QString>("number");
    QTest::newRow("yes") << "yes"
                         << "Error Nr 13 ";
    QTest::newRow("2") << "2"
                       << "Error Nr 5 ";
}

void TestConfig::rtsValueTheBoxCannotShowIsReported()
{
    QFETCH(QString, rts);
    QFETCH(QString, number);
    ShellFixture fixture;
    QVERIFY(fixture.openData());
    fixture.writeIni(QStringLiteral("[Communication]\nRTS=") + rts + QLatin1Char('\n'));
    ComCtrl port;
    wConfig dialog(port);
    QCOMPARE(fixture.reports().size(), 1);
    QVERIFY(fixture.reports().first().contains(number));
    QVERIFY(fixture.reports().first().contains(
        QStringLiteral("Module : wConfig\r\nObject : Form\r\nEvent : Load")));
    QVERIFY(!dialog.halfDuplex()->isChecked());
}

void TestConfig::languageChangeRecaptionsEveryWindow()
{
    wSplash::SetCloseInterval(10);
    ShellFixture fixture;
    Pty pty;
    fixture.writeIni(baseIni.arg(pty.path()));
    wMain frame(wMain::Files{fixture.dataFile(), fixture.folder()});
    QVERIFY(frame.load());
    QCOMPARE(frame.menuEntry(QStringLiteral("mnuFile"))->text(), QStringLiteral("&File"));

    wConfig dialog(frame.comCtrl(), &frame);
    dialog.show();
    dialog.languages()->setCurrentText(QStringLiteral("Français"));
    dialog.button(wConfig::Apply)->click();

    QCOMPARE(frame.menuEntry(QStringLiteral("mnuFile"))->text(), QStringLiteral("&Fichier"));
    QCOMPARE(frame.panelEntry(2)->text(), QStringLiteral("Éditeur de trames"));
    QCOMPARE(frame.children().window(1)->windowTitle(),
             QStringLiteral("Calculatrice CRC et nombres"));
    QCOMPARE(frame.children().window(2)->windowTitle(), QStringLiteral("Éditeur de trames"));
    QCOMPARE(dialog.windowTitle(), QStringLiteral("Paramètres du PC"));
    QCOMPARE(dialog.button(wConfig::Cancel)->text(), DataFunctions7310::GetText(12));
    QVERIFY(frame.comCtrl().isOpen());
    QVERIFY(fixture.reports().isEmpty());
}

QTEST_MAIN(TestConfig)
#include "tst_wconfig.moc"
