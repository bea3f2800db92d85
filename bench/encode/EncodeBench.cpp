// What it costs to make bytes of a sample and a sample of bytes, against Cyclone DDS's own serializer on the
// same samples, with types that idlc made of the same IDL.
//
// Like is compared with like: buffers and samples that are kept, as a writer's and a reader's are, and ones
// made and freed each time. Reading is checked reading on both sides: no byte is trusted.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "PeerStream.h"
#include "bench/common/Compare.hpp"
#include "orxmonitoring2d/data_model.h"
#include "zddsc/sequence_define.h"
#include "zddsc/type_engine.h"
#include "zddscore/heap.h"

namespace {

constexpr std::size_t rounds = 1500;

void require(bool holds, const char* what) {
    if (holds)
        return;
    std::fprintf(stderr, "encode_bench: %s\n", what);
    std::exit(1);
}

template <typename T> T* create(const DDS_TypeDescriptor& type) {
    auto* value = static_cast<T*>(DDS_Type_create_data(&type));
    require(value != nullptr, "out of memory");
    return value;
}

void setText(char** text, const char* value) {
    require(DDS_String_replace(text, value) != nullptr, "out of memory");
}

// A writer whose matched readers changed, with the properties that a subscription selects beside it.
DDS_Monitoring_Event* makeEvent() {
    auto* event = create<DDS_Monitoring_Event>(*DDS_Monitoring_Event_get_typecode());
    event->info.epoch_metric = 17;
    event->value._d = 142415660;
    auto& writer = event->value._u.data_writer;
    writer.dds_guid = create<DDS_Monitoring_GUID_t>(*DDS_Monitoring_GUID_t_get_typecode());
    writer.status_publication_matched_1 = create<DDS_Monitoring_PublicationMatchedStatus>(
        *DDS_Monitoring_PublicationMatchedStatus_get_typecode());
    writer.status_publication_matched_1->current_count = 3;
    writer.status_liveliness_lost =
        create<DDS_Monitoring_LivelinessLostStatus>(*DDS_Monitoring_LivelinessLostStatus_get_typecode());
    setText(&writer.topic_name, "rt/chatter");
    setText(&writer.registered_type_name, "std_msgs::msg::dds_::String_");
    return event;
}

// A participant with every statistic that has metrics.
DDS_Monitoring_Periodic* makePeriodic() {
    auto* periodic = create<DDS_Monitoring_Periodic>(*DDS_Monitoring_Periodic_get_typecode());
    periodic->value._d = 99258059;
    auto& participant = periodic->value._u.domain_participant;
    for (DDS_Monitoring_FloatStat** stat : {&participant.send_samples_per_s_2,
             &participant.send_bytes_per_s_2, &participant.receive_samples_per_s_2,
             &participant.receive_bytes_per_s_2, &participant.receive_latency_ms_2,
             &participant.udpv4_usage_in_net_pkts_2, &participant.udpv4_usage_in_net_bytes_2,
             &participant.udpv4_usage_out_net_pkts_2, &participant.udpv4_usage_out_net_bytes_2,
             &participant.udpv6_usage_in_net_pkts_2, &participant.udpv6_usage_in_net_bytes_2,
             &participant.udpv6_usage_out_net_pkts_2, &participant.udpv6_usage_out_net_bytes_2}) {
        *stat = create<DDS_Monitoring_FloatStat>(*DDS_Monitoring_FloatStat_get_typecode());
        **stat = {1000, 250, 0.5F, 0.0F, 2.5F};
    }
    return periodic;
}

// Eight messages as the logging collector makes them.
DDS_Monitoring_Logging* makeLogging() {
    auto* logging = create<DDS_Monitoring_Logging>(*DDS_Monitoring_Logging_get_typecode());
    logging->snapshot =
        create<DDS_Monitoring_LoggingMessageSeq>(*DDS_Monitoring_Logging_get_typecode()->members[2].type);
    DDS_Monitoring_LoggingMessageSeq_set_length(logging->snapshot, 8);
    for (int i = 0; i < 8; ++i) {
        auto* message = DDS_Monitoring_LoggingMessageSeq_get_reference(logging->snapshot, i);
        message->sn = static_cast<DDS_UnsignedLongLong>(i);
        message->facility = 23;
        message->severity = DDS_Monitoring_LoggingLevel_ERROR_LEVEL;
        setText(&message->msgid, "2147");
        setText(&message->message,
            "writer of topic rt/chatter: a reader asks for a reliability that is not offered");
        DDS_Monitoring_StructuredDataMapEntrySeq_set_length(&message->structured_data, 1);
        auto* entry = DDS_Monitoring_StructuredDataMapEntrySeq_get_reference(&message->structured_data, 0);
        setText(&entry->key, "origin");
        DDS_Monitoring_NameValuePairSeq_set_length(&entry->pairs, 1);
        auto* pair = DDS_Monitoring_NameValuePairSeq_get_reference(&entry->pairs, 0);
        setText(&pair->name, "category");
        setText(&pair->value, "Discovery");
    }
    return logging;
}

// A command that sets two selections of four patterns each.
DDS_Monitoring_MonitoringService_Request* makeRequest() {
    auto* request = create<DDS_Monitoring_MonitoringService_Request>(
        *DDS_Monitoring_MonitoringService_Request_get_typecode());
    request->data._d = -185953285;
    auto& selectors = request->data._u.set_metric_subscription_state.metrics;
    DDS_Monitoring_MetricSelectorSeq_set_length(&selectors, 2);
    for (int i = 0; i < 2; ++i) {
        auto* selector = DDS_Monitoring_MetricSelectorSeq_get_reference(&selectors, i);
        setText(&selector->resource_selector,
            "/applications/*/domain_participants/*/publishers/*/data_writers/*");
        DDS_StringSeq_set_length(&selector->subscribe_metric_selector, 4);
        const char* patterns[] = {
            "dds_data_writer_protocol_*", "dds_data_writer_cache_*", "*_matched_*", "*_total"};
        for (int n = 0; n < 4; ++n)
            setText(DDS_StringSeq_get_reference(&selector->subscribe_metric_selector, n), patterns[n]);
    }
    return request;
}

// One sample on both sides.
class Sample {
public:
    Sample(const char* title, const DDS_TypeDescriptor& type, void* value)
        : title_(title), type_(type), value_(value), kept_(DDS_Type_create_data(&type)) {
        DDS_UnsignedLong length = 0;
        require(DDS_Type_serialize_to_cdr_buffer(&type, nullptr, &length, value),
            "the sample does not serialize");
        bytes_.resize(length);
        require(DDS_Type_serialize_to_cdr_buffer(&type, bytes_.data(), &length, value),
            "the sample does not serialize");
        peer_ = PeerStream_new(type.name, bytes_.data() + 4, bytes_.size() - 4 - (bytes_[3] & 3U));
        require(peer_ != nullptr, "the peer refuses the sample");
        require(PeerStream_write(peer_) + 4 <= bytes_.size(), "the peer writes another encoding");
    }
    ~Sample() {
        PeerStream_delete(peer_);
        ORXOsapiHeap_freeMemoryInternal(buffer_);
        DDS_Type_destroy_data(&type_, kept_);
        DDS_Type_destroy_data(&type_, value_);
    }
    Sample(const Sample&) = delete;
    Sample& operator=(const Sample&) = delete;

