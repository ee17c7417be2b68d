#include "configexchange.h"

#include "comctrl.h"
#include "commfunctions.h"
#include "datafunctions7310.h"
#include "errorhandling.h"
#include "textids.h"
#include "zrbfonctions.h"

#include <QRegularExpression>
#include <QThread>

using namespace ConfigMap;

namespace ConfigExchange {

namespace {

const QString communication = QStringLiteral("Communication");

bool readBlock(ComCtrl& line, std::uint8_t slave, std::int32_t address, int count,
               QList<std::int16_t>& words)
{
    words = QList<std::int16_t>(count);
    return CommFunctions::LitMots(line, slave, address, words);
}

// The port is closed, changed and reopened; the panel switched as soon as its answer had
// gone out, and gets the frame delay before the first request at the new settings.
template<typename Change> bool followPanel(ComCtrl& line, Change change)
{
    line.close();
    const bool changed = change();
    line.open();
    if (CommFunctions::FrameDelay() > 0)
        QThread::msleep(static_cast<unsigned long>(CommFunctions::FrameDelay()));
    return changed;
}

// Why the last word transaction failed.
Miss lastMiss()
{
    Miss miss;
    miss.reason = CommFunctions::LastWordOutcome(&miss.exceptionCode);
    return miss;
}

// The probe after a lost answer: word 130 read once at the line's present settings.
bool answers(ComCtrl& line, std::uint8_t slave)
{
    QList<std::int16_t> words;
    const bool answered = readBlock(line, slave, 130, 1, words);
    if (CommFunctions::FrameDelay() > 0)
        QThread::msleep(static_cast<unsigned long>(CommFunctions::FrameDelay()));
    return answered;
}

} // namespace

Outcome Read(ComCtrl& line, std::uint8_t slave, Values& values)
{
    Outcome outcome;
    QList<std::int16_t> words;
    if (readBlock(line, slave, 128, 4, words)) {
        outcome.lineWordsRead = true;
        for (const int index : {Speed, Stops, Slave, BusMode})
            values[index] = ValueOfWord(ParameterAt(index), words[index]);
    } else {
        const Miss miss = lastMiss();
        for (const int index : {Speed, Stops, Slave, BusMode})
            outcome.unread[index] = miss;
    }
    outcome.ok = readBlock(line, slave, 65, 3, words);
    if (!outcome.ok) {
        // The optional words are read only once the block at 65 has answered.
        const Miss miss = lastMiss();
        for (const int index : {Synchro, Ack, LedTestKL, BusKL})
            outcome.unread[index] = miss;
        return outcome;
    }
    values[Synchro] = ValueOfWord(ParameterAt(Synchro), words[0]);
    values[Ack] = ValueOfWord(ParameterAt(Ack), words[2]);

    bool unanswered = false;
    for (const int index : {LedTestKL, BusKL}) {
        const Parameter& parameter = ParameterAt(index);
        if (readBlock(line, slave, parameter.address, 1, words)) {
            values[index] = ValueOfWord(parameter, words[0]);
            continue;
        }
        outcome.ok = false;
        const Miss miss = lastMiss();
        if (miss.reason == Exchange::Outcome::Exception) {
            outcome.versionCode = index == LedTestKL ? Version27 : Version26;
        } else {
            outcome.unread[index] = miss;
            unanswered = true;
        }
    }
    if (unanswered)
        outcome.versionCode = Version28;
    return outcome;
}

Outcome Write(ComCtrl& line, std::uint8_t slave, const Values& values,
              const StopRequest& stopRequested)
{
    Outcome outcome;
    const auto stop = [&outcome](int address, const Miss& why) {
        outcome.ok = false;
        outcome.versionCode = Version28;
        outcome.stoppedAt = address;
        outcome.stopReason = why;
        return outcome;
    };
    int current = 0;
    try {
        for (const Parameter& parameter : Parameters()) {
            const int index = parameter.index;
            current = parameter.address;
            if (stopRequested && stopRequested()) {
                outcome.interrupted = true;
                return stop(parameter.address, Miss{});
            }
            const int value = values[index];
            const bool optional = index == LedTestKL || index == BusKL;
            if (optional && value == NoValue) {
                outcome.ok = false;
                outcome.versionCode = index == LedTestKL ? Version27 : Version26;
                continue;
            }
            bool written = CommFunctions::EcritMots(line, slave, parameter.address,
                                                    WordOfValue(parameter, value));
            const Miss miss = written ? Miss{} : lastMiss();
            outcome.confirmed[index] = written;
            const bool refused = !written && miss.reason == Exchange::Outcome::Exception;
            if (refused && optional) {
                outcome.ok = false;
                outcome.versionCode = index == LedTestKL ? Version27 : Version26;
                continue;
            }

            if (index == Speed || index == Stops) {
                const bool speed = index == Speed;
                const QString text = (speed ? SpeedItems() : StopItems()).at(value);
                const QString key = speed ? QStringLiteral("Bauds") : QStringLiteral("Stops");
                const auto change = [&line, speed, &text] {
                    return speed ? CommFunctions::SetCommBauds(line, text.toInt())
                                 : CommFunctions::SetCommStops(
                                       line, static_cast<std::int16_t>(text.toInt()));
                };
                const QString before = line.settings();
                if (written) {
                    // The panel runs at the new setting from now on: the file says so before
                    // the line follows, so that a line that fails to reopen leaves it right.
                    ZRBfonctions::SetIniParam(communication, key, text);
                    // A setting that the port refuses has been reported; the panel cannot be
                    // followed.
                    if (!followPanel(line, change))
                        return stop(parameter.address, Miss{Exchange::Outcome::PortFault});
                } else if (!refused) {
                    followPanel(line, change);
                    written = answers(line, slave);
                    if (written) {
                        ZRBfonctions::SetIniParam(communication, key, text);
                        outcome.followed.append({parameter.address, line.settings()});
                    } else {
                        followPanel(line, [&line, &before] {
                            line.setSettings(before);
                            return true;
                        });
                    }
                }
            } else if (index == Slave) {
                const auto slaveWritten = static_cast<std::uint8_t>(value);
                if (!written && !refused && answers(line, slaveWritten)) {
                    written = true;
                    outcome.followed.append({parameter.address, QString::number(value)});
                }
                if (written) {
                    slave = slaveWritten;
                    ZRBfonctions::SetIniParam(communication, QStringLiteral("LastSlave"),
                                              QString::number(value));
                }
            }
            if (!written)
                return stop(parameter.address, miss);
            outcome.confirmed[index] = true;
        }
    } catch (const RunTimeError& error) {
        // The port would not reopen at the new settings: nothing more can be sent.
        ErrorHandling(QStringLiteral("ConfigExchange.Write"), error);
        outcome.ok = false;
        outcome.versionCode = Version28;
        outcome.stoppedAt = current;
        outcome.stopReason = Miss{Exchange::Outcome::PortFault};
    }
    return outcome;
}

QString MissText(const Miss& miss)
{
    if (miss.reason == Exchange::Outcome::Complete)
        return DataFunctions7310::GetText(TextId::WrongAnswer);
    QString text =
        DataFunctions7310::GetText(TextId::MonitorComplete + static_cast<int>(miss.reason));
    if (miss.reason == Exchange::Outcome::Exception)
        text = text.arg(miss.exceptionCode);
    if (miss.reason == Exchange::Outcome::PortFault)
        text.remove(QRegularExpression(QStringLiteral("\\s*:\\s*%1")));
    return text;
}

const Parameter* FirstUnread(const Outcome& outcome)
{
    for (const Parameter& parameter : Parameters()) {
        if (outcome.unread[static_cast<std::size_t>(parameter.index)])
            return &parameter;
    }
    return nullptr;
}

QString Conclude(const Outcome& outcome, Values& values)
{
    if (outcome.ok)
        return VersionText(outcome.versionCode);
    if (outcome.versionCode == Version26) {
        values[BusKL] = NoValue;
        values[LedTestKL] = NoValue;
    } else if (outcome.versionCode == Version27) {
        values[LedTestKL] = NoValue;
    } else {
        return {};
    }
    return VersionText(outcome.versionCode);
}

bool Differs(const Parameter& parameter, int wanted, int panel, int versionCode)
{
    return wanted != panel && (VersionServes(versionCode, parameter) || wanted != NoValue);
}

Values FactoryDefaults()
{
    Values defaults{};
    for (const Parameter& parameter : Parameters())
        defaults[parameter.index] = DataFunctions7310::GetDefaultValue(parameter.address);
    return defaults;
}

} // namespace ConfigExchange
