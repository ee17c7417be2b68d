#include "childwindow.h"
#include "commfunctions.h"
#include "datafunctions7310.h"
#include "helpwindow.h"
#include "shelltestkit.h"
#include "wconfig.h"
#include "wmain.h"
#include "wsplash.h"

#include <QAction>
#include <QComboBox>
#include <QFile>
#include <QHelpSearchEngine>
#include <QHelpSearchResult>
#include <QLabel>
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QMessageBox>
#include <QPushButton>
#include <QToolBar>
#include <QtTest>

namespace {

QString ini(const QString& language, const QString& port, const QString& extra = {})
{
    QString text = QStringLiteral("[General]\n");
    if (!language.isNull())
        text += QStringLiteral("Language=") + language + QLatin1Char('\n');
    text += QStringLiteral("[Communication]\nPort=") + port + QLatin1Char('\n') + extra;
    return text;
}

int openChildren(wMain& frame, const char* className)
{
    int count = 0;
    const auto frames = frame.mdiArea()->subWindowList();
    for (QMdiSubWindow* window : frames) {
        if (window->widget() && window->widget()->inherits(className))
            ++count;
    }
    return count;
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
        QTest::qWait(1);
    }

    void dataFileFailureEndsStartUp_data();
    void dataFileFailureEndsStartUp();
    void firstRunAsksSettingsBeforeOpeningPort();
    void startUpAppliesSettingsAndOpensChildren();
    void badSettingsAreReportedNotFatal_data();
    void badSettingsAreReportedNotFatal();
    void captionsFollowLanguage_data();
    void captionsFollowLanguage();
    void helpEntriesFollowCollection();
    void closingAsks_data();
    void closingAsks();
    void childWindowsExistOnce();
    void contextHelpFollowsActiveChild();
    void helpAndTextDatabaseShareProcess();
};

void TestMain::dataFileFailureEndsStartUp_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::newRow("missing file") << QByteArray();
    QTest::newRow("random bytes") << QByteArray(8192, '\x5a');
    QTest::newRow("truncated data file") << QByteArray("SQLite format 3");
}

void TestMain::dataFileFailureEndsStartUp()
{
    QFETCH(QByteArray, content);
    ShellFixture fixture(QString{});
    if (!content.isEmpty()) {
        QFile file(fixture.dataFile());
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(content);
    }
    QString text;
    QMessageBox::Icon icon = QMessageBox::NoIcon;
    int visibleOthers = -1;
    OnNextModal([&](QWidget* modal) {
        auto* box = qobject_cast<QMessageBox*>(modal);
        QVERIFY(box);
        text = box->text();
        icon = box->icon();
        visibleOthers = 0;
        for (QWidget* window : QApplication::topLevelWidgets())
            visibleOthers += (window->isVisible() && window != box) ? 1 : 0;
        box->accept();
    });
    wMain frame(wMain::Files{fixture.dataFile(), fixture.folder()});
    QVERIFY(!frame.load());
    QCOMPARE(text, QStringLiteral("Cannot open the Data file."));
    QCOMPARE(icon, QMessageBox::Critical);
    QCOMPARE(visibleOthers, 0);
    QVERIFY(!frame.isVisible());
    QVERIFY(!fixture.iniExists());
    QVERIFY(fixture.reports().isEmpty());
}

void TestMain::firstRunAsksSettingsBeforeOpeningPort()
{
    ShellFixture fixture;
    Pty pty;
    fixture.writeIni(ini(QString(), pty.path()));
    bool sawDialog = false;
    bool portOpenDuringDialog = true;
    bool reducedForm = false;
    wMain frame(wMain::Files{fixture.dataFile(), fixture.folder()});
    OnNextModal([&](QWidget* modal) {
        auto* dialog = qobject_cast<wConfig*>(modal);
        QVERIFY(dialog);
        sawDialog = true;
        portOpenDuringDialog = frame.comCtrl().isOpen();
        reducedForm = !dialog->button(wConfig::Cancel)->isVisible() &&
                      !dialog->button(wConfig::Apply)->isVisible() &&
                      dialog->button(wConfig::Ok)->isVisible();
        dialog->languages()->setCurrentText(QStringLiteral("Français"));
        dialog->button(wConfig::Ok)->click();
    });
    QVERIFY(frame.load());
    QVERIFY(sawDialog);
    QVERIFY(!portOpenDuringDialog);
    QVERIFY(reducedForm);
    QVERIFY(frame.comCtrl().isOpen());
    QVERIFY(fixture.iniText().contains(QStringLiteral("Language=Français")));
    QCOMPARE(frame.menuEntry(QStringLiteral("mnuFile"))->text(), QStringLiteral("&Fichier"));
    QVERIFY(fixture.reports().isEmpty());
}

