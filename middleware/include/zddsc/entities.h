/* Entities: factory, participants, topics, publishers, writers, subscribers, readers.
 *
 * Ownership: a factory or parent owns what it created; X_delete_Y frees it. Every entity begins with its
 * DDS_Entity, so a pointer to it is a pointer to its entity; the as_entity functions say so.
 * Threads: every function may be called from any thread, unless it says otherwise. Listener callbacks come
 * from a thread of the reader's own, one at a time. Each match and each unmatch is told by itself, as a
 * change of 1 or -1, a match before the data of its writer and an unmatch after it. A callback may call
 * anything but the deletion of its own entity, and no callback holds up another reader. Samples of
 * asynchronous writers leave on one thread of their participant. In a forked child entities of the parent
 * answer DDS_RETCODE_ILLEGAL_OPERATION. Errors: null or a DDS_ReturnCode_t; a line of the log tells why. */
#ifndef ZDDSC_ENTITIES_H
#define ZDDSC_ENTITIES_H

#include "zddsc/qos.h"
#include "zddsc/status.h"
#include "zddsc/type_plugin.h"
#include "zddscore/event_generator.h"

ZDDS_BEGIN_C

typedef struct DDS_EntityImpl DDS_Entity;
typedef struct DDS_DomainParticipantFactoryImpl DDS_DomainParticipantFactory;
typedef struct DDS_DomainParticipantImpl DDS_DomainParticipant;
typedef struct DDS_TopicImpl DDS_Topic;
typedef struct DDS_TopicImpl DDS_TopicDescription;
typedef struct DDS_PublisherImpl DDS_Publisher;
typedef struct DDS_SubscriberImpl DDS_Subscriber;
typedef struct DDS_DataWriterImpl DDS_DataWriter;
typedef struct DDS_DataReaderImpl DDS_DataReader;
typedef struct DDS_StatusConditionImpl DDS_StatusCondition;

/* ---- Any entity ---- */

typedef enum DDS_EntityKind {
    DDS_UNKNOWN_ENTITY_KIND = 0,
    DDS_PARTICIPANT_ENTITY_KIND = 1,
    DDS_PUBLISHER_ENTITY_KIND = 2,
    DDS_SUBSCRIBER_ENTITY_KIND = 3,
    DDS_TOPIC_ENTITY_KIND = 4,
    DDS_DATAREADER_ENTITY_KIND = 5,
    DDS_DATAWRITER_ENTITY_KIND = 6
} DDS_EntityKind;

/* Idempotent. Enables the children of a factory whose QoS says so. A child of a disabled parent fails with
 * DDS_RETCODE_PRECONDITION_NOT_MET. */
ZDDSC_EXPORT DDS_ReturnCode_t DDS_Entity_enable(DDS_Entity* self);
ZDDSC_EXPORT DDS_Boolean DDS_Entity_is_enabled(const DDS_Entity* self);
ZDDSC_EXPORT DDS_EntityKind DDS_Entity_get_entity_kind(const DDS_Entity* self);
/* Final from creation on, also while disabled: what this has answered once stays. A writer or reader that was
 * asked while disabled keeps a GUID made from its participant's prefix, which differs from the one that its
 * peers see. */
ZDDSC_EXPORT DDS_ReturnCode_t DDS_Entity_get_guid(const DDS_Entity* self, DDS_GUID_t* guid);
ZDDSC_EXPORT DDS_InstanceHandle_t DDS_Entity_get_instance_handle(const DDS_Entity* self);
/* The entity lock: recursive, held by callers for short reads of the entity's state. */
ZDDSC_EXPORT DDS_ReturnCode_t DDS_Entity_lock(const DDS_Entity* self);
ZDDSC_EXPORT DDS_ReturnCode_t DDS_Entity_unlock(const DDS_Entity* self);
/* Owned by the entity; one for its life. */
ZDDSC_EXPORT DDS_StatusCondition* DDS_Entity_get_statuscondition(DDS_Entity* self);
ZDDSC_EXPORT DDS_StatusMask DDS_Entity_get_status_changes(DDS_Entity* self);

/* A stand-in for an entity of another DDS implementation: it has a lock, a kind and a GUID, and, for a
 * participant, transports, and nothing else. transportMask: bit 0 UDPv4, bit 1 UDPv6. Null on failure. */
