// The serial line object, the transactions and what the line's observers are told, over a
// pseudo-terminal against a scripted slave.
#include "comctrl.h"
#include "commfunctions.h"
#include "ptypeer.h"

#include <QElapsedTimer>
#include <QTemporaryDir>

#include <sys/resource.h>

using namespace CommFunctions;
using Outcome = Exchange::Outcome;

namespace {

// CPU time of the calling thread, in milliseconds.
double threadCpuMs()
{
    struct rusage usage = {};
    getrusage(RUSAGE_THREAD, &usage);
    return (usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) * 1000.0 +
           (usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1000.0;
}

int thrownNumber(const std::function<void()>& action)
{
    try {
        action();
    } catch (const RunTimeError& error) {
        return error.number();
    }
    return 0;
}

// What the line's observers are told, for as long as it lives.
struct Observed
{
    explicit Observed(ComCtrl& observedLine)
        : line(observedLine)
        , id(observedLine.addObserver([this](const Exchange& e) { seen << e; }))
    {}
    ~Observed() { line.removeObserver(id); }
    ComCtrl& line;
    const int id;
    QList<Exchange> seen;
};

} // namespace

class TestLine : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        SetRtsHandshake(false);
        SetRtsDelay(5);
    }

    // Port numbers 1 to 16 are the ttyS devices; any other name is a path as it stands.
    void systemLocation()
    {
        for (const auto& [name, location] : {std::pair{"1", "/dev/ttyS0"},
                                             {"16", "/dev/ttyS15"},
                                             {"17", "/dev/17"},
                                             {"/dev/pts/3", "/dev/pts/3"}})
            QCOMPARE(ComCtrl::SystemLocation(name), QString(location));
    }

    void permissionDeniedNamesTheGroup()
    {
        // What ProbeDevice finds for a device node of mode 660, group dialout, for another user.
        ComCtrl::OpenProbe probe;
        probe.location = QStringLiteral("/dev/ttyUSB7");
        probe.exists = probe.charDevice = true;
        probe.accessible = false;
        probe.grantingGroup = QStringLiteral("dialout");
        const RunTimeError error = ComCtrl::OpenFailure(probe);
        QCOMPARE(error.number(), int(ErrorNumber::PortPermissionDenied));
        QVERIFY(ErrorReport::Message("wMain.MDIForm_Load", error.number(), error.detail())
                    .contains(QStringLiteral("group 'dialout'")));
    }

    void openFailures_data()
    {
        columns<QString, int>("what", "number");
        row("absent", "absent", int(ErrorNumber::PortNotFound));
        row("not a terminal", "/dev/null", int(ErrorNumber::PortNotSerial));
        row("a regular file", "file", int(ErrorNumber::PortNotSerial));
        row("busy", "busy", int(ErrorNumber::PortBusy));
    }
    void openFailures()
    {
        const auto [what, number] = fetch<QString, int>("what", "number");
        QTemporaryDir dir;
        PtyPair pty;
        ComCtrl holder;
        ComCtrl line;
        if (what == "busy") {
            holder.setPortName(pty.slavePath());
            holder.open();
        }
        QFile(dir.filePath("file")).open(QIODevice::WriteOnly);
        line.setPortName(what == "busy"         ? pty.slavePath()
                         : what.startsWith('/') ? what
                                                : dir.filePath(what));
        QCOMPARE(thrownNumber([&] { line.open(); }), number);
        QVERIFY(!line.isOpen());
    }

    // One field set through its function, on a closed line or one open on a pty: a field the
    // text or the device cannot take is refused and reported, and the text stays.
    void settingsText_data()
    {
        // settings: the text afterwards, from 9600,n,8,1; empty: refused
        columns<bool, QString, QString, QString>("open", "field", "value", "settings");
        row("parity even", false, "Parity", "e", "9600,e,8,1");
        row("parity x refused", false, "Parity", "x", "");
        row("a pty takes no parity", true, "Parity", "e", "");
        row("speed 19200", false, "Bauds", "19200", "19200,n,8,1");
        row("speed 4800 on the open line", true, "Bauds", "4800", "4800,n,8,1");
        row("speed 0 refused", true, "Bauds", "0", "");
        row("two stop bits", true, "Stops", "2", "9600,n,8,2");
        row("stop bits 3 refused", false, "Stops", "3", "");
    }
    void settingsText()
    {
        const auto [open, field, value, settings] =
            fetch<bool, QString, QString, QString>("open", "field", "value", "settings");
        ReportCapture report;
        PtyPair pty;
        ComCtrl line;
        line.setPortName(pty.slavePath());
        if (open)
            line.open();
        const bool taken = field == "Parity"  ? SetCommParity(line, value)
                           : field == "Bauds" ? SetCommBauds(line, value.toInt())
                                              : SetCommStops(line, std::int16_t(value.toInt()));
        QCOMPARE(taken, !settings.isEmpty());
        QCOMPARE(line.settings(), taken ? settings : QStringLiteral("9600,n,8,1"));
        QCOMPARE(report.faults(), taken ? QStringList() : QStringList{"8015 SetComm" + field});
        QCOMPARE(line.isOpen(), open);
    }

    void closedPortIsReported()
    {
        ReportCapture report;
        ComCtrl line;
        QList<std::int16_t> words(2, 7);
        QList<std::int16_t> none;
        QVERIFY(!LitMots(line, 1, 0, words));
        QCOMPARE(words, QList<std::int16_t>(2, 7));
        QVERIFY(!EcritMots(line, 1, 0, 1));
        QCOMPARE(FrameReceived(line, FrameToSend(1, 3, 0, 1), 1.0f), QByteArray(1, '\0'));
        // An empty word list is an index fault, reported before the line is touched.
        QVERIFY(!LitMots(line, 1, 0, none));
        QCOMPARE(report.faults(), (QStringList{"8012 LitMots", "8012 EcritMots",
                                               "8012 FrameReceived", "9 LitMots"}));
    }

    void rtsCycle_data()
    {
        using Step = ComCtrl::LineStep;
        columns<bool, QList<Step>>("handshake", "steps");
        row("handshake on: drained, RTS delay, RTS off, then the wait", true,
            QList<Step>{Step::RtsOn, Step::BuffersCleared, Step::Written, Step::Drained,
                        Step::RtsOff, Step::AnswerWait});
        row("handshake off: no RTS wait", false,
            QList<Step>{Step::RtsOn, Step::BuffersCleared, Step::Written, Step::AnswerWait});
    }
    void rtsCycle()
    {
        using Step = ComCtrl::LineStep;
        const auto [handshake, steps] = fetch<bool, QList<Step>>("handshake", "steps");
        constexpr qint64 DelayNs = 40'000'000;
        SetRtsHandshake(handshake);
        SetRtsDelay(int(DelayNs / 1'000'000));
        ScriptedLine rig([](const QByteArray& request) { return FakeSlave::Reply{request}; });
        QList<Step> taken;
        QList<qint64> times;
        QElapsedTimer clock;
        clock.start();
        rig.line.setStepHook([&](Step step) {
            taken.append(step);
            times.append(clock.nsecsElapsed());
        });
        QVERIFY(EcritMots(rig.line, 1, 2, 9));

        const auto time = [&](Step step) {
            return times[taken.indexOf(step)];
        };
        QVERIFY(!rig.line.hasRts()); // a pty has no RTS: the failed requests were ignored
        QCOMPARE(taken, steps);
        QCOMPARE(rig.line.rts(), !handshake); // without handshake it stays on afterwards
        if (handshake)
            QVERIFY(time(Step::RtsOff) - time(Step::Drained) >= DelayNs);
        else
            QVERIFY(time(Step::AnswerWait) - time(Step::Written) < DelayNs / 2);
    }

    // One request, its answer as the slave sends it, what the call makes of it and what the
    // line's observers are told.
    void transaction_data()
    {
        // call: r LitMots, w EcritMots, f FrameReceived
        columns<char, QByteArray, bool, bool, Outcome>("call", "reply", "accepted", "waitsFullTime",
                                                       "outcome");
        // Slave 5, two words at 0x41: 0x1234 and -2; or -2 written there.
        const QByteArray read = Frame("0503041234FFFE");
        const QByteArray exception = Frame("058302");
        const QByteArray none;
        row("read healthy", 'r', read, true, false, Outcome::Complete);
        row("read no answer", 'r', none, false, true, Outcome::TimeOut);
        row("read short answer", 'r', read.chopped(1), false, true, Outcome::Short);
        row("read one byte too many", 'r', read + '\0', false, false, Outcome::TooLong);
        row("read wrong crc", 'r', read.chopped(2) + Hex("0000"), false, false, Outcome::CrcError);
        row("read wrong slave", 'r', Frame("0603041234FFFE"), false, false, Outcome::Complete);
        row("read wrong function", 'r', Frame("0504041234FFFE"), false, false, Outcome::Complete);
        row("read exception ends the wait", 'r', exception, false, false, Outcome::Exception);
        row("read noise before the answer", 'r', Hex("FF00") + read, false, false,
            Outcome::TooLong);
        row("write echo, its crc not looked at", 'w', Hex("05060041FFFE0000"), true, false,
            Outcome::CrcError);
        row("frame complete", 'f', read, true, false, Outcome::Complete);
        row("frame exception stops at 5 bytes", 'f', exception, false, false, Outcome::Exception);
        row("frame nothing: the one byte 0", 'f', none, false, true, Outcome::TimeOut);
    }
    void transaction()
    {
        const auto [call, reply, accepted, waitsFullTime, outcome] =
            fetch<char, QByteArray, bool, bool, Outcome>("call", "reply", "accepted",
                                                         "waitsFullTime", "outcome");
        ReportCapture report;
        ScriptedLine rig(Replying(reply));
        Observed observed(rig.line);
        const ComCtrl::OriginScope origin(rig.line, 231000);
        // Bytes left over from before the request are discarded by it.
        QVERIFY(rig.pty.writeMaster(Hex("0103020000")));
        QTest::qWait(20);

        QElapsedTimer clock;
        clock.start();
        const QByteArray request = Frame(call == 'w' ? "05060041FFFE" : "050300410002");
        QList<std::int16_t> words{7, 7};
        QByteArray answer = reply.isEmpty() ? QByteArray(1, '\0') : reply;
        if (call == 'f')
            QCOMPARE(FrameReceived(rig.line, request, WordTimeoutMs / 1000.0f), answer);
        QCOMPARE(call == 'w'   ? EcritMots(rig.line, 5, 0x41, -2)
                 : call == 'r' ? LitMots(rig.line, 5, 0x41, words)
                               : ValidReadAnswer(request, answer),
                 accepted);
        const qint64 elapsed = clock.elapsed();
        QCOMPARE(rig.slave.requests(), QList<QByteArray>{request});
        QCOMPARE(words, (accepted && call == 'r' ? QList<std::int16_t>{0x1234, -2}
                                                 : QList<std::int16_t>{7, 7}));
        QVERIFY2(waitsFullTime ? elapsed >= WordTimeoutMs - 10 && elapsed < WordTimeoutMs + 500
                               : elapsed < 500,
                 qPrintable(QString::number(elapsed)));
        QVERIFY(report.messages.isEmpty());

        QCOMPARE(observed.seen.size(), 1);
        const Exchange& e = observed.seen[0];
        QCOMPARE(e.outcome, outcome);
        QCOMPARE(e.exceptionCode, outcome == Outcome::Exception ? 2 : 0);
        QCOMPARE(e.request.toHex(' ') + " / " + e.answer.toHex(' '),
                 request.toHex(' ') + " / " + reply.toHex(' '));
        QCOMPARE(QStringLiteral("%1 %2 %3").arg(e.origin).arg(e.port, e.settings),
                 "231000 " + rig.pty.slavePath() + " 9600,n,8,1");
        QVERIFY(qAbs(e.started().msecsTo(QDateTime::currentDateTime())) < 5000);
        QVERIFY(e.durationUs > 0 && e.durationUs <= (elapsed + 1) * 1000);
    }

    void lateAnswerNotTakenByNextCall()
    {
        // The first answer comes after the deadline, the second at once and with another word.
        std::atomic<int> calls{0};
        ScriptedLine rig([&calls](const QByteArray&) {
            return calls++ == 0 ? FakeSlave::Reply{Frame("0103020011"), WordTimeoutMs + 200}
                                : FakeSlave::Reply{Frame("0103020022")};
        });
        QList<std::int16_t> words{0};
        Observed observed(rig.line);
        QVERIFY(!LitMots(rig.line, 1, 0, words));
        rig.line.removeObserver(observed.id);
        // The late answer is now in the receive buffer.
        QCOMPARE(rig.line.waitForBytes(7, QDeadlineTimer(2000)), qint64(7));
        QVERIFY(LitMots(rig.line, 1, 0, words));
        QCOMPARE(words, QList<std::int16_t>{0x22});
        // The late answer is not the first exchange's; a removed observer is told nothing more.
        QCOMPARE(observed.seen.size(), 1);
        QCOMPARE(observed.seen[0].outcome, Outcome::TimeOut);
    }

    void farEndVanishes()
    {
        ReportCapture report;
        ScriptedLine rig(Replying(Frame("01030400010002").left(3), 100, true));
        Observed observed(rig.line);
        const double cpuBefore = threadCpuMs();
        QElapsedTimer clock;
        clock.start();
        QList<std::int16_t> words{7, 7};
        QVERIFY(!LitMots(rig.line, 1, 0, words));
        QVERIFY2(clock.elapsed() < 1000, qPrintable(QString::number(clock.elapsed())));
        QVERIFY2(threadCpuMs() - cpuBefore < 100.0, qPrintable(QString::number(threadCpuMs())));
        QCOMPARE(words, QList<std::int16_t>(2, 7));
        QCOMPARE(rig.line.state(), ComCtrl::State::Lost);
        QCOMPARE(observed.seen.value(0).outcome, Outcome::PortFault);
        QVERIFY(observed.seen[0].answer.isEmpty() &&
                observed.seen[0].fault.contains(rig.pty.slavePath()));
        // Later calls try the device once more and fail at once while it stays away.
        clock.restart();
        QVERIFY(!LitMots(rig.line, 1, 0, words));
        QVERIFY(clock.elapsed() < 100);
        QCOMPARE(report.faults(), (QStringList{"8018 LitMots", "8018 LitMots"}));
        QVERIFY2(report.messages[1].contains(rig.pty.slavePath() + ": still absent"),
                 qPrintable(report.messages[1]));
    }

    // The far end goes and a new one comes up under the same name (an adapter plugged back):
    // the next read works without any action of the user, whether or not a read found the
    // line lost meanwhile.
    void lostPortComesBack_data()
    {
        columns<bool>("triedWhileAway");
        row("read while away, then back", true);
        row("back before the next read", false);
    }
    void lostPortComesBack()
    {
        const auto [triedWhileAway] = fetch<bool>("triedWhileAway");
        ReportCapture report;
        QTemporaryDir dir;
        const QString link = dir.filePath("panel.tty");
        auto far = std::make_unique<SimProcess>();
        QVERIFY(far->start({"--link", link}));
        ComCtrl line;
        line.setPortName(link);
        line.open();
        QList<std::int16_t> words{0};
        QVERIFY(LitMots(line, 1, 128, words));

        far.reset();
        if (triedWhileAway) {
            QVERIFY(!LitMots(line, 1, 128, words));
            QCOMPARE(line.state(), ComCtrl::State::Lost);
        }
        far = std::make_unique<SimProcess>();
        QVERIFY(far->start({"--link", link}));
        words = {0};
        QVERIFY(LitMots(line, 1, 128, words));
        QCOMPARE(words, QList<std::int16_t>{0xFE});
        QCOMPARE(line.state(), ComCtrl::State::Open);
        QCOMPARE(report.messages.size(), triedWhileAway ? 1 : 0);
        if (triedWhileAway)
            QVERIFY2(report.messages[0].contains(link + ": still absent"),
                     qPrintable(report.messages[0]));
    }
};

QTEST_GUILESS_MAIN(TestLine)
#include "tst_line.moc"
