// What arrives at a cache reader, and as whose.
#include "orxmonitoring2d/dds_entities_distribution_support.h"
#include "src/entities/ForwarderEntities.h"
#include "src/entities/LibraryEntities.h"
#include "tests/helpers/FailingHeap.hpp"
#include "tests/helpers/LogCapture.hpp"
#include "tests/unit/monitoringForwarder/ForwarderWorld.hpp"

namespace {

class ForwarderCacheTest : public testing::TestWithParam<EngineKind> {
protected:
    ForwarderCacheTest() {
        ORX_MonitoringForwarderProperty_t property = ORX_MONITORING_FORWARDER_PROPERTY_DEFAULT;
        property.domain_id = engine.domain;
        entities = ORX_MonitoringForwarderEntities_new(factory(), nullptr, &property);
        EXPECT_TRUE(ORX_MonitoringForwarderEntities_enable(entities));
        reader = reinterpret_cast<ORX_MonitoringForwarderEntitiesImpl*>(entities)->builtinEventReader;
        info.valid_data = DDS_BOOLEAN_TRUE;
        info.source_timestamp = {1000, 7};
        info.publication_sequence_number = {1, 5};
        DDS_InstanceHandle_from_guid(&info.publication_handle, &someWriter);
    }
    ~ForwarderCacheTest() override {
        DDS_Monitoring_EventPluginSupport_destroy_data(sample);
        EXPECT_TRUE(ORX_MonitoringForwarderEntities_delete(entities, factory()));
        EXPECT_EQ(engine.loopback.liveObjects(), 0);
    }

    bool add() {
        return ORX_MonitoringForwarderEntities_addSampleToCacheReader(entities, reader, sample, &info);
    }
    // Of samples that have no data: the state in which the writer's end, or the value's, leaves the instance.
    bool addState(DDS_InstanceStateMask state) {
        info.valid_data = DDS_BOOLEAN_FALSE;
        info.instance_state = state;
        return add();
    }
    void assertSomeWriter() {
        ASSERT_EQ(DDS_DataReader_assert_remote_writer_queue(entities->event_reader, &someWriter, nullptr),
            DDS_RETCODE_OK);
    }
    std::vector<DDS_SampleInfo> take() {
        std::vector<DDS_SampleInfo> taken;
        auto* narrowed = DDS_Monitoring_EventDataReader_narrow(entities->event_reader);
        DDS_Monitoring_EventSeq samples{};
        DDS_SampleInfoSeq infos{};
        if (DDS_Monitoring_EventDataReader_take(narrowed, &samples, &infos, DDS_LENGTH_UNLIMITED,
                DDS_ANY_SAMPLE_STATE, DDS_ANY_VIEW_STATE, DDS_ANY_INSTANCE_STATE) != DDS_RETCODE_OK)
            return taken;
        for (DDS_Long i = 0; i < DDS_SampleInfoSeq_get_length(&infos); ++i)
            taken.push_back(*DDS_SampleInfoSeq_get_reference(&infos, i));
        DDS_Monitoring_EventDataReader_return_loan(narrowed, &samples, &infos);
        return taken;
    }
    DDS_Long matchedWriters() { return Forwarder::queues(entities->event_reader); }

