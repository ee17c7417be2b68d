#include "comctrl.h"

#include "errorhandling.h"

#include <QStringList>
#include <QThread>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>

#include <fcntl.h>
#include <grp.h>
#include <pwd.h>
#include <sys/stat.h>
#include <termios.h>
#include <unistd.h>

namespace {

constexpr int NumberedPorts = 16;

QString errnoText(int error)
{
    return QString::fromLocal8Bit(std::strerror(error));
}

} // namespace

bool ComCtrl::ParseSettings(const QString& text, LineSettings* settings)
{
    const QStringList fields = text.split(QLatin1Char(','));
    if (fields.size() != 4)
        return false;
    LineSettings parsed;

    bool ok = false;
    parsed.baudRate = fields[0].trimmed().toInt(&ok);
    if (!ok || parsed.baudRate <= 0)
        return false;

    const QString parity = fields[1].trimmed().toLower();
    if (parity == QLatin1String("n"))
        parsed.parity = QSerialPort::NoParity;
    else if (parity == QLatin1String("e"))
        parsed.parity = QSerialPort::EvenParity;
    else if (parity == QLatin1String("o"))
        parsed.parity = QSerialPort::OddParity;
    else if (parity == QLatin1String("m"))
        parsed.parity = QSerialPort::MarkParity;
    else if (parity == QLatin1String("s"))
        parsed.parity = QSerialPort::SpaceParity;
    else
        return false;

    const int dataBits = fields[2].trimmed().toInt(&ok);
    if (!ok || dataBits < 5 || dataBits > 8)
        return false;
    parsed.dataBits = static_cast<QSerialPort::DataBits>(dataBits);

    const QString stops = fields[3].trimmed();
    if (stops == QLatin1String("1"))
        parsed.stopBits = QSerialPort::OneStop;
    else if (stops == QLatin1String("1.5"))
        parsed.stopBits = QSerialPort::OneAndHalfStop;
    else if (stops == QLatin1String("2"))
        parsed.stopBits = QSerialPort::TwoStop;
    else
        return false;

    if (settings)
        *settings = parsed;
    return true;
}

int ComCtrl::BitsPerCharacter(const QString& settings)
{
    LineSettings parsed;
    if (!ParseSettings(settings, &parsed))
        return 11;
    const int parity = parsed.parity == QSerialPort::NoParity ? 0 : 1;
    const int stops = parsed.stopBits == QSerialPort::OneStop ? 1 : 2;
    return 1 + static_cast<int>(parsed.dataBits) + parity + stops;
}

QString ComCtrl::SystemLocation(const QString& portName)
{
    bool numeric = false;
    const int number = portName.toInt(&numeric);
    if (numeric && number >= 1 && number <= NumberedPorts)
        return QStringLiteral("/dev/ttyS") + QString::number(number - 1);
    if (portName.startsWith(QLatin1Char('/')))
        return portName;
    return QStringLiteral("/dev/") + portName;
}

