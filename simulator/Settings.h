#pragma once

#include "simulator/CallRanges.h"
#include "simulator/MicrophoneSettings.h"
#include "simulator/wire.h"

#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace sim {

struct DeviceId
{
    std::uint16_t vendor;
    std::uint16_t product;
};

/// Another device, which comes and goes once.
struct Visitor
{
    DeviceId id{};
    /// The microphone's packet after which it comes, and how long it stays.
    std::uint32_t at = 1;
    Time stay = std::chrono::milliseconds(100);
};

/// Everything that VELMO_SIM says.  README.md has the grammar and the defaults.
struct Settings
{
    /// In the order of the enumeration.
    std::vector<DeviceId> devices = {{microphoneVendor, plainProduct}};
    /// Of the microphone that is opened first.
    MicrophoneSettings microphone;
    /// How long a write takes that is not a slow one.
    Time packetTime = std::chrono::milliseconds(1);
    /// One that comes back does so under another path.
    bool newPath = false;
    std::optional<Visitor> visitor;
    CallRanges failingWrites;
    /// These take another time.
    CallRanges slowWrites;
    Time slowTime = std::chrono::milliseconds(1500);
    CallRanges failingReads;
    /// Counts the reports handed out, not the calls: most reads find nothing.
    CallRanges shortReads;

    /// The settings, or one line that names the setting at fault and what is
    /// allowed.
    static std::variant<Settings, std::string> parse(const std::string &text);

    /// How long this write takes, the first one being 1.
    Time writeTime(std::uint32_t call) const
    {
        return slowWrites.contains(call) ? slowTime : packetTime;
    }
};

} // namespace sim
