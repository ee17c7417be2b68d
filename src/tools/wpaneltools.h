#pragma once

#include "childwindow.h"
#include "exchange.h"
#include "panelcommands.h"

#include <QByteArray>
#include <QPointer>

#include <array>

class ComCtrl;
class LedPanel;
class QComboBox;
class QEventLoop;
class QGroupBox;
class QLabel;
class QLineEdit;
class QMdiSubWindow;
class QPushButton;
class QRadioButton;
class QTreeWidget;
class QTreeWidgetItem;

// The panel test window: drives the LEDs and the horn of one K7310 through its command map,
// runs the test sequences, shows a blinking copy of the panel and logs the last exchanges.
//
// Sequences wait between their exchanges while the user interface runs, so that Stop can be
// pressed. During such a wait anything may happen: the window may be closed, the console
// quit, or another window may take the line. After every wait the sequence checks that its
// window still exists, that it is still running and that the line is free, and ends cleanly
// otherwise. No exchange starts while the line is busy.
class wPanelTools : public ChildWindow
{
    Q_OBJECT

public:
    // cmdTools(i).
    enum Command { cmdStart = 0, cmdStop = 1, cmdRazPanel = 2, cmdRazTableau = 3 };
    // cboToolsSequence items.
    enum Sequence {
        Manual = 0,
        WholePanel = 1,
        ReadPanel = 2,
        LampTest = 3,
        Sweep = 4,
        Alarm = 5,
    };
    static constexpr int SequenceCount = 6;
    // The frame log shows this many exchanges.
    static constexpr int LogLines = 7;
    // Answer wait of every exchange, in seconds.
    static constexpr float AnswerTimeout = 1.0F;
    // Pause of the sweep between two steps, in milliseconds.
    static constexpr int SweepStepMs = 500;

    wPanelTools(ComCtrl& port, QWidget* parent = nullptr);

    void nationality() override;
    QSize sizeHint() const override;

    bool running() const { return m_running; }
    LedPanel* panel() const { return m_frmPanneau; }

    // The window's operations; each exchange is logged in lvwPanel.
    int LedStateSelection() const;
    void EnvoieUneLed(int n);
    void SendWholePanel();
    void LecturePanneau();
    // False when either of its two exchanges failed.
    bool EteintPanneau();
    void TestLeds();
    void EnvoiAlarme();
    void MonteeDescente();
    void ClearPanel();
    bool LastFrameTimedOut() const;

    // Whether a click on lblTest plays the acknowledgement now; the label looks inactive
    // whenever it would not.
    bool testClickActs() const;

protected:
    void changeEvent(QEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void onUnload() override;

private:
    // How a wait of a sequence ended.
    enum class Wait { Continue, Stop, Gone };

    void buildControls();
    void connectControls();
    void Form_Load();
    void Form_Activate();
    void Form_Deactivate();
    void sizeLogColumns();

    void cboToolsSequence_Click();
    void cmdTools_Click(int index);
    void lblPanneau_Click(int n);
    void imgKlaxon_Click();
    void lblTest_Click();

    // Sends one request and logs it: the answer, or an empty array when nothing was sent
    // (request refused by the codec, or the line busy), which also counts as a failed step.
    // An answer that is not complete and correct by the frame rules is marked in the log as
    // the line monitor marks it.
    QByteArray exchange(const QByteArray& request);
    // The last exchange failed: nothing sent, or no answer.
    bool stepFailed() const { return m_refused || LastFrameTimedOut(); }
    // The last exchange got its whole answer, CRC right, and no exception.
    bool answeredWell() const
    {
        return !m_refused && m_last.outcome == Exchange::Outcome::Complete;
    }
    // Marks a log line whose answer is not complete: bold, the palette's link colour, the
    // reason in its tooltip.
    void markLogLine(QTreeWidgetItem* line, const Exchange& judged) const;
    void recolourLog();

    // Status bar: a user action starts with nothing failed; when it has finished, confirm()
    // states what was done, or, when one of its exchanges failed, which and why.
    void beginAction();
    void confirm(const QString& done);
    // The text of the last exchange's failure.
    QString failureText(bool refused, const Exchange& judged) const;
    QString text(int textId) const;
    void showTestActive();
    int slave() const;
    // Waits while the user interface runs; see the class comment.
    Wait pause(int milliseconds);
    // Start of a sequence that waits, and its end (the buttons as the sequence table has them).
    void beginRunning();
    void endRunning();
    // Clears the running flag and wakes a sequence's wait, so that it ends at once.
    void stopRunning();

    ComCtrl& m_port;
    bool m_running = false;
    bool m_refused = false;
    Exchange m_last;              // the last exchange, as the frame rules judge its answer
    bool m_actionRefused = false; // during a user action: one of its requests was not sent
    Exchange m_actionFault;       // and the first of its exchanges that was not complete
    bool m_unloading = false;
    QPointer<QMdiSubWindow> m_frame; // the main frame's window around this one, once shown
    QEventLoop* m_waking = nullptr;  // the wait of the running sequence, while it waits

    QWidget* m_body = nullptr; // every control, inside a scroll area
    QGroupBox* m_frmFrames = nullptr;
    QLineEdit* m_txtToolsSlave = nullptr;
    QComboBox* m_cboToolsSequence = nullptr;
    QLabel* m_lblHelp = nullptr;
    QLabel* m_lblCommParams = nullptr;
    QGroupBox* m_frmToolsLeds = nullptr;
    std::array<QRadioButton*, PanelCommands::StateCount> m_optToolsLeds{};
    std::array<QPushButton*, 4> m_cmdTools{};
    LedPanel* m_frmPanneau = nullptr;
    QTreeWidget* m_lvwPanel = nullptr;
};