ZDDSC_EXPORT DDS_Entity* DDS_Entity_create_observedI(
    DDS_EntityKind kind, const DDS_GUID_t* guid, DDS_UnsignedLong transportMask);
ZDDSC_EXPORT void DDS_Entity_delete_observedI(DDS_Entity* self);

/* ---- Factory ---- */

/* The one factory of the process; made on the first call. */
ZDDSC_EXPORT DDS_DomainParticipantFactory* DDS_DomainParticipantFactory_get_instance(void);
/* Frees what the factory keeps; it may be used again. DDS_RETCODE_PRECONDITION_NOT_MET while it has
 * participants. */
ZDDSC_EXPORT DDS_ReturnCode_t DDS_DomainParticipantFactory_finalize_instance(void);
/* A participant and, unless the factory says otherwise, enabled. `listener` is null and `mask` 0. */
ZDDSC_EXPORT DDS_DomainParticipant* DDS_DomainParticipantFactory_create_participant(
    DDS_DomainParticipantFactory* self, DDS_DomainId_t domainId, const DDS_DomainParticipantQos* qos,
    const void* listener, DDS_StatusMask mask);
ZDDSC_EXPORT DDS_DomainParticipant* DDS_DomainParticipantFactory_create_participant_disabled(
    DDS_DomainParticipantFactory* self, DDS_DomainId_t domainId, const DDS_DomainParticipantQos* qos,
    const void* listener, DDS_StatusMask mask);
/* DDS_RETCODE_PRECONDITION_NOT_MET while it has children. */
ZDDSC_EXPORT DDS_ReturnCode_t DDS_DomainParticipantFactory_delete_participant(
    DDS_DomainParticipantFactory* self, DDS_DomainParticipant* participant);
/* QoS of a profile into an initialized value. DDS_RETCODE_BAD_PARAMETER for a profile that does not exist. */
ZDDSC_EXPORT DDS_ReturnCode_t DDS_DomainParticipantFactory_get_participant_qos_from_profile(
    DDS_DomainParticipantFactory* self, DDS_DomainParticipantQos* qos, const char* library,
    const char* profile);
ZDDSC_EXPORT DDS_ReturnCode_t DDS_DomainParticipantFactory_get_publisher_qos_from_profile(
    DDS_DomainParticipantFactory* self, DDS_PublisherQos* qos, const char* library, const char* profile);
ZDDSC_EXPORT DDS_ReturnCode_t DDS_DomainParticipantFactory_get_subscriber_qos_from_profile(
    DDS_DomainParticipantFactory* self, DDS_SubscriberQos* qos, const char* library, const char* profile);
ZDDSC_EXPORT DDS_ReturnCode_t DDS_DomainParticipantFactory_get_datawriter_qos_from_profile_w_topic_name(
    DDS_DomainParticipantFactory* self, DDS_DataWriterQos* qos, const char* library, const char* profile,
    const char* topicName);
ZDDSC_EXPORT DDS_ReturnCode_t DDS_DomainParticipantFactory_get_datareader_qos_from_profile_w_topic_name(
    DDS_DomainParticipantFactory* self, DDS_DataReaderQos* qos, const char* library, const char* profile,
    const char* topicName);
/* The factory of workers for event generators; owned by the participant factory. `worker` is null. */
ZDDSC_EXPORT REDAWorkerFactory* DDS_DomainParticipantFactory_get_worker_factoryI(
    DDS_DomainParticipantFactory* self, void* worker);

/* ---- Participant ---- */

ZDDSC_EXPORT DDS_Entity* DDS_DomainParticipant_as_entity(DDS_DomainParticipant* self);
ZDDSC_EXPORT DDS_DomainId_t DDS_DomainParticipant_get_domain_id(const DDS_DomainParticipant* self);
ZDDSC_EXPORT DDS_DomainParticipantFactory* DDS_DomainParticipant_get_participant_factoryI(
    DDS_DomainParticipant* self);
ZDDSC_EXPORT DDS_ReturnCode_t DDS_DomainParticipant_get_qos(
    DDS_DomainParticipant* self, DDS_DomainParticipantQos* qos);
ZDDSC_EXPORT DDS_ReturnCode_t DDS_DomainParticipant_get_default_topic_qos(
    DDS_DomainParticipant* self, DDS_TopicQos* qos);
