// A lock for whoever pushes from an application's thread: free, it costs one atomic operation to take and a
// plain store to give.
//
// Nobody waits for long beside a thread that takes it again and again. A thread that is woken needs some 50
// us to run, and by then such a thread has taken the lock many times. So who has waited longer than its
// patience asks for the lock, and the next giver hands it to one of those who asked: nobody else gets it in
// between. They are counted. A giver takes one off the count and then stores `handed`; who asked and gives up
// takes one off too, and where none is left, the lock is on its way to it.
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
    // How long others may get the lock before one who waits.
    static constexpr long patienceNs = 20'000;

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
    // Somebody has spun in vain for it. For whoever took it, as the following two.
    bool isWaitedFor() const { return waiters_.load(std::memory_order_relaxed) != 0; }
    // Where it has just been seen that nobody waits.
    void giveToNobody() { word_.store(notHeld, std::memory_order_release); }
    void give() {
        beforeGive();
        if (!isWaitedFor()) [[likely]]
            giveToNobody();
        else
            giveToWaiter();
        afterGive();
    }

private:
    static constexpr std::uint32_t notHeld = 0;
    static constexpr std::uint32_t held = 1;
    static constexpr std::uint32_t handed = 2; // not held, and only for one who asked

    bool takeAs(std::uint32_t expected) {
        return word_.compare_exchange_strong(
            expected, held, std::memory_order_acquire, std::memory_order_relaxed);
    }
    bool takeFree() { return takeAs(notHeld); }
    [[gnu::cold]] bool waitAndTake(const timespec* deadline);
    bool spinAndTake();
    bool napAndTake(const timespec* deadline);
    bool askAndTake(const timespec* deadline);
    bool spinAndTakeAsAsker();
    bool takeOneOffAsking();
    [[gnu::cold]] void giveToWaiter();

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
    std::atomic<std::uint32_t> waiters_{0}; // threads that have spun in vain, those who ask included
    std::atomic<std::uint32_t> asking_{0};  // who asked, less the one to whom the lock is handed
};

} // namespace zdds
