// The life of the forwarder's entities. What goes into the cache readers is in ForwarderCache.cpp.
#include "src/entities/ForwarderEntities.h"

#include "src/entities/EntitiesHelper.h"
#include "src/log/Log.hpp"
#include "zddscore/heap.h"
#include "zddscore/text.h"

namespace {

constexpr ORX_UINT32 orxLogSubmodule = orx::log::submodule::entities;

using Impl = ORX_MonitoringForwarderEntitiesImpl;
using Property = ORX_MonitoringForwarderProperty_t;

// What is made of one topic, and where the entities go.
struct TopicPlan {
    const char* topicName;
    const char* typeName;
    const char* qosName; // in messages
    DDS_DataReaderQos* Property::*qos;
    DDS_Subscriber* Impl::*subscriber;
    DDS_Topic* Impl::*topic;
    DDS_DataReader* Impl::*reader;
    DDS_DataReader* ORX_MonitoringForwarderEntities::*cacheReader;
    DDS_DataReaderListener Impl::*listener;
};
constexpr TopicPlan eventPlan{ORX_MONITORING_EVENT_TOPIC_NAME, ORX_MONITORING_EVENT_TYPE_NAME,
    "Monitoring event DataReader QoS\n", &Property::event_reader_qos, &Impl::eventSubscriber,
    &Impl::eventTopic, &Impl::builtinEventReader, &ORX_MonitoringForwarderEntities::event_reader,
    &Impl::builtinEventListener};
constexpr TopicPlan loggingPlan{ORX_MONITORING_LOGGING_TOPIC_NAME, ORX_MONITORING_LOGGING_TYPE_NAME,
    "Monitoring logging DataReader QoS\n", &Property::logging_reader_qos, &Impl::loggingSubscriber,
    &Impl::loggingTopic, &Impl::builtinLoggingReader, &ORX_MonitoringForwarderEntities::logging_reader,
    &Impl::builtinLoggingListener};
constexpr TopicPlan periodicPlan{ORX_MONITORING_PERIODIC_TOPIC_NAME, ORX_MONITORING_PERIODIC_TYPE_NAME,
    "Monitoring periodic DataReader QoS\n", &Property::periodic_reader_qos, &Impl::periodicSubscriber,
    &Impl::periodicTopic, &Impl::builtinPeriodicReader, &ORX_MonitoringForwarderEntities::periodic_reader,
    &Impl::builtinPeriodicListener};

bool hasServiceRequestChannel(const DDS_DomainParticipantQos& qos) {
    return (qos.discovery_config.enabled_builtin_channels & DDS_DISCOVERYCONFIG_SERVICE_REQUEST_CHANNEL) != 0;
}

// A listener of one topic looks at the entities of all, and at a cache reader that might go before it. Once
// none is left, the readers are forgotten: they may go although the rest stays.
void removeListeners(Impl& self) {
    for (DDS_DataReader* reader :
        {self.builtinEventReader, self.builtinLoggingReader, self.builtinPeriodicReader}) {
        if (reader != nullptr)
            (void)DDS_DataReader_set_listener(reader, nullptr, DDS_STATUS_MASK_NONE);
    }
    self.builtinEventReader = self.builtinLoggingReader = self.builtinPeriodicReader = nullptr;
}

bool finalize(Impl& self, DDS_DomainParticipantFactory* factory) {
    if (self.participant == nullptr)
        return true;
    removeListeners(self);
    for (const TopicPlan* plan : {&eventPlan, &periodicPlan, &loggingPlan}) {
        if (!MonitoringEntitiesHelper_clearSubscriberEntitiesI(
                &(self.*plan->subscriber), &(self.*plan->topic), self.participant)) {
            return ORX_ERROR(FAILED_TO_DELETE, "Monitoring Forwarder entities for %s\n", plan->topicName);
        }
        self.parent.*plan->cacheReader = nullptr;
    }
    if (!self.isLoanedParticipant &&
        DDS_DomainParticipantFactory_delete_participant(factory, self.participant) != DDS_RETCODE_OK) {
        return ORX_ERROR(FAILED_TO_DELETE, "Monitoring Forwarder Participant\n");
    }
    self.participant = nullptr;
    return true;
}

bool takeLentParticipant(Impl& self, DDS_DomainParticipant* participant, DDS_DomainParticipantQos& qos) {
    self.participant = participant;
    self.isLoanedParticipant = 1;
    if (DDS_DomainParticipant_get_qos(participant, &qos) != DDS_RETCODE_OK)
        return ORX_ERROR(FAILED_TO_GET, "DomainParticipant QoS");
    if (!hasServiceRequestChannel(qos)) {
        return ORX_ERROR(INCONSISTENT_FAILURE, "DomainParticipant Qos for the Monitoring Forwarder "
                                               "DomainParticipant. The Built-in Service Request channel "
                                               "needs to be enabled");
    }
    return true;
}

bool getParticipantQos(
    DDS_DomainParticipantQos& qos, DDS_DomainParticipantFactory* factory, const Property& property) {
    if (property.participant_qos != nullptr) {
        if (DDS_DomainParticipantQos_copy(&qos, property.participant_qos) != DDS_RETCODE_OK)
            return ORX_ERROR(FAILED_TO_COPY, "Monitoring DDS_DomainParticipantQos\n");
    } else if (DDS_DomainParticipantFactory_get_participant_qos_from_profile(
                   factory, &qos, DDS_BUILTIN_QOS_LIB, DDS_PROFILE_GENERIC_MONITORING2) != DDS_RETCODE_OK) {
        return ORX_ERROR(FAILED_TO_GET, "Monitoring Participant '%s:%s' QoS\n", DDS_BUILTIN_QOS_LIB,
            DDS_PROFILE_GENERIC_MONITORING2);
    }
    // Room for the property by which a cache reader is isolated.
    if (qos.resource_limits.reader_property_list_max_length == 0)
        qos.resource_limits.reader_property_list_max_length = 1;
    if (qos.resource_limits.reader_property_string_max_length == 0)
        qos.resource_limits.reader_property_string_max_length = 1024;
    qos.protocol.vendor_specific_entity = DDS_BOOLEAN_TRUE;
    if (!hasServiceRequestChannel(qos)) {
        qos.discovery_config.enabled_builtin_channels |= DDS_DISCOVERYCONFIG_SERVICE_REQUEST_CHANNEL;
        ORX_WARNING(ENABLE, "Built-in Service Request channel. It is required by the Monitoring Forwarder");
    }
    return true;
}

bool createParticipant(Impl& self, DDS_DomainParticipantFactory* factory, const Property& property,
    DDS_DomainParticipantQos& qos) {
    if (!getParticipantQos(qos, factory, property))
        return false;
    self.participant = DDS_DomainParticipantFactory_create_participant_disabled(
        factory, property.domain_id, &qos, nullptr, 0);
    if (self.participant == nullptr)
        return ORX_ERROR(FAILED_TO_CREATE, "Monitoring Forwarder Participant\n");
    return true;
}

bool getParticipant(Impl& self, DDS_DomainParticipantFactory* factory, DDS_DomainParticipant* participant,
    const Property& property) {
    DDS_DomainParticipantQos qos{};
    bool result = DDS_DomainParticipantQos_initialize(&qos) == DDS_RETCODE_OK &&
                  (participant != nullptr ? takeLentParticipant(self, participant, qos)
                                          : createParticipant(self, factory, property, qos));
    if (DDS_DomainParticipantQos_finalize(&qos) != DDS_RETCODE_OK)
        result = ORX_ERROR(FAILED_TO_FINALIZE, "Monitoring Participant QoS\n");
    return result;
}

bool getSubscriberQos(const Impl& self, DDS_SubscriberQos& qos, DDS_DomainParticipantFactory* factory,
    const Property& property) {
    if (property.subscriber_qos != nullptr) {
        if (DDS_SubscriberQos_copy(&qos, property.subscriber_qos) != DDS_RETCODE_OK)
            return ORX_ERROR(FAILED_TO_COPY, "Monitoring Subscriber QoS\n");
    } else if (DDS_DomainParticipantFactory_get_subscriber_qos_from_profile(
                   factory, &qos, DDS_BUILTIN_QOS_LIB, DDS_PROFILE_GENERIC_MONITORING2) != DDS_RETCODE_OK) {
        return ORX_ERROR(FAILED_TO_GET, "Monitoring Subscriber '%s:%s' QoS\n", DDS_BUILTIN_QOS_LIB,
            DDS_PROFILE_GENERIC_MONITORING2);
    }
    qos.protocol.vendor_specific_entity = DDS_BOOLEAN_TRUE;
    // The readers stay disabled until the forwarder stands, in a participant that is enabled already.
    if (self.isLoanedParticipant)
        qos.entity_factory.autoenable_created_entities = DDS_BOOLEAN_FALSE;
    return true;
}

bool createTopicEntities(Impl& self, const TopicPlan& plan, DDS_DomainParticipantFactory* factory,
    const DDS_SubscriberQos& subscriberQos, const Property& property) {
    DDS_DataReaderQos qos{};
    bool result =
        DDS_DataReaderQos_initialize(&qos) == DDS_RETCODE_OK &&
        MonitoringEntitiesHelper_getMonitoringReaderQos(&qos, factory, property.*plan.qos, plan.topicName);
    if (!result) {
        ORX_ERROR(FAILED_TO_GET, "Monitoring %s DataReader QoS\n", plan.topicName);
    } else if (!MonitoringEntitiesHelper_assertSubscriberEntities(&(self.*plan.subscriber),
                   &(self.*plan.topic), &(self.*plan.reader), &(self.parent.*plan.cacheReader),
                   self.participant, &subscriberQos, &qos, plan.topicName, plan.typeName)) {
        result = ORX_ERROR(FAILED_TO_CREATE, "Monitoring Forwarder entities for %s\n", plan.topicName);
    }
    if (DDS_DataReaderQos_finalize(&qos) != DDS_RETCODE_OK)
        result = ORX_ERROR(FAILED_TO_FINALIZE, "%s", plan.qosName);
    return result;
}

bool createAllTopicEntities(Impl& self, DDS_DomainParticipantFactory* factory, const Property& property) {
    DDS_SubscriberQos qos{};
    bool result = DDS_SubscriberQos_initialize(&qos) == DDS_RETCODE_OK &&
                  getSubscriberQos(self, qos, factory, property) &&
                  createTopicEntities(self, eventPlan, factory, qos, property) &&
                  (!property.create_logging_data_reader ||
                      createTopicEntities(self, loggingPlan, factory, qos, property)) &&
                  createTopicEntities(self, periodicPlan, factory, qos, property);
    if (DDS_SubscriberQos_finalize(&qos) != DDS_RETCODE_OK)
        result = ORX_ERROR(FAILED_TO_FINALIZE, "Monitoring Subscriber QoS\n");
    return result;
}

bool initialize(Impl& self, DDS_DomainParticipantFactory* factory, DDS_DomainParticipant* participant,
    const Property& property) {
    if (getParticipant(self, factory, participant, property) &&
        createAllTopicEntities(self, factory, property)) {
        return true;
    }
    (void)finalize(self, factory);
    return false;
}

bool enable(DDS_DataReader* reader, const char* what) {
    if (DDS_Entity_enable(DDS_DataReader_as_entity(reader)) != DDS_RETCODE_OK)
        return ORX_ERROR(FAILED_TO_ENABLE, "%s", what);
    return true;
}

} // namespace

