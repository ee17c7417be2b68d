#pragma once

#include <QList>
#include <QPointer>
#include <QSize>
#include <QString>

#include <functional>

class ChildWindow;
class QMdiArea;
class QMdiSubWindow;

// The main frame's child windows by their File menu index. Each kind is registered once
// with its toolbar key, toolbar image, help context number and a factory; the registry keeps
// at most one open window of each kind.
class ChildRegistry
{
public:
    struct Kind
    {
        int index = 0;         // position in the File menu's panel entries
        QString toolbarKey;    // toolbar button key, the name of the menu command it repeats
        QString image;         // toolbar image
        int captionTextId = 0; // File menu caption
        int helpContextId = 0; // used when the window sets none itself
        std::function<ChildWindow*()> create;
    };

    explicit ChildRegistry(QMdiArea* area);

    void add(Kind kind);
    const QList<Kind>& kinds() const { return m_kinds; }
    const Kind* kind(int index) const;
    const Kind* kindOfKey(const QString& toolbarKey) const;

    // The open window of a kind, or nullptr.
    ChildWindow* window(int index) const;
    QList<ChildWindow*> openWindows() const;
    // Creates the window when it is not open (without showing it) and returns it.
    ChildWindow* load(int index);
    // Unloads the open window of a kind, without the unsaved-changes question.
    void unload(int index);
    // Loads when needed, shows and brings the window to the front.
    ChildWindow* show(int index);
    void unloadAll();
    // Lays the open windows of these kinds out side by side in an area of this size, without
    // one hiding another (a first start, when no window has a place of its own).
    void arrange(const QList<int>& indexes, const QSize& area);

private:
    struct Slot
    {
        int index;
        QPointer<ChildWindow> window;
        QPointer<QMdiSubWindow> frame;
    };

    QMdiArea* m_area;
    QList<Kind> m_kinds;
    QList<Slot> m_open;
};
