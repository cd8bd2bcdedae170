#pragma once

#include <QString>
#include <QtGlobal>

/// Where an upgrade stands.  Plain data.
struct Progress
{
    enum class Phase
    {
        /// The updater looks for the microphone.
        Starting,
        /// The microphone gets the upgrade-mode command and restarts.
        Entering,
        /// Packets go out.
        Sending,
        /// The last packet was handed to the system; a microphone that was unplugged
        /// meanwhile did not get them all.
        Verdict
    };

    Phase phase = Phase::Starting;
    /// 0 to 100; never goes down in one run.
    int percent = 0;
    /// Since the updater was started.
    qint64 elapsedMs = 0;

    static constexpr qint64 unknown = -1;
    /// Until the last packet is out, by the pace so far; or unknown.
    qint64 leftMs = unknown;

    /// The time that `toSend` packets will take, when `sent` took so long; unknown as long as
    /// that is too little to go by.
    static qint64 timeLeft(int sent, int toSend, qint64 tookMs);

    /// One word for programs.
    QString phaseName() const;
    /// The same for a person.
    QString phaseText() const;
};
