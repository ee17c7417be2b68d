#pragma once

#include "configmap.h"
#include "exchange.h"

#include <QList>

#include <cstdint>
#include <functional>
#include <optional>

class ComCtrl;

// Moving the configuration between a panel and the values that the window shows, one word
// transaction at a time on the console's line. No widgets and no messages: the caller shows
// what the outcome means.
namespace ConfigExchange {

// Why a word was not read or not taken: the transaction's outcome (Complete stands for an
// answer of the right form from another slave or function) and an exception's code.
struct Miss
{
    Exchange::Outcome reason = Exchange::Outcome::TimeOut;
    int exceptionCode = 0;
};
// Why a word was missed, in the current language: "time-out", "exception 2", "wrong answer"
// for a complete answer that was not the one asked for, "port fault" (the fault itself is
// reported in its own box).
QString MissText(const Miss& miss);

struct Outcome
{
    // False after a refused or unanswered word; versionCode then says whether it was one of
    // the optional words that the panel refused with an exception (Version27: word 70,
    // Version26: word 69) or an essential one (still Version28). An optional word that went
    // unanswered tells nothing about the firmware and counts as essential.
    bool ok = true;
    int versionCode = ConfigMap::Version28;
    bool lineWordsRead = false; // the block at 128 answered (reads only)
    // Reads: why each control's word was not read; empty for the words read and for those
    // that the firmware lacks.
    std::array<std::optional<Miss>, ConfigMap::ParameterCount> unread;
    // Writes: the words the panel has taken (answered, or found following after a lost
    // answer), by control index; the first word that stopped the chain and why.
    std::array<bool, ConfigMap::ParameterCount> confirmed{};
    int stoppedAt = 0;
    Miss stopReason;
    // Writes: stopped on request before the word at stoppedAt was sent.
    bool interrupted = false;
    // Writes: the words 128, 129, 130 whose answer was lost but the panel was found at the
    // value written and followed, with where it was found: the line's settings text, or the
    // new slave number for word 130.
    struct Followed
    {
        int address;
        QString at;
    };
    QList<Followed> followed;
};

// Reads four words at 128, three at 65 (66 is read with its neighbours and dropped), and,
// once the block at 65 has answered, word 70 and then word 69. Every block that answers is
// decoded into values; a block that does not leaves its values as they were and its words in
// Outcome::unread with the reason. A failed block at 128 does not make the read fail. Only an
// exception to word 70 or 69 means the firmware lacks it; any other failure there is a failure
// of an essential word.
Outcome Read(ComCtrl& line, std::uint8_t slave, ConfigMap::Values& values);

// Writes the values in the order of ConfigMap::Parameters(); the first word among 128..67
// that is refused or unanswered ends the chain. As soon as the panel has taken word 128,
// "Bauds" is stored and then the line is reopened at the new speed; after word 129 the same
// for the stop bits ("Stops"); after word 130 the later words go to the new slave number and
// "LastSlave" is stored. The panel switches as soon as it has carried out such a write, so an
// unanswered write of 128, 129 or 130 may have been taken with its answer lost: the panel is
// probed once by reading word 130 at the new speed, stop bits or slave number; if it answers,
// it is followed as if the write had been answered, otherwise the line goes back to its
// previous settings and the chain ends. Words 70 and 69 are both tried whatever the panel's
// exception to 70; an empty value for one of them is not sent and counts as refused. The values
// must be acceptable (ConfigMap::Acceptable), except for the empty optional words.
// `stopRequested`, when given, is asked before each word: true ends the chain there, with
// interrupted set and the words taken so far in confirmed.
using StopRequest = std::function<bool()>;
Outcome Write(ComCtrl& line, std::uint8_t slave, const ConfigMap::Values& values,
              const StopRequest& stopRequested = {});

// Applies the outcome to the values as the window's ending does: a panel that lacked word
// 70 gets the LED-test list emptied, one that lacked 69 both optional lists. Returns the
// version text to show: "" after a failure of an essential word.
QString Conclude(const Outcome& outcome, ConfigMap::Values& values);

// The first word of the reading order that a read left unread, for the report of a failed
// read; nullptr when every word the firmware serves was read.
const ConfigMap::Parameter* FirstUnread(const Outcome& outcome);

// Whether a value meant for the panel differs from the one read from a panel of that firmware
// version: a word that the firmware lacks matches only an empty value.
bool Differs(const ConfigMap::Parameter& parameter, int wanted, int panel, int versionCode);

// The factory default of every parameter, from the data file. Throws RunTimeError when the data
// file cannot give them.
ConfigMap::Values FactoryDefaults();

} // namespace ConfigExchange
