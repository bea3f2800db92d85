// The computation behind ORX_MonitoringResource_computeMetricInfoIndexList, over any table of metrics.
#ifndef ORX_MONITORING_METRIC_SUBSCRIPTION_SELECT_HPP
#define ORX_MONITORING_METRIC_SUBSCRIPTION_SELECT_HPP

#include "src/dataModel/MetricCatalogue.h"
#include "src/resource/MonitoringResource.h"

namespace orx::resource {

// metricTable has resourceInfo.metricCount rows, which are ORX_MONITORING_RESOURCE_MAX_METRICS at most.
bool selectMetrics(ORX_MonitoringResource& self, const REDAInlineList& metricSelectionList,
    const ORX_Monitoring_MetricInfo* metricTable, const ORX_Monitoring_ResourceInfo& resourceInfo);

} // namespace orx::resource

#endif
