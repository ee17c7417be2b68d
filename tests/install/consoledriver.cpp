// Drives an installed console from inside, as a technician would at a first start: answers the
// language dialog and the messages, opens the help, searches it, and quits. Loaded into the
// program under test as a Qt generic plugin (QT_QPA_GENERIC_PLUGINS=k7310driver), so the
// program runs unchanged. Reports on standard error, one "driver:" line per finding.
#include <QAbstractButton>
#include <QAction>
#include <QApplication>
#include <QDir>
#include <QGenericPlugin>
#include <QHelpContentModel>
#include <QHelpEngine>
#include <QHelpSearchEngine>
#include <QMessageBox>
#include <QPushButton>
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
        if (++m_ticks > 150) { // 30 s
            report(QStringLiteral("timed out at stage %1").arg(m_stage));
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
        if (m_stage == Starting)
            openHelp(main);
        else if (m_stage == HelpOpening)
            checkHelp();
        else if (m_stage == Quitting) {
            // Queued: the quit question runs a modal loop, and this timer does not fire while
            // its own slot runs.
            QMetaObject::invokeMethod(main, &QWidget::close, Qt::QueuedConnection);
            m_stage = Closing;
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
        m_engine = qApp->findChild<QHelpEngine*>();
        if (!m_engine) {
            report(QStringLiteral("no help engine"));
            std::_Exit(4);
        }
        QHelpSearchEngine* search = m_engine->searchEngine();
        connect(search, &QHelpSearchEngine::indexingFinished, this, [this] { m_indexed = true; });
        connect(search, &QHelpSearchEngine::searchingFinished, this, [this](int hits) {
            report(QStringLiteral("search hits %1").arg(hits));
            m_stage = Quitting;
        });
        m_stage = HelpOpening;
    }

    void checkHelp()
    {
        if (!shown("wHelp") || m_engine->contentModel()->isCreatingContents() || !m_indexed)
            return;
        report(QStringLiteral("help %1 chapters %2")
                   .arg(m_engine->collectionFile())
                   .arg(m_engine->contentModel()->rowCount()));
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
