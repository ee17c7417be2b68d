// The workbench windows driven through their widgets: the frame builder against k7310sim over a
// pty (and a scripted slave where k7310sim has nothing to answer with: it has no bits to read),
// and the calculator.
#include "../common/promptcapture.h"
#include "comctrl.h"
#include "datafunctions7310.h"
#include "ptypeer.h"
#include "textids.h"
#include "wpanelcalcul.h"
#include "wpanelframe.h"
#include "zrbgrid.h"

#include <QCheckBox>
#include <QComboBox>
#include <QElapsedTimer>
#include <QLineEdit>
#include <QPushButton>
#include <QTest>

namespace {

// A frame as the builder writes it: two hexadecimal digits and a blank for every byte.
QString asText(const QByteArray& frame)
{
    return frame.isEmpty() ? QString() : QString::fromLatin1(frame.toHex(' ').toUpper()) + ' ';
}

QByteArray hex(const char* digits)
{
    return QByteArray::fromHex(digits);
}

// Column `col` of the grid's data rows.
QStringList column(const ZrbGrid* grid, int col = 1)
{
    QStringList cells;
    for (int r = 1; r < grid->rows(); ++r)
        cells << grid->textMatrix(r, col);
    return cells;
}

} // namespace

class TestWorkbench : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        QCOMPARE(DataFunctions7310::OpenDataFile(K7310_BIN_DIR "/k7310console.dat"), 0);
        QVERIFY(m_sim.start());
        m_port.setPortName(m_sim.path());
        m_port.open();
    }

    // Both windows, the one the test is about shown and active.
    void init()
    {
        m_window = new wPanelFrame(m_port);
        m_calculator = new wPanelCalcul;
        const bool calculator = QByteArray(QTest::currentTestFunction()).startsWith("calculator");
        QWidget* tested = calculator ? static_cast<QWidget*>(m_calculator) : m_window;
        tested->show();
        QApplication::setActiveWindow(tested);
        QVERIFY(QTest::qWaitForWindowActive(tested));
    }

    void cleanup()
    {
        delete m_window;
        delete m_calculator;
        m_prompts.texts.clear();
    }

    // Compute, the boxes typed in turn: the address and count boxes are checked as the focus
    // leaves them, the others at Compute, then the codec. A refusal frames the field in red and
    // names the reason in the status bar; a box refused by its own check gets the focus back
    // with its text selected.
    void compute_data()
    {
        // fields: slave, function, address, count, data...; frame: without its CRC, empty when
        // nothing is built; framed: the control framed in red, "" for none; reason: the text in
        // the status bar.
        columns<QString, QByteArray, QString, bool, int>("fields", "frame", "framed", "refocused",
                                                         "reason");
        const QByteArray none;
        const int codec = TextId::FrameErrorFirst - 1; // + the codec's error number
        row("slave 0 refused", "0 3 0 1", none, "updFrameSlave", true,
            int(TextId::FrameSlaveRange));
        row("slave 65 refused", "65 3 0 1", none, "updFrameSlave", true,
            int(TextId::FrameSlaveRange));
        row("address not a number", "1 3 12x 1", none, "txtFrameAddress", true,
            int(TextId::FrameAddressNotNumber));
        row("address 65537 held", "1 3 65537 1", none, "txtFrameAddress", true,
            int(TextId::FrameAddressRange));
        row("address -1 held", "1 3 -1 1", none, "txtFrameAddress", true,
            int(TextId::FrameAddressRange));
        row("count -1 held, the grid kept", "1 3 0 -1", none, "txtFrameNbData", true,
            int(TextId::FrameCountRange));
        row("reads never carry data", "1 4 7 2 5 6", hex("010400070002"), QString(), false, 0);
        row("single bit write", "1 5 10 1 1", hex("0105000AFF00"), QString(), false, 0);
        row("slave 64, word writes, negative as two's complement", "64 16 0 2 258 -1",
            hex("401000000002040102FFFF"), QString(), false, 0);
        row("address 65536 passes the box but not the codec", "1 3 65536 1", none,
            "txtFrameAddress", false, codec + 2);
        row("a write of no items, the codec points at the count", "1 16 0 0", none,
            "txtFrameNbData", false, codec + 4);
    }

    void compute()
    {
        const auto [fields, frame, framed, refocused, reason] =
            fetch<QString, QByteArray, QString, bool, int>("fields", "frame", "framed", "refocused",
                                                           "reason");
        const QStringList field = fields.split(' ');
        selectFunction(field[1].toInt());
        retype("TxtFrameSlave", field[0]);
        control("txtFrameAddress")->setFocus();
        retype("txtFrameAddress", field[2]);
        if (!control("txtFrameNbData")->isReadOnly()) {
            control("txtFrameNbData")->setFocus();
            retype("txtFrameNbData", field[3]);
        }
        click("cmdFrameData_0"); // leaving the count box sizes the grid first
        const QStringList data = field.mid(4);
        if (!data.isEmpty()) {
            QCOMPARE(grid()->rows(), data.size() + 1);
            for (int i = 0; i < data.size(); ++i)
                grid()->setTextMatrix(i + 1, 1, data[i]);
            click("cmdFrameData_0");
        }

        QCOMPARE(request(), asText(frame.isEmpty() ? frame : WithCrc(frame)));
        // A row per item; a refused count leaves the one row the window starts with.
        QCOMPARE(column(grid(), 0).size(), field[3].toInt() < 0 ? 1 : field[3].toInt());
        QCOMPARE(m_prompts.texts,
                 reason ? QStringList{DataFunctions7310::GetText(reason)} : QStringList());
        if (framed.isEmpty())
            return;
        QWidget* target = control<QWidget>(framed);
        QVERIFY(FramedRed(target));
        if (refocused) {
            // The slave's text box lives inside its up-down control, which takes the focus.
            auto* box = qobject_cast<QLineEdit*>(target);
            box = box ? box : target->findChild<QLineEdit*>();
            QTRY_VERIFY(box->hasFocus() || target->hasFocus());
            QCOMPARE(box->selectedText(), box->text());
        }
    }

    // Send: the request goes out as its text stands, the answer comes back as text and, for
    // a read, into the grid. Each row starts from a read of words 128 to 131, composed and
    // sent, its four words in the grid.
    void send_data()
    {
        // heard: what the panel received; shown: the answer box, then after a change to French;
        // prompts: in the status bar; cells: the data column afterwards; confirmed: the status
        // bar's confirmation, bytes sent and outcome.
        columns<QString, QByteArray, QStringList, QStringList, QStringList, QString>(
            "typed", "heard", "shown", "prompts", "cells", "confirmed");
        const QByteArray read = WithCrc(hex("010300810001"));
        const QByteArray bits = WithCrc(hex("010100000001"));
        const QByteArray write = WithCrc(hex("010F0000000101FF"));
        const auto refused = [](const char* answer, const QString& english, const QString& french) {
            const QString bytes = asText(WithCrc(hex(answer)));
            return QStringList{bytes + '(' + english + ')', bytes + '(' + french + ')'};
        };
        const QStringList cleared(4, QString());
        row("with the trailing blank: all bytes, the answer in the grid", asText(read), read,
            QStringList(2, asText(WithCrc(hex("0103020001")))), QStringList(), QStringList{"1"},
            "8 complete");
        row("without it: one byte less, no answer, the read's grid cleared, the bytes sent noted",
            asText(read).chopped(1), read.chopped(1),
            QStringList{"(Time-out: no answer)", "(Délai dépassé : pas de réponse)"},
            QStringList{DataFunctions7310::GetText(TextId::FramePartialBytes).arg(7)}, cleared,
            "7 time-out");
        // The panel has no bits: functions 1 and 15 are refused with exception 01.
        row("exception answer with its text, the read's grid cleared", asText(bits), bits,
            refused("018101", "Exception: read coils (1) refused",
                    "Exception : lecture de bits (1) refusée"),
            QStringList(), cleared, "8 exception 1");
        row("a write's exception keeps the values to write", asText(write), write,
            refused("018F01", "Exception: write multiple coils (15) refused",
                    "Exception : écriture de plusieurs bits (15) refusée"),
            QStringList(), QStringList{"254", "1", "1", "0"}, "10 exception 1");
    }

    void send()
    {
        const auto [typed, heard, shown, prompts, cells, confirmed] =
            fetch<QString, QByteArray, QStringList, QStringList, QStringList, QString>(
                "typed", "heard", "shown", "prompts", "cells", "confirmed");
        selectFunction(3);
        retype("txtFrameAddress", "128");
        control("txtFrameNbData")->setFocus();
        retype("txtFrameNbData", "4");
        click("cmdFrameData_0");
        QCOMPARE(request(), asText(WithCrc(hex("010300800004"))));
        click("cmdFrameData_1");
        // Factory settings: speed code FE (9600), 1 stop bit, slave 1, bus mode 0.
        QCOMPARE(answer(), asText(WithCrc(hex("01030800FE000100010000"))));
        QCOMPARE(column(grid()), (QStringList{"254", "1", "1", "0"}));

        QTest::qWait(100);
        const qsizetype traced = m_sim.heardFrames().size();
        control("txtFrameData_0")->setText(typed);
        QElapsedTimer clock;
        clock.start();
        click("cmdFrameData_1");
        QCOMPARE(answer(), shown[0]);
        QCOMPARE(m_prompts.texts, prompts);
        QVERIFY(!m_prompts.confirmations.isEmpty());
        QCOMPARE(m_prompts.confirmations.last(),
                 DataFunctions7310::GetText(TextId::FrameSentConfirm)
                     .arg(confirmed.section(' ', 0, 0), confirmed.section(' ', 1)));
        // The answer box follows a change of language.
        DataFunctions7310::SetCurrentLanguage("Français");
        m_window->nationality();
        DataFunctions7310::SetCurrentLanguage(QString());
        QCOMPARE(answer(), shown[1]);
        // The answer wait is 1 second.
        QVERIFY2(!shown[0].startsWith("(Time-out") ||
                     (clock.elapsed() >= 900 && clock.elapsed() < 2500),
                 qPrintable(QString::number(clock.elapsed())));
        QCOMPARE(column(grid()), cells);
        QTRY_VERIFY(m_sim.heardFrames().size() > traced);
        // "<KIND> <baud>/<stop> <hex bytes>"
        QCOMPARE(QByteArray::fromHex(m_sim.heardFrames().at(traced).section(' ', 2).toLatin1()),
                 heard);
    }

    void scriptedAnswerIntoGrid_data()
    {
        columns<QByteArray, QStringList>("reply", "cells"); // cells: the data column afterwards
        row("bits, eight rows a byte, low bit first", WithCrc(hex("010102CD01")),
            QString("1011001110000000").split("", Qt::SkipEmptyParts));
        row("wrong CRC leaves the grid", hex("010102CD010000"), QStringList{""});
    }

    void scriptedAnswerIntoGrid()
    {
        const auto [reply, cells] = fetch<QByteArray, QStringList>("reply", "cells");
        ScriptedLine rig(Replying(reply));
        wPanelFrame window(rig.line);
        window.findChild<QLineEdit*>("txtFrameData_0")
            ->setText(asText(WithCrc(hex("01010000000A"))));
        QTest::mouseClick(window.findChild<QPushButton*>("cmdFrameData_1"), Qt::LeftButton);
        QCOMPARE(column(window.findChild<ZrbGrid*>("grdFrameData")), cells);
    }

    // The calculator: the CRC of the bytes typed, empty boxes skipped; a byte outside 0..255 is
    // refused, focused and selected, framed red, nothing computed.
    void calculatorCrc_data()
    {
        // bytes: box i gets bytes[i]; results: the eight result boxes and the frame, "|"
        // between; refused: the box refused, -1 for none.
        columns<QStringList, QString, int>("bytes", "results", "refused");
        const QString none = "||||||||";
        row("empty boxes are skipped", QStringList{"", "1", "", "3", "0", "0", "", "0", "1"},
            "2692|0A 84|0000 1010 1000 0100|84 0A|84|0A|132|10|01 03 00 00 00 01 84 0A", -1);
        row("high bit set reads unsigned", QStringList{"17", "3", "0", "107", "0", "3"},
            "34678|87 76|1000 0111 0111 0110|76 87|76|87|118|135|11 03 00 6B 00 03 76 87", -1);
        row("no bytes at all", QStringList{},
            "65535|FF FF|1111 1111 1111 1111|FF FF|FF|FF|255|255|FF FF", -1);
        row("256 in a later box", QStringList{"1", "1", "1", "256"}, none, 3);
        row("negative in the first box", QStringList{"-1"}, none, 0);
    }

    void calculatorCrc()
    {
        const auto [bytes, results, refused] =
            fetch<QStringList, QString, int>("bytes", "results", "refused");
        for (int i = 0; i < bytes.size(); ++i)
            QTest::keyClicks(crcByte(i), bytes[i]);
        click("cmdCrcCompute");
        QCOMPARE(crcResults(), results);
        if (refused < 0) {
            QVERIFY(m_prompts.texts.isEmpty());
            // A result never stands beside bytes it was not computed from.
            QTest::keyClick(crcByte(8), Qt::Key_7);
            QCOMPARE(crcResults(), "||||||||");
            return;
        }
        QLineEdit* bad = crcByte(refused);
        QVERIFY(bad->hasFocus());
        QCOMPARE(bad->selectedText(), bytes[refused]);
        QVERIFY(FramedRed(bad));
        QCOMPARE(m_prompts.texts, QStringList{DataFunctions7310::GetText(TextId::CrcByteRange)});
    }

    // One 16-bit word in three boxes: what is typed into one box, in the signed or unsigned
    // form, and what the boxes show afterwards; a refused entry keeps the last word.
    void calculatorConverter_data()
    {
        // typedBox: decimal, hexadecimal, binary; form: "signed", "unsigned", or "signed, then
        // unsigned"; shown: decimal|hexadecimal|binary; reason: of a refusal, in the status bar.
        columns<int, QString, QString, QString, int>("typedBox", "keys", "form", "shown", "reason");
        const int signedRange = TextId::ConvertSignedRange;
        row("65535 unsigned", 0, "65535", "unsigned", "65535|FF FF|1111 1111 1111 1111", 0);
        row("65536 unsigned refused", 0, "65536", "unsigned", "65536|19 99|1 1001 1001 1001",
            int(TextId::ConvertUnsignedRange));
        row("32768 signed refused, the last word kept", 0, "32768", "signed",
            "32768|0C CC|1100 1100 1100", signedRange);
        row("-32768 signed", 0, "-32768", "signed", "-32768|80 00|1000 0000 0000 0000", 0);
        row("-32769 signed refused", 0, "-32769", "signed", "-32769|F3 34|1111 0011 0011 0100",
            signedRange);
        row("minus dropped when unsigned", 0, "-12", "unsigned", "12|00 0C|1100", 0);
        row("hex lower case, signed", 1, "ff ff", "signed", "-1|FF FF|1111 1111 1111 1111", 0);
        row("binary ignores the digit 2", 2, "1021", "signed", "5|00 05|101", 0);
        row("binary seventeenth digit refused", 2, "11111111111111111", "unsigned",
            "65535|FF FF|1111111111111111", int(TextId::ConvertBinaryDigits));
        row("unsigned box rewrites the decimal box", 1, "FFFE", "signed, then unsigned",
            "65534|FFFE|1111 1111 1111 1110", 0);
    }

    void calculatorConverter()
    {
        const auto [typedBox, keys, form, shown, reason] =
            fetch<int, QString, QString, QString, int>("typedBox", "keys", "form", "shown",
                                                       "reason");
        auto* unsignedBox = m_calculator->findChild<QCheckBox*>("chkConvertUnsigned");
        unsignedBox->setChecked(form.startsWith("unsigned"));
        QTest::keyClicks(convert(typedBox), keys);
        unsignedBox->setChecked(form.endsWith("unsigned"));
        QCOMPARE(texts("txtConvert_", 3), shown);
        QCOMPARE(FramedRed(convert(typedBox)), reason != 0);
        QCOMPARE(m_prompts.texts,
                 reason ? QStringList{DataFunctions7310::GetText(reason)} : QStringList());
    }

