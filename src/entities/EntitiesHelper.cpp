#include "src/entities/EntitiesHelper.h"

#include "orxmonitoring2d/dds_entities_distribution_support.h"
#include "orxmonitoring2d/dds_logging_support.h"
#include "src/log/Log.hpp"
#include "zddscore/text.h"

namespace {

constexpr ORX_UINT32 orxLogSubmodule = orx::log::submodule::entities;

constexpr char isolatedProperty[] = "dds.data_reader.is_isolated";
constexpr char isolatedValue[] = "true";

bool isText(const char* left, const char* right) {
    return REDAString_compare(left, right) == 0;
}

DDS_ReturnCode_t registerType(DDS_DomainParticipant* participant, const char* typeName) {
    if (isText(typeName, ORX_MONITORING_EVENT_TYPE_NAME)) {
        return DDS_Monitoring_EventTypeSupport_register_type(participant, typeName);
    }
    if (isText(typeName, ORX_MONITORING_PERIODIC_TYPE_NAME)) {
        return DDS_Monitoring_PeriodicTypeSupport_register_type(participant, typeName);
    }
    if (isText(typeName, ORX_MONITORING_LOGGING_TYPE_NAME)) {
        return DDS_Monitoring_LoggingTypeSupport_register_type(participant, typeName);
    }
    (void)ORX_PRECONDITION_FAILED("\n");
    return DDS_RETCODE_BAD_PARAMETER;
}

bool createTopic(DDS_Topic** topic, DDS_DomainParticipant* participant, const char* topicName,
    const char* typeName, DDS_TopicQos& qos) {
    if (DDS_DomainParticipant_get_default_topic_qos(participant, &qos) != DDS_RETCODE_OK) {
        return ORX_ERROR(FAILED_TO_GET, "Default Topic QoS \n");
    }
    qos.protocol.vendor_specific_entity = DDS_BOOLEAN_TRUE;
    if (registerType(participant, typeName) != DDS_RETCODE_OK) {
        return ORX_ERROR(FAILED_TO_REGISTER, "Monitoring type '%s'\n", typeName);
    }
    *topic = DDS_DomainParticipant_create_topic(participant, topicName, typeName, &qos, nullptr, 0);
    if (*topic == nullptr) {
        return ORX_ERROR(FAILED_TO_CREATE, "Monitoring topic '%s' with type '%s'\n", topicName, typeName);
    }
    return true;
}

const char* nameOf(DDS_Topic* topic) {
    return DDS_TopicDescription_get_name(DDS_Topic_as_topicdescription(topic));
}

bool createPublisherEntities(DDS_Publisher** publisher, DDS_Topic** topic, DDS_DataWriter** writer,
    DDS_DomainParticipant* participant, const DDS_PublisherQos* publisherQos,
    const DDS_DataWriterQos* writerQos, const char* topicName, const char* typeName) {
    *publisher = DDS_DomainParticipant_create_publisher(participant, publisherQos, nullptr, 0);
    if (*publisher == nullptr) {
        return ORX_ERROR(FAILED_TO_CREATE, "Monitoring publisher for %s\n", topicName);
    }
    if (!MonitoringEntitiesHelper_assertMonitoringTopic(topic, participant, topicName, typeName)) {
        // The template names a deletion; it has always been reported so.
        return ORX_ERROR(FAILED_TO_DELETE, "Monitoring Topic %s with type %s\n", topicName, typeName);
    }
    *writer = DDS_Publisher_create_datawriter(*publisher, *topic, writerQos, nullptr, 0);
    if (*writer == nullptr) {
        return ORX_ERROR(FAILED_TO_CREATE, "Monitoring Library DataWriter for %s\n", topicName);
    }
    return true;
}

// A reader of the same topic that matches nobody and holds whatever is put into it.
bool createCacheReader(DDS_DataReader** cacheReader, DDS_Subscriber* subscriber, DDS_Topic* topic,
    const DDS_DataReaderQos* readerQos, const char* topicName, DDS_DataReaderQos& qos) {
    if (DDS_DataReaderQos_initialize(&qos) != DDS_RETCODE_OK ||
        DDS_DataReaderQos_copy(&qos, readerQos) != DDS_RETCODE_OK) {
        return ORX_ERROR(FAILED_TO_COPY, "Reader Qos for Topic '%s'\n", topicName);
    }
    qos.resource_limits.max_samples = DDS_LENGTH_UNLIMITED;
    if (DDS_PropertyQosPolicyHelper_add_property(
            &qos.property, isolatedProperty, isolatedValue, DDS_BOOLEAN_FALSE) != DDS_RETCODE_OK) {
        return ORX_ERROR(FAILED_TO_ADD,
            "DataReader property '%s' with value '%s' for Monitoring Topic '%s'\n", isolatedProperty,
            isolatedValue, topicName);
    }
    *cacheReader =
        DDS_Subscriber_create_datareader(subscriber, DDS_Topic_as_topicdescription(topic), &qos, nullptr, 0);
    if (*cacheReader == nullptr) {
        return ORX_ERROR(FAILED_TO_CREATE, "Monitoring Forwarder Cache DataReader for %s\n", topicName);
    }
    return true;
}

bool createSubscriberEntities(DDS_Subscriber** subscriber, DDS_Topic** topic, DDS_DataReader** realReader,
    DDS_DataReader** cacheReader, DDS_DomainParticipant* participant, const DDS_SubscriberQos* subscriberQos,
    const DDS_DataReaderQos* readerQos, const char* topicName, const char* typeName,
    DDS_DataReaderQos& cacheQos) {
    *subscriber = DDS_DomainParticipant_create_subscriber(participant, subscriberQos, nullptr, 0);
    if (*subscriber == nullptr) {
        return ORX_ERROR(FAILED_TO_CREATE, "Monitoring subscriber for %s\n", topicName);
    }
    if (!MonitoringEntitiesHelper_assertMonitoringTopic(topic, participant, topicName, typeName)) {
        return ORX_ERROR(FAILED_TO_CREATE, "Monitoring Topic %s with type %s\n", topicName, typeName);
    }
    *realReader = DDS_Subscriber_create_datareader(
        *subscriber, DDS_Topic_as_topicdescription(*topic), readerQos, nullptr, 0);
    if (*realReader == nullptr) {
        return ORX_ERROR(FAILED_TO_CREATE, "Monitoring Forwarder DataReader for %s\n", topicName);
    }
    return cacheReader == nullptr ||
           createCacheReader(cacheReader, *subscriber, *topic, readerQos, topicName, cacheQos);
}

} // namespace

