// The push of a metric group, on the application's thread. Most groups are plain: node, event and value share
// one buffer and the value is copied in line. Any other group goes the way of the other events.
#include <cstring>

#include "src/dataModel/DistributionMapping.hpp"
#include "src/eventMetrics/EventPost.hpp"
#include "src/log/Log.hpp"
#include "src/resource/MonitoringResource.h"
#include "src/taskExecutor/ReservedTask.hpp"

namespace {

constexpr ORX_UINT32 orxLogSubmodule = orx::log::submodule::event;

using namespace orx::event;
using orx::taskExecutor::Queue;
using ReservedEvent = orx::taskExecutor::ReservedTask<ORX_MonitoringEventTask>;

// The value stands right behind it, aligned for any type.
static_assert(sizeof(ReservedEvent) % alignof(std::max_align_t) == 0);

// Bytes of the group's value when they are all of it; 0 for others, and for what is no event group.
ORX_UINT32 plainSizeOf(DDS_UnsignedLong classId, ORX_UINT32 metricGroupIndex) {
    const auto forms = orx::dataModel::eventValueForms(classId);
    return metricGroupIndex < forms.size() ? forms[metricGroupIndex].plainSize : 0;
}

// The payload owns nothing: it goes with its node.
int deletePlainPayload(void*) {
    return 1;
}

// As any event is posted, in three buffers. Also where the one buffer could not be had: smaller ones may be,
// and each failure has its message.
[[gnu::noinline]] bool pushInPieces(ORX_MonitoringEventTaskExecutor& self,
    const ORX_MonitoringResource& resource, const void* applicationMetricGroup, ORX_UINT32 metricGroupIndex) {
    const Event event{.resourceGuid = resource.base.guid,
        .metricGroupIndex = metricGroupIndex,
        .classId = resource.base.class_id,
        .applicationMetricGroup = applicationMetricGroup,
        .kind = ORX_MONITORING_EVENT_TASK_KIND_METRIC};
    return postTask(self, event, resource.concurrencyIndex, true);
}

// False, with nothing posted, where it takes the other way.
bool pushInOnePiece(ORX_MonitoringTaskExecutor& executor, const ORX_MonitoringResource& resource,
    const void* applicationMetricGroup, ORX_UINT32 metricGroupIndex) {
    const ORX_UINT32 size = plainSizeOf(resource.base.class_id, metricGroupIndex);
    if (size == 0 || resource.concurrencyIndex >= executor.property.concurrencyLevel)
        return false;
    Queue& queue = executor.queues[resource.concurrencyIndex];
    auto* reserved = orx::taskExecutor::reserveTask<ORX_MonitoringEventTask>(queue, size);
    if (reserved == nullptr)
        return false;
    ORX_MonitoringEventTask& event = reserved->payload;
    std::memcpy(event.resourceGuid, resource.base.guid, sizeof event.resourceGuid);
    event.metricGroupIndex = metricGroupIndex;
    event.resourceClassIdForMetricGroupInfo = resource.base.class_id;
    event.kind = ORX_MONITORING_EVENT_TASK_KIND_METRIC;
    event.distributionMetricGroupMemory = std::memcpy(reserved + 1, applicationMetricGroup, size);
    if (orx::taskExecutor::linkReservedTask(queue, *reserved, deletePlainPayload)) [[likely]]
        return true;
    (void)REDAInlineMemBuffer_release(reserved);
    return false;
}

} // namespace

int ORX_MonitoringEventTaskExecutor_postEventUpdateTask(ORX_MonitoringEventTaskExecutor* self,
    struct ORX_MonitoringResource* resource, const void* applicationMetricGroup,
    ORX_UINT32 metricGroupIndex) {
    ORX_FAIL_IF(self == ORX_NULL);
    ORX_FAIL_IF(resource == ORX_NULL);
    ORX_FAIL_IF(applicationMetricGroup == ORX_NULL);
    ORX_MonitoringTaskExecutor& executor = *self->taskExecutor;
    if (!pushInOnePiece(executor, *resource, applicationMetricGroup, metricGroupIndex))
        return pushInPieces(*self, *resource, applicationMetricGroup, metricGroupIndex);
    if (!orx::taskExecutor::signalNewTask(executor)) {
        return reportFailedPost(
            metricGroupIndex, ORX_MONITORING_EVENT_TASK_KIND_METRIC, resource->concurrencyIndex);
    }
    return 1;
}
