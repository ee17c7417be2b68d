#include "wlinecheck.h"

#include "comctrl.h"
#include "datafunctions7310.h"
#include "exchangelog.h"
#include "helphook.h"
#include "linecheck.h"
#include "nationality.h"
#include "textids.h"
#include "uihelpers.h"

#include <QApplication>
#include <QClipboard>
#include <QFileDialog>
#include <QFontDatabase>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QMessageBox>
#include <QPushButton>
#include <QResizeEvent>
#include <QSpinBox>
#include <QStyle>
#include <QTableWidget>
#include <QVBoxLayout>

namespace {

QString Text(int id)
{
    return DataFunctions7310::GetText(id);
}

} // namespace

wLineCheck::wLineCheck(ComCtrl& line, QWidget* parent)
    : QDialog(parent)
    , m_line(line)
    , m_updSlave(new QSpinBox(this))
    , m_lstFindings(new QTableWidget(this))
    , m_cmdCheck(Tags::Button(this, "cmdCheck", TextId::LineCheckRun))
    , m_cmdCopy(Tags::Button(this, "cmdCopy", TextId::LineCheckCopy))
    , m_cmdSave(Tags::Button(this, "cmdSave", TextId::LineCheckSave))
    , m_lblStatus(new QLabel(this))
{
    setObjectName(QStringLiteral("wLineCheck"));
    Tags::Set(this, TextId::LineCheckTitle);

    auto* lblSlave = new QLabel(this);
    lblSlave->setObjectName(QStringLiteral("lblSlave"));
    Tags::Set(lblSlave, TextId::LineCheckSlave);
    lblSlave->setBuddy(m_updSlave);
    m_updSlave->setObjectName(QStringLiteral("updSlave"));
    m_updSlave->setRange(0, 64);
    m_updSlave->setValue(line.lastSlave());
    m_cmdCheck->setDefault(true);

    m_lstFindings->setObjectName(QStringLiteral("lstFindings"));
    m_lstFindings->setColumnCount(2);
    m_lstFindings->setWordWrap(true);
    m_lstFindings->setShowGrid(false);
    m_lstFindings->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_lstFindings->setSelectionMode(QAbstractItemView::NoSelection);
    m_lstFindings->verticalHeader()->hide();
    m_lstFindings->horizontalHeader()->setStretchLastSection(true);
    m_lstFindings->horizontalHeader()->setDefaultAlignment(Qt::AlignLeft);
    m_lblStatus->setObjectName(QStringLiteral("lblStatus"));

    auto* cmdHelp = Tags::Button(this, "cmdHelp", TextId::Help);
    auto* cmdClose = Tags::Button(this, "cmdClose", TextId::Close);
    m_cmdCopy->setEnabled(false);
    m_cmdSave->setEnabled(false);

    auto* top = new QHBoxLayout;
    top->addWidget(lblSlave);
    top->addWidget(m_updSlave);
    top->addStretch(1);
    top->addWidget(m_cmdCheck);
    auto* buttons = new QHBoxLayout;
    buttons->addWidget(m_lblStatus, 1);
    for (QPushButton* button : {m_cmdCopy, m_cmdSave, cmdHelp, cmdClose})
        buttons->addWidget(button);
    auto* layout = new QVBoxLayout(this);
    layout->addLayout(top);
    layout->addWidget(m_lstFindings, 1);
    layout->addLayout(buttons);
    resize(820, 520);

    connect(m_cmdCheck, &QPushButton::clicked, this, &wLineCheck::check);
    connect(m_cmdCopy, &QPushButton::clicked, this, &wLineCheck::copyClicked);
    connect(m_cmdSave, &QPushButton::clicked, this, &wLineCheck::saveClicked);
    connect(cmdHelp, &QPushButton::clicked, this,
            [this] { HelpHook::Show(this, TextId::LineCheckTitle); });
    connect(cmdClose, &QPushButton::clicked, this, &QDialog::accept);
    nationality();
}

void wLineCheck::nationality()
{
    Tags::ApplyTexts(this);
    m_lstFindings->setHorizontalHeaderLabels(
        {Text(TextId::LineCheckColumnTopic), Text(TextId::LineCheckColumnResult)});
}

void wLineCheck::check()
{
    {
        const WaitCursor wait;
        m_lblStatus->clear();
        m_heading = LineCheck::Heading(m_line);
        m_findings = LineCheck::Run(m_line, m_updSlave->value());
    }
    showFindings(m_findings);
    m_cmdCopy->setEnabled(true);
    m_cmdSave->setEnabled(true);
}

void wLineCheck::showFindings(const QList<Finding>& findings)
{
    const QStyle::StandardPixmap marks[] = {
        QStyle::SP_DialogApplyButton, QStyle::SP_MessageBoxWarning, QStyle::SP_MessageBoxCritical};
    const QFont fixed = QFontDatabase::systemFont(QFontDatabase::FixedFont);
    m_lstFindings->setRowCount(0);
    const auto addRow = [this](QTableWidgetItem* topic, QTableWidgetItem* result) {
        const int row = m_lstFindings->rowCount();
        m_lstFindings->insertRow(row);
        m_lstFindings->setItem(row, 0, topic);
        m_lstFindings->setItem(row, 1, result);
        result->setTextAlignment(Qt::AlignLeft | Qt::AlignTop);
        topic->setTextAlignment(Qt::AlignLeft | Qt::AlignTop);
    };
    for (const Finding& finding : findings) {
        auto* topic = new QTableWidgetItem(
            style()->standardIcon(marks[finding.mark], nullptr, this), Text(finding.topic));
        topic->setData(Qt::UserRole, int(finding.mark));
        addRow(topic, new QTableWidgetItem(finding.text));
        if (finding.udevRule.isEmpty())
            continue;
        auto* rule = new QTableWidgetItem(finding.udevRule);
        rule->setFont(fixed);
        rule->setToolTip(Text(TextId::LineCheckUdevRule));
        addRow(new QTableWidgetItem, rule);
    }
    m_lstFindings->resizeColumnToContents(0);
    m_lstFindings->resizeRowsToContents();
}

void wLineCheck::resizeEvent(QResizeEvent* event)
{
    QDialog::resizeEvent(event);
    // Word-wrapped results take the height the new width calls for.
    m_lstFindings->resizeRowsToContents();
}

QString wLineCheck::findingsText() const
{
    return LineFindings::AsText(m_heading, m_findings);
}

bool wLineCheck::saveTo(const QString& path)
{
    QString error;
    if (!ExchangeText::SaveAtomically(path, findingsText().toUtf8(), &error)) {
        QMessageBox::critical(this, ConsoleTitle(), Text(TextId::LineCheckSaveFailed).arg(error));
        return false;
    }
    m_lblStatus->setText(Text(TextId::LineCheckSaved).arg(path));
    return true;
}

void wLineCheck::copyClicked()
{
    QApplication::clipboard()->setText(findingsText());
    m_lblStatus->setText(Text(TextId::LineCheckCopied));
}

void wLineCheck::saveClicked()
{
    const QString proposed =
        DatedDocumentPath(QStringLiteral("k7310-line-check"), QStringLiteral("txt"));
    const QString path = QFileDialog::getSaveFileName(this, Text(TextId::LineCheckSaveTitle),
                                                      proposed, Text(TextId::LineCheckFileTypes));
    if (!path.isEmpty())
        saveTo(path);
}
