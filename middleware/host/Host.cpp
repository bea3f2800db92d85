#include "middleware/host/Host.hpp"

#include <pthread.h>

#include "middleware/host/LockRanks.hpp"
#include "middleware/log/DdsLog.hpp"

namespace zdds::host {

constinit Host theHost;

namespace {

// Serializes initialize and finalize, which cannot use a lock that they make.
pthread_mutex_t initializeMutex = PTHREAD_MUTEX_INITIALIZER;

struct InitializeGuard {
    InitializeGuard() { pthread_mutex_lock(&initializeMutex); }
    ~InitializeGuard() { pthread_mutex_unlock(&initializeMutex); }
    InitializeGuard(const InitializeGuard&) = delete;
    InitializeGuard& operator=(const InitializeGuard&) = delete;
};

// So that who asks whether the library is enabled need not ask whether it is this process's. False when
// memory is out.
bool disableInChildren() {
    static bool isWatching = false;
    if (!isWatching)
        isWatching = pthread_atfork(nullptr, nullptr,
                         [] { theHost.enabled.store(false, std::memory_order_relaxed); }) == 0;
    return isWatching;
}

bool isMonotonicClock = false;

// Collectors only schedule by this clock, so it must not jump; times that are published are taken elsewhere.
ORXClock* newEventClock() {
    isMonotonicClock = ORXMonotonicClockUtility_isSupported() != 0;
    return isMonotonicClock ? ORXMonotonicClock_new() : ORXSystemClock_new();
}

void deleteEventClock(ORXClock* clock) {
    if (clock == nullptr)
        return;
    isMonotonicClock ? ORXMonotonicClock_delete(clock) : ORXSystemClock_delete(clock);
}

void releaseGlobals(ORX_MonitoringGlobals& globals) {
    deleteEventClock(globals.eventClock);
    ORXOsapiSemaphore_delete(globals.mutex);
    globals = ORX_MonitoringGlobals{};
}

} // namespace

} // namespace zdds::host

using zdds::host::host;

ORX_MonitoringGlobals* ORX_MonitoringGlobals_get_instance(void) {
    return host().published.load(std::memory_order_acquire);
}

DDS_Boolean ORX_MonitoringHost_initialize(void) {
    zdds::host::InitializeGuard guard;
    if (ORX_MonitoringGlobals_get_instance() != nullptr)
        return DDS_BOOLEAN_TRUE;
    if (!zdds::ForkGeneration::watch() || !zdds::host::disableInChildren())
        return ZDDS_FAIL(DDS_BOOLEAN_FALSE, FAILED_TO_CREATE, "monitoring globals");
    host().forkGeneration.store(zdds::ForkGeneration::current(), std::memory_order_relaxed);
    if (ZDDS_Config_Logger_get_instance() == nullptr)
        return ZDDS_FAIL(DDS_BOOLEAN_FALSE, FAILED_TO_CREATE, "logger");
    ORX_MonitoringGlobals& globals = host().globals;
    globals = ORX_MonitoringGlobals{};
    globals.mutex = ORXOsapiSemaphore_new(ORX_OSAPI_SEMAPHORE_KIND_MUTEX, nullptr);
    if (globals.mutex == nullptr)
        return ZDDS_FAIL(DDS_BOOLEAN_FALSE, FAILED_TO_CREATE, "library lock");
    ORXOsapiSemaphore_setRank(globals.mutex, zdds::host::lockRankLibrary, "library");
    globals.eventClock = zdds::host::newEventClock();
    if (globals.eventClock == nullptr) {
        zdds::host::releaseGlobals(globals);
        return ZDDS_FAIL(DDS_BOOLEAN_FALSE, FAILED_TO_CREATE, "event clock");
    }
    host().published.store(&globals, std::memory_order_release);
    return DDS_BOOLEAN_TRUE;
}

void ORX_MonitoringHost_finalize(void) {
    zdds::host::InitializeGuard guard;
    ORX_MonitoringGlobals* globals = ORX_MonitoringGlobals_get_instance();
    if (globals == nullptr || !host().isOfThisProcess())
        return;
    ZDDS_REQUIRE(globals->monitoringClass == nullptr);
    host().published.store(nullptr, std::memory_order_release);
    host().metricPool.releaseAll();
    host().loggingPool.releaseAll();
    zdds::host::releaseGlobals(*globals);
}

DDS_Boolean ORX_MonitoringHost_is_enabled(void) {
    return host().enabled.load(std::memory_order_acquire);
}

int ORX_MonitoringResourceForwarder_copy(
    ORX_MonitoringResourceForwarder* self, const ORX_MonitoringResourceForwarder* source) {
    ZDDS_REQUIRE(self != nullptr, 0);
    ZDDS_REQUIRE(source != nullptr, 0);
    *self = *source;
    return 1;
}
