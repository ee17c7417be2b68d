// Frame codec, answer checks and the settings text, without a port.
#include "comctrl.h"
#include "commfunctions.h"
#include "datafunctions7310.h"
#include "errorhandling.h"

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

// Closes a frame with its CRC, low byte first.
QByteArray withCrc(QByteArray frame)
{
    const std::uint16_t crc = Crc16Of(frame.constData(), frame.size());
    frame.append(char(crc & 0xFF));
    frame.append(char(crc >> 8));
    return frame;
}

QVariantList items(std::initializer_list<int> values)
{
    QVariantList list;
    for (const int value : values)
        list.append(value);
    return list;
}

// Collects what the error report would show.
class ReportCapture
{
public:
    ReportCapture()
        : m_previous(ErrorReport::SetPresenter([this](const QString& m) { messages.append(m); }))
    {}
    ~ReportCapture() { ErrorReport::SetPresenter(m_previous); }
    QStringList messages;

private:
    ErrorReport::Presenter m_previous;
};

} // namespace

class TestFrames : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void crc16_data();
    void crc16();
    void crc16NeedsRoomBehind_data();
    void crc16NeedsRoomBehind();
    void frameToSend_data();
    void frameToSend();
    void frameSizes_data();
    void frameSizes();
    void unknownFunctionIsReported();
    void expectedAnswerLength_data();
    void expectedAnswerLength();
    void frameToText_data();
    void frameToText();
    void wordRequests();
    void readAnswer_data();
    void readAnswer();
    void writeEcho_data();
    void writeEcho();
    void settingsText_data();
    void settingsText();
    void settingsOnThePort();
    void sharedValueDefaults();
};

void TestFrames::crc16_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<int>("crc");
    QTest::newRow("read one word") << hex("010300000001") << 0x0A84;
    QTest::newRow("high bit set comes back negative") << hex("1103006B0003") << -30858; // 0x8776
    QTest::newRow("nothing covered is the start value, -1") << QByteArray() << -1;
    QTest::newRow("exception answer") << hex("018302") << 0xF1C0;
}

void TestFrames::crc16()
{
    QFETCH(QByteArray, bytes);
    QFETCH(int, crc);
    // The array carries two spare bytes for the CRC, as callers allocate it.
    const QByteArray withRoom = bytes + QByteArray(2, '\0');
    QCOMPARE(int(CRC16(withRoom, std::int16_t(bytes.size()))), int(std::int16_t(crc)));
}

void TestFrames::crc16NeedsRoomBehind_data()
{
    QTest::addColumn<int>("size");
    QTest::addColumn<int>("length");
    QTest::addColumn<bool>("reported");
    QTest::newRow("two bytes of room") << 8 << 6 << false;
    QTest::newRow("one byte of room") << 8 << 7 << true;
    QTest::newRow("no room") << 8 << 8 << true;
    QTest::newRow("empty array") << 0 << 0 << true;
}

