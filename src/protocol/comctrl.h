#pragma once

#include "exchange.h"
#include "lineecho.h"
#include "rs485mode.h"

#include <QByteArray>
#include <QDeadlineTimer>
#include <QList>
#include <QSerialPort>
#include <QString>

#include <functional>
#include <optional>
#include <utility>

class RunTimeError;

// The console's one serial line. The main frame owns a single instance for the whole run and
// hands it by reference to everything that talks to the panel.
//
// Used in blocking style on the user-interface thread: no signal of the port is connected and
// no event loop is needed. Every failure is thrown as a RunTimeError with a number of the
// project's error table; a line whose far end has gone away (adapter unplugged, pty master
// closed) is closed and reported as PortLost, so that no wait can spin on it. The next request
// on a lost line opens the same device again with the same settings before it gives up, so a
// replugged adapter serves again without any action of the user.
class ComCtrl
{
public:
    // The steps of one transmission, in the order a test can observe them.
    enum class LineStep {
        RtsOn,
        BuffersCleared,
        Written, // handed to the kernel
        Drained, // the kernel has put the last bit on the wire
        RtsOff,
        AnswerWait, // the answer wait begins
    };
    using StepHook = std::function<void(LineStep)>;

    // The parsed form of a settings text such as "9600,n,8,1".
    struct LineSettings
    {
        qint32 baudRate = 9600;
        QSerialPort::Parity parity = QSerialPort::NoParity;
        QSerialPort::DataBits dataBits = QSerialPort::Data8;
        QSerialPort::StopBits stopBits = QSerialPort::OneStop;
    };
    // False when the text is not speed, parity letter (n, e, o, m, s), data bits (5..8) and
    // stop bits (1, 1.5, 2) separated by commas.
    static bool ParseSettings(const QString& text, LineSettings* settings = nullptr);
    // Bits of one character on the wire: start, data, parity and stop bits (1.5 counts as 2);
    // 11, the longest character of the panel's settings, for a text that is no settings.
    static int BitsPerCharacter(const QString& settings);

    // The device behind a port name: "1" to "16" are the numbered ports /dev/ttyS0 to
    // /dev/ttyS15; an absolute path is kept; any other name is looked up under /dev.
    static QString SystemLocation(const QString& portName);

    // What was found out about a device that would not open; input of OpenFailure.
    struct OpenProbe
    {
        QString location;
        bool exists = false;
        bool accessible = true;  // read and write permitted for this process
        bool charDevice = false; // a character device node
        int openErrno = 0;       // errno of a plain open(2), 0 when it succeeded
        bool terminal = false;   // tcgetattr succeeded on it
        QString grantingGroup;   // group with read-write access to the node, if any
        QString owner;           // owner of the node
        QSerialPort::SerialPortError portError = QSerialPort::NoError;
        QString portErrorText;
    };
    // Looks at the device after a failed open.
    static OpenProbe ProbeDevice(const QString& location, QSerialPort::SerialPortError portError,
                                 const QString& portErrorText);
    // The fault that an open failure is reported as: PortNotFound, PortPermissionDenied
    // (naming the group that grants access), PortNotSerial, PortBusy or PortIoError.
    static RunTimeError OpenFailure(const OpenProbe& probe);

    // Closed: never opened, or closed on purpose. Lost: the device went away while open.
    enum class State { Closed, Open, Lost };
    // Called after every change of state(), of the settings or of lastSlave().
    using ChangeHook = std::function<void()>;

    ComCtrl();
    ~ComCtrl();
    ComCtrl(const ComCtrl&) = delete;
    ComCtrl& operator=(const ComCtrl&) = delete;

    // Port name as the user gives it ("1", "ttyUSB0", "/dev/pts/3"). Changing it while the
    // port is open throws PortBusy.
    QString portName() const { return m_portName; }
    void setPortName(const QString& name);

    // The settings text, "9600,n,8,1" by default. A new text is applied to an open port at
    // once, field by field; a text that does not parse, or that the port refuses, throws
    // PortSettingsRejected and leaves the previous text in place.
    QString settings() const { return m_settings; }
    void setSettings(const QString& text);

    // Opens the device with the current settings, no flow control, both buffers cleared.
    void open();
    void close();
    bool isOpen() const;
    State state() const;

    // The slave number of the last answer that was complete and correct; 0 before any.
    int lastSlave() const { return m_lastSlave; }
    void noteAnswer(int slave);
    void setChangeHook(ChangeHook hook) { m_changed = std::move(hook); }

    // RTS output. On a line without RTS (a pty, some adapters) the request fails; that is
    // not a fault: the state asked for is still remembered and returned by rts().
    void setRts(bool on);
    bool rts() const { return m_rts; }
    // False once the line has shown that it has no RTS output (reset by open).
    bool hasRts() const { return m_hasRts; }

    // Half-duplex line: the transmitter is switched for each request, by the driver in the
    // kernel's RS-485 mode when it offers it (with rtsDelayMs as its delay after send),
    // otherwise by the console's own RTS cycle. Applied at open and at once to an open port;
    // sendRequest passes its own values through here. The driver's mode is put back as it
    // was when the port closes or half-duplex is turned off.
    void setHalfDuplex(bool on, int rtsDelayMs);
    Rs485Mode::Direction direction() const;
    // Whether the open port's driver offers the kernel's RS-485 mode (PortNotOpen when
    // closed); the driver's mode is left as it is.
    Rs485Mode::Probe kernelModeOffered() const;
    // Why the kernel mode is not in force on a half-duplex line (the driver's refusal, as
    // "kernel RS-485 mode refused: <reason>"); empty when it is, or the line is not half-duplex.
    QString directionNote() const;

