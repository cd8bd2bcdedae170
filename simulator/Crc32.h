#pragma once

#include <cstddef>
#include <cstdint>

namespace sim {

/// The CRC-32 of zip and Ethernet (reflected polynomial 0xEDB88320), grown piece by
/// piece.
class Crc32
{
public:
    void add(const std::uint8_t *bytes, std::size_t size);
    std::uint32_t value() const { return ~state; }

private:
    std::uint32_t state = ~std::uint32_t{0};
};

} // namespace sim
