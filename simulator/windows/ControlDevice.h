#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include <windows.h>

namespace sim {

/// The driver's control device (control_codes.h), open.  Results are Windows' error codes,
/// 0 for none.
class ControlDevice
{
public:
    DWORD open();
    /// Waits until the driver is done with it.
    DWORD call(std::uint32_t code, const void *in, std::size_t inSize);
    /// Sets its event when finish() has something to give.  All that is handed over stays
    /// until then.
    DWORD begin(std::uint32_t code, const void *in, std::size_t inSize, void *out,
                std::size_t outSize, OVERLAPPED *overlapped);
    /// Waits until the driver is done with it; exactly `outSize` bytes must come back.
    DWORD finish(std::size_t outSize, OVERLAPPED *overlapped);

private:
    std::unique_ptr<void, decltype(&CloseHandle)> handle{nullptr, &CloseHandle};
};

} // namespace sim
