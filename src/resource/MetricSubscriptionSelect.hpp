// The computation behind ORX_MonitoringResource_computeMetricInfoIndexList, over any table of metrics.
#ifndef ORX_MONITORING_METRIC_SUBSCRIPTION_SELECT_HPP
#define ORX_MONITORING_METRIC_SUBSCRIPTION_SELECT_HPP

#include "src/resource/MetricSubscriptionPatterns.hpp"
#include "src/resource/MetricSupport.h"
#include "src/resource/MonitoringResource.h"

namespace orx::resource {

// metricTable has resourceInfo.metricCount rows, which are ORX_MONITORING_RESOURCE_MAX_METRICS at most.
bool selectMetrics(ORX_MonitoringResource& self, const REDAInlineList& metricSelectionList,
    const ORX_Monitoring_MetricInfo* metricTable, const ORX_Monitoring_ResourceInfo& resourceInfo);

// The metrics of one resource, each held against the platform's features once.
class Selector {
public:
    Selector(ORX_MonitoringResource& resource, const ORX_Monitoring_MetricInfo* metricTable,
        DDS_UnsignedLong metricCount);

    // What the patterns name is added to the resource's metrics, or taken from them.
    enum class Pass { enable, disable };
    bool run(const DDS_StringSeq& patterns, Pass pass);
    // The same for metrics that are known already, without the messages about those that are not supported.
    bool enable(const MetricSet& metrics);
    bool disable(const MetricSet& metrics);
    // Those messages.
    void reportUnsupported(Pass pass);
    // All that the resource supports.
    MetricSet supported();

private:
    static constexpr unsigned char unknown = 0xFF;

    bool isSupported(DDS_UnsignedLong metric);
    void report(DDS_UnsignedLong metric, Pass pass) const;
    bool runMetric(const DDS_StringSeq& patterns, Pass pass, DDS_UnsignedLong metric);
    bool apply(Pass pass, DDS_UnsignedLong metric);

    ORX_MonitoringResource& self;
    const ORX_Monitoring_MetricInfo* table;
    DDS_UnsignedLong count;
    MetricSet present; /* what the resource has; for enable and disable alone */
    ORX_MonitoringResourceSupportedFeatures features;
    unsigned char support[ORX_MONITORING_RESOURCE_MAX_METRICS];
};

// False, with its message.
bool reportUnprocessedExpression();

} // namespace orx::resource

#endif
