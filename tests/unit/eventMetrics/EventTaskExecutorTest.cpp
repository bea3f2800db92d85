#include <algorithm>
#include <atomic>
#include <set>
#include <string>
#include <thread>

#include "orxmonitoring2d/dds_status_support.h"
#include "src/dataModel/DistributionMapping.hpp"
#include "tests/helpers/FailingHeap.hpp"
#include "tests/helpers/HeapCount.hpp"
#include "tests/helpers/LogCapture.hpp"
#include "tests/unit/eventMetrics/EventWorld.hpp"
#include "zddsc/type_engine.h"
#include "gmock/gmock.h"
#include "gtest/gtest.h"

namespace {

constexpr ORX_UINT32 topicGuidGroup = 0;
constexpr ORX_UINT32 topicNameGroup = 1;
constexpr ORX_UINT32 inconsistentTopicGroup = 3;
constexpr ORX_UINT32 offeredIncompatibleQosGroup = 3;    // of a data writer
constexpr ORX_UINT32 firstPeriodicGroupOfDataWriter = 9; // status_cache, a plain one

bool isGuid(const DDS_Monitoring_GUID_t& left, const DDS_Monitoring_GUID_t& right) {
    return std::equal(std::begin(left), std::end(left), std::begin(right));
}

// One queue, whose tasks the test runs as batches.
class EventSampleTest : public testing::Test {
protected:
    EventWorld world{{.level = 1}};
    EventReader reader{EventWorld::domain};
    ORX_MonitoringResource* participant = world.addParticipant("p");
    ORX_MonitoringResource* topicA = world.addTopic("a", participant);
    ORX_MonitoringResource* topicB = world.addTopic("b", participant);
    DDS_Monitoring_InconsistentTopicStatus status{7, 1};
};

TEST_F(EventSampleTest, UpdatesOfOneResourceInOneBatchAreOneSample) {
    DDS_Monitoring_InconsistentTopicStatus later{8, 1};
    ASSERT_TRUE(world.push(topicA, inconsistentTopicGroup, &status));
    ASSERT_TRUE(world.push(topicA, topicNameGroup, "square"));
    ASSERT_TRUE(world.push(topicA, inconsistentTopicGroup, &later)); // overwrites
    const auto samples = world.run(reader);
    ASSERT_EQ(samples.size(), 1U);
    EXPECT_EQ(samples[0]->info.epoch_metric, 1U);
    EXPECT_EQ(samples[0]->info.epoch_resource, 0U);
    EXPECT_FALSE(samples[0]->info.is_snapshot);
    EXPECT_TRUE(isGuid(samples[0]->resource_guid, topicA->base.guid));
    EXPECT_TRUE(isGuid(samples[0]->info.root_resource_guid, world.root->base.guid));
    EXPECT_EQ(samples[0]->value._d, ORX_MONITORING_TOPIC_CLASS_ID);
    const auto& topic = samples[0]->value._u.topic;
    EXPECT_EQ(topic.dds_guid, nullptr);
    EXPECT_EQ(topic.registered_type_name, nullptr);
    EXPECT_STREQ(topic.topic_name, "square");
    ASSERT_NE(topic.status_inconsistent_topic, nullptr);
    EXPECT_EQ(topic.status_inconsistent_topic->total_count, 8);
}

TEST_F(EventSampleTest, UpdatesOfAlternatingResourcesAreNotMerged) {
    ASSERT_TRUE(world.push(topicA, inconsistentTopicGroup, &status));
    ASSERT_TRUE(world.push(topicB, inconsistentTopicGroup, &status));
    ASSERT_TRUE(world.push(topicA, inconsistentTopicGroup, &status));
    const auto samples = world.run(reader);
    ASSERT_EQ(samples.size(), 3U);
    EXPECT_TRUE(isGuid(samples[1]->resource_guid, topicB->base.guid));
    for (size_t i = 0; i < 3; ++i)
        EXPECT_EQ(samples[i]->info.epoch_metric, i + 1);
}

TEST_F(EventSampleTest, UpdatesInTwoBatchesAreTwoSamples) {
    ASSERT_TRUE(world.push(topicA, inconsistentTopicGroup, &status));
    EXPECT_EQ(world.run(reader).size(), 1U);
    ASSERT_TRUE(world.push(topicA, inconsistentTopicGroup, &status));
    const auto samples = world.run(reader);
    ASSERT_EQ(samples.size(), 1U);
    EXPECT_EQ(samples[0]->info.epoch_metric, 2U);
    EXPECT_TRUE(world.run(reader).empty());
}

TEST_F(EventSampleTest, ACreationAndARemovalAreTwoSamplesOfTheApplication) {
    ASSERT_TRUE(ORX_MonitoringEventTaskExecutor_postResourceCreationTask(world.executor, topicA, world.root));
    ASSERT_TRUE(ORX_MonitoringEventTaskExecutor_postDeletionResourceTask(world.executor, topicB, world.root));
    const auto samples = world.run(reader);
    ASSERT_EQ(samples.size(), 2U);
    EXPECT_EQ(samples[1]->info.epoch_resource, 2U);
    EXPECT_EQ(samples[1]->info.epoch_metric, 0U);
    for (const auto& sample : samples) {
        EXPECT_TRUE(isGuid(sample->resource_guid, world.root->base.guid));
        EXPECT_EQ(sample->value._d, ORX_MONITORING_APPLICATION_CLASS_ID);
        EXPECT_FALSE(sample->info.is_snapshot);
        ASSERT_NE(sample->value._u.application.resource_update, nullptr);
    }
    const auto& created = *samples[0]->value._u.application.resource_update;
    ASSERT_EQ(created._d, DDS_Monitoring_ResourceUpdateKind_RESOURCE_UPDATE_CREATION_KIND);
    EXPECT_STREQ(created._u.new_resource.name, "a");
    EXPECT_EQ(created._u.new_resource.class_id, ORX_MONITORING_TOPIC_CLASS_ID);
    EXPECT_TRUE(isGuid(created._u.new_resource.guid, topicA->base.guid));
    EXPECT_TRUE(isGuid(created._u.new_resource.owner_resource_guid, participant->base.guid));
    EXPECT_TRUE(isGuid(created._u.new_resource.user_resource_guid, topicA->base.user_resource_guid));
    const auto& removed = *samples[1]->value._u.application.resource_update;
    ASSERT_EQ(removed._d, DDS_Monitoring_ResourceUpdateKind_RESOURCE_UPDATE_DELETION_KIND);
    EXPECT_TRUE(isGuid(removed._u.delete_resource.guid, topicB->base.guid));
}

TEST_F(EventSampleTest, TwoCreationsAreNotMerged) {
    ASSERT_TRUE(ORX_MonitoringEventTaskExecutor_postResourceCreationTask(world.executor, topicA, world.root));
    ASSERT_TRUE(ORX_MonitoringEventTaskExecutor_postResourceCreationTask(world.executor, topicB, world.root));
    EXPECT_EQ(world.run(reader).size(), 2U);
}

TEST_F(EventSampleTest, AChangeMovesNoEpochAndCarriesTheMetricIds) {
    ASSERT_TRUE(DDS_UnsignedLongSeq_ensure_length(&topicA->base.metric_ids, 2, 2));
    *DDS_UnsignedLongSeq_get_reference(&topicA->base.metric_ids, 0) = 11;
    *DDS_UnsignedLongSeq_get_reference(&topicA->base.metric_ids, 1) = 12;
    ASSERT_TRUE(ORX_MonitoringEventTaskExecutor_postResourceChangeTask(world.executor, topicA, world.root));
    *DDS_UnsignedLongSeq_get_reference(&topicA->base.metric_ids, 1) = 13; // after the post: too late
    const auto samples = world.run(reader);
    ASSERT_EQ(samples.size(), 1U);
    EXPECT_EQ(samples[0]->info.epoch_resource, 0U);
    EXPECT_EQ(samples[0]->info.epoch_metric, 0U);
    const auto& update = *samples[0]->value._u.application.resource_update;
    ASSERT_EQ(update._d, DDS_Monitoring_ResourceUpdateKind_RESOURCE_UPDATE_CHANGE_KIND);
    EXPECT_TRUE(isGuid(update._u.change_resource.guid, topicA->base.guid));
    ASSERT_EQ(DDS_UnsignedLongSeq_get_length(&update._u.change_resource.metric_ids), 2);
    EXPECT_EQ(DDS_UnsignedLongSeq_get(&update._u.change_resource.metric_ids, 1), 12U);
    EXPECT_TRUE(DDS_UnsignedLongSeq_has_ownership(&topicA->base.metric_ids));
}

TEST_F(EventSampleTest, ASnapshotLeavesAloneBehindWhatWasCached) {
    world.groups[topicNameGroup] = "square";
    world.groups[topicGuidGroup] = topicA->base.user_resource_guid;
    world.groups[2] = "type";
    ASSERT_TRUE(world.push(topicA, inconsistentTopicGroup, &status));
    ASSERT_TRUE(ORX_MonitoringEventTaskExecutor_postEventMetricSnapshotTask(world.executor, topicA, nullptr));
    ASSERT_TRUE(world.push(topicA, inconsistentTopicGroup, &status));
    const auto samples = world.run(reader);
    ASSERT_EQ(samples.size(), 3U);
    EXPECT_FALSE(samples[0]->info.is_snapshot);
    EXPECT_EQ(samples[0]->info.epoch_metric, 1U);
    EXPECT_TRUE(samples[1]->info.is_snapshot);
    EXPECT_EQ(samples[1]->info.epoch_metric, 1U); // the last update's
    EXPECT_EQ(samples[1]->value._u.topic.status_inconsistent_topic, nullptr);
    EXPECT_STREQ(samples[1]->value._u.topic.topic_name, "square");
    EXPECT_STREQ(samples[1]->value._u.topic.registered_type_name, "type");
    ASSERT_NE(samples[1]->value._u.topic.dds_guid, nullptr);
    EXPECT_FALSE(samples[2]->info.is_snapshot);
    EXPECT_EQ(samples[2]->info.epoch_metric, 2U);
    EXPECT_EQ(samples[2]->value._u.topic.topic_name, nullptr); // nothing of the snapshot is left
}

TEST_F(EventSampleTest, ASnapshotReturnsWhatItFetched) {
    world.groups[topicNameGroup] = "square";
    world.groups[topicGuidGroup] = topicA->base.user_resource_guid;
    world.groups[2] = "type";
    const auto buffers = world.liveBuffers(0);
    ASSERT_TRUE(ORX_MonitoringEventTaskExecutor_postEventMetricSnapshotTask(world.executor, topicA, nullptr));
    EXPECT_EQ(world.fetched, (std::map<ORX_UINT32, int>{{0, 1}, {1, 1}, {2, 1}}));
    EXPECT_EQ(world.returned, world.fetched);
    EXPECT_GT(world.liveBuffers(0), buffers);
    EXPECT_EQ(world.run(reader).size(), 1U);
    EXPECT_EQ(world.liveBuffers(0), buffers);
}

TEST_F(EventSampleTest, AGroupThatCannotBeFetchedIsLeftOutOfTheSnapshot) {
    LogCapture log;
    world.groups[topicNameGroup] = "square"; // the GUID and the type name fail
    ASSERT_TRUE(ORX_MonitoringEventTaskExecutor_postEventMetricSnapshotTask(world.executor, topicA, nullptr));
    EXPECT_TRUE(
        log.has("Metric group with index 0. For a snapshot for resource with name a\n", "FAILED_TO_GET"))
        << log.text();
    EXPECT_TRUE(
        log.has("Metric group with index 2. For a snapshot for resource with name a\n", "FAILED_TO_GET"));
    EXPECT_EQ(world.returned, (std::map<ORX_UINT32, int>{{topicNameGroup, 1}}));
    const auto samples = world.run(reader);
    ASSERT_EQ(samples.size(), 1U);
    EXPECT_STREQ(samples[0]->value._u.topic.topic_name, "square");
    EXPECT_EQ(samples[0]->value._u.topic.dds_guid, nullptr);
    EXPECT_EQ(samples[0]->value._u.topic.registered_type_name, nullptr);
}

TEST_F(EventSampleTest, ASnapshotWithoutAnyGroupStillNamesItsClass) {
    LogCapture log;
    ASSERT_TRUE(ORX_MonitoringEventTaskExecutor_postEventMetricSnapshotTask(world.executor, topicA, nullptr));
    const auto samples = world.run(reader);
    ASSERT_EQ(samples.size(), 1U);
    EXPECT_EQ(samples[0]->value._d, ORX_MONITORING_TOPIC_CLASS_ID);
    EXPECT_TRUE(isGuid(samples[0]->resource_guid, topicA->base.guid));
    EXPECT_TRUE(samples[0]->info.is_snapshot);
}

TEST_F(EventSampleTest, ASnapshotOfChosenGroupsHasThoseAlone) {
    world.groups[topicNameGroup] = "square";
    world.groups[inconsistentTopicGroup] = &status;
    DDS_UnsignedLongSeq chosen{};
    ASSERT_TRUE(DDS_UnsignedLongSeq_ensure_length(&chosen, 1, 1));
    *DDS_UnsignedLongSeq_get_reference(&chosen, 0) = inconsistentTopicGroup;
    ASSERT_TRUE(ORX_MonitoringEventTaskExecutor_postEventMetricSnapshotTask(world.executor, topicA, &chosen));
    DDS_UnsignedLongSeq_finalize(&chosen);
    const auto samples = world.run(reader);
    ASSERT_EQ(samples.size(), 1U);
    EXPECT_EQ(samples[0]->value._u.topic.topic_name, nullptr);
    ASSERT_NE(samples[0]->value._u.topic.status_inconsistent_topic, nullptr);
    EXPECT_EQ(samples[0]->value._u.topic.status_inconsistent_topic->total_count, 7);
}

TEST_F(EventSampleTest, AResourceWithoutAForwarderHasAnEmptySnapshot) {
    LogCapture log;
    auto* bare = world.add(ORX_MONITORING_TOPIC_CLASS_ID, "bare", participant, false);
    ASSERT_TRUE(ORX_MonitoringEventTaskExecutor_postEventMetricSnapshotTask(world.executor, bare, nullptr));
    EXPECT_EQ(world.run(reader).size(), 1U);
}

TEST_F(EventSampleTest, APausedResourcePostsNoSnapshot) {
    LogCapture log;
    const auto buffers = world.liveBuffers(0);
    ORX_MonitoringResource_setPaused(topicA, 1);
    EXPECT_TRUE(ORX_MonitoringEventTaskExecutor_postEventMetricSnapshotTask(world.executor, topicA, nullptr));
    EXPECT_EQ(topicA->stats.skippedEventSnapshots, 1U);
    EXPECT_TRUE(
        log.has("A metric snapshot was requested but resource with name a is paused", "FAILED_TO_POST"))
        << log.text();
    EXPECT_EQ(log.countLevel(ORX_LOG_BIT_ERROR), 0U);
    EXPECT_EQ(world.liveBuffers(0), buffers);
    EXPECT_TRUE(world.fetched.empty());
    EXPECT_TRUE(world.run(reader).empty());
}

TEST_F(EventSampleTest, TheTreeIsOneSampleInTheOrderOfTheWalk) {
    const auto epoch = world.registry->snapshotEpoch;
    ASSERT_TRUE(ORX_MonitoringEventTaskExecutor_postResourceSnapshotTask(world.executor, world.registry, 0));
    EXPECT_EQ(world.registry->snapshotEpoch, epoch + 1);
    const auto samples = world.run(reader);
    ASSERT_EQ(samples.size(), 1U);
    EXPECT_TRUE(samples[0]->info.is_snapshot);
    EXPECT_EQ(samples[0]->info.epoch_resource, 0U);
    EXPECT_TRUE(isGuid(samples[0]->resource_guid, world.root->base.guid));
    ASSERT_NE(samples[0]->value._u.application.resource_registry, nullptr);
    const auto& resources = samples[0]->value._u.application.resource_registry->resources;
    ASSERT_EQ(DDS_Monitoring_ResourceReferenceSeq_get_length(&resources), 4);
    std::string names;
    for (DDS_Long i = 0; i < 4; ++i) {
        names += (*DDS_Monitoring_ResourceReferenceSeq_get_reference(&resources, i))->name;
        names += ' ';
    }
    EXPECT_EQ(names, "app p b a ");
}

TEST_F(EventSampleTest, InitialSnapshotsTellTheTreeFirstAndLeaveOutThePaused) {
    world.groups[0] = topicA->base.user_resource_guid;
    world.groups[1] = "text";
    LogCapture log;
    ORX_MonitoringResource_setPaused(topicB, 1);
    ASSERT_EQ(ORX_Monitoring_lockI(ORX_MONITORING_LOCK_KIND_LIBRARY, 0, 1, 1, nullptr),
        ORX_MONITORING_LOCK_RESULT_OK);
    ASSERT_TRUE(ORX_MonitoringEventTaskExecutor_postInitialSnapshots(world.executor, world.registry));
    ASSERT_EQ(ORX_Monitoring_unlockI(ORX_MONITORING_LOCK_KIND_LIBRARY, 0, 1), 0);
    const auto samples = world.run(reader);
    ASSERT_EQ(samples.size(), 4U);
    EXPECT_NE(samples[0]->value._u.application.resource_registry, nullptr);
    EXPECT_TRUE(isGuid(samples[1]->resource_guid, world.root->base.guid));
    EXPECT_TRUE(isGuid(samples[2]->resource_guid, participant->base.guid));
    EXPECT_TRUE(isGuid(samples[3]->resource_guid, topicA->base.guid));
    EXPECT_EQ(topicB->stats.skippedEventSnapshots, 0U);
}

TEST_F(EventSampleTest, InitialSnapshotsStopAtTheFirstFailure) {
    LogCapture log;
    topicB->userResource = nullptr; // its entity cannot be locked
    EXPECT_FALSE(ORX_MonitoringEventTaskExecutor_postInitialSnapshots(world.executor, world.registry));
    EXPECT_TRUE(log.has("DDS Entity from Monitoring resource", "FAILED_TO_GET")) << log.text();
    EXPECT_TRUE(log.has("DDS entity associated to resource", "FAILED_TO_LOCK"));
    EXPECT_TRUE(log.has("Event metric snapshot for resource with name b\n", "FAILED_TO_POST"));
}

TEST_F(EventSampleTest, TheContentIsFixedAtThePost) {
    std::string name = "before";
    ASSERT_TRUE(world.push(topicA, topicNameGroup, name.c_str()));
    name = "after!";
    const auto samples = world.run(reader);
    ASSERT_EQ(samples.size(), 1U);
    EXPECT_STREQ(samples[0]->value._u.topic.topic_name, "before");
}

TEST_F(EventSampleTest, AllMemoryOfAnEventComesBack) {
    world.groups[0] = topicA->base.user_resource_guid;
    world.groups[1] = "text";
    world.groups[2] = "text";
    const auto buffers = world.liveBuffers(0);
    ASSERT_TRUE(world.push(topicA, inconsistentTopicGroup, &status));
    ASSERT_TRUE(world.push(topicA, topicNameGroup, "square"));
    ASSERT_TRUE(ORX_MonitoringEventTaskExecutor_postResourceCreationTask(world.executor, topicA, world.root));
    ASSERT_TRUE(ORX_MonitoringEventTaskExecutor_postResourceChangeTask(world.executor, topicA, world.root));
    ASSERT_TRUE(ORX_MonitoringEventTaskExecutor_postDeletionResourceTask(world.executor, topicA, world.root));
    ASSERT_TRUE(ORX_MonitoringEventTaskExecutor_postResourceSnapshotTask(world.executor, world.registry, 0));
    ASSERT_TRUE(ORX_MonitoringEventTaskExecutor_postEventMetricSnapshotTask(world.executor, topicA, nullptr));
    EXPECT_EQ(world.run(reader).size(), 6U);
    EXPECT_EQ(world.liveBuffers(0), buffers);
}

TEST_F(EventSampleTest, APostThatFailsSaysWhatAndLeavesNothing) {
    LogCapture log;
    const auto buffers = world.liveBuffers(0);
    EXPECT_FALSE(world.push(topicA, 4, &status)); // not an event group of the class
    EXPECT_TRUE(
        log.has("Distribution data for event kind 'ORX_MONITORING_EVENT_TASK_KIND_METRIC' with metric group "
                "index 4 in concurrency queue with index 0\n",
            "FAILED_TO_POST"))
        << log.text();
    auto* writer = world.add(ORX_MONITORING_DATA_WRITER_CLASS_ID, "w", topicA);
    DDS_Monitoring_DataWriterCacheStatus cache{};
    EXPECT_FALSE(world.push(writer, firstPeriodicGroupOfDataWriter, &cache));
    auto* root = world.root;
    const auto classId = topicA->base.class_id;
    topicA->base.class_id = 5;
    EXPECT_FALSE(world.push(topicA, 0, &status));
    EXPECT_TRUE(log.has("Metric group info of classId 5", "FAILED_TO_GET")) << log.text();
    topicA->base.class_id = classId;
    topicA->concurrencyIndex = 9;
    EXPECT_FALSE(ORX_MonitoringEventTaskExecutor_postResourceCreationTask(world.executor, topicA, root));
    EXPECT_TRUE(log.has("Taking Monitoring event mutex with index 9\n", "FAILED_TO_LOCK")) << log.text();
    EXPECT_TRUE(
        log.has("Distribution data for event kind 'ORX_MONITORING_EVENT_TASK_KIND_RESOURCE_CREATION' with "
                "metric group index 0 in all the queues\n",
            "FAILED_TO_POST"));
    EXPECT_FALSE(ORX_MonitoringEventTaskExecutor_postResourceChangeTask(world.executor, topicA, root));
    EXPECT_TRUE(
        log.has("Distribution data for event kind 'ORX_MONITORING_EVENT_TASK_KIND_NONE' with metric group "
                "index 0 in concurrency queue with index 9\n",
            "FAILED_TO_POST"));
    EXPECT_FALSE(ORX_MonitoringEventTaskExecutor_postDeletionResourceTask(world.executor, topicA, root));
    topicA->concurrencyIndex = 0;
    EXPECT_EQ(world.liveBuffers(0), buffers);
    EXPECT_TRUE(world.run(reader).empty());
}

TEST_F(EventSampleTest, AnEmptyTreeHasNoSnapshot) {
    REDAInlineList selections;
    REDAInlineList_init(&selections);
    auto* empty = ORX_MonitoringResourceRegistry_new(&selections);
    ASSERT_NE(empty, nullptr);
    LogCapture log;
    EXPECT_FALSE(ORX_MonitoringEventTaskExecutor_postResourceSnapshotTask(world.executor, empty, 0));
    EXPECT_TRUE(log.has("resource registry\n", "FAILED_TO_UPDATE")) << log.text();
    EXPECT_TRUE(world.run(reader).empty());
    // The library lock was given.
    std::thread{[] {
        const DDS_Duration_t bound{60, 0};
        EXPECT_EQ(ORX_Monitoring_lockI(ORX_MONITORING_LOCK_KIND_LIBRARY, 0, 1, 1, &bound),
            ORX_MONITORING_LOCK_RESULT_OK);
        EXPECT_EQ(ORX_Monitoring_unlockI(ORX_MONITORING_LOCK_KIND_LIBRARY, 0, 1), 0);
    }}.join();
    ORX_MonitoringResourceRegistry_delete(empty);
}

TEST_F(EventSampleTest, MetricsOfASnapshotAreBelowTwoGigabytes) {
    LogCapture log;
    REDAInlineMemory** arena = ORX_MonitoringTaskExecutor_getMemoryManager(world.executor->taskExecutor, 0);
    EXPECT_EQ(ORX_MonitoringEventTaskExecutorSnapshotMetric_newArray(arena, 0, 0x08000000), nullptr);
    EXPECT_TRUE(log.has("'ORX_MonitoringEventTaskExecutorSnapshotMetric array' with size 2147483648, in the "
                        "memory manager with index 0. The size exceeds the maximum size.\n",
        "FAILED_TO_ALLOCATE"))
        << log.text();
}

TEST_F(EventSampleTest, PreconditionsFailWithTheirText) {
    LogCapture log;
    EXPECT_FALSE(ORX_MonitoringEventTaskExecutor_postEventUpdateTask(nullptr, topicA, &status, 0));
    EXPECT_TRUE(log.has("\"self == ((void *)0)\"\n", "PRECONDITION"));
    EXPECT_FALSE(ORX_MonitoringEventTaskExecutor_postEventUpdateTask(world.executor, nullptr, &status, 0));
    EXPECT_TRUE(log.has("\"resource == ((void *)0)\"\n", "PRECONDITION"));
    EXPECT_FALSE(ORX_MonitoringEventTaskExecutor_postEventUpdateTask(world.executor, topicA, nullptr, 0));
    EXPECT_TRUE(log.has("\"applicationMetricGroup == ((void *)0)\"\n", "PRECONDITION"));
    EXPECT_FALSE(ORX_MonitoringEventTaskExecutor_postResourceCreationTask(world.executor, topicA, nullptr));
    EXPECT_TRUE(log.has("\"applicationResource == ((void *)0)\"\n", "PRECONDITION"));
    EXPECT_FALSE(ORX_MonitoringEventTaskExecutor_postResourceSnapshotTask(world.executor, nullptr, 0));
    EXPECT_TRUE(log.has("\"resourceRegistry == ((void *)0)\"\n", "PRECONDITION"));
    EXPECT_EQ(ORX_MonitoringEventTaskExecutor_new(nullptr, "", nullptr, nullptr, nullptr), nullptr);
    EXPECT_TRUE(ORX_MonitoringEventTaskExecutor_delete(nullptr));
}

TEST(EventTaskExecutor, AWriteThatFailsMovesTheCounterAndIsAWarning) {
    EventWorld world{{.level = 1, .isEnabled = false}};
    LogCapture log;
    auto* topic = world.addTopic("a", world.addParticipant("p"));
    DDS_Monitoring_InconsistentTopicStatus status{1, 1};
    ASSERT_TRUE(world.push(topic, inconsistentTopicGroup, &status));
    world.runQueue(0);
    EXPECT_TRUE(log.has("Event sample with epoch_resource (0) and epoch_metric (1)\n", "FAILED_TO_SEND"))
        << log.text();
    EXPECT_EQ(world.executor->sample->info.epoch_metric, 1U);
    EXPECT_EQ(world.executor->previousEventKind, ORX_MONITORING_EVENT_TASK_KIND_NONE);
    ASSERT_TRUE(ORX_MonitoringEventTaskExecutor_postResourceSnapshotTask(world.executor, world.registry, 0));
    world.runQueue(0);
    EXPECT_EQ(world.lastResult, 0); // the task is dropped
    EXPECT_TRUE(log.has("Snapshot sample\n", "FAILED_TO_SEND"));
    ASSERT_TRUE(world.push(topic, inconsistentTopicGroup, &status));
    ASSERT_TRUE(ORX_MonitoringEventTaskExecutor_postDeletionResourceTask(world.executor, topic, world.root));
    world.runQueue(0);
    EXPECT_TRUE(log.has("Cached sample\n", "FAILED_TO_SEND"));
}

TEST(EventTaskExecutor, WhatIsCachedAtTheStopIsNotSent) {
    EventWorld world{{.level = 1}};
    EventReader reader{EventWorld::domain};
    auto* topic = world.addTopic("a", world.addParticipant("p"));
    DDS_Monitoring_InconsistentTopicStatus status{1, 1};
    ASSERT_TRUE(world.push(topic, inconsistentTopicGroup, &status));
    auto* node = REDAInlineList_getFirst(&world.executor->taskExecutor->queues[0].tasks);
    ASSERT_TRUE(ORX_MonitoringEventTaskExecutor_onTaskAvailable(
        world.executor, reinterpret_cast<ORX_MonitoringTaskExecutorTask*>(node)));
    EXPECT_EQ(world.executor->previousEventKind, ORX_MONITORING_EVENT_TASK_KIND_METRIC);
    world.stopExecutor(); // the sample points into an arena that goes with it
    EXPECT_TRUE(world.received(reader).empty());
}

// The whole way, with the worker awake.
TEST(EventTaskExecutor, PostsArriveInOrderAndOnce) {
    EventWorld world{{.period = {0, 0}, .level = 4}};
    EventReader reader{EventWorld::domain};
    auto* participant = world.addParticipant("p");
    ASSERT_TRUE(
        ORX_MonitoringEventTaskExecutor_postResourceCreationTask(world.executor, participant, world.root));
    std::vector<ORX_MonitoringResource*> topics;
    DDS_Monitoring_InconsistentTopicStatus status{0, 0};
    for (int i = 0; i < 100; ++i) {
        topics.push_back(world.addTopic(("t" + std::to_string(i)).c_str(), participant));
        ASSERT_TRUE(ORX_MonitoringEventTaskExecutor_postResourceCreationTask(
            world.executor, topics.back(), world.root));
        ASSERT_TRUE(world.push(topics.back(), inconsistentTopicGroup, &status));
    }
    EventSamples samples;
    ASSERT_TRUE(reader.takeUntil(samples, 201));
    std::set<std::string> known;
    int updates = 0;
    for (const auto& sample : samples) {
        if (sample->value._d == ORX_MONITORING_TOPIC_CLASS_ID) {
            EXPECT_TRUE(known.count({reinterpret_cast<const char*>(sample->resource_guid), 16}))
                << "a metric of a resource that has not been announced";
            ++updates;
            continue;
        }
        const auto& created = sample->value._u.application.resource_update->_u.new_resource;
        EXPECT_TRUE(known.insert({reinterpret_cast<const char*>(created.guid), 16}).second);
    }
    EXPECT_EQ(known.size(), 101U);
    EXPECT_EQ(updates, 100);
    EXPECT_EQ(samples.back()->info.epoch_metric + samples.back()->info.epoch_resource, 201U);
}

// Two application threads push for two resources of one queue, plain values and texts, while the worker takes
// them off.
TEST(EventTaskExecutor, TwoProducersOfOneQueueLoseNothing) {
    constexpr DDS_Long pushes = 3000;
    EventWorld world{{.period = {0, 1'000'000}, .level = 1}};
    EventReader reader{EventWorld::domain};
    auto* participant = world.addParticipant("p");
    ORX_MonitoringResource* topics[] = {world.addTopic("a", participant), world.addTopic("b", participant)};
    std::atomic<int> failures{0};
    const auto produce = [&](ORX_MonitoringResource* topic) {
        for (DDS_Long i = 1; i <= pushes; ++i) {
            const DDS_Monitoring_InconsistentTopicStatus status{i, 1};
            failures += !world.push(topic, inconsistentTopicGroup, &status);
            failures += !world.push(topic, topicNameGroup, std::to_string(i).c_str());
        }
    };
    std::thread first{produce, topics[0]};
    std::thread second{produce, topics[1]};
    DDS_Long last[2] = {0, 0};
    DDS_Long lastName[2] = {0, 0};
    EventSamples samples;
    const bool all = reader.takeUntilThat(samples, [&] {
        for (const auto& sample : samples) {
            const int which = isGuid(sample->resource_guid, topics[0]->base.guid) ? 0 : 1;
            const auto& topic = sample->value._u.topic;
            if (topic.status_inconsistent_topic != nullptr) {
                EXPECT_GT(topic.status_inconsistent_topic->total_count, last[which]);
                last[which] = topic.status_inconsistent_topic->total_count;
            }
            if (topic.topic_name != nullptr) {
                EXPECT_GT(std::stoi(topic.topic_name), lastName[which]);
                lastName[which] = std::stoi(topic.topic_name);
            }
        }
        samples.clear();
        return last[0] == pushes && last[1] == pushes && lastName[0] == pushes && lastName[1] == pushes;
    });
    first.join();
    second.join();
    EXPECT_TRUE(all) << last[0] << " " << last[1] << " " << lastName[0] << " " << lastName[1];
    EXPECT_EQ(failures, 0);
    DDS_DataWriterCountersI counters{};
    DDS_DataWriter_get_countersI(world.entities->eventWriter, &counters);
    EXPECT_EQ(counters.dropped_queue_full, 0U);
}

TEST(EventTaskExecutor, APushCallsNoHeapOnceWarm) {
    EventWorld world{{.period = {0, 0}, .level = 2}};
    EventReader reader{EventWorld::domain};
    auto* topic = world.addTopic("a", world.addParticipant("p"));
    DDS_Monitoring_InconsistentTopicStatus status{0, 0};
    EventSamples samples;
    const auto round = [&](int count) {
        uint64_t calls = 0;
        for (int i = 0; i < count; ++i) {
            world.lock(topic);
            const auto before = heapCallsOfThisThread();
            const bool status1 = ORX_MonitoringEventTaskExecutor_postEventUpdateTask(
                                     world.executor, topic, &status, inconsistentTopicGroup) != 0;
            const bool status2 = ORX_MonitoringEventTaskExecutor_postEventUpdateTask(
                                     world.executor, topic, "square", topicNameGroup) != 0;
            calls += heapCallsOfThisThread() - before;
            world.unlock(topic);
            EXPECT_TRUE(status1 && status2);
            // Bounded backlog, as on an application's thread that pushes now and then.
            const auto expected = samples.size() + 1;
            EXPECT_TRUE(reader.takeUntil(samples, expected));
        }
        return calls;
    };
    (void)round(200);
    samples.clear();
    EXPECT_EQ(round(1000), 0U);
}

// A type's programs are made when the executor is, so that not even the first push of a group makes them. The
// arena is large enough for all.
TEST(EventTaskExecutor, TheFirstPushOfAGroupCallsNoHeapEither) {
    DDS_Type_finalize_programs();
    EventWorld world{{.level = 1, .arenaSize = 1 << 20}};
    auto* writer =
        world.add(ORX_MONITORING_DATA_WRITER_CLASS_ID, "w", world.addTopic("a", world.addParticipant("p")));
    DDS_Monitoring_OfferedIncompatibleQosStatus status{};
    ASSERT_TRUE(DDS_Monitoring_OfferedIncompatibleQosStatus_initialize(&status));
    world.lock(writer);
    const auto before = heapCallsOfThisThread();
    const bool result = ORX_MonitoringEventTaskExecutor_postEventUpdateTask(
                            world.executor, writer, &status, offeredIncompatibleQosGroup) != 0;
    EXPECT_EQ(heapCallsOfThisThread(), before);
    world.unlock(writer);
    EXPECT_TRUE(result);
    DDS_Monitoring_OfferedIncompatibleQosStatus_finalize(&status);
}

TEST(EventTaskExecutor, APlainValueTakesOneBuffer) {
    EventWorld world{{.level = 1}};
    EventReader reader{EventWorld::domain};
    auto* topic = world.addTopic("a", world.addParticipant("p"));
    const DDS_Monitoring_InconsistentTopicStatus status{7, 1};
    const auto before = world.liveBuffers(0);
    ASSERT_TRUE(world.push(topic, inconsistentTopicGroup, &status));
    EXPECT_EQ(world.liveBuffers(0), before + 1);
    ASSERT_TRUE(world.push(topic, topicNameGroup, "square")); // a text: node, event and value
    EXPECT_EQ(world.liveBuffers(0), before + 4);
    const auto samples = world.run(reader);
    ASSERT_EQ(samples.size(), 1U);
    EXPECT_EQ(samples[0]->value._u.topic.status_inconsistent_topic->total_count, 7);
    EXPECT_STREQ(samples[0]->value._u.topic.topic_name, "square");
    EXPECT_EQ(world.liveBuffers(0), before);
}

// Every plain event group of every class arrives as it was pushed, whatever its size.
TEST(EventTaskExecutor, EveryPlainGroupIsCopiedWhole) {
    EventWorld world{{.level = 1}};
    auto* participant = world.addParticipant("p");
    auto* topic = world.addTopic("a", participant);
    auto* publisher = world.add(ORX_MONITORING_PUBLISHER_CLASS_ID, "pub", participant);
    ORX_MonitoringResource* resources[] = {world.root, participant, topic, publisher,
        world.add(ORX_MONITORING_DATA_WRITER_CLASS_ID, "w", publisher),
        world.add(ORX_MONITORING_DATA_READER_CLASS_ID, "r", participant),
        world.add(ORX_MONITORING_SUBSCRIBER_CLASS_ID, "sub", participant)};
    unsigned char value[1024];
    for (std::size_t i = 0; i < sizeof value; ++i)
        value[i] = static_cast<unsigned char>(i * 7 + 1);
    int plain = 0;
    for (auto* resource : resources) {
        ASSERT_NE(resource, nullptr);
        const auto forms = orx::dataModel::eventValueForms(resource->base.class_id);
        ASSERT_EQ(
            forms.size(), ORX_Monitoring_getResourceInfo(resource->base.class_id)->eventMetricGroupCount);
        for (ORX_UINT32 group = 0; group < forms.size(); ++group) {
            const auto size = forms[group].plainSize;
            if (size == 0)
                continue;
            ASSERT_LE(size, sizeof value);
            ASSERT_TRUE(world.push(resource, group, value));
            auto& queue = world.executor->taskExecutor->queues[0];
            const auto* task =
                reinterpret_cast<const ORX_MonitoringTaskExecutorTask*>(REDAInlineList_getLast(&queue.tasks));
            const auto* event = static_cast<const ORX_MonitoringEventTask*>(task->payload);
            EXPECT_EQ(event->kind, ORX_MONITORING_EVENT_TASK_KIND_METRIC);
            EXPECT_EQ(event->metricGroupIndex, group);
            EXPECT_EQ(event->resourceClassIdForMetricGroupInfo, resource->base.class_id);
            EXPECT_EQ(std::memcmp(event->resourceGuid, resource->base.guid, 16), 0);
            EXPECT_EQ(std::memcmp(event->distributionMetricGroupMemory, value, size), 0);
            EXPECT_EQ(reinterpret_cast<uintptr_t>(event->distributionMetricGroupMemory) % 16, 0U);
            ++plain;
        }
    }
    EXPECT_GT(plain, 15);
}

// Two gaps of 96 bytes are left: too small for node, event and value at once, and enough for them one by one.
TEST(EventTaskExecutor, APushTakesSmallBuffersWhenALargeOneIsNotToBeHad) {
    constexpr DDS_Long arenaSize = 1024;
    constexpr std::size_t gap = 96 / 32; // buffers of 16 bytes with their headers
    EventWorld world{{.level = 1, .arenaSize = arenaSize}};
    EventReader reader{EventWorld::domain};
    auto* topic = world.addTopic("a", world.addParticipant("p"));
    const DDS_Monitoring_InconsistentTopicStatus status{1, 0};
    LogCapture log;
    FailingHeap heap;
    heap.failAt(1, UINT64_MAX);
    REDAInlineMemory** arena = ORX_MonitoringTaskExecutor_getMemoryManager(world.executor->taskExecutor, 0);
    std::vector<void*> fill;
    while (void* buffer = REDAInlineMemory_reserveBufferI(arena, 16, 1))
        fill.push_back(buffer);
    ASSERT_EQ(fill.size(), arenaSize / 32U);
    EXPECT_FALSE(world.push(topic, inconsistentTopicGroup, &status));
    EXPECT_TRUE(
        log.has("'struct ORX_MonitoringEventTask' with size 40, in the memory manager with index 0.\n",
            "FAILED_TO_ALLOCATE"))
        << log.text();
    for (void* buffer : fill)
        ASSERT_TRUE(REDAInlineMemBuffer_release(buffer));
    fill.clear();
    while (fill.size() < arenaSize / 32U - gap)
        fill.push_back(REDAInlineMemory_reserveBufferI(arena, 16, 1));
    for (std::size_t i = 0; i < gap; ++i)
        ASSERT_TRUE(REDAInlineMemBuffer_release(fill[i]));
    const auto before = world.liveBuffers(0);
    EXPECT_TRUE(world.push(topic, inconsistentTopicGroup, &status)) << log.text();
    EXPECT_EQ(world.liveBuffers(0), before + 3);
    heap.failNoMore();
    EXPECT_EQ(world.run(reader).size(), 1U);
    EXPECT_EQ(world.liveBuffers(0), before);
}

TEST(EventTaskExecutor, APushCallsNoHeapOfTheLayerEither) {
    EventWorld world{{.level = 1}};
    EventReader reader{EventWorld::domain};
    auto* topic = world.addTopic("a", world.addParticipant("p"));
    DDS_Monitoring_InconsistentTopicStatus status{0, 0};
    for (int i = 0; i < 20; ++i)
        ASSERT_TRUE(world.push(topic, inconsistentTopicGroup, &status));
    (void)world.run(reader);
    const auto allocations = ORXOsapiHeap_getAllocationCount();
    for (int i = 0; i < 20; ++i)
        ASSERT_TRUE(world.push(topic, inconsistentTopicGroup, &status));
    EXPECT_EQ(ORXOsapiHeap_getAllocationCount(), allocations);
}

TEST(EventTaskExecutor, PostsWithoutMemoryFailAndLaterOnesWork) {
    EventWorld world{{.level = 1, .arenaSize = 64}};
    EventReader reader{EventWorld::domain};
    auto* participant = world.addParticipant("p");
    auto* topic = world.addTopic("a", participant);
    world.groups[0] = topic->base.user_resource_guid;
    world.groups[1] = "text";
    world.groups[2] = "text";
    DDS_Monitoring_InconsistentTopicStatus status{3, 0};
    LogCapture log;
    std::set<std::string> reasons;
    // One after the other runs into a heap that fails from its n-th allocation on.
    uint64_t n = 0;
    for (bool hasFailed = true; hasFailed && n < 500;) {
        ++n;
        FailingHeap heap;
        heap.failAt(n, UINT64_MAX);
        int failures = 0;
        for (int i = 0; i < 8; ++i) {
            failures += !world.push(topic, inconsistentTopicGroup, &status);
            failures +=
                !ORX_MonitoringEventTaskExecutor_postResourceCreationTask(world.executor, topic, world.root);
            failures +=
                !ORX_MonitoringEventTaskExecutor_postEventMetricSnapshotTask(world.executor, topic, nullptr);
            failures +=
                !ORX_MonitoringEventTaskExecutor_postResourceSnapshotTask(world.executor, world.registry, 0);
        }
        if (n == 1) {
            EXPECT_GT(failures, 0);
        }
        hasFailed = heap.hasFailed();
        heap.failNoMore();
        (void)world.run(reader);
        EXPECT_EQ(world.fetched, world.returned);
    }
    EXPECT_LT(n, 500U) << "the arena has what they need at last";
    for (const auto& line : log.lines())
        reasons.insert(line.identifier + " " + line.subject.substr(0, line.subject.find(" with size ")));
    for (const char* reason : {"FAILED_TO_ALLOCATE 'struct ORX_MonitoringEventTask'",
             "FAILED_TO_ALLOCATE 'ORX_MonitoringEventTaskExecutorSnapshotMetric array'",
             "FAILED_TO_CONVERT_TYPE Map Distribution data for metric group index 0\n",
             "FAILED_TO_CONVERT_TYPE Map Distribution data for metric group index 1\n"})
        EXPECT_TRUE(reasons.contains(reason)) << reason << "\n" << log.text();
    ASSERT_TRUE(world.push(topic, inconsistentTopicGroup, &status));
    const auto samples = world.run(reader);
    ASSERT_EQ(samples.size(), 1U);
    EXPECT_EQ(samples[0]->value._u.topic.status_inconsistent_topic->total_count, 3);
}

TEST(EventTaskExecutor, AFailedAllocationInNewLeavesNothing) {
    EventWorld world{{.level = 2}};
    LogCapture log;
    FailingHeap heap;
    const auto buffers = ORXOsapiHeap_getLiveBufferCount();
    const auto threads = ORXOsapiThread_getLiveThreadCount();
    ORX_MonitoringEventTaskExecutor* executor = nullptr;
    std::set<std::string> reasons;
    uint64_t n = 0;
    // Until nothing is left to fail: some failures are got over.
    for (bool hasFailed = true; hasFailed && n < 200;) {
        heap.failAt(++n);
        log.clear();
        executor =
            ORX_MonitoringEventTaskExecutor_new(&world.property.event, "second", world.entities->eventWriter,
                &ORX_MonitoringGlobals_get_instance()->eventConcurrency, world.root->base.guid);
        hasFailed = heap.hasFailed();
        heap.failNoMore();
        for (const auto& line : log.lines())
            reasons.insert(line.identifier + " " + line.subject);
        if (executor == nullptr) {
            EXPECT_GE(log.countLevel(ORX_LOG_BIT_ERROR), 1U) << "allocation " << n;
            EXPECT_EQ(ORXOsapiHeap_getLiveBufferCount(), buffers) << "allocation " << n << "\n" << log.text();
            EXPECT_EQ(ORXOsapiThread_getLiveThreadCount(), threads);
        } else if (hasFailed) {
            EXPECT_TRUE(ORX_MonitoringEventTaskExecutor_delete(executor));
            EXPECT_EQ(ORXOsapiHeap_getLiveBufferCount(), buffers) << "got over allocation " << n;
        }
    }
    EXPECT_LT(n, 200U);
    ASSERT_NE(executor, nullptr);
    EXPECT_GT(n, 8U);
    EXPECT_TRUE(reasons.contains("FAILED_TO_CREATE event sample\n"));
    EXPECT_TRUE(reasons.contains("FAILED_TO_CREATE event task executor with thread name second\n"));
    EXPECT_TRUE(ORX_MonitoringEventTaskExecutor_delete(executor));
    EXPECT_EQ(ORXOsapiHeap_getLiveBufferCount(), buffers);
}

} // namespace
