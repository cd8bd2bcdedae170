#pragma once

/* A lock that is not recursive. */

#ifdef _WIN32

#include <windows.h>

typedef SRWLOCK hid_lock;
#define HID_LOCK_INITIAL SRWLOCK_INIT

static inline void hid_lock_init(hid_lock *lock)
{
    InitializeSRWLock(lock);
}
static inline void hid_lock_destroy(hid_lock *lock)
{
    (void)lock;
}
static inline void hid_lock_acquire(hid_lock *lock)
{
    AcquireSRWLockExclusive(lock);
}
static inline void hid_lock_release(hid_lock *lock)
{
    ReleaseSRWLockExclusive(lock);
}

#else

#include <pthread.h>

typedef pthread_mutex_t hid_lock;
#define HID_LOCK_INITIAL PTHREAD_MUTEX_INITIALIZER

static inline void hid_lock_init(hid_lock *lock)
{
    (void)pthread_mutex_init(lock, NULL);
}
static inline void hid_lock_destroy(hid_lock *lock)
{
    (void)pthread_mutex_destroy(lock);
}
static inline void hid_lock_acquire(hid_lock *lock)
{
    (void)pthread_mutex_lock(lock);
}
static inline void hid_lock_release(hid_lock *lock)
{
    (void)pthread_mutex_unlock(lock);
}

#endif