void ORX_MonitoringForwarderProperty_t_finalize(ORX_MonitoringForwarderProperty_t* self) {
    ORX_LEAVE_IF(self == ORX_NULL);
    constexpr ORX_MonitoringForwarderProperty_t initial = ORX_MONITORING_FORWARDER_PROPERTY_DEFAULT;
    *self = initial;
}

ORX_MonitoringForwarderEntities* ORX_MonitoringForwarderEntities_new(DDS_DomainParticipantFactory* factory,
    DDS_DomainParticipant* participant, const ORX_MonitoringForwarderProperty_t* property) {
    ORX_FAIL_IF(factory == ORX_NULL);
    ORX_FAIL_IF(property == ORX_NULL);
    Impl* self = nullptr;
    if (!ORXOsapiHeap_allocateStructure(&self, struct ORX_MonitoringForwarderEntitiesImpl)) {
        return ORX_ERROR(FAILED_TO_ALLOCATE, "'struct ORX_MonitoringEntities' with size %u\n",
            static_cast<unsigned>(sizeof(Impl)));
    }
    if (initialize(*self, factory, participant, *property))
        return &self->parent;
    // An entity that could not be deleted is still the participant's, so its record stays.
    if (self->participant == nullptr)
        ORXOsapiHeap_freeStructure(self);
    return ORX_ERROR(FAILED_TO_INITIALIZE, "Monitoring Forwarder entities\n");
}

