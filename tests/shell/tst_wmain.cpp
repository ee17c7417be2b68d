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
    return TheViewer() ? TheViewer()->currentPage().fileName() : QString();
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
    }

    void dataFileFailureEndsStartUp()
    {
        QFETCH(QByteArray, content);
        ShellFixture fixture(QString{});
        QFile file(fixture.dataFile);
        QVERIFY(content.isEmpty() || (file.open(QIODevice::WriteOnly) && file.write(content) > 0));
        file.close();
        QStringList seen;
        AnswerNextBox(seen);
        wMain frame(wMain::Files{fixture.dataFile, fixture.folder});
        QVERIFY(!frame.load());
        // A critical message while no other window shows, and nothing shown or saved after it.
        QCOMPARE(seen, (QStringList{QString::number(QMessageBox::Critical),
                                    QString::number(QMessageBox::Ok), "0",
                                    "Cannot open the Data file."}));
        QVERIFY(!frame.isVisible());
        QVERIFY(!QFile::exists(fixture.iniFile));
        QVERIFY(fixture.reports().isEmpty());
    }

    void startUpSettings_data()
    {
        QTest::addColumn<QString>("language"); // null: no entry
        QTest::addColumn<QString>("port");     // "": the pty
        QTest::addColumn<QString>("extra");
        QTest::addColumn<QStringList>("faults");
        QTest::addColumn<QString>("repaired"); // the line OK in the PC settings writes, "": none

        // Each unusable value is reported once; its default serves and start-up goes on.
        const QStringList typeError{"13 wMain.MDIForm.Load"};
        row("speed not a number", "English", "", "Bauds=fast\n", typeError, "Bauds=9600");
        row("RTS=yes", "English", "", "RTS=yes\n", typeError, "RTS=0");
        row("RTS delay not a number", "English", "", "RtsDelay=short\n", typeError, "RtsDelay=5");
        row("absent port", "English", "/dev/k7310-no-such-port", "",
            QStringList{"8002 wMain.MDIForm.Load"}, "");
        // A first run asks the language before the port opens.
        row("no language: first run", QString(), "", "", QStringList(), "");
        row("unknown language: reported once, then a first run", "Klingon", "", "",
            QStringList{"3265 wMain.MDIForm.Load"}, "");
    }

    void startUpSettings()
    {
        QFETCH(QString, language);
        QFETCH(QString, port);
        QFETCH(QString, extra);
        QFETCH(QStringList, faults);
        QFETCH(QString, repaired);

        // German names itself with an empty text in this data file: it is not offered.
        ShellFixture fixture(QStringLiteral(K7310_SHELL_TEST_DATA "/nogerman.dat"));
        fixture.writeIni(language, extra, port);
        wMain frame(wMain::Files{fixture.dataFile, fixture.folder});
        const bool firstRun = language != QLatin1String("English");
        // While the first-run dialog shows: its caption, language and page, the port's state,
        // which of Cancel, Apply and OK show, then the languages offered. It stores French.
        QStringList seen;
        if (firstRun)
            OnNextModal([&](QWidget* modal) {
                auto* dialog = qobject_cast<wConfig*>(modal);
                QVERIFY(dialog);
                seen << dialog->windowTitle() << dialog->languages()->currentText()
                     << QString::number(dialog->pages()->currentIndex())
                     << QString::number(frame.comCtrl().isOpen());
                for (int button : {wConfig::Cancel, wConfig::Apply, wConfig::Ok})
                    seen << QString::number(dialog->button(button)->isVisible());
                for (int i = 0; i < dialog->languages()->count(); ++i)
                    seen << dialog->languages()->itemText(i);
                dialog->languages()->setCurrentText("Français");
                dialog->button(wConfig::Ok)->click();
            });
        QVERIFY(frame.load());
        QCOMPARE(fixture.faults(), faults);
        const QStringList asked{"PC settings", "English", "1",       "0",       "0",
                                "0",           "1",       "English", "Français"};
        QCOMPARE(seen, firstRun ? asked : QStringList());
        QVERIFY(frame.isVisible() && frame.isEnabled());
        QCOMPARE(frame.comCtrl().isOpen(), port.isEmpty());
        QCOMPARE(frame.mdiArea()->subWindowList().size(), frame.children().kinds().size());
        // A first run stores the language alone and captions the frame in it.
        QCOMPARE(ZRBfonctions::GetIniParam("General", "Language", {}),
                 firstRun ? "Français" : language);
        QCOMPARE(fixture.iniText().contains("Bauds="), extra.startsWith("Bauds="));
        QCOMPARE(frame.menuEntry("mnuFile")->text(), firstRun ? "&Fichier" : "&File");

        // The line lost: the settings dialog shows the values in force; OK writes them in
        // place of the bad ones, and with nothing to write it opens the line again.
        const QString before = fixture.iniText();
        frame.comCtrl().close();
        QVERIFY(frame.statusPanel("Line")->text().endsWith(
            ' ' + DataFunctions7310::GetText(TextId::StatusLineClosed)));
        wConfig dialog(frame.comCtrl(), &frame);
        dialog.button(wConfig::Ok)->click();
        QCOMPARE(frame.comCtrl().isOpen(), port.isEmpty());
        const QString after = fixture.iniText();
        if (repaired.isEmpty())
            QCOMPARE(after, before);
        else
            QVERIFY2(after.contains(repaired) && !after.contains(extra), qPrintable(after));
        QCOMPARE(fixture.faults(),
                 faults + (port.isEmpty() ? QStringList()
                                          : QStringList{"8002 wConfig.cmdButtons.Click"}));
    }

    void captionsAndHelpEntries_data()
    {
        QTest::addColumn<QString>("dataFile");
        QTest::addColumn<QString>("language");
        QTest::addColumn<QStringList>("captions"); // File, calculator, Quit's tooltip, About
        QTest::addColumn<bool>("helpThere");

        const QString data = QStringLiteral(K7310_BIN_DIR "/k7310console.dat");
        row("none chosen yet: first language column, no help", data, "",
            QStringList{"&File", "CRC and number calculator", "Quit", "&About…"}, false);
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
        frame.toolButton("mnuFileQuit")->setToolTip("as designed");
        frame.nationality();
        const QStringList shown{frame.menuEntry("mnuFile")->text(), frame.panelEntry(1)->text(),
                                frame.toolButton("mnuFileQuit")->toolTip(),
                                frame.menuEntry("mnuHelpAbout")->text()};
        QCOMPARE(shown, captions);
        QVERIFY(
            frame.statusPanel("Line")->text().startsWith(DataFunctions7310::GetText(1002) + ": "));
        QVERIFY(fixture.reports().isEmpty());

        // The help entries go with the collection; Find and Context help stay either way.
        for (const char* name : {"mnuHelpSummary", "mnuHelpIndex", "mnuHelpSep1"})
            QCOMPARE(frame.menuEntry(name)->isVisible(), helpThere);
        QCOMPARE(frame.toolButton("mnuHelpContext")->isVisible(), helpThere);
        QVERIFY(frame.menuEntry("mnuHelpFind")->isVisible());
        QVERIFY(frame.menuEntry("mnuHelpContext")->isVisible());
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
        QTest::addColumn<QMessageBox::StandardButton>("answer");
        QTest::addColumn<QStringList>("asked"); // icon, default button, windows shown, question

        const QString frameAndHelp = "2";
        const QStringList quit{QString::number(QMessageBox::Question),
                               QString::number(QMessageBox::Yes), frameAndHelp,
                               "Do you want to quit the K7310 console?"};
        const QStringList unsaved{QString::number(QMessageBox::Warning),
                                  QString::number(QMessageBox::No), frameAndHelp,
                                  "A window holds changes that have not been sent to the panel.\n"
                                  "If you quit now, these changes are lost.\nQuit anyway?"};
        row("nothing modified, No stays", false, QMessageBox::No, quit);
        row("nothing modified, Yes closes", false, QMessageBox::Yes, quit);
        row("child modified, No stays", true, QMessageBox::No, unsaved);
        row("child modified, Yes closes", true, QMessageBox::Yes, unsaved);
    }

    void closingAsks()
    {
        QFETCH(bool, modified);
        QFETCH(QMessageBox::StandardButton, answer);
        QFETCH(QStringList, asked);

        ShellFixture fixture;
        fixture.writeIni("English");
        wMain frame(wMain::Files{fixture.dataFile, withHelp});
        QVERIFY(frame.load());
        frame.children().window(1)->setModified(modified);
        frame.mnuHelpSummary_Click();
        QVERIFY(TheViewer());

        QStringList seen;
        AnswerNextBox(seen, answer);
        frame.mnuFileQuit_Click();
        QCOMPARE(seen, asked);
        const bool closed = answer == QMessageBox::Yes;
        QCOMPARE(frame.isVisible(), !closed);
        // Closing unloads the children and every help window.
        QCOMPARE(frame.children().openWindows().size(),
                 closed ? 0 : frame.children().kinds().size());
        QTest::qWait(1);
        QCOMPARE(HelpWindow::OpenWindows().size(), closed ? 0 : 1);
        if (!closed)
            frame.children().window(1)->setModified(false);
    }

    void childWindowsExistOnce()
    {
        ShellFixture fixture;
        fixture.writeIni("English", QStringLiteral("Bauds=19200\nStops=2\nParity=n\n"
                                                   "RTS=1\nRtsDelay=7\nFrameDelay=20\n"));
        wMain frame(wMain::Files{fixture.dataFile, withHelp});
        QVERIFY(frame.load());
        // The start-up applies the settings file, then shows the calculator, the frame builder
        // and the test tools. The status bar shows the line live: port, settings and state.
        QVERIFY2(fixture.reports().isEmpty(),
                 qPrintable(fixture.reports().join(QLatin1Char('\n'))));
        QVERIFY(frame.comCtrl().isOpen());
        QCOMPARE(frame.statusPanel("Line")->text(),
                 "Line: " + fixture.pty.slavePath() + " 19200,n,8,2 open");
        QCOMPARE(QString("%1 %2 %3")
                     .arg(CommFunctions::RtsHandshake())
                     .arg(CommFunctions::RtsDelay())
                     .arg(CommFunctions::FrameDelay()),
                 "1 7 20");
        // Then the last slave that answered.
        QCOMPARE(frame.statusPanel("Slave")->text(), "Slave: -");
        frame.comCtrl().noteAnswer(7);
        QCOMPARE(frame.statusPanel("Slave")->text(), "Slave: 7");
        QCOMPARE(frame.statusPanel("Prompt")->text(), DataFunctions7310::GetText(1001));
        // The configuration window is loaded last and stands in front.
        QVERIFY(frame.mdiArea()->activeSubWindow()->widget()->inherits("wPanelConfig"));
        for (const char* key : {"mnuFileConfig", "mnuFileCalcul", "mnuFileFrame", "mnuFileTools",
                                "mnuHelpContext", "mnuFileQuit"})
            QVERIFY2(!frame.toolButton(key)->icon().isNull(), key);

        // A second File click or toolbar key raises the one window.
        ChildWindow* calculator = frame.children().window(1);
        QVERIFY(calculator);
        frame.panelEntry(1)->trigger();
        frame.panelEntry(1)->trigger();
        QCOMPARE(frame.mdiArea()->activeSubWindow()->widget(), calculator);
        frame.toolButton("mnuFileFrame")->trigger();
        QVERIFY(frame.mdiArea()->activeSubWindow()->widget()->inherits("wPanelFrame"));
        QCOMPARE(frame.mdiArea()->subWindowList().size(), frame.children().kinds().size());

        // Closed by the user, it comes back once, where it was left.
        const QRect placed(30, 20, 520, 330);
        calculator->frameWidget()->setGeometry(placed);
        calculator->unload();
        QTest::qWait(1);
        frame.panelEntry(1)->trigger();
        frame.toolButton("mnuFileCalcul")->trigger();
        QTest::qWait(1);
        const auto frames = frame.mdiArea()->subWindowList();
        QCOMPARE(frames.size(), frame.children().kinds().size());
        QCOMPARE(frame.children().window(1)->frameWidget()->geometry(), placed);
        frame.mnuWindowCascade_Click();
        QVERIFY(frames.at(0)->pos() != frames.at(1)->pos());

        // Context help follows the active child; without one, the table of contents.
        frame.children().show(1);
        frame.tbrTools_ButtonClick("mnuHelpContext");
        QCOMPARE(activePage(), "calculator.html");
        frame.children().show(2);
        frame.mnuHelpContext_Click();
        QCOMPARE(activePage(), "frame-builder.html");
        // In the configuration window a field's help is its pop-up, a button's the page.
        frame.toolButton("mnuFileConfig")->trigger();
        ChildWindow* config = frame.children().window(0);
        config->findChild<QWidget*>("cmdReadConfig")->setFocus();
        frame.mnuHelpContext_Click();
        QCOMPARE(activePage(), "configuration.html");
        config->findChild<QWidget*>("cboConfParam_0")->setFocus();
        frame.mnuHelpContext_Click();
        QVERIFY(WhatsThisShown());
        QWhatsThis::hideText();
        frame.toolButton("mnuFileTools")->trigger();
        frame.mnuHelpContext_Click();
        QCOMPARE(activePage(), "panel-tools.html");

        // A language applied in the settings dialog re-captions the frame and every child at once.
        wConfig dialog(frame.comCtrl(), &frame);
        dialog.show();
        dialog.languages()->setCurrentText("Français");
        dialog.button(wConfig::Apply)->click();
        QCOMPARE((QStringList{frame.menuEntry("mnuFile")->text(), frame.panelEntry(2)->text(),
                              frame.children().window(1)->windowTitle(),
                              frame.children().window(2)->windowTitle(), dialog.windowTitle()}),
                 (QStringList{"&Fichier", "Éditeur de trames", "Calculatrice CRC et nombres",
                              "Éditeur de trames", "Paramètres du PC"}));
        QVERIFY(fixture.reports().isEmpty());
        HelpWindow::CloseAll();
        frame.children().unloadAll();
        QTest::qWait(1);
        frame.mnuHelpContext_Click();
        QCOMPARE(activePage(), "index.html");
    }

    void refusalPassesThroughThePrompt_data()
    {
        QTest::addColumn<QString>("meanwhile"); // written into the prompt while the reason shows
        row("the standing text comes back", QString());
        row("a newer standing text stays", "newer");
    }

    void refusalPassesThroughThePrompt()
    {
        QFETCH(QString, meanwhile);
        ShellFixture fixture;
        QVERIFY(fixture.openData());
        wMain frame(wMain::Files{fixture.dataFile, fixture.folder});
        frame.show();
        QLabel* prompt = frame.statusPanel("Prompt");
        prompt->setText("standing");
        ChildWindow* calculator = frame.children().show(1);
        QTest::keyClicks(calculator->findChild<QLineEdit*>("txtCrcFrame_0"), "256");
        QTest::mouseClick(calculator->findChild<QPushButton*>("cmdCrcCompute"), Qt::LeftButton);
        const QString reason = DataFunctions7310::GetText(TextId::CrcByteRange);
        QCOMPARE(prompt->text(), reason);
        if (!meanwhile.isEmpty())
            prompt->setText(meanwhile);
        QTest::qWait(PromptHook::PassingMilliseconds - 1000);
        QCOMPARE(prompt->text(), meanwhile.isEmpty() ? reason : meanwhile);
        QTRY_COMPARE_WITH_TIMEOUT(prompt->text(), meanwhile.isEmpty() ? "standing" : meanwhile,
                                  2500);
    }
};

QTEST_MAIN(TestMain)
#include "tst_wmain.moc"
