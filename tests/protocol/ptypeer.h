#pragma once

#include "errorhandling.h"

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>

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
    PtyPair(const PtyPair&) = delete;
    PtyPair& operator=(const PtyPair&) = delete;

    bool ok() const { return m_master >= 0; }
    QString slavePath() const { return m_slavePath; }
    int master() const { return m_master.load(); }
    int slave() const { return m_slave; }

    // The far end goes away: the console's reads fail from now on.
    void closeMaster();
    // Reads from the master until `count` bytes are in or `timeoutMs` passes.
    QByteArray readMaster(int count, int timeoutMs);
    bool writeMaster(const QByteArray& bytes);

private:
    std::atomic<int> m_master{-1};
    int m_slave = -1;
    QString m_slavePath;
};

// Request length on the line: 9 + byte count for functions 15 and 16, otherwise 8.
int RequestLength(const QByteArray& head);

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
    FakeSlave(const FakeSlave&) = delete;
    FakeSlave& operator=(const FakeSlave&) = delete;

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

// The answer a healthy slave gives: function 3 with `words`, or the function 6 echo.
QByteArray ReadAnswer(quint8 slave, const QList<qint16>& words);
QByteArray WithCrc(QByteArray frame);

// Collects what the error report would show, for as long as it lives.
class ReportCapture
{
public:
    ReportCapture()
        : m_previous(ErrorReport::SetPresenter([this](const QString& m) { messages.append(m); }))
    {}
    ~ReportCapture() { ErrorReport::SetPresenter(m_previous); }
    QStringList messages;

private:
    ErrorReport::Presenter m_previous;
};