    TestEngine engine{GetParam()};
    LogCapture log;
    ORX_MonitoringForwarderEntities* entities = nullptr;
    DDS_DataReader* reader = nullptr;
    const DDS_GUID_t someWriter{{1, 2, 3}};
    DDS_SampleInfo info = DDS_SAMPLEINFO_DEFAULT;
    DDS_Monitoring_Event* sample = DDS_Monitoring_EventPluginSupport_create_data();
};

TEST_P(ForwarderCacheTest, ASampleKeepsItsWriterNumberAndTime) {
    assertSomeWriter();
    EXPECT_TRUE(add());
    const auto taken = take();
    ASSERT_EQ(taken.size(), 1U);
    EXPECT_TRUE(taken[0].valid_data);
    EXPECT_TRUE(DDS_InstanceHandle_equals(&taken[0].publication_handle, &info.publication_handle));
    EXPECT_EQ(taken[0].publication_sequence_number.high, 1);
    EXPECT_EQ(taken[0].publication_sequence_number.low, 5U);
    EXPECT_EQ(taken[0].source_timestamp.sec, 1000);
    EXPECT_EQ(taken[0].source_timestamp.nanosec, 7U);
    EXPECT_TRUE(log.lines().empty()) << log.text();
}

TEST_P(ForwarderCacheTest, TheEndOfAWriterAndOfAValueArriveWithoutData) {
    assertSomeWriter();
    EXPECT_TRUE(addState(DDS_NOT_ALIVE_NO_WRITERS_INSTANCE_STATE));
    EXPECT_TRUE(addState(DDS_NOT_ALIVE_DISPOSED_INSTANCE_STATE));
    const auto taken = take();
    ASSERT_EQ(taken.size(), 2U);
    EXPECT_FALSE(taken[0].valid_data);
    EXPECT_FALSE(taken[1].valid_data);
}

TEST_P(ForwarderCacheTest, AnyOtherSampleWithoutDataIsDropped) {
    assertSomeWriter();
    EXPECT_TRUE(addState(DDS_ALIVE_INSTANCE_STATE));
    EXPECT_TRUE(addState(0));
    EXPECT_TRUE(addState(DDS_NOT_ALIVE_INSTANCE_STATE));
    EXPECT_TRUE(take().empty());
    EXPECT_TRUE(log.lines().empty()) << log.text();
}

TEST_P(ForwarderCacheTest, AWriterThatIsNotKnownCannotAdd) {
    EXPECT_FALSE(add());
    EXPECT_TRUE(log.has("Sample to the cache reader of DCPSEventStatusMonitoring\n", "FAILED_TO_ADD"))
        << log.text();
    EXPECT_FALSE(addState(DDS_NOT_ALIVE_NO_WRITERS_INSTANCE_STATE));
    EXPECT_TRUE(log.has("Unregister to the cache reader of DCPSEventStatusMonitoring\n", "FAILED_TO_ADD"));
    EXPECT_FALSE(addState(DDS_NOT_ALIVE_DISPOSED_INSTANCE_STATE));
    EXPECT_TRUE(log.has("Dispose to the cache reader of DCPSEventStatusMonitoring\n", "FAILED_TO_ADD"));
}

TEST_P(ForwarderCacheTest, AReaderThatIsNoneOfTheBuiltinOnesHasNoCache) {
    EXPECT_FALSE(ORX_MonitoringForwarderEntities_addSampleToCacheReader(
        entities, entities->event_reader, sample, &info));
    EXPECT_TRUE(
        log.has("Monitoring Forwarder cache reader for DCPSEventStatusMonitoring\n", "FAILED_TO_GET"));
    EXPECT_FALSE(ORX_MonitoringForwarderEntities_assertWriterToCacheReader(
        entities, entities->event_reader, &info.publication_handle));
    EXPECT_FALSE(ORX_MonitoringForwarderEntities_deleteWriterFromCacheReader(
        entities, entities->event_reader, &info.publication_handle));
    EXPECT_EQ(log.count("Monitoring Forwarder cache reader for DCPSEventStatusMonitoring\n"), 3U);
}

constexpr auto bothEngines = [] { return testing::Values(EngineKind::loopback, EngineKind::cyclone); };
INSTANTIATE_TEST_SUITE_P(Engines, ForwarderCacheTest, bothEngines(), engineName);

class ForwarderCacheOfMatched : public ForwarderCacheTest {
protected:
    ForwarderCacheOfMatched() {
        ORX_MonitoringProperty_t property{};
        ORX_MonitoringProperty_t_initialize(&property);
        property.domain_id = engine.domain;
        library = ORX_MonitoringLibraryEntities_new(factory(), &property);
        EXPECT_TRUE(ORX_MonitoringLibraryEntities_enable(library));
        ORX_MonitoringProperty_t_finalize_ex(&property, DDS_BOOLEAN_FALSE);
        handle = DDS_Entity_get_instance_handle(DDS_DataWriter_as_entity(library->eventWriter));
    }
    ~ForwarderCacheOfMatched() override { ORX_MonitoringLibraryEntities_delete(library, factory()); }
    void SetUp() override {
        ASSERT_TRUE(eventually([&] { return Forwarder::queues(reader) == 1; }));
    }
    bool assertWriter() {
        return ORX_MonitoringForwarderEntities_assertWriterToCacheReader(entities, reader, &handle);
    }
    bool deleteWriter() {
        return ORX_MonitoringForwarderEntities_deleteWriterFromCacheReader(entities, reader, &handle);
    }

