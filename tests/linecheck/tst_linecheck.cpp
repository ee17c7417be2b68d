// The line check's findings: adapter facts from a fake sysfs, /proc and by-id tree; access and
// group membership; the driver's RS-485 offer, the echo and the round trip on a pty.
#include "../protocol/ptypeer.h"
#include "commfunctions.h"
#include "datafunctions7310.h"
#include "fakesystem.h"
#include "linecheck.h"
#include "lineprobe.h"
#include "rs485mode.h"
#include "textids.h"

#include <QTest>

Q_DECLARE_METATYPE(FakeSystem::Usb)

namespace {

QList<int> MarksOf(const QList<Finding>& findings)
{
    QList<int> marks;
    for (const Finding& finding : findings)
        marks << finding.mark;
    return marks;
}

// Slave 1's answer to a read of one word: 0x00FE (9600 baud).
const QByteArray speedAnswer = WithCrc(QByteArray::fromHex("010302"
                                                           "00FE"));

} // namespace

class TestLineCheck : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        QCOMPARE(DataFunctions7310::OpenDataFile(K7310_BIN_DIR "/k7310console.dat"), 0);
        DataFunctions7310::SetCurrentLanguage("English");
    }

    void adapterFindings_data()
    {
        // usb: the adapter ("" vendor: a built-in port; "missing": no device at all);
        // modemManager: such a process runs; then the identity key, and the marks and
        // proposed udev rules of the adapter, latency timer and ModemManager findings.
        columns<FakeSystem::Usb, bool, QString, QList<int>, QStringList>(
            "usb", "modemManager", "identity", "marks", "rules");
        const int pass = Finding::Pass, warning = Finding::Warning, fail = Finding::Fail;
        const QString latencyRule = R"(DRIVER=="ftdi_sio", ATTR{latency_timer}="1")";
        const QString mmRule =
            R"(ATTRS{idVendor}=="0403", ATTRS{idProduct}=="6001", ENV{ID_MM_DEVICE_IGNORE}="1")";
        const FakeSystem::Usb ftdi{"0403", "6001", "A6008isP", "ftdi_sio", 16};
        FakeSystem::Usb quickFtdi = ftdi;
        quickFtdi.latencyMs = 1;
        row("FTDI at 16 ms with ModemManager: both rules", ftdi, true, "0403:6001:A6008isP",
            QList<int>{pass, warning, warning}, QStringList{"", latencyRule, mmRule});
        row("FTDI at 1 ms, no ModemManager", quickFtdi, false, "0403:6001:A6008isP",
            QList<int>{pass, pass, pass}, QStringList{"", "", ""});
        row("CH340 without serial number or latency timer",
            FakeSystem::Usb{"1a86", "7523", "", "ch341-uart"}, false,
            "1a86:7523:", QList<int>{pass, pass, pass}, QStringList{"", "", ""});
        row("built-in port: ModemManager leaves it alone",
            FakeSystem::Usb{"", "", "", "serial8250"}, true, "", QList<int>{pass, pass, pass},
            QStringList{"", "", ""});
        row("device missing", FakeSystem::Usb{"missing", "", "", ""}, false, "",
            QList<int>{fail, pass, pass}, QStringList{"", "", ""});
    }

    void adapterFindings()
    {
        const auto [usb, modemManager, identity, marks, rules] =
            fetch<FakeSystem::Usb, bool, QString, QList<int>, QStringList>(
                "usb", "modemManager", "identity", "marks", "rules");
        FakeSystem system;
        system.runProcess(1, "systemd");
        if (modemManager)
            system.runProcess(733, "ModemManager");
        const QString byId = "usb-FTDI_FT232R_USB_UART_A6008isP-if00-port0";
        const QString node = usb.vendor == "missing" ? system.path("dev/ttyUSB9")
                             : usb.vendor.isEmpty()  ? system.plugBuiltIn("ttyS4", usb.driver)
                                                     : system.plugUsb("ttyUSB0", usb, byId);

        const AdapterInfo::Adapter adapter = AdapterInfo::Read(node);
        QCOMPARE(AdapterInfo::IdentityKey(adapter), identity);
        QCOMPARE(adapter.driver, usb.vendor == "missing" ? QString() : usb.driver);
        const QList<Finding> findings{
            LineFindings::Identity(adapter), LineFindings::LatencyTimer(adapter),
            LineFindings::ModemManager(adapter, LineCheck::ModemManagerRunning())};
        QCOMPARE(MarksOf(findings), marks);
        QStringList proposed;
        for (int i = 0; i < findings.size(); ++i)
            proposed << (rules[i].isEmpty() || findings[i].udevRule.contains(rules[i])
                             ? rules[i]
                             : findings[i].udevRule);
        QCOMPARE(proposed, rules);
        // The adapter line names what support asks for first.
        if (!identity.isEmpty())
            QVERIFY2(findings[0].text.contains(usb.vendor + ':' + usb.product),
                     qPrintable(findings[0].text));
        if (usb.vendor == "0403")
            QVERIFY(findings[0].text.contains(system.path("dev/serial/by-id/") + byId));
        if (usb.latencyMs > 1)
            QVERIFY(findings[1].text.contains("16 ms"));
    }

    void permissions_data()
    {
        columns<bool, QString, bool, bool, int, QString>("accessible", "group", "now", "atLogin",
                                                         "mark", "says");
        row("access granted", true, "dialout", true, true, int(Finding::Pass), "may read");
        row("in the group from the next login only", false, "dialout", false, true,
            int(Finding::Warning), "next login");
        row("not in the group", false, "dialout", false, false, int(Finding::Fail),
            "sudo usermod -aG dialout tech");
        row("in the group yet refused: not the group's fault", false, "dialout", true, true,
            int(Finding::Fail), "sudo usermod");
        row("no group grants access", false, "", false, false, int(Finding::Fail),
            "no group grants");
    }

    void permissions()
    {
        const auto [accessible, group, now, atLogin, mark, says] =
            fetch<bool, QString, bool, bool, int, QString>("accessible", "group", "now", "atLogin",
                                                           "mark", "says");
        const Access access{"/dev/ttyUSB0", true, accessible, group, now, atLogin, "tech"};
        const Finding finding = LineFindings::Permissions(access);
        QCOMPARE(int(finding.mark), mark);
        QVERIFY2(finding.text.contains(says), qPrintable(finding.text));
    }

    void kernelRs485_data()
    {
        // acceptingDriver: the ioctls play a driver that takes the mode and reads it back.
        columns<bool, bool, int>("acceptingDriver", "deviceThere", "offered");
        row("a pty refuses it (ENOTTY)", false, true, 0);
        row("a driver that takes the mode", true, true, 1);
        row("no device: not asked", false, false, -1);
    }

    // Whether the driver offers the kernel's RS-485 mode; the console's line is open again
    // afterwards.
    void kernelRs485()
    {
        const auto [acceptingDriver, deviceThere, offered] =
            fetch<bool, bool, int>("acceptingDriver", "deviceThere", "offered");
        serial_rs485 held = {};
        const Rs485Mode::Calls accepting{
            [&held](int, serial_rs485* mode) { return *mode = held, 0; },
            [&held](int, const serial_rs485* mode) {
                return held = *mode, 0;
            }};
        const Rs485Mode::Calls real =
            acceptingDriver ? Rs485Mode::SetCalls(accepting) : Rs485Mode::CurrentCalls();
        ScriptedLine pty(Replying({}));
        if (!deviceThere) {
            pty.line.close();
            pty.line.setPortName("/nonexistent/ttyUSB7");
        }
        const std::optional<bool> answer = LineProbe::KernelRs485Offered(pty.line);
        Rs485Mode::SetCalls(real);
        QCOMPARE(answer.has_value() ? int(*answer) : -1, offered);
        QCOMPARE(pty.line.isOpen(), deviceThere);
    }

    void exchange_data()
    {
        // reply: what the far end sends back after delayMs; then the echo and round trip
        // marks and whether the answer was told apart from the echo.
        columns<int, QByteArray, int, int, int>("slave", "reply", "delayMs", "echoMark",
                                                "roundTripMark");
        // slave -1: slave 1 on a line that is closed.
        const QByteArray request = CommFunctions::ReadWordsRequest(1, 128, 1);
        const int pass = Finding::Pass, warning = Finding::Warning, fail = Finding::Fail;
        row("answer without echo", 1, speedAnswer, 0, pass, pass);
        row("echo in front of the answer", 1, request + speedAnswer, 0, warning, pass);
        row("late answer: turnaround flagged", 1, speedAnswer, 60, pass, warning);
        row("echo only: no answer", 1, request, 0, fail, warning);
        row("silence", 1, QByteArray(), 0, fail, warning);
        row("no slave given: nothing sent", 0, speedAnswer, 0, warning, warning);
        row("line closed: nothing sent", -1, speedAnswer, 0, warning, warning);
    }

    void exchange()
    {
        const auto [given, reply, delayMs, echoMark, roundTripMark] =
            fetch<int, QByteArray, int, int, int>("slave", "reply", "delayMs", "echoMark",
                                                  "roundTripMark");
        ScriptedLine pty(Replying(reply, delayMs));
        if (given < 0)
            pty.line.close();
        const int slave = given < 0 ? 1 : given;
        QList<Exchange> recorded;
        pty.line.addObserver([&recorded](const Exchange& e) { recorded << e; });
        CommFunctions::SetRtsHandshake(false);

        const ProbeExchange exchange = LineProbe::Exchange(pty.line, slave);
        QCOMPARE(int(LineFindings::Echo(exchange).mark), echoMark);
        QCOMPARE(int(LineFindings::RoundTrip(exchange).mark), roundTripMark);
        const bool sent = given > 0;
        QCOMPARE(pty.slave.requests().size(), sent ? 1 : 0);
        QCOMPARE(recorded.size(), sent ? 1 : 0);
        if (!sent) {
            // Why nothing was sent: no slave given, or no line to send on.
            QCOMPARE(LineFindings::Echo(exchange).text,
                     DataFunctions7310::GetText(given ? TextId::LineCheckLineNotOpen
                                                      : TextId::LineCheckEchoNotTried));
            return;
        }
        // The line monitor sees the answer without the echo, from the line check.
        QCOMPARE(recorded[0].origin, TextId::LineCheckTitle);
        QCOMPARE(exchange.received, reply.endsWith(speedAnswer) ? speedAnswer : QByteArray());
        if (reply.endsWith(speedAnswer))
            QVERIFY2(exchange.roundTripMs >= delayMs,
                     qPrintable(QString::number(exchange.roundTripMs)));
    }

    void wholeCheckAgainstTheSimulator_data()
    {
        columns<QStringList, int>("options", "echoMark");
        row("panel at wire speed", QStringList{"--line-timing"}, int(Finding::Pass));
        row("2-wire adapter that echoes", QStringList{"--line-timing", "--echo"},
            int(Finding::Warning));
    }

    // The whole check against the simulator on a pty, answering at wire speed: every finding
    // in order, and a round trip that is at least the answer's own wire time.
    void wholeCheckAgainstTheSimulator()
    {
        const auto [options, echoMark] = fetch<QStringList, int>("options", "echoMark");
        FakeSystem system; // no ModemManager, no adapters
        SimProcess sim;
        QVERIFY(sim.start(options));
        ComCtrl line;
        line.setPortName(sim.path());
        line.open();
        CommFunctions::SetRtsHandshake(false);

        const QList<Finding> findings = LineCheck::Run(line, 1);
        QList<int> topics;
        for (const Finding& finding : findings)
            topics << finding.topic;
        QCOMPARE(topics,
                 (QList<int>{TextId::LineCheckTopicAdapter, TextId::LineCheckTopicPermissions,
                             TextId::LineCheckTopicDriver, TextId::LineCheckTopicLatency,
                             TextId::LineCheckTopicModemManager, TextId::LineCheckTopicEcho,
                             TextId::LineCheckTopicRoundTrip}));
        QList<int> marks(7, Finding::Pass);
        marks[5] = echoMark;
        QCOMPARE(MarksOf(findings), marks);
        QVERIFY(line.isOpen());

        const ProbeExchange exchange = LineProbe::Exchange(line, 1);
        const double answerWireMs = 1000.0 * 7 * 10 / 9600;
        QVERIFY2(exchange.roundTripMs >= answerWireMs,
                 qPrintable(QString::number(exchange.roundTripMs)));
        QCOMPARE(exchange.received, speedAnswer);
    }
};

QTEST_GUILESS_MAIN(TestLineCheck)
#include "tst_linecheck.moc"
