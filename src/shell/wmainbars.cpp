// The main frame's menus, toolbar and status bar: built once, found again by their names
// and keys (a toolbar button's key is the name of the menu command it duplicates).
#include "wmain.h"

#include "datafunctions7310.h"
#include "linemodetext.h"
#include "linemonitor.h"
#include "nationality.h"
#include "shellhelpers.h"
#include "textids.h"

#include <QAction>
#include <QLabel>
#include <QMenuBar>
#include <QStatusBar>
#include <QToolBar>

namespace {
constexpr const char* keyProperty = "key";
} // namespace

QAction* wMain::addEntry(QMenu* menu, const char* name)
{
    auto* entry = menu->addAction(QLatin1String(name));
    entry->setObjectName(QLatin1String(name));
    m_entries.append(entry);
    return entry;
}

QAction* wMain::addSeparatorEntry(QMenu* menu, const char* name)
{
    QAction* entry = addEntry(menu, name);
    entry->setSeparator(true);
    entry->setText(QString());
    return entry;
}

void wMain::buildMenus()
{
    auto addMenu = [this](const char* name) {
        QMenu* menu = menuBar()->addMenu(QLatin1String(name));
        menu->setObjectName(QLatin1String(name));
        menu->menuAction()->setObjectName(QLatin1String(name));
        m_menus.append(menu);
        return menu;
    };

    QMenu* mnuFile = addMenu("mnuFile");
    for (const ChildRegistry::Kind& kind : m_children.kinds()) {
        auto* entry = mnuFile->addAction(QString());
        entry->setObjectName(QStringLiteral("mnuFilePanel_%1").arg(kind.index));
        entry->setIcon(ThemedIcon(kind.image, palette()));
        const int index = kind.index;
        connect(entry, &QAction::triggered, this, [this, index] { mnuFilePanel_Click(index); });
        m_mnuFilePanel.insert(index, entry);
    }
    addSeparatorEntry(mnuFile, "mnuFileSep1");
    QAction* quit = addEntry(mnuFile, "mnuFileQuit");
    quit->setShortcut(QKeySequence::Quit);
    connect(quit, &QAction::triggered, this, &wMain::mnuFileQuit_Click);

    QMenu* mnuOptions = addMenu("mnuOptions");
    connect(addEntry(mnuOptions, "mnuOptionsPrefs"), &QAction::triggered, this,
            &wMain::mnuOptionsPrefs_Click);
    connect(addEntry(mnuOptions, "mnuOptionsLineCheck"), &QAction::triggered, this,
            &wMain::mnuOptionsLineCheck_Click);

    QMenu* mnuWindow = addMenu("mnuWindow");
    connect(addEntry(mnuWindow, "mnuWindowCascade"), &QAction::triggered, this,
            &wMain::mnuWindowCascade_Click);
    QAction* monitor = addEntry(mnuWindow, "mnuWindowMonitor");
    monitor->setCheckable(true);
    connect(monitor, &QAction::triggered, this, &wMain::mnuWindowMonitor_Click);

    QMenu* mnuHelp = addMenu("mnuHelp");
    connect(addEntry(mnuHelp, "mnuHelpSummary"), &QAction::triggered, this,
            &wMain::mnuHelpSummary_Click);
    connect(addEntry(mnuHelp, "mnuHelpIndex"), &QAction::triggered, this,
            &wMain::mnuHelpIndex_Click);
    connect(addEntry(mnuHelp, "mnuHelpFind"), &QAction::triggered, this, &wMain::mnuHelpFind_Click);
    QAction* context = addEntry(mnuHelp, "mnuHelpContext");
    context->setShortcut(QKeySequence::HelpContents);
    context->setShortcutContext(Qt::ApplicationShortcut);
    connect(context, &QAction::triggered, this, &wMain::mnuHelpContext_Click);
    addSeparatorEntry(mnuHelp, "mnuHelpSep1");
    connect(addEntry(mnuHelp, "mnuHelpAbout"), &QAction::triggered, this,
            &wMain::mnuHelpAbout_Click);
}

