// Copy, equality and release of single policies. Plain policies are values; those that own memory (octets,
// strings, properties, names) have the overloads below, and every QoS is a list of policies over these.
// Threads: callers serialize. Errors: copy is false when memory is out; its destination is then still
// releasable.
#ifndef ZDDSC_QOS_POLICY_OPERATIONS_HPP
#define ZDDSC_QOS_POLICY_OPERATIONS_HPP

#include <type_traits>

#include "zddsc/qos.h"

namespace zdds::qos {

bool copyText(char*& destination, const char* source);
bool equalText(const char* left, const char* right);
bool equalStrings(const DDS_StringSeq& left, const DDS_StringSeq& right);

bool copy(DDS_UserDataQosPolicy& destination, const DDS_UserDataQosPolicy& source);
bool copy(DDS_PartitionQosPolicy& destination, const DDS_PartitionQosPolicy& source);
bool copy(DDS_PropertyQosPolicy& destination, const DDS_PropertyQosPolicy& source);
bool copy(DDS_DiscoveryQosPolicy& destination, const DDS_DiscoveryQosPolicy& source);
bool copy(DDS_DataRepresentationQosPolicy& destination, const DDS_DataRepresentationQosPolicy& source);
bool copy(DDS_EntityNameQosPolicy& destination, const DDS_EntityNameQosPolicy& source);

void release(DDS_UserDataQosPolicy& policy);
void release(DDS_PartitionQosPolicy& policy);
void release(DDS_PropertyQosPolicy& policy);
void release(DDS_DiscoveryQosPolicy& policy);
void release(DDS_DataRepresentationQosPolicy& policy);
void release(DDS_EntityNameQosPolicy& policy);

bool equal(const DDS_UserDataQosPolicy& left, const DDS_UserDataQosPolicy& right);
bool equal(const DDS_PartitionQosPolicy& left, const DDS_PartitionQosPolicy& right);
bool equal(const DDS_PropertyQosPolicy& left, const DDS_PropertyQosPolicy& right);
bool equal(const DDS_DiscoveryQosPolicy& left, const DDS_DiscoveryQosPolicy& right);
bool equal(const DDS_DataRepresentationQosPolicy& left, const DDS_DataRepresentationQosPolicy& right);
bool equal(const DDS_EntityNameQosPolicy& left, const DDS_EntityNameQosPolicy& right);

inline bool equal(const DDS_Duration_t& left, const DDS_Duration_t& right) {
    return left.sec == right.sec && left.nanosec == right.nanosec;
}

// Plain policies are copied as values.
template <class Policy>
inline constexpr bool owning =
    std::is_same_v<Policy, DDS_UserDataQosPolicy> || std::is_same_v<Policy, DDS_PartitionQosPolicy> ||
    std::is_same_v<Policy, DDS_PropertyQosPolicy> || std::is_same_v<Policy, DDS_DiscoveryQosPolicy> ||
    std::is_same_v<Policy, DDS_DataRepresentationQosPolicy> ||
    std::is_same_v<Policy, DDS_EntityNameQosPolicy>;

template <class Policy>
requires(!owning<Policy>) bool copy(Policy& destination, const Policy& source) {
    destination = source;
    return true;
}

template <class Policy>
requires(!owning<Policy>) void release(Policy& policy) {
    policy = Policy{};
}

// Fields are compared one by one, since structures have padding.
#define ZDDS_EQUAL_(Policy, expression)                                                                      \
    inline bool equal(const Policy& l, const Policy& r) {                                                    \
        return expression;                                                                                   \
    }
ZDDS_EQUAL_(DDS_DurabilityQosPolicy, l.kind == r.kind)
ZDDS_EQUAL_(DDS_ReliabilityQosPolicy, l.kind == r.kind && equal(l.max_blocking_time, r.max_blocking_time))
ZDDS_EQUAL_(DDS_HistoryQosPolicy, l.kind == r.kind && l.depth == r.depth)
ZDDS_EQUAL_(DDS_ResourceLimitsQosPolicy, l.max_samples == r.max_samples &&
                                             l.max_instances == r.max_instances &&
                                             l.max_samples_per_instance == r.max_samples_per_instance)
ZDDS_EQUAL_(DDS_DeadlineQosPolicy, equal(l.period, r.period))
ZDDS_EQUAL_(DDS_LatencyBudgetQosPolicy, equal(l.duration, r.duration))
ZDDS_EQUAL_(DDS_LifespanQosPolicy, equal(l.duration, r.duration))
ZDDS_EQUAL_(DDS_LivelinessQosPolicy, l.kind == r.kind && equal(l.lease_duration, r.lease_duration))
ZDDS_EQUAL_(DDS_OwnershipQosPolicy, l.kind == r.kind)
ZDDS_EQUAL_(DDS_OwnershipStrengthQosPolicy, l.value == r.value)
ZDDS_EQUAL_(DDS_DestinationOrderQosPolicy, l.kind == r.kind)
ZDDS_EQUAL_(DDS_TransportPriorityQosPolicy, l.value == r.value)
ZDDS_EQUAL_(DDS_TimeBasedFilterQosPolicy, equal(l.minimum_separation, r.minimum_separation))
ZDDS_EQUAL_(DDS_EntityFactoryQosPolicy, !l.autoenable_created_entities == !r.autoenable_created_entities)
ZDDS_EQUAL_(DDS_PublishModeQosPolicy, l.kind == r.kind && l.max_queued_samples == r.max_queued_samples &&
                                          l.max_queued_bytes == r.max_queued_bytes)
ZDDS_EQUAL_(DDS_ServiceQosPolicy, l.kind == r.kind)
ZDDS_EQUAL_(DDS_WireProtocolQosPolicy, !l.vendor_specific_entity == !r.vendor_specific_entity)
ZDDS_EQUAL_(DDS_DataWriterProtocolQosPolicy,
    !l.vendor_specific_entity == !r.vendor_specific_entity &&
        l.rtps_reliable_writer.max_heartbeat_retries == r.rtps_reliable_writer.max_heartbeat_retries)
ZDDS_EQUAL_(DDS_DomainParticipantResourceLimitsQosPolicy,
    l.reader_property_list_max_length == r.reader_property_list_max_length &&
        l.reader_property_string_max_length == r.reader_property_string_max_length)
ZDDS_EQUAL_(DDS_DiscoveryConfigQosPolicy, l.enabled_builtin_channels == r.enabled_builtin_channels)
#undef ZDDS_EQUAL_

} // namespace zdds::qos

#endif
