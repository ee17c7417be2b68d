// A full failed slave search: automatic search from 9600/1 on a pty where nothing answers,
// once for a known slave (one-word reads) and once for slave 0 (the three-byte probe).
// The floor is what the search must wait by its own rules: for each combination tried, the
// 2-second answer wait and the frame delay. The target is at most 1.05 x the floor; the
// CPU time shows that the waits block instead of spinning.
#include "../common/cputime.h"
#include "comctrl.h"
#include "commfunctions.h"
#include "detectk9120.h"
#include "errorhandling.h"
#include "ptypeer.h"

#include <QCoreApplication>
#include <QElapsedTimer>

#include <cstdio>
#include <cstring>
#include <sys/resource.h>

using namespace CommFunctions;

namespace {

// Counts the polls, lets every probe run.
class QuietObserver : public SearchObserver
{
public:
    int probes = 0;
    void show() override {}
    void progress(int, std::int32_t, std::int16_t) override { ++probes; }
    bool keepGoing() override { return true; }
    bool found(int) override { return true; }
    void close() override {}
};

// One search; false when it could not run or did not behave as a failed search.
bool run(const char* label, std::int16_t slave, bool* withinTarget)
{
    PtyPair pty;
    if (!pty.ok()) {
        std::fprintf(stderr, "no pseudo-terminal\n");
        return false;
    }
    ComCtrl line;
    try {
        line.setPortName(pty.slavePath());
        line.setSettings(QStringLiteral("9600,n,8,1"));
        line.open();
    } catch (const RunTimeError& error) {
        std::fprintf(stderr, "cannot open %s: %d\n", qPrintable(pty.slavePath()), error.number());
        return false;
    }

    const QList<LineCombination> order = SearchOrder(9600, 1, true);
    const int perProbe = slave == 0 ? ProbeTimeoutMs : WordTimeoutMs;
    const double floorMs = static_cast<double>(order.size()) * (perProbe + FrameDelay());

    QuietObserver observer;
    const double cpuBefore = processCpuMs();
    QElapsedTimer timer;
    timer.start();
    const std::uint8_t result = DetectK9120(line, slave, true, &observer);
    const double elapsedMs = static_cast<double>(timer.nsecsElapsed()) / 1e6;
    const double cpuMs = processCpuMs() - cpuBefore;

    const double ratio = elapsedMs / floorMs;
    *withinTarget = ratio <= 1.05;
    std::printf("%-22s combinations %d (probed %d)  result %u  settings after %s\n", label,
                static_cast<int>(order.size()), observer.probes, result,
                qPrintable(line.settings()));
    std::printf("%-22s floor %.1f ms  measured %.1f ms  ratio %.4f  CPU %.1f ms  %s\n", label,
                floorMs, elapsedMs, ratio, cpuMs, *withinTarget ? "within 1.05" : "OVER 1.05");
    return result == NothingFound && observer.probes == order.size() &&
           line.settings() == QLatin1String("9600,n,8,1");
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    SetFrameDelay(50);
    bool slaveZeroToo = true;
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--known-only") == 0)
            slaveZeroToo = false;
    }
    bool known = false;
    bool zero = true;
    bool ok = run("known slave (word 130)", 1, &known);
    if (slaveZeroToo)
        ok = run("slave 0 (probe)", 0, &zero) && ok;
    return ok && known && zero ? 0 : 1;
}
