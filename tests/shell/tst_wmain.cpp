#include "prompthook.h"
#include "shelltestkit.h"
#include "textids.h"

#include <QLineEdit>
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QWhatsThis>

namespace {

const QString withHelp = QStringLiteral(K7310_BIN_DIR); // a program folder holding the help

QString activePage()
{
    return HelpWindow::OpenWindows().value(0)
               ? HelpWindow::OpenWindows()[0]->currentPage().fileName()
               : QString();
}

} // namespace

class TestMain : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { wSplash::SetCloseInterval(20); }
    void cleanup()
    {
        HelpWindow::CloseAll();
        CommFunctions::SetRtsHandshake(false);
        CommFunctions::SetRtsDelay(5);
        CommFunctions::SetFrameDelay(50);
        QTest::qWait(1);
    }

    void dataFileFailureEndsStartUp_data()
    {
        QTest::addColumn<QByteArray>("content");
        row("missing file", QByteArray());
        row("random bytes", QByteArray(8192, '\x5a'));
        row("truncated data file", QByteArray("SQLite format 3"));
    }

    void dataFileFailureEndsStartUp()
    {
        QFETCH(QByteArray, content);
        ShellFixture fixture(QString{});
        QFile file(fixture.dataFile);
        QVERIFY(content.isEmpty() || (file.open(QIODevice::WriteOnly) && file.write(content) > 0));
        file.close();
        QString seen; // the message, its icon, and how many other windows are visible
        OnNextModal([&](QWidget* modal) {
            auto* box = qobject_cast<QMessageBox*>(modal);
            QVERIFY(box);
            const QWidgetList windows = QApplication::topLevelWidgets();
            seen = QStringLiteral("%1 %2 %3")
                       .arg(box->text())
                       .arg(box->icon())
                       .arg(std::count_if(windows.begin(), windows.end(), [box](QWidget* w) {
                           return w->isVisible() && w != box;
                       }));
            box->accept();
        });
        wMain frame(wMain::Files{fixture.dataFile, fixture.folder});
        QVERIFY(!frame.load());
        QCOMPARE(seen,
                 QStringLiteral("Cannot open the Data file. %1 0").arg(QMessageBox::Critical));
        QVERIFY(!frame.isVisible());
        QVERIFY(!QFile::exists(fixture.iniFile));
        QVERIFY(fixture.reports().isEmpty());
    }

    void firstRunAsksSettingsBeforeOpeningPort()
    {
        // German names itself with an empty text in this data file: it is not offered.
        ShellFixture fixture(QStringLiteral(K7310_SHELL_TEST_DATA "/nogerman.dat"));
        fixture.writeIni(QString());
        // While the dialog shows: the port open, Cancel/Apply/OK visible, the language chosen,
        // then the languages offered.
        QStringList seen;
        wMain frame(wMain::Files{fixture.dataFile, fixture.folder});
        OnNextModal([&](QWidget* modal) {
            auto* dialog = qobject_cast<wConfig*>(modal);
            QVERIFY(dialog);
            for (bool shown :
                 {frame.comCtrl().isOpen(), dialog->button(wConfig::Cancel)->isVisible(),
                  dialog->button(wConfig::Apply)->isVisible(),
                  dialog->button(wConfig::Ok)->isVisible()})
                seen << QString::number(shown);
            seen << QString::number(dialog->languages()->currentIndex());
            for (int i = 0; i < dialog->languages()->count(); ++i)
                seen << dialog->languages()->itemText(i);
            dialog->languages()->setCurrentText(QStringLiteral("Français"));
            dialog->button(wConfig::Ok)->click();
        });
        QVERIFY(frame.load());
        QCOMPARE(seen, (QStringList{"0", "0", "0", "1", "0", "English", "Français"}));
        QVERIFY(frame.comCtrl().isOpen());
        // The first run stores the language alone.
        QVERIFY(fixture.iniText().contains(QStringLiteral("Language=Français")));
        QVERIFY(!fixture.iniText().contains(QStringLiteral("Bauds=")));
        QCOMPARE(frame.menuEntry(QStringLiteral("mnuFile"))->text(), QStringLiteral("&Fichier"));
        QVERIFY(fixture.reports().isEmpty());
    }

    void badSettingsAreReportedNotFatal_data()
    {
        QTest::addColumn<QString>("language");
        QTest::addColumn<QString>("port"); // "": the pty
        QTest::addColumn<QString>("extra");
        QTest::addColumn<QStringList>("faults");
        QTest::addColumn<QString>("repaired"); // the line OK in the PC settings writes

        // Each unusable value is reported once; its default serves and start-up goes on.
        const QStringList typeError{"13 wMain.MDIForm.Load"};
        row("speed not a number", "English", "", "Bauds=fast\n", typeError, "Bauds=9600");
        row("RTS=yes", "English", "", "RTS=yes\n", typeError, "RTS=0");
        row("RTS delay not a number", "English", "", "RtsDelay=short\n", typeError, "RtsDelay=5");
        row("absent port", "English", "/dev/k7310-no-such-port", "",
            QStringList{"8002 wMain.MDIForm.Load"}, "");
        // Reported once, then a first run in the default column, which stores a real language.
        row("unknown language", "Klingon", "", "", QStringList{"3265 wMain.MDIForm.Load"},
            "Language=English");
    }

    void badSettingsAreReportedNotFatal()
    {
        QFETCH(QString, language);
        QFETCH(QString, port);
        QFETCH(QString, extra);
        QFETCH(QStringList, faults);
        QFETCH(QString, repaired);

        ShellFixture fixture;
        fixture.writeIni(language, extra, port);
        QString firstRun;
        if (language == "Klingon")
            OnNextModal([&](QWidget* modal) {
                auto* dialog = qobject_cast<wConfig*>(modal);
                QVERIFY(dialog);
                firstRun = dialog->windowTitle() + '|' + dialog->languages()->currentText() + '|' +
                           QString::number(dialog->pages()->currentIndex());
                dialog->button(wConfig::Ok)->click();
            });
        wMain frame(wMain::Files{fixture.dataFile, fixture.folder});
        QVERIFY(frame.load());
        QCOMPARE(fixture.faults(), faults);
        // The first-run dialog opens on its language page, captioned in the default column.
        QCOMPARE(firstRun, language == "Klingon" ? "PC settings|English|1" : "");
        QVERIFY(frame.isVisible() && frame.isEnabled());
        QCOMPARE(frame.comCtrl().isOpen(), port.isEmpty());
        QCOMPARE(frame.mdiArea()->subWindowList().size(), frame.children().kinds().size());

        // The settings dialog shows the values in force; OK writes them in place of the bad ones.
        wConfig dialog(frame.comCtrl(), &frame);
        dialog.button(wConfig::Ok)->click();
        const QString after = fixture.iniText();
        const QString bad = extra.isEmpty() ? "Language=" + language + '\n' : extra;
        QVERIFY2(after.contains(repaired) && (port.size() || !after.contains(bad)),
                 qPrintable(after));
        QCOMPARE(fixture.faults(),
                 faults + (port.isEmpty() ? QStringList()
                                          : QStringList{"8002 wConfig.cmdButtons.Click"}));
    }

    // OK with nothing changed opens the line again after it was lost: the user's "try again".
    void settingsOkReopensTheLine()
    {
        ShellFixture fixture;
        fixture.writeIni(QStringLiteral("English"));
        wMain frame(wMain::Files{fixture.dataFile, fixture.folder});
        QVERIFY(frame.load());
        const QString before = fixture.iniText();
        frame.comCtrl().close();
        QVERIFY(frame.statusPanel("Line")->text().endsWith(" closed"));
        wConfig dialog(frame.comCtrl(), &frame);
        dialog.button(wConfig::Ok)->click();
        QVERIFY(frame.comCtrl().isOpen());
        QCOMPARE(fixture.iniText(), before);
        // The status bar shows the line live: port, settings and state; then the last slave.
        QCOMPARE(frame.statusPanel("Line")->text(),
                 "Line: " + fixture.pty.slavePath() + " 9600,n,8,1 open");
        QCOMPARE(frame.statusPanel("Slave")->text(), "Slave: -");
        frame.comCtrl().noteAnswer(7);
        QCOMPARE(frame.statusPanel("Slave")->text(), "Slave: 7");
        QVERIFY(fixture.reports().isEmpty());
    }

    void captionsAndHelpEntries_data()
    {
        QTest::addColumn<QString>("dataFile");
        QTest::addColumn<QString>("language");
        QTest::addColumn<QStringList>("captions"); // File, calculator, Quit's tooltip, About
        QTest::addColumn<bool>("helpThere");

        const QString data = QStringLiteral(K7310_BIN_DIR "/k7310console.dat");
        const QStringList english{"&File", "CRC and number calculator", "Quit", "&About…"};
        row("none chosen yet: first language column, no help", data, "", english, false);
        row("English, help", data, "English", english, true);
        row("Français, no help", data, "Français",
            QStringList{"&Fichier", "Calculatrice CRC et nombres", "Quitter", "À &propos…"}, false);
        row("Deutsch, help", data, "Deutsch",
            QStringList{"&Datei", "CRC- und Zahlenrechner", "Beenden", "Ü&ber…"}, true);
        // Without a row an entry shows its own name and a button keeps its tooltip.
        row("rows of About and Quit missing", QStringLiteral(K7310_SHELL_TEST_DATA "/nomenu.dat"),
            "Français",
            QStringList{"&Fichier", "Calculatrice CRC et nombres", "as designed", "mnuHelpAbout"},
            true);
    }

    void captionsAndHelpEntries()
    {
        QFETCH(QString, dataFile);
        QFETCH(QString, language);
        QFETCH(QStringList, captions);
        QFETCH(bool, helpThere);

        ShellFixture fixture(dataFile);
        QVERIFY(fixture.openData());
        DataFunctions7310::SetCurrentLanguage(language);
        wMain frame(wMain::Files{fixture.dataFile, helpThere ? withHelp : fixture.folder});
        frame.toolButton(QStringLiteral("mnuFileQuit"))->setToolTip(QStringLiteral("as designed"));
        frame.nationality();
        const QStringList shown{frame.menuEntry(QStringLiteral("mnuFile"))->text(),
                                frame.panelEntry(1)->text(),
                                frame.toolButton(QStringLiteral("mnuFileQuit"))->toolTip(),
                                frame.menuEntry(QStringLiteral("mnuHelpAbout"))->text()};
        QCOMPARE(shown, captions);
        QVERIFY(frame.statusPanel(QStringLiteral("Line"))
                    ->text()
                    .startsWith(DataFunctions7310::GetText(1002) + ": "));
        QVERIFY(fixture.reports().isEmpty());

        // The help entries go with the collection; Find and Context help stay either way.
        for (const char* name : {"mnuHelpSummary", "mnuHelpIndex", "mnuHelpSep1"})
            QCOMPARE(frame.menuEntry(QLatin1String(name))->isVisible(), helpThere);
        QCOMPARE(frame.toolButton(QStringLiteral("mnuHelpContext"))->isVisible(), helpThere);
        QVERIFY(frame.menuEntry(QStringLiteral("mnuHelpFind"))->isVisible());
        QVERIFY(frame.menuEntry(QStringLiteral("mnuHelpContext"))->isVisible());
        // The file is the one text 1 names, in the program folder.
        QCOMPARE(Help::ApplicationHelpFile(),
                 helpThere ? withHelp + '/' + DataFunctions7310::GetText(1) : QString());
        frame.mnuHelpFind_Click(); // a deliberate no-op
        QVERIFY(HelpWindow::OpenWindows().isEmpty());
        frame.mnuHelpSummary_Click();
        QCOMPARE(HelpWindow::OpenWindows().size(), helpThere ? 1 : 0);
    }

    void closingAsks_data()
    {
        QTest::addColumn<bool>("modified");
        QTest::addColumn<bool>("answerYes");
        QTest::addColumn<QString>("asked"); // icon, default button and question

        const QString quit = QStringLiteral("%1 %2 Do you want to quit the K7310 console?")
                                 .arg(QMessageBox::Question)
                                 .arg(QMessageBox::Yes);
        const QString unsaved =
            QStringLiteral("%1 %2 A window holds changes that have not been sent to the panel.\n"
                           "If you quit now, these changes are lost.\nQuit anyway?")
                .arg(QMessageBox::Warning)
                .arg(QMessageBox::No);
        row("nothing modified, No stays", false, false, quit);
        row("nothing modified, Yes closes", false, true, quit);
        row("child modified, No stays", true, false, unsaved);
        row("child modified, Yes closes", true, true, unsaved);
    }

    void closingAsks()
    {
        QFETCH(bool, modified);
        QFETCH(bool, answerYes);
        QFETCH(QString, asked);

        ShellFixture fixture;
        fixture.writeIni(QStringLiteral("English"));
        wMain frame(wMain::Files{fixture.dataFile, withHelp});
        QVERIFY(frame.load());
        frame.children().window(1)->setModified(modified);
        frame.mnuHelpSummary_Click();
        QCOMPARE(HelpWindow::OpenWindows().size(), 1);

        QString seen;
        OnNextModal([&](QWidget* modal) {
            auto* box = qobject_cast<QMessageBox*>(modal);
            QVERIFY(box);
            seen = QStringLiteral("%1 %2 %3")
                       .arg(box->icon())
                       .arg(box->standardButton(box->defaultButton()))
                       .arg(box->text());
            box->button(answerYes ? QMessageBox::Yes : QMessageBox::No)->click();
        });
        frame.mnuFileQuit_Click();
        QCOMPARE(seen, asked);
        QCOMPARE(frame.isVisible(), !answerYes);
        // Closing unloads the children and every help window.
        QCOMPARE(frame.children().openWindows().size(),
                 answerYes ? 0 : frame.children().kinds().size());
        QTest::qWait(1);
        QCOMPARE(HelpWindow::OpenWindows().size(), answerYes ? 0 : 1);
        if (!answerYes)
            frame.children().window(1)->setModified(false);
    }

    void childWindowsExistOnce()
    {
        ShellFixture fixture;
        fixture.writeIni(QStringLiteral("English"),
                         QStringLiteral("Bauds=19200\nStops=2\nParity=n\n"
                                        "RTS=1\nRtsDelay=7\nFrameDelay=20\n"));
        wMain frame(wMain::Files{fixture.dataFile, withHelp});
        QVERIFY(frame.load());
        // The start-up applies the settings file, then shows the calculator, the frame builder
        // and the test tools.
        QVERIFY2(fixture.reports().isEmpty(),
                 qPrintable(fixture.reports().join(QLatin1Char('\n'))));
        QVERIFY(frame.comCtrl().isOpen());
        QCOMPARE(QStringLiteral("%1 %2 %3 %4 %5")
                     .arg(frame.comCtrl().portName(), frame.comCtrl().settings())
                     .arg(CommFunctions::RtsHandshake())
                     .arg(CommFunctions::RtsDelay())
                     .arg(CommFunctions::FrameDelay()),
                 fixture.pty.slavePath() + " 19200,n,8,2 1 7 20");
        QCOMPARE(frame.statusPanel(QStringLiteral("Prompt"))->text(),
                 DataFunctions7310::GetText(1001));
        // The configuration window is loaded last and stands in front.
        QVERIFY(frame.mdiArea()->activeSubWindow()->widget()->inherits("wPanelConfig"));
        for (const char* key : {"mnuFileConfig", "mnuFileCalcul", "mnuFileFrame", "mnuFileTools",
                                "mnuHelpContext", "mnuFileQuit"})
            QVERIFY2(!frame.toolButton(QLatin1String(key))->icon().isNull(), key);

        // A second File click or toolbar key raises the one window.
        ChildWindow* calculator = frame.children().window(1);
        QVERIFY(calculator);
        frame.panelEntry(1)->trigger();
        frame.panelEntry(1)->trigger();
        QCOMPARE(frame.mdiArea()->activeSubWindow()->widget(), calculator);
        frame.toolButton(QStringLiteral("mnuFileFrame"))->trigger();
        QVERIFY(frame.mdiArea()->activeSubWindow()->widget()->inherits("wPanelFrame"));
        QCOMPARE(frame.mdiArea()->subWindowList().size(), frame.children().kinds().size());

        // Closed by the user, it comes back once, where it was left.
        const QRect placed(30, 20, 520, 330);
        calculator->frameWidget()->setGeometry(placed);
        calculator->unload();
        QTest::qWait(1);
        frame.panelEntry(1)->trigger();
        frame.toolButton(QStringLiteral("mnuFileCalcul"))->trigger();
        QTest::qWait(1);
        const auto frames = frame.mdiArea()->subWindowList();
        QCOMPARE(frames.size(), frame.children().kinds().size());
        QCOMPARE(frame.children().window(1)->frameWidget()->geometry(), placed);
        frame.mnuWindowCascade_Click();
        QVERIFY(frames.at(0)->pos() != frames.at(1)->pos());

        // Context help follows the active child; without one, the table of contents.
        frame.children().show(1);
        frame.tbrTools_ButtonClick(QStringLiteral("mnuHelpContext"));
        QCOMPARE(activePage(), QStringLiteral("calculator.html"));
        frame.children().show(2);
        frame.mnuHelpContext_Click();
        QCOMPARE(activePage(), QStringLiteral("frame-builder.html"));
        // In the configuration window a field's help is its pop-up, a button's the page.
        frame.toolButton(QStringLiteral("mnuFileConfig"))->trigger();
        ChildWindow* config = frame.children().window(0);
        config->findChild<QWidget*>(QStringLiteral("cmdReadConfig"))->setFocus();
        frame.mnuHelpContext_Click();
        QCOMPARE(activePage(), QStringLiteral("configuration.html"));
        config->findChild<QWidget*>(QStringLiteral("cboConfParam_0"))->setFocus();
        frame.mnuHelpContext_Click();
        const QWidgetList popups = QApplication::topLevelWidgets();
        QVERIFY(std::any_of(popups.begin(), popups.end(), [](QWidget* window) {
            return window->inherits("QWhatsThat") && window->isVisible();
        }));
        QWhatsThis::hideText();
        frame.toolButton(QStringLiteral("mnuFileTools"))->trigger();
        frame.mnuHelpContext_Click();
        QCOMPARE(activePage(), QStringLiteral("panel-tools.html"));

        // A language applied in the settings dialog re-captions the frame and every child at once.
        wConfig dialog(frame.comCtrl(), &frame);
        dialog.show();
        dialog.languages()->setCurrentText(QStringLiteral("Français"));
        dialog.button(wConfig::Apply)->click();
        QCOMPARE(
            (QStringList{frame.menuEntry(QStringLiteral("mnuFile"))->text(),
                         frame.panelEntry(2)->text(), frame.children().window(1)->windowTitle(),
                         frame.children().window(2)->windowTitle(), dialog.windowTitle()}),
            (QStringList{"&Fichier", "Éditeur de trames", "Calculatrice CRC et nombres",
                         "Éditeur de trames", "Paramètres du PC"}));
        QVERIFY(fixture.reports().isEmpty());
        HelpWindow::CloseAll();
        frame.children().unloadAll();
        QTest::qWait(1);
        frame.mnuHelpContext_Click();
        QCOMPARE(activePage(), QStringLiteral("index.html"));
    }

    void refusalPassesThroughThePrompt_data()
    {
        QTest::addColumn<QString>("meanwhile"); // written into the prompt while the reason shows
        row("the standing text comes back", QString());
        row("a newer standing text stays", QStringLiteral("newer"));
    }

    void refusalPassesThroughThePrompt()
    {
        QFETCH(QString, meanwhile);
        ShellFixture fixture;
        QVERIFY(fixture.openData());
        wMain frame(wMain::Files{fixture.dataFile, fixture.folder});
        frame.show();
        QLabel* prompt = frame.statusPanel(QStringLiteral("Prompt"));
        prompt->setText(QStringLiteral("standing"));
        ChildWindow* calculator = frame.children().show(1);
        QTest::keyClicks(calculator->findChild<QLineEdit*>(QStringLiteral("txtCrcFrame_0")), "256");
        QTest::mouseClick(calculator->findChild<QPushButton*>(QStringLiteral("cmdCrcCompute")),
                          Qt::LeftButton);
        const QString reason = DataFunctions7310::GetText(TextId::CrcByteRange);
        QCOMPARE(prompt->text(), reason);
        if (!meanwhile.isEmpty())
            prompt->setText(meanwhile);
        QTest::qWait(PromptHook::PassingMilliseconds - 1000);
        QCOMPARE(prompt->text(), meanwhile.isEmpty() ? reason : meanwhile);
        QTRY_COMPARE_WITH_TIMEOUT(
            prompt->text(), meanwhile.isEmpty() ? QStringLiteral("standing") : meanwhile, 2500);
    }
};

QTEST_MAIN(TestMain)
#include "tst_wmain.moc"
