#include "shelltestkit.h"
#include "wwarning.h"

#include <QCheckBox>
#include <QDir>
#include <QFileInfo>
#include <QGroupBox>
#include <QHelpSearchEngine>
#include <QHelpSearchResult>
#include <QMenuBar>
#include <QSpinBox>
#include <QTabWidget>
#include <QTextBlock>
#include <QTextBrowser>
#include <QWhatsThis>

#include <functional>
#include <optional>

using ConfigChange = std::function<void(wConfig&)>;
Q_DECLARE_METATYPE(ConfigChange)

namespace {
const QString collection = QStringLiteral(K7310_BIN_DIR "/k7310console.qhc");
const QString lineIni = QStringLiteral("Bauds=9600\nStops=1\nParity=n\n; kept as it is\n");
const QString noSuchPort = QStringLiteral("/dev/k7310-no-such-port");

// Where a click lands on the first link to href in the page shown, in viewport coordinates;
// (-1, -1) when the page has none.
QPoint linkPoint(QTextBrowser* browser, const QString& href)
{
    QTextDocument* page = browser->document();
    for (QTextBlock block = page->begin(); block.isValid(); block = block.next()) {
        for (auto it = block.begin(); !it.atEnd(); ++it) {
            const QTextFragment fragment = it.fragment();
            if (fragment.charFormat().anchorHref() != href)
                continue;
            QTextCursor cursor(page);
            cursor.setPosition(fragment.position() + fragment.length() / 2);
            browser->setTextCursor(cursor);
            browser->ensureCursorVisible();
            return browser->cursorRect(cursor).center();
        }
    }
    return {-1, -1};
}

QString withoutMnemonic(QString caption)
{
    return caption.remove(QRegularExpression(QStringLiteral("&(?!&)")));
}
} // namespace

class TestDialogs : public QObject
{
    Q_OBJECT

private slots:
    // The splash's own wait; a test shortens it and cleanup() puts it back.
    void initTestCase() { QCOMPARE(wSplash::CloseInterval(), 5000); }
    // Each test has a data file and a settings file of its own, and starts in English.
    void init()
    {
        m_fixture.emplace();
        QVERIFY(m_fixture->openData());
        DataFunctions7310::SetCurrentLanguage(QStringLiteral("English"));
    }
    void cleanup()
    {
        HelpWindow::CloseAll();
        CommFunctions::SetRtsHandshake(false);
        CommFunctions::SetRtsDelay(5);
        wSplash::SetCloseInterval(5000);
        m_fixture.reset();
    }

    void loadShowsPortSettings_data()
    {
        QTest::addColumn<QString>("settings");
        QTest::addColumn<QString>("rts");       // the settings file's RTS entry, "": none
        QTest::addColumn<QStringList>("shown"); // parity, speed and stop bits
        QTest::addColumn<unsigned>("repair");   // inputs marked so that OK rewrites them
        row("e shows the even entry", "19200,e,8,2", "", QStringList{"Paire", "19200", "2"}, 0U);
        row("o shows the odd entry", "1200,o,8,1", "", QStringList{"Impaire", "1200", "1"}, 0U);
        row("upper-case letter", "4800,E,8,1", "", QStringList{"Paire", "4800", "1"}, 0U);
        // An RTS value the box cannot show (reported at start-up) shows the flag in force,
        // marked for OK to write it right.
        row("RTS=yes", "9600,n,8,1", "yes", QStringList{"Sans", "9600", "1"},
            unsigned(wConfig::HalfDuplex));
        row("RTS=2", "9600,n,8,1", "2", QStringList{"Sans", "9600", "1"},
            unsigned(wConfig::HalfDuplex));
    }

    void loadShowsPortSettings()
    {
        QFETCH(QString, settings);
        QFETCH(QString, rts);
        QFETCH(QStringList, shown);
        QFETCH(unsigned, repair);

        ShellFixture& fixture = *m_fixture;
        fixture.writeIni(QString(),
                         rts.isEmpty() ? QString() : QStringLiteral("RTS=%1\n").arg(rts));
        DataFunctions7310::SetCurrentLanguage(QStringLiteral("Français"));
        ComCtrl port;
        port.setPortName(QStringLiteral("/dev/ttyUSB7"));
        port.setSettings(settings);
        wConfig dialog(port);
        QCOMPARE(QStringList({dialog.parity()->currentText(), dialog.bauds()->currentText(),
                              dialog.stops()->currentText()}),
                 shown);
        QCOMPARE(dialog.portList()->currentText(), QStringLiteral("/dev/ttyUSB7"));
        QVERIFY(!dialog.halfDuplex()->isChecked());
        QCOMPARE(dialog.languages()->currentText(), QStringLiteral("Français"));
        QCOMPARE(dialog.changedInputs(), repair);
        QCOMPARE(dialog.button(wConfig::Apply)->isEnabled(), repair != 0);
        QVERIFY(fixture.faults().isEmpty());
    }

