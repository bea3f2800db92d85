// One queue of the task executor: a list that the worker walks without a lock, and an inbox for nodes that
// come from posts with another origin. See TaskExecutor.h for who may call what.
#ifndef ORX_TASK_QUEUE_HPP
#define ORX_TASK_QUEUE_HPP

#include <atomic>

#include "src/taskExecutor/TaskExecutor.h"

// A node of a task that another queue owns. While it waits in an inbox it is linked by `next`, afterwards as
// any node. Its memory is part of the owner's shared word.
struct ORX_MonitoringTaskExecutorForeignTask {
    ORX_MonitoringTaskExecutorTask task; // first
    ORX_MonitoringTaskExecutorForeignTask* next;
};

namespace orx::taskExecutor {

using Queue = ORX_MonitoringTaskExecutorTaskQueue;
using Task = ORX_MonitoringTaskExecutorTask;
using ForeignTask = ORX_MonitoringTaskExecutorForeignTask;
using SharedState = ORX_MonitoringTaskExecutorSharedState;

// What the worker runs in one visit: the nodes of the list from `first` to `end`, both included, then the
// inbox.
struct Batch {
    Task* first = nullptr;
    Task* end = nullptr;
    ForeignTask* inbox = nullptr;
};

// Of an arena that grows by half of itself.
REDAInlineMemoryProperty arenaProperty(REDAInlineMemorySize initialSize);
bool initializeQueue(Queue& queue, const ORX_MonitoringTaskExecutorProperty_t& property, ORX_UINT32 index);
// Takes any prefix of the above, and memory of zeros.
void finalizeQueue(Queue& queue);

// Producer, under the queue's mutex: a node for the queue's own arena, behind everything that was posted
// before. False when memory is out or the leaf lock cannot be taken; then nothing was posted.
bool addTask(Queue& queue, const Task& task);
// The same for a node that lies in the queue's arena already. False: it was not posted and is the caller's.
inline bool linkTask(Queue& queue, Task& task);
// After a post, under no lock in particular: wakes a worker that has no period of its own. False, with a line
// of log, when it cannot.
inline bool signalNewTask(ORX_MonitoringTaskExecutor& self);
// Producer, without the queue's mutex: hands over a node of another queue's arena.
bool addToInbox(Queue& queue, ForeignTask& task);
// Worker: what has been posted since the last batch.
Batch takeBatch(Queue& queue);

// Producer, under the queue's mutex: what was posted from elsewhere goes ahead of what the caller is about to
// add.
bool moveFullInboxToList(Queue& queue);
bool wakeWorker(ORX_MonitoringTaskExecutor& self);

inline bool inboxIsEmpty(Queue& queue) {
    return std::atomic_ref(queue.inboxHead).load(std::memory_order_acquire) == nullptr;
}

inline bool linkTask(Queue& queue, Task& task) {
    if (!inboxIsEmpty(queue) && !moveFullInboxToList(queue)) [[unlikely]]
        return false;
    REDAInlineList_addNodeToBackEA(&queue.tasks, &task.node);
    std::atomic_ref posted(queue.postedTasks);
    posted.store(posted.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
    return true;
}

inline bool signalNewTask(ORX_MonitoringTaskExecutor& self) {
    return !self.wakesByPosts || wakeWorker(self);
}

inline Task* asTask(REDAInlineListNode* node) {
    return reinterpret_cast<Task*>(node);
}

} // namespace orx::taskExecutor

#endif
