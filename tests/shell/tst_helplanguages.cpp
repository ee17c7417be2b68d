#include "datafunctions7310.h"
#include "helpwindow.h"
#include "wmain.h"

#include <QFileInfo>
#include <QHelpSearchEngine>
#include <QHelpSearchResult>
#include <QTextBrowser>
#include <QtTest>

// The help follows the console's language: text 1 names the collection, an English viewer on
// screen turns into one of the new language on the same page, context numbers and the
// full-text search work in that language.
class TestHelpLanguages : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { QCOMPARE(DataFunctions7310::OpenDataFile(dataFile), 0); }
    void cleanupTestCase() { DataFunctions7310::CloseDataFile(); }
    void cleanup() { HelpWindow::CloseAll(); }

    void viewerFollowsLanguage_data();
    void viewerFollowsLanguage();

private:
    const QString dataFile = QStringLiteral(K7310_BIN_DIR "/k7310console.dat");
};

void TestHelpLanguages::viewerFollowsLanguage_data()
{
    QTest::addColumn<QString>("language");
    QTest::addColumn<QString>("collection");
    QTest::addColumn<QString>("word"); // only on the getting-started page
    QTest::newRow("French") << "Français"
                            << "k7310console_fr.qhc"
                            << "résistance";
    QTest::newRow("German") << "Deutsch"
                            << "k7310console_de.qhc"
                            << "Abschlusswiderstand";
}

void TestHelpLanguages::viewerFollowsLanguage()
{
    QFETCH(QString, language);
    QFETCH(QString, collection);
    QFETCH(QString, word);
    DataFunctions7310::SetCurrentLanguage(QStringLiteral("English"));
    wMain frame(wMain::Files{dataFile, QStringLiteral(K7310_BIN_DIR)});
    frame.nationality();
    QVERIFY(Help::HtmlHelp(nullptr, Help::ApplicationHelpFile(), Help::HelpContext, 1101));

    DataFunctions7310::SetCurrentLanguage(language);
    frame.nationality();
    const QString file = Help::ApplicationHelpFile();
    QCOMPARE(QFileInfo(file).fileName(), collection);
    const QList<HelpWindow*> windows = HelpWindow::OpenWindows();
    QCOMPARE(windows.size(), 1);
    QCOMPARE(windows.first()->collectionFile(), file);
    QCOMPARE(windows.first()->currentPage().fileName(), QStringLiteral("settings.html"));
    QCOMPARE(windows.first()->currentPage().fragment(), QStringLiteral("communication"));
    // Page headings and pop-ups quote the captions of the text database.
    QVERIFY(windows.first()->findChild<QTextBrowser*>()->toPlainText().startsWith(
        DataFunctions7310::GetText(1100)));
    QVERIFY(Help::PopupText(file, 1113).contains(DataFunctions7310::GetText(1113)));

    // The new viewer has started its language's full-text index.
    QHelpSearchEngine* search = windows.first()->searchEngine();
    QSignalSpy indexed(search, &QHelpSearchEngine::indexingFinished);
    QVERIFY(indexed.wait(20000));
    QSignalSpy searched(search, &QHelpSearchEngine::searchingFinished);
    search->search(word);
    QVERIFY(searched.wait(20000));
    QCOMPARE(search->searchResultCount(), 1);
    QCOMPARE(search->searchResults(0, 1).first().url().fileName(),
             QStringLiteral("getting-started.html"));
    DataFunctions7310::SetCurrentLanguage(QString());
}

QTEST_MAIN(TestHelpLanguages)
#include "tst_helplanguages.moc"
