// Samples on their way into the cache readers.
#include "tests/helpers/TopicReader.hpp"
#include "tests/unit/monitoringForwarder/ForwarderWorld.hpp"

namespace {

class ForwarderData : public testing::TestWithParam<EngineKind> {
protected:
    ForwarderData() {
        made = forwarder.make();
        application.enableAll();
    }
    void SetUp() override {
        ASSERT_TRUE(made) << log.text();
        auto* cacheReaders = forwarder.self->entities;
        for (auto* reader :
            {cacheReaders->event_reader, cacheReaders->periodic_reader, cacheReaders->logging_reader})
            ASSERT_TRUE(eventually([&] { return Forwarder::queues(reader) == 1; }));
        for (auto* writer : {application.entities->eventWriter, application.entities->periodicWriter,
                 application.entities->loggingWriter})
            ASSERT_TRUE(eventually([&] { return FakeApplication::isMatched(writer); }));
    }
    DDS_DataReader* cache() { return forwarder.self->entities->event_reader; }
    static DDS_UnsignedLong cachedIn(DDS_DataReader* reader) {
        DDS_DataReaderCountersI counters{};
        DDS_DataReader_get_countersI(reader, &counters);
        return counters.cached;
    }

    TestEngine engine{GetParam()};
    LogCapture log;
    Forwarder forwarder{engine.domain};
    FakeApplication application{engine.domain};
    bool made = false;
};
INSTANTIATE_TEST_SUITE_P(
    Engines, ForwarderData, testing::Values(EngineKind::loopback, EngineKind::cyclone), engineName);

// Beside the forwarder a plain reader of the same samples tells what they came with.
template <class Topic>
void compareWithPlainReader(DDS_DomainId_t domain, DDS_DataWriter* writer, DDS_DataReader* cacheReader,
    const char* topicName, const char* typeName) {
    TopicReader plain(domain, topicName, typeName);
    ASSERT_TRUE(eventually([&] { return Forwarder::queues(plain.reader()) == 1; }));
    // Also in the eyes of the writer, which forgets what it wrote for nobody.
    ASSERT_TRUE(eventually([&] {
        DDS_InstanceHandleSeq handles{};
        DDS_DataWriter_get_matched_subscriptions(writer, &handles);
        const bool isAll = DDS_InstanceHandleSeq_get_length(&handles) == 2;
        DDS_InstanceHandleSeq_finalize(&handles);
        return isAll;
    }));
    auto* sample = Topic::create();
    Taken<Topic> direct(plain.reader());
    Taken<Topic> forwarded(cacheReader);
    const DDS_Time_t past{1234, 5678};
    for (size_t i = 1; i <= 3; ++i) {
        sample->resource_guid[0] = static_cast<DDS_Octet>(i);
        ASSERT_EQ(DDS_DataWriter_write_w_timestamp_untypedI(
                      writer, sample, &DDS_HANDLE_NIL, i == 3 ? &past : nullptr),
            DDS_RETCODE_OK);
        ASSERT_TRUE(direct.reaches(i));
        ASSERT_TRUE(forwarded.reaches(i));
        const DDS_SampleInfo& expected = direct.info(i - 1);
        const DDS_SampleInfo& info = forwarded.info(i - 1);
        EXPECT_EQ(forwarded[i - 1].resource_guid[0], i);
        EXPECT_TRUE(info.valid_data);
        EXPECT_TRUE(DDS_InstanceHandle_equals(&info.publication_handle, &expected.publication_handle));
        EXPECT_EQ(info.publication_sequence_number.low, expected.publication_sequence_number.low);
        EXPECT_GT(info.publication_sequence_number.low, 0U);
        EXPECT_EQ(info.source_timestamp.sec, expected.source_timestamp.sec);
        EXPECT_EQ(info.source_timestamp.nanosec, expected.source_timestamp.nanosec);
        EXPECT_TRUE(DDS_GUID_equals(
            &info.original_publication_virtual_guid, &expected.original_publication_virtual_guid));
    }
    EXPECT_EQ(forwarded.info(2).source_timestamp.sec, 1234);
    Topic::destroy(sample);
}

TEST_P(ForwarderData, EventsKeepTheirWriterNumberAndTime) {
    compareWithPlainReader<EventTopic>(engine.domain, application.entities->eventWriter, cache(),
        ORX_MONITORING_EVENT_TOPIC_NAME, ORX_MONITORING_EVENT_TYPE_NAME);
}

TEST_P(ForwarderData, PeriodicSamplesKeepTheirWriterNumberAndTime) {
    compareWithPlainReader<PeriodicTopic>(engine.domain, application.entities->periodicWriter,
        forwarder.self->entities->periodic_reader, ORX_MONITORING_PERIODIC_TOPIC_NAME,
        ORX_MONITORING_PERIODIC_TYPE_NAME);
}

TEST_P(ForwarderData, TheRegistryKnowsAnApplicationBeforeItsRegistryIsRead) {
    application.announce(5, "five");
    Taken<EventTopic> taken(cache());
    ASSERT_TRUE(taken.reaches(1));
    EXPECT_NE(forwarder.application(5), nullptr);
    ApplicationEvent logging;
    logging.setLogging(5, 10);
    application.write(logging);
    ASSERT_TRUE(taken.reaches(2));
    const auto& config = forwarder.application(5)->loggingConfig;
    ASSERT_EQ(DDS_Monitoring_LoggingSettingSeq_get_length(&config.logging_forwarding), 1);
    EXPECT_EQ(DDS_Monitoring_LoggingSettingSeq_get_reference(&config.logging_forwarding, 0)->facility, 10);
    ApplicationEvent deletion;
    deletion.setUpdate(DDS_Monitoring_ResourceUpdateKind_RESOURCE_UPDATE_DELETION_KIND, 5);
    application.write(deletion);
    ASSERT_TRUE(taken.reaches(3));
    EXPECT_EQ(forwarder.application(5), nullptr);
    EXPECT_TRUE(forwarder.knowsParticipant(application));
}

TEST_P(ForwarderData, SamplesOfOtherClassesGoThroughUntouched) {
    ApplicationEvent event;
    event.setRegistry({{5, "five"}});
    auto* other = EventTopic::create();
    other->value._d = static_cast<DDS_Monitoring_ResourceClassId>(ORX_MONITORING_TOPIC_CLASS_ID);
    FakeApplication::write(application.entities->eventWriter, other);
    EventTopic::destroy(other);
    Taken<EventTopic> taken(cache());
    ASSERT_TRUE(taken.reaches(1));
    EXPECT_EQ(taken[0].value._d, static_cast<DDS_Long>(ORX_MONITORING_TOPIC_CLASS_ID));
    EXPECT_EQ(forwarder.applications(), "");
}

TEST_P(ForwarderData, ASampleWithoutDataPassesTheRegistryAndReachesTheCache) {
    const DDS_GUID_t writer{{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 0, 0, 1, 3}};
    auto* builtin = forwarder.entities().builtinEventReader;
    ASSERT_EQ(DDS_DataReader_assert_remote_writer_queue(builtin, &writer, nullptr), DDS_RETCODE_OK);
    ASSERT_TRUE(eventually([&] { return Forwarder::queues(cache()) == 2; }));
    ASSERT_EQ(
        DDS_DataReader_add_unregister_to_remote_writer_queue_untypedI(builtin, &writer, nullptr, &writer),
        DDS_RETCODE_OK);
    Taken<EventTopic> taken(cache());
    ASSERT_TRUE(taken.reaches(1));
    EXPECT_FALSE(taken.info(0).valid_data);
    DDS_GUID_t from;
    DDS_GUID_from_instance_handle(&from, &taken.info(0).publication_handle);
    EXPECT_TRUE(DDS_GUID_equals(&from, &writer));
    EXPECT_EQ(forwarder.applications(), "");
    ASSERT_EQ(DDS_DataReader_delete_remote_writer_queue(builtin, &writer), DDS_RETCODE_OK);
    EXPECT_TRUE(eventually([&] { return forwarder.participants() == 1; }));
    EXPECT_EQ(log.countLevel(ORX_LOG_BIT_ERROR), 0U) << log.text();
}

// A sample that the registry refuses costs what was taken behind it, and nothing of the next call.
TEST_P(ForwarderData, ARefusedSampleEndsTheBatchAndNotTheForwarder) {
    FakeApplication impostor(engine.domain);
    impostor.enableAll();
    ASSERT_TRUE(eventually([&] { return Forwarder::queues(cache()) == 2; }));
    ASSERT_TRUE(eventually([&] { return FakeApplication::isMatched(impostor.entities->eventWriter); }));
    Taken<EventTopic> taken(cache());
    application.announce(1, "one");
    ASSERT_TRUE(taken.reaches(1));
    // While the listener waits for the registry with one sample in hand, two more arrive.
    auto* builtin = forwarder.entities().builtinEventReader;
    DDS_DataReaderCountersI counters{};
    DDS_DataReader_get_countersI(builtin, &counters);
    const auto before = counters.received;
    ASSERT_TRUE(ORX_MonitoringForwarder_lock_application_registry(forwarder.self));
    application.announce(2, "two");
    ASSERT_TRUE(eventually([&] {
        DDS_DataReader_get_countersI(builtin, &counters);
        return counters.received == before + 1 && counters.cached == 0;
    }));
    impostor.announce(1, "one");
    ASSERT_TRUE(eventually([&] { return cachedIn(builtin) == 1; }));
    impostor.announce(3, "three");
    ASSERT_TRUE(eventually([&] { return cachedIn(builtin) == 2; }));
    ASSERT_TRUE(ORX_MonitoringForwarder_unlock_application_registry(forwarder.self));
    ASSERT_TRUE(taken.reaches(2));
    ASSERT_TRUE(
        eventually([&] { return log.has("Event Sample by Application Registry\n", "FAILED_TO_PROCESS"); }));
    impostor.announce(4, "four");
    ASSERT_TRUE(taken.reaches(3));
    EXPECT_EQ(taken.size(), 3U);
    EXPECT_EQ(forwarder.applications(), "/applications/one /applications/two /applications/four");
    EXPECT_TRUE(
        log.has("Monitoring participant for application '/applications/one'", "INCONSISTENT_FAILURE"));
}

// Whoever takes nothing gets what fits, and the rest once there is room again.
TEST_P(ForwarderData, AFullCacheReaderRefusesUntilSomethingIsTaken) {
    DDS_SampleInfo info = DDS_SAMPLEINFO_DEFAULT;
    info.valid_data = DDS_BOOLEAN_TRUE;
    info.publication_handle = application.eventHandle();
    // As the reader sees the writer.
    DDS_InstanceHandleSeq handles{};
    DDS_DataReader_get_matched_publications(cache(), &handles);
    info.publication_handle = *DDS_InstanceHandleSeq_get_reference(&handles, 0);
    DDS_InstanceHandleSeq_finalize(&handles);
    auto* sample = EventTopic::create();
    size_t added = 0;
    while (ORX_MonitoringForwarderEntities_addSampleToCacheReader(
        forwarder.self->entities, forwarder.entities().builtinEventReader, sample, &info))
        ASSERT_LE(++added, 65536U);
    EXPECT_EQ(added, 65536U);
    FakeApplication::write(application.entities->eventWriter, sample);
    ASSERT_TRUE(eventually(
        [&] { return log.has("Samples to cache reader for DCPSEventStatusMonitoring\n", "FAILED_TO_ADD"); }));
    EXPECT_EQ(cachedIn(cache()), 65536U);
    DDS_Monitoring_EventSeq samples{};
    DDS_SampleInfoSeq infos{};
    auto* narrowed = DDS_Monitoring_EventDataReader_narrow(cache());
    ASSERT_EQ(DDS_Monitoring_EventDataReader_take(narrowed, &samples, &infos, DDS_LENGTH_UNLIMITED,
                  DDS_ANY_SAMPLE_STATE, DDS_ANY_VIEW_STATE, DDS_ANY_INSTANCE_STATE),
        DDS_RETCODE_OK);
    EXPECT_EQ(DDS_Monitoring_EventDataReader_return_loan(narrowed, &samples, &infos), DDS_RETCODE_OK);
    FakeApplication::write(application.entities->eventWriter, sample);
    Taken<EventTopic> taken(cache());
    EXPECT_TRUE(taken.reaches(1));
    EventTopic::destroy(sample);
}

} // namespace
