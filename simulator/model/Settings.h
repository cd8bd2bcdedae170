#pragma once

#include "simulator/model/MicrophoneSettings.h"
#include "simulator/model/wire.h"

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <variant>
#include <vector>

namespace sim {

struct DeviceId
{
    std::uint16_t vendor = microphoneVendor;
    std::uint16_t product = plainProduct;
};

/// Everything that VELMO_SIM says. README.md has the grammar and the defaults.
struct Settings
{
    /// Calls of a kind, counted from 1.
    using Calls = std::set<std::uint32_t>;

    /// In the order of the enumeration.
    std::vector<DeviceId> devices = {DeviceId()};
    /// Settings of the microphone that is opened first.
    MicrophoneSettings microphone;
    /// How long a write takes, except the slow ones.
    Time packetTime = std::chrono::milliseconds(1);
    /// A microphone that comes back has another path.
    bool newPath = false;
    /// Another device, which comes and goes once.
    std::optional<DeviceId> extra;
    /// The microphone's packet after which it comes, and how long it stays.
    std::uint32_t extraAt = 1;
    Time extraStay = std::chrono::milliseconds(100);
    Calls failingWrites;
    /// These take `slowTime`.
    Calls slowWrites;
    Time slowTime = std::chrono::milliseconds(1500);
    /// These two count the reports that the devices send.
    Calls shortReads;
    Calls failingReads;

    /// The settings, or one line that names the setting at fault.
    static std::variant<Settings, std::string> parse(const std::string &text);
};

} // namespace sim
