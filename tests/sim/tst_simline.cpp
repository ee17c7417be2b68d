// The built simulator over a pty, against third-party masters (mbpoll, pymodbus) and a raw
// master of the test's own that sees every byte. The settings the panel does not listen at,
// the probe and the trace of both are tested by the slave search in tst_detectk9120; the
// answers themselves, word by word, in tst_simslave; the image, the acknowledgement and the
// line changes through the console's windows (tst_wpaneltools, tst_wpanelconfig).
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

// A master at 9600/1 that sees raw bytes: for faults and noise.
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
    // The bytes until `expected` are in and the line stays quiet for 40 ms, or the time-out.
    QByteArray exchange(const QByteArray& request, int expected, int timeoutMs = 500)
    {
        if (::write(fd, request.constData(), size_t(request.size())) != request.size())
            return "not sent";
        return PtyPair::ReadFrom(fd, expected, timeoutMs, 40);
    }
    const int fd;
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

private:
    std::unique_ptr<SimProcess> sim; // a fresh one for each test function and row
};

QTEST_GUILESS_MAIN(TestSimLine)
#include "tst_simline.moc"
