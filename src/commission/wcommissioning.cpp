#include "wcommissioning.h"

#include "comctrl.h"
#include "commfunctions.h"
#include "configfile.h"
#include "datafunctions7310.h"
#include "global.h"
#include "nationality.h"
#include "prompthook.h"
#include "recordfiles.h"
#include "textids.h"
#include "uihelpers.h"
#include "zrbfonctions.h"

#include <QCheckBox>
#include <QCloseEvent>
#include <QDir>
#include <QEventLoop>
#include <QFileDialog>
#include <QFileInfo>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPrintPreviewDialog>
#include <QPrinter>
#include <QPushButton>
#include <QSpinBox>
#include <QTableWidget>
#include <QVBoxLayout>

using namespace Commission;

namespace {

const QString section = QStringLiteral("Commissioning");

} // namespace

wCommissioning::wCommissioning(ComCtrl& port, QWidget* parent)
    : ChildWindow(parent)
    , m_port(port)
{
    setProperty("tag", TextId::CommissionTitle);
    setObjectName(QStringLiteral("wCommissioning"));
    buildControls();
    m_txtSite->setText(ZRBfonctions::GetIniParam(section, QStringLiteral("Site"), {}));
    m_txtTechnician->setText(ZRBfonctions::GetIniParam(section, QStringLiteral("Technician"), {}));
    setAsker({});
    nationality();
    showRunning();
}

void wCommissioning::buildControls()
{
    auto* layout = new QVBoxLayout(this);
    auto* heading = new QFormLayout;
    m_txtSite = new QLineEdit(this);
    m_txtSite->setObjectName(QStringLiteral("txtSite"));
    m_txtTechnician = new QLineEdit(this);
    m_txtTechnician->setObjectName(QStringLiteral("txtTechnician"));
    m_txtTemplate = new QLineEdit(this);
    m_txtTemplate->setObjectName(QStringLiteral("txtTemplate"));
    auto* browse = Tags::Button(this, "cmdBrowse", TextId::CommissionBrowse);
    auto* templateRow = new QHBoxLayout;
    templateRow->addWidget(m_txtTemplate, 1);
    templateRow->addWidget(browse);
    heading->addRow(
        Tags::Named(new QLabel(this), QStringLiteral("lblSite"), TextId::CommissionSite),
        m_txtSite);
    heading->addRow(Tags::Named(new QLabel(this), QStringLiteral("lblTechnician"),
                                TextId::CommissionTechnician),
                    m_txtTechnician);
    heading->addRow(
        Tags::Named(new QLabel(this), QStringLiteral("lblTemplate"), TextId::CommissionTemplate),
        templateRow);
    layout->addLayout(heading);

    auto* panels =
        Tags::Named(new QGroupBox(this), QStringLiteral("frmPanels"), TextId::CommissionPanels);
    auto* panelsLayout = new QVBoxLayout(panels);
    m_tblPanels = new QTableWidget(0, ColumnCount, panels);
    m_tblPanels->setObjectName(QStringLiteral("tblPanels"));
    m_tblPanels->horizontalHeader()->setSectionResizeMode(QHeaderView::ResizeToContents);
    m_tblPanels->horizontalHeader()->setStretchLastSection(true);
    m_tblPanels->setSelectionBehavior(QAbstractItemView::SelectRows);
    panelsLayout->addWidget(m_tblPanels);
    auto* rowButtons = new QHBoxLayout;
    auto* add = Tags::Button(panels, "cmdAdd", TextId::CommissionAdd);
    auto* remove = Tags::Button(panels, "cmdRemove", TextId::CommissionRemove);
    rowButtons->addWidget(add);
    rowButtons->addWidget(remove);
    rowButtons->addStretch();
    panelsLayout->addLayout(rowButtons);
    layout->addWidget(panels, 1);

    auto* tests =
        Tags::Named(new QGroupBox(this), QStringLiteral("frmTests"), TextId::CommissionTests);
    auto* testsLayout = new QHBoxLayout(tests);
    const int testIds[] = {TextId::CommissionTestLamp, TextId::CommissionTestAlarm,
                           TextId::CommissionTestWalk};
    for (int t = 0; t < TestCount; ++t) {
        auto* box =
            Tags::Named(new QCheckBox(tests), QStringLiteral("chkTest%1").arg(t), testIds[t]);
        box->setChecked(true);
        m_chkTests[static_cast<size_t>(t)] = box;
        testsLayout->addWidget(box);
    }
    testsLayout->addWidget(
        Tags::Named(new QLabel(tests), QStringLiteral("lblAckWait"), TextId::CommissionAckWait));
    m_updAckWait = new QSpinBox(tests);
    m_updAckWait->setObjectName(QStringLiteral("updAckWait"));
    m_updAckWait->setRange(5, 3600);
    m_updAckWait->setValue(DefaultAckWaitSeconds);
    testsLayout->addWidget(m_updAckWait);
    testsLayout->addStretch();
    layout->addWidget(tests);

    auto* actions = new QHBoxLayout;
    m_chkFollow =
        Tags::Named(new QCheckBox(this), QStringLiteral("chkFollow"), TextId::CommissionFollow);
    m_cmdApply = Tags::Button(this, "cmdApply", TextId::CommissionApply);
    m_cmdRetry = Tags::Button(this, "cmdRetry", TextId::CommissionRetry);
    m_cmdCancel = Tags::Button(this, "cmdCancel", TextId::CommissionCancel);
    m_cmdSave = Tags::Button(this, "cmdSave", TextId::CommissionSave);
    m_cmdPrint = Tags::Button(this, "cmdPrint", TextId::CommissionPrint);
    actions->addWidget(m_chkFollow);
    actions->addStretch();
    for (QPushButton* button : {m_cmdApply, m_cmdRetry, m_cmdCancel, m_cmdSave, m_cmdPrint})
        actions->addWidget(button);
    layout->addLayout(actions);

    connect(browse, &QPushButton::clicked, this, &wCommissioning::cmdBrowse_Click);
    connect(add, &QPushButton::clicked, this, &wCommissioning::cmdAdd_Click);
    connect(remove, &QPushButton::clicked, this, [this] {
        const int row = m_tblPanels->currentRow();
        if (m_running || row < 0)
            return;
        m_tblPanels->removeRow(row);
        m_results.removeAt(row);
    });
    connect(m_updAckWait, &QSpinBox::valueChanged, this,
            [this](int seconds) { m_ackWaitMs = seconds * 1000; });
    connect(m_cmdApply, &QPushButton::clicked, this, &wCommissioning::apply);
    connect(m_cmdRetry, &QPushButton::clicked, this, &wCommissioning::retryFailed);
    connect(m_cmdCancel, &QPushButton::clicked, this, &wCommissioning::cancel);
    connect(m_cmdSave, &QPushButton::clicked, this, &wCommissioning::cmdSave_Click);
    connect(m_cmdPrint, &QPushButton::clicked, this, &wCommissioning::cmdPrint_Click);
    for (QLineEdit* box : {m_txtSite, m_txtTechnician}) {
        connect(box, &QLineEdit::editingFinished, this, [this] {
            ZRBfonctions::SetIniParam(section, QStringLiteral("Site"), m_txtSite->text());
            ZRBfonctions::SetIniParam(section, QStringLiteral("Technician"),
                                      m_txtTechnician->text());
        });
    }
}

