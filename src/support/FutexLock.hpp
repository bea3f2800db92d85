// A lock for whoever pushes from an application's thread: free, it costs one atomic operation to take and a
// plain store to give.
//
// A plain store is half of what an exchange costs on the usual processors, which makes them wait until all
// stores before it are done. It leaves one gap. Who gives looks first whether anybody waits, and then stores;
// who comes to wait in between is not seen, and nobody wakes him. So nobody sleeps without an end: the first
// nap is short, and by the end of it every later giver sees that somebody waits. The gap is a few
// nanoseconds wide, and opens only to a thread that found the lock held for longer than it spun.
//
// It knows no owner and is not recursive. Giving touches nothing of the lock after the store, so that whoever
// takes it next may free it. Waiting runs on the monotonic clock.
#pragma once

#include <atomic>
#include <cstdint>
#include <ctime>

#include "src/support/Sanitizers.hpp"

#ifdef ZDDS_THREAD_SANITIZER
#include <sanitizer/tsan_interface.h>
#endif

namespace zdds {

class FutexLock {
public:
    // Whether a try before a wait is all gain. Under the thread sanitizer a try is no wait, and it would miss
    // an order of locks that can wait for each other.
#ifdef ZDDS_THREAD_SANITIZER
    static constexpr bool isTriedFirst = false;
#else
    static constexpr bool isTriedFirst = true;
#endif

    bool tryTake() {
        beforeTake(false);
        const bool taken = takeFree();
        afterTake(taken, false);
        return taken;
    }
    // Until the deadline, or for ever for null. False when the time is up.
    bool take(const timespec* deadline) {
        const bool isForEver = deadline == nullptr;
        beforeTake(isForEver);
        const bool taken = takeFree() || waitAndTake(deadline);
        afterTake(taken, isForEver);
        return taken;
    }
    // By whoever took it.
    void give() {
        beforeGive();
        const bool isWanted = waiters_.load(std::memory_order_relaxed) != 0;
        word_.store(notHeld, std::memory_order_release);
        if (isWanted) [[unlikely]]
            wakeOne(&word_);
        afterGive();
    }

private:
    static constexpr std::uint32_t notHeld = 0;
    static constexpr std::uint32_t held = 1;

    bool takeFree() {
        std::uint32_t expected = notHeld;
        return word_.compare_exchange_strong(
            expected, held, std::memory_order_acquire, std::memory_order_relaxed);
    }
    [[gnu::cold]] bool waitAndTake(const timespec* deadline);
    static void wakeOne(std::atomic<std::uint32_t>* word);

    // The thread sanitizer sees the order that the word makes; that this is a lock, whose order among others
    // it checks, it has to be told.
#ifdef ZDDS_THREAD_SANITIZER
    void beforeTake(bool isForEver) {
        __tsan_mutex_pre_lock(this, kindOf(isForEver));
    }
    void afterTake(bool taken, bool isForEver) {
        __tsan_mutex_post_lock(this, kindOf(isForEver) | (taken ? 0U : __tsan_mutex_try_lock_failed), 0);
    }
    void beforeGive() {
        __tsan_mutex_pre_unlock(this, 0);
    }
    void afterGive() {
        __tsan_mutex_post_unlock(this, 0);
    }
    static unsigned kindOf(bool isForEver) {
        return isForEver ? 0U : __tsan_mutex_try_lock;
    }
#else
    void beforeTake(bool) {}
    void afterTake(bool, bool) {}
    void beforeGive() {}
    void afterGive() {}
#endif

    std::atomic<std::uint32_t> word_{notHeld};
    std::atomic<std::uint32_t> waiters_{0}; // threads that have spun in vain
};

} // namespace zdds
