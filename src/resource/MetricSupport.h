/* Metrics that depend on what the platform and the entity offer.
 *
 * Threads: reads the resource's handle; the caller sees to it that the entity lives. */
#ifndef ORX_MONITORING_METRIC_SUPPORT_H
#define ORX_MONITORING_METRIC_SUPPORT_H

#include "src/resource/MonitoringResource.h"

ZDDS_BEGIN_C

struct ORX_Monitoring_MetricInfo;

struct ORX_MonitoringApplicationSupportedFeatures {
    int memInfo;
};
typedef struct ORX_MonitoringApplicationSupportedFeatures ORX_MonitoringApplicationSupportedFeatures;

struct ORX_MonitoringParticipantSupportedFeatures {
    int udpv4Transport;
    int udpv6Transport;
};
typedef struct ORX_MonitoringParticipantSupportedFeatures ORX_MonitoringParticipantSupportedFeatures;

struct ORX_MonitoringResourceSupportedFeatures {
    DDS_UnsignedLong classId; /* selects the member of Features; classes with neither have nothing in it */
    union {
        ORX_MonitoringApplicationSupportedFeatures application;
        ORX_MonitoringParticipantSupportedFeatures participant;
    } Features;
};
typedef struct ORX_MonitoringResourceSupportedFeatures ORX_MonitoringResourceSupportedFeatures;

void ORX_MonitoringResource_getSupportedFeatures(
    const ORX_MonitoringResource* self, ORX_MonitoringResourceSupportedFeatures* suppFeatures);
/* Non-zero if the metric can be had. Goes by the metric's name behind its class prefix. */
int ORX_MonitoringResourceSupportedFeatures_isMetricSupported(
    const ORX_MonitoringResourceSupportedFeatures* self, const struct ORX_Monitoring_MetricInfo* metricInfo);

ZDDS_END_C

#endif
