#include "src/entities/ForwarderEntities.h"

#include <set>
#include <string>

#include "orxmonitoring2d/dds_entities_distribution_support.h"
#include "src/entities/EntitiesHelper.h"
#include "tests/helpers/FailingHeap.hpp"
#include "tests/helpers/LogCapture.hpp"
#include "tests/unit/entities/Loopback.hpp"
#include "gtest/gtest.h"

namespace {

ORX_MonitoringForwarderEntitiesImpl& implOf(ORX_MonitoringForwarderEntities* entities) {
    return *reinterpret_cast<ORX_MonitoringForwarderEntitiesImpl*>(entities);
}

bool isEnabled(DDS_DataReader* reader) {
    return DDS_Entity_is_enabled(DDS_DataReader_as_entity(reader)) != 0;
}

std::string topicOf(DDS_DataReader* reader) {
    return DDS_TopicDescription_get_name(DDS_DataReader_get_topicdescription(reader));
}

class ForwarderEntitiesTest : public testing::Test {
protected:
    ForwarderEntitiesTest() { property.domain_id = Loopback::domain; }
    ~ForwarderEntitiesTest() override {
        drop();
        EXPECT_EQ(loopback.engine.liveObjects(), 0);
    }

    void make(DDS_DomainParticipant* participant = nullptr) {
        entities = ORX_MonitoringForwarderEntities_new(loopback.factory(), participant, &property);
    }
    void drop() {
        EXPECT_TRUE(ORX_MonitoringForwarderEntities_delete(entities, loopback.factory()));
        entities = nullptr;
    }
    // Those that there are, the cache readers first.
    std::vector<DDS_DataReader*> readers() {
        auto& impl = implOf(entities);
        std::vector<DDS_DataReader*> all;
        for (DDS_DataReader* one :
            {entities->event_reader, entities->logging_reader, entities->periodic_reader,
                impl.builtinEventReader, impl.builtinLoggingReader, impl.builtinPeriodicReader}) {
            if (one != nullptr)
                all.push_back(one);
        }
        return all;
    }

