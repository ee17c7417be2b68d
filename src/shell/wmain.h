#pragma once

#include "childregistry.h"
#include "comctrl.h"
#include "linemonitor.h"

#include <QHash>
#include <QIcon>
#include <QMainWindow>
#include <QPointer>

class QAction;
class QLabel;
class QMdiArea;
class QMenu;
class QToolBar;
class wSplash;

// The console's main frame: the menus, the toolbar, the status bar and the child windows in
// an MDI area. It owns the serial line for the whole run. load() is the start-up sequence.
class wMain : public QMainWindow
{
    Q_OBJECT

public:
    // The files the console works with, beside the program unless a test says otherwise.
    struct Files
    {
        QString dataFile;      // empty: the data file beside the program
        QString programFolder; // empty: the program's folder (the help collection is there)
    };

    explicit wMain(Files files = {}, QWidget* parent = nullptr);
    ~wMain() override;

    // The start-up sequence. False when the data file cannot be opened: the message has been
    // shown and the program ends without showing or saving anything.
    bool load();

    // Re-captions menus, status bar, toolbar tooltips and finds the help collection.
    Q_INVOKABLE void nationality();

    // The child windows that the start-up shows, in the order they are loaded; the others
    // (the line survey) open only when asked for.
    static const QList<int>& StartupChildren();

    ComCtrl& comCtrl() { return m_comCtrl; }
    ChildRegistry& children() { return m_children; }
    QMdiArea* mdiArea() const { return m_mdiArea; }
    QToolBar* toolBar() const { return m_tbrTools; }
    // The menu entry or toolbar button of a name ("mnuHelpIndex", toolbar key "mnuFileQuit").
    QAction* menuEntry(const QString& name) const;
    QAction* toolButton(const QString& key) const;
    QAction* panelEntry(int index) const { return m_mnuFilePanel.value(index); }
    QLabel* statusPanel(const QString& key) const;
    // The status bar prompt: a text of the data file, kept by its ID so that it follows a
    // change of language.
    void setPrompt(int textId);

    // The commands of the menus and the toolbar.
    void mnuFilePanel_Click(int index);
    void mnuFileQuit_Click();
    void mnuOptionsPrefs_Click();
    void mnuOptionsLineCheck_Click();
    void mnuWindowCascade_Click();
    // Shows or hides the line monitor, which records from start-up; its state is kept between
    // runs.
    void mnuWindowMonitor_Click(bool shown);
    LineMonitor* lineMonitor() const { return m_monitor; }
    void mnuHelpSummary_Click();
    void mnuHelpIndex_Click();
    void mnuHelpFind_Click();
    void mnuHelpContext_Click();
    void mnuHelpAbout_Click();
    void tbrTools_ButtonClick(const QString& key);

protected:
    void closeEvent(QCloseEvent* event) override;
    void changeEvent(QEvent* event) override;

private:
    void registerChildren();
    void buildMenus();
    void buildToolBar();
    void buildStatusBar();
    QAction* addEntry(QMenu* menu, const char* name);
    QAction* addSeparatorEntry(QMenu* menu, const char* name);
    void applyToolBarImages();
    // The line and slave panels: port, settings text and state; the last slave that answered.
    void showLineState();
    bool queryUnload();
    void waitForSplash();
    void makeLineMonitor();
    // The frame's place and maximised state, kept in the settings file between runs.
    void restorePlacement();
    void savePlacement();
    void keepFrameInSight();
    // Toolbar, File menu and child window images drawn for the current palette.
    void refreshImages();

    Files m_files;
    ComCtrl m_comCtrl;
    QMdiArea* m_mdiArea;
    ChildRegistry m_children;
    QToolBar* m_tbrTools = nullptr;
    QList<QMenu*> m_menus;
    QList<QAction*> m_entries;
    QHash<int, QAction*> m_mnuFilePanel;
    QList<QAction*> m_buttons;
    QHash<QString, QIcon> m_images;
    QList<QLabel*> m_panels;
    QPointer<wSplash> m_splash;
    QPointer<LineMonitor> m_monitor;
};
