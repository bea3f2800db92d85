#include "src/resource/MetricSubscriptionSelect.hpp"

#include <cstring>

#include "src/log/Log.hpp"
#include "src/resource/IndexSequence.h"
#include "src/resource/MetricSubscription.h"
#include "src/resource/MetricSupport.h"
#include "src/utils/PathMatcher.h"
#include "zddscore/text.h"

namespace {

constexpr ORX_UINT32 orxLogSubmodule = orx::log::submodule::resource;

// The live object's root. While the root itself is made there is no object yet, and it is its own root.
const ORX_MonitoringResource* findRoot(const ORX_MonitoringResource& self) {
    const ORX_MonitoringGlobals* globals = ORX_MonitoringGlobals_get_instance();
    if (globals == nullptr || globals->monitoringClass == nullptr)
        return &self;
    return globals->monitoringClass->rootResource;
}

} // namespace

namespace orx::resource {

Selector::Selector(ORX_MonitoringResource& resource, const ORX_Monitoring_MetricInfo* metricTable,
    DDS_UnsignedLong metricCount)
    : self(resource), table(metricTable), count(metricCount) {
    ORX_MonitoringResource_getSupportedFeatures(&self, &features);
    std::memset(support, unknown, sizeof support);
    const DDS_Long length = DDS_UnsignedLongSeq_get_length(&self.monitoredMetricInfoIndex);
    for (DDS_Long i = 0; i < length; ++i)
        present.add(*DDS_UnsignedLongSeq_get_reference(&self.monitoredMetricInfoIndex, i));
}

bool Selector::run(const DDS_StringSeq& patterns, Pass pass) {
    if (DDS_StringSeq_get_length(&patterns) == 0)
        return true;
    for (DDS_UnsignedLong metric = 0; metric < count; ++metric) {
        if (!isSupported(metric)) {
            report(metric, pass);
            continue;
        }
        if (!runMetric(patterns, pass, metric))
            return false;
    }
    return true;
}

// Adding what is there and taking what is not changes nothing, so that is left out.
bool Selector::enable(const MetricSet& metrics) {
    return metrics.forEach(present, false, [this](DDS_UnsignedLong metric) {
        if (!isSupported(metric))
            return true;
        present.add(metric);
        return apply(Pass::enable, metric);
    });
}

bool Selector::disable(const MetricSet& metrics) {
    return metrics.forEach(present, true, [this](DDS_UnsignedLong metric) {
        if (!isSupported(metric))
            return true;
        present.remove(metric);
        return apply(Pass::disable, metric);
    });
}

void Selector::reportUnsupported(Pass pass) {
    for (DDS_UnsignedLong metric = 0; metric < count; ++metric)
        if (!isSupported(metric))
            report(metric, pass);
}

MetricSet Selector::supported() {
    MetricSet set;
    for (DDS_UnsignedLong metric = 0; metric < count; ++metric)
        if (isSupported(metric))
            set.add(metric);
    return set;
}

bool Selector::isSupported(DDS_UnsignedLong metric) {
    if (support[metric] == unknown)
        support[metric] =
            ORX_MonitoringResourceSupportedFeatures_isMetricSupported(&features, &table[metric]) != 0;
    return support[metric] != 0;
}

// For every metric of the class and in each pass anew, whether or not a pattern would have named it.
void Selector::report(DDS_UnsignedLong metric, Pass pass) const {
    if (pass == Pass::enable)
        ORX_STATUS(NOT_SUPPORTED,
            "Metric '%s' is not supported for resource '%s', so it won't be enabled. This can happen if "
            "your "
            "platform does not support the functionality for getting the value of that metric or if, for "
            "example, "
            "the metric is an UDPv4 metric and that transport is not enabled for your DDS Entity.",
            table[metric].name, self.base.name);
    else
        ORX_STATUS(NOT_SUPPORTED,
            "Metric '%s' is not supported for resource '%s', so it won't be disabled. This can happen if "
            "your "
            "platform does not support the functionality for getting the value of that metric or if, for "
            "example, "
            "the metric is an UDPv4 metric and that transport is not enabled for your DDS Entity.",
            table[metric].name, self.base.name);
}

// The first pattern that matches decides; the others would say the same.
bool Selector::runMetric(const DDS_StringSeq& patterns, Pass pass, DDS_UnsignedLong metric) {
    const DDS_Long patternCount = DDS_StringSeq_get_length(&patterns);
    for (DDS_Long i = 0; i < patternCount; ++i) {
        const char* metricExpression = DDS_StringSeq_get(&patterns, i);
        ORX_FAIL_IF(metricExpression == ORX_NULL);
        if (REDAString_fnmatch(metricExpression, table[metric].name, 0) == 0)
            return apply(pass, metric);
    }
    return true;
}

bool Selector::apply(Pass pass, DDS_UnsignedLong metric) {
    DDS_UnsignedLongSeq* selected = &self.monitoredMetricInfoIndex;
    if (pass == Pass::enable && !DDS_UnsignedLongSeq_assertElement(selected, metric))
        return ORX_ERROR(
            FAILED_TO_ASSERT, "Metric index %u into monitored metric info index sequence", metric);
    if (pass == Pass::disable && !DDS_UnsignedLongSeq_removeElement(selected, metric))
        return ORX_ERROR(
            FAILED_TO_REMOVE, "Metric index %u from monitored metric info index sequence", metric);
    return true;
}

} // namespace orx::resource

bool orx::resource::reportUnprocessedExpression() {
    return ORX_ERROR(FAILED_TO_PROCESS,
        "It was not possible to check if the resource matches the resource_selection expression.");
}

bool orx::resource::selectMetrics(ORX_MonitoringResource& self, const REDAInlineList& metricSelectionList,
    const ORX_Monitoring_MetricInfo* metricTable, const ORX_Monitoring_ResourceInfo& resourceInfoOfClass) {
    const ORX_Monitoring_ResourceInfo* resourceInfo = &resourceInfoOfClass;
    ORX_MonitoringOpaqueResourceAccessor accessor;
    if (!ORX_MonitoringResource_getOpaqueResourceAccessor(&accessor))
        return false;
    const ORX_MonitoringResource* root = findRoot(self);
    if (root == nullptr)
        return ORX_ERROR(FAILED_TO_GET, "Root resource");
    ORX_FAIL_IF(resourceInfo->metricCount > 200);
    static_assert(ORX_MONITORING_RESOURCE_MAX_METRICS == 200);
    Selector selector(self, metricTable, resourceInfo->metricCount);

    for (const REDAInlineListNode* node = REDAInlineList_getFirst(&metricSelectionList); node != nullptr;
         node = REDAInlineListNode_getNext(node)) {
        const auto& selection =
            reinterpret_cast<const ORX_MonitoringMetricSelectionNode*>(node)->metricSelection;
        int isMatching = 0;
        if (!ORX_Monitoring_isResourceMatchingPathExpression(&isMatching,
                reinterpret_cast<const ORX_MonitoringOpaqueResource*>(&self), selection.resource_selection,
                &accessor, reinterpret_cast<const ORX_MonitoringOpaqueResource*>(root)))
            return reportUnprocessedExpression();
        if (!isMatching)
            continue;
        if (!selector.run(selection.enabled_metrics_selection, Selector::Pass::enable) ||
            !selector.run(selection.disabled_metrics_selection, Selector::Pass::disable))
            return false;
    }
    return true;
}
