#include <sched.h>

#include <chrono>
#include <set>
#include <string>
#include <thread>

#include "src/taskExecutor/TaskExecutorWorker.hpp"
#include "tests/helpers/FailingHeap.hpp"
#include "tests/helpers/LogCapture.hpp"
#include "tests/unit/taskExecutor/ExecutorFixture.hpp"
#include "gmock/gmock.h"
#include "gtest/gtest.h"

namespace {

using testing::ElementsAre;

constexpr DDS_Duration_t never{3600, 0}; // a period that no test lives to see

TEST(TaskExecutor, TasksOfOneQueueRunInOrder) {
    Executor executor{{.level = 3}};
    ASSERT_NE(executor.self, nullptr);
    for (int id = 0; id < 100; ++id)
        ASSERT_TRUE(executor.post(1, id));
    ASSERT_TRUE(executor.ran.reaches(100));
    const auto ids = executor.runIds();
    for (int id = 0; id < 100; ++id)
        EXPECT_EQ(ids[static_cast<size_t>(id)], id);
}

TEST(TaskExecutor, PostToAllQueuesRunsOnceAndIsFreedOnce) {
    for (ORX_UINT32 level = 1; level <= 5; ++level) {
        Executor executor{{.level = level, .gcThreshold = 1}};
        int id = 0;
        for (ORX_UINT32 origin = 0; origin < level; ++origin)
            ASSERT_TRUE(executor.postAll(origin, id++));
        // Wakes the worker until nothing is left over from what was posted so far.
        ASSERT_TRUE(executor.ran.reaches(static_cast<uint64_t>(id)));
        const int marks = 6;
        for (int mark = 0; mark < marks; ++mark) {
            ASSERT_TRUE(executor.post(0, 100 + mark));
            ASSERT_TRUE(executor.ran.reaches(static_cast<uint64_t>(id + mark + 1)));
        }
        Gate gate;
        ASSERT_TRUE(executor.park(gate, 1000));
        for (int each = 0; each < id; ++each) {
            EXPECT_EQ(executor.ranTimes(each), 1) << "level " << level;
            EXPECT_EQ(executor.freedTimes(each), 1) << "level " << level;
        }
        for (ORX_UINT32 index = 1; index < level; ++index)
            EXPECT_EQ(executor.liveBuffers(index), 0U);
        gate.open();
    }
}

TEST(TaskExecutor, WithOneQueueTheFirstCollectionMarksAndTheSecondRemoves) {
    Executor executor{{.level = 1, .gcThreshold = 1}};
    ASSERT_TRUE(executor.postAll(0, 1));
    ASSERT_TRUE(executor.ran.reaches(1));
    Gate gate;
    ASSERT_TRUE(executor.park(gate, 2)); // behind the first collection, before the second
    EXPECT_EQ(executor.freedTimes(1), 0);
    ASSERT_EQ(executor.queueSize(0), 2);
    const auto* first = reinterpret_cast<const ORX_MonitoringTaskExecutorTask*>(
        REDAInlineList_getFirst(&executor.self->queues[0].tasks));
    ASSERT_NE(first->state, nullptr);
    EXPECT_EQ(first->state->state, ORX_MONITORING_TASK_EXECUTOR_TASK_STATE_READY_TO_REMOVE);
    EXPECT_EQ(executor.self->forceGarbageCollection, 1);
    gate.open();
    Gate second;
    ASSERT_TRUE(executor.park(second, 3));
    EXPECT_EQ(executor.freedTimes(1), 1);
    EXPECT_EQ(executor.freedTimes(2), 1);
    EXPECT_EQ(executor.ranTimes(1), 1);
    EXPECT_EQ(executor.self->forceGarbageCollection, 0);
    EXPECT_EQ(executor.queueSize(0), 1);
    second.open();
}

TEST(TaskExecutor, WithAPeriodPostsDoNotWakeTheWorker) {
    const auto period = std::chrono::milliseconds{300};
    Executor executor{{.level = 1, .period = {0, 300000000U}}};
    std::chrono::steady_clock::time_point firstRan;
    std::chrono::steady_clock::time_point secondRan;
    executor.whenRun(1, [&] { return firstRan = std::chrono::steady_clock::now(), 1; });
    executor.whenRun(2, [&] { return secondRan = std::chrono::steady_clock::now(), 1; });
    ASSERT_TRUE(executor.post(0, 1));
    ASSERT_TRUE(executor.ran.reaches(1));
    ASSERT_TRUE(executor.post(0, 2));
    ASSERT_TRUE(executor.ran.reaches(2));
    EXPECT_GE(secondRan - firstRan, period / 2);
}

TEST(TaskExecutor, WithAPeriodTasksRunWithoutASignal) {
    Executor executor{{.level = 4, .period = {0, 1000000U}}};
    ASSERT_TRUE(executor.post(3, 1));
    ASSERT_TRUE(executor.postAll(2, 2));
    ASSERT_TRUE(executor.ran.reaches(2));
}

TEST(TaskExecutor, AnIdleWorkerWithoutAPeriodIsWokenByTheStop) {
    const auto threads = ORXOsapiThread_getLiveThreadCount();
    Executor executor{{.level = 2}};
    ASSERT_TRUE(executor.post(1, 1));
    ASSERT_TRUE(executor.ran.reaches(1));
    executor.stop();
    EXPECT_EQ(ORXOsapiThread_getLiveThreadCount(), threads);
}

TEST(TaskExecutor, AWorkerInALongPeriodIsWokenByTheStop) {
    Executor executor{{.level = 2, .period = never}};
    const auto begin = std::chrono::steady_clock::now();
    executor.stop();
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds{60});
}

