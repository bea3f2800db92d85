#include "src/monitoringClass/ResourceOperations.h"

#include "src/eventMetrics/EventTaskExecutor.h"
#include "src/monitoringClass/EntityLock.h"
#include "tests/helpers/HeapCount.hpp"
#include "tests/helpers/LogCapture.hpp"
#include "tests/unit/monitoringClass/Library.hpp"
#include "zddscore/inline_memory_bound.h"
#include "gtest/gtest.h"

namespace {

constexpr DDS_UnsignedLong topicNameGroup = 1;
constexpr DDS_UnsignedLong inconsistentTopicGroup = 3;

class ResourceOperationsTest : public testing::Test {
protected:
    ResourceOperationsTest() {
        EXPECT_TRUE(library.start());
        participant = library.participant("p");
        topic = library.topic("t", participant);
    }
    LogCapture log;
    Library library;
    ORX_MonitoringResource* participant = nullptr;
    ORX_MonitoringResource* topic = nullptr;
    DDS_Monitoring_InconsistentTopicStatus status{4, 1};
};

TEST_F(ResourceOperationsTest, AssertGivesTheResourceAndItsIndex) {
    DDS_UnsignedLong index = 99;
    auto* writer = library.assertResource(ORX_MONITORING_PUBLISHER_CLASS_ID, "pub", participant,
        library.newEntity(DDS_PUBLISHER_ENTITY_KIND), &index);
    ASSERT_NE(writer, nullptr) << log.text();
    EXPECT_EQ(index, writer->concurrencyIndex);
    EXPECT_LT(index, 3U);
    EXPECT_EQ(log.countLevel(ORX_LOG_BIT_ERROR), 0U) << log.text();
}

TEST_F(ResourceOperationsTest, AssertNeedsAGuidOrAName) {
    const ORX_MonitoringResourceForwarder forwarder{
        [](void**, const void*, DDS_UnsignedLong) { return DDS_BOOLEAN_FALSE; }, nullptr};
    DDS_UnsignedLong index = 0;
    auto* table = library.table;
    constexpr char text[] =
        "\"userResourceGuid == ((void *)0) && (resourceName == ((void *)0) || *resourceName == '\\\\0')\"\n";
    EXPECT_EQ(table->assertResourceFunction(
                  table, &index, nullptr, ORX_MONITORING_TYPE_CLASS_ID, "", nullptr, participant, &forwarder),
        nullptr);
    EXPECT_EQ(log.count(text, "PRECONDITION"), 1U) << log.text();
    EXPECT_EQ(table->assertResourceFunction(table, &index, nullptr, ORX_MONITORING_TYPE_CLASS_ID, nullptr,
                  nullptr, participant, &forwarder),
        nullptr);
    EXPECT_EQ(log.count(text, "PRECONDITION"), 2U);
    log.clear();
    Library::lockLibrary();
    auto* named = table->assertResourceFunction(table, &index, nullptr, ORX_MONITORING_PUBLISHER_CLASS_ID,
        "named", library.newEntity(DDS_PUBLISHER_ENTITY_KIND), participant, &forwarder);
    Library::unlockLibrary();
    EXPECT_NE(named, nullptr) << log.text();
}

TEST_F(ResourceOperationsTest, AssertReportsWhatCouldNotBeAsserted) {
    const ORX_MonitoringResourceForwarder forwarder{
        [](void**, const void*, DDS_UnsignedLong) { return DDS_BOOLEAN_FALSE; }, nullptr};
    DDS_UnsignedLong index = 77;
    auto* table = library.table;
    Library::lockLibrary();
    EXPECT_EQ(
        table->assertResourceFunction(table, &index, nullptr, 12345, "odd", nullptr, participant, &forwarder),
        nullptr);
    const DDS_GUID_t guid = library.nextGuid();
    EXPECT_EQ(
        table->assertResourceFunction(table, &index, &guid, 12345, nullptr, nullptr, participant, &forwarder),
        nullptr);
    Library::unlockLibrary();
    EXPECT_TRUE(log.has("Monitoring resource with name odd\n", "FAILED_TO_ASSERT")) << log.text();
    EXPECT_TRUE(log.has("Monitoring resource \n", "FAILED_TO_ASSERT"));
    EXPECT_EQ(index, 77U);
    EXPECT_EQ(table->assertResourceFunction(table, nullptr, &guid, 1, "x", nullptr, participant, &forwarder),
        nullptr);
    EXPECT_TRUE(log.has("\"concurrencyIndex == ((void *)0)\"\n", "PRECONDITION"));
    EXPECT_EQ(
        table->assertResourceFunction(table, &index, &guid, 1, "x", nullptr, participant, nullptr), nullptr);
    EXPECT_TRUE(log.has("\"forwarder == ((void *)0)\"\n", "PRECONDITION"));
}

TEST_F(ResourceOperationsTest, AssertedResourcesAndPushesArriveAsEvents) {
    EventReader reader{Library::domain};
    EventSamples samples;
    ASSERT_TRUE(reader.takeUntil(samples, 4)); // the snapshots of what was there
    samples.clear();
    auto* late = library.topic("late", participant);
    ASSERT_TRUE(library.push(late, topicNameGroup, "square"));
    library.deleteResource(late);
    bool created = false;
    bool labelled = false;
    bool updated = false;
    bool removed = false;
    ASSERT_TRUE(reader.takeUntilThat(samples, [&] {
        for (const auto& sample : samples) {
            const bool isTopic = sample->value._d == ORX_MONITORING_TOPIC_CLASS_ID;
            labelled |= isTopic && sample->info.is_snapshot && sample->value._u.topic.dds_guid != nullptr;
            updated |= isTopic && !sample->info.is_snapshot && sample->value._u.topic.topic_name != nullptr &&
                       std::string{sample->value._u.topic.topic_name} == "square";
            const auto* update = isTopic ? nullptr : sample->value._u.application.resource_update;
            if (update == nullptr)
                continue;
            created |= update->_d == DDS_Monitoring_ResourceUpdateKind_RESOURCE_UPDATE_CREATION_KIND &&
                       std::string{update->_u.new_resource.name} == "late";
            removed |= update->_d == DDS_Monitoring_ResourceUpdateKind_RESOURCE_UPDATE_DELETION_KIND;
        }
        return removed;
    })) << log.text();
    EXPECT_TRUE(created);
    EXPECT_TRUE(labelled);
    EXPECT_TRUE(updated);
}

TEST_F(ResourceOperationsTest, APushForAGroupThatIsNotPublishedIsDroppedInSilence) {
    log.clear();
    EXPECT_TRUE(library.push(topic, inconsistentTopicGroup, &status)); // no selection enables it
    EXPECT_EQ(topic->stats.skippedEventUpdates, 0U);
    EXPECT_TRUE(log.lines().empty()) << log.text();
}

TEST_F(ResourceOperationsTest, APushToAPausedResourceIsCountedWhateverTheGroup) {
    ASSERT_TRUE(library.table->pauseResourceMetricsFunction(library.table, topic));
    EXPECT_TRUE(library.push(topic, topicNameGroup, "square"));
    EXPECT_EQ(topic->stats.skippedEventUpdates, 1U);
    EXPECT_TRUE(library.push(topic, inconsistentTopicGroup, &status));
    EXPECT_EQ(topic->stats.skippedEventUpdates, 2U);
    ASSERT_TRUE(library.table->resumeResourceMetricsFunction(library.table, topic)) << log.text();
    EXPECT_TRUE(library.push(topic, topicNameGroup, "square"));
    EXPECT_EQ(topic->stats.skippedEventUpdates, 2U);
    EXPECT_EQ(log.countLevel(ORX_LOG_BIT_ERROR), 0U) << log.text();
}

TEST_F(ResourceOperationsTest, PausingChildrenGoesDeepAndLeavesTheParent) {
    auto* second = library.participant("q");
    auto* below = library.topic("u", second);
    ASSERT_TRUE(
        library.table->pauseResourceChildrenMetricsFunction(library.table, library.table->rootResource));
    EXPECT_FALSE(ORX_MonitoringResource_isPaused(library.table->rootResource));
    for (auto* resource : {participant, topic, second, below}) {
        EXPECT_TRUE(ORX_MonitoringResource_isPaused(resource));
    }
    EXPECT_TRUE(library.table->resumeResourceMetricsFunction(library.table, second));
    EXPECT_TRUE(ORX_MonitoringResource_isPaused(below));
}

TEST_F(ResourceOperationsTest, AFailedPauseOfAChildStopsAndNamesIt) {
    const auto index = topic->concurrencyIndex;
    topic->concurrencyIndex = 4000; // has no mutex
    EXPECT_FALSE(
        library.table->pauseResourceChildrenMetricsFunction(library.table, library.table->rootResource));
    topic->concurrencyIndex = index;
    EXPECT_TRUE(log.has("Pausing resource with name t", "FAILED_TO_PROCESS")) << log.text();
    EXPECT_TRUE(log.has("Pausing children of resource with name p", "FAILED_TO_PROCESS"));
    EXPECT_TRUE(ORX_MonitoringResource_isPaused(participant)); // went first
}

TEST_F(ResourceOperationsTest, DeletingChildrenLeavesTheResource) {
    Library::lockLibrary();
    library.table->deleteResourceChildrenFunction(library.table, participant);
    Library::unlockLibrary();
    EXPECT_EQ(ORX_MonitoringResource_getFirstChild(participant), nullptr);
    EXPECT_EQ(ORX_MonitoringResource_getFirstChild(library.table->rootResource), participant);
}

TEST_F(ResourceOperationsTest, EveryArgumentIsChecked) {
    log.clear();
    auto* table = library.table;
    EXPECT_FALSE(table->pushEventMetricFunction(nullptr, &status, topic, 0));
    EXPECT_FALSE(table->pushEventMetricFunction(table, nullptr, topic, 0));
    EXPECT_FALSE(table->pushEventMetricFunction(table, &status, nullptr, 0));
    EXPECT_FALSE(table->pauseResourceMetricsFunction(table, nullptr));
    EXPECT_FALSE(table->pauseResourceChildrenMetricsFunction(nullptr, topic));
    EXPECT_FALSE(table->resumeResourceMetricsFunction(table, nullptr));
    EXPECT_EQ(table->getPropertyFunction(nullptr), nullptr);
    table->deleteResourceFunction(table, nullptr);
    table->deleteResourceChildrenFunction(nullptr, topic);
    EXPECT_FALSE(table->onLoggingCollectionChange(nullptr));
    EXPECT_FALSE(ORX_Monitoring_lockMonitoringParticipant(nullptr));
    EXPECT_FALSE(ORX_Monitoring_unlockMonitoringParticipant(nullptr));
    EXPECT_FALSE(ORX_Monitoring_lockDdsEntityFromResource(nullptr));
    EXPECT_FALSE(ORX_Monitoring_unlockDdsEntityFromResource(nullptr));
    EXPECT_EQ(log.countLevel(ORX_LOG_BIT_PRECONDITION), 14U) << log.text();
    EXPECT_EQ(log.lines().size(), 14U);
}

TEST_F(ResourceOperationsTest, TheEntityOfAResourceIsLocked) {
    std::string order;
    ASSERT_TRUE(ORX_Monitoring_lockDdsEntityFromResource(topic));
    Gate started;
    std::thread other{[&] {
        (void)started.pass();
        (void)DDS_Entity_lock(static_cast<const DDS_Entity*>(topic->userResource));
        order += "other";
        (void)DDS_Entity_unlock(static_cast<const DDS_Entity*>(topic->userResource));
    }};
    ASSERT_TRUE(started.isReached());
    started.open();
    order += "mine ";
    ASSERT_TRUE(ORX_Monitoring_unlockDdsEntityFromResource(topic));
    other.join();
    EXPECT_EQ(order, "mine other");
}

TEST_F(ResourceOperationsTest, ClassesWithoutAnEntityHaveNoLock) {
    EXPECT_TRUE(ORX_Monitoring_lockDdsEntityFromResource(library.table->rootResource));
    EXPECT_TRUE(ORX_Monitoring_unlockDdsEntityFromResource(library.table->rootResource));
    log.clear();
    const void* entity = topic->userResource;
    topic->userResource = nullptr;
    EXPECT_FALSE(ORX_Monitoring_lockDdsEntityFromResource(topic));
    EXPECT_TRUE(log.has("DDS Entity from Monitoring resource", "FAILED_TO_GET")) << log.text();
    EXPECT_FALSE(ORX_Monitoring_unlockDdsEntityFromResource(topic));
    topic->userResource = entity;
}

TEST_F(ResourceOperationsTest, SixClassesHaveAnEntityAndTwoHaveNone) {
    const auto classId = topic->base.class_id;
    const void* entity = topic->userResource;
    topic->userResource = nullptr;
    const auto locks = [&](DDS_UnsignedLong id) {
        topic->base.class_id = id;
        return ORX_Monitoring_lockDdsEntityFromResource(topic) &&
               ORX_Monitoring_unlockDdsEntityFromResource(topic);
    };
    for (const auto id : {ORX_MONITORING_PARTICIPANT_CLASS_ID, ORX_MONITORING_TOPIC_CLASS_ID,
             ORX_MONITORING_PUBLISHER_CLASS_ID, ORX_MONITORING_SUBSCRIBER_CLASS_ID,
             ORX_MONITORING_DATA_WRITER_CLASS_ID, ORX_MONITORING_DATA_READER_CLASS_ID})
        EXPECT_FALSE(locks(id)) << id;
    for (const auto id : {ORX_MONITORING_APPLICATION_CLASS_ID, ORX_MONITORING_TYPE_CLASS_ID})
        EXPECT_TRUE(locks(id)) << id;
    topic->base.class_id = classId;
    topic->userResource = entity;
    log.clear();
    EXPECT_FALSE(ORX_Monitoring_unlockDdsEntityFromResource(topic)); // not held
    EXPECT_TRUE(log.has("DDS Entity", "FAILED_TO_UNLOCK")) << log.text();
}

TEST_F(ResourceOperationsTest, TheLibrarysParticipantIsLocked) {
    ASSERT_TRUE(ORX_Monitoring_lockMonitoringParticipant(library.table));
    ASSERT_TRUE(ORX_Monitoring_unlockMonitoringParticipant(library.table));
    EXPECT_FALSE(ORX_Monitoring_unlockMonitoringParticipant(library.table)); // not held
    EXPECT_TRUE(log.has("Monitoring Participant", "FAILED_TO_UNLOCK")) << log.text();
}

TEST_F(ResourceOperationsTest, APushCallsNoHeapOnceWarm) {
    EventReader reader{Library::domain};
    EventSamples samples;
    ASSERT_TRUE(reader.takeUntil(samples, 4));
    const auto round = [&](int count) {
        uint64_t calls = 0;
        for (int i = 0; i < count; ++i) {
            samples.clear();
            Library::lockMetric(topic->concurrencyIndex);
            const auto before = heapCallsOfThisThread();
            const bool result = library.table->pushEventMetricFunction(
                                    library.table, const_cast<char*>("square"), topic, topicNameGroup) != 0;
            calls += heapCallsOfThisThread() - before;
            Library::unlockMetric(topic->concurrencyIndex);
            EXPECT_TRUE(result);
            EXPECT_TRUE(reader.takeUntil(samples, 1));
        }
        return calls;
    };
    (void)round(200);
    EXPECT_EQ(round(1000), 0U);
}

// The worker cannot free what it has published while this thread keeps the metric mutex, so the flood meets
// the bound for certain.
TEST(QueueBound, AFloodStaysUnderTheBoundOfTheProcessAndEndsInDropsThatAreCounted) {
    constexpr REDAInlineMemorySize bound = 64 * 1024;
    constexpr int pushes = 20'000;
    LogCapture log;
    Library library;
    library.select("//*", "*");
    ASSERT_TRUE(REDAInlineMemory_setOpenMaximalI(bound));
    ASSERT_TRUE(library.start());
    ASSERT_TRUE(REDAInlineMemory_setOpenMaximalI(REDA_INLINE_MEMORY_MAXIMAL_OPEN));
    auto* topic = library.topic("t", library.participant("p"));
    ASSERT_NE(topic, nullptr) << log.text();
    EventReader reader{Library::domain};
    DDS_Monitoring_InconsistentTopicStatus status{};
    const auto queueBytes = [&] {
        REDAInlineMemoryInfo info{};
        const auto* executor = library.impl().eventTaskExecutor->taskExecutor;
        REDAInlineMemory_getInfo(executor->queues[topic->concurrencyIndex].memoryManager, &info);
        return info.blockBytes;
    };
    const auto refusals = REDAInlineMemory_getRefusalCountI();
    log.clear();

    int dropped = 0;
    Library::lockMetric(topic->concurrencyIndex);
    for (int i = 0; i < pushes; ++i) {
        dropped += library.table->pushEventMetricFunction(
                       library.table, &status, topic, inconsistentTopicGroup) == DDS_BOOLEAN_FALSE;
    }
    const size_t bytes = queueBytes();
    Library::unlockMetric(topic->concurrencyIndex);
    EXPECT_GT(dropped, pushes / 2);
    EXPECT_LT(dropped, pushes);
    EXPECT_LE(bytes, size_t{bound});
    EXPECT_GE(REDAInlineMemory_getRefusalCountI() - refusals, static_cast<ORX_UINT64>(dropped));
    EXPECT_GT(log.countLevel(ORX_LOG_BIT_ERROR), 0U);
    EXPECT_LT(log.lines().size(), static_cast<size_t>(dropped)) << "a flood of drops is no flood of lines";

    status.total_count = 77;
    EventSamples samples;
    bool isPushed = false;
    EXPECT_TRUE(reader.takeUntilThat(samples, [&] {
        isPushed = isPushed || library.push(topic, inconsistentTopicGroup, &status);
        for (const auto& sample : samples)
            if (sample->value._d == ORX_MONITORING_TOPIC_CLASS_ID &&
                sample->value._u.topic.status_inconsistent_topic != nullptr &&
                sample->value._u.topic.status_inconsistent_topic->total_count == 77)
                return true;
        return false;
    }));
}

} // namespace
