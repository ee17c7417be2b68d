#include "global.h"
#include "keyfilters.h"
#include "testkit.h"

#include <QRegularExpression>
#include <QTest>

using namespace Global;

class TestGlobal : public QObject
{
    Q_OBJECT

private slots:
    // Signed() keeps the low 16 bits of any value (the round trip below covers every word
    // within 16 bits); BinToDec() reads sign and magnitude on 32 positions; IntToBin() groups
    // 16 digits by four, and strips leading zeros of non-negative words on request.
    void conversions_data()
    {
        const QString zeros(30, QLatin1Char('0'));
        QTest::addColumn<QString>("function");
        QTest::addColumn<QString>("input");
        QTest::addColumn<QString>("expected");
        row("Signed: 32768 is the smallest negative", "Signed", "32768", "-32768");
        row("Signed: negative beyond the word", "Signed", "-70000", "-4464");
        row("Signed: high bits ignored", "Signed", "2147418117", "5");
        row("BinToDec: empty", "BinToDec", "", "0");
        row("BinToDec: sixteen ones stay positive", "BinToDec", QString(16, QLatin1Char('1')),
            "65535");
        row("BinToDec: sign flag with zero magnitude", "BinToDec", '1' + zeros + '0', "0");
        row("BinToDec: sign flag and magnitude one", "BinToDec", '1' + zeros + '1', "-1");
        row("BinToDec: largest magnitude", "BinToDec", '0' + QString(31, QLatin1Char('1')),
            "2147483647");
        row("BinToDec: longer text loses its left digits", "BinToDec", "11" + zeros + "11", "3");
        row("BinToDec: other characters count as 0 in place", "BinToDec", "1 1", "5");
        row("IntToBin: 5 full", "IntToBin", "5", "0000 0000 0000 0101");
        row("IntToBin: 0 stripped is empty", "IntToBin strip", "0", "");
        row("IntToBin: stripping removes a leading group", "IntToBin strip", "291", "1 0010 0011");
        row("IntToBin: stripping keeps inner zeros", "IntToBin strip", "4096", "1 0000 0000 0000");
        row("IntToBin: negative is never stripped", "IntToBin strip", "-2", "1111 1111 1111 1110");
    }
    void conversions()
    {
        QFETCH(QString, function);
        QFETCH(QString, input);
        QFETCH(QString, expected);
        QString result;
        if (function == QLatin1String("Signed"))
            result = QString::number(Signed(input.toInt()));
        else if (function == QLatin1String("BinToDec"))
            result = QString::number(BinToDec(input));
        else
            result = IntToBin(static_cast<std::int16_t>(input.toInt()), function.endsWith("strip"));
        QCOMPARE(result, expected);
    }

    // The calculator feeds the binary box back through BinToDec: a 16-bit text reads as the
    // word's unsigned value (BinToDec sees only 16 of its 32 positions).
    void intToBinRoundTripsThroughBinToDec()
    {
        for (int value = -32768; value <= 32767; value += 7) {
            const auto word = static_cast<std::int16_t>(value);
            const QString bits = IntToBin(word, false).remove(QLatin1Char(' '));
            QCOMPARE(bits.size(), 16);
            QCOMPARE(BinToDec(bits), Unsigned(word));
            QCOMPARE(Signed(BinToDec(IntToBin(word, true).remove(QLatin1Char(' ')))), word);
        }
    }

    // Filter "numeric", "signed" (numeric with a sign) or "hex"; 0 swallows the key.
    void keyFilters_data()
    {
        QTest::addColumn<QString>("filter");
        QTest::addColumn<int>("key");
        QTest::addColumn<int>("expected");
        row("numeric backspace", "numeric", 8, 8);
        row("numeric 0", "numeric", int('0'), int('0'));
        row("numeric refuses minus", "numeric", int('-'), 0);
        row("signed minus", "signed", int('-'), int('-'));
        row("signed plus", "signed", int('+'), int('+'));
        row("signed slash just below the digits", "signed", int('/'), 0);
        row("signed colon just above the digits", "signed", int(':'), 0);
        row("hex backspace", "hex", 8, 8);
        row("hex 9", "hex", int('9'), int('9'));
        row("hex A", "hex", int('A'), int('A'));
        row("hex f becomes F", "hex", int('f'), int('F'));
        row("hex G swallowed", "hex", int('G'), 0);
        row("hex g swallowed", "hex", int('g'), 0);
        row("hex at sign just below A", "hex", int('@'), 0);
        row("hex backquote just below a", "hex", int('`'), 0);
    }
    void keyFilters()
    {
        QFETCH(QString, filter);
        QFETCH(int, key);
        QFETCH(int, expected);
        const int result = filter == QLatin1String("hex")
                               ? KeyFilters::HexKey(key)
                               : KeyFilters::NumericKey(key, filter == QLatin1String("signed"));
        QCOMPARE(result, expected);
    }

    void versionTimeCodeAndGuid()
    {
        QCOMPARE(CurrentVersion(), QStringLiteral(K7310_VERSION));
        QCOMPARE(CurrentVersionNumber().segmentCount(), 3);
        QCOMPARE(TimeCode(QDateTime(QDate(2024, 3, 5), QTime(7, 8, 9))),
                 QStringLiteral("20240305-070809"));
        static const QRegularExpression guidForm(
            QStringLiteral("^\\{[0-9A-F]{8}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{12}\\}$"));
        const QString first = GetGuid();
        QVERIFY2(guidForm.match(first).hasMatch(), qPrintable(first));
        QVERIFY(GetGuid() != first);
    }
};

QTEST_GUILESS_MAIN(TestGlobal)
#include "tst_global.moc"
