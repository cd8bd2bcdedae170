#pragma once

#include <QtGlobal>

#include <cstddef>
#include <cstdint>

/// The transport to one microphone.
///
/// The order of the functions is fixed: it is the layout of the vtable.
/// Nothing throws; failures are false or null. Only the device manager calls it, on the
/// thread that calls the manager.
class ICommunicateDevice
{
public:
    /// Receives arrivals (`removal` 0) and removals (1) of HID devices on the thread that
    /// registered.
    using NotifyCallback = void (*)(const char *path, int removal, std::uint16_t vid,
                                    std::uint16_t pid, void *context);

    /// Size in bytes of the path buffer that getDeviceInfo() fills.
    static constexpr std::size_t pathBufferSize = 512;

    ICommunicateDevice() = default;
    Q_DISABLE_COPY_MOVE(ICommunicateDevice)
    virtual ~ICommunicateDevice() = default;

    /// Makes the transport ready. Does nothing if it is ready already.
    virtual bool init() = 0;

    /// Searches the bus. Returns null if there is no such device. The record is opaque,
    /// belongs to this object and is valid until the next search.
    virtual const void *findDevice(std::uint32_t vid, std::uint32_t pid, std::uint32_t option) = 0;

    /// Gets the path and ids of a found record. `pathOut` has room for pathBufferSize
    /// bytes. Returns false for a null record or a path that does not fit.
    virtual bool getDeviceInfo(const void *record, char *pathOut, std::uint32_t *vidOut,
                               std::uint32_t *pidOut) = 0;

    /// The ids given to the last successful open().
    virtual int getVid() = 0;
    virtual int getPid() = 0;

    virtual bool isOpen() = 0;

    /// The product string as read by open(); empty when closed.
    virtual const char *getProductName() = 0;

    /// Opens the device at `path`. Returns true without any effect if one is open.
    virtual bool open(const char *path, std::uint32_t vid, std::uint32_t pid,
                      std::uint32_t option) = 0;

    virtual void close() = 0;

    /// Writes one output report of `length` bytes, report identifier first. Returns false
    /// only if no device is open: a failed write is not reported.
    virtual bool write(const std::uint8_t *data, std::size_t length) = 0;

    /// Waits up to 1024 ms for an input report and discards it.
    virtual bool waitRead(bool flag, int ignored) = 0;

    /// Waits up to 64 ms for an input report and copies its 64 bytes to `destination`. A
    /// null `destination` discards the report.
    virtual bool read(std::uint8_t *destination, int ignored) = 0;

    /// Input report length of the open device in bytes, including the report identifier;
    /// 0 when closed.
    virtual int getMaxInputReportLen() = 0;

    /// Path of the device that was opened last.
    virtual const char *getPath() = 0;

    /// Sets the receiver of arrivals and removals; null unregisters it.
    virtual void registerNotify(NotifyCallback callback, void *context) = 0;
};
