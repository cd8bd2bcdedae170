#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include <windows.h>

namespace sim {

/// The driver's control device (control_codes.h), open. Results are Windows' error codes,
/// 0 for none.
class ControlDevice
{
public:
    DWORD open();
    /// Makes a request and waits until the driver is done with it.
    DWORD call(std::uint32_t code, const void *in, std::size_t inSize);
    /// Starts a request. When the driver is done with it, the event of `overlapped` is set.
    /// Until then the driver may use everything that is passed here.
    DWORD begin(std::uint32_t code, const void *in, std::size_t inSize, void *out,
                std::size_t outSize, OVERLAPPED *overlapped);
    /// Waits until the driver is done with the request, which must return `outSize` bytes.
    DWORD finish(std::size_t outSize, OVERLAPPED *overlapped);

private:
    std::unique_ptr<void, decltype(&CloseHandle)> handle{nullptr, &CloseHandle};
};

} // namespace sim
