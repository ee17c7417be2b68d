#include "wpanelcalcul.h"

#include "boxhook.h"
#include "commfunctions.h"
#include "errorhandling.h"
#include "global.h"
#include "keyfilters.h"
#include "numbertext.h"
#include "refusal.h"
#include "textids.h"

#include <QCheckBox>
#include <QLineEdit>
#include <QPushButton>
#include <QValidator>

namespace {

// The binary box takes the digits 0 and 1 and backspace, nothing else.
int binaryKeyFilter(int key)
{
    return key == '0' || key == '1' || key == KeyFilters::Backspace ? key : 0;
}

int hexadecimalKeyFilter(int key)
{
    return key == ' ' ? key : KeyFilters::HexKey(key);
}

// A 16-bit word has at most 16 binary digits; the blanks between groups of four are free.
class BinaryDigitsValidator : public QValidator
{
public:
    using QValidator::QValidator;
    State validate(QString& input, int& /*position*/) const override
    {
        return input.size() - input.count(QLatin1Char(' ')) <= 16 ? Acceptable : Invalid;
    }
};

} // namespace

wPanelCalcul::wPanelCalcul(QWidget* parent)
    : ChildWindow(parent)
{
    buildControls();
    connectControls();
    nationality();
}

void wPanelCalcul::connectControls()
{
    connect(m_cmdCrcCompute, &QPushButton::clicked, this, &wPanelCalcul::cmdCrcCompute_Click);
    for (QLineEdit* box : std::as_const(m_txtCrcFrame)) {
        connect(box, &QLineEdit::textChanged, this, &wPanelCalcul::txtCrcFrame_Change);
        BoxHook::InstallKeyFilter(box, [](int key) { return KeyFilters::NumericKey(key, true); });
    }
    for (int i = 0; i < m_txtConvert.size(); ++i)
        connect(m_txtConvert[i], &QLineEdit::textChanged, this,
                [this, i] { txtConvert_Change(i); });
    connect(m_chkConvertUnsigned, &QCheckBox::toggled, this,
            &wPanelCalcul::chkConvertUnsigned_Click);

    BoxHook::InstallKeyFilter(m_txtConvert[Decimal], [this](int key) {
        return KeyFilters::NumericKey(key, !unsignedForm());
    });
    BoxHook::InstallKeyFilter(m_txtConvert[Hexadecimal], hexadecimalKeyFilter);
    BoxHook::InstallKeyFilter(m_txtConvert[Binary], binaryKeyFilter);
    m_txtConvert[Binary]->setValidator(new BinaryDigitsValidator(m_txtConvert[Binary]));
    connect(m_txtConvert[Binary], &QLineEdit::inputRejected, this,
            [this] { Refusal::Refuse(m_txtConvert[Binary], TextId::ConvertBinaryDigits); });

    for (QLineEdit* box : findChildren<QLineEdit*>())
        BoxHook::SelectAllOnEntry(box);
}

bool wPanelCalcul::unsignedForm() const
{
    return m_chkConvertUnsigned->isChecked();
}

void wPanelCalcul::cmdCrcCompute_Click()
{
    try {
        CrcCompute();
    } catch (const RunTimeError& error) {
        ErrorHandling(QStringLiteral("wPanelCalcul.cmdCrcCompute_Click"), error);
    }
}

void wPanelCalcul::CrcCompute()
{
    m_txtFrame->clear();
    QByteArray frame;
    for (QLineEdit* box : std::as_const(m_txtCrcFrame)) {
        if (box->text().trimmed().isEmpty())
            continue;
        const std::int64_t value = NumberText::Val(box->text());
        if (value < 0 || value > 255) {
            Refusal::Refuse(box, TextId::CrcByteRange);
            box->setFocus(Qt::OtherFocusReason);
            box->selectAll();
            return;
        }
        frame.append(static_cast<char>(value));
    }
    const auto length = static_cast<std::int16_t>(frame.size());
    frame.append(2, '\0'); // room for the CRC, which the routine insists on
    const std::int16_t crc = CommFunctions::CRC16(frame, length);

    const QString high = Global::ByteToText(Global::HiByte(crc));
    const QString low = Global::ByteToText(Global::LoByte(crc));
    const QString texts[CrcResultBoxes] = {
        QString::number(Global::Unsigned(crc)),
        high + QLatin1Char(' ') + low,
        Global::IntToBin(crc, false),
        low + QLatin1Char(' ') + high, // as it travels: low byte first
        low,
        high,
        QString::number(Global::LoByte(crc)),
        QString::number(Global::HiByte(crc)),
    };
    for (int i = 0; i < CrcResultBoxes; ++i)
        m_txtCrcResult[i]->setText(texts[i]);
    m_txtFrame->setText(NumberText::FrameText(frame.left(length)) + m_txtCrcResult[4]->text() +
                        QLatin1Char(' ') + m_txtCrcResult[5]->text());
}

void wPanelCalcul::txtCrcFrame_Change()
{
    // A result never stands beside bytes that it was not computed from.
    for (QLineEdit* box : std::as_const(m_txtCrcResult))
        box->clear();
    m_txtFrame->clear();
}

void wPanelCalcul::txtConvert_Change(int index)
{
    if (m_busy)
        return;
    m_busy = true;
    const QString text = m_txtConvert[index]->text();
    if (index == Decimal) {
        const std::int64_t value = NumberText::Val(text);
        const std::int64_t lowest = unsignedForm() ? 0 : -32768;
        const std::int64_t highest = unsignedForm() ? 65535 : 32767;
        if (value < lowest || value > highest) {
            Refusal::Refuse(m_txtConvert[Decimal], unsignedForm() ? TextId::ConvertUnsignedRange
                                                                  : TextId::ConvertSignedRange);
            m_busy = false;
            return;
        }
        m_word = Global::Signed(static_cast<std::int32_t>(value));
    } else if (index == Hexadecimal) {
        const std::uint32_t value = NumberText::HexVal(QString(text).remove(QLatin1Char(' ')));
        m_word = Global::Signed(static_cast<std::int32_t>(value & 0xFFFFu));
    } else {
        m_word = Global::Signed(Global::BinToDec(QString(text).remove(QLatin1Char(' '))));
    }
    showWord(index);
    m_busy = false;
}

void wPanelCalcul::showWord(int typedIndex)
{
    if (typedIndex != Decimal)
        m_txtConvert[Decimal]->setText(NumberText::Decimal(m_word, unsignedForm()));
    if (typedIndex != Hexadecimal)
        m_txtConvert[Hexadecimal]->setText(NumberText::HexPairs(m_word));
    if (typedIndex != Binary)
        m_txtConvert[Binary]->setText(Global::IntToBin(m_word, true));
}

void wPanelCalcul::chkConvertUnsigned_Click()
{
    if (m_txtConvert[Decimal]->text().isEmpty())
        return;
    m_busy = true;
    m_txtConvert[Decimal]->setText(NumberText::Decimal(m_word, unsignedForm()));
    m_busy = false;
}
