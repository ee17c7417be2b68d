// The panel test window driven through its widgets against k7310sim over a pty: the frames the
// panel hears, the panel on screen, the frame log; inside the main frame for leaving it.
#include "ledpanel.h"
#include "panelwidgets.h"
#include "shelltestkit.h"
#include "wpaneltools.h"

#include <QElapsedTimer>
#include <QLineEdit>
#include <QPointer>
#include <QRadioButton>
#include <QTreeWidget>

#include <memory>

// What a test row does to the window, its line and the simulator.
struct Rig
{
    wPanelTools& w;
    ComCtrl& line;
    SimProcess& sim;
};
using Action = std::function<void(Rig&)>;
Q_DECLARE_METATYPE(Action)

namespace {

using Frames = QList<QByteArray>;

QByteArray hex(const char* digits)
{
    return QByteArray::fromHex(digits);
}

template<typename T = QWidget> T* control(const QWidget& window, const QString& name)
{
    return window.findChild<T*>(name);
}
void choose(wPanelTools& w, int sequence)
{
    control<QComboBox>(w, "cboToolsSequence")->setCurrentIndex(sequence);
}
void press(wPanelTools& w, int command)
{
    QTest::mouseClick(control<QPushButton>(w, QStringLiteral("cmdTools_%1").arg(command)),
                      Qt::LeftButton);
}
// Selects a state, then clicks LED n (or the horn for n = 24).
void clickLed(wPanelTools& w, int n, int state)
{
    control<QRadioButton>(w, QStringLiteral("optToolsLeds_%1").arg(state))->setChecked(true);
    QWidget* target = n < PanelCommands::LedCount ? w.panel()->lamp(n)
                                                  : static_cast<QWidget*>(w.panel()->hornImage());
    QTest::mouseClick(target, Qt::LeftButton, {}, target->rect().center());
}
// "<24 LED states> <horn>", e.g. "777770000000000000000000 0".
QString panelText(const wPanelTools& w)
{
    QString text;
    for (int n = 0; n < PanelCommands::LedCount; ++n)
        text += QString::number(w.panel()->state(n));
    return text + ' ' + QString::number(w.panel()->horn());
}
void setPanel(wPanelTools& w, const QString& text)
{
    PanelCommands::PanelImage image;
    for (int n = 0; n < PanelCommands::LedCount; ++n)
        image.leds[n] = text.at(n).digitValue();
    image.horn = text.section(' ', 1).toInt();
    w.panel()->setImage(image);
}
QTreeWidget* log(const wPanelTools& w)
{
    return control<QTreeWidget>(w, "lvwPanel");
}

} // namespace

class TestPanelTools : public QObject
{
    Q_OBJECT

    enum Leaving { Closed, Quit, OtherWindow };

private slots:
    void initTestCase()
    {
        wSplash::SetCloseInterval(20);
        QVERIFY(m_sim.start());
    }

    void init()
    {
        m_fixture = std::make_unique<ShellFixture>();
        QVERIFY(m_fixture->openData());
        m_port.setPortName(m_sim.path());
        m_port.open();
        m_window = new wPanelTools(m_port);
        m_window->show();
        m_window->panel()->blinkTimer()->stop();
        QTest::qWait(20);
        m_heard = m_sim.heardFrames().size();
    }

    void cleanup()
    {
        delete m_window;
        m_port.setBusy(false);
        m_port.close();
        m_sim.command("fault off");
        m_fixture.reset();
    }

    // What each sequence offers: the state selector, Start, Stop, clicks on the panel.
    void sequenceTable_data()
    {
        QTest::addColumn<int>("sequence");
        QTest::addColumn<QString>("shown"); // selector, Start, Stop, panel: 1 yes, 0 no
        row("0 manual", 0, QString("1001"));
        row("1 whole panel", 1, QString("1101"));
        row("2 read", 2, QString("0100"));
        row("3 lamp test", 3, QString("0100"));
        row("4 sweep", 4, QString("0100"));
        row("5 alarm", 5, QString("0101"));
    }

    void sequenceTable()
    {
        QFETCH(int, sequence);
        QFETCH(QString, shown);
        wPanelTools& w = *m_window;
        QCOMPARE(control<QLabel>(w, "lblCommParams")->text(),
                 DataFunctions7310::GetText(234201) + "9600,n,8,1");
        QVERIFY(!w.Modified() && !w.running());
        QCOMPARE(w.panel()->blinkTimer()->interval(), 250);
        choose(w, sequence);
        const QString seen = QStringLiteral("%1%2%3%4")
                                 .arg(!control(w, "frmToolsLeds")->isHidden())
                                 .arg(control(w, "cmdTools_0")->isEnabled())
                                 .arg(control(w, "cmdTools_1")->isEnabled())
                                 .arg(control(w, "frmPanneau")->isEnabled());
        QCOMPARE(seen, shown);
        QCOMPARE(control<QLabel>(w, "lblHelp")->text(),
                 DataFunctions7310::GetText(234230 + sequence));
    }

