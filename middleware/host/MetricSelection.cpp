#include "middleware/log/DdsLog.hpp"
#include "middleware/qos/PolicyOperations.hpp"
#include "zddsc/monitoring_property.h"

DDS_Boolean DDS_MonitoringMetricSelection_initialize(DDS_MonitoringMetricSelection* self) {
    ZDDS_REQUIRE(self != nullptr, DDS_BOOLEAN_FALSE);
    *self = DDS_MonitoringMetricSelection{};
    return DDS_BOOLEAN_TRUE;
}

DDS_Boolean DDS_MonitoringMetricSelection_finalize(DDS_MonitoringMetricSelection* self) {
    ZDDS_REQUIRE(self != nullptr, DDS_BOOLEAN_FALSE);
    zdds::qos::copyText(self->resource_selection, nullptr);
    const bool enabled = DDS_StringSeq_finalize(&self->enabled_metrics_selection);
    const bool disabled = DDS_StringSeq_finalize(&self->disabled_metrics_selection);
    return enabled && disabled;
}

DDS_Boolean DDS_MonitoringMetricSelection_copy(
    DDS_MonitoringMetricSelection* self, const DDS_MonitoringMetricSelection* source) {
    ZDDS_REQUIRE(self != nullptr, DDS_BOOLEAN_FALSE);
    ZDDS_REQUIRE(source != nullptr, DDS_BOOLEAN_FALSE);
    if (!zdds::qos::copyText(self->resource_selection, source->resource_selection))
        return ZDDS_FAIL(DDS_BOOLEAN_FALSE, FAILED_TO_COPY, "resource selection");
    if (!DDS_StringSeq_copy(&self->enabled_metrics_selection, &source->enabled_metrics_selection))
        return ZDDS_FAIL(DDS_BOOLEAN_FALSE, FAILED_TO_COPY, "enabled metrics selection");
    if (!DDS_StringSeq_copy(&self->disabled_metrics_selection, &source->disabled_metrics_selection))
        return ZDDS_FAIL(DDS_BOOLEAN_FALSE, FAILED_TO_COPY, "disabled metrics selection");
    return DDS_BOOLEAN_TRUE;
}
