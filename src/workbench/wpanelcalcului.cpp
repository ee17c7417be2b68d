// Controls and layout of the calculator.
#include "controlnames.h"
#include "fixedfont.h"
#include "textids.h"
#include "wpanelcalcul.h"

#include <QCheckBox>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>

namespace {

QLineEdit* readOnlyBox(QWidget* parent, const QString& name, const QFont& font)
{
    auto* box = Named(new QLineEdit(parent), name);
    box->setReadOnly(true);
    box->setFont(font);
    return box;
}

} // namespace

void wPanelCalcul::buildControls()
{
    setObjectName(QStringLiteral("wPanelCalcul"));
    Tags::Set(this, TextId::PanelCalculTitle);
    setHelpContextId(TextId::PanelCalculTitle);
    const QFont fixed = FixedPitchFont();

    auto* frmCrc = Named(new QGroupBox(this), QStringLiteral("frmCrc"), TextId::CrcGroup);
    auto* bytes = new QHBoxLayout;
    bytes->setSpacing(3);
    for (int i = 0; i < CrcFrameBoxes; ++i) {
        auto* box = Named(new QLineEdit(frmCrc), QStringLiteral("txtCrcFrame_%1").arg(i));
        box->setMaxLength(4);
        box->setAlignment(Qt::AlignRight);
        box->setFixedWidth(box->fontMetrics().horizontalAdvance(QStringLiteral("0000")) + 12);
        bytes->addWidget(box);
        m_txtCrcFrame << box;
    }
    bytes->addStretch(1);
    m_cmdCrcCompute =
        Named(new QPushButton(frmCrc), QStringLiteral("cmdCrcCompute"), TextId::CrcCompute);
    m_txtFrame = readOnlyBox(frmCrc, QStringLiteral("txtFrame"), fixed);

    auto* results = new QGridLayout;
    for (int i = 0; i < CrcResultBoxes; ++i) {
        m_txtCrcResult << readOnlyBox(frmCrc, QStringLiteral("txtCrcResult_%1").arg(i), fixed);
        // Two result boxes a line: decimal and hexadecimal, binary and as sent, then the low
        // and high byte in hexadecimal and in decimal.
        const int row = i / 2;
        const int column = (i % 2) * 2;
        results->addWidget(Caption(frmCrc, QStringLiteral("lblCrcResult_%1").arg(i),
                                   TextId::CrcResultFirst + i, m_txtCrcResult[i]),
                           row, column);
        results->addWidget(m_txtCrcResult[i], row, column + 1);
    }
    results->setColumnStretch(1, 1);
    results->setColumnStretch(3, 1);

    auto* frameLine = new QHBoxLayout;
    frameLine->addWidget(
        Caption(frmCrc, QStringLiteral("lblFrame"), TextId::CrcFrameWithCrc, m_txtFrame));
    frameLine->addWidget(m_txtFrame, 1);
    frameLine->addWidget(m_cmdCrcCompute);

    auto* crcLayout = new QVBoxLayout(frmCrc);
    crcLayout->addWidget(Caption(frmCrc, QStringLiteral("lblCrcFrame"), TextId::CrcFrameBytes,
                                 m_txtCrcFrame.first()));
    crcLayout->addLayout(bytes);
    crcLayout->addLayout(frameLine);
    crcLayout->addLayout(results);

    auto* frmConvert =
        Named(new QGroupBox(this), QStringLiteral("frmConvert"), TextId::ConvertGroup);
    auto* convert = new QGridLayout(frmConvert);
    for (int i : {Decimal, Hexadecimal, Binary}) {
        auto* box = Named(new QLineEdit(frmConvert), QStringLiteral("txtConvert_%1").arg(i));
        box->setFont(fixed);
        box->setMinimumWidth(box->fontMetrics().horizontalAdvance(QString(22, QLatin1Char('0'))));
        m_txtConvert << box;
        convert->addWidget(Caption(frmConvert, QStringLiteral("lblConvert_%1").arg(i),
                                   TextId::ConvertDecimal + i, box),
                           i, 0);
        convert->addWidget(box, i, 1);
    }
    m_chkConvertUnsigned = Named(new QCheckBox(frmConvert), QStringLiteral("chkConvertUnsigned"),
                                 TextId::ConvertUnsigned);
    convert->addWidget(m_chkConvertUnsigned, 0, 2);
    convert->setColumnStretch(3, 1);

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(frmCrc);
    layout->addWidget(frmConvert);
    layout->addStretch(1);
    resize(780, 400);
}
