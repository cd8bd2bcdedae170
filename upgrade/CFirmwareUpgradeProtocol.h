#pragma once

#include "device/ICommDeviceMgmt.h"
#include "upgrade/CProtocol.h"

#include <array>
#include <cstddef>

/// The protocol as the upgrade uses it: the supported-device list and thin
/// forwards to the device manager.  Without a manager they answer as the manager
/// does without a device.
class CFirmwareUpgradeProtocol : public CProtocol
{
public:
    /// Quirk: exchange() offers this many bytes to the device, whatever the command's length;
    /// the device takes the first report of them.  The type makes sure that they are there.
    static constexpr std::size_t exchangeSize = 500;
    using ExchangeBuffer = std::array<std::uint8_t, exchangeSize>;
    /// An exchange's reply, as long as an input report.  The manager takes it for its
    /// result, so it is made of words.
    using ExchangeReply = std::array<int, ICommDeviceMgmt::reportSize / sizeof(int)>;

    CFirmwareUpgradeProtocol();

    bool isSupported(const void *ignored, int vid, int pid) override;
    const SupportedModel *supportedModels() override;

    /// Sends `length` bytes and waits for the answer; `rx` has 64 bytes.  A status
    /// of the device manager, negative for a failure.
    int sendCommand(const std::uint8_t *tx, std::uint8_t *rx, std::size_t length);
    /// Sends a request.  `rx` is handed on as the manager's result; CDeviceManager zeroes
    /// its first word and ignores what comes back.  The manager's answer, which is always
    /// false there.
    bool exchange(const ExchangeBuffer &tx, ExchangeReply &rx);
    /// Sends one 65-byte packet; `rx` has 64 bytes and is zeroed.  `timeout` (ms)
    /// is not used: the write's own time-out holds.
    bool sendPacket(const std::uint8_t *tx, std::uint8_t *rx, int keepPending, int timeout);
    /// Reads one input report into the 64 bytes of `buffer`.
    bool readReport(std::uint8_t *buffer);

protected:
    /// Null until the device is opened; not owned.  Written by the main thread before
    /// it sets the link flags, so whoever sees a flag sees it.
    ICommDeviceMgmt *manager = nullptr;
};
