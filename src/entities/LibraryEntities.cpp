#include "src/entities/LibraryEntities.h"

#include "src/entities/EntitiesHelper.h"
#include "src/log/Log.hpp"
#include "zddscore/heap.h"

namespace {

constexpr ORX_UINT32 orxLogSubmodule = orx::log::submodule::entities;

using Entities = ORX_MonitoringLibraryEntities;

// What is made of one topic, and where the entities go.
struct TopicPlan {
    const char* topicName;
    const char* typeName;
    const char* qosName; // in messages
    DDS_DataWriterQos* ORX_MonitoringWriterEntitiesProperty_t::*qos;
    DDS_Publisher* Entities::*publisher;
    DDS_Topic* Entities::*topic;
    DDS_DataWriter* Entities::*writer;
};
constexpr TopicPlan topicPlans[] = {
    {ORX_MONITORING_EVENT_TOPIC_NAME, ORX_MONITORING_EVENT_TYPE_NAME, "Monitoring event DataWriter QoS",
        &ORX_MonitoringWriterEntitiesProperty_t::event_writer_qos, &Entities::eventPublisher,
        &Entities::eventTopic, &Entities::eventWriter},
    {ORX_MONITORING_PERIODIC_TOPIC_NAME, ORX_MONITORING_PERIODIC_TYPE_NAME,
        "Monitoring periodic DataWriter QoS", &ORX_MonitoringWriterEntitiesProperty_t::periodic_writer_qos,
        &Entities::periodicPublisher, &Entities::periodicTopic, &Entities::periodicWriter},
    {ORX_MONITORING_LOGGING_TOPIC_NAME, ORX_MONITORING_LOGGING_TYPE_NAME, "Monitoring logging DataWriter QoS",
        &ORX_MonitoringWriterEntitiesProperty_t::logging_writer_qos, &Entities::loggingPublisher,
        &Entities::loggingTopic, &Entities::loggingWriter},
};

bool hasServiceRequestChannel(const DDS_DomainParticipantQos& qos) {
    return (qos.discovery_config.enabled_builtin_channels & DDS_DISCOVERYCONFIG_SERVICE_REQUEST_CHANNEL) != 0;
}

bool finalize(Entities& self, DDS_DomainParticipantFactory* factory) {
    if (self.participant == nullptr)
        return true;
    for (const TopicPlan& plan : topicPlans) {
        if (!MonitoringEntitiesHelper_clearPublisherEntitiesI(
                &(self.*plan.publisher), &(self.*plan.topic), self.participant)) {
            return ORX_ERROR(FAILED_TO_DELETE, "Monitoring Library entities for %s", plan.topicName);
        }
        self.*plan.writer = nullptr;
    }
    self.parent = {};
    if (!self.isParticipantLoaned &&
        DDS_DomainParticipantFactory_delete_participant(factory, self.participant) != DDS_RETCODE_OK) {
        return ORX_ERROR(FAILED_TO_DELETE, "Monitoring Forwarder Participant");
    }
    self.participant = nullptr;
    return true;
}

bool checkLentParticipant(Entities& self) {
    DDS_DomainParticipantQos qos{};
    bool result = DDS_DomainParticipantQos_initialize(&qos) == DDS_RETCODE_OK &&
                  DDS_DomainParticipant_get_qos(self.participant, &qos) == DDS_RETCODE_OK;
    if (!result) {
        ORX_ERROR(FAILED_TO_GET, "DomainParticipant QoS");
    } else if (!hasServiceRequestChannel(qos)) {
        result = ORX_ERROR(INCONSISTENT_FAILURE, "DomainParticipant Qos for the Monitoring Library "
                                                 "DomainParticipant. The Built-in Service Request "
                                                 "channel needs to be enabled");
    }
    if (DDS_DomainParticipantQos_finalize(&qos) != DDS_RETCODE_OK) {
        result = ORX_ERROR(FAILED_TO_FINALIZE, "Monitoring Participant QoS\n");
    }
    return result;
}

bool getPublisherQos(const Entities& self, DDS_PublisherQos& qos, DDS_DomainParticipantFactory* factory,
    const ORX_MonitoringWriterEntitiesProperty_t& property) {
    if (property.publisher_qos != nullptr) {
        if (DDS_PublisherQos_copy(&qos, property.publisher_qos) != DDS_RETCODE_OK) {
            return ORX_ERROR(FAILED_TO_COPY, "Monitoring Publisher QoS");
        }
    } else if (DDS_DomainParticipantFactory_get_publisher_qos_from_profile(
                   factory, &qos, DDS_BUILTIN_QOS_LIB, DDS_PROFILE_GENERIC_MONITORING2) != DDS_RETCODE_OK) {
        return ORX_ERROR(FAILED_TO_GET, "Monitoring Publisher '%s:%s' QoS", DDS_BUILTIN_QOS_LIB,
            DDS_PROFILE_GENERIC_MONITORING2);
    }
    qos.protocol.vendor_specific_entity = DDS_BOOLEAN_TRUE;
    // The writers stay disabled until the library stands, in a participant that is enabled already.
    if (self.isParticipantLoaned)
        qos.entity_factory.autoenable_created_entities = DDS_BOOLEAN_FALSE;
    return true;
}

bool createTopicEntities(Entities& self, const TopicPlan& plan, DDS_DomainParticipantFactory* factory,
    const DDS_PublisherQos& publisherQos, const ORX_MonitoringWriterEntitiesProperty_t& property) {
    DDS_DataWriterQos qos{};
    bool result =
        DDS_DataWriterQos_initialize(&qos) == DDS_RETCODE_OK &&
        MonitoringEntitiesHelper_getMonitoringWriterQos(&qos, factory, property.*plan.qos, plan.topicName);
    if (!result) {
        ORX_ERROR(FAILED_TO_GET, "Monitoring %s DataWriter QoS", plan.topicName);
    } else if (!MonitoringEntitiesHelper_assertPublisherEntities(&(self.*plan.publisher), &(self.*plan.topic),
                   &(self.*plan.writer), self.participant, &publisherQos, &qos, plan.topicName,
                   plan.typeName)) {
        result = ORX_ERROR(FAILED_TO_CREATE, "Monitoring publisher entities for %s", plan.topicName);
    }
    if (DDS_DataWriterQos_finalize(&qos) != DDS_RETCODE_OK)
        result = ORX_ERROR(FAILED_TO_FINALIZE, "%s", plan.qosName);
    return result;
}

bool createAllTopicEntities(Entities& self, DDS_DomainParticipantFactory* factory,
    const ORX_MonitoringWriterEntitiesProperty_t& property, DDS_PublisherQos& publisherQos) {
    if (!getPublisherQos(self, publisherQos, factory, property))
        return false;
    for (const TopicPlan& plan : topicPlans) {
        if (!createTopicEntities(self, plan, factory, publisherQos, property))
            return false;
    }
    self.parent = {self.eventWriter, self.periodicWriter, self.loggingWriter};
    return true;
}

// Finalizes on failure, an own participant included.
bool initializeOnParticipant(Entities& self, DDS_DomainParticipant* participant,
    const ORX_MonitoringWriterEntitiesProperty_t& property) {
    DDS_DomainParticipantFactory* factory = DDS_DomainParticipant_get_participant_factoryI(participant);
    self.participant = participant;
    DDS_PublisherQos publisherQos{};
    bool result = (!self.isParticipantLoaned || checkLentParticipant(self)) &&
                  DDS_PublisherQos_initialize(&publisherQos) == DDS_RETCODE_OK &&
                  createAllTopicEntities(self, factory, property, publisherQos);
    if (DDS_PublisherQos_finalize(&publisherQos) != DDS_RETCODE_OK) {
        result = ORX_ERROR(FAILED_TO_FINALIZE, "Monitoring Publisher QoS");
    }
    if (!result)
        (void)finalize(self, factory);
    return result;
}

bool getParticipantQos(DDS_DomainParticipantQos& qos, DDS_DomainParticipantFactory* factory,
    const ORX_MonitoringProperty_t& property) {
    if (property.participant_qos != nullptr) {
        if (DDS_DomainParticipantQos_copy(&qos, property.participant_qos) != DDS_RETCODE_OK) {
            return ORX_ERROR(FAILED_TO_COPY, "Monitoring event DDS_DomainParticipantQos");
        }
    } else if (DDS_DomainParticipantFactory_get_participant_qos_from_profile(
                   factory, &qos, DDS_BUILTIN_QOS_LIB, DDS_PROFILE_GENERIC_MONITORING2) != DDS_RETCODE_OK) {
        return ORX_ERROR(FAILED_TO_GET, "Monitoring Participant '%s:%s' QoS", DDS_BUILTIN_QOS_LIB,
            DDS_PROFILE_GENERIC_MONITORING2);
    }
    qos.protocol.vendor_specific_entity = DDS_BOOLEAN_TRUE;
    if (!hasServiceRequestChannel(qos)) {
        qos.discovery_config.enabled_builtin_channels |= DDS_DISCOVERYCONFIG_SERVICE_REQUEST_CHANNEL;
        ORX_WARNING(ENABLE, "Built-in Service Request channel. It is required by the Monitoring Library");
    }
    if (DDS_StringSeq_get_length(&property.collector_initial_peers) > 0 &&
        DDS_StringSeq_copy(&qos.discovery.initial_peers, &property.collector_initial_peers) == nullptr) {
        return ORX_ERROR(FAILED_TO_COPY, "collector_initial_peers");
    }
    return true;
}

ORX_MonitoringWriterEntitiesProperty_t writerPropertyOf(const ORX_MonitoringProperty_t& property) {
    return {property.publisher_qos, property.event.writer_qos, property.periodic.writer_qos,
        property.logging.writer_qos};
}

bool createAll(Entities& self, DDS_DomainParticipantFactory* factory,
    const ORX_MonitoringProperty_t& property, DDS_DomainParticipantQos& qos) {
    if (!getParticipantQos(qos, factory, property))
        return false;
    DDS_DomainParticipant* participant = DDS_DomainParticipantFactory_create_participant_disabled(
        factory, property.domain_id, &qos, nullptr, 0);
    if (participant == nullptr)
        return ORX_ERROR(FAILED_TO_CREATE, "Monitoring Participant");
    if (!initializeOnParticipant(self, participant, writerPropertyOf(property))) {
        return ORX_ERROR(FAILED_TO_INITIALIZE, "Monitoring Writer Entities");
    }
    return true;
}

bool initialize(
    Entities& self, DDS_DomainParticipantFactory* factory, const ORX_MonitoringProperty_t& property) {
    DDS_DomainParticipantQos qos{};
    bool result = DDS_DomainParticipantQos_initialize(&qos) == DDS_RETCODE_OK &&
                  createAll(self, factory, property, qos);
    if (DDS_DomainParticipantQos_finalize(&qos) != DDS_RETCODE_OK) {
        result = ORX_ERROR(FAILED_TO_FINALIZE, "Monitoring Participant QoS");
    }
    if (!result)
        (void)finalize(self, factory);
    return result;
}

Entities* allocate() {
    Entities* self = nullptr;
    if (!ORXOsapiHeap_allocateStructure(&self, struct ORX_MonitoringLibraryEntities)) {
        return ORX_ERROR(FAILED_TO_ALLOCATE, "'struct ORX_MonitoringEntities' with size %u",
            static_cast<unsigned>(sizeof(Entities)));
    }
    return self;
}

// An entity that could not be deleted is still the participant's, so its record stays.
Entities* abandon(Entities* self) {
    if (self->participant == nullptr)
        ORXOsapiHeap_freeStructure(self);
    return ORX_ERROR(FAILED_TO_INITIALIZE, "Monitoring entities");
}

bool enableWriter(DDS_DataWriter* writer, const char* kind) {
    if (DDS_Entity_enable(DDS_DataWriter_as_entity(writer)) != DDS_RETCODE_OK) {
        return ORX_ERROR(FAILED_TO_ENABLE, "Monitoring Library %s DataWriter", kind);
    }
    return true;
}

} // namespace

