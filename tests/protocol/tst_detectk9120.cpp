// The slave search against k7310sim over a pty: the line settings tried and their order
// (read back from the simulator's trace), where the line is left, the slave-0 probe,
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
// at a given poll (counted from 1), and answers the found question as told.
class ScriptedUser : public SearchObserver
{
public:
    int cancelAtPoll = -1;
    bool confirmFound = true;
    QStringList events;
    int polls = 0;

    void show() override { events << QStringLiteral("show"); }
    void progress(int slave, std::int32_t, std::int16_t) override
    {
        events << QStringLiteral("try %1").arg(slave);
    }
    bool keepGoing() override { return ++polls != cancelAtPoll; }
    bool found(int slave) override
    {
        events << QStringLiteral("found %1").arg(slave);
        return confirmFound;
    }
    void close() override { events << QStringLiteral("close"); }
};

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

} // namespace

class TestDetectK9120 : public QObject
{
    Q_OBJECT

private slots:
    void search_data();
    void search();
    void portThatCannotOpenIsReported();
};

void TestDetectK9120::search_data()
{
    QTest::addColumn<QString>("panel"); // slave speed stops of the simulator, then options
    QTest::addColumn<QString>("start"); // the line's settings when the search begins
    QTest::addColumn<int>("asked");
    QTest::addColumn<bool>("autoSearch");
    QTest::addColumn<int>("cancelAtPoll");
    QTest::addColumn<bool>("confirm");
    QTest::addColumn<int>("result");
    QTest::addColumn<QString>("tried");
    QTest::addColumn<QString>("after");

    const QString all = "9600/1 19200/1 19200/2 4800/1 4800/2 2400/1 2400/2 1200/1 1200/2";
    // Slave 7 answers at 9600/1 but slave 3 is asked for: every combination fails (~18 s).
    QTest::newRow("nothing answers: full order, settings back")
        << "7 9600 1"
        << "9600,n,8,1" << 3 << true << -1 << true << 0 << all << "9600,n,8,1";
    QTest::newRow("found at the third combination, line left there")
        << "5 19200 2"
        << "9600,n,8,1" << 5 << true << -1 << true << 5 << "9600/1 19200/1 19200/2"
        << "19200,n,8,2";
    QTest::newRow("slave 0 learns the number from the probe")
        << "23 19200 1"
        << "9600,n,8,1" << 0 << true << -1 << true << 23 << "9600/1 19200/1"
        << "19200,n,8,1";
    QTest::newRow("found, then cancelled: 255, line stays where it answered")
        << "2 19200 1"
        << "9600,n,8,1" << 2 << true << -1 << false << 255 << "9600/1 19200/1"
        << "19200,n,8,1";
    QTest::newRow("cancel before the first probe")
        << "1 1200 2"
        << "9600,n,8,1" << 1 << true << 1 << true << 0 << ""
        << "9600,n,8,1";
    QTest::newRow("cancel after two probes, settings back")
        << "1 1200 2"
        << "9600,n,8,1" << 1 << true << 3 << true << 0 << "9600/1 19200/1"
        << "9600,n,8,1";
    QTest::newRow("no automatic search: one probe at other settings")
        << "1 19200 1"
        << "4800,n,8,2" << 1 << false << -1 << true << 0 << "4800/2"
        << "4800,n,8,2";
    QTest::newRow("no automatic search: found where the line is")
        << "9 4800 2"
        << "4800,n,8,2" << 9 << false << -1 << true << 9 << "4800/2"
        << "4800,n,8,2";
    QTest::newRow("probe answer with a fifth byte is no answer")
        << "9 4800 2 --fault extra-byte"
        << "4800,n,8,2" << 0 << false << -1 << true << 0 << "4800/2"
        << "4800,n,8,2";
}

void TestDetectK9120::search()
{
    QFETCH(QString, panel);
    QFETCH(QString, start);
    QFETCH(int, asked);
    QFETCH(bool, autoSearch);
    QFETCH(int, cancelAtPoll);
    QFETCH(bool, confirm);
    QFETCH(int, result);
    QFETCH(QString, tried);
    QFETCH(QString, after);

    SetFrameDelay(50);
    const QStringList options = panel.split(QLatin1Char(' '));
    SimProcess sim;
    QVERIFY(
        sim.start(QStringList{"--slave", options[0], "--speed", options[1], "--stop", options[2]} +
                  options.mid(3)));
    ComCtrl line;
    QVERIFY(openLine(line, sim.path(), start));

    ScriptedUser user;
    user.cancelAtPoll = cancelAtPoll;
    user.confirmFound = confirm;
    QCOMPARE(int(DetectK9120(line, static_cast<std::int16_t>(asked), autoSearch, &user)), result);

    QCOMPARE(sim.settingsTried().join(QLatin1Char(' ')), tried);
    const QString request =
        asked == 0
            ? QStringLiteral("41 7F 70")
            : QStringLiteral("%1 03 00 82 00 01").arg(asked, 2, 16, QLatin1Char('0')).toUpper();
    for (const QString& frame : sim.heardFrames())
        QVERIFY2(frame.section(QLatin1Char(' '), 2).startsWith(request), qPrintable(frame));
    QCOMPARE(line.settings(), after);

    // Progress only with automatic search, one step per probe; a find is always put to the
    // user; the dialog is closed at the end.
    const int probes = static_cast<int>(sim.heardFrames().size());
    QCOMPARE(user.events.filter(QStringLiteral("try")).size(), autoSearch ? probes : 0);
    QCOMPARE(user.events.contains(QStringLiteral("show")), autoSearch);
    if (!autoSearch)
        QCOMPARE(user.polls, 0);
    const bool found = result != 0;
    QCOMPARE(user.events.filter(QStringLiteral("found")).size(), found ? 1 : 0);
    QCOMPARE(user.events.last(), QStringLiteral("close"));

    // Where the panel's own settings are the line's, it answers its number there: the line
    // itself (not only its text) is where the search says.
    if (after == QStringLiteral("%1,n,8,%2").arg(options[1], options[2]) && !panel.contains("--")) {
        QList<std::int16_t> word(1);
        QVERIFY(LitMots(line, static_cast<std::uint8_t>(options[0].toInt()), 130, word));
        QCOMPARE(int(word[0]), options[0].toInt());
    }
}

void TestDetectK9120::portThatCannotOpenIsReported()
{
    QStringList reports;
    const auto previous = ErrorReport::SetPresenter([&](const QString& m) { reports << m; });
    ComCtrl line;
    line.setPortName(QStringLiteral("/nonexistent/k7310-no-such-port"));
    ScriptedUser user;
    const std::uint8_t result = DetectK9120(line, 1, true, &user);
    ErrorReport::SetPresenter(previous);

    QCOMPARE(result, NothingFound);
    QCOMPARE(reports.size(), 1);
    QVERIFY(reports[0].contains(QLatin1String("DetectK9120")));
    QCOMPARE(user.polls, 0);
    QCOMPARE(user.events.last(), QStringLiteral("close"));
    QCOMPARE(line.settings(), QStringLiteral("9600,n,8,1"));
}

QTEST_GUILESS_MAIN(TestDetectK9120)
#include "tst_detectk9120.moc"
