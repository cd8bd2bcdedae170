#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace sim {

/// Connects the devices of a bus to a program. The functions of Bus call it, on the thread
/// that called them.
class IBusListener
{
public:
    virtual ~IBusListener() = default;

    /// The device has left the bus.
    virtual void departed(std::size_t index) = 0;
    /// It is back, possibly with another product id and another path.
    virtual void arrived(std::size_t index) = 0;
    /// The device sends an input report. An empty report makes the read fail.
    virtual void sent(std::size_t index, const std::vector<std::uint8_t> &report) = 0;
};

} // namespace sim
