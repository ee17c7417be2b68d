#include "linesurvey.h"

#include "comctrl.h"
#include "commfunctions.h"
#include "configexchange.h"
#include "errorhandling.h"
#include "exchange.h"
#include "linelock.h"

#include <QDeadlineTimer>
#include <QElapsedTimer>

#include <algorithm>

#include <chrono>

using CommFunctions::ProbeAnswerLength;
using CommFunctions::ProbeWordAddress;

namespace LineSurvey {

namespace {

// Length of the answer to a one-word read.
constexpr int WordAnswerLength = 7;

// What the last read of word 130 says about the slave, beyond its number.
QList<Remark> remarksOf(Exchange::Outcome outcome, int exceptionCode)
{
    using Outcome = Exchange::Outcome;
    switch (outcome) {
    case Outcome::Complete:
        return {};
    case Outcome::TimeOut:
        return {Remark(Remark::Kind::NoConfirmation)};
    case Outcome::Exception:
        return {Remark(Remark::Kind::Exception, exceptionCode)};
    case Outcome::CrcError:
        return {Remark(Remark::Kind::CrcError)};
    default:
        return {Remark(Remark::Kind::Noise)};
    }
}

bool knownVersion(int major, int minor)
{
    return ConfigMap::VersionCodeOf(ConfigMap::VersionText(major << 8 | minor)) != 0;
}

class Survey
{
public:
    Survey(ComCtrl& line, const Options& options, Observer* observer)
        : m_line(line)
        , m_options(options)
        , m_observer(observer)
    {
        m_clock.start();
    }

    void run(const QList<Setting>& settings);
    Result& result() { return m_result; }
    qint64 elapsedMs() const { return m_clock.elapsed(); }

private:
    enum class Heard { Silent, Clean, Damaged };

    // The survey's one transaction: the request with the line's RTS cycle, then the answer
    // wait counted from the wire (blocking on the port); then the line must stay quiet for
    // 3.5 characters, so that a late or merged byte belongs to this answer and the next
    // request keeps the silence between frames.
    QByteArray transact(const QByteArray& request, int answerBytes);
    Heard probeLine(QByteArray& answer);
    // Reads word 130 of a slave, with the retries the options allow; the outcome of the last try.
    Exchange::Outcome readSlaveWord(int slave, int* exceptionCode);
    void sweep(bool collided, const QByteArray& probeAnswer);
    void addPanel(int slave, const QString& probeVersion, QList<Remark> remarks);
    void addRow(Row row);
    void switchTo(const Setting& setting);
    // Asks the observer whether to go on; false also once enough panels are found.
    bool poll(int slavesDone, int slavesToDo);
    qint64 probeCostUs(const Setting& setting, int answerBytes) const;
    QString settingsText(const Setting& setting) const;

