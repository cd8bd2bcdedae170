#include "simulator/Crc32.h"

#include <array>

namespace sim {

namespace {

constexpr std::uint32_t polynomial = 0xEDB88320U;
constexpr unsigned bitsPerByte = 8;
constexpr std::uint32_t lowByte = 0xFF;
using Table = std::array<std::uint32_t, lowByte + 1>;

constexpr Table makeTable()
{
    Table table{};
    for (std::uint32_t i = 0; i < table.size(); ++i) {
        std::uint32_t value = i;
        for (unsigned bit = 0; bit < bitsPerByte; ++bit)
            value = (value & 1U) != 0 ? value >> 1U ^ polynomial : value >> 1U;
        table.at(i) = value;
    }
    return table;
}

constexpr Table table = makeTable();

} // namespace

void Crc32::add(const std::uint8_t *bytes, std::size_t size)
{
    for (std::size_t i = 0; i < size; ++i)
        state = table[(state ^ bytes[i]) & lowByte] ^ state >> bitsPerByte;
}

} // namespace sim
