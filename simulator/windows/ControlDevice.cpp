#include "simulator/windows/ControlDevice.h"

#include <memory>
#include <type_traits>

#include <windows.h>

namespace sim {

namespace {

using Handle = std::unique_ptr<std::remove_pointer_t<HANDLE>, decltype(&CloseHandle)>;

} // namespace

ControlDevice::~ControlDevice()
{
    if (handle != nullptr)
        CloseHandle(handle);
}

unsigned long ControlDevice::open(std::chrono::milliseconds patience)
{
    constexpr DWORD pauseMs = 5;
    const auto end = std::chrono::steady_clock::now() + patience;
    for (;;) {
        HANDLE opened = CreateFileW(L"\\\\.\\VelmoSim", GENERIC_READ | GENERIC_WRITE, 0, nullptr,
                                    OPEN_EXISTING, FILE_FLAG_OVERLAPPED, nullptr);
        if (opened != INVALID_HANDLE_VALUE) { // NOLINT: the macro's cast
            handle = opened;
            return ERROR_SUCCESS;
        }
        const DWORD error = GetLastError();
        if (error != ERROR_SHARING_VIOLATION || std::chrono::steady_clock::now() >= end)
            return error;
        Sleep(pauseMs);
    }
}

unsigned long ControlDevice::call(std::uint32_t code, const void *in, std::size_t inSize, void *out,
                                  std::size_t outSize) const
{
    const Handle done(CreateEventW(nullptr, TRUE, FALSE, nullptr), &CloseHandle);
    if (!done)
        return GetLastError();
    OVERLAPPED overlapped{};
    overlapped.hEvent = done.get();
    DWORD size = 0;
    // Nothing is written into what goes in, whatever the parameter's type says.
    BOOL ok = DeviceIoControl(handle, code, const_cast<void *>(in), static_cast<DWORD>(inSize), out,
                              static_cast<DWORD>(outSize), &size, &overlapped);
    if (!ok && GetLastError() == ERROR_IO_PENDING)
        ok = GetOverlappedResult(handle, &overlapped, &size, TRUE);
    if (!ok)
        return GetLastError();
    return size == outSize ? ERROR_SUCCESS : ERROR_INVALID_DATA;
}

} // namespace sim
