#pragma once

#include <QString>

/// How long the updater's schedule keeps a transfer waiting, from the number of its
/// packets alone.  The packets' own time on the bus and the microphone's verdict,
/// which no schedule knows, come on top.  Plain data.
struct ExpectedDuration
{
    /// Seconds, when the microphone answers at once.  An R5 otg one is not listened to
    /// for the first 10 s, so the pause behind an answer is then left out.  Less only if
    /// the upgrade-mode command is never answered, or not needed.
    double least = 0;
    /// Seconds, when it answers the upgrade-mode command just in time and no batch.
    double most = 0;

    /// `packets`: of the image, packet 0 included.  `otg`: the path names the R5 otg
    /// microphone, which takes longer to restart.
    static ExpectedDuration of(int packets, bool otg);

    /// One phrase for a person.
    QString text() const;
};
