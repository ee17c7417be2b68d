// The serial line object and the transactions, over a pseudo-terminal against a scripted slave.
#include "comctrl.h"
#include "commfunctions.h"
#include "errorhandling.h"
#include "ptypeer.h"

#include <QElapsedTimer>
#include <QTemporaryDir>
#include <QTest>

#include <sys/resource.h>
#include <termios.h>
#include <unistd.h>

using namespace CommFunctions;

namespace {

// CPU time of the calling thread, in milliseconds.
double threadCpuMs()
{
    struct rusage usage = {};
    getrusage(RUSAGE_THREAD, &usage);
    return (usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) * 1000.0 +
           (usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1000.0;
}

int thrownNumber(const std::function<void()>& action)
{
    try {
        action();
    } catch (const RunTimeError& error) {
        return error.number();
    }
    return 0;
}

const QList<std::int16_t> AnswerValues{0x1234, -2};

// How the scripted slave answers a request in the transaction cases.
enum class Answer {
    Healthy,
    None,
    Short,
    OneTooMany,
    WrongCrc,
    WrongSlave,
    WrongFunction,
    Exception,
    NoiseFirst,
    EchoWrongCrc,
};

QByteArray answerTo(const QByteArray& request, Answer kind)
{
    const auto slave = static_cast<quint8>(request.at(0));
    const bool write = request.at(1) == 6;
    const QByteArray healthy = write ? request : ReadAnswer(slave, AnswerValues);
    switch (kind) {
    case Answer::Healthy:
        return healthy;
    case Answer::None:
        return {};
    case Answer::Short:
        return healthy.left(healthy.size() - 1);
    case Answer::OneTooMany:
        return healthy + QByteArray(1, '\0');
    case Answer::WrongCrc: {
        QByteArray bytes = healthy;
        bytes[bytes.size() - 1] = static_cast<char>(bytes.at(bytes.size() - 1) ^ 0x01);
        return bytes;
    }
    case Answer::WrongSlave: {
        QByteArray bytes = healthy.left(healthy.size() - 2);
        bytes[0] = static_cast<char>(slave + 1);
        return WithCrc(bytes);
    }
    case Answer::WrongFunction: {
        QByteArray bytes = healthy.left(healthy.size() - 2);
        bytes[1] = write ? 16 : 4;
        return WithCrc(bytes);
    }
    case Answer::Exception: {
        QByteArray bytes;
        bytes.append(static_cast<char>(slave));
        bytes.append(static_cast<char>(request.at(1) | 0x80));
        bytes.append(char(2));
        return WithCrc(bytes);
    }
    case Answer::NoiseFirst:
        return QByteArray::fromHex("FF00") + healthy;
    case Answer::EchoWrongCrc:
        return healthy.left(6) + QByteArray::fromHex("0000");
    }
    return {};
}

} // namespace

class TestLine : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void systemLocation_data();
    void systemLocation();
    void permissionDeniedNamesTheGroup();
    void openRealDevices_data();
    void openRealDevices();
    void openAppliesSettings();
    void closedPortIsReported();
    void rtsCycle_data();
    void rtsCycle();
    void wordTransaction_data();
    void wordTransaction();
    void lateAnswerNotTakenByNextCall();
    void farEndVanishes_data();
    void farEndVanishes();
    void frameReceived_data();
    void frameReceived();
};

void TestLine::init()
{
    SetRtsHandshake(false);
    SetRtsDelay(5);
}

void TestLine::systemLocation_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("location");
    const auto row = [](const char* name, const char* location) {
        QTest::newRow(name) << QString::fromLatin1(name) << QString::fromLatin1(location);
    };
    row("1", "/dev/ttyS0");
    row("16", "/dev/ttyS15");
    row("17", "/dev/17");
    row("ttyUSB0", "/dev/ttyUSB0");
    row("/dev/serial/by-id/usb-x", "/dev/serial/by-id/usb-x");
}

void TestLine::systemLocation()
{
    QFETCH(QString, name);
    QFETCH(QString, location);
    QCOMPARE(ComCtrl::SystemLocation(name), location);
}

