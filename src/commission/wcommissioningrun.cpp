// The run: which panels, refusals before anything is sent, each panel in turn, its row on
// screen, and the waits that let the window run.
#include "adapterinfo.h"
#include "comctrl.h"
#include "commfunctions.h"
#include "commissionrun.h"
#include "datafunctions7310.h"
#include "global.h"
#include "linelock.h"
#include "prompthook.h"
#include "textids.h"
#include "wcommissioning.h"

#include <QCheckBox>
#include <QCoreApplication>
#include <QEventLoop>
#include <QFileInfo>
#include <QLineEdit>
#include <QPushButton>
#include <QTableWidget>
#include <QTimer>

using namespace Commission;

namespace {

QString text(int id)
{
    return DataFunctions7310::GetText(id);
}

// "Manufacturer product serial" of the USB adapter behind the port, as the line check reads
// it from sysfs; empty for a built-in port or a pseudo-terminal.
QString adapterOf(const QString& portName)
{
    const AdapterInfo::Adapter adapter = AdapterInfo::Read(portName);
    return QStringList{adapter.manufacturer, adapter.product, adapter.serialNumber}
        .filter(QRegularExpression(QStringLiteral("\\S")))
        .join(QLatin1Char(' '));
}

// A whole number of the cell; `fallback` when empty, -1 when not a number.
int cellNumber(const QTableWidget* table, int row, int column, int fallback = -1)
{
    const QTableWidgetItem* item = table->item(row, column);
    const QString cell = item ? item->text().trimmed() : QString();
    if (cell.isEmpty())
        return fallback;
    bool ok = false;
    const int value = cell.toInt(&ok);
    return ok ? value : -1;
}

bool validSpeed(int speed)
{
    return ConfigMap::SpeedItems().contains(QString::number(speed));
}

} // namespace

std::optional<QList<Target>> wCommissioning::targets(int* badRow) const
{
    QList<Target> all;
    for (int row = 0; row < m_tblPanels->rowCount(); ++row) {
        Target target;
        target.slave = cellNumber(m_tblPanels, row, ColSlave);
        target.speed = cellNumber(m_tblPanels, row, ColSpeed);
        target.stops = cellNumber(m_tblPanels, row, ColStops);
        target.version = m_tblPanels->item(row, ColVersion)->text();
        target.newSlave = cellNumber(m_tblPanels, row, ColNewSlave, target.slave);
        target.newSpeed = cellNumber(m_tblPanels, row, ColNewSpeed, 0);
        target.newStops = cellNumber(m_tblPanels, row, ColNewStops, 0);
        const auto slaveOk = [](int slave) {
            return slave >= ConfigMap::FirstSlave && slave <= ConfigMap::LastSlave;
        };
        const bool ok = slaveOk(target.slave) && slaveOk(target.newSlave) &&
                        validSpeed(target.speed) && (target.stops == 1 || target.stops == 2) &&
                        (target.newSpeed == 0 || validSpeed(target.newSpeed)) &&
                        (target.newStops >= 0 && target.newStops <= 2);
        if (!ok) {
            *badRow = row + 1;
            return std::nullopt;
        }
        all.append(target);
    }
    return all;
}

bool wCommissioning::apply()
{
    QList<int> rows;
    for (int row = 0; row < m_tblPanels->rowCount(); ++row)
        rows << row;
    return run(rows, false);
}

bool wCommissioning::retryFailed()
{
    QList<int> rows;
    for (int row = 0; row < m_results.size(); ++row) {
        if (!m_results.at(row) || !m_results.at(row)->passed())
            rows << row;
    }
    return run(rows, true);
}

void wCommissioning::cancel()
{
    m_cancelled = true;
    if (m_waking)
        m_waking->quit();
}

