/* Snapshot thread: a reader that joins late has missed what was sent so far. The thread watches the event
 * writer for new matches, waits snapshot_delay after one, and posts a snapshot of the tree and of every
 * resource's event metrics.
 *
 * Threads: one thread of its own; new and delete are the owner's. The thread ends by itself after any
 * failure, and no further initial snapshots are sent then. It may start before registry and executor exist,
 * as no reader can match a writer that is not enabled.
 *
 * Locks: it takes the library lock in attempts of 200 ms, so that a stop is noticed while the lock is busy,
 * and posts under it.
 *
 * Stop: finalize wakes the thread wherever it waits. The delay is waited out on a semaphore that finalize
 * gives, so a long snapshot_delay does not hold up a stop; and a snapshot is never posted early, since the
 * delay either passes in full or the thread ends.
 *
 * Ownership: class and writer are borrowed; the wait set and the thread are owned. */
#ifndef ORX_EVENT_SNAPSHOT_THREAD_H
#define ORX_EVENT_SNAPSHOT_THREAD_H

#include "zddsc/conditions.h"
#include "zddsc/monitoring.h"
#include "zddscore/thread.h"

ZDDS_BEGIN_C

struct ORX_MonitoringEventSnapshotThread {
    struct ORXOsapiJoinableThread* thread;
    struct ORX_MonitoringClass* monitoringClass;
    DDS_DataWriter* eventWriter;
    DDS_WaitSet* waitset;
    DDS_StatusCondition* statusCondition; /* the writer's */
    DDS_GuardCondition* stopCondition;    /* owned; ends a wait for matches at the stop */
    int isRunning;                        /* atomic: true from the start until finalize */
    struct ORXOsapiSemaphore* stopSignal; /* given once by finalize */
    /* Progress, for debuggers and tests; atomic. Matches whose delay has begun, and matches dealt with. */
    ORX_UINT32 delaysBegun;
    ORX_UINT32 matchesHandled;
};
typedef struct ORX_MonitoringEventSnapshotThread ORX_MonitoringEventSnapshotThread;

/* The started thread, or null. `property` gives the thread settings; the delay is read from the class when a
 * reader matches. */
ORX_MonitoringEventSnapshotThread* ORX_MonitoringEventSnapshotThread_new(
    struct ORX_MonitoringClass* monitoringClass, DDS_DataWriter* eventWriter,
    const ORX_MonitoringProperty_t* property, const char* threadName);
/* Non-zero once everything is freed, also for null. Zero when the thread does not end within 20 s or the wait
 * set cannot be deleted: the object stays allocated, and what it borrowed has to stay too. */
int ORX_MonitoringEventSnapshotThread_delete(ORX_MonitoringEventSnapshotThread* self);

ZDDS_END_C

#endif
