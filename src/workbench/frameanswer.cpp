#include "frameanswer.h"

#include "commfunctions.h"
#include "global.h"

namespace FrameAnswer {

namespace {
std::uint8_t at(const QByteArray& bytes, qsizetype i)
{
    return static_cast<std::uint8_t>(bytes.at(i));
}
} // namespace

std::optional<Cells> DataOf(const QByteArray& request, const QByteArray& answer)
{
    if (request.size() < 2 || answer.size() < 5)
        return std::nullopt;
    const int function = at(answer, 1);
    if (function < 1 || function > 4 || at(answer, 0) != at(request, 0) ||
        function != at(request, 1))
        return std::nullopt;
    const qsizetype byteCount = at(answer, 2);
    if (answer.size() != byteCount + 5)
        return std::nullopt;
    const qsizetype covered = answer.size() - 2;
    const std::uint16_t crc = CommFunctions::Crc16Of(answer.constData(), covered);
    if (at(answer, covered) != Global::LoByte(crc) ||
        at(answer, covered + 1) != Global::HiByte(crc))
        return std::nullopt;

    Cells cells;
    cells.bits = function <= 2;
    if (cells.bits) {
        for (qsizetype i = 0; i < byteCount; ++i) {
            for (int bit = 0; bit < 8; ++bit)
                cells.values << ((at(answer, 3 + i) >> bit & 1) ? QStringLiteral("1")
                                                                : QStringLiteral("0"));
        }
    } else {
        for (qsizetype i = 0; i + 1 < byteCount; i += 2)
            cells.values << QString::number(Global::MakeWord(at(answer, 3 + i), at(answer, 4 + i)));
    }
    return cells;
}

} // namespace FrameAnswer
