#pragma once

#include "device/ICommunicateDevice.h"

#include <QList>

#include <cstddef>
#include <cstdint>

class ICommProtocol;

/// How the upgrade engine reaches the microphone.
///
/// The order of the functions is fixed: it is the layout of the vtable.
/// Nothing throws. The operator thread sends, the worker thread receives, the main thread
/// connects and disconnects, without locks.
class ICommDeviceMgmt
{
public:
    /// Bytes of an input report as read from the device.
    static constexpr std::size_t reportSize = 64;

    /// Results of a command, as sendAndWait() returns them.
    static constexpr int statusNoDevice = -1;
    static constexpr int statusReplied = 1;
    static constexpr int statusNoReply = -100;
    static constexpr int statusOtherReply = -201;
    static constexpr int statusInvalidReply = -301;

    ICommDeviceMgmt() = default;
    Q_DISABLE_COPY_MOVE(ICommDeviceMgmt)
    virtual ~ICommDeviceMgmt() = default;

    /// Creates the device and registers for arrivals and removals. They are delivered by
    /// the event loop of the calling thread.
    virtual bool init() = 0;
    /// The protocol is also notified of connection changes. Not owned.
    virtual void setProtocol(ICommProtocol *protocol) = 0;
    virtual void setOpenOption(int option) = 0;
    virtual bool isConnected() = 0;
    virtual bool connect(const char *path, std::uint32_t vid, std::uint32_t pid) = 0;
    /// Connects to the first supported device that is present.
    virtual bool connectFirst() = 0;
    /// Like connectFirst(), but only for a device with this product id.
    virtual bool connectByPid(std::uint32_t pid) = 0;
    /// The product ids of the supported-device list that are present.
    virtual QList<int> listDevicePids() = 0;
    /// Closes the device, waits 500 ms and notifies the protocol.
    virtual void disconnect() = 0;
    /// Writes `length` bytes once and waits up to 1024 ms for any report. Sets `*result`
    /// to 0. Always returns false.
    virtual bool sendAndReadOnce(const std::uint8_t *packet, int *result, int retries,
                                 std::size_t length) = 0;
    /// Writes `length` bytes (at least 8) and waits for the reply: up to three attempts,
    /// 400 ms each. Zeroes the 64 bytes of `reply`. Returns statusReplied or a negative
    /// status.
    virtual int sendAndWait(const std::uint8_t *packet, std::uint8_t *reply, int retries,
                            std::size_t length) = 0;
    /// Writes one 65-byte output report and zeroes the 64 bytes of `reply`. `keepPending`
    /// 0 starts a new list of unanswered packets. Always returns false.
    virtual bool sendNoWait(const std::uint8_t *packet, std::uint8_t *reply, int keepPending) = 0;
    /// Reads one input report into the 64 bytes of `buffer`, which it zeroes first.
    /// Returns false if none came within 64 ms.
    virtual bool receive(std::uint8_t *buffer, int ignored, int ignoredToo) = 0;
    /// Completes `packet` by the protocol's rules and writes it. Tries up to five times.
    virtual bool sendWithRetries(std::uint8_t *packet) = 0;
    virtual ICommunicateDevice *getDevice() = 0;
};

/// The one device manager of the process. Null until the device operator has created it;
/// the operator also deletes it. Main thread only.
extern ICommDeviceMgmt *deviceManager;
