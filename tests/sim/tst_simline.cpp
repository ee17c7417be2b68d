// The built simulator over a pty, against third-party masters (libmodbus, mbpoll, pymodbus)
// and a raw master of the test's own that sees every byte and its timing.
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QtTest>

#include <modbus.h>

#include <cerrno>
#include <fcntl.h>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

namespace {

const QString simPath = QStringLiteral(K7310_BIN_DIR "/k7310sim");

// Bitwise Modbus CRC, written independently of the simulator's table-driven one.
QByteArray withCrc(QByteArray frame)
{
    unsigned crc = 0xFFFF;
    for (char c : frame) {
        crc ^= static_cast<unsigned char>(c);
        for (int i = 0; i < 8; ++i)
            crc = (crc & 1U) ? (crc >> 1) ^ 0xA001U : crc >> 1;
    }
    frame.append(static_cast<char>(crc & 0xFF));
    frame.append(static_cast<char>(crc >> 8));
    return frame;
}

bool hasValidCrc(const QByteArray& frame)
{
    return frame.size() >= 3 && withCrc(frame.left(frame.size() - 2)) == frame;
}

// One simulator process with its own link, trace and standard input.
class Sim
{
public:
    bool start(const QStringList& extra = {})
    {
        proc.setProgram(simPath);
        proc.setArguments(
            QStringList{"--link", dir.filePath("link"), "--trace", dir.filePath("trace")} + extra);
        proc.start();
        if (!proc.waitForStarted(5000))
            return false;
        path = readLine();
        return !path.isEmpty();
    }
    QString readLine(int timeoutMs = 5000)
    {
        QElapsedTimer t;
        t.start();
        while (!proc.canReadLine() && t.elapsed() < timeoutMs)
            proc.waitForReadyRead(50);
        return QString::fromUtf8(proc.readLine()).trimmed();
    }
    QString command(const QString& text)
    {
        proc.write((text + "\n").toUtf8());
        return readLine();
    }
    QStringList trace() const
    {
        QFile f(dir.filePath("trace"));
        if (!f.open(QIODevice::ReadOnly))
            return {};
        return QString::fromUtf8(f.readAll()).split('\n', Qt::SkipEmptyParts);
    }
    // The trace lines of one kind, without their time stamps.
    QStringList traced(const QString& kind) const
    {
        QStringList out;
        for (const QString& line : trace()) {
            const QString rest = line.section(' ', 1);
            if (rest.startsWith(kind + ' '))
                out << rest;
        }
        return out;
    }
    int stop()
    {
        if (proc.state() == QProcess::NotRunning)
            return proc.exitCode();
        proc.terminate();
        if (!proc.waitForFinished(3000)) {
            proc.kill();
            proc.waitForFinished(1000);
            return -1;
        }
        return proc.exitStatus() == QProcess::NormalExit ? proc.exitCode() : -1;
    }
    ~Sim() { stop(); }

