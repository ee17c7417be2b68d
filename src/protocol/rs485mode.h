#pragma once

#include <linux/serial.h>

#include <functional>

// The kernel's RS-485 mode of a serial driver: the driver itself raises RTS for the
// transmitter at the first bit and drops it after the last one, exactly on time, where the
// console's own RTS cycle is late by the scheduler's latency.
//
// The two ioctl calls go through a seam that tests replace to play a driver that accepts
// the mode. ptys and most USB adapters refuse it with ENOTTY.
namespace Rs485Mode {

// How the transmitter of a half-duplex line is switched, as the line panel and the line
// monitor's export name it.
enum class Direction {
    Adapter, // not by the console: a full-duplex line, or an adapter that switches by itself
    Rts,     // the console raises RTS for each request and drops it once the request is sent
    Kernel,  // the driver, in the kernel's RS-485 mode
};

// The ioctl calls: 0, or -1 with errno set, as ioctl(2) returns.
struct Calls
{
    std::function<int(int fd, serial_rs485* mode)> get;       // TIOCGRS485
    std::function<int(int fd, const serial_rs485* mode)> set; // TIOCSRS485
};
// The calls in use: the real ioctls unless replaced. SetCalls returns those it replaces.
const Calls& CurrentCalls();
Calls SetCalls(Calls calls);

// The mode the console asks for: RS-485 on, RTS high while sending and low after, no
// delay before sending, `delayAfterSendMs` after the last bit.
serial_rs485 ModeFor(const serial_rs485& previous, int delayAfterSendMs);

struct Probe
{
    bool offered = false;
    int error = 0; // errno of the refusal; 0 when offered, or when the mode did not read back
};
// Whether the driver behind the open descriptor offers the kernel's RS-485 mode: the mode is
// accepted and reads back as set. The driver's mode is put back as it was found.
Probe KernelModeOffered(int fd);

// The kernel mode switched on for one open port; restore() puts back the mode the driver had.
class KernelMode
{
public:
    // Switches the mode on with this delay after send; false (and the driver's mode as it
    // was) when the driver refuses it or does not read it back; error receives errno.
    bool enable(int fd, int delayAfterSendMs, int* error = nullptr);
    // Back to the driver's previous mode; nothing when the mode is not on.
    void restore();
    bool active() const { return m_active; }

private:
    int m_fd = -1;
    serial_rs485 m_previous = {};
    bool m_active = false;
};

} // namespace Rs485Mode
