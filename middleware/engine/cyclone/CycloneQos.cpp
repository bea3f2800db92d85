#include "middleware/engine/cyclone/CycloneQos.hpp"

namespace zdds::engine {

namespace {

constexpr int64_t nanosecondsPerSecond = 1'000'000'000;

dds_duration_t duration(const DDS_Duration_t& value) {
    if (value.sec == DDS_DURATION_INFINITE_SEC)
        return DDS_INFINITY;
    if (value.sec < 0)
        return 0;
    return value.sec * nanosecondsPerSecond + value.nanosec;
}

dds_duration_t positiveDuration(const DDS_Duration_t& value) {
    const dds_duration_t result = duration(value);
    return result == 0 ? DDS_INFINITY : result;
}

// The numbers of these policies are the same on both sides.
static_assert(int{DDS_TRANSIENT_LOCAL_DURABILITY_QOS} == int{DDS_DURABILITY_TRANSIENT_LOCAL});
static_assert(int{DDS_PERSISTENT_DURABILITY_QOS} == int{DDS_DURABILITY_PERSISTENT});
static_assert(int{DDS_RELIABLE_RELIABILITY_QOS} == int{DDS_RELIABILITY_RELIABLE});
static_assert(int{DDS_KEEP_ALL_HISTORY_QOS} == int{DDS_HISTORY_KEEP_ALL});
static_assert(int{DDS_MANUAL_BY_TOPIC_LIVELINESS_QOS} == int{DDS_LIVELINESS_MANUAL_BY_TOPIC});
static_assert(int{DDS_EXCLUSIVE_OWNERSHIP_QOS} == int{DDS_OWNERSHIP_EXCLUSIVE});
static_assert(
    int{DDS_BY_SOURCE_TIMESTAMP_DESTINATIONORDER_QOS} == int{DDS_DESTINATIONORDER_BY_SOURCE_TIMESTAMP});

// What writers and readers have in common, name by name.
template <class Qos> void setCommon(dds_qos_t* to, const Qos& from) {
    dds_qset_durability(to, static_cast<dds_durability_kind_t>(from.durability.kind));
    dds_qset_deadline(to, positiveDuration(from.deadline.period));
    dds_qset_latency_budget(to, duration(from.latency_budget.duration));
    dds_qset_liveliness(to, static_cast<dds_liveliness_kind_t>(from.liveliness.kind),
        positiveDuration(from.liveliness.lease_duration));
    dds_qset_reliability(to, static_cast<dds_reliability_kind_t>(from.reliability.kind),
        duration(from.reliability.max_blocking_time));
    dds_qset_destination_order(to, static_cast<dds_destination_order_kind_t>(from.destination_order.kind));
    // A depth of 0 cannot be meant.
    dds_qset_history(to, static_cast<dds_history_kind_t>(from.history.kind),
        from.history.depth > 0 ? from.history.depth : 1);
    dds_qset_ownership(to, static_cast<dds_ownership_kind_t>(from.ownership.kind));
    const DDS_Long userBytes = DDS_OctetSeq_get_length(&from.user_data.value);
    if (userBytes > 0)
        dds_qset_userdata(
            to, DDS_OctetSeq_get_reference(&from.user_data.value, 0), static_cast<size_t>(userBytes));
}

constexpr size_t maximumRepresentations = 2;

// Of the listed representations those that are XCDR 1 or 2; `fallback` when there are none.
void setRepresentation(dds_qos_t* to, const DDS_DataRepresentationQosPolicy& from,
    std::span<const dds_data_representation_id_t> fallback) {
    dds_data_representation_id_t wanted[maximumRepresentations];
    uint32_t count = 0;
    const DDS_Long length = DDS_LongSeq_get_length(&from.value);
    for (DDS_Long i = 0; i < length && count < maximumRepresentations; ++i) {
        const DDS_Long id = DDS_LongSeq_get(&from.value, i);
        if (id == DDS_DATA_REPRESENTATION_XCDR1 || id == DDS_DATA_REPRESENTATION_XCDR2)
            wanted[count++] = static_cast<dds_data_representation_id_t>(id);
    }
    if (count > 0)
        dds_qset_data_representation(to, count, wanted);
    else
        dds_qset_data_representation(to, static_cast<uint32_t>(fallback.size()), fallback.data());
}

constexpr dds_data_representation_id_t writerDefault[] = {DDS_DATA_REPRESENTATION_XCDR2};
constexpr dds_data_representation_id_t readerDefault[] = {
    DDS_DATA_REPRESENTATION_XCDR1, DDS_DATA_REPRESENTATION_XCDR2};

} // namespace

QosPointer writerQos(const DDS_DataWriterQos& qos) {
    QosPointer result{dds_create_qos()};
    if (!result)
        return nullptr;
    setCommon(result.get(), qos);
    setRepresentation(result.get(), qos.representation, writerDefault);
    dds_qset_transport_priority(result.get(), qos.transport_priority.value);
    dds_qset_lifespan(result.get(), positiveDuration(qos.lifespan.duration));
    dds_qset_ownership_strength(result.get(), qos.ownership_strength.value);
    dds_qset_writer_data_lifecycle(result.get(), false);
    // What late readers get of a writer with a memory: its history, where the library's own default is one
    // sample.
    dds_qset_durability_service(result.get(), 0, static_cast<dds_history_kind_t>(qos.history.kind),
        qos.history.depth > 0 ? qos.history.depth : 1, DDS_LENGTH_UNLIMITED, DDS_LENGTH_UNLIMITED,
        DDS_LENGTH_UNLIMITED);
    if (qos.publication_name.name != nullptr)
        dds_qset_entity_name(result.get(), qos.publication_name.name);
    return result;
}

QosPointer readerQos(const DDS_DataReaderQos& qos) {
    QosPointer result{dds_create_qos()};
    if (!result)
        return nullptr;
    setCommon(result.get(), qos);
    setRepresentation(result.get(), qos.representation, readerDefault);
    if (qos.subscription_name.name != nullptr)
        dds_qset_entity_name(result.get(), qos.subscription_name.name);
    return result;
}

QosPointer partitionQos(std::span<const char* const> partitions) {
    QosPointer result{dds_create_qos()};
    if (!result || partitions.empty())
        return result;
    // The library copies the texts; its parameter lacks a const.
    dds_qset_partition(
        result.get(), static_cast<uint32_t>(partitions.size()), const_cast<const char**>(partitions.data()));
    return result;
}

QosPointer participantQos(const char* name, int64_t leaseNs) {
    QosPointer result{dds_create_qos()};
    if (result && name != nullptr)
        dds_qset_entity_name(result.get(), name);
    if (result && leaseNs > 0)
        dds_qset_liveliness(result.get(), DDS_LIVELINESS_AUTOMATIC, leaseNs);
    return result;
}

} // namespace zdds::engine
