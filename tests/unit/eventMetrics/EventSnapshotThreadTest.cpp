#include <chrono>
#include <set>
#include <string>
#include <thread>

#include "src/eventMetrics/EventSnapshotThread.h"
#include "src/monitoringClass/MonitoringClassImpl.h"
#include "tests/helpers/FailingHeap.hpp"
#include "tests/helpers/LogCapture.hpp"
#include "tests/unit/eventMetrics/EventWorld.hpp"
#include "gtest/gtest.h"

namespace {

class EventSnapshotThreadTest : public testing::Test {
protected:
    ~EventSnapshotThreadTest() override { stop(); }

    void start(ORXNtpTime delay) {
        library.eventTaskExecutor = world.executor;
        library.resourceRegistry = world.registry;
        library.snapshotDelay = delay;
        thread = ORX_MonitoringEventSnapshotThread_new(
            &library.parent, world.entities->eventWriter, &world.property, "snapshots");
        ASSERT_NE(thread, nullptr);
        threadsWithIt = ORXOsapiThread_getLiveThreadCount();
    }
    // Whether the thread has ended by itself.
    bool hasEnded() {
        const auto end = std::chrono::steady_clock::now() + waitBound;
        while (ORXOsapiThread_getLiveThreadCount() >= threadsWithIt) {
            if (std::chrono::steady_clock::now() > end)
                return false;
            std::this_thread::yield();
        }
        return true;
    }
    void stop() {
        EXPECT_TRUE(ORX_MonitoringEventSnapshotThread_delete(thread));
        thread = nullptr;
    }
    bool reaches(ORX_UINT32& counter, ORX_UINT32 value) {
        const auto end = std::chrono::steady_clock::now() + waitBound;
        while (std::atomic_ref(counter).load(std::memory_order_acquire) < value) {
            if (std::chrono::steady_clock::now() > end)
                return false;
            std::this_thread::yield();
        }
        return true;
    }
    bool begins(ORX_UINT32 delays) { return reaches(thread->delaysBegun, delays); }
    bool handles(ORX_UINT32 matches) { return reaches(thread->matchesHandled, matches); }
    ORX_UINT64 epoch() { return std::atomic_ref(world.registry->snapshotEpoch).load(); }

    EventWorld world{{.period = {0, 0}, .level = 2}};
    ORX_MonitoringResource* topic = world.addTopic("a", world.addParticipant("p"));
    ORX_MonitoringClassImpl library{};
    ORX_MonitoringEventSnapshotThread* thread = nullptr;
    ORX_UINT32 threadsWithIt = 0;
};

TEST_F(EventSnapshotThreadTest, AReaderThatComesGetsTheTreeAndTheMetrics) {
    world.groups[1] = "text";
    LogCapture log; // groups that cannot be fetched
    start({0, 0});
    EventReader reader{EventWorld::domain};
    EventSamples samples;
    ASSERT_TRUE(reader.takeUntil(samples, 4));
    EXPECT_NE(samples[0]->value._u.application.resource_registry, nullptr);
    for (const auto& sample : samples)
        EXPECT_TRUE(sample->info.is_snapshot);
    ASSERT_TRUE(handles(1));
    EXPECT_EQ(epoch(), 1U);
}

TEST_F(EventSnapshotThreadTest, NothingIsPostedBeforeTheDelayIsOver) {
    LogCapture log;
    const ORXNtpTime delay{0, 1U << 30}; // a quarter of a second
    start(delay);
    const auto begin = std::chrono::steady_clock::now();
    EventReader reader{EventWorld::domain};
    EventSamples samples;
    ASSERT_TRUE(reader.takeUntil(samples, 1));
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds{250});
}

TEST_F(EventSnapshotThreadTest, AReaderThatLeavesCausesNone) {
    LogCapture log;
    start({0, 0});
    {
        EventReader reader{EventWorld::domain};
        ASSERT_TRUE(handles(1));
    }
    ASSERT_TRUE(handles(2));
    EXPECT_EQ(epoch(), 1U);
    EXPECT_TRUE(begins(1));
    EXPECT_EQ(std::atomic_ref(thread->delaysBegun).load(), 1U);
}

