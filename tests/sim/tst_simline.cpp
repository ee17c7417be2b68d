// The built simulator over a pty, against third-party masters (libmodbus, mbpoll, pymodbus)
// and a raw master of the test's own that sees every byte and its timing. The settings the
// panel does not listen at, the probe and the trace of both are tested by the slave search in
// tst_detectk9120; the answers themselves, word by word, in tst_simslave.
#include "modbuspeer.h"
#include "ptypeer.h"

#include <QStandardPaths>

#include <modbus.h>

#include <cerrno>
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

// A master at 9600/1 that sees raw bytes: for faults, noise and timing.
class RawLine
{
public:
    explicit RawLine(const QString& path)
        : fd(::open(path.toLocal8Bit().constData(), O_RDWR | O_NOCTTY | O_NONBLOCK))
    {
        termios tio{};
        tcgetattr(fd, &tio);
        cfmakeraw(&tio);
        tio.c_cflag = (tio.c_cflag & ~static_cast<tcflag_t>(CSTOPB)) | CLOCAL | CREAD;
        cfsetspeed(&tio, B9600);
        tcsetattr(fd, TCSANOW, &tio);
    }
    ~RawLine() { ::close(fd); }
    bool send(const QByteArray& bytes) const
    {
        return ::write(fd, bytes.constData(), size_t(bytes.size())) == bytes.size();
    }
    // Until `expected` bytes are in and the line stays quiet for `quietMs`, or the time-out.
    QByteArray receive(int expected, int timeoutMs = 500, int quietMs = 40)
    {
        return PtyPair::ReadFrom(fd, expected, timeoutMs, quietMs, &lastByteAt);
    }
    QByteArray exchange(const QByteArray& request, int expected, int timeoutMs = 500)
    {
        return send(request) ? receive(expected, timeoutMs) : "not sent";
    }
    const int fd;
    qint64 lastByteAt = 0; // ns from the start of the last receive
};

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

    void mbpoll_data()
    {
        // args after the common options; %1: the path
        columns<QString, QString, int, QString>("version", "args", "exitCode", "output");
        row("read the line words", "2.8", "-r 128 -c 4 %1", 0, "[128]: \t254");
        row("2.6 refuses 69", "2.6", "-r 69 -c 1 %1", 1, "Illegal data address");
        row("single write", "2.8", "-r 65 %1 1", 0, "Written 1 references");
        row("multiple write", "2.8", "-r 25 %1 1 2 3", 0, "Written 3 references");
    }
    void mbpoll()
    {
        const auto [version, args, exitCode, output] =
            fetch<QString, QString, int, QString>("version", "args", "exitCode", "output");
        if (QStandardPaths::findExecutable("mbpoll").isEmpty())
            QSKIP("mbpoll is not installed");
        QVERIFY(sim->start({"--version", version}));
        const auto [code, out] =
            runMaster("mbpoll", ("-m rtu -a 1 -b 9600 -P none -s 1 -0 -1 -o 0.5 -t 4 " +
                                 args.arg(sim->path()))
                                    .split(' '));
        QCOMPARE(code, exitCode);
        QVERIFY2(out.contains(output), qPrintable(out));
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

    void lineChangeAfterAnswer_data()
    {
        columns<int, int, int, int, int>("word", "value", "baud", "stopBits", "slave");
        row("speed to 19200", 128, 0xFF, 19200, 1, 1);
        row("two stop bits", 129, 2, 9600, 2, 1);
        row("slave 23", 130, 23, 9600, 1, 23);
    }
    void lineChangeAfterAnswer()
    {
        const auto [word, value, baud, stopBits, slave] =
            fetch<int, int, int, int, int>("word", "value", "baud", "stopBits", "slave");
        QVERIFY(sim->start());
        {
            ModbusMaster m(sim->path());
            QVERIFY2(m.write(word, {value}), modbus_strerror(m.error)); // answered at 9600/1
            QVERIFY(m.read(128, 1).isEmpty());                          // then deaf there
            QCOMPARE(m.error, ETIMEDOUT);
        }
        QCOMPARE(ModbusMaster(sim->path(), baud, stopBits, slave).read(word, 1), QList{value});
        // The answer went out at 9600/1 and only then did the line change.
        const QStringList trace = sim->traced();
        const qsizetype change = trace.indexOf(
            QString("NOTE line now %1/%2 slave %3").arg(baud).arg(stopBits).arg(slave));
        QVERIFY2(change > 0 && trace[change - 1].startsWith("TX 9600/1 01 06"),
                 qPrintable(trace.join('\n')));
    }

    void packedImageRoundTrip()
    {
        QVERIFY(sim->start());
        ModbusMaster m(sim->path());
        // LEDs 0..23 in states n % 8, horn on.
        QList<int> image(5, 0), states;
        for (int n = 0; n < 24; ++n) {
            image[n / 5] |= (n % 8) << (3 * (n % 5));
            states << n % 8;
        }
        image[4] |= 1 << 12;
        QVERIFY(m.write(25, image));
        QCOMPARE(m.read(1, 24), states);
        QCOMPARE(m.read(64, 1), QList<int>{1});
        QCOMPARE(m.read(25, 5), image);
        QCOMPARE(sim->reply("show"), QString("LEDs .1234567 .1234567 .1234567  horn ON  ack 0"));
        // One LED written alone shows in the image: LED 23 state 5 is 5 << 9 in word 29.
        QVERIFY(m.write(24, {5}));
        QCOMPARE(m.read(29, 1), QList<int>{(5 << 9) | (6 << 6) | (5 << 3) | 4 | (1 << 12)});
        QVERIFY(m.write(0, {0})); // all off, the horn stays
        QCOMPARE(m.read(25, 5), (QList<int>{0, 0, 0, 0, 1 << 12}));
    }

    // By command on standard input, and automatically after --auto-ack when the horn sounds;
    // word 68 goes back to 0 when the master writes a new picture.
    void acknowledgement()
    {
        QVERIFY(sim->start({"--auto-ack", "0.3"}));
        ModbusMaster m(sim->path());
        QVERIFY(m.write(64, {1}));
        QCOMPARE(m.read(68, 1), QList<int>{0});
        QCOMPARE(sim->reply("ack"), QString("ack 1"));
        QCOMPARE(m.read(68, 1), QList<int>{1});
        QVERIFY(m.write(25, {0, 4, 0, 0, 0})); // LED 6 blinking, horn off: nothing to acknowledge
        QCOMPARE(m.read(68, 1), QList<int>{0});
        QTest::qWait(400);
        QCOMPARE(m.read(68, 1), QList<int>{0});
        QVERIFY(m.write(25, {0, 4, 0, 0, 1 << 12})); // an alarm: the horn sounds too
        QElapsedTimer t;
        t.start();
        QCOMPARE(m.read(68, 1), QList<int>{0});
        QTRY_COMPARE_WITH_TIMEOUT(m.read(68, 1), QList<int>{1}, 2000);
        QVERIFY(t.elapsed() >= 280);
    }

    // Each fault spoils one answer only (fault-next); garbage before a request is dropped
    // whole, and the panel listens afresh after the silent gap.
    void faultsAndGarbage_data()
    {
        // seen by the master: size, CRC, slave and function
        columns<QString, QByteArray, QString>("fault", "garbage", "seen");
        const QByteArray none;
        row("no answer", "none", none, "0 bytes, CRC bad, ");
        row("bad CRC", "bad-crc", none, "7 bytes, CRC bad, 01 03");
        row("one byte more", "extra-byte", none, "8 bytes, CRC bad, 01 03");
        row("one byte less", "short", none, "6 bytes, CRC bad, 01 03");
        row("wrong slave echo", "wrong-slave", none, "7 bytes, CRC good, 02 03");
        row("wrong function echo", "wrong-function", none, "7 bytes, CRC good, 01 04");
        row("late answer", "late:400", none, "7 bytes, CRC good, 01 03");
        row("noise before the answer", "noise:6", none, "13 bytes, CRC bad, answer last");
        row("noise burst", "",
            Hex("FF00A55A0103DEADBEEF1234567890ABCDEF01100019FFFF7F0003417F0102030405060708090A"),
            "0 bytes, CRC bad, ");
        row("truncated request", "", readSpeedWord.left(5), "0 bytes, CRC bad, ");
        row("request with a bad CRC", "", Hex("010300800001FFFF"), "0 bytes, CRC bad, ");
    }
    void faultsAndGarbage()
    {
        const auto [fault, garbage, seen] =
            fetch<QString, QByteArray, QString>("fault", "garbage", "seen");
        QVERIFY(sim->start());
        if (!fault.isEmpty())
            QVERIFY(sim->reply("fault-next " + fault.toLatin1()).startsWith("fault off next "));
        RawLine line(sim->path());
        const int size = seen.section(' ', 0, 0).toInt();
        const QByteArray answer = line.exchange(garbage.isEmpty() ? readSpeedWord : garbage,
                                                qMax(size, 1), size == 0 ? 400 : 1500);
        const qint64 lastByteMs = line.lastByteAt / 1'000'000;
        const bool noise = fault.startsWith("noise");
        QCOMPARE(
            QString("%1 bytes, CRC %2, %3")
                .arg(answer.size())
                .arg(answer.size() > 2 && WithCrc(answer.chopped(2)) == answer ? "good" : "bad")
                .arg(noise && hex(answer.right(7)) == speedAnswer ? "answer last"
                                                                  : hex(answer.left(2))),
            seen);
        if (fault.startsWith("late:"))
            QVERIFY2(lastByteMs >= fault.mid(5).toInt(), qPrintable(QString::number(lastByteMs)));
        // 3.5 characters at 9600 baud are 4 ms: after that the panel listens afresh.
        QTest::qWait(20);
        QCOMPARE(hex(line.exchange(readSpeedWord, 7)), speedAnswer);
        QCOMPARE(sim->traced("DROPPED").size(), garbage.isEmpty() ? 0 : 1);
    }

    void faultOnEveryAnswerFromCommandLine()
    {
        QVERIFY(sim->start({"--fault", "wrong-function"}));
        RawLine line(sim->path());
        for (int i = 0; i < 2; ++i)
            QCOMPARE(hex(line.exchange(readSpeedWord, 7)).left(5), QByteArray("01 04"));
        QCOMPARE(sim->reply("fault off"), QString("fault off next off"));
        QCOMPARE(hex(line.exchange(readSpeedWord, 7)), speedAnswer);
    }

    void keepsServingWhenReopenedAndStaysIdle()
    {
        QVERIFY(sim->start());
        for (int i = 0; i < 3; ++i)
            QCOMPARE(hex(RawLine(sim->path()).exchange(readSpeedWord, 7)), speedAnswer);
        // With no master on the line it must sleep, not spin on a hang-up.
        const auto cpuTicks = [&] {
            QFile stat(QString("/proc/%1/stat").arg(sim->process().processId()));
            if (!stat.open(QIODevice::ReadOnly))
                return -1LL;
            const QStringList f = QString::fromLatin1(stat.readAll()).section(')', 1).split(' ');
            return f.value(12).toLongLong() + f.value(13).toLongLong(); // utime + stime
        };
        const long long before = cpuTicks();
        QTest::qWait(700);
        QVERIFY(before >= 0);
        QVERIFY2(cpuTicks() - before <= 3, "the simulator burns CPU while idle");
        QCOMPARE(hex(RawLine(sim->path()).exchange(readSpeedWord, 7)), speedAnswer);
    }

    void stateFileAndCleanExit()
    {
        QTemporaryDir dir;
        const QString state = dir.filePath("panel.state");
        QVERIFY(sim->start({"--state", state}));
        QVERIFY(QFileInfo(sim->file("link")).isSymLink());
        QVERIFY(ModbusMaster(sim->path()).write(131, {2}) &&
                ModbusMaster(sim->path()).write(130, {5}));
        QCOMPARE(sim->stop(), 0); // SIGTERM: clean exit
        QVERIFY(!QFileInfo::exists(sim->file("link")));
        QVERIFY(sim->traced("NOTE").contains("NOTE signal 15, exiting"));
        sim = std::make_unique<SimProcess>();
        QVERIFY(sim->start({"--state", state}));
        QCOMPARE(ModbusMaster(sim->path(), 9600, 1, 5).read(128, 4), (QList<int>{0xFE, 1, 5, 2}));
    }

    void servesDeviceAndExitsWhenItGoesAway()
    {
        // socat's two linked ptys stand in for a serial cable between two machines.
        if (QStandardPaths::findExecutable("socat").isEmpty())
            QSKIP("socat is not installed");
        QTemporaryDir dir;
        const QString a = dir.filePath("a"), b = dir.filePath("b");
        QProcess socat;
        socat.start("socat", {"pty,raw,echo=0,link=" + a, "pty,raw,echo=0,link=" + b});
        QTRY_VERIFY_WITH_TIMEOUT(QFileInfo::exists(a) && QFileInfo::exists(b), 5000);
        QVERIFY(sim->start({"--device", a, "--reopen-wait", "0.5"}));
        QCOMPARE(sim->path(), a);
        QVERIFY(ModbusMaster(b).write(131, {3}));
        QCOMPARE(ModbusMaster(b).read(128, 4), (QList<int>{0xFE, 1, 1, 3}));
        socat.terminate();
        QVERIFY(socat.waitForFinished(3000));
        QVERIFY(sim->process().waitForFinished(5000));
        QCOMPARE(sim->process().exitCode(), 3);
        QVERIFY(sim->traced("NOTE").join('\n').contains("device lost"));
    }

    void lineTiming()
    {
        // 4-word read at 9600 baud, 10 bits a character: 8 + 13 characters on the wire.
        QVERIFY(sim->start({"--line-timing", "--turnaround", "5"}));
        RawLine line(sim->path());
        const QByteArray request = Frame("010300800004");
        const double wireMs = (8 + 13) * 10 * 1000.0 / 9600 + 5;
        QList<double> times;
        for (int i = 0; i < 5; ++i) {
            QVERIFY(line.send(request));
            QCOMPARE(line.receive(13, 1000, 5).size(), 13);
            times << line.lastByteAt / 1e6; // from just after the request was written
            QTest::qWait(10);
        }
        std::sort(times.begin(), times.end());
        QVERIFY2(times[2] >= wireMs - 0.2 && times[2] < wireMs + 20,
                 qPrintable(
                     QString("median %1 ms, wire and turnaround %2 ms").arg(times[2]).arg(wireMs)));

        // A request that comes while a late answer is still held back is answered after it,
        // with its own turnaround and wire time.
        QVERIFY(sim->reply("fault-next late:300").startsWith("fault off next "));
        QVERIFY(line.send(request));
        QTest::qWait(100);
        QVERIFY(line.send(request));
        QCOMPARE(line.receive(13, 1500, 2).size(), 13);
        QCOMPARE(line.receive(13, 1000, 2).size(), 13);
        // (the receive starts up to 5 ms after the first answer's last byte)
        QVERIFY2(line.lastByteAt / 1e6 >= wireMs - 6,
                 qPrintable(QString("second answer after %1 ms").arg(line.lastByteAt / 1e6)));
    }

private:
    std::unique_ptr<SimProcess> sim; // a fresh one for each test function and row
};

QTEST_GUILESS_MAIN(TestSimLine)
#include "tst_simline.moc"
