#pragma once

#include <QtGlobal>

#include <cstddef>
#include <cstdint>

/// The transport to one microphone.
///
/// The order of the operations is fixed: it is the order of their slots.
/// Nothing throws; failures are false or null.  The device manager is the only
/// caller, on whatever thread calls the manager.
class ICommunicateDevice
{
public:
    /// Receives arrivals (removal 0) and removals (removal 1) of HID devices, on
    /// the thread that registered.
    using NotifyCallback = void (*)(const char *path, int removal, std::uint16_t vid,
                                    std::uint16_t pid, void *context);

    /// Size in bytes of the path buffer that getDeviceInfo() fills.
    static constexpr std::size_t pathBufferSize = 512;

    ICommunicateDevice() = default;
    Q_DISABLE_COPY_MOVE(ICommunicateDevice)
    virtual ~ICommunicateDevice() = default;

    /// Makes the transport ready; true at once when it already is.
    virtual bool init() = 0;

    /// Searches the bus.  The returned record is opaque, belongs to the device
    /// and is valid until the next search; null: no such device.
    virtual const void *findDevice(std::uint32_t vid, std::uint32_t pid, std::uint32_t option) = 0;

    /// Tells path and ids of a found record; false for a null record or a path
    /// that does not fit.  `pathOut` has room for pathBufferSize bytes.
    virtual bool getDeviceInfo(const void *record, char *pathOut, std::uint32_t *vidOut,
                               std::uint32_t *pidOut) = 0;

    /// The ids given to the last successful open().
    virtual int getVid() = 0;
    virtual int getPid() = 0;

    virtual bool isOpen() = 0;

    /// The product string read at open(), empty when closed.
    virtual const char *getProductName() = 0;

    /// Opens the device at `path`; true without any effect when one is open.
    virtual bool open(const char *path, std::uint32_t vid, std::uint32_t pid,
                      std::uint32_t option) = 0;

    virtual void close() = 0;

    /// Writes one output report of `length` bytes, report identifier first.
    /// False only when no device is open: a failed write is not reported.
    virtual bool write(const std::uint8_t *data, std::size_t length) = 0;

    /// Waits up to 1024 ms for an input report and keeps it inside.
    virtual bool waitRead(bool flag, int ignored) = 0;

    /// Waits up to 64 ms for an input report; copies its 64 bytes to
    /// `destination` unless that is null (the report is consumed all the same).
    virtual bool read(std::uint8_t *destination, int ignored) = 0;

    /// Input report length of the open device in bytes, report identifier
    /// included; 0 when closed.
    virtual int getMaxInputReportLen() = 0;

    /// Path of the device opened last.
    virtual const char *getPath() = 0;

    /// Registers the receiver of arrivals and removals; null unregisters.
    virtual void registerNotify(NotifyCallback callback, void *context) = 0;
};
