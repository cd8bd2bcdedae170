#pragma once

#include "upgrade/ITransferClock.h"

#include <functional>

/// A clock whose time passes only by being asked or slept on: one millisecond a
/// question, so polling loops come to their end at once.
class FakeClock : public ITransferClock
{
public:
    qint64 now() override
    {
        ++time;
        if (onTick)
            onTick();
        return time;
    }

    void sleep(int milliseconds) override
    {
        time += milliseconds;
        if (onSleep)
            onSleep(milliseconds);
    }

    qint64 time = 0;
    /// What happens meanwhile in another thread.
    std::function<void()> onTick;
    std::function<void(int)> onSleep;
};
