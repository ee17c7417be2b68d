// k7310ctl as scripts use it: a process on the simulated line, its output in text and JSON,
// its exit codes, and no need of a display.
#include "ptypeer.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>

#include <unistd.h>

namespace {

struct Ran
{
    int exit = -1;
    QString out;
    QString err;
};

// The simulated panel's moved configuration: 19200 baud, 2 stop bits, slave 7, bus mode 2,
// synchronised blinking, no acknowledgement, both K/L options on.
const char* const movedFile = "[K7310]\nDevice=K7310\nFormat=1\n[Words]\n128=255\n129=2\n130=7\n"
                              "131=2\n65=1\n67=0\n70=1\n69=1\n";

// A value of the JSON document by its path, "parameters.2.value"; an absent one is "missing".
QString at(QJsonValue value, const QString& path)
{
    for (const QString& key : path.split(QLatin1Char('.'))) {
        bool index = false;
        const int n = key.toInt(&index);
        value = index ? value.toArray().at(n) : value.toObject().value(key);
        if (value.isUndefined())
            return QStringLiteral("missing");
    }
    return value.isNull() ? QStringLiteral("null") : value.toVariant().toString();
}

} // namespace

class TestK7310ctl : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void outputs_data();
    void outputs();
    void exitCodes_data();
    void exitCodes();
    void monitorShowsEveryExchange();
    void permissionNamesTheGroup();
    void noDisplayMakesNoDifference();
    void interruptedWriteTellsTheWordsTaken();

private:
    QStringList expand(QStringList args) const;
    Ran run(const QStringList& args,
            const QProcessEnvironment& env = QProcessEnvironment::systemEnvironment()) const;
    bool startSim(const QStringList& options);

    SimProcess* m_sim = nullptr;
    QTemporaryDir m_dir;
};

void TestK7310ctl::init()
{
    QFile moved(m_dir.filePath(QStringLiteral("moved.k7310")));
    QVERIFY(moved.open(QIODevice::WriteOnly));
    moved.write(movedFile);
    QFile notConfig(m_dir.filePath(QStringLiteral("notes.k7310")));
    QVERIFY(notConfig.open(QIODevice::WriteOnly));
    notConfig.write("[Notes]\nText=hello\n");
    QFile::remove(m_dir.filePath(QStringLiteral("new.k7310")));
}

void TestK7310ctl::cleanup()
{
    delete m_sim;
    m_sim = nullptr;
}

bool TestK7310ctl::startSim(const QStringList& options)
{
    m_sim = new SimProcess;
    return m_sim->start(options);
}

QStringList TestK7310ctl::expand(QStringList args) const
{
    for (QString& arg : args) {
        arg.replace(QStringLiteral("%PORT"), m_sim ? m_sim->path() : QString());
        arg.replace(QStringLiteral("%DIR"), m_dir.path());
    }
    return args;
}

Ran TestK7310ctl::run(const QStringList& args, const QProcessEnvironment& env) const
{
    QProcess process;
    process.setProcessEnvironment(env);
    process.start(QStringLiteral(K7310_BIN_DIR "/k7310ctl"), expand(args));
    Ran ran;
    if (!process.waitForFinished(60000)) {
        process.kill();
        process.waitForFinished();
        return ran;
    }
    ran.exit = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    ran.out = QString::fromUtf8(process.readAllStandardOutput());
    ran.err = QString::fromUtf8(process.readAllStandardError());
    return ran;
}

