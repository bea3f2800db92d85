/* QoS of all entities, the policies they are made of, and the built-in profile.
 *
 * Every X_Qos has X_initialize (the DDS defaults), X_finalize and X_copy. Finalize takes zeroed memory, and
 * leaves the value empty; copy wants an initialized destination and leaves it as it was on failure. */
#ifndef ZDDSC_QOS_H
#define ZDDSC_QOS_H

#include "zddsc/sequence.h"

ZDDS_BEGIN_C

/* Where profile names are asked for. */
#define DDS_BUILTIN_QOS_LIB "BuiltinQosLib"
#define DDS_PROFILE_GENERIC_MONITORING2 "Generic.Monitoring2"

typedef enum DDS_DurabilityQosPolicyKind {
    DDS_VOLATILE_DURABILITY_QOS = 0,
    DDS_TRANSIENT_LOCAL_DURABILITY_QOS = 1,
    DDS_TRANSIENT_DURABILITY_QOS = 2,
    DDS_PERSISTENT_DURABILITY_QOS = 3
} DDS_DurabilityQosPolicyKind;
typedef enum DDS_ReliabilityQosPolicyKind {
    DDS_BEST_EFFORT_RELIABILITY_QOS = 0,
    DDS_RELIABLE_RELIABILITY_QOS = 1
} DDS_ReliabilityQosPolicyKind;
typedef enum DDS_HistoryQosPolicyKind {
    DDS_KEEP_LAST_HISTORY_QOS = 0,
    DDS_KEEP_ALL_HISTORY_QOS = 1
} DDS_HistoryQosPolicyKind;
typedef enum DDS_PublishModeQosPolicyKind {
    DDS_SYNCHRONOUS_PUBLISH_MODE_QOS = 0,
    DDS_ASYNCHRONOUS_PUBLISH_MODE_QOS = 1
} DDS_PublishModeQosPolicyKind;
typedef enum DDS_OwnershipQosPolicyKind {
    DDS_SHARED_OWNERSHIP_QOS = 0,
    DDS_EXCLUSIVE_OWNERSHIP_QOS = 1
} DDS_OwnershipQosPolicyKind;
typedef enum DDS_LivelinessQosPolicyKind {
    DDS_AUTOMATIC_LIVELINESS_QOS = 0,
    DDS_MANUAL_BY_PARTICIPANT_LIVELINESS_QOS = 1,
    DDS_MANUAL_BY_TOPIC_LIVELINESS_QOS = 2
} DDS_LivelinessQosPolicyKind;
typedef enum DDS_DestinationOrderQosPolicyKind {
    DDS_BY_RECEPTION_TIMESTAMP_DESTINATIONORDER_QOS = 0,
    DDS_BY_SOURCE_TIMESTAMP_DESTINATIONORDER_QOS = 1
} DDS_DestinationOrderQosPolicyKind;

typedef struct DDS_DurabilityQosPolicy {
    DDS_DurabilityQosPolicyKind kind;
} DDS_DurabilityQosPolicy;
typedef struct DDS_ReliabilityQosPolicy {
    DDS_ReliabilityQosPolicyKind kind;
    DDS_Duration_t max_blocking_time;
} DDS_ReliabilityQosPolicy;
typedef struct DDS_HistoryQosPolicy {
    DDS_HistoryQosPolicyKind kind;
    DDS_Long depth;
} DDS_HistoryQosPolicy;
typedef struct DDS_ResourceLimitsQosPolicy {
    DDS_Long max_samples; /* DDS_LENGTH_UNLIMITED is no bound */
    DDS_Long max_instances;
    DDS_Long max_samples_per_instance;
} DDS_ResourceLimitsQosPolicy;
typedef struct DDS_DeadlineQosPolicy {
    DDS_Duration_t period;
} DDS_DeadlineQosPolicy;
typedef struct DDS_LatencyBudgetQosPolicy {
    DDS_Duration_t duration;
} DDS_LatencyBudgetQosPolicy;
typedef struct DDS_LifespanQosPolicy {
    DDS_Duration_t duration;
} DDS_LifespanQosPolicy;
typedef struct DDS_LivelinessQosPolicy {
    DDS_LivelinessQosPolicyKind kind;
    DDS_Duration_t lease_duration;
} DDS_LivelinessQosPolicy;
typedef struct DDS_OwnershipQosPolicy {
    DDS_OwnershipQosPolicyKind kind;
} DDS_OwnershipQosPolicy;
typedef struct DDS_OwnershipStrengthQosPolicy {
    DDS_Long value;
} DDS_OwnershipStrengthQosPolicy;
typedef struct DDS_DestinationOrderQosPolicy {
    DDS_DestinationOrderQosPolicyKind kind;
} DDS_DestinationOrderQosPolicy;
typedef struct DDS_TransportPriorityQosPolicy {
    DDS_Long value;
} DDS_TransportPriorityQosPolicy;
typedef struct DDS_UserDataQosPolicy {
    DDS_OctetSeq value;
} DDS_UserDataQosPolicy;
typedef struct DDS_PartitionQosPolicy {
    DDS_StringSeq name;
} DDS_PartitionQosPolicy;
typedef struct DDS_TimeBasedFilterQosPolicy {
    DDS_Duration_t minimum_separation;
} DDS_TimeBasedFilterQosPolicy;
typedef struct DDS_EntityFactoryQosPolicy {
    DDS_Boolean autoenable_created_entities;
} DDS_EntityFactoryQosPolicy;
typedef enum DDS_ServiceQosPolicyKind {
    DDS_NO_SERVICE_QOS = 0 /* of an application, not of a service of the middleware */
} DDS_ServiceQosPolicyKind;
typedef struct DDS_ServiceQosPolicy {
    DDS_ServiceQosPolicyKind kind;
} DDS_ServiceQosPolicy;
typedef struct DDS_EntityNameQosPolicy {
    char* name;
} DDS_EntityNameQosPolicy; /* null is no name */

