#include "app/SingleInstance.h"

bool SingleInstance::isHeld()
{
    // The system removes the segment when the last process that holds it ends.
    return segment.attach(QSharedMemory::ReadWrite);
}
