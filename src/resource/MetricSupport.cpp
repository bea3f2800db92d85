#include "src/resource/MetricSupport.h"

#include <cstring>

#include "src/dataModel/MetricCatalogue.h"
#include "src/log/Log.hpp"
#include "zddsc/entities.h"

namespace {

constexpr ORX_UINT32 orxLogSubmodule = orx::log::submodule::resource;
constexpr int transportUdpv4 = 1;
constexpr int transportUdpv6 = 2;

// What the metric's name says behind the prefix of its class.
bool begins(const ORX_Monitoring_MetricInfo& metric, size_t prefixLength, const char* text, size_t length) {
    if (strnlen(metric.name, prefixLength) < prefixLength)
        return false;
    return std::strncmp(metric.name + prefixLength, text, length) == 0;
}

bool isApplicationMetricSupported(
    const ORX_MonitoringApplicationSupportedFeatures& features, const ORX_Monitoring_MetricInfo& metric) {
    constexpr size_t prefixLength = sizeof "dds_application_" - 1;
    // The last length takes in the terminator: that metric by its whole name, and not what continues it.
    constexpr struct {
        const char* text;
        size_t length;
    } unsupported[] = {{"host_resources", 14}, {"host", 4}, {"process_cpu_usage_percent", 25},
        {"process_network_usage", 21}, {"process_uptime_sec", 19}};
    if (begins(metric, prefixLength, "process_memory_usage", 20))
        return features.memInfo != 0;
    for (const auto& name : unsupported)
        if (begins(metric, prefixLength, name.text, name.length))
            return false;
    return true;
}

bool isParticipantMetricSupported(
    const ORX_MonitoringParticipantSupportedFeatures& features, const ORX_Monitoring_MetricInfo& metric) {
    constexpr size_t prefixLength = sizeof "dds_domain_participant_" - 1;
    if (begins(metric, prefixLength, "udpv4_usage", 11))
        return features.udpv4Transport != 0;
    if (begins(metric, prefixLength, "udpv6_usage", 11))
        return features.udpv6Transport != 0;
    return !begins(metric, prefixLength, "send", 4) && !begins(metric, prefixLength, "receive", 7);
}

} // namespace

void ORX_MonitoringResource_getSupportedFeatures(
    const ORX_MonitoringResource* self, ORX_MonitoringResourceSupportedFeatures* suppFeatures) {
    ORX_LEAVE_IF(self == ORX_NULL);
    ORX_LEAVE_IF(suppFeatures == ORX_NULL);
    // All of the union, and not only its first member.
    std::memset(suppFeatures, 0, sizeof *suppFeatures);
    suppFeatures->classId = self->base.class_id;
    if (suppFeatures->classId == ORX_MONITORING_APPLICATION_CLASS_ID) {
        suppFeatures->Features.application.memInfo = 1;
    } else if (suppFeatures->classId == ORX_MONITORING_PARTICIPANT_CLASS_ID &&
               self->userResource != nullptr) {
        const auto* participant = static_cast<const DDS_DomainParticipant*>(self->userResource);
        suppFeatures->Features.participant = {
            .udpv4Transport = DDS_DomainParticipant_is_transport_enabled(participant, transportUdpv4),
            .udpv6Transport = DDS_DomainParticipant_is_transport_enabled(participant, transportUdpv6)};
    }
}

int ORX_MonitoringResourceSupportedFeatures_isMetricSupported(
    const ORX_MonitoringResourceSupportedFeatures* self, const ORX_Monitoring_MetricInfo* metricInfo) {
    ORX_FAIL_IF(self == ORX_NULL);
    ORX_FAIL_IF(metricInfo == ORX_NULL);
    switch (self->classId) {
    case ORX_MONITORING_APPLICATION_CLASS_ID:
        return isApplicationMetricSupported(self->Features.application, *metricInfo);
    case ORX_MONITORING_PARTICIPANT_CLASS_ID:
        return isParticipantMetricSupported(self->Features.participant, *metricInfo);
    default:
        return 1;
    }
}