void TestMain::startUpAppliesSettingsAndOpensChildren()
{
    ShellFixture fixture;
    Pty pty;
    fixture.writeIni(ini(QStringLiteral("English"), pty.path(),
                         QStringLiteral("Bauds=19200\nStops=2\nParity=n\nRTS=1\nRtsDelay=7\n"
                                        "FrameDelay=20\n")));
    wMain frame(wMain::Files{fixture.dataFile(), fixture.folder()});
    QVERIFY(frame.load());
    QVERIFY2(fixture.reports().isEmpty(), qPrintable(fixture.reports().join(QLatin1Char('\n'))));
    QVERIFY(frame.isVisible());
    QVERIFY(frame.isEnabled());
    QVERIFY(frame.comCtrl().isOpen());
    QCOMPARE(frame.comCtrl().portName(), pty.path());
    QCOMPARE(frame.comCtrl().settings(), QStringLiteral("19200,n,8,2"));
    QVERIFY(CommFunctions::RtsHandshake());
    QCOMPARE(CommFunctions::RtsDelay(), 7);
    QCOMPARE(CommFunctions::FrameDelay(), 20);
    QCOMPARE(frame.statusPanel(QStringLiteral("Prompt"))->text(), DataFunctions7310::GetText(1001));
    // Calculator, then frame builder: the last one shown is in front.
    QCOMPARE(openChildren(frame, "wPanelCalcul"), 1);
    QCOMPARE(openChildren(frame, "wPanelFrame"), 1);
    QVERIFY(frame.mdiArea()->activeSubWindow());
    QVERIFY(frame.mdiArea()->activeSubWindow()->widget()->inherits("wPanelFrame"));
    // The entries of windows that do not exist yet are absent, not dead.
    QVERIFY(!frame.panelEntry(0));
    QVERIFY(!frame.panelEntry(3));
    QVERIFY(!frame.toolButton(QStringLiteral("mnuFileConfig")));
    QVERIFY(!frame.toolButton(QStringLiteral("mnuFileTools")));
    for (const char* key : {"mnuFileCalcul", "mnuFileFrame", "mnuHelpContext", "mnuFileQuit"})
        QVERIFY2(!frame.toolButton(QLatin1String(key))->icon().isNull(), key);
    CommFunctions::SetRtsHandshake(false);
    CommFunctions::SetRtsDelay(5);
    CommFunctions::SetFrameDelay(50);
}

void TestMain::badSettingsAreReportedNotFatal_data()
{
    QTest::addColumn<QString>("language");
    QTest::addColumn<QString>("port");
    QTest::addColumn<QString>("extra");
    QTest::addColumn<int>("reportCount");
    QTest::addColumn<QStringList>("lastReport"); // fragments of the last report
    QTest::addColumn<bool>("portOpen");
    QTest::addColumn<bool>("childrenShown");

    // The start-up's own trap; what follows the faulty step is skipped.
    const QString load = QStringLiteral("Module : wMain\r\nObject : MDIForm\r\nEvent : Load");
    QTest::newRow("speed not a number") << "English"
                                        << ""
                                        << "Bauds=fast\n"
                                        << 1 << QStringList{"Error Nr 13 ", load} << false << false;
    QTest::newRow("RTS=yes") << "English"
                             << ""
                             << "RTS=yes\n"
                             << 1 << QStringList{"Error Nr 13 ", load} << false << false;
    QTest::newRow("RTS delay not a number")
        << "English"
        << ""
        << "RtsDelay=short\n"
        << 1 << QStringList{"Error Nr 13 ", load} << false << false;
    // The port's failure is reported and the start-up carries on.
    QTest::newRow("absent port") << "English"
                                 << "/dev/k7310-no-such-port"
                                 << "" << 1 << QStringList{"Error Nr 8002 ", load} << false << true;
    // Texts 0 and 1001 report their own failures, then the menu captions fail the start-up.
    QTest::newRow("unknown language") << "Klingon"
                                      << ""
                                      << "" << 3 << QStringList{load} << false << false;
}

