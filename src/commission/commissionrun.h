#pragma once

#include "commissionrecord.h"
#include "configfile.h"

#include <QList>
#include <QString>

#include <functional>

class ComCtrl;

// The steps of commissioning one panel, on the console's line, without widgets: its
// configuration read, written from a template with its own values, read back and compared; and
// the tests that the technician watches. Each step blocks like the configuration window's
// sequences; the tests' waits go through the caller, who lets the window run.
namespace Commission {

// A template file opened for a run: its values, or the refusal as the configuration window
// words it (text with the file, key or parameter filled in); refusal empty when usable.
struct Template
{
    ConfigFile::Contents contents;
    QString sha256;
    QString refusal;
};
Template OpenTemplate(const QString& path);

// The first target slave number that two panels on the line would share; 0 when none does.
int DuplicateTarget(const QList<Target>& targets);

// What the panel is to hold: the template with the panel's own slave number and, when given,
// its own speed and stop bits.
ConfigMap::Values Intended(const ConfigMap::Values& templateValues, const Target& target);

// The configuration of one panel: the line set to the panel's present speed and stop bits,
// read, written with the configuration window's write sequence (the line follows the panel),
// read back at the panel's new settings and compared. The record holds what was done, where it
// stopped and why.
PanelRecord Configure(ComCtrl& line, const Target& target, const ConfigMap::Values& templateValues);

// The technician's side of the tests.
struct Operator
{
    // The answer to a Yes/No question (text ID, with the slave number for %1).
    std::function<bool(int questionId, int slave)> ask;
    // Waits while the window runs; false when the run was cancelled meanwhile.
    std::function<bool(int milliseconds)> pause;
};

// The lamp test word sent, then "All lamps lit?".
TestResult RunLampTest(ComCtrl& line, int slave, const Operator& who);
// The alarm sent as the test window sends it, then the acknowledgement word polled until the
// panel reports it (passed, the alarm then shown acknowledged) or `waitMs` has passed (failed,
// "time-out"). A cancelled wait is skipped, "cancelled".
TestResult RunAlarmAck(ComCtrl& line, int slave, int waitMs, const Operator& who);
// Every LED lit in turn and put out in reverse, the horn on and off between, one step every
// `stepMs`; then "Every LED and the horn worked?".
TestResult RunLedWalk(ComCtrl& line, int slave, int stepMs, const Operator& who);

// The settings of the console's line and of its settings file that a run changes as it
// follows the panels, and puts back at the end unless the technician chose to follow them.
class LineState
{
public:
    explicit LineState(const ComCtrl& line);
    void restore(ComCtrl& line) const;

private:
    QString m_settings;
    QString m_bauds;
    QString m_stops;
    QString m_lastSlave;
};

} // namespace Commission