void TestK7310ctl::outputs_data()
{
    // simulator options, a run before (none when empty), the run, its exit code, what its
    // output holds (JSON: path=value), what the simulator then says to a command.
    columns<QStringList, QStringList, QStringList, int, QStringList, QByteArray, QString>(
        "sim", "before", "args", "exit", "expected", "ask", "says");
    const QStringList port{"--port", "%PORT"};
    const QStringList none;
    row("read, text", none, none, port + QStringList{"read"}, 0,
        QStringList{"Configuration read from slave 1 at 9600,n,8,1 (firmware 2.8).", "Slave number",
                    "Independent blinking"},
        QByteArray(), QString());
    row("read, JSON", none, none, port + QStringList{"read", "--json"}, 0,
        QStringList{"firmware=2.8", "exit=0", "ok=true", "error=null", "parameters.0.word=254",
                    "parameters.0.text=9600", "parameters.2.name=slave", "parameters.2.value=1"},
        QByteArray(), QString());
    row("read with the RTS handshake: a pty has no RTS, which is no fault", none, none,
        port + QStringList{"--rts", "--rts-delay", "2", "read", "--json"}, 0,
        QStringList{"firmware=2.8"}, QByteArray(), QString());
    row("read in French", none, none, port + QStringList{"read", "--language", "fr"}, 0,
        QStringList{"Configuration lue sur l'esclave 1", "Vitesse de communication"}, QByteArray(),
        QString());
    row("read of firmware 2.6: the optional words are lacking, not missing",
        QStringList{"--version", "2.6"}, none, port + QStringList{"read", "--json"}, 0,
        QStringList{"firmware=2.6", "parameters.6.value=null", "parameters.6.read=true"},
        QByteArray(), QString());
    row("slave 0 searches the speeds and stop bits",
        QStringList{"--speed", "19200", "--stop", "2", "--slave", "5"}, none,
        port + QStringList{"--slave", "0", "read", "--json"}, 0,
        QStringList{"slave=5", "line=19200,n,8,2", "parameters.2.value=5"}, QByteArray(),
        QString());
    row("write, text: the line follows the panel", none, none,
        port + QStringList{"write", "%DIR/moved.k7310"}, 0,
        QStringList{"Written to slave 7 at 19200,n,8,2 and confirmed (firmware 2.8).",
                    "The line is now at 19200,n,8,2, slave 7."},
        QByteArray("status"), QString("line 19200/2 slave 7 bus-mode 2 words 65=1 67=0 69=1 70=1"));
    row("write, JSON", none, none, port + QStringList{"write", "%DIR/moved.k7310", "--json"}, 0,
        QStringList{"slave=7", "line=19200,n,8,2", "written.0=128", "written.7=69",
                    "interrupted=false", "stoppedAt=null"},
        QByteArray("status"), QString("slave 7"));
    row("write to firmware 2.7: word 70 is not in it", QStringList{"--version", "2.7"}, none,
        port + QStringList{"write", "%DIR/moved.k7310", "--json"}, 0,
        QStringList{"firmware=2.7", "parameters.6.written=false", "parameters.7.written=true",
                    "notInFirmware.0=70", "notInFirmware.1=missing"},
        QByteArray("status"), QString("69=1 70=0"));
    row("compare, same: exit 0", none, QStringList{"init", "%DIR/new.k7310"},
        port + QStringList{"compare", "%DIR/new.k7310", "--json"}, 0,
        QStringList{"differences=0", "parameters.0.differs=false"}, QByteArray(), QString());
    row("compare, differing: exit 1", none, none, port + QStringList{"compare", "%DIR/moved.k7310"},
        1, QStringList{"Compared with slave 1: values differing: 8.", "differs"}, QByteArray(),
        QString());
    row("init, text", none, none, QStringList{"init", "%DIR/new.k7310"}, 0,
        QStringList{"Factory values saved to", "Line speed"}, QByteArray(), QString());
    row("init, JSON", none, none, QStringList{"init", "%DIR/new.k7310", "--json"}, 0,
        QStringList{"parameters.0.word=254", "parameters.2.value=1",
                    "file=" + m_dir.path() + "/new.k7310"},
        QByteArray(), QString());
    row("led, text", none, none, port + QStringList{"led", "5", "2"}, 0,
        QStringList{"LED 5 sent to slave 1 (state 2)", "01 06 00 06 00 02"}, QByteArray("show"),
        QString("LEDs .....2.. ........ ........  horn off"));
    row("led 23, JSON", none, none, port + QStringList{"led", "23", "7", "--json"}, 0,
        QStringList{"exchanges.0.request=01 06 00 18 00 07 48 0F", "exchanges.0.outcome=complete"},
        QByteArray("show"), QString("LEDs ........ ........ .......7"));
    row("horn on, text", none, none, port + QStringList{"horn", "on"}, 0,
        QStringList{"Horn sent to slave 1 (state 1)"}, QByteArray("show"), QString("horn ON"));
    row("horn off, JSON", none, QStringList{"--port", "%PORT", "horn", "on"},
        port + QStringList{"horn", "off", "--json"}, 0, QStringList{"exchanges.0.outcome=complete"},
        QByteArray("show"), QString("horn off"));
    row("off, text", none, QStringList{"--port", "%PORT", "led", "3", "1"},
        port + QStringList{"off"}, 0, QStringList{"Panel switched off (slave 1)"},
        QByteArray("show"), QString("LEDs ........ ........ ........  horn off"));
    row("off, JSON: two requests", none, none, port + QStringList{"off", "--json"}, 0,
        QStringList{"exchanges.0.outcome=complete", "exchanges.1.outcome=complete"}, QByteArray(),
        QString());
    row("lamp test", QStringList{"--lamp-test", "30"}, none, port + QStringList{"lamp-test"}, 0,
        QStringList{"Lamp test sent to slave 1"}, QByteArray("show"), QString("lamp-test"));
    row("image, text", none, QStringList{"--port", "%PORT", "led", "3", "4"},
        port + QStringList{"image"}, 0,
        QStringList{"Panel image read from slave 1", "Fast blink (alarm)"}, QByteArray(),
        QString());
    row("image, JSON", none, QStringList{"--port", "%PORT", "led", "3", "4"},
        port + QStringList{"image", "--json"}, 0, QStringList{"leds.3=4", "leds.4=0", "horn=0"},
        QByteArray(), QString());
    row("alarm acknowledged on the panel, text", QStringList{"--auto-ack", "0.3"}, none,
        port + QStringList{"alarm", "--wait", "10"}, 0,
        QStringList{"Alarm acknowledged on slave 1"}, QByteArray("show"),
        QString("LEDs .1...... ...1.... ........  horn off"));
    row("alarm acknowledged, JSON", QStringList{"--auto-ack", "0.3"}, none,
        port + QStringList{"alarm", "--wait", "10", "--json"}, 0, QStringList{"acknowledged=true"},
        QByteArray(), QString());
    row("alarm not acknowledged in time: exit 3", none, none,
        port + QStringList{"alarm", "--wait", "0.5", "--json"}, 3,
        QStringList{"acknowledged=false", "error=Not acknowledged on slave 1 within 0.5 s."},
        QByteArray("show"), QString("LEDs .4...... ...4.... ........  horn ON"));
    row("send with the CRC appended, text", none, none,
        port + QStringList{"send", "--crc", "01 03 00 80", "0001"}, 0,
        QStringList{"01 03 00 80 00 01 85 E2", "Answer: 01 03 02 00 FE", "word 128"}, QByteArray(),
        QString());
    row("send, an exception: exit 1", none, none,
        port + QStringList{"send", "--json", "--crc", "010300C80001"}, 1,
        QStringList{"outcome=exception", "exceptionCode=2"}, QByteArray(), QString());
    const QStringList twoPanels{"--panel", "slave=1", "--panel", "slave=2,speed=19200,stop=2"};
    const QStringList survey{"survey", "--settings", "9600/1,19200/2"};
    row("survey, text", twoPanels, none, port + survey, 0,
        QStringList{"Survey done: 2 panels", "19200, 2, 2, Off"}, QByteArray(), QString());
    row("survey, JSON", twoPanels, none, port + survey + QStringList{"--json"}, 0,
        QStringList{"end=done", "panels.0.slave=1", "panels.0.speed=9600", "panels.1.slave=2",
                    "panels.1.stopBits=2", "panels.1.firmware=2.8",
                    "panels.1.parameters.0.word=255", "panels.2=missing", "line=9600,n,8,1"},
        QByteArray(), QString());
    row("survey of a line where two panels share a number: exit 1",
        QStringList{"--panel", "slave=3", "--panel", "slave=3,version=2.7"}, none,
        port + QStringList{"survey", "--settings", "9600/1", "--last", "4", "--json"}, 1,
        QStringList{"end=done", "panels.0.slave=3", "panels.0.clean=false"}, QByteArray(),
        QString());
    row("help of a subcommand", none, none, QStringList{"led", "--help"}, 0,
        QStringList{"led N STATE", "--port <PORT>", "--json"}, QByteArray(), QString());
    row("send to nobody: exit 3", none, none,
        port + QStringList{"send", "--json", "--crc", "--timeout", "0.3", "090300800001"}, 3,
        QStringList{"outcome=time-out", "answer="}, QByteArray(), QString());
}

