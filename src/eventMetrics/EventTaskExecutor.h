/* Event executor: publishes the event topic. It turns changes of the resource tree and pushed metric groups
 * into tasks, and on its worker builds samples from them and writes them.
 *
 * Threads: the post functions run on application threads, each under the metric mutex of one concurrency
 * index: some take it themselves, as told at each. `sample` and `previousEventKind` belong to the worker.
 * Locks: an entity lock is taken before a metric mutex, never while one is held.
 * Ownership: a task carries a private copy of its data, made on the caller's thread in the queue's arena, so
 * the caller's data may change as soon as a post returns. After warm-up no post calls the heap. The writer is
 * borrowed. Errors: non-zero is success; a failure is logged, and costs the event that it concerns and no
 * other. */
#ifndef ORX_EVENT_TASK_EXECUTOR_H
#define ORX_EVENT_TASK_EXECUTOR_H

#include "src/eventMetrics/EventTask.h"
#include "src/taskExecutor/TaskExecutor.h"
#include "zddsc/entities.h"
#include "zddsc/monitoring.h"

ZDDS_BEGIN_C

struct DDS_Monitoring_Event;
struct ORX_MonitoringResource;
struct ORX_MonitoringResourceRegistry;

/* When the worker waits before it writes a snapshot; see SnapshotPace.hpp. */
struct ORX_MonitoringEventSnapshotPace {
    DDS_UnsignedLong queuedSamplesLimit; /* from here on in the writer's queue a snapshot waits */
    DDS_UnsignedLong queuedBytesLimit;
    ORX_INT64 allowanceNs; /* to wait in all, until the queue has been empty again */
    ORX_INT64 patienceNs;  /* to wait while nothing leaves the queue */
    ORX_INT64 leftNs;      /* of the allowance; the worker's */
    /* The worker's: waited in all since something last left the queue, and what had left it then. */
    ORX_INT64 idleNs;
    DDS_UnsignedLongLong gone;
    ORX_UINT32 waits; /* atomic; for debuggers and tests */
    /* Changes of the tree and of metrics that may gather in the event queues while the worker waits. */
    ORX_INT64 gatheredLimit;
    ORX_INT64 changesRun;       /* that the worker has come to, ever; its own */
    ORX_UINT64 snapshotsPosted; /* atomic */
};
typedef struct ORX_MonitoringEventSnapshotPace ORX_MonitoringEventSnapshotPace;

struct ORX_MonitoringEventTaskExecutor {
    struct ORX_MonitoringTaskExecutor* taskExecutor; /* owned */
    DDS_DataWriter* writer;                          /* borrowed */
    /* Owned. The worker's, but for info.root_resource_guid, which is constant and read by any thread. */
    struct DDS_Monitoring_Event* sample;
    ORX_MonitoringEventTaskKind previousEventKind; /* of what is cached in `sample`; NONE if nothing is */
    ORX_MonitoringEventSnapshotPace snapshotPace;
    /* Owned. The groups of tree snapshots lie here and not in a queue's arena: they grow with the tree, and
     * whoever pushes would wait for their making and freeing. */
    struct REDAInlineMemory* treeMemory;
    struct ORXOsapiSemaphore*
        treeMutex; /* guards treeMemory; rank 4, and no program's thread ever takes it */
};
typedef struct ORX_MonitoringEventTaskExecutor ORX_MonitoringEventTaskExecutor;

/* The started executor, or null. `eventProperty` and the GUID of the root resource are copied; the mutexes of
 * `concurrencyModel` are borrowed. */
ORX_MonitoringEventTaskExecutor* ORX_MonitoringEventTaskExecutor_new(
    const ORX_MonitoringEventProperty_t* eventProperty, const char* threadName, DDS_DataWriter* writer,
    const ORX_MonitoringGlobalsConcurrency* concurrencyModel, const DDS_Octet rootResourceGuid[16]);
/* Stops the worker and drops what is queued or cached; nothing more is sent. Non-zero once everything is
 * freed, also for null. Zero when the worker does not end within 20 s: the object stays allocated, and what
 * it borrowed has to stay too. */
int ORX_MonitoringEventTaskExecutor_delete(ORX_MonitoringEventTaskExecutor* self);

/* One metric group of one resource. The caller holds the metric mutex of the resource's index. */
int ORX_MonitoringEventTaskExecutor_postEventUpdateTask(ORX_MonitoringEventTaskExecutor* self,
    struct ORX_MonitoringResource* resource, const void* applicationMetricGroup, ORX_UINT32 metricGroupIndex);

/* Changes of the tree. The callers hold no metric mutex: each takes that of the resource's index. A creation
 * goes to all queues, so that whichever runs first sees it before any later metric of the resource; a removal
 * and a change go behind the resource's last events. `applicationResource` is the root of the resource's
 * tree. */
int ORX_MonitoringEventTaskExecutor_postResourceCreationTask(ORX_MonitoringEventTaskExecutor* self,
    const struct ORX_MonitoringResource* resource, const struct ORX_MonitoringResource* applicationResource);
int ORX_MonitoringEventTaskExecutor_postDeletionResourceTask(ORX_MonitoringEventTaskExecutor* self,
    const struct ORX_MonitoringResource* resource, const struct ORX_MonitoringResource* applicationResource);
int ORX_MonitoringEventTaskExecutor_postResourceChangeTask(ORX_MonitoringEventTaskExecutor* self,
    const struct ORX_MonitoringResource* resource, const struct ORX_MonitoringResource* applicationResource);

/* The whole tree as one sample. Takes the library lock unless `mutexAlreadyTaken`, and counts the snapshot in
 * the registry's snapshotEpoch. */
int ORX_MonitoringEventTaskExecutor_postResourceSnapshotTask(ORX_MonitoringEventTaskExecutor* self,
    struct ORX_MonitoringResourceRegistry* resourceRegistry, int mutexAlreadyTaken);
/* The current values of the groups in `metrics`, or of all event groups that the resource publishes when it
 * is null, as one sample. Takes the entity lock of the resource, then its metric mutex. A group that cannot
 * be fetched is left out; a paused resource posts nothing, counts the skip and succeeds. */
int ORX_MonitoringEventTaskExecutor_postEventMetricSnapshotTask(ORX_MonitoringEventTaskExecutor* self,
    struct ORX_MonitoringResource* resource, const DDS_UnsignedLongSeq* metrics);
/* Both for a reader that has just come: the tree, then every resource that is not paused. The caller holds
 * the library lock. The first failure ends the walk. */
int ORX_MonitoringEventTaskExecutor_postInitialSnapshots(
    ORX_MonitoringEventTaskExecutor* self, struct ORX_MonitoringResourceRegistry* resourceRegistry);

ZDDS_END_C

#endif
