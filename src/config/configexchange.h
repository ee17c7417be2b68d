#pragma once

#include "configmap.h"

#include <cstdint>

class ComCtrl;

// Moving the configuration between a panel and the values that the window shows, one word
// transaction at a time on the console's line. No widgets and no messages: the caller shows
// what the outcome means.
namespace ConfigExchange {

struct Outcome
{
    // False after a refused or unanswered word; versionCode then says whether it was one of
    // the optional words (Version27: word 70, Version26: word 69) or an essential one
    // (still Version28).
    bool ok = true;
    int versionCode = ConfigMap::Version28;
    bool lineWordsRead = false; // the block at 128 answered (reads only)
};

// Reads four words at 128, three at 65 (66 is read with its neighbours and dropped), and,
// once the block at 65 has answered, word 70 and then word 69. Every block that answers is
// decoded into values; a block that does not leaves its values as they were. A silent block
// at 128 does not make the read fail.
Outcome Read(ComCtrl& line, std::uint8_t slave, ConfigMap::Values& values);

// Writes the values in the order of ConfigMap::Parameters(); the first refused word among
// 128..67 ends the chain. Right after the panel has taken word 128 the line is reopened at
// the new speed and "Bauds" is stored, after word 129 the same for the stop bits ("Stops"),
// and after word 130 the later words go to the new slave number and "LastSlave" is stored.
// Words 70 and 69 are both tried whatever happens to 70; an empty value for one of them is not
// sent and counts as refused. The values must be acceptable (ConfigMap::Acceptable), except
// for the empty optional words.
Outcome Write(ComCtrl& line, std::uint8_t slave, const ConfigMap::Values& values);

// Applies the outcome to the values as the window's ending does: a panel that lacked word
// 70 gets the LED-test list emptied, one that lacked 69 both optional lists. Returns the
// version text to show: "" after a failure of an essential word.
QString Conclude(const Outcome& outcome, ConfigMap::Values& values);

} // namespace ConfigExchange
