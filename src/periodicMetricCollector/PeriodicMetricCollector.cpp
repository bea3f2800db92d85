#include "src/periodicMetricCollector/PeriodicMetricCollector.h"

#include <algorithm>
#include <cstring>

#include "orxmonitoring2d/dds_entities_distribution_support.h"
#include "src/log/Log.hpp"
#include "zddscore/heap.h"
#include "zddscore/semaphore.h"

namespace {

constexpr ORX_UINT32 orxLogSubmodule = orx::log::submodule::periodic;

using Collector = ORX_MonitoringPeriodicMetricCollector;

constexpr ORX_INT64 stopTimeoutSeconds = 10;
constexpr REDAInlineMemorySize arenaInitialSize = 1024;
constexpr ORX_UINT32 arenaIncrementPercent = 50;

constexpr ORXEventActiveGeneratorProperty generatorDefaults{
    .parent = {.growth = {.initial = 100, .maximal = REDA_FAST_BUFFER_POOL_UNLIMITED, .increment = -1},
        .eventTimeThreshold = {.sec = ORX_NTP_TIME_MAX_SEC, .frac = 0}},
    .active = {.priority = ORX_OSAPI_THREAD_PRIORITY_DEFAULT,
        .stackSize = ORX_OSAPI_THREAD_STACK_SIZE_DEFAULT,
        .options = 0x12,
        .bitmap = {}},
    .threadParticipantId = "#####",
    .reschedulingPolicy = ORX_EVENT_ACTIVE_GENERATOR_OVERRIDE_RESCHEDULING_POLICY,
    .maxEventInterval = ORX_NTP_TIME_INFINITE,
};

bool readThreadSettings(
    ORXEventActiveObjectProperty& active, const ORX_MonitoringPeriodicProperty_t* property) {
    ORX_FAIL_IF(property->thread_setting.mask > 2147483647);
    const DDS_ThreadSettings_t& settings = property->thread_setting;
    active.priority = settings.priority;
    active.stackSize = settings.stack_size;
    active.options = static_cast<int>(settings.mask);
    if (!DDS_ThreadSettings_cpuListToBitmap(&active.bitmap, &settings.cpu_list, settings.cpu_rotation))
        return ORX_ERROR(FAILED_TO_INITIALIZE, "CPU bitmap\n");
    return true;
}

bool startGenerator(Collector& self, const ORX_MonitoringPeriodicProperty_t* property, const char* threadName,
    REDAWorkerFactory* workerFactory, const ORXOsapiRtpsGuidPrefix* guidPrefix) {
    const ORX_MonitoringGlobals* globals = ORX_MonitoringGlobals_get_instance();
    self.clock = globals != nullptr ? globals->eventClock : nullptr;
    if (self.clock == nullptr)
        return ORX_ERROR(FAILED_TO_INITIALIZE, "Clock\n");
    self.timer = ORXEventSmartTimer_new();
    if (self.timer == nullptr)
        return ORX_ERROR(FAILED_TO_INITIALIZE, "Timer\n");
    self.binSem = ORXOsapiSemaphore_new(ORX_OSAPI_SEMAPHORE_KIND_BINARY, nullptr);
    if (self.binSem == nullptr)
        return ORX_ERROR(FAILED_TO_INITIALIZE, "Binary semaphore\n");
    ORXEventActiveGeneratorProperty generator = generatorDefaults;
    if (!readThreadSettings(generator.active, property))
        return false;
    self.generatorListener.parent = {ORX_MonitoringPeriodicMetricCollector_onStopGenerator, &self};
    self.generator = ORXEventActiveGenerator_new(threadName, workerFactory, self.clock, self.timer,
        &self.generatorListener, &generator, nullptr, guidPrefix, nullptr);
    if (self.generator == nullptr)
        return ORX_ERROR(FAILED_TO_INITIALIZE, "Event generator\n");
    return true;
}

bool createArena(Collector& self) {
    REDAInlineMemoryProperty property{};
    property.initial = arenaInitialSize;
    property.maximal = INT32_MAX;
    property.increment = arenaIncrementPercent;
    property.lowerLevelAllocator = REDAInlineMemoryLowerLevelAllocator_mallocAllocate;
    property.lowerLevelFree = REDAInlineMemoryLowerLevelAllocator_mallocFree;
    self.memoryManager = REDAInlineMemory_new(&property);
    if (self.memoryManager == nullptr)
        return ORX_ERROR(FAILED_TO_INITIALIZE, "Memory manager\n");
    return true;
}

// The thread stands before what it works with, which the post of the event then hands over to it.
bool initialize(Collector& self, const ORX_MonitoringPeriodicProperty_t* property, const char* threadName,
    DDS_DataWriter* writer, REDAWorkerFactory* workerFactory, const ORXOsapiRtpsGuidPrefix* guidPrefix,
    ORX_MonitoringResourceRegistry* resourceRegistry) {
    self.writer = writer;
    if (!startGenerator(self, property, threadName, workerFactory, guidPrefix))
        return false;
    self.sample = DDS_Monitoring_PeriodicPluginSupport_create_data();
    if (self.sample == nullptr)
        return ORX_ERROR(FAILED_TO_INITIALIZE, "Periodic sample\n");
    if (!createArena(self))
        return false;
    DDS_Duration_to_ntp_time(&property->polling_period, &self.pollingPeriod);
    ORX_MonitoringPeriodicMetricCollector_setState(
        &self, ORX_MONITORING_PERIODIC_METRIC_COLLECTOR_STATUS_INITIALIZED);
    const ORXEventGeneratorListenerStorage storage{{&self, resourceRegistry}};
    if (!ORX_MonitoringPeriodicMetricCollector_postEvent(&self, &storage))
        return ORX_ERROR(FAILED_TO_POST, "Event\n");
    return true;
}

bool stopGenerator(Collector& self) {
    if (self.generator == nullptr)
        return true;
    if (!ORXEventActiveGenerator_shutdown(self.generator, nullptr))
        return ORX_ERROR(FAILED_TO_FINALIZE, "Event generator\n");
    constexpr ORXNtpTime timeout{.sec = stopTimeoutSeconds, .frac = 0};
    if (ORXOsapiSemaphore_take(self.binSem, &timeout) != ORX_OSAPI_SEMAPHORE_STATUS_OK) {
        return ORX_ERROR(FAILED_TO_LOCK, "Taking failure after timeout (%lld)\n",
            static_cast<long long>(stopTimeoutSeconds));
    }
    ORXEventActiveGenerator_delete(self.generator, nullptr);
    self.generator = nullptr;
    return true;
}

// False, with everything left in place, when the thread may still be at work.
bool finalize(Collector& self) {
    ORX_MonitoringPeriodicMetricCollector_setState(
        &self, ORX_MONITORING_PERIODIC_METRIC_COLLECTOR_STATUS_STOPPED);
    if (!stopGenerator(self))
        return false;
    self.clock = nullptr;
    if (self.timer != nullptr)
        ORXEventSmartTimer_delete(self.timer);
    (void)ORXOsapiSemaphore_delete(self.binSem);
    self.writer = nullptr;
    // Every walk leaves the sample empty, so that nothing of it lies in the arena.
    if (self.sample != nullptr)
        DDS_Monitoring_PeriodicPluginSupport_destroy_data(self.sample);
    REDAInlineMemory_delete(self.memoryManager);
    return true;
}

} // namespace

