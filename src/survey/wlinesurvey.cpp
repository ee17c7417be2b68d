#include "wlinesurvey.h"

#include "comctrl.h"
#include "commfunctions.h"
#include "csvformat.h"
#include "datafunctions7310.h"
#include "errorhandling.h"
#include "prompthook.h"
#include "refusal.h"
#include "textids.h"
#include "uihelpers.h"
#include "zrbfonctions.h"

#include <QCheckBox>
#include <QCloseEvent>
#include <QCoreApplication>
#include <QFileDialog>
#include <QGroupBox>
#include <QMessageBox>
#include <QPointer>
#include <QProgressBar>
#include <QPushButton>
#include <QSaveFile>
#include <QSpinBox>
#include <QTableWidget>

using namespace LineSurvey;

namespace {

// "m:ss".
QString duration(qint64 milliseconds)
{
    const qint64 seconds = (milliseconds + 500) / 1000;
    return QStringLiteral("%1:%2").arg(seconds / 60).arg(seconds % 60, 2, 10, QLatin1Char('0'));
}

} // namespace

wLineSurvey::wLineSurvey(ComCtrl& port, QWidget* parent)
    : ChildWindow(parent)
    , m_port(port)
{
    buildControls();
    connect(m_cmdSurvey, &QPushButton::clicked, this, &wLineSurvey::cmdSurvey_Click);
    connect(m_cmdCancel, &QPushButton::clicked, this, &wLineSurvey::cmdCancel_Click);
    connect(m_cmdExport, &QPushButton::clicked, this, &wLineSurvey::cmdExport_Click);
    connect(m_cmdOpenConfig, &QPushButton::clicked, this, &wLineSurvey::cmdOpenConfig_Click);
    connect(m_cmdCommission, &QPushButton::clicked, this, &wLineSurvey::cmdCommission_Click);
    connect(m_table, &QTableWidget::itemDoubleClicked, this, &wLineSurvey::cmdOpenConfig_Click);
    // The allowance lives in the settings file, so that the next survey starts with it.
    connect(m_updAllowance, &QSpinBox::valueChanged, this,
            [](int value) { StoreAllowance(value); });
    nationality();
}

Options wLineSurvey::options() const
{
    Options options;
    options.firstSlave = std::min(m_updFirst->value(), m_updLast->value());
    options.lastSlave = std::max(m_updFirst->value(), m_updLast->value());
    options.stopAfter = m_updStopAfter->value();
    options.allowanceMs = m_updAllowance->value();
    options.thorough = m_chkThorough->isChecked();
    options.retrySilent = m_chkRetrySilent->isChecked();
    for (int i = 0; i < m_chkSettings.size(); ++i) {
        if (m_chkSettings[i]->isChecked())
            options.settings.append(m_shownSettings[i]);
    }
    return options;
}

void wLineSurvey::setRunning(bool running)
{
    m_running = running;
    m_cmdSurvey->setEnabled(!running);
    m_cmdCancel->setEnabled(running);
    m_cmdExport->setEnabled(!running);
    m_cmdOpenConfig->setEnabled(!running);
    m_cmdCommission->setEnabled(!running);
    m_frmSettings->setEnabled(!running);
}

// The outcome stands in the progress bar and in the main frame's status bar.
void wLineSurvey::status(const QString& text)
{
    m_prgSurvey->setFormat(text);
    PromptHook::Confirm(text);
}

void wLineSurvey::cmdSurvey_Click()
{
    if (m_running)
        return;
    refreshSettings();
    const Options chosen = options();
    if (chosen.settings.isEmpty()) {
        Refusal::Refuse(m_frmSettings, 0);
        return;
    }
    m_rows.clear();
    showRows();
    m_cancel = false;
    m_prgSurvey->setValue(0);
    setRunning(true);
    const QPointer<wLineSurvey> alive(this);
    m_result = Run(m_port, chosen, this, TextId::SurveyTitle);
    if (!alive)
        return;
    setRunning(false);
    m_rows = m_result.rows;
    showRows();
    showEnd();
    refreshSettings();
    if (m_closeWhenDone)
        close();
}