TEST_F(EventSnapshotThreadTest, ReadersThatComeDuringADelayCauseOneMore) {
    LogCapture log;
    start({0, 0});
    // The thread waits for the library lock when two more readers match: the status reports both at once.
    ASSERT_EQ(ORX_Monitoring_lockI(ORX_MONITORING_LOCK_KIND_LIBRARY, 0, 1, 1, nullptr),
        ORX_MONITORING_LOCK_RESULT_OK);
    EventReader first{EventWorld::domain};
    ASSERT_TRUE(begins(1));
    EventReader second{EventWorld::domain};
    EventReader third{EventWorld::domain};
    ASSERT_EQ(ORX_Monitoring_unlockI(ORX_MONITORING_LOCK_KIND_LIBRARY, 0, 1), 0);
    ASSERT_TRUE(handles(2));
    EXPECT_EQ(epoch(), 2U);
    stop();
    EXPECT_EQ(epoch(), 2U);
}

TEST_F(EventSnapshotThreadTest, ASnapshotThatSomebodyElsePostsDuringTheDelayIsEnough) {
    LogCapture log;
    start({0, 0});
    ASSERT_EQ(ORX_Monitoring_lockI(ORX_MONITORING_LOCK_KIND_LIBRARY, 0, 1, 1, nullptr),
        ORX_MONITORING_LOCK_RESULT_OK);
    EventReader reader{EventWorld::domain};
    ASSERT_TRUE(begins(1));
    ASSERT_TRUE(ORX_MonitoringEventTaskExecutor_postResourceSnapshotTask(world.executor, world.registry, 1));
    ASSERT_EQ(ORX_Monitoring_unlockI(ORX_MONITORING_LOCK_KIND_LIBRARY, 0, 1), 0);
    ASSERT_TRUE(handles(1));
    EXPECT_EQ(epoch(), 1U);
}

TEST_F(EventSnapshotThreadTest, ABusyLibraryLockDoesNotHoldUpTheStop) {
    LogCapture log;
    start({0, 0});
    ASSERT_EQ(ORX_Monitoring_lockI(ORX_MONITORING_LOCK_KIND_LIBRARY, 0, 1, 1, nullptr),
        ORX_MONITORING_LOCK_RESULT_OK);
    EventReader reader{EventWorld::domain};
    ASSERT_TRUE(begins(1));
    const auto begin = std::chrono::steady_clock::now();
    stop();
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds{60});
    EXPECT_EQ(epoch(), 0U);
    ASSERT_EQ(ORX_Monitoring_unlockI(ORX_MONITORING_LOCK_KIND_LIBRARY, 0, 1), 0);
}

TEST_F(EventSnapshotThreadTest, ALongDelayDoesNotHoldUpTheStop) {
    LogCapture log;
    start({3600, 0});
    EventReader reader{EventWorld::domain};
    ASSERT_TRUE(begins(1));
    const auto begin = std::chrono::steady_clock::now();
    stop();
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds{60});
    EXPECT_EQ(epoch(), 0U);
    EXPECT_EQ(log.countLevel(ORX_LOG_BIT_ERROR), 0U) << log.text();
}

TEST_F(EventSnapshotThreadTest, AFailedPostEndsTheThreadAndGivesTheLock) {
    LogCapture log;
    topic->userResource = nullptr;
    start({0, 0});
    EventReader reader{EventWorld::domain};
    ASSERT_TRUE(handles(1));
    EXPECT_TRUE(log.has("Initial resource and event snapshots", "FAILED_TO_POST")) << log.text();
    const DDS_Duration_t bound{60, 0};
    ASSERT_EQ(ORX_Monitoring_lockI(ORX_MONITORING_LOCK_KIND_LIBRARY, 0, 1, 1, &bound),
        ORX_MONITORING_LOCK_RESULT_OK);
    ASSERT_EQ(ORX_Monitoring_unlockI(ORX_MONITORING_LOCK_KIND_LIBRARY, 0, 1), 0);
    EXPECT_TRUE(hasEnded());
    EventReader another{EventWorld::domain};
    stop();
    EXPECT_EQ(epoch(), 1U);
}

