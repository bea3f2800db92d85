/* How every monitoring entity is made: type registration, the entities of one topic as a unit, and the QoS
 * that they must have whatever was configured. Used for the library's writers and for a collector's readers.
 *
 * Threads: as those of the DDS operations behind. Ownership: what is created belongs to the participant; the
 * delete functions take it away again. Errors: 1 on success, 0 on failure with nothing created and outputs
 * null. */
#ifndef ORX_ENTITIES_HELPER_H
#define ORX_ENTITIES_HELPER_H

#include "zddsc/entities.h"

ZDDS_BEGIN_C

#define ORX_MONITORING_EVENT_TOPIC_NAME "DCPSEventStatusMonitoring"
#define ORX_MONITORING_PERIODIC_TOPIC_NAME "DCPSPeriodicStatusMonitoring"
#define ORX_MONITORING_LOGGING_TOPIC_NAME "DCPSLoggingStatusMonitoring"
#define ORX_MONITORING_EVENT_TYPE_NAME "dds::monitoring::Event"
#define ORX_MONITORING_PERIODIC_TYPE_NAME "dds::monitoring::Periodic"
#define ORX_MONITORING_LOGGING_TYPE_NAME "dds::monitoring::Logging"

/* Registers the type, which must be one of the three above, and creates the topic. */
int MonitoringEntitiesHelper_assertMonitoringTopic(
    DDS_Topic** topic, DDS_DomainParticipant* participant, const char* topicName, const char* typeName);
int MonitoringEntitiesHelper_deleteMonitoringTopic(DDS_Topic* topic, DDS_DomainParticipant* participant);

int MonitoringEntitiesHelper_assertPublisherEntities(DDS_Publisher** publisher, DDS_Topic** topic,
    DDS_DataWriter** writer, DDS_DomainParticipant* participant, const DDS_PublisherQos* publisherQos,
    const DDS_DataWriterQos* writerQos, const char* topicName, const char* typeName);
/* Publisher and topic may both be null, which does nothing. */
int MonitoringEntitiesHelper_deletePublisherEntities(
    DDS_Publisher* publisher, DDS_Topic* topic, DDS_DomainParticipant* participant);
/* The same, and sets to null what has gone, so that it may be called again after a failure. */
int MonitoringEntitiesHelper_clearPublisherEntitiesI(
    DDS_Publisher** place, DDS_Topic** topicPlace, DDS_DomainParticipant* participant);

/* With a cacheReader: a second reader of the topic in the same subscriber, isolated, so that it matches no
 * writer and is filled by hand, and without a bound on its samples. */
int MonitoringEntitiesHelper_assertSubscriberEntities(DDS_Subscriber** subscriber, DDS_Topic** topic,
    DDS_DataReader** realReader, DDS_DataReader** cacheReader, DDS_DomainParticipant* participant,
    const DDS_SubscriberQos* subscriberQos, const DDS_DataReaderQos* readerQos, const char* topicName,
    const char* typeName);
int MonitoringEntitiesHelper_deleteSubscriberEntities(
    DDS_Subscriber* subscriber, DDS_Topic* topic, DDS_DomainParticipant* participant);
int MonitoringEntitiesHelper_clearSubscriberEntitiesI(
    DDS_Subscriber** place, DDS_Topic** topicPlace, DDS_DomainParticipant* participant);

/* The QoS of a monitoring endpoint into an initialized value: the built-in profile's when the input is null,
 * else the input's, with forced values. What the input had otherwise is reported as a warning. */
int MonitoringEntitiesHelper_getMonitoringWriterQos(DDS_DataWriterQos* outputWriterQos,
    DDS_DomainParticipantFactory* factory, const DDS_DataWriterQos* inputWriterQos, const char* topicName);
int MonitoringEntitiesHelper_getMonitoringReaderQos(DDS_DataReaderQos* outputReaderQos,
    DDS_DomainParticipantFactory* factory, const DDS_DataReaderQos* inputReaderQos, const char* topicName);

ZDDS_END_C

#endif
