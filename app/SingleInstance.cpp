#include "app/SingleInstance.h"

#include <QDir>
#include <QLockFile>

namespace {

constexpr int segmentSize = 1;
constexpr int startLockWaitMs = 5000;

QString key()
{
    return QStringLiteral("Velmo_KVX2");
}

} // namespace

SingleInstance::SingleInstance()
    : segment(key())
{
}

bool SingleInstance::acquire()
{
    // Looking and creating are two steps; updaters that start at the same moment
    // take them one after the other.  Without the lock they still start.
    QLockFile startLock(QDir::temp().filePath(key() + QLatin1String(".start")));
    startLock.tryLock(startLockWaitMs);

    clearAbandoned();
    if (segment.attach(QSharedMemory::ReadWrite))
        return false;
    if (!segment.create(segmentSize, QSharedMemory::ReadWrite) &&
        segment.error() == QSharedMemory::AlreadyExists) {
        clearNameless();
        segment.create(segmentSize, QSharedMemory::ReadWrite);
    }
    return true;
}

void SingleInstance::release()
{
    segment.detach();
}