void wMain::buildToolBar()
{
    m_tbrTools = addToolBar(QString());
    m_tbrTools->setObjectName(QStringLiteral("tbrTools"));
    m_tbrTools->setMovable(false);
    m_tbrTools->setIconSize(QSize(24, 24));
    auto addButton = [this](const QString& key) {
        QAction* button = m_tbrTools->addAction(key);
        button->setProperty(keyProperty, key);
        button->setToolTip(key);
        connect(button, &QAction::triggered, this, [this, key] { tbrTools_ButtonClick(key); });
        m_buttons.append(button);
    };
    auto addSeparator = [this](const QString& key) {
        QAction* separator = m_tbrTools->addSeparator();
        separator->setProperty(keyProperty, key);
        m_buttons.append(separator);
    };
    for (const ChildRegistry::Kind& kind : m_children.kinds()) {
        addButton(kind.toolbarKey);
        m_images.insert(kind.toolbarKey, ThemedIcon(kind.image, palette()));
    }
    addSeparator(QStringLiteral("tbrSep1"));
    addButton(QStringLiteral("mnuHelpContext"));
    addSeparator(QStringLiteral("tbrSep2"));
    addButton(QStringLiteral("mnuFileQuit"));
    m_images.insert(QStringLiteral("mnuHelpContext"),
                    ThemedIcon(QStringLiteral(":/shell/images/helpcontext.svg"), palette()));
    m_images.insert(QStringLiteral("mnuFileQuit"),
                    ThemedIcon(QStringLiteral(":/shell/images/quit.svg"), palette()));
}

void wMain::buildStatusBar()
{
    statusBar()->setObjectName(QStringLiteral("sbrStatus"));
    auto addPanel = [this](const QString& key, int textId, int stretch) {
        auto* panel = new QLabel(statusBar());
        panel->setObjectName(key);
        if (textId)
            Tags::Set(panel, textId);
        panel->setContentsMargins(4, 0, 4, 0);
        statusBar()->addPermanentWidget(panel, stretch);
        m_panels.append(panel);
    };
    addPanel(QStringLiteral("Prompt"), 0, 1);
    addPanel(QStringLiteral("Line"), TextId::StatusPort, 0);
    addPanel(QStringLiteral("Slave"), TextId::StatusSlave, 0);
}

void wMain::setPrompt(int textId)
{
    QLabel* prompt = statusPanel(QStringLiteral("Prompt"));
    Tags::Set(prompt, textId);
    prompt->setText(DataFunctions7310::GetText(textId));
    prompt->setToolTip(DataFunctions7310::GetToolTip(textId));
}

void wMain::showLineState()
{
    if (!DataFunctions7310::IsOpen())
        return;
    const auto captioned = [](int textId, const QString& value) {
        return DataFunctions7310::Captioned(textId, value);
    };
    int state = TextId::StatusLineClosed;
    if (m_comCtrl.state() == ComCtrl::State::Open)
        state = TextId::StatusLineOpen;
    else if (m_comCtrl.state() == ComCtrl::State::Lost)
        state = TextId::StatusLineLost;
    // The direction control in force follows the state; why the kernel's is not, in the tip.
    const CommFunctions::TextLookup text = [](int id) {
        return DataFunctions7310::GetText(id);
    };
    QLabel* line = statusPanel(QStringLiteral("Line"));
    QString shown = ComCtrl::SystemLocation(m_comCtrl.portName()) + QLatin1Char(' ') +
                    m_comCtrl.settings() + QLatin1Char(' ') + DataFunctions7310::GetText(state);
    if (m_comCtrl.isOpen())
        shown += QStringLiteral(", ") + LineModeText::Direction(m_comCtrl.direction(), text);
    line->setText(captioned(TextId::StatusPort, shown));
    line->setToolTip(m_comCtrl.isOpen() ? LineModeText::Summary(m_comCtrl, text) : QString());
    const int slave = m_comCtrl.lastSlave();
    statusPanel(QStringLiteral("Slave"))
        ->setText(captioned(TextId::StatusSlave,
                            slave > 0 ? QString::number(slave) : QStringLiteral("-")));
}

QAction* wMain::menuEntry(const QString& name) const
{
    for (QAction* entry : m_entries) {
        if (entry->objectName() == name)
            return entry;
    }
    for (QMenu* menu : m_menus) {
        if (menu->objectName() == name)
            return menu->menuAction();
    }
    return nullptr;
}

QAction* wMain::toolButton(const QString& key) const
{
    for (QAction* button : m_buttons) {
        if (button->property(keyProperty).toString() == key)
            return button;
    }
    return nullptr;
}

QLabel* wMain::statusPanel(const QString& key) const
{
    for (QLabel* panel : m_panels) {
        if (panel->objectName() == key)
            return panel;
    }
    return nullptr;
}

void wMain::applyToolBarImages()
{
    for (QAction* button : m_buttons) {
        const QString key = button->property(keyProperty).toString();
        if (!key.isEmpty() && m_images.contains(key))
            button->setIcon(m_images.value(key));
    }
}