int MonitoringEntitiesHelper_assertMonitoringTopic(
    DDS_Topic** topic, DDS_DomainParticipant* participant, const char* topicName, const char* typeName) {
    ORX_FAIL_IF(topic == ORX_NULL);
    ORX_FAIL_IF(participant == ORX_NULL);
    ORX_FAIL_IF(topicName == ORX_NULL);
    ORX_FAIL_IF(typeName == ORX_NULL);
    *topic = nullptr;
    DDS_TopicQos qos{};
    bool result = DDS_TopicQos_initialize(&qos) == DDS_RETCODE_OK &&
                  createTopic(topic, participant, topicName, typeName, qos);
    if (DDS_TopicQos_finalize(&qos) != DDS_RETCODE_OK) {
        result = ORX_ERROR(FAILED_TO_FINALIZE, "Monitoring Topic QoS\n");
    }
    if (!result) {
        // Without a topic this is a line of the log and nothing else.
        (void)MonitoringEntitiesHelper_deleteMonitoringTopic(*topic, participant);
        *topic = nullptr;
    }
    return result;
}

int MonitoringEntitiesHelper_deleteMonitoringTopic(DDS_Topic* topic, DDS_DomainParticipant* participant) {
    ORX_FAIL_IF(topic == ORX_NULL);
    ORX_FAIL_IF(participant == ORX_NULL);
    return DDS_DomainParticipant_delete_topic(participant, topic) == DDS_RETCODE_OK;
}

int MonitoringEntitiesHelper_assertPublisherEntities(DDS_Publisher** publisher, DDS_Topic** topic,
    DDS_DataWriter** writer, DDS_DomainParticipant* participant, const DDS_PublisherQos* publisherQos,
    const DDS_DataWriterQos* writerQos, const char* topicName, const char* typeName) {
    ORX_FAIL_IF(publisher == ORX_NULL);
    ORX_FAIL_IF(topic == ORX_NULL);
    ORX_FAIL_IF(writer == ORX_NULL);
    ORX_FAIL_IF(participant == ORX_NULL);
    ORX_FAIL_IF(publisherQos == ORX_NULL);
    ORX_FAIL_IF(writerQos == ORX_NULL);
    ORX_FAIL_IF(topicName == ORX_NULL);
    ORX_FAIL_IF(typeName == ORX_NULL);
    *publisher = nullptr;
    *topic = nullptr;
    *writer = nullptr;
    if (createPublisherEntities(
            publisher, topic, writer, participant, publisherQos, writerQos, topicName, typeName)) {
        return 1;
    }
    if (*topic != nullptr) {
        (void)MonitoringEntitiesHelper_deletePublisherEntities(*publisher, *topic, participant);
    } else if (*publisher != nullptr) { // alone, which the function above refuses
        (void)DDS_DomainParticipant_delete_publisher(participant, *publisher);
    }
    *publisher = nullptr;
    *topic = nullptr;
    *writer = nullptr;
    return 0;
}

int MonitoringEntitiesHelper_deletePublisherEntities(
    DDS_Publisher* publisher, DDS_Topic* topic, DDS_DomainParticipant* participant) {
    return MonitoringEntitiesHelper_clearPublisherEntitiesI(&publisher, &topic, participant);
}

