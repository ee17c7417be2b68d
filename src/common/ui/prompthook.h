#pragma once

#include <QString>

#include <functional>

class QLabel;

// The status bar belongs to the main frame. A window or dialog outside the shell tells the
// user something there (why a field was refused, what went out on the line) through this
// hook; the shell installs the handler once at start-up.
namespace PromptHook {

using Handler = std::function<void(const QString& text)>;

// How long a passing text stands in the prompt before the standing text comes back.
constexpr int PassingMilliseconds = 4000;

// Installs the handler and returns the previous one.
Handler Set(Handler handler);

// Hands text to the status bar. False when no handler is installed (nothing is shown then).
bool Show(const QString& text);

// Shows text in panel for `milliseconds`, then puts back the text that stood there before,
// unless something else has been written into the panel meanwhile. A second passing text
// replaces the first and starts the time again.
void ShowPassing(QLabel* panel, const QString& text, int milliseconds = PassingMilliseconds);

} // namespace PromptHook
