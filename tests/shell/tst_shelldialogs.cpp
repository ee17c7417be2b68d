#include "datafunctions7310.h"
#include "helpwindow.h"
#include "shelltestkit.h"
#include "wconfig.h"
#include "wsplash.h"
#include "wwarning.h"

#include <QComboBox>
#include <QLabel>
#include <QMessageBox>
#include <QPushButton>
#include <QTabWidget>
#include <QTextBrowser>
#include <QWhatsThis>
#include <QtTest>

#include "comctrl.h"

namespace {
const QString collection = QStringLiteral(K7310_BIN_DIR "/k7310console.qhc");
}

class TestDialogs : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanup() { HelpWindow::CloseAll(); }

    void splashIgnoresInputWhileTimerRuns_data();
    void splashIgnoresInputWhileTimerRuns();
    void splashVersionLine();
    void aboutShowsBothAddresses();
    void warningTextsAndAnswer_data();
    void warningTextsAndAnswer();
    void contextNumbersReachTheirPages_data();
    void contextNumbersReachTheirPages();
    void settingsDialogHelpFollowsPage();

private:
    ShellFixture* m_fixture = nullptr;
};

void TestDialogs::initTestCase()
{
    m_fixture = new ShellFixture;
    QVERIFY(m_fixture->openData());
    DataFunctions7310::SetCurrentLanguage(QStringLiteral("English"));
}

void TestDialogs::splashIgnoresInputWhileTimerRuns_data()
{
    QTest::addColumn<bool>("about");
    QTest::addColumn<bool>("byClick");
    QTest::newRow("splash, Esc") << false << false;
    QTest::newRow("splash, click on the picture") << false << true;
    QTest::newRow("about box, Esc") << true << false;
    QTest::newRow("about box, click on the picture") << true << true;
}

void TestDialogs::splashIgnoresInputWhileTimerRuns()
{
    QFETCH(bool, about);
    QFETCH(bool, byClick);
    wSplash::SetCloseInterval(300);
    wSplash splash;
    splash.setAboutMode(about);
    splash.show();
    QVERIFY(QTest::qWaitForWindowExposed(&splash));
    QLabel* picture = splash.findChild<QLabel*>(QStringLiteral("imgSplash"));
    QVERIFY(picture);
    auto knock = [&] {
        if (byClick)
            QTest::mouseClick(picture, Qt::LeftButton);
        else
            QTest::keyClick(&splash, Qt::Key_Escape);
    };
    QVERIFY(splash.closeTimerRunning());
    knock();
    QVERIFY(splash.isVisible());
    // The timer switches itself off but does not close the window.
    QTRY_VERIFY_WITH_TIMEOUT(!splash.closeTimerRunning(), 3000);
    QVERIFY(splash.isVisible());
    knock();
    QVERIFY(!splash.isVisible());
    QCOMPARE(splash.aboutButton()->isVisibleTo(&splash), about);
    wSplash::SetCloseInterval(5000);
}

void TestDialogs::splashVersionLine()
{
    wSplash splash;
    QCOMPARE(wSplash::CloseInterval(), 5000);
    splash.setVersion(3, 0, 12);
    QCOMPARE(splash.versionLabel(0)->text(), QStringLiteral("Version 3.0."));
    QCOMPARE(splash.versionLabel(2)->text(), QStringLiteral("12"));
    QCOMPARE(splash.versionLabel(1)->text(), splash.versionLabel(0)->text());
    QCOMPARE(splash.versionLabel(3)->text(), splash.versionLabel(2)->text());
    // The release number sits right beside the version, on both layers.
    for (int i : {0, 1}) {
        QLabel* version = splash.versionLabel(i);
        QLabel* release = splash.versionLabel(i + 2);
        QCOMPARE(release->x(), version->x() + version->width());
        QCOMPARE(release->y(), version->y());
    }
    QCOMPARE(splash.versionText(), QStringLiteral("Version 3.0.12"));
    // The window fits its picture, and the line lies on it.
    QLabel* picture = splash.findChild<QLabel*>(QStringLiteral("imgSplash"));
    QCOMPARE(splash.size(), picture->size());
    QVERIFY(splash.rect().contains(splash.versionLabel(2)->geometry()));
}

