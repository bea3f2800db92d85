/* The payload of an event task: what happened to which resource, with a private copy of the data.
 *
 * Threads: made on the caller's thread and freed on the worker's, both under the metric mutex of the queue
 * that owns it; read by the worker alone in between. Ownership: all of it lies in that queue's arena, but for
 * the group of a tree snapshot (EventPost.hpp). */
#ifndef ORX_EVENT_TASK_H
#define ORX_EVENT_TASK_H

#include "zddsc/sequence.h"
#include "zddscore/inline_memory.h"

ZDDS_BEGIN_C

typedef enum ORX_MonitoringEventTaskKind {
    ORX_MONITORING_EVENT_TASK_KIND_NONE = 0, /* no sample is cached; never posted */
    ORX_MONITORING_EVENT_TASK_KIND_RESOURCE_CREATION = 1,
    ORX_MONITORING_EVENT_TASK_KIND_RESOURCE_REMOVAL = 2,
    ORX_MONITORING_EVENT_TASK_KIND_RESOURCE_CHANGE = 3,
    ORX_MONITORING_EVENT_TASK_KIND_RESOURCE_SNAPSHOT = 4,
    ORX_MONITORING_EVENT_TASK_KIND_METRIC = 5,
    ORX_MONITORING_EVENT_TASK_KIND_METRIC_SNAPSHOT = 6
} ORX_MonitoringEventTaskKind;

/* One group of a metric snapshot. A null memory stands for a group that could not be fetched: it keeps its
 * place and goes into no sample. */
struct ORX_MonitoringEventTaskExecutorSnapshotMetric {
    ORX_UINT32 index; /* metric group index */
    void* metricGroupMemory;
};
typedef struct ORX_MonitoringEventTaskExecutorSnapshotMetric ORX_MonitoringEventTaskExecutorSnapshotMetric;
DDS_SEQUENCE_DECLARE(
    , ORX_MonitoringEventTaskExecutorSnapshotMetricSeq, ORX_MonitoringEventTaskExecutorSnapshotMetric);

struct ORX_MonitoringEventTask {
    DDS_Octet resourceGuid[16]; /* goes into the sample's resource_guid */
    ORX_UINT32 metricGroupIndex;
    DDS_UnsignedLong resourceClassIdForMetricGroupInfo; /* the class whose group table applies */
    ORX_MonitoringEventTaskKind kind;
    /* For kind 6 an ORX_MonitoringEventTaskExecutorSnapshotMetricSeq. Null once it is freed ahead of the
     * task. */
    void* distributionMetricGroupMemory;
};
typedef struct ORX_MonitoringEventTask ORX_MonitoringEventTask;

/* Elements for such a sequence, zeroed, in the arena; null on failure, also for 2^31 bytes and more. */
ORX_MonitoringEventTaskExecutorSnapshotMetric* ORX_MonitoringEventTaskExecutorSnapshotMetric_newArray(
    struct REDAInlineMemory** memoryManager, ORX_UINT32 concurrencyIndex, DDS_Long length);

/* Makes the event from application data, in the arena of the queue `concurrencyIndex` (named in messages).
 * For kind 6 the data is a sequence of metrics in application form, of which null entries stay null. On
 * failure everything made so far goes back to the arena, but for what a failed copy of a group had reserved:
 * that stays until the arena ends. Null on failure. */
ORX_MonitoringEventTask* ORX_MonitoringEventTask_new(struct REDAInlineMemory** memoryManager,
    ORX_UINT32 concurrencyIndex, const DDS_Octet resourceGuid[16], ORX_UINT32 metricGroupIndex,
    DDS_UnsignedLong resourceClassIdForMetricGroupInfo, const void* applicationMetricGroup,
    ORX_MonitoringEventTaskKind kind);
/* The same around a group that is in distribution form already, and whose memory is not the queue's: the
 * caller frees it, and sets the pointer to null before the task is deleted. */
ORX_MonitoringEventTask* ORX_MonitoringEventTask_newAround(struct REDAInlineMemory** memoryManager,
    ORX_UINT32 concurrencyIndex, const DDS_Octet resourceGuid[16], ORX_UINT32 metricGroupIndex,
    DDS_UnsignedLong resourceClassIdForMetricGroupInfo, void* distributionMetricGroup,
    ORX_MonitoringEventTaskKind kind);
/* Returns everything to the arena. Non-zero on success. */
int ORX_MonitoringEventTask_delete(ORX_MonitoringEventTask* self);
/* The enumerator's name; RESOURCE_CHANGE reads as NONE, which is how it has always been reported. */
const char* ORX_MonitoringEventTaskKind_toString(ORX_MonitoringEventTaskKind kind);

ZDDS_END_C

#endif