void TestFrames::crc16NeedsRoomBehind()
{
    QFETCH(int, size);
    QFETCH(int, length);
    QFETCH(bool, reported);
    ReportCapture report;
    const QByteArray bytes = hex("0103000000010000").left(size);
    const std::int16_t crc = CRC16(bytes, std::int16_t(length));
    QCOMPARE(report.messages.size(), reported ? 1 : 0);
    if (reported) {
        QCOMPARE(crc, std::int16_t(0));
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

void TestFrames::frameSizes_data()
{
    QTest::addColumn<int>("function");
    QTest::addColumn<int>("quantity");
    QTest::addColumn<int>("itemCount");
    QTest::addColumn<int>("size");
    QTest::newRow("f15 largest quantity") << 15 << 1968 << 1968 << 246 + 9;
    QTest::newRow("f15 sized from items") << 15 << 1 << 17 << 3 + 9;
    QTest::newRow("f15 quantity 0") << 15 << 0 << 1 << 1 + 9;
    QTest::newRow("f16 largest quantity") << 16 << 123 << 123 << 246 + 9;
    QTest::newRow("f16 sized from items") << 16 << 1 << 10 << 20 + 9;
    QTest::newRow("f3 quantity beyond one byte") << 3 << 300 << 0 << 8;
}

void TestFrames::frameSizes()
{
    QFETCH(int, function);
    QFETCH(int, quantity);
    QFETCH(int, itemCount);
    QFETCH(int, size);
    const FrameData data = itemCount ? FrameData(QList<int>(itemCount, 1)) : FrameData();
    const QByteArray frame = FrameToSend(5, function, 0x1234, quantity, data);
    QCOMPARE(frame.size(), size);
    QCOMPARE(int(std::uint8_t(frame[4])) * 256 + std::uint8_t(frame[5]), quantity);
    if (function == 15) {
        QCOMPARE(int(std::uint8_t(frame[6])), (quantity + 7) / 8 % 256);
    }
    if (function == 16) {
        QCOMPARE(int(std::uint8_t(frame[6])), quantity * 2 % 256);
    }
    // The CRC covers everything before it, padding included.
    const std::uint16_t crc = Crc16Of(frame.constData(), frame.size() - 2);
    QCOMPARE(std::uint8_t(frame[size - 2]), std::uint8_t(crc & 0xFF));
    QCOMPARE(std::uint8_t(frame[size - 1]), std::uint8_t(crc >> 8));
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
    QTest::newRow("f4 125 words") << FrameToSend(1, 4, 0, 125) << QByteArray() << 255;
    QTest::newRow("f1 16 bits: one byte") << FrameToSend(1, 1, 0, 16) << QByteArray() << 6;
    QTest::newRow("f1 17 bits: two bytes") << FrameToSend(1, 1, 0, 17) << QByteArray() << 7;
    QTest::newRow("f2 no bits") << FrameToSend(1, 2, 0, 0) << QByteArray() << 5;
    QTest::newRow("f5 echo") << FrameToSend(1, 5, 0, 1, 1) << QByteArray() << 8;
    QTest::newRow("f16 echo") << FrameToSend(1, 16, 0, 3, QList<int>{1, 2, 3}) << QByteArray() << 8;
    QTest::newRow("unknown function") << hex("0107000000010000") << QByteArray() << 8;
    QTest::newRow("exception cuts to 5") << FrameToSend(1, 3, 0, 10) << hex("0183") << 5;
    QTest::newRow("0x80 is not an exception") << FrameToSend(1, 3, 0, 10) << hex("0180") << 25;
    QTest::newRow("one byte is too early to tell") << FrameToSend(1, 3, 0, 10) << hex("83") << 25;
    QTest::newRow("truncated request") << hex("0103") << QByteArray() << 5;
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
    QTest::newRow("one other byte") << hex("0A") << QStringLiteral("0A ");
    QTest::newRow("two zero bytes") << hex("0000") << QStringLiteral("00 00 ");
    QTest::newRow("empty") << QByteArray() << QString();
    QTest::newRow("exception to f3")
        << hex("018302C0F1") << QStringLiteral("01 83 02 C0 F1 ") + exceptionText(233803);
    QTest::newRow("exception to f1")
        << hex("0181") << QStringLiteral("01 81 ") + exceptionText(233801);
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

void TestFrames::wordRequests()
{
    QCOMPARE(ReadWordsRequest(1, 0, 1), hex("010300000001840A"));
    QCOMPARE(ReadWordsRequest(0x11, 0x6B, 3), hex("1103006B00037687"));
    QCOMPARE(WriteWordRequest(1, 1, -2), hex("01060001FFFE187A"));
    QCOMPARE(WriteWordRequest(42, 65, 5), hex("2A06004100051FC6"));
}

void TestFrames::readAnswer_data()
{
    QTest::addColumn<QByteArray>("answer");
    QTest::addColumn<bool>("accepted");
    // Request: slave 1, one word at 0.
    QTest::newRow("valid") << hex("010302002A399B") << true;
    QTest::newRow("byte count not looked at") << withCrc(hex("0103FF002A")) << true;
    QTest::newRow("one byte too many") << hex("010302002A399B00") << false;
    QTest::newRow("one byte short") << hex("010302002A39") << false;
    QTest::newRow("wrong crc") << hex("010302002A399C") << false;
    QTest::newRow("crc bytes swapped") << hex("010302002A9B39") << false;
    QTest::newRow("wrong slave") << withCrc(hex("020302002A")) << false;
    QTest::newRow("wrong function") << withCrc(hex("010402002A")) << false;
    QTest::newRow("exception") << hex("018302C0F1") << false;
    QTest::newRow("nothing") << hex("00") << false;
}

void TestFrames::readAnswer()
{
    QFETCH(QByteArray, answer);
    QFETCH(bool, accepted);
    const QByteArray request = ReadWordsRequest(1, 0, 1);
    QCOMPARE(ValidReadAnswer(request, answer), accepted);
    if (accepted) {
        QCOMPARE(AnswerWords(answer), QList<std::int16_t>{42});
    }
    // Whatever the answer, it never matches a request for another function or slave.
    QVERIFY(!ValidReadAnswer(WriteWordRequest(1, 0, 1), answer));
    QVERIFY(!ValidReadAnswer(ReadWordsRequest(3, 0, 1), answer));
}

void TestFrames::writeEcho_data()
{
    QTest::addColumn<QByteArray>("echo");
    QTest::addColumn<bool>("accepted");
    // Request: slave 1 writes 0xFFFE at 1.
    QTest::newRow("exact echo") << hex("01060001FFFE187A") << true;
    QTest::newRow("wrong crc still accepted") << hex("01060001FFFE0000") << true;
    QTest::newRow("other address and value still accepted") << hex("0106123400000000") << true;
    QTest::newRow("seven bytes") << hex("01060001FFFE18") << false;
    QTest::newRow("nine bytes") << hex("01060001FFFE187A00") << false;
    QTest::newRow("wrong slave") << hex("02060001FFFE187A") << false;
    QTest::newRow("exception") << hex("018602C3A1") << false;
    QTest::newRow("exception padded to eight") << hex("0186020000000000") << false;
}

void TestFrames::writeEcho()
{
    QFETCH(QByteArray, echo);
    QFETCH(bool, accepted);
    QCOMPARE(ValidWriteAnswer(WriteWordRequest(1, 1, -2), echo), accepted);
}

void TestFrames::settingsText_data()
{
    QTest::addColumn<QString>("before");
    QTest::addColumn<QString>("field");
    QTest::addColumn<QString>("value");
    QTest::addColumn<QString>("after");
    QTest::newRow("speed up") << "9600,n,8,1"
                              << "bauds"
                              << "19200"
                              << "19200,n,8,1";
    QTest::newRow("speed down") << "115200,e,7,2"
                                << "bauds"
                                << "1200"
                                << "1200,e,7,2";
    QTest::newRow("two stop bits") << "9600,n,8,1"
                                   << "stops"
                                   << "2"
                                   << "9600,n,8,2";
    QTest::newRow("even parity") << "9600,n,8,1"
                                 << "parity"
                                 << "e"
                                 << "9600,e,8,1";
    QTest::newRow("parity from a word") << "9600,n,8,1"
                                        << "parity"
                                        << "odd"
                                        << "9600,o,8,1";
    QTest::newRow("empty parity changes nothing") << "9600,n,8,1"
                                                  << "parity"
                                                  << ""
                                                  << "9600,n,8,1";
}

void TestFrames::settingsText()
{
    QFETCH(QString, before);
    QFETCH(QString, field);
    QFETCH(QString, value);
    QFETCH(QString, after);
    QString text;
    if (field == QLatin1String("bauds")) {
        text = WithCommBauds(before, value.toInt());
        QCOMPARE(CommBaudsOf(text), value.toInt());
    } else if (field == QLatin1String("stops")) {
        text = WithCommStops(before, std::int16_t(value.toInt()));
        QCOMPARE(int(CommStopsOf(text)), value.toInt());
    } else {
        text = WithCommParity(before, value);
        QCOMPARE(CommParityOf(text), after.mid(after.indexOf(QLatin1Char(',')) + 1, 1));
    }
    QCOMPARE(text, after);
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

void TestFrames::sharedValueDefaults()
{
    QCOMPARE(RtsHandshake(), false);
    QCOMPARE(RtsDelay(), 5);
    QCOMPARE(FrameDelay(), 50);
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
