#include "src/support/FutexLock.hpp"

#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>

namespace zdds {
namespace {

// Most locks are held for less than it takes to fall asleep.
constexpr int spins = 64;

void pause() {
#if defined(__x86_64__) || defined(__i386__)
    __builtin_ia32_pause();
#endif
}

// Sleeps while the word has that value; returns at once when it has not. The deadline is absolute on the
// monotonic clock. False when it has passed.
bool sleepWhile(std::atomic<std::uint32_t>& word, std::uint32_t value, const timespec* deadline) {
    static_assert(sizeof word == sizeof(std::uint32_t));
    const long result = syscall(SYS_futex, &word, FUTEX_WAIT_BITSET_PRIVATE, value, deadline, nullptr,
        FUTEX_BITSET_MATCH_ANY);
    return result == 0 || errno != ETIMEDOUT;
}

} // namespace

bool FutexLock::waitAndTake(const timespec* deadline) {
    for (int i = 0; i < spins; ++i) {
        if (word_.load(std::memory_order_relaxed) == notHeld && takeFree())
            return true;
        pause();
    }
    // Whoever has slept cannot know whether others still do, and takes the lock as contended: at worst its
    // own giving wakes nobody.
    while (word_.exchange(contended, std::memory_order_acquire) != notHeld)
        if (!sleepWhile(word_, contended, deadline))
            return false;
    return true;
}

void FutexLock::wakeOne(std::atomic<std::uint32_t>* word) {
    syscall(SYS_futex, word, FUTEX_WAKE_PRIVATE, 1, nullptr, nullptr, 0);
}

} // namespace zdds
