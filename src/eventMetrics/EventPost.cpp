#include "src/eventMetrics/EventPost.hpp"

#include <cstring>
#include <new>

#include "src/dataModel/DistributionMapping.hpp"
#include "src/eventMetrics/MetricLock.hpp"

namespace {

constexpr ORX_UINT32 orxLogSubmodule = orx::log::submodule::event;

using namespace orx::event;

int deleteTaskPayload(void* payload) {
    return ORX_MonitoringEventTask_delete(static_cast<ORX_MonitoringEventTask*>(payload));
}

// Makes the event and posts it with `post`. The metric mutex is held throughout, so an event that reached no
// queue goes back to the arena under it too.
template <typename Post>
bool createAndPost(
    ORX_MonitoringEventTaskExecutor& self, const Event& event, ORX_UINT32 concurrencyIndex, Post post) {
    REDAInlineMemory** memoryManager =
        ORX_MonitoringTaskExecutor_getMemoryManager(self.taskExecutor, concurrencyIndex);
    if (memoryManager == nullptr) {
        return ORX_ERROR(FAILED_TO_GET, "Memory manager with index %u\n", concurrencyIndex);
    }
    ORX_MonitoringEventTask* task = ORX_MonitoringEventTask_new(memoryManager, concurrencyIndex,
        event.resourceGuid, event.metricGroupIndex, event.classId, event.applicationMetricGroup, event.kind);
    if (task == nullptr)
        return false;
    int posted = 0;
    const bool result = post(self.taskExecutor, &posted, concurrencyIndex, task, deleteTaskPayload);
    if (!posted)
        (void)ORX_MonitoringEventTask_delete(task);
    return result;
}

[[gnu::cold]] bool reportFailedPost(const Event& event, ORX_UINT32 concurrencyIndex) {
    return ORX_ERROR(FAILED_TO_POST,
        "Distribution data for event kind '%s' with metric group index %u in concurrency queue with "
        "index %u\n",
        ORX_MonitoringEventTaskKind_toString(event.kind), event.metricGroupIndex, concurrencyIndex);
}

// Bytes of the group's value when they are all of it, else 0.
size_t plainSizeOf(const Event& event) {
    const auto forms = orx::dataModel::valueForms(event.classId);
    return event.metricGroupIndex < forms.size() ? forms[event.metricGroupIndex].plainSize : 0;
}

// The value stands right behind the event, aligned for any type.
static_assert((sizeof(ORX_MonitoringTaskExecutorTask) + sizeof(ORX_MonitoringEventTask)) %
                  alignof(std::max_align_t) ==
              0);

// It owns nothing: it goes with its node.
int deletePlainPayload(void*) {
    return 1;
}

} // namespace

bool orx::event::push(
    ORX_MonitoringEventTaskExecutor& self, const Event& event, ORX_UINT32 concurrencyIndex) {
    const size_t size = plainSizeOf(event);
    void* payload = size != 0 ? ORX_MonitoringTaskExecutor_reservePayload(
                                    self.taskExecutor, concurrencyIndex, sizeof(ORX_MonitoringEventTask) + size)
                              : nullptr;
    // Also when memory is short: there three small buffers may do, and each has its message.
    if (payload == nullptr)
        return postTask(self, event, concurrencyIndex, true);
    auto* task = static_cast<ORX_MonitoringEventTask*>(payload);
    std::memcpy(task->resourceGuid, event.resourceGuid, sizeof task->resourceGuid);
    task->metricGroupIndex = event.metricGroupIndex;
    task->resourceClassIdForMetricGroupInfo = event.classId;
    task->kind = event.kind;
    task->distributionMetricGroupMemory = std::memcpy(task + 1, event.applicationMetricGroup, size);
    int posted = 0;
    if (ORX_MonitoringTaskExecutor_postReservedPayload(
            self.taskExecutor, &posted, concurrencyIndex, payload, deletePlainPayload)) [[likely]]
        return true;
    if (!posted)
        ORX_MonitoringTaskExecutor_releasePayload(payload);
    return reportFailedPost(event, concurrencyIndex);
}

bool orx::event::postTask(ORX_MonitoringEventTaskExecutor& self, const Event& event,
    ORX_UINT32 concurrencyIndex, bool mutexTakenOutside) {
    bool result = false;
    if (mutexTakenOutside) {
        result = createAndPost(self, event, concurrencyIndex, ORX_MonitoringTaskExecutor_postTask);
    } else if (MetricLock lock{concurrencyIndex}) {
        result = createAndPost(self, event, concurrencyIndex, ORX_MonitoringTaskExecutor_postTask);
        if (!lock.release())
            result = false;
    }
    return result || reportFailedPost(event, concurrencyIndex);
}

bool orx::event::postTaskAllQueues(
    ORX_MonitoringEventTaskExecutor& self, const Event& event, ORX_UINT32 concurrencyIndex) {
    bool result = false;
    if (MetricLock lock{concurrencyIndex}) {
        result = createAndPost(self, event, concurrencyIndex, ORX_MonitoringTaskExecutor_postTaskAllQueues);
        if (!lock.release())
            result = false;
    }
    if (!result) {
        return ORX_ERROR(FAILED_TO_POST,
            "Distribution data for event kind '%s' with metric group index %u in all the queues\n",
            ORX_MonitoringEventTaskKind_toString(event.kind), event.metricGroupIndex);
    }
    return true;
}
