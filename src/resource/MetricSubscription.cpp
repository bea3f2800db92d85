#include "src/resource/MetricSubscription.h"

#include <algorithm>
#include <cstdint>

#include "src/dataModel/DistributionMapping.hpp"
#include "src/dataModel/MetricCatalogue.h"
#include "src/eventMetrics/EventTaskExecutor.h"
#include "src/log/Log.hpp"
#include "src/resource/GuidText.hpp"
#include "src/resource/IndexSequence.h"
#include "src/resource/MetricSubscriptionPlan.hpp"
#include "src/resource/MetricSubscriptionSelect.hpp"
#include "src/resource/MonitoringResourceRegistry.h"
#include "src/resource/ResourcePin.h"

namespace {

constexpr ORX_UINT32 orxLogSubmodule = orx::log::submodule::resource;

// Waits for the periodic thread and for whoever holds the metric mutex, and sets the flag under both locks.
// resourcesMutex is held on entry, and on return unless a round of the wait failed.
enum class Wait { done, failed, failedWithoutMutex };
Wait waitAndPause(ORX_MonitoringResource& self) {
    ORXOsapiSemaphore* mutex = self.registry->resourcesMutex;
    // Other threads' pins do not matter: the dispatcher comes here with its own in place.
    while (self.lockCounter != 0 && (self.lockThreadMask & ORX_MONITORING_RESOURCE_LOCK_THREAD_PERIODIC) != 0)
        if (!ORX_MonitoringResource_letPinsChangeI(mutex))
            return Wait::failedWithoutMutex;
    if (ORX_Monitoring_lockI(ORX_MONITORING_LOCK_KIND_METRIC, self.concurrencyIndex, 1, 1, nullptr) !=
        ORX_MONITORING_LOCK_RESULT_OK) {
        (void)ORX_ERROR(
            FAILED_TO_LOCK, "Monitoring event metric lock with concurrency index %u", self.concurrencyIndex);
        return Wait::failed;
    }
    ORX_MonitoringResource_setPaused(&self, 1);
    if (ORX_Monitoring_unlockI(ORX_MONITORING_LOCK_KIND_METRIC, self.concurrencyIndex, 1) == 0)
        return Wait::done;
    (void)ORX_ERROR(FAILED_TO_UNLOCK, "Giving Monitoring event metric lock with concurrency index %u",
        self.concurrencyIndex);
    return Wait::failed;
}

// Beside the event groups in force, for the push.
void notePlainEventSizes(ORX_MonitoringResource& self) {
    const auto forms = orx::dataModel::eventValueForms(self.base.class_id);
    const DDS_UnsignedLongSeq& groups = self.monitoredEventMetricGroupIndex;
    for (DDS_Long i = 0; i < DDS_UnsignedLongSeq_get_length(&groups); ++i) {
        const DDS_UnsignedLong group = *DDS_UnsignedLongSeq_get_reference(&groups, i);
        if (group < std::size(self.plainEventSizes) && group < forms.size() &&
            forms[group].plainSize <= UINT8_MAX)
            self.plainEventSizes[group] = static_cast<ORX_UINT8>(forms[group].plainSize);
    }
}

bool updateAndPost(ORX_MonitoringResource* self, ORX_MonitoringEventTaskExecutor* eventTaskExecutor,
    const ORX_MonitoringResource* applicationResource) {
    if (!ORX_MonitoringResource_updateMetricSubscriptionSequences(self))
        return ORX_ERROR(FAILED_TO_UPDATE, "Metric subscription sequences");
    if (!ORX_MonitoringEventTaskExecutor_postResourceChangeTask(eventTaskExecutor, self, applicationResource))
        return ORX_ERROR(FAILED_TO_POST, "Resource change task");
    return true;
}

// With the metrics that `compute` gives the resource.
template <typename Compute>
bool modify(ORX_MonitoringResource& self, ORX_MonitoringEventTaskExecutor* eventTaskExecutor,
    const ORX_MonitoringResource* applicationResource, bool isUpdateCommand, Compute compute) {
    if (!isUpdateCommand && !DDS_UnsignedLongSeq_set_length(&self.monitoredMetricInfoIndex, 0))
        return ORX_ERROR(FAILED_TO_SET, "Monitored metric info index sequence length to %d", 0);
    if (!compute())
        return ORX_ERROR(FAILED_TO_PROCESS, "Metric info index list");
    if (!ORX_MonitoringResource_pauseMetrics(&self))
        return ORX_ERROR(FAILED_TO_PROCESS, "Pause resource");
    bool isDone = updateAndPost(&self, eventTaskExecutor, applicationResource);
    if (!ORX_MonitoringResource_resumeMetrics(&self, eventTaskExecutor)) {
        (void)ORX_ERROR(FAILED_TO_PROCESS, "Resume resource");
        isDone = false;
    }
    return isDone;
}

} // namespace

