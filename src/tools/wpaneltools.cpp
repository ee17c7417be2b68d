#include "wpaneltools.h"

#include "comctrl.h"
#include "commfunctions.h"
#include "datafunctions7310.h"
#include "errorhandling.h"
#include "exchangelog.h"
#include "ledpanel.h"
#include "linelock.h"
#include "panelwidgets.h"
#include "prompthook.h"
#include "textids.h"
#include "uihelpers.h"
#include "zrbfonctions.h"

#include <QApplication>
#include <QComboBox>
#include <QEvent>
#include <QGroupBox>
#include <QHeaderView>
#include <QLabel>
#include <QLayout>
#include <QLineEdit>
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QPushButton>
#include <QRadioButton>
#include <QScrollArea>
#include <QTimer>
#include <QTreeWidget>

using namespace PanelCommands;

namespace {

const QString captionSection = QStringLiteral("Panneau");

// An unanswered exchange in the log, worded as the frame builder words it.
QString timeOutText()
{
    return QLatin1Char('(') + DataFunctions7310::GetText(TextId::FrameNoAnswer) + QLatin1Char(')');
}

// Texts by number in the current language, for the line monitor's wording of outcomes.
QString lookup(int textId)
{
    return DataFunctions7310::GetText(textId);
}
// A log line whose answer is not complete carries this flag in its first column.
constexpr int FaultRole = Qt::UserRole;

// Settings key of LED n's caption: "Label1" to "Label24".
QString captionKey(int n)
{
    return QStringLiteral("Label%1").arg(n + 1);
}

} // namespace

wPanelTools::wPanelTools(ComCtrl& port, QWidget* parent)
    : ChildWindow(parent)
    , m_port(port)
{
    buildControls();
    connectControls();
    Form_Load();
}

void wPanelTools::connectControls()
{
    for (int i = 0; i < static_cast<int>(m_cmdTools.size()); ++i)
        connect(m_cmdTools[i], &QPushButton::clicked, this, [this, i] { cmdTools_Click(i); });
    connect(m_cboToolsSequence, &QComboBox::currentIndexChanged, this,
            &wPanelTools::cboToolsSequence_Click);
    connect(m_frmPanneau, &LedPanel::ledClicked, this, &wPanelTools::lblPanneau_Click);
    connect(m_frmPanneau, &LedPanel::hornClicked, this, &wPanelTools::imgKlaxon_Click);
    connect(m_frmPanneau, &LedPanel::testClicked, this, &wPanelTools::lblTest_Click);
    m_lvwPanel->installEventFilter(this);
}

void wPanelTools::Form_Load()
{
    try {
        nationality();
        for (int n = 0; n < LedCount; ++n)
            m_frmPanneau->setCaption(
                n, ZRBfonctions::GetIniParam(captionSection, captionKey(n), QString()));
        layout()->activate();
        sizeLogColumns();
        m_running = false;
        setModified(false);
        beginAction();
        cboToolsSequence_Click();
    } catch (const RunTimeError& error) {
        ErrorHandling(QStringLiteral("wPanelTools.Form_Load"), error);
    }
}

void wPanelTools::nationality()
{
    ChildWindow::nationality();
    m_lvwPanel->setHeaderLabels({DataFunctions7310::GetText(TextId::LogRequest),
                                 DataFunctions7310::GetText(TextId::LogAnswer)});
    m_lblHelp->setText(
        DataFunctions7310::GetText(TextId::SequenceHelpFirst + m_cboToolsSequence->currentIndex()));
    m_lblCommParams->setText(DataFunctions7310::GetText(TextId::ToolsCommParams) +
                             m_port.settings());
}

void wPanelTools::sizeLogColumns()
{
    // Both columns share the list's width, leaving room for a vertical scroll bar.
    const int width = static_cast<int>((m_lvwPanel->width() - 1.25F * SystemMetrics(this)) / 2);
    for (int column = 0; column < 2; ++column)
        m_lvwPanel->setColumnWidth(column, std::max(width, 0));
}

