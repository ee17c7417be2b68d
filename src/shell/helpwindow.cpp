#include "helpwindow.h"

#include "datafunctions7310.h"
#include "errorhandling.h"
#include "textids.h"
#include "uihelpers.h"

#include <QApplication>
#include <QCursor>
#include <QDesktopServices>
#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QHelpContentModel>
#include <QHelpContentWidget>
#include <QHelpEngine>
#include <QHelpIndexWidget>
#include <QHelpLink>
#include <QHelpSearchEngine>
#include <QHelpSearchQueryWidget>
#include <QHelpSearchResultWidget>
#include <QLineEdit>
#include <QPushButton>
#include <QRegularExpression>
#include <QScreen>
#include <QSplitter>
#include <QStyle>
#include <QTabWidget>
#include <QTextBlock>
#include <QTextBrowser>
#include <QTextDocument>
#include <QToolBar>
#include <QVBoxLayout>
#include <QWhatsThis>

#include <utility>

namespace {

// The key of a collection file: one file reached by two paths (a link, "..") is one key.
QString collectionKey(const QString& collectionFile)
{
    if (collectionFile.isEmpty())
        return {};
    const QFileInfo file(collectionFile);
    const QString canonical = file.canonicalFilePath();
    return canonical.isEmpty() ? file.absoluteFilePath() : canonical;
}

QList<QPointer<HelpWindow>>& openWindows()
{
    static QList<QPointer<HelpWindow>> windows;
    return windows;
}

// One engine per collection (one per language), shared by its viewer and the pop-ups, kept
// for the whole run.
QHash<QString, QHelpEngine*>& engines()
{
    static QHash<QString, QHelpEngine*> instance;
    return instance;
}

// A first full-text index may still be building when the application object goes away (a
// quit, or the end of any program that never runs the quit signal): stop it and let each
// engine wait for its indexer while the application is still whole.
void releaseEngines()
{
    // The viewers hold the engines' widgets: they go first.
    for (const QPointer<HelpWindow>& window : std::as_const(openWindows()))
        delete window.data();
    openWindows().clear();
    qDeleteAll(engines());
    engines().clear();
}

QHelpEngine* engineFor(const QString& collectionFile)
{
    const QString key = collectionKey(collectionFile);
    if (key.isEmpty())
        return nullptr;
    if (auto* engine = engines().value(key))
        return engine;
    if (!QFileInfo::exists(key))
        return nullptr;
    auto* engine = new QHelpEngine(key, qApp);
    // The collection beside the program is shared by every running console: never rewrite it.
    engine->setReadOnly(true);
    if (!engine->setupData()) {
        delete engine;
        return nullptr;
    }
    if (engines().isEmpty())
        qAddPostRoutine(releaseEngines);
    engines().insert(key, engine);
    return engine;
}

QUrl pageOf(QHelpEngine* engine, int contextNumber)
{
    if (!engine || contextNumber == 0)
        return {};
    const QList<QHelpLink> links = engine->documentsForIdentifier(QString::number(contextNumber));
    return links.isEmpty() ? QUrl() : links.first().url;
}

// A pop-up page is a field's note of a line or two, made for the pop-up beside the field. In the
// viewer it stands for the page that describes the field, named in its <meta name="page">.
QUrl wholePage(QHelpEngine* engine, const QUrl& url)
{
    if (!url.path().contains(QLatin1String("/popups/")))
        return url;
    static const QRegularExpression meta(
        QStringLiteral("<meta\\s+name=\"page\"\\s+content=\"([^\"]+)\""),
        QRegularExpression::CaseInsensitiveOption);
    const QRegularExpressionMatch match = meta.match(QString::fromUtf8(engine->fileData(url)));
    return match.hasMatch() ? url.resolved(QUrl(match.captured(1))) : url;
}

// The words of a search as one pattern that finds any of them on a page: quotes and signs
// dropped, "*" and "?" as in the search, each word matched at the start of a word.
QRegularExpression searchPattern(const QString& searchInput)
{
    QStringList words;
    static const QRegularExpression separators(QStringLiteral("[\\s\"+()]+"));
    for (QString word : searchInput.split(separators, Qt::SkipEmptyParts)) {
        if (word.startsWith(QLatin1Char('-')) || word == QLatin1String("AND") ||
            word == QLatin1String("OR") || word == QLatin1String("NOT"))
            continue;
        word = QRegularExpression::escape(word);
        word.replace(QLatin1String("\\*"), QLatin1String("\\w*"));
        word.replace(QLatin1String("\\?"), QLatin1String("\\w"));
        if (!word.isEmpty())
            words.append(word);
    }
    if (words.isEmpty())
        return {};
    return QRegularExpression(QStringLiteral("\\b(?:%1)").arg(words.join(QLatin1Char('|'))),
                              QRegularExpression::CaseInsensitiveOption |
                                  QRegularExpression::UseUnicodePropertiesOption);
}

// The help pages' style sheet with every palette(role) replaced by that role's colour.
QString styleSheetFor(const QPalette& palette)
{
    static const QHash<QString, QPalette::ColorRole> roles{
        {QStringLiteral("text"), QPalette::Text},
        {QStringLiteral("base"), QPalette::Base},
        {QStringLiteral("alternate-base"), QPalette::AlternateBase},
        {QStringLiteral("window"), QPalette::Window},
        {QStringLiteral("window-text"), QPalette::WindowText},
        {QStringLiteral("button"), QPalette::Button},
        {QStringLiteral("button-text"), QPalette::ButtonText},
        {QStringLiteral("mid"), QPalette::Mid},
        {QStringLiteral("dark"), QPalette::Dark},
        {QStringLiteral("light"), QPalette::Light},
        {QStringLiteral("highlight"), QPalette::Highlight},
        {QStringLiteral("highlighted-text"), QPalette::HighlightedText},
        {QStringLiteral("link"), QPalette::Link},
        {QStringLiteral("link-visited"), QPalette::LinkVisited},
    };
    const auto colourOf = [&palette](const QString& name) {
        // "rule", for the lines of tables: the text a third of the way over the page, which
        // shows on any page, where the palette's own line colours may match the page's.
        if (name == QLatin1String("rule")) {
            const QColor text = palette.color(QPalette::Active, QPalette::Text);
            const QColor base = palette.color(QPalette::Active, QPalette::Base);
            const auto mix = [](int over, int under) {
                return (over + 2 * under) / 3;
            };
            return QColor(mix(text.red(), base.red()), mix(text.green(), base.green()),
                          mix(text.blue(), base.blue()));
        }
        // An unknown role falls back to the text colour: never a colour of its own.
        const auto found = roles.constFind(name);
        return palette.color(QPalette::Active, found == roles.cend() ? QPalette::Text : *found);
    };
    QFile file(QStringLiteral(":/shell/help.css"));
    if (!file.open(QIODevice::ReadOnly))
        return {};
    QString style = QString::fromUtf8(file.readAll());
    static const QRegularExpression role(QStringLiteral("palette\\(\\s*([a-z-]+)\\s*\\)"));
    QString result;
    qsizetype done = 0;
    for (auto it = role.globalMatch(style); it.hasNext();) {
        const QRegularExpressionMatch match = it.next();
        result += style.mid(done, match.capturedStart() - done);
        result += colourOf(match.captured(1)).name();
        done = match.capturedEnd();
    }
    return result + style.mid(done);
}

// A text browser that reads its pages, style sheets and pictures out of the help collection.
class HelpBrowser : public QTextBrowser
{
public:
    HelpBrowser(QHelpEngine* engine, QWidget* parent)
        : QTextBrowser(parent)
        , m_engine(engine)
    {
        // Links come resolved against the page shown: those into the collection stay in the
        // viewer, the rest (a web address) go to the desktop's own handler.
        setOpenLinks(false);
        connect(this, &QTextBrowser::anchorClicked, this, [this](const QUrl& url) {
            if (url.scheme() == QLatin1String("qthelp"))
                setSource(url);
            else
                QDesktopServices::openUrl(url);
        });
        // One style for every page of every language, kept beside the help sources, in the
        // colours of the palette.
        document()->setDefaultStyleSheet(styleSheetFor(palette()));
    }

