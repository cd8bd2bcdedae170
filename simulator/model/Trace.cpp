#include "simulator/model/Trace.h"

#include <array>
#include <cstdio>
#include <cstdlib>

namespace sim {

bool Trace::open()
{
    const char *const name = std::getenv(variable);
    if (name == nullptr || *name == '\0')
        return true;
    file.open(name, std::ios::app | std::ios::binary);
    return file.is_open();
}

void Trace::line(const char *event, const std::string &details)
{
    if (!file.is_open())
        return;
    const std::chrono::duration<double, std::milli> sinceStart =
        std::chrono::steady_clock::now() - start;
    constexpr std::size_t timeTextSize = 32;
    std::array<char, timeTextSize> time{};
    std::snprintf(time.data(), time.size(), "%.3f ", sinceStart.count());
    // One write for the whole line, so that a process that is killed leaves no half line.
    file << std::string(time.data()) + event + (details.empty() ? "" : " ") + details + '\n'
         << std::flush;
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

std::string Trace::hex(std::uint16_t id)
{
    constexpr unsigned bitsPerByte = 8;
    constexpr unsigned lowByte = 0xFF;
    const std::array<std::uint8_t, 2> bytes = {static_cast<std::uint8_t>(id >> bitsPerByte),
                                               static_cast<std::uint8_t>(id & lowByte)};
    return hex(bytes.data(), bytes.size());
}

std::string Trace::ids(std::uint16_t vendor, std::uint16_t product)
{
    return hex(vendor) + ':' + hex(product);
}

} // namespace sim
