// A few of the entities' promises over the real engine, within this process.
#include <condition_variable>
#include <cstring>
#include <mutex>

#include "tests/helpers/TestDomain.hpp"
#include "tests/unit/middleware/EntityFixture.hpp"

namespace {

using namespace std::chrono_literals;

const DDS_DomainId_t domain = testDomain();

class CycloneEntities : public ::testing::Test {
protected:
    void SetUp() override {
        zdds::engine::setInstance(nullptr);
        writing = createParticipant();
        reading = createParticipant();
    }
    void TearDown() override {
        for (DDS_DomainParticipant* participant : {writing, reading}) {
            if (participant == nullptr)
                continue;
            EXPECT_EQ(DDS_DomainParticipant_delete_contained_entities(participant), DDS_RETCODE_OK);
            EXPECT_EQ(
                DDS_DomainParticipantFactory_delete_participant(factory(), participant), DDS_RETCODE_OK);
        }
    }
    static DDS_DomainParticipant* createParticipant() {
        DDS_DomainParticipant* participant =
            DDS_DomainParticipantFactory_create_participant_disabled(factory(), domain, nullptr, nullptr, 0);
        EXPECT_NE(participant, nullptr);
        EXPECT_EQ(DDS_DomainParticipant_register_typeI(participant, "test::Sample", &test_type::plugin),
            DDS_RETCODE_OK);
        return participant;
    }
    // The profile's QoS, as the library uses it.
    void makeWriter(const char* topicName) {
        WriterQos qos;
        ASSERT_EQ(DDS_DomainParticipantFactory_get_datawriter_qos_from_profile_w_topic_name(
                      factory(), &qos, DDS_BUILTIN_QOS_LIB, DDS_PROFILE_GENERIC_MONITORING2, topicName),
            DDS_RETCODE_OK);
        DDS_Topic* topic =
            DDS_DomainParticipant_create_topic(writing, topicName, "test::Sample", nullptr, nullptr, 0);
        publisher = DDS_DomainParticipant_create_publisher(writing, nullptr, nullptr, 0);
        writer = DDS_Publisher_create_datawriter(publisher, topic, &qos, nullptr, 0);
        ASSERT_NE(writer, nullptr);
    }
    void makeReader(const char* topicName, const DDS_DataReaderListener* calls, DDS_StatusMask mask) {
        ReaderQos qos;
        ASSERT_EQ(DDS_DomainParticipantFactory_get_datareader_qos_from_profile_w_topic_name(
                      factory(), &qos, DDS_BUILTIN_QOS_LIB, DDS_PROFILE_GENERIC_MONITORING2, topicName),
            DDS_RETCODE_OK);
        DDS_Topic* topic =
            DDS_DomainParticipant_create_topic(reading, topicName, "test::Sample", nullptr, nullptr, 0);
        subscriber = DDS_DomainParticipant_create_subscriber(reading, nullptr, nullptr, 0);
        reader = DDS_Subscriber_create_datareader(subscriber, topic, &qos, calls, mask);
        ASSERT_NE(reader, nullptr);
    }
    static void enable(DDS_DomainParticipant* participant) {
        ASSERT_EQ(DDS_Entity_enable(DDS_DomainParticipant_as_entity(participant)), DDS_RETCODE_OK);
    }
    // Waits on the status condition until the writer has that many readers.
    void waitForReaders(DDS_Long count) {
        DDS_StatusCondition* condition = DDS_Entity_get_statuscondition(DDS_DataWriter_as_entity(writer));
        DDS_WaitSet* waitSet = DDS_WaitSet_new();
        DDS_ConditionSeq active{};
        ASSERT_EQ(DDS_WaitSet_attach_condition(waitSet, DDS_StatusCondition_as_condition(condition)),
            DDS_RETCODE_OK);
        DDS_PublicationMatchedStatus status{};
        for (;;) {
            ASSERT_EQ(DDS_DataWriter_get_publication_matched_status(writer, &status), DDS_RETCODE_OK);
            if (status.current_count == count)
                break;
            ASSERT_EQ(DDS_WaitSet_wait(waitSet, &active, &generous), DDS_RETCODE_OK);
        }
        DDS_ConditionSeq_finalize(&active);
        EXPECT_EQ(DDS_WaitSet_delete(waitSet), DDS_RETCODE_OK);
    }

