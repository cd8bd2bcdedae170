#include "simulator/Trace.h"

#include <array>
#include <cstdio>

namespace sim {

bool Trace::open()
{
    return file.openNamedBy("VELMO_SIM_TRACE");
}

void Trace::line(const char *event, const std::string &details)
{
    if (!file.isOpen())
        return;
    const std::chrono::duration<double, std::milli> sinceLoad =
        std::chrono::steady_clock::now() - start;
    constexpr std::size_t timeTextSize = 32;
    std::array<char, timeTextSize> time{};
    std::snprintf(time.data(), time.size(), "%.3f ", sinceLoad.count());
    file.append(std::string(time.data()) + event + (details.empty() ? "" : " ") + details + '\n');
}

std::string Trace::hex(const std::uint8_t *bytes, std::size_t size)
{
    constexpr const char *digits = "0123456789ABCDEF";
    constexpr unsigned digitBits = 4;
    constexpr unsigned digitMask = 0xF;
    std::string text;
    text.reserve(2 * size);
    for (std::size_t i = 0; i < size; ++i) {
        text += digits[bytes[i] >> digitBits];
        text += digits[bytes[i] & digitMask];
    }
    return text;
}

std::string Trace::ids(std::uint16_t vendor, std::uint16_t product)
{
    constexpr unsigned bitsPerByte = 8;
    constexpr unsigned lowByte = 0xFF;
    const std::array<std::uint8_t, 4> bytes = {static_cast<std::uint8_t>(vendor >> bitsPerByte),
                                               static_cast<std::uint8_t>(vendor & lowByte),
                                               static_cast<std::uint8_t>(product >> bitsPerByte),
                                               static_cast<std::uint8_t>(product & lowByte)};
    return hex(bytes.data(), 2) + ":" + hex(bytes.data() + 2, 2);
}

} // namespace sim
