// The push of a metric group where its size is not known beforehand, or cannot be pushed in one piece.
#include "src/eventMetrics/EventPush.hpp"

#include "src/dataModel/DistributionMapping.hpp"
#include "src/eventMetrics/EventPost.hpp"
#include "src/log/Log.hpp"

namespace {

constexpr ORX_UINT32 orxLogSubmodule = orx::log::submodule::event;

using namespace orx::event;

// Bytes of the group's value when they are all of it; 0 for others, and for what is no event group.
ORX_UINT32 plainSizeOf(DDS_UnsignedLong classId, ORX_UINT32 metricGroupIndex) {
    const auto forms = orx::dataModel::eventValueForms(classId);
    return metricGroupIndex < forms.size() ? forms[metricGroupIndex].plainSize : 0;
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

bool pushInOnePiece(ORX_MonitoringTaskExecutor& executor, const ORX_MonitoringResource& resource,
    const void* applicationMetricGroup, ORX_UINT32 metricGroupIndex) {
    const ORX_UINT32 size = plainSizeOf(resource.base.class_id, metricGroupIndex);
    return size != 0 && linkPlainEvent(executor, resource, applicationMetricGroup, metricGroupIndex, size);
}

} // namespace

int orx::event::deletePlainPayload(void*) {
    return 1;
}

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
