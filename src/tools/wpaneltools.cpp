#include "wpaneltools.h"

#include "comctrl.h"
#include "commfunctions.h"
#include "datafunctions7310.h"
#include "errorhandling.h"
#include "ledpanel.h"
#include "linelock.h"
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
#include <QTimer>
#include <QTreeWidget>

using namespace PanelCommands;

namespace {

const QString captionSection = QStringLiteral("Panneau");
const QString timeOutText = QStringLiteral("(Time-out)");

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
    // Leaving the window stops a running sequence at its next wait.
    m_running = false;
}

void wPanelTools::onUnload()
{
    m_unloading = true;
    m_running = false;
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
}

void wPanelTools::cmdTools_Click(int index)
{
    try {
        switch (index) {
        case cmdStart:
            if (m_running)
                return;
            switch (m_cboToolsSequence->currentIndex()) {
            case WholePanel:
                SendWholePanel();
                break;
            case ReadPanel:
                LecturePanneau();
                break;
            case LampTest:
                TestLeds();
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
            m_running = false;
            return;
        case cmdRazPanel:
            EteintPanneau();
            return;
        case cmdRazTableau:
            m_lvwPanel->clear();
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
    if (sequence == Manual)
        EnvoieUneLed(n);
}

void wPanelTools::imgKlaxon_Click()
{
    const int sequence = m_cboToolsSequence->currentIndex();
    if (sequence != Manual && sequence != WholePanel)
        return;
    m_frmPanneau->setHorn(LedStateSelection());
    if (sequence == Manual)
        EnvoieUneLed(HornIndex + 1);
}

void wPanelTools::lblTest_Click()
{
    // The technician's acknowledgement, played from the screen: blinking LEDs turn steady and
    // the horn stops. Only for the alarm sequence, and not while it runs.
    if (m_cboToolsSequence->currentIndex() != Alarm || !m_cmdTools[cmdStart]->isEnabled())
        return;
    PanelImage image = m_frmPanneau->image();
    for (int& state : image.leds) {
        if (state > SteadyState)
            state = SteadyState;
    }
    image.horn = 0;
    m_frmPanneau->setImage(image);
    SendWholePanel();
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
        QApplication::beep();
        return {};
    }
    auto* line = new QTreeWidgetItem(m_lvwPanel, {CommFunctions::FrameToText(request)});
    // A long frame may not fit its column: the whole text is its tooltip.
    line->setToolTip(0, line->text(0));
    QByteArray answer;
    {
        // Blocks until the answer is in or the time-out has passed; no window events run.
        WaitCursor wait;
        answer = CommFunctions::FrameReceived(m_port, request, AnswerTimeout);
    }
    line->setText(1, CommFunctions::FrameToText(answer));
    line->setToolTip(1, line->text(1));
    ClearPanel();
    m_lvwPanel->scrollToItem(line);
    return answer;
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
    PanelImage image = m_frmPanneau->image();
    if (Unpack(answer, image))
        m_frmPanneau->setImage(image);
}

void wPanelTools::EteintPanneau()
{
    m_frmPanneau->setImage(PanelImage{});
    exchange(AllLedsOffRequest(slave()));
    // A panel that did not take the first will not take the second: one time-out is enough.
    if (!stepFailed())
        exchange(HornOffRequest(slave()));
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
    const int count = m_lvwPanel->topLevelItemCount();
    return count > 0 && m_lvwPanel->topLevelItem(count - 1)->text(1) == timeOutText;
}
