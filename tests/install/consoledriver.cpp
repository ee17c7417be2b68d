// Drives an installed console from inside, as a technician would at a first start: answers the
// language dialog and the messages, opens the help, searches it, and quits. Loaded into the
// program under test as a Qt generic plugin (QT_QPA_GENERIC_PLUGINS=k7310driver), so the
// program runs unchanged. Reports on standard error, one "driver:" line per finding.
#include <QAbstractButton>
#include <QAction>
#include <QApplication>
#include <QDir>
#include <QFileInfo>
#include <QGenericPlugin>
#include <QHelpContentModel>
#include <QHelpEngine>
#include <QHelpSearchEngine>
#include <QMessageBox>
#include <QPushButton>
#include <QTextBrowser>
#include <QTimer>

#include <cstdio>
#include <cstdlib>

namespace {

void report(const QString& text)
{
    std::fprintf(stderr, "driver: %s\n", qPrintable(text));
}

QWidget* shown(const char* name)
{
    for (QWidget* window : QApplication::topLevelWidgets())
        if (window->objectName() == QLatin1String(name) && window->isVisible())
            return window;
    return nullptr;
}

class Steps : public QObject
{
public:
    Steps()
    {
        connect(&m_tick, &QTimer::timeout, this, &Steps::step);
        m_tick.start(200);
    }

private:
    enum Stage { Starting, HelpOpening, Searching, Quitting, Closing };

    void step()
    {
        if (++m_ticks > 150) {
            QStringList windows;
            for (QWidget* window : QApplication::topLevelWidgets())
                if (window->isVisible())
                    windows << window->metaObject()->className() + (' ' + window->objectName());
            report(QStringLiteral("timed out at stage %1 with %2")
                       .arg(m_stage)
                       .arg(windows.join(", ")));
            std::_Exit(3);
        }
        if (auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget())) {
            report(QStringLiteral("message ") + box->text());
            box->defaultButton() ? box->defaultButton()->click() : box->reject();
            return;
        }
        if (QWidget* settings = shown("wConfig")) {
            if (auto* ok = settings->findChild<QAbstractButton*>(QStringLiteral("cmdButtons_1")))
                ok->click();
            return;
        }
        QWidget* main = shown("wMain");
        if (!main || !main->isEnabled())
            return;
        switch (m_stage) {
        case Starting:
            return openHelp(main);
        case HelpOpening:
            return checkHelp();
        case Searching:
        case Closing:
            return;
        case Quitting:
            // Queued: the quit question runs a modal loop, and this timer does not fire while
            // its own slot runs.
            QMetaObject::invokeMethod(main, &QWidget::close, Qt::QueuedConnection);
            m_stage = Closing;
            return;
        }
    }

    void openHelp(QWidget* main)
    {
        const auto files =
            QDir(QStringLiteral("/proc/self/fd")).entryInfoList(QDir::AllEntries | QDir::System);
        for (const QFileInfo& fd : files)
            if (fd.symLinkTarget().endsWith(QLatin1String(".dat")))
                report(QStringLiteral("open ") + fd.symLinkTarget());
        auto* contents = main->findChild<QAction*>(QStringLiteral("mnuHelpSummary"));
        if (!contents)
            return;
        // The viewer schedules its first full-text index as it opens: listen before it runs.
        contents->trigger();
        const auto engines = qApp->findChildren<QHelpEngine*>();
        if (engines.isEmpty()) {
            report(QStringLiteral("no help engine"));
            std::_Exit(4);
        }
        m_engine = engines.first();
        QHelpSearchEngine* searchEngine = m_engine->searchEngine();
        connect(searchEngine, &QHelpSearchEngine::indexingFinished, this,
                [this] { m_indexed = true; });
        connect(searchEngine, &QHelpSearchEngine::searchingFinished, this, [this](int hits) {
            report(QStringLiteral("search hits %1").arg(hits));
            m_stage = Quitting;
        });
        m_stage = HelpOpening;
    }

    void checkHelp()
    {
        QWidget* viewer = shown("wHelp");
        if (!viewer || m_engine->contentModel()->isCreatingContents() || !m_indexed)
            return;
        auto* page = viewer->findChild<QTextBrowser*>(QStringLiteral("brwPage"));
        report(QStringLiteral("help %1 chapters %2 page %3")
                   .arg(m_engine->collectionFile())
                   .arg(m_engine->contentModel()->rowCount())
                   .arg(page ? page->toPlainText().section(QLatin1Char('\n'), 0, 0) : QString()));
        m_stage = Searching;
        m_engine->searchEngine()->search(QStringLiteral("slave"));
    }

    QTimer m_tick;
    int m_ticks = 0;
    Stage m_stage = Starting;
    QHelpEngine* m_engine = nullptr;
    bool m_indexed = false;
};

} // namespace

class ConsoleDriver : public QGenericPlugin
{
    Q_OBJECT
    Q_PLUGIN_METADATA(IID QGenericPluginFactoryInterface_iid FILE "consoledriver.json")

public:
    QObject* create(const QString&, const QString&) override { return new Steps; }
};

#include "consoledriver.moc"
