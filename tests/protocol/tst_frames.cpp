// The frame codec and the order of the slave search: pure functions, no port.
#include "commfunctions.h"
#include "detectk9120.h"
#include "ptypeer.h"

#include <QTest>

using namespace CommFunctions;

namespace {

QByteArray hex(const char* text)
{
    return QByteArray::fromHex(text);
}

FrameData items(std::initializer_list<int> values)
{
    return QList<int>(values);
}

} // namespace

class TestFrames : public QObject
{
    Q_OBJECT

private slots:
    void crc16NeedsRoomBehind_data()
    {
        QTest::addColumn<int>("size");
        QTest::addColumn<int>("length");
        QTest::addColumn<int>("crc"); // -1 here: no CRC, the fault is reported
        QTest::newRow("two bytes of room, 0x8776 comes back negative") << 8 << 6 << -30858;
        QTest::newRow("nothing covered is the start value 0xFFFF") << 2 << 0 << 0xFFFF;
        QTest::newRow("one byte of room") << 8 << 7 << -1;
        QTest::newRow("empty array") << 0 << 0 << -1;
    }

    void crc16NeedsRoomBehind()
    {
        QFETCH(int, size);
        QFETCH(int, length);
        QFETCH(int, crc);
        ReportCapture report;
        const std::int16_t value = CRC16(hex("1103006B00030000").left(size), std::int16_t(length));
        QCOMPARE(report.faults(), crc == -1 ? QStringList{"9 CRC16"} : QStringList());
        if (crc != -1)
            QCOMPARE(value, std::int16_t(crc));
    }

    void frameToSend_data()
    {
        QTest::addColumn<int>("slave");
        QTest::addColumn<int>("function");
        QTest::addColumn<int>("address");
        QTest::addColumn<int>("quantity");
        QTest::addColumn<FrameData>("data");
        QTest::addColumn<QByteArray>("frame"); // empty: none, the unknown function is reported
        const FrameData none;

        QTest::newRow("f3 one word") << 1 << 3 << 0 << 1 << none << hex("010300000001840A");
        QTest::newRow("f1 read bits") << 1 << 1 << 0x13 << 0x25 << none << hex("0101001300250C14");
        QTest::newRow("f5 non-zero is FF 00")
            << 1 << 5 << 0 << 1 << FrameData(1) << hex("01050000FF008C3A");
        QTest::newRow("f5 first list item")
            << 1 << 5 << 0 << 1 << items({0, 1}) << hex("010500000000CDCA");
        QTest::newRow("f6 slave 64, top address")
            << 64 << 6 << 65535 << 1 << FrameData(0x8000) << hex("4006FFFF8000E73F");
        QTest::newRow("slave 0 accepted") << 0 << 3 << 0 << 1 << none << hex("00030000000185DB");
        QTest::newRow("f15 bits packed lsb first")
            << 17 << 15 << 0x13 << 10 << items({1, 0, 1, 1, 0, 0, 1, 1, 1, 0})
            << hex("110F0013000A02CD01BF0B");
        QTest::newRow("f15 surplus items leave zero padding")
            << 1 << 15 << 0 << 3 << items({1, 1, 1, 0, 0, 0, 0, 0, 1, 1})
            << hex("010F000000030107001494");
        QTest::newRow("f16 four items for two words: four zero bytes")
            << 1 << 16 << 0 << 2 << items({0x1234, 0x5678, 9, 9})
            << hex("0110000000020412345678000000005A4F");
        QTest::newRow("unknown function") << 1 << 7 << 0 << 1 << FrameData(1) << QByteArray();

        // Error frames, each against the rules before it.
        QTest::newRow("err1 slave 65") << 65 << 3 << 0 << 1 << none << hex("01");
        QTest::newRow("err1 slave -1") << -1 << 3 << 0 << 1 << none << hex("01");
        QTest::newRow("err1 before err2") << 65 << 3 << -1 << 1 << none << hex("01");
        QTest::newRow("err2 address 65536") << 1 << 3 << 65536 << 1 << none << hex("02");
        QTest::newRow("err2 address -1") << 1 << 3 << -1 << 1 << none << hex("02");
        QTest::newRow("err2 before err3") << 1 << 16 << 70000 << 200 << none << hex("02");
        QTest::newRow("err3 f15 1969 bits") << 1 << 15 << 0 << 1969 << none << hex("03");
        QTest::newRow("err3 f16 124 words") << 1 << 16 << 0 << 124 << none << hex("03");
        QTest::newRow("err4 f5 without data") << 1 << 5 << 0 << 1 << none << hex("04");
        QTest::newRow("err4 empty list is no data") << 1 << 16 << 0 << 0 << items({}) << hex("04");
        QTest::newRow("err4 before err5") << 1 << 16 << 0 << 1 << none << hex("04");
        QTest::newRow("err4 before the unknown function") << 1 << 7 << 0 << 1 << none << hex("04");
        QTest::newRow("err5 f15 single value") << 1 << 15 << 0 << 1 << FrameData(1) << hex("05");
        QTest::newRow("err5 before err6") << 1 << 16 << 0 << 3 << FrameData(1) << hex("05");
        QTest::newRow("err6 f16 fewer items") << 1 << 16 << 0 << 3 << items({1, 2}) << hex("06");
        QTest::newRow("err6 f15 fewer items") << 1 << 15 << 0 << 9 << items({1}) << hex("06");
        QTest::newRow("err7 f6 quantity 2") << 1 << 6 << 0 << 2 << FrameData(5) << hex("07");
        QTest::newRow("err7 f5 quantity 0") << 1 << 5 << 0 << 0 << FrameData(1) << hex("07");
    }

