/* The worker's side of the logging collector: tasks become samples. All run on the worker, with no lock held.
 */
#ifndef ORX_LOGGING_SAMPLE_H
#define ORX_LOGGING_SAMPLE_H

#include "src/logging/MonitoringLogging.h"

ZDDS_BEGIN_C

/* `listenerData` is the collector. A message joins the update, which is sent first when it is full. */
int ORX_MonitoringLogging_onTaskAvailable(
    void* listenerData, const struct ORX_MonitoringTaskExecutorTask* task);
/* Sends what has gathered: the messages' memory goes with a later collection. */
void ORX_MonitoringLogging_onAfterProcessedQueue(void* listenerData);
/* The update as one sample, and its messages into the ring. On failure the update stays as it is. */
int ORX_MonitoringLogging_sendUpdateSample(ORX_MonitoringLogging* self);
int ORX_MonitoringLogging_sendSnapshotSample(ORX_MonitoringLogging* self);
/* Copies the message over the oldest one of a full ring. */
int ORX_MonitoringLogging_addLogToSnapshotSeq(ORX_MonitoringLogging* self, DDS_Monitoring_LogReference msg);

ZDDS_END_C

#endif
