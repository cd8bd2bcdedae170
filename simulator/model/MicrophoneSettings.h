#pragma once

#include <chrono>
#include <cstdint>
#include <optional>

namespace sim {

/// Time since any fixed moment, on a clock that never goes back.
using Time = std::chrono::microseconds;

/// The restart begins at least this long after the entry packet's answer, and not before
/// this part of the time from the entry packet to upgrade mode, so that the answer can
/// still be read, by a host under load too, from a microphone that leaves the bus.
constexpr Time restartPause = std::chrono::milliseconds(100);
constexpr int restartPartNumerator = 4;
constexpr int restartPartDenominator = 5;

/// Which answers the microphone keeps to itself.  Its verdict only with `All`.
enum class Silence
{
    None,
    All,
    Entry,
    Data
};

enum class VerdictKind
{
    ByImage,
    Success6,
    Failure2,
    Failure4,
    FailureFlag,
    None
};

/// How one microphone behaves.
struct MicrophoneSettings
{
    /// From the last packet taken to the answer.
    Time answerDelay = std::chrono::milliseconds(2);
    Silence silence = Silence::None;
    /// From the entry packet to upgrade mode.
    Time enterTime = std::chrono::milliseconds(500);
    /// Leaves the bus while it restarts.
    bool vanish = false;
    /// The product id it comes back with after the restart.
    std::optional<std::uint16_t> returnAs;
    VerdictKind verdict = VerdictKind::ByImage;
    /// The packet after which the verdict comes early.
    std::optional<std::uint32_t> verdictAt;
    /// From being sure of the verdict to giving it.
    Time verdictDelay = std::chrono::milliseconds(5);
    /// From one saying of the verdict to the next; none: it is said once.
    std::optional<Time> verdictRepeat;
    /// An image without a seal ends when no packet has come for this long.
    Time quiet = std::chrono::milliseconds(500);
    std::optional<std::uint32_t> unplugAt;
    /// Since it was first opened.
    std::optional<Time> unplugAfter;
    std::optional<Time> replugAfter;
    std::optional<std::uint16_t> replugAs;
    bool replugUpgrading = false;
};

} // namespace sim
