#pragma once

#include "simulator/CallRanges.h"
#include "simulator/MicrophoneSettings.h"
#include "simulator/wire.h"

#include <cstdint>
#include <string>
#include <variant>
#include <vector>

namespace sim {

struct DeviceId
{
    std::uint16_t vendor;
    std::uint16_t product;
};

/// Everything that VELMO_SIM says.  README.md has the grammar and the defaults.
struct Settings
{
    /// In the order of the enumeration.
    std::vector<DeviceId> devices = {{microphoneVendor, plainProduct}};
    /// Of the microphone that is opened first.
    MicrophoneSettings microphone;
    /// How long a write takes.
    Time packetTime = std::chrono::milliseconds(1);
    /// One that comes back does so under another path.
    bool newPath = false;
    CallRanges failingWrites;
    CallRanges failingReads;
    /// Counts the reports handed out, not the calls: most reads find nothing.
    CallRanges shortReads;

    /// The settings, or one line that names the setting at fault and what is
    /// allowed.
    static std::variant<Settings, std::string> parse(const std::string &text);
};

} // namespace sim
