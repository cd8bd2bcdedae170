#include "launcher/Progress.h"

#include <algorithm>
#include <array>

namespace {

struct PhaseTexts
{
    const char *name;
    const char *text;
};

constexpr std::array<PhaseTexts, 4> phaseTexts = {{{"starting", "looking for the microphone"},
                                                   {"entering", "entering upgrade mode"},
                                                   {"sending", "sending the firmware"},
                                                   {"verdict", "waiting for the verdict"}}};

} // namespace

qint64 Progress::timeLeft(int sent, int toSend, qint64 tookMs)
{
    constexpr qint64 leastMs = 2000;
    if (sent <= 0 || tookMs < leastMs)
        return unknown;
    return tookMs * std::max(0, toSend) / sent;
}

QString Progress::phaseName() const
{
    return QString::fromLatin1(phaseTexts.at(static_cast<std::size_t>(phase)).name);
}

QString Progress::phaseText() const
{
    return QString::fromLatin1(phaseTexts.at(static_cast<std::size_t>(phase)).text);
}
