/* The operations of the class's table that deal with resources: they check their arguments and forward to
 * registry, resource or collector.
 *
 * Threads: assert and delete by one thread at a time (they change the tree); push, pause and resume on any.
 * Locks: pushEventMetric under the metric mutex of the resource's index; all others with no metric mutex
 * held. Deleting waits for as long as a resource is pinned. */
#ifndef ORX_RESOURCE_OPERATIONS_H
#define ORX_RESOURCE_OPERATIONS_H

#include "zddsc/monitoring.h"

ZDDS_BEGIN_C

/* The resource, new or existing, or null; *concurrencyIndex is its index, whose metric mutex the caller holds
 * when it pushes. Needs a GUID or a name that is not empty. */
struct ORX_MonitoringResource* ORX_Monitoring_assertResource(struct ORX_MonitoringClass* monitoringClass,
    DDS_UnsignedLong* concurrencyIndex, const DDS_GUID_t* userResourceGuid, DDS_UnsignedLong classId,
    const char* resourceName, void* userResource, struct ORX_MonitoringResource* parentResource,
    const ORX_MonitoringResourceForwarder* forwarder);
void ORX_Monitoring_deleteResource(
    struct ORX_MonitoringClass* monitoringClass, struct ORX_MonitoringResource* resource);
void ORX_Monitoring_deleteResourceChildren(
    struct ORX_MonitoringClass* monitoringClass, struct ORX_MonitoringResource* resource);

/* Posts the group if the resource publishes it. A group that it does not publish is dropped in silence; a
 * paused resource drops it too and counts it in stats.skippedEventUpdates. Both succeed. */
DDS_Boolean ORX_Monitoring_pushEventMetric(struct ORX_MonitoringClass* monitoringClass,
    void* applicationMetricGroup, struct ORX_MonitoringResource* resource, DDS_UnsignedLong metricGroupIndex);

DDS_Boolean ORX_Monitoring_pauseResourceMetrics(
    struct ORX_MonitoringClass* monitoringClass, struct ORX_MonitoringResource* resource);
/* All that is below the resource, parents before their children; the first failure stops. The resource itself
 * is not paused, and there is no counterpart that resumes. */
DDS_Boolean ORX_Monitoring_pauseResourceChildrenMetrics(
    struct ORX_MonitoringClass* monitoringClass, struct ORX_MonitoringResource* resource);
DDS_Boolean ORX_Monitoring_resumeResourceMetrics(
    struct ORX_MonitoringClass* monitoringClass, struct ORX_MonitoringResource* resource);

/* The class's copy. */
const ORX_MonitoringProperty_t* ORX_Monitoring_getProperty(struct ORX_MonitoringClass* monitoringClass);

/* To the logging collector (MonitoringLogging.h, postMessage). The caller holds the logging mutex of the
 * index. Without a collector the message is ignored. */
DDS_Boolean ORX_Monitoring_postLogMessage(struct ORX_MonitoringClass* monitoringClass, const char* text,
    ZDDS_Config_SyslogLevel severity, DDS_UnsignedLong messageId, const DDS_Duration_t* timestamp,
    ZDDS_Config_LogFacility facility, const void* structuredData, const char* category,
    DDS_UnsignedLong concurrencyIndex);

/* The entity lock of the library's participant. */
DDS_Boolean ORX_Monitoring_lockMonitoringParticipant(struct ORX_MonitoringClass* self);
DDS_Boolean ORX_Monitoring_unlockMonitoringParticipant(struct ORX_MonitoringClass* self);

ZDDS_END_C

#endif
