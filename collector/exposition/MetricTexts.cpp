#include "collector/exposition/MetricTexts.hpp"

#include <array>
#include <cstdlib>
#include <unordered_map>

namespace collector {

namespace {

constexpr MetricType counter = MetricType::counter;
constexpr MetricType gauge = MetricType::gauge;

struct Single {
    const char* name;
    MetricType type;
    const char* help;
};

constexpr Single singles[] = {
    {"dds_topic_inconsistent_total", counter,
        "Remote topics of the same name whose type is inconsistent with this one."},

    {"dds_data_writer_liveliness_lost_total", counter,
        "Times that the writer failed to assert its liveliness."},
    {"dds_data_writer_deadline_missed_total", counter,
        "Times that an instance was not written within the offered deadline."},
    {"dds_data_writer_incompatible_qos_total", counter,
        "Readers of the topic that requested a QoS incompatible with the offered one."},
    {"dds_data_writer_publication_matched_total", counter, "Readers that were ever matched."},
    {"dds_data_writer_publication_matched_current_count", gauge, "Readers that are matched."},
    {"dds_data_writer_publication_matched_current_count_peak", gauge,
        "Highest number of readers that were matched at once."},
    {"dds_data_writer_reliable_reader_activity_active_count", gauge,
        "Matched reliable readers that are active."},
    {"dds_data_writer_reliable_reader_activity_inactive_count", gauge,
        "Matched reliable readers that are inactive, as they do not answer."},
    {"dds_data_writer_cache_samples_peak", gauge, "Highest number of samples in the writer's cache."},
    {"dds_data_writer_cache_samples", gauge, "Samples in the writer's cache."},
    {"dds_data_writer_cache_alive_instances", gauge, "Alive instances in the writer's cache."},
    {"dds_data_writer_cache_alive_instances_peak", gauge,
        "Highest number of alive instances in the writer's cache."},
    {"dds_data_writer_cache_disposed_instances", gauge, "Disposed instances in the writer's cache."},
    {"dds_data_writer_cache_disposed_instances_peak", gauge,
        "Highest number of disposed instances in the writer's cache."},
    {"dds_data_writer_cache_unregistered_instances", gauge, "Unregistered instances in the writer's cache."},
    {"dds_data_writer_cache_unregistered_instances_peak", gauge,
        "Highest number of unregistered instances in the writer's cache."},
    {"dds_data_writer_protocol_pushed_samples_total", counter,
        "Samples that the writer pushed to its readers when they were written."},
    {"dds_data_writer_protocol_pushed_sample_bytes_total", counter,
        "Bytes of the samples that the writer pushed."},
    {"dds_data_writer_protocol_filtered_samples_total", counter,
        "Samples that the writer filtered out for a reader."},
    {"dds_data_writer_protocol_filtered_samples_bytes_total", counter,
        "Bytes of the samples that the writer filtered out."},
    {"dds_data_writer_protocol_sent_heartbeats_total", counter, "Heartbeats that the writer sent."},
    {"dds_data_writer_protocol_sent_heartbeats_bytes_total", counter,
        "Bytes of the heartbeats that the writer sent."},
    {"dds_data_writer_protocol_pulled_samples_total", counter,
        "Samples that readers pulled: they were sent again, or late."},
    {"dds_data_writer_protocol_pulled_sample_bytes_total", counter,
        "Bytes of the samples that readers pulled."},
    {"dds_data_writer_protocol_received_acks_total", counter, "Acknowledgments that the writer received."},
    {"dds_data_writer_protocol_received_ack_bytes_total", counter,
        "Bytes of the acknowledgments that the writer received."},
    {"dds_data_writer_protocol_received_nacks_total", counter,
        "Negative acknowledgments that the writer received."},
    {"dds_data_writer_protocol_received_nack_bytes_total", counter,
        "Bytes of the negative acknowledgments that the writer received."},
    {"dds_data_writer_protocol_sent_gaps_total", counter, "Gap messages that the writer sent."},
    {"dds_data_writer_protocol_sent_gap_bytes_total", counter,
        "Bytes of the gap messages that the writer sent."},
    {"dds_data_writer_protocol_rejected_samples_total", counter, "Samples that readers rejected."},
    {"dds_data_writer_protocol_send_window_size", gauge,
        "Samples that may be unacknowledged before a write waits."},
    {"dds_data_writer_protocol_first_available_sequence_number_high", gauge,
        "First sequence number in the writer's cache, upper 32 bits."},
    {"dds_data_writer_protocol_first_available_sequence_number_low", gauge,
        "First sequence number in the writer's cache, lower 32 bits."},
    {"dds_data_writer_protocol_last_available_sequence_number_high", gauge,
        "Last sequence number in the writer's cache, upper 32 bits."},
    {"dds_data_writer_protocol_last_available_sequence_number_low", gauge,
        "Last sequence number in the writer's cache, lower 32 bits."},
    {"dds_data_writer_protocol_first_unacknowledged_sample_sequence_number_high", gauge,
        "First sequence number that some reader has not acknowledged, upper 32 bits."},
    {"dds_data_writer_protocol_first_unacknowledged_sample_sequence_number_low", gauge,
        "First sequence number that some reader has not acknowledged, lower 32 bits."},
    {"dds_data_writer_protocol_first_available_sample_virtual_sequence_number_high", gauge,
        "First virtual sequence number in the writer's cache, upper 32 bits."},
    {"dds_data_writer_protocol_first_available_sample_virtual_sequence_number_low", gauge,
        "First virtual sequence number in the writer's cache, lower 32 bits."},
    {"dds_data_writer_protocol_last_available_sample_virtual_sequence_number_high", gauge,
        "Last virtual sequence number in the writer's cache, upper 32 bits."},
    {"dds_data_writer_protocol_last_available_sample_virtual_sequence_number_low", gauge,
        "Last virtual sequence number in the writer's cache, lower 32 bits."},
    {"dds_data_writer_protocol_first_unacknowledged_sample_virtual_sequence_number_high", gauge,
        "First virtual sequence number that some reader has not acknowledged, upper 32 bits."},
    {"dds_data_writer_protocol_first_unacknowledged_sample_virtual_sequence_number_low", gauge,
        "First virtual sequence number that some reader has not acknowledged, lower 32 bits."},
    {"dds_data_writer_protocol_first_unelapsed_keep_duration_sample_sequence_number_high", gauge,
        "First sequence number whose keep duration has not elapsed, upper 32 bits."},
    {"dds_data_writer_protocol_first_unelapsed_keep_duration_sample_sequence_number_low", gauge,
        "First sequence number whose keep duration has not elapsed, lower 32 bits."},
    {"dds_data_writer_protocol_pushed_fragments_total", counter,
        "Fragments of samples that the writer pushed."},
    {"dds_data_writer_protocol_pushed_fragment_bytes_total", counter,
        "Bytes of the fragments that the writer pushed."},
    {"dds_data_writer_protocol_pulled_fragments_total", counter, "Fragments of samples that readers pulled."},
    {"dds_data_writer_protocol_pulled_fragment_bytes_total", counter,
        "Bytes of the fragments that readers pulled."},
    {"dds_data_writer_protocol_received_nack_fragments_total", counter,
        "Negative acknowledgments of fragments that the writer received."},
    {"dds_data_writer_protocol_received_nack_fragment_bytes_total", counter,
        "Bytes of the negative acknowledgments of fragments that the writer received."},
    {"dds_data_writer_reliable_cache_empty_total", counter,
        "Times that no sample in the writer's cache was unacknowledged any more."},
    {"dds_data_writer_reliable_cache_full_total", counter,
        "Times that unacknowledged samples filled the writer's cache or send window."},
    {"dds_data_writer_reliable_cache_low_watermark_total", counter,
        "Times that the number of unacknowledged samples fell to the low watermark."},
    {"dds_data_writer_reliable_cache_high_watermark_total", counter,
        "Times that the number of unacknowledged samples rose to the high watermark."},
    {"dds_data_writer_reliable_cache_unack_samples", gauge, "Unacknowledged samples in the writer's cache."},
    {"dds_data_writer_reliable_cache_unack_samples_peak", gauge,
        "Highest number of unacknowledged samples in the writer's cache."},
    {"dds_data_writer_reliable_cache_replaced_unack_samples_total", counter,
        "Samples that were replaced in the writer's cache before they were acknowledged."},

    {"dds_data_reader_sample_rejected_total", counter, "Samples that the reader rejected."},
    {"dds_data_reader_liveliness_alive_count", gauge, "Matched writers that are alive."},
    {"dds_data_reader_liveliness_not_alive_count", gauge, "Matched writers that have lost their liveliness."},
    {"dds_data_reader_deadline_missed_total", counter,
        "Times that an instance was not received within the requested deadline."},
    {"dds_data_reader_incompatible_qos_total", counter,
        "Writers of the topic that offered a QoS incompatible with the requested one."},
    {"dds_data_reader_sample_lost_total", counter, "Samples that were lost before the reader got them."},
    {"dds_data_reader_subscription_matched_total", counter, "Writers that were ever matched."},
    {"dds_data_reader_subscription_matched_current_count", gauge, "Writers that are matched."},
    {"dds_data_reader_subscription_matched_current_count_peak", gauge,
        "Highest number of writers that were matched at once."},
    {"dds_data_reader_cache_samples_peak", gauge, "Highest number of samples in the reader's cache."},
    {"dds_data_reader_cache_samples", gauge, "Samples in the reader's cache."},
    {"dds_data_reader_cache_old_source_ts_dropped_samples_total", counter,
        "Samples dropped as their source timestamp was older than that of the last one."},
    {"dds_data_reader_cache_tolerance_source_ts_dropped_samples_total", counter,
        "Samples dropped as their source timestamp was beyond the tolerance."},
    {"dds_data_reader_cache_ownership_dropped_samples_total", counter,
        "Samples dropped as another writer owns the instance."},
    {"dds_data_reader_cache_content_filter_dropped_samples_total", counter,
        "Samples dropped by the reader's content filter."},
    {"dds_data_reader_cache_time_based_filter_dropped_samples_total", counter,
        "Samples dropped by the reader's time based filter."},
    {"dds_data_reader_cache_expired_dropped_samples_total", counter, "Samples dropped as they had expired."},
    {"dds_data_reader_cache_virtual_duplicate_dropped_samples_total", counter,
        "Samples dropped as they came a second time from the same virtual writer."},
    {"dds_data_reader_cache_replaced_dropped_samples_total", counter,
        "Samples that newer ones replaced in the reader's cache."},
    {"dds_data_reader_cache_removed_batch_dropped_samples_total", counter,
        "Samples dropped as their writer had removed them from the batch."},
    {"dds_data_reader_cache_samples_dropped_by_instance_replaced_total", counter,
        "Samples dropped as their instance was replaced by another one."},
    {"dds_data_reader_cache_alive_instances", gauge, "Alive instances in the reader's cache."},
    {"dds_data_reader_cache_alive_instances_peak", gauge,
        "Highest number of alive instances in the reader's cache."},
    {"dds_data_reader_cache_no_writers_instances", gauge, "Instances without writers in the reader's cache."},
    {"dds_data_reader_cache_no_writers_instances_peak", gauge,
        "Highest number of instances without writers in the reader's cache."},
    {"dds_data_reader_cache_disposed_instances", gauge, "Disposed instances in the reader's cache."},
    {"dds_data_reader_cache_disposed_instances_peak", gauge,
        "Highest number of disposed instances in the reader's cache."},
    {"dds_data_reader_cache_detached_instances", gauge, "Detached instances of the reader's cache."},
    {"dds_data_reader_cache_detached_instances_peak", gauge,
        "Highest number of detached instances of the reader's cache."},
    {"dds_data_reader_cache_compressed_samples_total", counter,
        "Compressed samples that the reader received."},
    {"dds_data_reader_protocol_received_samples_total", counter, "Samples that the reader received."},
    {"dds_data_reader_protocol_received_sample_bytes_total", counter,
        "Bytes of the samples that the reader received."},
    {"dds_data_reader_protocol_duplicate_samples_total", counter,
        "Samples that the reader received more than once."},
    {"dds_data_reader_protocol_duplicate_sample_bytes_total", counter,
        "Bytes of the samples that the reader received more than once."},
    {"dds_data_reader_protocol_filtered_samples_total", counter,
        "Samples that the reader filtered out on reception."},
    {"dds_data_reader_protocol_filtered_sample_bytes_total", counter,
        "Bytes of the samples that the reader filtered out on reception."},
    {"dds_data_reader_protocol_received_heartbeats_total", counter, "Heartbeats that the reader received."},
    {"dds_data_reader_protocol_received_heartbeat_bytes_total", counter,
        "Bytes of the heartbeats that the reader received."},
    {"dds_data_reader_protocol_sent_acks_total", counter, "Acknowledgments that the reader sent."},
    {"dds_data_reader_protocol_sent_ack_bytes_total", counter,
        "Bytes of the acknowledgments that the reader sent."},
    {"dds_data_reader_protocol_sent_nacks_total", counter, "Negative acknowledgments that the reader sent."},
    {"dds_data_reader_protocol_sent_nack_bytes_total", counter,
        "Bytes of the negative acknowledgments that the reader sent."},
    {"dds_data_reader_protocol_received_gaps_total", counter, "Gap messages that the reader received."},
    {"dds_data_reader_protocol_received_gap_bytes_total", counter,
        "Bytes of the gap messages that the reader received."},
    {"dds_data_reader_protocol_rejected_samples_total", counter,
        "Samples that the reader rejected on reception, which are sent again."},
    {"dds_data_reader_protocol_first_available_sample_sequence_number_high", gauge,
        "First sequence number that a matched writer has, upper 32 bits."},
    {"dds_data_reader_protocol_first_available_sample_sequence_number_low", gauge,
        "First sequence number that a matched writer has, lower 32 bits."},
    {"dds_data_reader_protocol_last_available_sample_sequence_number_high", gauge,
        "Last sequence number that a matched writer has, upper 32 bits."},
    {"dds_data_reader_protocol_last_available_sample_sequence_number_low", gauge,
        "Last sequence number that a matched writer has, lower 32 bits."},
    {"dds_data_reader_protocol_last_committed_sample_sequence_number_high", gauge,
        "Last sequence number of a matched writer that the reader has committed, upper 32 bits."},
    {"dds_data_reader_protocol_last_committed_sample_sequence_number_low", gauge,
        "Last sequence number of a matched writer that the reader has committed, lower 32 bits."},
    {"dds_data_reader_protocol_uncommitted_samples", gauge,
        "Received samples that wait for earlier ones before they are committed."},
    {"dds_data_reader_protocol_out_of_range_rejected_samples_total", counter,
        "Samples that the reader rejected as their sequence number was out of range."},
    {"dds_data_reader_protocol_received_fragments_total", counter,
        "Fragments of samples that the reader received."},
    {"dds_data_reader_protocol_dropped_fragments_total", counter,
        "Fragments of samples that the reader dropped."},
    {"dds_data_reader_protocol_reassembled_samples_total", counter,
        "Samples that the reader made of their fragments."},
    {"dds_data_reader_protocol_sent_nack_fragments_total", counter,
        "Negative acknowledgments of fragments that the reader sent."},
    {"dds_data_reader_protocol_sent_nack_fragment_bytes_total", counter,
        "Bytes of the negative acknowledgments of fragments that the reader sent."},

    {"dds_application_host_resources_cpu_cores", gauge, "Processor cores of the host."},
    {"dds_application_host_resources_memory_bytes", gauge, "Memory of the host, in bytes."},
    {"dds_application_host_used_memory_percent", gauge, "Used part of the host's memory, in percent."},
    {"dds_application_host_uptime_sec", gauge, "Time since the start of the host, in seconds."},
    {"dds_application_process_memory_usage_resident_memory_bytes", gauge,
        "Resident memory of the process, in bytes."},
    {"dds_application_process_memory_usage_virtual_memory_bytes", gauge,
        "Virtual memory of the process, in bytes."},
    {"dds_application_process_uptime_sec", gauge, "Time since the start of the process, in seconds."},
};

// A value that was measured several times in a period: five metrics.
struct Measured {
    const char* name;
    const char* subject; // "Mean of <subject>."
};

constexpr Measured measured[] = {
    {"dds_domain_participant_send_samples_per_s", "the samples that the participant sent in a second"},
    {"dds_domain_participant_send_bytes_per_s", "the bytes that the participant sent in a second"},
    {"dds_domain_participant_receive_samples_per_s", "the samples that the participant received in a second"},
    {"dds_domain_participant_receive_bytes_per_s", "the bytes that the participant received in a second"},
    {"dds_domain_participant_receive_latency_ms",
        "the time from source to reception of the participant's samples, in milliseconds"},
    {"dds_domain_participant_udpv4_usage_in_net_pkts",
        "the packets that the participant received by UDP over IPv4"},
    {"dds_domain_participant_udpv4_usage_in_net_bytes",
        "the bytes that the participant received by UDP over IPv4"},
    {"dds_domain_participant_udpv4_usage_out_net_pkts",
        "the packets that the participant sent by UDP over IPv4"},
    {"dds_domain_participant_udpv4_usage_out_net_bytes",
        "the bytes that the participant sent by UDP over IPv4"},
    {"dds_domain_participant_udpv6_usage_in_net_pkts",
        "the packets that the participant received by UDP over IPv6"},
    {"dds_domain_participant_udpv6_usage_in_net_bytes",
        "the bytes that the participant received by UDP over IPv6"},
    {"dds_domain_participant_udpv6_usage_out_net_pkts",
        "the packets that the participant sent by UDP over IPv6"},
    {"dds_domain_participant_udpv6_usage_out_net_bytes",
        "the bytes that the participant sent by UDP over IPv6"},
    {"dds_application_host_cpu_usage_percent", "the use of the host's processors, in percent"},
    {"dds_application_host_network_usage_in_net_pkts", "the packets that the host received"},
    {"dds_application_host_network_usage_in_net_bytes", "the bytes that the host received"},
    {"dds_application_host_network_usage_out_net_pkts", "the packets that the host sent"},
    {"dds_application_host_network_usage_out_net_bytes", "the bytes that the host sent"},
    {"dds_application_process_cpu_usage_percent", "the use of processors by the process, in percent"},
    {"dds_application_process_network_usage_in_net_pkts", "the packets that the process received"},
    {"dds_application_process_network_usage_in_net_bytes", "the bytes that the process received"},
    {"dds_application_process_network_usage_out_net_pkts", "the packets that the process sent"},
    {"dds_application_process_network_usage_out_net_bytes", "the bytes that the process sent"},
};

constexpr std::array<std::array<const char*, 2>, 5> statistics{{
    {"_period_ms", "Length of the period of the measurements of "},
    {"_count", "Number of measurements in the period of "},
    {"_mean", "Mean in the period of "},
    {"_min", "Lowest measurement in the period of "},
    {"_max", "Highest measurement in the period of "},
}};

using ClassTexts = std::array<std::vector<MetricText>, resourceClassCount>;

ClassTexts makeTexts() {
    std::unordered_map<std::string, MetricText> byName;
    for (MetricText& text : writtenMetricTexts())
        byName.emplace(text.name, std::move(text));
    ClassTexts result;
    for (std::size_t i = 0; i < result.size(); ++i) {
        for (const Metric& metric : metricsOf(static_cast<ResourceClass>(i))) {
            const auto found = byName.find(metric.name);
            if (found == byName.end())
                std::abort(); // a metric without a line here: a defect of the build, which a test tells first
            result[i].push_back(found->second);
        }
    }
    return result;
}

} // namespace

std::vector<MetricText> writtenMetricTexts() {
    std::vector<MetricText> texts;
    for (const Single& each : singles)
        texts.push_back({each.name, each.type, each.help});
    for (const Measured& each : measured) {
        for (const auto& [suffix, help] : statistics) {
            const bool isPeriod = suffix == statistics[0][0];
            texts.push_back({std::string(each.name) + suffix, gauge,
                std::string(help) + each.subject + (isPeriod ? ": milliseconds." : ".")});
        }
    }
    return texts;
}

std::span<const MetricText> metricTexts(ResourceClass resourceClass) {
    static const ClassTexts made = makeTexts();
    return made[static_cast<std::size_t>(resourceClass)];
}

} // namespace collector
