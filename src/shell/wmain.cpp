#include "wmain.h"

#include "commfunctions.h"
#include "datafunctions7310.h"
#include "errorhandling.h"
#include "helpcopy.h"
#include "helphook.h"
#include "helpwindow.h"
#include "linemonitor.h"
#include "nationality.h"
#include "prompthook.h"
#include "shellhelpers.h"
#include "textids.h"
#include "uihelpers.h"
#include "wconfig.h"
#include "wlinecheck.h"
#include "wlinesurvey.h"
#include "wpanelcalcul.h"
#include "wpanelconfig.h"
#include "wpanelframe.h"
#include "wpaneltools.h"
#include "wsplash.h"
#include "zrbfonctions.h"

#include <QAction>
#include <QApplication>
#include <QCloseEvent>
#include <QDir>
#include <QFileInfo>
#include <QLabel>
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QMenu>
#include <QMessageBox>
#include <QPushButton>
#include <QRegularExpression>
#include <QScreen>

namespace {

const QString communication = QStringLiteral("Communication");
const QString monitorSection = QStringLiteral("LineMonitor");
constexpr const char* keyProperty = "key";
constexpr const char* helpContextProperty = "helpContextId";

// Procedure name of the start-up sequence in the error report.
const QString loadProcedure = QStringLiteral("wMain.MDIForm_Load");

QString withoutMnemonic(QString caption)
{
    return caption.remove(QRegularExpression(QStringLiteral("&(?!&)")));
}

} // namespace

wMain::wMain(Files files, QWidget* parent)
    : QMainWindow(parent)
    , m_files(std::move(files))
    , m_mdiArea(new QMdiArea(this))
    , m_children(m_mdiArea)
{
    setObjectName(QStringLiteral("wMain"));
    Tags::Set(this, TextId::MainTitle);
    setWindowIcon(QIcon(QStringLiteral(":/shell/images/k7310console.svg")));
    m_mdiArea->setObjectName(QStringLiteral("mdiArea"));
    m_mdiArea->setHorizontalScrollBarPolicy(Qt::ScrollBarAsNeeded);
    m_mdiArea->setVerticalScrollBarPolicy(Qt::ScrollBarAsNeeded);
    setCentralWidget(m_mdiArea);

    // Dialogs outside the shell (the slave dialogs) open their pages in the same viewer.
    HelpHook::Set([](QWidget* caller, int contextId) {
        Help::HtmlHelp(caller, Help::ApplicationHelpFile(), Help::HelpContext, contextId);
    });

    registerChildren();
    buildMenus();
    buildToolBar();
    buildStatusBar();
    m_comCtrl.setChangeHook([this] { showLineState(); });
    // Refusals and notes of the windows pass through the prompt panel for a few seconds.
    PromptHook::Set([panel = QPointer<QLabel>(statusPanel(QStringLiteral("Prompt")))](
                        const QString& text) { PromptHook::ShowPassing(panel, text); });
    // A finished action's confirmation stands in the prompt until the next one.
    PromptHook::SetConfirm(
        [panel = QPointer<QLabel>(statusPanel(QStringLiteral("Prompt")))](const QString& text) {
            if (!panel)
                return;
            panel->setText(text);
            panel->setToolTip(text);
        });
    resize(1024, 720);
}

wMain::~wMain()
{
    // The children and the monitor hold the serial line by reference: they go before it does.
    qDeleteAll(m_mdiArea->subWindowList());
    delete m_monitor;
    m_comCtrl.setChangeHook({});
}

const QList<int>& wMain::StartupChildren()
{
    static const QList<int> indexes{1, 2, 3, 0};
    return indexes;
}

