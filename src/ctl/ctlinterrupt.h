#pragma once

// Ctrl-C (SIGINT) and SIGTERM: the first one is only noted, so that a running sequence stops at
// its next step with the line closed cleanly; a second one ends the program at once.
namespace CtlInterrupt {
void Install();
bool Requested();
} // namespace CtlInterrupt
