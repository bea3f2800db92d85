#include "src/taskExecutor/TaskExecutorWorker.hpp"

#include <atomic>

#include "src/log/Log.hpp"
#include "src/taskExecutor/TaskQueue.hpp"

namespace {

constexpr ORX_UINT32 orxLogSubmodule = orx::log::submodule::taskExecutor;

using namespace orx::taskExecutor;

constexpr ORXNtpTime collectionTimeout{0, 0x7FFF9400U}; // 500 ms
// So many tasks are walked while the mutex is held once: a producer that waits for it waits for some
// microseconds, however many tasks there are.
constexpr unsigned collectionStep = 16;

bool isRunning(ORX_MonitoringTaskExecutor& self) {
    // Relaxed: the semaphore that finalize gives afterwards orders everything else.
    return std::atomic_ref(self.status).load(std::memory_order_relaxed) ==
           ORX_MONITORING_EXECUTOR_THREAD_RUNNING;
}

// False when the wait cannot go on.
bool waitForTasks(ORX_MonitoringTaskExecutor& self) {
    const bool forEver = DDS_Duration_is_zero(&self.property.wakeUpPeriod);
    const auto status = ORXOsapiSemaphore_take(self.newTaskSignal, forEver ? nullptr : &self.blockDuration);
    if (status == ORX_OSAPI_SEMAPHORE_STATUS_OK || status == ORX_OSAPI_SEMAPHORE_STATUS_TIMEOUT)
        return true;
    return ORX_ERROR(FAILED_TO_LOCK, "Executor new task signal semaphore.");
}

// Whether nobody has run the task yet; it counts as run from here on.
bool claim(const Task& task) {
    if (task.state == nullptr)
        return true;
    switch (task.state->state) {
    case ORX_MONITORING_TASK_EXECUTOR_TASK_STATE_NO_PROCESSED:
        task.state->state = ORX_MONITORING_TASK_EXECUTOR_TASK_STATE_PROCESSED;
        return true;
    case ORX_MONITORING_TASK_EXECUTOR_TASK_STATE_PROCESSED:
    case ORX_MONITORING_TASK_EXECUTOR_TASK_STATE_READY_TO_REMOVE:
        return false;
    }
    return ORX_PRECONDITION_FAILED(
        "\"*current->state > ORX_MONITORING_TASK_EXECUTOR_TASK_STATE_READY_TO_REMOVE\"\n");
}

void runTask(ORX_MonitoringTaskExecutor& self, const Queue& queue, const Task& task) {
    if (claim(task) && !self.listener.onTaskAvailable(self.listener.userData, &task)) {
        ORX_FLOOD_WARNING(FAILED_TO_PROCESS,
            "A task of the concurrencyIndex %u could not be processed and it will be dropped\n",
            queue.concurrencyIndex);
    }
}

void runBatch(ORX_MonitoringTaskExecutor& self, Queue& queue) {
    const Batch batch = takeBatch(queue);
    for (Task* task = batch.first; task != nullptr;
         task = task == batch.end ? nullptr : asTask(REDAInlineListNode_getNext(&task->node))) {
        ++queue.processedTasks;
        runTask(self, queue, *task);
    }
    for (ForeignTask* foreign = batch.inbox; foreign != nullptr;) {
        // The owner may free the node once it is not counted any more.
        ForeignTask* next = foreign->next;
        runTask(self, queue, foreign->task);
        --foreign->task.state->foreignNodes;
        foreign = next;
    }
    if (batch.first == nullptr && batch.inbox == nullptr)
        return;
    if (self.listener.onAfterProcessedQueue != nullptr) {
        self.listener.onAfterProcessedQueue(self.listener.userData);
    }
    if (batch.end != nullptr)
        queue.lastProcessedTask = batch.end;
}

void forceCollection(ORX_MonitoringTaskExecutor& self, const Queue& queue) {
    self.lastIndexForcingCollection = queue.concurrencyIndex;
    self.forceGarbageCollection = 1;
}

// Whether the node of the owner may go, with its payload and shared word. In two passes, so that every other
// queue collects between them; a queue that could not, because its mutex was busy, gets another round.
bool isRemovableByOwner(ORX_MonitoringTaskExecutor& self, const Queue& queue, const Task& task) {
    if (task.state == nullptr)
        return true;
    if (task.state->state == ORX_MONITORING_TASK_EXECUTOR_TASK_STATE_PROCESSED) {
        task.state->state = ORX_MONITORING_TASK_EXECUTOR_TASK_STATE_READY_TO_REMOVE;
        forceCollection(self, queue);
        return false;
    }
    if (task.state->state != ORX_MONITORING_TASK_EXECUTOR_TASK_STATE_READY_TO_REMOVE) {
        return ORX_PRECONDITION_FAILED(
            "\"*current->state != ORX_MONITORING_TASK_EXECUTOR_TASK_STATE_READY_TO_REMOVE\"\n");
    }
    if (task.state->foreignNodes > 0) {
        forceCollection(self, queue);
        return false;
    }
    return true;
}

void deletePayload(const Queue& queue, const Task& task) {
    if (!task.deletePayloadFunction(task.payload)) {
        ORX_WARNING(FAILED_TO_DELETE, "Task payload of queue with index %u\n", queue.concurrencyIndex);
    }
    if (task.state != nullptr && !REDAInlineMemBuffer_release(task.state)) {
        ORX_WARNING(FAILED_TO_DELETE, "Task state of queue with index %u\n", queue.concurrencyIndex);
    }
}

// False when the node stays in the list.
bool collectTask(ORX_MonitoringTaskExecutor& self, Queue& queue, Task& task) {
    if (task.state != nullptr && task.state->state == ORX_MONITORING_TASK_EXECUTOR_TASK_STATE_NO_PROCESSED) {
        return ORX_PRECONDITION_FAILED("\"current->state != ((void *)0) && *current->state == "
                                       "ORX_MONITORING_TASK_EXECUTOR_TASK_STATE_NO_PROCESSED\"\n");
    }
    const bool isOwner = task.payloadMemoryManagerIndex == queue.concurrencyIndex;
    if (isOwner && !isRemovableByOwner(self, queue, task))
        return false;
    REDAInlineList_removeNodeEA(&queue.tasks, &task.node);
    if (!isOwner) { // its memory goes with the shared word
        --task.state->foreignNodes;
        return true;
    }
    deletePayload(queue, task);
    if (!REDAInlineMemBuffer_release(&task)) {
        ORX_WARNING(FAILED_TO_DELETE, "Task of queue with index %u\n", queue.concurrencyIndex);
    }
    return true;
}

// One walk from the first node to the cursor, in steps. Between two steps the mutex is free and tasks may be
// added; only this thread removes any, so that the place of the walk stays good.
class Collection {
public:
    Collection(ORX_MonitoringTaskExecutor& self, Queue& queue) : self_{self}, queue_{queue} {}

