// Controls and layout of the panel test window.
#include "controlnames.h"
#include "ledpanel.h"
#include "textids.h"
#include "wpaneltools.h"

#include <QComboBox>
#include <QFontDatabase>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QScrollArea>
#include <QTreeWidget>
#include <QVBoxLayout>

void wPanelTools::buildControls()
{
    setObjectName(QStringLiteral("wPanelTools"));
    Tags::Set(this, TextId::PanelToolsTitle);
    setHelpContextId(TextId::PanelToolsTitle);

    // The choice of sequence and of the slave; held still while a sequence runs.
    m_frmFrames = Named(new QGroupBox(this), QStringLiteral("frmFrames"));
    m_txtToolsSlave =
        Named(new QLineEdit(QStringLiteral("1"), m_frmFrames), QStringLiteral("TxtToolsSlave"));
    m_txtToolsSlave->setMaxLength(6);
    m_txtToolsSlave->setAlignment(Qt::AlignRight);
    m_txtToolsSlave->setMaximumWidth(70);
    m_cboToolsSequence = Named(new QComboBox(m_frmFrames), QStringLiteral("cboToolsSequence"),
                               TextId::SequenceFirst);
    for (int i = 0; i < SequenceCount; ++i)
        m_cboToolsSequence->addItem(QString::number(i));
    // As wide as its longest item in the language shown, also after a change of language.
    m_cboToolsSequence->setSizeAdjustPolicy(QComboBox::AdjustToContents);
    m_cboToolsSequence->setSizePolicy(QSizePolicy::Minimum, QSizePolicy::Fixed);
    m_lblHelp = Named(new QLabel(m_frmFrames), QStringLiteral("lblHelp"));
    m_lblHelp->setWordWrap(true);
    m_lblHelp->setMinimumHeight(3 * m_lblHelp->fontMetrics().lineSpacing());
    m_lblHelp->setAlignment(Qt::AlignLeft | Qt::AlignTop);
    m_lblCommParams = Named(new QLabel(m_frmFrames), QStringLiteral("lblCommParams"));

    auto* choice = new QGridLayout(m_frmFrames);
    choice->addWidget(
        Caption(m_frmFrames, QStringLiteral("lblToolsSlave"), TextId::ToolsSlave, m_txtToolsSlave),
        0, 0);
    choice->addWidget(m_txtToolsSlave, 0, 1, Qt::AlignLeft);
    choice->addWidget(m_lblCommParams, 0, 2, Qt::AlignRight);
    choice->addWidget(Caption(m_frmFrames, QStringLiteral("lblToolsSequence"),
                              TextId::ToolsSequence, m_cboToolsSequence),
                      1, 0);
    choice->addWidget(m_cboToolsSequence, 1, 1, 1, 2);
    choice->addWidget(m_lblHelp, 2, 0, 1, 3);
    choice->setColumnStretch(2, 1);

    m_frmToolsLeds =
        Named(new QGroupBox(this), QStringLiteral("frmToolsLeds"), TextId::ToolsLedStateGroup);
    // Two states a row, the alarm's on a row of its own: the window keeps its height low
    // enough for a small screen.
    auto* states = new QGridLayout(m_frmToolsLeds);
    for (int i = 0; i < PanelCommands::StateCount; ++i) {
        m_optToolsLeds[i] =
            Named(new QRadioButton(m_frmToolsLeds), QStringLiteral("optToolsLeds_%1").arg(i),
                  TextId::LedStateFirst + i);
        if (i == PanelCommands::AlarmState)
            states->addWidget(m_optToolsLeds[i], i / 2, 0, 1, 2);
        else
            states->addWidget(m_optToolsLeds[i], i / 2, i % 2);
    }
    m_optToolsLeds[PanelCommands::SteadyState]->setChecked(true);
    // Hidden for the sequences that do not draw; the buttons below keep their place.
    QSizePolicy keepPlace = m_frmToolsLeds->sizePolicy();
    keepPlace.setRetainSizeWhenHidden(true);
    m_frmToolsLeds->setSizePolicy(keepPlace);

    const std::array<int, 4> commandTexts = {TextId::ToolsStart, TextId::ToolsStop,
                                             TextId::ToolsPanelOff, TextId::ToolsClearLog};
    auto* commands = new QGridLayout;
    for (int i = 0; i < 4; ++i) {
        m_cmdTools[i] =
            Named(new QPushButton(this), QStringLiteral("cmdTools_%1").arg(i), commandTexts[i]);
        commands->addWidget(m_cmdTools[i], i / 2, i % 2);
    }

    m_frmPanneau = new LedPanel(this);

    auto* frmLog = Named(new QGroupBox(this), QStringLiteral("frmLog"), TextId::ToolsLogGroup);
    m_lvwPanel = Named(new QTreeWidget(frmLog), QStringLiteral("lvwPanel"));
    m_lvwPanel->setColumnCount(2);
    m_lvwPanel->setRootIsDecorated(false);
    m_lvwPanel->setUniformRowHeights(true);
    m_lvwPanel->setSelectionMode(QAbstractItemView::NoSelection);
    m_lvwPanel->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    m_lvwPanel->header()->setFont(font());
    m_lvwPanel->header()->setStretchLastSection(false);
    // Seven lines, a heading and a horizontal scroll bar, without a vertical one.
    m_lvwPanel->setMinimumHeight((LogLines + 2) * m_lvwPanel->fontMetrics().lineSpacing() + 32);
    auto* logLayout = new QVBoxLayout(frmLog);
    logLayout->addWidget(m_lvwPanel);

    auto* left = new QVBoxLayout;
    left->addWidget(m_frmFrames);
    left->addWidget(m_frmToolsLeds);
    left->addLayout(commands);
    left->addStretch(1);

    auto* top = new QHBoxLayout;
    top->addLayout(left);
    top->addWidget(m_frmPanneau, 1);

    // Everything scrolls when the window is made smaller than its controls need, so that
    // Start, Stop and the log stay within reach on a small screen.
    m_body = new QWidget;
    m_body->setObjectName(QStringLiteral("body"));
    auto* layout = new QVBoxLayout(m_body);
    layout->addLayout(top);
    layout->addWidget(frmLog, 1);
    auto* scroll = Named(new QScrollArea(this), QStringLiteral("scrToolsBody"));
    scroll->setFrameShape(QFrame::NoFrame);
    scroll->setWidgetResizable(true);
    scroll->setWidget(m_body);
    auto* outer = new QVBoxLayout(this);
    outer->setContentsMargins(0, 0, 0, 0);
    outer->addWidget(scroll);
}
