// The record of a semaphore, and the quick way of a mutex.
//
// The mutex kind is a futex lock with an owner and a depth beside it, so that recursion and the check of the
// owner cost two loads. The quick way is in line for libzddsc too, which takes and gives a metric mutex on
// the application's threads for every push; both libraries are built and installed together. Threads: any.
// Errors: false, with nothing done, wherever it takes the function of zddscore/semaphore.h.
#pragma once

#include <pthread.h>

#include <atomic>

#include "src/support/FutexLock.hpp"
#include "src/support/Sanitizers.hpp"
#include "zddscore/semaphore.h"

// Aligned so that what a free mutex takes lies in one line of the cache.
struct alignas(32) ORXOsapiSemaphore {
    // Mutex kind. `owner` is null or the holder, written by the holder alone; another thread that reads it
    // only learns that it is not the holder itself. `nested` belongs to the holder: how often it took the
    // mutex beyond the first time; 0 while nobody holds it.
    zdds::FutexLock lock;
    unsigned nested;
    std::atomic<const void*> owner;

    ORXOsapiSemaphoreKind kind;
    int rank;
    const char* name;

    // Binary and counting kinds; the count is under the mutex.
    pthread_mutex_t mutex;
    pthread_cond_t changed;
    unsigned count;
};

namespace zdds {

// A thread is known by its thread pointer, of which each has its own.
inline const void* currentThread() {
    return __builtin_thread_pointer();
}

// Builds that watch locks see each of them in the functions that report it. The thread sanitizer would take a
// try for no wait, too, and miss an order of locks that can wait for each other.
#if defined(ZDDS_LOCK_ORDER_CHECK) || defined(ZDDS_THREAD_SANITIZER)
constexpr bool isQuickMutex = false;
#else
constexpr bool isQuickMutex = true;
#endif

// A mutex that is free, or this thread's already.
[[gnu::always_inline]] inline bool takeQuickly(ORXOsapiSemaphore& mutex) {
    if (!isQuickMutex)
        return false;
    const void* me = currentThread();
    if (mutex.owner.load(std::memory_order_relaxed) == me) [[unlikely]] {
        ++mutex.nested;
        return true;
    }
    if (!mutex.lock.tryTake()) [[unlikely]]
        return false;
    mutex.owner.store(me, std::memory_order_relaxed);
    return true;
}

// A mutex that this thread took once, and for which nobody waits.
[[gnu::always_inline]] inline bool giveQuickly(ORXOsapiSemaphore& mutex) {
    if (!isQuickMutex || mutex.owner.load(std::memory_order_relaxed) != currentThread() || mutex.nested > 0 ||
        mutex.lock.isWaitedFor()) [[unlikely]]
        return false;
    mutex.owner.store(nullptr, std::memory_order_relaxed);
    mutex.lock.giveToNobody();
    return true;
}

} // namespace zdds
