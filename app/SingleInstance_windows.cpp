#include "app/SingleInstance.h"

void SingleInstance::clearAbandoned()
{
    // The system removes the segment with the last process that held it.
}
