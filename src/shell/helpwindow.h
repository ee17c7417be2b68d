#pragma once

#include <QMainWindow>
#include <QPointer>
#include <QUrl>

class QHelpEngine;
class QHelpSearchEngine;
class QAction;
class QLineEdit;
class QPushButton;
class QTabWidget;
class QTextBrowser;

// The help viewer: a window on a Qt Help collection with its table of contents, keyword index
// and full-text search beside the page. The main frame drives it through HtmlHelp() with the
// viewer's classic command numbers; context numbers are the keyword ids of the help project.
namespace Help {

enum Command : int {
    DisplayTopic = 0,
    DisplayToc = 1,
    DisplayIndex = 2,
    DisplaySearch = 3,
    DisplayTextPopup = 14,
    HelpContext = 15,
    CloseAll = 18,
};

// The application's help file: the collection of the console's language beside the program,
// or "" when there is none (help calls then show nothing). Setting another file replaces the
// viewers on screen with viewers of the new collection (SwitchCollection).
QString ApplicationHelpFile();
void SetApplicationHelpFile(const QString& path);

// Runs one help command on the collection file. Returns false when it showed nothing: no
// file, an unreadable collection, or a context number without a page.
bool HtmlHelp(QWidget* caller, const QString& collectionFile, int command, int data);

// The rich text of the pop-up page of a control's context number; empty when it has none.
QString PopupText(const QString& collectionFile, int contextNumber);

} // namespace Help

class HelpWindow : public QMainWindow
{
    Q_OBJECT

public:
    // The open viewer of this collection, or a new one; nullptr when the collection cannot be
    // read.
    static HelpWindow* Open(const QString& collectionFile);
    // The viewers on screen.
    static QList<HelpWindow*> OpenWindows();
    static void CloseAll();
    // Closes the viewers on screen that show another collection; each is replaced by a viewer
    // of this one on the same page and place (its home page when the page is not there). An
    // empty or unreadable collection only closes them.
    static void SwitchCollection(const QString& collectionFile);

    void showContents();
    void showIndex();
    void showSearch();
    // Shows the page of a context number; false when the number has none.
    bool showContext(int contextNumber);
    // Shows a page; a field's pop-up page shows as the page that describes the field.
    void showPage(const QUrl& url);
    // Shows the page of a search result with the first word found of the search selected.
    void showSearchHit(const QUrl& url, const QString& searchInput);

    QUrl currentPage() const;
    QHelpSearchEngine* searchEngine() const;
    QString collectionFile() const { return m_collectionFile; }

private:
    HelpWindow(const QString& collectionFile, QHelpEngine* engine);
    void bringToFront();
    void nationality();
    void showHomePage();

    QString m_collectionFile;
    QHelpEngine* m_engine;
    QTabWidget* m_sideTabs = nullptr;
    QLineEdit* m_indexFilter = nullptr;
    QTextBrowser* m_browser = nullptr;
    QPushButton* m_searchButton = nullptr;
    QAction* m_back = nullptr;
    QAction* m_forward = nullptr;
};
