#include "commissionrun.h"

#include "comctrl.h"
#include "commfunctions.h"
#include "configexchange.h"
#include "datafunctions7310.h"
#include "errorhandling.h"
#include "panelcommands.h"
#include "textids.h"
#include "zrbfonctions.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QSet>

using namespace ConfigMap;

namespace Commission {

namespace {

const QString communication = QStringLiteral("Communication");

// Every panel command waits this long for its answer, as in the test window.
constexpr float CommandTimeout = 1.0F;

// One panel command; true when its answer came whole and was not refused.
bool command(ComCtrl& line, const QByteArray& request, QByteArray* answer = nullptr)
{
    const QByteArray received = CommFunctions::FrameReceived(line, request, CommandTimeout);
    const bool nothing = received.size() == 1 && received.at(0) == 0;
    if (answer)
        *answer = nothing ? QByteArray() : received;
    return !nothing && ClassifyAnswer(request, received) == Exchange::Outcome::Complete;
}

TestResult verdict(Verdict verdict, const QString& reason = {})
{
    return TestResult{verdict, QDateTime::currentDateTime(), reason};
}

TestResult askTechnician(int questionId, int slave, const Operator& who)
{
    return who.ask(questionId, slave) ? verdict(Verdict::Passed)
                                      : verdict(Verdict::Failed, QStringLiteral("no"));
}

void noteFailure(PanelRecord& panel, Stage stage, int word, const ConfigExchange::Miss& miss)
{
    panel.failedAt = stage;
    panel.failedWord = word;
    panel.failure = miss.reason;
    panel.exceptionCode = miss.exceptionCode;
}

// The first essential word of a read that did not answer, with why.
bool readFailed(const ConfigExchange::Outcome& outcome, int* word, ConfigExchange::Miss* miss)
{
    if (outcome.ok || outcome.versionCode != Version28)
        return false;
    const Parameter* unread = ConfigExchange::FirstUnread(outcome);
    *word = unread ? unread->address : 0;
    *miss = unread ? *outcome.unread[static_cast<size_t>(unread->index)] : ConfigExchange::Miss{};
    return true;
}

// Which controls a read filled: every one not left unread and served by its firmware.
std::array<bool, ParameterCount> readOf(const ConfigExchange::Outcome& outcome)
{
    std::array<bool, ParameterCount> read{};
    for (const Parameter& parameter : Parameters()) {
        const auto i = static_cast<size_t>(parameter.index);
        read[i] = !outcome.unread[i] && VersionServes(outcome.versionCode, parameter);
    }
    return read;
}

} // namespace

Template OpenTemplate(const QString& path)
{
    Template result;
    const ConfigFile::Opened opened = ConfigFile::Open(path);
    result.refusal = ConfigFile::RefusalText(opened, path);
    if (!result.refusal.isEmpty())
        return result;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        result.refusal = DataFunctions7310::GetText(TextId::FileUnreadable)
                             .replace(QStringLiteral("$$"), QDir::toNativeSeparators(path));
        return result;
    }
    result.sha256 = Sha256(file.readAll());
    result.contents = opened.contents;
    return result;
}

int DuplicateTarget(const QList<Target>& targets)
{
    QSet<int> seen;
    for (const Target& target : targets) {
        if (seen.contains(target.newSlave))
            return target.newSlave;
        seen.insert(target.newSlave);
    }
    return 0;
}

Values Intended(const Values& templateValues, const Target& target)
{
    Values intended = templateValues;
    intended[Slave] = target.newSlave;
    if (target.newSpeed > 0)
        intended[Speed] = static_cast<int>(SpeedItems().indexOf(QString::number(target.newSpeed)));
    if (target.newStops > 0)
        intended[Stops] = target.newStops - 1;
    return intended;
}

PanelRecord Configure(ComCtrl& line, const Target& target, const Values& templateValues)
{
    PanelRecord panel;
    panel.target = target;
    panel.firmware = target.version;
    panel.intended = Intended(templateValues, target);
    panel.before.fill(NoValue);
    panel.readBack.fill(NoValue);

    // The panel's own speed and stop bits, so that it hears the console.
    const QString at =
        CommFunctions::WithCommStops(CommFunctions::WithCommBauds(line.settings(), target.speed),
                                     static_cast<std::int16_t>(target.stops));
    try {
        if (at != line.settings())
            line.setSettings(at);
        if (!line.isOpen())
            line.open();
    } catch (const RunTimeError& error) {
        ErrorHandling(QStringLiteral("Commission.Configure"), error);
        noteFailure(panel, Stage::Line, 0, ConfigExchange::Miss{Exchange::Outcome::PortFault});
        return panel;
    }
    panel.lineBefore = line.settings();
    panel.lineAfter = panel.lineBefore;

    // A read stops the panel's configuration when the block at 128 or an essential word did
    // not answer.
    const auto failedRead = [&panel](const ConfigExchange::Outcome& read, Stage stage) {
        int word = 128;
        ConfigExchange::Miss miss;
        if (read.lineWordsRead && !readFailed(read, &word, &miss))
            return false;
        if (!read.lineWordsRead)
            miss = *read.unread[Speed];
        noteFailure(panel, stage, word, miss);
        return true;
    };
    auto slave = static_cast<std::uint8_t>(target.slave);
    const ConfigExchange::Outcome before = ConfigExchange::Read(line, slave, panel.before);
    if (failedRead(before, Stage::ReadBefore))
        return panel;
    panel.firmware = VersionText(before.versionCode);
    panel.beforeRead = readOf(before);

    panel.writeTried = true;
    const ConfigExchange::Outcome written = ConfigExchange::Write(line, slave, panel.intended);
    panel.written = written.confirmed;
    panel.lineAfter = line.settings();
    if (written.stoppedAt != 0) {
        noteFailure(panel, Stage::Write, written.stoppedAt, written.stopReason);
        return panel;
    }

    // Read back where the panel now is: the line followed its speed and stop bits.
    slave = static_cast<std::uint8_t>(target.newSlave);
    const ConfigExchange::Outcome back = ConfigExchange::Read(line, slave, panel.readBack);
    panel.readBackRead = readOf(back);
    if (failedRead(back, Stage::ReadBack))
        return panel;
    panel.firmware = VersionText(back.versionCode);
    for (const Parameter& parameter : Parameters()) {
        if (panel.differs(parameter.index)) {
            noteFailure(panel, Stage::Compare, parameter.address, ConfigExchange::Miss{});
            panel.failure = Exchange::Outcome::Complete;
            break;
        }
    }
    return panel;
}