bool wCommissioning::run(const QList<int>& rows, bool retry)
{
    if (m_running)
        return false;
    int badRow = 0;
    const std::optional<QList<Target>> all = targets(&badRow);
    if (m_tblPanels->rowCount() == 0 || rows.isEmpty()) {
        message(TextId::CommissionNoPanels);
        return false;
    }
    if (!all) {
        message(TextId::CommissionBadEntry, QString::number(badRow));
        return false;
    }
    // Every panel of the list is on this line, those not run now included.
    if (const int twice = DuplicateTarget(*all)) {
        message(TextId::CommissionDuplicate, QString::number(twice));
        return false;
    }
    if (m_txtTemplate->text().trimmed().isEmpty()) {
        message(TextId::CommissionNoTemplate);
        return false;
    }
    const Template chosen = OpenTemplate(m_txtTemplate->text().trimmed());
    if (!chosen.refusal.isEmpty()) {
        message(0, chosen.refusal);
        return false;
    }
    LineLock lock(m_port);
    if (!lock.acquired()) {
        message(TextId::CommissionLineBusy);
        return false;
    }
    const ComCtrl::OriginScope origin(m_port, TextId::CommissionTitle);
    const LineState before(m_port);

    if (!retry || !m_heading.started.isValid())
        m_heading.started = QDateTime::currentDateTime();
    m_heading.consoleVersion = Global::CurrentVersion();
    m_heading.port = m_port.portName();
    m_heading.adapter = adapterOf(m_port.portName());
    m_heading.templateName = QFileInfo(m_txtTemplate->text().trimmed()).fileName();
    m_heading.templateSha256 = chosen.sha256;

    m_running = true;
    m_cancelled = false;
    const QPointer<wCommissioning> self(this);
    showRunning();
    for (const int row : rows)
        m_tblPanels->item(row, ColState)->setText(text(TextId::CommissionStateWaiting));
    for (const int row : rows) {
        QCoreApplication::processEvents();
        if (!self)
            return false;
        if (m_cancelled) {
            m_tblPanels->item(row, ColState)->setText(text(TextId::CommissionStateCancelled));
            continue;
        }
        runPanel(row, all->at(row), chosen.contents.values);
    }
    if (!m_chkFollow->isChecked())
        before.restore(m_port);
    m_running = false;
    showRunning();
    return true;
}

void wCommissioning::runPanel(int row, const Target& target, const ConfigMap::Values& values)
{
    m_tblPanels->item(row, ColState)->setText(text(TextId::CommissionStateWorking));
    m_tblPanels->scrollToItem(m_tblPanels->item(row, ColState));
    PanelRecord panel = Configure(m_port, target, values);

    // Where the panel now answers, for a retry: the words it took moved it.
    using namespace ConfigMap;
    const auto setCell = [this, row](int column, const QString& value) {
        m_tblPanels->item(row, column)->setText(value);
    };
    if (panel.written[Speed])
        setCell(ColSpeed, SpeedItems().at(panel.intended[Speed]));
    if (panel.written[Stops])
        setCell(ColStops, StopItems().at(panel.intended[Stops]));
    if (panel.written[Slave])
        setCell(ColSlave, QString::number(panel.intended[Slave]));
    if (!panel.firmware.isEmpty())
        setCell(ColVersion, panel.firmware);

    Operator who;
    who.ask = m_asker;
    who.pause = [this](int milliseconds) {
        return pause(milliseconds);
    };
    const int slave = panel.target.newSlave;
    for (int t = 0; t < TestCount; ++t) {
        TestResult& result = panel.tests[static_cast<size_t>(t)];
        if (!m_chkTests[static_cast<size_t>(t)]->isChecked() || !panel.configured() ||
            m_cancelled) {
            result = TestResult{Verdict::Skipped, QDateTime::currentDateTime(), {}};
            continue;
        }
        if (t == LampTest) {
            result = RunLampTest(m_port, slave, who);
        } else if (t == AlarmAck) {
            PromptHook::Confirm(text(TextId::CommissionAckPrompt).arg(slave));
            result = RunAlarmAck(m_port, slave, m_ackWaitMs, who);
        } else {
            result = RunLedWalk(m_port, slave, m_walkStepMs, who);
        }
    }
    m_results[row] = panel;
    showResult(row);
}

void wCommissioning::showResult(int row)
{
    if (row >= m_results.size() || !m_results.at(row))
        return;
    const PanelRecord& panel = *m_results.at(row);
    QString state = panel.passed() ? QStringLiteral("PASS") : QStringLiteral("FAIL");
    if (!panel.configured()) {
        const int stage = TextId::RecordStageLine + static_cast<int>(panel.failedAt) -
                          static_cast<int>(Stage::Line);
        state = DataFunctions7310::Captioned(state, text(stage) + QLatin1Char(' ') +
                                                        QString::number(panel.failedWord));
    }
    m_tblPanels->item(row, ColState)->setText(state);
}

bool wCommissioning::pause(int milliseconds)
{
    const QPointer<wCommissioning> self(this);
    {
        QEventLoop loop;
        QTimer::singleShot(std::max(milliseconds, 0), Qt::PreciseTimer, &loop, &QEventLoop::quit);
        m_waking = &loop;
        loop.exec();
    }
    if (!self)
        return false;
    m_waking = nullptr;
    return !m_cancelled;
}

void wCommissioning::showRunning()
{
    m_cmdApply->setEnabled(!m_running);
    m_cmdRetry->setEnabled(!m_running);
    m_cmdSave->setEnabled(!m_running);
    m_cmdPrint->setEnabled(!m_running);
    m_cmdCancel->setEnabled(m_running);
    m_tblPanels->setEditTriggers(m_running ? QAbstractItemView::NoEditTriggers
                                           : QAbstractItemView::AllEditTriggers);
}