/* Name and value pairs for what has no policy of its own. */
typedef struct DDS_Property_t {
    char* name;
    char* value;
    DDS_Boolean propagate;
} DDS_Property_t;
DDS_SEQUENCE_DECLARE(ZDDSC_EXPORT, DDS_PropertySeq, DDS_Property_t);
typedef struct DDS_PropertyQosPolicy {
    DDS_PropertySeq value;
} DDS_PropertyQosPolicy;
/* Adds; a name that is there already fails with DDS_RETCODE_PRECONDITION_NOT_MET. */
ZDDSC_EXPORT DDS_ReturnCode_t DDS_PropertyQosPolicyHelper_add_property(
    DDS_PropertyQosPolicy* policy, const char* name, const char* value, DDS_Boolean propagate);
/* Copies of single policies into initialized values; on failure the destination is as it was. */
ZDDSC_EXPORT DDS_ReturnCode_t DDS_DurabilityQosPolicy_copy(
    DDS_DurabilityQosPolicy* self, const DDS_DurabilityQosPolicy* source);
ZDDSC_EXPORT DDS_ReturnCode_t DDS_PropertyQosPolicy_copy(
    DDS_PropertyQosPolicy* self, const DDS_PropertyQosPolicy* source);
ZDDSC_EXPORT DDS_ReturnCode_t DDS_EntityNameQosPolicy_copy(
    DDS_EntityNameQosPolicy* self, const DDS_EntityNameQosPolicy* source);
/* Null when there is none. Borrowed until the policy changes. */
ZDDSC_EXPORT const DDS_Property_t* DDS_PropertyQosPolicyHelper_lookup_property(
    const DDS_PropertyQosPolicy* policy, const char* name);

typedef struct DDS_DataRepresentationQosPolicy {
    DDS_LongSeq value;
} DDS_DataRepresentationQosPolicy; /* empty: XCDR2 for writers, both for readers */

typedef struct DDS_PublishModeQosPolicy {
    DDS_PublishModeQosPolicyKind kind;
    /* Asynchronous only. Bounds of the queue between write and the flusher; what does not fit is dropped and
     * counted. 0 takes the defaults of the profile: 32768 samples, 16 MiB. */
    DDS_UnsignedLong max_queued_samples;
    DDS_UnsignedLong max_queued_bytes;
} DDS_PublishModeQosPolicy;

/* Marks entities of the middleware's own; observers of user entities leave them out. */
typedef struct DDS_WireProtocolQosPolicy {
    DDS_Boolean vendor_specific_entity;
} DDS_WireProtocolQosPolicy;
typedef struct DDS_RtpsReliableWriterProtocol_t {
    DDS_Long max_heartbeat_retries; /* DDS_LENGTH_UNLIMITED: a silent reader is never dropped for silence */
} DDS_RtpsReliableWriterProtocol_t;
typedef struct DDS_DataWriterProtocolQosPolicy {
    DDS_Boolean vendor_specific_entity;
    DDS_RtpsReliableWriterProtocol_t rtps_reliable_writer;
} DDS_DataWriterProtocolQosPolicy;
typedef DDS_WireProtocolQosPolicy DDS_EntityProtocolQosPolicy;

/* Built-in channels of a participant. */
#define DDS_DISCOVERYCONFIG_SERVICE_REQUEST_CHANNEL 0x3U
typedef struct DDS_DiscoveryConfigQosPolicy {
    DDS_UnsignedLong enabled_builtin_channels;
} DDS_DiscoveryConfigQosPolicy;
typedef struct DDS_DiscoveryQosPolicy {
    DDS_StringSeq initial_peers;
} DDS_DiscoveryQosPolicy; /* addresses, for hosts without multicast */

/* A property of participants: whole seconds from 1 to 3600 after which others give up a participant that is
 * silent, since it was killed or is frozen. The default is the engine's, 10 seconds. A participant shows
 * itself alive when four fifths of it have passed: with a short one a lost packet, or a process that stands
 * still for a moment, looks like its end. */
#define DDS_PARTICIPANT_LEASE_PROPERTYI "dds.participant.lease_duration_sec"

