#include "app/SingleInstance.h"

#include <QFile>

#include <sys/shm.h>

#include <ctime>

namespace {

/// The toolkit makes a segment's key from the key file and this number.
constexpr int keyProject = 'Q';

/// Far above the time between creating a segment and attaching to it.
constexpr std::time_t creationSeconds = 10;

} // namespace

// Looks without attaching. A starter that attaches for a moment and leaves could take the segment
// away from the one that is creating it.
bool SingleInstance::isHeld()
{
    const key_t key = ftok(QFile::encodeName(segment.nativeKey()).constData(), keyProject);
    const int id = key != -1 ? shmget(key, 0, 0) : -1;
    shmid_ds status{};
    if (id == -1 || shmctl(id, IPC_STAT, &status) != 0)
        return false;
    const bool wasAttached = status.shm_atime != 0;
    if (status.shm_nattch != 0 ||
        (!wasAttached && std::time(nullptr) - status.shm_ctime < creationSeconds))
        return true;
    // A segment outlives a killed process here.
    shmctl(id, IPC_RMID, nullptr);
    return false;
}
