#include "../common/promptcapture.h"
#include "comctrl.h"
#include "datafunctions7310.h"
#include "nationality.h"
#include "textids.h"
#include "wpanelcalcul.h"
#include "wpanelframe.h"
#include "zrbgrid.h"

#include <QCheckBox>
#include <QComboBox>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTest>

class TestPanelCalcul : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        QCOMPARE(DataFunctions7310::OpenDataFile(K7310_BIN_DIR "/k7310console.dat"), 0);
    }

    void init()
    {
        m_window = new wPanelCalcul;
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

    void crcOfTypedBytes_data()
    {
        QTest::addColumn<QStringList>("bytes"); // box i gets bytes[i]
        QTest::addColumn<QStringList>("results");
        QTest::addColumn<QString>("frame");

        QTest::newRow("empty boxes are skipped")
            << QStringList{"", "1", "", "3", "0", "0", "", "0", "1"}
            << QStringList{"2692", "0A 84", "0000 1010 1000 0100", "84 0A", "84", "0A", "132", "10"}
            << "01 03 00 00 00 01 84 0A";
        QTest::newRow("high bit set reads unsigned")
            << QStringList{"17", "3", "0", "107", "0", "3"}
            << QStringList{"34678", "87 76", "1000 0111 0111 0110", "76 87", "76", "87",
                           "118",   "135"}
            << "11 03 00 6B 00 03 76 87";
        QTest::newRow("no bytes at all")
            << QStringList{}
            << QStringList{"65535", "FF FF", "1111 1111 1111 1111", "FF FF", "FF", "FF",
                           "255",   "255"}
            << "FF FF";
    }

    void crcOfTypedBytes()
    {
        QFETCH(QStringList, bytes);
        QFETCH(QStringList, results);
        QFETCH(QString, frame);
        for (int i = 0; i < bytes.size(); ++i)
            QTest::keyClicks(crcByte(i), bytes[i]);
        compute();
        QCOMPARE(crcResults(), results);
        QCOMPARE(box("txtFrame")->text(), frame);
    }

    void crcRefusesByteOutOfRange_data()
    {
        QTest::addColumn<int>("badBox");
        QTest::addColumn<QString>("badValue");

        QTest::newRow("256 in a later box") << 3 << "256";
        QTest::newRow("negative in the first box") << 0 << "-1";
    }

    void crcRefusesByteOutOfRange()
    {
        QFETCH(int, badBox);
        QFETCH(QString, badValue);
        for (int i = 0; i <= badBox; ++i)
            QTest::keyClicks(crcByte(i), i == badBox ? badValue : QStringLiteral("1"));
        compute();
        QVERIFY(crcByte(badBox)->hasFocus());
        QCOMPARE(crcByte(badBox)->selectedText(), badValue);
        QCOMPARE(box("txtFrame")->text(), QString());
        QCOMPARE(crcResults(), QStringList(wPanelCalcul::CrcResultBoxes, QString()));
        QVERIFY(FramedRed(crcByte(badBox)));
        QCOMPARE(m_prompts.texts, QStringList{DataFunctions7310::GetText(TextId::CrcByteRange)});
        // The frame goes after about a second.
        QTest::qWait(700);
        QVERIFY(Refusal::IsCued(crcByte(badBox)));
        QTRY_VERIFY_WITH_TIMEOUT(!Refusal::IsCued(crcByte(badBox)), 1000);
    }

    void editingAByteClearsTheResults()
    {
        QTest::keyClicks(crcByte(0), "1");
        compute();
        QVERIFY(!crcResults().constFirst().isEmpty());
        QTest::keyClick(crcByte(5), Qt::Key_7);
        QCOMPARE(box("txtFrame")->text(), QString());
        QCOMPARE(crcResults(), QStringList(wPanelCalcul::CrcResultBoxes, QString()));
    }

    void converterTyping_data()
    {
        QTest::addColumn<int>("typedBox");
        QTest::addColumn<QString>("keys");
        QTest::addColumn<bool>("unsignedForm");
        QTest::addColumn<bool>("toggled");      // the unsigned box flipped after typing
        QTest::addColumn<QStringList>("shown"); // decimal, hexadecimal, binary afterwards
        QTest::addColumn<int>("reason");        // of a refusal, in the status bar

        QTest::newRow("65535 unsigned")
            << 0 << "65535" << true << false << QStringList{"65535", "FF FF", "1111 1111 1111 1111"}
            << 0;
        QTest::newRow("65535 signed refused, the last word kept")
            << 0 << "65535" << false << false << QStringList{"65535", "19 99", "1 1001 1001 1001"}
            << TextId::ConvertSignedRange;
        QTest::newRow("65536 unsigned refused")
            << 0 << "65536" << true << false << QStringList{"65536", "19 99", "1 1001 1001 1001"}
            << TextId::ConvertUnsignedRange;
        QTest::newRow("-1 signed") << 0 << "-1" << false << false
                                   << QStringList{"-1", "FF FF", "1111 1111 1111 1111"} << 0;
        QTest::newRow("minus dropped when unsigned")
            << 0 << "-12" << true << false << QStringList{"12", "00 0C", "1100"} << 0;
        QTest::newRow("hex lower case, signed")
            << 1 << "ff ff" << false << false << QStringList{"-1", "FF FF", "1111 1111 1111 1111"}
            << 0;
        QTest::newRow("hex unsigned, junk dropped")
            << 1 << "8g0-00" << true << false << QStringList{"32768", "8000", "1000 0000 0000 0000"}
            << 0;
        QTest::newRow("binary ignores the digit 2")
            << 2 << "1021" << false << false << QStringList{"5", "00 05", "101"} << 0;
        QTest::newRow("binary sixteen digits signed")
            << 2 << "1000000000000000" << false << false
            << QStringList{"-32768", "80 00", "1000000000000000"} << 0;
        QTest::newRow("binary seventeenth digit refused")
            << 2 << "11111111111111111" << true << false
            << QStringList{"65535", "FF FF", "1111111111111111"} << TextId::ConvertBinaryDigits;
        QTest::newRow("unsigned box rewrites the decimal box")
            << 1 << "FFFE" << false << true << QStringList{"65534", "FFFE", "1111 1111 1111 1110"}
            << 0;
    }

    void converterTyping()
    {
        QFETCH(int, typedBox);
        QFETCH(QString, keys);
        QFETCH(bool, unsignedForm);
        QFETCH(bool, toggled);
        QFETCH(QStringList, shown);
        QFETCH(int, reason);
        unsignedBox()->setChecked(unsignedForm);
        QTest::keyClicks(convert(typedBox), keys);
        unsignedBox()->setChecked(unsignedForm != toggled);
        QCOMPARE(texts(QStringLiteral("txtConvert_"), 3), shown);
        QCOMPARE(FramedRed(convert(typedBox)), reason != 0);
        QCOMPARE(m_prompts.texts,
                 reason ? QStringList{DataFunctions7310::GetText(reason)} : QStringList());
    }

    void enteringABoxSelectsItsText_data()
    {
        QTest::addColumn<QString>("name");
        QTest::newRow("CRC byte") << "txtCrcFrame_2";
        QTest::newRow("decimal") << "txtConvert_0";
    }

    void enteringABoxSelectsItsText()
    {
        QFETCH(QString, name);
        box(name)->setText("101");
        box(name)->setFocus(Qt::TabFocusReason);
        QTRY_COMPARE(box(name)->selectedText(), "101");
    }

    void everyCaptionHasAText_data()
    {
        QTest::addColumn<QString>("language");
        for (const QString& language : DataFunctions7310::LanguageColumns())
            QTest::newRow(qPrintable(language)) << language;
    }

    void everyCaptionHasAText()
    {
        QFETCH(QString, language);
        DataFunctions7310::SetCurrentLanguage(language);
        ComCtrl closedPort;
        wPanelFrame frameBuilder(closedPort);
        wPanelCalcul calculator;
        DataFunctions7310::SetCurrentLanguage(QString());

        QStringList captions{frameBuilder.windowTitle(), calculator.windowTitle()};
        for (QWidget* control :
             frameBuilder.findChildren<QWidget*>() + calculator.findChildren<QWidget*>()) {
            if (Tags::Of(control) == 0)
                continue;
            if (auto* label = qobject_cast<QLabel*>(control))
                captions << label->text();
            else if (auto* button = qobject_cast<QAbstractButton*>(control))
                captions << button->text();
            else if (auto* group = qobject_cast<QGroupBox*>(control))
                captions << group->title();
            else if (auto* list = qobject_cast<QComboBox*>(control)) {
                for (int i = 0; i < list->count(); ++i)
                    captions << list->itemText(i);
            }
        }
        for (auto* grid : frameBuilder.findChildren<ZrbGrid*>())
            captions << grid->textMatrix(0, 0) << grid->textMatrix(0, 1);
        for (const QString& caption : std::as_const(captions))
            QVERIFY2(!caption.isEmpty() && !caption.startsWith('#'), qPrintable(caption));
    }

private:
    QLineEdit* box(const QString& name) const { return m_window->findChild<QLineEdit*>(name); }
    QLineEdit* crcByte(int i) const { return box(QStringLiteral("txtCrcFrame_%1").arg(i)); }
    QLineEdit* convert(int i) const { return box(QStringLiteral("txtConvert_%1").arg(i)); }
    // The texts of the boxes "<prefix>0" to "<prefix><count - 1>".
    QStringList texts(const QString& prefix, int count) const
    {
        QStringList shown;
        for (int i = 0; i < count; ++i)
            shown << box(prefix + QString::number(i))->text();
        return shown;
    }
    QStringList crcResults() const
    {
        return texts(QStringLiteral("txtCrcResult_"), wPanelCalcul::CrcResultBoxes);
    }
    QCheckBox* unsignedBox() const
    {
        return m_window->findChild<QCheckBox*>(QStringLiteral("chkConvertUnsigned"));
    }
    void compute() const
    {
        QTest::mouseClick(m_window->findChild<QPushButton*>(QStringLiteral("cmdCrcCompute")),
                          Qt::LeftButton);
    }

    wPanelCalcul* m_window = nullptr;
    PromptCapture m_prompts;
};

QTEST_MAIN(TestPanelCalcul)
#include "tst_wpanelcalcul.moc"
