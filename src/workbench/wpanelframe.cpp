#include "wpanelframe.h"

#include "comctrl.h"
#include "commfunctions.h"
#include "datafunctions7310.h"
#include "errorhandling.h"
#include "exchange.h"
#include "exchangelog.h"
#include "frameanswer.h"
#include "global.h"
#include "keyfilters.h"
#include "numbertext.h"
#include "prompthook.h"
#include "refusal.h"
#include "textids.h"
#include "uihelpers.h"
#include "zrbgrid.h"

#include <QAbstractSpinBox>
#include <QApplication>
#include <QComboBox>
#include <QHeaderView>
#include <QLineEdit>
#include <QPushButton>
#include <QSpinBox>
#include <QTimer>

#include <algorithm>

namespace {

constexpr int highestSlave = 64;      // the builder's own limit, below the byte range
constexpr int highestAddress = 65536; // accepted by the leave check; FrameToSend refuses it
constexpr int highestCount = 65535;   // the quantity is a 16-bit field
constexpr int dataColumn = 1;

int clampedInt(std::int64_t value)
{
    return static_cast<int>(std::clamp<std::int64_t>(value, INT32_MIN, INT32_MAX));
}

bool isRead(int code)
{
    return code >= 1 && code <= 4;
}
bool isBitWrite(int code)
{
    return code == 5 || code == 15;
}
bool isWordWrite(int code)
{
    return code == 6 || code == 16;
}
bool isSingleWrite(int code)
{
    return code == 5 || code == 6;
}

} // namespace

wPanelFrame::wPanelFrame(ComCtrl& port, QWidget* parent)
    : ChildWindow(parent)
    , m_port(port)
{
    buildControls();
    m_grdFrameData->setKeyFilter([](int key) { return KeyFilters::NumericKey(key, true); });
    connectControls();
    txtFrameNbData_Validate();
    nationality();
}

// The boxes are destroyed after this class's part of the window, and the focus leaving them
// then must not reach focusChanged() any more.
wPanelFrame::~wPanelFrame()
{
    disconnect(qApp, &QApplication::focusChanged, this, &wPanelFrame::focusChanged);
}

void wPanelFrame::connectControls()
{
    connect(m_cmdFrameData[Compute], &QPushButton::clicked, this,
            [this] { cmdFrameData_Click(Compute); });
    connect(m_cmdFrameData[Send], &QPushButton::clicked, this,
            [this] { cmdFrameData_Click(Send); });
    connect(m_cboFrameType, &QComboBox::currentIndexChanged, this,
            &wPanelFrame::cboFrameType_Click);
    connect(qApp, &QApplication::focusChanged, this, &wPanelFrame::focusChanged);
}

void wPanelFrame::nationality()
{
    ChildWindow::nationality();
    m_grdFrameData->setTextMatrix(0, 0, DataFunctions7310::GetText(TextId::FrameGridNumber));
    m_grdFrameData->setTextMatrix(0, dataColumn,
                                  DataFunctions7310::GetText(TextId::FrameGridValue));
    m_grdFrameData->resizeColumnToContents(0);
    showAnswer();
}

void wPanelFrame::showAnswer()
{
    if (m_answer.isEmpty()) {
        m_txtFrameData[Answer]->clear();
        return;
    }
    // A lone zero byte is the transaction's mark for "nothing came back".
    const bool timedOut = m_answer.size() == 1 && m_answer.at(0) == 0;
    m_txtFrameData[Answer]->setText(
        timedOut ? QLatin1Char('(') + DataFunctions7310::GetText(TextId::FrameNoAnswer) +
                       QLatin1Char(')')
                 : CommFunctions::FrameToText(m_answer));
    m_txtFrameData[Answer]->setCursorPosition(0);
}

void wPanelFrame::cmdFrameData_Click(int index)
{
    try {
        if (!fieldsAcceptable())
            return;
        if (index == Compute)
            FrameCompute();
        else
            FrameSend();
    } catch (const RunTimeError& error) {
        ErrorHandling(QStringLiteral("wPanelFrame.cmdFrameData_Click"), error);
    }
}