    ORX_MonitoringLibraryEntities* library = nullptr;
    DDS_InstanceHandle_t handle{};
};

INSTANTIATE_TEST_SUITE_P(Engines, ForwarderCacheOfMatched, bothEngines(), engineName);

TEST_P(ForwarderCacheOfMatched, AWriterComesAndGoes) {
    EXPECT_TRUE(assertWriter());
    EXPECT_EQ(matchedWriters(), 1);
    info.publication_handle = handle;
    EXPECT_TRUE(add());
    EXPECT_EQ(take().size(), 1U);
    EXPECT_TRUE(assertWriter()); // again is fine
    EXPECT_EQ(matchedWriters(), 1);
    EXPECT_TRUE(deleteWriter());
    EXPECT_EQ(matchedWriters(), 0);
    EXPECT_FALSE(add());
}

TEST_P(ForwarderCacheOfMatched, DeletingAWriterThatWasNeverAssertedIsFine) {
    EXPECT_TRUE(deleteWriter());
    EXPECT_TRUE(log.lines().empty()) << log.text();
}

TEST_P(ForwarderCacheOfMatched, AWriterThatDoesNotMatchIsRefused) {
    DDS_InstanceHandle_from_guid(&handle, &someWriter);
    EXPECT_FALSE(assertWriter());
    EXPECT_TRUE(log.has(
        "Remote writer publication data for DCPSEventStatusMonitoring with error 4\n", "FAILED_TO_GET"))
        << log.text();
    EXPECT_EQ(matchedWriters(), 0);
}

// Over one engine, whose threads allocate nothing meanwhile.
class ForwarderCacheMemory : public ForwarderCacheOfMatched {};
INSTANTIATE_TEST_SUITE_P(Engine, ForwarderCacheMemory, testing::Values(EngineKind::loopback), engineName);

// A queue that cannot be made is told in the log and is no failure; everything else that fails is one.
TEST_P(ForwarderCacheMemory, WithoutMemoryForTheQueueTheAssertionStillSucceeds) {
    FailingHeap heap;
    bool hasReportedQueue = false;
    for (uint64_t n = 1; n < 50; ++n) {
        const auto buffers = ORXOsapiHeap_getLiveBufferCount();
        log.clear();
        heap.failAt(n);
        const bool result = assertWriter();
        const bool hasFailed = heap.hasFailed();
        heap.failNoMore();
        if (!hasFailed)
            break;
        const bool isQueue =
            log.has("Remote writer queue for DCPSEventStatusMonitoring with error 5\n", "FAILED_TO_ASSERT");
        hasReportedQueue = hasReportedQueue || isQueue;
        DDS_GUID_t guid;
        DDS_GUID_from_instance_handle(&guid, &handle);
        const bool isKnown =
            DDS_DataReader_delete_remote_writer_queue(entities->event_reader, &guid) == DDS_RETCODE_OK;
        EXPECT_EQ(result, isQueue || isKnown) << log.text();
        EXPECT_EQ(ORXOsapiHeap_getLiveBufferCount(), buffers) << n;
    }
    EXPECT_TRUE(hasReportedQueue);
    EXPECT_TRUE(deleteWriter());
}

} // namespace
