// The simulator's end of the serial line: the master side of a pseudo-terminal, or a real
// serial device. On a pty the settings that count are the ones the other program set on
// the slave side; we keep the slave side open ourselves, which lets us read them and keeps
// the master side from reporting a hang-up whenever the other program closes it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace k7310sim {

struct SeenSettings
{
    int baud = 0;
    int stopBits = 1;
};

class Line
{
public:
    Line() = default;
    Line(const Line&) = delete;
    Line& operator=(const Line&) = delete;
    ~Line();

    // Opens a fresh pty in raw mode at baud/stopBits. Returns false with error set.
    bool openPty(int baud, int stopBits, std::string& error);
    // Opens a serial device and sets it to raw 8 data bits, no parity, baud/stopBits.
    bool openDevice(const std::string& path, int baud, int stopBits, std::string& error);
    void close();

    bool isPty() const { return m_isPty; }
    int fd() const { return m_fd; }
    // The path the master connects to: the pty's slave name, or the device.
    const std::string& path() const { return m_path; }

    // Speed and stop bits in force on the line right now.
    SeenSettings seen() const;
    // On a device, sets the speed and stop bits; a pty's settings belong to the other side.
    bool configure(int baud, int stopBits);
    // Waits until written bytes have left (device only; a pty has no wire).
    void drain();

private:
    int m_fd = -1;
    int m_slaveFd = -1; // pty only: kept open for its settings and against hang-ups
    bool m_isPty = false;
    std::string m_path;
};

// Bits per second for a termios speed constant, 0 when unknown.
int baudFromSpeed(unsigned speed);
// termios speed constant for a baud rate, 0 when unsupported.
unsigned speedFromBaud(int baud);

} // namespace k7310sim
