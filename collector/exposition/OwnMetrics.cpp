#include "collector/exposition/OwnMetrics.hpp"

#include <sys/resource.h>
#include <unistd.h>

#include <cstdio>
#include <ctime>

#include "collector/exposition/Exposition.hpp"
#include "collector/model/Model.hpp"

namespace collector {

namespace {

double processSeconds() {
    rusage usage{};
    (void)getrusage(RUSAGE_SELF, &usage);
    const auto seconds = [](const timeval& time) {
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
    };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

} // namespace

std::size_t residentBytes() {
    unsigned long long total = 0;
    unsigned long long resident = 0;
    std::FILE* file = std::fopen("/proc/self/statm", "re");
    if (file == nullptr)
        return 0;
    const int count = std::fscanf(file, "%llu %llu", &total, &resident);
    std::fclose(file);
    return count == 2 ? static_cast<std::size_t>(resident) * static_cast<std::size_t>(sysconf(_SC_PAGESIZE))
                      : 0;
}

void addModelMetrics(OwnMetrics& own, const Model& model) {
    own.add({"orx_collector_samples_total", "Samples received, by topic.", MetricType::counter,
        [&model](const OwnMetrics::Emit& emit) {
            const ModelStatistics statistics = model.statistics();
            emit({{"topic", "event"}}, static_cast<double>(statistics.eventSamples));
            emit({{"topic", "periodic"}}, static_cast<double>(statistics.periodicSamples));
            emit({{"topic", "logging"}}, static_cast<double>(statistics.loggingSamples));
        }});
    own.add({"orx_collector_dropped_total",
        "What was received and not taken over, by cause: samples, resources, series or texts.",
        MetricType::counter, [&model](const OwnMetrics::Emit& emit) {
            const auto dropped = model.statistics().dropped;
            for (std::size_t i = 0; i < dropped.size(); ++i)
                emit({{"cause", dropCauseName(static_cast<DropCause>(i))}}, static_cast<double>(dropped[i]));
        }});
    const auto size = [&own, &model](
                          const char* name, const char* help, std::size_t ModelStatistics::*member) {
        own.add({name, help, MetricType::gauge, [&model, member](const OwnMetrics::Emit& emit) {
                     emit({}, static_cast<double>(model.statistics().*member));
                 }});
    };
    size("orx_collector_applications", "Applications that are known.", &ModelStatistics::applications);
    size("orx_collector_resources", "Resources of all applications.", &ModelStatistics::resources);
    size("orx_collector_series", "Series of all applications.", &ModelStatistics::series);
    size("orx_collector_incomplete_applications",
        "Applications of which something was missed and not told again yet.",
        &ModelStatistics::incompleteApplications);
}

void addProcessMetrics(OwnMetrics& own) {
    own.add({"orx_collector_memory_bytes", "Resident memory of the collector.", MetricType::gauge,
        [](const OwnMetrics::Emit& emit) { emit({}, static_cast<double>(residentBytes())); }});
    own.add({"orx_collector_cpu_seconds_total", "Processor time of the collector.", MetricType::counter,
        [](const OwnMetrics::Emit& emit) { emit({}, processSeconds()); }});
    const auto start = static_cast<double>(std::time(nullptr));
    own.add({"orx_collector_start_time_seconds", "When the collector started, since 1970.", MetricType::gauge,
        [start](const OwnMetrics::Emit& emit) { emit({}, start); }});
}

void addScrapeMetrics(OwnMetrics& own, const Exposition& exposition) {
    own.add({"orx_collector_scrapes_total", "Scrapes that were rendered to their end.", MetricType::counter,
        [&](const OwnMetrics::Emit& emit) { emit({}, static_cast<double>(exposition.scrapes())); }});
    own.add({"orx_collector_last_scrape_seconds", "Time that the last scrape took to be rendered.",
        MetricType::gauge, [&](const OwnMetrics::Emit& emit) { emit({}, exposition.lastSeconds()); }});
    own.add({"orx_collector_last_scrape_bytes", "Size of the last scrape.", MetricType::gauge,
        [&](const OwnMetrics::Emit& emit) { emit({}, static_cast<double>(exposition.lastBytes())); }});
}

} // namespace collector
