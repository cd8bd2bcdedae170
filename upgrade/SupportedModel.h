#pragma once

#include <array>
#include <cstdint>

/// An entry of the supported-device list: a device in its normal state, not in upgrade mode.
struct SupportedModel
{
    static constexpr std::size_t nameSize = 576;

    /// Zero-terminated.
    std::array<char, nameSize> name;
    /// USB vendor and product id.
    std::uint32_t vid;
    std::uint32_t pid;
    /// Passed to the device search, which ignores it.
    std::uint32_t reserved;
    /// Null after the last entry.
    const SupportedModel *next;
};