    void buttonsStoreWhatChanged_data()
    {
        QTest::addColumn<ConfigChange>("change");
        QTest::addColumn<int>("button");
        // The file's new lines (none: file untouched), then the faults reported.
        QTest::addColumn<QStringList>("written");
        QTest::addColumn<QString>("lineSettings");

        const auto bauds = ConfigChange([](wConfig& d) { d.bauds()->setCurrentText("4800"); });
        const auto halfDuplex = ConfigChange([](wConfig& d) { d.halfDuplex()->setChecked(true); });
        const QString line = QStringLiteral("9600,n,8,1");
        const QStringList none;
        row("speed, Apply", bauds, int(wConfig::Apply), QStringList{"Bauds=4800"}, "4800,n,8,1");
        row("parity odd, OK: stored as its letter",
            ConfigChange([](wConfig& d) { d.parity()->setCurrentIndex(2); }), int(wConfig::Ok),
            QStringList{"Parity=o"}, "9600,o,8,1");
        row("stop bits, Apply", ConfigChange([](wConfig& d) { d.stops()->setCurrentText("2"); }),
            int(wConfig::Apply), QStringList{"Stops=2"}, "9600,n,8,2");
        row("half duplex only, OK: port untouched", halfDuplex, int(wConfig::Ok),
            QStringList{"RTS=1", "RtsDelay=5"}, line);
        row("RTS delay only, Apply", ConfigChange([](wConfig& d) { d.rtsDelay()->setValue(12); }),
            int(wConfig::Apply), QStringList{"RTS=0", "RtsDelay=12"}, line);
        row("language only, Apply",
            ConfigChange([](wConfig& d) { d.languages()->setCurrentText("Deutsch"); }),
            int(wConfig::Apply), QStringList{"Language=Deutsch"}, line);
        row("speed and half duplex, Cancel: nothing kept", ConfigChange([=](wConfig& d) {
                bauds(d);
                halfDuplex(d);
            }),
            int(wConfig::Cancel), none, line);
        // Visiting the other page and back is not a change.
        const auto pages = ConfigChange([](wConfig& d) {
            d.pages()->setCurrentIndex(1);
            d.pages()->setCurrentIndex(0);
        });
        row("nothing changed, OK", pages, int(wConfig::Ok), none, line);
        row("nothing changed, Apply stays off", pages, int(wConfig::Apply), none, line);
        row("port that fails to reopen, OK: reported, the dialog stays",
            ConfigChange([](wConfig& d) { d.portList()->setCurrentText(noSuchPort); }),
            int(wConfig::Ok), QStringList{"Port=" + noSuchPort, "8002 wConfig.cmdButtons.Click"},
            line);
    }

