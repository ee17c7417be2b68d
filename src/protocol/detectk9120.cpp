#include "detectk9120.h"

#include "comctrl.h"
#include "commfunctions.h"
#include "errorhandling.h"
#include "exchange.h"
#include "zrbfonctions.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QThread>

namespace CommFunctions {

namespace {

// Lets pending window events run, so that the progress dialog repaints and its Cancel
// button is seen.
void letEventsRun()
{
    if (QCoreApplication::instance())
        QCoreApplication::processEvents();
}

void frameDelay()
{
    if (FrameDelay() > 0)
        QThread::msleep(static_cast<unsigned long>(FrameDelay()));
}

// One probe at the line's present settings. Returns the slave that answered, or 0.
int probe(ComCtrl& line, std::int16_t slave)
{
    if (slave != 0) {
        QList<std::int16_t> word(1);
        const bool answered =
            LitMots(line, static_cast<std::uint8_t>(slave), ProbeWordAddress, word);
        frameDelay();
        return answered ? slave : 0;
    }
    // The probe goes out with the RTS cycle of any request, so that it also reaches a
    // half-duplex line; sending clears what was waiting.
    ExchangeRecorder record(line, ProbeRequest());
    try {
        line.sendRequest(ProbeRequest(), RtsHandshake(), RtsDelay());
        line.waitForBytes(ProbeAnswerLength, QDeadlineTimer(ProbeTimeoutMs));
        frameDelay();
        // Anything but exactly one answer (none, or two panels talking at once) is no answer.
        if (line.bytesWaiting() != ProbeAnswerLength) {
            if (line.observed())
                record.answered(line.read());
            return 0;
        }
        const QByteArray answer = line.read();
        record.answered(answer);
        if (answer.size() != ProbeAnswerLength)
            return 0;
        return static_cast<std::uint8_t>(answer.at(1));
    } catch (const RunTimeError& error) {
        record.failed(error);
        throw;
    }
}

void restoreSettings(ComCtrl& line, const QString& settings)
{
    try {
        line.setSettings(settings);
    } catch (const RunTimeError& error) {
        ErrorHandling(QStringLiteral("CommFunctions.DetectK9120"), error);
    }
}

} // namespace

QByteArray ProbeRequest()
{
    return QByteArray("\x41\x7F\x70", 3);
}

QList<LineCombination> SearchOrder(std::int32_t currentSpeed, std::int16_t currentStops,
                                   bool autoSearch)
{
    if (!autoSearch)
        return {{currentSpeed, currentStops}};
    QList<std::int32_t> speeds{currentSpeed};
    for (const std::int32_t speed : SearchSpeeds)
        speeds.append(speed);
    const QList<std::int16_t> stops =
        currentStops == 1 ? QList<std::int16_t>{1, 2} : QList<std::int16_t>{2, 1};

    QList<LineCombination> order;
    bool first = true;
    for (const std::int32_t speed : speeds) {
        for (const std::int16_t stop : stops) {
            // The current speed is tried once, with the first stop-bits value only; the
            // panel is most likely still at the speed the line was left at.
            if (!first && speed == currentSpeed)
                continue;
            first = false;
            order.append({speed, stop});
        }
    }
    return order;
}

std::uint8_t DetectK9120(ComCtrl& line, std::int16_t slave, bool autoSearch,
                         SearchObserver* observer)
{
    const QString original = line.settings();
    const ComCtrl::OriginScope origin(line, SearchOrigin);
    std::uint8_t result = NothingFound;
    bool found = false;
    try {
        const QList<LineCombination> order =
            SearchOrder(GetCommBauds(line), GetCommStops(line), autoSearch);
        if (autoSearch && observer)
            observer->show();

        for (const LineCombination& combination : order) {
            if (line.isOpen())
                line.close();
            if (!SetCommBauds(line, combination.speed) || !SetCommStops(line, combination.stops))
                break; // refused and already reported
            line.open();
            if (autoSearch && observer) {
                letEventsRun();
                if (!observer->keepGoing())
                    break;
                observer->progress(slave, combination.speed, combination.stops);
            }
            const int answered = probe(line, slave);
            if (answered != 0) {
                found = true;
                result = static_cast<std::uint8_t>(answered);
                break;
            }
        }

        if (found) {
            const bool moved = line.settings() != original;
            if (moved)
                StoreLineSettings(line);
            // A typed number that answered where the line already was leaves nothing to
            // confirm; a learned number or other settings are put to the user.
            const bool nothingNew = slave != 0 && !autoSearch && !moved;
            if (observer && !nothingNew) {
                // Without automatic search no progress was shown: the find names its settings.
                if (!autoSearch)
                    observer->progress(result, GetCommBauds(line), GetCommStops(line));
                if (!observer->found(result))
                    result = AbandonedSearch;
            }
        } else {
            restoreSettings(line, original);
        }
    } catch (const RunTimeError& error) {
        ErrorHandling(QStringLiteral("CommFunctions.DetectK9120"), error);
        result = NothingFound;
        restoreSettings(line, original);
    }
    if (observer)
        observer->close();
    letEventsRun();
    return result;
}

} // namespace CommFunctions
