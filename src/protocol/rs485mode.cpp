#include "rs485mode.h"

#include <cerrno>
#include <utility>

#include <sys/ioctl.h>

namespace Rs485Mode {

namespace {

Calls& calls()
{
    static Calls current{
        [](int fd, serial_rs485* mode) { return ::ioctl(fd, TIOCGRS485, mode); },
        [](int fd, const serial_rs485* mode) { return ::ioctl(fd, TIOCSRS485, mode); },
    };
    return current;
}

// Sets the mode and reads it back: true when the driver holds it as asked.
bool apply(int fd, const serial_rs485& mode, int* error)
{
    serial_rs485 asked = mode;
    serial_rs485 held = {};
    if (calls().set(fd, &asked) != 0 || calls().get(fd, &held) != 0) {
        if (error)
            *error = errno;
        return false;
    }
    return (held.flags & SER_RS485_ENABLED) != 0;
}

} // namespace

const Calls& CurrentCalls()
{
    return calls();
}

Calls SetCalls(Calls replacement)
{
    return std::exchange(calls(), std::move(replacement));
}

serial_rs485 ModeFor(const serial_rs485& previous, int delayAfterSendMs)
{
    serial_rs485 mode = previous;
    mode.flags |= SER_RS485_ENABLED | SER_RS485_RTS_ON_SEND;
    // Receiving while sending would hand the request back: it is the answer that counts.
    mode.flags &= ~(static_cast<__u32>(SER_RS485_RTS_AFTER_SEND) | SER_RS485_RX_DURING_TX);
    mode.delay_rts_before_send = 0;
    mode.delay_rts_after_send = static_cast<__u32>(delayAfterSendMs > 0 ? delayAfterSendMs : 0);
    return mode;
}

Probe KernelModeOffered(int fd)
{
    KernelMode mode;
    Probe probe;
    probe.offered = mode.enable(fd, 0, &probe.error);
    mode.restore();
    return probe;
}

bool KernelMode::enable(int fd, int delayAfterSendMs, int* error)
{
    if (error)
        *error = 0;
    serial_rs485 previous = {};
    if (!m_active || m_fd != fd) {
        restore();
        if (calls().get(fd, &previous) != 0) {
            if (error)
                *error = errno;
            return false;
        }
    } else {
        previous = m_previous;
    }
    if (!apply(fd, ModeFor(previous, delayAfterSendMs), error)) {
        int ignored = 0;
        apply(fd, previous, &ignored); // whatever the driver made of it, back as it was
        m_active = false;
        return false;
    }
    m_fd = fd;
    m_previous = previous;
    m_active = true;
    return true;
}

void KernelMode::restore()
{
    if (!m_active)
        return;
    m_active = false;
    serial_rs485 previous = m_previous;
    calls().set(m_fd, &previous);
}

} // namespace Rs485Mode
