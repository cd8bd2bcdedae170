#pragma once

#include <array>
#include <cstdint>

/// An entry of the supported-device list, in its normal (not upgrading) state.
struct SupportedModel
{
    static constexpr std::size_t nameSize = 576;

    /// Zero-terminated.
    std::array<char, nameSize> name;
    /// USB vendor and product id.
    std::uint32_t vid;
    std::uint32_t pid;
    /// Handed to the device search as its option, which ignores it.
    std::uint32_t reserved;
    /// Null after the last entry.
    const SupportedModel *next;
};
