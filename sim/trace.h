// The simulator's trace: one line per frame or event, flushed at once so that a test can
// read it while the simulator runs. Format (fields separated by one blank):
//   <seconds> <kind> <baud>/<stop bits> <hex bytes...> [(<reason>)]
//   <seconds> NOTE <free text>
// seconds: time since start, monotonic, six decimals. kind: RX (frame heard and handled),
// DROPPED (heard but not for us or invalid: no answer), IGNORED (line speed or stop bits
// differ from the panel's: the frame is garbage to the panel), TX (bytes sent). For RX,
// DROPPED and IGNORED the settings are those seen on the line when the frame ended; for TX
// the ones the panel answered at.
#pragma once

#include "panelslave.h"

#include <cstdio>
#include <span>
#include <string>

namespace k7310sim {

class Trace
{
public:
    Trace() = default;
    Trace(const Trace&) = delete;
    Trace& operator=(const Trace&) = delete;
    ~Trace();

    // path "-" is standard error; an empty path disables the trace.
    bool open(const std::string& path, Clock::time_point start);
    void frame(const char* kind, int baud, int stopBits, std::span<const std::uint8_t> bytes,
               const std::string& reason = {});
    void note(const std::string& text);

private:
    void stamp();
    std::FILE* m_file = nullptr;
    bool m_own = false;
    Clock::time_point m_start;
};

std::string hexBytes(std::span<const std::uint8_t> bytes);

} // namespace k7310sim