bool wPanelTools::eventFilter(QObject* watched, QEvent* event)
{
    // The log's width is known once it is laid out, and follows the window's size.
    if (watched == m_lvwPanel && event->type() == QEvent::Resize)
        sizeLogColumns();
    // Marked log lines take the link colour of the palette in use.
    if (watched == m_lvwPanel && event->type() == QEvent::PaletteChange)
        recolourLog();
    return ChildWindow::eventFilter(watched, event);
}

void wPanelTools::showEvent(QShowEvent* event)
{
    ChildWindow::showEvent(event);
    if (m_frame)
        return;
    m_frame = qobject_cast<QMdiSubWindow*>(parentWidget());
    if (!m_frame || !m_frame->mdiArea()) {
        Form_Activate();
        return;
    }
    // Inside the main frame, the window is activated and left through its frame.
    connect(m_frame->mdiArea(), &QMdiArea::subWindowActivated, this, [this](QMdiSubWindow* now) {
        if (now == m_frame)
            Form_Activate();
        else if (now)
            Form_Deactivate();
    });
    if (m_frame->mdiArea()->activeSubWindow() == m_frame)
        Form_Activate();
}

QSize wPanelTools::sizeHint() const
{
    // As large as the controls ask for in the language shown, not the scroll area's own
    // guess; the main frame lays it out in its area, where it scrolls when it is smaller.
    return m_body->sizeHint();
}

void wPanelTools::changeEvent(QEvent* event)
{
    ChildWindow::changeEvent(event);
    // A window of its own (outside the main frame) is activated as a whole.
    if (event->type() == QEvent::ActivationChange && !m_frame && isActiveWindow())
        Form_Activate();
}

void wPanelTools::Form_Activate()
{
    m_lblCommParams->setText(DataFunctions7310::GetText(TextId::ToolsCommParams) +
                             m_port.settings());
}

void wPanelTools::Form_Deactivate()
{
    // Leaving the window stops a running sequence.
    stopRunning();
}

void wPanelTools::onUnload()
{
    m_unloading = true;
    stopRunning();
    m_frmPanneau->blinkTimer()->stop();
    for (int n = 0; n < LedCount; ++n)
        ZRBfonctions::SetIniParam(captionSection, captionKey(n), m_frmPanneau->caption(n));
}

// ---- Controls -------------------------------------------------------------------------------

void wPanelTools::cboToolsSequence_Click()
{
    // What each sequence offers: the state selector and clicks on the panel for drawing
    // (0, 1), Start for all but the manual one, the panel for the alarm's TEST as well.
    const int index = m_cboToolsSequence->currentIndex();
    m_frmToolsLeds->setVisible(index == Manual || index == WholePanel);
    m_cmdTools[cmdStart]->setEnabled(index != Manual);
    m_cmdTools[cmdStop]->setEnabled(false);
    m_frmPanneau->setEnabled(index == Manual || index == WholePanel || index == Alarm);
    m_lblHelp->setText(DataFunctions7310::GetText(TextId::SequenceHelpFirst + index));
    showTestActive();
}

bool wPanelTools::testClickActs() const
{
    return m_cboToolsSequence->currentIndex() == Alarm && m_cmdTools[cmdStart]->isEnabled() &&
           !m_running;
}

void wPanelTools::showTestActive()
{
    m_frmPanneau->setTestActive(testClickActs());
}

