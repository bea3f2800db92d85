/* The DDS entities through which a collector reads many applications: a participant, and for each topic a
 * subscriber with two readers. The real reader, called the built-in reader, matches the applications'
 * writers; the cache reader matches nobody and holds what is put into it. Created disabled.
 *
 * Threads: the life of the object is the owner's, one call at a time; the cache operations are called by
 * listeners of the built-in readers, and by any other thread beside them. Ownership: a participant of its own
 * is deleted with the object; a lent one is neither changed nor deleted. QoS in the property are borrowed for
 * the call. Errors: null or 0, and a line of the log; a failed construction leaves nothing behind. */
#ifndef ORX_FORWARDER_ENTITIES_H
#define ORX_FORWARDER_ENTITIES_H

#include "orxmonitoring2d/forwarder.h"

ZDDS_BEGIN_C

struct ORX_MonitoringForwarderEntitiesImpl {
    ORX_MonitoringForwarderEntities parent; /* first: the two pointers are interchangeable */
    DDS_DomainParticipant* participant;
    DDS_Subscriber* eventSubscriber; /* each holds both readers of its topic */
    DDS_Subscriber* periodicSubscriber;
    DDS_Subscriber* loggingSubscriber;
    DDS_DataReader* builtinEventReader;
    DDS_DataReader* builtinPeriodicReader;
    DDS_DataReader* builtinLoggingReader;
    DDS_Topic* periodicTopic;
    DDS_Topic* eventTopic;
    DDS_Topic* loggingTopic;
    int isLoanedParticipant;
    /* What setListener was given; written before the readers are enabled. */
    DDS_DataReaderListener builtinEventListener;
    DDS_DataReaderListener builtinPeriodicListener;
    DDS_DataReaderListener builtinLoggingListener;
};
typedef struct ORX_MonitoringForwarderEntitiesImpl ORX_MonitoringForwarderEntitiesImpl;

/* On a participant of its own in the property's domain when participant is null. A lent participant must have
 * the service-request channel on. */
ORX_MonitoringForwarderEntities* ORX_MonitoringForwarderEntities_new(DDS_DomainParticipantFactory* factory,
    DDS_DomainParticipant* participant, const ORX_MonitoringForwarderProperty_t* property);
/* 1, or 0 at the first failure. Of a lent participant the readers alone, the real ones last. */
int ORX_MonitoringForwarderEntities_enable(ORX_MonitoringForwarderEntities* self);
/* Not in a listener of its own. From then on no listener is called. 0 when an entity cannot be deleted, such
 * as a cache reader with a loan that was not returned: what is left stays, the object included, and may be
 * deleted again. Null is a no-op. */
int ORX_MonitoringForwarderEntities_delete(
    ORX_MonitoringForwarderEntities* self, DDS_DomainParticipantFactory* factory);

/* The listener is copied. */
int ORX_MonitoringForwarderEntities_setListener(ORX_MonitoringForwarderEntities* self,
    DDS_DataReader* builtinReader, const DDS_DataReaderListener* listener, DDS_StatusMask mask);
/* Null, without a line of the log, for a reader that is none of the built-in ones. */
DDS_DataReader* ORX_MonitoringForwarderEntities_getRelatedCacheDataReader(
    ORX_MonitoringForwarderEntities* self, DDS_DataReader* builtinReader);

/* Makes a sample arrive at the cache reader as if its writer had sent it there. A sample without data tells
 * that the writer, or the value, has gone (instance states 4 and 2); with any other state it is dropped. The
 * writer must be known to the cache reader. */
int ORX_MonitoringForwarderEntities_addSampleToCacheReader(ORX_MonitoringForwarderEntities* self,
    DDS_DataReader* builtinReader, const void* data, const DDS_SampleInfo* info);
/* Makes a writer that matches the built-in reader known to the cache reader. A queue that cannot be made is
 * reported in the log alone: what the writer sends will then not reach the cache reader. */
int ORX_MonitoringForwarderEntities_assertWriterToCacheReader(ORX_MonitoringForwarderEntities* self,
    DDS_DataReader* builtinReader, const DDS_InstanceHandle_t* writerHandle);
/* A writer that was not known is fine. */
int ORX_MonitoringForwarderEntities_deleteWriterFromCacheReader(ORX_MonitoringForwarderEntities* self,
    DDS_DataReader* builtinReader, const DDS_InstanceHandle_t* writerHandle);

ZDDS_END_C

#endif