void TestMain::badSettingsAreReportedNotFatal()
{
    QFETCH(QString, language);
    QFETCH(QString, port);
    QFETCH(QString, extra);
    QFETCH(int, reportCount);
    QFETCH(QStringList, lastReport);
    QFETCH(bool, portOpen);
    QFETCH(bool, childrenShown);

    ShellFixture fixture;
    Pty pty;
    fixture.writeIni(ini(language, port.isEmpty() ? pty.path() : port, extra));
    wMain frame(wMain::Files{fixture.dataFile(), fixture.folder()});
    QVERIFY(frame.load());
    QCOMPARE(fixture.reports().size(), reportCount);
    for (const QString& fragment : lastReport)
        QVERIFY2(fixture.reports().last().contains(fragment), qPrintable(fixture.reports().last()));
    if (reportCount == 3) {
        for (int i : {0, 1})
            QVERIFY(fixture.reports().at(i).contains(QStringLiteral("Function : GetText")));
    }
    // The console runs on: the main frame is up and usable.
    QVERIFY(frame.isVisible());
    QVERIFY(frame.isEnabled());
    QCOMPARE(frame.comCtrl().isOpen(), portOpen);
    QCOMPARE(frame.mdiArea()->subWindowList().size(), childrenShown ? 2 : 0);
    CommFunctions::SetRtsHandshake(false);
}

void TestMain::captionsFollowLanguage_data()
{
    QTest::addColumn<QString>("dataFile");
    QTest::addColumn<QString>("language");
    QTest::addColumn<QString>("file");
    QTest::addColumn<QString>("calculator");
    QTest::addColumn<QString>("quitTip");
    QTest::addColumn<QString>("about");

    const QString data = QStringLiteral(K7310_BIN_DIR "/k7310console.dat");
    QTest::newRow("none chosen yet: first language column") << data << ""
                                                            << "&File"
                                                            << "CRC and number calculator"
                                                            << "Quit"
                                                            << "&About…";
    QTest::newRow("English") << data << "English"
                             << "&File"
                             << "CRC and number calculator"
                             << "Quit"
                             << "&About…";
    QTest::newRow("Français") << data << "Français"
                              << "&Fichier"
                              << "Calculatrice CRC et nombres"
                              << "Quitter"
                              << "À &propos…";
    QTest::newRow("Deutsch") << data << "Deutsch"
                             << "&Datei"
                             << "CRC- und Zahlenrechner"
                             << "Beenden"
                             << "Ü&ber…";
    // Without a row an entry shows its own name and a button keeps its tooltip.
    QTest::newRow("rows of About and Quit missing")
        << QStringLiteral(K7310_SHELL_TEST_DATA "/nomenu.dat") << "Français"
        << "&Fichier"
        << "Calculatrice CRC et nombres"
        << "as designed"
        << "mnuHelpAbout";
}

void TestMain::captionsFollowLanguage()
{
    QFETCH(QString, dataFile);
    QFETCH(QString, language);
    QFETCH(QString, file);
    QFETCH(QString, calculator);
    QFETCH(QString, quitTip);
    QFETCH(QString, about);

    ShellFixture fixture(dataFile);
    QVERIFY(fixture.openData());
    DataFunctions7310::SetCurrentLanguage(language);
    wMain frame(wMain::Files{fixture.dataFile(), fixture.folder()});
    frame.toolButton(QStringLiteral("mnuFileQuit"))->setToolTip(QStringLiteral("as designed"));
    frame.nationality();
    QCOMPARE(frame.menuEntry(QStringLiteral("mnuFile"))->text(), file);
    QCOMPARE(frame.panelEntry(1)->text(), calculator);
    QCOMPARE(frame.toolButton(QStringLiteral("mnuFileQuit"))->toolTip(), quitTip);
    QCOMPARE(frame.menuEntry(QStringLiteral("mnuHelpAbout"))->text(), about);
    QCOMPARE(frame.statusPanel(QStringLiteral("Line"))->text(), DataFunctions7310::GetText(1002));
    QVERIFY(fixture.reports().isEmpty());
}