void wMain::registerChildren()
{
    // Each child window is one entry: File menu index, toolbar key and image, caption, help
    // context number and how to make one.
    m_children.add({0, QStringLiteral("mnuFileConfig"), QStringLiteral(":/shell/images/config.svg"),
                    TextId::PanelConfigTitle, TextId::PanelConfigTitle, [this] {
                        return new wPanelConfig(m_comCtrl);
                    }});
    m_children.add({1, QStringLiteral("mnuFileCalcul"), QStringLiteral(":/shell/images/calcul.svg"),
                    TextId::PanelCalculTitle, TextId::PanelCalculTitle, [] {
                        return new wPanelCalcul;
                    }});
    m_children.add({2, QStringLiteral("mnuFileFrame"), QStringLiteral(":/shell/images/frame.svg"),
                    TextId::PanelFrameTitle, TextId::PanelFrameTitle, [this] {
                        return new wPanelFrame(m_comCtrl);
                    }});
    m_children.add({3, QStringLiteral("mnuFileTools"), QStringLiteral(":/shell/images/tools.svg"),
                    TextId::PanelToolsTitle, TextId::PanelToolsTitle, [this] {
                        return new wPanelTools(m_comCtrl);
                    }});
    m_children.add({4, QStringLiteral("mnuFileSurvey"), QStringLiteral(":/shell/images/survey.svg"),
                    TextId::SurveyTitle, TextId::SurveyTitle, [this] {
                        auto* survey = new wLineSurvey(m_comCtrl);
                        // A row opened in the configuration window is read there at once.
                        survey->setConfigOpener([this](int slave) {
                            if (auto* config = qobject_cast<wPanelConfig*>(m_children.show(0)))
                                config->readSlave(static_cast<std::uint8_t>(slave));
                        });
                        return survey;
                    }});
}

bool wMain::load()
{
    QList<int> unplaced; // child windows without a place of their own
    // The data file comes first: without it there is no text to show anything with.
    const QString dataFile =
        m_files.dataFile.isEmpty() ? DataFunctions7310::DataFilePath() : m_files.dataFile;
    if (DataFunctions7310::OpenDataFile(dataFile) != 0) {
        QMessageBox::critical(nullptr, ConsoleTitle(),
                              QStringLiteral("Cannot open the Data file."));
        return false;
    }

    try {
        // A language that is no column of the data file is reported once; the console then
        // goes on as on a first run, in the default column.
        QString language =
            ZRBfonctions::GetIniParam(QStringLiteral("General"), QStringLiteral("Language"), {});
        if (!language.isEmpty() &&
            !DataFunctions7310::LanguageColumns().contains(language, Qt::CaseInsensitive)) {
            ErrorHandling(loadProcedure, ErrorNumber::DataItemNotFound,
                          QStringLiteral("Language=") + language);
            language.clear();
        }
        DataFunctions7310::SetCurrentLanguage(language);
        // Opens the label table once; the text itself is not needed.
        DataFunctions7310::GetText(TextId::LanguageName);
        // The monitor listens from now on, whether or not its pane is ever shown: a fault met
        // before anyone thought of the monitor is still in its list.
        makeLineMonitor();
        setPrompt(TextId::StatusPrompt);
        nationality();
        applyToolBarImages();
        restorePlacement();

        if (language.isEmpty()) {
            // First run: the language is chosen before anything else happens.
            show();
            wConfig firstRun(m_comCtrl, this);
            firstRun.setFirstRun();
            firstRun.exec();
        }
        nationality();

        // A stored value that cannot be used is reported, and its key's default serves.
        const auto setting = [](const QString& key, const QString& fallback, const auto& convert) {
            const QString text = ZRBfonctions::GetIniParam(communication, key, fallback);
            try {
                return convert(text);
            } catch (const RunTimeError& error) {
                ErrorHandling(loadProcedure, error.number(), key + QLatin1Char('=') + text);
                return convert(fallback);
            }
        };
        m_comCtrl.setPortName(
            ZRBfonctions::GetIniParam(communication, QStringLiteral("Port"), m_comCtrl.portName()));
        CommFunctions::SetCommBauds(m_comCtrl,
                                    setting(QStringLiteral("Bauds"),
                                            QString::number(CommFunctions::GetCommBauds(m_comCtrl)),
                                            IniValue::Long));
        CommFunctions::SetCommStops(
            m_comCtrl,
            static_cast<std::int16_t>(
                setting(QStringLiteral("Stops"),
                        QString::number(CommFunctions::GetCommStops(m_comCtrl)), IniValue::Short)));
        CommFunctions::SetCommParity(
            m_comCtrl, ZRBfonctions::GetIniParam(communication, QStringLiteral("Parity"),
                                                 CommFunctions::GetCommParity(m_comCtrl)));
        CommFunctions::SetRtsHandshake(
            setting(QStringLiteral("RTS"), QStringLiteral("0"), IniValue::Boolean));
        CommFunctions::SetRtsDelay(
            setting(QStringLiteral("RtsDelay"), QStringLiteral("5"), IniValue::Short));
        m_comCtrl.setHalfDuplex(CommFunctions::RtsHandshake(), CommFunctions::RtsDelay());
        const QString echo =
            ZRBfonctions::GetIniParam(communication, QStringLiteral("Echo"),
                                      LineEcho::SettingValue(LineEcho::Setting::Automatic));
        if (const std::optional<LineEcho::Setting> parsed = LineEcho::ParseSetting(echo))
            m_comCtrl.setEchoSetting(*parsed);
        else
            ErrorHandling(loadProcedure, ErrorNumber::TypeMismatch, QStringLiteral("Echo=") + echo);

        // Without a line the console still serves: the calculator, the help, the settings.
        try {
            m_comCtrl.open();
        } catch (const RunTimeError& error) {
            ErrorHandling(loadProcedure, error);
        }

        waitForSplash();

        CommFunctions::SetFrameDelay(
            setting(QStringLiteral("FrameDelay"), QStringLiteral("50"), IniValue::Short));

        if (ZRBfonctions::GetIniParam(monitorSection, QStringLiteral("Visible"), {}) ==
            QLatin1String("1"))
            mnuWindowMonitor_Click(true);

        // Loaded, unloaded and shown in this order; the configuration window comes last so
        // that it ends in front. Those with no place of their own yet (a first start) are then
        // laid out side by side.
        for (int index : StartupChildren()) {
            if (!m_children.kind(index))
                continue;
            m_children.load(index);
            if (!ZRBfonctions::RestoreWindow(m_children.window(index)->objectName(), {})
                     .geometry.isValid())
                unplaced << index;
            m_children.unload(index);
            m_children.show(index);
        }
    } catch (const RunTimeError& error) {
        ErrorHandling(loadProcedure, error);
    }
    setEnabled(true);
    show();
    keepFrameInSight();
    // The area is now at its size: the windows with no place are laid out in it, and those
    // with a place saved in a larger frame are brought inside it.
    m_children.arrange(unplaced, m_mdiArea->viewport()->size());
    for (const ChildRegistry::Kind& kind : m_children.kinds()) {
        ChildWindow* child = m_children.window(kind.index);
        QWidget* frame = child ? child->frameWidget() : nullptr;
        if (frame && frame != child && !frame->isMaximized() && !unplaced.contains(kind.index))
            frame->setGeometry(KeptInside(frame->geometry(), m_mdiArea->viewport()->rect()));
    }
    return true;
}

