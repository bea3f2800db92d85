// A reader of one of the three topics in a participant of its own, as a collector has it.
#ifndef ORX_TESTS_TOPIC_READER_HPP
#define ORX_TESTS_TOPIC_READER_HPP

#include "src/entities/EntitiesHelper.h"

class TopicReader {
public:
    TopicReader(DDS_DomainId_t domain, const char* topicName, const char* typeName) {
        auto* factory = DDS_DomainParticipantFactory_get_instance();
        DDS_DomainParticipantQos participantQos{};
        DDS_DomainParticipantQos_initialize(&participantQos);
        DDS_DomainParticipantFactory_get_participant_qos_from_profile(
            factory, &participantQos, DDS_BUILTIN_QOS_LIB, DDS_PROFILE_GENERIC_MONITORING2);
        participant_ =
            DDS_DomainParticipantFactory_create_participant(factory, domain, &participantQos, nullptr, 0);
        DDS_DomainParticipantQos_finalize(&participantQos);
        DDS_SubscriberQos subscriberQos{};
        DDS_SubscriberQos_initialize(&subscriberQos);
        DDS_DataReaderQos readerQos{};
        DDS_DataReaderQos_initialize(&readerQos);
        MonitoringEntitiesHelper_getMonitoringReaderQos(&readerQos, factory, nullptr, topicName);
        readerQos.resource_limits.max_samples = DDS_LENGTH_UNLIMITED;
        MonitoringEntitiesHelper_assertSubscriberEntities(&subscriber_, &topic_, &reader_, nullptr,
            participant_, &subscriberQos, &readerQos, topicName, typeName);
        DDS_DataReaderQos_finalize(&readerQos);
        DDS_SubscriberQos_finalize(&subscriberQos);
    }
    ~TopicReader() {
        MonitoringEntitiesHelper_deleteSubscriberEntities(subscriber_, topic_, participant_);
        DDS_DomainParticipantFactory_delete_participant(
            DDS_DomainParticipantFactory_get_instance(), participant_);
    }
    TopicReader(const TopicReader&) = delete;
    TopicReader& operator=(const TopicReader&) = delete;

    DDS_DataReader* reader() { return reader_; }

private:
    DDS_DomainParticipant* participant_ = nullptr;
    DDS_Subscriber* subscriber_ = nullptr;
    DDS_Topic* topic_ = nullptr;
    DDS_DataReader* reader_ = nullptr;
};

#endif
