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
constexpr long longestNapNs = 64'000'000;

timespec earlier(const timespec& left, const timespec* right) {
    if (right == nullptr || left.tv_sec < right->tv_sec ||
        (left.tv_sec == right->tv_sec && left.tv_nsec < right->tv_nsec))
        return left;
    return *right;
}

bool hasPassed(const timespec* deadline) {
    if (deadline == nullptr)
        return false;
    const timespec now = monotonicNow();
    return now.tv_sec > deadline->tv_sec ||
           (now.tv_sec == deadline->tv_sec && now.tv_nsec >= deadline->tv_nsec);
}

// Sleeps for so long at most while the word has that value; returns at once when it has not.
void nap(std::atomic<std::uint32_t>& word, std::uint32_t value, long nanoseconds, const timespec* deadline) {
    static_assert(sizeof word == sizeof(std::uint32_t));
    timespec end = monotonicNow();
    end.tv_nsec += nanoseconds;
    if (end.tv_nsec >= nanosecondsPerSecond) {
        end.tv_nsec -= nanosecondsPerSecond;
        ++end.tv_sec;
    }
    end = earlier(end, deadline);
    syscall(SYS_futex, &word, FUTEX_WAIT_BITSET_PRIVATE, value, &end, nullptr, FUTEX_BITSET_MATCH_ANY);
}

} // namespace

bool FutexLock::waitAndTake(const timespec* deadline) {
    for (int i = 0; i < spins; ++i) {
        pause();
        if (word_.load(std::memory_order_relaxed) == notHeld && takeFree())
            return true;
    }
    waiters_.fetch_add(1, std::memory_order_relaxed);
    bool taken = takeFree();
    for (long length = firstNapNs; !taken && !hasPassed(deadline);
         length = std::min(2 * length, longestNapNs)) {
        nap(word_, held, length, deadline);
        taken = takeFree();
    }
    waiters_.fetch_sub(1, std::memory_order_relaxed);
    return taken;
}

void FutexLock::wakeOne(std::atomic<std::uint32_t>* word) {
    syscall(SYS_futex, word, FUTEX_WAKE_PRIVATE, 1, nullptr, nullptr, 0);
}

} // namespace zdds
