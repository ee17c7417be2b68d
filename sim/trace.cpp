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
    if (own_ && file_)
        std::fclose(file_);
}

bool Trace::open(const std::string& path, Clock::time_point start)
{
    start_ = start;
    if (path.empty())
        return true;
    if (path == "-") {
        file_ = stderr;
        return true;
    }
    file_ = std::fopen(path.c_str(), "w");
    own_ = file_ != nullptr;
    return own_;
}

void Trace::stamp()
{
    const auto us =
        std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - start_).count();
    std::fprintf(file_, "%lld.%06lld ", static_cast<long long>(us / 1000000),
                 static_cast<long long>(us % 1000000));
}

void Trace::frame(const char* kind, int baud, int stopBits, std::span<const std::uint8_t> bytes,
                  const std::string& reason)
{
    if (!file_)
        return;
    stamp();
    std::fprintf(file_, "%s %d/%d %s", kind, baud, stopBits, hexBytes(bytes).c_str());
    if (!reason.empty())
        std::fprintf(file_, " (%s)", reason.c_str());
    std::fputc('\n', file_);
    std::fflush(file_);
}

void Trace::note(const std::string& text)
{
    if (!file_)
        return;
    stamp();
    std::fprintf(file_, "NOTE %s\n", text.c_str());
    std::fflush(file_);
}

} // namespace k7310sim
