// Modbus CRC-16 of the panel's slave side: reflected polynomial 0xA001, initial value
// 0xFFFF, no final XOR. Table-driven; the table is built at compile time.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

namespace k7310sim {

namespace detail {
constexpr std::array<std::uint16_t, 256> makeCrcTable()
{
    std::array<std::uint16_t, 256> table{};
    for (unsigned i = 0; i < 256; ++i) {
        unsigned crc = i;
        for (int bit = 0; bit < 8; ++bit)
            crc = (crc & 1U) ? (crc >> 1) ^ 0xA001U : crc >> 1;
        table[i] = static_cast<std::uint16_t>(crc);
    }
    return table;
}
inline constexpr auto crcTable = makeCrcTable();
} // namespace detail

constexpr std::uint16_t crc16(std::span<const std::uint8_t> bytes)
{
    std::uint16_t crc = 0xFFFF;
    for (std::uint8_t b : bytes)
        crc = static_cast<std::uint16_t>((crc >> 8) ^ detail::crcTable[(crc ^ b) & 0xFFU]);
    return crc;
}

} // namespace k7310sim
