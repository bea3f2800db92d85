#include "src/eventMetrics/EventPost.hpp"

#include <atomic>

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
bool createAndPost(ORX_MonitoringEventTaskExecutor& self, const Event& event, ORX_UINT32 concurrencyIndex,
    Post post, int& posted) {
    REDAInlineMemory** memoryManager =
        ORX_MonitoringTaskExecutor_getMemoryManager(self.taskExecutor, concurrencyIndex);
    if (memoryManager == nullptr) {
        return ORX_ERROR(FAILED_TO_GET, "Memory manager with index %u\n", concurrencyIndex);
    }
    ORX_MonitoringEventTask* task =
        event.treeGroup != nullptr
            ? ORX_MonitoringEventTask_newAround(memoryManager, concurrencyIndex, event.resourceGuid,
                  event.metricGroupIndex, event.classId, event.treeGroup, event.kind)
            : ORX_MonitoringEventTask_new(memoryManager, concurrencyIndex, event.resourceGuid,
                  event.metricGroupIndex, event.classId, event.applicationMetricGroup, event.kind);
    if (task == nullptr)
        return false;
    const bool result = post(self.taskExecutor, &posted, concurrencyIndex, task, deleteTaskPayload);
    if (!posted) {
        if (event.treeGroup != nullptr)
            task->distributionMetricGroupMemory = nullptr; // the caller's
        (void)ORX_MonitoringEventTask_delete(task);
    } else if (event.kind == ORX_MONITORING_EVENT_TASK_KIND_RESOURCE_SNAPSHOT ||
               event.kind == ORX_MONITORING_EVENT_TASK_KIND_METRIC_SNAPSHOT) {
        std::atomic_ref(self.snapshotPace.snapshotsPosted).fetch_add(1, std::memory_order_relaxed);
    }
    return result;
}

} // namespace

bool orx::event::reportFailedPost(
    ORX_UINT32 metricGroupIndex, ORX_MonitoringEventTaskKind kind, ORX_UINT32 concurrencyIndex) {
    return ORX_FLOOD_ERROR(FAILED_TO_POST,
        "Distribution data for event kind '%s' with metric group index %u in concurrency queue with "
        "index %u\n",
        ORX_MonitoringEventTaskKind_toString(kind), metricGroupIndex, concurrencyIndex);
}

bool orx::event::postTask(ORX_MonitoringEventTaskExecutor& self, const Event& event,
    ORX_UINT32 concurrencyIndex, bool mutexTakenOutside) {
    bool result = false;
    int posted = 0;
    if (mutexTakenOutside) {
        result = createAndPost(self, event, concurrencyIndex, ORX_MonitoringTaskExecutor_postTask, posted);
    } else if (MetricLock lock{concurrencyIndex}) {
        result = createAndPost(self, event, concurrencyIndex, ORX_MonitoringTaskExecutor_postTask, posted);
        if (!lock.release())
            result = false;
    }
    return result || reportFailedPost(event.metricGroupIndex, event.kind, concurrencyIndex);
}

bool orx::event::postTaskAllQueues(
    ORX_MonitoringEventTaskExecutor& self, const Event& event, ORX_UINT32 concurrencyIndex) {
    bool result = false;
    int posted = 0;
    if (MetricLock lock{concurrencyIndex}) {
        result = createAndPost(
            self, event, concurrencyIndex, ORX_MonitoringTaskExecutor_postTaskAllQueues, posted);
        if (!lock.release())
            result = false;
    }
    if (!posted && event.treeGroup != nullptr)
        deleteTreeGroup(self, event.treeGroup);
    if (!result) {
        return ORX_ERROR(FAILED_TO_POST,
            "Distribution data for event kind '%s' with metric group index %u in all the queues\n",
            ORX_MonitoringEventTaskKind_toString(event.kind), event.metricGroupIndex);
    }
    return true;
}
