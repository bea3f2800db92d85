#include "src/eventMetrics/EventSample.hpp"

#include <cstring>
#include <utility>

#include "orxmonitoring2d/dds_entities_distribution_support.h"
#include "src/dataModel/MetricCatalogue.h"
#include "src/eventMetrics/EventPost.hpp"
#include "src/eventMetrics/SnapshotPace.hpp"
#include "src/log/Log.hpp"

namespace {

constexpr ORX_UINT32 orxLogSubmodule = orx::log::submodule::event;

using Executor = ORX_MonitoringEventTaskExecutor;
using Event = ORX_MonitoringEventTask;
using MetricSeq = ORX_MonitoringEventTaskExecutorSnapshotMetricSeq;

bool isSnapshot(ORX_MonitoringEventTaskKind kind) {
    return kind == ORX_MONITORING_EVENT_TASK_KIND_RESOURCE_SNAPSHOT ||
           kind == ORX_MONITORING_EVENT_TASK_KIND_METRIC_SNAPSHOT;
}

bool isResourceUpdate(ORX_MonitoringEventTaskKind kind) {
    return kind == ORX_MONITORING_EVENT_TASK_KIND_RESOURCE_CREATION ||
           kind == ORX_MONITORING_EVENT_TASK_KIND_RESOURCE_REMOVAL ||
           kind == ORX_MONITORING_EVENT_TASK_KIND_RESOURCE_CHANGE;
}

// A change of the metrics published and a snapshot move neither counter: they tell nothing that a reader
// could miss.
void increaseSampleEpoch(Executor& self) {
    switch (self.previousEventKind) {
    case ORX_MONITORING_EVENT_TASK_KIND_RESOURCE_CREATION:
    case ORX_MONITORING_EVENT_TASK_KIND_RESOURCE_REMOVAL:
        ++self.sample->info.epoch_resource;
        break;
    case ORX_MONITORING_EVENT_TASK_KIND_METRIC:
        ++self.sample->info.epoch_metric;
        break;
    case ORX_MONITORING_EVENT_TASK_KIND_NONE:
    case ORX_MONITORING_EVENT_TASK_KIND_RESOURCE_CHANGE:
    case ORX_MONITORING_EVENT_TASK_KIND_RESOURCE_SNAPSHOT:
    case ORX_MONITORING_EVENT_TASK_KIND_METRIC_SNAPSHOT:
        break;
    }
}

// The counters move even when the write fails, so that a reader sees that it has missed something.
bool sendSample(Executor& self) {
    increaseSampleEpoch(self);
    const DDS_ReturnCode_t result = DDS_Monitoring_EventDataWriter_write(
        DDS_Monitoring_EventDataWriter_narrow(self.writer), self.sample, &DDS_HANDLE_NIL);
    if (result != DDS_RETCODE_OK) {
        ORX_FLOOD_WARNING(FAILED_TO_SEND, "Event sample with epoch_resource (%llu) and epoch_metric (%llu)\n",
            static_cast<unsigned long long>(self.sample->info.epoch_resource),
            static_cast<unsigned long long>(self.sample->info.epoch_metric));
    }
    // Pointers are dropped, not freed: the memory is the tasks', which live until a later collection.
    std::memset(&self.sample->value, 0, sizeof self.sample->value);
    self.previousEventKind = ORX_MONITORING_EVENT_TASK_KIND_NONE;
    return result == DDS_RETCODE_OK;
}

bool mustSendCachedBefore(const Executor& self, const Event& event) {
    if (self.previousEventKind == ORX_MONITORING_EVENT_TASK_KIND_NONE)
        return false;
    return isSnapshot(event.kind) || event.kind != self.previousEventKind ||
           isResourceUpdate(self.previousEventKind) ||
           std::memcmp(event.resourceGuid, self.sample->resource_guid, sizeof event.resourceGuid) != 0;
}

void setIntoSample(Executor& self, const Event& event, const ORX_Monitoring_MetricGroupInfo* groups) {
    std::memcpy(self.sample->resource_guid, event.resourceGuid, sizeof self.sample->resource_guid);
    self.sample->info.is_snapshot = isSnapshot(event.kind);
    self.previousEventKind = event.kind;
    if (event.kind != ORX_MONITORING_EVENT_TASK_KIND_METRIC_SNAPSHOT) {
        groups[event.metricGroupIndex].setDistMetricGroupIntoSample(
            self.sample, event.distributionMetricGroupMemory);
        return;
    }
    // Also when no group could be fetched: a sample without groups is valid, one without a class is not.
    self.sample->value._d = event.resourceClassIdForMetricGroupInfo;
    const auto* metrics = static_cast<const MetricSeq*>(event.distributionMetricGroupMemory);
    const DDS_Long length = ORX_MonitoringEventTaskExecutorSnapshotMetricSeq_get_length(metrics);
    for (DDS_Long i = 0; i < length; ++i) {
        const auto* metric = ORX_MonitoringEventTaskExecutorSnapshotMetricSeq_get_reference(metrics, i);
        if (metric->metricGroupMemory == nullptr)
            continue;
        groups[metric->index].setDistMetricGroupIntoSample(self.sample, metric->metricGroupMemory);
    }
}

} // namespace

int ORX_MonitoringEventTaskExecutor_onTaskAvailable(
    void* userData, const struct ORX_MonitoringTaskExecutorTask* task) {
    ORX_FAIL_IF(userData == ORX_NULL);
    ORX_FAIL_IF(task == ORX_NULL);
    auto& self = *static_cast<Executor*>(userData);
    auto& event = *static_cast<Event*>(task->payload);
    if (!isSnapshot(event.kind))
        ++self.snapshotPace.changesRun;
    const ORX_Monitoring_MetricGroupInfo* groups =
        ORX_Monitoring_getMetricGroupInfo(event.resourceClassIdForMetricGroupInfo);
    if (groups == nullptr) {
        return ORX_WARNING(
            FAILED_TO_GET, "Metric group info of classId %u", event.resourceClassIdForMetricGroupInfo);
    }
    if (mustSendCachedBefore(self, event) && !sendSample(self))
        ORX_FLOOD_WARNING(FAILED_TO_SEND, "Cached sample\n");
    setIntoSample(self, event, groups);
    if (!isSnapshot(event.kind))
        return 1;
    orx::event::waitForRoom(self);
    const bool isSent = sendSample(self);
    // Here and not in a collection, which holds up whoever pushes.
    if (event.kind == ORX_MONITORING_EVENT_TASK_KIND_RESOURCE_SNAPSHOT)
        orx::event::deleteTreeGroup(self, std::exchange(event.distributionMetricGroupMemory, nullptr));
    if (!isSent)
        return ORX_FLOOD_WARNING(FAILED_TO_SEND, "Snapshot sample\n");
    return 1;
}

void ORX_MonitoringEventTaskExecutor_onAfterProcessedQueue(void* userData) {
    ORX_LEAVE_IF(userData == ORX_NULL);
    auto& self = *static_cast<Executor*>(userData);
    if (self.previousEventKind != ORX_MONITORING_EVENT_TASK_KIND_NONE)
        (void)sendSample(self);
}
