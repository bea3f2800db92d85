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

ORX_MonitoringLockResult take(ORXOsapiSemaphore* mutex, const DDS_Duration_t* timeout) {
    ORXNtpTime time = ORX_NTP_TIME_INFINITE;
    if (timeout != nullptr)
        DDS_Duration_to_ntp_time(timeout, &time);
    switch (ORXOsapiSemaphore_take(mutex, timeout == nullptr ? nullptr : &time)) {
    case ORX_OSAPI_SEMAPHORE_STATUS_OK:
        return ORX_MONITORING_LOCK_RESULT_OK;
    case ORX_OSAPI_SEMAPHORE_STATUS_TIMEOUT:
        return ORX_MONITORING_LOCK_RESULT_TIMEOUT;
    default:
        return ORX_MONITORING_LOCK_RESULT_ERROR;
    }
}

} // namespace

ORX_MonitoringLockResult ORX_Monitoring_lockI(ORX_MonitoringLockKind lockKind,
    DDS_UnsignedLong concurrencyIndex, int flagA, int flagB, const DDS_Duration_t* timeout) {
    if (!host().isOfThisProcess())
        return ORX_MONITORING_LOCK_RESULT_NOT_ENABLED;
    if (flagA != 0 && !ORX_MonitoringHost_is_enabled())
        return ORX_MONITORING_LOCK_RESULT_NOT_ENABLED;
    ORXOsapiSemaphore* mutex = findMutex(lockKind, concurrencyIndex, false);
    if (mutex == nullptr)
        return ZDDS_FAIL(ORX_MONITORING_LOCK_RESULT_ERROR, FAILED_TO_FIND,
            "monitoring lock of kind %d with index %u", static_cast<int>(lockKind), concurrencyIndex);
    const ORX_MonitoringLockResult result = take(mutex, timeout);
    if (result == ORX_MONITORING_LOCK_RESULT_ERROR)
        return ZDDS_FAIL(result, FAILED_TO_LOCK, "monitoring lock of kind %d with index %u",
            static_cast<int>(lockKind), concurrencyIndex);
    if (result != ORX_MONITORING_LOCK_RESULT_OK)
        return result;
    // The library may have gone away while this thread waited. With flagA alone the caller does not ask
    // again.
    const bool looksAgain = flagB != 0 || flagA == 0;
    if (looksAgain && !ORX_MonitoringHost_is_enabled()) {
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
