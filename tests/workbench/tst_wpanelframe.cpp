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
        m_window = nullptr;
        m_prompts.texts.clear();
    }

    void compute_data()
    {
        QTest::addColumn<QString>("slave");
        QTest::addColumn<int>("function");
        QTest::addColumn<QString>("address");
        QTest::addColumn<int>("count");
        QTest::addColumn<QStringList>("data");
        QTest::addColumn<QByteArray>("frame"); // without its CRC; empty when nothing is built
        QTest::addColumn<QString>("refused");  // the box that gets the focus back
        QTest::addColumn<QString>("framed");   // the control framed in red, "" for none
        QTest::addColumn<int>("reason");       // text in the status bar

        const QStringList none;
        QTest::newRow("slave 0 refused")
            << "0" << 3 << "0" << 1 << none << QByteArray() << "TxtFrameSlave"
            << "updFrameSlave" << TextId::FrameSlaveRange;
        QTest::newRow("slave 65 refused")
            << "65" << 3 << "0" << 1 << none << QByteArray() << "TxtFrameSlave"
            << "updFrameSlave" << TextId::FrameSlaveRange;
        QTest::newRow("address not a number")
            << "1" << 3 << "12x" << 1 << none << QByteArray() << "txtFrameAddress"
            << "txtFrameAddress" << TextId::FrameAddressNotNumber;
        QTest::newRow("reads never carry data")
            << "1" << 4 << "7" << 2 << QStringList{"5", "6"} << hex("010400070002") << ""
            << "" << 0;
        QTest::newRow("single bit write")
            << "1" << 5 << "10" << 1 << QStringList{"1"} << hex("0105000AFF00") << ""
            << "" << 0;
        QTest::newRow("slave 64, word writes, negative as two's complement")
            << "64" << 16 << "0" << 2 << QStringList{"258", "-1"} << hex("401000000002040102FFFF")
            << ""
            << "" << 0;
        QTest::newRow("address 65536 passes the box but not the codec")
            << "1" << 3 << "65536" << 1 << none << QByteArray() << ""
            << "txtFrameAddress" << TextId::FrameErrorFirst + 1;
        QTest::newRow("a write of no items, the codec points at the count")
            << "1" << 16 << "0" << 0 << none << QByteArray() << ""
            << "txtFrameNbData" << TextId::FrameErrorFirst + 3;
    }

    void compute()
    {
        QFETCH(QString, slave);
        QFETCH(int, function);
        QFETCH(QString, address);
        QFETCH(int, count);
        QFETCH(QStringList, data);
        QFETCH(QByteArray, frame);
        QFETCH(QString, refused);
        QFETCH(QString, framed);
        QFETCH(int, reason);

        selectFunction(function);
        retype("TxtFrameSlave", slave);
        retype("txtFrameAddress", address);
        QLineEdit* countBox = control("txtFrameNbData");
        if (!countBox->isReadOnly()) {
            countBox->setFocus();
            retype("txtFrameNbData", QString::number(count));
        }
        click("cmdFrameData_0"); // leaving the count box sizes the grid first
        if (!data.isEmpty()) {
            QCOMPARE(grid()->rows(), data.size() + 1);
            for (int i = 0; i < data.size(); ++i)
                grid()->setTextMatrix(i + 1, 1, data[i]);
            click("cmdFrameData_0");
        }

        QCOMPARE(request(), frame.isEmpty() ? QString() : asText(WithCrc(frame)));
        if (!refused.isEmpty()) {
            QTRY_VERIFY(holdsFocus(refused));
            QCOMPARE(control(refused)->selectedText(), control(refused)->text());
        }
        // A refusal shows: the field framed in red for about a second, the reason in the
        // status bar.
        QCOMPARE(m_prompts.texts,
                 reason ? QStringList{DataFunctions7310::GetText(reason)} : QStringList());
        if (!framed.isEmpty()) {
            QWidget* field = control<QWidget>(framed);
            QVERIFY(FramedRed(field));
            QTRY_VERIFY_WITH_TIMEOUT(!Refusal::IsCued(field), 2000);
        }
    }

    void leaveChecks_data()
    {
        QTest::addColumn<QString>("box");
        QTest::addColumn<QString>("typed");
        QTest::addColumn<bool>("stays");
        QTest::addColumn<int>("rows");   // of the grid afterwards
        QTest::addColumn<int>("reason"); // in the status bar when held

        const QString address = QStringLiteral("txtFrameAddress");
        const QString count = QStringLiteral("txtFrameNbData");
        QTest::newRow("address 65536 passes") << address << "65536" << false << 2 << 0;
        QTest::newRow("address 65537 held")
            << address << "65537" << true << 2 << TextId::FrameAddressRange;
        QTest::newRow("address -1 held")
            << address << "-1" << true << 2 << TextId::FrameAddressRange;
        QTest::newRow("count 5 gives six rows") << count << "5" << false << 6 << 0;
        QTest::newRow("count -1 held, grid kept")
            << count << "-1" << true << 2 << TextId::FrameCountRange;
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
        QTRY_COMPARE(holdsFocus(box), stays);
        QCOMPARE(FramedRed(control(box)), stays);
        QCOMPARE(m_prompts.texts,
                 reason ? QStringList{DataFunctions7310::GetText(reason)} : QStringList());
        QStringList numbers;
        for (int r = 1; r < rows; ++r)
            numbers << QString::number(r);
        QCOMPARE(column(grid(), 0), numbers);
    }

    void typeChange_data()
    {
        QTest::addColumn<int>("code");
        QTest::addColumn<QString>("count");
        QTest::addColumn<bool>("locked");
        QTest::addColumn<QStringList>("list");
        QTest::addColumn<QStringList>("values"); // data column after the change

        const QStringList bits{"0", "1"};
        QTest::newRow("single bit write") << 5 << "1" << true << bits << QStringList{"1"};
        QTest::newRow("bit writes carry values over")
            << 15 << "3" << false << bits << QStringList{"1", "0", "0"};
        QTest::newRow("single word write") << 6 << "1" << true << QStringList() << QStringList{"7"};
        QTest::newRow("word writes leave values")
            << 16 << "3" << false << QStringList() << QStringList{"7", "0", ""};
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

    void sendReadShowsAnswerAndWords()
    {
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
    }

    void typedFrameSent_data()
    {
        QTest::addColumn<QByteArray>("fault"); // for the simulator's next answer
        QTest::addColumn<QString>("typed");
        QTest::addColumn<QByteArray>("heard"); // what the panel received
        QTest::addColumn<QString>("shown");
        QTest::addColumn<QStringList>("prompts"); // in the status bar

        const QByteArray frame = WithCrc(hex("010300810001"));
        QTest::newRow("with the trailing blank: all bytes, the answer shown")
            << QByteArray() << asText(frame) << frame << asText(WithCrc(hex("0103020001")))
            << QStringList();
        QTest::newRow("without it: one byte less, no answer, the bytes sent noted")
            << QByteArray() << asText(frame).chopped(1) << frame.chopped(1) << "(Time-out)"
            << QStringList{DataFunctions7310::GetText(TextId::FramePartialBytes).arg(7)};
        QTest::newRow("silent simulator")
            << QByteArray("none") << asText(frame) << frame << "(Time-out)" << QStringList();
        // The panel has no bits to read: function 1 is refused with exception 01.
        const QByteArray bits = WithCrc(hex("010100000001"));
        QTest::newRow("exception answer with its text")
            << QByteArray() << asText(bits) << bits
            << asText(WithCrc(hex("018101"))) + '(' + DataFunctions7310::GetText(233801) + ')'
            << QStringList();
    }

    void typedFrameSent()
    {
        QFETCH(QByteArray, fault);
        QFETCH(QString, typed);
        QFETCH(QByteArray, heard);
        QFETCH(QString, shown);
        QFETCH(QStringList, prompts);
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
        QCOMPARE(grid()->rows(), 2);
        QTRY_VERIFY(m_sim.heardFrames().size() > traced);
        // "<KIND> <baud>/<stop> <hex bytes>"
        QCOMPARE(QByteArray::fromHex(m_sim.heardFrames().at(traced).section(' ', 2).toLatin1()),
                 heard);
    }

    void answerWithoutDataClearsAReadsGrid_data()
    {
        QTest::addColumn<QByteArray>("fault");
        QTest::addColumn<QByteArray>("request"); // without its CRC
        QTest::addColumn<QStringList>("cells");  // data column afterwards

        const QStringList cleared(4, QString());
        QTest::newRow("time-out") << QByteArray("none") << hex("010300800004") << cleared;
        QTest::newRow("exception") << QByteArray() << hex("010100000001") << cleared;
        QTest::newRow("a write's exception keeps the values to write")
            << QByteArray() << hex("010F0000000101FF") << QStringList{"254", "1", "1", "0"};
    }

    void answerWithoutDataClearsAReadsGrid()
    {
        QFETCH(QByteArray, fault);
        QFETCH(QByteArray, request);
        QFETCH(QStringList, cells);
        control("txtFrameData_0")->setText(asText(WithCrc(hex("010300800004"))));
        click("cmdFrameData_1");
        QCOMPARE(column(grid()), (QStringList{"254", "1", "1", "0"}));
        QVERIFY(fault.isEmpty() || m_sim.command("fault-next " + fault));
        QTest::qWait(100);
        control("txtFrameData_0")->setText(asText(WithCrc(request)));
        click("cmdFrameData_1");
        QVERIFY(!answer().startsWith("01 03"));
        QCOMPARE(column(grid()), cells);
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

        QTest::newRow("bits, eight rows a byte, low bit first")
            << WithCrc(hex("010102CD01"))
            << QString("1011001110000000").split("", Qt::SkipEmptyParts);
        QTest::newRow("wrong CRC leaves the grid") << hex("010102CD010000") << QStringList{""};
    }

    void scriptedAnswerIntoGrid()
    {
        QFETCH(QByteArray, reply);
        QFETCH(QStringList, cells);
        // k7310sim has no bits to read; a scripted slave on a pty of its own answers instead.
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
    // Column `col` of the grid's data rows.
    static QStringList column(const ZrbGrid* grid, int col = 1)
    {
        QStringList cells;
        for (int r = 1; r < grid->rows(); ++r)
            cells << grid->textMatrix(r, col);
        return cells;
    }
    QString request() const { return control("txtFrameData_0")->text(); }
    QString answer() const { return control("txtFrameData_1")->text(); }
    void selectFunction(int code) const
    {
        auto* list = control<QComboBox>("cboFrameType");
        list->setCurrentIndex(list->findData(code));
    }

    void retype(const QString& box, const QString& text) const
    {
        QLineEdit* edit = control(box);
        edit->selectAll();
        QTest::keyClick(edit, Qt::Key_Backspace);
        QTest::keyClicks(edit, text);
    }

    void click(const QString& button) const
    {
        QTest::mouseClick(control<QPushButton>(button), Qt::LeftButton);
    }
    bool holdsFocus(const QString& box) const
    {
        // The slave's text box lives inside its up-down control, which takes the focus for it.
        QLineEdit* edit = control(box);
        return edit->hasFocus() || edit->parentWidget()->hasFocus();
    }

    SimProcess m_sim;
    ComCtrl m_port;
    wPanelFrame* m_window = nullptr;
    PromptCapture m_prompts;
};

QTEST_MAIN(TestPanelFrame)
#include "tst_wpanelframe.moc"
