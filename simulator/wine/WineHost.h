#pragma once

#include "simulator/Bus.h"
#include "simulator/IBusListener.h"
#include "simulator/Settings.h"
#include "simulator/Trace.h"
#include "simulator/host/ChildProcess.h"
#include "simulator/host/FileDescriptor.h"
#include "simulator/wine/BridgeLink.h"
#include "simulator/wine/WinePrefix.h"

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace sim {

/// One run of a Windows program under wine with the simulated devices plugged in.  One
/// thread.
class WineHost : private IBusListener
{
public:
    /// For what goes wrong in the run itself; as sysexits.h has it.
    static constexpr int exitSoftware = 70;

    /// `settingsText` is what the settings were read from.
    WineHost(WinePrefix *winePrefix, Trace *busTrace, const Settings &settings,
             const std::string &settingsText);
    /// Runs it to its end, or to a signal that ends programs.  Its exit code, of which
    /// Linux has the low 8 bits; 128 and its number for a signal.  Says on standard error
    /// what went wrong.
    int run(const std::vector<std::string> &command);

    /// Empty, or what the settings ask for that cannot be done here.
    static std::string unsupported(const Settings &settings);

private:
    using Clock = Bus::Clock;
    struct Port
    {
        bool wasOpened = false;
        /// Unplugged, and programs may not know yet.
        bool leaving = false;
        /// The report under way, the how manyth it is, and when it is there.
        std::vector<std::uint8_t> report;
        std::uint32_t call = 0;
        std::optional<Clock::time_point> arrival;
        /// The microphone looks at it; what comes of that may be that it leaves the bus.
        bool handingOver = false;
    };

    void departed(std::size_t index) override;
    void arrived(std::size_t index) override;
    void sent(std::size_t index, const InputReport &report) override;

    bool plugInAll();
    void plugIn(std::size_t index);
    /// Until something happens or this time comes; false when the run is over.
    bool wait(std::optional<Clock::time_point> until);
    void readBridge();
    void begin(std::size_t index, const std::string &hex);
    /// Hands over the reports that are there.  When the next one is.
    std::optional<Clock::time_point> handOver();
    void receive(std::size_t index, const std::vector<std::uint8_t> &report);
    /// Ends the write of a report that is being handed over.
    void answer(std::size_t index, bool taken);
    void lose(const std::vector<std::uint8_t> &report);
    void fail(const std::string &why);

    WinePrefix *prefix;
    Bus bus;
    BridgeLink link;
    ChildProcess program;
    FileDescriptor signals;
    std::vector<Port> ports;
    /// Reports under way to a device so far, over all devices.
    std::uint32_t writes = 0;
    std::size_t pluggedIn = 0;
    bool ready = false;
    std::optional<int> exitCode;
};

} // namespace sim
