// The configuration window: against k7310sim over a pty, the words on the line (from the
// simulator's trace, with the line settings each was heard at), the controls afterwards, the
// messages, the settings file; the configuration files.
#include "../common/promptcapture.h"
#include "shelltestkit.h"
#include "usercommand.h"
#include "waskslave.h"
#include "wpanelconfig.h"
#include "wsearchslave.h"

#include <QCheckBox>
#include <QLineEdit>
#include <QSpinBox>

namespace {

// Plays the user through the modal windows of an action: the slave dialog gets the slave typed
// and the search box set (or is cancelled), a found panel is confirmed, and every message box
// is recorded and closed.
struct User : ModalUser
{
    QString slave = QStringLiteral("1");
    bool autoSearch = false;
    bool cancel = false;
    int asked = 0;

    User()
        : ModalUser([this](QWidget* modal) { answer(modal); })
    {}
    void answer(QWidget* modal)
    {
        if (auto* ask = qobject_cast<wAskSlave*>(modal)) {
            ++asked;
            ask->slaveBox()->setText(slave);
            ask->autoSearchBox()->setChecked(autoSearch);
            ask->button(cancel ? wAskSlave::Cancel : wAskSlave::Ok)->click();
        } else if (auto* search = qobject_cast<wSearchSlave*>(modal)) {
            if (search->okButton()->isEnabled())
                search->okButton()->click();
        }
    }
};

// A message as the window shows it: "10121:2.8" is text 10121 with its insert.
QStringList texts(const QStringList& messages)
{
    QStringList shown;
    for (const QString& message : messages) {
        QString text = DataFunctions7310::GetText(message.section(':', 0, 0).toInt());
        const QString insert = message.section(':', 1);
        text.replace("$.$", insert).replace("$$", insert);
        shown << text.replace('|', '\n');
    }
    return shown;
}

// Each frame the panel heard, or could not hear at the line's settings:
// "<baud>/<stop> <slave>:R<address>x<count>", "...:W<address>=<value>", "... probe",
// "ignored ..." for a frame at other settings than the panel's.
QStringList words(const SimProcess& sim)
{
    QStringList summary;
    for (const QString& frame : sim.heardFrames()) {
        const QByteArray b = QByteArray::fromHex(frame.section(' ', 2).toLatin1());
        const auto word = [&b](int i) {
            return int(qint16(quint8(b[i]) << 8 | quint8(b[i + 1])));
        };
        const bool read = b[1] == 3;
        const QString what = b.size() == 3
                                 ? QStringLiteral("probe")
                                 : QString::asprintf("%d:%c%d%c%d", quint8(b[0]), read ? 'R' : 'W',
                                                     word(2), read ? 'x' : '=', word(4));
        summary << (frame.startsWith("IGNORED") ? "ignored " : "") + frame.section(' ', 1, 1) +
                       ' ' + what;
    }
    return summary;
}

// The controls by index (-1: nothing selected) and the version label.
QString shown(const wPanelConfig& window)
{
    QStringList values;
    for (const int value : window.values())
        values << QString::number(value);
    return values.join(' ') + " v" + window.findChild<QLabel*>("lblVersionK7310")->text();
}

void setValues(wPanelConfig& window, const QString& values)
{
    const QStringList each = values.split(' ');
    for (int i = 0; i < each.size(); ++i) {
        if (i == ConfigMap::Slave)
            qobject_cast<QSpinBox*>(window.control(i))->setValue(each[i].toInt());
        else
            qobject_cast<QComboBox*>(window.control(i))->setCurrentIndex(each[i].toInt());
    }
}

// What sets controls apart: "<index> <label beside it>" after Compare (its tooltip must say
// the same), "<index> unread: <tooltip>" for a word not read (told apart by its look too),
// "<index> off: <tooltip>" for a list the panel's firmware lacks.
QStringList marks(const wPanelConfig& window)
{
    QStringList seen;
    const QPalette plain = window.palette();
    for (int i = 0; i < ConfigMap::ParameterCount; ++i) {
        QWidget* control = window.control(i);
        const QString tip = control->toolTip();
        if (window.marked(i)) {
            const QLabel* beside = window.panelLabel(i);
            seen << QString::number(i) + ' ' +
                        (beside->isVisibleTo(&window) ? beside->text() : "(no label)");
            if (!tip.contains(beside->text()))
                seen << "tooltip: " + tip;
        }
        if (window.unread(i)) {
            const bool looks =
                control->font().italic() &&
                control->palette().color(QPalette::Button) != plain.color(QPalette::Button);
            seen << QString::number(i) + (looks ? " unread: " : " unread, looks plain: ") + tip;
        }
        if (!control->isEnabled())
            seen << QString::number(i) + " off: " + tip;
    }
    return seen;
}

// The settings the write stores, "-" when absent.
QString stored()
{
    QStringList values;
    for (const char* key : {"Bauds", "Stops", "LastSlave"})
        values << ZRBfonctions::GetIniParam("Communication", key, "-");
    return values.join(' ');
}

// A panel with every word off its factory value: 19200 baud, 2 stop bits, slave 7.
const QString panelState = "128=255\n129=2\n130=7\n131=2\n65=1\n67=0\n69=1\n70=1\n";

} // namespace

