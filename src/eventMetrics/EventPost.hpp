// How an event gets into the queues.
#ifndef ORX_EVENT_POST_HPP
#define ORX_EVENT_POST_HPP

#include "src/eventMetrics/EventTaskExecutor.h"

namespace orx::event {

// What an event says, before it is copied.
struct Event {
    const DDS_Octet* resourceGuid; // 16 octets
    ORX_UINT32 metricGroupIndex;
    DDS_UnsignedLong classId; // the class whose group table applies
    const void* applicationMetricGroup;
    ORX_MonitoringEventTaskKind kind;
    void* treeGroup = nullptr; // from newTreeGroup, in place of the application's form
};

// To one queue. Takes the metric mutex unless the caller holds it.
bool postTask(ORX_MonitoringEventTaskExecutor& self, const Event& event, ORX_UINT32 concurrencyIndex,
    bool mutexTakenOutside);
// That an event did not get into its queue; false.
bool reportFailedPost(
    ORX_UINT32 metricGroupIndex, ORX_MonitoringEventTaskKind kind, ORX_UINT32 concurrencyIndex);
// To all queues; `concurrencyIndex` is the one that owns the event. Takes that metric mutex. When the result
// is false the event may nevertheless have been posted.
bool postTaskAllQueues(
    ORX_MonitoringEventTaskExecutor& self, const Event& event, ORX_UINT32 concurrencyIndex);

// The tree in distribution form, in memory of its own, from the registry's sample. Null, with a line of log,
// on failure. A post that does not get it into a queue frees it, the worker once its sample is written, or
// the executor's end.
void* newTreeGroup(ORX_MonitoringEventTaskExecutor& self, const void* registrySample);
bool initializeTreeMemory(
    ORX_MonitoringEventTaskExecutor& self, const ORX_MonitoringEventProperty_t& eventProperty);
// The worker has gone. Takes any prefix of the above.
void finalizeTreeMemory(ORX_MonitoringEventTaskExecutor& self);
void deleteTreeGroup(ORX_MonitoringEventTaskExecutor& self, void* treeGroup);

} // namespace orx::event

#endif
