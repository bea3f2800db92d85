#include "src/resource/MetricSupport.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "src/dataModel/MetricCatalogue.h"
#include "zddsc/entities.h"

namespace {

// An observed participant with these transports: bit 0 UDPv4, bit 1 UDPv6.
class Participant {
public:
    explicit Participant(DDS_UnsignedLong transports) {
        const DDS_GUID_t guid{};
        entity = DDS_Entity_create_observedI(DDS_PARTICIPANT_ENTITY_KIND, &guid, transports);
    }
    ~Participant() { DDS_Entity_delete_observedI(entity); }
    DDS_Entity* entity;
};

ORX_MonitoringResourceSupportedFeatures featuresOf(
    DDS_UnsignedLong classId, const void* userResource = nullptr) {
    ORX_MonitoringResource resource{};
    resource.base.class_id = classId;
    resource.userResource = userResource;
    ORX_MonitoringResourceSupportedFeatures features;
    std::memset(&features, 0x5A, sizeof features); // whatever the caller's stack held
    ORX_MonitoringResource_getSupportedFeatures(&resource, &features);
    EXPECT_EQ(features.classId, classId);
    return features;
}

bool isSupported(const ORX_MonitoringResourceSupportedFeatures& features, const std::string& name) {
    ORX_Monitoring_MetricInfo metric{};
    metric.name = const_cast<char*>(name.c_str());
    return ORX_MonitoringResourceSupportedFeatures_isMetricSupported(&features, &metric) != 0;
}

} // namespace

TEST(MetricSupport, OfAnApplicationIsItsMemory) {
    auto features = featuresOf(ORX_MONITORING_APPLICATION_CLASS_ID);
    EXPECT_EQ(features.Features.application.memInfo, 1);
    const std::string prefix = "dds_application_";
    EXPECT_TRUE(isSupported(features, prefix + "process_memory_usage_resident_memory_bytes"));
    for (const char* name : {"host_resources_cpu_cores", "host_cpu_usage_percent_mean", "hostile", "host",
             "process_cpu_usage_percent_min", "process_network_usage_in_net_pkts_max", "process_uptime_sec"})
        EXPECT_FALSE(isSupported(features, prefix + name)) << name;
    for (const char* name : {"process_uptime_sec_more", "process_uptime", "anything", ""})
        EXPECT_TRUE(isSupported(features, prefix + name)) << name;
    EXPECT_TRUE(isSupported(features, "dds_application")); /* shorter than the prefix */
    features.Features.application.memInfo = 0;
    EXPECT_FALSE(isSupported(features, prefix + "process_memory_usage_resident_memory_bytes"));
}

TEST(MetricSupport, OfAParticipantFollowsItsTransports) {
    const std::string prefix = "dds_domain_participant_";
    for (DDS_UnsignedLong transports = 0; transports < 4; ++transports) {
        const Participant participant(transports);
        const auto features = featuresOf(ORX_MONITORING_PARTICIPANT_CLASS_ID, participant.entity);
        EXPECT_EQ(isSupported(features, prefix + "udpv4_usage_in_net_pkts_mean"), (transports & 1) != 0);
        EXPECT_EQ(isSupported(features, prefix + "udpv6_usage_out_net_bytes_max"), (transports & 2) != 0);
        EXPECT_FALSE(isSupported(features, prefix + "send_samples_per_s_mean"));
        EXPECT_FALSE(isSupported(features, prefix + "receive_latency_ms_mean"));
        EXPECT_TRUE(isSupported(features, prefix + "other"));
    }
}

TEST(MetricSupport, OfAParticipantWithoutAnEntityHasNoTransports) {
    const auto features = featuresOf(ORX_MONITORING_PARTICIPANT_CLASS_ID);
    EXPECT_FALSE(isSupported(features, "dds_domain_participant_udpv4_usage_in_net_pkts_mean"));
    EXPECT_FALSE(isSupported(features, "dds_domain_participant_udpv6_usage_in_net_pkts_mean"));
}

TEST(MetricSupport, OfOtherClassesIsComplete) {
    for (DDS_UnsignedLong classId : {ORX_MONITORING_TOPIC_CLASS_ID, ORX_MONITORING_DATA_WRITER_CLASS_ID,
             ORX_MONITORING_DATA_READER_CLASS_ID}) {
        const auto features = featuresOf(classId);
        const auto* info = ORX_Monitoring_getResourceInfo(classId);
        for (DDS_UnsignedLong i = 0; i < info->metricCount; ++i)
            EXPECT_TRUE(isSupported(features, ORX_Monitoring_getMetricInfo(classId)[i].name));
    }
}

// Of the catalogue's application metrics only the two of memory can be had here.
TEST(MetricSupport, CatalogueOfTheApplication) {
    const auto features = featuresOf(ORX_MONITORING_APPLICATION_CLASS_ID);
    const auto* info = ORX_Monitoring_getResourceInfo(ORX_MONITORING_APPLICATION_CLASS_ID);
    size_t supported = 0;
    for (DDS_UnsignedLong i = 0; i < info->metricCount; ++i)
        supported +=
            isSupported(features, ORX_Monitoring_getMetricInfo(ORX_MONITORING_APPLICATION_CLASS_ID)[i].name);
    EXPECT_EQ(supported, 2u);
}
