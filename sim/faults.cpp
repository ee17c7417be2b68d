#include "faults.h"

#include "crc.h"
#include "panelslave.h"

#include <array>
#include <charconv>
#include <span>
#include <utility>

namespace k7310sim {

namespace {

struct Named
{
    const char* name;
    Fault::Kind kind;
};

constexpr std::array<Named, 10> names{{
    {"off", Fault::Kind::Off},
    {"none", Fault::Kind::NoAnswer},
    {"bad-crc", Fault::Kind::BadCrc},
    {"extra-byte", Fault::Kind::ExtraByte},
    {"short", Fault::Kind::Short},
    {"wrong-slave", Fault::Kind::WrongSlave},
    {"wrong-function", Fault::Kind::WrongFunction},
    {"late", Fault::Kind::Late},
    {"noise", Fault::Kind::Noise},
    {"exception", Fault::Kind::Exception},
}};

bool takesArgument(Fault::Kind kind)
{
    return kind == Fault::Kind::Late || kind == Fault::Kind::Noise ||
           kind == Fault::Kind::Exception;
}

void replaceCrc(std::vector<std::uint8_t>& frame)
{
    if (frame.size() < 3)
        return;
    const std::uint16_t crc = crc16(std::span<const std::uint8_t>(frame.data(), frame.size() - 2));
    frame[frame.size() - 2] = static_cast<std::uint8_t>(crc & 0xFF);
    frame[frame.size() - 1] = static_cast<std::uint8_t>(crc >> 8);
}

} // namespace

std::optional<Fault> parseFault(const std::string& text)
{
    const auto colon = text.find(':');
    const std::string name = text.substr(0, colon);
    for (const Named& n : names) {
        if (name != n.name)
            continue;
        Fault f{n.kind, 0};
        if (colon == std::string::npos) {
            f.arg = n.kind == Fault::Kind::Late        ? defaultLateMs
                    : n.kind == Fault::Kind::Noise     ? defaultNoiseBytes
                    : n.kind == Fault::Kind::Exception ? defaultExceptionCode
                                                       : 0;
            return f;
        }
        if (!takesArgument(n.kind))
            return std::nullopt;
        const char* first = text.data() + colon + 1;
        const char* last = text.data() + text.size();
        const auto [ptr, ec] = std::from_chars(first, last, f.arg);
        if (ec != std::errc() || ptr != last || f.arg < 0 || f.arg > 600000 ||
            (n.kind == Fault::Kind::Noise && (f.arg < 1 || f.arg > 256)) ||
            (n.kind == Fault::Kind::Exception && (f.arg < 1 || f.arg > 255)))
            return std::nullopt;
        return f;
    }
    return std::nullopt;
}

std::string faultName(const Fault& fault)
{
    for (const Named& n : names) {
        if (n.kind != fault.kind)
            continue;
        if (takesArgument(fault.kind))
            return std::string(n.name) + ":" + std::to_string(fault.arg);
        return n.name;
    }
    return "?";
}

FaultedAnswer applyFault(const Fault& fault, std::vector<std::uint8_t> answer, bool withCrc,
                         std::mt19937& random)
{
    FaultedAnswer out;
    switch (fault.kind) {
    case Fault::Kind::Off:
        break;
    case Fault::Kind::NoAnswer:
        answer.clear();
        break;
    case Fault::Kind::BadCrc:
        if (!answer.empty())
            answer.back() ^= 0xFF;
        break;
    case Fault::Kind::ExtraByte:
        answer.push_back(0x55);
        break;
    case Fault::Kind::Short:
        if (!answer.empty())
            answer.pop_back();
        break;
    case Fault::Kind::WrongSlave:
        if (!answer.empty()) {
            // Another valid slave number, so that only the echo check can catch it.
            const std::size_t at = withCrc ? 0 : 1;
            answer[at] = static_cast<std::uint8_t>(answer[at] % 64 + 1);
        }
        break;
    case Fault::Kind::WrongFunction:
        if (withCrc && answer.size() > 1)
            answer[1] = static_cast<std::uint8_t>((answer[1] & 0x80) | ((answer[1] + 1) & 0x7F));
        break;
    case Fault::Kind::Late:
        out.delayMs = fault.arg;
        break;
    case Fault::Kind::Exception:
        // Slave, function with its top bit set, the code; the probe has no exception form.
        if (withCrc && answer.size() > 1)
            answer = exceptionAnswer(answer[0], answer[1], static_cast<std::uint8_t>(fault.arg));
        break;
    case Fault::Kind::Noise: {
        std::uniform_int_distribution<int> byte(0, 255);
        std::vector<std::uint8_t> noisy;
        for (int i = 0; i < fault.arg; ++i)
            noisy.push_back(static_cast<std::uint8_t>(byte(random)));
        noisy.insert(noisy.end(), answer.begin(), answer.end());
        answer = std::move(noisy);
        break;
    }
    }
    if (withCrc &&
        (fault.kind == Fault::Kind::WrongSlave || fault.kind == Fault::Kind::WrongFunction))
        replaceCrc(answer);
    out.bytes = std::move(answer);
    return out;
}

} // namespace k7310sim
