// Controls and layout of the frame builder.
#include "controlnames.h"
#include "fixedfont.h"
#include "textids.h"
#include "wpanelframe.h"
#include "zrbgrid.h"

#include <QComboBox>
#include <QGridLayout>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSpinBox>
#include <QVBoxLayout>

namespace {

// The function codes of cboFrameType, in list order; item i's text is FunctionFirst + i.
constexpr std::array<int, 8> functionCodes = {1, 2, 3, 4, 5, 6, 15, 16};

} // namespace

void wPanelFrame::buildControls()
{
    setObjectName(QStringLiteral("wPanelFrame"));
    Tags::Set(this, TextId::PanelFrameTitle);
    setHelpContextId(TextId::PanelFrameTitle);

    auto* frmFrame = Named(new QGroupBox(this), QStringLiteral("frmFrame"), TextId::FrameGroup);
    m_updFrameSlave = Named(new QSpinBox(frmFrame), QStringLiteral("updFrameSlave"));
    // The up-down runs over the byte range; the builder itself refuses slaves above 64.
    m_updFrameSlave->setRange(0, 255);
    m_updFrameSlave->setValue(1);
    m_txtFrameSlave = m_updFrameSlave->findChild<QLineEdit*>();
    m_txtFrameSlave->setObjectName(QStringLiteral("TxtFrameSlave"));

    m_cboFrameType =
        Named(new QComboBox(frmFrame), QStringLiteral("cboFrameType"), TextId::FunctionFirst);
    for (const int code : functionCodes)
        m_cboFrameType->addItem(QString::number(code), code);
    m_cboFrameType->setCurrentIndex(2);

    m_txtFrameAddress =
        Named(new QLineEdit(QStringLiteral("0"), frmFrame), QStringLiteral("txtFrameAddress"));
    m_txtFrameNbData =
        Named(new QLineEdit(QStringLiteral("1"), frmFrame), QStringLiteral("txtFrameNbData"));
    for (QLineEdit* box : {m_txtFrameAddress, m_txtFrameNbData}) {
        box->setMaxLength(6);
        box->setAlignment(Qt::AlignRight);
    }

    auto* fields = new QGridLayout;
    fields->addWidget(
        Caption(frmFrame, QStringLiteral("lblFrameSlave"), TextId::FrameSlave, m_txtFrameSlave), 0,
        0);
    fields->addWidget(m_updFrameSlave, 0, 1);
    fields->addWidget(
        Caption(frmFrame, QStringLiteral("lblFrameType"), TextId::FrameType, m_cboFrameType), 1, 0);
    fields->addWidget(m_cboFrameType, 1, 1, 1, 2);
    fields->addWidget(Caption(frmFrame, QStringLiteral("lblFrameAddress"), TextId::FrameAddress,
                              m_txtFrameAddress),
                      2, 0);
    fields->addWidget(m_txtFrameAddress, 2, 1);
    fields->addWidget(Caption(frmFrame, QStringLiteral("lblFrameDec_0"), TextId::FrameDecimalHint),
                      2, 2);
    fields->addWidget(
        Caption(frmFrame, QStringLiteral("lblFrameNbData"), TextId::FrameCount, m_txtFrameNbData),
        3, 0);
    fields->addWidget(m_txtFrameNbData, 3, 1);
    fields->addWidget(Caption(frmFrame, QStringLiteral("lblFrameDec_1"), TextId::FrameDecimalHint),
                      3, 2);
    m_cmdFrameData[Compute] =
        Named(new QPushButton(frmFrame), QStringLiteral("cmdFrameData_0"), TextId::FrameCompute);
    fields->addWidget(m_cmdFrameData[Compute], 4, 0, 1, 3);
    fields->setRowStretch(5, 1);

    m_grdFrameData =
        Named(new ZrbGrid(frmFrame), QStringLiteral("grdFrameData"), TextId::FrameGrid);
    m_grdFrameData->setCols(2);
    m_grdFrameData->setMinimumWidth(170);

    auto* frameLayout = new QHBoxLayout(frmFrame);
    frameLayout->addLayout(fields);
    frameLayout->addSpacing(8);
    frameLayout->addWidget(m_grdFrameData, 1);

    auto* frmSendReceive =
        Named(new QGroupBox(this), QStringLiteral("frmSendReceive"), TextId::SendReceiveGroup);
    auto* frames = new QGridLayout(frmSendReceive);
    const QFont fixed = FixedPitchFont();
    for (int i : {Request, Answer}) {
        m_txtFrameData[i] =
            Named(new QLineEdit(frmSendReceive), QStringLiteral("txtFrameData_%1").arg(i));
        m_txtFrameData[i]->setFont(fixed);
        frames->addWidget(Caption(frmSendReceive, QStringLiteral("lblFrameData_%1").arg(i),
                                  i == Request ? TextId::FrameRequest : TextId::FrameAnswer,
                                  m_txtFrameData[i]),
                          i, 0);
        frames->addWidget(m_txtFrameData[i], i, 1);
    }
    m_txtFrameData[Answer]->setReadOnly(true);
    m_cmdFrameData[Send] =
        Named(new QPushButton(frmSendReceive), QStringLiteral("cmdFrameData_1"), TextId::FrameSend);
    frames->addWidget(m_cmdFrameData[Send], 0, 2);
    frames->setColumnStretch(1, 1);

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(frmFrame, 1);
    layout->addWidget(frmSendReceive);
    resize(720, 420);
}
