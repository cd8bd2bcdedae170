#pragma once

#include "simulator/model/IBusListener.h"
#include "simulator/model/Microphone.h"
#include "simulator/model/Settings.h"
#include "simulator/model/Trace.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace sim {

/// The simulated bus with its devices, on the real clock. Each way of connecting the devices
/// to a program uses this class, so the devices behave the same everywhere.
///
/// It has no threads and no lock. Only one thread at a time may use it. Call runDue() at the times
/// that it returns.
class Bus
{
public:
    struct Device
    {
        std::string path;
        Microphone microphone;
    };
    using Clock = std::chrono::steady_clock;
    using Report = std::vector<std::uint8_t>;
    /// Called once. `taken`: whether the device took the report.
    using Done = std::function<void(bool taken)>;

    /// Creates the devices that VELMO_SIM names. A mistake in VELMO_SIM or VELMO_SIM_TRACE
    /// ends the process with one line on standard error and `exitBadSettings`. The listener
    /// lives longer than the bus and is not told of the devices that are there from the start.
    /// A device's path is the prefix and a number from 0 on.
    Bus(IBusListener *busListener, std::string devicePathPrefix);

    /// Starts over with these settings, in the grammar of VELMO_SIM. If they are wrong, returns
    /// why and changes nothing. Returns an empty text otherwise.
    std::string configure(const std::string &settingsText);
    Trace &log() { return trace; }

    /// The devices in the order of the settings, then the extra device. A device keeps its index.
    const std::vector<Device> &devices() const { return deviceList; }
    /// The device's index, or nothing if no device on the bus has this path.
    std::optional<std::size_t> find(const std::string &path) const;

    /// A program opens the device. The settings' microphone is the one opened first.
    void opened(std::size_t index);
    /// A program writes a report. Reports take some time and arrive in order. Reports still on
    /// their way when the device leaves are lost. No index: the device has already left.
    void write(std::optional<std::size_t> index, Report report, Done done);
    /// The next three functions act on the microphone that was opened first. Before any is opened,
    /// they act on the first of the list. Without a microphone they do nothing.
    void unplug();
    /// Changes the product id if one is given.
    void plug(std::optional<std::uint16_t> productId, bool upgrading);
    void inject(const InputReport &report);

    /// Does what is due. Returns when to call it again, if ever. That may be at once, and a call of
    /// any function above may make it earlier.
    std::optional<Clock::time_point> runDue();

    const std::vector<Microphone::Refusal> &violations() const { return refusals; }

private:
    /// A report on its way.
    struct Transfer
    {
        std::size_t index;
        Report report;
        Done done;
        /// The number of this write, from 1 on.
        std::uint32_t call;
        Time due;
    };

    Time now() const;
    std::string nextPath();
    std::optional<std::size_t> configured();
    void becomeConfigured(std::size_t index);
    void advance(std::size_t index);
    void addExtraDevice(const DeviceId &id);
    void runExtraDevice();
    void carryOut(std::size_t index, const Microphone::Event &event);
    void send(std::size_t index, const InputReport &report);
    void arrive(const Transfer &transfer);
    void lose(const Report &report, const Done &done);
    void loseTransfersTo(std::size_t index);
    void violate(Microphone::Refusal refusal);
    void traceFailedWrite(const Report &report, const char *why);

    Trace trace;
    IBusListener *listener;
    const std::string pathPrefix;
    const Clock::time_point start = Clock::now();
    Settings settings;
    std::vector<Device> deviceList;
    std::optional<std::size_t> configuredIndex;
    int pathsGiven = 0;
    /// When the extra device, the last of the list, comes or goes next.
    std::optional<Time> extraDue;
    /// In order. A slow one delays those behind it.
    std::deque<Transfer> transfers;
    std::uint32_t writes = 0;
    std::uint32_t reportsSent = 0;
    std::vector<Microphone::Refusal> refusals;
};

} // namespace sim
