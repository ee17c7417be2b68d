// The K7310 panel as a Modbus-RTU slave: its holding words, its configuration and the
// answers it gives to one complete request frame. No I/O here; the caller owns the line,
// the clock and the trace, so that the logic can be driven directly by unit tests.
#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace k7310sim {

using Bytes = std::vector<std::uint8_t>;
using Clock = std::chrono::steady_clock;

// Firmware versions differ only in the option words they serve: 2.7 has no word 70,
// 2.6 has neither 69 nor 70.
enum class Firmware { V26, V27, V28 };
std::optional<Firmware> parseFirmware(const std::string& text);
int firmwareMajor(Firmware fw);
int firmwareMinor(Firmware fw);

// Speed codes of word 128 and the line speeds they select (bits per second).
// Returns 0 for a code that is not one of F0, F8, FC, FE, FF.
int baudForSpeedCode(unsigned code);
// Returns 0 for a speed the panel cannot run at.
unsigned speedCodeForBaud(int baud);

// Word addresses.
enum Word : unsigned {
    AllOff = 0,
    FirstLed = 1, // 1..24: one LED each
    LastLed = 24,
    ImageFirst = 25, // 25..29: packed image
    ImageLast = 29,
    Horn = 64,
    Synchro = 65,
    LampTest = 66,
    AckAuthorised = 67,
    Acknowledge = 68,
    BusControlKL = 69,
    LedTestKL = 70,
    SpeedCode = 128,
    StopBits = 129,
    SlaveNumber = 130,
    BusMode = 131,
};

constexpr int ledCount = 24;

// The stored configuration. Factory defaults: 9600 baud, 1 stop bit, slave 1, bus mode 0,
// synchro 0, acknowledgement authorised 1, both K/L options 0.
struct Config
{
    std::uint16_t speedCode = 0xFE;
    std::uint16_t stopBits = 1;
    std::uint16_t slave = 1;
    std::uint16_t busMode = 0;
    std::uint16_t synchro = 0;
    std::uint16_t ackAuthorised = 1;
    std::uint16_t busControlKL = 0;
    std::uint16_t ledTestKL = 0;
    bool operator==(const Config&) const = default;
};

// The settings the panel listens at: a request is heard only when the line runs at this
// speed and stop bits, and only frames for this slave number are answered.
struct LineSettings
{
    int baud = 9600;
    int stopBits = 1;
    int slave = 1;
    bool operator==(const LineSettings&) const = default;
};

// Modbus exception codes used by the panel.
enum Exception : std::uint8_t {
    IllegalFunction = 0x01,
    IllegalAddress = 0x02,
    IllegalValue = 0x03,
};

struct Reply
{
    enum class Kind {
        Answer,    // answer holds the frame to send (normal or exception answer)
        Probe,     // answer holds the 4-byte probe answer (no CRC)
        Broadcast, // slave 0 write carried out, nothing is sent
        Dropped,   // not for this panel or not a valid frame: silence, reason says why
    };
    Kind kind = Kind::Dropped;
    Bytes answer;
    std::string reason; // for the trace: why dropped, or what was done
    bool configChanged = false;
};

// Pack the 24 LED states (3 bits each) and the horn into the 5 image words: LED n in word
// n / 5 at bit 3 * (n % 5); horn at bit 12 of word 4.
std::array<std::uint16_t, 5> packImage(const std::array<std::uint8_t, ledCount>& leds, bool horn);
void unpackImageWord(int index, std::uint16_t word, std::array<std::uint8_t, ledCount>& leds,
                     bool& horn);

// Expected size of a request from its first bytes, so that a complete frame is handled at
// once instead of after the silent gap. 0 when the size cannot be known (yet), in which
// case the silent gap ends the frame.
std::size_t expectedRequestSize(std::span<const std::uint8_t> bytes);

// The probe: these three bytes, with no CRC, ask "which slave are you?".
inline constexpr std::array<std::uint8_t, 3> probeRequest{0x41, 0x7F, 0x70};

class PanelSlave
{
public:
    explicit PanelSlave(Firmware fw = Firmware::V28);

    Firmware firmware() const { return m_fw; }
    const Config& config() const { return m_cfg; }
    // Replaces the stored configuration and makes it the line's at once (start-up).
    void setConfig(const Config& cfg);
    // Validates a configuration word value; false when the panel would refuse it.
    static bool validConfigValue(unsigned word, unsigned value);

    // Settings in effect on the line. A write of speed, stop bits or slave number changes
    // the stored configuration at once, but the line keeps the old settings until
    // applyLineSettings() is called after the answer has gone out.
    LineSettings lineSettings() const { return m_line; }
    LineSettings storedLineSettings() const;
    bool applyLineSettings(); // true when something changed

    // Handle one complete frame (bytes between silent gaps, or complete by its size).
    Reply handle(std::span<const std::uint8_t> frame, Clock::time_point now);

    // Timed behaviour: the end of a lamp test and the automatic acknowledgement.
    // Returns notes for the trace about what happened.
    std::vector<std::string> tick(Clock::time_point now);
    std::optional<Clock::time_point> nextDeadline() const;

    // The technician's acknowledgement: word 68 reads 1 until the master next writes the
    // LED or horn words (0..29, 64), which starts a new picture.
    void acknowledge();
    bool acknowledged() const { return m_ack; }

    // Automatic acknowledgement: that long after a write leaves the horn sounding.
    void setAutoAck(std::optional<std::chrono::milliseconds> delay) { m_autoAckDelay = delay; }
    void setLampTestDuration(std::chrono::milliseconds d) { m_lampTestDuration = d; }

    const std::array<std::uint8_t, ledCount>& leds() const { return m_leds; }
    std::uint16_t horn() const { return m_horn; }
    bool lampTestActive() const { return m_lampTestEnd.has_value(); }

    // One-line picture of the panel: 24 LED states (0..7, '.' for off) in groups of
    // eight, the horn, the lamp test and the acknowledgement word.
    std::string picture() const;

    // Word access, as the Modbus functions see it.
    bool readable(unsigned word) const;
    bool writable(unsigned word) const;
    std::uint16_t readWord(unsigned word) const;

private:
    bool served(unsigned word) const;
    bool validValue(unsigned word, std::uint16_t value) const;
    void writeWord(unsigned word, std::uint16_t value, Clock::time_point now, Reply& reply);
    void panelWritten(Clock::time_point now);

    Firmware m_fw;
    Config m_cfg;
    LineSettings m_line;
    std::array<std::uint8_t, ledCount> m_leds{};
    std::uint16_t m_horn = 0;
    bool m_ack = false;
    std::optional<Clock::time_point> m_lampTestEnd;
    std::optional<Clock::time_point> m_autoAckAt;
    std::optional<std::chrono::milliseconds> m_autoAckDelay;
    std::chrono::milliseconds m_lampTestDuration{3000};
};

// Append the CRC (low byte first) to a frame.
void appendCrc(Bytes& frame);
// An exception answer: the slave, the function with its top bit set, the code, the CRC.
Bytes exceptionAnswer(std::uint8_t slave, std::uint8_t function, std::uint8_t code);
bool crcValid(std::span<const std::uint8_t> frame);

} // namespace k7310sim
