#include "linemonitor.h"
#include "prompthook.h"
#include "shelltestkit.h"
#include "textids.h"

#include <QHeaderView>
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QScreen>
#include <QStyleFactory>
#include <QTableView>
#include <QWhatsThis>

namespace {

const QString withHelp = K7310_BIN_DIR; // a program folder holding the help

// Qt's own measure of a heading, which the header keeps to itself.
struct HeaderPeek : QHeaderView
{
    using QHeaderView::sectionSizeFromContents;
};

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
        QTest::addColumn<QString>("source"); // copied in as the data file, "": none
        row("missing file", "");
        row("SQLite file of another kind", K7310_BIN_DIR "/k7310console.qhc");
    }

    void dataFileFailureEndsStartUp()
    {
        QFETCH(QString, source);
        ShellFixture fixture(source);
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
        // A null language leaves the entry out; an empty port names the pty.
        columns<QString, QString, QString, QStringList>("language", "port", "extra", "faults");

        // Each unusable value is reported once; its default serves and start-up goes on.
        const QStringList typeError{"13 wMain.MDIForm.Load"};
        row("speed not a number", "English", "", "Bauds=fast\n", typeError);
        row("RTS=yes", "English", "", "RTS=yes\n", typeError);
        row("absent port", "English", "/dev/k7310-no-such-port", "",
            QStringList{"8002 wMain.MDIForm.Load"});
        // A first run asks the language before the port opens.
        row("no language: first run", QString(), "", "", QStringList());
        row("unknown language: reported once, then a first run", "Klingon", "", "",
            QStringList{"3265 wMain.MDIForm.Load"});
    }

    void startUpSettings()
    {
        const auto [language, port, extra, faults] =
            fetch<QString, QString, QString, QStringList>("language", "port", "extra", "faults");

        // German names itself with an empty text in this data file: it is not offered. It has
        // no rows for About and Quit either; the folder has no help files.
        ShellFixture fixture(QStringLiteral(K7310_SHELL_TEST_DATA "/sparse.dat"));
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
        QCOMPARE(frame.mdiArea()->subWindowList().size(), wMain::StartupChildren().size());
        // A first run stores the language alone and captions the frame in it.
        QCOMPARE(ZRBfonctions::GetIniParam("General", "Language", {}),
                 firstRun ? "Français" : language);
        QCOMPARE(fixture.iniText().contains("Bauds="), extra.startsWith("Bauds="));
        QCOMPARE(frame.menuEntry("mnuFile")->text(), firstRun ? "&Fichier" : "&File");
        // An entry without a row keeps its key; without help files the entries that need them
        // are hidden (childWindowsExistOnce has them with the help) and open nothing.
        QCOMPARE(frame.menuEntry("mnuHelpAbout")->text(), "mnuHelpAbout");
        for (const char* name : {"mnuHelpSummary", "mnuHelpIndex", "mnuHelpSep1"})
            QVERIFY(!frame.menuEntry(name)->isVisible());
        QVERIFY(!frame.toolButton("mnuHelpContext")->isVisible());
        QVERIFY(frame.menuEntry("mnuHelpFind")->isVisible());
        frame.mnuHelpSummary_Click();
        QVERIFY(HelpWindow::OpenWindows().isEmpty());
    }

    void closingAsks_data()
    {
        // asked: icon, default button, windows shown and question
        columns<bool, QStringList>("modified", "asked");
        const QString frameAndHelp = "2";
        row("nothing modified", false,
            QStringList{QString::number(QMessageBox::Question), QString::number(QMessageBox::Yes),
                        frameAndHelp, "Do you want to quit the K7310 console?"});
        row("child modified", true,
            QStringList{QString::number(QMessageBox::Warning), QString::number(QMessageBox::No),
                        frameAndHelp,
                        "A window holds changes that have not been sent to the panel.\n"
                        "If you quit now, these changes are lost.\nQuit anyway?"});
    }

    // No keeps the console; Yes closes it with its children and every help window.
    void closingAsks()
    {
        const auto [modified, asked] = fetch<bool, QStringList>("modified", "asked");
        ShellFixture fixture;
        fixture.writeIni("English");
        wMain frame(wMain::Files{fixture.dataFile, withHelp});
        QVERIFY(frame.load());
        frame.children().window(1)->setModified(modified);
        frame.mnuHelpSummary_Click();
        for (const bool yes : {false, true}) {
            QStringList seen;
            AnswerNextBox(seen, yes ? QMessageBox::Yes : QMessageBox::No);
            frame.mnuFileQuit_Click();
            QCOMPARE(seen, asked);
            QCOMPARE(frame.isVisible(), !yes);
            QCOMPARE(frame.children().openWindows().size(),
                     yes ? 0 : wMain::StartupChildren().size());
            QTest::qWait(1);
            QCOMPARE(HelpWindow::OpenWindows().size(), yes ? 0 : 1);
        }
    }

    void childWindowsExistOnce()
    {
        ShellFixture fixture;
        fixture.writeIni("English", QStringLiteral("Bauds=19200\nStops=2\nParity=n\n"
                                                   "RTS=1\nRtsDelay=7\nFrameDelay=20\nEcho=No\n"));
        wMain frame(wMain::Files{fixture.dataFile, withHelp});
        QVERIFY(frame.load());
        // The start-up applies the settings file, then shows the calculator, the frame builder
        // and the test tools. The status bar shows the line live: port, settings and state.
        QVERIFY2(fixture.reports().isEmpty(),
                 qPrintable(fixture.reports().join(QLatin1Char('\n'))));
        QVERIFY(frame.comCtrl().isOpen());
        QCOMPARE(frame.statusPanel("Line")->text(),
                 "Line: " + fixture.pty.slavePath() + " 19200,n,8,2 open, RTS");
        QCOMPARE(QString("%1 %2 %3")
                     .arg(CommFunctions::RtsHandshake())
                     .arg(CommFunctions::RtsDelay())
                     .arg(CommFunctions::FrameDelay()),
                 "1 7 20");
        QCOMPARE(frame.comCtrl().echoSetting(), LineEcho::Setting::No);
        // Then the last slave that answered.
        QCOMPARE(frame.statusPanel("Slave")->text(), "Slave: -");
        frame.comCtrl().noteAnswer(7);
        QCOMPARE(frame.statusPanel("Slave")->text(), "Slave: 7");
        QCOMPARE(frame.statusPanel("Prompt")->text(), DataFunctions7310::GetText(1001));
        // What the windows hand to the status bar passes through the prompt.
        QVERIFY(PromptHook::Show("passing"));
        QCOMPARE(frame.statusPanel("Prompt")->text(), "passing");
        // The configuration window is loaded last and stands in front.
        QVERIFY(frame.mdiArea()->activeSubWindow()->widget()->inherits("wPanelConfig"));
        // With the help files beside the program its entries show; text 1 names the collection.
        for (const char* name : {"mnuHelpSummary", "mnuHelpIndex", "mnuHelpSep1"})
            QVERIFY2(frame.menuEntry(name)->isVisible(), name);
        QVERIFY(frame.toolButton("mnuHelpContext")->isVisible());
        QCOMPARE(Help::ApplicationHelpFile(), withHelp + '/' + DataFunctions7310::GetText(1));

        // A second File click or toolbar key raises the one window.
        ChildWindow* calculator = frame.children().window(1);
        QVERIFY(calculator);
        frame.panelEntry(1)->trigger();
        frame.panelEntry(1)->trigger();
        QCOMPARE(frame.mdiArea()->activeSubWindow()->widget(), calculator);
        frame.toolButton("mnuFileFrame")->trigger();
        QVERIFY(frame.mdiArea()->activeSubWindow()->widget()->inherits("wPanelFrame"));
        QCOMPARE(frame.mdiArea()->subWindowList().size(), wMain::StartupChildren().size());

        // Closed by the user, it comes back once, where it was left.
        const QRect placed(30, 20, 520, 330);
        calculator->frameWidget()->setGeometry(placed);
        calculator->unload();
        QTest::qWait(1);
        frame.panelEntry(1)->trigger();
        frame.toolButton("mnuFileCalcul")->trigger();
        QTest::qWait(1);
        const auto frames = frame.mdiArea()->subWindowList();
        QCOMPARE(frames.size(), wMain::StartupChildren().size());
        QCOMPARE(frame.children().window(1)->frameWidget()->geometry(), placed);

        // Context help follows the active child; without one, the table of contents.
        frame.children().show(1);
        frame.tbrTools_ButtonClick("mnuHelpContext");
        QCOMPARE(activePage(), "calculator.html");
        // In the configuration window a field's help is its pop-up, a button's the page, shown
        // in the one viewer brought back from the task bar. Help > Contents leaves that page.
        TheViewer()->showMinimized();
        frame.toolButton("mnuFileConfig")->trigger();
        ChildWindow* config = frame.children().window(0);
        config->findChild<QWidget*>("cmdReadConfig")->setFocus();
        frame.mnuHelpContext_Click();
        QCOMPARE(activePage(), "configuration.html");
        QVERIFY(!TheViewer()->isMinimized());
        frame.mnuHelpSummary_Click();
        QCOMPARE(activePage(), "configuration.html");
        config->findChild<QWidget*>("cboConfParam_0")->setFocus();
        frame.mnuHelpContext_Click();
        QVERIFY(WhatsThisShown());
        QWhatsThis::hideText();

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
        // The help on screen turns to the new language on its page. F1 in the dialog shows a
        // field's pop-up, elsewhere the help of the dialog's page on view.
        frame.mnuHelpFind_Click();
        QCOMPARE(activePage(), "configuration.html");
        QCOMPARE(TheViewer()->collectionFile(), withHelp + "/k7310console_fr.qhc");
        dialog.pages()->setCurrentIndex(1);
        dialog.languages()->setFocus();
        QTest::keyClick(&dialog, Qt::Key_F1);
        QVERIFY(WhatsThisShown());
        QWhatsThis::hideText();
        QCOMPARE(activePage(), "configuration.html");
        dialog.pages()->setFocus();
        QTest::keyClick(&dialog, Qt::Key_F1);
        QCOMPARE(activePage() + '#' + TheViewer()->currentPage().fragment(),
                 "settings.html#general");
        HelpWindow::CloseAll();
        frame.children().unloadAll();
        QTest::qWait(1);
        frame.mnuHelpContext_Click();
        QCOMPARE(activePage(), "index.html");
        frame.comCtrl().close();
        QVERIFY(frame.statusPanel("Line")->text().endsWith(
            ' ' + DataFunctions7310::GetText(TextId::StatusLineClosed)));
    }

    // Each toolbar image keeps its outline visible on the window background of a light and of
    // a dark palette: most pixels near the image's edge contrast 3:1 or more with it.
    void toolbarImagesKeepTheirContrast_data()
    {
        columns<QColor, QString>("background", "key");
        for (const auto& [name, colour] : {std::pair{"light", QColor(0xef, 0xef, 0xef)},
                                           std::pair{"dark", QColor(0x35, 0x35, 0x35)}})
            for (const char* key :
                 {"mnuFileConfig", "mnuFileCalcul", "mnuFileFrame", "mnuFileTools", "mnuFileSurvey",
                  "mnuHelpContext", "mnuFileQuit"})
                row(QByteArray(name) + ' ' + key, colour, QString(key));
    }
    void toolbarImagesKeepTheirContrast()
    {
        const auto [background, key] = fetch<QColor, QString>("background", "key");
        ShellFixture fixture;
        fixture.writeIni("English");
        const QPalette before = QApplication::palette();
        QPalette palette = QStyleFactory::create("Fusion")->standardPalette();
        palette.setColor(QPalette::Window, background);
        wMain frame(wMain::Files{fixture.dataFile, fixture.folder});
        QVERIFY(frame.load());
        // Changed while the console runs, as a desktop switching to its dark theme does.
        QApplication::setPalette(palette);
        QTest::qWait(1);
        const QImage image = frame.toolButton(key)->icon().pixmap(48).toImage().convertToFormat(
            QImage::Format_ARGB32);
        QApplication::setPalette(before);

        const auto luminance = [](QColor c) {
            const auto channel = [](double v) {
                return v <= 0.03928 ? v / 12.92 : std::pow((v + 0.055) / 1.055, 2.4);
            };
            return 0.2126 * channel(c.redF()) + 0.7152 * channel(c.greenF()) +
                   0.0722 * channel(c.blueF());
        };
        const double ground = luminance(background);
        const auto inside = [&image](int x, int y) {
            return x >= 0 && y >= 0 && x < image.width() && y < image.height() &&
                   qAlpha(image.pixel(x, y)) > 127;
        };
        int edge = 0;
        int contrasting = 0;
        for (int y = 0; y < image.height(); ++y)
            for (int x = 0; x < image.width(); ++x) {
                if (!inside(x, y))
                    continue;
                bool nearOutside = false; // within 3 pixels of the outline
                for (int dy = -3; dy <= 3 && !nearOutside; ++dy)
                    for (int dx = -3; dx <= 3 && !nearOutside; ++dx)
                        nearOutside = !inside(x + dx, y + dy);
                if (!nearOutside)
                    continue;
                ++edge;
                const QColor pixel = QColor::fromRgba(image.pixel(x, y));
                const double alpha = pixel.alphaF();
                const QColor seen =
                    QColor::fromRgbF(pixel.redF() * alpha + background.redF() * (1 - alpha),
                                     pixel.greenF() * alpha + background.greenF() * (1 - alpha),
                                     pixel.blueF() * alpha + background.blueF() * (1 - alpha));
                const double l = luminance(seen);
                if ((std::max(l, ground) + 0.05) / (std::min(l, ground) + 0.05) >= 3.0)
                    ++contrasting;
            }
        QVERIFY(edge > 0);
        QVERIFY2(contrasting * 10 >= edge * 6,
                 qPrintable(QString("%1 of %2 edge pixels contrast").arg(contrasting).arg(edge)));
    }

    // Places saved on a larger screen come back into sight on this 1024 x 768 one: the main
    // frame on the screen, a child window inside the main frame.
    void placesComeBackIntoSight_data()
    {
        columns<QString, QString>("window", "stored");
        row("main frame", "wMain", "Left=1500\nTop=900\nWidth=1600\nHeight=1100\n");
        row("main frame left of the screen", "wMain",
            "Left=-2000\nTop=-50\nWidth=900\nHeight=600\n");
        row("calculator", "wPanelCalcul", "Left=1700\nTop=1100\nWidth=500\nHeight=300\n");
        row("frame builder", "wPanelFrame", "Left=-900\nTop=40\nWidth=500\nHeight=300\n");
    }
    void placesComeBackIntoSight()
    {
        const auto [window, stored] = fetch<QString, QString>("window", "stored");
        ShellFixture fixture;
        fixture.writeIni("English", {}, {});
        QFile ini(fixture.iniFile);
        QVERIFY(ini.open(QIODevice::Append));
        ini.write(QString("[%1]\n%2").arg(window, stored).toUtf8());
        ini.close();
        wMain frame(wMain::Files{fixture.dataFile, fixture.folder});
        QVERIFY(frame.load());
        // The main frame with its title bar on the screen; a child inside the frame's area.
        QRect placed = frame.frameGeometry();
        QRect area = frame.screen()->availableGeometry();
        QCOMPARE(area.size(), QSize(1024, 768));
        for (ChildWindow* child : frame.children().openWindows())
            if (child->objectName() == window) {
                placed = child->frameWidget()->geometry();
                area = frame.mdiArea()->viewport()->rect();
            }
        const auto shown = [](QRect r) {
            return QString("%1,%2 %3x%4").arg(r.x()).arg(r.y()).arg(r.width()).arg(r.height());
        };
        QVERIFY2(area.contains(placed), qPrintable(shown(placed) + " in " + shown(area)));
    }

    // At the first start the four windows lie side by side, none over another; the main
    // frame's maximised state is kept for the next start.
    void firstStartLaysOutSideBySide()
    {
        ShellFixture fixture;
        fixture.writeIni("English");
        {
            wMain frame(wMain::Files{fixture.dataFile, fixture.folder});
            QVERIFY(frame.load());
            QVERIFY(frame.screen()->availableGeometry().contains(frame.frameGeometry()));
            const auto frames = frame.mdiArea()->subWindowList();
            QCOMPARE(frames.size(), 4);
            for (int i = 0; i < frames.size(); ++i)
                for (int j = i + 1; j < frames.size(); ++j)
                    QVERIFY2(
                        !frames[i]->geometry().intersects(frames[j]->geometry()),
                        qPrintable(frames[i]->windowTitle() + " / " + frames[j]->windowTitle()));
            // The window in front starts at the top left, where it is seen whole.
            QCOMPARE(frame.children().window(0)->frameWidget()->pos(), QPoint(0, 0));
            frame.showMaximized();
            QStringList seen;
            AnswerNextBox(seen, QMessageBox::Yes);
            frame.mnuFileQuit_Click();
            QVERIFY(!frame.isVisible());
        }
        QCOMPARE(ZRBfonctions::GetIniParam("wMain", "WindowState", {}), "2");
        wMain again(wMain::Files{fixture.dataFile, fixture.folder});
        QVERIFY(again.load());
        QVERIFY(again.isMaximized());
    }

    // The monitor lists the exchanges from start-up, its pane never opened; its columns hold
    // their headings and the longest window name in every language.
    void lineMonitorRecordsFromStartUp_data()
    {
        QTest::addColumn<QString>("language");
        for (const char* language : {"English", "Français", "Deutsch"})
            row(language, QString::fromUtf8(language));
    }
    void lineMonitorRecordsFromStartUp()
    {
        QFETCH(QString, language);
        ShellFixture fixture;
        fixture.writeIni(language);
        wMain frame(wMain::Files{fixture.dataFile, fixture.folder});
        QVERIFY(frame.load());
        Exchange asked;
        asked.origin = TextId::PanelFrameTitle;
        asked.request = QByteArray::fromHex("010300800001");
        frame.comCtrl().notifyObservers(asked);
        LineMonitor* monitor = frame.lineMonitor();
        QVERIFY(monitor && !monitor->isVisible());
        QCOMPARE(monitor->log().size(), 1);
        QCOMPARE(monitor->log().at(0).request, asked.request);

        frame.mnuWindowMonitor_Click(true);
        QHeaderView* header = monitor->view()->horizontalHeader();
        const QFontMetrics metrics(monitor->view()->font());
        QStringList cut;
        for (int column = 0; column < 5; ++column)
            if (header->sectionSize(column) <
                static_cast<HeaderPeek*>(header)->sectionSizeFromContents(column).width())
                cut << "heading " + QString::number(column);
        for (int id : {231000, 232000, 233000, 234000})
            if (header->sectionSize(2) <
                metrics.horizontalAdvance(DataFunctions7310::GetText(id)) + 8)
                cut << DataFunctions7310::GetText(id);
        if (header->sectionSize(1) < metrics.horizontalAdvance("00000") + 8)
            cut << "five-digit delta";
        QVERIFY2(cut.isEmpty(), qPrintable(cut.join(", ")));
    }

    // A passing text stands for its time, then the standing text comes back, unless a newer
    // one was written meanwhile.
    void refusalPassesThroughThePrompt()
    {
        QLabel prompt("standing");
        PromptHook::ShowPassing(&prompt, "reason", 300);
        QCOMPARE(prompt.text(), "reason");
        QTest::qWait(200);
        QCOMPARE(prompt.text(), "reason");
        QTRY_COMPARE(prompt.text(), "standing");
        PromptHook::ShowPassing(&prompt, "again", 300);
        prompt.setText("newer");
        QTest::qWait(500);
        QCOMPARE(prompt.text(), "newer");
    }
};

// The windows are laid out on a 1024 x 768 screen, the smallest the console is used on.
int main(int argc, char* argv[])
{
    const QByteArray screen = QDir::temp().filePath("tst_wmain-screen.json").toLocal8Bit();
    if (qgetenv("QT_QPA_PLATFORM") == "offscreen") {
        QFile config(QString::fromLocal8Bit(screen));
        if (config.open(QIODevice::WriteOnly | QIODevice::Truncate))
            config.write(R"({"screens": [{"name": "OffscreenScreen", "x": 0, "y": 0,
                "width": 1024, "height": 768, "logicalDpi": 96, "logicalBaseDpi": 96,
                "dpr": 1}]})");
        qputenv("QT_QPA_PLATFORM", "offscreen:configfile=" + screen);
    }
    QApplication app(argc, argv);
    TestMain test;
    QTEST_SET_MAIN_SOURCE_PATH
    return QTest::qExec(&test, argc, argv);
}
#include "tst_wmain.moc"