/* transport 1 is UDPv4, 2 is UDPv6. Works on observed participants too. False for null. */
ZDDSC_EXPORT int DDS_DomainParticipant_is_transport_enabled(const DDS_DomainParticipant* self, int transport);

ZDDSC_EXPORT DDS_Topic* DDS_DomainParticipant_create_topic(DDS_DomainParticipant* self, const char* topicName,
    const char* typeName, const DDS_TopicQos* qos, const void* listener, DDS_StatusMask mask);
ZDDSC_EXPORT DDS_ReturnCode_t DDS_DomainParticipant_delete_topic(
    DDS_DomainParticipant* self, DDS_Topic* topic);
ZDDSC_EXPORT DDS_Publisher* DDS_DomainParticipant_create_publisher(
    DDS_DomainParticipant* self, const DDS_PublisherQos* qos, const void* listener, DDS_StatusMask mask);
ZDDSC_EXPORT DDS_ReturnCode_t DDS_DomainParticipant_delete_publisher(
    DDS_DomainParticipant* self, DDS_Publisher* publisher);
ZDDSC_EXPORT DDS_Subscriber* DDS_DomainParticipant_create_subscriber(
    DDS_DomainParticipant* self, const DDS_SubscriberQos* qos, const void* listener, DDS_StatusMask mask);
ZDDSC_EXPORT DDS_ReturnCode_t DDS_DomainParticipant_delete_subscriber(
    DDS_DomainParticipant* self, DDS_Subscriber* subscriber);
ZDDSC_EXPORT DDS_ReturnCode_t DDS_DomainParticipant_delete_contained_entities(DDS_DomainParticipant* self);

/* Binds a type name to a plug-in for this participant; the same pair again is fine, another plug-in for a
 * bound name is DDS_RETCODE_PRECONDITION_NOT_MET. The plug-in must outlive the participant. */
ZDDSC_EXPORT DDS_ReturnCode_t DDS_DomainParticipant_register_typeI(
    DDS_DomainParticipant* self, const char* typeName, const DDS_TypePlugin* plugin);
ZDDSC_EXPORT DDS_ReturnCode_t DDS_DomainParticipant_unregister_typeI(
    DDS_DomainParticipant* self, const char* typeName);

/* ---- Topic ---- */

ZDDSC_EXPORT DDS_Entity* DDS_Topic_as_entity(DDS_Topic* self);
ZDDSC_EXPORT DDS_TopicDescription* DDS_Topic_as_topicdescription(DDS_Topic* self);
ZDDSC_EXPORT const char* DDS_TopicDescription_get_name(const DDS_TopicDescription* self);
ZDDSC_EXPORT const char* DDS_TopicDescription_get_type_name(const DDS_TopicDescription* self);

/* ---- Publisher and writer ---- */

ZDDSC_EXPORT DDS_Entity* DDS_Publisher_as_entity(DDS_Publisher* self);
ZDDSC_EXPORT DDS_DomainParticipant* DDS_Publisher_get_participant(DDS_Publisher* self);
ZDDSC_EXPORT DDS_DataWriter* DDS_Publisher_create_datawriter(DDS_Publisher* self, DDS_Topic* topic,
    const DDS_DataWriterQos* qos, const void* listener, DDS_StatusMask mask);
ZDDSC_EXPORT DDS_ReturnCode_t DDS_Publisher_delete_datawriter(DDS_Publisher* self, DDS_DataWriter* writer);
ZDDSC_EXPORT DDS_ReturnCode_t DDS_Publisher_delete_contained_entities(DDS_Publisher* self);

ZDDSC_EXPORT DDS_Entity* DDS_DataWriter_as_entity(DDS_DataWriter* self);
ZDDSC_EXPORT DDS_Topic* DDS_DataWriter_get_topic(DDS_DataWriter* self);
ZDDSC_EXPORT DDS_Publisher* DDS_DataWriter_get_publisher(DDS_DataWriter* self);
ZDDSC_EXPORT const DDS_TypePlugin* DDS_DataWriter_get_type_pluginI(const DDS_DataWriter* self);
/* Into an initialized value. */
ZDDSC_EXPORT DDS_ReturnCode_t DDS_DataWriter_get_qos(DDS_DataWriter* self, DDS_DataWriterQos* qos);
/* Reading a status clears its changes and its trigger. */
ZDDSC_EXPORT DDS_ReturnCode_t DDS_DataWriter_get_publication_matched_status(
    DDS_DataWriter* self, DDS_PublicationMatchedStatus* status);