    void frameToSend()
    {
        QFETCH(int, slave);
        QFETCH(int, function);
        QFETCH(int, address);
        QFETCH(int, quantity);
        QFETCH(FrameData, data);
        QFETCH(QByteArray, frame);
        ReportCapture report;
        QCOMPARE(FrameToSend(slave, function, address, quantity, data).toHex(' '),
                 frame.toHex(' '));
        QCOMPARE(report.faults(), frame.isEmpty() ? QStringList{"9 FrameToSend"} : QStringList());
    }

    void searchOrder_data()
    {
        QTest::addColumn<int>("speed");
        QTest::addColumn<int>("stops");
        QTest::addColumn<bool>("autoSearch");
        QTest::addColumn<QString>("expected");

        QTest::newRow("9600/2: 2 stop bits before 1, 9600/1 never tried")
            << 9600 << 2 << true
            << "9600/2 19200/2 19200/1 4800/2 4800/1 2400/2 2400/1 1200/2 1200/1";
        QTest::newRow("19200/1: current speed first, skipped where it comes again")
            << 19200 << 1 << true
            << "19200/1 9600/1 9600/2 4800/1 4800/2 2400/1 2400/2 1200/1 1200/2";
        QTest::newRow("speed outside the fixed list: every fixed speed with both")
            << 38400 << 1 << true
            << "38400/1 19200/1 19200/2 9600/1 9600/2 4800/1 4800/2 2400/1 2400/2 1200/1 1200/2";
        QTest::newRow("without automatic search: the current settings only")
            << 4800 << 2 << false << "4800/2";
    }

    void searchOrder()
    {
        QFETCH(int, speed);
        QFETCH(int, stops);
        QFETCH(bool, autoSearch);
        QFETCH(QString, expected);
        QStringList tried;
        for (const LineCombination& c : SearchOrder(speed, std::int16_t(stops), autoSearch))
            tried << QStringLiteral("%1/%2").arg(c.speed).arg(c.stops);
        QCOMPARE(tried.join(QLatin1Char(' ')), expected);
    }
};

QTEST_GUILESS_MAIN(TestFrames)
#include "tst_frames.moc"
