// The built simulator over a pty, against third-party masters (mbpoll, pymodbus), the
// console's own transactions and a raw master of the test's own that sees every byte; one
// panel, and a line of several sharing the pty as panels share a bus. The settings the panel does
// not listen at, the probe and the trace of both are tested by the slave search in tst_detectk9120;
// the answers themselves, word by word, in tst_simslave; the image, the acknowledgement and the
// line changes through the console's windows (tst_wpaneltools, tst_wpanelconfig).
#include "commfunctions.h"
#include "detectk9120.h"
#include "ptypeer.h"

#include <QStandardPaths>

#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

namespace {

QByteArray hex(const QByteArray& b)
{
    return b.toHex(' ').toUpper();
}

// A third-party master run to its end: its exit code (-1: crashed or hung) and all it wrote.
std::pair<int, QString> runMaster(const QString& program, const QStringList& args)
{
    QProcess p;
    p.start(program, args);
    const bool ended = p.waitForFinished(20000) && p.exitStatus() == QProcess::NormalExit;
    return {ended ? p.exitCode() : -1, p.readAllStandardOutput() + p.readAllStandardError()};
}

// A master that sees raw bytes (at 9600/1 unless set otherwise): for faults and noise.
class RawLine
{
public:
    explicit RawLine(const QString& path)
        : fd(::open(path.toLocal8Bit().constData(), O_RDWR | O_NOCTTY | O_NONBLOCK))
    {
        configure(9600, 1);
    }
    void configure(int baud, int stopBits)
    {
        termios tio{};
        tcgetattr(fd, &tio);
        cfmakeraw(&tio);
        tio.c_cflag = (tio.c_cflag & ~static_cast<tcflag_t>(CSTOPB)) | CLOCAL | CREAD |
                      (stopBits == 2 ? CSTOPB : 0);
        cfsetspeed(&tio, baud == 19200 ? B19200 : baud == 4800 ? B4800 : B9600);
        tcsetattr(fd, TCSANOW, &tio);
    }
    ~RawLine() { ::close(fd); }
    // The bytes until `expected` are in and the line stays quiet for 40 ms, or the time-out.
    QByteArray exchange(const QByteArray& request, int expected, int timeoutMs = 500)
    {
        if (::write(fd, request.constData(), size_t(request.size())) != request.size())
            return "not sent";
        return PtyPair::ReadFrom(fd, expected, timeoutMs, 40);
    }
    const int fd;
};

// The simulator's options for a line of these panels, one --panel each.
QStringList onALine(const QStringList& setups)
{
    QStringList options;
    for (const QString& setup : setups)
        options << "--panel" << setup;
    return options;
}

// Word 128 read, and the answer at factory settings (speed code FE).
const QByteArray readSpeedWord = Frame("010300800001");
const QByteArray speedAnswer = hex(Frame("01030200FE"));

} // namespace

