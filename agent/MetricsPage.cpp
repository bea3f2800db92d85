// docs/metrics.md, made from the metric table and from the list of sources.
#include <array>
#include <string>

#include "agent/MetricSources.hpp"
#include "src/dataModel/MetricTable.hpp"

namespace orx::agent {

namespace {

struct Totals {
    size_t served = 0;
    size_t partly = 0;
    size_t none = 0;
    void add(Coverage coverage) {
        ++(coverage == Coverage::served ? served : coverage == Coverage::partly ? partly : none);
    }
    size_t all() const { return served + partly + none; }
};

const char* textOf(Coverage coverage) {
    return coverage == Coverage::served ? "yes" : coverage == Coverage::partly ? "partly" : "no";
}

template <size_t count>
void addClass(std::string& page, Totals& totals, const char* title,
    const std::array<dataModel::metrics::Row, count>& rows) {
    Totals own;
    for (const auto& row : rows)
        own.add(sourceOf(row.name).coverage);
    page += "\n## " + std::string(title) + "\n\n" + std::to_string(own.served) + " served, " +
            std::to_string(own.partly) + " partly, " + std::to_string(own.none) + " not.\n\n" +
            "| Metric | Served | Unit | Source |\n|---|---|---|---|\n";
    for (const auto& row : rows) {
        const MetricSource source = sourceOf(row.name);
        totals.add(source.coverage);
        page += "| `" + std::string(row.name) + "` | " + textOf(source.coverage) + " | " + unitOf(row.name) +
                " | " + source.source + " |\n";
    }
}

} // namespace

std::string metricsPage() {
    namespace metrics = dataModel::metrics;
    Totals totals;
    std::string classes;
    addClass(classes, totals, "Topics", metrics::Topic);
    addClass(classes, totals, "Writers", metrics::DataWriter);
    addClass(classes, totals, "Readers", metrics::DataReader);
    addClass(classes, totals, "Participants", metrics::Participant);
    addClass(classes, totals, "Applications", metrics::Application);
    return "# Metrics\n\n"
           "What an application under `orx-run` tells of each of the " +
           std::to_string(totals.all()) +
           " metrics, on Cyclone DDS 0.10.2: " + std::to_string(totals.served) + " served, " +
           std::to_string(totals.partly) + " partly, " + std::to_string(totals.none) +
           " not. Made by `agent_metrics_page` from the tables in the code ([MetricTable.hpp]"
           "(../src/dataModel/MetricTable.hpp), [MetricSources.cpp](../agent/MetricSources.cpp)); do not "
           "edit.\n\n"
           "Names that end in `_total` are counters, all others are gauges.\n\n"
           "A metric travels in its group, so what is not served arrives beside what is: counts as 0, "
           "sequence "
           "numbers as -1 (high) and 0 (low), which no sample has. What is called not supported is never "
           "published, whatever is selected. Metrics whose source is a status are told when they change, all "
           "others at each polling period; figures are at most half of it old, and at most a second. The "
           "default selection is every metric that is served at least partly.\n" +
           classes;
}

} // namespace orx::agent
