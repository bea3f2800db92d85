// What we encode, types made by idlc from the same IDL decode, and the other way round; and both write the
// same bytes.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "Peer.h"
#include "orxmonitoring2d/schema_types.h"
#include "tests/unit/dataModel/RandomValue.hpp"
#include "tests/unit/dataModel/TypeIndexes.hpp"

namespace {

struct PeerDeleter {
    void operator()(PeerValue* value) const { PeerValue_delete(value); }
};
using OwnedPeer = std::unique_ptr<PeerValue, PeerDeleter>;

template <typename T> struct Sample {
    explicit Sample(const DDS_TypeDescriptor& type_)
        : type(&type_), data(static_cast<T*>(DDS_Type_create_data(&type_))) {}
    ~Sample() { DDS_Type_destroy_data(type, data); }
    Sample(const Sample&) = delete;
    Sample& operator=(const Sample&) = delete;
    T* operator->() const { return data; }
    const DDS_TypeDescriptor* type;
    T* data;
};

constexpr size_t headerSize = 4;

std::vector<char> encode(const DDS_TypeDescriptor& type, const void* value) {
    DDS_UnsignedLong length = 0;
    EXPECT_TRUE(DDS_Type_serialize_to_cdr_buffer(&type, nullptr, &length, value)) << type.name;
    std::vector<char> bytes(length);
    EXPECT_TRUE(DDS_Type_serialize_to_cdr_buffer(&type, bytes.data(), &length, value)) << type.name;
    return bytes;
}

OwnedPeer decodeByPeer(const DDS_TypeDescriptor& type, const std::vector<char>& bytes) {
    const size_t padding = static_cast<unsigned char>(bytes[3]) & 3U;
    return OwnedPeer{PeerValue_decode(
        PeerType_find(type.name), bytes.data() + headerSize, bytes.size() - headerSize - padding)};
}

// What the peer writes, under an encapsulation header as its writer would put before it.
std::vector<char> encodeByPeer(const DDS_TypeDescriptor& type, PeerValue* value) {
    size_t size = 0;
    const auto* body = static_cast<const char*>(PeerValue_encode(value, &size));
    const size_t padding = (4 - size % 4) % 4;
    const auto identifier = DDS_TypeCode_get_native_encapsulation(&type, DDS_XCDR2_DATA_REPRESENTATION);
    std::vector<char> bytes(headerSize + size + padding);
    bytes[0] = static_cast<char>(identifier >> 8);
    bytes[1] = static_cast<char>(identifier & 0xFF);
    bytes[3] = static_cast<char>(padding);
    std::memcpy(bytes.data() + headerSize, body, size);
    return bytes;
}

class EveryStructure : public testing::TestWithParam<unsigned> {};

TEST_P(EveryStructure, MeansTheSameToAPeer) {
    const DDS_TypeDescriptor& type = *orx_schema_types[GetParam()]->type;
    ASSERT_NE(PeerType_find(type.name), nullptr);
    for (unsigned seed = 0; seed < 24; ++seed) {
        Sample<void> original(type), decoded(type);
        RandomValue random(seed);
        random.allPresent = seed % 6 == 0;
        if (type.kind == DDS_TYPE_UNION || seed % 2 == 0)
            random.arm = static_cast<int>(seed);
        ASSERT_TRUE(random.fill(type, original.data));
        const auto bytes = encode(type, original.data);
        const auto peer = decodeByPeer(type, bytes);
        ASSERT_NE(peer, nullptr) << type.name << " seed " << seed;
        const auto answer = encodeByPeer(type, peer.get());
        EXPECT_EQ(bytes, answer) << type.name << " seed " << seed;
        ASSERT_TRUE(DDS_Type_deserialize_from_cdr_buffer(
            &type, decoded.data, answer.data(), static_cast<DDS_UnsignedLong>(answer.size())))
            << type.name << " seed " << seed;
        EXPECT_TRUE(DDS_Type_equals(&type, original.data, decoded.data)) << type.name << " seed " << seed;
    }
}

INSTANTIATE_TEST_SUITE_P(Schema, EveryStructure, testing::ValuesIn(indexesOfAggregates()), nameOfType);

TEST(Peer, KnowsAllStructuresAndUnions) {
    size_t count = 0;
    for (const auto* plugin : orx_schema_types)
        count += plugin->type->memberCount > 0;
    EXPECT_EQ(PeerType_count(), count);
}

template <typename T> struct Decoded : Sample<T> {
    Decoded(const DDS_TypeDescriptor& type_, PeerValue* peer) : Sample<T>(type_) {
        const auto bytes = encodeByPeer(type_, peer);
        EXPECT_TRUE(DDS_Type_deserialize_from_cdr_buffer(
            &type_, this->data, bytes.data(), static_cast<DDS_UnsignedLong>(bytes.size())));
    }
};

TEST(Peer, ReadsAndWritesAnEvent) {
    Sample<DDS_Monitoring_Event> event(DDS_Monitoring_Event_g_type);
    event->info.epoch_resource = 0x123456789ABCULL;
    event->value._d = 265647670;
    auto& application = event->value._u.application;
    ASSERT_NE(DDS_String_replace(&application.hostname, "a host"), nullptr);
    ASSERT_TRUE(ORXOsapiHeap_allocateStructure(&application.process_id, DDS_UnsignedLongLong));
    *application.process_id = 4711;
    const auto peer = decodeByPeer(*event.type, encode(*event.type, event.data));
    ASSERT_NE(peer, nullptr);
    EXPECT_TRUE(Peer_eventHas(peer.get(), 0x123456789ABCULL, "a host", 4711));

    const OwnedPeer theirs{Peer_makeEvent(5, "their host", 99, "a topic")};
    Decoded<DDS_Monitoring_Event> ours(DDS_Monitoring_Event_g_type, theirs.get());
    EXPECT_EQ(ours->resource_guid[15], 7);
    EXPECT_EQ(ours->info.epoch_resource, 5U);
    EXPECT_TRUE(ours->info.is_snapshot);
    EXPECT_STREQ(ours->value._u.application.hostname, "their host");
    EXPECT_EQ(*ours->value._u.application.process_id, 99U);
    EXPECT_EQ(ours->value._u.application.logging, nullptr);
    const auto* update = ours->value._u.application.resource_update;
    ASSERT_NE(update, nullptr);
    EXPECT_EQ(update->_d, DDS_Monitoring_ResourceUpdateKind_RESOURCE_UPDATE_CREATION_KIND);
    EXPECT_STREQ(update->_u.new_resource.name, "a topic");
    EXPECT_EQ(DDS_UnsignedLongSeq_get(&update->_u.new_resource.metric_ids, 1), 0xFFFFFFFFU);
}

TEST(Peer, ReadsAndWritesAPeriodicSample) {
    Sample<DDS_Monitoring_Periodic> periodic(DDS_Monitoring_Periodic_g_type);
    periodic->value._d = 99258059;
    DDS_Monitoring_FloatStat* stat = DDS_Monitoring_FloatStatPluginSupport_create_data();
    stat->mean = 2.5F;
    stat->count = 1ULL << 40;
    periodic->value._u.domain_participant.send_bytes_per_s_2 = stat;
    const auto peer = decodeByPeer(*periodic.type, encode(*periodic.type, periodic.data));
    ASSERT_NE(peer, nullptr);
    EXPECT_TRUE(Peer_periodicHas(peer.get(), 2.5F, 1ULL << 40));

    const OwnedPeer theirs{Peer_makePeriodic(-0.5F, 12, 0)};
    Decoded<DDS_Monitoring_Periodic> ours(DDS_Monitoring_Periodic_g_type, theirs.get());
    ASSERT_NE(ours->value._u.domain_participant.send_bytes_per_s_2, nullptr);
    EXPECT_EQ(ours->value._u.domain_participant.send_bytes_per_s_2->mean, -0.5F);
    EXPECT_EQ(ours->value._u.domain_participant.send_bytes_per_s_2->count, 12U);
}

TEST(Peer, ReadsAndWritesALoggingSample) {
    for (const char* hostname : {"host", static_cast<const char*>(nullptr)}) {
        const OwnedPeer theirs{Peer_makeLogging(1ULL << 60, "a message", hostname, "key")};
        Decoded<DDS_Monitoring_Logging> ours(DDS_Monitoring_Logging_g_type, theirs.get());
        ASSERT_NE(ours->update, nullptr);
        EXPECT_EQ(ours->snapshot, nullptr);
        ASSERT_EQ(DDS_Monitoring_LogReferenceSeq_get_length(ours->update), 1);
        const DDS_Monitoring_LoggingMessage* message = DDS_Monitoring_LogReferenceSeq_get(ours->update, 0);
        EXPECT_EQ(message->sn, 1ULL << 60);
        EXPECT_EQ(message->severity, DDS_Monitoring_LoggingLevel_DEBUG_LEVEL);
        EXPECT_EQ(message->timestamp.sec, -1);
        EXPECT_STREQ(message->message, "a message");
        EXPECT_STREQ(message->msgid, "");
        EXPECT_STREQ(message->hostname, hostname);
        const auto peer = decodeByPeer(*ours.type, encode(*ours.type, ours.data));
        ASSERT_NE(peer, nullptr);
        EXPECT_TRUE(Peer_loggingHas(peer.get(), 1ULL << 60, "a message", hostname));
    }
}

TEST(Peer, ReadsAndWritesARequest) {
    const OwnedPeer theirs{Peer_makeRequest("//applications/*", "dds_topic_*", (3LL << 32) | 9)};
    Decoded<DDS_Monitoring_MonitoringService_Request> ours(
        DDS_Monitoring_MonitoringService_Request_g_type, theirs.get());
    EXPECT_EQ(ours->header.requestId.sequence_number.high, 3);
    EXPECT_EQ(ours->header.requestId.sequence_number.low, 9U);
    EXPECT_EQ(ours->data._d, -185953285);
    const auto& metrics = ours->data._u.set_metric_subscription_state.metrics;
    ASSERT_EQ(DDS_Monitoring_MetricSelectorSeq_get_length(&metrics), 1);
    const auto* selector = DDS_Monitoring_MetricSelectorSeq_get_reference(&metrics, 0);
    EXPECT_STREQ(selector->resource_selector, "//applications/*");
    EXPECT_STREQ(DDS_StringSeq_get(&selector->subscribe_metric_selector, 0), "dds_topic_*");
    const auto peer = decodeByPeer(*ours.type, encode(*ours.type, ours.data));
    ASSERT_NE(peer, nullptr);
    EXPECT_TRUE(Peer_requestHas(peer.get(), "//applications/*", "dds_topic_*"));
}

TEST(Peer, ReadsAndWritesAReply) {
    const OwnedPeer theirs{Peer_makeReply(3, "")};
    Decoded<DDS_Monitoring_MonitoringService_Reply> ours(
        DDS_Monitoring_MonitoringService_Reply_g_type, theirs.get());
    EXPECT_EQ(ours->data._d, 519185278);
    const auto& result = ours->data._u.request_resource_registry;
    EXPECT_EQ(result._d, -993880232);
    EXPECT_EQ(result._u.monitoringcommanderror_ex.ret_code, DDS_MONITORING_COMMAND_NO_RESOURCE_FOUND_ERROR);
    EXPECT_STREQ(result._u.monitoringcommanderror_ex.error_message, "");
    const auto peer = decodeByPeer(*ours.type, encode(*ours.type, ours.data));
    ASSERT_NE(peer, nullptr);
    EXPECT_TRUE(Peer_replyHas(peer.get(), 3, ""));
}

} // namespace