int ORX_MonitoringResource_computeMetricInfoIndexList(
    ORX_MonitoringResource* self, const REDAInlineList* metricSelectionList) {
    ORX_FAIL_IF(self == ORX_NULL);
    ORX_FAIL_IF(metricSelectionList == ORX_NULL);
    const ORX_Monitoring_MetricInfo* metricTable = ORX_Monitoring_getMetricInfo(self->base.class_id);
    const ORX_Monitoring_ResourceInfo* resourceInfo = ORX_Monitoring_getResourceInfo(self->base.class_id);
    if (metricTable == nullptr || resourceInfo == nullptr)
        return ORX_ERROR(FAILED_TO_GET, "Resource info");
    return orx::resource::selectMetrics(*self, *metricSelectionList, metricTable, *resourceInfo);
}

int ORX_MonitoringResource_updateMetricSubscriptionSequences(ORX_MonitoringResource* self) {
    ORX_FAIL_IF(self == ORX_NULL);
    std::fill(std::begin(self->plainEventSizes), std::end(self->plainEventSizes), ORX_UINT8{0});
    const DDS_Long count = DDS_UnsignedLongSeq_get_length(&self->monitoredMetricInfoIndex);
    if (!DDS_UnsignedLongSeq_ensure_length(&self->base.metric_ids, count, count))
        return ORX_ERROR(FAILED_TO_SET, "Metric IDs sequence length to %d", count);
    if (!DDS_UnsignedLongSeq_set_length(&self->monitoredEventMetricGroupIndex, 0))
        return ORX_ERROR(FAILED_TO_SET, "Monitored event metric group index sequence length to %d", 0);
    if (!DDS_UnsignedLongSeq_set_length(&self->monitoredPeriodicMetricGroupIndex, 0))
        return ORX_ERROR(FAILED_TO_SET, "Monitored periodic metric group index sequence length to %d", 0);
    const ORX_Monitoring_MetricInfo* metricTable = ORX_Monitoring_getMetricInfo(self->base.class_id);
    if (metricTable == nullptr)
        return ORX_ERROR(FAILED_TO_GET, "Resource info");
    for (DDS_Long i = 0; i < count; ++i) {
        const ORX_Monitoring_MetricInfo& metric =
            metricTable[*DDS_UnsignedLongSeq_get_reference(&self->monitoredMetricInfoIndex, i)];
        *DDS_UnsignedLongSeq_get_reference(&self->base.metric_ids, i) = metric.metricId;
        DDS_UnsignedLongSeq* groups = metric.distributionKind == DDS_OBSERVABLE_PERIODIC_DISTRIBUTION_KIND
                                          ? &self->monitoredPeriodicMetricGroupIndex
                                          : &self->monitoredEventMetricGroupIndex;
        if (!DDS_UnsignedLongSeq_assertElement(groups, metric.metricGroupIndex))
            return ORX_ERROR(FAILED_TO_ASSERT,
                "Metric group index %u into monitored metric group index sequence", metric.metricGroupIndex);
    }
    if (!ORX_MonitoringResource_registerLabelMetrics(self))
        return ORX_ERROR(FAILED_TO_REGISTER, "Resource label metrics");
    notePlainEventSizes(*self);
    return 1;
}

