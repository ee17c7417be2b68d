#include "global.h"
#include "keyfilters.h"

#include <QRegularExpression>
#include <QTest>

class TestGlobal : public QObject
{
    Q_OBJECT

private slots:
    void unsignedAndSigned_data();
    void unsignedAndSigned();
    void signedOfWideValues_data();
    void signedOfWideValues();
    void binToDec_data();
    void binToDec();
    void intToBin_data();
    void intToBin();
    void intToBinRoundTripsThroughBinToDec();
    void numericKey_data();
    void numericKey();
    void hexKey_data();
    void hexKey();
    void versionTimeCodeAndGuid();
};

// Pairs that must map onto each other both ways.
void TestGlobal::unsignedAndSigned_data()
{
    QTest::addColumn<int>("word");
    QTest::addColumn<int>("unsignedValue");
    QTest::newRow("zero") << 0 << 0;
    QTest::newRow("largest positive") << 32767 << 32767;
    QTest::newRow("minus one is 65535") << -1 << 65535;
    QTest::newRow("smallest negative is 32768") << -32768 << 32768;
    QTest::newRow("CRC-like 0xA001 pattern") << -24575 << 40961;
}

void TestGlobal::unsignedAndSigned()
{
    QFETCH(int, word);
    QFETCH(int, unsignedValue);
    QCOMPARE(Global::Unsigned(static_cast<std::int16_t>(word)), unsignedValue);
    QCOMPARE(int(Global::Signed(unsignedValue)), word);
}

void TestGlobal::signedOfWideValues_data()
{
    QTest::addColumn<int>("value");
    QTest::addColumn<int>("expected");
    QTest::newRow("65536 wraps to 0") << 65536 << 0;
    QTest::newRow("65537 wraps to 1") << 65537 << 1;
    QTest::newRow("negative beyond the word") << -70000 << -4464;
    QTest::newRow("high bits ignored") << 0x7FFF0005 << 5;
}

void TestGlobal::signedOfWideValues()
{
    QFETCH(int, value);
    QFETCH(int, expected);
    QCOMPARE(int(Global::Signed(value)), expected);
}

void TestGlobal::binToDec_data()
{
    QTest::addColumn<QString>("bits");
    QTest::addColumn<int>("expected");
    const QString thirtyZeros(30, QLatin1Char('0'));
    QTest::newRow("empty") << QString() << 0;
    QTest::newRow("101") << QStringLiteral("101") << 5;
    QTest::newRow("sixteen ones stay positive") << QString(16, QLatin1Char('1')) << 65535;
    QTest::newRow("sign flag with zero magnitude")
        << QStringLiteral("1") + thirtyZeros + QStringLiteral("0") << 0;
    QTest::newRow("sign flag and magnitude one")
        << QStringLiteral("1") + thirtyZeros + QStringLiteral("1") << -1;
    QTest::newRow("largest magnitude")
        << QStringLiteral("0") + QString(31, QLatin1Char('1')) << 2147483647;
    QTest::newRow("longer text loses its left digits")
        << QStringLiteral("11") + QString(30, QLatin1Char('0')) + QStringLiteral("11") << 3;
    QTest::newRow("a blank counts as 0 but keeps its place") << QStringLiteral("1 1") << 5;
    QTest::newRow("other characters count as 0") << QStringLiteral("1x1") << 5;
}

void TestGlobal::binToDec()
{
    QFETCH(QString, bits);
    QFETCH(int, expected);
    QCOMPARE(Global::BinToDec(bits), expected);
}

void TestGlobal::intToBin_data()
{
    QTest::addColumn<int>("value");
    QTest::addColumn<bool>("strip");
    QTest::addColumn<QString>("expected");
    QTest::newRow("5 full") << 5 << false << QStringLiteral("0000 0000 0000 0101");
    QTest::newRow("5 stripped") << 5 << true << QStringLiteral("101");
    QTest::newRow("0 full") << 0 << false << QStringLiteral("0000 0000 0000 0000");
    QTest::newRow("0 stripped is empty") << 0 << true << QString();
    QTest::newRow("-1 full") << -1 << false << QStringLiteral("1111 1111 1111 1111");
    QTest::newRow("-32768 keeps the sign bit")
        << -32768 << false << QStringLiteral("1000 0000 0000 0000");
    QTest::newRow("32767 full") << 32767 << false << QStringLiteral("0111 1111 1111 1111");
    QTest::newRow("stripping removes a leading group and blank")
        << 0x0123 << true << QStringLiteral("1 0010 0011");
    QTest::newRow("stripping keeps inner zeros")
        << 0x1000 << true << QStringLiteral("1 0000 0000 0000");
    QTest::newRow("negative is never stripped")
        << -2 << true << QStringLiteral("1111 1111 1111 1110");
}

