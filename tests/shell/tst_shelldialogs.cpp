#include "shelltestkit.h"
#include "uihelpers.h"
#include "wwarning.h"

#include <QCheckBox>
#include <QGroupBox>
#include <QSpinBox>
#include <QTabWidget>

#include <functional>
#include <optional>

using ConfigChange = std::function<void(wConfig&, ComCtrl&)>;
Q_DECLARE_METATYPE(ConfigChange)

static const QString noSuchPort = "/dev/k7310-no-such-port";

class TestDialogs : public QObject
{
    Q_OBJECT

private slots:
    // Each test has a data file and a settings file of its own, and starts in English.
    void init()
    {
        m_fixture.emplace();
        QVERIFY(m_fixture->openData());
        DataFunctions7310::SetCurrentLanguage("English");
    }
    void cleanup()
    {
        CommFunctions::SetRtsHandshake(false);
        CommFunctions::SetRtsDelay(5);
        m_fixture.reset();
    }

    // The parity letter of a line's settings, in either case, picks the list position the
    // dialog shows (lower-case "n" and "o" go through the button rows below).
    void parityPositions()
    {
        QCOMPARE(wConfig::ParityPosition("x"), -1);
        ComCtrl port;
        port.setSettings("4800,E,8,1");
        QCOMPARE(wConfig(port).parity()->currentIndex(), 1);
    }

    void buttonsStoreWhatChanged_data()
    {
        // stored: more lines of the settings file; repair: inputs marked at load so that OK
        // rewrites them; written: the file's new lines (none: file untouched), then the faults
        // reported. A change to the line writes its whole group (port, speed, stop bits,
        // parity): the speed, not stored before, too.
        columns<QString, unsigned, ConfigChange, int, QStringList, QString>(
            "stored", "repair", "change", "button", "written", "lineSettings");

        const auto bauds =
            ConfigChange([](wConfig& d, ComCtrl&) { d.bauds()->setCurrentText("4800"); });
        const auto halfDuplex =
            ConfigChange([](wConfig& d, ComCtrl&) { d.halfDuplex()->setChecked(true); });
        const auto nothing = ConfigChange([](wConfig&, ComCtrl&) {});
        const QString line = "9600,n,8,1";
        const QStringList none, rtsOff{"RTS=0", "RtsDelay=5"};
        const int ok = wConfig::Ok, apply = wConfig::Apply;
        const unsigned rtsRepair = wConfig::HalfDuplex;
        row("speed and stop bits, Apply", "", 0U, ConfigChange([=](wConfig& d, ComCtrl& p) {
                bauds(d, p);
                d.stops()->setCurrentText("2");
            }),
            apply, QStringList{"Stops=2", "Bauds=4800"}, "4800,n,8,2");
        row("parity odd, OK: stored as its letter", "", 0U,
            ConfigChange([](wConfig& d, ComCtrl&) { d.parity()->setCurrentIndex(2); }), ok,
            QStringList{"Parity=o", "Bauds=9600"}, "9600,o,8,1");
        // A stored value the dialog cannot show (reported at start-up) shows the value in
        // force, marked for OK or Apply to write it right.
        row("RTS=yes, OK", "RTS=yes\n", rtsRepair, nothing, ok, rtsOff, line);
        row("RTS=2, Apply", "RTS=2\n", rtsRepair, nothing, apply, rtsOff, line);
        row("RTS delay not a number, OK", "RtsDelay=short\n", unsigned(wConfig::RtsDelay), nothing,
            ok, QStringList{"RtsDelay=5", "RTS=0"}, line);
        row("speed not a number, OK", "Bauds=fast\n", unsigned(wConfig::Bauds), nothing, ok,
            QStringList{"Bauds=9600"}, line);
        row("half duplex only, OK: port untouched", "", 0U, halfDuplex, ok,
            QStringList{"RTS=1", "RtsDelay=5"}, line);
        row("RTS delay only, Apply", "", 0U,
            ConfigChange([](wConfig& d, ComCtrl&) { d.rtsDelay()->setValue(12); }), apply,
            QStringList{"RTS=0", "RtsDelay=12"}, line);
        row("language only, Apply", "", 0U,
            ConfigChange([](wConfig& d, ComCtrl&) { d.languages()->setCurrentText("Deutsch"); }),
            apply, QStringList{"Language=Deutsch"}, line);
        row("speed and half duplex, Cancel: nothing kept", "", 0U,
            ConfigChange([=](wConfig& d, ComCtrl& p) {
                bauds(d, p);
                halfDuplex(d, p);
            }),
            int(wConfig::Cancel), none, line);
        // Visiting the other page and back is not a change.
        const auto pages = ConfigChange([](wConfig& d, ComCtrl&) {
            d.pages()->setCurrentIndex(1);
            d.pages()->setCurrentIndex(0);
        });
        row("nothing changed, OK", "", 0U, pages, ok, none, line);
        row("line lost, nothing changed, OK opens it again", "", 0U,
            ConfigChange([](wConfig&, ComCtrl& port) { port.close(); }), ok, none, line);
        row("port that fails to reopen, OK: reported, the dialog stays", "", 0U,
            ConfigChange([](wConfig& d, ComCtrl&) { d.portList()->setCurrentText(noSuchPort); }),
            ok, QStringList{"Port=" + noSuchPort, "Bauds=9600", "8002 wConfig.cmdButtons.Click"},
            line);
    }

