// Figures for the transaction code, run by hand:
//  1. CPU time spent by the process while an answer wait runs out (nobody answers);
//  2. median time of a 4-word read over a pty against a libmodbus slave, for LitMots and, in
//     the same run and against the same slave, for libmodbus's own master;
//  4. median time of a 4-word read from k7310sim with and without an adapter's echo.
#include "../common/cputime.h"
#include "comctrl.h"
#include "commfunctions.h"
#include "errorhandling.h"
#include "exchangelog.h"
#include "modbuspeer.h"
#include "ptypeer.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>

#include <modbus.h>

#include <algorithm>
#include <cstdio>
#include <vector>

#include <sys/resource.h>

using namespace CommFunctions;

namespace {

constexpr int Transactions = 1000;
constexpr int Block = 100; // the two masters take turns in blocks, so drift hits both alike
constexpr int Slave = 7;
// Reads a run of section 4: more than above, so that its small difference stands above the noise.
constexpr int EchoTransactions = 5000;

double median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

double percentile(std::vector<double> values, double fraction)
{
    std::sort(values.begin(), values.end());
    return values[static_cast<size_t>(fraction * double(values.size() - 1))];
}

bool idleWait(const char* what, const std::function<void(ComCtrl&)>& transaction)
{
    PtyPair pty; // nobody reads the master: the request is never answered
    if (!pty.ok())
        return false;
    ComCtrl line;
    line.setPortName(pty.slavePath());
    line.open();
    const double cpuBefore = processCpuMs();
    QElapsedTimer clock;
    clock.start();
    transaction(line);
    const double wallMs = double(clock.nsecsElapsed()) / 1e6;
    const double cpuMs = processCpuMs() - cpuBefore;
    std::printf("%-34s wall %7.1f ms, CPU %6.2f ms = %5.2f %% of one core (target <= 2 %%)\n", what,
                wallMs, cpuMs, 100.0 * cpuMs / wallMs);
    return true;
}

// Resident set size of this process, in kB.
long residentKb()
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return 0;
    for (const QByteArray& line : status.readAll().split('\n'))
        if (line.startsWith("VmRSS:"))
            return line.mid(6).trimmed().split(' ').value(0).toLong();
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    ErrorReport::SetPresenter([](const QString& message) {
        std::fprintf(stderr, "error report: %s\n", qPrintable(message));
    });

    std::printf("== 1. CPU time during an answer wait that runs out\n");
    QList<std::int16_t> four(4, 0);
    if (!idleWait("LitMots, 4 words, no answer", [&](ComCtrl& line) {
            if (LitMots(line, Slave, 0, four))
                std::printf("unexpected answer\n");
        }))
        return 1;
    idleWait("FrameReceived, 2 s, no answer",
             [](ComCtrl& line) { FrameReceived(line, FrameToSend(Slave, 3, 0, 4), 2.0f); });

    std::printf("\n== 2. Read 4 words over a pty from a libmodbus RTU slave, %d each\n",
                Transactions);
    PtyPair pty;
    ModbusServer server(pty.master(), Slave, 64);
    if (!pty.ok() || !server.ok())
        return 1;
    for (int i = 0; i < 4; ++i)
        server.setReg(i, static_cast<std::uint16_t>(1000 + i));