TEST(TaskExecutor, ARefusedTaskIsDroppedWithAWarningAndFreed) {
    LogCapture log;
    Executor executor{{.level = 2, .gcThreshold = 1}};
    executor.whenRun(1, [] { return 0; });
    ASSERT_TRUE(executor.post(1, 1));
    ASSERT_TRUE(executor.ran.reaches(1));
    Gate gate;
    ASSERT_TRUE(executor.park(gate, 2));
    EXPECT_TRUE(log.has("A task of the concurrencyIndex 1 could not be processed and it will be dropped\n",
        "FAILED_TO_PROCESS"))
        << log.text();
    EXPECT_EQ(executor.freedTimes(1), 1);
    gate.open();
}

TEST(TaskExecutor, ATaskWhosePayloadCannotBeFreedGoesAllTheSame) {
    LogCapture log;
    Executor executor{{.level = 1, .gcThreshold = 1}};
    (void)ORXOsapiSemaphore_take(executor.mutex(0), nullptr);
    int posted = 0;
    ASSERT_TRUE(ORX_MonitoringTaskExecutor_postTask(
        executor.self, &posted, 0, executor.newPayload(0, 1), [](void* payload) {
            (void)Executor::deletePayload(payload);
            return 0;
        }));
    (void)ORXOsapiSemaphore_give(executor.mutex(0));
    ASSERT_TRUE(executor.ran.reaches(1));
    Gate gate;
    ASSERT_TRUE(executor.park(gate, 2));
    EXPECT_TRUE(log.has("Task payload of queue with index 0\n", "FAILED_TO_DELETE")) << log.text();
    EXPECT_EQ(log.countLevel(ORX_LOG_BIT_ERROR), 0U);
    EXPECT_EQ(executor.freedTimes(1), 1);
    EXPECT_EQ(executor.queueSize(0), 1);
    gate.open();
}

TEST(TaskExecutor, TheListenerHearsTheEndOfEachBatchThatIsNotEmpty) {
    Executor executor{{.level = 3}};
    Gate gate;
    ASSERT_TRUE(executor.park(gate, 1));
    ASSERT_TRUE(executor.post(0, 2)); // one batch with the next
    ASSERT_TRUE(executor.post(0, 3));
    ASSERT_TRUE(executor.post(2, 4)); // another; the queue between them is empty
    gate.open();
    ASSERT_TRUE(executor.batches.reaches(3));
    executor.stop();
    EXPECT_EQ(executor.batches.value(), 3U);
}

TEST(TaskExecutor, AQueueWithABusyMutexKeepsItsTasks) {
    Executor executor{{.level = 1, .gcThreshold = 4}};
    (void)ORXOsapiSemaphore_take(executor.mutex(0), nullptr);
    for (int id = 0; id < 6; ++id)
        ASSERT_TRUE(executor.post(0, id));
    ASSERT_TRUE(executor.ran.reaches(6)); // the collection runs into its time-out of half a second
    Gate gate;
    ASSERT_TRUE(executor.park(gate, 6));
    EXPECT_EQ(executor.self->queues[0].processedTasks, 7U);
    EXPECT_EQ(executor.queueSize(0), 7);
    for (int id = 0; id < 7; ++id)
        EXPECT_EQ(executor.freedTimes(id), 0);
    (void)ORXOsapiSemaphore_give(executor.mutex(0));
    gate.open();
    Gate second;
    ASSERT_TRUE(executor.park(second, 7));
    for (int id = 0; id < 7; ++id)
        EXPECT_EQ(executor.freedTimes(id), 1) << id;
    EXPECT_EQ(executor.queueSize(0), 1);
    second.open();
}

// Tasks whose freeing takes long until somebody who wants the mutex has got it. One for all queues comes
// first: it stays in the queue after the first walk.
class LongCollection {
public:
    static constexpr int count = 5000;

    LongCollection() {
        executor.onFreed = [this](int) {
            isFreeing.add();
            const auto end = std::chrono::steady_clock::now() + std::chrono::microseconds(400);
            while (!hasGotMutex && std::chrono::steady_clock::now() < end)
                ;
        };
        Gate gate;
        EXPECT_TRUE(executor.park(gate, count));
        EXPECT_TRUE(executor.postAll(0, count + 1));
        for (int id = 0; id < count; ++id)
            EXPECT_TRUE(executor.post(0, id));
        gate.open();
        EXPECT_TRUE(isFreeing.reaches(2)); // the first was the parked one
    }
    int freedTasks() const {
        int freed = 0;
        for (int id = 0; id < count; ++id)
            freed += executor.freedTimes(id);
        return freed;
    }
    bool postAndWait(int id) {
        const bool isPosted = executor.post(0, id);
        return isPosted && executor.ran.reaches(count + 2 + ++laterPosts_);
    }
    // Posts until two collections have come by.
    void expectAllFreedOnce() {
        for (int id = count + 10; id < count + 13; ++id)
            ASSERT_TRUE(postAndWait(id));
        Gate gate;
        ASSERT_TRUE(executor.park(gate, count + 20));
        for (int id = 0; id < count + 2; ++id)
            ASSERT_EQ(executor.freedTimes(id), 1) << id;
        EXPECT_LE(executor.self->queues[0].processedTasks, static_cast<ORX_UINT32>(executor.queueSize(0)));
        gate.open();
    }

