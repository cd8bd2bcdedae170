#include "launcher/ExpectedDuration.h"

#include "upgrade/transferSchedule.h"

#include <algorithm>

using namespace transferSchedule;

ExpectedDuration ExpectedDuration::of(int packets, bool otg)
{
    // One wait after packet 0, one after packets 1 and 2 if more packets follow, and one after
    // each batch except the last packets.
    const int waits = 1 + (packets > openingPackets ? 1 : 0) +
                      std::max(0, packets - openingPackets - 1) / batchSize;
    constexpr double millisecondsOfSecond = 1000;
    const int entryMs = otg ? otgEntryPauseMs : 0;
    return {(otg ? entryMs : restartPauseMs) / millisecondsOfSecond,
            (entryMs + restartPauseMs + waits * confirmationWindowMs) / millisecondsOfSecond};
}

QString ExpectedDuration::text() const
{
    return QStringLiteral(
               "%1 s to %2 s of waiting, plus the transfer itself; less if the microphone "
               "is in upgrade mode already")
        .arg(least, 0, 'f', 0)
        .arg(most, 0, 'f', 1);
}