void wCommissioning::nationality()
{
    ChildWindow::nationality();
    QStringList headers;
    for (int column = 0; column < ColumnCount; ++column)
        headers << DataFunctions7310::GetText(TextId::CommissionColSlave + column);
    m_tblPanels->setHorizontalHeaderLabels(headers);
    for (int row = 0; row < m_tblPanels->rowCount(); ++row)
        showResult(row);
}

void wCommissioning::addPanels(const QList<Target>& panels)
{
    for (const Target& panel : panels) {
        const int row = m_tblPanels->rowCount();
        m_tblPanels->insertRow(row);
        const QStringList cells{QString::number(panel.slave),
                                QString::number(panel.speed),
                                QString::number(panel.stops),
                                panel.version,
                                QString::number(panel.newSlave),
                                panel.newSpeed > 0 ? QString::number(panel.newSpeed) : QString(),
                                panel.newStops > 0 ? QString::number(panel.newStops) : QString(),
                                QString()};
        for (int column = 0; column < ColumnCount; ++column) {
            auto* item = new QTableWidgetItem(cells.at(column));
            if (column == ColState || column == ColVersion)
                item->setFlags(item->flags() & ~Qt::ItemIsEditable);
            m_tblPanels->setItem(row, column, item);
        }
        m_results.append(std::nullopt);
    }
}

