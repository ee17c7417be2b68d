// The slave search against k7310sim over a pty: which line settings are tried and in what
// order (read back from the simulator's trace), where the line is left, the slave-0 probe,
// cancelling, and the search without automatic tries.
#include "comctrl.h"
#include "commfunctions.h"
#include "detectk9120.h"
#include "errorhandling.h"
#include "simprocess.h"

#include <QTest>

using namespace CommFunctions;

namespace {

// Stands in for the progress dialog and the user: records what the search shows, cancels
// the scan at a given poll, and answers the found question as told.
class ScriptedUser : public SearchObserver
{
public:
    int cancelAtPoll = -1; // the poll (counted from 1) that answers false; -1: never
    bool confirmFound = true;

    QStringList events;
    int polls = 0;

    void show() override { events << QStringLiteral("show"); }
    void progress(int slave, std::int32_t speed, std::int16_t stops) override
    {
        events << QStringLiteral("try %1 %2/%3").arg(slave).arg(speed).arg(stops);
    }
    bool keepGoing() override
    {
        ++polls;
        return polls != cancelAtPoll;
    }
    bool found(int slave) override
    {
        events << QStringLiteral("found %1").arg(slave);
        return confirmFound;
    }
    void close() override { events << QStringLiteral("close"); }
};

class ReportCapture
{
public:
    ReportCapture()
        : m_previous(ErrorReport::SetPresenter([this](const QString& m) { messages.append(m); }))
    {}
    ~ReportCapture() { ErrorReport::SetPresenter(m_previous); }
    QStringList messages;

private:
    ErrorReport::Presenter m_previous;
};

QStringList simOptions(int slave, int speed, int stops)
{
    return {"--slave", QString::number(slave), "--speed", QString::number(speed),
            "--stop",  QString::number(stops)};
}

// Opens the line on the simulator's pty with a settings text; false (with the fault's
// number printed) when the port refuses.
bool openLine(ComCtrl& line, const QString& path, const QString& settings)
{
    try {
        line.setPortName(path);
        line.setSettings(settings);
        line.open();
        return true;
    } catch (const RunTimeError& error) {
        qWarning("line fault %d %s", error.number(), qPrintable(error.detail()));
        return false;
    }
}

// Reads word 130 (the panel's slave number) at the line's present settings.
int panelSlaveAt(ComCtrl& line, int slave)
{
    QList<std::int16_t> word(1);
    return LitMots(line, static_cast<std::uint8_t>(slave), ProbeWordAddress, word) ? word[0] : -1;
}

} // namespace

class TestDetectK9120 : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void nothingFoundTriesEveryCombinationAndRestores();
    void foundLeavesLineAtAnsweringSettings_data();
    void foundLeavesLineAtAnsweringSettings();
    void cancelStopsBeforeNextProbe_data();
    void cancelStopsBeforeNextProbe();
    void withoutAutoSearchOneProbe_data();
    void withoutAutoSearchOneProbe();
    void portThatCannotOpenIsReported();

private:
    ComCtrl m_line;
};

void TestDetectK9120::init()
{
    SetFrameDelay(50);
    SetRtsHandshake(false);
    if (m_line.isOpen())
        m_line.close();
}

void TestDetectK9120::nothingFoundTriesEveryCombinationAndRestores()
{
    // The panel is slave 7 at 9600/1; the search asks for slave 3, which nothing answers.
    SimProcess sim;
    QVERIFY(sim.start(simOptions(7, 9600, 1)));
    QVERIFY(openLine(m_line, sim.path(), QStringLiteral("9600,n,8,1")));

    ScriptedUser user;
    QCOMPARE(DetectK9120(m_line, 3, true, &user), NothingFound);

    const QStringList expected{"9600/1", "19200/1", "19200/2", "4800/1", "4800/2",
                               "2400/1", "2400/2",  "1200/1",  "1200/2"};
    QCOMPARE(sim.settingsTried(), expected);
    // Every probe is a one-word read of word 130 for slave 3.
    for (const QString& frame : sim.heardFrames())
        QVERIFY2(frame.section(QLatin1Char(' '), 2).startsWith(QLatin1String("03 03 00 82 00 01")),
                 qPrintable(frame));
    QCOMPARE(user.events.first(), QStringLiteral("show"));
    QCOMPARE(user.events.last(), QStringLiteral("close"));
    QCOMPARE(user.events.filter(QStringLiteral("try 3 ")).size(), expected.size());
    QVERIFY(user.events.filter(QStringLiteral("found")).isEmpty());

    QCOMPARE(m_line.settings(), QStringLiteral("9600,n,8,1"));
    QVERIFY(m_line.isOpen());
    // The line itself is back at 9600/1: the panel answers its own number there.
    QCOMPARE(panelSlaveAt(m_line, 7), 7);
}

