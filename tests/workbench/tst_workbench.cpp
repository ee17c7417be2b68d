// The frame builder driven through its widgets against k7310sim over a pty, and against a
// scripted slave where k7310sim has nothing to answer with (it has no bits to read).
#include "../common/promptcapture.h"
#include "comctrl.h"
#include "datafunctions7310.h"
#include "ptypeer.h"
#include "textids.h"
#include "wpanelframe.h"
#include "zrbgrid.h"

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

class TestPanelFrame : public QObject
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

    void init()
    {
        m_window = new wPanelFrame(m_port);
        m_window->show();
        QApplication::setActiveWindow(m_window);
        QVERIFY(QTest::qWaitForWindowActive(m_window));
    }

    void cleanup()
    {
        delete m_window;
        m_prompts.texts.clear();
    }

    // Compute: the boxes are checked, then the codec. A refusal frames the field in red and
    // names the reason in the status bar; a box refused by its own check gets the focus back
    // with its text selected.
    void compute_data()
    {
        QTest::addColumn<QString>("fields");   // slave, function, address, count, data...
        QTest::addColumn<QByteArray>("frame"); // without its CRC; empty when nothing is built
        QTest::addColumn<QString>("framed");   // the control framed in red, "" for none
        QTest::addColumn<bool>("refocused");
        QTest::addColumn<int>("reason"); // text in the status bar
        const QByteArray none;
        const int codec = TextId::FrameErrorFirst - 1; // + the codec's error number
        row("slave 0 refused", QString("0 3 0 1"), none, QString("updFrameSlave"), true,
            int(TextId::FrameSlaveRange));
        row("slave 65 refused", QString("65 3 0 1"), none, QString("updFrameSlave"), true,
            int(TextId::FrameSlaveRange));
        row("address not a number", QString("1 3 12x 1"), none, QString("txtFrameAddress"), true,
            int(TextId::FrameAddressNotNumber));
        row("reads never carry data", QString("1 4 7 2 5 6"), hex("010400070002"), QString(), false,
            0);
        row("single bit write", QString("1 5 10 1 1"), hex("0105000AFF00"), QString(), false, 0);
        row("slave 64, word writes, negative as two's complement", QString("64 16 0 2 258 -1"),
            hex("401000000002040102FFFF"), QString(), false, 0);
        row("address 65536 passes the box but not the codec", QString("1 3 65536 1"), none,
            QString("txtFrameAddress"), false, codec + 2);
        row("a write of no items, the codec points at the count", QString("1 16 0 0"), none,
            QString("txtFrameNbData"), false, codec + 4);
    }

    void compute()
    {
        QFETCH(QString, fields);
        QFETCH(QByteArray, frame);
        QFETCH(QString, framed);
        QFETCH(bool, refocused);
        QFETCH(int, reason);
        const QStringList field = fields.split(' ');
        selectFunction(field[1].toInt());
        retype("TxtFrameSlave", field[0]);
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

    // The address and count boxes are checked when the focus leaves them: a refused value
    // holds the focus, a count accepted sizes the grid.
    void leaveChecks_data()
    {
        QTest::addColumn<QString>("box");
        QTest::addColumn<QString>("typed");
        QTest::addColumn<bool>("stays");
        QTest::addColumn<int>("rows");   // of the grid afterwards
        QTest::addColumn<int>("reason"); // in the status bar when held
        const QString address = QStringLiteral("txtFrameAddress");
        const QString count = QStringLiteral("txtFrameNbData");
        row("address 65536 passes", address, QString("65536"), false, 2, 0);
        row("address 65537 held", address, QString("65537"), true, 2,
            int(TextId::FrameAddressRange));
        row("address -1 held", address, QString("-1"), true, 2, int(TextId::FrameAddressRange));
        row("count 5 gives six rows", count, QString("5"), false, 6, 0);
        row("count -1 held, grid kept", count, QString("-1"), true, 2,
            int(TextId::FrameCountRange));
    }

    void leaveChecks()
    {
        QFETCH(QString, box);
        QFETCH(QString, typed);
        QFETCH(bool, stays);
        QFETCH(int, rows);
        QFETCH(int, reason);
        control(box)->setFocus();
        retype(box, typed);
        control("txtFrameData_0")->setFocus();
        QTest::qWait(20);
        QTRY_COMPARE(control(box)->hasFocus(), stays);
        QCOMPARE(FramedRed(control(box)), stays);
        QCOMPARE(m_prompts.texts,
                 reason ? QStringList{DataFunctions7310::GetText(reason)} : QStringList());
        QStringList numbers;
        for (int r = 1; r < rows; ++r)
            numbers << QString::number(r);
        QCOMPARE(column(grid(), 0), numbers);
    }

    // A change of function from a read of three words with two values in the grid: the
    // texts cleared, the count locked at 1 for single writes, bit writes offering 0 and 1.
    void typeChange_data()
    {
        QTest::addColumn<int>("code");
        QTest::addColumn<QString>("count");
        QTest::addColumn<bool>("locked");
        QTest::addColumn<QStringList>("list");
        QTest::addColumn<QStringList>("values"); // data column after the change
        const QStringList bits{"0", "1"};
        row("single bit write", 5, QString("1"), true, bits, QStringList{"1"});
        row("bit writes carry values over", 15, QString("3"), false, bits,
            QStringList{"1", "0", "0"});
        row("single word write", 6, QString("1"), true, QStringList(), QStringList{"7"});
        row("word writes leave values", 16, QString("3"), false, QStringList(),
            QStringList{"7", "0", ""});
    }

    void typeChange()
    {
        QFETCH(int, code);
        QFETCH(QString, count);
        QFETCH(bool, locked);
        QFETCH(QStringList, list);
        QFETCH(QStringList, values);
        selectFunction(3);
        control("txtFrameNbData")->setFocus();
        retype("txtFrameNbData", "3");
        control("txtFrameAddress")->setFocus();
        QCOMPARE(grid()->rows(), 4);
        grid()->setTextMatrix(1, 1, "7");
        grid()->setTextMatrix(2, 1, "0");
        control("txtFrameData_0")->setText("01 03 ");
        control("txtFrameData_1")->setText("(Time-out)");

        selectFunction(code);
        QCOMPARE(request() + answer(), QString());
        QCOMPARE(control("txtFrameNbData")->text(), count);
        QCOMPARE(control("txtFrameNbData")->isReadOnly(), locked);
        QCOMPARE(grid()->columnList(1), list);
        QCOMPARE(column(grid()), values);
        // Back to a read: the count is free again and the grid stays as it was.
        selectFunction(3);
        QVERIFY(!control("txtFrameNbData")->isReadOnly());
        QCOMPARE(grid()->columnList(1), list);
    }

    // Send: the request goes out as its text stands, the answer comes back as text and, for
    // a read, into the grid. Each row starts from a read of words 128 to 131, composed and
    // sent, its four words in the grid.
    void send_data()
    {
        QTest::addColumn<QByteArray>("fault"); // for the simulator's next answer
        QTest::addColumn<QString>("typed");
        QTest::addColumn<QByteArray>("heard"); // what the panel received
        QTest::addColumn<QString>("shown");
        QTest::addColumn<QStringList>("prompts"); // in the status bar
        QTest::addColumn<QStringList>("cells");   // data column afterwards
        const QByteArray read = WithCrc(hex("010300810001"));
        const QByteArray bits = WithCrc(hex("010100000001"));
        const QByteArray write = WithCrc(hex("010F0000000101FF"));
        const auto refused = [](const char* answer, int function) {
            return asText(WithCrc(hex(answer))) + '(' +
                   DataFunctions7310::GetText(TextId::ExceptionBase + function) + ')';
        };
        const QStringList cleared(4, QString());
        row("with the trailing blank: all bytes, the answer in the grid", QByteArray(),
            asText(read), read, asText(WithCrc(hex("0103020001"))), QStringList(),
            QStringList{"1"});
        row("without it: one byte less, no answer, the bytes sent noted", QByteArray(),
            asText(read).chopped(1), read.chopped(1), QString("(Time-out)"),
            QStringList{DataFunctions7310::GetText(TextId::FramePartialBytes).arg(7)}, cleared);
        row("silent simulator: the read's grid cleared", QByteArray("none"), asText(read), read,
            QString("(Time-out)"), QStringList(), cleared);
        // The panel has no bits: functions 1 and 15 are refused with exception 01.
        row("exception answer with its text, the read's grid cleared", QByteArray(), asText(bits),
            bits, refused("018101", 1), QStringList(), cleared);
        row("a write's exception keeps the values to write", QByteArray(), asText(write), write,
            refused("018F01", 15), QStringList(), QStringList{"254", "1", "1", "0"});
    }

    void send()
    {
        QFETCH(QByteArray, fault);
        QFETCH(QString, typed);
        QFETCH(QByteArray, heard);
        QFETCH(QString, shown);
        QFETCH(QStringList, prompts);
        QFETCH(QStringList, cells);
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

        QVERIFY(fault.isEmpty() || m_sim.command("fault-next " + fault));
        QTest::qWait(100);
        const qsizetype traced = m_sim.heardFrames().size();
        control("txtFrameData_0")->setText(typed);
        QElapsedTimer clock;
        clock.start();
        click("cmdFrameData_1");
        QCOMPARE(answer(), shown);
        QCOMPARE(m_prompts.texts, prompts);
        // The answer wait is 1 second.
        QVERIFY2(shown != "(Time-out)" || (clock.elapsed() >= 900 && clock.elapsed() < 2500),
                 qPrintable(QString::number(clock.elapsed())));
        QCOMPARE(column(grid()), cells);
        QTRY_VERIFY(m_sim.heardFrames().size() > traced);
        // "<KIND> <baud>/<stop> <hex bytes>"
        QCOMPARE(QByteArray::fromHex(m_sim.heardFrames().at(traced).section(' ', 2).toLatin1()),
                 heard);
    }

    void sendWithoutAFrameIsRefused()
    {
        control("txtFrameData_0")->setText("01");
        click("cmdFrameData_1");
        QVERIFY(FramedRed(control("txtFrameData_0")));
        QCOMPARE(m_prompts.texts,
                 QStringList{DataFunctions7310::GetText(TextId::FrameNothingToSend)});
    }

    void scriptedAnswerIntoGrid_data()
    {
        QTest::addColumn<QByteArray>("reply");
        QTest::addColumn<QStringList>("cells"); // data column afterwards
        row("bits, eight rows a byte, low bit first", WithCrc(hex("010102CD01")),
            QString("1011001110000000").split("", Qt::SkipEmptyParts));
        row("wrong CRC leaves the grid", hex("010102CD010000"), QStringList{""});
    }

    void scriptedAnswerIntoGrid()
    {
        QFETCH(QByteArray, reply);
        QFETCH(QStringList, cells);
        ScriptedLine rig(Replying(reply));
        wPanelFrame window(rig.line);
        window.findChild<QLineEdit*>("txtFrameData_0")
            ->setText(asText(WithCrc(hex("01010000000A"))));
        QTest::mouseClick(window.findChild<QPushButton*>("cmdFrameData_1"), Qt::LeftButton);
        QCOMPARE(column(window.findChild<ZrbGrid*>("grdFrameData")), cells);
    }

    void gridEntry()
    {
        // Word entry: keystrokes go through the numeric filter with the sign allowed.
        grid()->setFocus();
        grid()->setCurrentCell(0, 1);
        QTest::keyClicks(grid(), "x-"); // a refused key opens no editor, an accepted one does
        auto* editor = grid()->findChild<QLineEdit*>();
        QVERIFY(editor);
        QTest::keyClicks(editor, "1a2");
        QTest::keyClick(editor, Qt::Key_Return);
        QTRY_COMPARE(grid()->textMatrix(1, 1), "-12");

        // Bit entry: the cell offers "0" and "1" and nothing else.
        selectFunction(5);
        QCOMPARE(grid()->textMatrix(1, 1), "1");
        grid()->editItem(grid()->item(0, 1));
        auto* list = grid()->findChild<QComboBox*>();
        QVERIFY(list);
        QCOMPARE(list->count(), 2);
        QTest::keyClick(list, Qt::Key_Up);
        QTRY_COMPARE(grid()->textMatrix(1, 1), "0");
    }

private:
    template<typename T = QLineEdit> T* control(const QString& name) const
    {
        return m_window->findChild<T*>(name);
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

    SimProcess m_sim;
    ComCtrl m_port;
    wPanelFrame* m_window = nullptr;
    PromptCapture m_prompts;
};

QTEST_MAIN(TestPanelFrame)
#include "tst_wpanelframe.moc"