#include "shelltestkit.h"
#include "uihelpers.h"
#include "wwarning.h"

#include <QCheckBox>
#include <QGroupBox>
#include <QHelpContentModel>
#include <QHelpContentWidget>
#include <QHelpEngineCore>
#include <QHelpSearchEngine>
#include <QHelpSearchQueryWidget>
#include <QHelpSearchResultWidget>
#include <QScopeGuard>
#include <QSpinBox>
#include <QStyle>
#include <QTabWidget>
#include <QTextBlock>
#include <QTextBrowser>
#include <QTextTable>

#include <cmath>
#include <functional>
#include <optional>

using ConfigChange = std::function<void(wConfig&, ComCtrl&)>;
Q_DECLARE_METATYPE(ConfigChange)
using HelpSteps = std::function<void(HelpWindow&)>;
Q_DECLARE_METATYPE(HelpSteps)

static const QString noSuchPort = "/dev/k7310-no-such-port";
static const QString helpFolder = K7310_BIN_DIR;

namespace {

// A dark desktop palette (the colours of a common dark theme).
QPalette darkPalette()
{
    QPalette dark(QColor(0x31363b), QColor(0x2a2e32)); // button, window
    using R = QPalette;
    for (auto [role, colour] : {std::pair{R::WindowText, 0xfcfcfc},
                                {R::Text, 0xfcfcfc},
                                {R::ButtonText, 0xfcfcfc},
                                {R::Base, 0x1b1e20},
                                {R::AlternateBase, 0x232629},
                                {R::Mid, 0x1f2226},
                                {R::Highlight, 0x3daee9},
                                {R::Link, 0x1d99f3}})
        dark.setColor(QPalette::All, role, QColor(QRgb(colour)));
    return dark;
}

double luminance(const QColor& colour)
{
    const auto linear = [](double c) {
        return c <= 0.03928 ? c / 12.92 : std::pow((c + 0.055) / 1.055, 2.4);
    };
    return 0.2126 * linear(colour.redF()) + 0.7152 * linear(colour.greenF()) +
           0.0722 * linear(colour.blueF());
}

// The contrast ratio of two colours, 1 (none) to 21 (black on white).
double contrast(const QColor& a, const QColor& b)
{
    const double la = luminance(a), lb = luminance(b);
    return (std::max(la, lb) + 0.05) / (std::min(la, lb) + 0.05);
}

// The least readable text of a rendered page: its contrast and the text, with the colours that
// it is drawn in (its own, else the palette's text on the cell's, block's or page's background).
std::pair<double, QString> leastReadable(const QTextBrowser& browser)
{
    const QPalette palette = browser.palette();
    std::pair<double, QString> worst{21.0, QString()};
    QTextDocument* document = browser.document();
    for (QTextBlock block = document->begin(); block.isValid(); block = block.next()) {
        for (auto it = block.begin(); !it.atEnd(); ++it) {
            const QTextFragment fragment = it.fragment();
            if (fragment.text().trimmed().isEmpty())
                continue;
            const QTextCharFormat format = fragment.charFormat();
            QColor text = palette.color(QPalette::Text);
            if (format.foreground().style() != Qt::NoBrush)
                text = format.foreground().color();
            QColor ground = palette.color(QPalette::Base);
            QTextCursor at(document);
            at.setPosition(fragment.position());
            if (format.background().style() != Qt::NoBrush)
                ground = format.background().color();
            else if (block.blockFormat().background().style() != Qt::NoBrush)
                ground = block.blockFormat().background().color();
            else if (QTextTable* table = at.currentTable();
                     table && table->cellAt(at).format().background().style() != Qt::NoBrush)
                ground = table->cellAt(at).format().background().color();
            const double ratio = contrast(text, ground);
            if (ratio < worst.first)
                worst = {ratio, fragment.text().left(40) + " (" + text.name() + " on " +
                                    ground.name() + ")"};
        }
    }
    return worst;
}

// The contrast of the faintest table lines of a rendered page against the page (21: none).
double faintestRule(const QTextBrowser& browser)
{
    double faintest = 21.0;
    const QColor page = browser.palette().color(QPalette::Base);
    for (QTextFrame* frame : browser.document()->rootFrame()->childFrames()) {
        if (auto* table = qobject_cast<QTextTable*>(frame))
            faintest = std::min(faintest, contrast(table->format().borderBrush().color(), page));
    }
    return faintest;
}

QString pageAndPlace(const QUrl& url)
{
    return url.path() + (url.hasFragment() ? "#" + url.fragment() : QString());
}

} // namespace

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
        row("echo Yes, OK: stored and in force", "", 0U,
            ConfigChange([](wConfig& d, ComCtrl&) { d.echo()->setCurrentIndex(1); }), ok,
            QStringList{"Echo=Yes"}, line);
        row("echo stored as something else, Apply: rewritten as Automatic", "Echo=maybe\n",
            unsigned(wConfig::Echo), nothing, apply, QStringList{"Echo=Automatic"}, line);
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
        QCOMPARE(dialog.echo()->itemText(2), "No");
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
        // The port runs with what was stored: the echo setting, and the RTS cycle of a pty.
        QCOMPARE(port.echoSetting(),
                 text.contains("Echo=Yes") ? LineEcho::Setting::Yes : LineEcho::Setting::Automatic);
        QCOMPARE(port.direction(), text.contains("RTS=1") ? Rs485Mode::Direction::Rts
                                                          : Rs485Mode::Direction::Adapter);
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

    void helpPagesFollowPalette_data()
    {
        // windowOnly: the palette is the help window's own, not the application's (as a theme
        // may give text views colours of their own).
        columns<QString, bool, bool>("collection", "dark", "windowOnly");
        row("dark palette, English", "k7310console.qhc", true, false);
        row("dark palette, French", "k7310console_fr.qhc", true, false);
        row("dark palette, German", "k7310console_de.qhc", true, false);
        row("dark palette of the help window alone", "k7310console.qhc", true, true);
        row("light palette, English", "k7310console.qhc", false, false);
    }

    // Every page of the help stays readable in the desktop's palette, dark or light, also when
    // the palette changes while the viewer is open: each text against what lies beneath it, and
    // the lines of its tables show.
    void helpPagesFollowPalette()
    {
        const auto [collection, dark, windowOnly] =
            fetch<QString, bool, bool>("collection", "dark", "windowOnly");
        const QString file = helpFolder + '/' + collection;
        HelpWindow* viewer = HelpWindow::Open(file);
        QVERIFY(viewer);
        viewer->showContents();
        const QPalette before = QApplication::palette();
        const auto restore = qScopeGuard([&before, viewer] {
            viewer->setPalette(QPalette());
            QApplication::setPalette(before);
        });
        const QPalette palette = dark ? darkPalette() : QApplication::style()->standardPalette();
        if (windowOnly)
            viewer->setPalette(palette);
        else
            QApplication::setPalette(palette);
        QCoreApplication::processEvents();
        auto* browser = viewer->findChild<QTextBrowser*>("brwPage");
        QVERIFY(browser);

        QHelpEngineCore pages(file);
        pages.setReadOnly(true);
        QVERIFY(pages.setupData());
        const QList<QUrl> urls =
            pages.files(pages.registeredDocumentations().value(0), QString(), "html");
        QVERIFY(urls.size() > 20);
        for (const QUrl& url : urls) {
            viewer->showPage(url);
            const auto [ratio, text] = leastReadable(*browser);
            QVERIFY2(ratio >= 4.5, qPrintable(url.path() + ": " + text));
            QVERIFY2(faintestRule(*browser) >= 1.5, qPrintable(url.path()));
        }
    }

    void helpWindowFindsItsWay_data()
    {
        // From the home page with no history: what is done, the page and place shown, the text
        // selected in it, and whether Back and Forward can be used.
        columns<HelpSteps, QString, QString, bool, bool>("steps", "page", "selected", "back",
                                                         "forward");
        const auto page = [](const char* name) {
            return QUrl(QString("qthelp://org.k7310console.help/doc/") + name);
        };
        const auto search = [](const QUrl& url, const QString& words) {
            return [url, words](HelpWindow& viewer) {
                QHelpSearchEngine* engine = viewer.searchEngine();
                engine->queryWidget()->setSearchInput(words);
                emit engine->resultWidget()->requestShowLink(url);
            };
        };
        const auto calculator =
            HelpSteps([page](HelpWindow& viewer) { viewer.showPage(page("calculator.html")); });
        const auto click = [](const char* name) {
            return [name](HelpWindow& viewer) {
                auto* button = viewer.findChild<QAction*>(name);
                QVERIFY2(button, name);
                button->trigger();
            };
        };
        row("one click on a contents entry opens its page", HelpSteps([](HelpWindow& viewer) {
                auto* contents = viewer.findChild<QHelpContentWidget*>();
                QTRY_VERIFY(contents->model()->rowCount() > 0);
                const QModelIndexList found =
                    contents->model()->match(contents->model()->index(0, 0), Qt::DisplayRole,
                                             "PC settings", 1, Qt::MatchRecursive);
                QCOMPARE(found.size(), 1);
                contents->scrollTo(found.first());
                QTest::mouseClick(contents->viewport(), Qt::LeftButton, {},
                                  contents->visualRect(found.first()).center());
            }),
            "/doc/settings.html", "", true, false);
        row("Back returns to the page before", HelpSteps([=](HelpWindow& viewer) {
                calculator(viewer);
                click("cmdBack")(viewer);
            }),
            "/doc/index.html", "", false, true);
        row("Forward goes again where Back came from", HelpSteps([=](HelpWindow& viewer) {
                calculator(viewer);
                click("cmdBack")(viewer);
                click("cmdForward")(viewer);
            }),
            "/doc/calculator.html", "", true, false);
        row("a field's note opens as the page that describes it",
            HelpSteps(
                [page](HelpWindow& viewer) { viewer.showPage(page("popups/language.html")); }),
            "/doc/settings.html#general", "", true, false);
        row("search hit on a page: the page, at the word",
            HelpSteps(search(page("getting-started.html"), "dialout")), "/doc/getting-started.html",
            "dialout", true, false);
        row("search hit on a field's note: its page, at the word past the field's section",
            HelpSteps(search(page("popups/rtsdelay.html"), "\"RTS delay\"")),
            "/doc/settings.html#communication", "RTS", true, false);
        row("search hit with a wildcard",
            HelpSteps(search(page("popups/config-synchro.html"), "synchro*")),
            "/doc/configuration.html#fields", "Synchronisation", true, false);
    }

    // The help window's ways around: contents, Back and Forward, search results.
    void helpWindowFindsItsWay()
    {
        const auto [steps, page, selected, back, forward] =
            fetch<HelpSteps, QString, QString, bool, bool>("steps", "page", "selected", "back",
                                                           "forward");
        HelpWindow* viewer = HelpWindow::Open(helpFolder + "/k7310console.qhc");
        QVERIFY(viewer);
        viewer->showContents();
        auto* browser = viewer->findChild<QTextBrowser*>("brwPage");
        browser->setSource(QUrl("qthelp://org.k7310console.help/doc/index.html"));
        browser->clearHistory();
        steps(*viewer);
        if (QTest::currentTestFailed())
            return;
        QCOMPARE(pageAndPlace(viewer->currentPage()), page);
        QCOMPARE(browser->textCursor().selectedText(), selected);
        if (!selected.isEmpty())
            QVERIFY(browser->viewport()->rect().contains(browser->cursorRect()));
        const auto* backButton = viewer->findChild<QAction*>("cmdBack");
        const auto* forwardButton = viewer->findChild<QAction*>("cmdForward");
        QVERIFY(backButton && forwardButton);
        QCOMPARE(backButton->isEnabled(), back);
        QCOMPARE(forwardButton->isEnabled(), forward);
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