void TestDetectK9120::foundLeavesLineAtAnsweringSettings_data()
{
    QTest::addColumn<QStringList>("panel"); // slave, speed, stop bits of the simulator
    QTest::addColumn<int>("askedSlave");
    QTest::addColumn<bool>("confirm");
    QTest::addColumn<int>("result");
    QTest::addColumn<QStringList>("tried");
    QTest::addColumn<QString>("settingsAfter");

    QTest::newRow("known slave at 19200/2, third combination")
        << QStringList{"5", "19200", "2"} << 5 << true << 5
        << QStringList{"9600/1", "19200/1", "19200/2"} << "19200,n,8,2";
    QTest::newRow("slave 0 gets the panel's number from the probe")
        << QStringList{"23", "19200", "1"} << 0 << true << 23 << QStringList{"9600/1", "19200/1"}
        << "19200,n,8,1";
    QTest::newRow("found but cancelled gives 255, line stays where it answered")
        << QStringList{"2", "19200", "1"} << 2 << false << int(AbandonedSearch)
        << QStringList{"9600/1", "19200/1"} << "19200,n,8,1";
}

void TestDetectK9120::foundLeavesLineAtAnsweringSettings()
{
    QFETCH(QStringList, panel);
    QFETCH(int, askedSlave);
    QFETCH(bool, confirm);
    QFETCH(int, result);
    QFETCH(QStringList, tried);
    QFETCH(QString, settingsAfter);

    SimProcess sim;
    QVERIFY(sim.start(simOptions(panel[0].toInt(), panel[1].toInt(), panel[2].toInt())));
    QVERIFY(openLine(m_line, sim.path(), QStringLiteral("9600,n,8,1")));

    ScriptedUser user;
    user.confirmFound = confirm;
    QCOMPARE(int(DetectK9120(m_line, static_cast<std::int16_t>(askedSlave), true, &user)), result);
    QCOMPARE(sim.settingsTried(), tried);
    QVERIFY(sim.heardFrames().last().startsWith(QLatin1String("RX ")));
    if (askedSlave == 0) {
        for (const QString& frame : sim.heardFrames())
            QCOMPARE(frame.section(QLatin1Char(' '), 2), QStringLiteral("41 7F 70"));
    }
    // The dialog shows the number being tried ("?" for 0 is the dialog's business), then
    // the number that answered.
    QCOMPARE(user.events.filter(QStringLiteral("try %1 ").arg(askedSlave)).size(), tried.size());
    QCOMPARE(user.events.filter(QStringLiteral("found ")),
             QStringList{QStringLiteral("found %1").arg(panel[0])});
    QCOMPARE(user.events.last(), QStringLiteral("close"));

    QCOMPARE(m_line.settings(), settingsAfter);
    QVERIFY(m_line.isOpen());
    QCOMPARE(panelSlaveAt(m_line, panel[0].toInt()), panel[0].toInt());
}

void TestDetectK9120::cancelStopsBeforeNextProbe_data()
{
    QTest::addColumn<int>("cancelAtPoll");
    QTest::addColumn<QStringList>("tried");

    QTest::newRow("cancel before the first probe") << 1 << QStringList{};
    QTest::newRow("cancel after two probes") << 3 << QStringList{"9600/1", "19200/1"};
}

