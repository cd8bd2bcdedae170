#pragma once

#include "simulator/model/wire.h"

#include <cstdint>
#include <string>

namespace sim {

/// The texts of a simulated device.
struct DeviceNames
{
    const wchar_t *manufacturer;
    const wchar_t *product;
    const wchar_t *serial;
};

constexpr DeviceNames deviceNames(std::uint16_t vendor)
{
    if (vendor == microphoneVendor)
        return {L"Velmo", L"Velmo microphone (simulated)", L"VS0001"};
    return {L"Simulator", L"HID device (simulated)", L"FS0001"};
}

/// The names are ASCII.
inline std::string narrow(const wchar_t *text)
{
    return {text, text + std::char_traits<wchar_t>::length(text)};
}

constexpr std::uint16_t deviceRelease = 0x0100;
constexpr std::uint16_t deviceUsagePage = 0xFF00; // the vendor's own
constexpr std::uint16_t deviceUsage = 1;

} // namespace sim
