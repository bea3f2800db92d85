#include "src/taskExecutor/TaskExecutor.h"

#include <atomic>
#include <new>

#include "src/log/Log.hpp"
#include "src/taskExecutor/TaskExecutorWorker.hpp"
#include "src/taskExecutor/TaskQueue.hpp"
#include "src/taskExecutor/Thread.hpp"
#include "zddscore/heap.h"

namespace {

constexpr ORX_UINT32 orxLogSubmodule = orx::log::submodule::taskExecutor;

using namespace orx::taskExecutor;

bool createQueues(ORX_MonitoringTaskExecutor& self) {
    const ORX_UINT32 level = self.property.concurrencyLevel;
    void* queues = nullptr;
    if (!ORXOsapiHeap_reallocateMemoryInternal(&queues, size_t{level} * sizeof(Queue), alignof(Queue), 1,
            "struct ORX_MonitoringTaskExecutorTaskQueue")) {
        return ORX_ERROR(
            FAILED_TO_ALLOCATE, "Array of %u Executor Task Queues for the Monitoring Executor\n", level);
    }
    self.queues = static_cast<Queue*>(queues);
    self.queueCount = level;
    for (ORX_UINT32 i = 0; i < level; ++i) {
        if (!initializeQueue(self.queues[i], self.property, i)) {
            return ORX_ERROR(FAILED_TO_INITIALIZE, "Executor Task Queue in position %u\n", i);
        }
    }
    return true;
}

bool startThread(ORX_MonitoringTaskExecutor& self, const char* threadName) {
    self.threadId = 0;
    std::atomic_ref(self.status).store(ORX_MONITORING_EXECUTOR_THREAD_RUNNING, std::memory_order_relaxed);
    self.thread = orx::startThread(
        orxLogSubmodule, threadName, self.property.threadSettings, ORX_MonitoringTaskExecutor_run, &self);
    if (self.thread == nullptr) {
        return ORX_ERROR(FAILED_TO_CREATE, "Monitoring Executor thread with name %s\n", threadName);
    }
    return true;
}

bool copyProperty(
    ORX_MonitoringTaskExecutorProperty_t& self, const ORX_MonitoringTaskExecutorProperty_t& source) {
    self = source;
    self.threadSettings = {};
    (void)DDS_ThreadSettings_t_initialize(&self.threadSettings);
    if (!DDS_ThreadSettings_t_copy(&self.threadSettings, &source.threadSettings)) {
        return ORX_ERROR(FAILED_TO_COPY, "Thread settings of the Monitoring Executor\n");
    }
    return true;
}

bool initialize(ORX_MonitoringTaskExecutor& self, const ORX_MonitoringTaskExecutorProperty_t& property,
    const ORX_MonitoringTaskExecutorListener& listener, const char* threadName) {
    self.listener = listener;
    if (!copyProperty(self.property, property))
        return false;
    if (!createQueues(self))
        return false;
    self.wakesByPosts = DDS_Duration_is_zero(&self.property.wakeUpPeriod);
    DDS_Duration_to_ntp_time(&self.property.wakeUpPeriod, &self.blockDuration);
    self.newTaskSignal = ORXOsapiSemaphore_new(ORX_OSAPI_SEMAPHORE_KIND_COUNTING, nullptr);
    if (self.newTaskSignal == nullptr) {
        return ORX_ERROR(FAILED_TO_CREATE, "Executor new task signal semaphore.");
    }
    return startThread(self, threadName);
}

bool stopThread(ORX_MonitoringTaskExecutor& self) {
    std::atomic_ref(self.threadId).store(0, std::memory_order_relaxed);
    std::atomic_ref(self.status).store(ORX_MONITORING_EXECUTOR_THREAD_STOPPED, std::memory_order_relaxed);
    if (ORXOsapiSemaphore_give(self.newTaskSignal) != ORX_OSAPI_SEMAPHORE_STATUS_OK) {
        return ORX_ERROR(FAILED_TO_UNLOCK, "Signaling executor new task semaphore.");
    }
    if (!ORXOsapiJoinableThread_stopAndDelete(self.thread, orx::threadStopTimeoutMs)) {
        return ORX_ERROR(FAILED_TO_FINALIZE, "Monitoring Executor thread\n");
    }
    self.thread = nullptr;
    return true;
}

// The shared word, and behind it the nodes for all queues but the owner, in one buffer of the owner's arena.
struct SharedTask {
    SharedState shared; // first
    ForeignTask nodes[1];

