#include "launcher/ResultFollower.h"

#include <algorithm>

namespace {

constexpr int wholePercent = 100;

ResultFollower::Verdict verdictOf(const QByteArray &line)
{
    if (line == "success 1")
        return ResultFollower::Verdict::Success;
    if (line == "success -1")
        return ResultFollower::Verdict::Failure;
    return ResultFollower::Verdict::None;
}

} // namespace

void ResultFollower::take(const QByteArray &bytes)
{
    unfinished += bytes;
    for (int end = unfinished.indexOf('\n'); end >= 0; end = unfinished.indexOf('\n')) {
        takeLine(unfinished.left(end).trimmed());
        unfinished.remove(0, end + 1);
    }
    // The outcome has no line end; neither of the two is the begin of the other.
    if (outcome == Verdict::None)
        outcome = verdictOf(unfinished);
}

void ResultFollower::takeLine(const QByteArray &line)
{
    if (outcome == Verdict::None)
        outcome = verdictOf(line);
    bool isNumber = false;
    const int value = line.chopped(line.endsWith('%') ? 1 : 0).toInt(&isNumber);
    if (!isNumber || !line.endsWith('%'))
        return;
    ++stepCount;
    // The updater's count goes on past the whole when a transfer follows another in the same
    // process, which its window can bring about.
    highestPercent = std::max(highestPercent, std::min(value, wholePercent));
}