    std::vector<double> ours, observed, theirs;
    int oursFailed = 0, theirsFailed = 0;
    QElapsedTimer clock;
    ExchangeLog monitorLog; // what the line monitor keeps
    for (int round = 0; round < Transactions / Block; ++round) {
        for (const bool watched : {false, true}) {
            ComCtrl line;
            line.setPortName(pty.slavePath());
            line.open();
            if (watched)
                line.addObserver([&monitorLog](const Exchange& e) { monitorLog.append(e); });
            for (int i = 0; i < Block; ++i) {
                QList<std::int16_t> words(4, 0);
                clock.start();
                const bool ok = LitMots(line, Slave, 0, words);
                (watched ? observed : ours).push_back(double(clock.nsecsElapsed()) / 1e3);
                oursFailed += !ok || words[3] != 1003;
            }
        }
        modbus_t* master =
            modbus_new_rtu(pty.slavePath().toLocal8Bit().constData(), 9600, 'N', 8, 1);
        if (!master || modbus_connect(master) != 0) {
            std::printf("libmodbus master: cannot open %s\n", qPrintable(pty.slavePath()));
            return 1;
        }
        modbus_set_slave(master, Slave);
        modbus_set_response_timeout(master, 2, 0);
        for (int i = 0; i < Block; ++i) {
            std::uint16_t words[4] = {};
            clock.start();
            const int read = modbus_read_registers(master, 0, 4, words);
            theirs.push_back(double(clock.nsecsElapsed()) / 1e3);
            theirsFailed += read != 4 || words[3] != 1003;
        }
        modbus_close(master);
        modbus_free(master);
    }
    const double oursMedian = median(ours);
    const double theirsMedian = median(theirs);
    std::printf("LitMots           median %7.1f us, 90th %7.1f us, failed %d\n", oursMedian,
                percentile(ours, 0.9), oursFailed);
    std::printf("libmodbus master  median %7.1f us, 90th %7.1f us, failed %d\n", theirsMedian,
                percentile(theirs, 0.9), theirsFailed);
    std::printf("ratio ours / libmodbus: %.3f (target <= 1.10)\n", oursMedian / theirsMedian);
    const double observedMedian = median(observed);
    std::printf("LitMots observed  median %7.1f us, 90th %7.1f us\n", observedMedian,
                percentile(observed, 0.9));
    std::printf("ratio observed / not observed: %.3f (target <= 1.05)\n",
                observedMedian / oursMedian);

    std::printf("\n== 3. Memory of %lld stored exchanges (four-word reads)\n",
                static_cast<long long>(ExchangeLog::DefaultCapacity));
    const long before = residentKb();
    {
        ExchangeLog full;
        for (qsizetype i = 0; i < ExchangeLog::DefaultCapacity && monitorLog.size() > 0; ++i)
            full.append(monitorLog.at(i % monitorLog.size()));
        std::printf("resident memory grew by %.1f MB\n", (residentKb() - before) / 1024.0);
    }

    std::printf("\n== 4. Read 4 words from k7310sim, %d each, without and with the adapter's "
                "echo\n",
                EchoTransactions);
    SetFrameDelay(0);
    bool echoFailed = false;
    // Answered at once, the echo comes in one piece with the answer (as a USB adapter hands
    // both over in one transfer); with a turnaround, it comes on its own first.
    for (const QStringList& timing : {QStringList{}, QStringList{"--turnaround", "1"}}) {
        std::printf("%s\n",
                    timing.isEmpty() ? "answer at once:" : "answer 1 ms after the request:");
        SimProcess plain, echoing;
        if (!plain.start(timing) || !echoing.start(timing + QStringList{"--echo"}))
            return 1;
        // The line's settings as each run has them: none, echo found out, echo set.
        struct Run
        {
            const char* name;
            SimProcess* sim;
            LineEcho::Setting setting;
            std::vector<double> times;
            int failed = 0;
        };
        Run runs[] = {{"no echo, Automatic", &plain, LineEcho::Setting::Automatic, {}},
                      {"echo, Automatic", &echoing, LineEcho::Setting::Automatic, {}},
                      {"echo, Yes", &echoing, LineEcho::Setting::Yes, {}}};
        const int blocks = (timing.isEmpty() ? EchoTransactions : Transactions) / Block;
        for (int round = 0; round < blocks; ++round) {
            for (Run& run : runs) {
                ComCtrl line;
                line.setPortName(run.sim->path());
                line.setEchoSetting(run.setting);
                line.open();
                for (int i = 0; i < Block; ++i) {
                    QList<std::int16_t> words(4, 0);
                    clock.start();
                    const bool ok = LitMots(line, 1, 1, words);
                    run.times.push_back(double(clock.nsecsElapsed()) / 1e3);
                    run.failed += !ok;
                }
            }
        }
        const double plainMedian = median(runs[0].times);
        for (const Run& run : runs) {
            std::printf("  %-20s median %7.1f us, 90th %7.1f us, failed %d, ratio to no echo "
                        "%.3f%s\n",
                        run.name, median(run.times), percentile(run.times, 0.9), run.failed,
                        median(run.times) / plainMedian, &run == runs ? "" : " (target <= 1.05)");
            echoFailed = echoFailed || run.failed > 0;
        }
    }
    return oursFailed || theirsFailed || echoFailed ? 1 : 0;
}
