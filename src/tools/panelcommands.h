#pragma once

#include <QByteArray>
#include <QString>

#include <array>
#include <cstdint>

// The K7310's command map: which holding registers the test window writes or reads, the
// packed image of the LEDs and the horn, and how the on-screen copy blinks. No widgets and no
// line: requests are built here and carried by the window.
namespace PanelCommands {

constexpr int LedCount = 24;
// EnvoieUneLed(n) with n above the last LED drives the horn; the window passes 24 or 25.
constexpr int HornIndex = 24;
// LED states: 0 off, 1 steady, 2 to 4 the three blinking rhythms; 5 to 7 are carried but have
// no meaning of their own. The selector offers 0 to 4.
constexpr int StateCount = 5;
constexpr int AlarmState = 4; // an alarm not yet acknowledged
constexpr int SteadyState = 1;

// Holding registers of the panel, addressed from 0.
enum Register : int {
    AllLeds = 0,    // write 0: every LED off
    FirstLed = 1,   // LED n at FirstLed + n, value = its state
    ImageWord = 25, // 5 words: LED n in word n div 5 at bit (3 n) mod 15, 3 bits
    HornWord = 64,  // value = horn state, 0 = off
    LampTest = 66,  // write 1: every LED lights for the panel's lamp test
    AckWord = 68,   // read: low byte 1 once the alarm has been acknowledged on the panel
};
constexpr int ImageWords = 5;
constexpr int HornImageBit = 12; // of image word 4, the slot a 25th LED would take

// The panel as the window holds it.
struct PanelImage
{
    std::array<int, LedCount> leds{};
    int horn = 0;
    bool operator==(const PanelImage&) const = default;
};

// The five image words: state(n) x 2^((3 n) mod 15) added to word n div 5, and 2^12 added to
// word 4 while the horn is on.
std::array<int, ImageWords> Pack(const PanelImage& image);
// Answer bytes to a read of the five image words (slave, 3, byte count, 10 data bytes and
// the CRC). Fewer than 13 bytes: false and the image left as it was. Each word is read as a
// signed 16-bit value and divided, truncating, by the LED's bit weight; bit 15 is unused on the
// panel, so for its answers that is the plain 3-bit field.
bool Unpack(const QByteArray& answer, PanelImage& image);

// The alarm as the panel shows it until acknowledged: LEDs 1 and 11 blinking in the alarm
// rhythm, every other LED off, the horn sounding.
PanelImage AlarmImage();
// The same image once acknowledged on the panel: every blinking LED (state above 1) steady,
// the others as they were, the horn off.
PanelImage AcknowledgedImage(const PanelImage& image);

// The requests, as FrameToSend builds them (a one-byte frame is its error number).
QByteArray LedRequest(int slave, int n, const PanelImage& image); // LED n, or the horn
QByteArray ImageWriteRequest(int slave, const PanelImage& image);
QByteArray ImageReadRequest(int slave);
QByteArray AllLedsOffRequest(int slave);
QByteArray HornOffRequest(int slave);
QByteArray LampTestRequest(int slave);
QByteArray AckReadRequest(int slave);
// An answer to AckReadRequest of at least 7 bytes whose low data byte is 1.
bool Acknowledged(const QByteArray& answer);
// An answer too short to carry the acknowledgement byte ends the alarm's polling.
bool AckAnswerShort(const QByteArray& answer);

// The slave number typed in the window: the leading decimal number of the text (sign,
// digits, an optional fraction), rounded half to even and kept within 16 bits.
int SlaveNumber(const QString& text);

// ---- Blinking of the on-screen panel -------------------------------------------------------

// One blink cycle is this many ticks of the blink timer.
constexpr int BlinkPhases = 5;
constexpr int BlinkIntervalMs = 250;
// Whether a state 0 to 4 is lit in a phase: 1 always, 2 in phase 0, 3 in phases 0 and 3,
// 4 in phases 0 and 1; 0 never. States 5 to 7 have no rhythm of their own (false here).
bool Lit(int state, int phase);
// Every LED's decision for one tick. A state of 5 to 7 is not decided anew: it repeats the
// decision of the LED before it (unlit for LED 0), an oddity of the screen copy that is kept.
std::array<bool, LedCount> LitLeds(const std::array<int, LedCount>& states, int phase);

} // namespace PanelCommands