ZDDSC_EXPORT DDS_ReturnCode_t DDS_DataWriter_get_matched_subscriptions(
    DDS_DataWriter* self, DDS_InstanceHandleSeq* handles);
/* DDS_RETCODE_TIMEOUT when some matched reader has not acknowledged in time. Best-effort writers succeed at
 * once. */
ZDDSC_EXPORT DDS_ReturnCode_t DDS_DataWriter_wait_for_acknowledgments(
    DDS_DataWriter* self, const DDS_Duration_t* maxWait);

/* Serializes on the caller's thread; an asynchronous writer then queues the bytes for the participant's
 * flusher and never waits: what does not fit is dropped, counted, and DDS_RETCODE_OUT_OF_RESOURCES.
 * DDS_RETCODE_NOT_ENABLED on a disabled writer. The handle is DDS_HANDLE_NIL for keyless types. */
ZDDSC_EXPORT DDS_ReturnCode_t DDS_DataWriter_write_untypedI(
    DDS_DataWriter* self, const void* sample, const DDS_InstanceHandle_t* handle);
ZDDSC_EXPORT DDS_ReturnCode_t DDS_DataWriter_write_w_timestamp_untypedI(DDS_DataWriter* self,
    const void* sample, const DDS_InstanceHandle_t* handle, const DDS_Time_t* sourceTimestamp);

/* Extra arguments of a write. A zeroed structure means a plain write. */
typedef struct DDS_WriteParams_t {
    DDS_Time_t source_timestamp; /* sec and nanosec 0: now */
    DDS_InstanceHandle_t handle;
    DDS_GUID_t destination; /* all 0: every matched reader; else that reader alone */
    /* Out: the sample's sequence number; of an asynchronous writer 0 once the engine has refused a sample.
     * In, for a sample that is put into a reader by hand: its sequence number; 0 counts on. */
    DDS_SequenceNumber_t identity;
    /* Of a sample that is put into a reader by hand: what its sample info tells. */
    DDS_GUID_t source_guid;
    DDS_GUID_t related_source_guid;
} DDS_WriteParams_t;
ZDDSC_EXPORT extern const DDS_WriteParams_t DDS_WRITEPARAMS_DEFAULT; /* all 0 */
/* The source time, sequence number, instance and GUIDs of a sample that was read. */
ZDDSC_EXPORT DDS_ReturnCode_t DDS_WriteParams_from_sample_info(
    DDS_WriteParams_t* self, const DDS_SampleInfo* info);
/* It owns nothing. */
ZDDSC_EXPORT void DDS_WriteParams_finalize(DDS_WriteParams_t* self);
ZDDSC_EXPORT DDS_ReturnCode_t DDS_DataWriter_write_w_params_untypedI(
    DDS_DataWriter* self, const void* sample, DDS_WriteParams_t* params);

/* What left and what was lost, since the writer was created. A sample that waits for a slow reader stays
 * queued; one that the engine refuses for another reason is dropped. */
typedef struct DDS_DataWriterCountersI {
    DDS_UnsignedLongLong written; /* handed to the engine */
    DDS_UnsignedLongLong written_bytes;
    DDS_UnsignedLongLong dropped_queue_full; /* did not fit into the queue */
    DDS_UnsignedLongLong dropped_engine;     /* refused by the engine, for a cause not below */
    DDS_UnsignedLongLong dropped_encoding;   /* could not be serialized */
    DDS_UnsignedLongLong dropped_no_memory;  /* memory was out, here or in the engine */
    DDS_UnsignedLongLong dropped_timeout;    /* of a synchronous writer: a slow reader blocked it too long */
    DDS_UnsignedLongLong dropped_deadline;   /* of a built-in writer: held too long for its destination */
    DDS_UnsignedLong queued;                 /* in the queue now */
    DDS_UnsignedLong queued_peak;
    DDS_UnsignedLong queued_bytes; /* of the encodings in the queue now; 0 for a built-in writer */
} DDS_DataWriterCountersI;
ZDDSC_EXPORT void DDS_DataWriter_get_countersI(const DDS_DataWriter* self, DDS_DataWriterCountersI* counters);
/* The sums over all writers of the process, those that have ended among them; nothing of queues. Takes no
 * lock. */