void TestK7310ctl::outputs()
{
    const auto [sim, before, args, exit, expected, ask, says] =
        fetch<QStringList, QStringList, QStringList, int, QStringList, QByteArray, QString>(
            "sim", "before", "args", "exit", "expected", "ask", "says");
    QVERIFY(startSim(sim));
    if (!before.isEmpty())
        QCOMPARE(run(before).exit, 0);
    const Ran ran = run(args);
    QVERIFY2(ran.exit == exit, qPrintable(QString::number(ran.exit) + ran.err));
    if (args.contains(QStringLiteral("--json"))) {
        QJsonParseError error{};
        const QJsonDocument document = QJsonDocument::fromJson(ran.out.toUtf8(), &error);
        QVERIFY2(error.error == QJsonParseError::NoError, qPrintable(ran.out));
        QCOMPARE(at(document.object(), QStringLiteral("command")),
                 args.at(args.indexOf(QRegularExpression("^[a-z][a-z-]*$"))));
        for (const QString& check : expected)
            QCOMPARE(at(document.object(), check.section(QLatin1Char('='), 0, 0)),
                     check.section(QLatin1Char('='), 1));
    } else {
        for (const QString& part : expected)
            QVERIFY2(ran.out.contains(part), qPrintable(ran.out));
    }
    if (!ask.isEmpty())
        QVERIFY2(m_sim->reply(ask).contains(says), qPrintable(m_sim->reply(ask)));
}

