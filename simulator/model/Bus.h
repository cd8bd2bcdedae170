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

/// The simulated bus with its devices, on the real clock.  Each way of connecting the devices
/// to a program uses this class, so the devices behave the same everywhere.
///
/// It has no threads and no lock.  One thread at a time uses it, and calls runDue() when
/// that says so.
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
    /// Called once: whether the device took the report.
    using Done = std::function<void(bool taken)>;

    /// A configuration error in sysexits.h.
    static constexpr int exitBadSettings = 78;

    /// With the devices that VELMO_SIM asks for.  A mistake in VELMO_SIM or VELMO_SIM_TRACE
    /// ends the process with one line on standard error and `exitBadSettings`.  The listener
    /// lives longer than the bus and is not told of the devices that are there from the start.
    /// A device's path is the prefix and a number from 0 on.
    Bus(IBusListener *busListener, std::string devicePathPrefix);

    /// Starts over with these settings, in the grammar of VELMO_SIM.  Returns what is wrong
    /// with them, and changes nothing then; empty when they are right.
    std::string configure(const std::string &settingsText);
    Trace &log() { return trace; }

    /// In the order of the settings, then the extra device; a device keeps its index.
    const std::vector<Device> &devices() const { return deviceList; }
    /// The device's index; nothing when no device on the bus has this path.
    std::optional<std::size_t> find(const std::string &path) const;

    /// A program opens the device.  The settings' microphone is the one opened first.
    void opened(std::size_t index);
    /// A program writes a report.  It takes some time to the device.  Reports arrive in
    /// order; when the device leaves the bus before, they never arrive.  Without an index the
    /// device has left already.
    void write(std::optional<std::size_t> index, Report report, Done done);
    /// These three act on the microphone that was opened first or, before any is opened, on
    /// the first one of the list.  Without a microphone they do nothing.
    void unplug();
    /// Under another product id if one is given.
    void plug(std::optional<std::uint16_t> productId, bool upgrading);
    void inject(const InputReport &report);

    /// Does what is due.  Returns when to call it again, if ever; that may be at once, and any
    /// of the functions above may make it earlier.
    std::optional<Clock::time_point> runDue();

    const std::vector<Microphone::Refusal> &violations() const { return refusals; }
    /// The output reports that were taken, in order.
    const std::vector<Report> &packets() const { return taken; }

private:
    /// A report on its way.
    struct Transfer
    {
        std::size_t index;
        Report report;
        Done done;
        /// Which write it is, the first one being 1.
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
    /// In order: a slow one holds up those behind it.
    std::deque<Transfer> transfers;
    std::uint32_t writes = 0;
    std::uint32_t reportsSent = 0;
    std::vector<Microphone::Refusal> refusals;
    std::vector<Report> taken;
};

} // namespace sim
