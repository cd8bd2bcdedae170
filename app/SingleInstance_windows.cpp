#include "app/SingleInstance.h"

bool SingleInstance::isHeld()
{
    // The system removes the segment with the last process that held it.
    return segment.attach(QSharedMemory::ReadWrite);
}