    // The dialog shows the port's settings and the stored RTS; its buttons store what changed.
    void buttonsStoreWhatChanged()
    {
        const auto [stored, repair, change, button, written, lineSettings] =
            fetch<QString, unsigned, ConfigChange, int, QStringList, QString>(
                "stored", "repair", "change", "button", "written", "lineSettings");

        ShellFixture& fixture = *m_fixture;
        fixture.writeIni("English", "Stops=1\nParity=n\n; kept as it is\n" + stored);
        const QString before = fixture.iniText();
        ComCtrl port;
        port.setPortName(fixture.pty.slavePath());
        port.open();
        wConfig dialog(port);
        dialog.show();
        QCOMPARE(
            (QStringList{dialog.parity()->currentText(), dialog.parity()->itemText(1),
                         dialog.parity()->itemText(2), dialog.bauds()->currentText(),
                         dialog.stops()->currentText(), dialog.portList()->currentText(),
                         dialog.languages()->currentText()}),
            (QStringList{"None", "Even", "Odd", "9600", "1", fixture.pty.slavePath(), "English"}));
        QVERIFY(!dialog.halfDuplex()->isChecked());
        QCOMPARE(dialog.changedInputs(), repair);
        QCOMPARE(dialog.button(wConfig::Apply)->isEnabled(), repair != 0);

        change(dialog, port);
        dialog.button(button)->click();
        const QString text = fixture.iniText();
        if (written.isEmpty())
            QCOMPARE(text, before);
        const QStringList old = before.split('\n');
        QStringList added;
        for (const QString& line : text.split('\n'))
            if (!old.contains(line))
                added.append(line);
        const QStringList faults = fixture.faults();
        QCOMPARE(added + faults, written);
        QCOMPARE(dialog.isVisible(), button == wConfig::Apply || !faults.isEmpty());
        QCOMPARE(port.isOpen(), faults.isEmpty());
        QCOMPARE(port.settings(), lineSettings);
        QCOMPARE(CommFunctions::RtsHandshake(), text.contains("RTS=1"));
        QCOMPARE(CommFunctions::RtsDelay(),
                 button == wConfig::Cancel ? 5 : dialog.rtsDelay()->value());
        QCOMPARE(dialog.rtsDelayFrame()->isVisibleTo(&dialog), dialog.halfDuplex()->isChecked());
        if (button == wConfig::Apply) {
            QCOMPARE(dialog.changedInputs(), 0U);
            QVERIFY(!dialog.button(wConfig::Apply)->isEnabled());
        }
        // Cancel after Apply, or after a failed OK, leaves what was stored.
        if (dialog.isVisible()) {
            dialog.button(wConfig::Cancel)->click();
            QVERIFY(!dialog.isVisible());
            QCOMPARE(port.settings(), lineSettings);
            QCOMPARE(fixture.iniText(), text);
        }
    }

