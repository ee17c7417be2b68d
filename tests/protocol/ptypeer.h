#pragma once

#include "../common/datarow.h"
#include "../common/testkit.h"
#include "comctrl.h"
#include "errorhandling.h"

#include <QByteArray>
#include <QList>
#include <QProcess>
#include <QStringList>
#include <QTemporaryDir>

#include <atomic>
#include <functional>
#include <mutex>
#include <thread>

// A pseudo-terminal for the tests: the console opens the slave side by its path, the test's
// peer reads and writes the master side. The pair keeps a raw slave descriptor of its own so
// that the master never sees a hang-up between two opens of the port.
class PtyPair
{
public:
    PtyPair();
    ~PtyPair();

    bool ok() const { return m_master >= 0; }
    QString slavePath() const { return m_slavePath; }
    int master() const { return m_master.load(); }

    // The far end goes away: the console's reads fail from now on.
    void closeMaster();
    // Reads from the master until `count` bytes are in or `timeoutMs` passes.
    QByteArray readMaster(int count, int timeoutMs) { return ReadFrom(master(), count, timeoutMs); }
    // Reads `fd` until `count` bytes are in and the line then stays quiet for `quietMs`, or
    // until `timeoutMs` passes; `lastByteNs` gets the time of the last byte since the call.
    static QByteArray ReadFrom(int fd, int count, int timeoutMs, int quietMs = 0,
                               qint64* lastByteNs = nullptr);
    bool writeMaster(const QByteArray& bytes);

private:
    std::atomic<int> m_master{-1};
    int m_slave = -1;
    QString m_slavePath;
};

// A slave that answers each request on the master side of a pty as its script says, from a
// thread of its own.
class FakeSlave
{
public:
    struct Reply
    {
        QByteArray bytes; // written in one go after the delay (empty: no answer)
        int delayMs = 0;
        bool hangUp = false; // close the master after writing
    };
    using Script = std::function<Reply(const QByteArray& request)>;

    FakeSlave(PtyPair& pty, Script script);
    ~FakeSlave();

    QList<QByteArray> requests() const;

private:
    void run();

    PtyPair& m_pty;
    Script m_script;
    std::atomic<bool> m_stop{false};
    mutable std::mutex m_mutex;
    QList<QByteArray> m_requests;
    std::thread m_thread;
};

// The same reply to every request.
FakeSlave::Script Replying(const QByteArray& bytes, int delayMs = 0, bool hangUp = false);

// The console's port, open on a pty with a scripted slave on its far side.
struct ScriptedLine
{
    explicit ScriptedLine(FakeSlave::Script script);
    PtyPair pty;
    FakeSlave slave;
    ComCtrl line;
};

// The frame with the CRC appended, low byte first.
QByteArray WithCrc(QByteArray frame);
// Bytes written in hexadecimal, e.g. Hex("0103"); Frame() appends the CRC.
inline QByteArray Hex(const char* digits)
{
    return QByteArray::fromHex(digits);
}
inline QByteArray Frame(const char* digits)
{
    return WithCrc(Hex(digits));
}

// One k7310sim process on a pty of its own, tracing into a temporary folder.
class SimProcess
{
public:
    ~SimProcess() { stop(); }

    // Starts it with extra options and waits for the pty path it prints.
    bool start(const QStringList& options = {});
    QString path() const { return m_path; }
    // A command line on its console, such as "fault-next none", and the line it answers.
    bool command(const QByteArray& line);
    QString reply(const QByteArray& line);
    // Terminates it: its exit code, or -1 when it had to be killed or crashed.
    int stop();

    // Trace lines starting with `kind` ("" for all), without their time stamps.
    QStringList traced(const QString& kind = {}) const;
    // Frames the panel heard (RX), dropped (DROPPED) or could not hear because the line was
    // at other settings (IGNORED), in order: "<KIND> <baud>/<stop> <hex bytes>".
    QStringList heardFrames() const;

private:
    QString readLine();

    QTemporaryDir m_dir;
    QProcess m_process;
    QString m_path;
};
