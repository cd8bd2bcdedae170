#pragma once

#include <chrono>
#include <cstdint>
#include <optional>

namespace sim {

/// Time since any fixed moment, on a clock that never goes back.
using Time = std::chrono::microseconds;

/// The restart begins this long after the answer to the entry packet, and not before this
/// part of the time from the entry packet to upgrade mode. So a host can read the answer,
/// also under load, before the microphone leaves the bus.
constexpr Time restartPause = std::chrono::milliseconds(100);
constexpr int restartPartNumerator = 4;
constexpr int restartPartDenominator = 5;

/// Which answers the microphone withholds. `All` includes the verdict.
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
    /// From the moment when the verdict is certain to its report.
    Time verdictDelay = std::chrono::milliseconds(5);
    /// The time between two reports of the verdict. Without it there is only one report.
    std::optional<Time> verdictRepeat;
    /// From its first data packet to its verdict it sends reports that have nothing to do with
    /// the upgrade, at this interval.
    std::optional<Time> chatter;
    /// An image without a seal ends when no packet has come for this long.
    Time quiet = std::chrono::milliseconds(500);
    std::optional<std::uint32_t> unplugAt;
    /// After it was first opened.
    std::optional<Time> unplugAfter;
    std::optional<Time> replugAfter;
    std::optional<std::uint16_t> replugAs;
    bool replugUpgrading = false;
};

} // namespace sim
