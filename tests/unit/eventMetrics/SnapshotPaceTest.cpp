// Snapshots of a tree that is larger than the writer's queue.
#include <thread>

#include "src/eventMetrics/SnapshotPace.hpp"
#include "src/resource/MetricSubscription.h"
#include "tests/helpers/LogCapture.hpp"
#include "tests/unit/eventMetrics/EventWorld.hpp"
#include "gtest/gtest.h"

namespace {

constexpr std::size_t topics = 36'000;
constexpr std::size_t snapshots = topics + 1; // and the tree
constexpr ORX_INT64 millisecond = 1'000'000;
constexpr ORX_INT64 hour = 3'600'000 * millisecond;

class SnapshotPaceTest : public testing::Test {
protected:
    SnapshotPaceTest() {
        DDS_DataWriterQos qos{};
        DDS_DataWriterQos_initialize(&qos);
        DDS_DataWriter_get_qos(world.entities->eventWriter, &qos);
        queueSize = qos.publish_mode.max_queued_samples;
        DDS_DataWriterQos_finalize(&qos);
        EXPECT_LT(queueSize, topics);
        world.groups[0] = guid;
        world.groups[1] = "text";
        world.groups[2] = "text";
        auto* participant = world.addParticipant("p");
        for (std::size_t i = 0; i < topics; ++i)
            topic = world.addTopic(nullptr, participant);
        // Only topics are told of.
        ORX_MonitoringResource_setPaused(world.root, 1);
        ORX_MonitoringResource_setPaused(participant, 1);
        EXPECT_EQ(
            DDS_Entity_get_guid(DDS_DataReader_as_entity(reader.reader()), &readerGuid), DDS_RETCODE_OK);
    }
    ~SnapshotPaceTest() override { world.engine.stall(readerGuid, false); }

    // Before anything is posted.
    void setPace(ORX_INT64 allowanceNs, ORX_INT64 patienceNs) {
        auto& pace = world.executor->snapshotPace;
        pace.allowanceNs = allowanceNs;
        pace.patienceNs = patienceNs;
        pace.leftNs = allowanceNs;
    }
    void post() {
        ASSERT_EQ(ORX_Monitoring_lockI(ORX_MONITORING_LOCK_KIND_LIBRARY, 0, 1, 1, nullptr),
            ORX_MONITORING_LOCK_RESULT_OK);
        EXPECT_TRUE(ORX_MonitoringEventTaskExecutor_postInitialSnapshots(world.executor, world.registry));
        ASSERT_EQ(ORX_Monitoring_unlockI(ORX_MONITORING_LOCK_KIND_LIBRARY, 0, 1), 0);
    }
    DDS_DataWriterCountersI counters() {
        DDS_DataWriterCountersI now{};
        DDS_DataWriter_get_countersI(world.entities->eventWriter, &now);
        return now;
    }
    // What the worker has written, whatever became of it.
    std::size_t processed() {
        const auto now = counters();
        return now.written + now.queued + now.dropped_queue_full;
    }
    template <typename Condition> bool comesTrue(Condition condition) {
        const auto end = std::chrono::steady_clock::now() + waitBound;
        while (!condition()) {
            if (std::chrono::steady_clock::now() > end)
                return false;
            std::this_thread::yield();
        }
        return true;
    }
    bool waits() {
        return comesTrue([&] { return std::atomic_ref(world.executor->snapshotPace.waits).load() >= 1; });
    }
    bool receives(std::size_t count) {
        received += reader.takeNow().size();
        return comesTrue([&] { return (received += reader.takeNow().size()) >= count; });
    }