void wPanelFrame::FrameCompute()
{
    m_txtFrameData[Request]->clear();
    m_answer.clear();
    m_txtFrameData[Answer]->clear();

    const std::int64_t slave = NumberText::Val(m_txtFrameSlave->text());
    if (slave == 0 || slave > highestSlave) {
        refuse(m_txtFrameSlave, TextId::FrameSlaveRange);
        return;
    }
    if (!NumberText::IsNumber(m_txtFrameAddress->text())) {
        refuse(m_txtFrameAddress, TextId::FrameAddressNotNumber);
        return;
    }
    if (!NumberText::IsNumber(m_txtFrameNbData->text())) {
        refuse(m_txtFrameNbData, TextId::FrameCountNotNumber);
        return;
    }
    const int function = functionCode();

    CommFunctions::FrameData items;
    if (function >= 5 && m_grdFrameData->rows() >= 2) {
        QList<int> values;
        for (int row = 1; row < m_grdFrameData->rows(); ++row) {
            const std::int64_t value = NumberText::Val(m_grdFrameData->textMatrix(row, dataColumn));
            values << Global::Signed(static_cast<std::int32_t>(value & 0xFFFF));
        }
        items = values;
    }

    const QByteArray bytes = CommFunctions::FrameToSend(
        clampedInt(slave), function, clampedInt(NumberText::Val(m_txtFrameAddress->text())),
        clampedInt(NumberText::Val(m_txtFrameNbData->text())), items);
    if (bytes.size() >= 2)
        m_txtFrameData[Request]->setText(NumberText::FrameText(bytes));
    else
        refuseFrame(bytes.isEmpty() ? 0 : static_cast<std::uint8_t>(bytes.at(0)));
}

void wPanelFrame::refuseFrame(int errorCode)
{
    // The field that the codec's error code points at; the focus stays where it is.
    QWidget* field = m_cboFrameType;
    switch (errorCode) {
    case CommFunctions::BadSlave:
        field = m_updFrameSlave;
        break;
    case CommFunctions::BadAddress:
        field = m_txtFrameAddress;
        break;
    case CommFunctions::QuantityTooLarge:
    case CommFunctions::MissingData:
    case CommFunctions::QuantityNotOne:
        field = m_txtFrameNbData;
        break;
    case CommFunctions::DataNotList:
    case CommFunctions::TooFewItems:
        field = m_grdFrameData;
        break;
    default: // no frame and no code: the fault has been reported
        Refusal::Refuse(field, 0);
        return;
    }
    Refusal::Refuse(field, TextId::FrameErrorFirst - 1 + errorCode);
}

void wPanelFrame::FrameSend()
{
    const QString text = m_txtFrameData[Request]->text();
    if (text.size() < 3) {
        Refusal::Refuse(m_txtFrameData[Request], TextId::FrameNothingToSend);
        return;
    }
    const QByteArray request = NumberText::ParseFrameText(text);
    QByteArray answer;
    {
        WaitCursor wait;
        const ComCtrl::OriginScope origin(m_port, TextId::PanelFrameTitle);
        answer = CommFunctions::FrameReceived(m_port, request, AnswerTimeout);
    }
    m_answer = answer;
    showAnswer();
    if (m_port.isOpen()) {
        // What went out and how the answer came, in the line monitor's words.
        Exchange judged;
        judged.request = request;
        judged.answer = answer.size() == 1 && answer.at(0) == 0 ? QByteArray() : answer;
        judged.outcome = ClassifyAnswer(request, judged.answer, &judged.exceptionCode);
        const auto wording = [](int textId) {
            return DataFunctions7310::GetText(textId);
        };
        PromptHook::Confirm(DataFunctions7310::GetText(TextId::FrameSentConfirm)
                                .arg(request.size())
                                .arg(judged.outcome == Exchange::Outcome::Complete
                                         ? wording(TextId::MonitorComplete)
                                         : ExchangeText::OutcomeText(judged, wording)));
    }

    // A hand-typed text that stops inside a byte loses its tail: say what went out.
    if (text.size() % 3 != 0 && m_port.isOpen())
        PromptHook::Show(DataFunctions7310::GetText(TextId::FramePartialBytes).arg(request.size()));

    if (const auto cells = FrameAnswer::DataOf(request, answer)) {
        m_grdFrameData->setRows(static_cast<int>(cells->values.size()) + 1);
        for (int row = 1; row < m_grdFrameData->rows(); ++row)
            m_grdFrameData->setTextMatrix(row, dataColumn, cells->values.at(row - 1));
    } else if (request.size() >= 2 && isRead(static_cast<std::uint8_t>(request.at(1)))) {
        // The grid of a read shows its answer; a read that brought none leaves no values
        // of an earlier answer standing beside it.
        for (int row = 1; row < m_grdFrameData->rows(); ++row)
            m_grdFrameData->setTextMatrix(row, dataColumn, QString());
    }
}

