#pragma once

// The error report holds back a message that it has just shown, so that one fault met by
// several steps of one user action gives one box. A new user command (a click, a key, a menu
// command) starts afresh: a retry is never silent. Input inside the report's own message
// boxes (closing one) is not a new command.
namespace UserCommand {

// Installs the application-wide watch for new commands. Needs a QApplication; installing
// twice is harmless.
void Install();

} // namespace UserCommand
