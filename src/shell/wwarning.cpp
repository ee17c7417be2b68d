#include "wwarning.h"

#include "nationality.h"
#include "textids.h"
#include "uihelpers.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QStyle>
#include <QVBoxLayout>

wWarning::wWarning(QWidget* parent)
    : QDialog(parent)
    , m_imgWarning(new QLabel(this))
{
    setObjectName(QStringLiteral("wWarning"));
    Tags::Set(this, TextId::WarningTitle);
    MakeSmallDialog(this);

    const int labelIds[2] = {TextId::WarningMessage, TextId::WarningQuestion};
    for (int i = 0; i < 2; ++i) {
        m_lblLabels[i] = new QLabel(this);
        m_lblLabels[i]->setObjectName(QStringLiteral("lblLabels_%1").arg(i));
        m_lblLabels[i]->setWordWrap(true);
        Tags::Set(m_lblLabels[i], labelIds[i]);
    }
    m_imgWarning->setObjectName(QStringLiteral("imgWarning"));
    const int iconSize = style()->pixelMetric(QStyle::PM_MessageBoxIconSize, nullptr, this);
    m_imgWarning->setPixmap(
        style()->standardIcon(QStyle::SP_MessageBoxWarning, nullptr, this).pixmap(iconSize));
    m_imgWarning->setAlignment(Qt::AlignTop);

    const int buttonIds[2] = {TextId::No, TextId::Yes};
    for (int i = 0; i < 2; ++i) {
        m_cmdCommand[i] = new QPushButton(this);
        m_cmdCommand[i]->setObjectName(QStringLiteral("cmdCommand_%1").arg(i));
        m_cmdCommand[i]->setAutoDefault(false);
        Tags::Set(m_cmdCommand[i], buttonIds[i]);
        connect(m_cmdCommand[i], &QPushButton::clicked, this, [this, i] { cmdCommand_Click(i); });
    }
    m_cmdCommand[0]->setDefault(true);

    auto* texts = new QVBoxLayout;
    texts->addWidget(m_lblLabels[0]);
    texts->addSpacing(8);
    texts->addWidget(m_lblLabels[1]);
    auto* top = new QHBoxLayout;
    top->addWidget(m_imgWarning);
    top->addSpacing(12);
    top->addLayout(texts, 1);
    auto* buttons = new QHBoxLayout;
    buttons->addStretch(1);
    buttons->addWidget(m_cmdCommand[1]);
    buttons->addWidget(m_cmdCommand[0]);
    auto* layout = new QVBoxLayout(this);
    layout->addLayout(top);
    layout->addSpacing(12);
    layout->addLayout(buttons);
    setMinimumWidth(380);

    nationality();
}

void wWarning::nationality()
{
    Tags::ApplyTexts(this);
}

void wWarning::cmdCommand_Click(int index)
{
    m_answer = index != 0;
    hide();
}
