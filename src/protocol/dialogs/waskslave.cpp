#include "waskslave.h"

#include "helphook.h"
#include "nationality.h"
#include "portlist.h"
#include "refusal.h"
#include "textids.h"
#include "uihelpers.h"
#include "zrbfonctions.h"

#include <QCheckBox>
#include <QComboBox>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QToolButton>
#include <QVBoxLayout>

#include <algorithm>

namespace {

const QString section = QStringLiteral("Communication");

QLabel* captionLabel(const char* name, int textId, QWidget* buddy, QWidget* parent)
{
    auto* label = new QLabel(parent);
    label->setObjectName(QLatin1String(name));
    Tags::Set(label, textId);
    label->setBuddy(buddy);
    return label;
}

QToolButton* arrowButton(Qt::ArrowType arrow, QWidget* parent)
{
    auto* button = new QToolButton(parent);
    button->setArrowType(arrow);
    button->setAutoRepeat(true);
    button->setFocusPolicy(Qt::NoFocus);
    button->setFixedSize(18, 12);
    return button;
}

} // namespace

wAskSlave::wAskSlave(const QString& openPort, QWidget* parent)
    : QDialog(parent)
{
    setObjectName(QStringLiteral("wAskSlave"));
    Tags::Set(this, TextId::AskSlaveTitle);
    MakeSmallDialog(this);
    buildControls(openPort);
    nationality();

    m_txtSlave->setText(
        ZRBfonctions::GetIniParam(section, QStringLiteral("LastSlave"), QStringLiteral("1")));
    const QString autoSearch =
        ZRBfonctions::GetIniParam(section, QStringLiteral("AutoSearch"), QStringLiteral("1"));
    m_chkAutoSearch->setChecked(autoSearch.trimmed().toInt() != 0);
    m_txtSlave->setFocus();
    SelectAll(m_txtSlave);
}

void wAskSlave::buildControls(const QString& openPort)
{
    m_cboCommPort = new QComboBox(this);
    m_cboCommPort->setObjectName(QStringLiteral("cboCommPort"));
    m_cboCommPort->setMinimumContentsLength(18);
    FillPortList(m_cboCommPort, openPort);

    m_txtSlave = new QLineEdit(this);
    m_txtSlave->setObjectName(QStringLiteral("txtSlave"));
    m_txtSlave->setMaxLength(5);
    m_txtSlave->setFixedWidth(60);

    // The up-down control beside the slave text steps its number within 0..64.
    auto* updSlave = new QWidget(this);
    updSlave->setObjectName(QStringLiteral("updSlave"));
    m_updSlaveUp = arrowButton(Qt::UpArrow, updSlave);
    m_updSlaveDown = arrowButton(Qt::DownArrow, updSlave);
    auto* arrows = new QVBoxLayout(updSlave);
    arrows->setContentsMargins(0, 0, 0, 0);
    arrows->setSpacing(0);
    arrows->addWidget(m_updSlaveUp);
    arrows->addWidget(m_updSlaveDown);

    m_chkAutoSearch = new QCheckBox(this);
    m_chkAutoSearch->setObjectName(QStringLiteral("chkAutoSearch"));
    Tags::Set(m_chkAutoSearch, TextId::AskSlaveAutoSearch);

    auto* hint = new QLabel(this);
    hint->setObjectName(QStringLiteral("lblHint"));
    Tags::Set(hint, TextId::AskSlaveHint);
    hint->setWordWrap(true);

    auto* slaveRow = new QHBoxLayout;
    slaveRow->setSpacing(0);
    slaveRow->addWidget(m_txtSlave);
    slaveRow->addWidget(updSlave);
    slaveRow->addStretch();

    auto* grid = new QGridLayout;
    grid->addWidget(captionLabel("lblLabels_0", TextId::AskSlavePort, m_cboCommPort, this), 0, 0);
    grid->addWidget(m_cboCommPort, 0, 1);
    grid->addWidget(captionLabel("lblLabels_1", TextId::AskSlaveSlave, m_txtSlave, this), 1, 0);
    grid->addLayout(slaveRow, 1, 1);

    static constexpr int buttonTags[] = {TextId::Cancel, TextId::Ok, TextId::Help};
    auto* buttons = new QHBoxLayout;
    buttons->addStretch();
    // Shown in the order OK, Cancel, Help; their indexes stay 0 Cancel, 1 OK, 2 Help.
    for (const int index : {Ok, Cancel, Help}) {
        auto* button = new QPushButton(this);
        button->setObjectName(QStringLiteral("cmdBoutons_%1").arg(index));
        Tags::Set(button, buttonTags[index]);
        button->setAutoDefault(false);
        m_cmdBoutons[index] = button;
        buttons->addWidget(button);
        connect(button, &QPushButton::clicked, this, [this, index] { cmdBoutons_Click(index); });
    }
    m_cmdBoutons[Ok]->setDefault(true);

    auto* layout = new QVBoxLayout(this);
    layout->addLayout(grid);
    layout->addWidget(m_chkAutoSearch);
    layout->addWidget(hint);
    layout->addLayout(buttons);

    connect(m_updSlaveUp, &QToolButton::clicked, this, [this] { updSlave_Change(1); });
    connect(m_updSlaveDown, &QToolButton::clicked, this, [this] { updSlave_Change(-1); });
}

