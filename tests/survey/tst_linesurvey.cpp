// The line survey against a line of simulated panels on a pty: what it finds at each setting,
// where it sweeps and where it does not, its remarks, its options, and what it leaves behind
// (the line's settings, the monitor's origin, the rows kept after cancel or a lost line).
#include "comctrl.h"
#include "linelock.h"
#include "linesurvey.h"
#include "ptypeer.h"
#include "textids.h"

#include <functional>

using namespace LineSurvey;

namespace {

// Stands in for the window: records the progress and stops when told to.
class Watcher : public Observer
{
public:
    std::function<bool(const Progress&)> decide = [](const Progress&) {
        return true;
    };
    QList<Progress> polls;
    int changes = 0;

private:
    bool keepGoing(const Progress& progress) override
    {
        polls.append(progress);
        return decide(progress);
    }
    void rowsChanged(const QList<Row>&) override { ++changes; }
};

// "slave speed/stops version remark-keys", one row each, joined by "; ".
QString described(const QList<Row>& rows)
{
    QStringList lines;
    for (const Row& row : rows) {
        QStringList keys;
        for (const Remark& remark : row.remarks)
            keys << RemarkKey(remark.kind) + (remark.exceptionCode
                                                  ? QStringLiteral("(%1)").arg(remark.exceptionCode)
                                                  : QString());
        lines << QStringLiteral("%1 %2 %3 %4")
                     .arg(row.slave)
                     .arg(SettingText(row.setting), row.version.isEmpty() ? "-" : row.version,
                          keys.join(','))
                     .trimmed();
    }
    return lines.join("; ");
}

QList<Setting> settingsOf(const QString& text)
{
    QList<Setting> settings;
    for (const QString& setting : text.split(' ', Qt::SkipEmptyParts))
        settings.append(
            {setting.section('/', 0, 0).toInt(), std::int16_t(setting.section('/', 1, 1).toInt())});
    return settings;
}

struct Case
{
    QStringList panels; // --panel values
    QString settings;   // settings to try, "" for the default order
    Options options;
    QString rows;
    Result::End end;
    int sweptSlaves; // word-130 reads of slave numbers that no panel has
};

} // namespace

Q_DECLARE_METATYPE(Case)

