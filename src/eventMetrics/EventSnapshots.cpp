// Snapshots: what a reader that has just come needs to know.
#include <atomic>

#include "orxmonitoring2d/dds_entities_distribution.h"
#include "src/dataModel/MetricCatalogue.h"
#include "src/eventMetrics/EventPost.hpp"
#include "src/eventMetrics/EventTaskExecutor.h"
#include "src/eventMetrics/MetricLock.hpp"
#include "src/monitoringClass/EntityLock.h"
#include "src/resource/MonitoringResourceRegistry.h"

namespace {

constexpr ORX_UINT32 orxLogSubmodule = orx::log::submodule::event;

using namespace orx::event;
using Executor = ORX_MonitoringEventTaskExecutor;
using Resource = ORX_MonitoringResource;
using Registry = ORX_MonitoringResourceRegistry;
using Metric = ORX_MonitoringEventTaskExecutorSnapshotMetric;
using MetricSeq = ORX_MonitoringEventTaskExecutorSnapshotMetricSeq;

// A resource in a message: two texts.
const char* nameLabel(const Resource& resource) {
    return resource.base.name != nullptr ? "with name " : "";
}
const char* nameText(const Resource& resource) {
    return resource.base.name != nullptr ? resource.base.name : "";
}

bool postTree(Executor& self, Registry& registry) {
    // Atomic, since the snapshot thread reads it without the library lock.
    std::atomic_ref(registry.snapshotEpoch).fetch_add(1, std::memory_order_relaxed);
    if (!ORX_MonitoringResourceRegistry_refreshSampleSequence(&registry)) {
        return ORX_ERROR(FAILED_TO_UPDATE, "resource registry\n");
    }
    void* tree = newTreeGroup(self, &registry.base);
    if (tree == nullptr)
        return false;
    const Event event{.resourceGuid = self.sample->info.root_resource_guid,
        .metricGroupIndex = ORX_MONITORING_APPLICATION_RESOURCE_REGISTRY_GROUP,
        .classId = ORX_MONITORING_APPLICATION_CLASS_ID,
        .applicationMetricGroup = nullptr,
        .kind = ORX_MONITORING_EVENT_TASK_KIND_RESOURCE_SNAPSHOT,
        .treeGroup = tree};
    return postTaskAllQueues(self, event, 0);
}

// The groups of a resource, fetched one by one and returned at the end. Its elements lie in the queue's
// arena: the metric mutex is held through its life.
class FetchedMetrics {
public:
    FetchedMetrics(Executor& executor, const Resource& resource, const DDS_UnsignedLongSeq& indexes)
        : resource_{resource}, length_{DDS_UnsignedLongSeq_get_length(&indexes)} {
        auto** arena =
            ORX_MonitoringTaskExecutor_getMemoryManager(executor.taskExecutor, resource.concurrencyIndex);
        if (arena == nullptr)
            return;
        elements_ =
            ORX_MonitoringEventTaskExecutorSnapshotMetric_newArray(arena, resource.concurrencyIndex, length_);
        if (elements_ == nullptr)
            return;
        if (!ORX_MonitoringEventTaskExecutorSnapshotMetricSeq_loan_contiguous(
                &metrics_, elements_, length_, length_)) {
            ORX_ERROR(FAILED_TO_LOAN, "ORX_MonitoringEventTaskExecutorSnapshotMetric array\n");
            return;
        }
        isLoaned_ = true;
        for (DDS_Long i = 0; i < length_; ++i) {
            elements_[i].index = *DDS_UnsignedLongSeq_get_reference(&indexes, i);
            fetch(elements_[i]);
        }
    }
    ~FetchedMetrics() {
        if (isLoaned_) {
            giveBack();
            (void)ORX_MonitoringEventTaskExecutorSnapshotMetricSeq_unloan(&metrics_);
        }
        if (elements_ != nullptr)
            (void)REDAInlineMemBuffer_release(elements_);
        (void)ORX_MonitoringEventTaskExecutorSnapshotMetricSeq_finalize(&metrics_);
    }
    FetchedMetrics(const FetchedMetrics&) = delete;
    FetchedMetrics& operator=(const FetchedMetrics&) = delete;

    explicit operator bool() const { return isLoaned_; }
    const MetricSeq& sequence() const { return metrics_; }

private:
    void fetch(Metric& metric) {
        const auto get = resource_.forwarder.get_metric_group_function;
        if (get != nullptr && get(&metric.metricGroupMemory, resource_.userResource, metric.index))
            return;
        metric.metricGroupMemory = nullptr;
        ORX_ERROR(FAILED_TO_GET, "Metric group with index %u. For a snapshot for resource %s%s\n",
            metric.index, nameLabel(resource_), nameText(resource_));
    }
    void giveBack() {
        const auto giveBackGroup = resource_.forwarder.return_metric_group_function;
        for (DDS_Long i = 0; giveBackGroup != nullptr && i < length_; ++i) {
            Metric& metric = elements_[i];
            if (metric.metricGroupMemory != nullptr &&
                !giveBackGroup(&metric.metricGroupMemory, metric.index)) {
                ORX_ERROR(FAILED_TO_RETURN, "Metric group with index %u. For a snapshot for resource %s%s\n",
                    metric.index, nameLabel(resource_), nameText(resource_));
            }
        }
    }

