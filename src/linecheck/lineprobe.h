#pragma once

#include "linefindings.h"

#include <optional>

class ComCtrl;

// The two questions of the line check that need the port itself: whether the driver offers
// the kernel's RS-485 direction control, and one exchange with the panel (echo and round
// trip).
namespace LineProbe {

// Whether the driver offers the kernel's RS-485 mode (Rs485Mode::KernelModeOffered): false
// when it refuses (a pty or most USB adapters: ENOTTY), nullopt when the device cannot be
// opened. An open line is asked on its own descriptor and stays open.
std::optional<bool> KernelRs485Offered(ComCtrl& line);

// One read of the line speed word from `slave` on the open line, timed, with the line's echo
// setting on Automatic for the exchange so that an echo is found whatever the setting. Nothing is
// tried when the slave is 0, the line is not open or another window holds it.
ProbeExchange Exchange(ComCtrl& line, int slave);

} // namespace LineProbe