    // One operation: the frames the panel heard, the panel on screen and the log afterwards.
    // The image words carry LED n at bit (3 n) mod 15 of word n div 5, the horn at bit 12 of
    // the last word.
    void operations_data()
    {
        QTest::addColumn<Action>("act");
        QTest::addColumn<Frames>("frames"); // heard by the panel, without their CRC
        QTest::addColumn<QString>("panel"); // on screen afterwards
        QTest::addColumn<bool>("answered"); // the last exchange

        row("sequence 0: a click sends the LED at once", Action([](Rig& r) {
                choose(r.w, 0);
                clickLed(r.w, 5, 3);
            }),
            Frames{hex("010600060003")}, QString("000003000000000000000000 0"), true);
        row("sequence 0: the horn is word 64", Action([](Rig& r) {
                choose(r.w, 0);
                clickLed(r.w, 24, 1);
            }),
            Frames{hex("010600400001")}, QString("000000000000000000000000 1"), true);
        row("sequence 1: clicks draw, Start sends; LED 23 in state 5 is 2560, the horn 4096",
            Action([](Rig& r) {
                choose(r.w, 1);
                r.w.panel()->setState(23, 5);
                clickLed(r.w, 0, 2);
                clickLed(r.w, 24, 4);
                press(r.w, wPanelTools::cmdStart);
            }),
            Frames{hex("0110001900050A00020000000000001A00")},
            QString("200000000000000000000005 4"), true);
        row("sequence 2: word 0x7FFF reads as state 7 for LEDs 0 to 4", Action([](Rig& r) {
                setPanel(r.w, "777770000000000000000000 0");
                r.w.SendWholePanel();
                setPanel(r.w, "000000000000000000000000 0");
                choose(r.w, 2);
                press(r.w, wPanelTools::cmdStart);
            }),
            Frames{hex("0110001900050A7FFF0000000000000000"), hex("010300190005")},
            QString("777770000000000000000000 0"), true);
        row("sequence 3: lamp test", Action([](Rig& r) {
                choose(r.w, 3);
                press(r.w, wPanelTools::cmdStart);
            }),
            Frames{hex("010600420001")}, QString("000000000000000000000000 0"), true);
        row("panel off: word 0, then word 64", Action([](Rig& r) {
                setPanel(r.w, "123400000000000000000000 1");
                press(r.w, wPanelTools::cmdRazPanel);
            }),
            (Frames{hex("010600000000"), hex("010600400000")}),
            QString("000000000000000000000000 0"), true);
        row("TEST in the alarm sequence: blinking LEDs turn steady, the horn stops",
            Action([](Rig& r) {
                choose(r.w, 5);
                setPanel(r.w, "012345670123456701234567 3");
                QTest::mouseClick(r.w.panel()->testLabel(), Qt::LeftButton);
            }),
            Frames{hex("0110001900050A12481049124912410249")},
            QString("011111110111111101111111 0"), true);
        row("TEST in any other sequence: nothing", Action([](Rig& r) {
                choose(r.w, 1);
                setPanel(r.w, "012345670123456701234567 3");
                QTest::mouseClick(r.w.panel()->testLabel(), Qt::LeftButton);
            }),
            Frames{}, QString("012345670123456701234567 3"), true);
        row("slave 65 is refused by the codec: nothing sent", Action([](Rig& r) {
                control<QLineEdit>(r.w, "TxtToolsSlave")->setText("65");
                clickLed(r.w, 2, 1);
            }),
            Frames{}, QString("001000000000000000000000 0"), true);
        row("line held by another window: nothing sent", Action([](Rig& r) {
                r.line.setBusy(true);
                choose(r.w, 3);
                press(r.w, wPanelTools::cmdStart);
                r.line.setBusy(false);
            }),
            Frames{}, QString("000000000000000000000000 0"), true);
        row("sequence 2 unanswered: the screen keeps its image", Action([](Rig& r) {
                setPanel(r.w, "123000000000000000000000 1");
                r.sim.command("fault-next none");
                choose(r.w, 2);
                press(r.w, wPanelTools::cmdStart);
            }),
            Frames{hex("010300190005")}, QString("123000000000000000000000 1"), false);
    }

    void operations()
    {
        QFETCH(Action, act);
        QFETCH(Frames, frames);
        QFETCH(QString, panel);
        QFETCH(bool, answered);
        Rig rig{*m_window, m_port, m_sim};
        act(rig);
        QCOMPARE(heardSince(m_heard), frames);
        QCOMPARE(panelText(*m_window), panel);
        QCOMPARE(log(*m_window)->topLevelItemCount(), frames.size());
        QCOMPARE(m_window->LastFrameTimedOut(), !answered);
    }