ORX_MonitoringPeriodicMetricCollector* ORX_MonitoringPeriodicMetricCollector_new(
    const ORX_MonitoringPeriodicProperty_t* property, const char* threadName, DDS_DataWriter* writer,
    REDAWorkerFactory* workerFactory, const ORXOsapiRtpsGuidPrefix* guidPrefix,
    ORX_MonitoringResourceRegistry* resourceRegistry) {
    ORX_FAIL_IF(property == ORX_NULL);
    ORX_FAIL_IF(threadName == ORX_NULL);
    ORX_FAIL_IF(writer == ORX_NULL);
    ORX_FAIL_IF(workerFactory == ORX_NULL);
    ORX_FAIL_IF(guidPrefix == ORX_NULL);
    ORX_FAIL_IF(resourceRegistry == ORX_NULL);
    Collector* self = nullptr;
    if (!ORXOsapiHeap_allocateStructure(&self, struct ORX_MonitoringPeriodicMetricCollector)) {
        return ORX_ERROR(FAILED_TO_ALLOCATE, "'struct ORX_MonitoringPeriodicMetricCollector' with size %u\n",
            static_cast<unsigned>(sizeof *self));
    }
    if (!initialize(*self, property, threadName, writer, workerFactory, guidPrefix, resourceRegistry)) {
        (void)ORX_MonitoringPeriodicMetricCollector_delete(self);
        return ORX_ERROR(FAILED_TO_INITIALIZE, "ORX_MonitoringPeriodicMetricCollector\n");
    }
    return self;
}

int ORX_MonitoringPeriodicMetricCollector_delete(ORX_MonitoringPeriodicMetricCollector* self) {
    if (self == nullptr)
        return 1;
    if (!finalize(*self))
        return 0;
    ORXOsapiHeap_freeStructure(self);
    return 1;
}

int ORX_MonitoringPeriodicMetricCollector_postEvent(ORX_MonitoringPeriodicMetricCollector* self,
    const struct ORXEventGeneratorListenerStorage* eventListenerStorage) {
    ORX_FAIL_IF(self == ORX_NULL);
    ORX_FAIL_IF(eventListenerStorage == ORX_NULL);
    // Both are borrowed for as long as the event goes on.
    static const ORXEventGeneratorListener listener{ORX_MonitoringPeriodicMetricCollector_collectAndPublish};
    static const ORXOsapiActivityContextStackEntry activity{
        ORX_OSAPI_ACTIVITY_CONTEXT_ENTRY_KIND_ACTIVITY, "PERIODIC METRICS", nullptr};
    ORXNtpTime now{};
    if (!self->clock->getTime(self->clock, &now))
        return ORX_ERROR(FAILED_TO_GET, "Time\n");
    constexpr ORXNtpTime noSnooze = ORX_NTP_TIME_ZERO;
    auto* generator = reinterpret_cast<ORXEventGenerator*>(self->generator); // its first member
    return generator->postEvent(generator, &now, &noSnooze, &listener, eventListenerStorage, 0, &activity);
}

void ORX_MonitoringPeriodicMetricCollector_onStopGenerator(void* object, void* param, REDAWorker* worker) {
    (void)object;
    (void)worker;
    ORX_LEAVE_IF(param == ORX_NULL);
    auto* self = static_cast<Collector*>(param);
    if (ORXOsapiSemaphore_give(self->binSem) != ORX_OSAPI_SEMAPHORE_STATUS_OK)
        (void)ORX_ERROR(FAILED_TO_UNLOCK, "Binary semaphore\n");
}
