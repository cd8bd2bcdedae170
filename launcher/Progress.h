#pragma once

#include <QtGlobal>

/// The progress of an upgrade.
struct Progress
{
    enum class Phase
    {
        /// The updater looks for the microphone.
        Starting,
        /// The microphone gets the upgrade-mode command and restarts.
        Entering,
        /// The updater sends the firmware.
        Sending,
        /// All packets were handed to the system. A microphone that was unplugged meanwhile
        /// did not get them all.
        Verdict
    };

    static constexpr int wholePercent = 100;
    static constexpr qint64 secondMs = 1000;
    static constexpr qint64 unknown = -1;

    Phase phase = Phase::Starting;
    /// 0 to 100. Never decreases.
    int percent = 0;
    /// Time since the updater was started.
    qint64 elapsedMs = 0;
    /// Estimated time until the last packet is sent, or unknown.
    qint64 leftMs = unknown;

    /// Estimates the time for `toSend` packets if `sent` packets took `tookMs`. Unknown if that
    /// is too short for an estimate.
    static qint64 timeLeft(int sent, int toSend, qint64 tookMs);

    /// A word for programs.
    const char *phaseName() const;
    /// A phrase for the user.
    const char *phaseText() const;
};
