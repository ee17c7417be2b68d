// The simulator's slave logic, driven frame by frame without a line.
#include "crc.h"
#include "faults.h"
#include "panelslave.h"
#include "statefile.h"

#include <QTemporaryDir>
#include <QtTest>

using namespace k7310sim;
using namespace std::chrono_literals;

Q_DECLARE_METATYPE(k7310sim::Firmware)

namespace {

Bytes fromHex(const char* hex)
{
    const QByteArray raw = QByteArray::fromHex(QByteArray(hex));
    return Bytes(raw.begin(), raw.end());
}

QByteArray toHex(const Bytes& b)
{
    return QByteArray(reinterpret_cast<const char*>(b.data()), static_cast<qsizetype>(b.size()))
        .toHex(' ')
        .toUpper();
}

Bytes withCrc(Bytes b)
{
    appendCrc(b);
    return b;
}

// Sends a request (CRC added) and returns the answer without its CRC, after checking it.
Bytes exchange(PanelSlave& slave, const char* hex, Clock::time_point now = Clock::now())
{
    const Reply r = slave.handle(withCrc(fromHex(hex)), now);
    if (r.kind != Reply::Kind::Answer)
        return {};
    if (!crcValid(r.answer))
        return {0xBA, 0xD0};
    return Bytes(r.answer.begin(), r.answer.end() - 2);
}

std::uint16_t readOne(PanelSlave& slave, unsigned word, Clock::time_point now = Clock::now())
{
    Bytes req{1, 3, static_cast<std::uint8_t>(word >> 8), static_cast<std::uint8_t>(word), 0, 1};
    const Reply r = slave.handle(withCrc(req), now);
    if (r.answer.size() != 7)
        return 0xFFFF;
    return static_cast<std::uint16_t>((r.answer[3] << 8) | r.answer[4]);
}

} // namespace

class TestSimSlave : public QObject
{
    Q_OBJECT

private slots:
    void crcKnownFrame()
    {
        const Bytes f = withCrc(fromHex("010300000001"));
        QCOMPARE(toHex(f), QByteArray("01 03 00 00 00 01 84 0A"));
        QVERIFY(crcValid(f));
        Bytes bad = f;
        bad[3] ^= 0x01;
        QVERIFY(!crcValid(bad));
    }