    // The log keeps the last seven exchanges; an unanswered one shows "(Time-out)".
    void frameLog_data()
    {
        QTest::addColumn<int>("clicks");
        QTest::addColumn<bool>("silent"); // the panel leaves the last one unanswered
        QTest::addColumn<int>("first");   // click whose request heads the log
        row("seven exchanges, all shown", 7, false, 0);
        row("the eighth and ninth push out the oldest", 9, false, 2);
        row("no answer shows (Time-out)", 2, true, 0);
    }

    void frameLog()
    {
        QFETCH(int, clicks);
        QFETCH(bool, silent);
        QFETCH(int, first);
        wPanelTools& w = *m_window;
        for (int i = 0; i < clicks; ++i) {
            if (silent && i == clicks - 1)
                QVERIFY(m_sim.command("fault-next none"));
            clickLed(w, i, 1);
        }
        QCOMPARE(log(w)->topLevelItemCount(), std::min(clicks, 7));
        QCOMPARE(log(w)->topLevelItem(0)->text(0),
                 CommFunctions::FrameToText(CommFunctions::FrameToSend(1, 6, first + 1, 1, 1)));
        const QString last = log(w)->topLevelItem(log(w)->topLevelItemCount() - 1)->text(1);
        QCOMPARE(last == "(Time-out)", silent);
        QCOMPARE(w.LastFrameTimedOut(), silent);
        press(w, wPanelTools::cmdRazTableau);
        QCOMPARE(log(w)->topLevelItemCount(), 0);
        QVERIFY(!w.LastFrameTimedOut());
    }

    // A sequence that waits, and an event during its run: it ends at its next step.
    void sequences_data()
    {
        QTest::addColumn<int>("sequence");
        QTest::addColumn<int>("atMs"); // when the event comes, after Start
        QTest::addColumn<Action>("event");
        QTest::addColumn<int>("framesAfter"); // heard after the event
        QTest::addColumn<QByteArray>("last"); // the last frame heard, without its CRC
        QTest::addColumn<QString>("panel");   // on screen at the end

        const Action stop = [](Rig& r) {
            press(r.w, wPanelTools::cmdStop);
        };
        const Action silent = [](Rig& r) {
            r.sim.command("fault-next none");
        };
        const QByteArray ackRead = hex("010300440001");
        // The sweep sends an image at about 0, 0.5 and 1 s, the alarm polls every 50 ms.
        row("sweep stopped midway: LEDs 0 to 2 lit", 4, 1300, stop, 0,
            hex("0110001900050A00490000000000000000"), QString("111000000000000000000000 0"));
        row("a time-out ends the sweep", 4, 950, silent, 1,
            hex("0110001900050A00490000000000000000"), QString("111000000000000000000000 0"));
        row("alarm acknowledged on the panel", 5, 600, Action([](Rig& r) { r.sim.command("ack"); }),
            2, hex("0110001900050A00080000000800000000"), QString("010000000001000000000000 0"));
        row("alarm stopped by the user", 5, 600, stop, 0, ackRead,
            QString("040000000004000000000000 1"));
        row("alarm ends on a time-out", 5, 600, silent, 1, ackRead,
            QString("040000000004000000000000 1"));
        row("another window takes the line: the sweep ends at its next wait", 4, 700,
            Action([](Rig& r) { r.line.setBusy(true); }), 0,
            hex("0110001900050A00090000000000000000"), QString("110000000000000000000000 0"));
    }

    void sequences()
    {
        QFETCH(int, sequence);
        QFETCH(int, atMs);
        QFETCH(Action, event);
        QFETCH(int, framesAfter);
        QFETCH(QByteArray, last);
        QFETCH(QString, panel);
        wPanelTools& w = *m_window;
        choose(w, sequence);
        qsizetype atEvent = -1;
        QElapsedTimer clock;
        QTimer::singleShot(atMs, &w, [&] {
            atEvent = m_sim.heardFrames().size();
            Rig rig{w, m_port, m_sim};
            event(rig);
            clock.start();
        });
        press(w, wPanelTools::cmdStart); // returns when the sequence has ended
        // It ended at its next step: a wait (0.5 s, or the frame delay) or a 1 s time-out.
        QVERIFY(clock.isValid());
        QVERIFY2(clock.elapsed() < 1600, qPrintable(QString::number(clock.elapsed())));
        QCOMPARE(heardSince(atEvent).size(), framesAfter);
        QCOMPARE(heardSince(m_heard, 0).constLast(), last);
        QCOMPARE(panelText(w), panel);
        // The buttons are back as the sequence table has them.
        QVERIFY(!w.running());
        QVERIFY(control(w, "cmdTools_0")->isEnabled() && control(w, "cmdTools_2")->isEnabled() &&
                !control(w, "cmdTools_1")->isEnabled() && control(w, "frmFrames")->isEnabled());
    }

