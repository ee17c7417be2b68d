// Figures of the line survey, run by hand: lines of simulated panels (k7310sim with line
// timing) surveyed with the default order and allowance, each timed against its floor on the
// wire. The floor of a probe is the request's wire time plus its answer wait, or plus the
// answer's wire time where a panel answered; of a configuration read, the request's and the
// answer's wire times with the 3.5-character silence before each. Also the time that the same
// census would take with the slave search (one DetectK9120 per slave number and setting),
// computed from its fixed waits rather than waited for.
//
// bench_survey [--allowance MS] [--line NAME]
#include "comctrl.h"
#include "commfunctions.h"
#include "detectk9120.h"
#include "linesurvey.h"
#include "ptypeer.h"
#include "textids.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QElapsedTimer>

#include <cstdio>

using namespace LineSurvey;

namespace {

struct Line
{
    const char* name;
    QStringList panels; // --panel values
    double goalSeconds;
};

QString panel(int slave, const Setting& setting)
{
    return QStringLiteral("slave=%1,speed=%2,stop=%3")
        .arg(slave)
        .arg(setting.speed)
        .arg(setting.stops);
}

QList<Line> lines()
{
    const QList<Setting> all = DefaultSettings({9600, 1});
    QStringList oneEach, twoEach;
    for (int i = 0; i < all.size(); ++i) {
        oneEach << panel(i + 1, all[i]);
        twoEach << panel(2 * i + 1, all[i]) << panel(2 * i + 2, all[i]);
    }
    return {
        {"1 panel at the current setting", {"slave=1"}, 2},
        {"4 panels at 9600/1 (3, 17, 40, 64)", {"slave=3", "slave=17", "slave=40", "slave=64"}, 8},
        {"10 panels, one at each setting", oneEach, 10},
        {"20 panels, two at each setting", twoEach, 90},
    };
}

bool isProbe(const QByteArray& request)
{
    return request == CommFunctions::ProbeRequest() ||
           request.mid(1, 5) == QByteArray::fromHex("0300820001");
}

// The wire's floor of one exchange, in microseconds.
qint64 floorUs(const Exchange& exchange, int allowanceMs)
{
    const QString& settings = exchange.settings;
    const qint64 request = WireUs(settings, double(exchange.request.size()));
    if (isProbe(exchange.request)) {
        const int expected = exchange.request == CommFunctions::ProbeRequest()
                                 ? CommFunctions::ProbeAnswerLength
                                 : 7;
        return request + (exchange.answer.isEmpty()
                              ? AnswerWaitUs(settings, expected, allowanceMs)
                              : WireUs(settings, double(exchange.answer.size())));
    }
    return request + WireUs(settings, double(exchange.answer.size()) + 7.0);
}

// The slave search's census of the same line: every slave number at every setting, each a
// one-word read that waits the word time-out where nobody answers, each followed by the frame
// delay.
double searchCensusSeconds(const QList<Setting>& settings, int panels)
{
    qint64 us = 0;
    for (const Setting& setting : settings) {
        const QString text = QStringLiteral("%1,n,8,%2").arg(setting.speed).arg(setting.stops);
        us += 64 * (WireUs(text, 8) + CommFunctions::FrameDelay() * 1000LL);
        us += 64 * qint64(CommFunctions::WordTimeoutMs) * 1000;
    }
    // A panel that answers saves the time-out, less its answer's wire time.
    const QString slowest = QStringLiteral("1200,n,8,2");
    us -= panels * (qint64(CommFunctions::WordTimeoutMs) * 1000 - WireUs(slowest, 7));
    return us / 1e6;
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    QCommandLineParser parser;
    parser.addHelpOption();
    const QCommandLineOption allowanceOption("allowance", "turnaround allowance (ms)", "MS",
                                             QString::number(DefaultAllowanceMs));
    const QCommandLineOption lineOption("line", "only the lines whose name contains TEXT", "TEXT");
    parser.addOptions({allowanceOption, lineOption});
    parser.process(app);
    const int allowance = parser.value(allowanceOption).toInt();

    std::printf("%-38s %6s %9s %9s %7s %6s %6s %10s %8s\n", "line", "found", "time s", "floor s",
                "ratio", "goal s", "met", "search s", "search×");
    int failures = 0;
    for (const Line& line : lines()) {
        if (parser.isSet(lineOption) &&
            !QString::fromLatin1(line.name).contains(parser.value(lineOption)))
            continue;
        SimProcess sim;
        QStringList arguments{"--line-timing"};
        for (const QString& panelText : line.panels)
            arguments << "--panel" << panelText;
        if (!sim.start(arguments)) {
            std::fprintf(stderr, "k7310sim did not start\n");
            return 2;
        }
        ComCtrl port;
        port.setPortName(sim.path());
        port.setSettings(QStringLiteral("9600,n,8,1"));
        port.open();
        qint64 floor = 0;
        port.addObserver([&floor, allowance](const Exchange& exchange) {
            floor += floorUs(exchange, allowance);
        });
        Options options;
        options.allowanceMs = allowance;
        QElapsedTimer clock;
        clock.start();
        const Result result = Run(port, options, nullptr, TextId::SurveyTitle);
        const double seconds = clock.nsecsElapsed() / 1e9;
        const double floorSeconds = floor / 1e6;
        const double ratio = seconds / floorSeconds;
        const bool met =
            seconds < line.goalSeconds && ratio <= 1.10 && result.rows.size() == line.panels.size();
        failures += met ? 0 : 1;
        const double search =
            searchCensusSeconds(DefaultSettings({9600, 1}), int(line.panels.size()));
        std::printf("%-38s %3lld/%-2lld %9.2f %9.2f %7.3f %6.0f %6s %10.0f %8.0f\n", line.name,
                    static_cast<long long>(result.rows.size()),
                    static_cast<long long>(line.panels.size()), seconds, floorSeconds, ratio,
                    line.goalSeconds, met ? "yes" : "NO", search, search / seconds);
        std::fflush(stdout);
    }
    return failures == 0 ? 0 : 1;
}
