#include "middleware/qos/Profiles.hpp"

#include <cstring>

#include "middleware/log/DdsLog.hpp"

namespace zdds::qos {
namespace {

// Samples that wait in a reader, or in a writer for a slow reader. Beyond it a reader counts what it drops.
constexpr DDS_Long maxSamples = 8192;
constexpr DDS_ReliabilityQosPolicy reliable{DDS_RELIABLE_RELIABILITY_QOS, {0, 100'000'000U}};
constexpr DDS_ReliabilityQosPolicy bestEffort{DDS_BEST_EFFORT_RELIABILITY_QOS, {0, 100'000'000U}};

bool isKnown(const char* library, const char* profile) {
    return std::strcmp(library, DDS_BUILTIN_QOS_LIB) == 0 &&
           std::strcmp(profile, DDS_PROFILE_GENERIC_MONITORING2) == 0;
}

bool isPeriodic(const char* topicName) {
    return topicName != nullptr && std::strcmp(topicName, "DCPSPeriodicStatusMonitoring") == 0;
}

DDS_ReturnCode_t checkKnown(const char* library, const char* profile) {
    ZDDS_REQUIRE(library != nullptr, DDS_RETCODE_BAD_PARAMETER);
    ZDDS_REQUIRE(profile != nullptr, DDS_RETCODE_BAD_PARAMETER);
    if (!isKnown(library, profile))
        return ZDDS_FAIL(DDS_RETCODE_BAD_PARAMETER, FAILED_TO_FIND, "QoS profile '%s:%s'", library, profile);
    return DDS_RETCODE_OK;
}

template <class Endpoint> void setEndpointPolicies(Endpoint& qos, const char* topicName) {
    qos.durability.kind = DDS_VOLATILE_DURABILITY_QOS;
    qos.reliability = isPeriodic(topicName) ? bestEffort : reliable;
    qos.history = {DDS_KEEP_ALL_HISTORY_QOS, 1};
    qos.resource_limits = {maxSamples, DDS_LENGTH_UNLIMITED, DDS_LENGTH_UNLIMITED};
    qos.protocol.vendor_specific_entity = DDS_BOOLEAN_TRUE;
}

} // namespace

DDS_ReturnCode_t loadProfile(DDS_DomainParticipantQos& qos, const char* library, const char* profile) {
    if (const DDS_ReturnCode_t known = checkKnown(library, profile); known != DDS_RETCODE_OK)
        return known;
    DDS_DomainParticipantQos_finalize(&qos);
    DDS_DomainParticipantQos_initialize(&qos);
    qos.discovery_config.enabled_builtin_channels = DDS_DISCOVERYCONFIG_SERVICE_REQUEST_CHANNEL;
    qos.protocol.vendor_specific_entity = DDS_BOOLEAN_TRUE;
    return DDS_RETCODE_OK;
}

DDS_ReturnCode_t loadProfile(DDS_PublisherQos& qos, const char* library, const char* profile) {
    if (const DDS_ReturnCode_t known = checkKnown(library, profile); known != DDS_RETCODE_OK)
        return known;
    DDS_PublisherQos_finalize(&qos);
    DDS_PublisherQos_initialize(&qos);
    qos.protocol.vendor_specific_entity = DDS_BOOLEAN_TRUE;
    return DDS_RETCODE_OK;
}

DDS_ReturnCode_t loadProfile(DDS_SubscriberQos& qos, const char* library, const char* profile) {
    if (const DDS_ReturnCode_t known = checkKnown(library, profile); known != DDS_RETCODE_OK)
        return known;
    DDS_SubscriberQos_finalize(&qos);
    DDS_SubscriberQos_initialize(&qos);
    qos.protocol.vendor_specific_entity = DDS_BOOLEAN_TRUE;
    return DDS_RETCODE_OK;
}

DDS_ReturnCode_t loadProfile(
    DDS_DataWriterQos& qos, const char* library, const char* profile, const char* topicName) {
    if (const DDS_ReturnCode_t known = checkKnown(library, profile); known != DDS_RETCODE_OK)
        return known;
    DDS_DataWriterQos_finalize(&qos);
    DDS_DataWriterQos_initialize(&qos);
    setEndpointPolicies(qos, topicName);
    qos.publish_mode = {DDS_ASYNCHRONOUS_PUBLISH_MODE_QOS, defaultMaxQueuedSamples, defaultMaxQueuedBytes};
    qos.protocol.rtps_reliable_writer.max_heartbeat_retries = DDS_LENGTH_UNLIMITED;
    return DDS_RETCODE_OK;
}

DDS_ReturnCode_t loadProfile(
    DDS_DataReaderQos& qos, const char* library, const char* profile, const char* topicName) {
    if (const DDS_ReturnCode_t known = checkKnown(library, profile); known != DDS_RETCODE_OK)
        return known;
    DDS_DataReaderQos_finalize(&qos);
    DDS_DataReaderQos_initialize(&qos);
    setEndpointPolicies(qos, topicName);
    return DDS_RETCODE_OK;
}

} // namespace zdds::qos
