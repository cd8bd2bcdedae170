#pragma once

#include "simulator/model/DeviceNames.h"
#include "simulator/model/wire.h"

#include <array>
#include <cstdint>

namespace sim {

// Formatted with one item a line.
// clang-format off
/// The HID report descriptor of every simulated device: one numbered report of bytes in
/// each direction. Counts leave the report identifier out, as in all such descriptors.
constexpr std::array<std::uint8_t, 29> reportDescriptor = {
    0x06, deviceUsagePage & 0xFF, deviceUsagePage >> 8, // Usage Page
    0x09, deviceUsage,                                  // Usage
    0xA1, 0x01,                                         // Collection (Application)
    0x85, outputReportId,                               //   Report ID
    0x15, 0x00,                                         //   Logical Minimum (0)
    0x26, 0xFF, 0x00,                                   //   Logical Maximum (255)
    0x75, 0x08,                                         //   Report Size (8 bits)
    0x95, inputReportSize - 1,                          //   Report Count
    0x09, 0x02,                                         //   Usage
    0x81, 0x02,                                         //   Input (Data, Variable)
    0x95, outputReportSize - 1,                         //   Report Count
    0x09, 0x03,                                         //   Usage
    0x91, 0x02,                                         //   Output (Data, Variable)
    0xC0,                                               // End Collection
};
// clang-format on
static_assert(inputReportId == outputReportId, "one identifier serves both directions");

} // namespace sim
