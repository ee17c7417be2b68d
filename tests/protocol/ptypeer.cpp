#include "ptypeer.h"

#include "commfunctions.h"

#include <QDeadlineTimer>
#include <QThread>

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

QByteArray PtyPair::readMaster(int count, int timeoutMs)
{
    QByteArray bytes;
    QDeadlineTimer deadline(timeoutMs);
    while (bytes.size() < count && !deadline.hasExpired()) {
        struct pollfd entry = {m_master.load(), POLLIN, 0};
        if (::poll(&entry, 1, static_cast<int>(deadline.remainingTime())) <= 0)
            continue;
        char buffer[512];
        const ssize_t n = ::read(entry.fd, buffer, sizeof buffer);
        if (n <= 0)
            break;
        bytes.append(buffer, n);
    }
    return bytes;
}

bool PtyPair::writeMaster(const QByteArray& bytes)
{
    return ::write(m_master.load(), bytes.constData(), static_cast<size_t>(bytes.size())) ==
           bytes.size();
}

int RequestLength(const QByteArray& head)
{
    if (head.size() >= 7 && (head.at(1) == 15 || head.at(1) == 16))
        return 9 + static_cast<quint8>(head.at(6));
    return 8;
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
    QByteArray pending;
    while (!m_stop) {
        const int fd = m_pty.master();
        if (fd < 0)
            return;
        struct pollfd entry = {fd, POLLIN, 0};
        if (::poll(&entry, 1, 10) <= 0 || !(entry.revents & POLLIN))
            continue;
        char buffer[512];
        const ssize_t n = ::read(fd, buffer, sizeof buffer);
        if (n <= 0)
            continue;
        pending.append(buffer, n);
        while (pending.size() >= 7 && pending.size() >= RequestLength(pending)) {
            const QByteArray request = pending.left(RequestLength(pending));
            pending.remove(0, request.size());
            {
                std::lock_guard lock(m_mutex);
                m_requests.append(request);
            }
            const Reply reply = m_script(request);
            QDeadlineTimer delay(reply.delayMs);
            while (!delay.hasExpired() && !m_stop)
                QThread::msleep(1);
            if (!reply.bytes.isEmpty())
                m_pty.writeMaster(reply.bytes);
            if (reply.hangUp) {
                m_pty.closeMaster();
                return;
            }
        }
    }
}

QByteArray WithCrc(QByteArray frame)
{
    const quint16 crc = CommFunctions::Crc16Of(frame.constData(), frame.size());
    frame.append(static_cast<char>(crc & 0xFF));
    frame.append(static_cast<char>(crc >> 8));
    return frame;
}

QByteArray ReadAnswer(quint8 slave, const QList<qint16>& words)
{
    QByteArray frame;
    frame.append(static_cast<char>(slave));
    frame.append(char(3));
    frame.append(static_cast<char>(words.size() * 2));
    for (const qint16 word : words) {
        frame.append(static_cast<char>(static_cast<quint16>(word) >> 8));
        frame.append(static_cast<char>(word & 0xFF));
    }
    return WithCrc(frame);
}