ZDDSC_EXPORT void DDS_DataWriter_get_total_countersI(DDS_DataWriterCountersI* counters);
/* Waits until the queue of an asynchronous writer is empty, at most maxWait. */
ZDDSC_EXPORT DDS_ReturnCode_t DDS_DataWriter_flushI(DDS_DataWriter* self, const DDS_Duration_t* maxWait);

/* ---- Subscriber and reader ---- */

struct DDS_DataReaderListener {
    void* listener_data;
    void (*on_data_available)(void* listener_data, DDS_DataReader* reader);
    void (*on_subscription_matched)(
        void* listener_data, DDS_DataReader* reader, const DDS_SubscriptionMatchedStatus* status);
};
typedef struct DDS_DataReaderListener DDS_DataReaderListener;

ZDDSC_EXPORT DDS_Entity* DDS_Subscriber_as_entity(DDS_Subscriber* self);
ZDDSC_EXPORT DDS_DataReader* DDS_Subscriber_create_datareader(DDS_Subscriber* self,
    DDS_TopicDescription* topic, const DDS_DataReaderQos* qos, const DDS_DataReaderListener* listener,
    DDS_StatusMask mask);
ZDDSC_EXPORT DDS_ReturnCode_t DDS_Subscriber_delete_datareader(DDS_Subscriber* self, DDS_DataReader* reader);
/* The first reader of that topic, in the order of creation; null when there is none. */
ZDDSC_EXPORT DDS_DataReader* DDS_Subscriber_lookup_datareader(DDS_Subscriber* self, const char* topicName);
ZDDSC_EXPORT DDS_ReturnCode_t DDS_Subscriber_delete_contained_entities(DDS_Subscriber* self);

ZDDSC_EXPORT DDS_Entity* DDS_DataReader_as_entity(DDS_DataReader* self);
ZDDSC_EXPORT DDS_TopicDescription* DDS_DataReader_get_topicdescription(DDS_DataReader* self);
ZDDSC_EXPORT const DDS_TypePlugin* DDS_DataReader_get_type_pluginI(const DDS_DataReader* self);
/* Null removes. Returns when no callback of the old listener runs any more (except on the calling thread). */
ZDDSC_EXPORT DDS_ReturnCode_t DDS_DataReader_set_listener(
    DDS_DataReader* self, const DDS_DataReaderListener* listener, DDS_StatusMask mask);
ZDDSC_EXPORT DDS_ReturnCode_t DDS_DataReader_get_subscription_matched_status(
    DDS_DataReader* self, DDS_SubscriptionMatchedStatus* status);
ZDDSC_EXPORT DDS_ReturnCode_t DDS_DataReader_get_matched_publications(
    DDS_DataReader* self, DDS_InstanceHandleSeq* handles);

/* The core of all typed reads and takes. `samples` is the typed sequence seen through its layout: an empty
 * sequence of maximum 0 gets a loan, to be returned with return_loan; otherwise values are copied into it, at
 * most its maximum. max_samples may be DDS_LENGTH_UNLIMITED. DDS_RETCODE_NO_DATA when there is nothing. A
 * sample that cannot be decoded is skipped and counted; DDS_RETCODE_OUT_OF_RESOURCES when none could, and one
 * of them for lack of memory. What a take has skipped is lost. */
ZDDSC_EXPORT DDS_ReturnCode_t DDS_DataReader_read_or_take_untypedI(DDS_DataReader* self,
    struct DDS_SequenceBase* samples, DDS_SampleInfoSeq* infos, DDS_Long maxSamples,
    DDS_SampleStateMask sampleStates, DDS_ViewStateMask viewStates, DDS_InstanceStateMask instanceStates,
    DDS_Boolean take);
ZDDSC_EXPORT DDS_ReturnCode_t DDS_DataReader_return_loan_untypedI(
    DDS_DataReader* self, struct DDS_SequenceBase* samples, DDS_SampleInfoSeq* infos);

typedef struct DDS_DataReaderCountersI {
    DDS_UnsignedLongLong received;
    /* Beyond resource_limits; where those have no bound, beyond 65536 samples, 16384 instances or 64 MiB. */
    DDS_UnsignedLongLong dropped_cache_full;
    DDS_UnsignedLongLong dropped_decoding;
    DDS_UnsignedLongLong dropped_no_memory;
    DDS_UnsignedLongLong dropped_too_large; /* of the service-request channel: a body beyond its bound */
    DDS_UnsignedLong cached;
} DDS_DataReaderCountersI;
ZDDSC_EXPORT void DDS_DataReader_get_countersI(const DDS_DataReader* self, DDS_DataReaderCountersI* counters);