    Counter isFreeing;
    std::atomic<bool> hasGotMutex{false};
    Executor executor{{.level = 1, .gcThreshold = 1}}; // ends first: its worker uses the others

private:
    uint64_t laterPosts_ = 0;
};

TEST(TaskExecutor, ALongCollectionLetsAProducerIn) {
    LongCollection collection;
    (void)ORXOsapiSemaphore_take(collection.executor.mutex(0), nullptr);
    collection.hasGotMutex = true;
    EXPECT_LT(collection.freedTasks(), LongCollection::count);
    (void)ORXOsapiSemaphore_give(collection.executor.mutex(0));
    collection.expectAllFreedOnce();
}

TEST(TaskExecutor, ACollectionWhoseMutexStaysBusyHalfwayIsEndedByALaterOne) {
    LongCollection collection;
    Executor& executor = collection.executor;
    (void)ORXOsapiSemaphore_take(executor.mutex(0), nullptr);
    collection.hasGotMutex = true;
    const int freed = collection.freedTasks();
    EXPECT_LT(freed, LongCollection::count);
    // The worker comes to the next task once it has given the collection up.
    ASSERT_TRUE(collection.postAndWait(LongCollection::count + 2));
    EXPECT_EQ(collection.freedTasks(), freed);
    (void)ORXOsapiSemaphore_give(executor.mutex(0));
    collection.expectAllFreedOnce();
}

TEST(TaskExecutor, BelowTheThresholdNothingIsCollected) {
    Executor executor{{.level = 1, .gcThreshold = 4}};
    for (int id = 0; id < 3; ++id) {
        ASSERT_TRUE(executor.post(0, id));
        ASSERT_TRUE(executor.ran.reaches(static_cast<uint64_t>(id) + 1));
    }
    Gate gate;
    ASSERT_TRUE(executor.park(gate, 3));
    EXPECT_EQ(executor.freedTimes(0), 0);
    EXPECT_EQ(executor.queueSize(0), 4);
    gate.open();
    Gate second;
    ASSERT_TRUE(executor.park(second, 4));
    EXPECT_EQ(executor.freedTimes(0), 1);
    EXPECT_EQ(executor.queueSize(0), 1);
    second.open();
}

TEST(TaskExecutor, StopFinishesTheBatchAndDropsTheRestUnfreed) {
    const auto buffers = ORXOsapiHeap_getLiveBufferCount();
    {
        Executor executor{{.level = 2}};
        Gate gate;
        ASSERT_TRUE(executor.park(gate, 1, 1)); // the worker is in the second queue: the first comes next
        executor.whenRun(2, [&] { return executor.waitForStop(); });
        ASSERT_TRUE(executor.post(0, 2));
        ASSERT_TRUE(executor.post(0, 3));    // in the batch that runs when the stop comes
        ASSERT_TRUE(executor.post(1, 4));    // in the next one
        ASSERT_TRUE(executor.postAll(1, 5)); // in the inbox of the first queue, thus still in the batch
        ASSERT_TRUE(executor.postAll(1, 6));
        gate.open();
        ASSERT_TRUE(executor.begun.reaches(2)); // the next batch is under way
        executor.stop();
        EXPECT_THAT(executor.runIds(), ElementsAre(1, 2, 3, 5, 6));
        for (int id = 1; id <= 6; ++id)
            EXPECT_EQ(executor.freedTimes(id), 0) << id;
    }
    EXPECT_EQ(ORXOsapiHeap_getLiveBufferCount(), buffers);
}

TEST(TaskExecutor, MemoryManagerOfAnIndexBeyondTheLevelIsAPreconditionFailure) {
    LogCapture log;
    Executor executor{{.level = 2}};
    EXPECT_NE(ORX_MonitoringTaskExecutor_getMemoryManager(executor.self, 1), nullptr);
    EXPECT_EQ(log.lines().size(), 0U) << log.text();
    EXPECT_EQ(ORX_MonitoringTaskExecutor_getMemoryManager(executor.self, 2), nullptr);
    EXPECT_TRUE(log.has("\"concurrencyIndex >= self->property.concurrencyLevel\"\n", "PRECONDITION"))
        << log.text();
}

