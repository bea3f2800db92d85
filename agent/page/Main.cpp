// Prints docs/metrics.md: `agent_metrics_page > docs/metrics.md`.
#include <cstdio>

#include "agent/MetricSources.hpp"

int main() {
    std::fputs(orx::agent::metricsPage().c_str(), stdout);
    return 0;
}
