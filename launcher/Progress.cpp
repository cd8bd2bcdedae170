#include "launcher/Progress.h"

#include <algorithm>
#include <array>

qint64 Progress::timeLeft(int sent, int toSend, qint64 tookMs)
{
    constexpr qint64 leastMs = 2000;
    return tookMs < leastMs ? unknown : tookMs * std::max(0, toSend) / sent;
}

const char *Progress::phaseName() const
{
    constexpr std::array names = {"starting", "entering", "sending", "verdict"};
    return names.at(static_cast<std::size_t>(phase));
}

const char *Progress::phaseText() const
{
    constexpr std::array texts = {"looking for the microphone", "entering upgrade mode",
                                  "sending the firmware", "waiting for the verdict"};
    return texts.at(static_cast<std::size_t>(phase));
}
