#include "wsearchslave.h"

#include "datafunctions7310.h"
#include "nationality.h"
#include "textids.h"
#include "uihelpers.h"

#include <QApplication>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

namespace {

QLabel* captionLabel(const char* name, int textId, QWidget* parent)
{
    auto* label = new QLabel(parent);
    label->setObjectName(QLatin1String(name));
    Tags::Set(label, textId);
    return label;
}

QLabel* valueLabel(const char* name, QWidget* parent)
{
    auto* label = new QLabel(parent);
    label->setObjectName(QLatin1String(name));
    label->setFrameShape(QFrame::Panel);
    label->setFrameShadow(QFrame::Sunken);
    label->setMinimumWidth(70);
    label->setAlignment(Qt::AlignCenter);
    return label;
}

} // namespace

wSearchSlave::wSearchSlave(QWidget* parent)
    : QDialog(parent)
{
    setObjectName(QStringLiteral("wSearchSlave"));
    Tags::Set(this, TextId::SearchTitle);
    MakeSmallDialog(this);

    m_lblModule = valueLabel("lblModule", this);
    m_lblSpeed = valueLabel("lblSpeed", this);
    m_lblStops = valueLabel("lblStops", this);
    m_lblMessage = captionLabel("lblMessage", TextId::SearchRunning, this);
    m_lblMessage->setWordWrap(true);
    m_lblMessage->setMinimumWidth(260);

    auto* grid = new QGridLayout;
    grid->addWidget(captionLabel("lblLabels_0", TextId::SearchSlave, this), 0, 0);
    grid->addWidget(m_lblModule, 0, 1);
    grid->addWidget(captionLabel("lblLabels_1", TextId::SearchSpeed, this), 1, 0);
    grid->addWidget(m_lblSpeed, 1, 1);
    grid->addWidget(captionLabel("lblLabels_2", TextId::SearchStops, this), 2, 0);
    grid->addWidget(m_lblStops, 2, 1);

    m_cmdOk = new QPushButton(this);
    m_cmdOk->setObjectName(QStringLiteral("cmdOk"));
    Tags::Set(m_cmdOk, TextId::Ok);
    m_cmdOk->setEnabled(false); // until a panel has answered
    m_cmdOk->setAutoDefault(false);
    m_cmdCancel = new QPushButton(this);
    m_cmdCancel->setObjectName(QStringLiteral("cmdCancel"));
    Tags::Set(m_cmdCancel, TextId::Cancel);
    m_cmdCancel->setAutoDefault(false);

    auto* buttons = new QHBoxLayout;
    buttons->addStretch();
    buttons->addWidget(m_cmdOk);
    buttons->addWidget(m_cmdCancel);
    auto* layout = new QVBoxLayout(this);
    layout->addLayout(grid);
    layout->addWidget(m_lblMessage);
    layout->addLayout(buttons);

    connect(m_cmdOk, &QPushButton::clicked, this, &wSearchSlave::cmdOk_Click);
    connect(m_cmdCancel, &QPushButton::clicked, this, &wSearchSlave::cmdCancel_Click);
    nationality();
}

QString wSearchSlave::ModuleText(int slave)
{
    return slave == 0 ? QStringLiteral("?") : QString::number(slave);
}

void wSearchSlave::nationality()
{
    Tags::ApplyTexts(this);
}

void wSearchSlave::show()
{
    QDialog::show();
}

void wSearchSlave::progress(int slave, std::int32_t speed, std::int16_t stops)
{
    m_lblModule->setText(ModuleText(slave));
    m_lblSpeed->setText(QString::number(speed));
    m_lblStops->setText(QString::number(stops));
    // The probe that follows blocks without running events: paint the new values now.
    if (isVisible())
        repaint();
}

bool wSearchSlave::found(int slave)
{
    QApplication::beep();
    m_lblModule->setText(ModuleText(slave));
    m_cmdOk->setEnabled(true);
    m_cmdOk->setDefault(true);
    m_lblMessage->setText(WithLineBreaks(DataFunctions7310::GetText(TextId::SearchFound)));
    // Shown again as a modal dialog (a window that is already visible would not become
    // modal); the focus given to OK while hidden is applied when it shows.
    QDialog::hide();
    m_cmdOk->setFocus();
    exec();
    return m_continue;
}

void wSearchSlave::close()
{
    QDialog::hide();
}

void wSearchSlave::reject()
{
    cmdCancel_Click();
}

void wSearchSlave::cmdOk_Click()
{
    m_continue = true;
    done(QDialog::Accepted);
}

void wSearchSlave::cmdCancel_Click()
{
    m_continue = false;
    done(QDialog::Rejected);
}