private:
    // A control of either window, by name.
    template<typename T = QLineEdit> T* control(const QString& name) const
    {
        T* found = m_window->findChild<T*>(name);
        return found ? found : m_calculator->findChild<T*>(name);
    }
    ZrbGrid* grid() const { return control<ZrbGrid>("grdFrameData"); }
    QString request() const { return control("txtFrameData_0")->text(); }
    QString answer() const { return control("txtFrameData_1")->text(); }
    void selectFunction(int code) const
    {
        auto* list = control<QComboBox>("cboFrameType");
        list->setCurrentIndex(list->findData(code));
    }
    void retype(const QString& box, const QString& text) const
    {
        control(box)->selectAll();
        QTest::keyClick(control(box), Qt::Key_Backspace);
        QTest::keyClicks(control(box), text);
    }
    void click(const QString& button) const
    {
        QTest::mouseClick(control<QPushButton>(button), Qt::LeftButton);
    }
    QLineEdit* crcByte(int i) const { return control(QStringLiteral("txtCrcFrame_%1").arg(i)); }
    QLineEdit* convert(int i) const { return control(QStringLiteral("txtConvert_%1").arg(i)); }
    // The texts of the boxes "<prefix>0" to "<prefix><count - 1>", "|" between.
    QString texts(const QString& prefix, int count) const
    {
        QStringList shown;
        for (int i = 0; i < count; ++i)
            shown << control(prefix + QString::number(i))->text();
        return shown.join('|');
    }
    QString crcResults() const
    {
        return texts("txtCrcResult_", wPanelCalcul::CrcResultBoxes) + '|' +
               control("txtFrame")->text();
    }

    SimProcess m_sim;
    ComCtrl m_port;
    wPanelFrame* m_window = nullptr;
    wPanelCalcul* m_calculator = nullptr;
    PromptCapture m_prompts;
};

QTEST_MAIN(TestWorkbench)
#include "tst_workbench.moc"
