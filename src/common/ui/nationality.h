#pragma once

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

} // namespace Tags
