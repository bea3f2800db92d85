#include "src/entities/LibraryEntities.h"

#include <set>
#include <string>

#include "orxmonitoring2d/dds_entities_distribution_support.h"
#include "src/entities/EntitiesHelper.h"
#include "tests/helpers/FailingHeap.hpp"
#include "tests/helpers/LogCapture.hpp"
#include "tests/unit/entities/Loopback.hpp"
#include "gtest/gtest.h"

namespace {

constexpr char channelText[] = "Built-in Service Request channel. It is required by the Monitoring Library";

class LibraryEntitiesTest : public testing::Test {
protected:
    LibraryEntitiesTest() {
        ORX_MonitoringProperty_t_initialize(&property);
        property.domain_id = Loopback::domain;
    }
    ~LibraryEntitiesTest() override {
        ORX_MonitoringProperty_t_finalize_ex(&property, DDS_BOOLEAN_FALSE);
        EXPECT_EQ(loopback.engine.liveObjects(), 0);
    }

    void make() { entities = ORX_MonitoringLibraryEntities_new(loopback.factory(), &property); }
    void makeOn(DDS_DomainParticipant* participant) {
        entities = ORX_MonitoringLibraryEntities_new_w_participant(participant, &property);
    }
    void drop() {
        ORX_MonitoringLibraryEntities_delete(entities, loopback.factory());
        entities = nullptr;
    }
    static bool isEnabled(DDS_DataWriter* writer) {
        return DDS_Entity_is_enabled(DDS_DataWriter_as_entity(writer)) != 0;
    }
    bool areWritersEnabled() {
        return isEnabled(entities->eventWriter) && isEnabled(entities->periodicWriter) &&
               isEnabled(entities->loggingWriter);
    }
    bool isAnyWriterEnabled() {
        return isEnabled(entities->eventWriter) || isEnabled(entities->periodicWriter) ||
               isEnabled(entities->loggingWriter);
    }
    DDS_UnsignedLong channels(DDS_DomainParticipant* participant) {
        DDS_DomainParticipantQos qos{};
        DDS_DomainParticipantQos_initialize(&qos);
        DDS_DomainParticipant_get_qos(participant, &qos);
        const auto result = qos.discovery_config.enabled_builtin_channels;
        DDS_DomainParticipantQos_finalize(&qos);
        return result;
    }