void TestLine::permissionDeniedNamesTheGroup()
{
    // What ProbeDevice finds for a device node of mode 660, group dialout, for another user.
    ComCtrl::OpenProbe probe;
    probe.location = QStringLiteral("/dev/ttyUSB7");
    probe.exists = probe.charDevice = true;
    probe.accessible = false;
    probe.grantingGroup = QStringLiteral("dialout");
    const RunTimeError error = ComCtrl::OpenFailure(probe);
    QCOMPARE(error.number(), int(ErrorNumber::PortPermissionDenied));
    const QString message =
        ErrorReport::Message(QStringLiteral("wMain.MDIForm_Load"), error.number(), error.detail());
    QVERIFY2(message.contains(QStringLiteral("group 'dialout'")), qPrintable(message));
}

void TestLine::openRealDevices_data()
{
    QTest::addColumn<QString>("what");
    QTest::addColumn<int>("number");
    QTest::newRow("absent") << "absent" << int(ErrorNumber::PortNotFound);
    QTest::newRow("not a terminal") << "/dev/null" << int(ErrorNumber::PortNotSerial);
    QTest::newRow("a regular file") << "file" << int(ErrorNumber::PortNotSerial);
    QTest::newRow("a folder") << "folder" << int(ErrorNumber::PortNotSerial);
    QTest::newRow("busy") << "busy" << int(ErrorNumber::PortBusy);
    QTest::newRow("no permission") << "unreadable" << int(ErrorNumber::PortPermissionDenied);
}

void TestLine::openRealDevices()
{
    QFETCH(QString, what);
    QFETCH(int, number);
    QTemporaryDir dir;
    PtyPair pty;
    QVERIFY(pty.ok());
    ComCtrl holder;
    QString name = what;
    if (what == QLatin1String("absent")) {
        name = dir.filePath(QStringLiteral("ttyNone"));
    } else if (what == QLatin1String("file") || what == QLatin1String("unreadable")) {
        name = dir.filePath(QStringLiteral("plain"));
        QFile file(name);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.close();
        if (what == QLatin1String("unreadable")) {
            if (geteuid() == 0)
                QSKIP("permissions do not apply to root");
            QVERIFY(file.setPermissions(QFileDevice::Permissions()));
        }
    } else if (what == QLatin1String("folder")) {
        name = dir.path();
    } else if (what == QLatin1String("busy")) {
        name = pty.slavePath();
        holder.setPortName(name);
        holder.open();
    }
    ComCtrl line;
    line.setPortName(name);
    QCOMPARE(thrownNumber([&] { line.open(); }), number);
    QVERIFY(!line.isOpen());
}

void TestLine::openAppliesSettings()
{
    PtyPair pty;
    QVERIFY(pty.ok());
    ComCtrl line;
    line.setPortName(pty.slavePath());
    line.setSettings(QStringLiteral("19200,n,8,2"));
    line.open();
    struct termios attributes = {};
    QCOMPARE(tcgetattr(pty.slave(), &attributes), 0);
    QCOMPARE(cfgetospeed(&attributes), speed_t(B19200));
    QVERIFY(attributes.c_cflag & CSTOPB);

    // Field by field on the open line.
    QVERIFY(SetCommBauds(line, 4800));
    QVERIFY(SetCommStops(line, 1));
    QCOMPARE(tcgetattr(pty.slave(), &attributes), 0);
    QCOMPARE(cfgetospeed(&attributes), speed_t(B4800));
    QVERIFY(!(attributes.c_cflag & CSTOPB));
    QCOMPARE(line.settings(), QStringLiteral("4800,n,8,1"));

    QCOMPARE(thrownNumber([&] { line.setPortName(QStringLiteral("2")); }),
             int(ErrorNumber::PortBusy));
    QCOMPARE(thrownNumber([&] { line.open(); }), int(ErrorNumber::PortBusy));
    line.close();
    line.open(); // the same device opens again after a close
    QVERIFY(line.isOpen());
}