void wMain::keepFrameInSight()
{
    // Once shown, the title bar's height is known: the whole frame, title bar included, is
    // brought onto the screen.
    if (isMaximized() || isFullScreen() || !screen())
        return;
    const QRect frame = frameGeometry();
    const QRect kept = KeptInside(frame, screen()->availableGeometry());
    if (kept == frame)
        return;
    resize(size() - (frame.size() - kept.size()));
    move(kept.topLeft());
}

void wMain::restorePlacement()
{
    // The default: as large as the screen allows up to 1024 x 720, centred. A stored place is
    // brought inside the screen it is on (or the primary one), whatever screen it was saved on.
    const QScreen* screen = QGuiApplication::primaryScreen();
    const QRect available = screen ? screen->availableGeometry() : QRect(0, 0, 1024, 768);
    QRect fallback(QPoint(), QSize(1024, 720).boundedTo(available.size()));
    fallback.moveCenter(available.center());
    const auto placement = ZRBfonctions::RestoreWindow(objectName(), {fallback, {}});
    const QScreen* holding = QGuiApplication::screenAt(placement.geometry.center());
    setGeometry(KeptInside(placement.geometry, holding ? holding->availableGeometry() : available));
    if (placement.state == ZRBfonctions::WindowState::Maximized)
        setWindowState(windowState() | Qt::WindowMaximized);
}

void wMain::savePlacement()
{
    // The normal geometry, so that a maximised frame comes back to its own size when restored.
    const QRect normal = isMaximized() || isMinimized() ? normalGeometry() : geometry();
    ZRBfonctions::SaveWindow(objectName(),
                             {normal, isMaximized() ? ZRBfonctions::WindowState::Maximized
                                                    : ZRBfonctions::WindowState::Normal});
}

void wMain::changeEvent(QEvent* event)
{
    QMainWindow::changeEvent(event);
    // The images are drawn for the palette's background: a dark theme gets light shapes.
    if (event->type() == QEvent::PaletteChange || event->type() == QEvent::ApplicationPaletteChange)
        refreshImages();
}

