#include "src/resource/ResourcePin.h"

#include "src/log/Log.hpp"
#include "src/resource/MonitoringResourceRegistry.h"
#include "zddscore/thread.h"

namespace {

constexpr ORX_UINT32 orxLogSubmodule = orx::log::submodule::resource;

// The mutex of the process's registry, for callers that do not hold it.
class ResourcesMutex {
public:
    bool take() {
        ORX_MonitoringClass* monitoringClass = ORX_Monitoring_getPublishedClassI();
        ORX_MonitoringResourceRegistry* registry =
            monitoringClass != nullptr ? ORX_Monitoring_getResourceRegistry(monitoringClass) : nullptr;
        if (registry == nullptr)
            return ORX_ERROR(FAILED_TO_GET, "Resource registry");
        if (ORXOsapiSemaphore_take(registry->resourcesMutex, nullptr) != ORX_OSAPI_SEMAPHORE_STATUS_OK)
            return ORX_ERROR(FAILED_TO_LOCK, "Resources mutex");
        mutex = registry->resourcesMutex;
        return true;
    }
    // Success when it was not taken.
    bool give() {
        if (mutex != nullptr && ORXOsapiSemaphore_give(mutex) != ORX_OSAPI_SEMAPHORE_STATUS_OK)
            return ORX_ERROR(FAILED_TO_UNLOCK, "Resources mutex");
        return true;
    }

private:
    ORXOsapiSemaphore* mutex = nullptr;
};

bool pin(ORX_MonitoringResource& self, ORX_MonitoringResourceLockThreadMask lockThreadBit) {
    if ((self.lockThreadMask & lockThreadBit) != 0)
        return ORX_ERROR(FAILED_TO_LOCK, "Resource. The resource is already locked by the current thread");
    ++self.lockCounter;
    self.lockThreadMask |= lockThreadBit;
    return true;
}

} // namespace

int ORX_MonitoringResource_lock(
    ORX_MonitoringResource* self, ORX_MonitoringResourceLockThreadMask lockThreadBit, int mutexAlreadyTaken) {
    ORX_FAIL_IF(self == ORX_NULL);
    ResourcesMutex mutex;
    if (!mutexAlreadyTaken && !mutex.take())
        return 0;
    const bool isPinned = pin(*self, lockThreadBit);
    return mutex.give() && isPinned;
}

int ORX_MonitoringResource_unlock(
    ORX_MonitoringResource* self, ORX_MonitoringResourceLockThreadMask lockThreadBit, int mutexAlreadyTaken) {
    ORX_FAIL_IF(self == ORX_NULL);
    ResourcesMutex mutex;
    if (!mutexAlreadyTaken && !mutex.take())
        return 0;
    --self->lockCounter;
    self->lockThreadMask &= ~lockThreadBit;
    return mutex.give();
}

int ORX_MonitoringResource_letPinsChangeI(ORXOsapiSemaphore* resourcesMutex) {
    constexpr ORXNtpTime pollingInterval = {.sec = 0, .frac = 100000000}; /* 23 ms */
    if (ORXOsapiSemaphore_give(resourcesMutex) != ORX_OSAPI_SEMAPHORE_STATUS_OK)
        return ORX_ERROR(FAILED_TO_UNLOCK, "Giving resources mutex in the resource list");
    ORXOsapiThread_sleep(&pollingInterval);
    if (ORXOsapiSemaphore_take(resourcesMutex, nullptr) != ORX_OSAPI_SEMAPHORE_STATUS_OK)
        return ORX_ERROR(FAILED_TO_LOCK, "Taking resources mutex in the resource list");
    return 1;
}