void TestK7310ctl::exitCodes_data()
{
    // The run, its exit code, the one line on standard error; bad input sends nothing.
    columns<QStringList, QStringList, int, QString>("sim", "args", "exit", "message");
    const QStringList port{"--port", "%PORT"};
    const QStringList none;
    row("unknown subcommand", none, port + QStringList{"reboot"}, 2, "unknown subcommand: reboot");
    row("unknown option", none, port + QStringList{"read", "--fast"}, 2, "Unknown option 'fast'");
    row("option of another subcommand", none, port + QStringList{"read", "--wait", "3"}, 2,
        "Unknown option 'wait'");
    row("no subcommand", none, port, 2, "no subcommand given");
    row("missing port", none, QStringList{"read"}, 2, "no port given (--port)");
    row("slave above 64", none, port + QStringList{"--slave", "65", "read"}, 2,
        "slave must be a number from 0 to 64: 65");
    row("LED above 23", none, port + QStringList{"led", "24", "1"}, 2,
        "LED must be a number from 0 to 23: 24");
    row("state above 7", none, port + QStringList{"led", "2", "8"}, 2,
        "state must be a number from 0 to 7: 8");
    row("horn neither on nor off", none, port + QStringList{"horn", "loud"}, 2,
        "horn takes on or off: loud");
    row("odd-length hex", none, port + QStringList{"send", "01 03 0"}, 2,
        "odd number of hexadecimal digits: 01030");
    row("line settings that do not parse", none, port + QStringList{"--line", "9600,x", "read"}, 2,
        "line settings are not speed,parity,data,stop: 9600,x");
    row("unknown language", none, port + QStringList{"--language", "xx", "read"}, 2,
        "no such language: xx");
    row("survey settings that do not parse", none,
        port + QStringList{"survey", "--settings", "9600/3"}, 2,
        "settings are SPEED/STOPS, stop bits 1 or 2: 9600/3");
    row("survey that finds nobody", QStringList{"--speed", "4800"},
        port + QStringList{"survey", "--settings", "9600/1", "--last", "2"}, 3,
        "Survey done: 0 panels");
    row("not a configuration file", none, port + QStringList{"write", "%DIR/notes.k7310"}, 5,
        "This is not a K7310 configuration file, or it is damaged (entry “Device”).");
    row("missing file", none, port + QStringList{"compare", "%DIR/none.k7310"}, 5,
        "The file cannot be read:");
    row("init over an existing file", none, QStringList{"init", "%DIR/moved.k7310"}, 5,
        "exists already; nothing was written");
    row("no panel at that number", none, port + QStringList{"--slave", "9", "read"}, 3,
        "The panel does not answer.");
    row("nothing found by the search", QStringList{"--speed", "1200"},
        port + QStringList{"--slave", "0", "--no-auto-search", "image"}, 3,
        "No panel answered the search, so nothing was read.");
    row("answer with a wrong CRC", QStringList{"--fault", "bad-crc"}, port + QStringList{"image"},
        1, "No valid answer from slave 1 (CRC error)");
    row("answer from another slave", QStringList{"--fault", "wrong-slave"},
        port + QStringList{"led", "1", "1"}, 1, "No valid answer from slave 1 (wrong answer)");
    row("port missing", none, QStringList{"--port", "/dev/k7310-none", "read"}, 4,
        "The port does not exist: /dev/k7310-none");
    row("port that is not a serial device", none, QStringList{"--port", "%DIR/notes.k7310", "read"},
        4, "The device is not a serial port");
}