    void answers_data()
    {
        QTest::addColumn<Firmware>("firmware");
        QTest::addColumn<QByteArray>("request");
        QTest::addColumn<QByteArray>("answer"); // without CRC; empty: silence

        const auto V28 = Firmware::V28, V27 = Firmware::V27, V26 = Firmware::V26;
        QTest::newRow("config block at factory defaults")
            << V28 << QByteArray("010300800004") << QByteArray("01 03 08 00 FE 00 01 00 01 00 00");
        QTest::newRow("option block 65-67 with 66")
            << V28 << QByteArray("010300410003") << QByteArray("01 03 06 00 00 00 00 00 01");
        QTest::newRow("2.8 serves 69 and 70")
            << V28 << QByteArray("010300450002") << QByteArray("01 03 04 00 00 00 00");
        QTest::newRow("2.7 refuses 70")
            << V27 << QByteArray("010300460001") << QByteArray("01 83 02");
        QTest::newRow("2.7 refuses 70 inside a block")
            << V27 << QByteArray("010300400007") << QByteArray("01 83 02");
        QTest::newRow("2.6 refuses a write of 70")
            << V26 << QByteArray("010600460001") << QByteArray("01 86 02");
        QTest::newRow("hole between image and horn")
            << V28 << QByteArray("0103001D0002") << QByteArray("01 83 02");
        QTest::newRow("word 0 is write only")
            << V28 << QByteArray("010300000001") << QByteArray("01 83 02");
        QTest::newRow("word 132 does not exist")
            << V28 << QByteArray("010300830002") << QByteArray("01 83 02");
        QTest::newRow("read quantity 0")
            << V28 << QByteArray("010300800000") << QByteArray("01 83 03");
        QTest::newRow("read quantity 126")
            << V28 << QByteArray("01030001007E") << QByteArray("01 83 03");
        QTest::newRow("speed code FD refused")
            << V28 << QByteArray("0106008000FD") << QByteArray("01 86 03");
        QTest::newRow("stop bits 3 refused")
            << V28 << QByteArray("010600810003") << QByteArray("01 86 03");
        QTest::newRow("slave 65 refused")
            << V28 << QByteArray("010600820041") << QByteArray("01 86 03");
        QTest::newRow("slave 64 accepted")
            << V28 << QByteArray("010600820040") << QByteArray("01 06 00 82 00 40");
        QTest::newRow("bus mode 4 refused")
            << V28 << QByteArray("010600830004") << QByteArray("01 86 03");
        QTest::newRow("LED state 8 refused")
            << V28 << QByteArray("010600010008") << QByteArray("01 86 03");
        QTest::newRow("all-off with 1 refused")
            << V28 << QByteArray("010600000001") << QByteArray("01 86 03");
        QTest::newRow("acknowledgement word is read only")
            << V28 << QByteArray("010600440000") << QByteArray("01 86 02");
        QTest::newRow("write one word echoed")
            << V28 << QByteArray("010600410001") << QByteArray("01 06 00 41 00 01");
        QTest::newRow("write block answered with address and quantity")
            << V28 << QByteArray("0110001900020400010002") << QByteArray("01 10 00 19 00 02");
        QTest::newRow("write block byte count wrong")
            << V28 << QByteArray("0110001900020300010002") << QByteArray("01 90 03");
        QTest::newRow("write block over a missing word")
            << V27 << QByteArray("0110004500020400000000") << QByteArray("01 90 02");
        QTest::newRow("write block with one bad value")
            << V28 << QByteArray("0110008000020400FE0005") << QByteArray("01 90 03");
        QTest::newRow("function 4 unsupported")
            << V28 << QByteArray("010400800001") << QByteArray("01 84 01");
        QTest::newRow("other slave is silent") << V28 << QByteArray("020300800001") << QByteArray();
        QTest::newRow("broadcast write is silent")
            << V28 << QByteArray("000600410001") << QByteArray();
    }

    void answers()
    {
        QFETCH(Firmware, firmware);
        QFETCH(QByteArray, request);
        QFETCH(QByteArray, answer);
        PanelSlave slave(firmware);
        QCOMPARE(toHex(exchange(slave, request.constData())), answer);
    }

    void silentOnBadFrames_data()
    {
        QTest::addColumn<QByteArray>("frame");
        QTest::newRow("bad CRC") << QByteArray("010300800001FFFF");
        QTest::newRow("two bytes") << QByteArray("0103");
        QTest::newRow("probe with one byte more") << QByteArray("417F7000");
        QTest::newRow("empty") << QByteArray();
    }

    void silentOnBadFrames()
    {
        QFETCH(QByteArray, frame);
        PanelSlave slave;
        const Reply r = slave.handle(fromHex(frame.constData()), Clock::now());
        QCOMPARE(r.kind, Reply::Kind::Dropped);
        QVERIFY(r.answer.empty());
    }

    void broadcastWriteIsCarriedOut()
    {
        PanelSlave slave;
        slave.handle(withCrc(fromHex("000600830002")), Clock::now());
        QCOMPARE(slave.config().busMode, 2);
    }

    void lineChangeTakesEffectAfterAnswer_data()
    {
        QTest::addColumn<QByteArray>("request");
        QTest::addColumn<int>("baud");
        QTest::addColumn<int>("stopBits");
        QTest::addColumn<int>("slaveNumber");
        QTest::newRow("speed 19200") << QByteArray("0106008000FF") << 19200 << 1 << 1;
        QTest::newRow("two stop bits") << QByteArray("010600810002") << 9600 << 2 << 1;
        QTest::newRow("slave 9") << QByteArray("010600820009") << 9600 << 1 << 9;
        QTest::newRow("all three in one block")
            << QByteArray("01100080000306 00FC 0002 0021") << 4800 << 2 << 33;
    }

