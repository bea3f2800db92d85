/* Periodic metric collector: once in a polling period it walks all resources, fetches the periodic metric
 * groups that each is subscribed to, and writes one sample for each resource that has any.
 *
 * Threads: one of its own, an event generator's, on which one event reschedules itself; new and delete are
 * the owner's. The thread alone touches the sample and the arena, both of which serve for the collector's
 * life. The group functions run on it without the metric mutex and without the entity lock.
 *
 * Locks: the walk holds none but the registry's mutex, for as long as a pin takes. The pin keeps the resource
 * at hand, and its subscriptions; whoever deletes or pauses it waits for that one resource, never for the
 * walk.
 *
 * Units: the period counts from the time at which an event was due to run to the next, whatever a walk takes.
 * Errors: null or 0 and a line of the log. A failure inside a walk costs a group or a resource its turn, and
 * never the event. */
#ifndef ORX_PERIODIC_METRIC_COLLECTOR_H
#define ORX_PERIODIC_METRIC_COLLECTOR_H

#include "src/resource/MonitoringResourceRegistry.h"
#include "zddsc/entities.h"
#include "zddscore/event_generator.h"
#include "zddscore/inline_memory.h"

ZDDS_BEGIN_C

struct DDS_Monitoring_Periodic;

/* INITIALIZED: the event keeps its period and nothing is collected. STOPPED: neither; a walk ends at its next
 * resource. */
typedef enum ORX_MonitoringPeriodicMetricCollectorState {
    ORX_MONITORING_PERIODIC_METRIC_COLLECTOR_STATUS_INITIALIZED = 0,
    ORX_MONITORING_PERIODIC_METRIC_COLLECTOR_STATUS_RUNNING = 1,
    ORX_MONITORING_PERIODIC_METRIC_COLLECTOR_STATUS_STOPPED = 2
} ORX_MonitoringPeriodicMetricCollectorState;

struct ORX_MonitoringPeriodicMetricCollector {
    DDS_DataWriter* writer; /* borrowed */
    struct DDS_Monitoring_Periodic* sample;
    struct REDAInlineMemory* memoryManager; /* of what the sample refers to; reset after every resource */
    struct ORXClock* clock;                 /* of the globals, borrowed */
    ORXEventSmartTimer* timer;
    ORXEventActiveGenerator* generator;
    struct ORXOsapiSemaphore* binSem; /* given once the generator's thread runs no event any more */
    ORXEventActiveGeneratorListener generatorListener;
    ORXNtpTime pollingPeriod;
    ORX_MonitoringPeriodicMetricCollectorState state; /* atomic, through the two functions below */
};
typedef struct ORX_MonitoringPeriodicMetricCollector ORX_MonitoringPeriodicMetricCollector;

/* The started collector in state INITIALIZED, or null. Writer, factory and registry are borrowed, and the
 * globals' event clock; the property and the prefix are not kept. */
ORX_MonitoringPeriodicMetricCollector* ORX_MonitoringPeriodicMetricCollector_new(
    const ORX_MonitoringPeriodicProperty_t* property, const char* threadName, DDS_DataWriter* writer,
    REDAWorkerFactory* workerFactory, const ORXOsapiRtpsGuidPrefix* guidPrefix,
    ORX_MonitoringResourceRegistry* resourceRegistry);
/* Non-zero once everything is freed, also for null. Zero when the thread has not ended within 10 s, as it may
 * be inside a group function: object and thread stay, and what was borrowed has to. It may be called again.
 */
int ORX_MonitoringPeriodicMetricCollector_delete(ORX_MonitoringPeriodicMetricCollector* self);

/* The event: collects, and asks for its next run. listenerStorage holds the collector and the registry. */
int ORX_MonitoringPeriodicMetricCollector_collectAndPublish(const struct ORXEventGeneratorListener* me,
    ORXNtpTime* newTime, ORXNtpTime* newSnooze, const ORXNtpTime* now, const ORXNtpTime* time,
    const ORXNtpTime* snooze, const struct ORXEventGeneratorListenerStorage* listenerStorage,
    REDAWorker* worker);
/* Posts the event for now. The storage is copied. */
int ORX_MonitoringPeriodicMetricCollector_postEvent(ORX_MonitoringPeriodicMetricCollector* self,
    const struct ORXEventGeneratorListenerStorage* eventListenerStorage);
/* The generator's thread is about to end; param is the collector. */
void ORX_MonitoringPeriodicMetricCollector_onStopGenerator(void* object, void* param, REDAWorker* worker);

ZDDS_END_C

/* The owner stores the state without a lock, and the thread reads it before a walk and between resources. A
 * RUNNING releases what was built before it to the thread that acquires it; a STOPPED orders nothing, since
 * the semaphore and the join order the end. */
inline void ORX_MonitoringPeriodicMetricCollector_setState(
    ORX_MonitoringPeriodicMetricCollector* self, ORX_MonitoringPeriodicMetricCollectorState state) {
    std::atomic_ref(self->state).store(state, std::memory_order_release);
}
inline ORX_MonitoringPeriodicMetricCollectorState ORX_MonitoringPeriodicMetricCollector_getState(
    const ORX_MonitoringPeriodicMetricCollector* self) {
    return std::atomic_ref(const_cast<ORX_MonitoringPeriodicMetricCollectorState&>(self->state))
        .load(std::memory_order_acquire);
}

#endif
