#pragma once

#include "line.h"
#include "options.h"
#include "panelslave.h"
#include "trace.h"

#include <chrono>
#include <optional>
#include <random>
#include <string>

namespace k7310sim {

// The panel on its line: reads frames between silent gaps, answers them through the slave
// logic at the panel's own line settings, and takes commands on standard input.
class Simulator
{
public:
    Simulator(Options options)
        : m_opt(std::move(options))
        , m_slave(m_opt.firmware)
        , m_random(m_opt.seed)
    {}

    int run();

private:
    bool setUp();
    void makeLink();
    void removeLink();
    bool waitUntil(Clock::time_point deadline); // false when a signal is pending
    bool writeAll(const std::uint8_t* data, std::size_t size);
    void onBytes(Clock::time_point now);
    void onFrame(Clock::time_point now);
    void send(const Reply& reply, Clock::time_point requestEnd, bool onFaultWord);
    bool requestsFaultWord(const Bytes& frame) const;
    void onCommand(const std::string& line);
    void saveState();
    std::string status() const;
    Clock::duration gap() const;
    void tickNotes(Clock::time_point now);

    Options m_opt;
    PanelSlave m_slave;
    Line m_line;
    Trace m_trace;
    std::mt19937 m_random;
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
};

} // namespace k7310sim