void wLineSurvey::showEnd()
{
    const int panels = static_cast<int>(m_rows.size());
    const QString spent = duration(m_result.elapsedMs);
    switch (m_result.end) {
    case Result::End::Done:
        m_prgSurvey->setValue(m_prgSurvey->maximum());
        status(DataFunctions7310::GetText(TextId::SurveyDone).arg(panels).arg(spent));
        break;
    case Result::End::Cancelled:
        status(DataFunctions7310::GetText(TextId::SurveyCancelled).arg(panels).arg(spent));
        break;
    case Result::End::EnoughPanels:
        status(DataFunctions7310::GetText(TextId::SurveyEnough).arg(panels).arg(spent));
        break;
    case Result::End::LineBusy:
        Refusal::Refuse(m_cmdSurvey, TextId::SurveyLineBusy);
        m_prgSurvey->setFormat(DataFunctions7310::GetText(TextId::SurveyLineBusy));
        break;
    case Result::End::PortFault: {
        QString fault = ErrorReport::Description(m_result.faultNumber);
        if (!m_result.fault.isEmpty())
            fault += QStringLiteral(" (") + m_result.fault + QLatin1Char(')');
        const QString text =
            DataFunctions7310::GetText(TextId::SurveyPortFault).arg(fault).arg(panels);
        status(text);
        QMessageBox::critical(this, ConsoleTitle(), text);
        break;
    }
    }
}

bool wLineSurvey::keepGoing(const Progress& progress)
{
    const double settingsDone =
        progress.settingNumber - 1 +
        (progress.slavesToDo > 0 ? double(progress.slavesDone) / progress.slavesToDo : 0.0);
    m_prgSurvey->setValue(int(1000 * settingsDone / std::max(1, progress.settingCount)));
    const QString text = ProgressText(progress, duration);
    m_prgSurvey->setFormat(text);
    // Between two probes the window runs: Cancel, moving it, the line monitor. Never during
    // a probe, whose wait blocks on the port.
    QCoreApplication::processEvents();
    return !m_cancel;
}

void wLineSurvey::rowsChanged(const QList<Row>& rows)
{
    m_rows = rows;
    showRows();
}

void wLineSurvey::cmdCancel_Click()
{
    m_cancel = true;
}

void wLineSurvey::closeEvent(QCloseEvent* event)
{
    // The survey is stopped before the next probe; the window closes once it has ended.
    if (m_running) {
        m_cancel = true;
        m_closeWhenDone = true;
        event->ignore();
        return;
    }
    ChildWindow::closeEvent(event);
}

bool wLineSurvey::exportCsv(const QString& path)
{
    const CsvFormat format = CsvFormat::Current();
    QList<QStringList> lines{headings()};
    for (int r = 0; r < m_table->rowCount(); ++r) {
        // In the order the table shows.
        const int index = m_table->item(r, 0)->data(Qt::UserRole).toInt();
        lines.append(cellsOf(m_rows[index]));
    }
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(format.document(lines)) < 0 ||
        !file.commit()) {
        QMessageBox::warning(this, ConsoleTitle(),
                             DataFunctions7310::GetText(TextId::SurveyExportFailed).arg(path));
        return false;
    }
    status(DataFunctions7310::GetText(TextId::SurveyExported).arg(lines.size() - 1).arg(path));
    return true;
}

void wLineSurvey::cmdExport_Click()
{
    const QString path = QFileDialog::getSaveFileName(
        this, DataFunctions7310::GetText(TextId::SurveyExport), QString(),
        DataFunctions7310::GetText(TextId::SurveyExportFilter));
    if (!path.isEmpty())
        exportCsv(path);
}

void wLineSurvey::cmdOpenConfig_Click()
{
    const QList<QTableWidgetItem*> selected = m_table->selectedItems();
    if (m_running || selected.isEmpty()) {
        Refusal::Refuse(m_table, TextId::SurveyNoRow);
        return;
    }
    // Another window's transaction keeps the line where it is.
    if (m_port.busy()) {
        Refusal::Refuse(m_cmdOpenConfig, TextId::SurveyLineBusy);
        return;
    }
    const Row& row = m_rows[selected.first()->data(Qt::UserRole).toInt()];
    try {
        const bool wasOpen = m_port.isOpen();
        if (wasOpen)
            m_port.close();
        CommFunctions::SetCommBauds(m_port, row.setting.speed);
        CommFunctions::SetCommStops(m_port, row.setting.stops);
        m_port.open();
        CommFunctions::StoreLineSettings(m_port);
    } catch (const RunTimeError& error) {
        ErrorHandling(QStringLiteral("wLineSurvey.cmdOpenConfig_Click"), error);
        return;
    }
    refreshSettings();
    if (m_openConfig)
        m_openConfig(row.slave);
}

void wLineSurvey::cmdCommission_Click()
{
    // One row per panel, whichever of its cells were selected, in the table's order.
    QList<int> picked;
    for (const QTableWidgetItem* item : m_table->selectedItems()) {
        const int index = item->data(Qt::UserRole).toInt();
        if (!picked.contains(index))
            picked.append(index);
    }
    if (m_running || picked.isEmpty()) {
        Refusal::Refuse(m_table, TextId::SurveyNoRow);
        return;
    }
    QList<Row> rows;
    for (int index : picked)
        rows.append(m_rows[index]);
    if (m_openCommission)
        m_openCommission(rows);
}