    QVariant loadResource(int type, const QUrl& name) override
    {
        if (name.scheme() == QLatin1String("qthelp"))
            return m_engine->fileData(name);
        return QTextBrowser::loadResource(type, name);
    }

protected:
    void changeEvent(QEvent* event) override
    {
        QTextBrowser::changeEvent(event);
        // A theme switched while the viewer is open: the page on view takes the new colours.
        if (event->type() == QEvent::PaletteChange) {
            const QString style = styleSheetFor(palette());
            if (style != document()->defaultStyleSheet()) {
                document()->setDefaultStyleSheet(style);
                if (!source().isEmpty())
                    reload();
            }
        }
    }

private:
    QHelpEngine* m_engine;
};

} // namespace

namespace Help {

namespace {
QString& applicationHelpFile()
{
    static QString path;
    return path;
}
} // namespace

QString ApplicationHelpFile()
{
    return applicationHelpFile();
}

void SetApplicationHelpFile(const QString& path)
{
    const QString previous = std::exchange(applicationHelpFile(), path);
    // A new collection is a new language: the viewers on screen follow it.
    if (collectionKey(previous) != collectionKey(path))
        HelpWindow::SwitchCollection(path);
}

QString PopupText(const QString& collectionFile, int contextNumber)
{
    QHelpEngine* engine = engineFor(collectionFile);
    const QUrl page = pageOf(engine, contextNumber);
    if (page.isEmpty())
        return {};
    return QString::fromUtf8(engine->fileData(page));
}

bool HtmlHelp(QWidget* caller, const QString& collectionFile, int command, int data)
{
    if (command == CloseAll) {
        HelpWindow::CloseAll();
        return true;
    }
    if (command == DisplayTextPopup) {
        const QString text = PopupText(collectionFile, data);
        if (text.isEmpty())
            return false;
        QWidget* anchor = QApplication::focusWidget();
        if (!anchor)
            anchor = caller;
        const QPoint at =
            anchor ? anchor->mapToGlobal(QPoint(0, anchor->height())) : QCursor::pos();
        QWhatsThis::showText(at, text, anchor);
        return true;
    }
    HelpWindow* window = HelpWindow::Open(collectionFile);
    if (!window)
        return false;
    switch (command) {
    case DisplayTopic:
    case DisplayToc:
        window->showContents();
        return true;
    case DisplayIndex:
        window->showIndex();
        return true;
    case DisplaySearch:
        window->showSearch();
        return true;
    case HelpContext:
        if (window->showContext(data))
            return true;
        window->showContents();
        return false;
    default:
        return false;
    }
}

} // namespace Help

