// The test sequences that wait between their exchanges: the rising and falling sweep and the
// alarm with acknowledgement.
#include "comctrl.h"
#include "commfunctions.h"
#include "ledpanel.h"
#include "prompthook.h"
#include "textids.h"
#include "wpaneltools.h"

#include <QEventLoop>
#include <QGroupBox>
#include <QPushButton>
#include <QTimer>

using namespace PanelCommands;

wPanelTools::Wait wPanelTools::pause(int milliseconds)
{
    // A local event loop, woken by one timer: the window runs and no processor time is spent
    // while waiting. Anything may happen meanwhile, this window's deletion included, so only
    // the guard is looked at until it is known to be alive.
    const QPointer<wPanelTools> self(this);
    bool elapsed = false;
    {
        QEventLoop loop;
        QTimer::singleShot(std::max(milliseconds, 0), Qt::PreciseTimer, &loop, [&elapsed, &loop] {
            elapsed = true;
            loop.quit();
        });
        // Stop, leaving the window and unloading it wake the wait at once.
        m_waking = &loop;
        loop.exec();
    }
    if (!self)
        return Wait::Gone;
    m_waking = nullptr;
    // Woken before its time: stopped, or the application is quitting, which ends every
    // event loop.
    if (!elapsed || m_unloading || !m_running)
        return Wait::Stop;
    // Another window has taken the line meanwhile: it keeps it, the sequence ends.
    if (m_port.busy())
        return Wait::Stop;
    return Wait::Continue;
}

void wPanelTools::beginRunning()
{
    m_frmFrames->setEnabled(false);
    m_cmdTools[cmdStart]->setEnabled(false);
    m_cmdTools[cmdRazPanel]->setEnabled(false);
    m_cmdTools[cmdStop]->setEnabled(true);
    m_running = true;
    showTestActive();
}

void wPanelTools::endRunning()
{
    m_running = false;
    m_frmFrames->setEnabled(true);
    m_cmdTools[cmdStart]->setEnabled(true);
    m_cmdTools[cmdRazPanel]->setEnabled(true);
    m_cmdTools[cmdStop]->setEnabled(false);
    showTestActive();
}

void wPanelTools::stopRunning()
{
    m_running = false;
    if (m_waking)
        m_waking->quit();
}

void wPanelTools::MonteeDescente()
{
    beginAction();
    // Every exchange that failed ends the sequence at once; so does every wait that is not
    // to go on.
    bool failed = !EteintPanneau();
    beginRunning();
    auto next = [this, &failed] {
        if (!stepFailed())
            return pause(SweepStepMs);
        failed = true;
        return Wait::Stop;
    };
    Wait outcome = failed ? Wait::Stop : Wait::Continue;
    while (outcome == Wait::Continue && m_running) {
        for (int n = 0; n < LedCount && outcome == Wait::Continue; ++n) {
            m_frmPanneau->setState(n, SteadyState);
            SendWholePanel();
            outcome = next();
        }
        // The horn alone, on then off.
        for (const int horn : {1, 0}) {
            if (outcome != Wait::Continue)
                break;
            m_frmPanneau->setHorn(horn);
            EnvoieUneLed(HornIndex);
            outcome = next();
        }
        for (int n = LedCount - 1; n >= 0 && outcome == Wait::Continue; --n) {
            m_frmPanneau->setState(n, 0);
            SendWholePanel();
            outcome = next();
        }
    }
    if (outcome == Wait::Gone)
        return;
    endRunning();
    // Switching the panel off may have failed on its first request only.
    if (failed)
        PromptHook::Confirm(stepFailed() ? failureText(m_refused, m_last)
                                         : failureText(m_actionRefused, m_actionFault));
    else
        PromptHook::Confirm(text(TextId::ToolsSequenceStopped));
}

void wPanelTools::EnvoiAlarme()
{
    beginAction();
    const PanelImage alarm = AlarmImage();
    m_frmPanneau->setImage(alarm);
    SendWholePanel();
    if (stepFailed()) {
        PromptHook::Confirm(failureText(m_refused, m_last));
        return;
    }

    beginRunning();
    Wait outcome = pause(CommFunctions::FrameDelay());
    bool acknowledged = false;
    bool failed = false;
    // Poll the acknowledgement word until the technician has acknowledged on the panel. Only
    // a complete answer, CRC right, counts as the acknowledgement; one with a wrong CRC is
    // asked again.
    while (outcome == Wait::Continue) {
        const QByteArray answer = exchange(AckReadRequest(slave()));
        acknowledged = answeredWell() && Acknowledged(answer);
        failed = stepFailed() || AckAnswerShort(answer);
        if (failed || acknowledged)
            break;
        outcome = pause(CommFunctions::FrameDelay());
    }
    if (outcome == Wait::Gone)
        return;
    if (acknowledged) {
        m_frmPanneau->setImage(AcknowledgedImage(alarm));
        SendWholePanel();
        failed = !answeredWell();
    }
    endRunning();
    if (failed)
        PromptHook::Confirm(failureText(m_refused, m_last));
    else if (acknowledged)
        PromptHook::Confirm(text(TextId::ToolsAlarmAcknowledged).arg(slave()));
    else
        PromptHook::Confirm(text(TextId::ToolsSequenceStopped));
}