TEST(TaskExecutor, PostChecksItsArguments) {
    LogCapture log;
    Executor executor{{.level = 2}};
    int posted = 1;
    int payload = 0;
    EXPECT_FALSE(
        ORX_MonitoringTaskExecutor_postTask(executor.self, &posted, 2, &payload, &Executor::deletePayload));
    EXPECT_EQ(posted, 0);
    EXPECT_TRUE(log.has("\"concurrencyIndex >= self->property.concurrencyLevel\"\n", "PRECONDITION"));
    EXPECT_TRUE(log.has("Task in concurrency queue with index 2\n", "FAILED_TO_POST"));
    EXPECT_FALSE(
        ORX_MonitoringTaskExecutor_postTask(executor.self, nullptr, 0, nullptr, &Executor::deletePayload));
    EXPECT_TRUE(log.has("\"payload == ((void *)0)\"\n", "PRECONDITION"));
    EXPECT_FALSE(ORX_MonitoringTaskExecutor_postTask(executor.self, nullptr, 0, &payload, nullptr));
    EXPECT_TRUE(log.has("\"deletePayloadFnc == ((void *)0)\"\n", "PRECONDITION"));
    EXPECT_FALSE(ORX_MonitoringTaskExecutor_postTaskAllQueues(
        executor.self, &posted, 7, &payload, &Executor::deletePayload));
    EXPECT_FALSE(ORX_MonitoringTaskExecutor_postTaskAllQueues(
        executor.self, nullptr, 0, &payload, &Executor::deletePayload));
    EXPECT_TRUE(log.has("\"postedAtLeastInAQueue == ((void *)0)\"\n", "PRECONDITION"));
    EXPECT_FALSE(ORX_MonitoringTaskExecutor_postTaskAllQueues(
        nullptr, &posted, 0, &payload, &Executor::deletePayload));
    EXPECT_EQ(executor.liveBuffers(0) + executor.liveBuffers(1), 0U);
}

TEST(TaskExecutor, TheCoreTakesTheMutexWhenTheCallerDoesNotHoldIt) {
    Executor executor{{.level = 2, .period = never}};
    (void)ORXOsapiSemaphore_take(executor.mutex(1), nullptr);
    Executor::Payload* payload = executor.newPayload(1, 1);
    (void)ORXOsapiSemaphore_give(executor.mutex(1));
    int posted = 0;
    EXPECT_TRUE(ORX_MonitoringTaskExecutor_postTaskWithParams(
        executor.self, &posted, 1, payload, &Executor::deletePayload, 1, nullptr, 0));
    EXPECT_EQ(posted, 1);
    EXPECT_EQ(executor.queueSize(1), 1);
    const ORXNtpTime none{0, 0};
    std::thread{[&] { // it has been given again
        EXPECT_EQ(ORXOsapiSemaphore_take(executor.mutex(1), &none), ORX_OSAPI_SEMAPHORE_STATUS_OK);
        (void)ORXOsapiSemaphore_give(executor.mutex(1));
    }}
        .join();
}

// A collection that another queue forced finds a queue whose first task came after its batch: nothing of it
// has been processed, so there is nothing to collect.
TEST(TaskExecutor, AForcedCollectionWithoutACursorLeavesTheQueueAlone) {
    Executor executor{{.level = 2}};
    Gate gate;
    ASSERT_TRUE(executor.park(gate, 1));
    ASSERT_TRUE(executor.post(1, 2));
    executor.self->forceGarbageCollection = 1;
    executor.self->lastIndexForcingCollection = 0;
    EXPECT_TRUE(ORX_MonitoringTaskExecutor_deleteTasksFromQueue(executor.self, 1));
    EXPECT_EQ(executor.queueSize(1), 1);
    EXPECT_EQ(executor.self->queues[1].processedTasks, 0U);
    EXPECT_EQ(executor.freedTimes(2), 0);
    gate.open();
    ASSERT_TRUE(executor.ran.reaches(2));
    EXPECT_EQ(executor.ranTimes(2), 1);
}

TEST(TaskExecutor, ACollectionOfAnEmptyQueueLeavesTheForceUp) {
    Executor executor{{.level = 2}};
    Gate gate;
    ASSERT_TRUE(executor.park(gate, 1));
    executor.self->forceGarbageCollection = 1;
    executor.self->lastIndexForcingCollection = 1;
    EXPECT_TRUE(ORX_MonitoringTaskExecutor_deleteTasksFromQueue(executor.self, 1));
    EXPECT_EQ(executor.self->forceGarbageCollection, 1);
    executor.self->forceGarbageCollection = 0;
    gate.open();
}

TEST(TaskExecutor, ACollectionLeavesATaskThatNobodyHasRun) {
    LogCapture log;
    Executor executor{{.level = 2}};
    Gate gate;
    ASSERT_TRUE(executor.park(gate, 1));
    ASSERT_TRUE(executor.postAll(1, 2));
    auto& queue = executor.self->queues[1];
    queue.lastProcessedTask =
        reinterpret_cast<ORX_MonitoringTaskExecutorTask*>(REDAInlineList_getFirst(&queue.tasks));
    queue.processedTasks = 1;
    EXPECT_TRUE(ORX_MonitoringTaskExecutor_deleteTasksFromQueue(executor.self, 1));
    EXPECT_TRUE(log.has("\"current->state != ((void *)0) && *current->state == "
                        "ORX_MONITORING_TASK_EXECUTOR_TASK_STATE_NO_PROCESSED\"\n",
        "PRECONDITION"))
        << log.text();
    EXPECT_EQ(executor.queueSize(1), 1);
    EXPECT_EQ(queue.processedTasks, 0U);
    EXPECT_EQ(queue.lastProcessedTask, nullptr);
    gate.open();
    ASSERT_TRUE(executor.ran.reaches(2));
    EXPECT_EQ(executor.ranTimes(2), 1);
}