    // The small dialogs have a title bar with a close button only, and are as wide as their
    // title in every language.
    void smallDialogs_data()
    {
        columns<QString, QString>("dialog", "language");
        for (const char* dialog : {"wConfig", "wWarning"})
            for (const char* language : {"English", "Français", "Deutsch"})
                row(QByteArray(dialog) + ' ' + language, QString(dialog),
                    QString::fromUtf8(language));
    }
    void smallDialogs()
    {
        const auto [name, language] = fetch<QString, QString>("dialog", "language");
        DataFunctions7310::SetCurrentLanguage(language);
        ComCtrl port;
        std::unique_ptr<QDialog> dialog;
        if (name == "wConfig")
            dialog = std::make_unique<wConfig>(port);
        else
            dialog = std::make_unique<wWarning>();
        dialog->show();
        const Qt::WindowFlags flags = dialog->windowFlags();
        QVERIFY(flags.testFlag(Qt::CustomizeWindowHint) &&
                flags.testFlag(Qt::WindowCloseButtonHint));
        QVERIFY(!flags.testAnyFlags(Qt::WindowMinimizeButtonHint | Qt::WindowMaximizeButtonHint));
        QFont bold = dialog->font();
        bold.setBold(true);
        const QFontMetrics metrics(bold);
        QVERIFY2(dialog->width() >=
                     metrics.horizontalAdvance(dialog->windowTitle()) + 3 * metrics.height(),
                 qPrintable(dialog->windowTitle()));
        QCOMPARE(ConsoleTitle(), language == "English"    ? "K7310 console"
                                 : language == "Français" ? "Console K7310"
                                                          : "K7310-Konsole");
    }

    // The addresses of the About box are named by their role; the release number stands on a
    // line of its own under its name, in every language.
    void aboutNamesAddressesAndRelease_data()
    {
        columns<QString, QString, QStringList>("language", "release", "addresses");
        row("English", "English", "Release 12",
            QStringList{"Panel maker: Orvane Signalisation SA", "Software house: Delmas"});
        row("French", "Français", "Révision 12",
            QStringList{"Fabricant du panneau : Orvane", "Éditeur du logiciel : Delmas"});
        row("German", "Deutsch", "Revision 12",
            QStringList{"Tableau-Hersteller: Orvane", "Softwarehaus: Delmas"});
    }
    void aboutNamesAddressesAndRelease()
    {
        const auto [language, release, addresses] =
            fetch<QString, QString, QStringList>("language", "release", "addresses");
        DataFunctions7310::SetCurrentLanguage(language);
        wSplash::SetCloseInterval(20);
        wSplash about;
        about.setAboutMode(true);
        about.setVersion(3, 0, 12);
        about.show();
        QCOMPARE(about.releaseLabel()->text(), release);
        QVERIFY(about.releaseLabel()->geometry().top() >=
                about.versionLabel(0)->geometry().bottom());
        QVERIFY(about.rect().contains(about.releaseLabel()->geometry()));
        QStringList seen;
        AnswerNextBox(seen);
        about.aboutButton()->click();
        const QStringList lines = seen.value(3).split('\n');
        QCOMPARE(lines.size(), 2);
        for (int i = 0; i < 2; ++i)
            QVERIFY2(lines[i].startsWith(addresses[i]), qPrintable(lines[i]));
    }

    // The about box ignores a click while its timer runs; once the timer is off, a key closes it.
    void splashIgnoresInputWhileTimerRuns()
    {
        wSplash::SetCloseInterval(300);
        wSplash splash;
        splash.setAboutMode(true);
        splash.setVersion(3, 0, 12);
        splash.show();
        QVERIFY(QTest::qWaitForWindowExposed(&splash));
        auto* picture = splash.findChild<QLabel*>("imgSplash");
        QVERIFY(picture);
        QCOMPARE(splash.versionText(), "Version 3.0.12");
        QVERIFY(splash.closeTimerRunning());
        QTest::mouseClick(picture, Qt::LeftButton);
        QVERIFY(splash.isVisible());
        // The timer switches itself off but does not close the window.
        QTRY_VERIFY_WITH_TIMEOUT(!splash.closeTimerRunning(), 3000);
        QVERIFY(splash.isVisible() && splash.aboutButton()->isVisibleTo(&splash));
        QTest::keyClick(&splash, Qt::Key_Escape);
        QVERIFY(!splash.isVisible());
    }

private:
    std::optional<ShellFixture> m_fixture;
};

QTEST_MAIN(TestDialogs)
#include "tst_shelldialogs.moc"
