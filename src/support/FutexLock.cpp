#include "src/support/FutexLock.hpp"

#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>

#include "src/support/MonotonicTime.hpp"

namespace zdds {
namespace {

// Most locks are held for less than it takes to fall asleep.
constexpr int spins = 64;

void pause() {
#if defined(__x86_64__) || defined(__i386__)
    __builtin_ia32_pause();
#endif
}

// See FutexLock.hpp for why there is a first one.
constexpr long firstNapNs = 1'000'000;
constexpr long longestNapNs = 16'000'000;

// Who sleeps, and whom a wake is for.
constexpr std::uint32_t patientOnes = 1;
constexpr std::uint32_t askingOnes = 2;

// So many are told that it is handed to one of them, as the first may be waiting for a processor.
constexpr int toldOfHanding = 2;

bool isBefore(const timespec& left, const timespec& right) {
    return left.tv_sec < right.tv_sec || (left.tv_sec == right.tv_sec && left.tv_nsec < right.tv_nsec);
}

bool hasPassed(const timespec* deadline) {
    return deadline != nullptr && !isBefore(monotonicNow(), *deadline);
}

timespec fromNow(long nanoseconds) {
    timespec end = monotonicNow();
    end.tv_nsec += nanoseconds;
    if (end.tv_nsec >= nanosecondsPerSecond) {
        end.tv_nsec -= nanosecondsPerSecond;
        ++end.tv_sec;
    }
    return end;
}

// Sleeps until then at most while the word has that value; returns at once when it has not.
void napUntil(const timespec& end, std::atomic<std::uint32_t>& word, std::uint32_t value, std::uint32_t who) {
    static_assert(sizeof word == sizeof(std::uint32_t));
    syscall(SYS_futex, &word, FUTEX_WAIT_BITSET_PRIVATE, value, &end, nullptr, who);
}

void wake(std::atomic<std::uint32_t>* word, int count, std::uint32_t who) {
    syscall(SYS_futex, word, FUTEX_WAKE_BITSET_PRIVATE, count, nullptr, nullptr, who);
}

} // namespace

bool FutexLock::waitAndTake(const timespec* deadline) {
    if (spinAndTake())
        return true;
    waiters_.fetch_add(1, std::memory_order_relaxed);
    const bool taken = napAndTake(deadline) || (!hasPassed(deadline) && askAndTake(deadline));
    const bool isLast = waiters_.fetch_sub(1, std::memory_order_relaxed) == 1;
    // It may have been this thread that the last giver woke.
    if (!taken && !isLast && word_.load(std::memory_order_relaxed) == notHeld)
        wake(&word_, 1, patientOnes | askingOnes);
    return taken;
}

bool FutexLock::spinAndTake() {
    for (int i = 0; i < spins; ++i) {
        pause();
        if (word_.load(std::memory_order_relaxed) == notHeld && takeFree())
            return true;
    }
    return false;
}

// While it has patience. It spins ahead of each nap: the first time for who gave before it could see that
// somebody waits, and later because who takes it again and again leaves gaps, which a thread that is awake
// finds.
bool FutexLock::napAndTake(const timespec* deadline) {
    timespec end = fromNow(patienceNs);
    if (deadline != nullptr && isBefore(*deadline, end))
        end = *deadline;
    for (;;) {
        if (spinAndTake())
            return true;
        const std::uint32_t word = word_.load(std::memory_order_relaxed);
        if (word == notHeld)
            continue;
        if (hasPassed(&end))
            return false;
        napUntil(end, word_, word, patientOnes);
    }
}

bool FutexLock::askAndTake(const timespec* deadline) {
    asking_.fetch_add(1, std::memory_order_relaxed);
    for (long length = firstNapNs;; length = std::min(2 * length, longestNapNs)) {
        if (spinAndTakeAsAsker())
            return true;
        const bool isLate = hasPassed(deadline);
        if (isLate && takeOneOffAsking())
            return false;
        timespec end = fromNow(length);
        if (deadline != nullptr && !isLate && isBefore(*deadline, end))
            end = *deadline;
        napUntil(end, word_, held, askingOnes);
    }
}

bool FutexLock::spinAndTakeAsAsker() {
    for (int i = 0; i < spins; ++i) {
        const std::uint32_t word = word_.load(std::memory_order_relaxed);
        if (word == handed && takeAs(handed))
            return true;
        if (word == notHeld && takeFree()) {
            // Nothing is handed while it is free, so this thread is on the count still.
            asking_.fetch_sub(1, std::memory_order_relaxed);
            return true;
        }
        pause();
    }
    return false;
}

// False when nobody is on the count.
bool FutexLock::takeOneOffAsking() {
    std::uint32_t count = asking_.load(std::memory_order_relaxed);
    while (count > 0)
        if (asking_.compare_exchange_weak(count, count - 1, std::memory_order_relaxed))
            return true;
    return false;
}

void FutexLock::giveToWaiter() {
    const bool isAskedFor = takeOneOffAsking();
    std::atomic<std::uint32_t>* const word = &word_;
    if (isAskedFor) {
        word_.store(handed, std::memory_order_release);
        wake(word, toldOfHanding, askingOnes);
    } else { // one of the others may have begun to ask meanwhile
        word_.store(notHeld, std::memory_order_release);
        wake(word, 1, patientOnes | askingOnes);
    }
}

} // namespace zdds
