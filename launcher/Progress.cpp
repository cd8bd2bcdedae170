#include "launcher/Progress.h"

qint64 Progress::timeLeft(int sent, int toSend, qint64 tookMs)
{
    constexpr qint64 leastMs = 2000;
    if (sent <= 0 || tookMs < leastMs)
        return unknown;
    return tookMs * qMax(0, toSend) / sent;
}

QString Progress::phaseName() const
{
    switch (phase) {
    case Phase::Starting:
        return QStringLiteral("starting");
    case Phase::Entering:
        return QStringLiteral("entering");
    case Phase::Sending:
        return QStringLiteral("sending");
    case Phase::Verdict:
        break;
    }
    return QStringLiteral("verdict");
}

QString Progress::phaseText() const
{
    switch (phase) {
    case Phase::Starting:
        return QStringLiteral("looking for the microphone");
    case Phase::Entering:
        return QStringLiteral("entering upgrade mode");
    case Phase::Sending:
        return QStringLiteral("sending the firmware");
    case Phase::Verdict:
        break;
    }
    return QStringLiteral("waiting for the verdict");
}