void wAskSlave::nationality()
{
    Tags::ApplyTexts(this);
}

QPushButton* wAskSlave::button(int index) const
{
    return index >= 0 && index < 3 ? m_cmdBoutons[index] : nullptr;
}

int wAskSlave::ParseSlave(const QString& text)
{
    bool ok = false;
    const int value = text.trimmed().toInt(&ok, 10);
    return ok && value >= MinSlave && value <= MaxSlave ? value : -1;
}

QString wAskSlave::slaveText() const
{
    return m_txtSlave->text();
}

std::int16_t wAskSlave::slave() const
{
    return static_cast<std::int16_t>(std::max(ParseSlave(m_txtSlave->text()), 0));
}

bool wAskSlave::autoSearch() const
{
    return m_chkAutoSearch->isChecked();
}

QString wAskSlave::port() const
{
    return PortListText(m_cboCommPort);
}

void wAskSlave::cmdBoutons_Click(int index)
{
    switch (index) {
    case Ok: {
        if (ParseSlave(m_txtSlave->text()) < 0) {
            Refusal::Refuse(m_txtSlave, TextId::AskSlaveRange);
            m_txtSlave->setFocus();
            SelectAll(m_txtSlave);
            return;
        }
        // A write that fails has been reported; the dialog stays open for another try.
        const bool stored =
            ZRBfonctions::SetIniParam(section, QStringLiteral("LastSlave"), m_txtSlave->text()) &&
            ZRBfonctions::SetIniParam(section, QStringLiteral("AutoSearch"),
                                      autoSearch() ? QStringLiteral("1") : QStringLiteral("0")) &&
            ZRBfonctions::SetIniParam(section, QStringLiteral("Port"), port());
        if (!stored)
            return;
        m_result = true;
        done(QDialog::Accepted);
        break;
    }
    case Help:
        HelpHook::Show(this, TextId::AskSlaveTitle);
        break;
    case Cancel:
    default:
        m_result = false;
        done(QDialog::Rejected);
        break;
    }
}

void wAskSlave::reject()
{
    cmdBoutons_Click(Cancel);
}

void wAskSlave::updSlave_Change(int step)
{
    bool ok = false;
    const int value = m_txtSlave->text().trimmed().toInt(&ok, 10);
    const int next = ok ? std::clamp(value + step, MinSlave, MaxSlave) : MinSlave;
    m_txtSlave->setText(QString::number(next));
}

void wAskSlave::keyPressEvent(QKeyEvent* event)
{
    switch (event->key()) {
    case Qt::Key_F1:
        cmdBoutons_Click(Help);
        event->accept();
        return;
    case Qt::Key_Up:
    case Qt::Key_Down:
        if (m_txtSlave->hasFocus()) {
            updSlave_Change(event->key() == Qt::Key_Up ? 1 : -1);
            event->accept();
            return;
        }
        break;
    default:
        break;
    }
    QDialog::keyPressEvent(event);
}