void wPanelFrame::cboFrameType_Click()
{
    m_txtFrameData[Request]->clear();
    m_answer.clear();
    m_txtFrameData[Answer]->clear();
    const int code = functionCode();
    if (isBitWrite(code))
        setBitEntry(true);
    else if (isWordWrite(code))
        setBitEntry(false);
    if (isSingleWrite(code))
        m_txtFrameNbData->setText(QStringLiteral("1"));
    m_txtFrameNbData->setReadOnly(isSingleWrite(code));
    txtFrameNbData_Validate();
}

void wPanelFrame::setBitEntry(bool bits)
{
    if (!bits) {
        m_grdFrameData->setColumnList(dataColumn, {});
        return;
    }
    m_grdFrameData->setColumnList(dataColumn, {QStringLiteral("0"), QStringLiteral("1")});
    for (int row = 1; row < m_grdFrameData->rows(); ++row) {
        const bool set = NumberText::Val(m_grdFrameData->textMatrix(row, dataColumn)) != 0;
        m_grdFrameData->setTextMatrix(row, dataColumn,
                                      set ? QStringLiteral("1") : QStringLiteral("0"));
    }
}

int wPanelFrame::functionCode() const
{
    return m_cboFrameType->currentData().toInt();
}

bool wPanelFrame::addressAcceptable() const
{
    const std::int64_t address = NumberText::Val(m_txtFrameAddress->text());
    return address >= 0 && address <= highestAddress;
}

bool wPanelFrame::countAcceptable() const
{
    const std::int64_t count = NumberText::Val(m_txtFrameNbData->text());
    return count >= 0 && count <= highestCount;
}

bool wPanelFrame::txtFrameNbData_Validate()
{
    if (!countAcceptable())
        return false;
    m_grdFrameData->setRows(static_cast<int>(NumberText::Val(m_txtFrameNbData->text())) + 1);
    return true;
}

void wPanelFrame::focusChanged(QWidget* previous, QWidget* now)
{
    // Like a field validation: checked only when the focus moves on inside this window.
    if (m_refocusing || !now || !isAncestorOf(now))
        return;
    if (previous == m_txtFrameAddress && !addressAcceptable())
        refuse(m_txtFrameAddress, TextId::FrameAddressRange, true);
    else if (previous == m_txtFrameNbData && !txtFrameNbData_Validate())
        refuse(m_txtFrameNbData, TextId::FrameCountRange, true);
}

bool wPanelFrame::fieldsAcceptable()
{
    // A refusal on leaving a box has already beeped; the command that took the focus waits.
    if (m_refocusing)
        return false;
    if (!addressAcceptable()) {
        refuse(m_txtFrameAddress, TextId::FrameAddressRange);
        return false;
    }
    if (!countAcceptable()) {
        refuse(m_txtFrameNbData, TextId::FrameCountRange);
        return false;
    }
    return true;
}

void wPanelFrame::refuse(QLineEdit* box, int reasonId, bool deferred)
{
    // The slave's text belongs to its up-down control, which holds the focus for it.
    auto* spin = qobject_cast<QAbstractSpinBox*>(box->parentWidget());
    QWidget* target = spin ? static_cast<QWidget*>(spin) : box;
    Refusal::Refuse(target, reasonId);
    m_refocusing = box;
    auto giveBack = [this, target, box] {
        target->setFocus(Qt::OtherFocusReason);
        box->selectAll();
        m_refocusing = nullptr;
    };
    if (deferred)
        QTimer::singleShot(0, this, giveBack);
    else
        giveBack();
}