    void buttonsStoreWhatChanged()
    {
        QFETCH(ConfigChange, change);
        QFETCH(int, button);
        QFETCH(QStringList, written);
        QFETCH(QString, lineSettings);

        ShellFixture& fixture = *m_fixture;
        fixture.writeIni(QStringLiteral("English"), lineIni);
        const QString before = fixture.iniText();
        ComCtrl port;
        port.setPortName(fixture.pty.slavePath());
        port.open();
        wConfig dialog(port);
        dialog.show();
        change(dialog);
        dialog.button(button)->click();

        const QString text = fixture.iniText();
        if (written.isEmpty())
            QCOMPARE(text, before);
        const QStringList old = before.split(QLatin1Char('\n'));
        QStringList added;
        for (const QString& line : text.split(QLatin1Char('\n')))
            if (!old.contains(line))
                added.append(line);
        QCOMPARE(added + fixture.faults(), written);
        const QStringList faults = fixture.faults();
        QCOMPARE(dialog.isVisible(), button == wConfig::Apply || !faults.isEmpty());
        QCOMPARE(port.isOpen(), faults.isEmpty());
        QCOMPARE(port.settings(), lineSettings);
        QCOMPARE(CommFunctions::RtsHandshake(), text.contains(QStringLiteral("RTS=1")));
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

    void splashIgnoresInputWhileTimerRuns_data()
    {
        QTest::addColumn<bool>("about");
        QTest::addColumn<bool>("byClick");
        row("splash, Esc", false, false);
        row("splash, click on the picture", false, true);
        row("about box, Esc", true, false);
        row("about box, click on the picture", true, true);
    }

    void splashIgnoresInputWhileTimerRuns()
    {
        QFETCH(bool, about);
        QFETCH(bool, byClick);
        wSplash::SetCloseInterval(300);
        wSplash splash;
        splash.setAboutMode(about);
        splash.setVersion(3, 0, 12);
        splash.show();
        QVERIFY(QTest::qWaitForWindowExposed(&splash));
        auto* picture = splash.findChild<QLabel*>(QStringLiteral("imgSplash"));
        QVERIFY(picture);
        QCOMPARE(splash.size(), picture->size());
        QCOMPARE(splash.versionText(), QStringLiteral("Version 3.0.12"));
        for (int i : {0, 1}) { // the release number right beside the version, on both layers
            QCOMPARE(splash.versionLabel(i)->text(), QStringLiteral("Version 3.0."));
            QCOMPARE(splash.versionLabel(i + 2)->text(), QStringLiteral("12"));
            QCOMPARE(splash.versionLabel(i + 2)->pos(),
                     splash.versionLabel(i)->pos() + QPoint(splash.versionLabel(i)->width(), 0));
            QVERIFY(splash.rect().contains(splash.versionLabel(i + 2)->geometry()));
        }
        const auto knock = [&] {
            byClick ? QTest::mouseClick(picture, Qt::LeftButton)
                    : QTest::keyClick(&splash, Qt::Key_Escape);
        };
        QVERIFY(splash.closeTimerRunning());
        knock();
        QVERIFY(splash.isVisible());
        // The timer switches itself off but does not close the window.
        QTRY_VERIFY_WITH_TIMEOUT(!splash.closeTimerRunning(), 3000);
        QVERIFY(splash.isVisible());
        QCOMPARE(splash.aboutButton()->isVisibleTo(&splash), about);
        if (about) { // The addresses button shows both postal addresses.
            QStringList shown;
            OnNextModal([&](QWidget* modal) {
                auto* box = qobject_cast<QMessageBox*>(modal);
                QVERIFY(box && box->icon() == QMessageBox::Information);
                shown = box->text().split(QLatin1Char('\n'));
                box->accept();
            });
            splash.aboutButton()->click();
            QCOMPARE(shown, (QStringList{DataFunctions7310::GetText(1510),
                                         DataFunctions7310::GetText(1511)}));
            QVERIFY(shown.at(0).contains(QStringLiteral("Orvane")));
        }
        knock();
        QVERIFY(!splash.isVisible());
    }

    void warningTextsAndAnswer_data()
    {
        QTest::addColumn<int>("press"); // the command's index, -1: the close box
        QTest::addColumn<bool>("answer");
        row("Yes", 1, true);
        row("No", 0, false);
        row("close box", -1, false);
    }

    void warningTextsAndAnswer()
    {
        QFETCH(int, press);
        QFETCH(bool, answer);
        wWarning warning;
        QCOMPARE(
            (QStringList{warning.windowTitle(), warning.label(0)->text(), warning.label(1)->text(),
                         warning.command(1)->text(), warning.command(0)->text()}),
            (QStringList{"Warning",
                         "This action overwrites the current settings.\nIt cannot be undone.",
                         "Do you want to continue?", "Yes", "No"}));
        QVERIFY(!warning.answer());
        OnNextModal([&](QWidget* modal) {
            QCOMPARE(modal, &warning);
            if (press < 0)
                warning.close();
            else
                warning.command(press)->click();
        });
        warning.exec();
        QVERIFY(!warning.isVisible());
        QCOMPARE(warning.answer(), answer);
    }

    void contextNumbersReachTheirPages_data()
    {
        QTest::addColumn<int>("number");
        QTest::addColumn<QString>("page");
        QTest::addColumn<QString>("heading");
        row("main window", 1000, "main-window.html", "The main window");
        row("PC settings, Communication page", 1101, "settings.html", "Communication page");
        row("about box", 1500, "main-window.html", "About");
        row("warning", 1600, "main-window.html", "Warning questions");
        row("slave dialog", 35000, "slave-dialogs.html", "Which panel?");
        row("slave search", 35010, "slave-dialogs.html", "Searching");
    }

    void contextNumbersReachTheirPages()
    {
        QFETCH(int, number);
        QFETCH(QString, page);
        QFETCH(QString, heading);
        QVERIFY(Help::HtmlHelp(nullptr, collection, Help::HelpContext, number));
        const QList<HelpWindow*> windows = HelpWindow::OpenWindows();
        QCOMPARE(windows.size(), 1);
        QVERIFY(windows.first()->isVisible());
        QCOMPARE(windows.first()->currentPage().fileName(), page);
        QVERIFY(windows.first()->findChild<QTextBrowser*>()->toPlainText().contains(heading));
    }

    void settingsDialogHelpFollowsPage()
    {
        Help::SetApplicationHelpFile(collection);
        ComCtrl port;
        wConfig dialog(port);
        dialog.show();
        QVERIFY(QTest::qWaitForWindowExposed(&dialog));
        QCOMPARE(dialog.helpContextId(), 1101);
        dialog.pages()->setCurrentIndex(1);
        QCOMPARE(dialog.helpContextId(), 1102);
        // F1 on the language list: its pop-up, no help window.
        dialog.languages()->setFocus();
        QTest::keyClick(&dialog, Qt::Key_F1);
        QVERIFY(HelpWindow::OpenWindows().isEmpty());
        const QWidgetList windows = QApplication::topLevelWidgets();
        QVERIFY(std::any_of(windows.begin(), windows.end(), [](QWidget* window) {
            return window->inherits("QWhatsThat") && window->isVisible();
        }));
        QWhatsThis::hideText();
        // F1 elsewhere on the page: the page's help.
        dialog.pages()->setFocus();
        QTest::keyClick(&dialog, Qt::Key_F1);
        QCOMPARE(HelpWindow::OpenWindows().size(), 1);
        QCOMPARE(HelpWindow::OpenWindows().first()->currentPage().fragment(),
                 QStringLiteral("general"));
        Help::SetApplicationHelpFile(QString());
    }

    void helpFollowsLanguage_data()
    {
        QTest::addColumn<QString>("language");
        QTest::addColumn<QString>("collection");
        QTest::addColumn<QString>("word");    // only on the getting-started page
        QTest::addColumn<QString>("heading"); // text 1100
        row("French", "Français", "k7310console_fr.qhc", "résistance", "Paramètres du PC");
        row("German", "Deutsch", "k7310console_de.qhc", "Abschlusswiderstand", "PC-Einstellungen");
    }

    // Text 1 names the collection: an English viewer on screen turns into one of the new language
    // on the same page, whose full-text search works while the text database (SQLCipher) runs
    // beside Qt Help's SQLite.
    void helpFollowsLanguage()
    {
        QFETCH(QString, language);
        QFETCH(QString, collection);
        QFETCH(QString, word);
        QFETCH(QString, heading);
        wMain frame(wMain::Files{m_fixture->dataFile, QStringLiteral(K7310_BIN_DIR)});
        frame.nationality();
        QVERIFY(Help::HtmlHelp(nullptr, Help::ApplicationHelpFile(), Help::HelpContext, 1101));
        DataFunctions7310::SetCurrentLanguage(language);
        frame.nationality();
        const QString file = Help::ApplicationHelpFile();
        QCOMPARE(QFileInfo(file).fileName(), collection);
        QVERIFY(Help::HtmlHelp(nullptr, file, Help::DisplaySearch, 0));
        const QList<HelpWindow*> windows = HelpWindow::OpenWindows();
        QCOMPARE(windows.size(), 1);
        QCOMPARE(windows.first()->collectionFile(), file);
        QCOMPARE(windows.first()->currentPage().fileName() + '#' +
                     windows.first()->currentPage().fragment(),
                 QStringLiteral("settings.html#communication"));
        // Page headings and pop-ups quote the captions of the text database.
        QVERIFY(windows.first()->findChild<QTextBrowser*>()->toPlainText().startsWith(heading));
        QVERIFY(Help::PopupText(file, 1113).contains(DataFunctions7310::GetText(1113)));

        QHelpSearchEngine* search = windows.first()->searchEngine();
        QSignalSpy indexed(search, &QHelpSearchEngine::indexingFinished);
        QVERIFY(indexed.wait(20000));
        QSignalSpy searched(search, &QHelpSearchEngine::searchingFinished);
        search->search(word);
        QVERIFY(searched.wait(20000));
        QCOMPARE(search->searchResultCount(), 1);
        QCOMPARE(search->searchResults(0, 1).first().url().fileName(),
                 QStringLiteral("getting-started.html"));
        QCOMPARE(DataFunctions7310::GetText(1100), heading);
        QVERIFY(m_fixture->reports().isEmpty());
    }

    void linksStayInTheViewer_data()
    {
        QTest::addColumn<QString>("file");
        QTest::addColumn<QString>("heading"); // of the page the link leads to
        row("English", "k7310console.qhc", "PC settings");
        row("French", "k7310console_fr.qhc", "Paramètres du PC");
        row("German", "k7310console_de.qhc", "PC-Einstellungen");
    }

    void linksStayInTheViewer()
    {
        QFETCH(QString, file);
        QFETCH(QString, heading);
        QVERIFY(
            Help::HtmlHelp(nullptr, QStringLiteral(K7310_BIN_DIR "/") + file, Help::DisplayToc, 0));
        HelpWindow* window = HelpWindow::OpenWindows().value(0);
        QVERIFY(window && QTest::qWaitForWindowExposed(window));
        const QUrl home = window->currentPage();
        QCOMPARE(home.fileName(), QStringLiteral("index.html"));
        auto* browser = window->findChild<QTextBrowser*>();
        const QPoint link = linkPoint(browser, QStringLiteral("settings.html"));
        QVERIFY(link.x() >= 0);
        QTest::mouseClick(browser->viewport(), Qt::LeftButton, {}, link);
        QTRY_COMPARE(window->currentPage().fileName(), QStringLiteral("settings.html"));
        QCOMPARE(window->currentPage().host(), home.host());
        QVERIFY(browser->toPlainText().startsWith(heading));
    }

    void minimisedViewerComesBack_data()
    {
        QTest::addColumn<int>("command");
        QTest::addColumn<int>("data");
        row("Help > Contents", int(Help::DisplayToc), 0);
        row("F1 on a window", int(Help::HelpContext), 232000);
    }

    void minimisedViewerComesBack()
    {
        QFETCH(int, command);
        QFETCH(int, data);
        QVERIFY(Help::HtmlHelp(nullptr, collection, Help::DisplayToc, 0));
        HelpWindow* window = HelpWindow::OpenWindows().value(0);
        QVERIFY(window && QTest::qWaitForWindowExposed(window));
        window->showMinimized();
        QTRY_VERIFY(window->isMinimized());
        QVERIFY(Help::HtmlHelp(nullptr, collection, command, data));
        QVERIFY(!window->isMinimized());
        QTRY_COMPARE(QApplication::activeWindow(), window);
    }

    void helpQuotesTheMenus_data()
    {
        QTest::addColumn<QString>("language");
        QTest::addColumn<QStringList>("files");
        const auto pages = [](const QString& folder) {
            QStringList files;
            const QDir dir(QStringLiteral(K7310_SOURCE_DIR "/help/pages/") + folder);
            for (const QString& name : dir.entryList({QStringLiteral("*.html")}))
                files << dir.filePath(name);
            return files;
        };
        row("English, and the README", "English",
            pages({}) << QStringLiteral(K7310_SOURCE_DIR "/README.md"));
        row("French", "Français", pages(QStringLiteral("fr")));
        row("German", "Deutsch", pages(QStringLiteral("de")));
    }

    // A menu path written in bold ("<b>Options &gt; PC settings…</b>", "**Help > Contents**")
    // names a menu and one of its entries exactly as the menu bar shows them.
    void helpQuotesTheMenus()
    {
        QFETCH(QString, language);
        QFETCH(QStringList, files);
        DataFunctions7310::SetCurrentLanguage(language);
        wMain frame(wMain::Files{m_fixture->dataFile, m_fixture->folder});
        frame.nationality();
        QHash<QString, QStringList> menus;
        for (QAction* menu : frame.menuBar()->actions()) {
            for (QAction* entry : menu->menu()->actions())
                menus[withoutMnemonic(menu->text())] << withoutMnemonic(entry->text());
        }
        static const QRegularExpression path(
            QStringLiteral(R"((?:<b>|\*\*)([^<*]+?) (?:&gt;|>) ([^<*]+?)(?:</b>|\*\*))"));
        QStringList wrong;
        int paths = 0;
        for (const QString& name : files) {
            QFile file(name);
            QVERIFY(file.open(QIODevice::ReadOnly));
            const QString text = QString::fromUtf8(file.readAll());
            for (auto it = path.globalMatch(text); it.hasNext(); ++paths) {
                const QRegularExpressionMatch found = it.next();
                if (!menus.value(found.captured(1)).contains(found.captured(2)))
                    wrong << QFileInfo(name).fileName() + ": " + found.captured(0);
            }
        }
        QVERIFY2(wrong.isEmpty(), qPrintable(wrong.join(QLatin1Char('\n'))));
        QVERIFY(paths >= 5);
    }

private:
    std::optional<ShellFixture> m_fixture;
};

QTEST_MAIN(TestDialogs)
#include "tst_shelldialogs.moc"
