// The library lock and the locks of the concurrency indexes.
#include "middleware/host/Host.hpp"
#include "middleware/log/DdsLog.hpp"

using zdds::host::host;

namespace {

// `held`: the caller holds the lock and is about to give it.
ORXOsapiSemaphore* findMutex(ORX_MonitoringLockKind kind, DDS_UnsignedLong index, bool held) {
    switch (kind) {
    case ORX_MONITORING_LOCK_KIND_LIBRARY: {
        ORX_MonitoringGlobals* globals = ORX_MonitoringGlobals_get_instance();
        return globals != nullptr && index == 0 ? globals->mutex : nullptr;
    }
    case ORX_MONITORING_LOCK_KIND_METRIC:
        return held ? host().metricPool.getMade(index) : host().metricPool.get(index);
    case ORX_MONITORING_LOCK_KIND_LOGGING:
        return held ? host().loggingPool.getMade(index) : host().loggingPool.get(index);
    }
    return nullptr;
}

// In this process, which the callers have made sure of.
bool isEnabled() {
    return host().enabled.load(std::memory_order_acquire);
}

ORXOsapiSemaphoreStatus take(ORXOsapiSemaphore* mutex, const DDS_Duration_t* timeout) {
    if (timeout == nullptr)
        return ORXOsapiSemaphore_take(mutex, nullptr);
    ORXNtpTime time = ORX_NTP_TIME_INFINITE;
    DDS_Duration_to_ntp_time(timeout, &time);
    return ORXOsapiSemaphore_take(mutex, &time);
}

} // namespace

// Every push takes its metric mutex here: the way to a free one is a dozen loads and one atomic operation.
ORX_MonitoringLockResult ORX_Monitoring_lockI(ORX_MonitoringLockKind lockKind,
    DDS_UnsignedLong concurrencyIndex, int flagA, int flagB, const DDS_Duration_t* timeout) {
    if (!host().isOfThisProcess() || (flagA != 0 && !isEnabled()))
        return ORX_MONITORING_LOCK_RESULT_NOT_ENABLED;
    ORXOsapiSemaphore* mutex = findMutex(lockKind, concurrencyIndex, false);
    if (mutex == nullptr)
        return ZDDS_FAIL(ORX_MONITORING_LOCK_RESULT_ERROR, FAILED_TO_FIND,
            "monitoring lock of kind %d with index %u", static_cast<int>(lockKind), concurrencyIndex);
    const ORXOsapiSemaphoreStatus status = take(mutex, timeout);
    if (status == ORX_OSAPI_SEMAPHORE_STATUS_TIMEOUT)
        return ORX_MONITORING_LOCK_RESULT_TIMEOUT;
    if (status != ORX_OSAPI_SEMAPHORE_STATUS_OK)
        return ZDDS_FAIL(ORX_MONITORING_LOCK_RESULT_ERROR, FAILED_TO_LOCK,
            "monitoring lock of kind %d with index %u", static_cast<int>(lockKind), concurrencyIndex);
    // The library may have gone away while this thread waited. With flagA alone the caller does not ask
    // again.
    if ((flagB != 0 || flagA == 0) && !isEnabled()) {
        ORXOsapiSemaphore_give(mutex);
        return ORX_MONITORING_LOCK_RESULT_NOT_ENABLED;
    }
    return ORX_MONITORING_LOCK_RESULT_OK;
}

// What is held is given whatever became of the library meanwhile, so flagA has no say.
int ORX_Monitoring_unlockI(
    ORX_MonitoringLockKind lockKind, DDS_UnsignedLong concurrencyIndex, int /*flagA*/) {
    ORXOsapiSemaphore* mutex = findMutex(lockKind, concurrencyIndex, true);
    if (mutex == nullptr)
        return ZDDS_FAIL(1, FAILED_TO_FIND, "monitoring lock of kind %d with index %u",
            static_cast<int>(lockKind), concurrencyIndex);
    if (ORXOsapiSemaphore_give(mutex) != ORX_OSAPI_SEMAPHORE_STATUS_OK)
        return ZDDS_FAIL(1, FAILED_TO_UNLOCK, "monitoring lock of kind %d with index %u",
            static_cast<int>(lockKind), concurrencyIndex);
    return 0;
}