    // Under the mutex. False when there is nothing to walk.
    bool begin() {
        if (REDAInlineList_getFirst(&queue_.tasks) == nullptr)
            return false;
        if (self_.forceGarbageCollection && self_.lastIndexForcingCollection == queue_.concurrencyIndex) {
            self_.forceGarbageCollection = 0; // it has gone all the way round
        }
        // Tasks may have come since the queue was visited, while the cursor stands nowhere: they are not
        // processed yet.
        return queue_.lastProcessedTask != nullptr;
    }
    // Under the mutex. False when the walk has come to its end.
    bool step() {
        for (unsigned i = 0; i < collectionStep; ++i) {
            REDAInlineListNode* node = lastKept_ != nullptr ? REDAInlineListNode_getNext(lastKept_)
                                                            : REDAInlineList_getFirst(&queue_.tasks);
            const bool isEnd = asTask(node) == queue_.lastProcessedTask;
            --queue_.processedTasks;
            if (!collectTask(self_, queue_, *asTask(node))) {
                lastKept_ = node;
                ++keptCount_;
            }
            if (isEnd) {
                queue_.lastProcessedTask = nullptr;
                return false;
            }
        }
        return true;
    }
    // The rest is left to the next collection, which walks what was kept again.
    void interrupt() { queue_.processedTasks += keptCount_; }

private:
    ORX_MonitoringTaskExecutor& self_;
    Queue& queue_;
    REDAInlineListNode* lastKept_ = nullptr;
    ORX_UINT32 keptCount_ = 0;
};

// False when a collection failed for good.
bool visitQueues(ORX_MonitoringTaskExecutor& self) {
    for (ORX_UINT32 i = 0; i < self.property.concurrencyLevel && isRunning(self); ++i) {
        Queue& queue = self.queues[i];
        runBatch(self, queue);
        const bool due = self.forceGarbageCollection || queue.processedTasks >= self.property.gcTaskThreshold;
        if (due && !ORX_MonitoringTaskExecutor_deleteTasksFromQueue(&self, i)) {
            return ORX_ERROR(FAILED_TO_DELETE, "Nodes of the task queue with index %u\n", i);
        }
    }
    return true;
}

} // namespace

int ORX_MonitoringTaskExecutor_deleteTasksFromQueue(
    ORX_MonitoringTaskExecutor* self, ORX_UINT32 concurrencyIndex) {
    ORX_FAIL_IF(self == ORX_NULL);
    ORX_FAIL_IF(concurrencyIndex >= self->property.concurrencyLevel);
    Queue& queue = self->queues[concurrencyIndex];
    Collection collection{*self, queue};
    bool isBegun = false;
    for (bool goesOn = true; goesOn; isBegun = true) {
        const auto status = ORXOsapiSemaphore_take(queue.mutex, &collectionTimeout);
        if (status != ORX_OSAPI_SEMAPHORE_STATUS_OK) {
            collection.interrupt();
            return status == ORX_OSAPI_SEMAPHORE_STATUS_TIMEOUT
                       ? 1
                       : ORX_ERROR(FAILED_TO_LOCK, "Taking queue mutex\n");
        }
        goesOn = (isBegun || collection.begin()) && collection.step();
        if (ORXOsapiSemaphore_give(queue.mutex) != ORX_OSAPI_SEMAPHORE_STATUS_OK) {
            return ORX_ERROR(FAILED_TO_UNLOCK, "Giving queue mutex\n");
        }
    }
    return 1;
}

void* ORX_MonitoringTaskExecutor_run(void* param) {
    auto& self = *static_cast<ORX_MonitoringTaskExecutor*>(param);
    const ORX_UINT64 id = ORXOsapiThread_getCurrentThreadID();
    std::atomic_ref(self.threadId).store(id, std::memory_order_relaxed);
    if (id == 0)
        return ORX_ERROR(FAILED_TO_GET, "Thread ID\n");
    while (waitForTasks(self) && isRunning(self) && visitQueues(self)) {
    }
    return nullptr;
}
