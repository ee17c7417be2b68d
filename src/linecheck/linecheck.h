#pragma once

#include "linefindings.h"

class ComCtrl;

// The line check: gathers the facts about the console's line and its adapter and turns them
// into findings, in this order: adapter, permissions, driver, latency timer, ModemManager,
// echo, round trip.
namespace LineCheck {

// Read and write access to the device and the group that grants it; the user's groups now
// (this process) and at the next login (the group database).
Access AccessTo(const QString& location);

// Whether a process named ModemManager runs (its /proc/<pid>/comm).
bool ModemManagerRunning();

// Every finding for the line's port; slave 0 leaves out the exchange with the panel.
QList<Finding> Run(ComCtrl& line, int slave);

// The first line of the text copy: port, line settings, date and time.
QString Heading(const ComCtrl& line);

} // namespace LineCheck
