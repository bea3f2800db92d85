// A participant that leaves the registry, and what the reader of events is told.
#include "tests/helpers/FailingHeap.hpp"
#include "tests/unit/monitoringForwarder/ForwarderWorld.hpp"

namespace {

class ApplicationRegistryRemoval : public testing::Test {
protected:
    ApplicationRegistryRemoval() {
        ORX_MonitoringForwarderProperty_t property = ORX_MONITORING_FORWARDER_PROPERTY_DEFAULT;
        property.domain_id = engine.domain;
        entities = ORX_MonitoringForwarderEntities_new(factory(), nullptr, &property);
        EXPECT_TRUE(ORX_MonitoringForwarderEntities_enable(entities));
        for (uint8_t i = 1; i <= 2; ++i) {
            world.addParticipant(i);
            assertWriter(i);
        }
        world.addApplication(1, "one", 1);
        world.addApplication(2, "two", 1);
        world.addApplication(3, "three", 1);
        world.addApplication(4, "other", 2);
    }
    ~ApplicationRegistryRemoval() override {
        EXPECT_TRUE(ORX_MonitoringForwarderEntities_delete(entities, factory()));
    }
    // Of the participant of that number, through which it was discovered.
    void assertWriter(uint8_t number) {
        const DDS_InstanceHandle_t handle = handleOf(number);
        DDS_GUID_t guid;
        DDS_GUID_from_instance_handle(&guid, &handle);
        EXPECT_EQ(DDS_DataReader_assert_remote_writer_queue(entities->event_reader, &guid, nullptr),
            DDS_RETCODE_OK);
    }
    bool remove(uint8_t number) {
        const DDS_GUID_t guid = guidOf(number);
        return ORX_MonitoringForwarderApplicationRegistry_removeParticipant(world.registry, entities, &guid);
    }

    TestEngine engine{EngineKind::loopback};
    LogCapture log;
    RegistryWorld world;
    ORX_MonitoringForwarderEntities* entities = nullptr;
};

TEST_F(ApplicationRegistryRemoval, TellsADeletionOfEachApplicationAndTakesTheParticipant) {
    world.registry->sample->info.root_resource_guid[3] = 9;
    Taken<EventTopic> taken(entities->event_reader);
    EXPECT_TRUE(remove(1));
    ASSERT_EQ(taken.size(), 3U);
    const DDS_InstanceHandle_t writer = handleOf(1);
    for (uint8_t i = 0; i < 3; ++i) {
        EXPECT_TRUE(isDeletionOf(taken[i], static_cast<uint8_t>(3 - i)));
        EXPECT_EQ(taken[i].resource_guid[15], 3 - i);
        EXPECT_EQ(taken[i].info.epoch_resource, 0U);
        EXPECT_EQ(taken[i].info.epoch_metric, 0U);
        EXPECT_FALSE(taken[i].info.is_snapshot);
        EXPECT_EQ(taken[i].info.root_resource_guid[3], 9); // as it was
        EXPECT_EQ(taken[i].value._u.application.resource_registry, nullptr);
        EXPECT_TRUE(DDS_InstanceHandle_equals(&taken.info(i).publication_handle, &writer));
    }
    EXPECT_EQ(world.participant(1), nullptr);
    EXPECT_NE(world.participant(2), nullptr);
    EXPECT_EQ(world.applicationCount(), 1);
    EXPECT_EQ(world.pendingCount(), 1); // the other's request
    EXPECT_TRUE(log.lines().empty()) << log.text();
}

TEST_F(ApplicationRegistryRemoval, OfAnUnknownParticipantIsFine) {
    EXPECT_TRUE(remove(77));
    EXPECT_EQ(world.applicationCount(), 4);
    EXPECT_TRUE(log.lines().empty()) << log.text();
}

TEST_F(ApplicationRegistryRemoval, LetsTheParticipantComeAgain) {
    EXPECT_TRUE(remove(1));
    EXPECT_FALSE(
        DDS_InstanceHandle_is_nil(&static_cast<const DDS_InstanceHandle_t&>(world.addParticipant(1))));
    EXPECT_NE(world.addApplication(2, "two", 1), nullptr);
    EXPECT_TRUE(remove(1));
    EXPECT_TRUE(remove(2));
    EXPECT_EQ(world.applicationCount(), 0);
    EXPECT_EQ(world.pendingCount(), 0);
}

// Nobody is told, and yet nothing stays that would never go.
TEST_F(ApplicationRegistryRemoval, TakesAllApplicationsWhenTheReaderCannotBeTold) {
    const DDS_InstanceHandle_t handle = handleOf(1);
    DDS_GUID_t guid;
    DDS_GUID_from_instance_handle(&guid, &handle);
    ASSERT_EQ(DDS_DataReader_delete_remote_writer_queue(entities->event_reader, &guid), DDS_RETCODE_OK);
    EXPECT_FALSE(remove(1));
    EXPECT_EQ(log.count("Application resource deletion event sample to cache DataReader for "
                        "DCPSEventStatusMonitoring",
                  "FAILED_TO_ADD"),
        1U)
        << log.text();
    EXPECT_EQ(world.participant(1), nullptr);
    EXPECT_EQ(world.applicationCount(), 1);
    EXPECT_EQ(world.pendingCount(), 1);
}

TEST_F(ApplicationRegistryRemoval, LeavesNothingBehindWhenMemoryRunsOut) {
    bool failed = true;
    for (uint64_t n = 1; failed; ++n) {
        ASSERT_LT(n, 500U);
        FailingHeap heap;
        heap.failAt(n);
        (void)remove(1);
        failed = heap.hasFailed();
        heap.failNoMore();
        EXPECT_EQ(world.participant(1), nullptr) << n;
        EXPECT_EQ(world.applicationCount(), 1) << n;
        Taken<EventTopic> taken(entities->event_reader);
        EXPECT_LE(taken.size(), 3U);
        EXPECT_TRUE(failed || taken.size() == 3U);
        world.addParticipant(1);
        for (uint8_t i = 1; i <= 3; ++i)
            EXPECT_NE(world.addApplication(i, "again", 1), nullptr);
        EXPECT_EQ(world.pendingCount(), 2);
    }
}

TEST_F(ApplicationRegistryRemoval, ChecksItsArguments) {
    const DDS_GUID_t guid = guidOf(1);
    EXPECT_FALSE(ORX_MonitoringForwarderApplicationRegistry_removeParticipant(nullptr, entities, &guid));
    EXPECT_TRUE(log.has("\"self == ((void *)0)\"\n", "PRECONDITION"));
    EXPECT_FALSE(
        ORX_MonitoringForwarderApplicationRegistry_removeParticipant(world.registry, nullptr, &guid));
    EXPECT_TRUE(log.has("\"entities == ((void *)0)\"\n", "PRECONDITION"));
    ORX_MonitoringForwarderEntities empty{};
    EXPECT_FALSE(ORX_MonitoringForwarderApplicationRegistry_removeParticipant(world.registry, &empty, &guid));
    EXPECT_TRUE(log.has("\"entities->event_reader == ((void *)0)\"\n", "PRECONDITION"));
    EXPECT_FALSE(
        ORX_MonitoringForwarderApplicationRegistry_removeParticipant(world.registry, entities, nullptr));
    EXPECT_EQ(world.applicationCount(), 4);
}

} // namespace
