#pragma once

#include "simulator/model/Bus.h"

#include <cstddef>
#include <deque>

/// The HID library's opaque handle. It is kept until the process ends, so that a handle
/// that is used after its closing is recognised.
struct hid_device_
{
    int number = 0;
    /// Which device of the simulator.
    std::size_t device = 0;
    bool closed = false;
    /// The device has left the bus. When it comes back, it must be opened again.
    bool lost = false;
    /// The last read failed; the failures that follow it are not traced.
    bool failing = false;
    std::deque<sim::Bus::Report> queue;
};