// Readers that come and go in equal numbers: one of them may be new.
TEST_F(EventSnapshotThreadTest, AsManyThatComeAsLeaveCauseASnapshot) {
    LogCapture log;
    start({0, 0});
    ASSERT_EQ(ORX_Monitoring_lockI(ORX_MONITORING_LOCK_KIND_LIBRARY, 0, 1, 1, nullptr),
        ORX_MONITORING_LOCK_RESULT_OK);
    EventReader first{EventWorld::domain};
    ASSERT_TRUE(begins(1)); // the thread waits for the library lock from here on
    { EventReader visitor{EventWorld::domain}; }
    ASSERT_EQ(ORX_Monitoring_unlockI(ORX_MONITORING_LOCK_KIND_LIBRARY, 0, 1), 0);
    ASSERT_TRUE(handles(2));
    EXPECT_EQ(epoch(), 2U);
}

TEST_F(EventSnapshotThreadTest, ALibraryThatIsNotEnabledEndsTheThread) {
    LogCapture log;
    start({0, 0});
    ASSERT_TRUE(ORX_MonitoringHost_stop());
    threadsWithIt = ORXOsapiThread_getLiveThreadCount(); // those of the host have gone
    EventReader reader{EventWorld::domain};
    ASSERT_TRUE(handles(1));
    EXPECT_TRUE(log.has("Monitoring Library 2.0 is not enabled.")) << log.text();
    EXPECT_TRUE(hasEnded());
    EXPECT_EQ(epoch(), 0U);
}

TEST_F(EventSnapshotThreadTest, AFailedAllocationInNewLeavesNothing) {
    LogCapture log;
    FailingHeap heap;
    library.resourceRegistry = world.registry;
    const auto buffers = ORXOsapiHeap_getLiveBufferCount();
    const auto threads = ORXOsapiThread_getLiveThreadCount();
    uint64_t n = 0;
    std::set<std::string> reasons;
    // Until nothing is left to fail: some failures are got over.
    for (bool hasFailed = true; hasFailed && n < 100;) {
        heap.failAt(++n);
        log.clear();
        thread = ORX_MonitoringEventSnapshotThread_new(
            &library.parent, world.entities->eventWriter, &world.property, "snapshots");
        hasFailed = heap.hasFailed();
        heap.failNoMore();
        for (const auto& line : log.lines())
            reasons.insert(line.identifier + " " + line.subject);
        if (thread == nullptr) {
            EXPECT_GE(log.countLevel(ORX_LOG_BIT_ERROR), 1U) << "allocation " << n;
            EXPECT_EQ(ORXOsapiHeap_getLiveBufferCount(), buffers) << "allocation " << n;
            EXPECT_EQ(ORXOsapiThread_getLiveThreadCount(), threads) << "allocation " << n;
        } else if (hasFailed) {
            stop();
            EXPECT_EQ(ORXOsapiHeap_getLiveBufferCount(), buffers) << "got over allocation " << n;
        }
    }
    EXPECT_LT(n, 100U);
    ASSERT_NE(thread, nullptr);
    for (const char* reason : {"FAILED_TO_CREATE Event DataWriter WaitSet",
             "FAILED_TO_ATTACH StatusCondition in Event DataWriter WaitSet",
             "FAILED_TO_CREATE Monitoring Event Snapshot Thread"})
        EXPECT_TRUE(reasons.contains(reason)) << reason;
    EXPECT_GE(n, 4U); // the object, the wait set, the semaphore, the thread
    stop();
    EXPECT_EQ(ORXOsapiHeap_getLiveBufferCount(), buffers);
}

TEST(EventSnapshotThread, NewChecksItsArguments) {
    LogCapture log;
    EXPECT_EQ(ORX_MonitoringEventSnapshotThread_new(nullptr, nullptr, nullptr, nullptr), nullptr);
    EXPECT_TRUE(log.has("\"monitoringClass == ((void *)0)\"\n", "PRECONDITION"));
    EXPECT_TRUE(ORX_MonitoringEventSnapshotThread_delete(nullptr));
}

} // namespace
