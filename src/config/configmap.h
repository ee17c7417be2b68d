#pragma once

#include <QString>
#include <QStringList>

#include <array>
#include <cstdint>

// The K7310's configuration words as the configuration window shows them: one descriptor per
// parameter (word address, the control that shows it, how the word is coded), the speed codes
// of word 128 and the firmware version inferred from the words a panel serves. No widgets.
namespace ConfigMap {

// How a word becomes a control's value and back.
enum class Coding {
    SpeedCode, // list position <-> the speed code that the item carries as data
    StopBits,  // list position + 1 = number of stop bits
    Number,    // the slave number itself, shown as decimal text
    Position,  // list position, no translation
};

struct Parameter
{
    std::int16_t address; // word address; also the key of its factory default
    int index;            // cboConfParam / txtConfParam index
    Coding coding;
    int labelId;     // caption text ID, also the number of its pop-up help
    int firstItemId; // text of list item i is firstItemId + i; 0 for literal items
    int itemCount;   // list items; 0 for the slave number
};

// The eight edited parameters in the order they are written: speed first, so that the
// console can follow the panel, the firmware's optional words last (70 before 69).
const std::array<Parameter, 8>& Parameters();
// The descriptor of a control index (0..7).
const Parameter& ParameterAt(int index);

// Control indexes by meaning.
enum Index {
    Speed = 0,
    Stops = 1,
    Slave = 2,
    BusMode = 3,
    Synchro = 4,
    Ack = 5,
    BusKL = 6,
    LedTestKL = 7
};
constexpr int ParameterCount = 8;

// The literal items of the speed and stop-bit lists; the speed item text is also the line
// speed in bits per second and what the settings file stores under "Bauds".
const QStringList& SpeedItems();
const QStringList& StopItems();
// Word 128's code for each speed item, in list order (F0, F8, FC, FE, FF).
const std::array<std::int16_t, 5>& SpeedCodes();

// What a control holds: a list position (NoValue when nothing is selected) or, for the slave
// number, the number in the text box (NoValue when the text is not a number).
constexpr int NoValue = -1;
using Values = std::array<int, ParameterCount>;

// The control value that a word shows: the position of the matching item, NoValue when no
// item matches (a speed code outside the table, stop bits 0 or above 2, a position beyond the
// list); the slave number as it is.
int ValueOfWord(const Parameter& parameter, std::int16_t word);
// The word that a control value is written as. The value must be one the control can hold
// (a position inside the list); see Acceptable.
std::int16_t WordOfValue(const Parameter& parameter, int value);
// True when a value can be written: a position inside the list, or a slave number 1..64.
bool Acceptable(const Parameter& parameter, int value);
// A value as its control shows it, in the current language ("9600", "2", "Yes"): "" for
// NoValue, the number itself for a position outside the list.
QString ValueText(int index, int value);

// Firmware versions: the panel holds no version word; it is inferred from which optional
// words it serves (both 69 and 70: 2.8; 69 only: 2.7; neither: 2.6).
constexpr int Version28 = 0x208;
constexpr int Version27 = 0x207;
constexpr int Version26 = 0x206;
// The word a version lacks first: 70 from 2.7 down, 69 from 2.6 down.
bool VersionServes(int versionCode, const Parameter& parameter);
// High byte, ".", low byte, in decimal: "2.8".
QString VersionText(int versionCode);
// The code of a version text, 0 when it is none of the three.
int VersionCodeOf(const QString& text);

// The lowest and highest slave number that a write accepts.
constexpr int FirstSlave = 1;
constexpr int LastSlave = 64;

} // namespace ConfigMap
