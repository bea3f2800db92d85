// The six QoS: each is a list of policies; initialize, finalize, copy and equals are walks of that list.
#include <tuple>
#include <utility>

#include "middleware/log/DdsLog.hpp"
#include "middleware/qos/PolicyOperations.hpp"

namespace zdds::qos {
namespace {

constexpr DDS_Duration_t infiniteDuration = DDS_DURATION_INFINITE;
constexpr DDS_Duration_t zeroDuration = DDS_DURATION_ZERO;
constexpr DDS_ResourceLimitsQosPolicy noLimits{
    DDS_LENGTH_UNLIMITED, DDS_LENGTH_UNLIMITED, DDS_LENGTH_UNLIMITED};
constexpr DDS_ReliabilityQosPolicy bestEffort{DDS_BEST_EFFORT_RELIABILITY_QOS, {0, 100'000'000U}};
constexpr DDS_ReliabilityQosPolicy reliable{DDS_RELIABLE_RELIABILITY_QOS, {0, 100'000'000U}};
constexpr DDS_HistoryQosPolicy keepLast{DDS_KEEP_LAST_HISTORY_QOS, 1};
constexpr DDS_LivelinessQosPolicy automaticLiveliness{DDS_AUTOMATIC_LIVELINESS_QOS, infiniteDuration};
constexpr DDS_RtpsReliableWriterProtocol_t defaultWriterProtocol{10};

template <class Q>
auto policies(Q& q) requires std::is_same_v<std::remove_const_t<Q>, DDS_DomainParticipantQos> {
    return std::tie(q.user_data, q.entity_factory, q.discovery, q.discovery_config, q.resource_limits,
        q.protocol, q.property, q.participant_name);
}
template <class Q> auto policies(Q& q) requires std::is_same_v<std::remove_const_t<Q>, DDS_PublisherQos> {
    return std::tie(q.partition, q.entity_factory, q.protocol, q.publisher_name);
}
template <class Q> auto policies(Q& q) requires std::is_same_v<std::remove_const_t<Q>, DDS_SubscriberQos> {
    return std::tie(q.partition, q.entity_factory, q.protocol, q.subscriber_name);
}
template <class Q> auto policies(Q& q) requires std::is_same_v<std::remove_const_t<Q>, DDS_TopicQos> {
    return std::tie(q.durability, q.reliability, q.history, q.resource_limits, q.protocol);
}
template <class Q> auto policies(Q& q) requires std::is_same_v<std::remove_const_t<Q>, DDS_DataWriterQos> {
    return std::tie(q.durability, q.deadline, q.latency_budget, q.liveliness, q.reliability,
        q.destination_order, q.history, q.resource_limits, q.transport_priority, q.lifespan, q.user_data,
        q.ownership, q.ownership_strength, q.representation, q.publish_mode, q.protocol, q.property,
        q.publication_name, q.service);
}
template <class Q> auto policies(Q& q) requires std::is_same_v<std::remove_const_t<Q>, DDS_DataReaderQos> {
    return std::tie(q.durability, q.deadline, q.latency_budget, q.liveliness, q.reliability,
        q.destination_order, q.history, q.resource_limits, q.user_data, q.ownership, q.time_based_filter,
        q.representation, q.protocol, q.property, q.subscription_name);
}

void setDefaults(DDS_DomainParticipantQos& q) {
    q.entity_factory.autoenable_created_entities = DDS_BOOLEAN_TRUE;
}
void setDefaults(DDS_PublisherQos& q) {
    q.entity_factory.autoenable_created_entities = DDS_BOOLEAN_TRUE;
}
void setDefaults(DDS_SubscriberQos& q) {
    q.entity_factory.autoenable_created_entities = DDS_BOOLEAN_TRUE;
}
void setDefaults(DDS_TopicQos& q) {
    q.reliability = bestEffort;
    q.history = keepLast;
    q.resource_limits = noLimits;
}
void setDefaults(DDS_DataWriterQos& q) {
    q.deadline.period = infiniteDuration;
    q.latency_budget.duration = zeroDuration;
    q.liveliness = automaticLiveliness;
    q.reliability = reliable;
    q.history = keepLast;
    q.resource_limits = noLimits;
    q.lifespan.duration = infiniteDuration;
    q.protocol.rtps_reliable_writer = defaultWriterProtocol;
}
void setDefaults(DDS_DataReaderQos& q) {
    q.deadline.period = infiniteDuration;
    q.latency_budget.duration = zeroDuration;
    q.liveliness = automaticLiveliness;
    q.reliability = bestEffort;
    q.history = keepLast;
    q.resource_limits = noLimits;
    q.time_based_filter.minimum_separation = zeroDuration;
}

template <class Q> DDS_ReturnCode_t initialize(Q* self) {
    ZDDS_REQUIRE(self != nullptr, DDS_RETCODE_BAD_PARAMETER);
    *self = Q{};
    setDefaults(*self);
    return DDS_RETCODE_OK;
}

template <class Q> void releaseAll(Q& q) {
    std::apply([](auto&... policy) { (release(policy), ...); }, policies(q));
    q = Q{};
}

template <class Q> DDS_ReturnCode_t finalize(Q* self) {
    ZDDS_REQUIRE(self != nullptr, DDS_RETCODE_BAD_PARAMETER);
    releaseAll(*self);
    return DDS_RETCODE_OK;
}

// Copies into a fresh value first, so that a failure leaves the destination as it was.
template <class Q> DDS_ReturnCode_t copyQos(Q* self, const Q* source, const char* name) {
    ZDDS_REQUIRE(self != nullptr, DDS_RETCODE_BAD_PARAMETER);
    ZDDS_REQUIRE(source != nullptr, DDS_RETCODE_BAD_PARAMETER);
    if (self == source)
        return DDS_RETCODE_OK;
    Q fresh{};
    auto to = policies(fresh);
    auto from = policies(*source);
    const bool copied = [&]<size_t... I>(std::index_sequence<I...>) {
        return (copy(std::get<I>(to), std::get<I>(from)) && ...);
    }
    (std::make_index_sequence<std::tuple_size_v<decltype(to)>>{});
    if (!copied) {
        releaseAll(fresh);
        return ZDDS_FAIL(DDS_RETCODE_OUT_OF_RESOURCES, FAILED_TO_COPY, "%s", name);
    }
    releaseAll(*self);
    *self = fresh;
    return DDS_RETCODE_OK;
}

template <class Q> DDS_Boolean equalQos(const Q* left, const Q* right) {
    ZDDS_REQUIRE(left != nullptr, DDS_BOOLEAN_FALSE);
    ZDDS_REQUIRE(right != nullptr, DDS_BOOLEAN_FALSE);
    auto l = policies(*left);
    auto r = policies(*right);
    return [&]<size_t... I>(std::index_sequence<I...>) {
        return (equal(std::get<I>(l), std::get<I>(r)) && ...);
    }
    (std::make_index_sequence<std::tuple_size_v<decltype(l)>>{});
}

} // namespace
} // namespace zdds::qos

#define ZDDS_DEFINE_QOS_(Qos)                                                                                \
    DDS_ReturnCode_t Qos##_initialize(Qos* self) {                                                           \
        return zdds::qos::initialize(self);                                                                  \
    }                                                                                                        \
    DDS_ReturnCode_t Qos##_finalize(Qos* self) {                                                             \
        return zdds::qos::finalize(self);                                                                    \
    }                                                                                                        \
    DDS_ReturnCode_t Qos##_copy(Qos* self, const Qos* source) {                                              \
        return zdds::qos::copyQos(self, source, #Qos);                                                       \
    }                                                                                                        \
    DDS_Boolean Qos##_equals(const Qos* left, const Qos* right) {                                            \
        return zdds::qos::equalQos(left, right);                                                             \
    }
ZDDS_DEFINE_QOS_(DDS_DomainParticipantQos)
ZDDS_DEFINE_QOS_(DDS_PublisherQos)
ZDDS_DEFINE_QOS_(DDS_SubscriberQos)
ZDDS_DEFINE_QOS_(DDS_TopicQos)
ZDDS_DEFINE_QOS_(DDS_DataWriterQos)
ZDDS_DEFINE_QOS_(DDS_DataReaderQos)
#undef ZDDS_DEFINE_QOS_
