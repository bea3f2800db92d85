// The host's state: the globals record, the library lock, the mutex pools, and whether the library is
// enabled.
//
// Threads: `enabled` may be read by any thread; everything else is written under the library lock.
#ifndef ZDDSC_HOST_HOST_HPP
#define ZDDSC_HOST_HOST_HPP

#include <atomic>

#include "middleware/entities/ForkGeneration.hpp"
#include "middleware/host/MutexPools.hpp"
#include "zddsc/monitoring.h"

namespace zdds::host {

struct alignas(64) Host {
    // Set, with release, once the created object stands in the globals; cleared before anything of it goes
    // away, and in a forked child. What a push reads of the host comes first, in one line of the cache.
    std::atomic<bool> enabled{false};
    MutexPool metricPool{"metric"};
    MutexPool loggingPool{"logging"};
    ORX_MonitoringGlobals globals{};
    // Of the participant that the library serves commands with, and so deletes once its threads have ended.
    // Unknown of one that serves none.
    DDS_GUID_t participant{};
    // The record above once it is complete, null before: what readers without a lock look at.
    std::atomic<ORX_MonitoringGlobals*> published{nullptr};
    // A forked child has a copy of all this and none of the threads: there the library is not enabled, and
    // nobody takes a lock that a lost thread may hold. Written before `published`.
    std::atomic<unsigned> forkGeneration{0};
    bool isOfThisProcess() const {
        return forkGeneration.load(std::memory_order_relaxed) == ForkGeneration::current();
    }
};

// One, for the life of the process; in reach without a call, since every push asks it.
extern constinit Host theHost;
inline Host& host() {
    return theHost;
}

// The object of the library, or null. Read without a lock by threads that log; who uses it holds a mutex of
// the pools and found the library enabled under it, which keeps the object alive (see stop).
inline ORX_MonitoringClass* runningLibrary() {
    return std::atomic_ref(host().globals.monitoringClass).load(std::memory_order_acquire);
}

} // namespace zdds::host

#endif
