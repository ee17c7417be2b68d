// Frame codec, answer checks and the settings text, without a port.
#include "comctrl.h"
#include "commfunctions.h"
#include "datafunctions7310.h"
#include "errorhandling.h"
#include "ptypeer.h"

#include <QTest>

using namespace CommFunctions;

namespace {

QByteArray hex(const char* text)
{
    return QByteArray::fromHex(text);
}

// QVariant form of the data argument: invalid = absent, int = one value, list = array.
FrameData toFrameData(const QVariant& data)
{
    if (!data.isValid())
        return {};
    if (data.typeId() == QMetaType::QVariantList) {
        QList<int> items;
        for (const QVariant& item : data.toList())
            items.append(item.toInt());
        return items;
    }
    return data.toInt();
}

QVariantList items(std::initializer_list<int> values)
{
    QVariantList list;
    for (const int value : values)
        list.append(value);
    return list;
}

} // namespace

class TestFrames : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void crc16NeedsRoomBehind_data();
    void crc16NeedsRoomBehind();
    void frameToSend_data();
    void frameToSend();
    void unknownFunctionIsReported();
    void expectedAnswerLength_data();
    void expectedAnswerLength();
    void frameToText_data();
    void frameToText();
    void settingsOnThePort();
};

void TestFrames::crc16NeedsRoomBehind_data()
{
    QTest::addColumn<int>("size");
    QTest::addColumn<int>("length");
    QTest::addColumn<int>("crc"); // -1 here: no CRC, the fault is reported
    QTest::newRow("two bytes of room, 0x8776 comes back negative") << 8 << 6 << -30858;
    QTest::newRow("nothing covered is the start value 0xFFFF") << 2 << 0 << 0xFFFF;
    QTest::newRow("one byte of room") << 8 << 7 << -1;
    QTest::newRow("no room") << 8 << 8 << -1;
    QTest::newRow("empty array") << 0 << 0 << -1;
}

void TestFrames::crc16NeedsRoomBehind()
{
    QFETCH(int, size);
    QFETCH(int, length);
    QFETCH(int, crc);
    ReportCapture report;
    const std::int16_t value = CRC16(hex("1103006B00030000").left(size), std::int16_t(length));
    QCOMPARE(report.messages.size(), crc == -1 ? 1 : 0);
    if (crc != -1) {
        QCOMPARE(value, std::int16_t(crc));
    } else {
        QVERIFY(report.messages.first().startsWith(QStringLiteral("Error Nr 9 : ")));
        QVERIFY(report.messages.first().endsWith(
            QStringLiteral("Module : CommFunctions\r\nFunction : CRC16")));
    }
}