void TestK7310ctl::exitCodes()
{
    const auto [sim, args, exit, message] =
        fetch<QStringList, QStringList, int, QString>("sim", "args", "exit", "message");
    QVERIFY(startSim(sim));
    const Ran ran = run(args);
    QCOMPARE(ran.exit, exit);
    QVERIFY2(ran.err.startsWith(QStringLiteral("k7310ctl: ")) && ran.err.contains(message),
             qPrintable(ran.err));
    QCOMPARE(ran.err.count(QLatin1Char('\n')), 1);
    if (exit == 2 || exit == 5)
        QCOMPARE(m_sim->heardFrames(), QStringList());
}

void TestK7310ctl::monitorShowsEveryExchange()
{
    QVERIFY(startSim({}));
    const Ran ran = run({"--port", "%PORT", "monitor", "off"});
    QCOMPARE(ran.exit, 0);
    QVERIFY(ran.out.contains(QStringLiteral("Panel switched off (slave 1)")));
    const QStringList lines = ran.err.trimmed().split(QLatin1Char('\n'));
    QCOMPARE(lines.size(), 2);
    // Timed, with the origin, the request and answer, and what they mean.
    QVERIFY2(
        lines[0].contains(QRegularExpression("^\\d{4}-\\d\\d-\\d\\dT[\\d:.]+ .*k7310ctl .*01 06 00 "
                                             "00 00 00 89 CA .*complete  all LEDs off$")),
        qPrintable(lines[0]));
    QVERIFY2(lines[1].contains(QStringLiteral("01 06 00 40 00 00 88 1E")) &&
                 lines[1].endsWith(QStringLiteral("horn off")),
             qPrintable(lines[1]));
}

