// Writers and participants that come and go, over both engines.
#include "tests/unit/monitoringForwarder/ForwarderWorld.hpp"

namespace {

class ForwarderMatching : public testing::TestWithParam<EngineKind> {
protected:
    ForwarderMatching() { made = forwarder.make(); }
    void SetUp() override { ASSERT_TRUE(made) << log.text(); }

    TestEngine engine{GetParam()};
    LogCapture log;
    Forwarder forwarder{engine.domain};
    bool made = false;
};
INSTANTIATE_TEST_SUITE_P(
    Engines, ForwarderMatching, testing::Values(EngineKind::loopback, EngineKind::cyclone), engineName);

TEST_P(ForwarderMatching, AParticipantIsKnownByItsEventWriterAndIsAskedOnce) {
    FakeApplication application(engine.domain);
    application.enableAll();
    EXPECT_TRUE(eventually([&] { return forwarder.knowsParticipant(application); }));
    EXPECT_TRUE(eventually([&] { return forwarder.pending() == 0; }));
    auto* cacheReaders = forwarder.self->entities;
    for (auto* reader :
        {cacheReaders->event_reader, cacheReaders->periodic_reader, cacheReaders->logging_reader})
        EXPECT_TRUE(eventually([&] { return Forwarder::queues(reader) == 1; }));
    // The request goes to the participant's own reader of service requests.
    auto* requests = DDS_ServiceRequestDataReader_narrow(DDS_Subscriber_lookup_datareader(
        DDS_DomainParticipant_get_builtin_subscriber(application.participant()),
        DDS_SERVICE_REQUEST_TOPIC_NAME));
    DDS_DataReaderCountersI counters{};
    EXPECT_TRUE(eventually([&] {
        DDS_DataReader_get_countersI(DDS_ServiceRequestDataReader_as_datareader(requests), &counters);
        return counters.received >= 1;
    }));
    // A second event writer of it raises no new request.
    DDS_DataWriter* second = application.newEventWriter();
    EXPECT_TRUE(eventually([&] { return Forwarder::queues(cacheReaders->event_reader) == 2; }));
    EXPECT_EQ(forwarder.participants(), 1);
    EXPECT_EQ(forwarder.pending(), 0);
    DDS_DataReader_get_countersI(DDS_ServiceRequestDataReader_as_datareader(requests), &counters);
    EXPECT_EQ(counters.received, 1U);
    EXPECT_EQ(DDS_Publisher_delete_datawriter(application.entities->eventPublisher, second), DDS_RETCODE_OK);
    EXPECT_TRUE(eventually([&] { return Forwarder::queues(cacheReaders->event_reader) == 1; }));
}

TEST_P(ForwarderMatching, APeriodicWriterThatIsFirstGetsItsQueueAndNoParticipant) {
    FakeApplication application(engine.domain);
    FakeApplication::enable(application.entities->periodicWriter);
    FakeApplication::enable(application.entities->loggingWriter);
    auto* cacheReaders = forwarder.self->entities;
    EXPECT_TRUE(eventually([&] { return Forwarder::queues(cacheReaders->periodic_reader) == 1; }));
    EXPECT_TRUE(eventually([&] { return Forwarder::queues(cacheReaders->logging_reader) == 1; }));
    EXPECT_EQ(forwarder.participants(), 0);
    FakeApplication::enable(application.entities->eventWriter);
    EXPECT_TRUE(eventually([&] { return forwarder.knowsParticipant(application); }));
    // What it publishes goes all the same.
    Taken<PeriodicTopic> taken(cacheReaders->periodic_reader);
    auto* sample = PeriodicTopic::create();
    EXPECT_TRUE(eventually([&] { return FakeApplication::isMatched(application.entities->periodicWriter); }));
    FakeApplication::write(application.entities->periodicWriter, sample);
    EXPECT_TRUE(taken.reaches(1));
    PeriodicTopic::destroy(sample);
}

TEST_P(ForwarderMatching, TheEndOfAnEventWriterDeletesItsApplicationsInItsName) {
    auto application = std::make_unique<FakeApplication>(engine.domain);
    application->enableAll();
    ASSERT_TRUE(eventually([&] { return FakeApplication::isMatched(application->entities->eventWriter); }));
    ApplicationEvent event;
    event.setRegistry({{1, "one"}, {2, "two"}, {3, "three"}});
    application->write(event);
    Taken<EventTopic> taken(forwarder.self->entities->event_reader);
    ASSERT_TRUE(taken.reaches(1));
    EXPECT_EQ(forwarder.applications(), "/applications/one /applications/two /applications/three");
    const DDS_InstanceHandle_t writer = taken.info(0).publication_handle;
    application.reset();
    ASSERT_TRUE(taken.reaches(4));
    for (uint8_t i = 0; i < 3; ++i) { // the last one first
        EXPECT_TRUE(isDeletionOf(taken[1U + i], static_cast<uint8_t>(3 - i)));
        EXPECT_EQ(taken[1U + i].resource_guid[15], 3 - i);
        EXPECT_TRUE(taken.info(1U + i).valid_data);
        EXPECT_TRUE(DDS_InstanceHandle_equals(&taken.info(1U + i).publication_handle, &writer));
        EXPECT_GT(taken.info(1U + i).source_timestamp.sec, 1'000'000);
    }
    EXPECT_TRUE(eventually([&] { return Forwarder::queues(forwarder.self->entities->event_reader) == 0; }));
    EXPECT_EQ(forwarder.applications(), "");
    EXPECT_EQ(forwarder.participants(), 0);
    EXPECT_EQ(taken.size(), 4U);
}

TEST_P(ForwarderMatching, AnApplicationThatReturnsIsThereAgain) {
    Taken<EventTopic> taken(forwarder.self->entities->event_reader);
    for (int round = 0; round < 3; ++round) {
        FakeApplication application(engine.domain);
        application.enableAll();
        ASSERT_TRUE(
            eventually([&] { return FakeApplication::isMatched(application.entities->eventWriter); }));
        application.announce(7, "again");
        ASSERT_TRUE(eventually([&] { return forwarder.application(7) != nullptr; }));
        EXPECT_EQ(forwarder.applications(), "/applications/again");
        ORX_MonitoringLibraryEntities_delete(application.entities, factory());
        application.entities = nullptr;
        ASSERT_TRUE(taken.reaches(2U * static_cast<size_t>(round + 1)));
        EXPECT_TRUE(isDeletionOf(taken[2U * static_cast<size_t>(round) + 1], 7));
        EXPECT_EQ(forwarder.application(7), nullptr);
    }
}

// Many at once: each is told by itself, whatever happens meanwhile.
TEST_P(ForwarderMatching, NoParticipantOfManyIsMissed) {
    constexpr uint8_t count = 20;
    std::vector<std::unique_ptr<FakeApplication>> applications;
    for (uint8_t i = 0; i < count; ++i)
        applications.push_back(std::make_unique<FakeApplication>(engine.domain));
    // The listener waits for the registry while all of them come.
    ASSERT_TRUE(ORX_MonitoringForwarder_lock_application_registry(forwarder.self));
    for (auto& each : applications)
        each->enableAll();
    for (auto& each : applications)
        EXPECT_TRUE(eventually([&] { return FakeApplication::isMatched(each->entities->eventWriter); }));
    for (uint8_t i = 0; i < count; ++i)
        applications[i]->announce(static_cast<uint8_t>(i + 1), ("app" + std::to_string(i)).c_str());
    ASSERT_TRUE(ORX_MonitoringForwarder_unlock_application_registry(forwarder.self));
    for (uint8_t i = 0; i < count; ++i)
        EXPECT_TRUE(eventually([&] { return forwarder.application(static_cast<uint8_t>(i + 1)) != nullptr; }))
            << +i;
    Taken<EventTopic> taken(forwarder.self->entities->event_reader);
    EXPECT_TRUE(taken.reaches(count));
    EXPECT_EQ(forwarder.participants(), count);
    ASSERT_TRUE(ORX_MonitoringForwarder_lock_application_registry(forwarder.self));
    applications.clear();
    ASSERT_TRUE(ORX_MonitoringForwarder_unlock_application_registry(forwarder.self));
    EXPECT_TRUE(taken.reaches(2 * count));
    EXPECT_TRUE(eventually([&] { return forwarder.participants() == 0; }));
    for (uint8_t i = 0; i < count; ++i)
        EXPECT_TRUE(taken.has([&](const DDS_Monitoring_Event& event, const DDS_SampleInfo&) {
            return isDeletionOf(event, static_cast<uint8_t>(i + 1));
        })) << +i;
    EXPECT_EQ(log.countLevel(ORX_LOG_BIT_PRECONDITION), 0U) << log.text();
}

// A participant may go before the wait set's thread has asked it: it leaves the list with it.
TEST_P(ForwarderMatching, AParticipantThatGoesUnaskedIsAskedNoMore) {
    ASSERT_EQ(DDS_AsyncWaitSet_stop(forwarder.impl().samplesAsyncWaitSet), DDS_RETCODE_OK);
    auto application = std::make_unique<FakeApplication>(engine.domain);
    application->enableAll();
    ASSERT_TRUE(eventually([&] { return forwarder.pending() == 1; }));
    application.reset();
    ASSERT_TRUE(eventually([&] { return forwarder.participants() == 0; }));
    EXPECT_EQ(forwarder.pending(), 0);
    ASSERT_EQ(DDS_AsyncWaitSet_start(forwarder.impl().samplesAsyncWaitSet), DDS_RETCODE_OK);
    // The walk finds nobody, and then whoever comes.
    FakeApplication other(engine.domain);
    other.enableAll();
    EXPECT_TRUE(eventually([&] { return forwarder.knowsParticipant(other) && forwarder.pending() == 0; }));
}

TEST_P(ForwarderMatching, AChangeOfZeroDoesNothingAndAJumpIsReported) {
    DDS_SubscriptionMatchedStatus status{};
    auto* reader = forwarder.entities().builtinEventReader;
    ORX_MonitoringForwarder_onSubscriptionMatched(forwarder.self, reader, &status);
    EXPECT_EQ(forwarder.participants(), 0);
    EXPECT_TRUE(log.has(
        "\"status->current_count_change != -1 && status->current_count_change != 1\"\n", "PRECONDITION"));
    status.current_count_change = -2;
    ORX_MonitoringForwarder_onSubscriptionMatched(forwarder.self, reader, &status); // nobody: fine
    EXPECT_EQ(log.countLevel(ORX_LOG_BIT_PRECONDITION), 2U);
    EXPECT_EQ(log.countLevel(ORX_LOG_BIT_ERROR), 0U) << log.text();
}

} // namespace