int ORX_MonitoringForwarderEntities_enable(ORX_MonitoringForwarderEntities* self) {
    ORX_FAIL_IF(self == ORX_NULL);
    auto* impl = reinterpret_cast<Impl*>(self);
    if (!impl->isLoanedParticipant) {
        if (DDS_Entity_enable(DDS_DomainParticipant_as_entity(impl->participant)) != DDS_RETCODE_OK)
            return ORX_ERROR(FAILED_TO_ENABLE, "Monitoring Forwarder participant");
        return 1;
    }
    const bool hasLogging = self->logging_reader != nullptr;
    // The third of each three has one name; it has always been reported so.
    return enable(self->event_reader, "Monitoring Forwarder event cache reader") &&
           (!hasLogging || enable(self->logging_reader, "Monitoring Forwarder logging cache reader")) &&
           enable(self->periodic_reader, "Monitoring Forwarder periodic reader") &&
           enable(impl->builtinEventReader, "Monitoring Forwarder event reader") &&
           (!hasLogging || enable(impl->builtinLoggingReader, "Monitoring Forwarder logging reader")) &&
           enable(impl->builtinPeriodicReader, "Monitoring Forwarder periodic reader");
}

int ORX_MonitoringForwarderEntities_delete(
    ORX_MonitoringForwarderEntities* self, DDS_DomainParticipantFactory* factory) {
    if (self == nullptr)
        return 1;
    ORX_FAIL_IF(factory == ORX_NULL);
    auto* impl = reinterpret_cast<Impl*>(self);
    if (!finalize(*impl, factory))
        return 0;
    ORXOsapiHeap_freeStructure(impl);
    return 1;
}

