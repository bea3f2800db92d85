// Where the agent has each metric from: the list behind docs/metrics.md, which a test compares with the page
// and with what the agent really fills.
//
// Threads: any; constant data.
#ifndef ORX_AGENT_METRIC_SOURCES_HPP
#define ORX_AGENT_METRIC_SOURCES_HPP

#include <cstddef>
#include <span>
#include <string>

namespace orx::agent {

enum class Coverage {
    served, // has its full meaning
    partly, // tells less than its name says: the source says what
    none,   // stays empty: the source says why
};

struct MetricSource {
    const char* name;
    Coverage coverage;
    const char* source;
};

// The metrics that this engine serves, in no particular order.
std::span<const MetricSource> servedMetrics();

// Of any metric, also of those that are not served.
MetricSource sourceOf(const char* metric);

// What a metric counts or measures; "" for a plain number.
const char* unitOf(const char* metric);

// The page of documentation, in Markdown.
std::string metricsPage();

} // namespace orx::agent

#endif
