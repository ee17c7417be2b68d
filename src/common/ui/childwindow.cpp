#include "childwindow.h"

#include "datafunctions7310.h"
#include "nationality.h"
#include "uihelpers.h"
#include "zrbfonctions.h"

#include <QApplication>
#include <QCloseEvent>
#include <QMdiSubWindow>
#include <QMessageBox>
#include <QShowEvent>

namespace {
constexpr int discardChangesQuestion = 10111;
}

ChildWindow::ChildWindow(QWidget* parent)
    : QWidget(parent)
{}

void ChildWindow::nationality()
{
    Tags::ApplyTexts(this);
    if (auto* frame = qobject_cast<QMdiSubWindow*>(parentWidget()))
        frame->setWindowTitle(windowTitle());
}

void ChildWindow::unload()
{
    m_unloading = true;
    frameWidget()->close();
}

QWidget* ChildWindow::frameWidget()
{
    if (auto* frame = qobject_cast<QMdiSubWindow*>(parentWidget()))
        return frame;
    return this;
}

void ChildWindow::closeEvent(QCloseEvent* event)
{
    if (!m_unloading && m_modified && !ConfirmDiscardChanges(this)) {
        event->ignore();
        return;
    }
    // A window loaded and unloaded without ever being shown keeps its stored placement.
    if (m_placed) {
        QWidget* frame = frameWidget();
        ZRBfonctions::WindowPlacement placement{frame->geometry(), {}};
        // Inside the main frame's area a window has no normal geometry of its own: a
        // maximised or minimised one keeps the size stored before.
        if (frame->isMaximized() || frame->isMinimized()) {
            placement = ZRBfonctions::RestoreWindow(objectName(), placement);
            placement.state = frame->isMaximized() ? ZRBfonctions::WindowState::Maximized
                                                   : ZRBfonctions::WindowState::Minimized;
        }
        ZRBfonctions::SaveWindow(objectName(), placement);
    }
    onUnload();
    event->accept();
    emit unloaded();
}

void ChildWindow::showEvent(QShowEvent* event)
{
    QWidget::showEvent(event);
    if (m_placed)
        return;
    m_placed = true;
    QWidget* frame = frameWidget();
    const auto placement = ZRBfonctions::RestoreWindow(objectName(), {frame->geometry(), {}});
    // A place saved on a larger screen or in a larger main frame comes back into sight.
    QWidget* area = frame->parentWidget();
    frame->setGeometry(KeptInside(placement.geometry, area ? area->rect() : QRect()));
    if (placement.state == ZRBfonctions::WindowState::Maximized)
        frame->showMaximized();
}

bool ConfirmDiscardChanges(QWidget* parent)
{
    QMessageBox box(QMessageBox::Warning, ConsoleTitle(),
                    WithLineBreaks(DataFunctions7310::GetText(discardChangesQuestion)),
                    QMessageBox::Yes | QMessageBox::No, parent);
    box.setDefaultButton(QMessageBox::No);
    return box.exec() == QMessageBox::Yes;
}
