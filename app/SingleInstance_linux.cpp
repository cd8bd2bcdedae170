#include "app/SingleInstance.h"

#include <QFile>

void SingleInstance::clearAbandoned()
{
    // A segment outlives a killed process here.  The last one to detach removes it,
    // so this leaves a segment that another updater holds and no other.
    if (segment.attach(QSharedMemory::ReadWrite))
        segment.detach();
}

void SingleInstance::clearNameless()
{
    // The system knows a segment by the inode of a file in the temporary folder.  When
    // that folder was cleaned behind a killed updater, the segment is still there, and
    // a new file gets the old inode.  With the file in place it can be attached to.
    QFile file(segment.nativeKey());
    if (file.open(QIODevice::Append))
        file.close();
    clearAbandoned();
}
