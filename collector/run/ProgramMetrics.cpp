#include "collector/run/ProgramMetrics.hpp"

#include <array>

namespace collector::run {

namespace {

using Emit = OwnMetrics::Emit;

http::ServerCounters countersOf(const std::atomic<const http::Server*>& server) {
    const http::Server* const standing = server.load(std::memory_order_acquire);
    return standing != nullptr ? standing->counters() : http::ServerCounters();
}

void addIntakeMetrics(OwnMetrics& own, const Intake& intake) {
    own.add({"orx_collector_samples_not_cached_total",
        "Samples that came faster than they were taken, and were dropped, by topic.", MetricType::counter,
        [&intake](const Emit& emit) {
            for (const auto& topic : intake.losses())
                emit({{"topic", topic.topic}}, static_cast<double>(topic.notCached));
        }});
    own.add({"orx_collector_samples_failed_total", "Samples that were lost for lack of memory, by topic.",
        MetricType::counter, [&intake](const Emit& emit) {
            for (const auto& topic : intake.losses())
                emit({{"topic", topic.topic}}, static_cast<double>(topic.failed));
        }});
}

void addLogMetrics(OwnMetrics& own, const api::LogRing& ring, const LogFile& file) {
    const auto add = [&](const char* name, const char* help, MetricType type, auto read) {
        own.add({name, help, type, [read](const Emit& emit) { emit({}, static_cast<double>(read())); }});
    };
    add("orx_collector_log_messages_total", "Log messages received, without repetitions.",
        MetricType::counter, [&ring] { return ring.counts().received; });
    add("orx_collector_log_messages_repeated_total", "Log messages of snapshots that were known.",
        MetricType::counter, [&ring] { return ring.counts().repeated; });
    add("orx_collector_log_messages_kept", "Log messages that can be asked for.", MetricType::gauge,
        [&ring] { return ring.counts().messages; });
    add("orx_collector_log_lines_written_total", "Lines written to the log file.", MetricType::counter,
        [&file] { return file.written(); });
    add("orx_collector_log_lines_dropped_total", "Lines that the log file was too slow for, or refused.",
        MetricType::counter, [&file] { return file.dropped(); });
}

void addHttpMetrics(
    OwnMetrics& own, const std::atomic<const http::Server*>& server, const api::Streams& streams) {
    own.add({"orx_collector_http_requests_total", "Requests answered, by class of the status.",
        MetricType::counter, [&server](const Emit& emit) {
            static constexpr std::array<const char*, 4> classes{"2xx", "3xx", "4xx", "5xx"};
            const auto counters = countersOf(server);
            for (std::size_t i = 0; i < classes.size(); ++i)
                emit({{"status", classes[i]}}, static_cast<double>(counters.byClass[i + 2]));
        }});
    const auto add = [&](const char* name, const char* help, MetricType type, auto read) {
        own.add({name, help, type,
            [&server, read](const Emit& emit) { emit({}, static_cast<double>(read(countersOf(server)))); }});
    };
    add("orx_collector_http_connections", "Connections that are open.", MetricType::gauge,
        [](const auto& counters) { return counters.connections; });
    add("orx_collector_http_connections_refused_total", "Connections closed at once for the limits.",
        MetricType::counter, [](const auto& counters) { return counters.refusedConnections; });
    add("orx_collector_http_connections_timed_out_total", "Connections closed for taking too long.",
        MetricType::counter, [](const auto& counters) { return counters.timedOutConnections; });
    add("orx_collector_commands_running", "Commands that wait for applications.", MetricType::gauge,
        [](const auto& counters) { return counters.busySlots; });
    own.add({"orx_collector_streams", "Clients that follow logs or events.", MetricType::gauge,
        [&streams](const Emit& emit) { emit({}, static_cast<double>(streams.size())); }});
}

} // namespace

void addProgramMetrics(OwnMetrics& own, const ProgramParts& parts) {
    addIntakeMetrics(own, parts.intake);
    addLogMetrics(own, parts.ring, parts.logFile);
    addHttpMetrics(own, parts.server, parts.streams);
}

void tellDrops(const Intake& intake, const LogFile& logFile,
    const std::function<void(const char* cause, std::uint64_t count)>& tell) {
    std::uint64_t notCached = 0, failed = 0;
    for (const auto& topic : intake.losses()) {
        notCached += topic.notCached;
        failed += topic.failed;
    }
    tell("not_cached", notCached);
    tell("no_memory", failed);
    tell("log_file", logFile.dropped());
}

} // namespace collector::run