/* ---- The rest of what typed writers and readers forward to ----
 *
 * Topic types of the schema have no key: a topic has one instance, whose handle is DDS_HANDLE_NIL. */

typedef struct DDS_ReadConditionImpl DDS_ReadCondition;

/* Nothing is to be registered for a type without a key: DDS_HANDLE_NIL, and no traffic. */
ZDDSC_EXPORT DDS_InstanceHandle_t DDS_DataWriter_register_instance_untypedI(
    DDS_DataWriter* self, const void* sample);
ZDDSC_EXPORT DDS_InstanceHandle_t DDS_DataWriter_register_instance_w_timestamp_untypedI(
    DDS_DataWriter* self, const void* sample, const DDS_Time_t* sourceTimestamp);
ZDDSC_EXPORT DDS_InstanceHandle_t DDS_DataWriter_register_instance_w_params_untypedI(
    DDS_DataWriter* self, const void* sample, DDS_WriteParams_t* params);
/* Without a key: DDS_RETCODE_PRECONDITION_NOT_MET. */
ZDDSC_EXPORT DDS_ReturnCode_t DDS_DataWriter_unregister_instance_untypedI(
    DDS_DataWriter* self, const void* sample, const DDS_InstanceHandle_t* handle);
ZDDSC_EXPORT DDS_ReturnCode_t DDS_DataWriter_unregister_instance_w_timestamp_untypedI(DDS_DataWriter* self,
    const void* sample, const DDS_InstanceHandle_t* handle, const DDS_Time_t* sourceTimestamp);
ZDDSC_EXPORT DDS_ReturnCode_t DDS_DataWriter_unregister_instance_w_params_untypedI(
    DDS_DataWriter* self, const void* sample, DDS_WriteParams_t* params);
ZDDSC_EXPORT DDS_ReturnCode_t DDS_DataWriter_dispose_untypedI(
    DDS_DataWriter* self, const void* sample, const DDS_InstanceHandle_t* handle);
ZDDSC_EXPORT DDS_ReturnCode_t DDS_DataWriter_dispose_w_timestamp_untypedI(DDS_DataWriter* self,
    const void* sample, const DDS_InstanceHandle_t* handle, const DDS_Time_t* sourceTimestamp);
ZDDSC_EXPORT DDS_ReturnCode_t DDS_DataWriter_dispose_w_params_untypedI(
    DDS_DataWriter* self, const void* sample, DDS_WriteParams_t* params);
/* Without a key: DDS_RETCODE_BAD_PARAMETER, and DDS_HANDLE_NIL. */
ZDDSC_EXPORT DDS_ReturnCode_t DDS_DataWriter_get_key_value_untypedI(
    DDS_DataWriter* self, void* keyHolder, const DDS_InstanceHandle_t* handle);
ZDDSC_EXPORT DDS_InstanceHandle_t DDS_DataWriter_lookup_instance_untypedI(
    DDS_DataWriter* self, const void* keyHolder);
/* Samples are copied on write, so there is nothing to loan: DDS_RETCODE_UNSUPPORTED, and *sample is null. */
ZDDSC_EXPORT DDS_ReturnCode_t DDS_DataWriter_get_loan_untypedI(DDS_DataWriter* self, void** sample);
ZDDSC_EXPORT DDS_ReturnCode_t DDS_DataWriter_discard_loan_untypedI(DDS_DataWriter* self, void* sample);

/* As read_or_take_untypedI, with the states of the condition, which belongs to this reader (else
 * DDS_RETCODE_PRECONDITION_NOT_MET); null is DDS_RETCODE_BAD_PARAMETER. */
ZDDSC_EXPORT DDS_ReturnCode_t DDS_DataReader_read_or_take_w_condition_untypedI(DDS_DataReader* self,
    struct DDS_SequenceBase* samples, DDS_SampleInfoSeq* infos, DDS_Long maxSamples,
    DDS_ReadCondition* condition, DDS_Boolean take);
