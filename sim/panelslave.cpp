#include "panelslave.h"

#include "crc.h"

#include <algorithm>

namespace k7310sim {

namespace {

std::uint16_t wordAt(std::span<const std::uint8_t> f, std::size_t i)
{
    return static_cast<std::uint16_t>((f[i] << 8) | f[i + 1]);
}

void pushWord(Bytes& b, std::uint16_t w)
{
    b.push_back(static_cast<std::uint8_t>(w >> 8));
    b.push_back(static_cast<std::uint8_t>(w & 0xFF));
}

// Largest quantities a Modbus frame of 256 bytes can carry.
constexpr unsigned maxReadQuantity = 125;
constexpr unsigned maxWriteQuantity = 123;

} // namespace

std::optional<Firmware> parseFirmware(const std::string& text)
{
    if (text == "2.8")
        return Firmware::V28;
    if (text == "2.7")
        return Firmware::V27;
    if (text == "2.6")
        return Firmware::V26;
    return std::nullopt;
}

int firmwareMajor(Firmware)
{
    return 2;
}

int firmwareMinor(Firmware fw)
{
    switch (fw) {
    case Firmware::V26:
        return 6;
    case Firmware::V27:
        return 7;
    case Firmware::V28:
        break;
    }
    return 8;
}

int baudForSpeedCode(unsigned code)
{
    switch (code) {
    case 0xF0:
        return 1200;
    case 0xF8:
        return 2400;
    case 0xFC:
        return 4800;
    case 0xFE:
        return 9600;
    case 0xFF:
        return 19200;
    default:
        return 0;
    }
}

unsigned speedCodeForBaud(int baud)
{
    for (unsigned code : {0xF0U, 0xF8U, 0xFCU, 0xFEU, 0xFFU})
        if (baudForSpeedCode(code) == baud)
            return code;
    return 0;
}

void appendCrc(Bytes& frame)
{
    const std::uint16_t crc = crc16(frame);
    frame.push_back(static_cast<std::uint8_t>(crc & 0xFF));
    frame.push_back(static_cast<std::uint8_t>(crc >> 8));
}

Bytes exceptionAnswer(std::uint8_t slave, std::uint8_t function, std::uint8_t code)
{
    Bytes b{slave, static_cast<std::uint8_t>(function | 0x80), code};
    appendCrc(b);
    return b;
}

bool crcValid(std::span<const std::uint8_t> frame)
{
    if (frame.size() < 3)
        return false;
    const std::uint16_t crc = crc16(frame.first(frame.size() - 2));
    return frame[frame.size() - 2] == (crc & 0xFF) && frame[frame.size() - 1] == (crc >> 8);
}

std::array<std::uint16_t, 5> packImage(const std::array<std::uint8_t, ledCount>& leds, bool horn)
{
    std::array<std::uint16_t, 5> words{};
    for (int n = 0; n < ledCount; ++n)
        words[static_cast<std::size_t>(n / 5)] |=
            static_cast<std::uint16_t>((leds[static_cast<std::size_t>(n)] & 7U) << (3 * (n % 5)));
    if (horn)
        words[4] |= 1U << 12;
    return words;
}

void unpackImageWord(int index, std::uint16_t word, std::array<std::uint8_t, ledCount>& leds,
                     bool& horn)
{
    for (int slot = 0; slot < 5; ++slot) {
        const int n = index * 5 + slot;
        if (n < ledCount)
            leds[static_cast<std::size_t>(n)] =
                static_cast<std::uint8_t>((word >> (3 * slot)) & 7U);
    }
    if (index == 4)
        horn = (word >> 12) & 1U;
}

std::size_t expectedRequestSize(std::span<const std::uint8_t> bytes)
{
    if (bytes.size() >= probeRequest.size() &&
        std::equal(probeRequest.begin(), probeRequest.end(), bytes.begin()))
        return probeRequest.size();
    if (bytes.size() < 2)
        return 0;
    switch (bytes[1]) {
    case 1:
    case 2:
    case 3:
    case 4:
    case 5:
    case 6:
        return 8;
    case 15:
    case 16:
        return bytes.size() >= 7 ? 9U + bytes[6] : 0;
    default:
        return 0;
    }
}

PanelSlave::PanelSlave(Firmware fw)
    : m_fw(fw)
{
    setConfig(Config{});
}

void PanelSlave::setConfig(const Config& cfg)
{
    m_cfg = cfg;
    m_line = storedLineSettings();
}

LineSettings PanelSlave::storedLineSettings() const
{
    return LineSettings{baudForSpeedCode(m_cfg.speedCode), m_cfg.stopBits, m_cfg.slave};
}

bool PanelSlave::applyLineSettings()
{
    const LineSettings stored = storedLineSettings();
    if (stored == m_line)
        return false;
    m_line = stored;
    return true;
}

bool PanelSlave::validConfigValue(unsigned word, unsigned value)
{
    switch (word) {
    case SpeedCode:
        return baudForSpeedCode(value) != 0;
    case StopBits:
        return value == 1 || value == 2;
    case SlaveNumber:
        return value >= 1 && value <= 64;
    case BusMode:
        return value <= 3;
    case Synchro:
    case AckAuthorised:
    case BusControlKL:
    case LedTestKL:
        return value <= 1;
    default:
        return false;
    }
}

bool PanelSlave::served(unsigned word) const
{
    if (word == LedTestKL)
        return m_fw == Firmware::V28;
    if (word == BusControlKL)
        return m_fw != Firmware::V26;
    return true;
}

bool PanelSlave::readable(unsigned word) const
{
    if (word >= FirstLed && word <= ImageLast)
        return true;
    if (word >= Horn && word <= LedTestKL)
        return served(word);
    return word >= SpeedCode && word <= BusMode;
}

bool PanelSlave::writable(unsigned word) const
{
    if (word <= ImageLast)
        return true;
    if (word >= Horn && word <= LedTestKL)
        return word != Acknowledge && served(word);
    return word >= SpeedCode && word <= BusMode;
}

bool PanelSlave::validValue(unsigned word, std::uint16_t value) const
{
    if (word == AllOff)
        return value == 0;
    if (word >= FirstLed && word <= LastLed)
        return value <= 7;
    if ((word >= ImageFirst && word <= ImageLast) || word == Horn)
        return true; // unused image bits are ignored; any horn state is kept
    if (word == LampTest)
        return value <= 1;
    return validConfigValue(word, value);
}

std::uint16_t PanelSlave::readWord(unsigned word) const
{
    if (word >= FirstLed && word <= LastLed)
        return m_leds[word - FirstLed];
    if (word >= ImageFirst && word <= ImageLast)
        return packImage(m_leds, m_horn != 0)[word - ImageFirst];
    switch (word) {
    case Horn:
        return m_horn;
    case Synchro:
        return m_cfg.synchro;
    case LampTest:
        return lampTestActive() ? 1 : 0;
    case AckAuthorised:
        return m_cfg.ackAuthorised;
    case Acknowledge:
        return m_ack ? 1 : 0;
    case BusControlKL:
        return m_cfg.busControlKL;
    case LedTestKL:
        return m_cfg.ledTestKL;
    case SpeedCode:
        return m_cfg.speedCode;
    case StopBits:
        return m_cfg.stopBits;
    case SlaveNumber:
        return m_cfg.slave;
    case BusMode:
        return m_cfg.busMode;
    default:
        return 0;
    }
}

void PanelSlave::panelWritten(Clock::time_point now)
{
    m_ack = false;
    if (m_horn == 0)
        m_autoAckAt.reset();
    else if (m_autoAckDelay && !m_autoAckAt)
        m_autoAckAt = now + *m_autoAckDelay;
}

void PanelSlave::writeWord(unsigned word, std::uint16_t value, Clock::time_point now, Reply& reply)
{
    if (word == AllOff) {
        m_leds.fill(0);
    } else if (word >= FirstLed && word <= LastLed) {
        m_leds[word - FirstLed] = static_cast<std::uint8_t>(value);
    } else if (word >= ImageFirst && word <= ImageLast) {
        bool horn = m_horn != 0;
        unpackImageWord(static_cast<int>(word - ImageFirst), value, m_leds, horn);
        if (word == ImageLast)
            m_horn = horn ? (m_horn != 0 ? m_horn : 1) : 0;
    } else if (word == Horn) {
        m_horn = value;
    } else if (word == LampTest) {
        if (value == 1)
            m_lampTestEnd = now + m_lampTestDuration;
        else
            m_lampTestEnd.reset();
        return;
    } else {
        std::uint16_t* target = nullptr;
        switch (word) {
        case SpeedCode:
            target = &m_cfg.speedCode;
            break;
        case StopBits:
            target = &m_cfg.stopBits;
            break;
        case SlaveNumber:
            target = &m_cfg.slave;
            break;
        case BusMode:
            target = &m_cfg.busMode;
            break;
        case Synchro:
            target = &m_cfg.synchro;
            break;
        case AckAuthorised:
            target = &m_cfg.ackAuthorised;
            break;
        case BusControlKL:
            target = &m_cfg.busControlKL;
            break;
        case LedTestKL:
            target = &m_cfg.ledTestKL;
            break;
        default:
            return;
        }
        if (*target != value)
            reply.configChanged = true;
        *target = value;
        return;
    }
    panelWritten(now);
}

Reply PanelSlave::handle(std::span<const std::uint8_t> frame, Clock::time_point now)
{
    tick(now);
    Reply reply;
    if (frame.size() == probeRequest.size() &&
        std::equal(probeRequest.begin(), probeRequest.end(), frame.begin())) {
        // Probe answer: 0x41 (echo of the probe's first byte), the slave number, then the
        // firmware version as major and minor number (2, 8 for version 2.8).
        reply.kind = Reply::Kind::Probe;
        reply.answer = {0x41, static_cast<std::uint8_t>(m_line.slave),
                        static_cast<std::uint8_t>(firmwareMajor(m_fw)),
                        static_cast<std::uint8_t>(firmwareMinor(m_fw))};
        reply.reason = "probe";
        return reply;
    }
    if (frame.size() < 4) {
        reply.reason = "too-short";
        return reply;
    }
    if (!crcValid(frame)) {
        reply.reason = "bad-crc";
        return reply;
    }
    const std::uint8_t slave = frame[0];
    const std::uint8_t function = frame[1];
    const bool broadcast = slave == 0;
    if (!broadcast && slave != m_line.slave) {
        reply.reason = "other-slave";
        return reply;
    }
    const auto answerWith = [&](Bytes b, std::string why) {
        if (broadcast) {
            reply.kind = Reply::Kind::Dropped;
            reply.reason = "broadcast " + why;
            return reply;
        }
        reply.kind = Reply::Kind::Answer;
        reply.answer = std::move(b);
        reply.reason = std::move(why);
        return reply;
    };
    const auto fail = [&](std::uint8_t code) {
        return answerWith(exceptionAnswer(slave, function, code),
                          "exception " + std::to_string(code));
    };

    switch (function) {
    case 3: {
        if (broadcast) {
            reply.reason = "broadcast-read";
            return reply;
        }
        if (frame.size() != 8)
            return fail(IllegalValue);
        const unsigned address = wordAt(frame, 2);
        const unsigned quantity = wordAt(frame, 4);
        if (quantity < 1 || quantity > maxReadQuantity)
            return fail(IllegalValue);
        if (address + quantity > 0x10000U)
            return fail(IllegalAddress);
        for (unsigned w = address; w < address + quantity; ++w)
            if (!readable(w))
                return fail(IllegalAddress);
        Bytes b{slave, function, static_cast<std::uint8_t>(2 * quantity)};
        for (unsigned w = address; w < address + quantity; ++w)
            pushWord(b, readWord(w));
        appendCrc(b);
        return answerWith(std::move(b), "read");
    }
    case 6: {
        if (frame.size() != 8)
            return fail(IllegalValue);
        const unsigned address = wordAt(frame, 2);
        const std::uint16_t value = wordAt(frame, 4);
        if (!writable(address))
            return fail(IllegalAddress);
        if (!validValue(address, value))
            return fail(IllegalValue);
        writeWord(address, value, now, reply);
        return answerWith(Bytes(frame.begin(), frame.end()), "write");
    }
    case 16: {
        if (frame.size() < 9)
            return fail(IllegalValue);
        const unsigned address = wordAt(frame, 2);
        const unsigned quantity = wordAt(frame, 4);
        const unsigned byteCount = frame[6];
        if (quantity < 1 || quantity > maxWriteQuantity || byteCount != 2 * quantity ||
            frame.size() != 9 + byteCount)
            return fail(IllegalValue);
        if (address + quantity > 0x10000U)
            return fail(IllegalAddress);
        for (unsigned i = 0; i < quantity; ++i)
            if (!writable(address + i))
                return fail(IllegalAddress);
        for (unsigned i = 0; i < quantity; ++i)
            if (!validValue(address + i, wordAt(frame, 7 + 2 * i)))
                return fail(IllegalValue);
        for (unsigned i = 0; i < quantity; ++i)
            writeWord(address + i, wordAt(frame, 7 + 2 * i), now, reply);
        Bytes b(frame.begin(), frame.begin() + 6);
        appendCrc(b);
        return answerWith(std::move(b), "write");
    }
    default:
        return fail(IllegalFunction);
    }
}

std::vector<std::string> PanelSlave::tick(Clock::time_point now)
{
    std::vector<std::string> notes;
    if (m_lampTestEnd && now >= *m_lampTestEnd) {
        m_lampTestEnd.reset();
        notes.emplace_back("lamp test ended");
    }
    if (m_autoAckAt && now >= *m_autoAckAt) {
        m_autoAckAt.reset();
        if (!m_ack) {
            m_ack = true;
            notes.emplace_back("acknowledged (automatic)");
        }
    }
    return notes;
}

std::optional<Clock::time_point> PanelSlave::nextDeadline() const
{
    if (m_lampTestEnd && m_autoAckAt)
        return std::min(*m_lampTestEnd, *m_autoAckAt);
    return m_lampTestEnd ? m_lampTestEnd : m_autoAckAt;
}

void PanelSlave::acknowledge()
{
    m_ack = true;
    m_autoAckAt.reset();
}

std::string PanelSlave::picture() const
{
    std::string s = "LEDs ";
    for (int n = 0; n < ledCount; ++n) {
        if (n > 0 && n % 8 == 0)
            s += ' ';
        const unsigned state = lampTestActive() ? 1U : m_leds[static_cast<std::size_t>(n)];
        s += state == 0 ? '.' : static_cast<char>('0' + state);
    }
    s += m_horn != 0 ? "  horn ON" : "  horn off";
    if (lampTestActive())
        s += "  lamp-test";
    s += m_ack ? "  ack 1" : "  ack 0";
    return s;
}

} // namespace k7310sim
