#pragma once

#include <QString>

class QPushButton;
class QWidget;

// A control's text ID is its dynamic property "tag" (an integer). The language refresh walks a
// window's controls and sets each tagged control's caption and tooltip from the text database.
namespace Tags {

void Set(QWidget* control, int textId);
// The control's text ID, or 0 when it has none.
int Of(const QWidget* control);

// Captions every tagged control under root (root included: its tag titles the window):
// labels, buttons, check boxes and group boxes get GetText(tag) with "|" as line breaks; a
// drop-down list gets item i from GetText(tag + i); a tab widget's page i gets GetText of
// that page's tag; every tagged control gets GetToolTip(tag) as its tooltip.
void ApplyTexts(QWidget* root);

// A control with its object name and, unless 0, its text ID.
template<typename Control> Control* Named(Control* control, const QString& name, int textId = 0)
{
    control->setObjectName(name);
    if (textId != 0)
        Set(control, textId);
    return control;
}
// A command button of a window: named and tagged, and never the default button, so that Enter
// in a field does not press it.
QPushButton* Button(QWidget* parent, const char* name, int textId);

} // namespace Tags
