#include "configexchange.h"

#include "comctrl.h"
#include "commfunctions.h"
#include "errorhandling.h"
#include "zrbfonctions.h"

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

} // namespace

Outcome Read(ComCtrl& line, std::uint8_t slave, Values& values)
{
    Outcome outcome;
    QList<std::int16_t> words;
    if (readBlock(line, slave, 128, 4, words)) {
        outcome.lineWordsRead = true;
        for (const int index : {Speed, Stops, Slave, BusMode})
            values[index] = ValueOfWord(ParameterAt(index), words[index]);
    }
    outcome.ok = readBlock(line, slave, 65, 3, words);
    if (!outcome.ok)
        return outcome;
    values[Synchro] = ValueOfWord(ParameterAt(Synchro), words[0]);
    values[Ack] = ValueOfWord(ParameterAt(Ack), words[2]);

    if (readBlock(line, slave, 70, 1, words)) {
        values[LedTestKL] = ValueOfWord(ParameterAt(LedTestKL), words[0]);
    } else {
        outcome.ok = false;
        outcome.versionCode = Version27;
    }
    if (readBlock(line, slave, 69, 1, words)) {
        values[BusKL] = ValueOfWord(ParameterAt(BusKL), words[0]);
    } else {
        outcome.ok = false;
        outcome.versionCode = Version26;
    }
    return outcome;
}

Outcome Write(ComCtrl& line, std::uint8_t slave, const Values& values)
{
    Outcome outcome;
    try {
        for (const Parameter& parameter : Parameters()) {
            const int value = values[parameter.index];
            const bool optional = parameter.index == LedTestKL || parameter.index == BusKL;
            const bool written = (!optional || value != NoValue) &&
                                 CommFunctions::EcritMots(line, slave, parameter.address,
                                                          WordOfValue(parameter, value));
            if (!written && optional) {
                outcome.ok = false;
                outcome.versionCode = parameter.index == LedTestKL ? Version27 : Version26;
                continue;
            }
            if (!written) {
                outcome.ok = false;
                return outcome;
            }
            // A setting that the port refuses has been reported; the panel cannot be followed.
            bool followed = true;
            if (parameter.index == Speed) {
                const QString bauds = SpeedItems().at(value);
                followed = followPanel(
                    line, [&] { return CommFunctions::SetCommBauds(line, bauds.toInt()); });
                if (followed)
                    ZRBfonctions::SetIniParam(communication, QStringLiteral("Bauds"), bauds);
            } else if (parameter.index == Stops) {
                const QString stops = StopItems().at(value);
                followed = followPanel(line, [&] {
                    return CommFunctions::SetCommStops(line,
                                                       static_cast<std::int16_t>(stops.toInt()));
                });
                if (followed)
                    ZRBfonctions::SetIniParam(communication, QStringLiteral("Stops"), stops);
            } else if (parameter.index == Slave) {
                slave = static_cast<std::uint8_t>(value);
                ZRBfonctions::SetIniParam(communication, QStringLiteral("LastSlave"),
                                          QString::number(value));
            }
            if (!followed) {
                outcome.ok = false;
                return outcome;
            }
        }
    } catch (const RunTimeError& error) {
        // The port would not reopen at the new settings: nothing more can be sent.
        ErrorHandling(QStringLiteral("ConfigExchange.Write"), error);
        outcome.ok = false;
        outcome.versionCode = Version28;
    }
    return outcome;
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

} // namespace ConfigExchange