void wMain::refreshImages()
{
    for (const ChildRegistry::Kind& kind : m_children.kinds()) {
        const QIcon icon = ThemedIcon(kind.image, palette());
        m_images.insert(kind.toolbarKey, icon);
        if (QAction* entry = m_mnuFilePanel.value(kind.index))
            entry->setIcon(icon);
        if (ChildWindow* child = m_children.window(kind.index))
            child->frameWidget()->setWindowIcon(icon);
    }
    m_images.insert(QStringLiteral("mnuHelpContext"),
                    ThemedIcon(QStringLiteral(":/shell/images/helpcontext.svg"), palette()));
    m_images.insert(QStringLiteral("mnuFileQuit"),
                    ThemedIcon(QStringLiteral(":/shell/images/quit.svg"), palette()));
    applyToolBarImages();
}

void wMain::waitForSplash()
{
    setEnabled(false);
    show();
    if (!m_splash) {
        m_splash = new wSplash(this);
        m_splash->show();
    }
    while (m_splash && m_splash->closeTimerRunning())
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    delete m_splash;
    setEnabled(true);
}

void wMain::nationality()
{
    // Menus and entries by name; a name without a row shows itself.
    auto caption = [](QAction* entry) {
        // A separator's row holds "-": it stays a plain line.
        if (entry->isSeparator())
            return;
        const std::optional<QString> text = DataFunctions7310::GetMenuText(entry->objectName());
        entry->setText(text ? *text : entry->objectName());
    };
    for (QMenu* menu : m_menus)
        caption(menu->menuAction());
    for (QAction* entry : m_entries)
        caption(entry);
    for (auto it = m_mnuFilePanel.cbegin(); it != m_mnuFilePanel.cend(); ++it)
        it.value()->setText(DataFunctions7310::GetText(231000 + 1000 * it.key()));

    for (QLabel* panel : m_panels) {
        if (const int tag = Tags::Of(panel)) {
            panel->setText(DataFunctions7310::GetText(tag));
            panel->setToolTip(DataFunctions7310::GetToolTip(tag));
        }
    }
    showLineState();
    if (m_monitor)
        m_monitor->nationality();

    // A button without a row keeps the tooltip it has.
    for (QAction* button : m_buttons) {
        const std::optional<QString> text =
            DataFunctions7310::GetMenuText(button->property(keyProperty).toString());
        if (text) {
            button->setToolTip(withoutMnemonic(*text));
            button->setText(withoutMnemonic(*text));
        }
    }

    const QString folder = m_files.programFolder.isEmpty() ? QCoreApplication::applicationDirPath()
                                                           : m_files.programFolder;
    const QString helpName = DataFunctions7310::GetText(TextId::HelpFile);
    QString helpFile = helpName.isEmpty() ? QString() : QDir(folder).filePath(helpName);
    // An installed copy keeps its help with its data, in the installed data folders, and reads
    // it from a per-user copy where its search index can be written.
    if (m_files.programFolder.isEmpty() && !helpName.isEmpty() && !QFileInfo(helpFile).isFile()) {
        const QString installed = DataFunctions7310::LocateInstalled(helpName);
        if (!installed.isEmpty())
            helpFile = Help::PerUserCopy(installed);
    }
    const bool helpAvailable = !helpFile.isEmpty() && QFileInfo(helpFile).isFile();
    Help::SetApplicationHelpFile(helpAvailable ? helpFile : QString());
    for (const char* name : {"mnuHelpSummary", "mnuHelpIndex", "mnuHelpSep1"})
        menuEntry(QLatin1String(name))->setVisible(helpAvailable);
    toolButton(QStringLiteral("mnuHelpContext"))->setVisible(helpAvailable);

    setWindowTitle(DataFunctions7310::GetText(TextId::MainTitle));
}

void wMain::mnuFilePanel_Click(int index)
{
    m_children.show(index);
}

void wMain::mnuFileQuit_Click()
{
    close();
}

void wMain::mnuOptionsPrefs_Click()
{
    wConfig dialog(m_comCtrl, this);
    dialog.exec();
}

void wMain::mnuOptionsLineCheck_Click()
{
    wLineCheck dialog(m_comCtrl, this);
    dialog.exec();
}

void wMain::mnuWindowCascade_Click()
{
    m_mdiArea->cascadeSubWindows();
}

void wMain::makeLineMonitor()
{
    if (m_monitor)
        return;
    m_monitor = new LineMonitor(m_comCtrl, this);
    addDockWidget(Qt::BottomDockWidgetArea, m_monitor);
    m_monitor->hide();
    connect(m_monitor, &QDockWidget::visibilityChanged, menuEntry("mnuWindowMonitor"),
            [this](bool visible) {
                if (isVisible())
                    menuEntry(QStringLiteral("mnuWindowMonitor"))->setChecked(visible);
            });
}

