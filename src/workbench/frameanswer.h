#pragma once

#include <QByteArray>
#include <QStringList>

#include <optional>

// The data that an answer to a read request carries, laid out for the frame builder's grid.
namespace FrameAnswer {

struct Cells
{
    bool bits = false;  // one cell per bit ("0"/"1"), else one per word (signed decimal)
    QStringList values; // in row order
};

// The answer's data when it is a complete, correct answer to request with functions 1 or 2
// (bits: eight cells per data byte, least significant bit first) or 3 or 4 (words, high byte
// first). Nothing for exception answers, time-outs, write echoes, a wrong CRC, a wrong echo of
// slave or function, or a byte count that disagrees with the answer's length.
std::optional<Cells> DataOf(const QByteArray& request, const QByteArray& answer);

} // namespace FrameAnswer
