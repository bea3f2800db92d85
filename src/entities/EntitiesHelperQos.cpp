// What every monitoring endpoint's QoS must be.
#include "src/entities/EntitiesHelper.h"
#include "src/log/Log.hpp"
#include "zddscore/text.h"

namespace {

constexpr ORX_UINT32 orxLogSubmodule = orx::log::submodule::entities;

constexpr auto forcedDurability = DDS_VOLATILE_DURABILITY_QOS;
constexpr auto forcedHistory = DDS_KEEP_ALL_HISTORY_QOS;
constexpr auto forcedPublishMode = DDS_ASYNCHRONOUS_PUBLISH_MODE_QOS;
constexpr DDS_Long forcedHeartbeatRetries = DDS_LENGTH_UNLIMITED;

// Losing a periodic sample costs nothing: the next one has it all.
DDS_ReliabilityQosPolicyKind forcedReliability(const char* topicName) {
    return REDAString_compare(topicName, ORX_MONITORING_PERIODIC_TOPIC_NAME) == 0
               ? DDS_BEST_EFFORT_RELIABILITY_QOS
               : DDS_RELIABLE_RELIABILITY_QOS;
}

// The words go by another numbering than DDS_ReliabilityQosPolicyKind, so a message says "best effort" of the
// reliable topics and "invalid" of the other. Messages are part of the interface; what is stored is right.
const char* reliabilityWord(DDS_ReliabilityQosPolicyKind kind) {
    switch (static_cast<int>(kind)) {
    case 2:
        return "reliable";
    case 1:
        return "best effort";
    default:
        return "invalid";
    }
}

const char* durabilityWord(DDS_DurabilityQosPolicyKind kind) {
    switch (kind) {
    case DDS_VOLATILE_DURABILITY_QOS:
        return "volatile";
    case DDS_TRANSIENT_LOCAL_DURABILITY_QOS:
        return "transient local";
    case DDS_TRANSIENT_DURABILITY_QOS:
        return "transient";
    case DDS_PERSISTENT_DURABILITY_QOS:
        return "persistent";
    }
    return "invalid";
}

const char* historyWord(DDS_HistoryQosPolicyKind kind) {
    return kind == DDS_KEEP_LAST_HISTORY_QOS ? "KEEP_LAST" : "KEEP_ALL";
}

const char* publishModeWord(DDS_PublishModeQosPolicyKind kind) {
    return kind == DDS_SYNCHRONOUS_PUBLISH_MODE_QOS ? "DDS_SYNCHRONOUS_PUBLISH_MODE_QOS"
                                                    : "DDS_ASYNCHRONOUS_PUBLISH_MODE_QOS";
}

// What writers and readers have in common; endpoint: "DataWriter" or "DataReader".
template <typename Qos> void warnOfEndpoint(const Qos& qos, const char* topicName, const char* endpoint) {
    const auto reliability = forcedReliability(topicName);
    if (qos.reliability.kind != reliability) {
        ORX_WARNING(INCONSISTENT_QOS,
            "The reliability kind Qos of the %s %s must be '%s'. The value in the configuration will "
            "be overwritten\n",
            topicName, endpoint, reliabilityWord(reliability));
    }
    if (qos.durability.kind != forcedDurability) {
        ORX_WARNING(INCONSISTENT_QOS,
            "The durability kind Qos of the %s %s must be %s. The value in the configuration will be "
            "overwritten\n",
            topicName, endpoint, durabilityWord(forcedDurability));
    }
    if (qos.history.kind != forcedHistory) {
        ORX_WARNING(INCONSISTENT_QOS,
            "The history kind Qos of the %s %s must be '%s'. The value in the configuration will be "
            "overwritten\n",
            topicName, endpoint, historyWord(forcedHistory));
    }
}

template <typename Qos> void forceOnEndpoint(Qos& qos, const char* topicName) {
    qos.reliability.kind = forcedReliability(topicName);
    qos.durability.kind = forcedDurability;
    qos.history.kind = forcedHistory;
    qos.protocol.vendor_specific_entity = DDS_BOOLEAN_TRUE;
}

void warnOfWriter(const DDS_DataWriterQos& qos, const char* topicName) {
    warnOfEndpoint(qos, topicName, "DataWriter");
    if (qos.publish_mode.kind != forcedPublishMode) {
        ORX_WARNING(INCONSISTENT_QOS,
            "The publish mode kind Qos of the %s DataWriter must be '%s'. The value in the configuration "
            "will be overwritten\n",
            topicName, publishModeWord(forcedPublishMode));
    }
    if (qos.protocol.rtps_reliable_writer.max_heartbeat_retries != forcedHeartbeatRetries) {
        ORX_WARNING(INCONSISTENT_QOS,
            "The protocol rtps reliable writer max heartbeat retries Qos of the %s DataWriter must be "
            "DDS_LENGTH_UNLIMITED.The value (%d) in the configuration will be overwritten",
            topicName, qos.protocol.rtps_reliable_writer.max_heartbeat_retries);
    }
}

} // namespace