HelpWindow* HelpWindow::Open(const QString& collectionFile)
{
    QHelpEngine* engine = engineFor(collectionFile);
    if (!engine)
        return nullptr;
    for (const auto& window : openWindows()) {
        if (window && window->m_engine == engine)
            return window;
    }
    auto* window = new HelpWindow(collectionFile, engine);
    QObject::connect(qApp, &QCoreApplication::aboutToQuit, window, &QObject::deleteLater);
    openWindows().append(window);
    return window;
}

QList<HelpWindow*> HelpWindow::OpenWindows()
{
    QList<HelpWindow*> result;
    for (const auto& window : openWindows()) {
        if (window && window->isVisible())
            result.append(window);
    }
    return result;
}

void HelpWindow::CloseAll()
{
    const auto windows = OpenWindows();
    for (HelpWindow* window : windows)
        window->close();
}

void HelpWindow::SwitchCollection(const QString& collectionFile)
{
    const QString key = collectionKey(collectionFile);
    const auto windows = OpenWindows();
    for (HelpWindow* window : windows) {
        if (collectionKey(window->m_collectionFile) == key)
            continue;
        const QUrl page = window->currentPage();
        const int tab = window->m_sideTabs->currentIndex();
        const QByteArray geometry = window->saveGeometry();
        window->close();
        HelpWindow* replacement = Open(collectionFile);
        if (!replacement)
            continue;
        // The same page in the other language: the pages carry the same names in every
        // collection, only the namespace differs.
        const QStringList namespaces = replacement->m_engine->registeredDocumentations();
        QUrl same = page;
        if (!namespaces.isEmpty())
            same.setHost(namespaces.first());
        replacement->restoreGeometry(geometry);
        if (page.isValid() && replacement->m_engine->findFile(same).isValid()) {
            replacement->m_sideTabs->setCurrentIndex(tab);
            replacement->showPage(same);
            replacement->bringToFront();
        } else {
            replacement->showContents();
        }
    }
}

