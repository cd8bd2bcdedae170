#pragma once

#include <QSharedMemory>

/// Lets one updater run at a time, by a named shared-memory segment that the
/// running one holds for its whole life.
///
/// Main thread. On Linux the segment's name follows TMPDIR.
class SingleInstance
{
public:
    SingleInstance();

    /// False when another updater is running. If the segment cannot be created, the
    /// updater runs without it.
    bool acquire();

    /// Releases the segment. The destructor does this, too.
    void release();

private:
    /// Whether another updater has the segment. On Linux it also removes an abandoned segment,
    /// such as that of a killed updater.
    bool isHeld();

    QSharedMemory segment;
};
