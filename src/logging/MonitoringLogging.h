/* Logging collector: publishes the logging topic. A device in the middleware's logger, and postMessage, turn
 * messages into tasks; the worker batches them into update samples, writes those, and keeps the last messages
 * in a ring for a snapshot.
 *
 * Threads: device, postMessage and postSnapshot on any thread; `update`, `snapshot`, `snapshotCircularIndex`
 * and `sample` are the worker's (thread "oMo#####Logging" in a library); the rest is the owner's. Who logs
 * never waits for DDS: it takes the logging mutex of its index, copies the message into that queue's arena
 * and links a task. After warm-up no message calls the heap.
 * Locks: the logging mutex of an index is a leaf. What the worker logs itself is not collected, and what is
 * logged inside the device reaches no device, so no message makes another one.
 * Ownership: a message is copied when it is posted; writer and mutexes are borrowed.
 * Errors: non-zero is success. A failure is a line of the log, and costs the message that it concerns. */
#ifndef ORX_MONITORING_LOGGING_H
#define ORX_MONITORING_LOGGING_H

#include "orxmonitoring2d/dds_logging.h"
#include "src/taskExecutor/TaskExecutor.h"
#include "zddsc/entities.h"
#include "zddsc/monitoring.h"

ZDDS_BEGIN_C

typedef enum ORX_MonitoringLoggingActivityKind {
    ORX_MONITORING_LOGGING_DISABLING_ACTIVITY_KIND = 0, /* the device does nothing */
    ORX_MONITORING_LOGGING_OTHER_ACTIVITY_KIND = 1
} ORX_MonitoringLoggingActivityKind;

struct ORX_MonitoringLogging {
    struct ORX_MonitoringTaskExecutor* executor; /* owned */
    DDS_DataWriter* writer;                      /* borrowed */
    ZDDS_Config_LoggerDevice* loggerDevice;      /* owned; null once it is detached */
    DDS_Monitoring_Logging* sample;            /* owned; refers to the sequences below during a write alone */
    DDS_Monitoring_LogReferenceSeq update;     /* the messages of the update in the making, not copied */
    DDS_Monitoring_LoggingMessageSeq snapshot; /* the ring: copies, in the order of the slots */
    struct REDAInlineMemory* memoryManager;    /* of the two sequences and of the copies */
    DDS_Long snapshotCircularIndex;            /* next slot of the ring */
    /* A private copy. forwarding_level is atomic, a member at a time, relaxed: producers read it without a
     * lock, and a message at the moment of a change may meet either level. Written under the metric mutex of
     * index 0 (LoggingConfiguration). */
    ORX_MonitoringLoggingProperty_t properties;
    ORX_MonitoringLoggingActivityKind activityKind; /* atomic: read without a lock */
    /* Next number of user, security event, service and all others. Atomic, relaxed: producers of different
     * queues count together, and a number is given once. */
    ORX_UINT64 sequenceNumber[4];
};
typedef struct ORX_MonitoringLogging ORX_MonitoringLogging;

/* The collector, with its worker started and its device in slot 5 of the logger, or null. Property and GUID
 * are copied. The logger must be initialized. */
ORX_MonitoringLogging* ORX_MonitoringLogging_new(const char* threadName,
    const ORX_MonitoringLoggingProperty_t* loggingProperty, DDS_DataWriter* loggingWriter,
    const ORX_MonitoringGlobalsConcurrency* concurrencyModel, const DDS_Octet rootResourceGuid[16]);
int ORX_MonitoringLogging_initialize(ORX_MonitoringLogging* self, const char* threadName,
    const ORX_MonitoringLoggingProperty_t* loggingProperty, DDS_DataWriter* loggingWriter,
    const ORX_MonitoringGlobalsConcurrency* concurrencyModel, const DDS_Octet rootResourceGuid[16]);
/* Detaches the device: when it returns no thread is inside, and none will be. Succeeds when there is none.
 * The caller holds no logging mutex, which a thread inside may be waiting for. */
int ORX_MonitoringLogging_prefinalize(ORX_MonitoringLogging* self);
/* Stops the worker; what is queued is dropped. Zero, with everything left in place, when the worker does not
 * end. */
int ORX_MonitoringLogging_finalize(ORX_MonitoringLogging* self);
/* prefinalize, unless that was done, and finalize. Non-zero once everything is freed, also for null;
 * otherwise the object stays allocated, and what it borrowed has to stay too. */
int ORX_MonitoringLogging_delete(ORX_MonitoringLogging* self);

/* The device's function. Takes the logging mutex of the thread's index. */
void ORX_MonitoringLogging_loggerDeviceWrite(
    ZDDS_Config_LoggerDevice* device, const ZDDS_Config_LogMessage* msg);
/* For messages that do not come through the device. The caller holds the logging mutex of concurrencyIndex.
 * structured_data: null, or a sequence of DDS_Monitoring_StructuredDataMapEntry; category: null for none. A
 * message below the forwarding level succeeds. */
int ORX_MonitoringLogging_postMessage(ORX_MonitoringLogging* self, const char* text,
    ZDDS_Config_SyslogLevel severity, DDS_UnsignedLong message_id, const DDS_Duration_t* timestamp,
    ZDDS_Config_LogFacility facility, const void* structured_data, const char* category,
    DDS_UnsignedLong concurrencyIndex);
/* Asks for one sample with the ring's messages. Takes the logging mutex of index 0. */
int ORX_MonitoringLogging_postSnapshot(const ORX_MonitoringLogging* self);

/* Non-zero if the message is to be forwarded. */
int ORX_MonitoringLogging_shouldLogMessage(
    const ORX_MonitoringLogging* self, ZDDS_Config_LogFacility facility, ZDDS_Config_SyslogLevel level);
/* What the text's activity context says behind "|LC:", and "Security" for a security message; "N/A" for
 * neither. Fails when it does not fit. */
int ORX_MonitoringLogging_getCategoryFromLogMessage(
    char* buffer, ORX_UINT32 bufferSize, const ZDDS_Config_LogMessage* msg);
/* In force for the next message. The caller holds the metric mutex of index 0. */
int ORX_MonitoringLogging_setForwardingLevel(
    ORX_MonitoringLogging* self, const ORX_MonitoringLoggingVerbositySetting_t* level);

ZDDS_END_C

#endif