ComCtrl::OpenProbe ComCtrl::ProbeDevice(const QString& location,
                                        QSerialPort::SerialPortError portError,
                                        const QString& portErrorText)
{
    OpenProbe probe;
    probe.location = location;
    probe.portError = portError;
    probe.portErrorText = portErrorText;

    const QByteArray path = location.toLocal8Bit();
    struct stat info = {};
    if (::stat(path.constData(), &info) != 0) {
        probe.openErrno = errno;
        return probe;
    }
    probe.exists = true;
    probe.charDevice = S_ISCHR(info.st_mode);
    probe.accessible = ::access(path.constData(), R_OK | W_OK) == 0;
    if ((info.st_mode & (S_IRGRP | S_IWGRP)) == (S_IRGRP | S_IWGRP)) {
        if (const struct group* entry = ::getgrgid(info.st_gid))
            probe.grantingGroup = QString::fromLocal8Bit(entry->gr_name);
    }
    if (const struct passwd* entry = ::getpwuid(info.st_uid))
        probe.owner = QString::fromLocal8Bit(entry->pw_name);

    if (probe.accessible && probe.charDevice) {
        // Non-blocking: a modem line without carrier must not hold the probe.
        const int fd = ::open(path.constData(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
        if (fd < 0) {
            probe.openErrno = errno;
        } else {
            struct termios attributes = {};
            probe.terminal = ::tcgetattr(fd, &attributes) == 0;
            ::close(fd);
        }
    }
    return probe;
}

RunTimeError ComCtrl::OpenFailure(const OpenProbe& probe)
{
    const QString& where = probe.location;
    if (!probe.exists) {
        if (probe.openErrno == ENOENT || probe.openErrno == ENOTDIR || probe.openErrno == 0)
            return RunTimeError(ErrorNumber::PortNotFound, where);
        return RunTimeError(ErrorNumber::PortIoError,
                            where + QStringLiteral(": ") + errnoText(probe.openErrno));
    }
    if (!probe.accessible || probe.openErrno == EACCES || probe.openErrno == EPERM) {
        QString detail = where + QStringLiteral(": ");
        if (!probe.grantingGroup.isEmpty())
            detail += QStringLiteral("members of the group '") + probe.grantingGroup +
                      QStringLiteral("' may use it; add the user to that group (usermod -aG ") +
                      probe.grantingGroup + QStringLiteral(" <user>) and log in again");
        else
            detail +=
                QStringLiteral("only its owner '") + probe.owner + QStringLiteral("' may use it");
        return RunTimeError(ErrorNumber::PortPermissionDenied, detail);
    }
    if (!probe.charDevice)
        return RunTimeError(ErrorNumber::PortNotSerial, where);
    if (probe.openErrno == EBUSY)
        return RunTimeError(ErrorNumber::PortBusy, where);
    // A device node without hardware behind it (a ttyS number with no UART, a USB adapter
    // that has just gone) refuses the open with one of these.
    if (probe.openErrno == ENXIO || probe.openErrno == ENODEV || probe.openErrno == EIO)
        return RunTimeError(ErrorNumber::PortNotFound,
                            where + QStringLiteral(": ") + errnoText(probe.openErrno));
    if (probe.openErrno != 0)
        return RunTimeError(ErrorNumber::PortIoError,
                            where + QStringLiteral(": ") + errnoText(probe.openErrno));
    if (!probe.terminal)
        return RunTimeError(ErrorNumber::PortNotSerial, where);
    // The device itself opens: the serial port's lock file (or its exclusive mode) is held
    // by another program or by another port object of this one.
    if (probe.portError == QSerialPort::PermissionError)
        return RunTimeError(ErrorNumber::PortBusy, where);
    if (probe.portError == QSerialPort::DeviceNotFoundError)
        return RunTimeError(ErrorNumber::PortNotFound, where);
    return RunTimeError(ErrorNumber::PortIoError,
                        where + QStringLiteral(": ") + probe.portErrorText);
}

ComCtrl::ComCtrl() = default;

ComCtrl::~ComCtrl()
{
    close();
}

void ComCtrl::setPortName(const QString& name)
{
    if (isOpen())
        throw RunTimeError(ErrorNumber::PortBusy, SystemLocation(m_portName));
    m_portName = name;
    m_lost = false;
    changed();
}

void ComCtrl::setSettings(const QString& text)
{
    LineSettings parsed;
    if (!ParseSettings(text, &parsed))
        throw RunTimeError(ErrorNumber::PortSettingsRejected, text);
    if (isOpen()) {
        try {
            applySettings(parsed);
        } catch (const RunTimeError&) {
            // Put the port back the way the old text describes it.
            LineSettings previous;
            if (ParseSettings(m_settings, &previous)) {
                try {
                    applySettings(previous);
                } catch (const RunTimeError&) {
                }
            }
            throw RunTimeError(ErrorNumber::PortSettingsRejected, text);
        }
    }
    m_settings = text;
    changed();
}

void ComCtrl::applySettings(const LineSettings& settings)
{
    const bool ok = m_port.setBaudRate(settings.baudRate) && m_port.setParity(settings.parity) &&
                    m_port.setDataBits(settings.dataBits) && m_port.setStopBits(settings.stopBits);
    if (!ok) {
        const QString text = m_port.errorString();
        m_port.clearError();
        throw RunTimeError(ErrorNumber::PortSettingsRejected, text);
    }
}

void ComCtrl::open()
{
    const QString location = SystemLocation(m_portName);
    if (isOpen())
        throw RunTimeError(ErrorNumber::PortBusy, location);
    LineSettings parsed;
    if (!ParseSettings(m_settings, &parsed))
        throw RunTimeError(ErrorNumber::PortSettingsRejected, m_settings);

    m_port.setPortName(location);
    if (!m_port.open(QIODevice::ReadWrite)) {
        const QSerialPort::SerialPortError error = m_port.error();
        const QString text = m_port.errorString();
        m_port.clearError();
        throw OpenFailure(ProbeDevice(location, error, text));
    }
    try {
        applySettings(parsed);
        if (!m_port.setFlowControl(QSerialPort::NoFlowControl))
            throw RunTimeError(ErrorNumber::PortSettingsRejected, m_port.errorString());
    } catch (const RunTimeError&) {
        m_port.close();
        m_port.clearError();
        throw;
    }
    m_port.clear(QSerialPort::AllDirections);
    m_port.clearError();
    m_hasRts = true;
    m_answerPending = false;
    m_lost = false;
    m_echo.opened();
    m_kernelRefusal = -1;
    applyDirection();
    changed();
}

void ComCtrl::close()
{
    const State before = state();
    closePort();
    m_lost = false;
    if (state() != before)
        changed();
}

bool ComCtrl::isOpen() const
{
    return m_port.isOpen();
}

ComCtrl::State ComCtrl::state() const
{
    if (m_port.isOpen())
        return State::Open;
    return m_lost ? State::Lost : State::Closed;
}

void ComCtrl::noteAnswer(int slave)
{
    if (slave == m_lastSlave)
        return;
    m_lastSlave = slave;
    changed();
}

int ComCtrl::addObserver(ExchangeObserver observer)
{
    m_observers.append({m_nextObserver, std::move(observer)});
    return m_nextObserver++;
}

void ComCtrl::removeObserver(int id)
{
    m_observers.removeIf([id](const auto& entry) { return entry.first == id; });
}

void ComCtrl::notifyObservers(const Exchange& exchange) const
{
    // A copy: an observer may remove itself while it is called.
    const auto observers = m_observers;
    for (const auto& entry : observers)
        entry.second(exchange);
}

void ComCtrl::closePort()
{
    // Before the descriptor goes: its number may be given to another file at once.
    if (m_port.isOpen())
        m_kernelMode.restore();
    m_port.close();
    m_port.clearError();
    m_answerPending = false;
    m_echo.closed();
}

void ComCtrl::setHalfDuplex(bool on, int rtsDelayMs)
{
    if (on == m_halfDuplex && rtsDelayMs == m_rtsDelayMs)
        return;
    m_halfDuplex = on;
    m_rtsDelayMs = rtsDelayMs;
    if (m_port.isOpen())
        applyDirection();
    changed();
}

void ComCtrl::applyDirection()
{
    if (!m_halfDuplex) {
        m_kernelMode.restore();
        return;
    }
    // A driver that has refused the mode once is not asked again until the port reopens.
    if (m_kernelRefusal > 0)
        return;
    int error = 0;
    if (!m_kernelMode.enable(static_cast<int>(m_port.handle()), m_rtsDelayMs, &error))
        m_kernelRefusal = error > 0 ? error : EINVAL;
    else
        m_kernelRefusal = 0;
}

Rs485Mode::Direction ComCtrl::direction() const
{
    if (!m_halfDuplex)
        return Rs485Mode::Direction::Adapter;
    return m_kernelMode.active() ? Rs485Mode::Direction::Kernel : Rs485Mode::Direction::Rts;
}

Rs485Mode::Probe ComCtrl::kernelModeOffered() const
{
    requireOpen();
    if (m_kernelMode.active())
        return {true, 0};
    return Rs485Mode::KernelModeOffered(static_cast<int>(m_port.handle()));
}

QString ComCtrl::directionNote() const
{
    if (!m_halfDuplex || m_kernelMode.active() || m_kernelRefusal <= 0)
        return {};
    // EINVAL also stands for a mode that was accepted but did not read back as set.
    return QStringLiteral("kernel RS-485 mode refused: ") + errnoText(m_kernelRefusal);
}

void ComCtrl::setEchoSetting(LineEcho::Setting setting)
{
    if (m_echo.setSetting(setting))
        changed();
}

void ComCtrl::forgetEcho()
{
    m_echo.forget();
    changed();
}

qint64 ComCtrl::answerBytes() const
{
    return std::max<qint64>(0, m_port.bytesAvailable() - m_echo.stillAhead());
}

// Looks at the front of what has come after the request: takes an echo off it, finds out
// (Automatic) or reports a fault (Yes, No). waitOver: the answer wait has ended.
void ComCtrl::settleEcho(bool waitOver)
{
    if (m_echo.settled())
        return;
    const QByteArray front =
        m_port.peek(std::min<qint64>(m_port.bytesAvailable(), m_echo.stillAhead() + 1));
    const LineEcho::Tracker::Step step = m_echo.settle(front, waitOver, m_settings);
    if (step.drop > 0)
        m_port.read(step.drop);
    if (step.fault != 0)
        throw RunTimeError(step.fault, SystemLocation(m_portName));
    if (step.found)
        changed();
}

void ComCtrl::changed()
{
    if (m_changed)
        m_changed();
}

void ComCtrl::reopenLost()
{
    const QString location = SystemLocation(m_portName);
    if (!m_lost)
        throw RunTimeError(ErrorNumber::PortNotOpen, location);
    try {
        open();
    } catch (const RunTimeError&) {
        throw RunTimeError(ErrorNumber::PortLost, location + QStringLiteral(": still absent"));
    }
}

void ComCtrl::note(LineStep step)
{
    if (m_hook)
        m_hook(step);
}

void ComCtrl::requireOpen() const
{
    if (!m_port.isOpen())
        throw RunTimeError(ErrorNumber::PortNotOpen, SystemLocation(m_portName));
}

void ComCtrl::checkLineError()
{
    const QSerialPort::SerialPortError error = m_port.error();
    switch (error) {
    case QSerialPort::NoError:
    case QSerialPort::TimeoutError: // a wait ran out: not a fault
        m_port.clearError();
        return;
    case QSerialPort::ReadError:
    case QSerialPort::WriteError:
    case QSerialPort::ResourceError: {
        // The far end is gone; the port stays "open" but every wait would return at once.
        closePort();
        m_lost = true;
        changed();
        throw RunTimeError(ErrorNumber::PortLost, SystemLocation(m_portName));
    }
    default: {
        const QString text = m_port.errorString();
        m_port.clearError();
        throw RunTimeError(ErrorNumber::PortIoError, text);
    }
    }
}

void ComCtrl::setRts(bool on)
{
    requireOpen();
    m_rts = on;
    // A line that has once answered "not supported" has no RTS output: asking again on every
    // transaction would only cost two system calls.
    if (m_hasRts && !m_port.setRequestToSend(on) &&
        m_port.error() == QSerialPort::UnsupportedOperationError)
        m_hasRts = false;
    m_port.clearError();
    note(on ? LineStep::RtsOn : LineStep::RtsOff);
}

void ComCtrl::clearBuffers()
{
    requireOpen();
    // Both directions in one request to the driver: the port's own buffers and the kernel's.
    m_port.clear(QSerialPort::AllDirections);
    m_port.clearError();
}

qint64 ComCtrl::bytesWaiting()
{
    requireOpen();
    m_port.waitForReadyRead(0); // moves what the kernel holds into the port's buffer
    checkLineError();
    settleEcho(false);
    return answerBytes();
}

QByteArray ComCtrl::read()
{
    requireOpen();
    settleEcho(true);
    return m_port.readAll();
}

void ComCtrl::write(const QByteArray& bytes, QDeadlineTimer deadline)
{
    requireOpen();
    if (m_port.write(bytes) != bytes.size()) {
        checkLineError();
        throw RunTimeError(ErrorNumber::PortIoError, m_port.errorString());
    }
    m_port.flush(); // straight to the kernel when it has room, which is the usual case
    checkLineError();
    while (m_port.bytesToWrite() > 0) {
        const int remaining = static_cast<int>(deadline.remainingTime());
        if (deadline.hasExpired() || !m_port.waitForBytesWritten(remaining)) {
            checkLineError();
            if (m_port.bytesToWrite() > 0 && deadline.hasExpired())
                throw RunTimeError(ErrorNumber::PortIoError,
                                   SystemLocation(m_portName) +
                                       QStringLiteral(": write timed out"));
        }
    }
    note(LineStep::Written);
}

void ComCtrl::drain()
{
    requireOpen();
    // EINTR only; a pty or a port without a transmitter has nothing to wait for.
    while (::tcdrain(m_port.handle()) != 0 && errno == EINTR) {
    }
    note(LineStep::Drained);
}

qint64 ComCtrl::waitForBytes(qint64 count, QDeadlineTimer deadline, AnswerTest complete)
{
    requireOpen();
    if (m_answerPending) {
        m_answerPending = false;
        note(LineStep::AnswerWait);
    }
    // The echo's bytes come within the same deadline as the answer's.
    settleEcho(false);
    while (answerBytes() < count && !deadline.hasExpired()) {
        // Blocks in poll(2) until data, error or the deadline: no CPU spent while waiting.
        const QDeadlineTimer until =
            m_echo.awaitingLoneCopy() ? std::min(deadline, m_echo.loneCopyDeadline()) : deadline;
        const bool arrived = m_port.waitForReadyRead(static_cast<int>(until.remainingTime()));
        checkLineError();
        settleEcho(false);
        if (!arrived && m_echo.awaitingLoneCopy() && m_echo.loneCopyDeadline().hasExpired())
            settleEcho(true);
        const qint64 waiting = answerBytes();
        if (arrived && complete && m_echo.settled() && waiting < count &&
            complete(QByteArrayView(m_port.peek(waiting))))
            break;
    }
    settleEcho(deadline.hasExpired());
    return answerBytes();
}

void ComCtrl::sendRequest(const QByteArray& frame, bool handshake, int rtsDelayMs)
{
    // The usual path costs one test of a flag: the device is touched only when it was lost.
    if (!m_port.isOpen())
        reopenLost();
    try {
        transmit(frame, handshake, rtsDelayMs);
    } catch (const RunTimeError& error) {
        // Gone since the last exchange (unplugged and plugged back meanwhile): nothing has
        // reached the panel yet, so the request can go out again on the reopened device.
        if (error.number() != ErrorNumber::PortLost)
            throw;
        reopenLost();
        transmit(frame, handshake, rtsDelayMs);
    }
}

void ComCtrl::transmit(const QByteArray& frame, bool handshake, int rtsDelayMs)
{
    // Written well within the time a 2-byte-per-millisecond line would need for any frame.
    constexpr int WriteTimeoutMs = 2000;
    setHalfDuplex(handshake, rtsDelayMs);
    // In the kernel's RS-485 mode the driver switches the transmitter itself, on time.
    const bool ownRts = direction() != Rs485Mode::Direction::Kernel;
    if (ownRts)
        setRts(true);
    clearBuffers();
    note(LineStep::BuffersCleared);
    m_echo.expect(frame);
    write(frame, QDeadlineTimer(WriteTimeoutMs));
    if (handshake) {
        drain();
        if (ownRts) {
            if (rtsDelayMs > 0)
                QThread::msleep(static_cast<unsigned long>(rtsDelayMs));
            setRts(false);
        }
    }
    m_answerPending = true;
}
