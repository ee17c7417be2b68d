#pragma once

#include "linefindings.h"

#include <optional>

class ComCtrl;

// The two questions of the line check that need the port itself: whether the driver offers
// the kernel's RS-485 direction control, and one exchange with the panel (echo and round
// trip). Kept together so that the line's own echo handling and RS-485 switch can take over
// here once the line has them.
namespace LineProbe {

// Asks the driver for its RS-485 mode (TIOCGRS485). True when it answers, false when it
// refuses (a pty or most USB adapters: ENOTTY), nullopt when the device cannot be opened.
// An open line is closed for the moment of the question and opened again.
std::optional<bool> KernelRs485Offered(ComCtrl& line);

// One read of the line speed word from `slave` on the open line, timed; what came back is
// kept whole, echo included. Nothing is tried when the slave is 0, the line is not open or
// another window holds it.
ProbeExchange Exchange(ComCtrl& line, int slave);

} // namespace LineProbe
