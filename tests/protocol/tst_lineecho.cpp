// The echo of 2-wire adapters against k7310sim --echo: every path that talks to a panel works
// with the echo setting on Automatic or Yes, and No ends in the echo fault.
#include "comctrl.h"
#include "commfunctions.h"
#include "detectk9120.h"
#include "linesurvey.h"
#include "panelcommands.h"
#include "ptypeer.h"

#include <QElapsedTimer>

using namespace CommFunctions;
using Setting = LineEcho::Setting;

namespace {

// The search's window: nothing to show, every find confirmed.
class Confirming : public SearchObserver
{
    void show() override {}
    void progress(int, std::int32_t, std::int16_t) override {}
    bool keepGoing() override { return true; }
    bool found(int) override { return true; }
    void close() override {}
};

// One call through a path that talks to slave 1: whether it got the panel's right answer.
bool talk(ComCtrl& line, char path)
{
    QList<std::int16_t> word(1);
    Confirming user;
    switch (path) {
    case 'r': // a read of device words
        return LitMots(line, 1, ProbeWordAddress, word) && word[0] == 1;
    case 'w': // a write of one device word
        return EcritMots(line, 1, 65, 0);
    case 's': // the search's probe, which learns the slave number
        return DetectK9120(line, 0, false, &user) == 1;
    case 'f': { // the frame builder
        const QByteArray request = FrameToSend(1, 3, ProbeWordAddress, 1);
        return ValidReadAnswer(request, FrameReceived(line, request, 2.0f));
    }
    case 'v': { // the line survey: the whole-line probe, a sweep of 1 to 3, the configuration
        LineSurvey::Options options;
        options.settings = {{9600, 1}};
        options.lastSlave = 3;
        options.thorough = true;
        const LineSurvey::Result result = LineSurvey::Run(line, options, nullptr, 0);
        return result.end == LineSurvey::Result::End::Done && result.rows.size() == 1 &&
               result.rows[0].slave == 1 && result.rows[0].clean() && result.rows[0].configRead;
    }
    default: { // the test window: a lamp test, then the acknowledgement word
        const QByteArray lamp = PanelCommands::LampTestRequest(1);
        const QByteArray ack = PanelCommands::AckReadRequest(1);
        return ClassifyAnswer(lamp, FrameReceived(line, lamp, 1.0f)) ==
                   Exchange::Outcome::Complete &&
               ClassifyAnswer(ack, FrameReceived(line, ack, 1.0f)) == Exchange::Outcome::Complete;
    }
    }
}

} // namespace

class TestLineEcho : public QObject
{
    Q_OBJECT

private slots:
    void init() { SetFrameDelay(0); }

    // Each path twice in a row: the first exchange finds out (Automatic), the second uses it.
    void paths_data()
    {
        // fault: what the first call reports, "" for none; found: echoes() afterwards
        columns<bool, Setting, char, QString, int>("echo", "setting", "path", "fault", "found");
        const char* paths = "rwsftv";
        const char* names[] = {"read",          "write",       "search",
                               "frame builder", "test window", "line survey"};
        static QList<QByteArray> rowNames;
        for (int i = 0; i < 6; ++i) {
            for (const auto& [setting, text] :
                 {std::pair{Setting::Automatic, "automatic"}, {Setting::Yes, "yes"}}) {
                rowNames << QByteArray(text) + ", echoing adapter: " + names[i];
                row(rowNames.last().constData(), true, setting, paths[i], QString(), 1);
            }
        }
        row("no, echoing adapter: read is the echo fault", true, Setting::No, 'r', "8022 LitMots",
            0);
        row("no, echoing adapter: search is the echo fault", true, Setting::No, 's',
            "8022 DetectK9120", 0);
        row("no, echoing adapter: frame builder is the echo fault", true, Setting::No, 'f',
            "8022 FrameReceived", 0);
        row("yes, adapter without echo: read is the missing echo fault", false, Setting::Yes, 'r',
            "8021 LitMots", 1);
        row("automatic, adapter without echo: read finds none", false, Setting::Automatic, 'r',
            QString(), 0);
        row("automatic, adapter without echo: write alone finds nothing", false, Setting::Automatic,
            'w', QString(), -1);
    }
    void paths()
    {
        const auto [echo, setting, path, fault, found] =
            fetch<bool, Setting, char, QString, int>("echo", "setting", "path", "fault", "found");
        SimProcess sim;
        QVERIFY(sim.start(echo ? QStringList{"--echo"} : QStringList{}));
        ComCtrl line;
        line.setPortName(sim.path());
        line.setEchoSetting(setting);
        line.open();
        ReportCapture report;
        for (int call = 0; call < 2; ++call)
            QVERIFY2(talk(line, path) == fault.isEmpty(), qPrintable(report.faults().join(',')));
        // The same fault twice in a row is reported once.
        QCOMPARE(report.faults(), fault.isEmpty() ? QStringList() : QStringList(fault));
        QCOMPARE(line.echoes(), found < 0 ? std::nullopt : std::optional<bool>(found == 1));
        // A reopened port finds out again.
        line.close();
        line.open();
        QCOMPARE(line.echoes().has_value(), setting != Setting::Automatic);
    }

    // The echo's bytes come within the answer's deadline: a silent panel behind an echoing
    // adapter is a plain time-out of the usual length.
    void silentPanelBehindEcho()
    {
        SimProcess sim;
        QVERIFY(sim.start({"--echo", "--fault", "none"}));
        ComCtrl line;
        line.setPortName(sim.path());
        line.setEchoSetting(Setting::Yes);
        line.open();
        ReportCapture report;
        QList<std::int16_t> word(1);
        QElapsedTimer clock;
        clock.start();
        QVERIFY(!LitMots(line, 1, ProbeWordAddress, word));
        const qint64 elapsed = clock.elapsed();
        QVERIFY2(elapsed >= WordTimeoutMs - 10 && elapsed < WordTimeoutMs + 300,
                 qPrintable(QString::number(elapsed)));
        QCOMPARE(LastWordOutcome(), Exchange::Outcome::TimeOut);
        QCOMPARE(line.lastEcho(), LineEcho::Finding::Echoed);
        QVERIFY(report.messages.isEmpty());
    }
};

QTEST_GUILESS_MAIN(TestLineEcho)
#include "tst_lineecho.moc"
