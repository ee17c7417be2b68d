#include "childwindow.h"

#include "datafunctions7310.h"
#include "nationality.h"
#include "uihelpers.h"

#include <QApplication>
#include <QCloseEvent>
#include <QMdiSubWindow>
#include <QMessageBox>

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
    onUnload();
    event->accept();
    emit unloaded();
}

bool ConfirmDiscardChanges(QWidget* parent)
{
    QMessageBox box(QMessageBox::Warning, QApplication::applicationName(),
                    WithLineBreaks(DataFunctions7310::GetText(discardChangesQuestion)),
                    QMessageBox::Yes | QMessageBox::No, parent);
    box.setDefaultButton(QMessageBox::No);
    return box.exec() == QMessageBox::Yes;
}