// Stands for a mutex that cannot be taken, as long as it lives.
class BrokenMutex {
public:
    explicit BrokenMutex(ORXOsapiSemaphore*& place) : place_{place}, mutex_{place} { place_ = nullptr; }
    ~BrokenMutex() { place_ = mutex_; }
    BrokenMutex(const BrokenMutex&) = delete;
    BrokenMutex& operator=(const BrokenMutex&) = delete;

private:
    ORXOsapiSemaphore*& place_;
    ORXOsapiSemaphore* mutex_;
};

TEST(TaskExecutor, APostWithoutTheMutexPostsNothing) {
    LogCapture log;
    Executor executor{{.level = 2, .period = never}};
    (void)ORXOsapiSemaphore_take(executor.mutex(1), nullptr);
    Executor::Payload* payload = executor.newPayload(1, 1);
    (void)ORXOsapiSemaphore_give(executor.mutex(1));
    int posted = 0;
    {
        BrokenMutex broken{executor.self->queues[1].mutex};
        EXPECT_FALSE(ORX_MonitoringTaskExecutor_postTaskWithParams(
            executor.self, &posted, 1, payload, &Executor::deletePayload, 1, nullptr, 0));
    }
    EXPECT_TRUE(log.has("Taking mutex with index 1\n", "FAILED_TO_LOCK")) << log.text();
    EXPECT_EQ(posted, 0);
    EXPECT_EQ(executor.queueSize(1), 0);
}

TEST(TaskExecutor, ACollectionThatFailsEndsTheWorker) {
    LogCapture log;
    const auto threads = ORXOsapiThread_getLiveThreadCount();
    Executor executor{{.level = 1, .gcThreshold = 1}};
    Gate gate;
    ASSERT_TRUE(executor.park(gate, 1));
    {
        BrokenMutex broken{executor.self->queues[0].mutex};
        gate.open();
        const auto end = std::chrono::steady_clock::now() + waitBound;
        while (ORXOsapiThread_getLiveThreadCount() > threads && std::chrono::steady_clock::now() < end)
            std::this_thread::yield();
        ASSERT_LE(ORXOsapiThread_getLiveThreadCount(), threads);
    }
    EXPECT_TRUE(log.has("Taking queue mutex\n", "FAILED_TO_LOCK")) << log.text();
    EXPECT_TRUE(log.has("Nodes of the task queue with index 0\n", "FAILED_TO_DELETE")) << log.text();
    EXPECT_TRUE(executor.post(0, 2)); // the executor itself stands
    executor.stop();
    EXPECT_EQ(executor.ranTimes(2), 0);
}

TEST(TaskExecutor, APostThatCannotSignalFailsAndIsPostedNevertheless) {
    LogCapture log;
    Executor executor{{.level = 1}};
    executor.trackFlag = true;
    Gate gate;
    ASSERT_TRUE(executor.park(gate, 1));
    {
        BrokenMutex broken{executor.self->newTaskSignal};
        EXPECT_FALSE(executor.post(0, 2));
        EXPECT_TRUE(executor.postedFlag);
        EXPECT_FALSE(executor.postAll(0, 3));
        EXPECT_TRUE(executor.postedFlag);
    }
    EXPECT_EQ(log.count("Signaling executor new task semaphore.", "FAILED_TO_UNLOCK"), 2U) << log.text();
    gate.open();
    ASSERT_TRUE(executor.post(0, 4));
    ASSERT_TRUE(executor.ran.reaches(4));
    EXPECT_THAT(executor.runIds(), ElementsAre(1, 2, 3, 4));
}

TEST(TaskExecutor, AStopThatCannotSignalLeavesEverythingInPlace) {
    LogCapture log;
    const auto threads = ORXOsapiThread_getLiveThreadCount();
    Executor executor{{.level = 1}};
    Gate gate;
    ASSERT_TRUE(executor.park(gate, 1));
    {
        BrokenMutex broken{executor.self->newTaskSignal};
        EXPECT_FALSE(ORX_MonitoringTaskExecutor_finalize(executor.self));
    }
    EXPECT_TRUE(log.has("Signaling executor new task semaphore.", "FAILED_TO_UNLOCK")) << log.text();
    EXPECT_NE(executor.self->thread, nullptr);
    EXPECT_EQ(executor.queueSize(0), 1);
    gate.open();
    executor.stop(); // now it can
    EXPECT_EQ(ORXOsapiThread_getLiveThreadCount(), threads);
}

