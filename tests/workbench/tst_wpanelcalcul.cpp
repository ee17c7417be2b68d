// The calculator driven through its widgets, and the captions of both workbench windows.
#include "../common/datarow.h"
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
        m_prompts.texts.clear();
    }

    // The CRC of the bytes typed, empty boxes skipped; a byte outside 0..255 is refused:
    // focused and selected, framed red for about a second, nothing computed.
    void crc_data()
    {
        QTest::addColumn<QStringList>("bytes"); // box i gets bytes[i]
        QTest::addColumn<QString>("results");   // the eight result boxes and the frame, "|"
        QTest::addColumn<int>("refused");       // the box refused, -1 for none
        const QString none = "||||||||";
        row("empty boxes are skipped", QStringList{"", "1", "", "3", "0", "0", "", "0", "1"},
            QString("2692|0A 84|0000 1010 1000 0100|84 0A|84|0A|132|10|01 03 00 00 00 01 84 0A"),
            -1);
        row("high bit set reads unsigned", QStringList{"17", "3", "0", "107", "0", "3"},
            QString("34678|87 76|1000 0111 0111 0110|76 87|76|87|118|135|11 03 00 6B 00 03 76 87"),
            -1);
        row("no bytes at all", QStringList{},
            QString("65535|FF FF|1111 1111 1111 1111|FF FF|FF|FF|255|255|FF FF"), -1);
        row("256 in a later box", QStringList{"1", "1", "1", "256"}, none, 3);
        row("negative in the first box", QStringList{"-1"}, none, 0);
    }

    void crc()
    {
        QFETCH(QStringList, bytes);
        QFETCH(QString, results);
        QFETCH(int, refused);
        for (int i = 0; i < bytes.size(); ++i)
            QTest::keyClicks(crcByte(i), bytes[i]);
        compute();
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
        QTest::qWait(700);
        QVERIFY(Refusal::IsCued(bad));
        QTRY_VERIFY_WITH_TIMEOUT(!Refusal::IsCued(bad), 1000);
    }

    // One 16-bit word in three boxes: what is typed into one box, in the signed or unsigned
    // form, and what the boxes show afterwards; a refused entry keeps the last word.
    void converter_data()
    {
        QTest::addColumn<int>("typedBox"); // decimal, hexadecimal, binary
        QTest::addColumn<QString>("keys");
        QTest::addColumn<QString>("form");  // "signed", "unsigned", or "signed, then unsigned"
        QTest::addColumn<QString>("shown"); // decimal|hexadecimal|binary
        QTest::addColumn<int>("reason");    // of a refusal, in the status bar
        row("65535 unsigned", 0, QString("65535"), QString("unsigned"),
            QString("65535|FF FF|1111 1111 1111 1111"), 0);
        row("65536 unsigned refused", 0, QString("65536"), QString("unsigned"),
            QString("65536|19 99|1 1001 1001 1001"), int(TextId::ConvertUnsignedRange));
        row("32768 signed refused, the last word kept", 0, QString("32768"), QString("signed"),
            QString("32768|0C CC|1100 1100 1100"), int(TextId::ConvertSignedRange));
        row("-32768 signed", 0, QString("-32768"), QString("signed"),
            QString("-32768|80 00|1000 0000 0000 0000"), 0);
        row("-32769 signed refused", 0, QString("-32769"), QString("signed"),
            QString("-32769|F3 34|1111 0011 0011 0100"), int(TextId::ConvertSignedRange));
        row("minus dropped when unsigned", 0, QString("-12"), QString("unsigned"),
            QString("12|00 0C|1100"), 0);
        row("hex lower case, signed", 1, QString("ff ff"), QString("signed"),
            QString("-1|FF FF|1111 1111 1111 1111"), 0);
        row("hex unsigned, junk dropped", 1, QString("8g0-00"), QString("unsigned"),
            QString("32768|8000|1000 0000 0000 0000"), 0);
        row("binary ignores the digit 2", 2, QString("1021"), QString("signed"),
            QString("5|00 05|101"), 0);
        row("binary sixteen digits signed", 2, QString("1000000000000000"), QString("signed"),
            QString("-32768|80 00|1000000000000000"), 0);
        row("binary seventeenth digit refused", 2, QString("11111111111111111"),
            QString("unsigned"), QString("65535|FF FF|1111111111111111"),
            int(TextId::ConvertBinaryDigits));
        row("unsigned box rewrites the decimal box", 1, QString("FFFE"),
            QString("signed, then unsigned"), QString("65534|FFFE|1111 1111 1111 1110"), 0);
    }

    void converter()
    {
        QFETCH(int, typedBox);
        QFETCH(QString, keys);
        QFETCH(QString, form);
        QFETCH(QString, shown);
        QFETCH(int, reason);
        auto* unsignedBox = m_window->findChild<QCheckBox*>("chkConvertUnsigned");
        unsignedBox->setChecked(form.startsWith("unsigned"));
        QTest::keyClicks(convert(typedBox), keys);
        unsignedBox->setChecked(form.endsWith("unsigned"));
        QCOMPARE(texts("txtConvert_", 3), shown);
        QCOMPARE(FramedRed(convert(typedBox)), reason != 0);
        QCOMPARE(m_prompts.texts,
                 reason ? QStringList{DataFunctions7310::GetText(reason)} : QStringList());
    }

    void enteringABoxSelectsItsText()
    {
        convert(0)->setText("101");
        convert(0)->setFocus(Qt::TabFocusReason);
        QTRY_COMPARE(convert(0)->selectedText(), "101");
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
        auto* grid = frameBuilder.findChild<ZrbGrid*>();
        captions << grid->textMatrix(0, 0) << grid->textMatrix(0, 1);
        for (const QString& caption : std::as_const(captions))
            QVERIFY2(!caption.isEmpty() && !caption.startsWith('#'), qPrintable(caption));
    }

private:
    QLineEdit* box(const QString& name) const { return m_window->findChild<QLineEdit*>(name); }
    QLineEdit* crcByte(int i) const { return box(QStringLiteral("txtCrcFrame_%1").arg(i)); }
    QLineEdit* convert(int i) const { return box(QStringLiteral("txtConvert_%1").arg(i)); }
    // The texts of the boxes "<prefix>0" to "<prefix><count - 1>", "|" between.
    QString texts(const QString& prefix, int count) const
    {
        QStringList shown;
        for (int i = 0; i < count; ++i)
            shown << box(prefix + QString::number(i))->text();
        return shown.join('|');
    }
    QString crcResults() const
    {
        return texts("txtCrcResult_", wPanelCalcul::CrcResultBoxes) + '|' + box("txtFrame")->text();
    }
    void compute() const
    {
        QTest::mouseClick(m_window->findChild<QPushButton*>("cmdCrcCompute"), Qt::LeftButton);
    }

    wPanelCalcul* m_window = nullptr;
    PromptCapture m_prompts;
};

QTEST_MAIN(TestPanelCalcul)
#include "tst_wpanelcalcul.moc"