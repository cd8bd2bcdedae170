#pragma once

#include "simulator/model/Bus.h"
#include "simulator/model/IBusListener.h"
#include "simulator/windows/ControlDevice.h"
#include "simulator/windows/control_codes.h"

#include <array>
#include <cstddef>
#include <string>

namespace sim {

/// The simulated bus behind the bus driver, around one Windows program under wine. One
/// thread.
class WineHost : private IBusListener
{
public:
    WineHost();
    /// Plugs the settings' devices in, starts the program and serves it until it ends; its exit
    /// code. Throws std::runtime_error with a sentence.
    int run(const std::wstring &program, const wchar_t *commandLine);

private:
    /// Where a device is plugged in.
    struct Port
    {
        velmo_slot slot{};
        /// The program's next report, when the event of `arrival` is set. The driver uses
        /// both while isTaking, which is as long as a device is plugged in.
        velmo_report report{};
        OVERLAPPED arrival{};
        bool isTaking = false;
    };

    void departed(std::size_t index) override;
    void arrived(std::size_t index) override;
    void sent(std::size_t index, const Bus::Report &report) override;

    /// Reserves the bus and plugs the devices in.
    void plugIn();
    void unplugAll();
    /// Windows' error code.
    DWORD unplug(std::size_t index);
    /// Asks for the program's next report.
    void beginTake(std::size_t index);
    /// The report that has come, or an empty one.
    Bus::Report finishTake(std::size_t index);

    ControlDevice control;
    Bus bus;
    std::array<Port, velmo_slots> ports;
};

} // namespace sim
