#pragma once

class QWidget;

// A refused input. The beep alone is silent on many desktops, so every refusal also shows:
// the field's frame turns red for about a second and the status bar says why, in the current
// language (through PromptHook).
namespace Refusal {

constexpr int CueMilliseconds = 1000;

// Beeps, frames field in red and shows the text reasonId of the text database in the status
// bar; reasonId 0 shows no text. The caller decides where the focus goes.
void Refuse(QWidget* field, int reasonId);

// True while field shows the red frame.
bool IsCued(const QWidget* field);

} // namespace Refusal
