/* The collector's side of monitoring: an object that reads many applications, knows them by name and GUID,
 * hands out their samples as if they came straight from their writers, and sends commands to them.
 *
 * Samples. A forwarder has two readers for each topic. One matches the applications' writers; the forwarder
 * takes from it on the middleware's threads. The other, the cache reader, matches nobody: each sample is put
 * into it with its writer's identity (publication handle, sequence number, source time), once the forwarder
 * has learnt from it what it needs. The user reads the cache readers alone, with the operations of
 * DDS_Monitoring_EventDataReader, DDS_Monitoring_PeriodicDataReader and DDS_Monitoring_LoggingDataReader, a
 * listener, a condition. When a registry of an application is read there, the application is known already;
 * when an application's writer goes, a deletion of the application comes with that writer's handle.
 *
 * Take what you are given. A cache reader keeps all that is not taken, whatever the QoS says, up to the
 * middleware's own bound of 65536 samples or 64 MiB; what comes then is dropped, counted
 * (DDS_DataReader_get_countersI, dropped_cache_full) and reported in the log.
 *
 * Applications are kept as long as the participant that publishes for them, and none is evicted: how many
 * there are, and so the memory of the registry, is up to those who may write the topics in the domain. A
 * sample that cannot be applied or kept costs the others that were taken together with it, which may be other
 * applications'; the log tells.
 *
 * Threads: every operation may be called from any thread, but new and delete, which the owner calls while
 * nobody else is inside. Commands block their caller alone, for command_manager_timeout and about a second
 * more at most; never call one while the application registry is locked, nor from a listener of a cache
 * reader. Ownership: as told beside each. Errors: null, DDS_BOOLEAN_FALSE, or for commands the exception; a
 * line of the log tells why. */
#ifndef ORXMONITORING2D_FORWARDER_H
#define ORXMONITORING2D_FORWARDER_H

#include <stddef.h>

#include "orxmonitoring2d/dds_logging.h"
#include "orxmonitoring2d/orx_remote_administration.h"
#include "zddsc/entities.h"

ZDDS_BEGIN_C

/* ---- What is read ---- */

/* The cache readers. Owned by the forwarder, enabled with it; the user neither deletes nor disables them. */
struct ORX_MonitoringForwarderEntities {
    DDS_DataReader* event_reader;
    DDS_DataReader* periodic_reader;
    DDS_DataReader* logging_reader; /* null when the property asked for none */
};
typedef struct ORX_MonitoringForwarderEntities ORX_MonitoringForwarderEntities;

struct ORX_MonitoringForwarder {
    DDS_DomainParticipantFactory* factory;     /* borrowed */
    ORX_MonitoringForwarderEntities* entities; /* never null in a forwarder that stands */
};
typedef struct ORX_MonitoringForwarder ORX_MonitoringForwarder;

/* An application that publishes. Owned by the forwarder; read it with the application registry locked, and
 * not beyond that. */
struct ORX_MonitoringForwarderApplicationResource {
    DDS_Monitoring_LoggingConfig loggingConfig; /* as it was reported last, or applied from here */
    char* fullyQualifiedName;                   /* "/applications/<name>" */
};
typedef struct ORX_MonitoringForwarderApplicationResource ORX_MonitoringForwarderApplicationResource;

/* Borrowed pointers. */
typedef ORX_MonitoringForwarderApplicationResource* ORX_MonitoringForwarderApplicationResourcePtr;
DDS_SEQUENCE_DECLARE(ORX_SCHEMA_EXPORT, ORX_MonitoringForwarderApplicationResourcePtrSeq,
    ORX_MonitoringForwarderApplicationResourcePtr);

/* ---- The forwarder itself ---- */

/* All QoS are borrowed for the call that takes the property; null takes the built-in monitoring profile.
 * Whatever they say, event and logging readers are reliable, periodic readers best effort, and all are
 * volatile and keep all. */
struct ORX_MonitoringForwarderProperty_t {
    DDS_DomainId_t domain_id;                  /* of a participant of its own */
    DDS_DomainParticipantQos* participant_qos; /* of a participant of its own */
    DDS_SubscriberQos* subscriber_qos;
    DDS_DataReaderQos* event_reader_qos;
    DDS_DataReaderQos* periodic_reader_qos;
    DDS_DataReaderQos* logging_reader_qos;
    DDS_Duration_t command_manager_timeout; /* for all replies to a command; also for commands at the end */
    DDS_Boolean create_logging_data_reader; /* false: the logging topic is not read at all */
};
typedef struct ORX_MonitoringForwarderProperty_t ORX_MonitoringForwarderProperty_t;

/* The initial value: start from it. */
#define ORX_MONITORING_FORWARDER_PROPERTY_DEFAULT                                                            \
    { 2, NULL, NULL, NULL, NULL, NULL, {10, 0U}, DDS_BOOLEAN_TRUE }
/* Back to the initial value; it owns nothing. */
ORX_SCHEMA_EXPORT void ORX_MonitoringForwarderProperty_t_finalize(ORX_MonitoringForwarderProperty_t* self);

/* With a participant of its own, enabled. The built-in service-request channel is turned on if the QoS has it
 * off. Samples may have arrived by the time it returns. Null on failure, with nothing left behind. */
ORX_SCHEMA_EXPORT ORX_MonitoringForwarder* ORX_MonitoringForwarder_new(
    DDS_DomainParticipantFactory* factory, const ORX_MonitoringForwarderProperty_t* property);
/* On a lent participant, which is enabled, has the service-request channel on (else the forwarder is not
 * made), outlives the forwarder and is not changed. */
ORX_SCHEMA_EXPORT ORX_MonitoringForwarder* ORX_MonitoringForwarder_new_w_participant(
    DDS_DomainParticipant* participant, const ORX_MonitoringForwarderProperty_t* property);