void TestK7310ctl::permissionNamesTheGroup()
{
    // Only root can hand the port to a group and run the program as a user outside it.
    if (::geteuid() != 0 || QStandardPaths::findExecutable(QStringLiteral("setpriv")).isEmpty())
        QSKIP("needs root and setpriv");
    QVERIFY(startSim({}));
    QVERIFY(QProcess::execute(QStringLiteral("chgrp"), {"dialout", m_sim->path()}) == 0);
    QVERIFY(QFile::setPermissions(m_sim->path(), QFile::ReadOwner | QFile::WriteOwner |
                                                     QFile::ReadGroup | QFile::WriteGroup));
    QProcess process;
    process.start(QStringLiteral("setpriv"),
                  {"--reuid=65534", "--regid=65534", "--clear-groups",
                   QStringLiteral(K7310_BIN_DIR "/k7310ctl"), "--port", m_sim->path(), "read"});
    QVERIFY(process.waitForFinished(20000));
    QCOMPARE(process.exitCode(), 4);
    QVERIFY(QString::fromUtf8(process.readAllStandardError())
                .contains(QStringLiteral("members of the group 'dialout' may use it")));
}

void TestK7310ctl::noDisplayMakesNoDifference()
{
    QVERIFY(startSim({}));
    QProcessEnvironment bare = QProcessEnvironment::systemEnvironment();
    for (const char* name : {"QT_QPA_PLATFORM", "DISPLAY", "WAYLAND_DISPLAY"})
        bare.remove(QLatin1String(name));
    // A display that does not exist: a program that needed one would fail on it.
    QProcessEnvironment broken = bare;
    broken.insert(QStringLiteral("DISPLAY"), QStringLiteral(":4242"));
    broken.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("xcb"));
    const QStringList args{"--port", "%PORT", "read"};
    const Ran withoutDisplay = run(args, bare);
    const Ran withBrokenDisplay = run(args, broken);
    QCOMPARE(withoutDisplay.exit, 0);
    QCOMPARE(withBrokenDisplay.exit, 0);
    QCOMPARE(withoutDisplay.out, withBrokenDisplay.out);
    QVERIFY(withoutDisplay.out.contains(QStringLiteral("firmware 2.8")));
    QCOMPARE(withoutDisplay.err, QString());
}

void TestK7310ctl::interruptedWriteTellsTheWordsTaken()
{
    // Slow answers, so that Ctrl-C comes in the middle of the eight words.
    QVERIFY(startSim({"--turnaround", "300"}));
    QProcess process;
    process.start(QStringLiteral(K7310_BIN_DIR "/k7310ctl"),
                  expand({"--port", "%PORT", "--json", "write", "%DIR/moved.k7310"}));
    QVERIFY(process.waitForStarted());
    QTRY_VERIFY_WITH_TIMEOUT(m_sim->heardFrames().size() >= 2, 10000);
    ::kill(static_cast<pid_t>(process.processId()), SIGINT);
    QVERIFY(process.waitForFinished(10000));
    QCOMPARE(process.exitStatus(), QProcess::NormalExit);
    QCOMPARE(process.exitCode(), 130);
    const QJsonObject document = QJsonDocument::fromJson(process.readAllStandardOutput()).object();
    QCOMPARE(at(document, QStringLiteral("interrupted")), QStringLiteral("true"));
    const QJsonArray written = document.value(QStringLiteral("written")).toArray();
    QVERIFY(!written.isEmpty() && written.size() < 8);
    // Every word reported as taken was heard by the panel, and no word after the stop.
    const int heard = static_cast<int>(m_sim->heardFrames().size());
    QVERIFY2(heard == written.size() || heard == written.size() + 1,
             qPrintable(m_sim->heardFrames().join('\n')));
    QVERIFY(QString::fromUtf8(process.readAllStandardError())
                .contains(QStringLiteral("Interrupted before word %1")
                              .arg(document.value(QStringLiteral("stoppedAt")).toInt())));
}

QTEST_GUILESS_MAIN(TestK7310ctl)
#include "tst_k7310ctl.moc"