void TestFrames::frameToSend_data()
{
    QTest::addColumn<int>("slave");
    QTest::addColumn<int>("function");
    QTest::addColumn<int>("address");
    QTest::addColumn<int>("quantity");
    QTest::addColumn<QVariant>("data");
    QTest::addColumn<QByteArray>("frame");
    const QVariant none;

    QTest::newRow("f3 one word") << 1 << 3 << 0 << 1 << none << hex("010300000001840A");
    QTest::newRow("f3 data ignored") << 1 << 3 << 0 << 1 << QVariant(7) << hex("010300000001840A");
    QTest::newRow("f1 read bits") << 1 << 1 << 0x13 << 0x25 << none << hex("0101001300250C14");
    QTest::newRow("f2 read inputs") << 1 << 2 << 0xC4 << 0x16 << none << hex("010200C40016B839");
    QTest::newRow("f4 read input words") << 1 << 4 << 8 << 1 << none << hex("010400080001B008");
    QTest::newRow("f5 non-zero is FF 00")
        << 1 << 5 << 0 << 1 << QVariant(1) << hex("01050000FF008C3A");
    QTest::newRow("f5 zero is 00 00") << 1 << 5 << 0 << 1 << QVariant(0) << hex("010500000000CDCA");
    QTest::newRow("f5 first list item")
        << 1 << 5 << 0 << 1 << QVariant(items({0, 1})) << hex("010500000000CDCA");
    QTest::newRow("f6 negative value")
        << 1 << 6 << 1 << 1 << QVariant(-2) << hex("01060001FFFE187A");
    QTest::newRow("f6 slave 64, top address")
        << 64 << 6 << 65535 << 1 << QVariant(0x8000) << hex("4006FFFF8000E73F");
    QTest::newRow("slave 0 accepted") << 0 << 3 << 0 << 1 << none << hex("00030000000185DB");
    QTest::newRow("f15 bits packed lsb first")
        << 17 << 15 << 0x13 << 10 << QVariant(items({1, 0, 1, 1, 0, 0, 1, 1, 1, 0}))
        << hex("110F0013000A02CD01BF0B");
    QTest::newRow("f15 surplus items leave zero padding")
        << 1 << 15 << 0 << 3 << QVariant(items({1, 1, 1, 0, 0, 0, 0, 0, 1, 1}))
        << hex("010F0000000301070014 94");
    QTest::newRow("f16 two words")
        << 17 << 16 << 1 << 2 << QVariant(items({10, 0x102})) << hex("1110000100020400 0A0102C6F0");
    QTest::newRow("f16 four items for two words: four zero bytes")
        << 1 << 16 << 0 << 2 << QVariant(items({0x1234, 0x5678, 9, 9}))
        << hex("01100000000204123456780000 00005A4F");

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
    QTest::newRow("err4 f6 without data") << 1 << 6 << 0 << 1 << none << hex("04");
    QTest::newRow("err4 empty list is no data")
        << 1 << 16 << 0 << 0 << QVariant(QVariantList()) << hex("04");
    QTest::newRow("err4 before err5") << 1 << 16 << 0 << 1 << none << hex("04");
    QTest::newRow("err5 f15 single value") << 1 << 15 << 0 << 1 << QVariant(1) << hex("05");
    QTest::newRow("err5 before err6") << 1 << 16 << 0 << 3 << QVariant(1) << hex("05");
    QTest::newRow("err6 f16 fewer items")
        << 1 << 16 << 0 << 3 << QVariant(items({1, 2})) << hex("06");
    QTest::newRow("err6 f15 fewer items") << 1 << 15 << 0 << 9 << QVariant(items({1})) << hex("06");
    QTest::newRow("err7 f6 quantity 2") << 1 << 6 << 0 << 2 << QVariant(5) << hex("07");
    QTest::newRow("err7 f5 quantity 0") << 1 << 5 << 0 << 0 << QVariant(1) << hex("07");
}

void TestFrames::frameToSend()
{
    QFETCH(int, slave);
    QFETCH(int, function);
    QFETCH(int, address);
    QFETCH(int, quantity);
    QFETCH(QVariant, data);
    QFETCH(QByteArray, frame);
    ReportCapture report;
    QCOMPARE(FrameToSend(slave, function, address, quantity, toFrameData(data)).toHex(' '),
             frame.toHex(' '));
    QVERIFY(report.messages.isEmpty());
}

void TestFrames::unknownFunctionIsReported()
{
    ReportCapture report;
    QVERIFY(FrameToSend(1, 7, 0, 1, 1).isEmpty());
    QVERIFY(FrameToSend(1, 0, 0, 1).isEmpty());
    QCOMPARE(report.messages.size(), 2);
    QVERIFY(report.messages[0].endsWith(QStringLiteral("Function : FrameToSend")));
    // The argument checks still come first.
    QCOMPARE(FrameToSend(1, 7, 0, 1), hex("04"));
}

