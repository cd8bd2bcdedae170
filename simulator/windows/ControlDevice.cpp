#include "simulator/windows/ControlDevice.h"

namespace sim {

DWORD ControlDevice::open()
{
    HANDLE opened = CreateFileW(L"\\\\.\\VelmoSim", GENERIC_READ | GENERIC_WRITE, 0, nullptr,
                                OPEN_EXISTING, FILE_FLAG_OVERLAPPED, nullptr);
    if (opened == INVALID_HANDLE_VALUE) // NOLINT: the macro's cast
        return GetLastError();
    handle.reset(opened);
    return ERROR_SUCCESS;
}

DWORD ControlDevice::call(std::uint32_t code, const void *in, std::size_t inSize)
{
    OVERLAPPED overlapped{};
    overlapped.hEvent = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    DWORD error = begin(code, in, inSize, nullptr, 0, &overlapped);
    if (error == ERROR_SUCCESS)
        error = finish(0, &overlapped);
    CloseHandle(overlapped.hEvent);
    return error;
}

DWORD ControlDevice::begin(std::uint32_t code, const void *in, std::size_t inSize, void *out,
                           std::size_t outSize, OVERLAPPED *overlapped)
{
    // The call only reads its input, although the parameter's type allows writing.
    const BOOL ok =
        DeviceIoControl(handle.get(), code, const_cast<void *>(in), static_cast<DWORD>(inSize), out,
                        static_cast<DWORD>(outSize), nullptr, overlapped);
    const DWORD error = ok ? ERROR_SUCCESS : GetLastError();
    return error == ERROR_IO_PENDING ? ERROR_SUCCESS : error;
}

DWORD ControlDevice::finish(std::size_t outSize, OVERLAPPED *overlapped)
{
    DWORD size = 0;
    if (!GetOverlappedResult(handle.get(), overlapped, &size, TRUE))
        return GetLastError();
    return size == outSize ? ERROR_SUCCESS : ERROR_INVALID_DATA;
}

} // namespace sim