/* Commands that wait for replies end with "Timedout"; none begins any more. Not from a callback of one of its
 * readers, and not with the registry locked. Null is a no-op. Loans and conditions of the cache readers are
 * returned before: otherwise the forwarder stays allocated, reads nothing and sends nothing any more, with a
 * line of the log, and delete may be called again. */
ORX_SCHEMA_EXPORT void ORX_MonitoringForwarder_delete(ORX_MonitoringForwarder* self);

/* Ends the commands that wait for replies, with "Timedout", and returns when their callers have left; whoever
 * comes later gets "Timedout" at once, and the forwarder sends nothing any more. Data and look-ups go on. For
 * an owner whose users may be about to send: it ends the commands, sees its users off, and deletes. False, to
 * be called again, when a command was not given back within command_manager_timeout. Not with the registry
 * locked. */
ORX_SCHEMA_EXPORT DDS_Boolean ORX_MonitoringForwarder_end_commandsI(ORX_MonitoringForwarder* self);

/* ---- The applications ---- */

/* The registry's mutex is reentrant; the thread that locked it unlocks it, as often. The data of all
 * applications waits meanwhile: hold it briefly. */
ORX_SCHEMA_EXPORT DDS_Boolean ORX_MonitoringForwarder_lock_application_registry(
    ORX_MonitoringForwarder* self);
ORX_SCHEMA_EXPORT DDS_Boolean ORX_MonitoringForwarder_unlock_application_registry(
    ORX_MonitoringForwarder* self);
/* Fills an initialized sequence with the applications that a path expression addresses. Behind
 * "/applications/" stands a star for all of them, or a GUID in the form that DDS_Monitoring_GUID_toStr
 * writes. To the expression an application is a lone node whose name is the fully qualified one, so that a
 * bare application name finds nothing here. Lock the registry before the call, for as long as the pointers
 * are used. */
ORX_SCHEMA_EXPORT DDS_Boolean ORX_MonitoringForwarder_find_matching_applications(
    ORX_MonitoringForwarder* self, ORX_MonitoringForwarderApplicationResourcePtrSeq* app_seq,
    const char* resource_name_expr);

/* ---- Commands ----
 *
 * A command goes once to each participant that publishes for an application which one of the selectors
 * concerns, and waits for all the replies. Arguments are borrowed for the call. The result stands in
 * exception, an initialized value:
 *   ret_code 0  every application that answered with success or with "nothing matched", at least one success;
 *   ret_code 2  some application failed (error_message is its own), the command could not be sent, or not all
 *               replies came in time ("Timedout");
 *   ret_code 3  nothing matched, here or in any of the applications.
 * With a null argument nothing happens but a line of the log. */

/* The applications send their resource registries, and events of their resources, anew. */
ORX_SCHEMA_EXPORT void ORX_MonitoringForwarder_request_resource_registry(ORX_MonitoringForwarder* self,
    DDS_Monitoring_MonitoringCommandError* exception,
    DDS_Monitoring_ResourcePathExpressionSequence* applications);
/* set replaces what the addressed resources publish; update adds to it and takes away. */
ORX_SCHEMA_EXPORT void ORX_MonitoringForwarder_set_metric_subscription_state(ORX_MonitoringForwarder* self,
    DDS_Monitoring_MonitoringCommandError* exception, DDS_Monitoring_MetricSelectorSequence* metrics);
ORX_SCHEMA_EXPORT void ORX_MonitoringForwarder_update_metric_subscription_state(ORX_MonitoringForwarder* self,
    DDS_Monitoring_MonitoringCommandError* exception, DDS_Monitoring_MetricSelectorSequence* metrics);
/* On success the logging configurations of the applications in the registry are changed at once, too. */
ORX_SCHEMA_EXPORT void ORX_MonitoringForwarder_set_logging_forwarding_level(ORX_MonitoringForwarder* self,
    DDS_Monitoring_MonitoringCommandError* exception, DDS_Monitoring_LoggingGroupSequence* logging_groups);
ORX_SCHEMA_EXPORT void ORX_MonitoringForwarder_set_logging_collection_level(ORX_MonitoringForwarder* self,
    DDS_Monitoring_MonitoringCommandError* exception, DDS_Monitoring_LoggingGroupSequence* logging_groups);

/* What an application collects when asked for a verbosity: error for anything up to error, informational for
 * notice and informational, the others as they are. */
ORX_SCHEMA_EXPORT DDS_Monitoring_SyslogVerbosity
ORX_MonitoringForwarder_collection_verbosity_requested_to_assigned(DDS_Monitoring_SyslogVerbosity verbosity);

/* Writes "[timestamp] FACILITY (sn:N) SEVERITY [activity context]rest" and a line end into the buffer, always
 * terminated. The text of the message may open with a timestamp of its own in brackets, which is then kept;
 * otherwise the message's timestamp is printed in UTC, to the microsecond. Inner line ends become blanks, and
 * GUIDs become groups of hexadecimal digits joined by dots, each with the prefix that the text abbreviated. A
 * text that cannot be read so, or that does not fit, is copied as it is, cut at the buffer's end, with a
 * warning in the log.
 *
 * size: bytes of the buffer with the terminator, 1 to 4294967295. With a null argument, or a size outside,
 * nothing is written. Of a text, the first 1023 bytes are used. Other control characters stay: who prints to
 * a terminal escapes them. Any thread; nothing is shared, nothing is allocated. */
ORX_SCHEMA_EXPORT void ORX_MonitoringForwarder_log_message_to_string(
    const DDS_Monitoring_LoggingMessage* message, char* buffer, size_t size);

ZDDS_END_C

#endif