void TestFrames::expectedAnswerLength_data()
{
    QTest::addColumn<QByteArray>("request");
    QTest::addColumn<QByteArray>("answer");
    QTest::addColumn<int>("length");
    QTest::newRow("f3 one word") << FrameToSend(1, 3, 0, 1) << QByteArray() << 7;
    QTest::newRow("f1 16 bits: one byte") << FrameToSend(1, 1, 0, 16) << QByteArray() << 6;
    QTest::newRow("f1 17 bits: two bytes") << FrameToSend(1, 1, 0, 17) << QByteArray() << 7;
    QTest::newRow("f16 echo") << FrameToSend(1, 16, 0, 3, QList<int>{1, 2, 3}) << QByteArray() << 8;
    QTest::newRow("unknown function") << hex("0107000000010000") << QByteArray() << 8;
    QTest::newRow("exception cuts to 5") << FrameToSend(1, 3, 0, 10) << hex("0183") << 5;
    QTest::newRow("0x80 is not an exception") << FrameToSend(1, 3, 0, 10) << hex("0180") << 25;
    QTest::newRow("one byte is too early to tell") << FrameToSend(1, 3, 0, 10) << hex("83") << 25;
}

void TestFrames::expectedAnswerLength()
{
    QFETCH(QByteArray, request);
    QFETCH(QByteArray, answer);
    QFETCH(int, length);
    QCOMPARE(ExpectedAnswerLength(request, answer), length);
}

void TestFrames::frameToText_data()
{
    QTest::addColumn<QByteArray>("frame");
    QTest::addColumn<QString>("text");
    const auto exceptionText = [](int id) {
        return QLatin1Char('(') + DataFunctions7310::GetText(id) + QLatin1Char(')');
    };
    QTest::newRow("request") << hex("010300000001840A")
                             << QStringLiteral("01 03 00 00 00 01 84 0A ");
    QTest::newRow("the one byte 0 is a time-out") << hex("00") << QStringLiteral("(Time-out)");
    QTest::newRow("two zero bytes") << hex("0000") << QStringLiteral("00 00 ");
    QTest::newRow("exception to f3")
        << hex("018302C0F1") << QStringLiteral("01 83 02 C0 F1 ") + exceptionText(233803);
    QTest::newRow("exception to f16")
        << hex("019004") << QStringLiteral("01 90 04 ") + exceptionText(233816);
    QTest::newRow("0x80 has no suffix") << hex("0180") << QStringLiteral("01 80 ");
}

void TestFrames::frameToText()
{
    QFETCH(QByteArray, frame);
    QFETCH(QString, text);
    QCOMPARE(FrameToText(frame), text);
}

void TestFrames::settingsOnThePort()
{
    ReportCapture report;
    ComCtrl line;
    QCOMPARE(line.settings(), QStringLiteral("9600,n,8,1"));
    QCOMPARE(GetCommBauds(line), 9600);
    QVERIFY(SetCommBauds(line, 19200));
    QVERIFY(SetCommStops(line, 2));
    QVERIFY(SetCommParity(line, QStringLiteral("e")));
    QCOMPARE(line.settings(), QStringLiteral("19200,e,8,2"));
    QCOMPARE(GetCommBauds(line), 19200);
    QCOMPARE(GetCommStops(line), std::int16_t(2));
    QCOMPARE(GetCommParity(line), QStringLiteral("e"));
    QVERIFY(report.messages.isEmpty());

    // A text the port cannot take is refused and reported; the old text stays.
    QVERIFY(!SetCommStops(line, 3));
    QVERIFY(!SetCommParity(line, QStringLiteral("x")));
    QVERIFY(!SetCommBauds(line, 0));
    QCOMPARE(line.settings(), QStringLiteral("19200,e,8,2"));
    QCOMPARE(report.messages.size(), 3);
    QVERIFY(report.messages[0].contains(QStringLiteral("Function : SetCommStops")));
    QVERIFY(report.messages[0].startsWith(QStringLiteral("Error Nr 8015 : ")));
}

// Exception answers are described by texts of the data file built beside the program.
void TestFrames::initTestCase()
{
    QString detail;
    QCOMPARE(
        DataFunctions7310::OpenDataFile(QStringLiteral(K7310_BIN_DIR "/k7310console.dat"), &detail),
        0);
    DataFunctions7310::SetCurrentLanguage(QStringLiteral("English"));
    const QString text = DataFunctions7310::GetText(233803);
    QVERIFY2(!text.isEmpty() && !text.startsWith(QLatin1Char('#')), qPrintable(text));
}

QTEST_GUILESS_MAIN(TestFrames)
#include "tst_frames.moc"
