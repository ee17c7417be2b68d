// The slave search against k7310sim over a pty: the line settings tried and their order
// (read back from the simulator's trace, which also shows the settings the panel does not
// hear), where the line is left, the slave-0 probe, cancelling, and the search without
// automatic tries.
#include "comctrl.h"
#include "commfunctions.h"
#include "detectk9120.h"
#include "ptypeer.h"
#include "zrbfonctions.h"

#include <QTemporaryDir>

using namespace CommFunctions;

namespace {

// Stands in for the progress dialog and the user: records what the search shows, cancels
// at a given poll (counted from 1), and answers the found question as told.
class ScriptedUser : public SearchObserver
{
public:
    ScriptedUser(int cancelAtPoll = -1, bool confirm = true)
        : m_cancelAtPoll(cancelAtPoll)
        , m_confirm(confirm)
    {}
    QStringList events;
    int polls = 0;

private:
    void show() override { events << "show"; }
    void progress(int, std::int32_t, std::int16_t) override { events << "try"; }
    bool keepGoing() override { return ++polls != m_cancelAtPoll; }
    bool found(int slave) override
    {
        events << QStringLiteral("found %1").arg(slave);
        return m_confirm;
    }
    void close() override { events << "close"; }
    int m_cancelAtPoll;
    bool m_confirm;
};

// One search: the simulated panel ("slave speed stops", then options), the line's settings at
// the start, the slave asked for, the user's part, and what comes out.
struct Search
{
    QString panel, start;
    int asked;
    bool autoSearch;
    int cancelAtPoll;
    bool confirm;
    int result;
    QString tried, after;
    bool asksUser;  // the find is put to the user
    QString stored; // "Bauds/Stops" in the settings file afterwards ("" when untouched)
};

} // namespace

class TestDetectK9120 : public QObject
{
    Q_OBJECT

private slots:
    void search_data()
    {
        columns<Search>("search");
        // Each combination that finds nothing waits the 2 s probe time-out: the whole order,
        // nine combinations, is left to tst_frames' searchOrder.
        row("found at the third combination, line left and stored there",
            Search{"5 19200 2", "9600,n,8,1", 5, true, -1, true, 5, "9600/1 19200/1 19200/2",
                   "19200,n,8,2", true, "19200/2"});
        row("slave 0 learns the number from the probe",
            Search{"23 19200 1", "9600,n,8,1", 0, true, -1, true, 23, "9600/1 19200/1",
                   "19200,n,8,1", true, "19200/1"});
        row("found, then cancelled: 255, line stays and is stored where it answered",
            Search{"2 19200 1", "9600,n,8,1", 2, true, -1, false, 255, "9600/1 19200/1",
                   "19200,n,8,1", true, "19200/1"});
        row("found where the line was, with automatic search: put to the user, nothing stored",
            Search{"4 9600 1", "9600,n,8,1", 4, true, -1, true, 4, "9600/1", "9600,n,8,1", true,
                   ""});
        row("typed number found where the line was, no automatic search: nothing to confirm",
            Search{"6 4800 2", "4800,n,8,2", 6, false, -1, true, 6, "4800/2", "4800,n,8,2", false,
                   ""});
        row("slave 0 without automatic search: the learned number is put to the user",
            Search{"6 4800 2", "4800,n,8,2", 0, false, -1, true, 6, "4800/2", "4800,n,8,2", true,
                   ""});
        row("cancel after two probes, settings back",
            Search{"1 1200 2", "9600,n,8,1", 1, true, 3, true, 0, "9600/1 19200/1", "9600,n,8,1",
                   false, ""});
        row("no automatic search: one probe at other settings",
            Search{"1 19200 1", "4800,n,8,2", 1, false, -1, true, 0, "4800/2", "4800,n,8,2", false,
                   ""});
        row("probe answer with a fifth byte is no answer",
            Search{"9 4800 2 --fault extra-byte", "4800,n,8,2", 0, false, -1, true, 0, "4800/2",
                   "4800,n,8,2", false, ""});
    }
    void search()
    {
        const auto [search] = fetch<Search>("search");
        const auto& [panel, start, asked, autoSearch, cancelAtPoll, confirm, result, tried, after,
                     asksUser, stored] = search;
        QTemporaryDir dir;
        ZRBfonctions::SetIniFileName(dir.filePath("k7310console.ini"));

        SetFrameDelay(50);
        const QStringList options = panel.split(' ');
        SimProcess sim;
        QVERIFY(sim.start(
            QStringList{"--slave", options[0], "--speed", options[1], "--stop", options[2]} +
            options.mid(3)));
        ComCtrl line;
        line.setPortName(sim.path());
        line.setSettings(start);
        line.open();
        ScriptedUser user(cancelAtPoll, confirm);
        QCOMPARE(int(DetectK9120(line, std::int16_t(asked), autoSearch, &user)), result);

        const QString request =
            asked == 0 ? "41 7F 70"
                       : QStringLiteral("%1 03 00 82 00 01").arg(asked, 2, 16, QChar('0'));
        QStringList settingsTried;
        for (const QString& frame : sim.heardFrames()) {
            settingsTried << frame.section(' ', 1, 1);
            QVERIFY2(frame.section(' ', 2).startsWith(request.toUpper()), qPrintable(frame));
        }
        QCOMPARE(settingsTried.join(' '), tried);
        QCOMPARE(line.settings(), after);

        // Progress only with automatic search, one step per probe; a find is always put to the
        // user; the dialog is closed at the end.
        // Without automatic search a find put to the user still shows where it answered.
        QCOMPARE(user.events.count("try"), autoSearch ? settingsTried.size() : (asksUser ? 1 : 0));
        QCOMPARE(user.events.contains("show"), autoSearch);
        QCOMPARE(user.polls > 0, autoSearch);
        QCOMPARE(user.events.filter("found").size(), asksUser ? 1 : 0);
        QCOMPARE(user.events.last(), "close");
        const QString communication = QStringLiteral("Communication");
        const QString bauds = ZRBfonctions::GetIniParam(communication, "Bauds", "");
        const QString stops = ZRBfonctions::GetIniParam(communication, "Stops", "");
        QCOMPARE(bauds.isEmpty() ? QString() : bauds + '/' + stops, stored);
        // The line itself, not only its text, is where the panel answered.
        if (result != NothingFound) {
            QList<std::int16_t> word(1);
            QVERIFY(LitMots(line, std::uint8_t(options[0].toInt()), ProbeWordAddress, word));
            QCOMPARE(int(word[0]), options[0].toInt());
        }
    }

    void portThatCannotOpenIsReported()
    {
        ReportCapture report;
        ComCtrl line;
        line.setPortName(QStringLiteral("/nonexistent/k7310-no-such-port"));
        ScriptedUser user;
        QCOMPARE(DetectK9120(line, 1, true, &user), NothingFound);
        QCOMPARE(report.faults(), QStringList("8002 DetectK9120"));
        QCOMPARE(user.polls, 0);
        QCOMPARE(user.events.last(), "close");
        QCOMPARE(line.settings(), QStringLiteral("9600,n,8,1"));
    }
};

QTEST_GUILESS_MAIN(TestDetectK9120)
#include "tst_detectk9120.moc"