int MonitoringEntitiesHelper_getMonitoringWriterQos(DDS_DataWriterQos* outputWriterQos,
    DDS_DomainParticipantFactory* factory, const DDS_DataWriterQos* inputWriterQos, const char* topicName) {
    ORX_FAIL_IF(outputWriterQos == ORX_NULL);
    ORX_FAIL_IF(factory == ORX_NULL);
    ORX_FAIL_IF(topicName == ORX_NULL);
    if (inputWriterQos == nullptr) {
        if (DDS_DomainParticipantFactory_get_datawriter_qos_from_profile_w_topic_name(factory,
                outputWriterQos, DDS_BUILTIN_QOS_LIB, DDS_PROFILE_GENERIC_MONITORING2,
                topicName) != DDS_RETCODE_OK) {
            return ORX_ERROR(FAILED_TO_GET, "Monitoring %s DataWriter '%s:%s' QoS\n", topicName,
                DDS_BUILTIN_QOS_LIB, DDS_PROFILE_GENERIC_MONITORING2);
        }
    } else {
        if (DDS_DataWriterQos_copy(outputWriterQos, inputWriterQos) != DDS_RETCODE_OK) {
            return ORX_ERROR(FAILED_TO_COPY, "Monitoring %s dataWriter QoS\n", topicName);
        }
        warnOfWriter(*outputWriterQos, topicName);
    }
    forceOnEndpoint(*outputWriterQos, topicName);
    outputWriterQos->publish_mode.kind = forcedPublishMode;
    outputWriterQos->protocol.rtps_reliable_writer.max_heartbeat_retries = forcedHeartbeatRetries;
    return 1;
}

int MonitoringEntitiesHelper_getMonitoringReaderQos(DDS_DataReaderQos* outputReaderQos,
    DDS_DomainParticipantFactory* factory, const DDS_DataReaderQos* inputReaderQos, const char* topicName) {
    ORX_FAIL_IF(outputReaderQos == ORX_NULL);
    ORX_FAIL_IF(factory == ORX_NULL);
    ORX_FAIL_IF(topicName == ORX_NULL);
    if (inputReaderQos == nullptr) {
        if (DDS_DomainParticipantFactory_get_datareader_qos_from_profile_w_topic_name(factory,
                outputReaderQos, DDS_BUILTIN_QOS_LIB, DDS_PROFILE_GENERIC_MONITORING2,
                topicName) != DDS_RETCODE_OK) {
            return ORX_ERROR(FAILED_TO_GET, "Monitoring %s DataReader '%s:%s' QoS\n", topicName,
                DDS_BUILTIN_QOS_LIB, DDS_PROFILE_GENERIC_MONITORING2);
        }
    } else {
        if (DDS_DataReaderQos_copy(outputReaderQos, inputReaderQos) != DDS_RETCODE_OK) {
            return ORX_ERROR(FAILED_TO_COPY, "Monitoring %s DataReader QoS\n", topicName);
        }
        warnOfEndpoint(*outputReaderQos, topicName, "DataReader");
    }
    forceOnEndpoint(*outputReaderQos, topicName);
    return 1;
}
