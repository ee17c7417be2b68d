#pragma once

#include "configmap.h"
#include "detectk9120.h"

#include <QList>
#include <QString>
#include <QStringList>

#include <array>
#include <cstdint>

class ComCtrl;

// The census of a line: every K7310 that answers, at every line setting tried, with its
// firmware version and configuration. Widget-free: a window, a command-line program or a test
// drives it through Observer, which is polled between probes and never inside one.
namespace LineSurvey {

using Setting = CommFunctions::LineCombination;

// The turnaround allowance's default and where the settings file keeps it ([Survey]).
constexpr int DefaultAllowanceMs = 50;
// An allowance beyond this is no longer a survey's wait.
constexpr int MaxAllowanceMs = 2000;
int AllowanceFromSettingsFile();
bool StoreAllowance(int milliseconds);

// The settings tried by default: the line's own first, then 19200 down to 1200 baud, each
// with 1 and 2 stop bits, the line's own not repeated.
QList<Setting> DefaultSettings(const Setting& current);

struct Options
{
    int firstSlave = 1; // the slave numbers a sweep probes, and a probe's answer accepted
    int lastSlave = 64;
    QList<Setting> settings;  // empty: DefaultSettings of the line's present setting
    bool thorough = false;    // sweep a setting where one panel answered the probe cleanly
    bool retrySilent = false; // a silent probe or slave is tried once more (noisy lines)
    int stopAfter = 0;        // stop once this many panels are found; 0: no limit
    int allowanceMs = DefaultAllowanceMs;
    bool readConfiguration = true;
};

// What a row says beyond its values.
struct Remark
{
    enum class Kind {
        CrcError,         // its answer's CRC was wrong (after one retry)
        Exception,        // it refused the read of word 130 (code)
        Noise,            // a frame that is no answer to the read: short, long, another slave
        SharedNumber,     // damaged at a setting where the probe collided
        AlsoAt,           // the same panel answered at another setting too (other)
        ConfigIncomplete, // some configuration words could not be read
        NoConfirmation,   // the probe named it, word 130 did not answer
    };
    Remark(Kind kindOf, int code = 0, Setting otherSetting = {})
        : kind(kindOf)
        , exceptionCode(code)
        , other(otherSetting)
    {}
    Kind kind;
    int exceptionCode;
    Setting other;
    friend bool operator==(const Remark&, const Remark&) = default;
};

// One panel, or one slave number that answered, at one setting.
struct Row
{
    int slave = 0;
    Setting setting;
    QString version; // "2.8"; "" when unknown
    bool configRead = false;
    ConfigMap::Values values{ConfigMap::NoValue, ConfigMap::NoValue, ConfigMap::NoValue,
                             ConfigMap::NoValue, ConfigMap::NoValue, ConfigMap::NoValue,
                             ConfigMap::NoValue, ConfigMap::NoValue};
    QList<Remark> remarks;
    // True when the row is a panel that answered cleanly (no damage or refusal remark).
    bool clean() const;
    bool has(Remark::Kind kind) const;
};

struct Progress
{
    Setting setting;
    int settingNumber = 0; // 1-based, of settingCount
    int settingCount = 0;
    int slavesDone = 0; // of the sweep at this setting; both 0 when it needs none
    int slavesToDo = 0;
    int panelsFound = 0;
    qint64 elapsedMs = 0;
    qint64 remainingMs = 0; // an estimate: the probes left, each waiting its full time
};

class Observer
{
public:
    virtual ~Observer() = default;
    // Polled before every probe, never during one: the caller lets its window run here.
    // False stops the survey before the next probe.
    virtual bool keepGoing(const Progress& progress) = 0;
    // The rows found so far, whenever one is added or given a remark.
    virtual void rowsChanged(const QList<Row>& rows) = 0;
};

struct Result
{
    enum class End {
        Done,
        Cancelled,    // the observer said stop
        EnoughPanels, // Options::stopAfter panels found
        LineBusy,     // the line was held by another transaction: nothing was sent
        PortFault,    // the line failed (faultNumber, fault); the rows so far are kept
    };
    End end = End::Done;
    QList<Row> rows;
    int faultNumber = 0; // ErrorNumber of the port fault
    QString fault;
    int probes = 0; // the survey's own requests; the configuration reads not counted
    qint64 elapsedMs = 0;
};

// Surveys the line. Takes the line (LineLock) for the whole survey, marks every exchange
// with `origin` (a window's title text ID), and leaves the line at the settings and in the
// open or closed state it had before. The observer may be null.
Result Run(ComCtrl& line, const Options& options, Observer* observer, int origin);

// ---- Wire times, from a settings text such as "9600,n,8,1" -------------------------------
// Microseconds that `characters` take on the wire.
qint64 WireUs(const QString& settings, double characters);
// A survey probe's answer wait: the expected answer's wire time, 3.5 characters and the
// allowance.
qint64 AnswerWaitUs(const QString& settings, int answerBytes, int allowanceMs);

// ---- Texts ------------------------------------------------------------------------------
// The texts of a row's eight parameters, in control-index order.
QStringList ValueTexts(const Row& row);
// A remark in the current language, and its stable key for machine output ("crc-error").
QString RemarkText(const Remark& remark);
QString RemarkKey(Remark::Kind kind);
// "9600/1".
QString SettingText(const Setting& setting);
// The progress in one line: the setting, the sweep's numbers done of those to do, the panels
// found, the time spent and the estimate of what is left, written by `duration`.
QString ProgressText(const Progress& progress, QString (*duration)(qint64 milliseconds));

} // namespace LineSurvey
