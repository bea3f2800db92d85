// Life of entities: creation, enabling, identity, deletion, and what forks and failures leave.
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <set>

#include "tests/unit/middleware/EntityFixture.hpp"

namespace {

class Entities : public LoopbackEntities {};

std::string bytes(const DDS_GUID_t& guid) {
    return {reinterpret_cast<const char*>(guid.value), 16};
}

DDS_GUID_t guidOf(DDS_Entity* entity) {
    DDS_GUID_t guid{};
    EXPECT_EQ(DDS_Entity_get_guid(entity, &guid), DDS_RETCODE_OK);
    return guid;
}

TEST_F(LoopbackEntities, ALeaseIsANumberOfSeconds) {
    for (const auto& [value, isGood] : {std::pair{"1", true}, {"3600", true}, {"0", false}, {"3601", false},
             {"-1", false}, {"5s", false}, {"", false}, {"99999999999999999999", false}}) {
        DDS_DomainParticipantQos qos{};
        DDS_DomainParticipantQos_initialize(&qos);
        ASSERT_EQ(DDS_PropertyQosPolicyHelper_add_property(
                      &qos.property, DDS_PARTICIPANT_LEASE_PROPERTYI, value, DDS_BOOLEAN_FALSE),
            DDS_RETCODE_OK);
        DDS_DomainParticipant* participant =
            DDS_DomainParticipantFactory_create_participant(factory(), 3, &qos, nullptr, 0);
        EXPECT_EQ(participant != nullptr, isGood) << value;
        if (participant != nullptr)
            DDS_DomainParticipantFactory_delete_participant(factory(), participant);
        DDS_DomainParticipantQos_finalize(&qos);
    }
}

TEST_F(Entities, ADisabledParticipantHasItsFinalGuidAndNoEndpoints) {
    DDS_DomainParticipant* participant = createParticipant(false);
    DDS_Entity* entity = DDS_DomainParticipant_as_entity(participant);
    const DDS_GUID_t guid = guidOf(entity);
    EXPECT_FALSE(DDS_GUID_equals(&guid, &DDS_GUID_UNKNOWN));
    DDS_Publisher* publisher = DDS_DomainParticipant_create_publisher(participant, nullptr, nullptr, 0);
    DDS_DataWriter* writer =
        DDS_Publisher_create_datawriter(publisher, createTopic(participant), nullptr, nullptr, 0);
    EXPECT_FALSE(DDS_Entity_is_enabled(entity));
    EXPECT_FALSE(DDS_Entity_is_enabled(DDS_DataWriter_as_entity(writer)));
    EXPECT_EQ(engine.liveObjects(), 1);
    EXPECT_EQ(DDS_Entity_enable(DDS_DataWriter_as_entity(writer)), DDS_RETCODE_PRECONDITION_NOT_MET);
    const TestSample sample{1, nullptr};
    EXPECT_EQ(DDS_DataWriter_write_untypedI(writer, &sample, &DDS_HANDLE_NIL), DDS_RETCODE_NOT_ENABLED);

    ASSERT_EQ(DDS_Entity_enable(entity), DDS_RETCODE_OK);
    EXPECT_EQ(DDS_Entity_enable(entity), DDS_RETCODE_OK);
    EXPECT_TRUE(DDS_Entity_is_enabled(DDS_Publisher_as_entity(publisher)));
    EXPECT_TRUE(DDS_Entity_is_enabled(DDS_DataWriter_as_entity(writer)));
    EXPECT_EQ(engine.liveObjects(), 2);
    const DDS_GUID_t after = guidOf(entity);
    EXPECT_TRUE(DDS_GUID_equals(&guid, &after));
    deleteParticipant(participant);
}

TEST_F(Entities, APublisherThatDoesNotEnableLeavesItsWritersDisabled) {
    DDS_DomainParticipant* participant = createParticipant();
    DDS_PublisherQos qos;
    DDS_PublisherQos_initialize(&qos);
    qos.entity_factory.autoenable_created_entities = DDS_BOOLEAN_FALSE;
    DDS_Publisher* publisher = DDS_DomainParticipant_create_publisher(participant, &qos, nullptr, 0);
    EXPECT_TRUE(DDS_Entity_is_enabled(DDS_Publisher_as_entity(publisher)));
    DDS_DataWriter* writer =
        DDS_Publisher_create_datawriter(publisher, createTopic(participant), nullptr, nullptr, 0);
    EXPECT_FALSE(DDS_Entity_is_enabled(DDS_DataWriter_as_entity(writer)));
    EXPECT_EQ(DDS_Entity_enable(DDS_DomainParticipant_as_entity(participant)), DDS_RETCODE_OK);
    EXPECT_FALSE(DDS_Entity_is_enabled(DDS_DataWriter_as_entity(writer)));
    EXPECT_EQ(DDS_Entity_enable(DDS_DataWriter_as_entity(writer)), DDS_RETCODE_OK);
    EXPECT_TRUE(DDS_Entity_is_enabled(DDS_DataWriter_as_entity(writer)));
    deleteParticipant(participant);
}

TEST_F(Entities, AFailedEnableCanBeTriedAgain) {
    DDS_DomainParticipant* participant = createParticipant(false);
    DDS_Publisher* publisher = DDS_DomainParticipant_create_publisher(participant, nullptr, nullptr, 0);
    DDS_Topic* topic = createTopic(participant);
    DDS_DataWriter* first = DDS_Publisher_create_datawriter(publisher, topic, nullptr, nullptr, 0);
    DDS_DataWriter* second = DDS_Publisher_create_datawriter(publisher, topic, nullptr, nullptr, 0);
    engine.failAt(2);
    EXPECT_NE(DDS_Entity_enable(DDS_DomainParticipant_as_entity(participant)), DDS_RETCODE_OK);
    EXPECT_FALSE(DDS_Entity_is_enabled(DDS_DataWriter_as_entity(second)));
    EXPECT_TRUE(log.has("FAILED_TO_CREATE", "engine writer of topic 'Topic'"));
    EXPECT_EQ(DDS_Entity_enable(DDS_DomainParticipant_as_entity(participant)), DDS_RETCODE_OK);
    EXPECT_TRUE(DDS_Entity_is_enabled(DDS_DataWriter_as_entity(first)));
    EXPECT_TRUE(DDS_Entity_is_enabled(DDS_DataWriter_as_entity(second)));
    deleteParticipant(participant);
}

TEST_F(Entities, GuidsShareThePrefixAndDiffer) {
    DDS_DomainParticipant* participant = createParticipant(false);
    DDS_Topic* topic = createTopic(participant);
    DDS_Publisher* publisher = DDS_DomainParticipant_create_publisher(participant, nullptr, nullptr, 0);
    DDS_Subscriber* subscriber = DDS_DomainParticipant_create_subscriber(participant, nullptr, nullptr, 0);
    DDS_DataWriter* asked = DDS_Publisher_create_datawriter(publisher, topic, nullptr, nullptr, 0);
    DDS_DataWriter* unasked = DDS_Publisher_create_datawriter(publisher, topic, nullptr, nullptr, 0);
    DDS_DataReader* reader = DDS_Subscriber_create_datareader(
        subscriber, DDS_Topic_as_topicdescription(topic), nullptr, nullptr, 0);
    const DDS_GUID_t beforeEnable = guidOf(DDS_DataWriter_as_entity(asked));
    EXPECT_EQ(beforeEnable.value[15], 0x03);
    ASSERT_EQ(DDS_Entity_enable(DDS_DomainParticipant_as_entity(participant)), DDS_RETCODE_OK);
    const DDS_GUID_t afterEnable = guidOf(DDS_DataWriter_as_entity(asked));
    EXPECT_TRUE(DDS_GUID_equals(&beforeEnable, &afterEnable));

    std::set<std::string> guids;
    for (DDS_Entity* entity : {DDS_DomainParticipant_as_entity(participant), DDS_Topic_as_entity(topic),
             DDS_Publisher_as_entity(publisher), DDS_Subscriber_as_entity(subscriber),
             DDS_DataWriter_as_entity(asked), DDS_DataWriter_as_entity(unasked),
             DDS_DataReader_as_entity(reader)}) {
        const DDS_GUID_t guid = guidOf(entity);
        EXPECT_EQ(std::memcmp(guid.value, beforeEnable.value, 12), 0);
        guids.insert(bytes(guid));
        const DDS_InstanceHandle_t handle = DDS_Entity_get_instance_handle(entity);
        DDS_GUID_t fromHandle;
        DDS_InstanceHandle_to_guid(&handle, &fromHandle);
        EXPECT_TRUE(DDS_GUID_equals(&guid, &fromHandle));
    }
    EXPECT_EQ(guids.size(), 7U);
    deleteParticipant(participant);
}

TEST_F(Entities, KindsAndAccessors) {
    DDS_DomainParticipant* participant = createParticipant();
    DDS_Topic* topic = createTopic(participant);
    DDS_Publisher* publisher = DDS_DomainParticipant_create_publisher(participant, nullptr, nullptr, 0);
    DDS_Subscriber* subscriber = DDS_DomainParticipant_create_subscriber(participant, nullptr, nullptr, 0);
    DDS_DataWriter* writer = DDS_Publisher_create_datawriter(publisher, topic, nullptr, nullptr, 0);
    DDS_DataReader* reader = DDS_Subscriber_create_datareader(subscriber, topic, nullptr, nullptr, 0);
    EXPECT_EQ(DDS_Entity_get_entity_kind(DDS_DomainParticipant_as_entity(participant)),
        DDS_PARTICIPANT_ENTITY_KIND);
    EXPECT_EQ(DDS_Entity_get_entity_kind(DDS_Topic_as_entity(topic)), DDS_TOPIC_ENTITY_KIND);
    EXPECT_EQ(DDS_Entity_get_entity_kind(DDS_Publisher_as_entity(publisher)), DDS_PUBLISHER_ENTITY_KIND);
    EXPECT_EQ(DDS_Entity_get_entity_kind(DDS_Subscriber_as_entity(subscriber)), DDS_SUBSCRIBER_ENTITY_KIND);
    EXPECT_EQ(DDS_Entity_get_entity_kind(DDS_DataWriter_as_entity(writer)), DDS_DATAWRITER_ENTITY_KIND);
    EXPECT_EQ(DDS_Entity_get_entity_kind(DDS_DataReader_as_entity(reader)), DDS_DATAREADER_ENTITY_KIND);
    EXPECT_STREQ(DDS_TopicDescription_get_name(topic), "Topic");
    EXPECT_STREQ(DDS_TopicDescription_get_type_name(topic), "Test");
    EXPECT_EQ(DDS_DataWriter_get_topic(writer), topic);
    EXPECT_EQ(DDS_DataWriter_get_publisher(writer), publisher);
    EXPECT_EQ(DDS_Publisher_get_participant(publisher), participant);
    EXPECT_EQ(DDS_DataReader_get_topicdescription(reader), topic);
    EXPECT_EQ(DDS_DataWriter_get_type_pluginI(writer), &test_type::plugin);
    EXPECT_EQ(DDS_DataReader_get_type_pluginI(reader), &test_type::plugin);
    EXPECT_EQ(DDS_DomainParticipant_get_domain_id(participant), 3);
    EXPECT_EQ(DDS_DomainParticipant_get_participant_factoryI(participant), factory());
    EXPECT_EQ(
        DDS_StatusCondition_get_entity(DDS_Entity_get_statuscondition(DDS_DataWriter_as_entity(writer))),
        DDS_DataWriter_as_entity(writer));
    deleteParticipant(participant);
}

TEST_F(Entities, TopicsNeedARegisteredTypeAndAName) {
    DDS_DomainParticipant* participant = createParticipant();
    EXPECT_EQ(DDS_DomainParticipant_create_topic(participant, "T", "Unknown", nullptr, nullptr, 0), nullptr);
    EXPECT_TRUE(log.has("FAILED_TO_FIND", "type 'Unknown' of topic 'T'"));
    DDS_Topic* topic = createTopic(participant);
    EXPECT_EQ(createTopic(participant), nullptr) << "the name is taken";
    EXPECT_EQ(DDS_DomainParticipant_register_typeI(participant, "Test", &test_type::plugin), DDS_RETCODE_OK);
    EXPECT_EQ(DDS_DomainParticipant_register_typeI(participant, "Test", &test_type::otherPlugin),
        DDS_RETCODE_PRECONDITION_NOT_MET);
    EXPECT_EQ(DDS_DomainParticipant_unregister_typeI(participant, "Test"), DDS_RETCODE_PRECONDITION_NOT_MET);
    EXPECT_EQ(DDS_DomainParticipant_delete_topic(participant, topic), DDS_RETCODE_OK);
    EXPECT_EQ(DDS_DomainParticipant_unregister_typeI(participant, "Test"), DDS_RETCODE_OK);
    EXPECT_EQ(DDS_DomainParticipant_unregister_typeI(participant, "Test"), DDS_RETCODE_BAD_PARAMETER);
    deleteParticipant(participant);
}

TEST_F(Entities, ParentsAreNotDeletedBeforeTheirChildren) {
    DDS_DomainParticipant* participant = createParticipant();
    DDS_DomainParticipant* other = createParticipant();
    DDS_Topic* topic = createTopic(participant);
    DDS_Publisher* publisher = DDS_DomainParticipant_create_publisher(participant, nullptr, nullptr, 0);
    DDS_DataWriter* writer = DDS_Publisher_create_datawriter(publisher, topic, nullptr, nullptr, 0);
    EXPECT_EQ(DDS_DomainParticipantFactory_delete_participant(factory(), participant),
        DDS_RETCODE_PRECONDITION_NOT_MET);
    EXPECT_EQ(
        DDS_DomainParticipant_delete_publisher(participant, publisher), DDS_RETCODE_PRECONDITION_NOT_MET);
    EXPECT_EQ(DDS_DomainParticipant_delete_topic(participant, topic), DDS_RETCODE_PRECONDITION_NOT_MET);
    EXPECT_EQ(DDS_DomainParticipant_delete_publisher(other, publisher), DDS_RETCODE_PRECONDITION_NOT_MET);
    EXPECT_EQ(DDS_DomainParticipant_delete_topic(other, topic), DDS_RETCODE_PRECONDITION_NOT_MET);
    EXPECT_EQ(DDS_Publisher_create_datawriter(publisher, createTopic(other), nullptr, nullptr, 0), nullptr)
        << "a topic of another participant";
    EXPECT_EQ(DDS_Publisher_delete_datawriter(publisher, writer), DDS_RETCODE_OK);
    EXPECT_EQ(DDS_DomainParticipant_delete_publisher(participant, publisher), DDS_RETCODE_OK);
    EXPECT_EQ(DDS_DomainParticipant_delete_topic(participant, topic), DDS_RETCODE_OK);
    EXPECT_EQ(DDS_DomainParticipantFactory_delete_participant(factory(), participant), DDS_RETCODE_OK);
    deleteParticipant(other);
}

TEST_F(Entities, InconsistentQosCreatesNothing) {
    DDS_DomainParticipant* participant = createParticipant();
    DDS_Topic* topic = createTopic(participant);
    DDS_Publisher* publisher = DDS_DomainParticipant_create_publisher(participant, nullptr, nullptr, 0);
    WriterQos writer;
    writer.history = {DDS_KEEP_LAST_HISTORY_QOS, 0};
    EXPECT_EQ(DDS_Publisher_create_datawriter(publisher, topic, &writer, nullptr, 0), nullptr);
    EXPECT_TRUE(log.has("INCONSISTENT_QOS", "history depth 0"));
    writer.history.depth = 1;
    writer.resource_limits.max_samples = -7;
    EXPECT_EQ(DDS_Publisher_create_datawriter(publisher, topic, &writer, nullptr, 0), nullptr);
    deleteParticipant(participant);
}

TEST_F(Entities, TransportsComeFromTheEngine) {
    DDS_DomainParticipant* participant = createParticipant();
    EXPECT_EQ(DDS_DomainParticipant_is_transport_enabled(nullptr, 1), 0);
    EXPECT_EQ(DDS_DomainParticipant_is_transport_enabled(participant, 1), 0);
    engine.setTransportEnabled(1, true);
    EXPECT_NE(DDS_DomainParticipant_is_transport_enabled(participant, 1), 0);
    EXPECT_EQ(DDS_DomainParticipant_is_transport_enabled(participant, 2), 0);
    EXPECT_EQ(DDS_DomainParticipant_is_transport_enabled(participant, 3), 0);
    deleteParticipant(participant);
}

TEST_F(Entities, ParticipantQosIsKept) {
    DDS_DomainParticipantQos qos, read;
    DDS_DomainParticipantQos_initialize(&qos);
    DDS_DomainParticipantQos_initialize(&read);
    ASSERT_NE(DDS_String_replace(&qos.participant_name.name, "me"), nullptr);
    DDS_DomainParticipant* participant =
        DDS_DomainParticipantFactory_create_participant_disabled(factory(), 3, &qos, nullptr, 0);
    EXPECT_EQ(DDS_DomainParticipant_get_qos(participant, &read), DDS_RETCODE_OK);
    EXPECT_TRUE(DDS_DomainParticipantQos_equals(&qos, &read));
    DDS_TopicQos topicQos;
    EXPECT_EQ(DDS_DomainParticipant_get_default_topic_qos(participant, &topicQos), DDS_RETCODE_OK);
    EXPECT_EQ(topicQos.history.depth, 1);
    DDS_DomainParticipantQos_finalize(&qos);
    DDS_DomainParticipantQos_finalize(&read);
    deleteParticipant(participant);
}

TEST_F(Entities, TheEntityLockIsRecursiveAndExcludesOthers) {
    DDS_DomainParticipant* participant = createParticipant();
    DDS_Entity* entity = DDS_DomainParticipant_as_entity(participant);
    EXPECT_EQ(DDS_Entity_lock(entity), DDS_RETCODE_OK);
    EXPECT_EQ(DDS_Entity_lock(entity), DDS_RETCODE_OK);
    EXPECT_EQ(DDS_Entity_unlock(entity), DDS_RETCODE_OK);
    auto other = std::async(std::launch::async, [&] {
        EXPECT_EQ(DDS_Entity_unlock(entity), DDS_RETCODE_PRECONDITION_NOT_MET) << "not the holder";
        EXPECT_EQ(DDS_Entity_lock(entity), DDS_RETCODE_OK);
        EXPECT_EQ(DDS_Entity_unlock(entity), DDS_RETCODE_OK);
    });
    EXPECT_EQ(DDS_Entity_unlock(entity), DDS_RETCODE_OK);
    other.get();
    deleteParticipant(participant);
}

TEST_F(Entities, ObservedEntitiesHaveALockAKindAGuidAndTransports) {
    FailingHeap heap;
    DDS_GUID_t guid{};
    guid.value[3] = 9;
    DDS_Entity* entity = DDS_Entity_create_observedI(DDS_PARTICIPANT_ENTITY_KIND, &guid, 2);
    ASSERT_NE(entity, nullptr);
    EXPECT_EQ(DDS_Entity_get_entity_kind(entity), DDS_PARTICIPANT_ENTITY_KIND);
    const DDS_GUID_t read = guidOf(entity);
    EXPECT_TRUE(DDS_GUID_equals(&read, &guid));
    EXPECT_EQ(DDS_Entity_lock(entity), DDS_RETCODE_OK);
    EXPECT_EQ(DDS_Entity_unlock(entity), DDS_RETCODE_OK);
    auto* participant = reinterpret_cast<DDS_DomainParticipant*>(entity);
    EXPECT_EQ(DDS_DomainParticipant_is_transport_enabled(participant, 1), 0);
    EXPECT_NE(DDS_DomainParticipant_is_transport_enabled(participant, 2), 0);
    EXPECT_EQ(DDS_Entity_enable(entity), DDS_RETCODE_ILLEGAL_OPERATION);
    DDS_Entity_delete_observedI(entity);
    DDS_Entity_delete_observedI(nullptr);
    DDS_Entity* writer = DDS_Entity_create_observedI(DDS_DATAWRITER_ENTITY_KIND, &guid, 0);
    const DDS_GUID_t writerGuid = guidOf(writer);
    EXPECT_TRUE(DDS_GUID_equals(&writerGuid, &guid));
    DDS_Entity_delete_observedI(writer);
    EXPECT_EQ(heap.live(), 0);
}

// The child ends with the number of the first check that failed.
TEST_F(Entities, AForkedChildTouchesNothing) {
    DDS_DomainParticipant* participant = createParticipant();
    DDS_Publisher* publisher = DDS_DomainParticipant_create_publisher(participant, nullptr, nullptr, 0);
    DDS_DataWriter* writer = DDS_Publisher_create_datawriter(
        publisher, createTopic(participant), &WriterQos().asynchronous(), nullptr, 0);
    ASSERT_EQ(
        DDS_Entity_lock(writer == nullptr ? nullptr : DDS_DataWriter_as_entity(writer)), DDS_RETCODE_OK);
    const TestSample sample{1, nullptr};
    const pid_t child = fork();
    if (child == 0) {
        DDS_Entity* entity = DDS_DataWriter_as_entity(writer);
        const DDS_Duration_t zero = DDS_DURATION_ZERO;
        const bool checks[] = {
            DDS_Entity_lock(entity) == DDS_RETCODE_ILLEGAL_OPERATION,
            DDS_Entity_unlock(entity) == DDS_RETCODE_ILLEGAL_OPERATION,
            DDS_DataWriter_write_untypedI(writer, &sample, &DDS_HANDLE_NIL) == DDS_RETCODE_ILLEGAL_OPERATION,
            DDS_DataWriter_flushI(writer, &zero) == DDS_RETCODE_ILLEGAL_OPERATION,
            DDS_DomainParticipant_delete_contained_entities(participant) == DDS_RETCODE_ILLEGAL_OPERATION,
            DDS_DomainParticipantFactory_delete_participant(factory(), participant) ==
                DDS_RETCODE_ILLEGAL_OPERATION,
        };
        int failed = 0;
        for (int i = 0; failed == 0 && i < static_cast<int>(std::size(checks)); ++i)
            failed = checks[i] ? 0 : i + 1;
        _exit(failed);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0);
    EXPECT_EQ(DDS_Entity_unlock(DDS_DataWriter_as_entity(writer)), DDS_RETCODE_OK);
    EXPECT_EQ(DDS_DataWriter_write_untypedI(writer, &sample, &DDS_HANDLE_NIL), DDS_RETCODE_OK);
    deleteParticipant(participant);
}

// ---- failure walks ----

struct Made {
    DDS_DomainParticipant* participant = nullptr;
    bool isComplete = false;
};

// Participant, topic, publisher, asynchronous writer, subscriber, reader with a listener, one sample there
// and back.
Made makeEverything() {
    static const DDS_DataReaderListener listener{nullptr, [](void*, DDS_DataReader*) {}, nullptr};
    Made made;
    made.participant =
        DDS_DomainParticipantFactory_create_participant_disabled(factory(), 3, nullptr, nullptr, 0);
    if (made.participant == nullptr)
        return made;
    if (DDS_DomainParticipant_register_typeI(made.participant, "Test", &test_type::plugin) != DDS_RETCODE_OK)
        return made;
    DDS_Topic* topic =
        DDS_DomainParticipant_create_topic(made.participant, "Topic", "Test", nullptr, nullptr, 0);
    DDS_Publisher* publisher = DDS_DomainParticipant_create_publisher(made.participant, nullptr, nullptr, 0);
    DDS_Subscriber* subscriber =
        DDS_DomainParticipant_create_subscriber(made.participant, nullptr, nullptr, 0);
    if (topic == nullptr || publisher == nullptr || subscriber == nullptr)
        return made;
    DDS_DataWriter* writer =
        DDS_Publisher_create_datawriter(publisher, topic, &WriterQos().asynchronous(), nullptr, 0);
    DDS_DataReader* reader = DDS_Subscriber_create_datareader(subscriber, topic,
        &static_cast<const DDS_DataReaderQos&>(ReaderQos()), &listener, DDS_DATA_AVAILABLE_STATUS);
    if (writer == nullptr || reader == nullptr)
        return made;
    if (DDS_Entity_enable(DDS_DomainParticipant_as_entity(made.participant)) != DDS_RETCODE_OK)
        return made;
    const TestSample sample{1, const_cast<char*>("text")};
    if (DDS_DataWriter_write_untypedI(writer, &sample, &DDS_HANDLE_NIL) != DDS_RETCODE_OK)
        return made;
    EXPECT_EQ(DDS_DataWriter_flushI(writer, &generous), DDS_RETCODE_OK);
    Loan loan(reader, true);
    made.isComplete =
        loan.result == DDS_RETCODE_OK && loan.samples.length() == 1 && loan.samples[0].number == 1;
    return made;
}

void deleteEverything(const Made& made) {
    if (made.participant == nullptr)
        return;
    EXPECT_EQ(DDS_DomainParticipant_delete_contained_entities(made.participant), DDS_RETCODE_OK);
    EXPECT_EQ(DDS_DomainParticipantFactory_delete_participant(factory(), made.participant), DDS_RETCODE_OK);
}

TEST_F(Entities, TheNthFailingAllocationLeavesNothing) {
    long complete = 0;
    for (long n = 1; complete < 1 && n < 1000; ++n) {
        FailingHeap heap(n);
        const Made made = makeEverything();
        deleteEverything(made);
        EXPECT_EQ(engine.liveObjects(), 0) << n;
        EXPECT_EQ(heap.live(), 0) << n;
        EXPECT_EQ(ORXOsapiThread_getLiveThreadCount(), threadsBefore) << n;
        if (!heap.hasFailed())
            complete += made.isComplete;
        if (!heap.hasFailed())
            break;
    }
    EXPECT_EQ(complete, 1);
}

TEST_F(Entities, TheNthFailingEngineCallLeavesNothing) {
    int failures = 0;
    bool isComplete = false;
    for (int64_t n = 1; !isComplete && n < 100; ++n) {
        FailingHeap heap;
        engine.failAt(n);
        const Made made = makeEverything();
        isComplete = made.isComplete;
        failures += !isComplete;
        engine.failAt(0);
        deleteEverything(made);
        EXPECT_EQ(engine.liveObjects(), 0) << n;
        EXPECT_EQ(heap.live(), 0) << n;
    }
    EXPECT_TRUE(isComplete);
    EXPECT_EQ(failures, 4) << "participant, writer, reader, write";
}

// ---- threads ----

TEST_F(Entities, ThreadsMakeAndDeleteEntitiesAtOnce) {
    DDS_DomainParticipant* participant = createParticipant();
    DDS_Topic* topic = createTopic(participant);
    std::vector<std::future<void>> threads;
    for (int t = 0; t < 3; ++t) {
        threads.push_back(std::async(std::launch::async, [&] {
            for (int i = 0; i < 30; ++i) {
                DDS_Publisher* publisher =
                    DDS_DomainParticipant_create_publisher(participant, nullptr, nullptr, 0);
                DDS_Subscriber* subscriber =
                    DDS_DomainParticipant_create_subscriber(participant, nullptr, nullptr, 0);
                DDS_DataWriter* writer = DDS_Publisher_create_datawriter(
                    publisher, topic, &WriterQos().asynchronous(), nullptr, 0);
                DDS_DataReader* reader =
                    DDS_Subscriber_create_datareader(subscriber, topic, nullptr, nullptr, 0);
                const TestSample sample{i, nullptr};
                EXPECT_EQ(DDS_DataWriter_write_untypedI(writer, &sample, &DDS_HANDLE_NIL), DDS_RETCODE_OK);
                EXPECT_EQ(DDS_Subscriber_delete_datareader(subscriber, reader), DDS_RETCODE_OK);
                EXPECT_EQ(DDS_Publisher_delete_datawriter(publisher, writer), DDS_RETCODE_OK);
                EXPECT_EQ(DDS_DomainParticipant_delete_subscriber(participant, subscriber), DDS_RETCODE_OK);
                EXPECT_EQ(DDS_DomainParticipant_delete_publisher(participant, publisher), DDS_RETCODE_OK);
            }
        }));
    }
    for (auto& thread : threads)
        thread.get();
    deleteParticipant(participant);
}

TEST_F(Entities, TheFactoryIsOneAndKeepsAWorkerFactory) {
    EXPECT_EQ(factory(), factory());
    REDAWorkerFactory* workers = DDS_DomainParticipantFactory_get_worker_factoryI(factory(), nullptr);
    EXPECT_NE(workers, nullptr);
    EXPECT_EQ(DDS_DomainParticipantFactory_get_worker_factoryI(factory(), nullptr), workers);
    DDS_DomainParticipant* participant = createParticipant();
    EXPECT_EQ(DDS_DomainParticipantFactory_finalize_instance(), DDS_RETCODE_PRECONDITION_NOT_MET);
    deleteParticipant(participant);
    EXPECT_EQ(DDS_DomainParticipantFactory_finalize_instance(), DDS_RETCODE_OK);
}

} // namespace
