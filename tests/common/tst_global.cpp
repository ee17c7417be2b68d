#include "errorhandling.h"
#include "global.h"
#include "keyfilters.h"
#include "testkit.h"

#include <QTest>

using namespace Global;

class TestGlobal : public QObject
{
    Q_OBJECT

private slots:
    // Signed() keeps the low 16 bits of any value; BinToDec() reads sign and magnitude on 32
    // positions. (The calculator's converter rows show IntToBin() and the round trip.)
    void conversions_data()
    {
        const QString zeros(30, QLatin1Char('0'));
        columns<QString, QStringList, QStringList>("function", "inputs", "expected");
        row("Signed: smallest negative, negative beyond the word, high bits ignored", "Signed",
            QStringList{"32768", "-70000", "2147418117"}, QStringList{"-32768", "-4464", "5"});
        // Empty; sixteen ones stay positive; sign flag with magnitude 0 and 1; largest magnitude;
        // a longer text loses its left digits; other characters count as 0 in place.
        row("BinToDec", "BinToDec",
            QStringList{"", QString(16, QLatin1Char('1')), '1' + zeros + '0', '1' + zeros + '1',
                        '0' + QString(31, QLatin1Char('1')), "11" + zeros + "11", "1 1"},
            QStringList{"0", "65535", "0", "-1", "2147483647", "3", "5"});
    }
    void conversions()
    {
        const auto [function, inputs, expected] =
            fetch<QString, QStringList, QStringList>("function", "inputs", "expected");
        QStringList results;
        for (const QString& input : inputs)
            results << QString::number(function == QLatin1String("Signed") ? Signed(input.toInt())
                                                                           : BinToDec(input));
        QCOMPARE(results, expected);
    }

    // Filter "numeric", "signed" (numeric with a sign) or "hex": the keys typed, one at a time,
    // and what comes through, "_" where the filter swallows the key (answers 0).
    void keyFilters_data()
    {
        columns<QString, QString, QString>("filter", "keys", "expected");
        row("numeric: backspace and digits, no sign", "numeric", "\b09-+", "\b09__");
        row("signed: signs, not the neighbours of the digits", "signed", "\b09-+/:", "\b09-+__");
        row("hex: f upper-cased, not the neighbours of the letters", "hex", "\b9AfGg@`",
            "\b9AF____");
    }
    void keyFilters()
    {
        const auto [filter, keys, expected] =
            fetch<QString, QString, QString>("filter", "keys", "expected");
        QString result;
        for (const QChar key : keys) {
            const int out = filter == QLatin1String("hex")
                                ? KeyFilters::HexKey(key.unicode())
                                : KeyFilters::NumericKey(key.unicode(), filter == "signed");
            result += out ? QChar(out) : QLatin1Char('_');
        }
        QCOMPARE(result, expected);
    }

    // The error report names where a fault arose, from the procedure name.
    void message_data()
    {
        columns<QString, QString>("procedure", "tail");
        row("event handler splits object and event", "wMain.MDIForm_Load",
            "Module : wMain\r\nObject : MDIForm\r\nEvent : Load");
        row("module procedure gives a function line", "DataFunctions.GetText",
            "Module : DataFunctions\r\nFunction : GetText");
        row("no dot shows the whole name", "Start_Up", "Module : Start_Up");
        row("only the first underscore after the dot splits", "wPanelTools.cmd_Tools_Click",
            "Module : wPanelTools\r\nObject : cmd\r\nEvent : Tools_Click");
    }
    void message()
    {
        const auto [procedure, tail] = fetch<QString, QString>("procedure", "tail");
        QCOMPARE(ErrorReport::Message(procedure, ErrorNumber::IndexOutOfRange),
                 "Error Nr 9 : " + ErrorReport::Description(9) + "\r\n\r\n" + tail);
    }

    // The presenter gets the whole report. The same fault met again within one action is not
    // shown twice; another one is, and after ForgetShown() the first one again.
    void presenterShowsEachFaultOnce()
    {
        ReportCapture capture;
        const RunTimeError denied(ErrorNumber::PortPermissionDenied, "dialout");
        ErrorHandling("wMain.MDIForm_Load", denied);
        QCOMPARE(capture.messages,
                 QStringList("Error Nr 8006 : Permission denied on the port (dialout)\r\n\r\n"
                             "Module : wMain\r\nObject : MDIForm\r\nEvent : Load"));
        ErrorHandling("wMain.MDIForm_Load", denied);
        ErrorHandling("wMain.MDIForm_Unload", ErrorNumber::PortPermissionDenied, "dialout");
        QCOMPARE(capture.faults(), (QStringList{"8006 Load", "8006 Unload"}));
        ErrorReport::ForgetShown();
        ErrorHandling("wMain.MDIForm_Unload", denied);
        QCOMPARE(capture.messages.size(), 3);
    }
};

QTEST_GUILESS_MAIN(TestGlobal)
#include "tst_global.moc"
