// The library lock and the locks of the concurrency indexes.
//
// Every push of an event metric goes through both functions, so what is rare stays out of line: the way to a
// free metric mutex and back is a dozen loads beside the mutex itself.
#include "middleware/host/Host.hpp"
#include "middleware/log/DdsLog.hpp"

using zdds::host::host;

namespace {

// Of a library in this process; whether it is this process is asked once, before.
bool isEnabled() {
    return host().enabled.load(std::memory_order_acquire);
}

ORXOsapiSemaphore* libraryMutex(DDS_UnsignedLong index) {
    ORX_MonitoringGlobals* globals = ORX_MonitoringGlobals_get_instance();
    return globals != nullptr && index == 0 ? globals->mutex : nullptr;
}

// To be taken; null when there is none.
ORXOsapiSemaphore* findMutex(ORX_MonitoringLockKind kind, DDS_UnsignedLong index) {
    switch (kind) {
    case ORX_MONITORING_LOCK_KIND_METRIC:
        return host().metricPool.get(index);
    case ORX_MONITORING_LOCK_KIND_LOGGING:
        return host().loggingPool.get(index);
    case ORX_MONITORING_LOCK_KIND_LIBRARY:
        return libraryMutex(index);
    }
    return nullptr;
}

// To be given: the caller holds it, whatever the level is by now.
ORXOsapiSemaphore* findHeldMutex(ORX_MonitoringLockKind kind, DDS_UnsignedLong index) {
    switch (kind) {
    case ORX_MONITORING_LOCK_KIND_METRIC:
        return host().metricPool.getMade(index);
    case ORX_MONITORING_LOCK_KIND_LOGGING:
        return host().loggingPool.getMade(index);
    case ORX_MONITORING_LOCK_KIND_LIBRARY:
        return libraryMutex(index);
    }
    return nullptr;
}

[[gnu::noinline]] ORXOsapiSemaphoreStatus takeWithin(
    ORXOsapiSemaphore* mutex, const DDS_Duration_t& timeout) {
    ORXNtpTime time = ORX_NTP_TIME_INFINITE;
    DDS_Duration_to_ntp_time(&timeout, &time);
    return ORXOsapiSemaphore_take(mutex, &time);
}

[[gnu::cold]] void reportUnknown(ORX_MonitoringLockKind kind, DDS_UnsignedLong index) {
    ZDDS_LOG_ERROR(FAILED_TO_FIND, "monitoring lock of kind %d with index %u", static_cast<int>(kind), index);
}

[[gnu::cold]] ORX_MonitoringLockResult notTaken(
    ORXOsapiSemaphoreStatus status, ORX_MonitoringLockKind kind, DDS_UnsignedLong index) {
    if (status == ORX_OSAPI_SEMAPHORE_STATUS_TIMEOUT)
        return ORX_MONITORING_LOCK_RESULT_TIMEOUT;
    return ZDDS_FAIL(ORX_MONITORING_LOCK_RESULT_ERROR, FAILED_TO_LOCK,
        "monitoring lock of kind %d with index %u", static_cast<int>(kind), index);
}

[[gnu::cold]] int notGiven(ORX_MonitoringLockKind kind, DDS_UnsignedLong index) {
    return ZDDS_FAIL(
        1, FAILED_TO_UNLOCK, "monitoring lock of kind %d with index %u", static_cast<int>(kind), index);
}

} // namespace

ORX_MonitoringLockResult ORX_Monitoring_lockI(ORX_MonitoringLockKind lockKind,
    DDS_UnsignedLong concurrencyIndex, int flagA, int flagB, const DDS_Duration_t* timeout) {
    if (!host().isOfThisProcess() || (flagA != 0 && !isEnabled())) [[unlikely]]
        return ORX_MONITORING_LOCK_RESULT_NOT_ENABLED;
    ORXOsapiSemaphore* mutex = findMutex(lockKind, concurrencyIndex);
    if (mutex == nullptr) [[unlikely]] {
        reportUnknown(lockKind, concurrencyIndex);
        return ORX_MONITORING_LOCK_RESULT_ERROR;
    }
    const ORXOsapiSemaphoreStatus status =
        timeout == nullptr ? ORXOsapiSemaphore_take(mutex, nullptr) : takeWithin(mutex, *timeout);
    if (status != ORX_OSAPI_SEMAPHORE_STATUS_OK) [[unlikely]]
        return notTaken(status, lockKind, concurrencyIndex);
    // The library may have gone away while this thread waited. With flagA alone the caller does not ask
    // again.
    const bool looksAgain = flagB != 0 || flagA == 0;
    if (looksAgain && !isEnabled()) [[unlikely]] {
        ORXOsapiSemaphore_give(mutex);
        return ORX_MONITORING_LOCK_RESULT_NOT_ENABLED;
    }
    return ORX_MONITORING_LOCK_RESULT_OK;
}

// What is held is given whatever became of the library meanwhile, so flagA has no say.
int ORX_Monitoring_unlockI(
    ORX_MonitoringLockKind lockKind, DDS_UnsignedLong concurrencyIndex, int /*flagA*/) {
    ORXOsapiSemaphore* mutex = findHeldMutex(lockKind, concurrencyIndex);
    if (mutex == nullptr) [[unlikely]] {
        reportUnknown(lockKind, concurrencyIndex);
        return 1;
    }
    if (ORXOsapiSemaphore_give(mutex) != ORX_OSAPI_SEMAPHORE_STATUS_OK) [[unlikely]]
        return notGiven(lockKind, concurrencyIndex);
    return 0;
}
