// Figures for the panel test window, run by hand (QT_QPA_PLATFORM=offscreen, or on a display):
//  1. processor time of this process per second of a running sweep against k7310sim with line
//     timing at 9600 baud, against the same window idle (its blink timer running);
//  2. the cost of one blink tick with all 24 LEDs repainted.
// With --memory [ROUNDS] it measures instead what the process holds over start/stop rounds
// (default 1000): each round starts the sweep and stops it at its first wait, then starts the
// alarm with a fault planted in the panel's answers and stops it after a few polls. Resident
// memory (VmRSS) and the heap in use are printed after 0, 100, 500 and 1000 rounds; with
// --observed a ring of exchanges as large as the line monitor's is filled as well.
#include "../common/cputime.h"
#include "comctrl.h"
#include "datafunctions7310.h"
#include "errorhandling.h"
#include "exchangelog.h"
#include "ledpanel.h"
#include "panelwidgets.h"
#include "ptypeer.h"
#include "wpaneltools.h"
#include "zrbfonctions.h"

#include <QApplication>
#include <QComboBox>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTimer>

#include <QFile>
#include <QRegularExpression>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <vector>

#include <malloc.h>

#include <sys/resource.h>

namespace {

constexpr int MeasureMs = 10000;
constexpr int Ticks = 2000;

// Lets the event loop run for a while; processor time and wall time spent meanwhile.
struct Span
{
    double cpuMs = 0;
    double wallMs = 0;
    double percent() const { return 100.0 * cpuMs / wallMs; }
};

Span runFor(int milliseconds, const std::function<void()>& during = {})
{
    const double cpuBefore = processCpuMs();
    QElapsedTimer clock;
    clock.start();
    if (during) {
        during(); // returns when its own waits are over
    } else {
        QEventLoop loop;
        QTimer::singleShot(milliseconds, &loop, &QEventLoop::quit);
        loop.exec();
    }
    return {processCpuMs() - cpuBefore, double(clock.nsecsElapsed()) / 1e6};
}

double percentile(std::vector<double> values, double fraction)
{
    std::sort(values.begin(), values.end());
    return values[static_cast<size_t>(fraction * double(values.size() - 1))];
}

// Resident memory of this process, in KiB, from /proc/self/status.
long residentKib()
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return -1;
    const QRegularExpression vmRss(QStringLiteral("^VmRSS:\\s+(\\d+) kB"),
                                   QRegularExpression::MultilineOption);
    return vmRss.match(QString::fromLatin1(status.readAll())).captured(1).toLong();
}

// Bytes the allocator has handed out and not had back.
double heapInUseMib()
{
    return double(mallinfo2().uordblks) / (1024.0 * 1024.0);
}

// One start/stop round: the sweep stopped at its first wait, then the alarm with `fault` in
// every answer of the panel, stopped after a few polls.
void startStopRound(wPanelTools& window, SimProcess& sim, const QByteArray& fault)
{
    auto* sequence = window.findChild<QComboBox*>("cboToolsSequence");
    auto* start = window.findChild<QPushButton*>("cmdTools_0");
    auto* stop = window.findChild<QPushButton*>("cmdTools_1");
    sequence->setCurrentIndex(wPanelTools::Sweep);
    QTimer::singleShot(0, stop, &QPushButton::click);
    start->click(); // returns when the sequence has ended

    sim.reply("fault " + fault);
    sequence->setCurrentIndex(wPanelTools::Alarm);
    QTimer::singleShot(120, stop, &QPushButton::click);
    start->click();
    sim.reply("fault off");
}