    const Resource& resource_;
    const DDS_Long length_;
    MetricSeq metrics_{};
    Metric* elements_ = nullptr;
    bool isLoaned_ = false;
};

// Under the entity lock and the metric mutex.
bool postMetrics(Executor& self, Resource& resource, const DDS_UnsignedLongSeq* metrics) {
    if (ORX_MonitoringResource_isPaused(&resource)) {
        ORX_WARNING(FAILED_TO_POST, "A metric snapshot was requested but resource %s%s is paused",
            nameLabel(resource), nameText(resource));
        ++resource.stats.skippedEventSnapshots;
        return true;
    }
    const FetchedMetrics fetched{
        self, resource, metrics != nullptr ? *metrics : resource.monitoredEventMetricGroupIndex};
    if (!fetched)
        return false;
    const Event event{.resourceGuid = resource.base.guid,
        .metricGroupIndex = 0,
        .classId = resource.base.class_id,
        .applicationMetricGroup = &fetched.sequence(),
        .kind = ORX_MONITORING_EVENT_TASK_KIND_METRIC_SNAPSHOT};
    return postTask(self, event, resource.concurrencyIndex, true);
}

} // namespace

int ORX_MonitoringEventTaskExecutor_postResourceSnapshotTask(ORX_MonitoringEventTaskExecutor* self,
    struct ORX_MonitoringResourceRegistry* resourceRegistry, int mutexAlreadyTaken) {
    ORX_FAIL_IF(self == ORX_NULL);
    ORX_FAIL_IF(resourceRegistry == ORX_NULL);
    if (mutexAlreadyTaken)
        return postTree(*self, *resourceRegistry);
    if (ORX_Monitoring_lockI(ORX_MONITORING_LOCK_KIND_LIBRARY, 0, 1, 1, nullptr) !=
        ORX_MONITORING_LOCK_RESULT_OK) {
        return ORX_ERROR(FAILED_TO_LOCK, "Taking Monitoring Library 2.0 mutex");
    }
    bool result = postTree(*self, *resourceRegistry);
    if (ORX_Monitoring_unlockI(ORX_MONITORING_LOCK_KIND_LIBRARY, 0, 1) != 0) {
        result = ORX_ERROR(FAILED_TO_UNLOCK, "Giving Monitoring Library 2.0 mutex");
    }
    return result;
}

int ORX_MonitoringEventTaskExecutor_postEventMetricSnapshotTask(ORX_MonitoringEventTaskExecutor* self,
    struct ORX_MonitoringResource* resource, const DDS_UnsignedLongSeq* metrics) {
    ORX_FAIL_IF(self == ORX_NULL);
    ORX_FAIL_IF(resource == ORX_NULL);
    if (!ORX_Monitoring_lockDdsEntityFromResource(resource)) {
        return ORX_ERROR(FAILED_TO_LOCK, "DDS entity associated to resource");
    }
    bool result = false;
    if (MetricLock lock{resource->concurrencyIndex}) {
        result = postMetrics(*self, *resource, metrics);
        if (!lock.release())
            result = false;
    }
    if (!ORX_Monitoring_unlockDdsEntityFromResource(resource)) {
        result = ORX_ERROR(FAILED_TO_UNLOCK, "DDS entity associated to resource");
    }
    return result;
}

int ORX_MonitoringEventTaskExecutor_postInitialSnapshots(
    ORX_MonitoringEventTaskExecutor* self, struct ORX_MonitoringResourceRegistry* resourceRegistry) {
    ORX_FAIL_IF(self == ORX_NULL);
    ORX_FAIL_IF(resourceRegistry == ORX_NULL);
    if (!ORX_MonitoringEventTaskExecutor_postResourceSnapshotTask(self, resourceRegistry, 1))
        return 0;
    for (Resource* resource = ORX_MonitoringResourceRegistry_getFirstResource(resourceRegistry, 0, 0);
         resource != nullptr;
         resource = ORX_MonitoringResourceRegistry_getNextResource(resourceRegistry, resource, 0, 0)) {
        if (ORX_MonitoringResource_isPaused(resource))
            continue;
        if (!ORX_MonitoringEventTaskExecutor_postEventMetricSnapshotTask(self, resource, nullptr)) {
            return ORX_ERROR(FAILED_TO_POST, "Event metric snapshot for resource %s%s\n",
                nameLabel(*resource), nameText(*resource));
        }
    }
    return 1;
}
