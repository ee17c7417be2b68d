// Median round trip of a 4-word read (function 3, 8 request bytes, 13 answer bytes) through
// the simulator's pty: once with line timing off, once with it on at 9600 baud. Prints the
// figures; with line timing on, the expectation is the wire time of the 21 bytes plus the
// turnaround.
#include <QCoreApplication>
#include <QElapsedTimer>
#include <QProcess>
#include <QTemporaryDir>

#include <algorithm>
#include <cstdio>
#include <fcntl.h>
#include <poll.h>
#include <termios.h>
#include <unistd.h>
#include <vector>

namespace {

// 01 03 00 80 00 04 + CRC: the four line words.
const unsigned char request[] = {0x01, 0x03, 0x00, 0x80, 0x00, 0x04, 0x45, 0xE1};
constexpr int answerSize = 13;

int openLine(const QString& path)
{
    const int fd = ::open(path.toLocal8Bit().constData(), O_RDWR | O_NOCTTY | O_NONBLOCK);
    if (fd < 0)
        return -1;
    termios tio{};
    tcgetattr(fd, &tio);
    cfmakeraw(&tio);
    tio.c_cflag |= CLOCAL | CREAD;
    tio.c_cflag &= ~static_cast<tcflag_t>(CSTOPB | PARENB);
    cfsetispeed(&tio, B9600);
    cfsetospeed(&tio, B9600);
    tcsetattr(fd, TCSANOW, &tio);
    return fd;
}

// One exchange: microseconds from the write to the last answer byte, -1 on a time-out.
double roundTrip(int fd)
{
    QElapsedTimer t;
    t.start();
    if (::write(fd, request, sizeof request) != static_cast<ssize_t>(sizeof request))
        return -1;
    int got = 0;
    while (got < answerSize && t.elapsed() < 1000) {
        pollfd p{fd, POLLIN, 0};
        if (::poll(&p, 1, 100) > 0) {
            char buf[64];
            const ssize_t n = ::read(fd, buf, sizeof buf);
            if (n > 0)
                got += static_cast<int>(n);
        }
    }
    return got >= answerSize ? static_cast<double>(t.nsecsElapsed()) / 1000.0 : -1;
}

bool run(const char* label, const QStringList& args, int count, double expectedUs)
{
    QTemporaryDir dir;
    QProcess sim;
    sim.start(K7310_BIN_DIR "/k7310sim", QStringList{"--link", dir.filePath("link")} + args);
    if (!sim.waitForStarted(5000) || !sim.waitForReadyRead(5000)) {
        std::fprintf(stderr, "cannot start k7310sim\n");
        return false;
    }
    const QString path = QString::fromUtf8(sim.readLine()).trimmed();
    const int fd = openLine(path);
    if (fd < 0) {
        std::fprintf(stderr, "cannot open %s\n", qPrintable(path));
        return false;
    }
    std::vector<double> us;
    for (int i = 0; i < count + 5; ++i) {
        const double rt = roundTrip(fd);
        if (rt < 0) {
            std::fprintf(stderr, "%s: time-out\n", label);
            ::close(fd);
            return false;
        }
        if (i >= 5) // the first few warm up both processes
            us.push_back(rt);
        ::usleep(2000);
    }
    ::close(fd);
    sim.terminate();
    sim.waitForFinished(3000);
    std::sort(us.begin(), us.end());
    const auto at = [&](double q) {
        return us[static_cast<std::size_t>(q * (us.size() - 1))];
    };
    std::printf("%-34s n=%3zu  median %8.3f ms  p10 %8.3f  p90 %8.3f  max %8.3f", label, us.size(),
                at(0.5) / 1000, at(0.1) / 1000, at(0.9) / 1000, us.back() / 1000);
    if (expectedUs > 0)
        std::printf("  expected %.3f ms, median - expected %+.3f ms", expectedUs / 1000,
                    (at(0.5) - expectedUs) / 1000);
    std::printf("\n");
    return true;
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    const double turnaroundMs = 3.0;
    // 21 characters of 10 bits (start, 8 data, 1 stop) at 9600 baud, plus the turnaround.
    const double wireUs = 21 * 10 * 1e6 / 9600 + turnaroundMs * 1000;
    bool ok = run("4-word read, line timing off", {}, 500, 0);
    ok = run("4-word read, line timing on, 9600",
             {"--line-timing", "--turnaround", QString::number(turnaroundMs)}, 100, wireUs) &&
         ok;
    return ok ? 0 : 1;
}
