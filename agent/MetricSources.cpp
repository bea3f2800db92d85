#include "agent/MetricSources.hpp"

#include <cstring>
#include <string_view>

namespace orx::agent {

namespace {

constexpr Coverage served = Coverage::served;
constexpr Coverage partly = Coverage::partly;

constexpr char listener[] = "status, from the engine's listener";
constexpr char matches[] =
    "the engine's record of the writer: matched reliable readers; one of another process is "
    "active once it has answered a heartbeat, and is not told inactive again while matched";
constexpr char history[] =
    "the engine's history of the writer, counted at each sampling; above 16,384 it is told "
    "as if it had no gaps";
constexpr char historyPeak[] =
    "highest of the sampled counts: what comes and goes between two of them is not seen";
constexpr char writes[] = "calls of the program that write, dispose or unregister";
constexpr char writtenBytes[] =
    "encoded size with its header, of samples of types of one length, and of samples that "
    "the program hands over encoded; others add nothing";
constexpr char record[] = "the engine's record of the writer";
constexpr char heartbeatBytes[] = "32 for each heartbeat: submessages without the headers of messages";
constexpr char statistics[] = "the engine's statistics of the writer";
constexpr char sequenceNumbers[] =
    "the engine's history of the writer; with an empty one the number that comes next";
constexpr char lastNumber[] =
    "the engine's history of the writer; with an empty one the last number that was written";
constexpr char unacknowledged[] = "the lowest that a reliable reader of another process has not acknowledged";
constexpr char throttles[] =
    "the engine's statistics of the writer: writes that waited since too many octets were "
    "unacknowledged, which is its one limit";
constexpr char unacknowledgedSamples[] = "sequence numbers behind the lowest that is acknowledged";
constexpr char unacknowledgedPeak[] = "highest of the sampled counts";
constexpr char cache[] = "the engine's cache of the reader; not of a reader whose cache the program brought";
constexpr char reads[] =
    "samples with data that a read or take gave the program, once each: what the cache dropped "
    "before is not in it";
constexpr char readBytes[] =
    "encoded size with its header, of samples of types of one length, and of samples that the "
    "program takes encoded; others add nothing";
constexpr char discarded[] =
    "the engine's statistics of the reader: what was dropped before the cache, for lack of "
    "room too";
constexpr char process[] = "the operating system, read by the monitoring library";

constexpr MetricSource servedTable[] = {
    {"dds_topic_inconsistent_total", served, listener},

    {"dds_data_writer_liveliness_lost_total", served, listener},
    {"dds_data_writer_deadline_missed_total", served, listener},
    {"dds_data_writer_incompatible_qos_total", served, listener},
    {"dds_data_writer_publication_matched_total", served, listener},
    {"dds_data_writer_publication_matched_current_count", served, listener},
    {"dds_data_writer_publication_matched_current_count_peak", served, listener},
    {"dds_data_writer_reliable_reader_activity_active_count", partly, matches},
    {"dds_data_writer_reliable_reader_activity_inactive_count", partly, matches},
    {"dds_data_writer_cache_samples", served, history},
    {"dds_data_writer_cache_samples_peak", partly, historyPeak},
    {"dds_data_writer_protocol_pushed_samples_total", served, writes},
    {"dds_data_writer_protocol_pushed_sample_bytes_total", partly, writtenBytes},
    {"dds_data_writer_protocol_sent_heartbeats_total", served, record},
    {"dds_data_writer_protocol_sent_heartbeats_bytes_total", served, heartbeatBytes},
    {"dds_data_writer_protocol_pulled_samples_total", served, record},
    {"dds_data_writer_protocol_pulled_sample_bytes_total", served, statistics},
    {"dds_data_writer_protocol_received_acks_total", served, record},
    {"dds_data_writer_protocol_received_nacks_total", served, record},
    {"dds_data_writer_protocol_first_available_sequence_number_high", served, sequenceNumbers},
    {"dds_data_writer_protocol_first_available_sequence_number_low", served, sequenceNumbers},
    {"dds_data_writer_protocol_last_available_sequence_number_high", served, lastNumber},
    {"dds_data_writer_protocol_last_available_sequence_number_low", served, lastNumber},
    {"dds_data_writer_protocol_first_unacknowledged_sample_sequence_number_high", served, unacknowledged},
    {"dds_data_writer_protocol_first_unacknowledged_sample_sequence_number_low", served, unacknowledged},
    {"dds_data_writer_reliable_cache_full_total", served, throttles},
    {"dds_data_writer_reliable_cache_high_watermark_total", served, throttles},
    {"dds_data_writer_reliable_cache_unack_samples", served, unacknowledgedSamples},
    {"dds_data_writer_reliable_cache_unack_samples_peak", partly, unacknowledgedPeak},

    {"dds_data_reader_sample_rejected_total", served, listener},
    {"dds_data_reader_liveliness_alive_count", served, listener},
    {"dds_data_reader_liveliness_not_alive_count", served, listener},
    {"dds_data_reader_deadline_missed_total", served, listener},
    {"dds_data_reader_incompatible_qos_total", served, listener},
    {"dds_data_reader_sample_lost_total", served, listener},
    {"dds_data_reader_subscription_matched_total", served, listener},
    {"dds_data_reader_subscription_matched_current_count", served, listener},
    {"dds_data_reader_subscription_matched_current_count_peak", served, listener},
    {"dds_data_reader_cache_samples", served, cache},
    {"dds_data_reader_cache_samples_peak", partly, historyPeak},
    {"dds_data_reader_protocol_received_samples_total", partly, reads},
    {"dds_data_reader_protocol_received_sample_bytes_total", partly, readBytes},
    {"dds_data_reader_protocol_duplicate_sample_bytes_total", partly, discarded},

    {"dds_application_process_memory_usage_resident_memory_bytes", served, process},
    {"dds_application_process_memory_usage_virtual_memory_bytes", served, process},
};

bool contains(std::string_view text, std::string_view part) {
    return text.find(part) != std::string_view::npos;
}

// Declared as not supported: a selection never turns them on. The others stay empty beside what is served.
const char* absenceOf(std::string_view metric) {
    if (contains(metric, "_udpv4_") || contains(metric, "_udpv6_"))
        return "not supported: the engine counts nothing by transport";
    if (metric.starts_with("dds_domain_participant_"))
        return "not supported: the engine has no rates";
    if (metric.starts_with("dds_application_"))
        return "not supported: the monitoring library does not measure it";
    if (contains(metric, "virtual_sequence_number") || contains(metric, "unelapsed"))
        return "the engine has no such numbers: told as unknown";
    if (contains(metric, "sequence_number"))
        return "the engine has it for each matched writer alone: told as unknown";
    return "the engine does not tell it: 0";
}

} // namespace

std::span<const MetricSource> servedMetrics() {
    return servedTable;
}

MetricSource sourceOf(const char* metric) {
    for (const MetricSource& source : servedTable) {
        if (std::strcmp(source.name, metric) == 0)
            return source;
    }
    return {metric, Coverage::none, absenceOf(metric)};
}

const char* unitOf(const char* metric) {
    constexpr struct {
        const char* part;
        const char* unit;
    } units[] = {{"_period_ms", "ms"}, {"_latency_ms_count", "samples"}, {"_latency_ms", "ms"},
        {"_uptime_sec", "s"}, {"_percent_count", "measurements"}, {"_per_s_count", "measurements"},
        {"_pkts_count", "measurements"}, {"_net_bytes_count", "measurements"}, {"_percent", "%"},
        {"_samples_per_s", "samples/s"}, {"_bytes_per_s", "octets/s"}, {"_net_pkts", "packets"},
        {"_net_bytes", "octets"}, {"_bytes", "octets"}, {"_sequence_number_high", "upper 32 bits"},
        {"_sequence_number_low", "lower 32 bits"}, {"_instances", "instances"}, {"_fragments", "fragments"},
        {"_heartbeats", "submessages"}, {"_acks", "submessages"}, {"_nacks", "submessages"},
        {"_gaps", "submessages"}, {"_matched_", "endpoints"}, {"_reader_activity_", "readers"},
        {"_liveliness_alive", "writers"}, {"_liveliness_not_alive", "writers"},
        {"_incompatible_qos", "endpoints"}, {"_window_size", "samples"}, {"_reassembled_samples", "samples"},
        {"_samples", "samples"}, {"_sample_lost", "samples"}, {"_sample_rejected", "samples"},
        {"_reliable_cache_", "times"}, {"_deadline_missed", "times"}, {"_liveliness_lost", "times"},
        {"_inconsistent", "topics"}, {"_cpu_cores", "cores"}};
    for (const auto& entry : units) {
        if (std::strstr(metric, entry.part) != nullptr)
            return entry.unit;
    }
    return "";
}

} // namespace orx::agent