void TestDialogs::aboutShowsBothAddresses()
{
    wSplash about;
    about.setAboutMode(true);
    about.show();
    QString text;
    QMessageBox::Icon icon = QMessageBox::NoIcon;
    OnNextModal([&](QWidget* modal) {
        auto* box = qobject_cast<QMessageBox*>(modal);
        QVERIFY(box);
        text = box->text();
        icon = box->icon();
        box->accept();
    });
    about.aboutButton()->click();
    QCOMPARE(icon, QMessageBox::Information);
    const QStringList lines = text.split(QLatin1Char('\n'));
    QCOMPARE(lines.size(), 2);
    QCOMPARE(lines.at(0), DataFunctions7310::GetText(1510));
    QCOMPARE(lines.at(1), DataFunctions7310::GetText(1511));
    QVERIFY(lines.at(0).contains(QStringLiteral("Orvane")));
}

void TestDialogs::warningTextsAndAnswer_data()
{
    QTest::addColumn<QString>("press"); // "yes", "no" or "close"
    QTest::addColumn<bool>("answer");
    QTest::newRow("Yes") << "yes" << true;
    QTest::newRow("No") << "no" << false;
    QTest::newRow("close box") << "close" << false;
}

void TestDialogs::warningTextsAndAnswer()
{
    QFETCH(QString, press);
    QFETCH(bool, answer);
    wWarning warning;
    QCOMPARE(warning.windowTitle(), QStringLiteral("Warning"));
    QCOMPARE(warning.label(0)->text(),
             QStringLiteral("This action overwrites the current settings.\nIt cannot be undone."));
    QCOMPARE(warning.label(1)->text(), QStringLiteral("Do you want to continue?"));
    QCOMPARE(warning.command(1)->text(), QStringLiteral("Yes"));
    QCOMPARE(warning.command(0)->text(), QStringLiteral("No"));
    QVERIFY(!warning.answer());

    OnNextModal([&](QWidget* modal) {
        QCOMPARE(modal, &warning);
        if (press == QLatin1String("yes"))
            warning.command(1)->click();
        else if (press == QLatin1String("no"))
            warning.command(0)->click();
        else
            warning.close();
    });
    warning.exec();
    QVERIFY(!warning.isVisible());
    QCOMPARE(warning.answer(), answer);
}

void TestDialogs::contextNumbersReachTheirPages_data()
{
    QTest::addColumn<int>("number");
    QTest::addColumn<QString>("page");
    QTest::addColumn<QString>("heading");
    QTest::newRow("main window") << 1000 << "main-window.html"
                                 << "The main window";
    QTest::newRow("PC settings") << 1100 << "settings.html"
                                 << "PC settings";
    QTest::newRow("PC settings, Communication page") << 1101 << "settings.html"
                                                     << "Communication page";
    QTest::newRow("PC settings, General page") << 1102 << "settings.html"
                                               << "General page";
    QTest::newRow("about box") << 1500 << "main-window.html"
                               << "About";
    QTest::newRow("warning") << 1600 << "main-window.html"
                             << "Warning questions";
    QTest::newRow("slave dialog") << 35000 << "slave-dialogs.html"
                                  << "Which panel?";
    QTest::newRow("slave search") << 35010 << "slave-dialogs.html"
                                  << "Searching";
    QTest::newRow("calculator") << 232000 << "calculator.html"
                                << "Calculator";
    QTest::newRow("frame builder") << 233000 << "frame-builder.html"
                                   << "Frame builder";
}

void TestDialogs::contextNumbersReachTheirPages()
{
    QFETCH(int, number);
    QFETCH(QString, page);
    QFETCH(QString, heading);
    QVERIFY(Help::HtmlHelp(nullptr, collection, Help::HelpContext, number));
    const QList<HelpWindow*> windows = HelpWindow::OpenWindows();
    QCOMPARE(windows.size(), 1);
    QCOMPARE(windows.first()->currentPage().fileName(), page);
    auto* browser = windows.first()->findChild<QTextBrowser*>();
    QVERIFY(browser->toPlainText().contains(heading));
    QVERIFY(windows.first()->isVisible());
}

void TestDialogs::settingsDialogHelpFollowsPage()
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
    auto popupShown = [] {
        for (QWidget* window : QApplication::topLevelWidgets()) {
            if (window->inherits("QWhatsThat") && window->isVisible())
                return true;
        }
        return false;
    };
    QVERIFY(popupShown());
    QWhatsThis::hideText();
    // F1 elsewhere on the page: the page's help.
    dialog.pages()->setFocus();
    QTest::keyClick(&dialog, Qt::Key_F1);
    QCOMPARE(HelpWindow::OpenWindows().size(), 1);
    QCOMPARE(HelpWindow::OpenWindows().first()->currentPage().fragment(),
             QStringLiteral("general"));
    Help::SetApplicationHelpFile(QString());
}

QTEST_MAIN(TestDialogs)
#include "tst_shelldialogs.moc"