ORX_MonitoringLibraryEntities* ORX_MonitoringLibraryEntities_new(
    DDS_DomainParticipantFactory* factory, ORX_MonitoringProperty_t* property) {
    ORX_FAIL_IF(factory == ORX_NULL);
    ORX_FAIL_IF(property == ORX_NULL);
    Entities* self = allocate();
    if (self == nullptr)
        return nullptr;
    return initialize(*self, factory, *property) ? self : abandon(self);
}

ORX_MonitoringLibraryEntities* ORX_MonitoringLibraryEntities_new_w_participant(
    DDS_DomainParticipant* participant, ORX_MonitoringProperty_t* property) {
    ORX_FAIL_IF(participant == ORX_NULL);
    ORX_FAIL_IF(property == ORX_NULL);
    Entities* self = allocate();
    if (self == nullptr)
        return nullptr;
    self->isParticipantLoaned = 1;
    return initializeOnParticipant(*self, participant, writerPropertyOf(*property)) ? self : abandon(self);
}

int ORX_MonitoringLibraryEntities_enable(ORX_MonitoringLibraryEntities* self) {
    ORX_FAIL_IF(self == ORX_NULL);
    if (self->isParticipantLoaned) {
        return enableWriter(self->eventWriter, "event") && enableWriter(self->loggingWriter, "logging") &&
               enableWriter(self->periodicWriter, "periodic");
    }
    if (DDS_Entity_enable(DDS_DomainParticipant_as_entity(self->participant)) != DDS_RETCODE_OK) {
        return ORX_ERROR(FAILED_TO_ENABLE, "Monitoring Library DomainParticipant");
    }
    return 1;
}

