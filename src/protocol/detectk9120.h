#pragma once

#include <QByteArray>
#include <QList>

#include <cstdint>

class ComCtrl;

// What the slave search shows and asks while it runs: the progress dialog, or a test that
// stands in for the user. Every call comes from the search, on the user-interface thread.
class SearchObserver
{
public:
    virtual ~SearchObserver() = default;

    // An automatic search begins: show the progress without blocking.
    virtual void show() = 0;
    // The line is now at speed/stops and `slave` is about to be probed (0: the number is
    // unknown and the panel is asked for it).
    virtual void progress(int slave, std::int32_t speed, std::int16_t stops) = 0;
    // Polled before each probe of an automatic search, after pending window events have run:
    // false (the user cancelled) stops the scan.
    virtual bool keepGoing() = 0;
    // A panel has answered as `slave`: tell the user and block until OK (true, the search's
    // result is that slave) or Cancel (false, the result is AbandonedSearch).
    virtual bool found(int slave) = 0;
    // The search is over, whatever its outcome.
    virtual void close() = 0;
};

namespace CommFunctions {

// Results of DetectK9120 besides a slave number.
constexpr std::uint8_t NothingFound = 0;
constexpr std::uint8_t AbandonedSearch = 255;

// The fixed speeds of an automatic search, tried after the current one.
inline constexpr std::int32_t SearchSpeeds[] = {19200, 9600, 4800, 2400, 1200};
// A known slave is probed by reading this one word (its own slave number).
constexpr std::int32_t ProbeWordAddress = 130;
// The answer wait of the slave-0 probe.
constexpr int ProbeTimeoutMs = 2000;
// Length of the slave-0 probe's answer: 0x41, slave number, firmware major, minor.
constexpr int ProbeAnswerLength = 4;
// The search's transactions carry the title of its progress dialog as their origin.
constexpr int SearchOrigin = 35010;

// The slave-0 probe: 0x41 0x7F 0x70, no CRC. Every panel on the line answers it.
QByteArray ProbeRequest();

struct LineCombination
{
    std::int32_t speed = 0;
    std::int16_t stops = 0;
    friend bool operator==(const LineCombination&, const LineCombination&) = default;
};

// The combinations a search tries, in order, starting from the line's current speed and
// stop bits. Without automatic search: the current ones only. With it: the current speed,
// then the fixed speeds, each with 1 then 2 stop bits (2 then 1 when the line is at 2); the
// current speed is tried once, with the first stop-bits value only, and is skipped where it
// reappears among the fixed speeds.
QList<LineCombination> SearchOrder(std::int32_t currentSpeed, std::int16_t currentStops,
                                   bool autoSearch);

// Looks for the panel: for each combination of SearchOrder, the port is closed, set to it
// and reopened, and the slave is probed (a known slave with a one-word read at
// ProbeWordAddress, slave 0 with ProbeRequest), each probe followed by the frame delay.
//
// Returns the slave number that answered (for slave 0, the number in the probe's answer),
// with the port left at the combination that answered and, when that is not where the line
// was, its speed and stop bits stored under "Bauds" and "Stops". The find is put to the
// observer, unless a typed number answered where the line was without automatic search.
// Returns NothingFound with the port's settings text put back as it was; AbandonedSearch
// when a panel answered but the user cancelled.
// The observer may be null (no progress shown, a find is taken as confirmed). Run-time
// faults go to the error report under "CommFunctions.DetectK9120" and give NothingFound,
// with the settings text put back.
std::uint8_t DetectK9120(ComCtrl& line, std::int16_t slave, bool autoSearch,
                         SearchObserver* observer);

} // namespace CommFunctions
