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

// Installs the handler of confirmations and returns the previous one.
Handler SetConfirm(Handler handler);

// Confirms a finished action in the status bar, in the current language and with what was
// done ("Configuration read from slave 1 at 9600,n,8,1"). Unlike Show's passing texts, a
// confirmation stands until the next one. False when no handler is installed.
bool Confirm(const QString& text);

// Shows text in panel for `milliseconds`, then puts back the text that stood there before,
// unless something else has been written into the panel meanwhile. A second passing text
// replaces the first and starts the time again.
void ShowPassing(QLabel* panel, const QString& text, int milliseconds = PassingMilliseconds);

} // namespace PromptHook
