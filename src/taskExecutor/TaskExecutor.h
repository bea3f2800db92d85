/* Task executor: takes work off application threads. One worker thread serves a fixed array of queues, one
 * for each concurrency index.
 *
 * Threads: producers post under the mutex of their index; the worker alone runs tasks, walks batches (without
 * a lock) and frees; new, finalize and delete are the owner's.
 *
 * Ownership: a posted payload belongs to the queues, even if the call fails after that, and the worker frees
 * it with the function that it was posted with. Nodes, shared words and payloads live in the arena of one
 * queue. Mutexes are borrowed. What is queued at finalize is dropped with its arena and not freed one by one.
 *
 * Order: the tasks of one queue run in the order of their posts. A task posted to all queues runs once, at
 * the earliest position that it has in any queue: whatever is posted anywhere after such a post has returned
 * runs after its task.
 *
 * How a post to all queues gets along with another one. The caller holds the mutex of its origin, and two
 * callers with different origins would wait for each other if each took the other queues' mutexes. So nobody
 * takes them: the nodes for the other queues are reserved together with the shared word in the origin's
 * arena, and each is handed to its queue through an inbox with a leaf lock. Whoever comes first empties the
 * inbox: a producer moves it to the back of the list ahead of its own task, the worker takes it as the end of
 * its batch. Both do so under the leaf lock, and the worker reads the end of the list under it too, so no
 * task overtakes another. A post to one queue pays one load for it.
 *
 * The shared word counts the nodes that other queues still have. Its owner frees it at 0, not sooner. */
#ifndef ORX_TASK_EXECUTOR_H
#define ORX_TASK_EXECUTOR_H

#include "zddsc/basic_types.h"
#include "zddsc/thread_settings.h"
#include "zddscore/inline_list.h"
#include "zddscore/inline_memory.h"
#include "zddscore/semaphore.h"
#include "zddscore/thread.h"

ZDDS_BEGIN_C

typedef enum ORX_MonitoringTaskExecutorTaskState {
    ORX_MONITORING_TASK_EXECUTOR_TASK_STATE_NO_PROCESSED = 0, /* no queue has reached the task yet */
    ORX_MONITORING_TASK_EXECUTOR_TASK_STATE_PROCESSED = 1,    /* one queue has run it */
    /* The owner has asked all queues to drop their nodes. */
    ORX_MONITORING_TASK_EXECUTOR_TASK_STATE_READY_TO_REMOVE = 2
} ORX_MonitoringTaskExecutorTaskState;

/* What the nodes of a task posted to all queues share. The producer fills it before the first node is
 * reachable; from then on the worker alone reads and writes it. The nodes of the other queues lie behind it
 * in the same buffer. */
struct ORX_MonitoringTaskExecutorSharedState {
    ORX_MonitoringTaskExecutorTaskState state;
    ORX_UINT32 foreignNodes; /* nodes that other queues still hold */
};
typedef struct ORX_MonitoringTaskExecutorSharedState ORX_MonitoringTaskExecutorSharedState;

/* A node in a queue. Complete when it is linked; nobody but the worker looks at it afterwards. */
struct ORX_MonitoringTaskExecutorTask {
    struct REDAInlineListNode node; /* first */
    /* Non-zero on success. Runs under the mutex of the payload's queue. */
    int (*deletePayloadFunction)(void* payload);
    void* payload;
    struct ORX_MonitoringTaskExecutorSharedState* state; /* null for a task posted to one queue */
    ORX_UINT32 payloadMemoryManagerIndex; /* the owner: the queue whose arena has payload and shared word */
};
typedef struct ORX_MonitoringTaskExecutorTask ORX_MonitoringTaskExecutorTask;

struct ORX_MonitoringTaskExecutorForeignTask; /* a node that waits in an inbox; TaskQueue.hpp */

/* What a push touches comes first, and what only the worker does has lines of the cache of its own. */
struct ORX_MonitoringTaskExecutorTaskQueue {
    /* Oldest first. Added to under `mutex`, walked by the worker without a lock. */
    alignas(64) struct REDAInlineList tasks;
    struct REDAInlineMemory* memoryManager; /* owned; under `mutex` */
    /* Nodes posted from other queues, oldest first. Changed under `inboxMutex`. The head is atomic: producers
     * look without the lock whether it is null. It is cleared with release and looked at with acquire, so
     * that who finds it null links behind whatever the worker took. */
    struct ORX_MonitoringTaskExecutorForeignTask* inboxHead;
    /* Tasks that this queue owns, ever posted. Changed under `mutex`, read by anybody: atomic. */
    ORX_UINT64 postedTasks;
    ORX_UINT32 concurrencyIndex;
    struct ORXOsapiSemaphore* mutex; /* borrowed; rank 3: the metric or logging mutex of this index */
    struct ORX_MonitoringTaskExecutorForeignTask* inboxTail;
    struct ORXOsapiSemaphore* inboxMutex; /* owned; rank 4: a leaf, nothing is waited for under it */
    /* The worker's own. */
    alignas(64) ORX_UINT32 processedTasks; /* nodes visited and not yet walked by the collector */
    struct ORX_MonitoringTaskExecutorTask* lastProcessedTask; /* cursor; null at first and once collected */
};
typedef struct ORX_MonitoringTaskExecutorTaskQueue ORX_MonitoringTaskExecutorTaskQueue;

