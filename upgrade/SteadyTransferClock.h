#pragma once

#include "upgrade/ITransferClock.h"

#include <QElapsedTimer>

/// Real time.
class SteadyTransferClock : public ITransferClock
{
public:
    SteadyTransferClock() { sinceStart.start(); }

    qint64 now() override { return sinceStart.elapsed(); }
    void sleep(int milliseconds) override;

private:
    QElapsedTimer sinceStart;
};