// The queue that does not own the task cannot collect, because its mutex is busy, when the owner comes to its
// second pass: the shared word, which its node points to, has to stay.
TEST(TaskExecutor, TheSharedWordOutlivesANodeWhoseQueueIsBusy) {
    Executor executor{{.level = 2, .gcThreshold = 1}};
    Gate gate;
    ASSERT_TRUE(executor.park(gate, 1));
    ASSERT_TRUE(executor.postAll(0, 2));
    ASSERT_TRUE(executor.post(1, 3)); // moves the other queue's node of task 2 from its inbox into its list
    ASSERT_EQ(executor.queueSize(1), 2);
    (void)ORXOsapiSemaphore_take(executor.mutex(1), nullptr);
    gate.open();
    ASSERT_TRUE(executor.ran.reaches(3));
    // Round after round the owner is visited, and the other queue is busy.
    for (int id = 4; id < 7; ++id) {
        ASSERT_TRUE(executor.post(0, id));
        ASSERT_TRUE(executor.ran.reaches(static_cast<uint64_t>(id)));
    }
    Gate second;
    ASSERT_TRUE(executor.park(second, 7));
    EXPECT_EQ(executor.freedTimes(2), 0);
    EXPECT_EQ(executor.freedTimes(5), 1);
    EXPECT_EQ(executor.queueSize(1), 2);
    EXPECT_EQ(executor.self->forceGarbageCollection, 1);
    const auto* node = reinterpret_cast<const ORX_MonitoringTaskExecutorTask*>(
        REDAInlineList_getFirst(&executor.self->queues[1].tasks));
    ASSERT_NE(node->state, nullptr);
    EXPECT_EQ(node->state->state, ORX_MONITORING_TASK_EXECUTOR_TASK_STATE_READY_TO_REMOVE);
    EXPECT_EQ(node->state->foreignNodes, 1U);
    (void)ORXOsapiSemaphore_give(executor.mutex(1));
    second.open();
    for (int id = 8; id < 11; ++id) {
        ASSERT_TRUE(executor.post(0, id));
        ASSERT_TRUE(executor.ran.reaches(static_cast<uint64_t>(id)));
    }
    Gate third;
    ASSERT_TRUE(executor.park(third, 11));
    EXPECT_EQ(executor.freedTimes(2), 1);
    EXPECT_EQ(executor.ranTimes(2), 1);
    EXPECT_EQ(executor.queueSize(1), 0);
    third.open();
}

// Each thread holds the mutex of its own index before either begins to post: taking the other's would never
// end.
TEST(TaskExecutor, PostsToAllQueuesFromDifferentOriginsDoNotWaitForEachOther) {
    Executor executor{{.level = 2}};
    Gate bothHold[2];
    std::thread threads[2];
    for (ORX_UINT32 index = 0; index < 2; ++index) {
        threads[index] = std::thread{[&, index] {
            (void)ORXOsapiSemaphore_take(executor.mutex(index), nullptr);
            EXPECT_TRUE(bothHold[index].pass());
            EXPECT_TRUE(executor.postAll(index, static_cast<int>(index)));
            EXPECT_TRUE(executor.ran.reaches(2)); // also while both still hold their mutexes
            (void)ORXOsapiSemaphore_give(executor.mutex(index));
        }};
    }
    for (auto& gate : bothHold)
        EXPECT_TRUE(gate.isReached());
    for (auto& gate : bothHold)
        gate.open();
    for (auto& thread : threads)
        thread.join();
    EXPECT_EQ(executor.ranTimes(0), 1);
    EXPECT_EQ(executor.ranTimes(1), 1);
}

TEST(TaskExecutor, APostToAllQueuesNeedsNoOtherQueuesMutex) {
    Executor executor{{.level = 3}};
    Gate held;
    std::thread holder{[&] {
        (void)ORXOsapiSemaphore_take(executor.mutex(2), nullptr);
        EXPECT_TRUE(held.pass());
        (void)ORXOsapiSemaphore_give(executor.mutex(2));
    }};
    ASSERT_TRUE(held.isReached());
    ASSERT_TRUE(executor.postAll(0, 1));
    EXPECT_TRUE(executor.ran.reaches(1));
    held.open();
    holder.join();
}

// The inbox keeps its place: what was posted to a queue before a post to all runs before it, what was posted
// after it behind it.
TEST(TaskExecutor, ATaskForAllQueuesKeepsItsPlaceInEachQueue) {
    Executor executor{{.level = 2}};
    Gate gate;
    ASSERT_TRUE(executor.park(gate, 1, 1)); // the worker is in the second queue: the first comes next
    ASSERT_TRUE(executor.post(0, 2));
    ASSERT_TRUE(executor.postAll(1, 3));
    ASSERT_TRUE(executor.post(0, 4)); // behind what the inbox has
    ASSERT_TRUE(executor.postAll(1, 5));
    ASSERT_TRUE(executor.postAll(1, 6)); // these two the worker takes out of the inbox
    gate.open();
    ASSERT_TRUE(executor.ran.reaches(6));
    EXPECT_THAT(executor.runIds(), ElementsAre(1, 2, 3, 4, 5, 6));
}