    // The console around the window while a sweep waits: the window closed, the console quit,
    // another tool window activated. The captions come from the settings file and go back
    // to it when the window is unloaded.
    void leavingDuringSweep_data()
    {
        QTest::addColumn<int>("how");
        row("test window closed", int(Closed));
        row("console quit", int(Quit));
        row("calculator activated: the window stays, the sweep ends", int(OtherWindow));
    }

    void leavingDuringSweep()
    {
        QFETCH(int, how);
        m_port.close();
        m_fixture->writeIni("English", "[Panneau]\nLabel1=Pump A\nLabel24=Door\n", m_sim.path());
        wMain frame(wMain::Files{m_fixture->dataFile, {}});
        QVERIFY(frame.load());
        QPointer<wPanelTools> w = qobject_cast<wPanelTools*>(frame.children().show(3));
        QVERIFY(w);
        QCOMPARE(w->panel()->caption(0) + '|' + w->panel()->caption(5) + '|' +
                     w->panel()->caption(23),
                 "Pump A||Door");
        QTest::keyClicks(control<QLineEdit>(*w, "txtPanneau_5"), "Boiler");
        choose(*w, 4);
        qsizetype atEvent = -1;
        QTimer::singleShot(700, &frame, [&] {
            atEvent = m_sim.heardFrames().size();
            if (how == Quit) {
                OnNextModal([](QWidget* modal) {
                    qobject_cast<QMessageBox*>(modal)->button(QMessageBox::Yes)->click();
                });
                frame.mnuFileQuit_Click();
            } else if (how == Closed) {
                w->frameWidget()->close();
            } else {
                frame.children().show(1);
            }
        });
        press(*w, wPanelTools::cmdStart);
        QTest::qWait(1);
        QCOMPARE(heardSince(atEvent, 600).size(), 0);
        QCOMPARE(frame.isVisible(), how != Quit);
        if (how == OtherWindow) {
            QVERIFY(w && !w->running() && control(*w, "cmdTools_0")->isEnabled());
            return;
        }
        QVERIFY(!w);
        // Unloaded as usual: the captions are in the settings file.
        QCOMPARE(ZRBfonctions::GetIniParamsList("Panneau").size(), 24);
        QCOMPARE(ZRBfonctions::GetIniParam("Panneau", "Label6", {}), "Boiler");
        QCOMPARE(ZRBfonctions::GetIniParam("Panneau", "Label24", {}), "Door");
        QVERIFY2(m_fixture->reports().isEmpty(), qPrintable(m_fixture->reports().join('\n')));
    }

    void blinkPhases_data()
    {
        QTest::addColumn<QString>("states"); // of LEDs 0, 1, ...
        QTest::addColumn<int>("phase");
        QTest::addColumn<QString>("lit");
        // Per state 0 to 4, lit in phases 0 to 4.
        const QStringList rhythm{"00000", "11111", "10000", "10010", "11000"};
        for (int state = 0; state < 5; ++state) {
            for (int phase = 0; phase < 5; ++phase)
                QTest::addRow("state %d, phase %d", state, phase)
                    << QString::number(state) << phase << QString(rhythm[state][phase]);
        }
        // States 5 to 7 repeat the decision of the LED before them; LED 0 has none.
        row("5 to 7 follow their neighbour, phase 1", QString("5457706"), 1, QString("0111100"));
        row("5 to 7 follow their neighbour, phase 2", QString("5457706"), 2, QString("0000000"));
    }

    void blinkPhases()
    {
        QFETCH(QString, states);
        QFETCH(int, phase);
        QFETCH(QString, lit);
        LedPanel* panel = m_window->panel();
        setPanel(*m_window, states.leftJustified(24, '0') + " 0");
        while (panel->phase() != phase)
            panel->tmrCligno_Timer();
        QString seen;
        for (int n = 0; n < lit.size(); ++n)
            seen += panel->lamp(n)->lit() ? '1' : '0';
        QCOMPARE(seen, lit);
    }

private:
    // Frames the panel heard since the trace held `from` of them, without their CRC.
    Frames heardSince(qsizetype from, int settleMs = 100) const
    {
        QTest::qWait(settleMs);
        Frames frames;
        const QStringList heard = m_sim.heardFrames();
        for (qsizetype i = from; i < heard.size(); ++i)
            frames << QByteArray::fromHex(heard[i].section(' ', 2).toLatin1()).chopped(2);
        return frames;
    }

    SimProcess m_sim;
    ComCtrl m_port;
    std::unique_ptr<ShellFixture> m_fixture;
    wPanelTools* m_window = nullptr;
    qsizetype m_heard = 0;
};

QTEST_MAIN(TestPanelTools)
#include "tst_wpaneltools.moc"