struct ORX_MonitoringTaskExecutorProperty_t {
    ORX_UINT32 concurrencyLevel;          /* number of queues, at least 1 */
    struct ORXOsapiSemaphore** mutexPool; /* one recursive mutex for each queue, borrowed */
    struct DDS_ThreadSettings_t threadSettings;
    REDAInlineMemorySize initialMemoryManagerSize; /* bytes of each arena at start */
    struct DDS_Duration_t wakeUpPeriod; /* zero: every post wakes the worker; otherwise no post does */
    ORX_UINT32 gcTaskThreshold;         /* processed tasks of a queue that start its collection; not 0 */
};
typedef struct ORX_MonitoringTaskExecutorProperty_t ORX_MonitoringTaskExecutorProperty_t;
/* 5 queues, no pool, default thread settings, 10240 bytes, 50 us, 10 tasks. */
void ORX_MonitoringTaskExecutorProperty_t_initialize(ORX_MonitoringTaskExecutorProperty_t* self);
void ORX_MonitoringTaskExecutorProperty_t_finalize(ORX_MonitoringTaskExecutorProperty_t* self);

/* Both callbacks run on the worker with no lock held. */
struct ORX_MonitoringTaskExecutorListener {
    void* userData;
    /* Required. Runs the task and must not free it. Zero: the task is dropped, with a warning. */
    int (*onTaskAvailable)(void* userData, const struct ORX_MonitoringTaskExecutorTask* task);
    /* May be null. After each non-empty batch of one queue. */
    void (*onAfterProcessedQueue)(void* userData);
};
typedef struct ORX_MonitoringTaskExecutorListener ORX_MonitoringTaskExecutorListener;

typedef enum ORX_MonitoringTaskExecutor_ThreadStatus {
    ORX_MONITORING_EXECUTOR_THREAD_STOPPED = 0,
    ORX_MONITORING_EXECUTOR_THREAD_RUNNING = 1
} ORX_MonitoringTaskExecutor_ThreadStatus;

struct ORX_MonitoringTaskExecutor {
    struct ORX_MonitoringTaskExecutorTaskQueue* queues; /* property.concurrencyLevel of them */
    int wakesByPosts;                                   /* property.wakeUpPeriod is zero */
    ORX_UINT32 queueCount; /* the same as the level: what a push reads is together */
    struct ORXOsapiJoinableThread* thread;
    ORX_UINT64 threadId; /* atomic: the worker stores its id; 0 before and after */
    /* Atomic: stored before the thread starts and by finalize. */
    ORX_MonitoringTaskExecutor_ThreadStatus status;
    struct ORX_MonitoringTaskExecutorProperty_t property;
    struct ORX_MonitoringTaskExecutorListener listener;
    struct ORXOsapiSemaphore* newTaskSignal;
    ORXNtpTime blockDuration; /* wakeUpPeriod */
    /* The worker's own. */
    int forceGarbageCollection; /* true while the other queues must collect whatever their counts */
    ORX_UINT32 lastIndexForcingCollection;
};
typedef struct ORX_MonitoringTaskExecutor ORX_MonitoringTaskExecutor;

/* The started executor, or null. Property and listener are copied. */
ORX_MonitoringTaskExecutor* ORX_MonitoringTaskExecutor_new(
    const ORX_MonitoringTaskExecutorProperty_t* property, const ORX_MonitoringTaskExecutorListener* listener,
    const char* threadName);
/* Stops the worker, which finishes the batch that it is in, and drops what is queued. Nobody posts any more.
 * When the worker does not end within 20 s the object stays allocated, as the thread may still use it. */
void ORX_MonitoringTaskExecutor_delete(ORX_MonitoringTaskExecutor* self);
/* Zero, with everything left in place, when the worker could not be stopped. Copes with a half-made executor.
 */
int ORX_MonitoringTaskExecutor_finalize(ORX_MonitoringTaskExecutor* self);

/* Posts to one queue, whose mutex the caller holds. *postedInQueue (may be null) tells whether the payload
 * belongs to the queue now; it can be true though the call fails. */
int ORX_MonitoringTaskExecutor_postTask(ORX_MonitoringTaskExecutor* self, int* postedInQueue,
    ORX_UINT32 concurrencyIndex, void* payload, int (*deletePayloadFnc)(void* payload));
/* Posts to every queue. The caller holds the mutex of `concurrencyIndex`, from whose arena the payload came,
 * and keeps it through the call; no other queue's mutex is taken, so any number of such posts may run at
 * once. All memory is reserved before the first queue gets its node: the task is in all queues or in none. */
int ORX_MonitoringTaskExecutor_postTaskAllQueues(ORX_MonitoringTaskExecutor* self, int* postedAtLeastInAQueue,
    ORX_UINT32 concurrencyIndex, void* payload, int (*deletePayloadFnc)(void* payload));
/* The common core: one node into one queue, without a signal. Takes the queue's mutex unless
 * mutexTakenOutside. */
int ORX_MonitoringTaskExecutor_postTaskWithParams(ORX_MonitoringTaskExecutor* self, int* postedInQueue,
    ORX_UINT32 concurrencyIndex, void* payload, int (*deletePayloadFnc)(void* payload),
    ORX_UINT32 payloadMemoryManagerIndex, ORX_MonitoringTaskExecutorSharedState* taskState,
    int mutexTakenOutside);
/* Address of the queue's arena, from which payloads are allocated under the queue's mutex; null for an index
 * beyond the level. */
struct REDAInlineMemory** ORX_MonitoringTaskExecutor_getMemoryManager(
    ORX_MonitoringTaskExecutor* self, ORX_UINT32 concurrencyIndex);

ZDDS_END_C

#endif
