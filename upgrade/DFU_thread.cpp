#include "upgrade/DFU_thread.h"

#include "upgrade/DevOperator.h"
#include "upgrade/linkFlags.h"

#include <QMutexLocker>

namespace {

constexpr unsigned long pollPauseMs = 2;

} // namespace

void DFU_thread::run()
{
    for (;;)
        onePass();
}

void DFU_thread::onePass()
{
    const QMutexLocker locker(&runMutex);
    msleep(pollPauseMs);
    if (linkReadyFlag)
        devOperator->readDeviceReport();
}