    static constexpr size_t bytes(ORX_UINT32 foreignNodes) {
        return offsetof(SharedTask, nodes) + foreignNodes * sizeof(ForeignTask);
    }
};

SharedTask* reserveSharedTask(Queue& owner, ORX_UINT32 foreignNodes) {
    const auto size = static_cast<REDAInlineMemorySize>(SharedTask::bytes(foreignNodes));
    auto* task = static_cast<SharedTask*>(REDAInlineMemory_reserveBufferI(&owner.memoryManager, size, 1));
    if (task == nullptr) {
        return ORX_ERROR(FAILED_TO_ALLOCATE,
            "'ORX_MonitoringTaskExecutorTaskState' with size %u\n, in the memory manager with index %u.\n",
            static_cast<unsigned>(size), owner.concurrencyIndex);
    }
    task->shared = {ORX_MONITORING_TASK_EXECUTOR_TASK_STATE_NO_PROCESSED, foreignNodes};
    return task;
}

// Goes round the other queues, from the one behind the owner. Their nodes are in place already; the leaf
// locks cannot fail unless a semaphore has been broken, and then the owner keeps the shared word until its
// arena ends.
bool handOut(ORX_MonitoringTaskExecutor& self, SharedTask& shared, const Task& task) {
    const ORX_UINT32 level = self.property.concurrencyLevel;
    const ORX_UINT32 owner = task.payloadMemoryManagerIndex;
    for (ORX_UINT32 i = 0; i + 1 < level; ++i) {
        auto* node = new (&shared.nodes[i]) ForeignTask{.task = task, .next = nullptr};
        REDAInlineListNode_init(&node->task.node);
        const ORX_UINT32 index = (owner + 1 + i) % level;
        if (!addToInbox(self.queues[index], *node)) {
            return ORX_ERROR(FAILED_TO_POST, "Task in concurrency queue with index %u\n", index);
        }
    }
    return true;
}

} // namespace

void ORX_MonitoringTaskExecutorProperty_t_initialize(ORX_MonitoringTaskExecutorProperty_t* self) {
    ORX_LEAVE_IF(self == ORX_NULL);
    *self = ORX_MonitoringTaskExecutorProperty_t{
        .concurrencyLevel = 5,
        .mutexPool = nullptr,
        .threadSettings = {},
        .initialMemoryManagerSize = 10240,
        .wakeUpPeriod = {0, 50000U},
        .gcTaskThreshold = 10,
    };
    (void)DDS_ThreadSettings_t_initialize(&self->threadSettings);
}

void ORX_MonitoringTaskExecutorProperty_t_finalize(ORX_MonitoringTaskExecutorProperty_t* self) {
    ORX_LEAVE_IF(self == ORX_NULL);
    (void)DDS_ThreadSettings_t_finalize(&self->threadSettings);
}

ORX_MonitoringTaskExecutor* ORX_MonitoringTaskExecutor_new(
    const ORX_MonitoringTaskExecutorProperty_t* property, const ORX_MonitoringTaskExecutorListener* listener,
    const char* threadName) {
    ORX_FAIL_IF(property == ORX_NULL);
    ORX_FAIL_IF(listener == ORX_NULL);
    if (listener->onTaskAvailable == nullptr) {
        return ORX_PRECONDITION_FAILED("\"listener->onTaskAvailable == ((void *)0)\"\n");
    }
    ORX_FAIL_IF(threadName == ORX_NULL);
    ORX_MonitoringTaskExecutor* self = nullptr;
    if (!ORXOsapiHeap_allocateStructure(&self, struct ORX_MonitoringTaskExecutor)) {
        return ORX_ERROR(FAILED_TO_ALLOCATE, "'struct ORX_MonitoringTaskExecutor' with size %u\n",
            static_cast<unsigned>(sizeof *self));
    }
    if (!initialize(*self, *property, *listener, threadName)) {
        ORX_MonitoringTaskExecutor_delete(self);
        return ORX_ERROR(FAILED_TO_INITIALIZE, "ORX_MonitoringTaskExecutor\n");
    }
    return self;
}

int ORX_MonitoringTaskExecutor_finalize(ORX_MonitoringTaskExecutor* self) {
    ORX_FAIL_IF(self == ORX_NULL);
    if (self->thread != nullptr && !stopThread(*self))
        return 0;
    if (self->newTaskSignal != nullptr)
        (void)ORXOsapiSemaphore_delete(self->newTaskSignal);
    self->newTaskSignal = nullptr;
    for (ORX_UINT32 i = 0; self->queues != nullptr && i < self->property.concurrencyLevel; ++i) {
        finalizeQueue(self->queues[i]);
    }
    ORXOsapiHeap_freeArray(self->queues);
    self->queues = nullptr;
    ORX_MonitoringTaskExecutorProperty_t_finalize(&self->property);
    return 1;
}

void ORX_MonitoringTaskExecutor_delete(ORX_MonitoringTaskExecutor* self) {
    if (self == nullptr || !ORX_MonitoringTaskExecutor_finalize(self))
        return;
    ORXOsapiHeap_freeStructure(self);
}