    QTemporaryDir dir;
    QProcess proc;
    QString path;
};

// A master that sees raw bytes: for the probe, faults, noise and timing.
class RawLine
{
public:
    RawLine(const QString& path, int baud = 9600, int stopBits = 1)
    {
        fd = ::open(path.toLocal8Bit().constData(), O_RDWR | O_NOCTTY | O_NONBLOCK);
        if (fd < 0)
            return;
        termios tio{};
        tcgetattr(fd, &tio);
        cfmakeraw(&tio);
        tio.c_cflag |= CLOCAL | CREAD;
        tio.c_cflag &= ~static_cast<tcflag_t>(CSTOPB | PARENB);
        if (stopBits == 2)
            tio.c_cflag |= CSTOPB;
        const speed_t speed = baud == 19200  ? B19200
                              : baud == 4800 ? B4800
                              : baud == 2400 ? B2400
                              : baud == 1200 ? B1200
                                             : B9600;
        cfsetispeed(&tio, speed);
        cfsetospeed(&tio, speed);
        tcsetattr(fd, TCSANOW, &tio);
        tcflush(fd, TCIOFLUSH);
    }
    ~RawLine()
    {
        if (fd >= 0)
            ::close(fd);
    }
    bool ok() const { return fd >= 0; }
    void send(const QByteArray& bytes) const
    {
        QCOMPARE(::write(fd, bytes.constData(), static_cast<size_t>(bytes.size())),
                 static_cast<ssize_t>(bytes.size()));
    }
    // Collects bytes until `expected` are in and the line then stays quiet for `quietMs`,
    // or until timeoutMs has passed.
    QByteArray receive(int expected, int timeoutMs = 500, int quietMs = 40) const
    {
        QByteArray in;
        QElapsedTimer t;
        t.start();
        qint64 quietFrom = -1;
        while (t.elapsed() < timeoutMs) {
            if (in.size() >= expected && quietFrom >= 0 && t.elapsed() - quietFrom >= quietMs)
                break;
            pollfd p{fd, POLLIN, 0};
            if (::poll(&p, 1, 5) > 0) {
                char buf[256];
                const ssize_t n = ::read(fd, buf, sizeof buf);
                if (n > 0) {
                    in.append(buf, n);
                    lastByteAt = t.nsecsElapsed();
                    quietFrom = t.elapsed();
                }
            }
        }
        return in;
    }
    QByteArray exchange(const QByteArray& request, int expected, int timeoutMs = 500) const
    {
        send(request);
        return receive(expected, timeoutMs);
    }
    int fd = -1;
    mutable qint64 lastByteAt = 0;
};

// A libmodbus master.
class Master
{
public:
    Master(const QString& path, int baud = 9600, int stopBits = 1, int slave = 1,
           int timeoutMs = 300)
    {
        ctx = modbus_new_rtu(path.toLocal8Bit().constData(), baud, 'N', 8, stopBits);
        if (!ctx)
            return;
        modbus_set_slave(ctx, slave);
        modbus_set_response_timeout(ctx, 0, static_cast<uint32_t>(timeoutMs * 1000));
        if (modbus_connect(ctx) != 0) {
            modbus_free(ctx);
            ctx = nullptr;
        }
    }
    ~Master()
    {
        if (ctx) {
            modbus_close(ctx);
            modbus_free(ctx);
        }
    }
    // The words read, or an empty list with error set to errno (a Modbus exception or
    // ETIMEDOUT).
    QList<int> read(int address, int count)
    {
        std::vector<uint16_t> words(static_cast<size_t>(count));
        if (modbus_read_registers(ctx, address, count, words.data()) != count) {
            error = errno;
            return {};
        }
        return QList<int>(words.begin(), words.end());
    }
    bool write(int address, int value)
    {
        const bool ok = modbus_write_register(ctx, address, static_cast<uint16_t>(value)) == 1;
        error = ok ? 0 : errno;
        return ok;
    }
    bool write(int address, const QList<int>& values)
    {
        std::vector<uint16_t> words(values.begin(), values.end());
        const bool ok = modbus_write_registers(ctx, address, static_cast<int>(words.size()),
                                               words.data()) == static_cast<int>(words.size());
        error = ok ? 0 : errno;
        return ok;
    }
    modbus_t* ctx = nullptr;
    int error = 0;
};

QByteArray hex(const QByteArray& b)
{
    return b.toHex(' ').toUpper();
}

const QByteArray readSpeedWord = withCrc(QByteArray::fromHex("010300800001"));

} // namespace

