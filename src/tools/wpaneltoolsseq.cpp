// The test sequences that wait between their exchanges: the rising and falling sweep and the
// alarm with acknowledgement.
#include "comctrl.h"
#include "commfunctions.h"
#include "ledpanel.h"
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
        loop.exec();
    }
    if (!self)
        return Wait::Gone;
    // Woken before its time: the application is quitting, which ends every event loop.
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
}

void wPanelTools::endRunning()
{
    m_running = false;
    m_frmFrames->setEnabled(true);
    m_cmdTools[cmdStart]->setEnabled(true);
    m_cmdTools[cmdRazPanel]->setEnabled(true);
    m_cmdTools[cmdStop]->setEnabled(false);
}

void wPanelTools::MonteeDescente()
{
    EteintPanneau();
    beginRunning();
    // Every exchange that failed ends the sequence at once; so does every wait that is not
    // to go on.
    auto next = [this] {
        return stepFailed() ? Wait::Stop : pause(SweepStepMs);
    };
    Wait outcome = stepFailed() ? Wait::Stop : Wait::Continue;
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
}

void wPanelTools::EnvoiAlarme()
{
    // LEDs 1 and 11 in alarm, everything else off, the horn sounding.
    PanelImage alarm;
    alarm.leds[1] = AlarmState;
    alarm.leds[11] = AlarmState;
    alarm.horn = 1;
    m_frmPanneau->setImage(alarm);
    SendWholePanel();
    if (stepFailed())
        return;

    beginRunning();
    Wait outcome = pause(CommFunctions::FrameDelay());
    QByteArray answer;
    // Poll the acknowledgement word until the technician has acknowledged on the panel.
    while (outcome == Wait::Continue) {
        answer = exchange(AckReadRequest(slave()));
        if (stepFailed() || AckAnswerShort(answer) || Acknowledged(answer))
            break;
        outcome = pause(CommFunctions::FrameDelay());
    }
    if (outcome == Wait::Gone)
        return;
    if (Acknowledged(answer)) {
        alarm.leds[1] = SteadyState;
        alarm.leds[11] = SteadyState;
        alarm.horn = 0;
        m_frmPanneau->setImage(alarm);
        SendWholePanel();
    }
    endRunning();
}