/* What a participant keeps of the properties of remote readers: pairs, and characters of all of them. The
 * engine here bounds both by itself; the figures are kept and compared only. */
typedef struct DDS_DomainParticipantResourceLimitsQosPolicy {
    DDS_Long reader_property_list_max_length;
    DDS_Long reader_property_string_max_length;
} DDS_DomainParticipantResourceLimitsQosPolicy;

typedef struct DDS_DomainParticipantQos {
    DDS_UserDataQosPolicy user_data;
    DDS_EntityFactoryQosPolicy entity_factory;
    DDS_DiscoveryQosPolicy discovery;
    DDS_DiscoveryConfigQosPolicy discovery_config;
    DDS_DomainParticipantResourceLimitsQosPolicy resource_limits;
    DDS_EntityProtocolQosPolicy protocol;
    DDS_PropertyQosPolicy property;
    DDS_EntityNameQosPolicy participant_name;
} DDS_DomainParticipantQos;

typedef struct DDS_PublisherQos {
    DDS_PartitionQosPolicy partition;
    DDS_EntityFactoryQosPolicy entity_factory;
    DDS_EntityProtocolQosPolicy protocol;
    DDS_EntityNameQosPolicy publisher_name;
} DDS_PublisherQos;

typedef struct DDS_SubscriberQos {
    DDS_PartitionQosPolicy partition;
    DDS_EntityFactoryQosPolicy entity_factory;
    DDS_EntityProtocolQosPolicy protocol;
    DDS_EntityNameQosPolicy subscriber_name;
} DDS_SubscriberQos;

typedef struct DDS_TopicQos {
    DDS_DurabilityQosPolicy durability;
    DDS_ReliabilityQosPolicy reliability;
    DDS_HistoryQosPolicy history;
    DDS_ResourceLimitsQosPolicy resource_limits;
    DDS_EntityProtocolQosPolicy protocol;
} DDS_TopicQos;

typedef struct DDS_DataWriterQos {
    DDS_DurabilityQosPolicy durability;
    DDS_DeadlineQosPolicy deadline;
    DDS_LatencyBudgetQosPolicy latency_budget;
    DDS_LivelinessQosPolicy liveliness;
    DDS_ReliabilityQosPolicy reliability;
    DDS_DestinationOrderQosPolicy destination_order;
    DDS_HistoryQosPolicy history;
    DDS_ResourceLimitsQosPolicy resource_limits;
    DDS_TransportPriorityQosPolicy transport_priority;
    DDS_LifespanQosPolicy lifespan;
    DDS_UserDataQosPolicy user_data;
    DDS_OwnershipQosPolicy ownership;
    DDS_OwnershipStrengthQosPolicy ownership_strength;
    DDS_DataRepresentationQosPolicy representation;
    DDS_PublishModeQosPolicy publish_mode;
    DDS_DataWriterProtocolQosPolicy protocol;
    DDS_PropertyQosPolicy property;
    DDS_EntityNameQosPolicy publication_name;
    DDS_ServiceQosPolicy service;
} DDS_DataWriterQos;

typedef struct DDS_DataReaderQos {
    DDS_DurabilityQosPolicy durability;
    DDS_DeadlineQosPolicy deadline;
    DDS_LatencyBudgetQosPolicy latency_budget;
    DDS_LivelinessQosPolicy liveliness;
    DDS_ReliabilityQosPolicy reliability;
    DDS_DestinationOrderQosPolicy destination_order;
    DDS_HistoryQosPolicy history;
    DDS_ResourceLimitsQosPolicy resource_limits;
    DDS_UserDataQosPolicy user_data;
    DDS_OwnershipQosPolicy ownership;
    DDS_TimeBasedFilterQosPolicy time_based_filter;
    DDS_DataRepresentationQosPolicy representation;
    DDS_EntityProtocolQosPolicy protocol;
    DDS_PropertyQosPolicy property;
    DDS_EntityNameQosPolicy subscription_name;
} DDS_DataReaderQos;

#define ZDDSC_DECLARE_QOS_(Qos)                                                                              \
    ZDDSC_EXPORT DDS_ReturnCode_t Qos##_initialize(Qos* self);                                               \
    ZDDSC_EXPORT DDS_ReturnCode_t Qos##_finalize(Qos* self);                                                 \
    ZDDSC_EXPORT DDS_ReturnCode_t Qos##_copy(Qos* self, const Qos* source);                                  \
    ZDDSC_EXPORT DDS_Boolean Qos##_equals(const Qos* left, const Qos* right);
ZDDSC_DECLARE_QOS_(DDS_DomainParticipantQos)
ZDDSC_DECLARE_QOS_(DDS_PublisherQos)
ZDDSC_DECLARE_QOS_(DDS_SubscriberQos)
ZDDSC_DECLARE_QOS_(DDS_TopicQos)
ZDDSC_DECLARE_QOS_(DDS_DataWriterQos)
ZDDSC_DECLARE_QOS_(DDS_DataReaderQos)
#undef ZDDSC_DECLARE_QOS_

ZDDS_END_C

#endif
