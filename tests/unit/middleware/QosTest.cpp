#include <gtest/gtest.h>

#include <cstring>

#include "tests/unit/middleware/FailingHeap.hpp"
#include "tests/unit/middleware/LogCapture.hpp"
#include "zddsc/entities.h"
#include "zddsc/thread_settings.h"

namespace {

DDS_DomainParticipantFactory* factory() {
    return DDS_DomainParticipantFactory_get_instance();
}

template <class Qos, auto initialize, auto finalize, auto copyQos, auto equals> struct Operations {
    using Value = Qos;
    static constexpr auto init = initialize;
    static constexpr auto fini = finalize;
    static constexpr auto copy = copyQos;
    static constexpr auto equal = equals;
};
#define ORX_OPERATIONS(Qos) Operations<Qos, Qos##_initialize, Qos##_finalize, Qos##_copy, Qos##_equals>
using AllQos = ::testing::Types<ORX_OPERATIONS(DDS_DomainParticipantQos), ORX_OPERATIONS(DDS_PublisherQos),
    ORX_OPERATIONS(DDS_SubscriberQos), ORX_OPERATIONS(DDS_TopicQos), ORX_OPERATIONS(DDS_DataWriterQos),
    ORX_OPERATIONS(DDS_DataReaderQos)>;

// Gives every member that owns memory something to own.
void addText(DDS_StringSeq& texts, const char* text) {
    const DDS_Long length = DDS_StringSeq_get_length(&texts);
    ASSERT_TRUE(DDS_StringSeq_ensure_length(&texts, length + 1, length + 1));
    ASSERT_NE(DDS_String_replace(DDS_StringSeq_get_reference(&texts, length), text), nullptr);
}
void fill(DDS_DomainParticipantQos& qos) {
    addText(qos.discovery.initial_peers, "127.0.0.1");
    ASSERT_TRUE(DDS_OctetSeq_ensure_length(&qos.user_data.value, 3, 3));
    *DDS_OctetSeq_get_reference(&qos.user_data.value, 1) = 7;
    ASSERT_EQ(DDS_PropertyQosPolicyHelper_add_property(&qos.property, "a", "b", 1), DDS_RETCODE_OK);
    ASSERT_NE(DDS_String_replace(&qos.participant_name.name, "name"), nullptr);
}
void fill(DDS_PublisherQos& qos) {
    addText(qos.partition.name, "here");
}
void fill(DDS_SubscriberQos& qos) {
    addText(qos.partition.name, "there");
}
void fill(DDS_TopicQos& qos) {
    qos.history.depth = 9;
}
void fill(DDS_DataWriterQos& qos) {
    ASSERT_EQ(DDS_PropertyQosPolicyHelper_add_property(&qos.property, "a", "b", 0), DDS_RETCODE_OK);
    ASSERT_TRUE(DDS_LongSeq_ensure_length(&qos.representation.value, 1, 1));
    qos.deadline.period = {3, 4};
}
void fill(DDS_DataReaderQos& qos) {
    ASSERT_NE(DDS_String_replace(&qos.subscription_name.name, "name"), nullptr);
    qos.time_based_filter.minimum_separation = {1, 2};
}

template <class T> class EveryQos : public ::testing::Test {};
TYPED_TEST_SUITE(EveryQos, AllQos);

TYPED_TEST(EveryQos, FinalizeTakesZeroedMemoryAndItself) {
    typename TypeParam::Value qos{};
    EXPECT_EQ(TypeParam::fini(&qos), DDS_RETCODE_OK);
    ASSERT_EQ(TypeParam::init(&qos), DDS_RETCODE_OK);
    fill(qos);
    EXPECT_EQ(TypeParam::fini(&qos), DDS_RETCODE_OK);
    EXPECT_EQ(TypeParam::fini(&qos), DDS_RETCODE_OK);
}

TYPED_TEST(EveryQos, CopyIsDeepAndEqual) {
    FailingHeap heap;
    typename TypeParam::Value source, copied;
    TypeParam::init(&source);
    TypeParam::init(&copied);
    EXPECT_TRUE(TypeParam::equal(&source, &copied));
    fill(source);
    EXPECT_FALSE(TypeParam::equal(&source, &copied));
    ASSERT_EQ(TypeParam::copy(&copied, &source), DDS_RETCODE_OK);
    EXPECT_TRUE(TypeParam::equal(&source, &copied));
    EXPECT_EQ(TypeParam::copy(&copied, &copied), DDS_RETCODE_OK);
    TypeParam::fini(&source);
    EXPECT_FALSE(TypeParam::equal(&source, &copied));
    TypeParam::fini(&copied);
    EXPECT_EQ(heap.live(), 0);
}

TYPED_TEST(EveryQos, FailedCopyLeavesTheDestinationAsItWas) {
    LogCapture log;
    for (long n = 1; n < 100; ++n) {
        typename TypeParam::Value source, copied, before;
        TypeParam::init(&source);
        TypeParam::init(&copied);
        TypeParam::init(&before);
        fill(source);
        {
            FailingHeap heap(n);
            const DDS_ReturnCode_t result = TypeParam::copy(&copied, &source);
            EXPECT_EQ(result, heap.hasFailed() ? DDS_RETCODE_OUT_OF_RESOURCES : DDS_RETCODE_OK) << n;
            if (heap.hasFailed()) {
                EXPECT_TRUE(TypeParam::equal(&copied, &before));
                EXPECT_EQ(heap.live(), 0) << n;
            } else {
                n = 1000;
            }
            TypeParam::fini(&copied);
        }
        TypeParam::fini(&source);
        TypeParam::fini(&before);
    }
}

TYPED_TEST(EveryQos, NullIsABadParameter) {
    LogCapture log;
    typename TypeParam::Value qos{};
    EXPECT_EQ(TypeParam::init(nullptr), DDS_RETCODE_BAD_PARAMETER);
    EXPECT_EQ(TypeParam::fini(nullptr), DDS_RETCODE_BAD_PARAMETER);
    EXPECT_EQ(TypeParam::copy(&qos, nullptr), DDS_RETCODE_BAD_PARAMETER);
    EXPECT_EQ(TypeParam::copy(nullptr, &qos), DDS_RETCODE_BAD_PARAMETER);
    EXPECT_FALSE(TypeParam::equal(nullptr, &qos));
}

TEST(DataWriterQos, EveryPolicyCountsForEquality) {
    DDS_DataWriterQos base, other;
    DDS_DataWriterQos_initialize(&base);
    const auto differs = [&](auto change) {
        DDS_DataWriterQos_initialize(&other);
        change(other);
        return !DDS_DataWriterQos_equals(&base, &other);
    };
    EXPECT_FALSE(differs([](auto&) {}));
    EXPECT_TRUE(differs([](auto& q) { q.durability.kind = DDS_PERSISTENT_DURABILITY_QOS; }));
    EXPECT_TRUE(differs([](auto& q) { q.deadline.period.nanosec = 1; }));
    EXPECT_TRUE(differs([](auto& q) { q.latency_budget.duration.sec = 1; }));
    EXPECT_TRUE(differs([](auto& q) { q.liveliness.lease_duration.sec = 1; }));
    EXPECT_TRUE(differs([](auto& q) { q.liveliness.kind = DDS_MANUAL_BY_TOPIC_LIVELINESS_QOS; }));
    EXPECT_TRUE(differs([](auto& q) { q.reliability.kind = DDS_BEST_EFFORT_RELIABILITY_QOS; }));
    EXPECT_TRUE(differs([](auto& q) { q.reliability.max_blocking_time.sec = 5; }));
    EXPECT_TRUE(
        differs([](auto& q) { q.destination_order.kind = DDS_BY_SOURCE_TIMESTAMP_DESTINATIONORDER_QOS; }));
    EXPECT_TRUE(differs([](auto& q) { q.history.kind = DDS_KEEP_ALL_HISTORY_QOS; }));
    EXPECT_TRUE(differs([](auto& q) { q.resource_limits.max_instances = 2; }));
    EXPECT_TRUE(differs([](auto& q) { q.transport_priority.value = 2; }));
    EXPECT_TRUE(differs([](auto& q) { q.lifespan.duration.sec = 2; }));
    EXPECT_TRUE(differs([](auto& q) { q.ownership.kind = DDS_EXCLUSIVE_OWNERSHIP_QOS; }));
    EXPECT_TRUE(differs([](auto& q) { q.ownership_strength.value = 2; }));
    EXPECT_TRUE(differs([](auto& q) { q.publish_mode.kind = DDS_ASYNCHRONOUS_PUBLISH_MODE_QOS; }));
    EXPECT_TRUE(differs([](auto& q) { q.publish_mode.max_queued_bytes = 2; }));
    EXPECT_TRUE(differs([](auto& q) { q.protocol.vendor_specific_entity = 1; }));
    EXPECT_TRUE(differs([](auto& q) { q.protocol.rtps_reliable_writer.max_heartbeat_retries = 2; }));
}

TEST(PropertyPolicy, AddsEachNameOnce) {
    LogCapture log;
    DDS_PropertyQosPolicy policy{};
    EXPECT_EQ(DDS_PropertyQosPolicyHelper_add_property(&policy, "a", "1", 0), DDS_RETCODE_OK);
    EXPECT_EQ(DDS_PropertyQosPolicyHelper_add_property(&policy, "b", "2", 1), DDS_RETCODE_OK);
    EXPECT_EQ(
        DDS_PropertyQosPolicyHelper_add_property(&policy, "a", "3", 0), DDS_RETCODE_PRECONDITION_NOT_MET);
    const DDS_Property_t* property = DDS_PropertyQosPolicyHelper_lookup_property(&policy, "a");
    ASSERT_NE(property, nullptr);
    EXPECT_STREQ(property->value, "1");
    EXPECT_TRUE(DDS_PropertyQosPolicyHelper_lookup_property(&policy, "b")->propagate);
    EXPECT_EQ(DDS_PropertyQosPolicyHelper_lookup_property(&policy, "c"), nullptr);
    DDS_PropertySeq_finalize(&policy.value);
}

TEST(PropertyPolicy, FailedAddLeavesTheLengthAsItWas) {
    LogCapture log;
    int failures = 0;
    for (long n = 1; n < 20; ++n) {
        DDS_PropertyQosPolicy policy{};
        FailingHeap heap(n);
        const DDS_ReturnCode_t result = DDS_PropertyQosPolicyHelper_add_property(&policy, "a", "1", 0);
        // A sequence that cannot grow by much tries to grow by little, so not every failure is the last word.
        EXPECT_TRUE(result == DDS_RETCODE_OK || heap.hasFailed());
        failures += result == DDS_RETCODE_OUT_OF_RESOURCES;
        EXPECT_EQ(DDS_PropertySeq_get_length(&policy.value), result == DDS_RETCODE_OK ? 1 : 0);
        DDS_PropertySeq_finalize(&policy.value);
        EXPECT_EQ(heap.live(), 0) << n;
    }
    EXPECT_GE(failures, 2);
}

TEST(Profile, MonitoringWritersAreReliableAsynchronousAndBounded) {
    DDS_DataWriterQos qos;
    DDS_DataWriterQos_initialize(&qos);
    ASSERT_EQ(DDS_DomainParticipantFactory_get_datawriter_qos_from_profile_w_topic_name(factory(), &qos,
                  DDS_BUILTIN_QOS_LIB, DDS_PROFILE_GENERIC_MONITORING2, "DCPSEventStatusMonitoring"),
        DDS_RETCODE_OK);
    EXPECT_EQ(qos.reliability.kind, DDS_RELIABLE_RELIABILITY_QOS);
    EXPECT_EQ(qos.durability.kind, DDS_VOLATILE_DURABILITY_QOS);
    EXPECT_EQ(qos.history.kind, DDS_KEEP_ALL_HISTORY_QOS);
    EXPECT_EQ(qos.publish_mode.kind, DDS_ASYNCHRONOUS_PUBLISH_MODE_QOS);
    EXPECT_EQ(qos.publish_mode.max_queued_samples, 32768U);
    EXPECT_EQ(qos.publish_mode.max_queued_bytes, 16U << 20);
    EXPECT_EQ(qos.protocol.rtps_reliable_writer.max_heartbeat_retries, DDS_LENGTH_UNLIMITED);
    EXPECT_TRUE(qos.protocol.vendor_specific_entity);
    EXPECT_GT(qos.resource_limits.max_samples, 0);
    DDS_DataWriterQos_finalize(&qos);
}

TEST(Profile, PeriodicEndpointsAreBestEffort) {
    DDS_DataWriterQos writer;
    DDS_DataWriterQos_initialize(&writer);
    ASSERT_EQ(DDS_DomainParticipantFactory_get_datawriter_qos_from_profile_w_topic_name(factory(), &writer,
                  DDS_BUILTIN_QOS_LIB, DDS_PROFILE_GENERIC_MONITORING2, "DCPSPeriodicStatusMonitoring"),
        DDS_RETCODE_OK);
    EXPECT_EQ(writer.reliability.kind, DDS_BEST_EFFORT_RELIABILITY_QOS);
    DDS_DataReaderQos reader;
    DDS_DataReaderQos_initialize(&reader);
    ASSERT_EQ(DDS_DomainParticipantFactory_get_datareader_qos_from_profile_w_topic_name(factory(), &reader,
                  DDS_BUILTIN_QOS_LIB, DDS_PROFILE_GENERIC_MONITORING2, "DCPSPeriodicStatusMonitoring"),
        DDS_RETCODE_OK);
    EXPECT_EQ(reader.reliability.kind, DDS_BEST_EFFORT_RELIABILITY_QOS);
    EXPECT_EQ(reader.history.kind, DDS_KEEP_ALL_HISTORY_QOS);
    EXPECT_GT(reader.resource_limits.max_samples, 0);
}

TEST(Profile, ParticipantsHaveTheServiceRequestChannel) {
    DDS_DomainParticipantQos qos;
    DDS_DomainParticipantQos_initialize(&qos);
    ASSERT_NE(DDS_String_replace(&qos.participant_name.name, "before"), nullptr);
    ASSERT_EQ(DDS_DomainParticipantFactory_get_participant_qos_from_profile(
                  factory(), &qos, DDS_BUILTIN_QOS_LIB, DDS_PROFILE_GENERIC_MONITORING2),
        DDS_RETCODE_OK);
    EXPECT_EQ(qos.discovery_config.enabled_builtin_channels & 3U, 3U);
    EXPECT_TRUE(qos.protocol.vendor_specific_entity);
    EXPECT_EQ(qos.participant_name.name, nullptr);
    DDS_DomainParticipantQos_finalize(&qos);
}

TEST(Profile, UnknownNamesAreABadParameterAndChangeNothing) {
    LogCapture log;
    DDS_PublisherQos qos;
    DDS_PublisherQos_initialize(&qos);
    qos.entity_factory.autoenable_created_entities = DDS_BOOLEAN_FALSE;
    EXPECT_EQ(DDS_DomainParticipantFactory_get_publisher_qos_from_profile(
                  factory(), &qos, DDS_BUILTIN_QOS_LIB, "Other"),
        DDS_RETCODE_BAD_PARAMETER);
    EXPECT_TRUE(log.has("FAILED_TO_FIND", "QoS profile 'BuiltinQosLib:Other'"));
    EXPECT_EQ(DDS_DomainParticipantFactory_get_publisher_qos_from_profile(
                  factory(), &qos, "Other", DDS_PROFILE_GENERIC_MONITORING2),
        DDS_RETCODE_BAD_PARAMETER);
    EXPECT_FALSE(qos.entity_factory.autoenable_created_entities);
    DDS_SubscriberQos subscriber;
    DDS_SubscriberQos_initialize(&subscriber);
    EXPECT_EQ(DDS_DomainParticipantFactory_get_subscriber_qos_from_profile(
                  factory(), &subscriber, DDS_BUILTIN_QOS_LIB, DDS_PROFILE_GENERIC_MONITORING2),
        DDS_RETCODE_OK);
    EXPECT_TRUE(subscriber.protocol.vendor_specific_entity);
}

TEST(ThreadSettings, DefaultsLeaveTheThreadToTheSystem) {
    DDS_ThreadSettings_t settings;
    ASSERT_TRUE(DDS_ThreadSettings_t_initialize(&settings));
    EXPECT_EQ(settings.mask, 0U);
    EXPECT_EQ(settings.priority, -9999999);
    EXPECT_EQ(settings.stack_size, -1);
    EXPECT_EQ(DDS_LongSeq_get_length(&settings.cpu_list), 0);
}

TEST(ThreadSettings, CpuListBecomesABitmap) {
    LogCapture log;
    const DDS_Long cpus[] = {0, 64, 1023};
    DDS_LongSeq list{};
    ORXOsapiCpuBitmap bitmap;
    ASSERT_TRUE(DDS_ThreadSettings_cpuListToBitmap(&bitmap, &list, DDS_THREAD_SETTINGS_CPU_NO_ROTATION));
    EXPECT_EQ(bitmap.isSet, 0);
    ASSERT_TRUE(DDS_LongSeq_from_array(&list, cpus, 3));
    ASSERT_TRUE(DDS_ThreadSettings_cpuListToBitmap(&bitmap, &list, DDS_THREAD_SETTINGS_CPU_NO_ROTATION));
    EXPECT_EQ(bitmap.isSet, 1);
    EXPECT_EQ(bitmap.bits[0], 1U);
    EXPECT_EQ(bitmap.bits[1], 1U);
    EXPECT_EQ(bitmap.bits[15], ORX_UINT64{1} << 63);
    for (const DDS_Long wrong : {-1, 1024}) {
        *DDS_LongSeq_get_reference(&list, 1) = wrong;
        EXPECT_FALSE(DDS_ThreadSettings_cpuListToBitmap(&bitmap, &list, DDS_THREAD_SETTINGS_CPU_NO_ROTATION));
    }
    DDS_LongSeq_finalize(&list);
}

TEST(ThreadSettings, RotationNamesOneCpuInTurn) {
    const DDS_Long cpus[] = {1, 2};
    DDS_LongSeq list{};
    ASSERT_TRUE(DDS_LongSeq_from_array(&list, cpus, 2));
    ORXOsapiCpuBitmap first, second, third;
    ASSERT_TRUE(DDS_ThreadSettings_cpuListToBitmap(&first, &list, DDS_THREAD_SETTINGS_CPU_RR_ROTATION));
    ASSERT_TRUE(DDS_ThreadSettings_cpuListToBitmap(&second, &list, DDS_THREAD_SETTINGS_CPU_RR_ROTATION));
    ASSERT_TRUE(DDS_ThreadSettings_cpuListToBitmap(&third, &list, DDS_THREAD_SETTINGS_CPU_RR_ROTATION));
    EXPECT_EQ(first.bits[0] | second.bits[0], 6U);
    EXPECT_NE(first.bits[0], second.bits[0]);
    EXPECT_EQ(first.bits[0], third.bits[0]);
    DDS_LongSeq_finalize(&list);
}

} // namespace
