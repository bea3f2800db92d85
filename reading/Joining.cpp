#include "reading/Joining.hpp"

#include "reading/Sequences.hpp"

namespace reading {

bool fillParticipantQos(ParticipantQos& qos, const std::vector<std::string>& peers, std::string& error) {
    DDS_DomainParticipantFactory* const factory = DDS_DomainParticipantFactory_get_instance();
    if (factory == nullptr ||
        DDS_DomainParticipantFactory_get_participant_qos_from_profile(
            factory, &qos.value, DDS_BUILTIN_QOS_LIB, DDS_PROFILE_GENERIC_MONITORING2) != DDS_RETCODE_OK) {
        error = "the built-in profile is missing";
        return false;
    }
    if (!peers.empty() && !fill(qos.value.discovery.initial_peers, peers)) {
        error = "out of memory";
        return false;
    }
    return true;
}

DDS_DataReader* createMonitoringReader(DDS_DomainParticipant* participant, DDS_Subscriber* subscriber,
    const MonitoringTopic& topic, DDS_Long cachedSamples) {
    TopicQos topicQos;
    ReaderQos qos;
    if (topic.registerType(participant, topic.typeName) != DDS_RETCODE_OK)
        return nullptr;
    DDS_Topic* const described = DDS_DomainParticipant_create_topic(
        participant, topic.name, topic.typeName, &topicQos.value, nullptr, DDS_STATUS_MASK_NONE);
    if (described == nullptr ||
        DDS_DomainParticipantFactory_get_datareader_qos_from_profile_w_topic_name(
            DDS_DomainParticipantFactory_get_instance(), &qos.value, DDS_BUILTIN_QOS_LIB,
            DDS_PROFILE_GENERIC_MONITORING2, topic.name) != DDS_RETCODE_OK)
        return nullptr;
    qos.value.resource_limits.max_samples = cachedSamples;
    qos.value.resource_limits.max_samples_per_instance = cachedSamples;
    return DDS_Subscriber_create_datareader(
        subscriber, DDS_Topic_as_topicdescription(described), &qos.value, nullptr, DDS_STATUS_MASK_NONE);
}

} // namespace reading