class TestLineSurvey : public QObject
{
    Q_OBJECT

private slots:
    void survey_data()
    {
        columns<Case>("case");
        const Options plain;
        Options range = plain;
        range.firstSlave = 10;
        range.lastSlave = 50;
        Options one = plain;
        one.stopAfter = 1;
        Options thorough = plain;
        thorough.thorough = true;
        Options noConfig = plain;
        noConfig.readConfiguration = false;
        const QStringList four{"slave=3", "slave=17", "slave=40", "slave=64"};

        row("four panels at 9600/1: the probe collides, the sweep finds each",
            Case{four, "", plain, "3 9600/1 2.8; 17 9600/1 2.8; 40 9600/1 2.8; 64 9600/1 2.8",
                 Result::End::Done, 60});
        row("one panel per setting: no sweep, versions from the probe",
            Case{{"slave=5,speed=19200,stop=2,version=2.7", "slave=9,speed=4800,version=2.6",
                  "slave=12,speed=1200,stop=2"},
                 "",
                 plain,
                 "5 19200/2 2.7; 9 4800/1 2.6; 12 1200/2 2.8",
                 Result::End::Done,
                 0});
        row("panels at two settings, two at one of them",
            Case{{"slave=2,speed=2400", "slave=30,speed=2400", "slave=31,speed=19200"},
                 "9600/1 2400/1 19200/1",
                 plain,
                 "2 2400/1 2.8; 30 2400/1 2.8; 31 19200/1 2.8",
                 Result::End::Done,
                 61});
        row("two panels share a number: flagged, the other one clean",
            Case{{"slave=7", "slave=7,version=2.6", "slave=8"},
                 "9600/1",
                 plain,
                 "7 9600/1 - noise,shared-number; 8 9600/1 2.8",
                 Result::End::Done,
                 62});
        row("a panel answering with a bad CRC is kept with that remark",
            Case{{"slave=4,fault=bad-crc", "slave=6"},
                 "9600/1",
                 plain,
                 "4 9600/1 - crc-error,shared-number; 6 9600/1 2.8",
                 Result::End::Done,
                 62});
        row("a panel refusing word 130 is kept with the exception",
            Case{{"slave=4,fault-word=130:exception:2", "slave=6"},
                 "9600/1",
                 plain,
                 "4 9600/1 - exception(2); 6 9600/1 2.8",
                 Result::End::Done,
                 62});
        row("a range of slave numbers",
            Case{four, "9600/1", range, "17 9600/1 2.8; 40 9600/1 2.8", Result::End::Done, 39});
        row("stop after one panel",
            Case{four, "", one, "3 9600/1 2.8", Result::End::EnoughPanels, 2});
        row("thorough sweeps where one panel answered cleanly", Case{{"slave=33,speed=4800"},
                                                                     "4800/1",
                                                                     thorough,
                                                                     "33 4800/1 2.8",
                                                                     Result::End::Done,
                                                                     63});
        row("one number at both stop bits of a speed, configuration not read: also at",
            Case{{"slave=21", "slave=21,stop=2"},
                 "9600/1 9600/2",
                 noConfig,
                 "21 9600/1 2.8 also-at; 21 9600/2 2.8 also-at",
                 Result::End::Done,
                 0});
    }
    void survey()
    {
        const auto [c] = fetch<Case>("case");
        SimProcess sim;
        QStringList arguments;
        for (const QString& panel : c.panels)
            arguments << "--panel" << panel;
        QVERIFY(sim.start(arguments));
        ComCtrl line;
        line.setPortName(sim.path());
        line.setSettings("9600,n,8,1");
        line.open();
        line.noteAnswer(7); // the slave the status bar shows before the survey
        QList<Exchange> seen;
        line.addObserver([&seen](const Exchange& exchange) { seen.append(exchange); });

        Options options = c.options;
        options.settings = settingsOf(c.settings);
        Watcher watcher;
        const Result result = Run(line, options, &watcher, TextId::SurveyTitle);
        QCOMPARE(described(result.rows), c.rows);
        QCOMPARE(result.end, c.end);

        // Every exchange reached the monitor as the survey's, the configuration reads too.
        QVERIFY(seen.size() >= result.probes);
        for (const Exchange& exchange : seen)
            QCOMPARE(exchange.origin, TextId::SurveyTitle);
        // Sweeps probe the numbers no panel has; a clean probe sends none.
        int swept = 0;
        for (const Exchange& exchange : seen) {
            const int slave = std::uint8_t(exchange.request.at(0));
            const bool ofAPanel = std::any_of(result.rows.cbegin(), result.rows.cend(),
                                              [slave](const Row& r) { return r.slave == slave; });
            swept += exchange.request.mid(1, 3) == QByteArray::fromHex("030082") && !ofAPanel;
        }
        QCOMPARE(swept, c.sweptSlaves);
        // The configuration read is the panel's own: its speed, stop bits and number.
        for (const Row& row : result.rows) {
            if (!row.configRead)
                continue;
            QCOMPARE((QStringList{ConfigMap::ValueText(0, row.values[0]),
                                  ConfigMap::ValueText(1, row.values[1]),
                                  ConfigMap::ValueText(2, row.values[2])}),
                     (QStringList{QString::number(row.setting.speed),
                                  QString::number(row.setting.stops), QString::number(row.slave)}));
        }
        QCOMPARE(watcher.changes, int(result.rows.size()));
        // The line is back where it was, open, and showing the slave it showed.
        QCOMPARE(line.settings(), "9600,n,8,1");
        QVERIFY(line.isOpen());
        QCOMPARE(line.lastSlave(), 7);
    }

