// The push of a group whose value owns no memory, on the application's thread: node, event and value share
// one buffer, and nothing is called but for the arena and the list.
//
// Threads: under the metric mutex of the resource's index. Errors: false, with nothing posted and no line of
// log, wherever the post takes the other way.
#ifndef ORX_EVENT_PUSH_HPP
#define ORX_EVENT_PUSH_HPP

#include <cstddef>
#include <cstring>

#include "src/eventMetrics/EventTaskExecutor.h"
#include "src/resource/MonitoringResource.h"
#include "src/taskExecutor/ReservedTask.hpp"

namespace orx::event {

// The payload owns nothing: it goes with its node.
int deletePlainPayload(void* payload);

// Values are some ten to fifty bytes: in blocks, of which the last may overlap the one before, and without a
// call. The two do not overlap.
[[gnu::always_inline]] inline void copyValue(void* to, const void* from, std::size_t size) {
    constexpr std::size_t block = 16;
    if (size < block) {
        std::memcpy(to, from, size);
        return;
    }
    auto* target = static_cast<std::byte*>(to);
    const auto* source = static_cast<const std::byte*>(from);
    for (std::size_t done = 0; done + block < size; done += block)
        std::memcpy(target + done, source + done, block);
    std::memcpy(target + size - block, source + size - block, block);
}

// `size` is the value's. The worker is not told.
[[gnu::always_inline]] inline bool linkPlainEvent(ORX_MonitoringTaskExecutor& executor,
    const ORX_MonitoringResource& resource, const void* value, ORX_UINT32 metricGroupIndex, ORX_UINT32 size) {
    using ReservedEvent = orx::taskExecutor::ReservedTask<ORX_MonitoringEventTask>;
    // The value stands right behind it, aligned for any type.
    static_assert(sizeof(ReservedEvent) % alignof(std::max_align_t) == 0);
    if (resource.concurrencyIndex >= executor.queueCount) [[unlikely]]
        return false;
    orx::taskExecutor::Queue& queue = executor.queues[resource.concurrencyIndex];
    ReservedEvent* reserved = orx::taskExecutor::reserveTask<ORX_MonitoringEventTask>(queue, size);
    if (reserved == nullptr) [[unlikely]]
        return false;
    ORX_MonitoringEventTask& event = reserved->payload;
    std::memcpy(event.resourceGuid, resource.base.guid, sizeof event.resourceGuid);
    event.metricGroupIndex = metricGroupIndex;
    event.resourceClassIdForMetricGroupInfo = resource.base.class_id;
    event.kind = ORX_MONITORING_EVENT_TASK_KIND_METRIC;
    event.distributionMetricGroupMemory = reserved + 1;
    copyValue(reserved + 1, value, size);
    if (orx::taskExecutor::linkReservedTask(queue, *reserved, deletePlainPayload)) [[likely]]
        return true;
    (void)REDAInlineMemBuffer_release(reserved);
    return false;
}

} // namespace orx::event

#endif
