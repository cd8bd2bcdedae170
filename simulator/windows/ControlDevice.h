#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>

namespace sim {

/// The driver's control device (control_codes.h), open.  Any thread may call.
class ControlDevice
{
public:
    ControlDevice() = default;
    ~ControlDevice();
    ControlDevice(const ControlDevice &) = delete;
    ControlDevice &operator=(const ControlDevice &) = delete;
    ControlDevice(ControlDevice &&) = delete;
    ControlDevice &operator=(ControlDevice &&) = delete;

    /// Results are Windows' error codes, 0 for none.  As long as somebody else has it, or
    /// the devices of somebody before are still leaving, it waits.
    unsigned long open(std::chrono::milliseconds patience);
    /// Waits until the driver is done with it; exactly `outSize` bytes must come back.
    unsigned long call(std::uint32_t code, const void *in, std::size_t inSize, void *out = nullptr,
                       std::size_t outSize = 0) const;

private:
    /// A HANDLE; Windows' headers are not for other headers.
    void *handle = nullptr;
};

} // namespace sim