    // Cancel stops before the next probe; the rows found so far are kept; the progress counts
    // the sweep's slave numbers and the panels found.
    void cancelKeepsRows()
    {
        SimProcess sim;
        QVERIFY(sim.start({"--panel", "slave=2,speed=4800", "--panel", "slave=3,speed=4800"}));
        ComCtrl line;
        line.setPortName(sim.path());
        line.setSettings("4800,n,8,1");
        line.open();
        int wordReads = 0;
        line.addObserver([&wordReads](const Exchange& exchange) {
            wordReads += exchange.request.mid(1, 5) == QByteArray::fromHex("0300820001");
        });
        Watcher watcher;
        watcher.decide = [](const Progress& p) {
            return p.slavesDone < 5;
        };
        const Result result = Run(line, {}, &watcher, TextId::SurveyTitle);
        QCOMPARE(result.end, Result::End::Cancelled);
        QCOMPARE(described(result.rows), "2 4800/1 2.8; 3 4800/1 2.8");
        const Progress& last = watcher.polls.last();
        QCOMPARE(last.slavesDone, 5);
        QCOMPARE(last.slavesToDo, 64);
        QCOMPARE(last.panelsFound, 2);
        QCOMPARE(last.settingNumber, 1);
        QVERIFY(last.remainingMs > 0);
        QCOMPARE(line.settings(), "4800,n,8,1");
        // Slave numbers 1 to 5, nothing after the cancel.
        QCOMPARE(wordReads, 5);
    }

    // The adapter pulled out mid-survey: the port-lost fault ends it, the rows are kept.
    void lostLineKeepsRows()
    {
        SimProcess sim;
        QVERIFY(sim.start({"--panel", "slave=1", "--panel", "slave=2"}));
        ComCtrl line;
        line.setPortName(sim.path());
        line.open();
        Watcher watcher;
        watcher.decide = [&sim](const Progress& p) {
            if (p.slavesDone == 10)
                sim.stop();
            return true;
        };
        ReportCapture reports;
        const Result result = Run(line, {}, &watcher, TextId::SurveyTitle);
        QCOMPARE(result.end, Result::End::PortFault);
        QCOMPARE(result.faultNumber, int(ErrorNumber::PortLost));
        QCOMPARE(described(result.rows), "1 9600/1 2.8; 2 9600/1 2.8");
        QCOMPARE(line.settings(), "9600,n,8,1");
    }

    // A line held by another transaction is refused before anything is sent.
    void busyLineIsRefused()
    {
        SimProcess sim;
        QVERIFY(sim.start({"--panel", "slave=1"}));
        ComCtrl line;
        line.setPortName(sim.path());
        line.open();
        const LineLock held(line);
        const Result result = Run(line, {}, nullptr, TextId::SurveyTitle);
        QCOMPARE(result.end, Result::End::LineBusy);
        QCOMPARE(result.probes, 0);
        QVERIFY(sim.heardFrames().isEmpty());
    }

    // The wait is the wire's: 1 start, 8 data, parity, stop bits per character.
    void answerWait_data()
    {
        columns<QString, int, int, qint64>("settings", "bytes", "allowance", "waitUs");
        row("9600 8N1, a word's answer", "9600,n,8,1", 7, 50, qint64(105000000 / 9600 + 50000));
        row("1200 8N2, the probe's answer", "1200,n,8,2", 4, 50, qint64(82500000 / 1200 + 50000));
        row("19200 8E1, no allowance", "19200,e,8,1", 7, 0, qint64(115500000 / 19200));
    }
    void answerWait()
    {
        const auto [settings, bytes, allowance, waitUs] =
            fetch<QString, int, int, qint64>("settings", "bytes", "allowance", "waitUs");
        QVERIFY(qAbs(AnswerWaitUs(settings, bytes, allowance) - waitUs) <= 1);
    }

    void defaultSettingsStartAtTheLine()
    {
        QCOMPARE(DefaultSettings({4800, 2}),
                 settingsOf("4800/2 19200/1 19200/2 9600/1 9600/2 4800/1 2400/1 2400/2 "
                            "1200/1 1200/2"));
        QCOMPARE(DefaultSettings({38400, 1}).size(), 11);
    }
};

QTEST_GUILESS_MAIN(TestLineSurvey)
#include "tst_linesurvey.moc"
