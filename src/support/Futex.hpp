// Waiting for a change of an atomic word, for code that must neither allocate nor hold a lock.
#pragma once

#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <climits>
#include <cstdint>
#include <ctime>

namespace zdds {

using FutexWord = std::atomic<std::uint32_t>;
static_assert(sizeof(FutexWord) == sizeof(std::uint32_t) && FutexWord::is_always_lock_free);

// Returns when the word was woken, differs from `expected`, or `timeout` (null is none) has passed; may
// also return for no reason.
inline void futexWait(FutexWord& word, std::uint32_t expected, const timespec* timeout) {
    syscall(SYS_futex, &word, FUTEX_WAIT_PRIVATE, expected, timeout, nullptr, 0);
}

inline void futexWakeAll(FutexWord& word) {
    syscall(SYS_futex, &word, FUTEX_WAKE_PRIVATE, INT_MAX, nullptr, nullptr, 0);
}

} // namespace zdds