    void lineChangeTakesEffectAfterAnswer()
    {
        QFETCH(QByteArray, request);
        QFETCH(int, baud);
        QFETCH(int, stopBits);
        QFETCH(int, slaveNumber);
        PanelSlave slave;
        const LineSettings before = slave.lineSettings();
        const Reply r = slave.handle(withCrc(fromHex(request.constData())), Clock::now());
        QCOMPARE(r.kind, Reply::Kind::Answer);
        QCOMPARE(r.answer[0], 1); // answered as the old slave number
        QVERIFY(r.configChanged);
        QCOMPARE(slave.lineSettings(), before); // the answer goes out at the old settings
        QVERIFY(slave.applyLineSettings());
        QCOMPARE(slave.lineSettings(), (LineSettings{baud, stopBits, slaveNumber}));
        QVERIFY(!slave.applyLineSettings());
    }

    void refusedBlockChangesNothing()
    {
        PanelSlave slave;
        // Speed valid, stop bits valid, slave 0 invalid: the whole block is refused.
        QCOMPARE(toHex(exchange(slave, "0110008000030600FF00020000")), QByteArray("01 90 03"));
        QCOMPARE(slave.config(), Config{});
        QVERIFY(!slave.applyLineSettings());
    }

    void imageRoundTripAllLeds()
    {
        PanelSlave slave;
        Bytes write{1, 16, 0, ImageFirst, 0, 5, 10};
        std::array<std::uint8_t, ledCount> leds{};
        for (int n = 0; n < ledCount; ++n)
            leds[static_cast<std::size_t>(n)] = static_cast<std::uint8_t>((n * 5 + 3) % 8);
        for (std::uint16_t w : packImage(leds, true)) {
            write.push_back(static_cast<std::uint8_t>(w >> 8));
            write.push_back(static_cast<std::uint8_t>(w));
        }
        QCOMPARE(slave.handle(withCrc(write), Clock::now()).kind, Reply::Kind::Answer);
        for (int n = 0; n < ledCount; ++n)
            QCOMPARE(readOne(slave, FirstLed + static_cast<unsigned>(n)),
                     leds[static_cast<std::size_t>(n)]);
        Bytes expect{1, 3, 10};
        expect.insert(expect.end(), write.begin() + 7, write.end());
        QCOMPARE(exchange(slave, "010300190005"), expect);
        // A word 0x7FFF read back gives LEDs 0 to 4 the state 7.
        exchange(slave, "010600197FFF");
        for (unsigned w = FirstLed; w < FirstLed + 5; ++w)
            QCOMPARE(readOne(slave, w), 7);
        // Switching all off clears the LEDs and leaves the horn alone.
        exchange(slave, "010600000000");
        QCOMPARE(slave.leds(), (std::array<std::uint8_t, ledCount>{}));
        QVERIFY(slave.horn() != 0);
        QVERIFY(QString::fromStdString(slave.picture()).contains("horn ON"));
    }

    void automaticAcknowledgement()
    {
        PanelSlave slave;
        slave.setAutoAck(2000ms);
        const auto t0 = Clock::now();
        exchange(slave, "010600190001", t0); // LEDs only, horn off: nothing to acknowledge
        QVERIFY(!slave.nextDeadline());
        exchange(slave, "010600400001", t0);
        QCOMPARE(slave.nextDeadline(), t0 + 2000ms);
        QCOMPARE(readOne(slave, Acknowledge, t0 + 1999ms), 0);
        QCOMPARE(readOne(slave, Acknowledge, t0 + 2000ms), 1);
        // The acknowledged alarm is shown steady with the horn off: word 68 back to 0 and
        // no new automatic acknowledgement.
        exchange(slave, "010600400000", t0 + 2100ms);
        QCOMPARE(readOne(slave, Acknowledge, t0 + 9000ms), 0);
        QVERIFY(!slave.nextDeadline());
    }

