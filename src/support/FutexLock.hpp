// A lock of one word: free, held, or held with somebody waiting. Taking it when it is free and giving it when
// nobody waits are one atomic operation each and no system call.
//
// It knows no owner and is not recursive. Giving it touches the word once and nothing of it afterwards, so
// that whoever takes it next may free it. Waiting runs on the monotonic clock.
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
    bool waitAndTake(const timespec* deadline);
    static void wakeOne(std::atomic<std::uint32_t>* word);

    // The thread sanitizer sees the order that the word makes; that this is a lock, whose order among others
    // it checks, it has to be told.
#ifdef ZDDS_THREAD_SANITIZER
    void beforeTake(bool isForEver) { __tsan_mutex_pre_lock(this, kindOf(isForEver)); }
    void afterTake(bool taken, bool isForEver) {
        __tsan_mutex_post_lock(this, kindOf(isForEver) | (taken ? 0U : __tsan_mutex_try_lock_failed), 0);
    }
    void beforeGive() { __tsan_mutex_pre_unlock(this, 0); }
    void afterGive() { __tsan_mutex_post_unlock(this, 0); }
    static unsigned kindOf(bool isForEver) { return isForEver ? 0U : __tsan_mutex_try_lock; }
#else
    void beforeTake(bool) {}
    void afterTake(bool, bool) {}
    void beforeGive() {}
    void afterGive() {}
#endif

    std::atomic<std::uint32_t> word_{notHeld};
    std::atomic<std::uint32_t> waiters_{0};
};

} // namespace zdds
