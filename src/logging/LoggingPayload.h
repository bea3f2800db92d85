/* Payload of a logging task: a message as it will be published, or the request of a snapshot.
 *
 * Threads: made by a producer and deleted by the worker, both under the mutex of the queue whose arena it
 * lies in; read by the worker in between. */
#ifndef ORX_LOGGING_PAYLOAD_H
#define ORX_LOGGING_PAYLOAD_H

#include "src/logging/MonitoringLogging.h"

ZDDS_BEGIN_C

struct ORX_MonitoringLoggingPayload {
    DDS_Monitoring_LogReference base; /* null for a snapshot */
    int isSnapshot;
};
typedef struct ORX_MonitoringLoggingPayload ORX_MonitoringLoggingPayload;

/* A copy of everything, or null with nothing left reserved. Counts the facility's sequence number.
 * structuredData may be null: then the whole message is one buffer. */
ORX_MonitoringLoggingPayload* ORX_MonitoringLoggingPayload_createUpdate(ORX_MonitoringLogging* logging,
    struct REDAInlineMemory** memoryManager, const char* text, ZDDS_Config_SyslogLevel severity,
    DDS_UnsignedLong message_id, const DDS_Duration_t* timestamp, ZDDS_Config_LogFacility facility,
    const DDS_Monitoring_StructuredDataMapEntrySeq* structuredData, const char* categoryString);
ORX_MonitoringLoggingPayload* ORX_MonitoringLoggingPayload_createSnapshot(
    struct REDAInlineMemory** memoryManager);
/* The task's delete-payload function. */
int ORX_MonitoringLoggingPayload_delete(void* payload);

ZDDS_END_C

#endif