TestResult RunLampTest(ComCtrl& line, int slave, const Operator& who)
{
    if (!command(line, PanelCommands::LampTestRequest(slave)))
        return verdict(Verdict::Failed, QStringLiteral("no-answer"));
    return askTechnician(TextId::CommissionAskLamps, slave, who);
}

TestResult RunAlarmAck(ComCtrl& line, int slave, int waitMs, const Operator& who)
{
    using namespace PanelCommands;
    const PanelImage alarm = AlarmImage();
    if (!command(line, ImageWriteRequest(slave, alarm)))
        return verdict(Verdict::Failed, QStringLiteral("no-answer"));
    const QDeadlineTimer deadline(std::max(waitMs, 0));
    for (;;) {
        if (!who.pause(std::min<int>(CommFunctions::FrameDelay(),
                                     static_cast<int>(deadline.remainingTime()))))
            return verdict(Verdict::Skipped, QStringLiteral("cancelled"));
        QByteArray answer;
        const bool answered = command(line, AckReadRequest(slave), &answer);
        if (answered && Acknowledged(answer)) {
            if (!command(line, ImageWriteRequest(slave, AcknowledgedImage(alarm))))
                return verdict(Verdict::Failed, QStringLiteral("no-answer"));
            return verdict(Verdict::Passed);
        }
        if (answer.isEmpty() || AckAnswerShort(answer))
            return verdict(Verdict::Failed, QStringLiteral("no-answer"));
        if (deadline.hasExpired())
            return verdict(Verdict::Failed, QStringLiteral("time-out"));
    }
}

TestResult RunLedWalk(ComCtrl& line, int slave, int stepMs, const Operator& who)
{
    using namespace PanelCommands;
    PanelImage image;
    bool cancelled = false;
    // Each step is sent and shown for stepMs; false ends the walk.
    const auto step = [&](const QByteArray& request) {
        if (!command(line, request))
            return false;
        cancelled = !who.pause(stepMs);
        return !cancelled;
    };
    bool going = command(line, AllLedsOffRequest(slave)) && command(line, HornOffRequest(slave));
    for (int n = 0; going && n < LedCount; ++n) {
        image.leds[static_cast<size_t>(n)] = SteadyState;
        going = step(ImageWriteRequest(slave, image));
    }
    for (const int horn : {1, 0}) {
        image.horn = horn;
        going = going && step(LedRequest(slave, HornIndex, image));
    }
    for (int n = LedCount - 1; going && n >= 0; --n) {
        image.leds[static_cast<size_t>(n)] = 0;
        going = step(ImageWriteRequest(slave, image));
    }
    if (cancelled)
        return verdict(Verdict::Skipped, QStringLiteral("cancelled"));
    if (!going)
        return verdict(Verdict::Failed, QStringLiteral("no-answer"));
    return askTechnician(TextId::CommissionAskWalk, slave, who);
}

LineState::LineState(const ComCtrl& line)
    : m_settings(line.settings())
    , m_bauds(ZRBfonctions::GetIniParam(communication, QStringLiteral("Bauds"), QString()))
    , m_stops(ZRBfonctions::GetIniParam(communication, QStringLiteral("Stops"), QString()))
    , m_lastSlave(ZRBfonctions::GetIniParam(communication, QStringLiteral("LastSlave"), QString()))
{}

void LineState::restore(ComCtrl& line) const
{
    const auto put = [](const QString& key, const QString& value) {
        if (value.isEmpty())
            ZRBfonctions::DelIniParam(communication, key);
        else
            ZRBfonctions::SetIniParam(communication, key, value);
    };
    put(QStringLiteral("Bauds"), m_bauds);
    put(QStringLiteral("Stops"), m_stops);
    put(QStringLiteral("LastSlave"), m_lastSlave);
    try {
        if (line.settings() != m_settings)
            line.setSettings(m_settings);
    } catch (const RunTimeError& error) {
        ErrorHandling(QStringLiteral("Commission.LineState.restore"), error);
    }
}

} // namespace Commission