void TestDetectK9120::cancelStopsBeforeNextProbe()
{
    QFETCH(int, cancelAtPoll);
    QFETCH(QStringList, tried);

    // The panel is at the last combination of the order, so the scan would go on.
    SimProcess sim;
    QVERIFY(sim.start(simOptions(1, 1200, 2)));
    QVERIFY(openLine(m_line, sim.path(), QStringLiteral("9600,n,8,1")));

    ScriptedUser user;
    user.cancelAtPoll = cancelAtPoll;
    QCOMPARE(DetectK9120(m_line, 1, true, &user), NothingFound);
    QCOMPARE(user.polls, cancelAtPoll);
    QCOMPARE(sim.settingsTried(), tried);
    QVERIFY(user.events.filter(QStringLiteral("found")).isEmpty());
    QCOMPARE(user.events.last(), QStringLiteral("close"));
    QCOMPARE(m_line.settings(), QStringLiteral("9600,n,8,1"));
}

void TestDetectK9120::withoutAutoSearchOneProbe_data()
{
    QTest::addColumn<QStringList>("panel");
    QTest::addColumn<QStringList>("simExtra");
    QTest::addColumn<int>("askedSlave");
    QTest::addColumn<int>("result");
    QTest::addColumn<QString>("heard");

    QTest::newRow("panel at other settings: nothing, no other try")
        << QStringList{"1", "19200", "1"} << QStringList{} << 1 << 0 << "IGNORED 4800/2";
    QTest::newRow("panel at these settings: found and confirmed")
        << QStringList{"9", "4800", "2"} << QStringList{} << 9 << 9 << "RX 4800/2";
    QTest::newRow("probe answer with a fifth byte is no answer")
        << QStringList{"9", "4800", "2"} << QStringList{"--fault", "extra-byte"} << 0 << 0
        << "RX 4800/2";
}

void TestDetectK9120::withoutAutoSearchOneProbe()
{
    QFETCH(QStringList, panel);
    QFETCH(QStringList, simExtra);
    QFETCH(int, askedSlave);
    QFETCH(int, result);
    QFETCH(QString, heard);

    SimProcess sim;
    QVERIFY(sim.start(simOptions(panel[0].toInt(), panel[1].toInt(), panel[2].toInt()) + simExtra));
    QVERIFY(openLine(m_line, sim.path(), QStringLiteral("4800,n,8,2")));

    ScriptedUser user;
    QCOMPARE(int(DetectK9120(m_line, static_cast<std::int16_t>(askedSlave), false, &user)), result);
    const QStringList frames = sim.heardFrames();
    QCOMPARE(frames.size(), 1);
    QVERIFY2(frames[0].startsWith(heard), qPrintable(frames[0]));
    // No progress without automatic search; a find is still put to the user.
    QCOMPARE(user.polls, 0);
    QStringList expectedEvents;
    if (result != 0)
        expectedEvents << QStringLiteral("found %1").arg(result);
    expectedEvents << QStringLiteral("close");
    QCOMPARE(user.events, expectedEvents);
    QCOMPARE(m_line.settings(), QStringLiteral("4800,n,8,2"));
}

void TestDetectK9120::portThatCannotOpenIsReported()
{
    ReportCapture reports;
    m_line.setPortName(QStringLiteral("/nonexistent/k7310-no-such-port"));
    m_line.setSettings(QStringLiteral("9600,o,8,1"));
    ScriptedUser user;
    QCOMPARE(DetectK9120(m_line, 1, true, &user), NothingFound);
    QCOMPARE(reports.messages.size(), 1);
    QVERIFY(reports.messages[0].contains(QLatin1String("DetectK9120")));
    // No probe was attempted, the dialog is closed and the text is back.
    QCOMPARE(user.polls, 0);
    QCOMPARE(user.events.last(), QStringLiteral("close"));
    QCOMPARE(m_line.settings(), QStringLiteral("9600,o,8,1"));
}

QTEST_GUILESS_MAIN(TestDetectK9120)
#include "tst_detectk9120.moc"