    ComCtrl& m_line;
    const Options& m_options;
    Observer* m_observer;
    QElapsedTimer m_clock;
    Result m_result;
    QString m_original;
    QList<Setting> m_settings;
    int m_settingIndex = 0;
    int m_panels = 0;
    int m_sweeps = 0; // settings swept so far
};

QString Survey::settingsText(const Setting& setting) const
{
    return CommFunctions::WithCommStops(CommFunctions::WithCommBauds(m_original, setting.speed),
                                        setting.stops);
}

qint64 Survey::probeCostUs(const Setting& setting, int answerBytes) const
{
    const QString text = settingsText(setting);
    return WireUs(text, 8) + AnswerWaitUs(text, answerBytes, m_options.allowanceMs);
}

bool Survey::poll(int slavesDone, int slavesToDo)
{
    if (m_options.stopAfter > 0 && m_panels >= m_options.stopAfter) {
        m_result.end = Result::End::EnoughPanels;
        return false;
    }
    if (!m_observer)
        return true;
    Progress progress;
    progress.setting = m_settings[m_settingIndex];
    progress.settingNumber = m_settingIndex + 1;
    progress.settingCount = static_cast<int>(m_settings.size());
    progress.slavesDone = slavesDone;
    progress.slavesToDo = slavesToDo;
    progress.panelsFound = m_panels;
    progress.elapsedMs = m_clock.elapsed();
    // The probes left, and the sweeps that the settings left are likely to need: as many, in
    // proportion, as the settings done so far needed.
    const int sweepSize = m_options.lastSlave - m_options.firstSlave + 1;
    const double sweepShare = m_settingIndex > 0 ? double(m_sweeps) / m_settingIndex : 0.0;
    qint64 leftUs = (slavesToDo - slavesDone) * probeCostUs(progress.setting, WordAnswerLength);
    for (qsizetype i = m_settingIndex + 1; i < m_settings.size(); ++i)
        leftUs += probeCostUs(m_settings[i], ProbeAnswerLength) +
                  qint64(sweepShare * sweepSize * probeCostUs(m_settings[i], WordAnswerLength));
    progress.remainingMs = leftUs / 1000;
    if (m_observer->keepGoing(progress))
        return true;
    m_result.end = Result::End::Cancelled;
    return false;
}

QByteArray Survey::transact(const QByteArray& request, int answerBytes)
{
    using std::chrono::microseconds;
    const QString settings = m_line.settings();
    ExchangeRecorder record(m_line, request);
    ++m_result.probes;
    try {
        // Counted from the write: the request's own wire time (and the RTS delay), then the
        // answer wait. A pty or an adapter's buffer takes the request at once; a real UART
        // spends the first part while it drains.
        const bool handshake = CommFunctions::RtsHandshake();
        const microseconds wait(WireUs(settings, double(request.size())) +
                                AnswerWaitUs(settings, answerBytes, m_options.allowanceMs) +
                                (handshake ? CommFunctions::RtsDelay() * 1000 : 0));
        const QDeadlineTimer deadline(wait);
        m_line.sendRequest(request, handshake, CommFunctions::RtsDelay());
        m_line.waitForBytes(answerBytes, deadline,
                            answerBytes == WordAnswerLength ? CommFunctions::ExceptionAnswerIn
                                                            : nullptr);
        qint64 waiting = m_line.bytesWaiting();
        const microseconds quiet(WireUs(settings, 3.5) + 1000);
        while (waiting > 0 && m_line.waitForBytes(waiting + 1, QDeadlineTimer(quiet)) > waiting)
            waiting = m_line.bytesWaiting();
        const QByteArray answer = m_line.read();
        record.answered(answer);
        return answer;
    } catch (const RunTimeError& error) {
        record.failed(error);
        throw;
    }
}

Survey::Heard Survey::probeLine(QByteArray& answer)
{
    const QByteArray request = CommFunctions::ProbeRequest();
    answer = transact(request, ProbeAnswerLength);
    if (answer.isEmpty() && m_options.retrySilent)
        answer = transact(request, ProbeAnswerLength);
    if (answer.isEmpty())
        return Heard::Silent;
    const auto byte = [&answer](int i) {
        return static_cast<std::uint8_t>(answer.at(i));
    };
    const bool clean = answer.size() == ProbeAnswerLength && byte(0) == 0x41 && byte(1) >= 1 &&
                       byte(1) <= ConfigMap::LastSlave && knownVersion(byte(2), byte(3));
    return clean ? Heard::Clean : Heard::Damaged;
}

Exchange::Outcome Survey::readSlaveWord(int slave, int* exceptionCode)
{
    const QByteArray request =
        CommFunctions::ReadWordsRequest(static_cast<std::uint8_t>(slave), ProbeWordAddress, 1);
    Exchange::Outcome outcome = Exchange::Outcome::TimeOut;
    // A damaged answer gets one retry; a silent slave only when the options ask for it.
    for (int attempt = 0; attempt < 2; ++attempt) {
        const QByteArray answer = transact(request, WordAnswerLength);
        outcome = ClassifyAnswer(request, answer, exceptionCode);
        if (outcome == Exchange::Outcome::Complete &&
            (!CommFunctions::ValidReadAnswer(request, answer) ||
             CommFunctions::AnswerWords(answer).value(0) != slave))
            outcome = Exchange::Outcome::TooLong; // a frame, but not this slave's answer
        const bool retry =
            outcome == Exchange::Outcome::TimeOut
                ? m_options.retrySilent
                : outcome != Exchange::Outcome::Complete && outcome != Exchange::Outcome::Exception;
        if (!retry)
            break;
    }
    return outcome;
}

void Survey::addRow(Row row)
{
    // The same panel heard at two settings: the same number and the same configuration, or,
    // where the configuration is unknown, the same speed (a UART hears either stop bits).
    for (Row& other : m_result.rows) {
        if (other.slave != row.slave || other.setting == row.setting || !other.clean() ||
            !row.clean())
            continue;
        const bool same = other.configRead && row.configRead
                              ? other.values == row.values
                              : other.setting.speed == row.setting.speed;
        if (!same)
            continue;
        other.remarks.append(Remark(Remark::Kind::AlsoAt, 0, row.setting));
        row.remarks.append(Remark(Remark::Kind::AlsoAt, 0, other.setting));
    }
    m_result.rows.append(row);
    if (m_observer)
        m_observer->rowsChanged(m_result.rows);
}

void Survey::addPanel(int slave, const QString& probeVersion, QList<Remark> remarks)
{
    Row row;
    row.slave = slave;
    row.setting = m_settings[m_settingIndex];
    row.version = probeVersion;
    row.remarks = std::move(remarks);
    if (m_options.readConfiguration && row.clean()) {
        const ConfigExchange::Outcome outcome =
            ConfigExchange::Read(m_line, static_cast<std::uint8_t>(slave), row.values);
        if (m_line.state() == ComCtrl::State::Lost)
            throw RunTimeError(ErrorNumber::PortLost, ComCtrl::SystemLocation(m_line.portName()));
        const QString staircase = ConfigExchange::Conclude(outcome, row.values);
        if (row.version.isEmpty())
            row.version = staircase;
        row.configRead = outcome.lineWordsRead || !staircase.isEmpty();
        for (const auto& unread : outcome.unread) {
            if (unread) {
                row.remarks.append(Remark(Remark::Kind::ConfigIncomplete));
                break;
            }
        }
    }
    ++m_panels;
    addRow(row);
}

void Survey::sweep(bool collided, const QByteArray& probeAnswer)
{
    const int toDo = m_options.lastSlave - m_options.firstSlave + 1;
    for (int slave = m_options.firstSlave; slave <= m_options.lastSlave; ++slave) {
        if (!poll(slave - m_options.firstSlave, toDo))
            return;
        int code = 0;
        const Exchange::Outcome outcome = readSlaveWord(slave, &code);
        if (outcome == Exchange::Outcome::TimeOut)
            continue;
        QList<Remark> remarks = remarksOf(outcome, code);
        const bool damaged =
            outcome != Exchange::Outcome::Complete && outcome != Exchange::Outcome::Exception;
        if (damaged && collided)
            remarks.append(Remark(Remark::Kind::SharedNumber));
        // The probe's clean answer (a thorough sweep) names this slave's version.
        QString version;
        if (!collided && probeAnswer.size() == ProbeAnswerLength && probeAnswer.at(1) == slave)
            version = ConfigMap::VersionText(static_cast<std::uint8_t>(probeAnswer.at(2)) << 8 |
                                             static_cast<std::uint8_t>(probeAnswer.at(3)));
        addPanel(slave, version, remarks);
    }
}

void Survey::switchTo(const Setting& setting)
{
    // An open port takes the new speed and stop bits as it is: what was found out about the
    // adapter (its echo, the direction control) holds at every setting.
    m_line.setSettings(settingsText(setting));
    if (!m_line.isOpen())
        m_line.open();
}

void Survey::run(const QList<Setting>& settings)
{
    m_settings = settings;
    m_original = m_line.settings();
    for (m_settingIndex = 0; m_settingIndex < m_settings.size(); ++m_settingIndex) {
        if (!poll(0, 0))
            return;
        switchTo(m_settings[m_settingIndex]);
        QByteArray answer;
        const Heard heard = probeLine(answer);
        if (heard == Heard::Silent)
            continue;
        if (heard == Heard::Clean && !m_options.thorough) {
            const int slave = static_cast<std::uint8_t>(answer.at(1));
            if (slave < m_options.firstSlave || slave > m_options.lastSlave)
                continue;
            const QString version =
                ConfigMap::VersionText(static_cast<std::uint8_t>(answer.at(2)) << 8 |
                                       static_cast<std::uint8_t>(answer.at(3)));
            if (!poll(0, 0))
                return;
            int code = 0;
            const Exchange::Outcome outcome = readSlaveWord(slave, &code);
            addPanel(slave, version, remarksOf(outcome, code));
            continue;
        }
        ++m_sweeps;
        sweep(heard == Heard::Damaged, answer);
        if (m_result.end != Result::End::Done)
            return;
    }
    // The last panel may have been the one asked for: that is still a whole survey.
    if (m_options.stopAfter > 0 && m_panels >= m_options.stopAfter)
        m_result.end = Result::End::EnoughPanels;
}

} // namespace

bool Row::has(Remark::Kind kind) const
{
    return std::any_of(remarks.cbegin(), remarks.cend(),
                       [kind](const Remark& remark) { return remark.kind == kind; });
}

bool Row::clean() const
{
    using Kind = Remark::Kind;
    return !has(Kind::CrcError) && !has(Kind::Exception) && !has(Kind::Noise) &&
           !has(Kind::SharedNumber);
}

Result Run(ComCtrl& line, const Options& options, Observer* observer, int origin)
{
    const LineLock lock(line);
    if (!lock.acquired()) {
        Result refused;
        refused.end = Result::End::LineBusy;
        return refused;
    }
    const ComCtrl::OriginScope scope(line, origin);
    const QString original = line.settings();
    const bool wasOpen = line.isOpen();
    const int lastSlave = line.lastSlave();
    const QList<Setting> settings = options.settings.isEmpty()
                                        ? DefaultSettings({CommFunctions::GetCommBauds(line),
                                                           CommFunctions::GetCommStops(line)})
                                        : options.settings;

    Survey survey(line, options, observer);
    try {
        survey.run(settings);
    } catch (const RunTimeError& error) {
        survey.result().end = Result::End::PortFault;
        survey.result().faultNumber = error.number();
        survey.result().fault = error.detail();
    }
    // The console's line as it was: its settings, open or closed, and the slave last heard
    // there rather than the last panel of the survey, which may listen at another setting.
    // A lost line keeps its state, so that the next request opens the device again.
    line.noteAnswer(lastSlave);
    try {
        line.setSettings(original);
        if (!wasOpen && line.isOpen())
            line.close();
    } catch (const RunTimeError& error) {
        if (survey.result().end != Result::End::PortFault) {
            survey.result().end = Result::End::PortFault;
            survey.result().faultNumber = error.number();
            survey.result().fault = error.detail();
        }
    }
    Result result = survey.result();
    result.elapsedMs = survey.elapsedMs();
    return result;
}

} // namespace LineSurvey
