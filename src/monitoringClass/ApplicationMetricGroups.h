/* The metric groups of the application, which the library produces itself: the root resource has no user
 * object. They are the two functions of the root's forwarder.
 *
 * Threads: not reentrant. The values live in static storage, so that they go out without an allocation;
 * callers hold the metric mutex of the root's index (0), as for every fetch of a group. */
#ifndef ORX_APPLICATION_METRIC_GROUPS_H
#define ORX_APPLICATION_METRIC_GROUPS_H

#include "zddsc/monitoring.h"

ZDDS_BEGIN_C

struct ORX_Monitoring_ProcessMemoryUtilization {
    DDS_UnsignedLongLong resident_memory_bytes;
    DDS_UnsignedLongLong virtual_memory_bytes;
};
typedef struct ORX_Monitoring_ProcessMemoryUtilization ORX_Monitoring_ProcessMemoryUtilization;

/* *applicationMetricGroup is valid until the group is returned or fetched again. False for any other index.
 */
DDS_Boolean ORX_Monitoring_getApplicationMetricGroup(
    void** applicationMetricGroup, const void* userResource, DDS_UnsignedLong metricGroupIndex);
/* A null *applicationMetricGroup succeeds whatever the index. */
DDS_Boolean ORX_Monitoring_returnApplicationMetricGroup(
    void** applicationMetricGroup, DDS_UnsignedLong metricGroupIndex);

ZDDS_END_C

#endif