void wPanelTools::cmdTools_Click(int index)
{
    try {
        switch (index) {
        case cmdStart:
            if (m_running)
                return;
            beginAction();
            switch (m_cboToolsSequence->currentIndex()) {
            case WholePanel:
                SendWholePanel();
                confirm(text(TextId::ToolsImageSent).arg(slave()));
                break;
            case ReadPanel:
                LecturePanneau();
                confirm(text(TextId::ToolsImageRead).arg(slave()));
                break;
            case LampTest:
                TestLeds();
                confirm(text(TextId::ToolsLampTestSent).arg(slave()));
                break;
            case Sweep:
                MonteeDescente();
                break;
            case Alarm:
                EnvoiAlarme();
                break;
            default:
                break;
            }
            // The window may be gone by now: nothing more to do here.
            return;
        case cmdStop:
            stopRunning();
            return;
        case cmdRazPanel:
            beginAction();
            EteintPanneau();
            confirm(text(TextId::ToolsPanelOffDone).arg(slave()));
            return;
        case cmdRazTableau:
            m_lvwPanel->clear();
            PromptHook::Confirm(text(TextId::ToolsLogCleared));
            return;
        default:
            return;
        }
    } catch (const RunTimeError& error) {
        ErrorHandling(QStringLiteral("wPanelTools.cmdTools_Click"), error);
    }
}

void wPanelTools::lblPanneau_Click(int n)
{
    const int sequence = m_cboToolsSequence->currentIndex();
    if (sequence != Manual && sequence != WholePanel)
        return;
    m_frmPanneau->setState(n, LedStateSelection());
    if (sequence != Manual)
        return;
    beginAction();
    EnvoieUneLed(n);
    confirm(text(TextId::ToolsLedSent).arg(n).arg(slave()).arg(m_frmPanneau->state(n)));
}

void wPanelTools::imgKlaxon_Click()
{
    const int sequence = m_cboToolsSequence->currentIndex();
    if (sequence != Manual && sequence != WholePanel)
        return;
    m_frmPanneau->setHorn(LedStateSelection());
    if (sequence != Manual)
        return;
    beginAction();
    EnvoieUneLed(HornIndex + 1);
    confirm(text(TextId::ToolsHornSent).arg(slave()).arg(m_frmPanneau->horn()));
}

void wPanelTools::lblTest_Click()
{
    // The technician's acknowledgement, played from the screen: blinking LEDs turn steady and
    // the horn stops. Only for the alarm sequence, and not while it runs.
    if (!testClickActs())
        return;
    beginAction();
    const PanelImage image = AcknowledgedImage(m_frmPanneau->image());
    m_frmPanneau->setImage(image);
    SendWholePanel();
    confirm(text(TextId::ToolsAckSent).arg(slave()));
}

// ---- Operations -----------------------------------------------------------------------------

int wPanelTools::LedStateSelection() const
{
    for (int i = 0; i < StateCount; ++i) {
        if (m_optToolsLeds[i]->isChecked())
            return i;
    }
    return 0;
}

int wPanelTools::slave() const
{
    return SlaveNumber(m_txtToolsSlave->text());
}

QByteArray wPanelTools::exchange(const QByteArray& request)
{
    m_refused = false;
    // A one-byte frame is the codec's refusal (a slave number out of range).
    LineLock lock(m_port);
    if (request.size() < 2 || !lock.acquired()) {
        m_refused = true;
        m_actionRefused = true;
        QApplication::beep();
        return {};
    }
    // The line monitor names this window as the one that asked.
    const ComCtrl::OriginScope origin(m_port, TextId::PanelToolsTitle);
    auto* line = new QTreeWidgetItem(m_lvwPanel, {CommFunctions::FrameToText(request)});
    // A long frame may not fit its column: the whole text is its tooltip.
    line->setToolTip(0, line->text(0));
    QByteArray answer;
    {
        // Blocks until the answer is in or the time-out has passed; no window events run.
        WaitCursor wait;
        answer = CommFunctions::FrameReceived(m_port, request, AnswerTimeout);
    }
    // A one-byte frame stands for no answer at all.
    const bool nothing = answer.size() == 1 && answer.at(0) == 0;
    line->setText(1, nothing ? timeOutText() : CommFunctions::FrameToText(answer));
    line->setToolTip(1, line->text(1));
    m_last = Exchange{};
    m_last.request = request;
    m_last.answer = nothing ? QByteArray() : answer;
    m_last.outcome = ClassifyAnswer(request, m_last.answer, &m_last.exceptionCode);
    if (m_last.outcome != Exchange::Outcome::Complete) {
        markLogLine(line, m_last);
        if (m_actionFault.outcome == Exchange::Outcome::Complete)
            m_actionFault = m_last;
    }
    ClearPanel();
    m_lvwPanel->scrollToItem(line);
    return m_last.answer;
}