int MonitoringEntitiesHelper_clearPublisherEntitiesI(
    DDS_Publisher** place, DDS_Topic** topicPlace, DDS_DomainParticipant* participant) {
    DDS_Publisher* publisher = *place;
    DDS_Topic* topic = *topicPlace;
    ORX_FAIL_IF(participant == ORX_NULL);
    ORX_FAIL_IF(publisher != ORX_NULL && topic == ORX_NULL);
    if (publisher != nullptr) {
        if (DDS_Publisher_delete_contained_entities(publisher) != DDS_RETCODE_OK) {
            return ORX_ERROR(FAILED_TO_DELETE, "Monitoring Publisher entities for %s\n", nameOf(topic));
        }
        if (DDS_DomainParticipant_delete_publisher(participant, publisher) != DDS_RETCODE_OK) {
            return ORX_ERROR(FAILED_TO_DELETE, "Monitoring Publisher for %s\n", nameOf(topic));
        }
        *place = nullptr;
    }
    if (topic != nullptr && !MonitoringEntitiesHelper_deleteMonitoringTopic(topic, participant)) {
        return ORX_ERROR(FAILED_TO_DELETE, "Monitoring %s topic\n", nameOf(topic));
    }
    *topicPlace = nullptr;
    return 1;
}

int MonitoringEntitiesHelper_assertSubscriberEntities(DDS_Subscriber** subscriber, DDS_Topic** topic,
    DDS_DataReader** realReader, DDS_DataReader** cacheReader, DDS_DomainParticipant* participant,
    const DDS_SubscriberQos* subscriberQos, const DDS_DataReaderQos* readerQos, const char* topicName,
    const char* typeName) {
    ORX_FAIL_IF(subscriber == ORX_NULL);
    ORX_FAIL_IF(topic == ORX_NULL);
    ORX_FAIL_IF(realReader == ORX_NULL);
    ORX_FAIL_IF(participant == ORX_NULL);
    ORX_FAIL_IF(subscriberQos == ORX_NULL);
    ORX_FAIL_IF(readerQos == ORX_NULL);
    ORX_FAIL_IF(topicName == ORX_NULL);
    ORX_FAIL_IF(typeName == ORX_NULL);
    const auto clearOutputs = [&] {
        *subscriber = nullptr;
        *topic = nullptr;
        *realReader = nullptr;
        if (cacheReader != nullptr)
            *cacheReader = nullptr;
    };
    clearOutputs();
    DDS_DataReaderQos cacheQos{};
    bool result = createSubscriberEntities(subscriber, topic, realReader, cacheReader, participant,
        subscriberQos, readerQos, topicName, typeName, cacheQos);
    if (DDS_DataReaderQos_finalize(&cacheQos) != DDS_RETCODE_OK) {
        result = ORX_ERROR(FAILED_TO_FINALIZE, "Monitoring cache DataReader QoS\n");
    }
    if (result)
        return 1;
    if (*topic != nullptr) {
        (void)MonitoringEntitiesHelper_deleteSubscriberEntities(*subscriber, *topic, participant);
    } else if (*subscriber != nullptr) { // alone, which the function above refuses
        (void)DDS_DomainParticipant_delete_subscriber(participant, *subscriber);
    }
    clearOutputs();
    return 0;
}

int MonitoringEntitiesHelper_deleteSubscriberEntities(
    DDS_Subscriber* subscriber, DDS_Topic* topic, DDS_DomainParticipant* participant) {
    return MonitoringEntitiesHelper_clearSubscriberEntitiesI(&subscriber, &topic, participant);
}

int MonitoringEntitiesHelper_clearSubscriberEntitiesI(
    DDS_Subscriber** place, DDS_Topic** topicPlace, DDS_DomainParticipant* participant) {
    DDS_Subscriber* subscriber = *place;
    DDS_Topic* topic = *topicPlace;
    ORX_FAIL_IF(participant == ORX_NULL);
    ORX_FAIL_IF(subscriber != ORX_NULL && topic == ORX_NULL);
    if (subscriber != nullptr) {
        if (DDS_Subscriber_delete_contained_entities(subscriber) != DDS_RETCODE_OK) {
            return ORX_ERROR(FAILED_TO_DELETE, "Monitoring Subscriber entities for %s\n", nameOf(topic));
        }
        if (DDS_DomainParticipant_delete_subscriber(participant, subscriber) != DDS_RETCODE_OK) {
            return ORX_ERROR(FAILED_TO_DELETE, "Monitoring Subscriber for %s\n", nameOf(topic));
        }
        *place = nullptr;
    }
    if (topic != nullptr && !MonitoringEntitiesHelper_deleteMonitoringTopic(topic, participant)) {
        return ORX_ERROR(FAILED_TO_DELETE, "Monitoring %s topic\n", nameOf(topic));
    }
    *topicPlace = nullptr;
    return 1;
}