    DDS_DomainParticipant* writing = nullptr;
    DDS_DomainParticipant* reading = nullptr;
    DDS_Publisher* publisher = nullptr;
    DDS_Subscriber* subscriber = nullptr;
    DDS_DataWriter* writer = nullptr;
    DDS_DataReader* reader = nullptr;

    std::mutex mutex;
    std::condition_variable changed;
    std::vector<int> heard; // -1 is a match
    const DDS_DataReaderListener listener{this,
        [](void* self, DDS_DataReader* from) {
            const std::vector<int> numbers = Loan(from, true).numbers();
            auto* test = static_cast<CycloneEntities*>(self);
            std::lock_guard lock(test->mutex);
            test->heard.insert(test->heard.end(), numbers.begin(), numbers.end());
            test->changed.notify_all();
        },
        [](void* self, DDS_DataReader*, const DDS_SubscriptionMatchedStatus* status) {
            auto* test = static_cast<CycloneEntities*>(self);
            std::lock_guard lock(test->mutex);
            if (status->current_count_change > 0)
                test->heard.push_back(-1);
            test->changed.notify_all();
        }};
};

TEST_F(CycloneEntities, NothingMatchesBeforeBothAreEnabledAndThenEverythingArrives) {
    makeWriter("DCPSEventStatusMonitoring");
    makeReader(
        "DCPSEventStatusMonitoring", &listener, DDS_DATA_AVAILABLE_STATUS | DDS_SUBSCRIPTION_MATCHED_STATUS);
    DDS_GUID_t before{}, after{};
    ASSERT_EQ(DDS_Entity_get_guid(DDS_DomainParticipant_as_entity(writing), &before), DDS_RETCODE_OK);
    EXPECT_FALSE(DDS_GUID_equals(&before, &DDS_GUID_UNKNOWN));
    enable(reading);
    const TestSample early{0, nullptr};
    EXPECT_EQ(DDS_DataWriter_write_untypedI(writer, &early, &DDS_HANDLE_NIL), DDS_RETCODE_NOT_ENABLED);
    enable(writing);
    ASSERT_EQ(DDS_Entity_get_guid(DDS_DomainParticipant_as_entity(writing), &after), DDS_RETCODE_OK);
    EXPECT_TRUE(DDS_GUID_equals(&before, &after));
    waitForReaders(1);
    std::vector<int> expected{-1};
    for (int i = 0; i < 300; ++i) {
        const TestSample sample{i, const_cast<char*>("over the engine")};
        ASSERT_EQ(DDS_DataWriter_write_untypedI(writer, &sample, &DDS_HANDLE_NIL), DDS_RETCODE_OK);
        expected.push_back(i);
    }
    EXPECT_EQ(DDS_DataWriter_wait_for_acknowledgments(writer, &generous), DDS_RETCODE_OK);
    {
        std::unique_lock lock(mutex);
        EXPECT_TRUE(changed.wait_for(lock, 30s, [&] { return heard.size() >= expected.size(); }));
        EXPECT_EQ(heard, expected);
    }
    DDS_DataWriterCountersI counters;
    DDS_DataWriter_get_countersI(writer, &counters);
    EXPECT_EQ(counters.written, 300U);
    EXPECT_EQ(counters.dropped_engine + counters.dropped_queue_full, 0U);
}

TEST_F(CycloneEntities, ThePeersSeeTheSameGuids) {
    makeWriter("Guids");
    makeReader("Guids", nullptr, DDS_STATUS_MASK_NONE);
    enable(reading);
    enable(writing);
    waitForReaders(1);
    DDS_InstanceHandleSeq handles{};
    ASSERT_EQ(DDS_DataWriter_get_matched_subscriptions(writer, &handles), DDS_RETCODE_OK);
    ASSERT_EQ(DDS_InstanceHandleSeq_get_length(&handles), 1);
    const DDS_InstanceHandle_t matched = DDS_InstanceHandleSeq_get(&handles, 0);
    const DDS_InstanceHandle_t own = DDS_Entity_get_instance_handle(DDS_DataReader_as_entity(reader));
    EXPECT_TRUE(DDS_InstanceHandle_equals(&matched, &own));
    DDS_InstanceHandleSeq_finalize(&handles);
    const TestSample sample{5, nullptr};
    ASSERT_EQ(DDS_DataWriter_write_untypedI(writer, &sample, &DDS_HANDLE_NIL), DDS_RETCODE_OK);
    ASSERT_EQ(DDS_DataWriter_wait_for_acknowledgments(writer, &generous), DDS_RETCODE_OK);
    DDS_GUID_t writerGuid, source;
    ASSERT_EQ(DDS_Entity_get_guid(DDS_DataWriter_as_entity(writer), &writerGuid), DDS_RETCODE_OK);
    DDS_WaitSet* waitSet = DDS_WaitSet_new();
    DDS_ConditionSeq active{};
    DDS_ReadCondition* condition = DDS_DataReader_create_readcondition(
        reader, DDS_ANY_SAMPLE_STATE, DDS_ANY_VIEW_STATE, DDS_ANY_INSTANCE_STATE);
    ASSERT_EQ(
        DDS_WaitSet_attach_condition(waitSet, DDS_ReadCondition_as_condition(condition)), DDS_RETCODE_OK);
    ASSERT_EQ(DDS_WaitSet_wait(waitSet, &active, &generous), DDS_RETCODE_OK);
    {
        Loan loan(reader, true);
        ASSERT_EQ(loan.samples.length(), 1);
        EXPECT_EQ(loan.info(0).publication_sequence_number.low, 1U);
        DDS_InstanceHandle_to_guid(&loan.info(0).publication_handle, &source);
        EXPECT_TRUE(DDS_GUID_equals(&source, &writerGuid));
    }
    EXPECT_EQ(DDS_WaitSet_delete(waitSet), DDS_RETCODE_OK);
    DDS_ConditionSeq_finalize(&active);
    EXPECT_EQ(DDS_DataReader_delete_readcondition(reader, condition), DDS_RETCODE_OK);
}

TEST_F(CycloneEntities, AReaderThatLeavesIsCountedDown) {
    makeWriter("Leaving");
    makeReader("Leaving", nullptr, DDS_STATUS_MASK_NONE);
    enable(reading);
    enable(writing);
    waitForReaders(1);
    ASSERT_EQ(DDS_Subscriber_delete_datareader(subscriber, reader), DDS_RETCODE_OK);
    waitForReaders(0);
}

TEST_F(CycloneEntities, EntitiesAreDeletedWhileSamplesFlow) {
    makeWriter("Flowing");
    makeReader("Flowing", &listener, DDS_DATA_AVAILABLE_STATUS);
    enable(reading);
    enable(writing);
    waitForReaders(1);
    const std::string text(1000, 'x');
    const TestSample sample{1, const_cast<char*>(text.c_str())};
    for (int i = 0; i < 2000; ++i)
        DDS_DataWriter_write_untypedI(writer, &sample, &DDS_HANDLE_NIL);
    EXPECT_EQ(DDS_Subscriber_delete_datareader(subscriber, reader), DDS_RETCODE_OK);
    EXPECT_EQ(DDS_Publisher_delete_datawriter(publisher, writer), DDS_RETCODE_OK);
}

} // namespace