    Loopback loopback;
    LogCapture log;
    ORX_MonitoringProperty_t property{};
    ORX_MonitoringLibraryEntities* entities = nullptr;
};

TEST_F(LibraryEntitiesTest, AreMadeDisabledAndEnabledTogether) {
    make();
    ASSERT_NE(entities, nullptr);
    EXPECT_FALSE(entities->isParticipantLoaned);
    EXPECT_FALSE(DDS_Entity_is_enabled(DDS_DomainParticipant_as_entity(entities->participant)));
    EXPECT_FALSE(isAnyWriterEnabled());
    EXPECT_EQ(entities->parent.event_writer, entities->eventWriter);
    EXPECT_EQ(entities->parent.periodic_writer, entities->periodicWriter);
    EXPECT_EQ(entities->parent.logging_writer, entities->loggingWriter);
    const auto topicOf = [](DDS_DataWriter* writer) {
        return std::string{
            DDS_TopicDescription_get_name(DDS_Topic_as_topicdescription(DDS_DataWriter_get_topic(writer)))};
    };
    EXPECT_EQ(topicOf(entities->eventWriter), "DCPSEventStatusMonitoring");
    EXPECT_EQ(topicOf(entities->periodicWriter), "DCPSPeriodicStatusMonitoring");
    EXPECT_EQ(topicOf(entities->loggingWriter), "DCPSLoggingStatusMonitoring");
    EXPECT_EQ(DDS_DataWriter_get_publisher(entities->periodicWriter), entities->periodicPublisher);
    EXPECT_EQ(DDS_DomainParticipant_get_domain_id(entities->participant), Loopback::domain);
    DDS_GUID_t guid{};
    EXPECT_EQ(
        DDS_Entity_get_guid(DDS_DomainParticipant_as_entity(entities->participant), &guid), DDS_RETCODE_OK);
    EXPECT_FALSE(DDS_GUID_equals(&guid, &DDS_GUID_UNKNOWN));
    EXPECT_EQ(ORX_MonitoringLibraryEntities_enable(entities), 1);
    EXPECT_TRUE(areWritersEnabled());
    drop();
    EXPECT_TRUE(log.lines().empty()) << log.text();
}

TEST_F(LibraryEntitiesTest, ADisabledServiceRequestChannelIsMendedAndReportedOnce) {
    DDS_DomainParticipantQos qos{};
    DDS_DomainParticipantQos_initialize(&qos);
    qos.discovery_config.enabled_builtin_channels = 0x10;
    property.participant_qos = &qos;
    make();
    ASSERT_NE(entities, nullptr);
    EXPECT_EQ(log.count(channelText, "ENABLE"), 1U) << log.text();
    EXPECT_EQ(channels(entities->participant), 0x13U);
    EXPECT_EQ(qos.discovery_config.enabled_builtin_channels, 0x10U); // the caller's stays
    drop();
    log.clear();
    qos.discovery_config.enabled_builtin_channels = 0x1; // one of the bits is enough
    make();
    ASSERT_NE(entities, nullptr);
    EXPECT_TRUE(log.lines().empty()) << log.text();
    EXPECT_EQ(channels(entities->participant), 0x1U);
    drop();
    property.participant_qos = nullptr;
    DDS_DomainParticipantQos_finalize(&qos);
}

TEST_F(LibraryEntitiesTest, InitialPeersReplaceThoseOfTheQos) {
    DDS_DomainParticipantQos qos{};
    DDS_DomainParticipantQos_initialize(&qos);
    DDS_StringSeq_ensure_length(&qos.discovery.initial_peers, 2, 2);
    DDS_String_replace(DDS_StringSeq_get_reference(&qos.discovery.initial_peers, 0), "10.0.0.1");
    DDS_String_replace(DDS_StringSeq_get_reference(&qos.discovery.initial_peers, 1), "10.0.0.2");
    qos.discovery_config.enabled_builtin_channels = DDS_DISCOVERYCONFIG_SERVICE_REQUEST_CHANNEL;
    property.participant_qos = &qos;
    const auto peers = [&] {
        DDS_DomainParticipantQos actual{};
        DDS_DomainParticipantQos_initialize(&actual);
        DDS_DomainParticipant_get_qos(entities->participant, &actual);
        std::string text;
        for (DDS_Long i = 0; i < DDS_StringSeq_get_length(&actual.discovery.initial_peers); ++i) {
            text += DDS_StringSeq_get(&actual.discovery.initial_peers, i);
            text += ' ';
        }
        DDS_DomainParticipantQos_finalize(&actual);
        return text;
    };
    make();
    ASSERT_NE(entities, nullptr);
    EXPECT_EQ(peers(), "10.0.0.1 10.0.0.2 "); // an empty list leaves them
    drop();
    DDS_StringSeq_ensure_length(&property.collector_initial_peers, 1, 1);
    DDS_String_replace(DDS_StringSeq_get_reference(&property.collector_initial_peers, 0), "192.168.1.1");
    make();
    ASSERT_NE(entities, nullptr);
    EXPECT_EQ(peers(), "192.168.1.1 ");
    drop();
    property.participant_qos = nullptr;
    DDS_DomainParticipantQos_finalize(&qos);
}

TEST_F(LibraryEntitiesTest, ALentParticipantKeepsItsStateAndOnlyTheWritersAreEnabled) {
    DDS_DomainParticipant* participant = loopback.newParticipant(DDS_DISCOVERYCONFIG_SERVICE_REQUEST_CHANNEL);
    makeOn(participant);
    ASSERT_NE(entities, nullptr);
    EXPECT_TRUE(entities->isParticipantLoaned);
    EXPECT_EQ(entities->participant, participant);
    EXPECT_FALSE(isAnyWriterEnabled());                          // in an enabled participant
    const auto ofTheParticipant = loopback.engine.liveObjects(); // it, and its channel
    EXPECT_EQ(ORX_MonitoringLibraryEntities_enable(entities), 1);
    EXPECT_TRUE(areWritersEnabled());
    EXPECT_EQ(loopback.engine.liveObjects(), ofTheParticipant + 3);
    drop();
    EXPECT_EQ(loopback.engine.liveObjects(), ofTheParticipant);
    EXPECT_TRUE(DDS_Entity_is_enabled(DDS_DomainParticipant_as_entity(participant)));
    EXPECT_TRUE(loopback.deleteParticipant(participant)); // nothing of ours is left in it
    EXPECT_TRUE(log.lines().empty()) << log.text();
}

TEST_F(LibraryEntitiesTest, ALentParticipantIsEnabledWriterByWriter) {
    constexpr const char* texts[] = {"Monitoring Library event DataWriter",
        "Monitoring Library logging DataWriter", "Monitoring Library periodic DataWriter"};
    for (int call = 1; call <= 3; ++call) {
        DDS_DomainParticipant* participant =
            loopback.newParticipant(DDS_DISCOVERYCONFIG_SERVICE_REQUEST_CHANNEL);
        makeOn(participant);
        ASSERT_NE(entities, nullptr);
        log.clear();
        loopback.engine.failAt(call);
        EXPECT_EQ(ORX_MonitoringLibraryEntities_enable(entities), 0);
        EXPECT_TRUE(log.has(texts[call - 1], "FAILED_TO_ENABLE")) << log.text();
        drop();
        EXPECT_TRUE(loopback.deleteParticipant(participant));
    }
}

TEST_F(LibraryEntitiesTest, ALentParticipantWithoutTheChannelIsRefusedAndLeftAlone) {
    DDS_DomainParticipant* participant = loopback.newParticipant(0);
    makeOn(participant);
    EXPECT_EQ(entities, nullptr);
    EXPECT_TRUE(
        log.has("DomainParticipant Qos for the Monitoring Library DomainParticipant. The Built-in Service "
                "Request channel needs to be enabled",
            "INCONSISTENT_FAILURE"))
        << log.text();
    EXPECT_TRUE(log.has("Monitoring entities", "FAILED_TO_INITIALIZE"));
    EXPECT_EQ(channels(participant), 0U);
    EXPECT_TRUE(DDS_Entity_is_enabled(DDS_DomainParticipant_as_entity(participant)));
    EXPECT_TRUE(loopback.deleteParticipant(participant));
}

TEST_F(LibraryEntitiesTest, AFailureOnThePeriodicTopicLeavesNoEventEntities) {
    DDS_DomainParticipant* participant = loopback.newParticipant(DDS_DISCOVERYCONFIG_SERVICE_REQUEST_CHANNEL);
    // The type's name is bound to something else.
    ASSERT_EQ(DDS_DomainParticipant_register_typeI(
                  participant, ORX_MONITORING_PERIODIC_TYPE_NAME, DDS_Monitoring_EventPlugin_new()),
        DDS_RETCODE_OK);
    makeOn(participant);
    EXPECT_EQ(entities, nullptr);
    EXPECT_TRUE(log.has("Monitoring type 'dds::monitoring::Periodic'\n", "FAILED_TO_REGISTER")) << log.text();
    EXPECT_TRUE(
        log.has("Monitoring publisher entities for DCPSPeriodicStatusMonitoring", "FAILED_TO_CREATE"));
    EXPECT_TRUE(loopback.deleteParticipant(participant));
}

TEST_F(LibraryEntitiesTest, AnEngineThatFailsTheParticipantFailsNew) {
    loopback.engine.failAt(1);
    make();
    EXPECT_EQ(entities, nullptr);
    EXPECT_TRUE(log.has("Monitoring Participant", "FAILED_TO_CREATE")) << log.text();
}

TEST_F(LibraryEntitiesTest, AnEngineThatFailsInEnableLeavesNothingAfterDelete) {
    int64_t call = 1;
    for (bool enabled = false; !enabled && call < 50; ++call) {
        make();
        ASSERT_NE(entities, nullptr);
        log.clear();
        loopback.engine.failAt(call);
        enabled = ORX_MonitoringLibraryEntities_enable(entities) == 1;
        loopback.engine.failAt(0);
        if (!enabled) {
            EXPECT_TRUE(log.has("Monitoring Library DomainParticipant", "FAILED_TO_ENABLE")) << log.text();
        }
        drop();
        EXPECT_EQ(loopback.engine.liveObjects(), 0) << "call " << call;
    }
    EXPECT_GT(call, 3); // the three writers at least
}

// What DDS still refers to stays, and the object with it, until a later deletion.
TEST_F(LibraryEntitiesTest, ADeletionThatFailsCanBeRepeated) {
    make();
    ASSERT_NE(entities, nullptr);
    DDS_DomainParticipant* participant = entities->participant;
    DDS_PublisherQos qos{};
    DDS_PublisherQos_initialize(&qos);
    DDS_Publisher* stranger = DDS_DomainParticipant_create_publisher(participant, &qos, nullptr, 0);
    DDS_PublisherQos_finalize(&qos);
    ASSERT_NE(stranger, nullptr);
    DDS_DataWriterQos writerQos{};
    DDS_DataWriterQos_initialize(&writerQos);
    ASSERT_NE(
        DDS_Publisher_create_datawriter(stranger, entities->periodicTopic, &writerQos, nullptr, 0), nullptr);
    DDS_DataWriterQos_finalize(&writerQos);

    ORX_MonitoringLibraryEntities_delete(entities, loopback.factory());
    EXPECT_TRUE(log.has("Monitoring DCPSPeriodicStatusMonitoring topic\n", "FAILED_TO_DELETE")) << log.text();
    EXPECT_TRUE(log.has("Monitoring Library entities for DCPSPeriodicStatusMonitoring", "FAILED_TO_DELETE"));
    EXPECT_EQ(entities->eventTopic, nullptr); // gone before it
    EXPECT_EQ(entities->periodicPublisher, nullptr);
    EXPECT_NE(entities->periodicTopic, nullptr);
    EXPECT_NE(entities->loggingTopic, nullptr);
    EXPECT_EQ(entities->participant, participant);

    EXPECT_EQ(DDS_Publisher_delete_contained_entities(stranger), DDS_RETCODE_OK);
    log.clear();
    ORX_MonitoringLibraryEntities_delete(entities, loopback.factory());
    EXPECT_EQ(log.count("Monitoring Forwarder Participant", "FAILED_TO_DELETE"), 1U) << log.text();
    EXPECT_EQ(entities->loggingTopic, nullptr);
    EXPECT_EQ(entities->participant, participant);

    EXPECT_EQ(DDS_DomainParticipant_delete_publisher(participant, stranger), DDS_RETCODE_OK);
    log.clear();
    drop();
    EXPECT_TRUE(log.lines().empty()) << log.text();
}

TEST_F(LibraryEntitiesTest, AFailedAllocationInNewLeavesNothing) {
    make();
    drop(); // whatever a process makes once
    FailingHeap heap;
    bool hasFailed = true;
    bool hasFailedLast = false; // of the topics
    // To the end: one that fails need not fail the whole.
    for (uint64_t n = 1; hasFailed; ++n) {
        ASSERT_LT(n, 2000U);
        const auto buffers = ORXOsapiHeap_getLiveBufferCount();
        log.clear();
        heap.failAt(n);
        make();
        hasFailed = heap.hasFailed();
        heap.failNoMore();
        EXPECT_TRUE(entities != nullptr || log.countLevel(ORX_LOG_BIT_ERROR) > 0) << "allocation " << n;
        hasFailedLast =
            hasFailedLast || log.has("Monitoring publisher entities for DCPSPeriodicStatusMonitoring");
        drop();
        ASSERT_EQ(loopback.engine.liveObjects(), 0) << "allocation " << n;
        ASSERT_EQ(ORXOsapiHeap_getLiveBufferCount(), buffers) << "allocation " << n << "\n" << log.text();
    }
    EXPECT_TRUE(hasFailedLast);
}

// With QoS of the user's that hold texts, so that their copies need memory.
TEST_F(LibraryEntitiesTest, AFailedAllocationNamesWhatCouldNotBeMade) {
    make();
    drop();
    FailingHeap heap;
    std::set<std::string> reasons;
    const auto walk = [&] {
        bool hasFailed = true;
        for (uint64_t n = 1; hasFailed && n < 2000; ++n) {
            heap.failAt(n);
            make();
            hasFailed = heap.hasFailed();
            heap.failNoMore();
            if (entities != nullptr)
                drop();
        }
        EXPECT_FALSE(hasFailed);
        for (const auto& line : log.lines())
            reasons.insert(line.identifier + " " + line.subject);
        log.clear();
    };
    walk();
    DDS_DomainParticipantQos participantQos{};
    DDS_DomainParticipantQos_initialize(&participantQos);
    participantQos.discovery_config.enabled_builtin_channels = DDS_DISCOVERYCONFIG_SERVICE_REQUEST_CHANNEL;
    DDS_String_replace(&participantQos.participant_name.name, "mine");
    DDS_PublisherQos publisherQos{};
    DDS_PublisherQos_initialize(&publisherQos);
    DDS_StringSeq_ensure_length(&publisherQos.partition.name, 1, 1);
    DDS_String_replace(DDS_StringSeq_get_reference(&publisherQos.partition.name, 0), "part");
    DDS_DataWriterQos writerQos{};
    DDS_DataWriterQos_initialize(&writerQos);
    DDS_String_replace(&writerQos.publication_name.name, "mine");
    DDS_StringSeq_ensure_length(&property.collector_initial_peers, 1, 1);
    DDS_String_replace(DDS_StringSeq_get_reference(&property.collector_initial_peers, 0), "10.0.0.1");
    property.participant_qos = &participantQos;
    property.publisher_qos = &publisherQos;
    property.event.writer_qos = &writerQos;
    walk();
    property.participant_qos = nullptr;
    property.publisher_qos = nullptr;
    property.event.writer_qos = nullptr;
    DDS_DataWriterQos_finalize(&writerQos);
    DDS_PublisherQos_finalize(&publisherQos);
    DDS_DomainParticipantQos_finalize(&participantQos);
    for (const char* reason :
        {"FAILED_TO_COPY Monitoring event DDS_DomainParticipantQos", "FAILED_TO_COPY collector_initial_peers",
            "FAILED_TO_CREATE Monitoring Participant", "FAILED_TO_COPY Monitoring Publisher QoS",
            "FAILED_TO_GET Monitoring DCPSEventStatusMonitoring DataWriter QoS",
            "FAILED_TO_CREATE Monitoring publisher entities for DCPSLoggingStatusMonitoring",
            "FAILED_TO_INITIALIZE Monitoring Writer Entities", "FAILED_TO_INITIALIZE Monitoring entities"})
        EXPECT_TRUE(reasons.contains(reason)) << reason;
}

TEST_F(LibraryEntitiesTest, ANewThatFindsNoMemoryAtAllNamesTheStructure) {
    FailingHeap heap;
    heap.failAt(1);
    make();
    heap.failNoMore();
    EXPECT_EQ(entities, nullptr);
    EXPECT_TRUE(log.has(
        "'struct ORX_MonitoringEntities' with size " + std::to_string(sizeof(ORX_MonitoringLibraryEntities)),
        "FAILED_TO_ALLOCATE"))
        << log.text();
}

TEST_F(LibraryEntitiesTest, WriterEntitiesLiveOnALentParticipant) {
    DDS_DomainParticipant* participant = loopback.newParticipant(DDS_DISCOVERYCONFIG_SERVICE_REQUEST_CHANNEL);
    DDS_PublisherQos publisherQos{};
    DDS_PublisherQos_initialize(&publisherQos);
    ORX_MonitoringWriterEntitiesProperty_t writers{};
    writers.publisher_qos = &publisherQos;
    ORX_MonitoringWriterEntities* writerEntities = ORX_MonitoringWriterEntities_new(participant, &writers);
    ASSERT_NE(writerEntities, nullptr);
    EXPECT_EQ(writers.publisher_qos, &publisherQos); // and what it points to is whole
    ASSERT_NE(writerEntities->event_writer, nullptr);
    EXPECT_FALSE(isEnabled(writerEntities->event_writer));
    EXPECT_EQ(ORX_MonitoringWriterEntities_enable(writerEntities), 1);
    EXPECT_TRUE(isEnabled(writerEntities->logging_writer));
    ORX_MonitoringWriterEntities_delete(writerEntities);
    ORX_MonitoringWriterEntities_delete(nullptr);
    ORX_MonitoringWriterEntitiesProperty_t_finalize(&writers);
    EXPECT_EQ(writers.publisher_qos, nullptr);
    DDS_PublisherQos_finalize(&publisherQos);
    EXPECT_TRUE(loopback.deleteParticipant(participant));
    DDS_DomainParticipant* without = loopback.newParticipant(0);
    EXPECT_EQ(ORX_MonitoringWriterEntities_new(without, &writers), nullptr);
    EXPECT_TRUE(log.has("Monitoring Writer entities", "FAILED_TO_CREATE")) << log.text();
    EXPECT_TRUE(loopback.deleteParticipant(without));
}

TEST_F(LibraryEntitiesTest, ArgumentsAreChecked) {
    EXPECT_EQ(ORX_MonitoringLibraryEntities_new(nullptr, &property), nullptr);
    EXPECT_TRUE(log.has("\"factory == ((void *)0)\"\n", "PRECONDITION"));
    EXPECT_EQ(ORX_MonitoringLibraryEntities_new(loopback.factory(), nullptr), nullptr);
    EXPECT_TRUE(log.has("\"property == ((void *)0)\"\n", "PRECONDITION"));
    EXPECT_EQ(ORX_MonitoringLibraryEntities_new_w_participant(nullptr, &property), nullptr);
    EXPECT_TRUE(log.has("\"participant == ((void *)0)\"\n", "PRECONDITION"));
    EXPECT_EQ(ORX_MonitoringLibraryEntities_enable(nullptr), 0);
    EXPECT_TRUE(log.has("\"self == ((void *)0)\"\n", "PRECONDITION"));
    log.clear();
    ORX_MonitoringLibraryEntities_delete(nullptr, nullptr);
    EXPECT_TRUE(log.lines().empty());
}

} // namespace
