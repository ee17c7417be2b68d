#pragma once

#include <functional>

class QWidget;

// Help pages are shown by the main frame's help window, which lives above the dialogs that
// ask for them. A dialog outside the shell asks through this hook; the shell installs the
// handler once at start-up. A context number is a keyword id of the help collection (a
// window's number is the text ID of its title).
namespace HelpHook {

using Handler = std::function<void(QWidget* caller, int contextId)>;

// Installs the handler and returns the previous one.
Handler Set(Handler handler);

// Asks for the help page of contextId on behalf of caller. False when no handler is
// installed (nothing is shown then).
bool Show(QWidget* caller, int contextId);

} // namespace HelpHook
