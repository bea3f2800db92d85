// The library lock and the locks of the concurrency indexes.
//
// Every push of an event metric goes through both functions, so the way to a free metric mutex and back is in
// line, and whatever else they are asked for is out of it and begins anew.
#include "middleware/host/Host.hpp"
#include "middleware/log/DdsLog.hpp"
#include "src/support/SemaphoreImpl.hpp"

using zdds::host::host;

namespace {

bool isEnabled() {
    return host().enabled.load(std::memory_order_acquire);
}

// Null for the library lock, which has none, and for a kind that is unknown.
[[gnu::always_inline]] inline zdds::host::MutexPool* poolOf(ORX_MonitoringLockKind kind) {
    if (kind == ORX_MONITORING_LOCK_KIND_METRIC) [[likely]]
        return &host().metricPool;
    return kind == ORX_MONITORING_LOCK_KIND_LOGGING ? &host().loggingPool : nullptr;
}

ORXOsapiSemaphore* libraryMutex(ORX_MonitoringLockKind kind, DDS_UnsignedLong index) {
    ORX_MonitoringGlobals* globals = ORX_MonitoringGlobals_get_instance();
    return kind == ORX_MONITORING_LOCK_KIND_LIBRARY && globals != nullptr && index == 0 ? globals->mutex
                                                                                        : nullptr;
}

// To be taken; null when there is none.
ORXOsapiSemaphore* findMutex(ORX_MonitoringLockKind kind, DDS_UnsignedLong index) {
    zdds::host::MutexPool* pool = poolOf(kind);
    return pool != nullptr ? pool->get(index) : libraryMutex(kind, index);
}

// To be given: the caller holds it, whatever the level is by now.
ORXOsapiSemaphore* findHeldMutex(ORX_MonitoringLockKind kind, DDS_UnsignedLong index) {
    zdds::host::MutexPool* pool = poolOf(kind);
    return pool != nullptr ? pool->getMade(index) : libraryMutex(kind, index);
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

[[gnu::cold]] ORX_MonitoringLockResult giveAndRefuse(ORXOsapiSemaphore* mutex) {
    ORXOsapiSemaphore_give(mutex);
    return ORX_MONITORING_LOCK_RESULT_NOT_ENABLED;
}

[[gnu::noinline]] ORX_MonitoringLockResult takeLock(ORX_MonitoringLockKind lockKind,
    DDS_UnsignedLong concurrencyIndex, int flagA, int flagB, const DDS_Duration_t* timeout) {
    if (!host().isOfThisProcess() || (flagA != 0 && !isEnabled()))
        return ORX_MONITORING_LOCK_RESULT_NOT_ENABLED;
    ORXOsapiSemaphore* mutex = findMutex(lockKind, concurrencyIndex);
    if (mutex == nullptr) {
        reportUnknown(lockKind, concurrencyIndex);
        return ORX_MONITORING_LOCK_RESULT_ERROR;
    }
    const ORXOsapiSemaphoreStatus status =
        timeout == nullptr ? ORXOsapiSemaphore_take(mutex, nullptr) : takeWithin(mutex, *timeout);
    if (status != ORX_OSAPI_SEMAPHORE_STATUS_OK)
        return notTaken(status, lockKind, concurrencyIndex);
    // The library may have gone away while this thread waited. With flagA alone the caller does not ask
    // again.
    const bool looksAgain = flagB != 0 || flagA == 0;
    return looksAgain && !isEnabled() ? giveAndRefuse(mutex) : ORX_MONITORING_LOCK_RESULT_OK;
}

[[gnu::noinline]] int giveLock(ORX_MonitoringLockKind lockKind, DDS_UnsignedLong concurrencyIndex) {
    ORXOsapiSemaphore* mutex = findHeldMutex(lockKind, concurrencyIndex);
    if (mutex == nullptr) {
        reportUnknown(lockKind, concurrencyIndex);
        return 1;
    }
    if (ORXOsapiSemaphore_give(mutex) != ORX_OSAPI_SEMAPHORE_STATUS_OK)
        return notGiven(lockKind, concurrencyIndex);
    return 0;
}

} // namespace

[[gnu::hot]] ORX_MonitoringLockResult ORX_Monitoring_lockI(ORX_MonitoringLockKind lockKind,
    DDS_UnsignedLong concurrencyIndex, int flagA, int flagB, const DDS_Duration_t* timeout) {
    zdds::host::MutexPool* pool = poolOf(lockKind);
    if (pool != nullptr && flagA != 0 && isEnabled()) [[likely]] {
        ORXOsapiSemaphore* mutex = pool->get(concurrencyIndex);
        if (mutex != nullptr && zdds::takeQuickly(*mutex)) [[likely]]
            return flagB != 0 && !isEnabled() ? giveAndRefuse(mutex) : ORX_MONITORING_LOCK_RESULT_OK;
    }
    return takeLock(lockKind, concurrencyIndex, flagA, flagB, timeout);
}

// What is held is given whatever became of the library meanwhile, so flagA has no say.
[[gnu::hot]] int ORX_Monitoring_unlockI(
    ORX_MonitoringLockKind lockKind, DDS_UnsignedLong concurrencyIndex, int /*flagA*/) {
    if (zdds::host::MutexPool* pool = poolOf(lockKind)) [[likely]] {
        ORXOsapiSemaphore* mutex = pool->getMade(concurrencyIndex);
        if (mutex != nullptr && zdds::giveQuickly(*mutex)) [[likely]]
            return 0;
    }
    return giveLock(lockKind, concurrencyIndex);
}