void TestLine::closedPortIsReported()
{
    ReportCapture report;
    ComCtrl line;
    QList<std::int16_t> words(2, 7);
    QVERIFY(!LitMots(line, 1, 0, words));
    QCOMPARE(words, QList<std::int16_t>(2, 7));
    QVERIFY(!EcritMots(line, 1, 0, 1));
    QCOMPARE(FrameReceived(line, FrameToSend(1, 3, 0, 1), 1.0f), QByteArray(1, '\0'));
    QCOMPARE(report.messages.size(), 3);
    QVERIFY(report.messages[0].startsWith(QStringLiteral("Error Nr 8012 : ")));
    QVERIFY(report.messages[0].endsWith(QStringLiteral("Function : LitMots")));
    QVERIFY(report.messages[1].endsWith(QStringLiteral("Function : EcritMots")));
    QVERIFY(report.messages[2].endsWith(QStringLiteral("Function : FrameReceived")));

    // An empty word list is an index fault, reported before the line is touched.
    report.messages.clear();
    QList<std::int16_t> none;
    QVERIFY(!LitMots(line, 1, 0, none));
    QVERIFY(report.messages.value(0).startsWith(QStringLiteral("Error Nr 9 : ")));
}

void TestLine::rtsCycle_data()
{
    QTest::addColumn<bool>("handshake");
    QTest::addColumn<bool>("frameReceived");
    QTest::newRow("handshake on, words") << true << false;
    QTest::newRow("handshake on, frame") << true << true;
    QTest::newRow("handshake off, words") << false << false;
    QTest::newRow("handshake off, frame") << false << true;
}

void TestLine::rtsCycle()
{
    QFETCH(bool, handshake);
    QFETCH(bool, frameReceived);
    using Step = ComCtrl::LineStep;
    constexpr int Delay = 40;
    SetRtsHandshake(handshake);
    SetRtsDelay(Delay);

    PtyPair pty;
    QVERIFY(pty.ok());
    FakeSlave slave(pty, [](const QByteArray& request) {
        return FakeSlave::Reply{answerTo(request, Answer::Healthy)};
    });
    ComCtrl line;
    line.setPortName(pty.slavePath());
    line.open();
    QList<Step> steps;
    QList<qint64> times;
    QElapsedTimer clock;
    clock.start();
    line.setStepHook([&](Step step) {
        steps.append(step);
        times.append(clock.nsecsElapsed());
    });

    if (frameReceived)
        QCOMPARE(FrameReceived(line, FrameToSend(1, 6, 2, 1, 9), 1.0f), FrameToSend(1, 6, 2, 1, 9));
    else
        QVERIFY(EcritMots(line, 1, 2, 9));

    const QList<Step> expected =
        handshake ? QList<Step>{Step::RtsOn,   Step::BuffersCleared, Step::Written,
                                Step::Drained, Step::RtsOff,         Step::AnswerWait}
                  : QList<Step>{Step::RtsOn, Step::BuffersCleared, Step::Written, Step::AnswerWait};
    QCOMPARE(steps, expected);
    QVERIFY(!line.hasRts()); // a pty has no RTS: the failed requests were ignored
    const qint64 writtenToWait = times.last() - times[steps.indexOf(Step::Written)];
    if (handshake) {
        const qint64 pause =
            times[steps.indexOf(Step::RtsOff)] - times[steps.indexOf(Step::Drained)];
        QVERIFY2(pause >= Delay * 1'000'000LL, qPrintable(QString::number(pause)));
        QVERIFY(!line.rts());
    } else {
        QVERIFY2(writtenToWait < Delay * 1'000'000LL / 2,
                 qPrintable(QString::number(writtenToWait)));
        QVERIFY(line.rts()); // stays on after the transaction
    }
}

