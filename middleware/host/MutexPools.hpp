// The mutex pools of the library's concurrency indexes: one pool for metrics, one for log messages.
//
// A mutex, once made, lives until releaseAll: an application thread may be on its way into a lock while the
// library stops, and finds the mutex there and the library not enabled. So starting again makes only what is
// missing. Threads: reserve, discard and releaseAll by the host, under the library lock; get by any thread,
// without a lock.
#ifndef ZDDSC_HOST_MUTEX_POOLS_HPP
#define ZDDSC_HOST_MUTEX_POOLS_HPP

#include <array>
#include <atomic>

#include "zddsc/basic_types.h"
#include "zddscore/semaphore.h"

namespace zdds::host {

class MutexPool {
public:
    // Bounds what a configured concurrency level may allocate.
    static constexpr DDS_UnsignedLong maximumLevel = 1024;

    constexpr explicit MutexPool(const char* name) : name_(name) {}

    // Makes mutexes for `level` indexes, one for a level of 0: every executor needs a queue. False, with the
    // pool as it was, when the level is beyond the bound or memory is out.
    bool reserve(DDS_UnsignedLong level);
    // Deletes what lies beyond `keep` mutexes: undoes a reserve whose library did not come to be.
    void discard(DDS_UnsignedLong keep);
    void releaseAll() { discard(0); }
    // Takes and gives every mutex: whoever held one before this call has given it since. False when one was
    // not to be had within 10 seconds.
    bool passThrough();

    DDS_UnsignedLong made() const { return made_.load(std::memory_order_acquire); }
    DDS_UnsignedLong level() const { return level_.load(std::memory_order_acquire); }
    ORXOsapiSemaphore** mutexes() { return mutexes_.data(); }
    // Null beyond the level of the library that runs now, or ran last.
    ORXOsapiSemaphore* get(DDS_UnsignedLong index) { return index < level() ? mutexes_[index] : nullptr; }
    // For giving what an earlier get took, whatever the level is by now. Null for an index that never was.
    ORXOsapiSemaphore* getMade(DDS_UnsignedLong index) { return index < made() ? mutexes_[index] : nullptr; }

private:
    // Both are released after the mutexes below them were stored. Beside the first of these: a push reads
    // all.
    std::atomic<DDS_UnsignedLong> made_{0};
    std::atomic<DDS_UnsignedLong> level_{0};
    std::array<ORXOsapiSemaphore*, maximumLevel> mutexes_{};
    const char* name_;
};

} // namespace zdds::host

#endif
