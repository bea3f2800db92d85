// What particular samples must carry, and what they must not.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "orxmonitoring2d/metric_groups.h"
#include "orxmonitoring2d/schema_types.h"
#include "zddsc/type_engine.h"
#include "zddscore/heap.h"

namespace {

template <typename T> class Sample {
public:
    explicit Sample(const DDS_TypeDescriptor& type)
        : type_(type), data_(static_cast<T*>(DDS_Type_create_data(&type))) {}
    ~Sample() { DDS_Type_destroy_data(&type_, data_); }
    Sample(const Sample&) = delete;
    Sample& operator=(const Sample&) = delete;
    T* operator->() const { return data_; }
    T* get() const { return data_; }

    // Empty when it cannot be encoded.
    std::vector<char> encode() const {
        DDS_UnsignedLong length = 0;
        if (!DDS_Type_serialize_to_cdr_buffer(&type_, nullptr, &length, data_))
            return {};
        std::vector<char> bytes(length);
        return DDS_Type_serialize_to_cdr_buffer(&type_, bytes.data(), &length, data_) ? bytes
                                                                                      : std::vector<char>{};
    }
    bool decode(const std::vector<char>& bytes) {
        return DDS_Type_deserialize_from_cdr_buffer(
            &type_, data_, bytes.data(), static_cast<DDS_UnsignedLong>(bytes.size()));
    }
    bool equals(const Sample& other) const { return DDS_Type_equals(&type_, data_, other.data_); }

private:
    const DDS_TypeDescriptor& type_;
    T* data_;
};

#define SAMPLE(T, name) Sample<T> name(T##_g_type)

bool setText(char*& member, const std::string& text) {
    return DDS_String_replace(&member, text.c_str()) != nullptr;
}

// ---- Resources ----

TEST(ResourceUpdate, WithAForeignDiscriminatorHasNoActiveMember) {
    SAMPLE(DDS_Monitoring_ResourceUpdate, update);
    SAMPLE(DDS_Monitoring_ResourceUpdate, other);
    EXPECT_EQ(update->_d, DDS_Monitoring_ResourceUpdateKind_RESOURCE_UPDATE_CREATION_KIND);
    update->_d = static_cast<DDS_Monitoring_ResourceUpdateKind>(7);
    other->_d = static_cast<DDS_Monitoring_ResourceUpdateKind>(7);
    ASSERT_TRUE(setText(update->_u.new_resource.name, "not looked at"));
    EXPECT_TRUE(update.equals(other)) << "nothing but the discriminator counts";
    EXPECT_TRUE(update.encode().empty()) << "no enumerator has this value";
}

TEST(Resource, NamesHave255CharactersAtMost) {
    SAMPLE(DDS_Monitoring_Resource, resource);
    SAMPLE(DDS_Monitoring_Resource, decoded);
    ASSERT_TRUE(setText(resource->name, std::string(255, 'n')));
    ASSERT_TRUE(decoded.decode(resource.encode()));
    EXPECT_EQ(std::strlen(decoded->name), 255U);
    ASSERT_TRUE(setText(resource->name, std::string(256, 'n')));
    EXPECT_TRUE(resource.encode().empty());
}

TEST(ResourceClass, TypeIdentifiersHave24OctetsAtMost) {
    SAMPLE(DDS_Monitoring_ResourceClass, resourceClass);
    SAMPLE(DDS_Monitoring_RegisteredType, registeredType);
    // The sequence refuses the 25th, or the encoding does.
    const auto holds = [](auto& sample, DDS_OctetSeq& identifier, DDS_Long length) {
        return DDS_OctetSeq_ensure_length(&identifier, length, length) && !sample.encode().empty();
    };
    EXPECT_TRUE(holds(resourceClass, resourceClass->type_id_ser, 24));
    EXPECT_FALSE(holds(resourceClass, resourceClass->type_id_ser, 25));
    EXPECT_TRUE(holds(registeredType, registeredType->identifier, 24));
    EXPECT_FALSE(holds(registeredType, registeredType->identifier, 25));
}

// What a snapshot of the tree does: it refers to resources that others own.
TEST(ResourceRegistry, RefersToResourcesThatItDoesNotOwn) {
    {
        SAMPLE(DDS_Monitoring_Resource, resource);
        SAMPLE(DDS_Monitoring_ResourceRegistry, decoded);
        ASSERT_TRUE(setText(resource->name, "owned elsewhere"));
        DDS_Monitoring_ResourceRegistry registry{};
        ASSERT_TRUE(DDS_Monitoring_ResourceReferenceSeq_set_element_pointers_allocation(
            &registry.resources, DDS_BOOLEAN_FALSE));
        ASSERT_TRUE(DDS_Monitoring_ResourceReferenceSeq_ensure_length(&registry.resources, 2, 2));
        *DDS_Monitoring_ResourceReferenceSeq_get_reference(&registry.resources, 0) = resource.get();
        *DDS_Monitoring_ResourceReferenceSeq_get_reference(&registry.resources, 1) = resource.get();
        DDS_UnsignedLong length = 0;
        ASSERT_TRUE(
            DDS_Monitoring_ResourceRegistryPlugin_serialize_to_cdr_buffer(nullptr, &length, &registry));
        std::vector<char> bytes(length);
        ASSERT_TRUE(
            DDS_Monitoring_ResourceRegistryPlugin_serialize_to_cdr_buffer(bytes.data(), &length, &registry));
        DDS_Monitoring_ResourceRegistry_finalize(&registry);
        ASSERT_STREQ(resource->name, "owned elsewhere") << "untouched";
        ASSERT_TRUE(decoded.decode(bytes));
        ASSERT_EQ(DDS_Monitoring_ResourceReferenceSeq_get_length(&decoded->resources), 2);
        EXPECT_STREQ(
            DDS_Monitoring_ResourceReferenceSeq_get(&decoded->resources, 1)->name, "owned elsewhere");
    }
}

// ---- Statuses ----

TEST(ProtocolStatus, CopiesKeepHighSignedAndLowUnsigned) {
    SAMPLE(DDS_Monitoring_DataWriterProtocolStatus, status);
    SAMPLE(DDS_Monitoring_DataWriterProtocolStatus, copy);
    status->first_available_sequence_number.high = -1;
    status->first_available_sequence_number.low = 0xFFFFFFFFU;
    status->send_window_size = -7;
    status->received_nack_fragment_bytes = INT64_MIN;
    ASSERT_TRUE(DDS_Monitoring_DataWriterProtocolStatus_copy(copy.get(), status.get()));
    EXPECT_EQ(copy->first_available_sequence_number.high, -1);
    EXPECT_EQ(copy->first_available_sequence_number.low, 0xFFFFFFFFU);
    SAMPLE(DDS_Monitoring_DataWriterProtocolStatus, decoded);
    ASSERT_TRUE(decoded.decode(status.encode()));
    EXPECT_EQ(decoded->first_available_sequence_number.high, -1);
    EXPECT_EQ(decoded->first_available_sequence_number.low, 0xFFFFFFFFU);
    EXPECT_EQ(decoded->send_window_size, -7);
    EXPECT_EQ(decoded->received_nack_fragment_bytes, INT64_MIN);
    SAMPLE(DDS_Monitoring_DataReaderProtocolStatus, reader);
    SAMPLE(DDS_Monitoring_DataReaderProtocolStatus, readerCopy);
    reader->last_committed_sample_sequence_number = {-2, 0x80000000U};
    ASSERT_TRUE(DDS_Monitoring_DataReaderProtocolStatus_copy(readerCopy.get(), reader.get()));
    EXPECT_EQ(readerCopy->last_committed_sample_sequence_number.high, -2);
    EXPECT_EQ(readerCopy->last_committed_sample_sequence_number.low, 0x80000000U);
}

// ---- Events and periodic samples ----

TEST(Event, WithoutAnyGroupIsValid) {
    SAMPLE(DDS_Monitoring_Event, event);
    SAMPLE(DDS_Monitoring_Event, decoded);
    EXPECT_EQ(event->value._d, 46964057U) << "the lowest class id";
    event->value._d = 208182173;
    ASSERT_TRUE(decoded.decode(event.encode()));
    EXPECT_EQ(decoded->value._d, 208182173U);
    EXPECT_EQ(decoded->value._u.topic.dds_guid, nullptr);
    EXPECT_EQ(decoded->value._u.topic.topic_name, nullptr);
    EXPECT_EQ(decoded->value._u.topic.status_inconsistent_topic, nullptr);
}

TEST(Event, ReferringToGroupsOfAnArenaTravelsWithThem) {
    DDS_Monitoring_GUID_t guid;
    std::memset(guid, 0xA5, sizeof guid);
    DDS_Monitoring_InconsistentTopicStatus status{3, -1};
    char name[] = "a name";
    SAMPLE(DDS_Monitoring_Event, event);
    DDS_Monitoring_Topic_dds_guid_set_dist_into_sample(event.get(), &guid);
    DDS_Monitoring_Topic_topic_name_set_dist_into_sample(event.get(), name);
    DDS_Monitoring_Topic_status_inconsistent_topic_set_dist_into_sample(event.get(), &status);
    SAMPLE(DDS_Monitoring_Event, decoded);
    const auto bytes = event.encode();
    event->value._u.topic = {}; // the groups are not the sample's
    ASSERT_TRUE(decoded.decode(bytes));
    EXPECT_EQ(std::memcmp(*decoded->value._u.topic.dds_guid, guid, sizeof guid), 0);
    EXPECT_STREQ(decoded->value._u.topic.topic_name, "a name");
    EXPECT_EQ(decoded->value._u.topic.status_inconsistent_topic->total_count, 3);
    EXPECT_EQ(decoded->value._u.topic.status_inconsistent_topic->total_count_change, -1);
}

TEST(Event, BoundsOfTextsAreLookedAtWhenItIsEncoded) {
    SAMPLE(DDS_Monitoring_Event, event);
    event->value._d = 265647670;
    ASSERT_TRUE(setText(event->value._u.application.hostname, std::string(255, 'h')));
    EXPECT_FALSE(event.encode().empty());
    ASSERT_TRUE(setText(event->value._u.application.hostname, std::string(256, 'h')));
    EXPECT_TRUE(event.encode().empty());
}

TEST(Periodic, OfAClassWithoutGroupsHoldsANumberOfNoMeaning) {
    for (const auto* type :
        {&DDS_Monitoring_RegisteredTypePeriodic_g_type, &DDS_Monitoring_TopicPeriodic_g_type,
            &DDS_Monitoring_PublisherPeriodic_g_type, &DDS_Monitoring_SubscriberPeriodic_g_type}) {
        ASSERT_EQ(type->memberCount, 1U) << type->name;
        EXPECT_STREQ(type->members[0].name, "__empty_dummy");
        EXPECT_EQ(type->members[0].type->kind, DDS_TYPE_LONG);
        EXPECT_EQ(type->members[0].flags & DDS_MEMBER_FLAG_OPTIONAL, 0U);
    }
    SAMPLE(DDS_Monitoring_Periodic, periodic);
    SAMPLE(DDS_Monitoring_Periodic, decoded);
    periodic->value._u.type.__empty_dummy = 5;
    ASSERT_TRUE(decoded.decode(periodic.encode()));
    EXPECT_EQ(decoded->value._u.type.__empty_dummy, 5);
}

TEST(Periodic, HasNoInfo) {
    EXPECT_EQ(DDS_Monitoring_Periodic_g_type.memberCount, 2U);
    EXPECT_STREQ(DDS_Monitoring_Periodic_g_type.members[0].name, "resource_guid");
    EXPECT_STREQ(DDS_Monitoring_Periodic_g_type.members[1].name, "value");
}

// ---- Logging ----

TEST(Logging, MayCarryNeitherUpdateNorSnapshot) {
    SAMPLE(DDS_Monitoring_Logging, logging);
    SAMPLE(DDS_Monitoring_Logging, decoded);
    logging->info.epoch = 9;
    ASSERT_TRUE(decoded.decode(logging.encode()));
    EXPECT_EQ(decoded->info.epoch, 9U);
    EXPECT_EQ(decoded->update, nullptr);
    EXPECT_EQ(decoded->snapshot, nullptr);
}

TEST(LoggingMessage, HeaderValuesMayBeAbsentAndTextsEmpty) {
    SAMPLE(DDS_Monitoring_LoggingMessage, message);
    SAMPLE(DDS_Monitoring_LoggingMessage, decoded);
    ASSERT_TRUE(setText(message->hostip, "127.0.0.1"));
    ASSERT_TRUE(decoded.decode(message.encode()));
    EXPECT_EQ(decoded->hostname, nullptr);
    EXPECT_STREQ(decoded->hostip, "127.0.0.1");
    EXPECT_EQ(decoded->appname, nullptr);
    EXPECT_EQ(decoded->procid, nullptr);
    EXPECT_STREQ(decoded->msgid, "");
    EXPECT_STREQ(decoded->message, "");
}

// ---- Commands ----

TEST(Reply, BeginsAtTheLowestOperationAndWithTheErrorSelected) {
    SAMPLE(DDS_Monitoring_MonitoringService_Reply, reply);
    EXPECT_EQ(reply->data._d, -2111819366);
    EXPECT_EQ(reply->data._u.request_logging_snapshot._d, -993880232);
    EXPECT_EQ(reply->data._u.subscribe._d, -993880232);
    ASSERT_TRUE(
        setText(reply->data._u.request_logging_snapshot._u.monitoringcommanderror_ex.error_message, "no"));
    SAMPLE(DDS_Monitoring_MonitoringService_Reply, decoded);
    ASSERT_TRUE(decoded.decode(reply.encode()));
    EXPECT_EQ(decoded->data._d, -2111819366);
    EXPECT_STREQ(decoded->data._u.request_logging_snapshot._u.monitoringcommanderror_ex.error_message, "no");
}

TEST(Reply, NoMatchWithoutTextTravelsInTheErrorArm) {
    SAMPLE(DDS_Monitoring_MonitoringService_Reply, reply);
    SAMPLE(DDS_Monitoring_MonitoringService_Reply, decoded);
    reply->data._d = 519185278;
    reply->data._u.request_resource_registry._u.monitoringcommanderror_ex.ret_code =
        DDS_MONITORING_COMMAND_NO_RESOURCE_FOUND_ERROR;
    ASSERT_TRUE(decoded.decode(reply.encode()));
    EXPECT_EQ(decoded->data._d, 519185278);
    const auto& result = decoded->data._u.request_resource_registry;
    EXPECT_EQ(result._d, -993880232);
    EXPECT_EQ(result._u.monitoringcommanderror_ex.ret_code, 3);
    EXPECT_STREQ(result._u.monitoringcommanderror_ex.error_message, "");
}

TEST(Request, EpochsKeep64Bits) {
    SAMPLE(DDS_Monitoring_MonitoringService_Request, request);
    SAMPLE(DDS_Monitoring_MonitoringService_Request, decoded);
    request->data._d = 1339601103;
    request->data._u.request_event_subscription_snapshot.LastReceivedEpoch = 0xFEDCBA9876543210ULL;
    ASSERT_TRUE(decoded.decode(request.encode()));
    EXPECT_EQ(decoded->data._u.request_event_subscription_snapshot.LastReceivedEpoch, 0xFEDCBA9876543210ULL);
}

// A request that is used again keeps what its other arms hold.
TEST(Request, ArmsLieSideBySide) {
    SAMPLE(DDS_Monitoring_MonitoringService_Request, request);
    auto& resources = request->data._u.pause_subscription.resources;
    ASSERT_TRUE(DDS_StringSeq_ensure_length(&resources, 1, 1));
    ASSERT_TRUE(setText(*DDS_StringSeq_get_reference(&resources, 0), "/a"));
    request->data._d = -185953285;
    ASSERT_FALSE(request.encode().empty());
    EXPECT_STREQ(DDS_StringSeq_get(&resources, 0), "/a");
}

} // namespace