HelpWindow::HelpWindow(const QString& collectionFile, QHelpEngine* engine)
    : QMainWindow(nullptr)
    , m_collectionFile(collectionFile)
    , m_engine(engine)
{
    setObjectName(QStringLiteral("wHelp"));
    // The engine owns the contents, index and search widgets that this window shows, so the
    // window is only hidden when closed and serves again for the rest of the run.
    setWindowTitle(ConsoleTitle());

    m_sideTabs = new QTabWidget(this);
    m_sideTabs->setObjectName(QStringLiteral("tbsHelp"));
    m_sideTabs->addTab(m_engine->contentWidget(), tr("Contents"));

    auto* indexPage = new QWidget(m_sideTabs);
    auto* indexLayout = new QVBoxLayout(indexPage);
    m_indexFilter = new QLineEdit(indexPage);
    m_indexFilter->setObjectName(QStringLiteral("txtIndexFilter"));
    m_indexFilter->setClearButtonEnabled(true);
    indexLayout->addWidget(m_indexFilter);
    indexLayout->addWidget(m_engine->indexWidget());
    m_sideTabs->addTab(indexPage, tr("Index"));

    QHelpSearchEngine* search = m_engine->searchEngine();
    auto* searchPage = new QWidget(m_sideTabs);
    auto* searchLayout = new QVBoxLayout(searchPage);
    searchLayout->addWidget(search->queryWidget());
    m_searchButton = search->queryWidget()->findChild<QPushButton*>();
    searchLayout->addWidget(search->resultWidget(), 1);
    m_sideTabs->addTab(searchPage, tr("Search"));

    m_browser = new HelpBrowser(m_engine, this);
    m_browser->setObjectName(QStringLiteral("brwPage"));

    // Back and Forward walk the pages seen in this window, as in a web browser.
    auto* toolbar = addToolBar(QString());
    toolbar->setObjectName(QStringLiteral("tbrHelp"));
    toolbar->setMovable(false);
    toolbar->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    m_back = toolbar->addAction(style()->standardIcon(QStyle::SP_ArrowBack), tr("Back"));
    m_back->setObjectName(QStringLiteral("cmdBack"));
    m_back->setShortcut(QKeySequence::Back);
    m_back->setEnabled(false);
    m_forward = toolbar->addAction(style()->standardIcon(QStyle::SP_ArrowForward), tr("Forward"));
    m_forward->setObjectName(QStringLiteral("cmdForward"));
    m_forward->setShortcut(QKeySequence::Forward);
    m_forward->setEnabled(false);
    connect(m_back, &QAction::triggered, m_browser, &QTextBrowser::backward);
    connect(m_forward, &QAction::triggered, m_browser, &QTextBrowser::forward);
    connect(m_browser, &QTextBrowser::backwardAvailable, m_back, &QAction::setEnabled);
    connect(m_browser, &QTextBrowser::forwardAvailable, m_forward, &QAction::setEnabled);

    auto* splitter = new QSplitter(this);
    splitter->addWidget(m_sideTabs);
    splitter->addWidget(m_browser);
    splitter->setStretchFactor(1, 1);
    setCentralWidget(splitter);

    connect(m_engine->contentWidget(), &QHelpContentWidget::linkActivated, this,
            &HelpWindow::showPage);
    // One click on an entry of the contents opens its page; the keys only move the selection.
    connect(m_engine->contentWidget(), &QAbstractItemView::clicked, this,
            [this](const QModelIndex& index) {
                if (const QHelpContentItem* item = m_engine->contentModel()->contentItemAt(index))
                    showPage(item->url());
            });
    // The book is small: its chapters show at once.
    connect(m_engine->contentModel(), &QHelpContentModel::contentsCreated, this,
            [this] { m_engine->contentWidget()->expandToDepth(0); });
    m_engine->contentWidget()->expandToDepth(0);
    connect(m_engine->indexWidget(), &QHelpIndexWidget::documentActivated, this,
            [this](const QHelpLink& document) { showPage(document.url); });
    connect(m_engine->indexWidget(), &QHelpIndexWidget::documentsActivated, this,
            [this](const QList<QHelpLink>& documents) {
                if (!documents.isEmpty())
                    showPage(documents.first().url);
            });
    connect(m_indexFilter, &QLineEdit::textChanged, this,
            [this](const QString& text) { m_engine->indexWidget()->filterIndices(text); });
    connect(m_indexFilter, &QLineEdit::returnPressed, m_engine->indexWidget(),
            &QHelpIndexWidget::activateCurrentItem);
    connect(search->queryWidget(), &QHelpSearchQueryWidget::search, this,
            [search] { search->search(search->queryWidget()->searchInput()); });
    connect(search->resultWidget(), &QHelpSearchResultWidget::requestShowLink, this,
            [this, search](const QUrl& url) {
                showSearchHit(url, search->queryWidget()->searchInput());
            });

    // The full-text index is built in the background the first time the viewer opens.
    search->scheduleIndexDocumentation();

    const QRect screen = QApplication::primaryScreen()->availableGeometry();
    resize(qMin(960, screen.width() * 3 / 4), qMin(680, screen.height() * 3 / 4));
}