void TestLine::wordTransaction_data()
{
    QTest::addColumn<bool>("write");
    QTest::addColumn<int>("answer");
    QTest::addColumn<bool>("accepted");
    QTest::addColumn<bool>("waitsFullTime");
    const auto row = [](const char* name, bool write, Answer answer, bool accepted, bool waits) {
        QTest::newRow(name) << write << int(answer) << accepted << waits;
    };
    row("read healthy", false, Answer::Healthy, true, false);
    row("read no answer", false, Answer::None, false, true);
    row("read short answer", false, Answer::Short, false, true);
    row("read one byte too many", false, Answer::OneTooMany, false, false);
    row("read wrong crc", false, Answer::WrongCrc, false, false);
    row("read wrong slave", false, Answer::WrongSlave, false, false);
    row("read wrong function", false, Answer::WrongFunction, false, false);
    row("read exception", false, Answer::Exception, false, true);
    row("read noise before the answer", false, Answer::NoiseFirst, false, false);
    row("write echo", true, Answer::Healthy, true, false);
    row("write echo with a wrong crc", true, Answer::EchoWrongCrc, true, false);
    row("write wrong slave", true, Answer::WrongSlave, false, false);
    row("write exception", true, Answer::Exception, false, true);
    row("write one byte too many", true, Answer::OneTooMany, false, false);
}

void TestLine::wordTransaction()
{
    QFETCH(bool, write);
    QFETCH(int, answer);
    QFETCH(bool, accepted);
    QFETCH(bool, waitsFullTime);
    ReportCapture report;
    PtyPair pty;
    QVERIFY(pty.ok());
    FakeSlave slave(pty, [answer](const QByteArray& request) {
        return FakeSlave::Reply{answerTo(request, Answer(answer))};
    });
    ComCtrl line;
    line.setPortName(pty.slavePath());
    line.open();
    // Bytes left over from before the request are discarded by it.
    QVERIFY(pty.writeMaster(QByteArray::fromHex("0103020000")));
    QTest::qWait(20);

    QElapsedTimer clock;
    clock.start();
    QList<std::int16_t> words{7, 7};
    const bool result = write ? EcritMots(line, 5, 0x41, -2) : LitMots(line, 5, 0x41, words);
    const qint64 elapsed = clock.elapsed();

    QCOMPARE(result, accepted);
    QCOMPARE(slave.requests().size(), 1);
    QCOMPARE(slave.requests().first(),
             WithCrc(QByteArray::fromHex(write ? "05060041FFFE" : "050300410002")));
    if (!write)
        QCOMPARE(words, accepted ? AnswerValues : QList<std::int16_t>(2, 7));
    if (waitsFullTime) {
        QVERIFY2(elapsed >= WordTimeoutMs - 10 && elapsed < WordTimeoutMs + 500,
                 qPrintable(QString::number(elapsed)));
    } else {
        QVERIFY2(elapsed < 500, qPrintable(QString::number(elapsed)));
    }
    QVERIFY(report.messages.isEmpty());
}

void TestLine::lateAnswerNotTakenByNextCall()
{
    PtyPair pty;
    QVERIFY(pty.ok());
    std::atomic<int> calls{0};
    FakeSlave slave(pty, [&calls](const QByteArray& request) {
        // The first answer comes after the deadline, the second at once and with other words.
        if (calls++ == 0)
            return FakeSlave::Reply{ReadAnswer(request.at(0), {11}), WordTimeoutMs + 200};
        return FakeSlave::Reply{ReadAnswer(request.at(0), {22})};
    });
    ComCtrl line;
    line.setPortName(pty.slavePath());
    line.open();
    QList<std::int16_t> words{0};
    QVERIFY(!LitMots(line, 1, 0, words));
    // The late answer is now in the receive buffer.
    QCOMPARE(line.waitForBytes(7, QDeadlineTimer(2000)), qint64(7));
    QVERIFY(LitMots(line, 1, 0, words));
    QCOMPARE(words, QList<std::int16_t>{22});
}

void TestLine::farEndVanishes_data()
{
    QTest::addColumn<QString>("operation");
    QTest::addColumn<int>("partialBytes");
    QTest::newRow("read, gone after the request") << "read" << 0;
    QTest::newRow("read, gone within the answer") << "read" << 3;
    QTest::newRow("write, gone after the request") << "write" << 0;
    QTest::newRow("frame, gone within the answer") << "frame" << 3;
}

