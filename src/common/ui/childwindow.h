#pragma once

#include <QWidget>

// The base of the main frame's child windows. Each child keeps a Modified flag that the main
// frame reads when the console closes, re-captions itself from the text database in
// nationality(), carries a help context number, and saves its position when it is unloaded.
// Closing it from its own close box while Modified asks first; unload() never asks.
class ChildWindow : public QWidget
{
    Q_OBJECT
    Q_PROPERTY(bool Modified READ Modified WRITE setModified)

public:
    explicit ChildWindow(QWidget* parent = nullptr);

    bool Modified() const { return m_modified; }
    void setModified(bool modified) { m_modified = modified; }

    // Captions every tagged control from the text database in the current language.
    virtual void nationality();

    int helpContextId() const { return m_helpContextId; }
    void setHelpContextId(int id) { m_helpContextId = id; }

    // Closes the window without the unsaved-changes question (console closing).
    void unload();

    // The window that carries the geometry: the MDI frame around the child, or the child.
    QWidget* frameWidget();

signals:
    void unloaded();

protected:
    void closeEvent(QCloseEvent* event) override;
    void showEvent(QShowEvent* event) override;
    // Runs once when the window goes away for good, after its position was saved.
    virtual void onUnload() {}

private:
    bool m_modified = false;
    bool m_unloading = false;
    bool m_placed = false; // shown at least once, with its stored placement applied
    int m_helpContextId = 0;
};

// Asks text 10111 (unsaved edits would be lost) as a warning with No as the default.
bool ConfirmDiscardChanges(QWidget* parent);