void wMain::mnuWindowMonitor_Click(bool shown)
{
    makeLineMonitor();
    m_monitor->setVisible(shown);
    menuEntry(QStringLiteral("mnuWindowMonitor"))->setChecked(shown);
}

void wMain::mnuHelpSummary_Click()
{
    Help::HtmlHelp(this, Help::ApplicationHelpFile(), Help::DisplayToc, 0);
}

void wMain::mnuHelpIndex_Click()
{
    Help::HtmlHelp(this, Help::ApplicationHelpFile(), Help::DisplayIndex, 0);
}

void wMain::mnuHelpFind_Click()
{
    // Deliberately shows nothing: the search command's data argument comes from an empty
    // text that is not a number, and that failed conversion skips the call.
}

void wMain::mnuHelpContext_Click()
{
    int contextNumber = 0;
    bool fromControl = false;
    QMdiSubWindow* active = m_mdiArea->activeSubWindow();
    if (auto* child = active ? qobject_cast<ChildWindow*>(active->widget()) : nullptr) {
        contextNumber = child->helpContextId();
        if (QWidget* control = child->focusWidget()) {
            if (const int controlNumber = control->property(helpContextProperty).toInt()) {
                contextNumber = controlNumber;
                fromControl = true;
            }
        }
    }
    const QString file = Help::ApplicationHelpFile();
    if (contextNumber == 0)
        Help::HtmlHelp(this, file, Help::DisplayToc, 0);
    else if (fromControl)
        Help::HtmlHelp(this, file, Help::DisplayTextPopup, contextNumber);
    else
        Help::HtmlHelp(this, file, Help::HelpContext, contextNumber);
}

void wMain::mnuHelpAbout_Click()
{
    wSplash about(this);
    about.setAboutMode(true);
    about.exec();
}

void wMain::tbrTools_ButtonClick(const QString& key)
{
    if (key == QLatin1String("mnuFileQuit"))
        mnuFileQuit_Click();
    else if (key == QLatin1String("mnuFileConfig"))
        mnuFilePanel_Click(0);
    else if (key == QLatin1String("mnuFileTools"))
        mnuFilePanel_Click(3);
    else if (key == QLatin1String("mnuFileFrame"))
        mnuFilePanel_Click(2);
    else if (key == QLatin1String("mnuFileCalcul"))
        mnuFilePanel_Click(1);
    else if (key == QLatin1String("mnuHelpContext"))
        mnuHelpContext_Click();
    else if (const ChildRegistry::Kind* kind = m_children.kindOfKey(key))
        mnuFilePanel_Click(kind->index);
}

bool wMain::queryUnload()
{
    bool modified = false;
    const auto widgets = QApplication::allWidgets();
    for (QWidget* widget : widgets) {
        if (widget != this && widget->property("Modified").toBool()) {
            modified = true;
            break;
        }
    }
    QMessageBox question(this);
    question.setWindowTitle(ConsoleTitle());
    question.setStandardButtons(QMessageBox::Yes | QMessageBox::No);
    question.button(QMessageBox::Yes)->setText(DataFunctions7310::GetText(TextId::Yes));
    question.button(QMessageBox::No)->setText(DataFunctions7310::GetText(TextId::No));
    if (modified) {
        question.setIcon(QMessageBox::Warning);
        question.setText(WithLineBreaks(DataFunctions7310::GetText(TextId::QuitUnsaved)));
        question.setDefaultButton(QMessageBox::No);
    } else {
        question.setIcon(QMessageBox::Question);
        question.setText(DataFunctions7310::GetText(TextId::QuitQuestion));
        question.setDefaultButton(QMessageBox::Yes);
    }
    return question.exec() == QMessageBox::Yes;
}

void wMain::closeEvent(QCloseEvent* event)
{
    if (!queryUnload()) {
        event->ignore();
        return;
    }
    // Each child saves its own position as it goes; the monitor's state is kept for the next run.
    ZRBfonctions::SetIniParam(monitorSection, QStringLiteral("Visible"),
                              m_monitor && m_monitor->isVisible() ? QStringLiteral("1")
                                                                  : QStringLiteral("0"));
    m_children.unloadAll();
    savePlacement();
    Help::HtmlHelp(this, Help::ApplicationHelpFile(), Help::CloseAll, 0);
    event->accept();
}