int memoryRounds(wPanelTools& window, SimProcess& sim, int rounds, bool observed, ComCtrl& line)
{
    // What the line monitor keeps, when asked for: its ring fills up, then stays.
    ExchangeLog ring;
    if (observed)
        line.addObserver([&ring](const Exchange& exchange) { ring.append(exchange); });
    // Answers with a wrong CRC, one byte short or long, noise before them.
    const QList<QByteArray> faults{"bad-crc", "short", "extra-byte", "noise", "off"};
    std::printf("== Memory over %d start/stop rounds (sweep, then alarm with a fault)%s\n", rounds,
                observed ? ", exchanges kept as the line monitor keeps them" : "");
    std::printf("%8s %12s %14s %10s\n", "rounds", "VmRSS MiB", "heap in use MiB", "seconds");
    QElapsedTimer clock;
    clock.start();
    const auto print = [&](int done) {
        std::printf("%8d %12.1f %14.2f %10.1f\n", done, double(residentKib()) / 1024.0,
                    heapInUseMib(), double(clock.elapsed()) / 1000.0);
        std::fflush(stdout);
    };
    print(0);
    for (int round = 1; round <= rounds; ++round) {
        startStopRound(window, sim, faults[round % faults.size()]);
        if (round == 100 || round == 500 || round == rounds || round % 250 == 0)
            print(round);
    }
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    QApplication app(argc, argv);
    int memory = 0;
    bool observed = false;
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--memory") == 0)
            memory = i + 1 < argc && argv[i + 1][0] != '-' ? std::atoi(argv[++i]) : 1000;
        else if (std::strcmp(argv[i], "--observed") == 0)
            observed = true;
    }
    ErrorReport::SetPresenter([](const QString& message) {
        std::fprintf(stderr, "error report: %s\n", qPrintable(message));
    });
    QTemporaryDir scratch; // the window reads and writes its captions here, not beside the program
    ZRBfonctions::SetIniFileName(scratch.filePath("k7310console.ini"));
    if (DataFunctions7310::OpenDataFile(K7310_BIN_DIR "/k7310console.dat") != 0) {
        std::fprintf(stderr, "no data file in %s\n", K7310_BIN_DIR);
        return 1;
    }

    SimProcess sim;
    // The memory rounds are about what is kept, not about the wire: no line timing there.
    if (!sim.start(memory > 0 ? QStringList{} : QStringList{"--line-timing"})) {
        std::fprintf(stderr, "k7310sim did not start\n");
        return 1;
    }
    ComCtrl line;
    line.setPortName(sim.path());
    line.open();
    wPanelTools window(line);
    window.show();
    runFor(500); // settled: shown, first paints done
    if (memory > 0) {
        const int result = memoryRounds(window, sim, memory, observed, line);
        if (qEnvironmentVariableIsSet("K7310_QUICK_EXIT")) {
            sim.stop();
            std::exit(0);
        }
        window.unload();
        DataFunctions7310::CloseDataFile();
        return result;
    }

    std::printf("== 1. CPU of this process, 9600 baud with line timing, %d s each\n",
                MeasureMs / 1000);
    const Span idle = runFor(MeasureMs);
    window.findChild<QComboBox*>("cboToolsSequence")->setCurrentIndex(wPanelTools::Sweep);
    auto* stop = window.findChild<QPushButton*>("cmdTools_1");
    const qsizetype heardBefore = sim.heardFrames().size();
    const Span sweep = runFor(MeasureMs, [&] {
        QTimer::singleShot(MeasureMs, stop, &QPushButton::click);
        window.findChild<QPushButton*>("cmdTools_0")->click();
    });
    const qsizetype exchanges = sim.heardFrames().size() - heardBefore;
    std::printf("idle (blink timer only)   CPU %7.1f ms in %7.1f ms = %5.2f %% of one core\n",
                idle.cpuMs, idle.wallMs, idle.percent());
    std::printf("sweep running             CPU %7.1f ms in %7.1f ms = %5.2f %% of one core "
                "(%lld exchanges)\n",
                sweep.cpuMs, sweep.wallMs, sweep.percent(), static_cast<long long>(exchanges));
    std::printf("above idle                %5.2f %% of one core (target <= 2 %%)\n",
                sweep.percent() - idle.percent());

    std::printf("== 2. One blink tick, all 24 LEDs repainted, %d ticks\n", Ticks);
    LedPanel* panel = window.panel();
    panel->blinkTimer()->stop();
    PanelCommands::PanelImage image;
    image.leds.fill(4); // the alarm rhythm: lit in phases 0 and 1
    panel->setImage(image);
    // As the timer runs it: the tick decides, the lamps are marked, and one update pass paints
    // them all and flushes once. Every lamp is marked here, changed or not.
    std::vector<double> passUs;
    // Worst case: each lamp painted and flushed on its own.
    std::vector<double> eachUs;
    std::vector<double> decideUs;
    for (int i = 0; i < Ticks; ++i) {
        QElapsedTimer clock;
        clock.start();
        panel->tmrCligno_Timer();
        decideUs.push_back(double(clock.nsecsElapsed()) / 1e3);
        for (int n = 0; n < PanelCommands::LedCount; ++n)
            panel->lamp(n)->update();
        QCoreApplication::processEvents();
        passUs.push_back(double(clock.nsecsElapsed()) / 1e3);

        clock.restart();
        for (int n = 0; n < PanelCommands::LedCount; ++n)
            panel->lamp(n)->repaint();
        eachUs.push_back(double(clock.nsecsElapsed()) / 1e3);
    }
    std::printf("tick, one pass paints 24  median %7.1f us, 99th percentile %7.1f us "
                "(target < 1000 us)\n",
                percentile(passUs, 0.5), percentile(passUs, 0.99));
    std::printf("24 lamps repainted apart  median %7.1f us, 99th percentile %7.1f us\n",
                percentile(eachUs, 0.5), percentile(eachUs, 0.99));
    std::printf("tick alone (decisions)    median %7.1f us\n", percentile(decideUs, 0.5));
    std::printf("(platform %s, device pixel ratio %.2f)\n", qPrintable(app.platformName()),
                window.devicePixelRatioF());
    window.unload();
    DataFunctions7310::CloseDataFile();
    return 0;
}
