#pragma once

#include "childwindow.h"
#include "commissionrecord.h"

#include <QList>
#include <QPointer>

#include <array>
#include <functional>
#include <optional>

class ComCtrl;
class QCheckBox;
class QEventLoop;
class QLineEdit;
class QPushButton;
class QSpinBox;
class QTableWidget;

// Commissioning a line: one configuration file applied to several panels, each read before,
// written with its own slave number (and speed, stop bits), read back and compared, then
// tested with the technician; the record of the run saved as PDF, JSON and CSV.
//
// A run takes the line for its whole length. Each panel's configuration blocks like the
// configuration window's; between panels and during the tests' waits the window runs, so
// Cancel can be pressed (it stops before the next panel, or ends a wait).
class wCommissioning : public ChildWindow
{
    Q_OBJECT

public:
    enum Column {
        ColSlave,
        ColSpeed,
        ColStops,
        ColVersion,
        ColNewSlave,
        ColNewSpeed,
        ColNewStops,
        ColState,
        ColumnCount
    };
    static constexpr int DefaultAckWaitSeconds = 120;
    static constexpr int WalkStepMs = 500;

    explicit wCommissioning(ComCtrl& port, QWidget* parent = nullptr);

    void nationality() override;

    // Panels found elsewhere (the line survey): appended, each to keep its slave number.
    void addPanels(const QList<Commission::Target>& panels);
    void setTemplateFile(const QString& path);
    void setTestChosen(Commission::Test test, bool chosen);
    void setFollowPanels(bool follow);

    // For tests: the wait for the acknowledgement, the LED walk's step, and who answers the
    // technician's questions (a Yes/No message box by default).
    void setAckWaitMs(int milliseconds) { m_ackWaitMs = milliseconds; }
    void setWalkStepMs(int milliseconds) { m_walkStepMs = milliseconds; }
    void setAsker(std::function<bool(int questionId, int slave)> asker);

    // Apply to every panel, or again to the failed ones. False when refused before anything
    // was sent (a message says why).
    bool apply();
    bool retryFailed();
    void cancel();
    bool running() const { return m_running; }

    // The record of what has been done so far, in the order of the list.
    Commission::Record record() const;
    // Writes the record's three forms at `base` (.pdf, .json, .csv). Empty on success, else the
    // reason, already shown.
    QString saveRecord(const QString& base);

    QTableWidget* panels() const { return m_tblPanels; }

protected:
    void closeEvent(QCloseEvent* event) override;

private:
    void buildControls();
    void cmdBrowse_Click();
    void cmdAdd_Click();
    void cmdSave_Click();
    void cmdPrint_Click();
    void showRunning();

    // The targets of the rows, or the number (from 1) of the first row with a bad entry.
    std::optional<QList<Commission::Target>> targets(int* badRow) const;
    // A retry adds to the record begun by the last full run and keeps its start time.
    bool run(const QList<int>& rows, bool retry);
    void runPanel(int row, const Commission::Target& target, const ConfigMap::Values& values);
    void showResult(int row);
    bool pause(int milliseconds);
    void message(int textId, const QString& insert = {});

    ComCtrl& m_port;
    bool m_running = false;
    bool m_cancelled = false;
    int m_ackWaitMs = DefaultAckWaitSeconds * 1000;
    int m_walkStepMs = WalkStepMs;
    std::function<bool(int, int)> m_asker;
    QEventLoop* m_waking = nullptr;
    Commission::Record m_heading;                            // heading of the present run
    QList<std::optional<Commission::PanelRecord>> m_results; // by row

    QLineEdit* m_txtSite = nullptr;
    QLineEdit* m_txtTechnician = nullptr;
    QLineEdit* m_txtTemplate = nullptr;
    QTableWidget* m_tblPanels = nullptr;
    std::array<QCheckBox*, Commission::TestCount> m_chkTests{};
    QSpinBox* m_updAckWait = nullptr;
    QCheckBox* m_chkFollow = nullptr;
    QPushButton* m_cmdApply = nullptr;
    QPushButton* m_cmdRetry = nullptr;
    QPushButton* m_cmdCancel = nullptr;
    QPushButton* m_cmdSave = nullptr;
    QPushButton* m_cmdPrint = nullptr;
};