void HelpWindow::nationality()
{
    // The viewer's own captions come from the text database, in the console's language: the
    // side tabs are named like the Help menu's entries. Without the database they stay as built.
    if (!DataFunctions7310::IsOpen())
        return;
    auto withoutMnemonic = [](QString caption) {
        return caption.remove(QRegularExpression(QStringLiteral("&(?!&)")));
    };
    try {
        static const char* const entries[] = {"mnuHelpSummary", "mnuHelpIndex", "mnuHelpFind"};
        for (int tab = 0; tab < 3; ++tab) {
            if (const auto caption = DataFunctions7310::GetMenuText(QLatin1String(entries[tab]))) {
                m_sideTabs->setTabText(tab, withoutMnemonic(*caption));
                if (tab == 2 && m_searchButton)
                    m_searchButton->setText(withoutMnemonic(*caption));
            }
        }
    } catch (const RunTimeError&) {
        return;
    }
    setWindowTitle(DataFunctions7310::GetText(TextId::MainTitle) + QStringLiteral(" \u2013 ") +
                   DataFunctions7310::GetText(TextId::Help));
    m_back->setText(DataFunctions7310::GetText(TextId::HelpBack));
    m_forward->setText(DataFunctions7310::GetText(TextId::HelpForward));
}

void HelpWindow::bringToFront()
{
    nationality();
    // A minimised viewer comes back as it was before, then to the front.
    setWindowState(windowState() & ~Qt::WindowMinimized);
    show();
    raise();
    activateWindow();
}

void HelpWindow::showHomePage()
{
    const QStringList namespaces = m_engine->registeredDocumentations();
    if (!namespaces.isEmpty())
        showPage(QUrl(QStringLiteral("qthelp://%1/doc/index.html").arg(namespaces.first())));
}

void HelpWindow::showContents()
{
    m_sideTabs->setCurrentIndex(0);
    // A viewer opened afresh starts on the home page; one on screen keeps its page.
    if (!isVisible() || m_browser->source().isEmpty())
        showHomePage();
    bringToFront();
}

void HelpWindow::showIndex()
{
    m_sideTabs->setCurrentIndex(1);
    if (m_browser->source().isEmpty())
        showHomePage();
    bringToFront();
    m_indexFilter->setFocus();
}

void HelpWindow::showSearch()
{
    m_sideTabs->setCurrentIndex(2);
    if (m_browser->source().isEmpty())
        showHomePage();
    bringToFront();
}

bool HelpWindow::showContext(int contextNumber)
{
    const QUrl page = pageOf(m_engine, contextNumber);
    if (page.isEmpty())
        return false;
    showPage(page);
    bringToFront();
    return true;
}

void HelpWindow::showPage(const QUrl& url)
{
    m_browser->setSource(wholePage(m_engine, url));
}

void HelpWindow::showSearchHit(const QUrl& url, const QString& searchInput)
{
    showPage(url);
    // The hit is the first word of the search on the page, after the place that the page was
    // opened at (a field's section) or, when there is none, from the top.
    const QRegularExpression pattern = searchPattern(searchInput);
    if (!pattern.isValid() || pattern.pattern().isEmpty())
        return;
    QTextDocument* document = m_browser->document();
    const QString anchor = m_browser->source().fragment();
    int from = 0;
    for (QTextBlock block = document->begin(); !anchor.isEmpty() && block.isValid() && from == 0;
         block = block.next()) {
        for (auto fragment = block.begin(); !fragment.atEnd(); ++fragment) {
            if (fragment.fragment().charFormat().anchorNames().contains(anchor)) {
                from = fragment.fragment().position();
                break;
            }
        }
    }
    QTextCursor hit = document->find(pattern, from);
    if (hit.isNull() && from > 0)
        hit = document->find(pattern, 0);
    if (hit.isNull())
        return;
    m_browser->setTextCursor(hit);
    m_browser->ensureCursorVisible();
}

QUrl HelpWindow::currentPage() const
{
    return m_browser->source();
}

QHelpSearchEngine* HelpWindow::searchEngine() const
{
    return m_engine->searchEngine();
}
