#include "ptypeer.h"

#include "commfunctions.h"

#include <QDeadlineTimer>
#include <QElapsedTimer>
#include <QFile>

#include <chrono>

#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <termios.h>
#include <unistd.h>

PtyPair::PtyPair()
{
    int master = -1;
    char name[256] = {};
    struct termios raw = {};
    cfmakeraw(&raw);
    if (::openpty(&master, &m_slave, name, &raw, nullptr) != 0)
        return;
    ::fcntl(master, F_SETFD, FD_CLOEXEC);
    ::fcntl(m_slave, F_SETFD, FD_CLOEXEC);
    m_master = master;
    m_slavePath = QString::fromLocal8Bit(name);
}

PtyPair::~PtyPair()
{
    closeMaster();
    if (m_slave >= 0)
        ::close(m_slave);
}

void PtyPair::closeMaster()
{
    const int fd = m_master.exchange(-1);
    if (fd >= 0)
        ::close(fd);
}

QByteArray PtyPair::ReadFrom(int fd, int count, int timeoutMs, int quietMs, qint64* lastByteNs)
{
    QByteArray bytes;
    QElapsedTimer clock;
    clock.start();
    qint64 last = 0;
    while (clock.elapsed() < timeoutMs &&
           (bytes.size() < count || clock.nsecsElapsed() - last < quietMs * 1'000'000LL)) {
        struct pollfd entry = {fd, POLLIN, 0};
        if (::poll(&entry, 1, 5) <= 0)
            continue;
        char buffer[512];
        const ssize_t n = ::read(fd, buffer, sizeof buffer);
        if (n <= 0)
            break;
        bytes.append(buffer, n);
        last = clock.nsecsElapsed();
    }
    if (lastByteNs)
        *lastByteNs = last;
    return bytes;
}

bool PtyPair::writeMaster(const QByteArray& bytes)
{
    return ::write(m_master.load(), bytes.constData(), static_cast<size_t>(bytes.size())) ==
           bytes.size();
}

FakeSlave::FakeSlave(PtyPair& pty, Script script)
    : m_pty(pty)
    , m_script(std::move(script))
    , m_thread([this] { run(); })
{}

FakeSlave::~FakeSlave()
{
    m_stop = true;
    m_thread.join();
}

QList<QByteArray> FakeSlave::requests() const
{
    std::lock_guard lock(m_mutex);
    return m_requests;
}

void FakeSlave::run()
{
    // Request length on the line: 9 + byte count for functions 15 and 16, otherwise 8.
    const auto length = [](const QByteArray& head) {
        return head.at(1) == 15 || head.at(1) == 16 ? 9 + static_cast<quint8>(head.at(6)) : 8;
    };
    QByteArray pending;
    while (!m_stop && m_pty.master() >= 0) {
        struct pollfd entry = {m_pty.master(), POLLIN, 0};
        char buffer[512];
        if (::poll(&entry, 1, 10) <= 0 || !(entry.revents & POLLIN))
            continue;
        const ssize_t n = ::read(entry.fd, buffer, sizeof buffer);
        pending.append(buffer, std::max<ssize_t>(n, 0));
        while (pending.size() >= 7 && pending.size() >= length(pending)) {
            const QByteArray request = pending.left(length(pending));
            pending.remove(0, request.size());
            {
                std::lock_guard lock(m_mutex);
                m_requests.append(request);
            }
            const Reply reply = m_script(request);
            std::this_thread::sleep_for(std::chrono::milliseconds(reply.delayMs));
            m_pty.writeMaster(reply.bytes);
            if (reply.hangUp)
                return m_pty.closeMaster();
        }
    }
}

FakeSlave::Script Replying(const QByteArray& bytes, int delayMs, bool hangUp)
{
    return [=](const QByteArray&) {
        return FakeSlave::Reply{bytes, delayMs, hangUp};
    };
}

ScriptedLine::ScriptedLine(FakeSlave::Script script)
    : slave(pty, std::move(script))
{
    line.setPortName(pty.slavePath());
    line.open();
}

QByteArray WithCrc(QByteArray frame)
{
    const quint16 crc = CommFunctions::Crc16Of(frame.constData(), frame.size());
    return frame.append(static_cast<char>(crc & 0xFF)).append(static_cast<char>(crc >> 8));
}

int SimProcess::stop()
{
    if (m_process.state() == QProcess::NotRunning)
        return m_process.exitCode();
    m_process.terminate();
    if (!m_process.waitForFinished(3000)) {
        m_process.kill();
        m_process.waitForFinished(1000);
        return -1;
    }
    return m_process.exitStatus() == QProcess::NormalExit ? m_process.exitCode() : -1;
}

QString SimProcess::readLine()
{
    const QDeadlineTimer deadline(5000);
    while (!m_process.canReadLine() && !deadline.hasExpired() &&
           m_process.state() != QProcess::NotRunning)
        m_process.waitForReadyRead(50);
    return QString::fromUtf8(m_process.readLine()).trimmed();
}

bool SimProcess::start(const QStringList& options)
{
    m_process.start(
        QStringLiteral(K7310_BIN_DIR "/k7310sim"),
        QStringList{"--link", m_dir.filePath("link"), "--trace", m_dir.filePath("trace")} +
            options);
    m_path = readLine();
    return !m_path.isEmpty();
}

bool SimProcess::command(const QByteArray& line)
{
    return m_process.write(line + '\n') > 0 && m_process.waitForBytesWritten(1000);
}

QString SimProcess::reply(const QByteArray& line)
{
    return command(line) ? readLine() : QString();
}

QStringList SimProcess::traced(const QString& kind) const
{
    QFile file(m_dir.filePath("trace"));
    QStringList lines;
    for (const QString& line :
         QString::fromUtf8(file.open(QIODevice::ReadOnly) ? file.readAll() : "").split('\n'))
        if (const QString rest = line.section(' ', 1); !rest.isEmpty() && rest.startsWith(kind))
            lines.append(rest);
    return lines;
}

QStringList SimProcess::heardFrames() const
{
    QStringList frames;
    // <KIND> <baud>/<stop> <hex bytes> [(<reason>)]
    for (const QString& line : traced())
        if (QStringList{"RX", "DROPPED", "IGNORED"}.contains(line.section(' ', 0, 0)))
            frames.append(line.section(" (", 0, 0));
    return frames;
}