    void measure(std::vector<bench::Table>& tables) {
        const std::string size = std::to_string(bytes_.size()) + " bytes; ratio to the peer";
        compare(
            tables, "Encode " + title_, size + ", buffers kept",
            [this] { bench::keep(PeerStream_write(peer_)); }, [this] { write(&buffer_, &capacity_); });
        compare(
            tables, "Encode " + title_ + ", new buffer", size + ", buffer made and freed",
            [this] { bench::keep(PeerStream_writeAnew(peer_)); },
            [this] {
                char* buffer = nullptr;
                size_t capacity = 0;
                write(&buffer, &capacity);
                ORXOsapiHeap_freeMemoryInternal(buffer);
            });
        compare(
            tables, "Decode " + title_, size + ", sample kept, every byte checked",
            [this] { bench::keep(PeerStream_read(peer_)); }, [this] { read(kept_); });
        compare(
            tables, "Decode " + title_ + ", new sample", size + ", sample made and freed, every byte checked",
            [this] { bench::keep(PeerStream_readAnew(peer_)); },
            [this] {
                void* sample = DDS_Type_create_data(&type_);
                read(sample);
                DDS_Type_destroy_data(&type_, sample);
            });
    }

private:
    template <typename Peer, typename Own>
    void compare(std::vector<bench::Table>& tables, const std::string& title, const std::string& note,
        Peer peer, Own own) {
        const auto repeat = [](auto once) {
            return [once](std::size_t count) {
                for (std::size_t i = 0; i < count; ++i)
                    once();
            };
        };
        std::vector<bench::Candidate> candidates{
            {"Cyclone DDS stream", repeat(peer)}, {"type engine", repeat(own)}};
        tables.push_back(
            bench::compare(title, note, candidates, std::max<std::size_t>(5, 20000 / bytes_.size()), rounds));
        bench::print(tables.back());
    }

    void write(char** buffer, size_t* capacity) {
        size_t length = 0;
        require(DDS_Type_serialize_to_growing_buffer(
                    &type_, buffer, capacity, &length, value_, DDS_XCDR2_DATA_REPRESENTATION),
            "writing failed");
        bench::keep(length);
    }

    void read(void* sample) {
        require(DDS_Type_deserialize_from_cdr_buffer(
                    &type_, sample, bytes_.data(), static_cast<DDS_UnsignedLong>(bytes_.size())),
            "reading failed");
    }

    std::string title_;
    const DDS_TypeDescriptor& type_;
    void* value_;
    void* kept_;
    std::vector<char> bytes_;
    char* buffer_ = nullptr;
    size_t capacity_ = 0;
    PeerStream* peer_ = nullptr;
};

} // namespace

int main(int argc, char** argv) {
    std::vector<bench::Table> tables;
    Sample("an event", *DDS_Monitoring_Event_get_typecode(), makeEvent()).measure(tables);
    Sample("a periodic sample", *DDS_Monitoring_Periodic_get_typecode(), makePeriodic()).measure(tables);
    Sample("eight log messages", *DDS_Monitoring_Logging_get_typecode(), makeLogging()).measure(tables);
    Sample("a command", *DDS_Monitoring_MonitoringService_Request_get_typecode(), makeRequest())
        .measure(tables);
    bench::writeJson(argc > 1 ? argv[1] : "", tables);
    return 0;
}
