#include "launcher/ExpectedDuration.h"

#include <algorithm>

namespace {

// The schedule; docs/protocol.md tells it.
constexpr double restartPause = 7;
constexpr double otgEntryPause = 10;
/// The longest wait for a report, behind packet 0 and behind each batch.
constexpr double confirmationWindow = 0.2;
/// Packets 0 to 2 go out before the first batch of five.
constexpr int packetsBeforeBatches = 3;
constexpr int batchSize = 5;

/// The batches that are followed by a wait; what is left behind them is not.
int batchesOf(int packets)
{
    return std::max(0, packets - packetsBeforeBatches - 1) / batchSize;
}

} // namespace

ExpectedDuration ExpectedDuration::of(int packets, bool otg)
{
    // One wait behind packet 0; the second, behind packets 1 and 2, only where more
    // packets follow.
    const int waits = 1 + (packets > packetsBeforeBatches ? 1 : 0) + batchesOf(packets);
    const double entry = otg ? otgEntryPause : 0;
    return {otg ? entry : restartPause, entry + restartPause + waits * confirmationWindow};
}

QString ExpectedDuration::text() const
{
    return QStringLiteral("%1 s to %2 s of waiting by the schedule, the transfer itself on top; "
                          "less if the microphone is in its upgrade mode already")
        .arg(least, 0, 'f', 0)
        .arg(most, 0, 'f', 1);
}
