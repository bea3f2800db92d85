// Walks with pins, pushes, commands, assertions and deletions at once, each under the locks that it has to
// hold.
#include <atomic>
#include <thread>

#include "src/monitoringClass/ResourceOperations.h"
#include "src/resource/ResourcePin.h"
#include "tests/unit/resource/ResourceFixture.hpp"

namespace {

struct LibraryLock {
    LibraryLock() {
        EXPECT_EQ(ORX_Monitoring_lockI(ORX_MONITORING_LOCK_KIND_LIBRARY, 0, 1, 1, nullptr),
            ORX_MONITORING_LOCK_RESULT_OK);
    }
    ~LibraryLock() { EXPECT_EQ(ORX_Monitoring_unlockI(ORX_MONITORING_LOCK_KIND_LIBRARY, 0, 1), 0); }
};

class ResourceConcurrency : public ResourceFixture {
protected:
    ResourceConcurrency() : posted(*root) { impl.eventTaskExecutor = posted.executor; }

    // As the periodic collector goes: every resource pinned, and its groups read unless it is paused.
    void walk() {
        constexpr auto bit = ORX_MONITORING_RESOURCE_LOCK_THREAD_PERIODIC;
        auto* resource = ORX_MonitoringResourceRegistry_getFirstResource(registry, 1, bit);
        while (resource != nullptr) {
            if (!ORX_MonitoringResource_isPaused(resource))
                groupsSeen += toVector(resource->monitoredPeriodicMetricGroupIndex).size();
            auto* next = ORX_MonitoringResourceRegistry_getNextResource(registry, resource, 1, bit);
            EXPECT_EQ(ORX_MonitoringResource_unlock(resource, bit, 0), 1);
            resource = next;
        }
    }
    // As an application thread pushes.
    void push(ORX_MonitoringResource* resource) {
        EXPECT_EQ(
            ORX_Monitoring_lockI(ORX_MONITORING_LOCK_KIND_METRIC, resource->concurrencyIndex, 1, 1, nullptr),
            ORX_MONITORING_LOCK_RESULT_OK);
        char hostname[] = "host";
        EXPECT_TRUE(ORX_Monitoring_pushEventMetric(&impl.parent, hostname, resource, 2));
        EXPECT_EQ(ORX_Monitoring_unlockI(ORX_MONITORING_LOCK_KIND_METRIC, resource->concurrencyIndex, 1), 0);
    }

    PostedEvents posted;
    std::atomic<size_t> groupsSeen = 0;
};

} // namespace

TEST_F(ResourceConcurrency, EverybodyAtOnce) {
    auto* kept = add(root, ORX_MONITORING_APPLICATION_CLASS_ID, "kept");
    SelectionList enable;
    enable.add("//*", {"*"});
    SelectionList disable;
    disable.add("//*", {}, {"*"});
    std::atomic<bool> isOver = false;
    std::thread periodic([&] {
        while (!isOver) {
            walk();
            std::this_thread::yield();
        }
    });
    std::thread pusher([&] {
        while (!isOver) {
            push(kept);
            std::this_thread::yield();
        }
    });
    std::thread commander([&] {
        for (int i = 0; i < 60; ++i) {
            LibraryLock lock;
            EXPECT_EQ(ORX_MonitoringResource_modifyMetricSelection(
                          kept, posted.executor, i % 2 == 0 ? &enable.list : &disable.list, root, 1),
                1);
        }
    });
    std::thread maker([&] {
        for (int i = 0; i < 60; ++i) {
            ORX_MonitoringResource* made = nullptr;
            {
                LibraryLock lock;
                made = add(i % 3 == 0 ? kept : root, ORX_MONITORING_DATA_WRITER_CLASS_ID, "w");
                EXPECT_NE(add(made, ORX_MONITORING_DATA_WRITER_CLASS_ID, "below"), nullptr);
            }
            LibraryLock lock;
            remove(made);
        }
    });
    commander.join();
    maker.join();
    isOver = true;
    periodic.join();
    pusher.join();
    EXPECT_EQ(deepFirst(), (Names{"app", "kept"}));
    EXPECT_EQ(kept->lockCounter, 0u);
    EXPECT_EQ(kept->lockThreadMask, 0u);
    expectSoundTree();
}

// A push that meets a pause is counted, never lost without a trace.
TEST_F(ResourceConcurrency, PushesAreCountedWhilePaused) {
    auto* kept = add(root, ORX_MONITORING_APPLICATION_CLASS_ID, "kept");
    ASSERT_EQ(ORX_MonitoringResource_pauseMetrics(kept), 1);
    push(kept);
    push(kept);
    EXPECT_EQ(kept->stats.skippedEventUpdates, 2u);
    EXPECT_EQ(posted.count(ORX_MONITORING_EVENT_TASK_KIND_METRIC), 0u);
    ASSERT_EQ(ORX_MonitoringResource_resumeMetrics(kept, posted.executor), 1);
    push(kept);
    EXPECT_EQ(kept->stats.skippedEventUpdates, 2u);
    EXPECT_EQ(posted.count(ORX_MONITORING_EVENT_TASK_KIND_METRIC, kept), 1u);
}