void TestGlobal::intToBin()
{
    QFETCH(int, value);
    QFETCH(bool, strip);
    QFETCH(QString, expected);
    QCOMPARE(Global::IntToBin(static_cast<std::int16_t>(value), strip), expected);
}

// The calculator feeds the binary box back through BinToDec: for every non-negative word the
// two must agree, and for negative words the sign flag makes the 16-bit text read as its
// unsigned value (BinToDec sees only 16 of its 32 positions).
void TestGlobal::intToBinRoundTripsThroughBinToDec()
{
    static const QRegularExpression blank(QStringLiteral(" "));
    for (int value = -32768; value <= 32767; value += 7) {
        const auto word = static_cast<std::int16_t>(value);
        const QString bits = Global::IntToBin(word, false).remove(blank);
        QCOMPARE(bits.size(), 16);
        QCOMPARE(Global::BinToDec(bits), Global::Unsigned(word));
        QCOMPARE(Global::Signed(Global::BinToDec(Global::IntToBin(word, true).remove(blank))),
                 word);
    }
}

void TestGlobal::numericKey_data()
{
    QTest::addColumn<int>("key");
    QTest::addColumn<bool>("signAllowed");
    QTest::addColumn<int>("expected");
    QTest::newRow("backspace") << 8 << false << 8;
    QTest::newRow("0") << int('0') << false << int('0');
    QTest::newRow("9") << int('9') << false << int('9');
    QTest::newRow("minus refused without sign") << int('-') << false << 0;
    QTest::newRow("plus refused without sign") << int('+') << false << 0;
    QTest::newRow("minus with sign") << int('-') << true << int('-');
    QTest::newRow("plus with sign") << int('+') << true << int('+');
    QTest::newRow("letter") << int('a') << true << 0;
    QTest::newRow("point") << int('.') << true << 0;
    QTest::newRow("blank") << int(' ') << true << 0;
    QTest::newRow("slash just below the digits") << int('/') << true << 0;
    QTest::newRow("colon just above the digits") << int(':') << true << 0;
    QTest::newRow("enter") << 13 << true << 0;
}

void TestGlobal::numericKey()
{
    QFETCH(int, key);
    QFETCH(bool, signAllowed);
    QFETCH(int, expected);
    QCOMPARE(KeyFilters::NumericKey(key, signAllowed), expected);
}

void TestGlobal::hexKey_data()
{
    QTest::addColumn<int>("key");
    QTest::addColumn<int>("expected");
    QTest::newRow("backspace") << 8 << 8;
    QTest::newRow("digit") << int('7') << int('7');
    QTest::newRow("A") << int('A') << int('A');
    QTest::newRow("F") << int('F') << int('F');
    QTest::newRow("b becomes B") << int('b') << int('B');
    QTest::newRow("f becomes F") << int('f') << int('F');
    QTest::newRow("g swallowed") << int('g') << 0;
    QTest::newRow("G swallowed") << int('G') << 0;
    QTest::newRow("at sign just below A") << int('@') << 0;
    QTest::newRow("backquote just below a") << int('`') << 0;
    QTest::newRow("minus swallowed") << int('-') << 0;
    QTest::newRow("blank swallowed") << int(' ') << 0;
}

void TestGlobal::hexKey()
{
    QFETCH(int, key);
    QFETCH(int, expected);
    QCOMPARE(KeyFilters::HexKey(key), expected);
}

void TestGlobal::versionTimeCodeAndGuid()
{
    QCOMPARE(Global::CurrentVersion(), QStringLiteral(K7310_VERSION));
    QCOMPARE(Global::CurrentVersionNumber().segmentCount(), 3);
    const QDateTime when(QDate(2024, 3, 5), QTime(7, 8, 9));
    QCOMPARE(Global::TimeCode(when), QStringLiteral("20240305-070809"));

    static const QRegularExpression guidForm(
        QStringLiteral("^\\{[0-9A-F]{8}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{12}\\}$"));
    const QString first = Global::GetGuid();
    QVERIFY2(guidForm.match(first).hasMatch(), qPrintable(first));
    QVERIFY(Global::GetGuid() != first);
}

QTEST_GUILESS_MAIN(TestGlobal)
#include "tst_global.moc"
