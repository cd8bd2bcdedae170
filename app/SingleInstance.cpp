#include "app/SingleInstance.h"

namespace {

constexpr int segmentSize = 1;

} // namespace

SingleInstance::SingleInstance()
    : segment(QStringLiteral("Velmo_KVX2"))
{
    // With a native key the toolkit does without its semaphore. When several updaters start at
    // once, that semaphore can be left locked on Linux, and then none of them ever starts.
    const QString nativeKey = segment.nativeKey();
    segment.setNativeKey(nativeKey);
}

bool SingleInstance::acquire()
{
    // Creating is atomic. If another updater created it first, the second pass sees that and
    // stops.
    constexpr int passes = 2;
    for (int pass = 0; pass < passes; ++pass) {
        if (isHeld())
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
