#include "childregistry.h"

#include "uihelpers.h"

#include "childwindow.h"
#include "shellhelpers.h"

#include <QIcon>
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QScrollBar>

ChildRegistry::ChildRegistry(QMdiArea* area)
    : m_area(area)
{}

void ChildRegistry::add(Kind kind)
{
    m_kinds.append(std::move(kind));
}

const ChildRegistry::Kind* ChildRegistry::kind(int index) const
{
    for (const Kind& candidate : m_kinds) {
        if (candidate.index == index)
            return &candidate;
    }
    return nullptr;
}

const ChildRegistry::Kind* ChildRegistry::kindOfKey(const QString& toolbarKey) const
{
    for (const Kind& candidate : m_kinds) {
        if (candidate.toolbarKey == toolbarKey)
            return &candidate;
    }
    return nullptr;
}

ChildWindow* ChildRegistry::window(int index) const
{
    for (const Slot& slot : m_open) {
        if (slot.index == index && slot.window)
            return slot.window;
    }
    return nullptr;
}

QList<ChildWindow*> ChildRegistry::openWindows() const
{
    QList<ChildWindow*> windows;
    for (const Slot& slot : m_open) {
        if (slot.window)
            windows.append(slot.window);
    }
    return windows;
}

ChildWindow* ChildRegistry::load(int index)
{
    if (ChildWindow* open = window(index))
        return open;
    const Kind* wanted = kind(index);
    if (!wanted)
        return nullptr;
    m_open.removeIf([index](const Slot& slot) { return slot.index == index; });

    ChildWindow* child = wanted->create();
    if (child->helpContextId() == 0)
        child->setHelpContextId(wanted->helpContextId);
    QMdiSubWindow* frame = m_area->addSubWindow(child);
    frame->setAttribute(Qt::WA_DeleteOnClose);
    frame->setWindowIcon(ThemedIcon(wanted->image, m_area->palette()));
    frame->setWindowTitle(child->windowTitle());
    m_open.append(Slot{index, child, frame});
    // Closed from its own close box: forgotten at once, although the frame is deleted later.
    QObject::connect(child, &ChildWindow::unloaded, m_area, [this, child] {
        m_open.removeIf([child](const Slot& slot) { return slot.window == child; });
    });
    return child;
}

void ChildRegistry::unload(int index)
{
    // The window's unloaded() signal takes it off the list.
    if (ChildWindow* open = window(index))
        open->unload();
}

ChildWindow* ChildRegistry::show(int index)
{
    ChildWindow* child = load(index);
    if (!child)
        return nullptr;
    child->frameWidget()->show();
    child->show();
    if (auto* frame = qobject_cast<QMdiSubWindow*>(child->frameWidget())) {
        if (frame->isMinimized())
            frame->showNormal();
        // Asked for from the menu or the toolbar, the window comes into sight even when the
        // first start's layout left it where the area scrolls; in front, it may cover others.
        if (!frame->isMaximized() && m_area->isVisible()) {
            // Room for the scroll bars that the other windows may still call for.
            QRect room = m_area->viewport()->rect();
            const int bar = static_cast<int>(SystemMetrics(m_area));
            if (!m_area->verticalScrollBar()->isVisible())
                room.setWidth(room.width() - bar);
            if (!m_area->horizontalScrollBar()->isVisible())
                room.setHeight(room.height() - bar);
            frame->setGeometry(KeptInside(frame->geometry(), room));
        }
        m_area->setActiveSubWindow(frame);
    }
    child->frameWidget()->raise();
    return child;
}

void ChildRegistry::unloadAll()
{
    for (const Kind& each : m_kinds)
        unload(each.index);
}

void ChildRegistry::arrange(const QList<int>& indexes, const QSize& area)
{
    // Two columns, the window in front at the top left: each window fills its share of the
    // area, or keeps the least size its controls need, in which case the next one starts
    // where it ends (the area scrolls) rather than lie over it.
    static constexpr int order[] = {0, 3, 2, 1};
    QList<QWidget*> frames;
    for (int index : order)
        if (indexes.contains(index))
            if (ChildWindow* child = window(index))
                frames << child->frameWidget();
    if (frames.isEmpty())
        return;
    const int rows = static_cast<int>((frames.size() + 1) / 2);
    const QSize cell(area.width() / 2, area.height() / rows);
    int top = 0;
    for (int row = 0; row < rows; ++row) {
        int left = 0;
        int height = 0;
        for (int column = 0; column < 2 && 2 * row + column < frames.size(); ++column) {
            QWidget* frame = frames.at(2 * row + column);
            const QSize size =
                cell.expandedTo(frame->minimumSizeHint()).expandedTo(frame->minimumSize());
            frame->setGeometry(QRect(QPoint(left, top), size));
            left += size.width();
            height = std::max(height, size.height());
        }
        top += height;
    }
}
