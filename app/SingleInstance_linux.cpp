#include "app/SingleInstance.h"

void SingleInstance::clearAbandoned()
{
    // A segment outlives a killed process here.  The last one to detach removes it,
    // so this leaves a segment that another updater holds and no other.
    if (segment.attach(QSharedMemory::ReadWrite))
        segment.detach();
}
