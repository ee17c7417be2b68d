// Figures for the panel test window, run by hand (QT_QPA_PLATFORM=offscreen, or on a display):
//  1. processor time of this process per second of a running sweep against k7310sim with line
//     timing at 9600 baud, against the same window idle (its blink timer running);
//  2. the cost of one blink tick with all 24 LEDs repainted.
#include "../common/cputime.h"
#include "comctrl.h"
#include "datafunctions7310.h"
#include "errorhandling.h"
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

#include <algorithm>
#include <cstdio>
#include <vector>

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

} // namespace

int main(int argc, char** argv)
{
    QApplication app(argc, argv);
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
    if (!sim.start({"--line-timing"})) {
        std::fprintf(stderr, "k7310sim did not start\n");
        return 1;
    }
    ComCtrl line;
    line.setPortName(sim.path());
    line.open();
    wPanelTools window(line);
    window.show();
    runFor(500); // settled: shown, first paints done

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