void TestMain::helpEntriesFollowCollection()
{
    ShellFixture fixture;
    QVERIFY(fixture.openData());
    for (const bool withHelp : {false, true}) {
        wMain frame(wMain::Files{fixture.dataFile(),
                                 withHelp ? QStringLiteral(K7310_BIN_DIR) : fixture.folder()});
        frame.nationality();
        for (const char* name : {"mnuHelpSummary", "mnuHelpIndex", "mnuHelpSep1"})
            QCOMPARE(frame.menuEntry(QLatin1String(name))->isVisible(), withHelp);
        QCOMPARE(frame.toolButton(QStringLiteral("mnuHelpContext"))->isVisible(), withHelp);
        // Left as designed either way.
        QVERIFY(frame.menuEntry(QStringLiteral("mnuHelpFind"))->isVisible());
        QVERIFY(frame.menuEntry(QStringLiteral("mnuHelpContext"))->isVisible());
        QCOMPARE(Help::ApplicationHelpFile().isEmpty(), !withHelp);
        if (withHelp)
            QVERIFY(Help::ApplicationHelpFile().endsWith(QLatin1String("/k7310console.qhc")));
        // Without a file, help commands show nothing.
        frame.mnuHelpSummary_Click();
        QCOMPARE(HelpWindow::OpenWindows().size(), withHelp ? 1 : 0);
        // Search stays a deliberate no-op.
        HelpWindow::CloseAll();
        frame.mnuHelpFind_Click();
        QVERIFY(HelpWindow::OpenWindows().isEmpty());
    }
}

void TestMain::closingAsks_data()
{
    QTest::addColumn<bool>("modified");
    QTest::addColumn<bool>("answerYes");
    QTest::addColumn<QString>("question");
    QTest::addColumn<QMessageBox::Icon>("icon");
    QTest::addColumn<int>("defaultButton");

    const QString quit = QStringLiteral("Do you want to quit the K7310 console?");
    const QString unsaved = QStringLiteral(
        "A window holds changes that have not been sent to the panel.\nIf you quit now, these "
        "changes are lost.\nQuit anyway?");
    QTest::newRow("nothing modified, No stays")
        << false << false << quit << QMessageBox::Question << int(QMessageBox::Yes);
    QTest::newRow("nothing modified, Yes closes")
        << false << true << quit << QMessageBox::Question << int(QMessageBox::Yes);
    QTest::newRow("child modified, No stays")
        << true << false << unsaved << QMessageBox::Warning << int(QMessageBox::No);
    QTest::newRow("child modified, Yes closes")
        << true << true << unsaved << QMessageBox::Warning << int(QMessageBox::No);
}

void TestMain::closingAsks()
{
    QFETCH(bool, modified);
    QFETCH(bool, answerYes);
    QFETCH(QString, question);
    QFETCH(QMessageBox::Icon, icon);
    QFETCH(int, defaultButton);

    ShellFixture fixture;
    Pty pty;
    fixture.writeIni(ini(QStringLiteral("English"), pty.path()));
    wMain frame(wMain::Files{fixture.dataFile(), QStringLiteral(K7310_BIN_DIR)});
    QVERIFY(frame.load());
    frame.children().window(1)->setModified(modified);
    frame.mnuHelpSummary_Click();
    QCOMPARE(HelpWindow::OpenWindows().size(), 1);

    QString asked;
    QMessageBox::Icon askedIcon = QMessageBox::NoIcon;
    QAbstractButton* askedDefault = nullptr;
    QAbstractButton* expectedDefault = nullptr;
    OnNextModal([&](QWidget* modal) {
        auto* box = qobject_cast<QMessageBox*>(modal);
        QVERIFY(box);
        asked = box->text();
        askedIcon = box->icon();
        askedDefault = box->defaultButton();
        expectedDefault = box->button(QMessageBox::StandardButton(defaultButton));
        box->button(answerYes ? QMessageBox::Yes : QMessageBox::No)->click();
    });
    frame.mnuFileQuit_Click();
    QCOMPARE(asked, question);
    QCOMPARE(askedIcon, icon);
    QVERIFY(askedDefault);
    QCOMPARE(askedDefault, expectedDefault);
    QCOMPARE(frame.isVisible(), !answerYes);
    // Closing unloads the children and every help window.
    QCOMPARE(frame.children().openWindows().size(), answerYes ? 0 : 2);
    QTest::qWait(1);
    QCOMPARE(HelpWindow::OpenWindows().size(), answerYes ? 0 : 1);
    if (!answerYes)
        frame.children().window(1)->setModified(false);
}