/* The next sample that has not been read, copied into an initialized value. */
ZDDSC_EXPORT DDS_ReturnCode_t DDS_DataReader_read_or_take_next_sample_untypedI(
    DDS_DataReader* self, void* sample, DDS_SampleInfo* info, DDS_Boolean take);
/* The samples of one instance, and of the one that follows (DDS_HANDLE_NIL: of the first). Without a key the
 * one instance is DDS_HANDLE_NIL, and none follows another. */
ZDDSC_EXPORT DDS_ReturnCode_t DDS_DataReader_read_or_take_instance_untypedI(DDS_DataReader* self,
    struct DDS_SequenceBase* samples, DDS_SampleInfoSeq* infos, DDS_Long maxSamples,
    const DDS_InstanceHandle_t* handle, DDS_SampleStateMask sampleStates, DDS_ViewStateMask viewStates,
    DDS_InstanceStateMask instanceStates, DDS_Boolean take);
ZDDSC_EXPORT DDS_ReturnCode_t DDS_DataReader_read_or_take_instance_w_condition_untypedI(DDS_DataReader* self,
    struct DDS_SequenceBase* samples, DDS_SampleInfoSeq* infos, DDS_Long maxSamples,
    const DDS_InstanceHandle_t* handle, DDS_ReadCondition* condition, DDS_Boolean take);
ZDDSC_EXPORT DDS_ReturnCode_t DDS_DataReader_read_or_take_next_instance_untypedI(DDS_DataReader* self,
    struct DDS_SequenceBase* samples, DDS_SampleInfoSeq* infos, DDS_Long maxSamples,
    const DDS_InstanceHandle_t* previousHandle, DDS_SampleStateMask sampleStates,
    DDS_ViewStateMask viewStates, DDS_InstanceStateMask instanceStates, DDS_Boolean take);
ZDDSC_EXPORT DDS_ReturnCode_t DDS_DataReader_read_or_take_next_instance_w_condition_untypedI(
    DDS_DataReader* self, struct DDS_SequenceBase* samples, DDS_SampleInfoSeq* infos, DDS_Long maxSamples,
    const DDS_InstanceHandle_t* previousHandle, DDS_ReadCondition* condition, DDS_Boolean take);
ZDDSC_EXPORT DDS_ReturnCode_t DDS_DataReader_get_key_value_untypedI(
    DDS_DataReader* self, void* keyHolder, const DDS_InstanceHandle_t* handle);
ZDDSC_EXPORT DDS_InstanceHandle_t DDS_DataReader_lookup_instance_untypedI(
    DDS_DataReader* self, const void* keyHolder);

/* Samples enter a reader's cache as if the writer with that GUID had sent them, at params->source_timestamp
 * (0: now; null params: now). The writer needs a queue, made by hand: without one,
 * DDS_RETCODE_PRECONDITION_NOT_MET. */
ZDDSC_EXPORT DDS_ReturnCode_t DDS_DataReader_assert_remote_writer_queue(
    DDS_DataReader* self, const DDS_GUID_t* writerGuid, const DDS_DataWriterQos* qos);
ZDDSC_EXPORT DDS_ReturnCode_t DDS_DataReader_delete_remote_writer_queue(
    DDS_DataReader* self, const DDS_GUID_t* writerGuid);
ZDDSC_EXPORT DDS_ReturnCode_t DDS_DataReader_add_sample_to_remote_writer_queue_untypedI(
    DDS_DataReader* self, const void* sample, const DDS_GUID_t* writerGuid, DDS_WriteParams_t* params);
ZDDSC_EXPORT DDS_ReturnCode_t DDS_DataReader_add_unregister_to_remote_writer_queue_untypedI(
    DDS_DataReader* self, const DDS_GUID_t* writerGuid, DDS_WriteParams_t* params,
    const DDS_GUID_t* instance);
ZDDSC_EXPORT DDS_ReturnCode_t DDS_DataReader_add_dispose_to_remote_writer_queue_untypedI(DDS_DataReader* self,
    const DDS_GUID_t* writerGuid, DDS_WriteParams_t* params, const DDS_GUID_t* instance);
/* A loaned sample is never overwritten while it is on loan: always true. */
ZDDSC_EXPORT DDS_ReturnCode_t DDS_DataReader_is_data_consistent_untypedI(
    DDS_DataReader* self, DDS_Boolean* isConsistent, const void* sample, const DDS_SampleInfo* info);

ZDDS_END_C

#endif
