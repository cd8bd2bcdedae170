#include "app/SingleInstance.h"

#include <QFile>

#include <sys/shm.h>

namespace {

/// What the toolkit makes a segment's key with, besides the key file.
constexpr int keyProject = 'Q';

} // namespace

void SingleInstance::clearAbandoned()
{
    // A segment outlives a killed process here.
    const key_t key = ftok(QFile::encodeName(segment.nativeKey()).constData(), keyProject);
    const int id = key != -1 ? shmget(key, 0, 0) : -1;
    shmid_ds status{};
    // One that nobody was ever attached to is being created right now.
    if (id != -1 && shmctl(id, IPC_STAT, &status) == 0 && status.shm_nattch == 0 &&
        status.shm_atime != 0)
        shmctl(id, IPC_RMID, nullptr);
}