void ORX_MonitoringLibraryEntities_delete(
    ORX_MonitoringLibraryEntities* self, DDS_DomainParticipantFactory* factory) {
    if (self == nullptr)
        return;
    ORX_LEAVE_IF(factory == ORX_NULL);
    if (finalize(*self, factory))
        ORXOsapiHeap_freeStructure(self);
}

ORX_MonitoringWriterEntities* ORX_MonitoringWriterEntities_new(
    DDS_DomainParticipant* participant, ORX_MonitoringWriterEntitiesProperty_t* property) {
    ORX_FAIL_IF(participant == ORX_NULL);
    ORX_FAIL_IF(property == ORX_NULL);
    ORX_MonitoringProperty_t libraryProperty{};
    Entities* self = nullptr;
    if (ORX_MonitoringProperty_t_initialize(&libraryProperty)) {
        libraryProperty.publisher_qos = property->publisher_qos;
        libraryProperty.event.writer_qos = property->event_writer_qos;
        libraryProperty.periodic.writer_qos = property->periodic_writer_qos;
        libraryProperty.logging.writer_qos = property->logging_writer_qos;
        self = ORX_MonitoringLibraryEntities_new_w_participant(participant, &libraryProperty);
    }
    (void)ORX_MonitoringProperty_t_finalize_ex(
        &libraryProperty, DDS_BOOLEAN_TRUE); // the QoS were the caller's
    if (self == nullptr)
        return ORX_ERROR(FAILED_TO_CREATE, "Monitoring Writer entities");
    return &self->parent;
}

int ORX_MonitoringWriterEntities_enable(ORX_MonitoringWriterEntities* self) {
    return ORX_MonitoringLibraryEntities_enable(reinterpret_cast<Entities*>(self));
}

void ORX_MonitoringWriterEntities_delete(ORX_MonitoringWriterEntities* self) {
    if (self == nullptr)
        return;
    auto* entities = reinterpret_cast<Entities*>(self);
    ORX_MonitoringLibraryEntities_delete(
        entities, DDS_DomainParticipant_get_participant_factoryI(entities->participant));
}

void ORX_MonitoringWriterEntitiesProperty_t_finalize(ORX_MonitoringWriterEntitiesProperty_t* self) {
    ORX_LEAVE_IF(self == ORX_NULL);
    *self = {};
}
