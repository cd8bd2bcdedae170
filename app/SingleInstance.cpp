#include "app/SingleInstance.h"

namespace {

constexpr int segmentSize = 1;

} // namespace

SingleInstance::SingleInstance()
    : segment(QStringLiteral("Velmo_KVX2"))
{
}

bool SingleInstance::acquire()
{
    // Creating is atomic.  When another updater is faster, the second look finds it.
    constexpr int looks = 2;
    for (int look = 0; look < looks; ++look) {
        clearAbandoned();
        if (segment.attach(QSharedMemory::ReadWrite))
            return false;
        if (segment.create(segmentSize, QSharedMemory::ReadWrite))
            return true;
    }
    return true;
}

void SingleInstance::release()
{
    segment.detach();
}
