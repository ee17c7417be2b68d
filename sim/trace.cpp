#include "trace.h"

namespace k7310sim {

std::string hexBytes(std::span<const std::uint8_t> bytes)
{
    static const char digits[] = "0123456789ABCDEF";
    std::string s;
    for (std::uint8_t b : bytes) {
        if (!s.empty())
            s += ' ';
        s += digits[b >> 4];
        s += digits[b & 0x0F];
    }
    return s;
}

Trace::~Trace()
{
    if (m_own && m_file)
        std::fclose(m_file);
}

bool Trace::open(const std::string& path, Clock::time_point start)
{
    m_start = start;
    if (path.empty())
        return true;
    if (path == "-") {
        m_file = stderr;
        return true;
    }
    m_file = std::fopen(path.c_str(), "w");
    m_own = m_file != nullptr;
    return m_own;
}

void Trace::stamp()
{
    const auto us =
        std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - m_start).count();
    std::fprintf(m_file, "%lld.%06lld ", static_cast<long long>(us / 1000000),
                 static_cast<long long>(us % 1000000));
}

void Trace::frame(const char* kind, int baud, int stopBits, std::span<const std::uint8_t> bytes,
                  const std::string& reason)
{
    if (!m_file)
        return;
    stamp();
    std::fprintf(m_file, "%s %d/%d %s", kind, baud, stopBits, hexBytes(bytes).c_str());
    if (!reason.empty())
        std::fprintf(m_file, " (%s)", reason.c_str());
    std::fputc('\n', m_file);
    std::fflush(m_file);
}

void Trace::note(const std::string& text)
{
    if (!m_file)
        return;
    stamp();
    std::fprintf(m_file, "NOTE %s\n", text.c_str());
    std::fflush(m_file);
}

} // namespace k7310sim