class TestPanelConfig : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        CommFunctions::SetFrameDelay(5);
        QVERIFY(m_fixture.openData());
        DataFunctions7310::SetCurrentLanguage("English");
    }
    void cleanup()
    {
        m_window.reset();
        m_sim.reset();
        m_port.reset();
        m_fixture.capture.messages.clear();
        QFile::remove(m_fixture.iniFile);
        DataFunctions7310::SetCurrentLanguage("English");
    }

    // Read, Write and Compare: the slave dialog and the search, the words on the line, the
    // controls and version afterwards, the messages, the console's line and the settings
    // file, the marks and the confirmation in the status bar. A panel started from panelState
    // (19200 baud, 2 stop bits, slave 7) is met at its settings, any other at 9600/1. Then a
    // second action: the version is not told again, Compare's marks are gone, and factory
    // values or an opened file clear every mark and enable every list.
    void onPanel_data()
    {
        // panel: k7310sim options, "state" for panelState; typed: in the slave dialog, "auto":
        // searched, "cancel"; action: read, write or compare, with the controls set; after:
        // the controls and the version label; line: the console's settings | Bauds Stops
        // LastSlave; marks: see marks(); confirmed: the status bar; then: a second action.
        columns<QString, QString, QString, QStringList, QString, QStringList, QString, QStringList,
                QString, QString>("panel", "typed", "action", "heard", "after", "messages", "line",
                                  "marks", "confirmed", "then");

        const QString at = "19200/2 7:";
        const QStringList reads{at + "R130x1", at + "R128x4", at + "R65x3", at + "R70x1",
                                at + "R69x1"};
        const QStringList writes{at + "R130x1", at + "W128=255", at + "W129=2",
                                 at + "W130=7", at + "W131=1",   at + "W65=0",
                                 at + "W67=1",  at + "W70=1",    at + "W69=0"};
        const QString line7 = "19200,n,8,2 | - - 7";
        const QString stored7 = "19200,n,8,2 | 19200 2 7";
        const QStringList none;
        const QString read7 = "Configuration read from slave 7 at 19200,n,8,2 (firmware %1).";
        const QString written7 = "Written to slave 7 at 19200,n,8,2 and confirmed (firmware %1).";
        const QString lacks = " off: Firmware %1 of this panel has no such setting.";
        // The version staircase: 2.8 serves words 70 and 69, 2.7 only 69, 2.6 neither; the
        // lists a version lacks are emptied and cannot be edited.
        row("read 2.8", "--version 2.8 state", "7", "read", reads, "4 1 7 2 1 0 1 1 v2.8",
            QStringList{"10121:2.8"}, line7, none, read7.arg("2.8"), "read");
        row("read 2.7: LED test with K/L emptied", "--version 2.7 state", "7", "read", reads,
            "4 1 7 2 1 0 1 -1 v2.7", QStringList{"10121:2.7"}, line7,
            QStringList{"7" + lacks.arg("2.7")}, read7.arg("2.7"), "read");
        row("read 2.6: both K/L lists emptied; factory values enable them", "--version 2.6 state",
            "7", "read", reads, "4 1 7 2 1 0 -1 -1 v2.6", QStringList{"10121:2.6"}, line7,
            QStringList{"6" + lacks.arg("2.6"), "7" + lacks.arg("2.6")}, read7.arg("2.6"), "init");
        row("write 2.7: 70 refused, list emptied", "--version 2.7 state", "7",
            "write 4 1 7 1 0 1 0 1", writes, "4 1 7 1 0 1 0 -1 v2.7", QStringList{"10121:2.7"},
            stored7, QStringList{"7" + lacks.arg("2.7")},
            written7.arg("2.7") + " Not written, not in firmware 2.7: LED test with K/L.", "read");
        row("write 2.6: 70 and 69 refused; written again, the emptied lists are left out",
            "--version 2.6 state", "7", "write 4 1 7 1 0 1 0 1", writes, "4 1 7 1 0 1 -1 -1 v2.6",
            QStringList{"10121:2.6"}, stored7,
            QStringList{"6" + lacks.arg("2.6"), "7" + lacks.arg("2.6")},
            written7.arg("2.6") +
                " Not written, not in firmware 2.6: LED test with K/L, Bus control with K/L.",
            "write");

        // A word that does not come back is marked and named, with the reason; the values
        // that were read are shown. A bad block at 128 tells nothing more; one at 65 is told.
        const QString unread = " unread: Not read from the panel: %1";
        row("read: CRC error on the block at 128, the line's controls keep their values",
            "--fault-word 128:bad-crc state", "7", "read", reads, "3 0 1 0 1 0 1 1 v2.8",
            QStringList{"10121:2.8"}, line7,
            QStringList{"0" + unread.arg("CRC error"), "1" + unread.arg("CRC error"),
                        "2" + unread.arg("CRC error"), "3" + unread.arg("CRC error")},
            read7.arg("2.8") + " Not read: words 128–131 (CRC error).", "open");
        row("read: the block at 65 unanswered, the options not read", "--fault-word 65:none state",
            "7", "read", QStringList{at + "R130x1", at + "R128x4", at + "R65x3"},
            "4 1 7 2 0 1 0 0 v", QStringList{"10120"}, line7,
            QStringList{"4" + unread.arg("time-out"), "5" + unread.arg("time-out"),
                        "6" + unread.arg("time-out"), "7" + unread.arg("time-out")},
            "Configuration read from slave 7 at 19200,n,8,2; firmware version unknown. Not read: "
            "words 65–70 (time-out).",
            "init");

        // Compare shows the panel's value beside exactly the controls that differ; it leaves
        // the version label alone.
        row("compare: speed, slave and LED test differ; Read clears the marks",
            "--version 2.8 state", "7", "compare 3 1 8 2 1 0 1 0", reads, "3 1 8 2 1 0 1 0 v",
            QStringList{"10141:3"}, line7,
            QStringList{"0 Panel: 19200", "2 Panel: 7", "7 Panel: Yes"},
            "Compared with slave 7: values differing: 3.", "read");
        row("compare: a 2.6 panel lacks the K/L words; Write clears the marks",
            "--version 2.6 state", "7", "compare 4 1 7 2 1 1 1 1", reads, "4 1 7 2 1 1 1 1 v",
            QStringList{"10141:3"}, line7,
            QStringList{"5 Panel: No", "6 Panel: not in this panel's firmware",
                        "7 Panel: not in this panel's firmware"},
            "Compared with slave 7: values differing: 3.", "write");

        // A write that changes the line: the console follows after each word, later words go
        // out at the new settings and to the new slave, the settings file follows step by step.
        row("write: speed, stop bits and slave number change", "", "1", "write 4 1 9 0 0 1 0 0",
            QStringList{"9600/1 1:R130x1", "9600/1 1:W128=255", "19200/1 1:W129=2",
                        "19200/2 1:W130=9", "19200/2 9:W131=0", "19200/2 9:W65=0",
                        "19200/2 9:W67=1", "19200/2 9:W70=0", "19200/2 9:W69=0"},
            "4 1 9 0 0 1 0 0 v2.8", QStringList{"10121:2.8"}, "19200,n,8,2 | 19200 2 9", none,
            "Written to slave 9 at 19200,n,8,2 and confirmed (firmware 2.8).", "");
        row("write: only the slave number, words after 130 go to it", "", "1",
            "write 3 0 33 0 0 1 0 0",
            QStringList{"9600/1 1:R130x1", "9600/1 1:W128=254", "9600/1 1:W129=1",
                        "9600/1 1:W130=33", "9600/1 33:W131=0", "9600/1 33:W65=0",
                        "9600/1 33:W67=1", "9600/1 33:W70=0", "9600/1 33:W69=0"},
            "3 0 33 0 0 1 0 0 v2.8", QStringList{"10121:2.8"}, "9600,n,8,1 | 9600 1 33", none,
            "Written to slave 33 at 9600,n,8,1 and confirmed (firmware 2.8).", "");
        row("write: word 131 unanswered, the chain stops there", "--fault-word 131:none", "1",
            "write 3 0 1 0 0 1 0 0",
            QStringList{"9600/1 1:R130x1", "9600/1 1:W128=254", "9600/1 1:W129=1",
                        "9600/1 1:W130=1", "9600/1 1:W131=0"},
            "3 0 1 0 0 1 0 0 v", QStringList{"10120"}, "9600,n,8,1 | 9600 1 1", none,
            "Write to slave 1 stopped at word 131 (time-out).", "");

        // The opening: the slave dialog, the search, and what nothing found shows.
        const QString panel = "--slave 12 --speed 4800 --stop 2";
        const QString found = "4800/2 12:";
        const QString factory = "3 0 1 0 0 1 0 0 v";
        row("slave 0 found by the automatic search at 4800/2, which is stored", panel, "0 auto",
            "read",
            QStringList{"ignored 9600/1 probe", "ignored 19200/1 probe", "ignored 19200/2 probe",
                        "ignored 4800/1 probe", "4800/2 probe", found + "R128x4", found + "R65x3",
                        found + "R70x1", found + "R69x1"},
            "2 1 12 0 0 1 0 0 v2.8", QStringList{"10121:2.8"}, "4800,n,8,2 | 4800 2 12", none,
            "Configuration read from slave 12 at 4800,n,8,2 (firmware 2.8).", "read");
        row("read, slave 0, nothing answers", panel, "0", "read",
            QStringList{"ignored 9600/1 probe"}, factory, QStringList{"10122"},
            "9600,n,8,1 | - - 0", none, "", "");
        row("read, slave 12 typed, nothing answers", panel, "12", "read",
            QStringList{"ignored 9600/1 12:R130x1"}, factory, QStringList{"10120"},
            "9600,n,8,1 | - - 12", none, "", "");
        row("slave dialog cancelled", panel, "cancel", "read", none, factory, none,
            "9600,n,8,1 | - - -", none, "", "");
    }

    void onPanel()
    {
        const auto [panel, typed, action, heard, after, messages, line, marked, confirmed, then] =
            fetch<QString, QString, QString, QStringList, QString, QStringList, QString,
                  QStringList, QString, QString>("panel", "typed", "action", "heard", "after",
                                                 "messages", "line", "marks", "confirmed", "then");
        const bool state = panel.endsWith("state");
        QStringList options = panel.split(' ', Qt::SkipEmptyParts);
        if (state)
            options.removeLast();
        QVERIFY(start(options, state ? "19200,n,8,2" : "9600,n,8,1", state ? panelState : ""));
        User user;
        user.slave = typed.section(' ', 0, 0);
        user.autoSearch = typed.endsWith("auto");
        user.cancel = typed == "cancel";
        if (action.contains(' '))
            setValues(*m_window, action.section(' ', 1));
        PromptCapture prompts;
        run(action.section(' ', 0, 0));
        QCOMPARE(words(*m_sim), heard);
        QCOMPARE(shown(*m_window), after);
        QCOMPARE(user.messages, texts(messages));
        QCOMPARE(m_port->settings() + " | " + stored(), line);
        QCOMPARE(marks(*m_window), marked);
        QCOMPARE(prompts.confirmations.value(0), confirmed);
        QVERIFY(prompts.confirmations.size() <= 1);
        QVERIFY(!QApplication::overrideCursor());
        QVERIFY(m_fixture.reports().isEmpty());
        if (then.isEmpty())
            return;
        run(then);
        // The version is told once; Compare does not tell it, the action after it does.
        if (then != "init" && then != "open")
            QCOMPARE(user.messages.size(), messages.size() + int(action.startsWith("compare")));
        for (int i = 0; i < ConfigMap::ParameterCount; ++i) {
            QVERIFY(!m_window->marked(i) && m_window->control(i)->styleSheet().isEmpty());
            QVERIFY(!m_window->panelLabel(i)->isVisibleTo(m_window.get()));
        }
        if (then == "init" || then == "open")
            QCOMPARE(marks(*m_window), QStringList{});
    }

    // A write of 128 or 129 cut off: the panel killed right after its answer (the port cannot
    // be reopened), its answer lost while the request was carried out, or lost and the panel
    // silent from then on. The settings file holds what the panel holds, and the next Read,
    // with the slave dialog as the write left it, finds the panel (restarted after a kill).
    void interruptedWrite_data()
    {
        // panel: k7310sim options; cut: "kill" or "mute" the panel once it has heard word
        // `at`, "" for the options alone; heard; line: the console's settings | Bauds Stops
        // LastSlave; confirmed; next: the controls after the next Read ("" for none).
        columns<QString, QString, int, QStringList, QString, QString, QString>(
            "panel", "cut", "at", "heard", "line", "confirmed", "next");
        const QStringList opening{"9600/1 1:R130x1", "9600/1 1:W128=255"};
        const QStringList rest{"19200/2 7:W131=0", "19200/2 7:W65=0", "19200/2 7:W67=1",
                               "19200/2 7:W70=0", "19200/2 7:W69=0"};
        const QString written =
            "Written to slave 7 at 19200,n,8,2 and confirmed (firmware 2.8). The answer to word "
            "%1 was lost, but the panel answered at %2 and was followed.";
        row("answer to 128 lost: found at 19200/1, followed", "--fault-word 128:none", "", 0,
            opening + QStringList{"19200/1 1:R130x1", "19200/1 1:W129=2", "19200/2 1:W130=7"} +
                rest,
            "19200,n,8,2 | 19200 2 7", written.arg(128).arg("19200,n,8,1"),
            "3 0 1 0 0 1 0 0 v2.8"); // found; its block at 128 stays unanswered
        row("answer to 129 lost: found at 19200/2, followed", "--fault-word 129:none", "", 0,
            opening + QStringList{"19200/1 1:W129=2", "19200/2 1:R130x1", "19200/2 1:W130=7"} +
                rest,
            "19200,n,8,2 | 19200 2 7", written.arg(129).arg("19200,n,8,2"), "4 1 7 0 0 1 0 0 v2.8");
        row("killed after its answer to 128: Bauds stored", "", "kill", 128, opening,
            "19200,n,8,1 | 19200 - 1", "Write to slave 1 stopped at word 128 (port fault).",
            "4 0 1 0 0 1 0 0 v2.8");
        row("killed after its answer to 129: Stops stored", "", "kill", 129,
            opening + QStringList{"19200/1 1:W129=2"}, "19200,n,8,2 | 19200 2 1",
            "Write to slave 1 stopped at word 129 (port fault).", "4 1 1 0 0 1 0 0 v2.8");
        row("answer to 128 lost, silent at 19200/1 too: back at 9600/1", "--fault-word 128:none",
            "mute", 128, opening + QStringList{"19200/1 1:R130x1"}, "9600,n,8,1 | - - 1",
            "Write to slave 1 stopped at word 128 (time-out).", "");
    }

    void interruptedWrite()
    {
        const auto [panel, cut, at, heard, line, confirmed, next] =
            fetch<QString, QString, int, QStringList, QString, QString, QString>(
                "panel", "cut", "at", "heard", "line", "confirmed", "next");
        // The console on the link that a restarted panel takes over, the panel's words kept.
        const QString link = m_fixture.dir.filePath("panel.tty");
        const QString state = m_fixture.dir.filePath("cut.state");
        m_fixture.capture.clear(); // the same lost port is told again in the next row
        QFile::remove(state);
        const QStringList keep{"--link", link, "--state", state};
        QVERIFY(start(panel.split(' ', Qt::SkipEmptyParts) + keep, "9600,n,8,1"));
        m_port->close();
        m_port->setPortName(link);
        m_port->open();
        const QByteArray written = CommFunctions::WriteWordRequest(1, at, 0).left(4);
        m_port->addObserver([&](const Exchange& exchange) {
            if (cut.isEmpty() || !exchange.request.startsWith(written))
                return;
            if (cut == "kill")
                m_sim->stop();
            else
                m_sim->reply("fault none");
        });
        setValues(*m_window, "4 1 7 0 0 1 0 0");
        User user;
        PromptCapture prompts;
        m_window->cmdWriteConfig_Click();
        QCOMPARE(words(*m_sim), heard);
        QCOMPARE(m_port->settings() + " | " + stored(), line);
        QCOMPARE(prompts.confirmations, QStringList{confirmed});
        // The lost port is reported as such.
        QCOMPARE(m_fixture.reports().size(), int(cut == "kill"));
        if (next.isEmpty())
            return;

        if (cut == "kill") {
            m_sim = std::make_unique<SimProcess>();
            QVERIFY(m_sim->start(keep));
        }
        user.slave = ZRBfonctions::GetIniParam("Communication", "LastSlave", "-");
        m_window->cmdConfigInit_Click();
        m_window->cmdReadConfig_Click();
        QCOMPARE(shown(*m_window), next);
        QVERIFY(prompts.confirmations.last().startsWith("Configuration read from slave"));
    }

    // A write that cannot be carried out sends nothing, names the parameter and focuses it.
    void refusedWrite_data()
    {
        // The slave numbers a write takes are checked without the window; once the version is
        // known empty K/L lists are left out (the second write of the "write 2.6" row).
        columns<QString, QString, QString>("written", "message", "focus");
        row("speed list empty", "-1 0 1 0 0 1 0 0", "10130:Line speed", "cboConfParam_0");
        row("slave 65", "3 0 65 0 0 1 0 0", "10131:Slave number", "updCommSlave");
        row("K/L list empty while no version is known", "3 0 1 0 0 1 -1 0",
            "10130:Bus control with K/L", "cboConfParam_6");
    }

    void refusedWrite()
    {
        const auto [written, message, focus] =
            fetch<QString, QString, QString>("written", "message", "focus");
        QVERIFY(start({}, "9600,n,8,1"));
        m_window->show();
        QApplication::setActiveWindow(m_window.get());
        QVERIFY(QTest::qWaitForWindowActive(m_window.get()));
        setValues(*m_window, written);
        User user;
        m_window->cmdWriteConfig_Click();
        QCOMPARE(user.messages, texts({message}));
        QCOMPARE(user.asked, 0);
        QVERIFY(words(*m_sim).isEmpty());
        QWidget* focused = m_window->focusWidget();
        QCOMPARE(focused ? focused->objectName() : QString(), focus);
    }

    // Files: what the window saved opens again as it was, unless an edit of the file makes it
    // refused ("key=value" replaces that key's line, "key" alone drops it); a refused file
    // leaves the controls as they were.
    void files_data()
    {
        // message: "%1" stands for the file's path; after: "" when the factory values stay
        columns<QString, QString, QString>("edit", "message", "after");
        row("saved and opened again", "", "", "2 1 17 3 1 0 1 0");
        row("LED test with K/L left empty", "70=", "", "2 1 17 3 1 0 1 -1");
        row("no such file", "missing", "10151:%1", "");
        row("not such a file at all", "binary", "10152:Device", "");
        row("another device", "Device=K9120", "10153:K9120", "");
        row("word 131 missing", "131", "10152:131", "");
        row("word 65 not a number", "65=yes", "10152:65", "");
        row("slave 65", "130=65", "10154:Slave number", "");
    }

    void files()
    {
        const auto [edit, message, after] =
            fetch<QString, QString, QString>("edit", "message", "after");
        ComCtrl port;
        wPanelConfig window(port);
        const QString path = m_fixture.dir.filePath("panel.k7310");
        setValues(window, "2 1 17 3 1 0 1 0");
        PromptCapture prompts;
        QVERIFY(window.saveFile(path));
        QFile file(path);
        QVERIFY(file.open(QIODevice::ReadWrite));
        // The words are kept as the panel codes them, in the order they are written.
        QString text = QString::fromUtf8(file.readAll());
        QVERIFY(text.contains("[Words]\n128=252\n129=2\n130=17\n131=3\n65=1\n67=0\n70=0\n69=1"));
        const QRegularExpression line('^' + edit.section('=', 0, 0) + "=.*\\n",
                                      QRegularExpression::MultilineOption);
        if (edit == "binary")
            text = QString(300, QChar(7));
        else
            text.replace(line, edit.contains('=') ? edit + '\n' : QString());
        file.resize(0);
        file.write(text.toUtf8());
        file.close();
        if (edit == "missing")
            QFile::remove(path);

        window.cmdConfigInit_Click();
        const QString factory = shown(window);
        User user;
        QCOMPARE(window.openFile(path), message.isEmpty());
        QCOMPARE(user.messages, message.isEmpty() ? QStringList{} : texts({message.arg(path)}));
        QCOMPARE(shown(window), after.isEmpty() ? factory : after + " v");
        QStringList confirmed{"Saved to " + path + '.', "Factory values loaded."};
        if (message.isEmpty())
            confirmed << "Opened " + path + '.';
        QCOMPARE(prompts.confirmations, confirmed);
    }

    // Read pressed again right after the box that reported its failure was closed reports
    // again: a retry is never silent. Within one press the fault is reported once.
    void retryIsReportedAgain()
    {
        UserCommand::Install();
        ComCtrl port;
        port.setPortName("/nonexistent/k7310-no-such-port");
        wPanelConfig window(port);
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        auto* read = window.findChild<QAbstractButton*>("cmdReadConfig");
        QVERIFY(read);
        for (int press = 1; press <= 2; ++press) {
            User user;
            QTest::mouseClick(read, Qt::LeftButton);
            QCOMPARE(user.asked, 1);
            QCOMPARE(m_fixture.reports().size(), press);
        }
    }