class TestSimLine : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { QVERIFY(QFile::exists(K7310_BIN_DIR "/k7310sim")); }
    void init() { sim = std::make_unique<SimProcess>(); }
    void cleanup() { sim.reset(); }

    void mbpoll()
    {
        if (QStandardPaths::findExecutable("mbpoll").isEmpty())
            QSKIP("mbpoll is not installed");
        QVERIFY(sim->start());
        const auto [code, out] =
            runMaster("mbpoll", ("-m rtu -a 1 -b 9600 -P none -s 1 -0 -1 -o 0.5 -t 4 -r 128 -c 4 " +
                                 sim->path())
                                    .split(' '));
        QCOMPARE(code, 0);
        QVERIFY2(out.contains("[128]: \t254"), qPrintable(out));
    }

    void pymodbusClient()
    {
        const QString script = QStringLiteral(R"(
import sys
from pymodbus.client import ModbusSerialClient
from pymodbus.transaction import ModbusRtuFramer
c = ModbusSerialClient(port=sys.argv[1], framer=ModbusRtuFramer, baudrate=9600,
                       bytesize=8, parity='N', stopbits=1, timeout=1, retries=0)
assert c.connect()
print('config', c.read_holding_registers(128, 4, slave=1).registers)
print('write', c.write_register(67, 0, slave=1).isError())
print('block', c.write_registers(25, [0x7FFF, 0, 0, 0, 0x1000], slave=1).isError())
print('leds', c.read_holding_registers(1, 6, slave=1).registers)
print('horn', c.read_holding_registers(64, 5, slave=1).registers)
r = c.read_holding_registers(69, 1, slave=1)
print('missing', r.isError(), getattr(r, 'exception_code', None))
c.close()
)");
        if (runMaster("/usr/bin/python3", {"-c", "import pymodbus.client, serial_asyncio"}).first)
            QSKIP("pymodbus with its serial modules is not installed for /usr/bin/python3");
        QVERIFY(sim->start({"--version", "2.6"}));
        const auto [code, out] = runMaster("/usr/bin/python3", {"-c", script, sim->path()});
        QVERIFY2(code == 0, qPrintable(out));
        QCOMPARE(
            out.split('\n', Qt::SkipEmptyParts),
            (QStringList{"config [254, 1, 1, 0]", "write False", "block False",
                         "leds [7, 7, 7, 7, 7, 0]", "horn [1, 0, 0, 0, 0]", "missing True 2"}));
    }

    // A fault spoils the next answer only (fault-next); garbage before a request is dropped
    // whole, and the panel listens afresh after the silent gap. The console's handling of other
    // spoilt answers is tested against a scripted slave in tst_line.
    void faultsAndGarbage_data()
    {
        // seen by the master: size, CRC, slave and function
        columns<QByteArray, QByteArray, QString>("fault", "garbage", "seen");
        row("bad CRC", QByteArray("bad-crc"), QByteArray(), "7 bytes, CRC bad, 01 03");
        row("exception with its code", QByteArray("exception:2"), QByteArray(),
            "5 bytes, CRC good, 01 83");
        row("noise burst", QByteArray(),
            Hex("FF00A55A0103DEADBEEF1234567890ABCDEF01100019FFFF7F0003417F0102030405060708090A"),
            "0 bytes, CRC bad, ");
        row("request with a bad CRC", QByteArray(), Hex("010300800001FFFF"), "0 bytes, CRC bad, ");
    }
    void faultsAndGarbage()
    {
        const auto [fault, garbage, seen] =
            fetch<QByteArray, QByteArray, QString>("fault", "garbage", "seen");
        QVERIFY(sim->start());
        QVERIFY(fault.isEmpty() || sim->reply("fault-next " + fault).startsWith("fault off next "));
        RawLine line(sim->path());
        const int size = seen.section(' ', 0, 0).toInt();
        const QByteArray answer = line.exchange(garbage.isEmpty() ? readSpeedWord : garbage,
                                                qMax(size, 1), size == 0 ? 400 : 1500);
        QCOMPARE(
            QString("%1 bytes, CRC %2, %3")
                .arg(answer.size())
                .arg(answer.size() > 2 && WithCrc(answer.chopped(2)) == answer ? "good" : "bad")
                .arg(hex(answer.left(2))),
            seen);
        // 3.5 characters at 9600 baud are 4 ms: after that the panel listens afresh.
        QTest::qWait(20);
        QCOMPARE(hex(line.exchange(readSpeedWord, 7)), speedAnswer);
        QCOMPARE(sim->traced("DROPPED").size(), garbage.isEmpty() ? 0 : 1);
    }

    // A line of panels driven step by step by a raw master:
    //   "<baud>/<stop> <request hex>: <answer hex>"  the request gets its CRC; the answer must
    //        come with a good CRC and is compared without it; "-" for silence
    //   "> <command>: <reply>"  a command on the simulator's console and the line it answers
    void lineOfPanels_data()
    {
        columns<QStringList, QStringList>("panels", "steps");
        using L = QStringList;
        row("two panels at one setting answer their own number only", L{"slave=1", "slave=2"},
            L{"9600/1 010300820001: 0103020001", "9600/1 020300820001: 0203020002",
              "9600/1 030300820001: -"});
        row("two panels at two settings answer each at its own only",
            L{"slave=1", "slave=2,speed=19200,stop=2"},
            L{"9600/1 010300820001: 0103020001", "9600/1 020300820001: -",
              "19200/2 020300820001: 0203020002", "19200/2 010300820001: -",
              "19200/1 020300820001: -"});
        row("a broadcast is carried out by every panel that hears it",
            L{"slave=1", "slave=2", "slave=3,speed=19200"},
            L{"9600/1 000600430000: -", "9600/1 010300430001: 0103020000",
              "9600/1 020300430001: 0203020000", "19200/1 030300430001: 0303020001"});
        row("a speed write moves that panel alone", L{"slave=1", "slave=2"},
            L{"9600/1 0206008000FF: 0206008000FF", "9600/1 020300800001: -",
              "19200/1 020300800001: 02030200FF", "9600/1 010300800001: 01030200FE"});
        row("an unplugged panel is silent and comes back powered up afresh",
            L{"slave=1", "slave=2"},
            L{"9600/1 020600400001: 020600400001", "> unplug 2: panel 2 slave 2: unplugged",
              "9600/1 020300400001: -", "9600/1 010300400001: 0103020000",
              "> plug 2: panel 2 slave 2: plugged", "9600/1 020300400001: 0203020000"});
        row("unplugging one of two panels with one number ends their collision",
            L{"slave=3", "slave=3"},
            L{"> unplug #1: panel 1 slave 3: unplugged", "9600/1 030300820001: 0303020003"});
        row("the technician acknowledges one panel", L{"slave=1", "slave=2"},
            L{"> ack 2: panel 2 slave 2: ack 1", "9600/1 020300440001: 0203020001",
              "9600/1 010300440001: 0103020000",
              "> ack 9: ? no panel '9' (a slave number, or "
              "#POSITION)"});
        row("faults and firmware are each panel's own",
            L{"slave=1,fault=none", "slave=2,version=2.6"},
            L{"9600/1 010300800001: -", "9600/1 020300450001: 028302",
              "> fault-next bad-crc 2: panel 2 slave 2: fault off next bad-crc",
              "9600/1 020300800001: BAD 02 03 02 00 FE 7D 3B", "9600/1 020300800001: 02030200FE"});
    }
    void lineOfPanels()
    {
        const auto [panels, steps] = fetch<QStringList, QStringList>("panels", "steps");
        QVERIFY(sim->start(onALine(panels)));
        RawLine line(sim->path());
        for (const QString& step : steps) {
            const qsizetype colon = step.indexOf(": ");
            const QString what = step.left(colon);
            const QString expected = step.mid(colon + 2);
            if (what.startsWith("> ")) {
                QCOMPARE(sim->reply(what.mid(2).toUtf8()), expected);
                continue;
            }
            const QString settings = what.section(' ', 0, 0);
            line.configure(settings.section('/', 0, 0).toInt(), settings.section('/', 1).toInt());
            const QByteArray want = expected.startsWith("BAD")
                                        ? expected.toLatin1()
                                        : hex(QByteArray::fromHex(expected.toLatin1()));
            const QByteArray answer = line.exchange(
                WithCrc(QByteArray::fromHex(what.section(' ', 1).toLatin1())),
                expected == "-" ? 1 : int(want.size() + 1) / 3 + 2, expected == "-" ? 300 : 1000);
            const bool crcGood = answer.size() > 2 && WithCrc(answer.chopped(2)) == answer;
            QCOMPARE(answer.isEmpty() ? QByteArray("-")
                     : crcGood        ? hex(answer.chopped(2))
                                      : "BAD " + hex(answer),
                     expected == "-" ? QByteArray("-") : want);
        }
    }

    // Answers that overlap on the wire: the console's own transactions refuse what arrives,
    // the trace shows every panel's answer and the collision, and the same seed gives the
    // same bytes.
    void collisions_data()
    {
        columns<QStringList, int>("panels", "slave"); // slave 0: the probe
        row("a slave number used twice", QStringList{"slave=5", "slave=5"}, 5);
        row("a number used twice, turnarounds 0 and 1 ms",
            QStringList{"slave=5", "slave=5,turnaround=1"}, 5);
        row("the probe to three panels", QStringList{"slave=1", "slave=2", "slave=3"}, 0);
    }
    void collisions()
    {
        const auto [panels, slave] = fetch<QStringList, int>("panels", "slave");
        QVERIFY(sim->start(onALine(panels)));
        {
            ComCtrl line;
            line.setPortName(sim->path());
            line.open();
            QVERIFY(line.isOpen());
            if (slave != 0) {
                QList<std::int16_t> word{-1};
                QVERIFY(!CommFunctions::LitMots(line, std::uint8_t(slave), 130, word));
                QCOMPARE(word.front(), std::int16_t(-1));
            } else {
                QCOMPARE(int(CommFunctions::DetectK9120(line, 0, false, nullptr)),
                         int(CommFunctions::NothingFound));
            }
        }
        // The trace follows once the last byte of the collision is out.
        QTRY_COMPARE(sim->traced("COLLISION").size(), 1);
        const QStringList collision = sim->traced("COLLISION");
        const QStringList sent = sim->traced("TX");
        QCOMPARE(sent.size(), panels.size());
        for (const QString& answer : sent)
            QVERIFY2(answer.contains("collided, starts at +"), qPrintable(answer));

        SimProcess again;
        QVERIFY(again.start(onALine(panels)));
        RawLine line(again.path());
        line.exchange(slave == 0 ? Hex("417F70")
                                 : CommFunctions::ReadWordsRequest(std::uint8_t(slave), 130, 1),
                      64, 300);
        QTRY_COMPARE(again.traced("COLLISION"), collision);
    }

    // Third-party masters read two panels at two settings on one line; a collision is a CRC
    // error or a time-out to mbpoll, never a valid answer.
    void mbpollOnALine()
    {
        if (QStandardPaths::findExecutable("mbpoll").isEmpty())
            QSKIP("mbpoll is not installed");
        QVERIFY(
            sim->start(onALine({"slave=1", "slave=7,speed=19200,stop=2", "slave=3", "slave=3"})));
        const auto read = [&](const QString& slave, const QString& baud, const QString& stop) {
            return runMaster("mbpoll", QString("-m rtu -a %1 -b %2 -P none -s %3 -0 -1 -o 0.5 -t 4 "
                                               "-r 130 -c 1 %4")
                                           .arg(slave, baud, stop, sim->path())
                                           .split(' '));
        };
        for (const auto& [slave, baud, stop] :
             {std::tuple{"1", "9600", "1"}, std::tuple{"7", "19200", "2"}}) {
            const auto [code, out] = read(slave, baud, stop);
            QCOMPARE(code, 0);
            QVERIFY2(out.contains(QString("[130]: \t") + slave), qPrintable(out));
        }
        const auto [code, out] = read("3", "9600", "1");
        QVERIFY(code != 0);
        QVERIFY2(!out.contains("[130]:") && (out.contains("CRC") || out.contains("timed out")),
                 qPrintable(out));
    }

    void pymodbusOnALine()
    {
        const QString script = QStringLiteral(R"(
import sys
from pymodbus.client import ModbusSerialClient
from pymodbus.transaction import ModbusRtuFramer
for slave, baud, stop in ((1, 9600, 1), (7, 19200, 2)):
    c = ModbusSerialClient(port=sys.argv[1], framer=ModbusRtuFramer, baudrate=baud,
                           bytesize=8, parity='N', stopbits=stop, timeout=1, retries=0)
    assert c.connect()
    print(slave, c.read_holding_registers(128, 4, slave=slave).registers)
    c.close()
)");
        if (runMaster("/usr/bin/python3", {"-c", "import pymodbus.client, serial_asyncio"}).first)
            QSKIP("pymodbus with its serial modules is not installed for /usr/bin/python3");
        QVERIFY(sim->start(onALine({"slave=1", "slave=7,speed=19200,stop=2"})));
        const auto [code, out] = runMaster("/usr/bin/python3", {"-c", script, sim->path()});
        QVERIFY2(code == 0, qPrintable(out));
        QCOMPARE(out.split('\n', Qt::SkipEmptyParts),
                 (QStringList{"1 [254, 1, 1, 0]", "7 [255, 2, 7, 0]"}));
    }

private:
    std::unique_ptr<SimProcess> sim; // a fresh one for each test function and row
};

QTEST_GUILESS_MAIN(TestSimLine)
#include "tst_simline.moc"
