// The statuses that the engine has, one traits structure for each: types, slot, metric group, the engine's
// functions, and how it becomes a copy. `forEachStatus` walks over those of a kind of entity.
#ifndef ORX_AGENT_STATUS_KINDS_HPP
#define ORX_AGENT_STATUS_KINDS_HPP

#include <cstring>
#include <tuple>

#include "agent/Observed.hpp"

namespace orx::agent {

// The engine's handle of an instance or endpoint, a number that is unique in its process, as octets in
// network order.
inline DDS_Monitoring_InstanceHandle_t instanceHandle(dds_instance_handle_t handle) {
    DDS_InstanceHandle_t value{};
    for (size_t i = 0; i < sizeof handle; ++i)
        value.keyHash[i] = static_cast<DDS_Octet>(handle >> (8 * (sizeof handle - 1 - i)));
    value.length = sizeof handle;
    value.isValid = handle != 0 ? 1 : 0;
    DDS_Monitoring_InstanceHandle_t result;
    static_assert(sizeof result.value == sizeof value);
    std::memcpy(result.value, &value, sizeof value);
    return result;
}

// Counts are unsigned in the engine and signed in the schema.
inline DDS_Long count(uint32_t value) {
    return static_cast<DDS_Long>(value > 0x7FFFFFFFU ? 0x7FFFFFFFU : value);
}

// The counts of changes of an engine's status: what a reset brings to 0. The second is null where there is
// one alone.
struct Changes {
    int32_t* first;
    int32_t* second;
};
template <typename EngineStatus> Changes changesOf(EngineStatus& status) {
    if constexpr (requires { status.alive_count_change; })
        return {&status.alive_count_change, &status.not_alive_count_change};
    else if constexpr (requires { status.current_count_change; })
        return {&status.total_count_change, &status.current_count_change};
    else
        return {&status.total_count_change, nullptr};
}

// Adds what is new to the count of the last policy, and points the sequence at the counts.
template <typename Status, typename EngineStatus>
void copyIncompatibleQos(Status& copy, PolicyCounts& policies, const EngineStatus& status) {
    const DDS_Long total = count(status.total_count);
    const DDS_Long added = total - copy.total_count;
    const auto policy = static_cast<DDS_Long>(status.last_policy_id);
    DDS_UnsignedLong at = 0;
    while (at < policies.length && policies.counts[at].policy_id != policy)
        ++at;
    if (at < PolicyCounts::maximum && added > 0) {
        policies.counts[at].policy_id = policy;
        policies.counts[at].count += added;
        policies.length = at == policies.length ? at + 1 : policies.length;
    }
    copy.total_count = total;
    copy.total_count_change = status.total_count_change;
    copy.last_policy_id = policy;
    copy.policies._contiguous_buffer = policies.counts;
    copy.policies._length = policies.length;
    copy.policies._maximum = PolicyCounts::maximum;
    copy.policies._loaned = DDS_BOOLEAN_TRUE;
}

template <typename Status, typename EngineStatus> void copyMatched(Status& copy, const EngineStatus& status) {
    copy.total_count = count(status.total_count);
    copy.total_count_change = status.total_count_change;
    copy.current_count = count(status.current_count);
    copy.current_count_change = status.current_count_change;
    if (copy.current_count > copy.current_count_peak)
        copy.current_count_peak = copy.current_count;
}

#define ORX_STATUS_COMMON_(NAME, KIND, SLOT, GROUP, FIELD)                                                   \
    using EngineStatus = dds_##NAME##_status_t;                                                              \
    using Callback = dds_on_##NAME##_fn;                                                                     \
    static constexpr Kind kind = KIND;                                                                       \
    static constexpr size_t slot = SLOT;                                                                     \
    static constexpr DDS_UnsignedLong group = GROUP;                                                         \
    static constexpr auto setCallback = &dds_lset_##NAME##_arg;                                              \
    static constexpr auto getCallback = &dds_lget_##NAME##_arg;                                              \
    static constexpr auto readAndReset = &dds_get_##NAME##_status;                                           \
    static auto& copyOf(Observed& observed) {                                                                \
        return observed.statuses.FIELD;                                                                      \
    }

struct InconsistentTopic {
    ORX_STATUS_COMMON_(inconsistent_topic, Kind::topic, 0, 3, topic.inconsistentTopic)
    static void copy(Observed& observed, const EngineStatus& status) {
        auto& copy = copyOf(observed);
        copy.total_count = count(status.total_count);
        copy.total_count_change = status.total_count_change;
    }
};

struct LivelinessLost {
    ORX_STATUS_COMMON_(liveliness_lost, Kind::writer, 0, 1, writer.livelinessLost)
    static void copy(Observed& observed, const EngineStatus& status) {
        auto& copy = copyOf(observed);
        copy.total_count = count(status.total_count);
        copy.total_count_change = status.total_count_change;
    }
};

struct OfferedDeadlineMissed {
    ORX_STATUS_COMMON_(offered_deadline_missed, Kind::writer, 1, 2, writer.offeredDeadlineMissed)
    static void copy(Observed& observed, const EngineStatus& status) {
        auto& copy = copyOf(observed);
        copy.total_count = count(status.total_count);
        copy.total_count_change = status.total_count_change;
        copy.last_instance_handle = instanceHandle(status.last_instance_handle);
    }
};

struct OfferedIncompatibleQos {
    ORX_STATUS_COMMON_(offered_incompatible_qos, Kind::writer, 2, 3, writer.offeredIncompatibleQos)
    static void copy(Observed& observed, const EngineStatus& status) {
        copyIncompatibleQos(copyOf(observed), observed.statuses.writer.policies, status);
    }
};

// Group 4 is a copy of it without metrics; the metrics name group 5.
struct PublicationMatched {
    ORX_STATUS_COMMON_(publication_matched, Kind::writer, 3, 5, writer.publicationMatched)
    static void copy(Observed& observed, const EngineStatus& status) {
        auto& copy = copyOf(observed);
        copyMatched(copy, status);
        copy.last_subscription_handle = instanceHandle(status.last_subscription_handle);
    }
};

struct SampleRejected {
    ORX_STATUS_COMMON_(sample_rejected, Kind::reader, 0, 1, reader.sampleRejected)
    static void copy(Observed& observed, const EngineStatus& status) {
        auto& copy = copyOf(observed);
        copy.total_count = count(status.total_count);
        copy.total_count_change = status.total_count_change;
        // The two enumerations have the same members in the same order.
        copy.last_reason = static_cast<DDS_Monitoring_SampleRejectedStatusKind>(status.last_reason);
        copy.last_instance_handle = instanceHandle(status.last_instance_handle);
    }
};

struct LivelinessChanged {
    ORX_STATUS_COMMON_(liveliness_changed, Kind::reader, 1, 2, reader.livelinessChanged)
    static void copy(Observed& observed, const EngineStatus& status) {
        auto& copy = copyOf(observed);
        copy.alive_count = count(status.alive_count);
        copy.not_alive_count = count(status.not_alive_count);
        copy.alive_count_change = status.alive_count_change;
        copy.not_alive_count_change = status.not_alive_count_change;
        copy.last_publication_handle = instanceHandle(status.last_publication_handle);
    }
};

struct RequestedDeadlineMissed {
    ORX_STATUS_COMMON_(requested_deadline_missed, Kind::reader, 2, 3, reader.requestedDeadlineMissed)
    static void copy(Observed& observed, const EngineStatus& status) {
        auto& copy = copyOf(observed);
        copy.total_count = count(status.total_count);
        copy.total_count_change = status.total_count_change;
        copy.last_instance_handle = instanceHandle(status.last_instance_handle);
    }
};

struct RequestedIncompatibleQos {
    ORX_STATUS_COMMON_(requested_incompatible_qos, Kind::reader, 3, 4, reader.requestedIncompatibleQos)
    static void copy(Observed& observed, const EngineStatus& status) {
        copyIncompatibleQos(copyOf(observed), observed.statuses.reader.policies, status);
    }
};

struct SampleLost {
    ORX_STATUS_COMMON_(sample_lost, Kind::reader, 4, 5, reader.sampleLost)
    static void copy(Observed& observed, const EngineStatus& status) {
        auto& copy = copyOf(observed);
        copy.total_count = count(status.total_count);
        copy.total_count_change = status.total_count_change;
        // The engine tells no reason: last_reason keeps the value for "not told".
    }
};

// Group 6 is a copy of it without metrics; the metrics name group 7.
struct SubscriptionMatched {
    ORX_STATUS_COMMON_(subscription_matched, Kind::reader, 5, 7, reader.subscriptionMatched)
    static void copy(Observed& observed, const EngineStatus& status) {
        auto& copy = copyOf(observed);
        copyMatched(copy, status);
        copy.last_publication_handle = instanceHandle(status.last_publication_handle);
    }
};

#undef ORX_STATUS_COMMON_

using AllStatuses = std::tuple<InconsistentTopic, LivelinessLost, OfferedDeadlineMissed,
    OfferedIncompatibleQos, PublicationMatched, SampleRejected, LivelinessChanged, RequestedDeadlineMissed,
    RequestedIncompatibleQos, SampleLost, SubscriptionMatched>;

// Calls function.operator()<Status>() for every status of a kind of entity.
template <typename Function> void forEachStatus(Kind kind, Function function) {
    const auto visit = [kind, &function]<typename Status>(const Status*) {
        if (Status::kind == kind)
            function.template operator()<Status>();
    };
    [&]<typename... Statuses>(const std::tuple<Statuses...>*) {
        (visit(static_cast<const Statuses*>(nullptr)), ...);
    }(static_cast<const AllStatuses*>(nullptr));
}

} // namespace orx::agent

#endif
