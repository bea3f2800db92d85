// The generated writers and readers of the seven topic types, over the loopback engine.
#include <gtest/gtest.h>

#include "RandomValue.hpp"
#include "middleware/engine/loopback/LoopbackEngine.hpp"
#include "orxmonitoring2d/schema_types.h"
#include "tests/helpers/LogCapture.hpp"
#include "zddsc/conditions.h"
#include "zddsc/entities.h"

namespace {

constexpr DDS_TypeAllocationParams_t allocation = DDS_TYPE_ALLOCATION_PARAMS_DEFAULT;
constexpr DDS_TypeDeallocationParams_t deallocation = DDS_TYPE_DEALLOCATION_PARAMS_DEFAULT;

// The functions of one topic type, under names that a template can use.
#define TOPIC(T)                                                                                             \
    struct T##Topic {                                                                                        \
        using Type = T;                                                                                      \
        using Seq = T##Seq;                                                                                  \
        static const DDS_TypeDescriptor& type() { return T##_g_type; }                                       \
        static constexpr auto registerType = &T##TypeSupport_register_type;                                  \
        static constexpr auto unregisterType = &T##TypeSupport_unregister_type;                              \
        static constexpr auto narrowWriter = &T##DataWriter_narrow;                                          \
        static constexpr auto asWriter = &T##DataWriter_as_datawriter;                                       \
        static constexpr auto createData = &T##DataWriter_create_data;                                       \
        static constexpr auto createDataWithParams = &T##DataWriter_create_data_w_params;                    \
        static constexpr auto deleteData = &T##DataWriter_delete_data;                                       \
        static constexpr auto deleteDataWithParams = &T##DataWriter_delete_data_w_params;                    \
        static constexpr auto getLoan = &T##DataWriter_get_loan;                                             \
        static constexpr auto discardLoan = &T##DataWriter_discard_loan;                                     \
        static constexpr auto registerInstance = &T##DataWriter_register_instance;                           \
        static constexpr auto registerInstanceAt = &T##DataWriter_register_instance_w_timestamp;             \
        static constexpr auto registerInstanceWith = &T##DataWriter_register_instance_w_params;              \
        static constexpr auto unregisterInstance = &T##DataWriter_unregister_instance;                       \
        static constexpr auto unregisterInstanceAt = &T##DataWriter_unregister_instance_w_timestamp;         \
        static constexpr auto unregisterInstanceWith = &T##DataWriter_unregister_instance_w_params;          \
        static constexpr auto write = &T##DataWriter_write;                                                  \
        static constexpr auto writeAt = &T##DataWriter_write_w_timestamp;                                    \
        static constexpr auto writeWith = &T##DataWriter_write_w_params;                                     \
        static constexpr auto dispose = &T##DataWriter_dispose;                                              \
        static constexpr auto disposeAt = &T##DataWriter_dispose_w_timestamp;                                \
        static constexpr auto disposeWith = &T##DataWriter_dispose_w_params;                                 \
        static constexpr auto writerKey = &T##DataWriter_get_key_value;                                      \
        static constexpr auto writerLookup = &T##DataWriter_lookup_instance;                                 \
        static constexpr auto narrowReader = &T##DataReader_narrow;                                          \
        static constexpr auto asReader = &T##DataReader_as_datareader;                                       \
        static constexpr auto read = &T##DataReader_read;                                                    \
        static constexpr auto take = &T##DataReader_take;                                                    \
        static constexpr auto readCondition = &T##DataReader_read_w_condition;                               \
        static constexpr auto takeCondition = &T##DataReader_take_w_condition;                               \
        static constexpr auto readNext = &T##DataReader_read_next_sample;                                    \
        static constexpr auto takeNext = &T##DataReader_take_next_sample;                                    \
        static constexpr auto readInstance = &T##DataReader_read_instance;                                   \
        static constexpr auto takeInstance = &T##DataReader_take_instance;                                   \
        static constexpr auto readInstanceCondition = &T##DataReader_read_instance_w_condition;              \
        static constexpr auto takeInstanceCondition = &T##DataReader_take_instance_w_condition;              \
        static constexpr auto readNextInstance = &T##DataReader_read_next_instance;                          \
        static constexpr auto takeNextInstance = &T##DataReader_take_next_instance;                          \
        static constexpr auto readNextInstanceCondition = &T##DataReader_read_next_instance_w_condition;     \
        static constexpr auto takeNextInstanceCondition = &T##DataReader_take_next_instance_w_condition;     \
        static constexpr auto returnLoan = &T##DataReader_return_loan;                                       \
        static constexpr auto readerKey = &T##DataReader_get_key_value;                                      \
        static constexpr auto readerLookup = &T##DataReader_lookup_instance;                                 \
        static constexpr auto addSample = &T##DataReader_add_sample_to_remote_writer_queue;                  \
        static constexpr auto addUnregister = &T##DataReader_add_unregister_to_remote_writer_queue;          \
        static constexpr auto addDispose = &T##DataReader_add_dispose_to_remote_writer_queue;                \
        static constexpr auto isConsistent = &T##DataReader_is_data_consistent;                              \
    };
ORX_SCHEMA_LIST_TOPIC(TOPIC)
#undef TOPIC

using Topics =
    testing::Types<DDS_Monitoring_EventTopic, DDS_Monitoring_PeriodicTopic, DDS_Monitoring_LoggingTopic,
        DDS_Monitoring_MonitoringService_RequestTopic, DDS_Monitoring_MonitoringService_ReplyTopic,
        DDS_Monitoring_MonitoringService_CallTopic, DDS_Monitoring_MonitoringService_ReturnTopic>;

// A writer and a reader of one topic, in one participant.
template <typename T> class TopicFunctions : public testing::Test {
protected:
    using Type = typename T::Type;

    TopicFunctions() { zdds::engine::setInstance(&engine); }
    ~TopicFunctions() override { zdds::engine::setInstance(nullptr); }

    void SetUp() override {
        auto* factory = DDS_DomainParticipantFactory_get_instance();
        participant = DDS_DomainParticipantFactory_create_participant(factory, 3, nullptr, nullptr, 0);
        ASSERT_NE(participant, nullptr);
        ASSERT_EQ(T::registerType(participant, "a name"), DDS_RETCODE_OK);
        ASSERT_EQ(T::registerType(participant, nullptr), DDS_RETCODE_OK) << "under its own name";
        auto* topic = DDS_DomainParticipant_create_topic(participant, "topic", "a name", nullptr, nullptr, 0);
        ASSERT_NE(topic, nullptr);
        DDS_DataWriterQos writerQos;
        DDS_DataWriterQos_initialize(&writerQos);
        DDS_DataReaderQos readerQos;
        DDS_DataReaderQos_initialize(&readerQos);
        writerQos.history.kind = readerQos.history.kind = DDS_KEEP_ALL_HISTORY_QOS;
        readerQos.reliability.kind = DDS_RELIABLE_RELIABILITY_QOS;
        auto* publisher = DDS_DomainParticipant_create_publisher(participant, nullptr, nullptr, 0);
        auto* subscriber = DDS_DomainParticipant_create_subscriber(participant, nullptr, nullptr, 0);
        plainWriter = DDS_Publisher_create_datawriter(publisher, topic, &writerQos, nullptr, 0);
        plainReader = DDS_Subscriber_create_datareader(
            subscriber, DDS_Topic_as_topicdescription(topic), &readerQos, nullptr, 0);
        ASSERT_TRUE(plainWriter != nullptr && plainReader != nullptr);
        DDS_DataWriterQos_finalize(&writerQos);
        DDS_DataReaderQos_finalize(&readerQos);
        sample = static_cast<Type*>(DDS_Type_create_data(&T::type()));
        RandomValue random(21);
        ASSERT_TRUE(random.fill(T::type(), sample));
    }
    void TearDown() override {
        DDS_Type_destroy_data(&T::type(), sample);
        EXPECT_EQ(DDS_DomainParticipant_delete_contained_entities(participant), DDS_RETCODE_OK);
        EXPECT_EQ(T::unregisterType(participant, "a name"), DDS_RETCODE_OK);
        EXPECT_EQ(DDS_DomainParticipantFactory_delete_participant(
                      DDS_DomainParticipantFactory_get_instance(), participant),
            DDS_RETCODE_OK);
        EXPECT_EQ(engine.liveObjects(), 0);
    }

    // One sample that equals ours is on loan; it goes back.
    void expectOne(DDS_ReturnCode_t result) {
        ASSERT_EQ(result, DDS_RETCODE_OK);
        auto* base = reinterpret_cast<DDS_SequenceBase*>(&samples);
        const DDS_SequenceElement element = DDS_SEQUENCE_ELEMENT_OF_TYPE(Type, &T::type());
        ASSERT_EQ(DDS_SequenceBase_get_length(base), 1);
        EXPECT_TRUE(DDS_Type_equals(&T::type(), sample, DDS_SequenceBase_get_reference(&element, base, 0)));
        EXPECT_EQ(DDS_SampleInfoSeq_get_length(&infos), 1);
        EXPECT_EQ(T::returnLoan(T::narrowReader(plainReader), &samples, &infos), DDS_RETCODE_OK);
    }

    zdds::engine::LoopbackEngine engine;
    LogCapture log;
    DDS_DomainParticipant* participant = nullptr;
    DDS_DataWriter* plainWriter = nullptr;
    DDS_DataReader* plainReader = nullptr;
    Type* sample = nullptr;
    typename T::Seq samples{};
    DDS_SampleInfoSeq infos{};
};
TYPED_TEST_SUITE(TopicFunctions, Topics);

constexpr auto anySample = DDS_ANY_SAMPLE_STATE;
constexpr auto anyView = DDS_ANY_VIEW_STATE;
constexpr auto anyInstance = DDS_ANY_INSTANCE_STATE;
constexpr auto all = DDS_LENGTH_UNLIMITED;

TYPED_TEST(TopicFunctions, NarrowToTheirTypeAlone) {
    using T = TypeParam;
    auto* writer = T::narrowWriter(this->plainWriter);
    auto* reader = T::narrowReader(this->plainReader);
    ASSERT_TRUE(writer != nullptr && reader != nullptr);
    EXPECT_EQ(T::asWriter(writer), this->plainWriter);
    EXPECT_EQ(T::asReader(reader), this->plainReader);
    EXPECT_EQ(T::narrowWriter(nullptr), nullptr);
    EXPECT_EQ(T::narrowReader(nullptr), nullptr);
    const bool isEvent = &T::type() == &DDS_Monitoring_Event_g_type;
    EXPECT_EQ(DDS_Monitoring_EventDataWriter_narrow(this->plainWriter) != nullptr, isEvent);
    EXPECT_EQ(DDS_Monitoring_EventDataReader_narrow(this->plainReader) != nullptr, isEvent);
}

TYPED_TEST(TopicFunctions, WhatIsWrittenIsReadAndTaken) {
    using T = TypeParam;
    auto* writer = T::narrowWriter(this->plainWriter);
    auto* reader = T::narrowReader(this->plainReader);
    ASSERT_EQ(T::write(writer, this->sample, &DDS_HANDLE_NIL), DDS_RETCODE_OK);
    this->expectOne(T::read(reader, &this->samples, &this->infos, all, anySample, anyView, anyInstance));
    this->expectOne(T::take(reader, &this->samples, &this->infos, all, anySample, anyView, anyInstance));
    EXPECT_EQ(T::take(reader, &this->samples, &this->infos, all, anySample, anyView, anyInstance),
        DDS_RETCODE_NO_DATA);
    const DDS_Time_t time{17, 4};
    ASSERT_EQ(T::writeAt(writer, this->sample, &DDS_HANDLE_NIL, &time), DDS_RETCODE_OK);
    DDS_WriteParams_t params{};
    params.source_timestamp = {18, 5};
    ASSERT_EQ(T::writeWith(writer, this->sample, &params), DDS_RETCODE_OK);
    ASSERT_EQ(
        T::take(reader, &this->samples, &this->infos, all, anySample, anyView, anyInstance), DDS_RETCODE_OK);
    ASSERT_EQ(DDS_SampleInfoSeq_get_length(&this->infos), 2);
    EXPECT_EQ(DDS_SampleInfoSeq_get_reference(&this->infos, 0)->source_timestamp.sec, 17);
    EXPECT_EQ(DDS_SampleInfoSeq_get_reference(&this->infos, 1)->source_timestamp.sec, 18);
    EXPECT_EQ(T::returnLoan(reader, &this->samples, &this->infos), DDS_RETCODE_OK);
}

TYPED_TEST(TopicFunctions, SamplesAreReadOneByOne) {
    using T = TypeParam;
    auto* writer = T::narrowWriter(this->plainWriter);
    auto* reader = T::narrowReader(this->plainReader);
    for (int i = 0; i < 2; ++i)
        ASSERT_EQ(T::write(writer, this->sample, &DDS_HANDLE_NIL), DDS_RETCODE_OK);
    auto* copy = T::createData(writer);
    ASSERT_NE(copy, nullptr);
    DDS_SampleInfo info;
    ASSERT_EQ(T::readNext(reader, copy, &info), DDS_RETCODE_OK);
    EXPECT_TRUE(DDS_Type_equals(&T::type(), copy, this->sample));
    ASSERT_EQ(T::takeNext(reader, copy, &info), DDS_RETCODE_OK) << "the other one";
    EXPECT_EQ(T::takeNext(reader, copy, &info), DDS_RETCODE_NO_DATA);
    DDS_Boolean isConsistent = DDS_BOOLEAN_FALSE;
    EXPECT_EQ(T::isConsistent(reader, &isConsistent, copy, &info), DDS_RETCODE_OK);
    EXPECT_TRUE(isConsistent);
    EXPECT_TRUE(T::deleteData(writer, copy));
    copy = T::createDataWithParams(writer, &allocation);
    ASSERT_NE(copy, nullptr);
    EXPECT_TRUE(T::deleteDataWithParams(writer, copy, &deallocation));
}

TYPED_TEST(TopicFunctions, ConditionsAndTheOneInstanceSelect) {
    using T = TypeParam;
    auto* writer = T::narrowWriter(this->plainWriter);
    auto* reader = T::narrowReader(this->plainReader);
    auto* condition = DDS_DataReader_create_readcondition(this->plainReader, anySample, anyView, anyInstance);
    ASSERT_NE(condition, nullptr);
    const auto& nil = DDS_HANDLE_NIL;
    const auto write = [&] { ASSERT_EQ(T::write(writer, this->sample, &nil), DDS_RETCODE_OK); };
    write();
    this->expectOne(T::readCondition(reader, &this->samples, &this->infos, all, condition));
    this->expectOne(T::takeCondition(reader, &this->samples, &this->infos, all, condition));
    write();
    this->expectOne(
        T::readInstance(reader, &this->samples, &this->infos, all, &nil, anySample, anyView, anyInstance));
    this->expectOne(
        T::takeInstance(reader, &this->samples, &this->infos, all, &nil, anySample, anyView, anyInstance));
    write();
    this->expectOne(T::readInstanceCondition(reader, &this->samples, &this->infos, all, &nil, condition));
    this->expectOne(T::takeInstanceCondition(reader, &this->samples, &this->infos, all, &nil, condition));
    write();
    this->expectOne(T::readNextInstance(
        reader, &this->samples, &this->infos, all, &nil, anySample, anyView, anyInstance));
    this->expectOne(T::takeNextInstance(
        reader, &this->samples, &this->infos, all, &nil, anySample, anyView, anyInstance));
    write();
    this->expectOne(T::readNextInstanceCondition(reader, &this->samples, &this->infos, all, &nil, condition));
    this->expectOne(T::takeNextInstanceCondition(reader, &this->samples, &this->infos, all, &nil, condition));
    EXPECT_EQ(T::takeNextInstanceCondition(reader, &this->samples, &this->infos, all, &nil, condition),
        DDS_RETCODE_NO_DATA);
    EXPECT_EQ(DDS_DataReader_delete_readcondition(this->plainReader, condition), DDS_RETCODE_OK);
}

TYPED_TEST(TopicFunctions, WithoutAKeyThereAreNoInstances) {
    using T = TypeParam;
    auto* writer = T::narrowWriter(this->plainWriter);
    auto* reader = T::narrowReader(this->plainReader);
    const DDS_Time_t time{17, 4};
    DDS_WriteParams_t params{};
    const auto isNil = [](const DDS_InstanceHandle_t& handle) { return DDS_InstanceHandle_is_nil(&handle); };
    EXPECT_TRUE(isNil(T::registerInstance(writer, this->sample)));
    EXPECT_TRUE(isNil(T::registerInstanceAt(writer, this->sample, &time)));
    EXPECT_TRUE(isNil(T::registerInstanceWith(writer, this->sample, &params)));
    EXPECT_TRUE(isNil(T::writerLookup(writer, this->sample)));
    EXPECT_TRUE(isNil(T::readerLookup(reader, this->sample)));
    constexpr auto refused = DDS_RETCODE_PRECONDITION_NOT_MET;
    const auto& nil = DDS_HANDLE_NIL;
    EXPECT_EQ(T::unregisterInstance(writer, this->sample, &nil), refused);
    EXPECT_EQ(T::unregisterInstanceAt(writer, this->sample, &nil, &time), refused);
    EXPECT_EQ(T::unregisterInstanceWith(writer, this->sample, &params), refused);
    EXPECT_EQ(T::dispose(writer, this->sample, &nil), refused);
    EXPECT_EQ(T::disposeAt(writer, this->sample, &nil, &time), refused);
    EXPECT_EQ(T::disposeWith(writer, this->sample, &params), refused);
    EXPECT_EQ(T::writerKey(writer, this->sample, &nil), DDS_RETCODE_BAD_PARAMETER);
    EXPECT_EQ(T::readerKey(reader, this->sample, &nil), DDS_RETCODE_BAD_PARAMETER);
    typename T::Type* loan = this->sample;
    EXPECT_EQ(T::getLoan(writer, &loan), DDS_RETCODE_UNSUPPORTED);
    EXPECT_EQ(loan, nullptr);
    EXPECT_NE(T::discardLoan(writer, this->sample), DDS_RETCODE_OK);
}

// No queue was made for this writer, so nothing can come from it.
TYPED_TEST(TopicFunctions, SamplesOfAnUnknownWriterAreRefused) {
    using T = TypeParam;
    auto* reader = T::narrowReader(this->plainReader);
    DDS_GUID_t guid{};
    guid.value[0] = 1;
    DDS_WriteParams_t params{};
    EXPECT_NE(T::addSample(reader, this->sample, &guid, &params), DDS_RETCODE_OK);
    EXPECT_NE(T::addUnregister(reader, &guid, &params, &guid), DDS_RETCODE_OK);
    EXPECT_NE(T::addDispose(reader, &guid, &params, &guid), DDS_RETCODE_OK);
    EXPECT_EQ(T::take(reader, &this->samples, &this->infos, all, anySample, anyView, anyInstance),
        DDS_RETCODE_NO_DATA);
}

} // namespace
