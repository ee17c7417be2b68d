// Runs the console's real start-up sequence once, in a scratch program folder, on a
// pseudo-terminal, with the splash timer at 0 ms, and prints:
//   - the time from process start (kernel start time of this process) to the main window
//     being shown, and to the start-up being complete (children shown);
//   - the resident memory after start-up.
// Run it under Xvfb (DISPLAY set) for figures with a real display server, or with
// QT_QPA_PLATFORM=offscreen.
#include "wmain.h"
#include "wsplash.h"
#include "zrbfonctions.h"

#include <QApplication>
#include <QFile>
#include <QTemporaryDir>
#include <QTextStream>

#include <pty.h>
#include <unistd.h>

#include <cstdio>
#include <ctime>

namespace {

// Seconds since boot at which this process started, from /proc/self/stat (field 22).
double processStartSeconds()
{
    QFile stat(QStringLiteral("/proc/self/stat"));
    if (!stat.open(QIODevice::ReadOnly))
        return 0;
    const QByteArray text = stat.readAll();
    // Fields after the command name, which is in parentheses and may hold blanks.
    const QList<QByteArray> fields = text.mid(text.lastIndexOf(')') + 2).split(' ');
    return fields.value(19).toDouble() / static_cast<double>(sysconf(_SC_CLK_TCK));
}

double nowSinceBoot()
{
    timespec now{};
    clock_gettime(CLOCK_BOOTTIME, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

long residentKilobytes()
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return 0;
    for (const QByteArray& line : status.readAll().split('\n')) {
        if (line.startsWith("VmRSS:"))
            return line.mid(6).trimmed().split(' ').value(0).toLong();
    }
    return 0;
}

class ShownProbe : public QObject
{
public:
    double shownAt = 0;

protected:
    bool eventFilter(QObject* watched, QEvent* event) override
    {
        if (event->type() == QEvent::Show && shownAt == 0)
            shownAt = nowSinceBoot();
        return QObject::eventFilter(watched, event);
    }
};

} // namespace

int main(int argc, char* argv[])
{
    const double started = processStartSeconds();
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("k7310console"));

    QTemporaryDir folder;
    const QString data = folder.filePath(QStringLiteral("k7310console.dat"));
    QFile::copy(QStringLiteral(K7310_BIN_DIR "/k7310console.dat"), data);
    int master = -1;
    int slave = -1;
    char name[256] = {};
    if (openpty(&master, &slave, name, nullptr, nullptr) != 0) {
        std::fprintf(stderr, "bench_startup: no pseudo-terminal\n");
        return 1;
    }
    const QString ini = folder.filePath(QStringLiteral("k7310console.ini"));
    QFile file(ini);
    if (!file.open(QIODevice::WriteOnly))
        return 1;
    QTextStream(&file) << "[General]\nLanguage=English\n[Communication]\nPort=" << name << "\n";
    file.close();
    ZRBfonctions::SetIniFileName(ini);
    wSplash::SetCloseInterval(0);

    ShownProbe probe;
    wMain frame(wMain::Files{data, QStringLiteral(K7310_BIN_DIR)});
    frame.installEventFilter(&probe);
    if (!frame.load())
        return 1;
    QApplication::processEvents();
    const double done = nowSinceBoot();

    std::printf("platform            %s\n", qPrintable(QGuiApplication::platformName()));
    std::printf("main window shown   %.3f s after process start (splash wait excluded)\n",
                probe.shownAt - started);
    std::printf("start-up complete   %.3f s after process start (children shown)\n",
                done - started);
    std::printf("resident memory     %.1f MB after start-up\n",
                static_cast<double>(residentKilobytes()) / 1024.0);
    ::close(slave);
    ::close(master);
    return 0;
}