struct REDAInlineMemory** ORX_MonitoringTaskExecutor_getMemoryManager(
    ORX_MonitoringTaskExecutor* self, ORX_UINT32 concurrencyIndex) {
    ORX_FAIL_IF(self == ORX_NULL);
    ORX_FAIL_IF(concurrencyIndex >= self->property.concurrencyLevel);
    return &self->queues[concurrencyIndex].memoryManager;
}

int ORX_MonitoringTaskExecutor_postTaskWithParams(ORX_MonitoringTaskExecutor* self, int* postedInQueue,
    ORX_UINT32 concurrencyIndex, void* payload, int (*deletePayloadFnc)(void* payload),
    ORX_UINT32 payloadMemoryManagerIndex, ORX_MonitoringTaskExecutorSharedState* taskState,
    int mutexTakenOutside) {
    ORX_FAIL_IF(self == ORX_NULL);
    ORX_FAIL_IF(concurrencyIndex >= self->property.concurrencyLevel);
    ORX_FAIL_IF(payload == ORX_NULL);
    if (deletePayloadFnc == nullptr)
        return ORX_PRECONDITION_FAILED("\"deletePayloadFnc == ((void *)0)\"\n");
    Queue& queue = self->queues[concurrencyIndex];
    if (!mutexTakenOutside && ORXOsapiSemaphore_take(queue.mutex, nullptr) != ORX_OSAPI_SEMAPHORE_STATUS_OK) {
        return ORX_ERROR(FAILED_TO_LOCK, "Taking mutex with index %u\n", concurrencyIndex);
    }
    int result = addTask(queue, Task{.node = {},
                                    .deletePayloadFunction = deletePayloadFnc,
                                    .payload = payload,
                                    .state = taskState,
                                    .payloadMemoryManagerIndex = payloadMemoryManagerIndex});
    if (result && postedInQueue != nullptr)
        *postedInQueue = 1;
    if (!mutexTakenOutside && ORXOsapiSemaphore_give(queue.mutex) != ORX_OSAPI_SEMAPHORE_STATUS_OK) {
        result = ORX_ERROR(FAILED_TO_UNLOCK, "Giving mutex with index %u\n", concurrencyIndex);
    }
    return result;
}

int ORX_MonitoringTaskExecutor_postTask(ORX_MonitoringTaskExecutor* self, int* postedInQueue,
    ORX_UINT32 concurrencyIndex, void* payload, int (*deletePayloadFnc)(void* payload)) {
    if (postedInQueue != nullptr)
        *postedInQueue = 0;
    if (!ORX_MonitoringTaskExecutor_postTaskWithParams(
            self, postedInQueue, concurrencyIndex, payload, deletePayloadFnc, concurrencyIndex, nullptr, 1)) {
        return ORX_FLOOD_ERROR(FAILED_TO_POST, "Task in concurrency queue with index %u\n", concurrencyIndex);
    }
    return signalNewTask(*self);
}

int ORX_MonitoringTaskExecutor_postTaskAllQueues(ORX_MonitoringTaskExecutor* self, int* postedAtLeastInAQueue,
    ORX_UINT32 concurrencyIndex, void* payload, int (*deletePayloadFnc)(void* payload)) {
    ORX_FAIL_IF(self == ORX_NULL);
    ORX_FAIL_IF(postedAtLeastInAQueue == ORX_NULL);
    *postedAtLeastInAQueue = 0;
    ORX_FAIL_IF(concurrencyIndex >= self->property.concurrencyLevel);
    ORX_FAIL_IF(payload == ORX_NULL);
    if (deletePayloadFnc == nullptr)
        return ORX_PRECONDITION_FAILED("\"deletePayloadFnc == ((void *)0)\"\n");
    SharedTask* shared =
        reserveSharedTask(self->queues[concurrencyIndex], self->property.concurrencyLevel - 1);
    if (shared == nullptr)
        return 0;
    if (!ORX_MonitoringTaskExecutor_postTaskWithParams(self, postedAtLeastInAQueue, concurrencyIndex, payload,
            deletePayloadFnc, concurrencyIndex, &shared->shared, 1)) {
        (void)REDAInlineMemBuffer_release(shared);
        return ORX_ERROR(FAILED_TO_POST, "Task in concurrency queue with index %u\n", concurrencyIndex);
    }
    if (!handOut(*self, *shared,
            Task{.node = {},
                .deletePayloadFunction = deletePayloadFnc,
                .payload = payload,
                .state = &shared->shared,
                .payloadMemoryManagerIndex = concurrencyIndex})) {
        return 0;
    }
    return signalNewTask(*self);
}
