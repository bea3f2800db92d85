/* Which metrics a resource publishes: selections become the resource's metric and group sequences.
 *
 * Threads: under the library lock; pauseMetrics and resumeMetrics from any thread. The group sequences of a
 * live resource are rebuilt only while it is paused. Lock order: a pause takes the metric mutex of the
 * resource's index under resourcesMutex. Errors: 0 and a line of the log; nothing restores the selection in
 * force before. */
#ifndef ORX_MONITORING_METRIC_SUBSCRIPTION_H
#define ORX_MONITORING_METRIC_SUBSCRIPTION_H

#include "src/resource/MonitoringResource.h"
#include "src/utils/MetricSelectionList.h"

ZDDS_BEGIN_C

/* Metrics of one class at most. */
#define ORX_MONITORING_RESOURCE_MAX_METRICS 200

/* Adds to and takes from what monitoredMetricInfoIndex holds, selection by selection; the last one that names
 * a metric decides, and within one the disabling patterns. Allocates nothing beyond that sequence. */
int ORX_MonitoringResource_computeMetricInfoIndexList(
    ORX_MonitoringResource* self, const REDAInlineList* metricSelectionList);
/* Rebuilds metric_ids and both group sequences from monitoredMetricInfoIndex, the label groups last. */
int ORX_MonitoringResource_updateMetricSubscriptionSequences(ORX_MonitoringResource* self);
/* Both, for a resource that nobody reads yet. */
int ORX_MonitoringResource_applyMetricSelectionList(
    ORX_MonitoringResource* self, const REDAInlineList* metricSelectionList);
/* Both, for a live resource: pauses it meanwhile, posts the change and resumes. With isUpdateCommand 0 the
 * list is the whole selection, otherwise it changes the one in force. */
int ORX_MonitoringResource_modifyMetricSelection(ORX_MonitoringResource* self,
    struct ORX_MonitoringEventTaskExecutor* eventTaskExecutor, const REDAInlineList* metricSelectionList,
    const ORX_MonitoringResource* applicationResource, int isUpdateCommand);

/* From its return on nobody gathers metrics of the resource. Waits, polling and without a limit, for the
 * periodic thread's pin. A pause has no depth. */
int ORX_MonitoringResource_pauseMetrics(ORX_MonitoringResource* self);
/* Ends the pause and posts the current values; the pause ends also when the post fails. */
int ORX_MonitoringResource_resumeMetrics(
    ORX_MonitoringResource* self, struct ORX_MonitoringEventTaskExecutor* eventTaskExecutor);

/* Non-zero if events of the group are published. Call it under the metric mutex, and only while the resource
 * is not paused: the sequence that it reads is being rebuilt otherwise. */
int ORX_MonitoringResource_isSubscribedToEventMetric(
    const ORX_MonitoringResource* self, ORX_UINT32 metricGroupIndex);

ZDDS_END_C

namespace orx::resource {

class SelectionPlan;
// ORX_MonitoringResource_modifyMetricSelection with the plan's list, for one of many resources.
bool modifyMetricSelection(ORX_MonitoringResource& self,
    struct ORX_MonitoringEventTaskExecutor* eventTaskExecutor, SelectionPlan& plan,
    const ORX_MonitoringResource* applicationResource, bool isUpdateCommand);

// Bytes of the group's value, when it is published and plain. 0 tells nothing, and publishesEventGroup
// decides. Under the same terms.
inline ORX_UINT32 plainEventSize(const ORX_MonitoringResource& resource, ORX_UINT32 metricGroupIndex) {
    return metricGroupIndex < ORX_MONITORING_RESOURCE_QUICK_EVENT_GROUPS
               ? resource.plainEventSizes[metricGroupIndex]
               : 0;
}

// isSubscribedToEventMetric in line. A class has ten event groups at most.
inline bool publishesEventGroup(const ORX_MonitoringResource& resource, ORX_UINT32 metricGroupIndex) {
    const DDS_UnsignedLongSeq& groups = resource.monitoredEventMetricGroupIndex;
    const DDS_UnsignedLong* const end = groups._contiguous_buffer + groups._length;
    for (const DDS_UnsignedLong* group = groups._contiguous_buffer; group != end; ++group)
        if (*group == metricGroupIndex)
            return true;
    return false;
}

} // namespace orx::resource

#endif
