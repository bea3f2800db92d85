#include "src/taskExecutor/TaskQueue.hpp"

#include <atomic>
#include <new>

#include "src/log/Log.hpp"

namespace {

constexpr ORX_UINT32 orxLogSubmodule = orx::log::submodule::taskExecutor;

using namespace orx::taskExecutor;

constexpr REDAInlineMemorySize maximalArenaSize = 2147483647;
constexpr ORX_UINT32 arenaIncrementPercent = 50;
constexpr int inboxRank = 4;

class InboxLock {
public:
    explicit InboxLock(Queue& queue)
        : mutex_{queue.inboxMutex}, held_{ORXOsapiSemaphore_take(mutex_, nullptr) ==
                                          ORX_OSAPI_SEMAPHORE_STATUS_OK} {}
    ~InboxLock() {
        if (held_)
            (void)ORXOsapiSemaphore_give(mutex_);
    }
    InboxLock(const InboxLock&) = delete;
    InboxLock& operator=(const InboxLock&) = delete;
    explicit operator bool() const { return held_; }

private:
    ORXOsapiSemaphore* mutex_;
    bool held_;
};

std::atomic_ref<ForeignTask*> inboxHead(Queue& queue) {
    return std::atomic_ref(queue.inboxHead);
}

// Under the leaf lock. The caller owns the chain.
ForeignTask* takeInbox(Queue& queue) {
    ForeignTask* chain = inboxHead(queue).load(std::memory_order_relaxed);
    queue.inboxTail = nullptr;
    inboxHead(queue).store(nullptr, std::memory_order_release);
    return chain;
}

} // namespace

// The nodes are linked before the leaf lock is given, so that the worker finds them either in the list or in
// the inbox, and never a later one first.
bool orx::taskExecutor::moveFullInboxToList(Queue& queue) {
    InboxLock lock{queue};
    if (!lock)
        return ORX_ERROR(FAILED_TO_LOCK, "Taking inbox mutex with index %u\n", queue.concurrencyIndex);
    for (ForeignTask* task = takeInbox(queue); task != nullptr; task = task->next) {
        REDAInlineList_addNodeToBackEA(&queue.tasks, &task->task.node);
    }
    return true;
}

bool orx::taskExecutor::wakeWorker(ORX_MonitoringTaskExecutor& self) {
    if (ORXOsapiSemaphore_give(self.newTaskSignal) != ORX_OSAPI_SEMAPHORE_STATUS_OK) {
        return ORX_ERROR(FAILED_TO_UNLOCK, "Signaling executor new task semaphore.");
    }
    return true;
}

REDAInlineMemoryProperty orx::taskExecutor::arenaProperty(REDAInlineMemorySize initialSize) {
    return {
        .initial = initialSize,
        .maximal = maximalArenaSize,
        .increment = arenaIncrementPercent,
        .forceContiguousMemory = 0,
        .initializeBuffersToZero = 0,
        .lowerLevelAllocator = REDAInlineMemoryLowerLevelAllocator_mallocAllocate,
        .lowerLevelFree = REDAInlineMemoryLowerLevelAllocator_mallocFree,
        .lowerLevelAllocatorData = nullptr,
    };
}

bool orx::taskExecutor::initializeQueue(
    Queue& queue, const ORX_MonitoringTaskExecutorProperty_t& property, ORX_UINT32 index) {
    ORX_FAIL_IF(property.mutexPool == ORX_NULL);
    ORX_FAIL_IF(property.mutexPool[index] == ORX_NULL);
    ORX_FAIL_IF(property.gcTaskThreshold == 0);
    ORX_FAIL_IF(index >= property.concurrencyLevel);
    queue = {};
    queue.mutex = property.mutexPool[index];
    queue.concurrencyIndex = index;
    REDAInlineList_init(&queue.tasks);
    const REDAInlineMemoryProperty arena = arenaProperty(property.initialMemoryManagerSize);
    queue.memoryManager = REDAInlineMemory_new(&arena);
    if (queue.memoryManager == nullptr)
        return ORX_ERROR(FAILED_TO_CREATE, "Memory manager with index %u\n", index);
    queue.inboxMutex = ORXOsapiSemaphore_new(ORX_OSAPI_SEMAPHORE_KIND_MUTEX, nullptr);
    if (queue.inboxMutex == nullptr)
        return ORX_ERROR(FAILED_TO_CREATE, "Inbox mutex with index %u\n", index);
    ORXOsapiSemaphore_setRank(queue.inboxMutex, inboxRank, "task queue inbox");
    return true;
}

void orx::taskExecutor::finalizeQueue(Queue& queue) {
    if (queue.inboxMutex != nullptr)
        (void)ORXOsapiSemaphore_delete(queue.inboxMutex);
    REDAInlineMemory_delete(queue.memoryManager);
    queue = {};
}

bool orx::taskExecutor::addTask(Queue& queue, const Task& task) {
    if (!inboxIsEmpty(queue) && !moveFullInboxToList(queue))
        return false;
    void* buffer = REDAInlineMemory_reserveBufferI(&queue.memoryManager, sizeof(Task), 1);
    if (buffer == nullptr) {
        return ORX_FLOOD_ERROR(FAILED_TO_ALLOCATE,
            "'struct ORX_MonitoringTaskExecutorTask' with size %u\n, in the memory manager with index %u.\n",
            static_cast<unsigned>(sizeof(Task)), queue.concurrencyIndex);
    }
    return linkTask(queue, *new (buffer) Task{task});
}

bool orx::taskExecutor::addToInbox(Queue& queue, ForeignTask& task) {
    InboxLock lock{queue};
    if (!lock)
        return ORX_ERROR(FAILED_TO_LOCK, "Taking inbox mutex with index %u\n", queue.concurrencyIndex);
    task.next = nullptr;
    if (queue.inboxTail != nullptr) {
        queue.inboxTail->next = &task;
    } else {
        inboxHead(queue).store(&task, std::memory_order_release);
    }
    queue.inboxTail = &task;
    return true;
}

orx::taskExecutor::Batch orx::taskExecutor::takeBatch(Queue& queue) {
    Batch batch;
    if (inboxIsEmpty(queue)) {
        batch.end = asTask(REDAInlineList_getLast(&queue.tasks));
    } else {
        InboxLock lock{queue};
        // The end first: what is linked behind it comes after what is taken here.
        batch.end = asTask(REDAInlineList_getLast(&queue.tasks));
        if (lock)
            batch.inbox = takeInbox(queue);
    }
    Task* cursor = queue.lastProcessedTask;
    if (batch.end == cursor) {
        batch.end = nullptr;
    } else {
        batch.first = asTask(cursor != nullptr ? REDAInlineListNode_getNext(&cursor->node)
                                               : REDAInlineList_getFirst(&queue.tasks));
    }
    return batch;
}