TEST(TaskExecutor, ATaskForAllQueuesRunsAheadOfLaterOnesOfItsOriginInAnotherQueue) {
    Executor executor{{.level = 2}};
    Gate gate;
    ASSERT_TRUE(executor.park(gate, 1, 1));
    ASSERT_TRUE(executor.post(1, 2)); // ahead of it in the origin, but the first queue is visited first
    ASSERT_TRUE(executor.postAll(1, 3));
    ASSERT_TRUE(executor.post(1, 4));
    gate.open();
    ASSERT_TRUE(executor.ran.reaches(4));
    EXPECT_THAT(executor.runIds(), ElementsAre(1, 3, 2, 4));
}

TEST(TaskExecutor, APostThatFindsNoMemoryPostsNothing) {
    FailingHeap heap;
    LogCapture log;
    Executor executor{{.level = 3, .gcThreshold = 1000, .arenaSize = 1024}};
    executor.trackFlag = true;
    Gate gate;
    ASSERT_TRUE(executor.park(gate, 0));
    heap.failAt(1, UINT64_MAX); // from here on the arenas cannot grow
    int id = 1;
    while (executor.post(1, id)) {
        EXPECT_TRUE(executor.postedFlag);
        ++id;
    }
    EXPECT_FALSE(executor.postedFlag);
    EXPECT_FALSE(executor.postAll(1, id));
    EXPECT_FALSE(executor.postedFlag);
    const int size0 = executor.queueSize(0);
    int all = 1000;
    while (executor.postAll(2, all))
        ++all;
    EXPECT_FALSE(executor.postedFlag);
    heap.failNoMore();
    EXPECT_EQ(executor.queueSize(0), size0);
    gate.open();
    ASSERT_TRUE(executor.ran.reaches(static_cast<uint64_t>(id) + static_cast<uint64_t>(all - 1000)));
    executor.stop();
    EXPECT_EQ(executor.runIds().size(), static_cast<size_t>(id + all - 1000));
}

TEST(TaskExecutor, PostsNameWhatCouldNotBeAllocated) {
    FailingHeap heap;
    LogCapture log;
    Executor executor{{.level = 3, .period = never, .arenaSize = 64}};
    (void)ORXOsapiSemaphore_take(executor.mutex(1), nullptr);
    heap.failAt(1, UINT64_MAX);
    int payload = 0;
    int posted = 1;
    while (
        ORX_MonitoringTaskExecutor_postTask(executor.self, &posted, 1, &payload, &Executor::deletePayload)) {
    }
    EXPECT_EQ(posted, 0);
    char text[256];
    (void)snprintf(text, sizeof text,
        "'struct ORX_MonitoringTaskExecutorTask' with size %u\n, in the memory manager with index 1.\n",
        static_cast<unsigned>(sizeof(ORX_MonitoringTaskExecutorTask)));
    EXPECT_TRUE(log.has(text, "FAILED_TO_ALLOCATE")) << log.text();
    EXPECT_TRUE(log.has("Task in concurrency queue with index 1\n", "FAILED_TO_POST"));
    EXPECT_FALSE(ORX_MonitoringTaskExecutor_postTaskAllQueues(
        executor.self, &posted, 1, &payload, &Executor::deletePayload));
    bool named = false;
    for (const auto& line : log.lines()) {
        named = named || line.subject.starts_with("'ORX_MonitoringTaskExecutorTaskState' with size ");
    }
    EXPECT_TRUE(named) << log.text();
    heap.failNoMore();
    (void)ORXOsapiSemaphore_give(executor.mutex(1));
}

TEST(TaskExecutor, APostCallsNoHeapOnceTheArenaHasGrown) {
    Executor executor{{.level = 2, .gcThreshold = 4}};
    uint64_t ran = 0;
    const auto round = [&](int count) {
        for (int i = 0; i < count; ++i) {
            ASSERT_TRUE(executor.post(static_cast<ORX_UINT32>(i % 2), i));
            ASSERT_TRUE(executor.postAll(static_cast<ORX_UINT32>(i % 2), i));
            ran += 2;
            ASSERT_TRUE(executor.ran.reaches(ran));
        }
    };
    round(200);
    const auto before = ORXOsapiHeap_getAllocationCount();
    round(2000);
    EXPECT_EQ(ORXOsapiHeap_getAllocationCount(), before);
}

