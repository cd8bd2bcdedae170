#include "upgrade/SteadyTransferClock.h"

#include <QThread>

void SteadyTransferClock::sleep(int milliseconds)
{
    QThread::msleep(static_cast<unsigned long>(milliseconds));
}
