#include "middleware/host/MutexPools.hpp"

#include <algorithm>

#include "middleware/host/LockRanks.hpp"
#include "middleware/log/DdsLog.hpp"

namespace zdds::host {

bool MutexPool::reserve(DDS_UnsignedLong level) {
    if (level > maximumLevel)
        return ZDDS_FAIL(
            false, BAD_PARAMETER_FAILURE, "%s concurrency level %u is above %u", name_, level, maximumLevel);
    const DDS_UnsignedLong wanted = std::max(level, DDS_UnsignedLong{1});
    const DDS_UnsignedLong before = made();
    for (DDS_UnsignedLong i = before; i < wanted; ++i) {
        ORXOsapiSemaphore* mutex = ORXOsapiSemaphore_new(ORX_OSAPI_SEMAPHORE_KIND_MUTEX, nullptr);
        if (mutex == nullptr) {
            discard(before);
            return ZDDS_FAIL(false, FAILED_TO_CREATE, "%s mutex %u", name_, i);
        }
        ORXOsapiSemaphore_setRank(mutex, lockRankQueue, name_);
        mutexes_[i] = mutex;
        made_.store(i + 1, std::memory_order_release);
    }
    level_.store(wanted, std::memory_order_release);
    return true;
}

void MutexPool::discard(DDS_UnsignedLong keep) {
    if (level() > keep)
        level_.store(keep, std::memory_order_release);
    while (made() > keep) {
        const DDS_UnsignedLong last = made() - 1;
        made_.store(last, std::memory_order_release);
        ORXOsapiSemaphore_delete(mutexes_[last]);
        mutexes_[last] = nullptr;
    }
}

bool MutexPool::passThrough() {
    const ORXNtpTime bound{10, 0};
    for (DDS_UnsignedLong i = 0; i < made(); ++i) {
        if (ORXOsapiSemaphore_take(mutexes_[i], &bound) != ORX_OSAPI_SEMAPHORE_STATUS_OK)
            return ZDDS_FAIL(false, FAILED_TO_LOCK, "%s mutex %u: its holder does not give it", name_, i);
        ORXOsapiSemaphore_give(mutexes_[i]);
    }
    return true;
}

} // namespace zdds::host