void wPanelTools::markLogLine(QTreeWidgetItem* line, const Exchange& judged) const
{
    line->setData(0, FaultRole, true);
    QFont bold = m_lvwPanel->font();
    bold.setBold(true);
    const QString reason = ExchangeText::OutcomeText(judged, lookup);
    for (int column = 0; column < 2; ++column) {
        line->setFont(column, bold);
        line->setForeground(column, m_lvwPanel->palette().brush(QPalette::Link));
        line->setToolTip(column, line->text(column) + QLatin1Char('\n') + reason);
    }
}

void wPanelTools::recolourLog()
{
    for (int i = 0; i < m_lvwPanel->topLevelItemCount(); ++i) {
        QTreeWidgetItem* line = m_lvwPanel->topLevelItem(i);
        if (!line->data(0, FaultRole).toBool())
            continue;
        for (int column = 0; column < 2; ++column)
            line->setForeground(column, m_lvwPanel->palette().brush(QPalette::Link));
    }
}

// ---- Status bar -----------------------------------------------------------------------------

QString wPanelTools::text(int textId) const
{
    return DataFunctions7310::GetText(textId);
}

void wPanelTools::beginAction()
{
    m_actionRefused = false;
    m_actionFault = Exchange{};
    m_actionFault.outcome = Exchange::Outcome::Complete;
}

QString wPanelTools::failureText(bool refused, const Exchange& judged) const
{
    if (refused)
        return text(TextId::ToolsNothingSent).arg(slave());
    return text(TextId::ToolsNoValidAnswer)
        .arg(slave())
        .arg(ExchangeText::OutcomeText(judged, lookup));
}

void wPanelTools::confirm(const QString& done)
{
    if (m_actionRefused || m_actionFault.outcome != Exchange::Outcome::Complete)
        PromptHook::Confirm(failureText(m_actionRefused, m_actionFault));
    else
        PromptHook::Confirm(done);
}

void wPanelTools::EnvoieUneLed(int n)
{
    exchange(LedRequest(slave(), n, m_frmPanneau->image()));
}

void wPanelTools::SendWholePanel()
{
    exchange(ImageWriteRequest(slave(), m_frmPanneau->image()));
}

void wPanelTools::LecturePanneau()
{
    const QByteArray answer = exchange(ImageReadRequest(slave()));
    // Only a complete answer, CRC right, tells what the panel shows.
    PanelImage image = m_frmPanneau->image();
    if (answeredWell() && Unpack(answer, image))
        m_frmPanneau->setImage(image);
}

bool wPanelTools::EteintPanneau()
{
    m_frmPanneau->setImage(PanelImage{});
    exchange(AllLedsOffRequest(slave()));
    // The horn is a word of its own: it is switched off whatever became of the LEDs' request,
    // unless that one could not be sent at all.
    const bool ledsFailed = stepFailed();
    if (!m_refused)
        exchange(HornOffRequest(slave()));
    return !ledsFailed && !stepFailed();
}

void wPanelTools::TestLeds()
{
    exchange(LampTestRequest(slave()));
}

void wPanelTools::ClearPanel()
{
    while (m_lvwPanel->topLevelItemCount() > LogLines)
        delete m_lvwPanel->takeTopLevelItem(0);
}

bool wPanelTools::LastFrameTimedOut() const
{
    // The last exchange is the log's last line, unless the log was cleared since.
    return m_lvwPanel->topLevelItemCount() > 0 && m_last.outcome == Exchange::Outcome::TimeOut;
}