void TestMain::childWindowsExistOnce()
{
    ShellFixture fixture;
    Pty pty;
    fixture.writeIni(ini(QStringLiteral("English"), pty.path()));
    wMain frame(wMain::Files{fixture.dataFile(), fixture.folder()});
    QVERIFY(frame.load());
    ChildWindow* calculator = frame.children().window(1);
    QVERIFY(calculator);

    frame.panelEntry(1)->trigger();
    frame.panelEntry(1)->trigger();
    QCOMPARE(openChildren(frame, "wPanelCalcul"), 1);
    QCOMPARE(frame.children().window(1), calculator);
    QCOMPARE(frame.mdiArea()->activeSubWindow()->widget(), calculator);

    // The toolbar raises the same windows by their keys.
    frame.toolButton(QStringLiteral("mnuFileFrame"))->trigger();
    QVERIFY(frame.mdiArea()->activeSubWindow()->widget()->inherits("wPanelFrame"));
    QCOMPARE(openChildren(frame, "wPanelFrame"), 1);

    // Closed by the user, it comes back once, where it was left.
    const QRect placed(30, 20, 520, 330);
    calculator->frameWidget()->setGeometry(placed);
    calculator->unload();
    QTest::qWait(1);
    frame.panelEntry(1)->trigger();
    frame.toolButton(QStringLiteral("mnuFileCalcul"))->trigger();
    QTest::qWait(1);
    QCOMPARE(openChildren(frame, "wPanelCalcul"), 1);
    QCOMPARE(frame.children().window(1)->frameWidget()->geometry(), placed);

    frame.mnuWindowCascade_Click();
    const auto frames = frame.mdiArea()->subWindowList();
    QCOMPARE(frames.size(), 2);
    QVERIFY(frames.at(0)->pos() != frames.at(1)->pos());
}

void TestMain::contextHelpFollowsActiveChild()
{
    ShellFixture fixture;
    Pty pty;
    fixture.writeIni(ini(QStringLiteral("English"), pty.path()));
    wMain frame(wMain::Files{fixture.dataFile(), QStringLiteral(K7310_BIN_DIR)});
    QVERIFY(frame.load());

    frame.children().show(1);
    frame.tbrTools_ButtonClick(QStringLiteral("mnuHelpContext"));
    QCOMPARE(HelpWindow::OpenWindows().size(), 1);
    QCOMPARE(HelpWindow::OpenWindows().first()->currentPage().fileName(),
             QStringLiteral("calculator.html"));

    frame.children().show(2);
    frame.mnuHelpContext_Click();
    QCOMPARE(HelpWindow::OpenWindows().first()->currentPage().fileName(),
             QStringLiteral("frame-builder.html"));

    // No active child: the table of contents.
    HelpWindow::CloseAll();
    frame.children().unloadAll();
    QTest::qWait(1);
    frame.mnuHelpContext_Click();
    QCOMPARE(HelpWindow::OpenWindows().size(), 1);
    QCOMPARE(HelpWindow::OpenWindows().first()->currentPage().fileName(),
             QStringLiteral("index.html"));
}

void TestMain::helpAndTextDatabaseShareProcess()
{
    // Qt Help reads its files through the SQLite driver while the text database runs on
    // SQLCipher: both must keep working side by side.
    ShellFixture fixture;
    QVERIFY(fixture.openData());
    DataFunctions7310::SetCurrentLanguage(QStringLiteral("Français"));
    QCOMPARE(DataFunctions7310::GetText(1121), QStringLiteral("Langue"));

    const QString collection = QStringLiteral(K7310_BIN_DIR "/k7310console.qhc");
    QVERIFY(Help::HtmlHelp(nullptr, collection, Help::HelpContext, 1100));
    HelpWindow* window = HelpWindow::OpenWindows().value(0);
    QVERIFY(window);
    QCOMPARE(window->currentPage().fileName(), QStringLiteral("settings.html"));
    QVERIFY(!Help::PopupText(collection, 1111).isEmpty());

    // Full-text search: the index is built in the background, then queried.
    QHelpSearchEngine* search = window->searchEngine();
    QSignalSpy indexed(search, &QHelpSearchEngine::indexingFinished);
    search->reindexDocumentation();
    QVERIFY(indexed.wait(20000));
    QSignalSpy searched(search, &QHelpSearchEngine::searchingFinished);
    search->search(QStringLiteral("dialout"));
    QVERIFY(searched.wait(20000));
    QVERIFY(search->searchResultCount() > 0);
    QVERIFY(search->searchResults(0, 10).first().url().fileName() ==
            QStringLiteral("getting-started.html"));
    QCOMPARE(DataFunctions7310::GetText(1121), QStringLiteral("Langue"));
    QCOMPARE(DataFunctions7310::GetMenuText(QStringLiteral("mnuHelp")).value_or(QString()),
             QStringLiteral("&Aide"));
    QVERIFY(fixture.reports().isEmpty());
}

QTEST_MAIN(TestMain)
#include "tst_wmain.moc"
