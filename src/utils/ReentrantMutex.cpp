#include "src/utils/ReentrantMutex.h"

#include <atomic>

#include "src/log/Log.hpp"
#include "zddscore/heap.h"
#include "zddscore/thread.h"

namespace {

constexpr ORX_UINT32 orxLogSubmodule = orx::log::submodule::forwarder;

// Relaxed: only the owner ever writes its own id here, so a thread that reads its own id is the owner, and
// any other value, stale or not, tells it that it is not.
bool isOwner(ORX_MonitoringForwarderMutex& self) {
    return std::atomic_ref(self.owner).load(std::memory_order_relaxed) == ORXOsapiThread_getCurrentThreadID();
}

void setOwner(ORX_MonitoringForwarderMutex& self, ORX_UINT64 owner) {
    std::atomic_ref(self.owner).store(owner, std::memory_order_relaxed);
}

} // namespace

ORX_MonitoringForwarderMutex* ORX_MonitoringForwarderMutex_new(void) {
    ORX_MonitoringForwarderMutex* self;
    if (!ORXOsapiHeap_allocateStructure(&self, ORX_MonitoringForwarderMutex))
        return ORX_ERROR(FAILED_TO_ALLOCATE, "struct ORX_MonitoringForwarderMutex");
    self->mutex = ORXOsapiSemaphore_new(ORX_OSAPI_SEMAPHORE_KIND_MUTEX, nullptr);
    if (self->mutex == nullptr) {
        ORXOsapiHeap_freeStructure(self);
        return ORX_ERROR(FAILED_TO_CREATE, "Reentrant mutex");
    }
    return self;
}

void ORX_MonitoringForwarderMutex_delete(ORX_MonitoringForwarderMutex* self) {
    if (self == nullptr)
        return;
    ORXOsapiSemaphore_delete(self->mutex);
    ORXOsapiHeap_freeStructure(self);
}

int ORX_MonitoringForwarderMutex_lock(ORX_MonitoringForwarderMutex* self) {
    ORX_FAIL_IF(self == ORX_NULL);
    if (isOwner(*self)) {
        ++self->counter;
        return 1;
    }
    if (ORXOsapiSemaphore_take(self->mutex, nullptr) != ORX_OSAPI_SEMAPHORE_STATUS_OK)
        return ORX_ERROR(FAILED_TO_LOCK, "Reentrant mutex");
    setOwner(*self, ORXOsapiThread_getCurrentThreadID());
    self->counter = 1;
    return 1;
}

int ORX_MonitoringForwarderMutex_unlock(ORX_MonitoringForwarderMutex* self) {
    ORX_FAIL_IF(self == ORX_NULL);
    if (!isOwner(*self))
        return ORX_ERROR(FAILED_TO_UNLOCK, "Reentrant mutex by a different thread");
    if (--self->counter > 0)
        return 1;
    setOwner(*self, 0);
    if (ORXOsapiSemaphore_give(self->mutex) != ORX_OSAPI_SEMAPHORE_STATUS_OK)
        return ORX_ERROR(FAILED_TO_UNLOCK, "Reentrant mutex");
    return 1;
}