void TestLine::farEndVanishes()
{
    QFETCH(QString, operation);
    QFETCH(int, partialBytes);
    ReportCapture report;
    PtyPair pty;
    QVERIFY(pty.ok());
    FakeSlave slave(pty, [partialBytes](const QByteArray& request) {
        return FakeSlave::Reply{ReadAnswer(request.at(0), {1, 2}).left(partialBytes), 100, true};
    });
    ComCtrl line;
    line.setPortName(pty.slavePath());
    line.open();

    const double cpuBefore = threadCpuMs();
    QElapsedTimer clock;
    clock.start();
    QList<std::int16_t> words{7, 7};
    if (operation == QLatin1String("read")) {
        QVERIFY(!LitMots(line, 1, 0, words));
        QCOMPARE(words, QList<std::int16_t>(2, 7));
    } else if (operation == QLatin1String("write")) {
        QVERIFY(!EcritMots(line, 1, 0, 1));
    } else {
        const QByteArray answer = FrameReceived(line, FrameToSend(1, 3, 0, 2), 2.0f);
        QVERIFY(!ValidReadAnswer(FrameToSend(1, 3, 0, 2), answer));
    }
    const qint64 elapsed = clock.elapsed();
    const double cpu = threadCpuMs() - cpuBefore;

    QVERIFY2(elapsed < 1000, qPrintable(QString::number(elapsed)));
    QVERIFY2(cpu < 100.0, qPrintable(QString::number(cpu)));
    QCOMPARE(report.messages.size(), 1);
    QVERIFY2(report.messages[0].startsWith(QStringLiteral("Error Nr 8018 : ")),
             qPrintable(report.messages[0]));
    QVERIFY(!line.isOpen());

    // Later calls fail at once on the closed port.
    clock.restart();
    QVERIFY(!LitMots(line, 1, 0, words));
    QVERIFY(clock.elapsed() < 100);
    QVERIFY(report.messages.last().startsWith(QStringLiteral("Error Nr 8012 : ")));
}

void TestLine::frameReceived_data()
{
    QTest::addColumn<QByteArray>("request");
    QTest::addColumn<QByteArray>("reply");
    QTest::addColumn<QByteArray>("answer");
    QTest::addColumn<int>("minMs");
    QTest::addColumn<int>("maxMs");
    const QByteArray read2 = FrameToSend(1, 3, 0, 2);
    const QByteArray reply2 = ReadAnswer(1, {1, 2});
    QTest::newRow("complete answer") << read2 << reply2 << reply2 << 0 << 250;
    QTest::newRow("exception stops at 5 bytes") << read2 << QByteArray::fromHex("018302C0F1")
                                                << QByteArray::fromHex("018302C0F1") << 0 << 200;
    QTest::newRow("nothing: the one byte 0 after the time-out")
        << read2 << QByteArray() << QByteArray(1, '\0') << 500 << 900;
    // 20 bits: the wait ends at 20 / 16 rounded up + 5 = 7 bytes, one short of the real answer.
    const QByteArray bits = WithCrc(QByteArray::fromHex("0101030F0F01"));
    QTest::newRow("f1 answer waited for per 16 bits")
        << FrameToSend(1, 1, 0, 20) << bits.left(7) << bits.left(7) << 0 << 250;
}

void TestLine::frameReceived()
{
    QFETCH(QByteArray, request);
    QFETCH(QByteArray, reply);
    QFETCH(QByteArray, answer);
    QFETCH(int, minMs);
    QFETCH(int, maxMs);
    PtyPair pty;
    QVERIFY(pty.ok());
    FakeSlave slave(pty, [reply](const QByteArray&) { return FakeSlave::Reply{reply}; });
    ComCtrl line;
    line.setPortName(pty.slavePath());
    line.open();
    QElapsedTimer clock;
    clock.start();
    const QByteArray received = FrameReceived(line, request, 0.5f);
    const qint64 elapsed = clock.elapsed();
    // Bytes beyond the expected length may ride along when they arrive together.
    QCOMPARE(received.left(answer.size()).toHex(' '), answer.toHex(' '));
    QVERIFY2(elapsed >= minMs && elapsed <= maxMs, qPrintable(QString::number(elapsed)));
    QCOMPARE(slave.requests().value(0), request);
}

QTEST_GUILESS_MAIN(TestLine)
#include "tst_line.moc"
