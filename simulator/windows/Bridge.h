#pragma once

#include "simulator/windows/BridgeLine.h"
#include "simulator/windows/ControlDevice.h"
#include "simulator/windows/control_codes.h"

#include <array>
#include <cstddef>
#include <mutex>
#include <string>
#include <thread>

namespace sim {

/// Carries out the lines on standard input (BridgeLine.h) on the driver, and tells what
/// programs do on standard output.  One thread reads the lines, one for each device waits
/// for the reports that are written to it.
class Bridge
{
public:
    Bridge() = default;
    ~Bridge();
    Bridge(const Bridge &) = delete;
    Bridge &operator=(const Bridge &) = delete;
    Bridge(Bridge &&) = delete;
    Bridge &operator=(Bridge &&) = delete;

    /// Until the input ends.  Empty, or one line about what went wrong.
    std::string run();

private:
    std::string carryOut(const BridgeLine &line);
    std::string plug(const BridgeLine &line);
    std::string unplug(std::size_t slot);
    void send(const BridgeLine &line);
    void answer(std::size_t slot, bool accepted);
    /// On a thread of its own, until the device is gone.
    void takeReports(std::size_t slot);
    void tell(const BridgeLine &line);

    ControlDevice control;
    std::array<std::thread, velmo_slots> takers;
    std::mutex outputMutex;
};

} // namespace sim