private:
    void run(const QString& action)
    {
        if (action == "read") {
            m_window->cmdReadConfig_Click();
        } else if (action == "write") {
            m_window->cmdWriteConfig_Click();
        } else if (action == "init") {
            m_window->cmdConfigInit_Click();
        } else if (action == "open") {
            // The values shown, saved and opened again.
            const QString file = m_fixture.dir.filePath("again.k7310");
            QVERIFY(m_window->saveFile(file));
            QVERIFY(m_window->openFile(file));
        } else {
            m_window->cmdCompare_Click();
        }
    }

    // The simulator with options (and a state file), the console's line at `settings` on it,
    // and a fresh window showing the factory values.
    bool start(QStringList options, const QString& settings, const QString& state = {})
    {
        if (!state.isEmpty()) {
            const QString file = m_fixture.dir.filePath("panel.state");
            QFile out(file);
            if (!out.open(QIODevice::WriteOnly | QIODevice::Truncate) ||
                out.write(state.toUtf8()) < 0)
                return false;
            options << "--state" << file;
        }
        m_sim = std::make_unique<SimProcess>();
        if (!m_sim->start(options))
            return false;
        m_port = std::make_unique<ComCtrl>();
        m_port->setPortName(m_sim->path());
        m_port->setSettings(settings);
        m_port->open();
        m_window = std::make_unique<wPanelConfig>(*m_port);
        return true;
    }

    ShellFixture m_fixture;
    std::unique_ptr<SimProcess> m_sim;
    std::unique_ptr<ComCtrl> m_port;
    std::unique_ptr<wPanelConfig> m_window;
};

QTEST_MAIN(TestPanelConfig)
#include "tst_wpanelconfig.moc"