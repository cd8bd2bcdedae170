#pragma once

#include "simulator/IBusListener.h"
#include "simulator/Microphone.h"
#include "simulator/Settings.h"
#include "simulator/Trace.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace sim {

/// The simulated bus with its devices, on the real clock.  Every way of connecting the
/// devices to a host drives one of these, so they behave the same behind all of them.
///
/// No threads and no lock of its own: one thread at a time, which calls runDue() when
/// it says so.
class Bus
{
public:
    struct Device
    {
        std::string path;
        Microphone microphone;
    };
    using Clock = std::chrono::steady_clock;

    /// Both outlive the bus.  A device's path is the prefix and a number from 0 on.
    Bus(Trace *busTrace, IBusListener *busListener, std::string devicePathPrefix = "/dev/velmo-sim")
        : trace(busTrace)
        , listener(busListener)
        , pathPrefix(std::move(devicePathPrefix))
    {
    }

    /// Begins anew with these settings; `text` is what they were read from.  The
    /// listener hears nothing of it.
    void configure(const Settings &newSettings, const std::string &text);
    const Settings &currentSettings() const { return settings; }

    /// In the order of the settings, then the visitor; a device keeps its index.
    const std::vector<Device> &devices() const { return deviceList; }
    /// Its index; nothing when none of that path is on the bus.
    std::optional<std::size_t> find(const std::string &path) const;

    /// A host opens the device, or, where that cannot be seen, is about to send its
    /// first report.  The microphone opened first is the one that the settings concern.
    void opened(std::size_t index);
    /// An output report arrives.
    Microphone::Refusal receive(std::size_t index, const std::uint8_t *report, std::size_t length);
    /// The next two and inject() concern the microphone that was opened first, or, before
    /// that, the first one of the list.  Nothing without a microphone.
    void unplug();
    /// Under another product id if one is given.
    void plug(std::optional<std::uint16_t> productId, bool upgrading);
    void inject(const InputReport &report);

    /// Lets all devices do what is due; when to call it again, if at all.  Any of the
    /// functions above may bring that forward.
    std::optional<Clock::time_point> runDue();

    /// The host did what it must not.
    void violate(Microphone::Refusal refusal);
    const std::vector<Microphone::Refusal> &violations() const { return refusals; }
    /// The output reports that were taken, in order.
    const std::vector<std::vector<std::uint8_t>> &packets() const { return taken; }

    /// The trace's line for a report that was not taken.
    void traceFailedWrite(const std::uint8_t *report, std::size_t length, const char *why);

private:
    Time now() const;
    std::string nextPath();
    std::optional<std::size_t> subject();
    void becomeSubject(std::size_t index);
    void advance(std::size_t index);
    void addVisitor(const DeviceId &id);
    void runVisitor();
    void carryOut(std::size_t index, const Microphone::Event &event);
    void send(std::size_t index, const InputReport &report);

    Trace *trace;
    IBusListener *listener;
    const std::string pathPrefix;
    const Clock::time_point start = Clock::now();
    Settings settings;
    std::vector<Device> deviceList;
    std::optional<std::size_t> subjectIndex;
    int pathsGiven = 0;
    /// When the visitor, the last of the list, comes or goes next.
    std::optional<Time> visitorDue;
    std::vector<Microphone::Refusal> refusals;
    std::vector<std::vector<std::uint8_t>> taken;
};

} // namespace sim
