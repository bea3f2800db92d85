// Type and help text of each metric of the catalogue. Threads: any; constant data.
#ifndef COLLECTOR_METRIC_TEXTS_HPP
#define COLLECTOR_METRIC_TEXTS_HPP

#include <span>
#include <string>
#include <vector>

#include "collector/exposition/OwnMetrics.hpp"
#include "collector/model/Catalogue.hpp"

namespace collector {

struct MetricText {
    std::string name;
    MetricType type = MetricType::gauge;
    std::string help;
};

// In the order of metricsOf(resourceClass).
std::span<const MetricText> metricTexts(ResourceClass resourceClass);

// All that are written down, in their own order.
std::vector<MetricText> writtenMetricTexts();

} // namespace collector

#endif
