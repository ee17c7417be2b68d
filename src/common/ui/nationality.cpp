#include "nationality.h"

#include "datafunctions7310.h"
#include "uihelpers.h"

#include <QAbstractButton>
#include <QComboBox>
#include <QGroupBox>
#include <QLabel>
#include <QPushButton>
#include <QTabWidget>
#include <QVariant>

namespace Tags {

namespace {
constexpr const char* tagProperty = "tag";

void applyOne(QWidget* control, int id)
{
    const QString text = WithLineBreaks(DataFunctions7310::GetText(id));
    if (auto* label = qobject_cast<QLabel*>(control))
        label->setText(text);
    else if (auto* button = qobject_cast<QAbstractButton*>(control))
        button->setText(text);
    else if (auto* group = qobject_cast<QGroupBox*>(control))
        group->setTitle(text);
    else if (auto* list = qobject_cast<QComboBox*>(control)) {
        for (int i = 0; i < list->count(); ++i)
            list->setItemText(i, DataFunctions7310::GetText(id + i));
    }
    control->setToolTip(DataFunctions7310::GetToolTip(QString::number(id)));
}
} // namespace

void Set(QWidget* control, int textId)
{
    control->setProperty(tagProperty, textId);
}

int Of(const QWidget* control)
{
    return control->property(tagProperty).toInt();
}

void ApplyTexts(QWidget* root)
{
    if (const int id = Of(root))
        root->setWindowTitle(DataFunctions7310::GetText(id));
    const auto controls = root->findChildren<QWidget*>();
    for (QWidget* control : controls) {
        if (const int id = Of(control))
            applyOne(control, id);
        if (auto* tabs = qobject_cast<QTabWidget*>(control)) {
            for (int i = 0; i < tabs->count(); ++i) {
                if (const int pageId = Of(tabs->widget(i)))
                    tabs->setTabText(i, DataFunctions7310::GetText(pageId));
            }
        }
    }
}

QPushButton* Button(QWidget* parent, const char* name, int textId)
{
    auto* command = Named(new QPushButton(parent), QLatin1String(name), textId);
    command->setAutoDefault(false);
    return command;
}

} // namespace Tags