void wCommissioning::cmdAdd_Click()
{
    // A typed panel starts from the console's line setting and keeps its number.
    Target target;
    target.speed = CommFunctions::CommBaudsOf(m_port.settings());
    target.stops = CommFunctions::CommStopsOf(m_port.settings());
    addPanels({target});
    m_tblPanels->setCurrentCell(m_tblPanels->rowCount() - 1, ColSlave);
    m_tblPanels->editItem(m_tblPanels->currentItem());
}

void wCommissioning::setTemplateFile(const QString& path)
{
    m_txtTemplate->setText(QDir::toNativeSeparators(path));
}

void wCommissioning::setTestChosen(Test test, bool chosen)
{
    m_chkTests[static_cast<size_t>(test)]->setChecked(chosen);
}

void wCommissioning::setFollowPanels(bool follow)
{
    m_chkFollow->setChecked(follow);
}

void wCommissioning::setAsker(std::function<bool(int, int)> asker)
{
    if (asker) {
        m_asker = std::move(asker);
        return;
    }
    m_asker = [this](int questionId, int slave) {
        QMessageBox box(QMessageBox::Question, ConsoleTitle(),
                        DataFunctions7310::GetText(questionId).arg(slave),
                        QMessageBox::Yes | QMessageBox::No, this);
        box.button(QMessageBox::Yes)->setText(DataFunctions7310::GetText(TextId::Yes));
        box.button(QMessageBox::No)->setText(DataFunctions7310::GetText(TextId::No));
        return box.exec() == QMessageBox::Yes;
    };
}

void wCommissioning::cmdBrowse_Click()
{
    const QString path = QFileDialog::getOpenFileName(
        this, DataFunctions7310::GetText(TextId::CommissionTemplate), QDir::homePath(),
        QStringLiteral("%1 (*.%2)")
            .arg(DataFunctions7310::GetText(TextId::FileFilter),
                 QLatin1String(ConfigFile::Extension)));
    if (!path.isEmpty())
        setTemplateFile(path);
}

void wCommissioning::cmdSave_Click()
{
    const QString proposed =
        QDir(QDir::homePath())
            .filePath(QStringLiteral("K7310-commissioning-") + Global::TimeCode());
    const QString path = QFileDialog::getSaveFileName(
        this, DataFunctions7310::GetText(TextId::CommissionSave).remove(QChar(0x2026)), proposed,
        DataFunctions7310::GetText(TextId::CommissionRecordFilter) + QStringLiteral(" (*.pdf)"));
    if (!path.isEmpty())
        saveRecord(path);
}

QString wCommissioning::saveRecord(const QString& base)
{
    const RecordFiles::Saved saved = RecordFiles::Save(base, record(), CsvFormat::Current());
    if (!saved.error.isEmpty()) {
        // Nothing is lost: the results stay here and can be saved elsewhere.
        message(TextId::CommissionSaveFailed, saved.error);
        return saved.error;
    }
    PromptHook::Confirm(DataFunctions7310::GetText(TextId::CommissionSaved)
                            .arg(QDir::toNativeSeparators(saved.files.first())));
    return {};
}

void wCommissioning::cmdPrint_Click()
{
    // The preview and the printer are drawn by the PDF's painter.
    QPrinter printer(QPrinter::HighResolution);
    QPrintPreviewDialog preview(&printer, this);
    const Record shown = record();
    const QString sha = Sha256(ToJson(shown));
    connect(&preview, &QPrintPreviewDialog::paintRequested, &preview,
            [&shown, &sha](QPrinter* device) { RecordPainter::Paint(*device, shown, sha); });
    preview.exec();
}

Record wCommissioning::record() const
{
    Record record = m_heading;
    record.site = m_txtSite->text();
    record.technician = m_txtTechnician->text();
    for (const auto& result : m_results) {
        if (result)
            record.panels.append(*result);
    }
    return record;
}

void wCommissioning::message(int textId, const QString& insert)
{
    // Text 0 stands for a message already worded (the template's refusal).
    QString text = textId == 0 ? insert : DataFunctions7310::GetText(textId);
    if (textId != 0)
        text.replace(QStringLiteral("$$"), insert);
    QMessageBox box(QMessageBox::Critical, ConsoleTitle(), WithLineBreaks(text), QMessageBox::Ok,
                    this);
    box.exec();
}

void wCommissioning::closeEvent(QCloseEvent* event)
{
    // A run holds the line and this window's state: it is cancelled, and the window stays.
    if (m_running) {
        cancel();
        event->ignore();
        return;
    }
    ChildWindow::closeEvent(event);
}