    Loopback loopback;
    LogCapture log;
    ORX_MonitoringForwarderProperty_t property = ORX_MONITORING_FORWARDER_PROPERTY_DEFAULT;
    ORX_MonitoringForwarderEntities* entities = nullptr;
};

TEST_F(ForwarderEntitiesTest, AreMadeDisabledAndEnabledTogether) {
    make();
    ASSERT_NE(entities, nullptr);
    auto& impl = implOf(entities);
    EXPECT_FALSE(impl.isLoanedParticipant);
    EXPECT_EQ(readers().size(), 6U);
    for (DDS_DataReader* reader : readers())
        EXPECT_FALSE(isEnabled(reader));
    EXPECT_EQ(topicOf(entities->event_reader), "DCPSEventStatusMonitoring");
    EXPECT_EQ(topicOf(entities->periodic_reader), "DCPSPeriodicStatusMonitoring");
    EXPECT_EQ(topicOf(entities->logging_reader), "DCPSLoggingStatusMonitoring");
    EXPECT_EQ(DDS_DomainParticipant_get_domain_id(impl.participant), Loopback::domain);
    EXPECT_TRUE(ORX_MonitoringForwarderEntities_enable(entities));
    for (DDS_DataReader* reader : readers())
        EXPECT_TRUE(isEnabled(reader));
    EXPECT_TRUE(log.lines().empty()) << log.text();
}

TEST_F(ForwarderEntitiesTest, ABuiltinReaderLeadsToItsCacheReader) {
    make();
    ASSERT_NE(entities, nullptr);
    auto& impl = implOf(entities);
    const auto related = [&](DDS_DataReader* reader) {
        return ORX_MonitoringForwarderEntities_getRelatedCacheDataReader(entities, reader);
    };
    EXPECT_EQ(related(impl.builtinEventReader), entities->event_reader);
    EXPECT_EQ(related(impl.builtinPeriodicReader), entities->periodic_reader);
    EXPECT_EQ(related(impl.builtinLoggingReader), entities->logging_reader);
    EXPECT_EQ(related(entities->event_reader), nullptr);
    EXPECT_TRUE(log.lines().empty()) << log.text();
}

TEST_F(ForwarderEntitiesTest, WithoutALoggingReaderNothingOfTheTopicIsThere) {
    property.create_logging_data_reader = DDS_BOOLEAN_FALSE;
    make();
    ASSERT_NE(entities, nullptr);
    auto& impl = implOf(entities);
    EXPECT_EQ(entities->logging_reader, nullptr);
    EXPECT_EQ(impl.builtinLoggingReader, nullptr);
    EXPECT_EQ(impl.loggingSubscriber, nullptr);
    EXPECT_EQ(impl.loggingTopic, nullptr);
    EXPECT_EQ(ORX_MonitoringForwarderEntities_getRelatedCacheDataReader(entities, impl.builtinLoggingReader),
        nullptr);
    EXPECT_TRUE(log.has("\"builtinReader == ((void *)0)\"\n", "PRECONDITION"));
    EXPECT_TRUE(ORX_MonitoringForwarderEntities_enable(entities));
    EXPECT_EQ(readers().size(), 4U);
}

TEST_F(ForwarderEntitiesTest, WithoutALoggingReaderALentParticipantIsEnabledAndLeftToo) {
    property.create_logging_data_reader = DDS_BOOLEAN_FALSE;
    auto* participant = loopback.newParticipant(DDS_DISCOVERYCONFIG_SERVICE_REQUEST_CHANNEL);
    make(participant);
    ASSERT_NE(entities, nullptr);
    EXPECT_TRUE(ORX_MonitoringForwarderEntities_enable(entities));
    drop();
    EXPECT_TRUE(loopback.deleteParticipant(participant));
    EXPECT_TRUE(log.lines().empty()) << log.text();
}

// What the user's QoS allows is the built-in reader's; a cache reader keeps all that is not taken.
TEST_F(ForwarderEntitiesTest, ACacheReaderHasNoBoundOfTheUsers) {
    DDS_DataReaderQos qos{};
    DDS_DataReaderQos_initialize(&qos);
    qos.resource_limits.max_samples = 1;
    property.event_reader_qos = &qos;
    make();
    ASSERT_NE(entities, nullptr);
    ASSERT_TRUE(ORX_MonitoringForwarderEntities_enable(entities));
    const DDS_GUID_t writer{{7}};
    ASSERT_EQ(
        DDS_DataReader_assert_remote_writer_queue(entities->event_reader, &writer, nullptr), DDS_RETCODE_OK);
    DDS_SampleInfo info = DDS_SAMPLEINFO_DEFAULT;
    info.valid_data = DDS_BOOLEAN_TRUE;
    DDS_InstanceHandle_from_guid(&info.publication_handle, &writer);
    DDS_Monitoring_Event* sample = DDS_Monitoring_EventPluginSupport_create_data();
    for (int i = 0; i < 20; ++i)
        EXPECT_TRUE(ORX_MonitoringForwarderEntities_addSampleToCacheReader(
            entities, implOf(entities).builtinEventReader, sample, &info));
    DDS_Monitoring_EventPluginSupport_destroy_data(sample);
    DDS_DataReaderCountersI counters{};
    DDS_DataReader_get_countersI(entities->event_reader, &counters);
    EXPECT_EQ(counters.cached, 20U);
    DDS_DataReaderQos_finalize(&qos);
}

TEST_F(ForwarderEntitiesTest, ADisabledServiceRequestChannelIsMendedAndReportedOnce) {
    DDS_DomainParticipantQos qos{};
    DDS_DomainParticipantQos_initialize(&qos);
    qos.discovery_config.enabled_builtin_channels = 0x10;
    qos.resource_limits.reader_property_string_max_length = 7;
    property.participant_qos = &qos;
    make();
    ASSERT_NE(entities, nullptr);
    EXPECT_EQ(
        log.count("Built-in Service Request channel. It is required by the Monitoring Forwarder", "ENABLE"),
        1U)
        << log.text();
    DDS_DomainParticipantQos used{};
    DDS_DomainParticipantQos_initialize(&used);
    DDS_DomainParticipant_get_qos(implOf(entities).participant, &used);
    EXPECT_EQ(used.discovery_config.enabled_builtin_channels, 0x13U);
    EXPECT_EQ(used.resource_limits.reader_property_list_max_length, 1); // was 0
    EXPECT_EQ(used.resource_limits.reader_property_string_max_length, 7);
    EXPECT_TRUE(used.protocol.vendor_specific_entity);
    DDS_DomainParticipantQos_finalize(&used);
    EXPECT_EQ(qos.discovery_config.enabled_builtin_channels, 0x10U); // the caller's stays
    DDS_DomainParticipantQos_finalize(&qos);
    drop();
    log.clear();
    property.participant_qos = nullptr;
    make(); // the profile has the channel
    EXPECT_TRUE(log.lines().empty()) << log.text();
}

TEST_F(ForwarderEntitiesTest, ALentParticipantKeepsItsStateAndOnlyTheReadersAreEnabled) {
    auto* participant = loopback.newParticipant(DDS_DISCOVERYCONFIG_SERVICE_REQUEST_CHANNEL);
    make(participant);
    ASSERT_NE(entities, nullptr);
    EXPECT_TRUE(implOf(entities).isLoanedParticipant);
    for (DDS_DataReader* reader : readers()) // in an enabled participant
        EXPECT_FALSE(isEnabled(reader));
    const auto ofTheParticipant = loopback.engine.liveObjects(); // it, and its channel
    EXPECT_TRUE(ORX_MonitoringForwarderEntities_enable(entities));
    for (DDS_DataReader* reader : readers())
        EXPECT_TRUE(isEnabled(reader));
    EXPECT_EQ(loopback.engine.liveObjects(), ofTheParticipant + 3); // cache readers are in no engine
    drop();
    EXPECT_EQ(loopback.engine.liveObjects(), ofTheParticipant);
    EXPECT_TRUE(DDS_Entity_is_enabled(DDS_DomainParticipant_as_entity(participant)));
    EXPECT_TRUE(loopback.deleteParticipant(participant));
    EXPECT_TRUE(log.lines().empty()) << log.text();
}

TEST_F(ForwarderEntitiesTest, ALentParticipantIsEnabledReaderByReaderTheRealOnesLast) {
    constexpr const char* texts[] = {"Monitoring Forwarder event reader",
        "Monitoring Forwarder logging reader", "Monitoring Forwarder periodic reader"};
    for (int call = 1; call <= 3; ++call) {
        auto* participant = loopback.newParticipant(DDS_DISCOVERYCONFIG_SERVICE_REQUEST_CHANNEL);
        make(participant);
        ASSERT_NE(entities, nullptr);
        log.clear();
        loopback.engine.failAt(call);
        EXPECT_FALSE(ORX_MonitoringForwarderEntities_enable(entities));
        EXPECT_TRUE(log.has(texts[call - 1], "FAILED_TO_ENABLE")) << log.text();
        EXPECT_TRUE(isEnabled(entities->event_reader));
        EXPECT_TRUE(isEnabled(entities->logging_reader));
        EXPECT_TRUE(isEnabled(entities->periodic_reader));
        drop();
        EXPECT_TRUE(loopback.deleteParticipant(participant));
    }
}

TEST_F(ForwarderEntitiesTest, ALentParticipantWithoutTheChannelIsRefusedAndLeftAlone) {
    auto* participant = loopback.newParticipant(0);
    make(participant);
    EXPECT_EQ(entities, nullptr);
    EXPECT_TRUE(log.has("DomainParticipant Qos for the Monitoring Forwarder DomainParticipant. The Built-in "
                        "Service Request channel needs to be enabled",
        "INCONSISTENT_FAILURE"))
        << log.text();
    EXPECT_TRUE(log.has("Monitoring Forwarder entities\n", "FAILED_TO_INITIALIZE"));
    EXPECT_TRUE(loopback.deleteParticipant(participant));
}

TEST_F(ForwarderEntitiesTest, AFailureOnTheLastTopicLeavesNothingOfTheOthers) {
    auto* participant = loopback.newParticipant(DDS_DISCOVERYCONFIG_SERVICE_REQUEST_CHANNEL);
    // The type's name is bound to something else.
    ASSERT_EQ(DDS_DomainParticipant_register_typeI(
                  participant, ORX_MONITORING_PERIODIC_TYPE_NAME, DDS_Monitoring_EventPlugin_new()),
        DDS_RETCODE_OK);
    make(participant);
    EXPECT_EQ(entities, nullptr);
    EXPECT_TRUE(
        log.has("Monitoring Forwarder entities for DCPSPeriodicStatusMonitoring\n", "FAILED_TO_CREATE"))
        << log.text();
    EXPECT_TRUE(loopback.deleteParticipant(participant));
}

// A loan that is out keeps its reader: what is left can be deleted once it is back.
TEST_F(ForwarderEntitiesTest, ALoanThatIsOutKeepsWhatIsLeftUntilItIsReturned) {
    make();
    ASSERT_NE(entities, nullptr);
    ASSERT_TRUE(ORX_MonitoringForwarderEntities_enable(entities));
    const DDS_GUID_t writer{{7}};
    DDS_DataReader* reader = entities->periodic_reader;
    ASSERT_EQ(DDS_DataReader_assert_remote_writer_queue(reader, &writer, nullptr), DDS_RETCODE_OK);
    DDS_Monitoring_Periodic* sample = DDS_Monitoring_PeriodicPluginSupport_create_data();
    ASSERT_EQ(DDS_DataReader_add_sample_to_remote_writer_queue_untypedI(reader, sample, &writer, nullptr),
        DDS_RETCODE_OK);
    DDS_Monitoring_PeriodicPluginSupport_destroy_data(sample);
    auto* narrowed = DDS_Monitoring_PeriodicDataReader_narrow(reader);
    DDS_Monitoring_PeriodicSeq samples{};
    DDS_SampleInfoSeq infos{};
    ASSERT_EQ(DDS_Monitoring_PeriodicDataReader_take(narrowed, &samples, &infos, DDS_LENGTH_UNLIMITED,
                  DDS_ANY_SAMPLE_STATE, DDS_ANY_VIEW_STATE, DDS_ANY_INSTANCE_STATE),
        DDS_RETCODE_OK);
    EXPECT_FALSE(ORX_MonitoringForwarderEntities_delete(entities, loopback.factory()));
    EXPECT_TRUE(
        log.has("Monitoring Forwarder entities for DCPSPeriodicStatusMonitoring\n", "FAILED_TO_DELETE"))
        << log.text();
    EXPECT_EQ(DDS_Monitoring_PeriodicDataReader_return_loan(narrowed, &samples, &infos), DDS_RETCODE_OK);
    drop();
}

TEST_F(ForwarderEntitiesTest, AListenerIsCopiedForABuiltinReaderAlone) {
    make();
    ASSERT_NE(entities, nullptr);
    auto& impl = implOf(entities);
    int context = 0;
    {
        const DDS_DataReaderListener listener{&context, [](void*, DDS_DataReader*) {}, nullptr};
        EXPECT_TRUE(ORX_MonitoringForwarderEntities_setListener(
            entities, impl.builtinLoggingReader, &listener, DDS_DATA_AVAILABLE_STATUS));
        EXPECT_EQ(impl.builtinLoggingListener.on_data_available, listener.on_data_available);
        EXPECT_EQ(impl.builtinEventListener.on_data_available, nullptr);
        EXPECT_FALSE(ORX_MonitoringForwarderEntities_setListener(
            entities, entities->event_reader, &listener, DDS_DATA_AVAILABLE_STATUS));
    }
    EXPECT_TRUE(
        log.has("The provided DataReader for topic DCPSEventStatusMonitoring does not match any DataReader "
                "of the Monitoring Forwarder object provided\n",
            "PRECONDITION"))
        << log.text();
}

TEST_F(ForwarderEntitiesTest, AFailedAllocationInNewLeavesNothing) {
    make();
    drop(); // whatever a process makes once
    FailingHeap heap;
    std::set<std::string> told;
    bool hasFailed = true;
    // To the end: one that fails need not fail the whole.
    for (uint64_t n = 1; hasFailed; ++n) {
        ASSERT_LT(n, 3000U);
        const auto buffers = ORXOsapiHeap_getLiveBufferCount();
        log.clear();
        heap.failAt(n);
        make();
        hasFailed = heap.hasFailed();
        heap.failNoMore();
        EXPECT_TRUE(entities != nullptr || log.countLevel(ORX_LOG_BIT_ERROR) > 0) << "allocation " << n;
        for (const auto& line : log.lines())
            told.insert(line.subject);
        drop();
        ASSERT_EQ(loopback.engine.liveObjects(), 0) << "allocation " << n;
        ASSERT_EQ(ORXOsapiHeap_getLiveBufferCount(), buffers) << "allocation " << n << "\n" << log.text();
    }
    for (const char* topic :
        {"DCPSEventStatusMonitoring", "DCPSLoggingStatusMonitoring", "DCPSPeriodicStatusMonitoring"})
        EXPECT_TRUE(told.contains("Monitoring Forwarder entities for " + std::string(topic) + "\n")) << topic;
    EXPECT_TRUE(told.contains("Monitoring Forwarder Participant\n"));
    EXPECT_TRUE(told.contains("Monitoring Forwarder entities\n"));
    EXPECT_TRUE(told.contains("'struct ORX_MonitoringEntities' with size " +
                              std::to_string(sizeof(ORX_MonitoringForwarderEntitiesImpl)) + "\n"));
}

TEST_F(ForwarderEntitiesTest, AnEngineThatFailsInEnableLeavesNothingAfterDelete) {
    int64_t call = 1;
    for (bool enabled = false; !enabled && call < 50; ++call) {
        make();
        ASSERT_NE(entities, nullptr);
        log.clear();
        loopback.engine.failAt(call);
        enabled = ORX_MonitoringForwarderEntities_enable(entities) == 1;
        loopback.engine.failAt(0);
        if (!enabled) {
            EXPECT_TRUE(log.has("Monitoring Forwarder participant", "FAILED_TO_ENABLE")) << log.text();
        }
        drop();
        EXPECT_EQ(loopback.engine.liveObjects(), 0) << "call " << call;
    }
    EXPECT_GT(call, 3); // the three built-in readers at least
}

TEST_F(ForwarderEntitiesTest, ThePropertyGoesBackToItsInitialValue) {
    DDS_SubscriberQos qos{};
    property.subscriber_qos = &qos;
    property.command_manager_timeout = {1, 1};
    property.create_logging_data_reader = DDS_BOOLEAN_FALSE;
    ORX_MonitoringForwarderProperty_t_finalize(&property);
    EXPECT_EQ(property.domain_id, 2);
    EXPECT_EQ(property.subscriber_qos, nullptr);
    EXPECT_EQ(property.command_manager_timeout.sec, 10);
    EXPECT_EQ(property.command_manager_timeout.nanosec, 0U);
    EXPECT_TRUE(property.create_logging_data_reader);
}

TEST_F(ForwarderEntitiesTest, ArgumentsAreChecked) {
    EXPECT_EQ(ORX_MonitoringForwarderEntities_new(nullptr, nullptr, &property), nullptr);
    EXPECT_TRUE(log.has("\"factory == ((void *)0)\"\n", "PRECONDITION"));
    EXPECT_EQ(ORX_MonitoringForwarderEntities_new(loopback.factory(), nullptr, nullptr), nullptr);
    EXPECT_TRUE(log.has("\"property == ((void *)0)\"\n", "PRECONDITION"));
    EXPECT_FALSE(ORX_MonitoringForwarderEntities_enable(nullptr));
    EXPECT_TRUE(ORX_MonitoringForwarderEntities_delete(nullptr, nullptr));
}

} // namespace