    DDS_Octet guid[16] = {1};
    EventWorld world{{.period = {0, 1'000'000}, .level = 2}};
    EventReader reader{EventWorld::domain}; // which is late: the tree stands when it is told
    ORX_MonitoringResource* topic = nullptr;
    DDS_GUID_t readerGuid{};
    std::size_t queueSize = 0;
    std::size_t received = 0;
};

TEST_F(SnapshotPaceTest, AReaderThatKeepsUpGetsTheSnapshotOfEveryResource) {
    setPace(hour, hour);
    post();
    EXPECT_TRUE(receives(snapshots)) << received;
    EXPECT_EQ(counters().dropped_queue_full, 0U);
}

// However far the reader is behind, the worker waits with half of the queue free.
TEST_F(SnapshotPaceTest, AReaderThatPausesGetsEverySnapshotAfterwards) {
    setPace(hour, hour);
    world.engine.stall(readerGuid);
    post();
    ASSERT_TRUE(waits());
    EXPECT_LE(counters().queued, queueSize / 2);
    EXPECT_EQ(counters().dropped_queue_full, 0U);
    world.engine.stall(readerGuid, false);
    EXPECT_TRUE(receives(snapshots)) << received;
    EXPECT_EQ(counters().dropped_queue_full, 0U);
    EXPECT_LE(counters().queued_peak, queueSize / 2 + 1);
}

TEST_F(SnapshotPaceTest, BytesCountLikeSamples) {
    setPace(hour, hour);
    world.executor->snapshotPace.queuedBytesLimit = 64 * 1024;
    world.engine.stall(readerGuid);
    post();
    ASSERT_TRUE(waits());
    EXPECT_LT(counters().queued, 4096U);
    world.engine.stall(readerGuid, false);
    EXPECT_TRUE(receives(snapshots)) << received;
    EXPECT_EQ(counters().dropped_queue_full, 0U);
}

class StalledReaderTest : public SnapshotPaceTest {
protected:
    // The worker goes on: all was written, what did not fit was counted, and the queue kept its bound. A
    // reader that comes back gets what was queued, and the snapshots that follow.
    void expectTheWorkerGoesOn() {
        LogCapture log;
        world.engine.stall(readerGuid);
        post();
        ASSERT_TRUE(comesTrue([&] { return processed() == snapshots; })) << processed();
        const auto full = counters();
        EXPECT_GT(full.dropped_queue_full, 0U);
        EXPECT_LE(full.queued_peak, queueSize);
        DDS_Monitoring_InconsistentTopicStatus status{1, 0};
        ASSERT_TRUE(world.push(topic, 3, &status));
        ASSERT_TRUE(comesTrue([&] { return processed() == snapshots + 1; }));
        world.engine.stall(readerGuid, false);
        EXPECT_TRUE(receives(full.written + full.queued)) << received;
        received = 0;
        ASSERT_TRUE(
            ORX_MonitoringEventTaskExecutor_postEventMetricSnapshotTask(world.executor, topic, nullptr));
        EXPECT_TRUE(receives(1));
        EXPECT_EQ(world.executor->snapshotPace.leftNs, world.executor->snapshotPace.allowanceNs);
    }
};

TEST_F(StalledReaderTest, CostsTheWorkerNoMoreThanItsPatience) {
    setPace(hour, 20 * millisecond);
    expectTheWorkerGoesOn();
}

TEST_F(StalledReaderTest, CostsTheWorkerNoMoreThanItsAllowance) {
    setPace(20 * millisecond, hour);
    expectTheWorkerGoesOn();
}

TEST_F(StalledReaderTest, IsNotWaitedForWhileChangesGather) {
    setPace(hour, hour);
    LogCapture log;
    world.executor->snapshotPace.gatheredLimit = 100;
    world.engine.stall(readerGuid);
    post();
    ASSERT_TRUE(waits());
    ASSERT_LT(processed(), snapshots);
    DDS_Monitoring_InconsistentTopicStatus status{1, 0};
    // Again and again, as snapshots of the other queue may come behind what was pushed so far.
    const auto isProcessed = [&] { return !world.push(topic, 3, &status) || processed() >= snapshots; };
    EXPECT_TRUE(comesTrue(isProcessed)) << processed();
    EXPECT_GE(processed(), snapshots);
    EXPECT_GT(counters().dropped_queue_full, 0U);
    EXPECT_LE(log.lines().size(), 2000U) << "each drop has a line";
    EXPECT_GT(world.executor->snapshotPace.leftNs, 0);
}

TEST_F(StalledReaderTest, DoesNotHoldUpTheStop) {
    LogCapture log;
    setPace(hour, hour);
    world.engine.stall(readerGuid);
    post();
    ASSERT_TRUE(waits());
    const auto begin = std::chrono::steady_clock::now();
    world.stopExecutor();
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds{60});
}

} // namespace