TEST(TaskExecutor, NewChecksItsProperty) {
    LogCapture log;
    ORX_MonitoringTaskExecutorProperty_t property;
    ORX_MonitoringTaskExecutorProperty_t_initialize(&property);
    EXPECT_EQ(property.concurrencyLevel, 5U);
    EXPECT_EQ(property.mutexPool, nullptr);
    EXPECT_EQ(property.initialMemoryManagerSize, 10240);
    EXPECT_EQ(property.wakeUpPeriod.sec, 0);
    EXPECT_EQ(property.wakeUpPeriod.nanosec, 50000U);
    EXPECT_EQ(property.gcTaskThreshold, 10U);
    EXPECT_EQ(property.threadSettings.mask, 0U);
    EXPECT_EQ(property.threadSettings.priority, -9999999);
    EXPECT_EQ(property.threadSettings.stack_size, -1);
    const ORX_MonitoringTaskExecutorListener listener{
        nullptr, [](void*, const ORX_MonitoringTaskExecutorTask*) { return 1; }, nullptr};
    const auto buffers = ORXOsapiHeap_getLiveBufferCount();
    EXPECT_EQ(ORX_MonitoringTaskExecutor_new(&property, &listener, "test"), nullptr); // no pool
    EXPECT_TRUE(log.has("\"property.mutexPool == ((void *)0)\"\n", "PRECONDITION")) << log.text();
    EXPECT_TRUE(log.has("Executor Task Queue in position 0\n", "FAILED_TO_INITIALIZE")) << log.text();
    ORXOsapiSemaphore* pool[5] = {};
    property.mutexPool = pool;
    EXPECT_EQ(ORX_MonitoringTaskExecutor_new(&property, &listener, "test"), nullptr); // no mutex in it
    EXPECT_TRUE(log.has("\"property.mutexPool[index] == ((void *)0)\"\n", "PRECONDITION")) << log.text();
    for (auto& mutex : pool)
        mutex = ORXOsapiSemaphore_new(ORX_OSAPI_SEMAPHORE_KIND_MUTEX, nullptr);
    property.gcTaskThreshold = 0;
    EXPECT_EQ(ORX_MonitoringTaskExecutor_new(&property, &listener, "test"), nullptr);
    EXPECT_TRUE(log.has("\"property.gcTaskThreshold == 0\"\n", "PRECONDITION")) << log.text();
    property.gcTaskThreshold = 1;
    const ORX_MonitoringTaskExecutorListener none{};
    EXPECT_EQ(ORX_MonitoringTaskExecutor_new(&property, &none, "test"), nullptr);
    EXPECT_EQ(ORX_MonitoringTaskExecutor_new(nullptr, &listener, "test"), nullptr);
    EXPECT_EQ(ORX_MonitoringTaskExecutor_new(&property, nullptr, "test"), nullptr);
    for (auto& mutex : pool)
        (void)ORXOsapiSemaphore_delete(mutex);
    ORX_MonitoringTaskExecutorProperty_t_finalize(&property);
    EXPECT_EQ(ORXOsapiHeap_getLiveBufferCount(), buffers);
    ORX_MonitoringTaskExecutor_delete(nullptr);
}

TEST(TaskExecutor, AFailedAllocationInNewLeavesNothing) {
    LogCapture log;
    ORXOsapiSemaphore* pool[3];
    for (auto& mutex : pool)
        mutex = ORXOsapiSemaphore_new(ORX_OSAPI_SEMAPHORE_KIND_MUTEX, nullptr);
    FailingHeap heap;
    ORX_MonitoringTaskExecutorProperty_t property;
    ORX_MonitoringTaskExecutorProperty_t_initialize(&property);
    ASSERT_TRUE(DDS_LongSeq_ensure_length(&property.threadSettings.cpu_list, 1, 1));
    *DDS_LongSeq_get_reference(&property.threadSettings.cpu_list, 0) = sched_getcpu();
    property.concurrencyLevel = 3;
    property.mutexPool = pool;
    const ORX_MonitoringTaskExecutorListener listener{
        nullptr, [](void*, const ORX_MonitoringTaskExecutorTask*) { return 1; }, nullptr};
    const auto buffers = ORXOsapiHeap_getLiveBufferCount();
    const auto threads = ORXOsapiThread_getLiveThreadCount();
    uint64_t n = 0;
    std::set<std::string> reasons;
    ORX_MonitoringTaskExecutor* executor = nullptr;
    while (executor == nullptr && n < 200) {
        heap.failAt(++n);
        log.clear();
        executor = ORX_MonitoringTaskExecutor_new(&property, &listener, "test");
        const bool failed = heap.hasFailed();
        heap.failNoMore();
        for (const auto& line : log.lines())
            reasons.insert(line.identifier + " " + line.subject);
        if (executor == nullptr) {
            EXPECT_TRUE(failed);
            EXPECT_GE(log.countLevel(ORX_LOG_BIT_ERROR), 1U) << "allocation " << n;
            EXPECT_EQ(ORXOsapiHeap_getLiveBufferCount(), buffers) << "allocation " << n;
            EXPECT_EQ(ORXOsapiThread_getLiveThreadCount(), threads) << "allocation " << n;
        }
    }
    ASSERT_NE(executor, nullptr);
    EXPECT_GT(n, 8U); // the object, the queues, their arenas and inboxes, the signal, the thread
    for (const char* reason :
        {"FAILED_TO_ALLOCATE Array of 3 Executor Task Queues for the Monitoring Executor\n",
            "FAILED_TO_INITIALIZE Executor Task Queue in position 0\n",
            "FAILED_TO_INITIALIZE Executor Task Queue in position 2\n",
            "FAILED_TO_CREATE Executor new task signal semaphore.",
            "FAILED_TO_CREATE Monitoring Executor thread with name test\n"})
        EXPECT_TRUE(reasons.contains(reason)) << reason;
    ORX_MonitoringTaskExecutor_delete(executor);
    EXPECT_EQ(ORXOsapiHeap_getLiveBufferCount(), buffers);
    for (auto& mutex : pool)
        (void)ORXOsapiSemaphore_delete(mutex);
    ORX_MonitoringTaskExecutorProperty_t_finalize(&property);
}

} // namespace
