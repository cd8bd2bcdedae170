#pragma once

#include <QString>

/// How long the transfer schedule waits, from the number of packets. The time that the packets
/// need on the bus and the microphone's verdict come on top.
struct ExpectedDuration
{
    /// Seconds if the microphone answers at once. The answer of an R5 otg microphone is lost
    /// in its first 10 s, so the pause after an answer is skipped. It takes less only if the
    /// upgrade-mode command is not answered or not needed.
    double least = 0;
    /// Seconds if it answers the upgrade-mode command just in time and no batch.
    double most = 0;

    /// `packets` includes packet 0. `otg`: the path selects the R5 otg microphone, which takes
    /// longer to restart.
    static ExpectedDuration of(int packets, bool otg);

    /// A phrase for the user.
    QString text() const;
};