int ORX_MonitoringResource_applyMetricSelectionList(
    ORX_MonitoringResource* self, const REDAInlineList* metricSelectionList) {
    ORX_FAIL_IF(self == ORX_NULL);
    ORX_FAIL_IF(metricSelectionList == ORX_NULL);
    if (!ORX_MonitoringResource_computeMetricInfoIndexList(self, metricSelectionList))
        return ORX_ERROR(FAILED_TO_PROCESS,
            "It was not possible to compute the metric info index list for resource (GUID " ORX_GUID_FORMAT
            " %s%s)",
            ORX_GUID_ARGUMENTS(self->base.guid), ORX_NAME_ARGUMENTS(self->base.name));
    if (!ORX_MonitoringResource_updateMetricSubscriptionSequences(self))
        return ORX_ERROR(FAILED_TO_PROCESS,
            "It was not possible to update the metric subscription sequences for resource "
            "(GUID " ORX_GUID_FORMAT " %s%s)",
            ORX_GUID_ARGUMENTS(self->base.guid), ORX_NAME_ARGUMENTS(self->base.name));
    return 1;
}

int ORX_MonitoringResource_modifyMetricSelection(ORX_MonitoringResource* self,
    ORX_MonitoringEventTaskExecutor* eventTaskExecutor, const REDAInlineList* metricSelectionList,
    const ORX_MonitoringResource* applicationResource, int isUpdateCommand) {
    ORX_FAIL_IF(self == ORX_NULL);
    ORX_FAIL_IF(eventTaskExecutor == ORX_NULL);
    ORX_FAIL_IF(metricSelectionList == ORX_NULL);
    ORX_FAIL_IF(applicationResource == ORX_NULL);
    return modify(*self, eventTaskExecutor, applicationResource, isUpdateCommand != 0,
        [&] { return ORX_MonitoringResource_computeMetricInfoIndexList(self, metricSelectionList) != 0; });
}

bool orx::resource::modifyMetricSelection(ORX_MonitoringResource& self,
    ORX_MonitoringEventTaskExecutor* eventTaskExecutor, SelectionPlan& plan,
    const ORX_MonitoringResource* applicationResource, bool isUpdateCommand) {
    return modify(
        self, eventTaskExecutor, applicationResource, isUpdateCommand, [&] { return plan.compute(self); });
}

int ORX_MonitoringResource_pauseMetrics(ORX_MonitoringResource* self) {
    ORX_FAIL_IF(self == ORX_NULL);
    ORX_FAIL_IF(self->registry == ORX_NULL);
    ORXOsapiSemaphore* mutex = self->registry->resourcesMutex;
    if (ORXOsapiSemaphore_take(mutex, nullptr) != ORX_OSAPI_SEMAPHORE_STATUS_OK)
        return ORX_ERROR(FAILED_TO_LOCK, "Taking resources mutex in the resource list");
    const Wait wait = waitAndPause(*self);
    if (wait == Wait::failedWithoutMutex)
        return 0;
    if (ORXOsapiSemaphore_give(mutex) != ORX_OSAPI_SEMAPHORE_STATUS_OK)
        return ORX_ERROR(FAILED_TO_UNLOCK, "Giving resources mutex in the resource list");
    return wait == Wait::done;
}

int ORX_MonitoringResource_resumeMetrics(
    ORX_MonitoringResource* self, ORX_MonitoringEventTaskExecutor* eventTaskExecutor) {
    ORX_FAIL_IF(self == ORX_NULL);
    ORX_FAIL_IF(eventTaskExecutor == ORX_NULL);
    ORX_MonitoringResource_setPaused(self, 0);
    if (!ORX_MonitoringEventTaskExecutor_postEventMetricSnapshotTask(eventTaskExecutor, self, nullptr))
        return ORX_ERROR(FAILED_TO_POST, "Event metric snapshot task");
    return 1;
}

int ORX_MonitoringResource_isSubscribedToEventMetric(
    const ORX_MonitoringResource* self, ORX_UINT32 metricGroupIndex) {
    ORX_FAIL_IF(self == ORX_NULL);
    return orx::resource::publishesEventGroup(*self, metricGroupIndex);
}
