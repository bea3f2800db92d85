/* The DDS entities through which the library publishes: a participant, and a publisher, a topic and a writer
 * for each of the three topics. Created disabled, enabled once the library stands.
 *
 * Threads: the owner's, one at a time. Ownership: a participant of its own is deleted with the object; a lent
 * one is neither changed nor deleted. QoS in the properties are borrowed for the call. Errors: null or 0; a
 * failed construction leaves nothing behind. */
#ifndef ORX_LIBRARY_ENTITIES_H
#define ORX_LIBRARY_ENTITIES_H

#include "zddsc/entities.h"
#include "zddsc/monitoring_property.h"

ZDDS_BEGIN_C

/* The part that publishing code sees. */
struct ORX_MonitoringWriterEntities {
    DDS_DataWriter* event_writer;
    DDS_DataWriter* periodic_writer;
    DDS_DataWriter* logging_writer;
};
typedef struct ORX_MonitoringWriterEntities ORX_MonitoringWriterEntities;

struct ORX_MonitoringLibraryEntities {
    struct ORX_MonitoringWriterEntities parent; /* first: the two pointers are interchangeable */
    int isParticipantLoaned;
    DDS_DomainParticipant* participant;
    DDS_Publisher* eventPublisher;
    DDS_Publisher* periodicPublisher;
    DDS_Publisher* loggingPublisher;
    DDS_DataWriter* eventWriter;
    DDS_DataWriter* periodicWriter;
    DDS_DataWriter* loggingWriter;
    DDS_Topic* eventTopic;
    DDS_Topic* periodicTopic;
    DDS_Topic* loggingTopic;
};
typedef struct ORX_MonitoringLibraryEntities ORX_MonitoringLibraryEntities;

struct ORX_MonitoringWriterEntitiesProperty_t { /* all borrowed; null is the built-in profile */
    DDS_PublisherQos* publisher_qos;
    DDS_DataWriterQos* event_writer_qos;
    DDS_DataWriterQos* periodic_writer_qos;
    DDS_DataWriterQos* logging_writer_qos;
};
typedef struct ORX_MonitoringWriterEntitiesProperty_t ORX_MonitoringWriterEntitiesProperty_t;

/* With a participant of its own, in property's domain. The service-request channel is turned on if the QoS
 * has it off, and a non-empty collector_initial_peers replaces the QoS's peers. */
ORX_MonitoringLibraryEntities* ORX_MonitoringLibraryEntities_new(
    DDS_DomainParticipantFactory* factory, ORX_MonitoringProperty_t* property);
/* On a lent participant, which must have the service-request channel on. */
ORX_MonitoringLibraryEntities* ORX_MonitoringLibraryEntities_new_w_participant(
    DDS_DomainParticipant* participant, ORX_MonitoringProperty_t* property);
/* 1, or 0 at the first failure. Of a lent participant the writers alone. */
int ORX_MonitoringLibraryEntities_enable(ORX_MonitoringLibraryEntities* self);
/* When an entity cannot be deleted, what is left stays, the object included: DDS still refers to it. Null is
 * a no-op. */
void ORX_MonitoringLibraryEntities_delete(
    ORX_MonitoringLibraryEntities* self, DDS_DomainParticipantFactory* factory);

ORX_MonitoringWriterEntities* ORX_MonitoringWriterEntities_new(
    DDS_DomainParticipant* participant, ORX_MonitoringWriterEntitiesProperty_t* property);
int ORX_MonitoringWriterEntities_enable(ORX_MonitoringWriterEntities* self);
void ORX_MonitoringWriterEntities_delete(ORX_MonitoringWriterEntities* self);
/* Forgets the four pointers, which it never owned. */
void ORX_MonitoringWriterEntitiesProperty_t_finalize(ORX_MonitoringWriterEntitiesProperty_t* self);

ZDDS_END_C

#endif