class TestSimLine : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { QVERIFY2(QFile::exists(simPath), qPrintable(simPath)); }

    void mbpoll_data()
    {
        QTest::addColumn<QString>("version");
        QTest::addColumn<QStringList>("args"); // after the common options, before the path
        QTest::addColumn<QStringList>("values");
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QString>("output");
        QTest::addColumn<QString>("traced"); // request seen by the panel

        QTest::newRow("read the line words")
            << "2.8" << QStringList{"-r", "128", "-c", "4"} << QStringList{} << 0 << "[128]: \t254"
            << "RX 9600/1 01 03 00 80 00 04";
        QTest::newRow("2.8 reads 69 and 70")
            << "2.8" << QStringList{"-r", "69", "-c", "2"} << QStringList{} << 0 << "[70]: \t0"
            << "RX 9600/1 01 03 00 45 00 02";
        QTest::newRow("2.7 reads 69")
            << "2.7" << QStringList{"-r", "69", "-c", "1"} << QStringList{} << 0 << "[69]: \t0"
            << "RX 9600/1 01 03 00 45 00 01";
        QTest::newRow("2.7 refuses 70") << "2.7" << QStringList{"-r", "70", "-c", "1"}
                                        << QStringList{} << 1 << "Illegal data address"
                                        << "TX 9600/1 01 83 02";
        QTest::newRow("2.7 refuses the block 65-70") << "2.7" << QStringList{"-r", "65", "-c", "6"}
                                                     << QStringList{} << 1 << "Illegal data address"
                                                     << "TX 9600/1 01 83 02";
        QTest::newRow("2.6 refuses 69") << "2.6" << QStringList{"-r", "69", "-c", "1"}
                                        << QStringList{} << 1 << "Illegal data address"
                                        << "TX 9600/1 01 83 02";
        QTest::newRow("single write")
            << "2.8" << QStringList{"-r", "65"} << QStringList{"1"} << 0 << "Written 1 references"
            << "RX 9600/1 01 06 00 41 00 01";
        QTest::newRow("multiple write") << "2.8" << QStringList{"-r", "25"}
                                        << QStringList{"1", "2", "3"} << 0 << "Written 3 references"
                                        << "RX 9600/1 01 10 00 19 00 03 06 00 01 00 02 00 03";
        QTest::newRow("bad stop bits value")
            << "2.8" << QStringList{"-r", "129"} << QStringList{"3"} << 1 << "Illegal data value"
            << "TX 9600/1 01 86 03";
    }

    void mbpoll()
    {
        QFETCH(QString, version);
        QFETCH(QStringList, args);
        QFETCH(QStringList, values);
        QFETCH(int, exitCode);
        QFETCH(QString, output);
        QFETCH(QString, traced);
        if (QStandardPaths::findExecutable("mbpoll").isEmpty())
            QSKIP("mbpoll is not installed");
        Sim sim;
        QVERIFY(sim.start({"--version", version}));
        QProcess mb;
        mb.start("mbpoll", QStringList{"-m", "rtu", "-a", "1", "-b", "9600", "-P", "none", "-s",
                                       "1", "-0", "-1", "-o", "0.5", "-t", "4"} +
                               args + QStringList{sim.path} + values);
        QVERIFY(mb.waitForFinished(10000));
        const QString all =
            QString::fromUtf8(mb.readAllStandardOutput() + mb.readAllStandardError());
        QCOMPARE(mb.exitCode(), exitCode);
        QVERIFY2(all.contains(output), qPrintable(all));
        // The answer's trace line is written once the answer is out: give it a moment.
        QTRY_VERIFY2_WITH_TIMEOUT(sim.trace().join('\n').contains(traced),
                                  qPrintable(sim.trace().join('\n')), 2000);
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
        QProcess py;
        py.start("/usr/bin/python3", {"-c", "import pymodbus.client, serial_asyncio"});
        py.waitForFinished(10000);
        if (py.exitCode() != 0)
            QSKIP("pymodbus with its serial modules is not installed for /usr/bin/python3");
        Sim sim;
        QVERIFY(sim.start({"--version", "2.6"}));
        py.start("/usr/bin/python3", {"-c", script, sim.path});
        QVERIFY(py.waitForFinished(20000));
        const QString out = QString::fromUtf8(py.readAllStandardOutput());
        QVERIFY2(py.exitCode() == 0, qPrintable(out + py.readAllStandardError()));
        QCOMPARE(
            out.split('\n', Qt::SkipEmptyParts),
            (QStringList{"config [254, 1, 1, 0]", "write False", "block False",
                         "leds [7, 7, 7, 7, 7, 0]", "horn [1, 0, 0, 0, 0]", "missing True 2"}));
    }

    void lineChangeAfterAnswer_data()
    {
        QTest::addColumn<int>("word");
        QTest::addColumn<int>("value");
        QTest::addColumn<int>("baud");
        QTest::addColumn<int>("stopBits");
        QTest::addColumn<int>("slave");
        QTest::newRow("speed to 19200") << 128 << 0xFF << 19200 << 1 << 1;
        QTest::newRow("speed to 2400") << 128 << 0xF8 << 2400 << 1 << 1;
        QTest::newRow("two stop bits") << 129 << 2 << 9600 << 2 << 1;
        QTest::newRow("slave 23") << 130 << 23 << 9600 << 1 << 23;
    }

    void lineChangeAfterAnswer()
    {
        QFETCH(int, word);
        QFETCH(int, value);
        QFETCH(int, baud);
        QFETCH(int, stopBits);
        QFETCH(int, slave);
        Sim sim;
        QVERIFY(sim.start());
        {
            Master m(sim.path);
            QVERIFY(m.ctx);
            QVERIFY2(m.write(word, value), modbus_strerror(m.error)); // answered at 9600/1
            QVERIFY(m.read(128, 1).isEmpty());                        // then deaf there
            QCOMPARE(m.error, ETIMEDOUT);
        }
        Master m(sim.path, baud, stopBits, slave);
        QVERIFY(m.ctx);
        QCOMPARE(m.read(word, 1), QList<int>{value});
        QVERIFY(sim.traced("NOTE").contains(
            QString("NOTE line now %1/%2 slave %3").arg(baud).arg(stopBits).arg(slave)));
    }

    void searchOrderReadFromTrace()
    {
        // A panel at 4800 baud and 2 stop bits hears the other combinations as garbage;
        // the trace keeps the order they were tried in.
        Sim sim;
        QVERIFY(sim.start({"--speed", "4800", "--stop", "2"}));
        const QList<QPair<int, int>> tries{{9600, 1}, {19200, 1}, {19200, 2}, {4800, 1}, {4800, 2}};
        for (const auto& [baud, stop] : tries) {
            RawLine line(sim.path, baud, stop);
            QVERIFY(line.ok());
            const QByteArray answer = line.exchange(readSpeedWord, 7, 250);
            if (baud == 4800 && stop == 2)
                QCOMPARE(hex(answer), hex(withCrc(QByteArray::fromHex("01030200FC"))));
            else
                QVERIFY2(answer.isEmpty(), qPrintable(hex(answer)));
        }
        const QStringList ignored = sim.traced("IGNORED");
        QStringList seen;
        for (const QString& line : ignored)
            seen << line.section(' ', 1, 1);
        QCOMPARE(seen, (QStringList{"9600/1", "19200/1", "19200/2", "4800/1"}));
        QCOMPARE(sim.traced("RX").size(), 1);
    }

    void probe_data()
    {
        QTest::addColumn<QStringList>("args");
        QTest::addColumn<int>("baud");
        QTest::addColumn<int>("stopBits");
        QTest::addColumn<QByteArray>("answer");
        QTest::newRow("slave 17, 2.8")
            << QStringList{"--slave", "17"} << 9600 << 1 << QByteArray("41 11 02 08");
        QTest::newRow("2.7 at 19200/2")
            << QStringList{"--version", "2.7", "--speed", "19200", "--stop", "2"} << 19200 << 2
            << QByteArray("41 01 02 07");
        QTest::newRow("wrong speed: no answer")
            << QStringList{"--speed", "1200"} << 9600 << 1 << QByteArray();
    }

    void probe()
    {
        QFETCH(QStringList, args);
        QFETCH(int, baud);
        QFETCH(int, stopBits);
        QFETCH(QByteArray, answer);
        Sim sim;
        QVERIFY(sim.start(args));
        RawLine line(sim.path, baud, stopBits);
        QCOMPARE(
            hex(line.exchange(QByteArray::fromHex("417F70"), 4, answer.isEmpty() ? 300 : 1000)),
            answer);
    }

    void packedImageRoundTrip()
    {
        Sim sim;
        QVERIFY(sim.start());
        Master m(sim.path);
        QVERIFY(m.ctx);
        // LEDs 0..23 in states n % 8, horn on.
        QList<int> image(5, 0);
        for (int n = 0; n < 24; ++n)
            image[n / 5] |= (n % 8) << (3 * (n % 5));
        image[4] |= 1 << 12;
        QVERIFY(m.write(25, image));
        QList<int> states;
        for (int n = 0; n < 24; ++n)
            states << n % 8;
        QCOMPARE(m.read(1, 24), states);
        QCOMPARE(m.read(64, 1), QList<int>{1});
        QCOMPARE(m.read(25, 5), image);
        QCOMPARE(sim.command("show"), QString("LEDs .1234567 .1234567 .1234567  horn ON  ack 0"));
        // One LED written alone shows in the image: LED 23 state 5 is 5 << 9 in word 29.
        QVERIFY(m.write(24, 5));
        QCOMPARE(m.read(29, 1), QList<int>{(5 << 9) | (6 << 6) | (5 << 3) | 4 | (1 << 12)});
        QVERIFY(m.write(0, 0));
        QCOMPARE(m.read(25, 5), (QList<int>{0, 0, 0, 0, 1 << 12}));
    }

    void acknowledgement()
    {
        Sim sim;
        QVERIFY(sim.start());
        Master m(sim.path);
        QVERIFY(m.write(64, 1));
        QCOMPARE(m.read(68, 1), QList<int>{0});
        QCOMPARE(sim.command("ack"), QString("ack 1"));
        QCOMPARE(m.read(68, 1), QList<int>{1});
        QCOMPARE(m.read(68, 1), QList<int>{1});
        QVERIFY(m.write(25, {0, 0, 0, 0, 0}));
        QCOMPARE(m.read(68, 1), QList<int>{0});
    }

    void automaticAcknowledgement()
    {
        Sim sim;
        QVERIFY(sim.start({"--auto-ack", "0.3"}));
        Master m(sim.path);
        QVERIFY(m.write(25, {0, 4, 0, 0, 1 << 12})); // an alarm: LED 6 blinking, horn on
        QElapsedTimer t;
        t.start();
        QCOMPARE(m.read(68, 1), QList<int>{0});
        while (t.elapsed() < 2000 && m.read(68, 1) != QList<int>{1})
            QTest::qWait(20);
        QVERIFY(t.elapsed() >= 280);
        QCOMPARE(m.read(68, 1), QList<int>{1});
    }

    void faults_data()
    {
        QTest::addColumn<QString>("fault");
        QTest::addColumn<int>("size");   // bytes the master sees
        QTest::addColumn<bool>("crcOk"); // of the whole answer
        QTest::addColumn<int>("slave");  // echoed slave, -1: not checked
        QTest::addColumn<int>("function");
        QTest::addColumn<int>("minDelayMs");
        QTest::newRow("no answer") << "none" << 0 << false << -1 << -1 << 0;
        QTest::newRow("bad CRC") << "bad-crc" << 7 << false << 1 << 3 << 0;
        QTest::newRow("one byte more") << "extra-byte" << 8 << false << 1 << 3 << 0;
        QTest::newRow("one byte less") << "short" << 6 << false << 1 << 3 << 0;
        QTest::newRow("wrong slave echo") << "wrong-slave" << 7 << true << 2 << 3 << 0;
        QTest::newRow("wrong function echo") << "wrong-function" << 7 << true << 1 << 4 << 0;
        QTest::newRow("late answer") << "late:400" << 7 << true << 1 << 3 << 400;
        QTest::newRow("noise before the answer") << "noise:6" << 13 << false << -1 << -1 << 0;
    }

    void faults()
    {
        QFETCH(QString, fault);
        QFETCH(int, size);
        QFETCH(bool, crcOk);
        QFETCH(int, slave);
        QFETCH(int, function);
        QFETCH(int, minDelayMs);
        Sim sim;
        QVERIFY(sim.start());
        QVERIFY(sim.command("fault-next " + fault).startsWith("fault off next "));
        RawLine line(sim.path);
        const QByteArray good = withCrc(QByteArray::fromHex("01030200FE"));
        const QByteArray answer =
            line.exchange(readSpeedWord, qMax(size, 1), size == 0 ? 400 : 1500);
        const qint64 firstAnswerMs = line.lastByteAt / 1000000;
        QCOMPARE(answer.size(), size);
        QCOMPARE(hasValidCrc(answer), crcOk);
        if (slave >= 0) {
            QCOMPARE(int(static_cast<unsigned char>(answer[0])), slave);
            QCOMPARE(int(static_cast<unsigned char>(answer[1])), function);
        }
        if (fault.startsWith("noise"))
            QCOMPARE(hex(answer.right(7)), hex(good));
        if (size > 0)
            QVERIFY2(firstAnswerMs >= minDelayMs, qPrintable(QString::number(firstAnswerMs)));
        // The fault was for one answer only.
        QTest::qWait(20);
        QCOMPARE(hex(line.exchange(readSpeedWord, 7)), hex(good));
    }

    void faultOnEveryAnswerFromCommandLine()
    {
        Sim sim;
        QVERIFY(sim.start({"--fault", "wrong-function"}));
        RawLine line(sim.path);
        for (int i = 0; i < 2; ++i) {
            const QByteArray answer = line.exchange(readSpeedWord, 7);
            QCOMPARE(answer.size(), 7);
            QCOMPARE(int(answer[1]), 4);
        }
        QCOMPARE(sim.command("fault off"), QString("fault off next off"));
        QCOMPARE(int(line.exchange(readSpeedWord, 7)[1]), 3);
    }

    void noiseThenValidRequest_data()
    {
        QTest::addColumn<QByteArray>("garbage");
        QTest::newRow("noise burst") << QByteArray::fromHex(
            "FF00A55A0103DEADBEEF1234567890ABCDEF01100019FFFF7F0003417F0102030405060708090A");
        QTest::newRow("truncated request") << readSpeedWord.left(5);
        QTest::newRow("request for another slave") << withCrc(QByteArray::fromHex("020300800001"));
        QTest::newRow("request with a bad CRC") << QByteArray::fromHex("010300800001FFFF");
    }

    void noiseThenValidRequest()
    {
        QFETCH(QByteArray, garbage);
        Sim sim;
        QVERIFY(sim.start());
        RawLine line(sim.path);
        QVERIFY(line.exchange(garbage, 1, 100).isEmpty());
        // 3.5 characters at 9600 baud are 4 ms: after that the panel listens afresh.
        QTest::qWait(20);
        QCOMPARE(hex(line.exchange(readSpeedWord, 7)),
                 hex(withCrc(QByteArray::fromHex("01030200FE"))));
        QCOMPARE(sim.traced("DROPPED").size(), 1);
    }

    void keepsServingWhenReopenedAndStaysIdle()
    {
        Sim sim;
        QVERIFY(sim.start());
        for (int i = 0; i < 3; ++i) {
            RawLine line(sim.path);
            QCOMPARE(line.exchange(readSpeedWord, 7).size(), 7);
        }
        // With no master on the line it must sleep, not spin on a hang-up.
        const auto cpuTicks = [&] {
            QFile stat(QString("/proc/%1/stat").arg(sim.proc.processId()));
            if (!stat.open(QIODevice::ReadOnly))
                return -1LL;
            const QStringList f = QString::fromLatin1(stat.readAll()).section(')', 1).split(' ');
            return f.value(12).toLongLong() + f.value(13).toLongLong(); // utime + stime
        };
        const long long before = cpuTicks();
        QTest::qWait(700);
        QVERIFY(before >= 0);
        QVERIFY2(cpuTicks() - before <= 3, "the simulator burns CPU while idle");
        RawLine line(sim.path);
        QCOMPARE(line.exchange(readSpeedWord, 7).size(), 7);
    }

    void stateFileAndCleanExit()
    {
        QTemporaryDir dir;
        const QString state = dir.filePath("panel.state");
        {
            Sim sim;
            QVERIFY(sim.start({"--state", state}));
            QVERIFY(QFileInfo(sim.dir.filePath("link")).isSymLink());
            Master m(sim.path);
            QVERIFY(m.write(131, 2));
            QVERIFY(m.write(130, 5));
            QCOMPARE(sim.stop(), 0); // SIGTERM: clean exit
            QVERIFY(!QFileInfo::exists(sim.dir.filePath("link")));
            QVERIFY(sim.traced("NOTE").contains("NOTE signal 15, exiting"));
        }
        Sim sim;
        QVERIFY(sim.start({"--state", state}));
        Master m(sim.path, 9600, 1, 5);
        QCOMPARE(m.read(128, 4), (QList<int>{0xFE, 1, 5, 2}));
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
        Sim sim;
        QVERIFY(sim.start({"--device", a, "--reopen-wait", "0.5"}));
        QCOMPARE(sim.path, a);
        {
            Master m(b);
            QVERIFY(m.ctx);
            QCOMPARE(m.read(128, 4), (QList<int>{0xFE, 1, 1, 0}));
            QVERIFY(m.write(131, 3));
            QCOMPARE(m.read(131, 1), QList<int>{3});
        }
        socat.terminate();
        QVERIFY(socat.waitForFinished(3000));
        QVERIFY(sim.proc.waitForFinished(5000));
        QCOMPARE(sim.proc.exitCode(), 3);
        QVERIFY(sim.traced("NOTE").join('\n').contains("device lost"));
    }

    void lineTiming()
    {
        // 4-word read at 9600 baud, 10 bits a character: 8 + 13 characters on the wire.
        Sim sim;
        QVERIFY(sim.start({"--line-timing", "--turnaround", "5"}));
        RawLine line(sim.path);
        const QByteArray request = withCrc(QByteArray::fromHex("010300800004"));
        const double wireMs = (8 + 13) * 10 * 1000.0 / 9600 + 5;
        QList<double> times;
        for (int i = 0; i < 5; ++i) {
            line.send(request);
            const QByteArray answer = line.receive(13, 1000, 5);
            QCOMPARE(answer.size(), 13);
            times << line.lastByteAt / 1e6; // from just after the request was written
            QTest::qWait(10);
        }
        std::sort(times.begin(), times.end());
        const double median = times[2];
        QVERIFY2(
            median >= wireMs - 0.2 && median < wireMs + 20,
            qPrintable(QString("median %1 ms, wire and turnaround %2 ms").arg(median).arg(wireMs)));
    }
};

QTEST_GUILESS_MAIN(TestSimLine)
#include "tst_simline.moc"
