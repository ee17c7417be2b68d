#include "line.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

namespace k7310sim {

namespace {

struct SpeedPair
{
    speed_t speed;
    int baud;
};

constexpr SpeedPair speeds[] = {
    {B50, 50},       {B75, 75},         {B110, 110},       {B134, 134},       {B150, 150},
    {B200, 200},     {B300, 300},       {B600, 600},       {B1200, 1200},     {B1800, 1800},
    {B2400, 2400},   {B4800, 4800},     {B9600, 9600},     {B19200, 19200},   {B38400, 38400},
    {B57600, 57600}, {B115200, 115200}, {B230400, 230400}, {B460800, 460800}, {B921600, 921600},
};

bool setRaw(int fd, int baud, int stopBits)
{
    termios tio{};
    if (tcgetattr(fd, &tio) != 0)
        return false;
    cfmakeraw(&tio);
    tio.c_cflag |= CLOCAL | CREAD;
    tio.c_cflag &= ~static_cast<tcflag_t>(PARENB | CSTOPB | CSIZE | CRTSCTS);
    tio.c_cflag |= CS8;
    if (stopBits == 2)
        tio.c_cflag |= CSTOPB;
    tio.c_cc[VMIN] = 1; // with O_NONBLOCK: EAGAIN when idle, 0 only on a hang-up
    tio.c_cc[VTIME] = 0;
    const speed_t speed = speedFromBaud(baud);
    if (speed == 0 || cfsetispeed(&tio, speed) != 0 || cfsetospeed(&tio, speed) != 0)
        return false;
    return tcsetattr(fd, TCSANOW, &tio) == 0;
}

} // namespace

int baudFromSpeed(unsigned speed)
{
    for (const SpeedPair& p : speeds)
        if (p.speed == speed)
            return p.baud;
    return 0;
}

unsigned speedFromBaud(int baud)
{
    for (const SpeedPair& p : speeds)
        if (p.baud == baud)
            return p.speed;
    return 0;
}

Line::~Line()
{
    close();
}

void Line::close()
{
    if (m_fd >= 0)
        ::close(m_fd);
    if (m_slaveFd >= 0)
        ::close(m_slaveFd);
    m_fd = m_slaveFd = -1;
}

bool Line::openPty(int baud, int stopBits, std::string& error)
{
    close();
    m_isPty = true;
    m_fd = posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    if (m_fd < 0 || grantpt(m_fd) != 0 || unlockpt(m_fd) != 0) {
        error = std::string("cannot create a pseudo-terminal: ") + std::strerror(errno);
        close();
        return false;
    }
    char name[128];
    if (ptsname_r(m_fd, name, sizeof name) != 0) {
        error = std::string("ptsname: ") + std::strerror(errno);
        close();
        return false;
    }
    m_path = name;
    m_slaveFd = ::open(name, O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    if (m_slaveFd < 0) {
        error = "cannot open " + m_path + ": " + std::strerror(errno);
        close();
        return false;
    }
    // Raw from the start: with the default cooked settings the line discipline would echo
    // our answers back to us and translate bytes before the master has configured it.
    if (!setRaw(m_slaveFd, baud, stopBits)) {
        error = std::string("cannot set up the pseudo-terminal: ") + std::strerror(errno);
        close();
        return false;
    }
    return true;
}

bool Line::openDevice(const std::string& path, int baud, int stopBits, std::string& error)
{
    close();
    m_isPty = false;
    m_path = path;
    m_fd = ::open(path.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    if (m_fd < 0) {
        error = "cannot open " + path + ": " + std::strerror(errno);
        return false;
    }
    if (!setRaw(m_fd, baud, stopBits)) {
        error = "cannot configure " + path + ": " + std::strerror(errno);
        close();
        return false;
    }
    return true;
}

SeenSettings Line::seen() const
{
    termios tio{};
    const int fd = m_isPty ? m_slaveFd : m_fd;
    if (fd < 0 || tcgetattr(fd, &tio) != 0)
        return {};
    return SeenSettings{baudFromSpeed(cfgetospeed(&tio)), (tio.c_cflag & CSTOPB) ? 2 : 1};
}

bool Line::configure(int baud, int stopBits)
{
    if (m_isPty || m_fd < 0)
        return true;
    return setRaw(m_fd, baud, stopBits);
}

void Line::drain()
{
    if (!m_isPty && m_fd >= 0)
        tcdrain(m_fd);
}

} // namespace k7310sim
