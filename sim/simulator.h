#pragma once

#include "line.h"
#include "options.h"
#include "panelslave.h"
#include "trace.h"

#include <chrono>
#include <optional>
#include <random>
#include <string>
#include <vector>

namespace k7310sim {

// The panels on their line: reads frames between silent gaps, lets every panel that hears a
// frame (the line at its own speed and stop bits) handle it through its slave logic, puts the
// answers on the line (merged at the bit level when they overlap) and takes commands on
// standard input.
class Simulator
{
public:
    explicit Simulator(Options options);

    int run();

private:
    struct Panel
    {
        int position = 1; // on the line, from 1
        PanelSetup setup;
        PanelSlave slave;
        std::mt19937 random;
        bool plugged = true;
    };
    // An answer on its way: the bytes after its fault, and when its first bit goes out.
    struct Outgoing
    {
        Panel* panel = nullptr;
        Bytes bytes;
        Clock::time_point start;
        std::string reason;
    };

    bool setUp();
    void powerUp(Panel& panel);
    void makeLink();
    void removeLink();
    bool waitUntil(Clock::time_point deadline); // false when a signal is pending
    bool writeAll(const std::uint8_t* data, std::size_t size);
    void onBytes(Clock::time_point now);
    void onFrame(Clock::time_point now);
    void answer(Panel& panel, const Bytes& frame, const Reply& reply, Clock::time_point requestEnd,
                std::vector<Outgoing>& out);
    void transmit(std::vector<Outgoing>& out);
    void sendEcho();
    bool sendAlone(const Outgoing& out);
    bool sendCollision(std::vector<Outgoing>& out);
    bool requestsFaultWord(const Panel& panel, const Bytes& frame) const;
    void onCommand(const std::string& line);
    std::vector<Panel*> select(const std::string& which);
    void saveState(const Panel& panel);
    std::string status(const Panel& panel) const;
    std::string tag(const Panel& panel, const std::string& reason = {}) const;
    std::string prefix(const Panel& panel) const;
    Clock::duration gap() const;
    void tickNotes(Clock::time_point now);
    std::optional<Clock::time_point> nextDeadline() const;

    Options m_opt;
    std::vector<Panel> m_panels;
    Line m_line;
    Trace m_trace;
    int m_signalFd = -1;
    bool m_quit = false;
    bool m_stdinOpen = true;
    std::string m_stdinBuffer;
    Bytes m_rx;
    Clock::time_point m_firstRx;
    Clock::time_point m_lastRx;
    Clock::time_point m_start = Clock::now();
    std::optional<Clock::time_point> m_lineLostAt;
    bool m_linkMade = false;
    bool m_echo = false; // every byte received is sent back at once
    Bytes m_echoBytes;   // received, not yet sent back
};

} // namespace k7310sim
