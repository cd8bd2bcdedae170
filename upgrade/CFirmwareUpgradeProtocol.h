#pragma once

#include "device/ICommDeviceMgmt.h"
#include "upgrade/CProtocol.h"

#include <array>
#include <cstddef>

/// The protocol as the upgrade uses it: the supported-device list, and functions that call
/// the device manager. Without a manager they return what the manager returns without a
/// device.
class CFirmwareUpgradeProtocol : public CProtocol
{
public:
    /// Quirk: exchange() always writes this many bytes, of which the device uses the first
    /// report. Nobody is known to depend on it. The type guarantees that the bytes exist.
    static constexpr std::size_t exchangeSize = 500;
    using ExchangeBuffer = std::array<std::uint8_t, exchangeSize>;
    /// The reply of an exchange, as long as an input report. It consists of words because the
    /// manager expects a pointer to its result.
    using ExchangeReply = std::array<int, ICommDeviceMgmt::reportSize / sizeof(int)>;

    CFirmwareUpgradeProtocol();

    bool isSupported(const void *ignored, int vid, int pid) override;
    const SupportedModel *supportedModels() override;

    /// Sends `length` bytes and waits for the reply; `rx` has 64 bytes. Returns a status of the
    /// device manager, which is negative for a failure.
    int sendCommand(const std::uint8_t *tx, std::uint8_t *rx, std::size_t length);
    /// Sends a request and passes `rx` to the manager for its result. CDeviceManager zeroes the
    /// first word, ignores the reply and always returns false.
    bool exchange(const ExchangeBuffer &tx, ExchangeReply &rx);
    /// Sends one 65-byte packet and zeroes the 64 bytes of `rx`. `timeout` is not used: the
    /// write has its own time-out.
    bool sendPacket(const std::uint8_t *tx, std::uint8_t *rx, int keepPending, int timeout);
    /// Reads one input report into the 64 bytes of `buffer`.
    bool readReport(std::uint8_t *buffer);

protected:
    /// Null until the device is opened; not owned. The main thread writes it before it sets
    /// the link flags. A thread that sees a flag sees it, too.
    ICommDeviceMgmt *manager = nullptr;
};