    void lampTest()
    {
        PanelSlave slave;
        slave.setLampTestDuration(3000ms);
        const auto t0 = Clock::now();
        QCOMPARE(readOne(slave, LampTest, t0), 0);
        exchange(slave, "010600420001", t0);
        QCOMPARE(readOne(slave, LampTest, t0 + 2999ms), 1);
        QVERIFY(QString::fromStdString(slave.picture()).contains("11111111 11111111 11111111"));
        QCOMPARE(slave.leds(), (std::array<std::uint8_t, ledCount>{})); // image untouched
        QCOMPARE(readOne(slave, LampTest, t0 + 3000ms), 0);
        QVERIFY(QString::fromStdString(slave.picture()).startsWith("LEDs ........ "));
        QCOMPARE(toHex(exchange(slave, "010600420002", t0)), QByteArray("01 86 03"));
    }

    void requestSize_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<int>("size");
        QTest::newRow("read") << QByteArray("0103") << 8;
        QTest::newRow("write one") << QByteArray("0106") << 8;
        QTest::newRow("write block before its count") << QByteArray("011000190005") << 0;
        QTest::newRow("write block of 5 words") << QByteArray("01100019000510") << 9 + 16;
        QTest::newRow("probe") << QByteArray("417F70") << 3;
        QTest::newRow("unknown function waits for the gap") << QByteArray("0141") << 0;
        QTest::newRow("one byte") << QByteArray("01") << 0;
    }

    void requestSize()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(int, size);
        QCOMPARE(static_cast<int>(expectedRequestSize(fromHex(bytes.constData()))), size);
    }

    void faultParsing_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<bool>("valid");
        QTest::addColumn<QString>("name");
        QTest::newRow("no answer") << "none" << true << "none";
        QTest::newRow("late 250") << "late:250" << true << "late:250";
        QTest::newRow("noise 7") << "noise:7" << true << "noise:7";
        QTest::newRow("noise 0") << "noise:0" << false << "";
        QTest::newRow("argument on bad-crc") << "bad-crc:3" << false << "";
        QTest::newRow("unknown") << "crc" << false << "";
    }

    void faultParsing()
    {
        QFETCH(QString, text);
        QFETCH(bool, valid);
        QFETCH(QString, name);
        const auto f = parseFault(text.toStdString());
        QCOMPARE(f.has_value(), valid);
        if (f)
            QCOMPARE(QString::fromStdString(faultName(*f)), name);
    }

    void stateFileRoundTrip()
    {
        QTemporaryDir dir;
        const std::string path = dir.filePath("panel.state").toStdString();
        Config cfg;
        cfg.speedCode = 0xF8;
        cfg.stopBits = 2;
        cfg.slave = 42;
        cfg.busMode = 3;
        cfg.synchro = 1;
        cfg.ackAuthorised = 0;
        cfg.busControlKL = 1;
        cfg.ledTestKL = 1;
        QVERIFY(saveState(path, cfg));
        Config back;
        std::string warnings;
        QVERIFY(loadState(path, back, warnings));
        QCOMPARE(back, cfg);
        QVERIFY(warnings.empty());
        QVERIFY(!loadState(dir.filePath("missing").toStdString(), back, warnings));
    }

    void stateFileSkipsBadLines()
    {
        QTemporaryDir dir;
        QFile file(dir.filePath("panel.state"));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("# comment\n130=70\n131=2\n128=254\nnonsense\n999=1\n");
        file.close();
        Config cfg;
        std::string warnings;
        QVERIFY(loadState(file.fileName().toStdString(), cfg, warnings));
        QCOMPARE(cfg.slave, 1); // 70 is no slave number
        QCOMPARE(cfg.busMode, 2);
        QCOMPARE(QString::fromStdString(warnings).count("skipped"), 3);
    }
};

QTEST_APPLESS_MAIN(TestSimSlave)
#include "tst_simslave.moc"
