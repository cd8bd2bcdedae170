#pragma once

#include "simulator/model/Bus.h"

#include <cstddef>
#include <deque>

/// What stands behind the HID library's opaque handle.  Kept to the process's end,
/// so that a handle that is used after its closing is still known for what it is.
struct hid_device_
{
    int number = 0;
    /// Which device of the simulator.
    std::size_t device = 0;
    bool closed = false;
    /// The device has left the bus; one that comes back has to be opened anew.
    bool lost = false;
    /// The last read failed; the failures that follow it are not traced.
    bool failing = false;
    std::deque<sim::Bus::Report> queue;
};