int ORX_MonitoringForwarderEntities_setListener(ORX_MonitoringForwarderEntities* self,
    DDS_DataReader* builtinReader, const DDS_DataReaderListener* listener, DDS_StatusMask mask) {
    ORX_FAIL_IF(self == ORX_NULL);
    ORX_FAIL_IF(builtinReader == ORX_NULL);
    ORX_FAIL_IF(listener == ORX_NULL);
    auto* impl = reinterpret_cast<Impl*>(self);
    const char* topicName = DDS_TopicDescription_get_name(DDS_DataReader_get_topicdescription(builtinReader));
    for (const TopicPlan* plan : {&eventPlan, &loggingPlan, &periodicPlan}) {
        if (impl->*plan->reader != builtinReader)
            continue;
        impl->*plan->listener = *listener;
        if (DDS_DataReader_set_listener(builtinReader, &(impl->*plan->listener), mask) != DDS_RETCODE_OK)
            return ORX_ERROR(FAILED_TO_SET, "DataReader listener for topic %s\n", topicName);
        return 1;
    }
    char text[256];
    (void)ORXOsapiUtility_snprintf(text, sizeof text,
        "The provided DataReader for topic %s does not match any DataReader of the Monitoring Forwarder "
        "object provided\n",
        topicName);
    return ORX_PRECONDITION_FAILED(text);
}

DDS_DataReader* ORX_MonitoringForwarderEntities_getRelatedCacheDataReader(
    ORX_MonitoringForwarderEntities* self, DDS_DataReader* builtinReader) {
    ORX_FAIL_IF(self == ORX_NULL);
    ORX_FAIL_IF(builtinReader == ORX_NULL);
    const auto* impl = reinterpret_cast<const Impl*>(self);
    for (const TopicPlan* plan : {&eventPlan, &loggingPlan, &periodicPlan}) {
        if (impl->*plan->reader == builtinReader)
            return self->*plan->cacheReader;
    }
    return nullptr;
}