    // "Adapter echoes what it sends". With Yes, the request's bytes are taken off the front
    // of what is received before the answer is looked at, and their absence is the fault
    // EchoMissing. With No, an echo seen in place of the answer is the fault EchoUnexpected.
    // With Automatic the first exchange after opening that tells finds out, and the finding
    // holds until the port closes. The answer wait's deadline covers the echo's bytes too.
    void setEchoSetting(LineEcho::Setting setting);
    LineEcho::Setting echoSetting() const { return m_echo.setting(); }
    // Forgets what Automatic has found, so that the next exchange finds out afresh.
    void forgetEcho();
    // Whether the adapter echoes, as found out (Automatic) or set (Yes, No); nullopt while
    // Automatic has not found out yet.
    std::optional<bool> echoes() const { return m_echo.echoes(); }
    // The echo finding of the last exchange: Echoed (taken off), Absent (none came), Pending
    // (not looked for, or nothing told: no byte came, or a lone copy of a request that its
    // answer repeats).
    LineEcho::Finding lastEcho() const { return m_echo.last(); }

    // Everything below throws PortNotOpen when the port is closed and PortLost when it has
    // gone away.
    // Empties the receive and the transmit buffer.
    void clearBuffers();
    // Bytes received and not yet read, including those still held by the kernel; an echo
    // of the request is not counted, nor returned by read().
    qint64 bytesWaiting();
    // Reads every waiting byte.
    QByteArray read();
    // Hands the bytes to the kernel, waiting at most until the deadline (PortIoError after).
    void write(const QByteArray& bytes, QDeadlineTimer deadline);
    // Blocks until the kernel has transmitted everything written.
    void drain();
    // Blocks, without spinning, until at least count bytes are waiting or the deadline has
    // passed; returns the number waiting. A `complete` test, when given, also ends the wait
    // as soon as the bytes waiting pass it (asked only while fewer than count are waiting).
    using AnswerTest = bool (*)(QByteArrayView waiting);
    qint64 waitForBytes(qint64 count, QDeadlineTimer deadline, AnswerTest complete = nullptr);

    // One request on a half-duplex capable line: RTS on, both buffers cleared, the request
    // written. With the handshake on: the request fully sent, rtsDelayMs of pause, RTS off.
    // The next waitForBytes is the answer wait. A lost line (now, or found lost while sending)
    // is opened again once; PortLost with "still absent" when the device is not back.
    void sendRequest(const QByteArray& frame, bool handshake, int rtsDelayMs);

    // Observers of finished transactions (the line monitor). With none, nothing is recorded
    // and a transaction costs not one call more. addObserver returns the id to remove it by.
    int addObserver(ExchangeObserver observer);
    void removeObserver(int id);
    bool observed() const { return !m_observers.isEmpty(); }
    void notifyObservers(const Exchange& exchange) const;

    // Who asks for the transactions that follow: the text ID of a window's title, or of the
    // search; kept in each Exchange. OriginScope sets it for its lifetime.
    int origin() const { return m_origin; }
    class OriginScope
    {
    public:
        OriginScope(ComCtrl& line, int origin)
            : m_line(line)
            , m_previous(std::exchange(line.m_origin, origin))
        {}
        ~OriginScope() { m_line.m_origin = m_previous; }
        OriginScope(const OriginScope&) = delete;
        OriginScope& operator=(const OriginScope&) = delete;

    private:
        ComCtrl& m_line;
        int m_previous;
    };

    // Observer of the transmission steps, for tests; empty by default.
    void setStepHook(StepHook hook) { m_hook = std::move(hook); }

    // Set while a transaction, or an operation made of several, owns the line. Every caller
    // that starts one checks it first and leaves the line alone while it is set; callers
    // whose waits let the window run can meet a line taken by another window. LineLock
    // (linelock.h) takes and gives it back around a block.
    bool busy() const { return m_busy; }
    void setBusy(bool busy) { m_busy = busy; }

private:
    void transmit(const QByteArray& frame, bool handshake, int rtsDelayMs);
    void reopenLost();
    void changed();
    void note(LineStep step);
    void requireOpen() const;
    void checkLineError(); // throws on a lost or failing port
    void applySettings(const LineSettings& settings);
    void applyDirection();
    void closePort();
    void settleEcho(bool waitOver);
    qint64 answerBytes() const; // waiting, less an echo still looked for

    QSerialPort m_port;
    QString m_portName = QStringLiteral("1");
    QString m_settings = QStringLiteral("9600,n,8,1");
    bool m_rts = false;
    bool m_hasRts = true;
    bool m_answerPending = false;
    bool m_lost = false;
    int m_lastSlave = 0;
    bool m_busy = false;
    StepHook m_hook;
    ChangeHook m_changed;
    QList<std::pair<int, ExchangeObserver>> m_observers;
    int m_nextObserver = 1;
    int m_origin = 0;

    bool m_halfDuplex = false;
    int m_rtsDelayMs = 5;
    Rs485Mode::KernelMode m_kernelMode;
    int m_kernelRefusal = -1; // errno of the driver's refusal; -1 not asked since open

    LineEcho::Tracker m_echo;
};
