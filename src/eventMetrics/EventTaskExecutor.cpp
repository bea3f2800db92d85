#include "src/eventMetrics/EventTaskExecutor.h"

#include <cstring>

#include "orxmonitoring2d/dds_entities_distribution_support.h"
#include "src/dataModel/DistributionMapping.hpp"
#include "src/dataModel/MetricCatalogue.h"
#include "src/eventMetrics/EventPost.hpp"
#include "src/eventMetrics/EventSample.hpp"
#include "src/eventMetrics/SnapshotPace.hpp"
#include "src/log/Log.hpp"
#include "src/resource/MonitoringResource.h"
#include "zddscore/heap.h"

namespace {

constexpr ORX_UINT32 orxLogSubmodule = orx::log::submodule::event;

using namespace orx::event;
using Executor = ORX_MonitoringEventTaskExecutor;
using Resource = ORX_MonitoringResource;

bool startTaskExecutor(Executor& self, const ORX_MonitoringEventProperty_t& eventProperty,
    const char* threadName, const ORX_MonitoringGlobalsConcurrency& concurrencyModel) {
    ORX_MonitoringTaskExecutorProperty_t property;
    ORX_MonitoringTaskExecutorProperty_t_initialize(&property);
    property.concurrencyLevel = concurrencyModel.level;
    property.mutexPool = concurrencyModel.mutexPool;
    property.gcTaskThreshold = eventProperty.gc_threshold;
    property.initialMemoryManagerSize = eventProperty.initial_memory_size;
    property.wakeUpPeriod = eventProperty.publication_period;
    const ORX_MonitoringTaskExecutorListener listener{&self, ORX_MonitoringEventTaskExecutor_onTaskAvailable,
        ORX_MonitoringEventTaskExecutor_onAfterProcessedQueue};
    if (!DDS_ThreadSettings_t_copy(&property.threadSettings, &eventProperty.thread_setting)) {
        ORX_ERROR(FAILED_TO_COPY, "event thread settings\n");
    } else {
        self.taskExecutor = ORX_MonitoringTaskExecutor_new(&property, &listener, threadName);
        if (self.taskExecutor == nullptr) {
            ORX_ERROR(FAILED_TO_CREATE, "event task executor with thread name %s\n", threadName);
        }
    }
    ORX_MonitoringTaskExecutorProperty_t_finalize(&property);
    return self.taskExecutor != nullptr;
}

bool initialize(Executor& self, const ORX_MonitoringEventProperty_t& eventProperty, const char* threadName,
    DDS_DataWriter* writer, const ORX_MonitoringGlobalsConcurrency& concurrencyModel,
    const DDS_Octet rootResourceGuid[16]) {
    self.writer = writer;
    self.sample = DDS_Monitoring_EventPluginSupport_create_data();
    if (self.sample == nullptr)
        return ORX_ERROR(FAILED_TO_CREATE, "event sample\n");
    std::memcpy(
        self.sample->info.root_resource_guid, rootResourceGuid, sizeof self.sample->info.root_resource_guid);
    if (!initializePace(self.snapshotPace, *writer))
        return false;
    if (!initializeTreeMemory(self, eventProperty))
        return false;
    if (!orx::dataModel::prepareEventValues())
        return ORX_ERROR(FAILED_TO_INITIALIZE, "types of the event metric groups\n");
    return startTaskExecutor(self, eventProperty, threadName, concurrencyModel);
}

// False, with everything left in place, when the worker could not be stopped.
bool finalize(Executor& self) {
    if (self.taskExecutor != nullptr) {
        if (!ORX_MonitoringTaskExecutor_finalize(self.taskExecutor))
            return false;
        ORX_MonitoringTaskExecutor_delete(self.taskExecutor);
        self.taskExecutor = nullptr;
    }
    finalizeTreeMemory(self);
    self.writer = nullptr;
    if (self.sample != nullptr) {
        // What is cached pointed into an arena that is gone.
        std::memset(&self.sample->value, 0, sizeof self.sample->value);
        DDS_Monitoring_EventPluginSupport_destroy_data(self.sample);
        self.sample = nullptr;
    }
    return true;
}

// The published ids on loan, so that an update needs no copy of its own.
class MetricIdsLoan {
public:
    MetricIdsLoan(DDS_UnsignedLongSeq& borrower, const DDS_UnsignedLongSeq& lender) : borrower_{borrower} {
        held_ =
            DDS_UnsignedLongSeq_loan_contiguous(&borrower, DDS_UnsignedLongSeq_get_contiguous_buffer(&lender),
                DDS_UnsignedLongSeq_get_length(&lender), DDS_UnsignedLongSeq_get_maximum(&lender));
        if (!held_)
            ORX_ERROR(FAILED_TO_LOAN, "metric ids of the resource\n");
    }
    ~MetricIdsLoan() {
        if (held_ && !DDS_UnsignedLongSeq_unloan(&borrower_)) {
            ORX_ERROR(FAILED_TO_UNLOAN, "metric ids of the resource\n");
        }
    }
    MetricIdsLoan(const MetricIdsLoan&) = delete;
    MetricIdsLoan& operator=(const MetricIdsLoan&) = delete;
    explicit operator bool() const { return held_; }

private:
    DDS_UnsignedLongSeq& borrower_;
    bool held_;
};

void copyGuid(DDS_Monitoring_GUID_t& self, const DDS_Monitoring_GUID_t& source) {
    std::memcpy(self, source, sizeof self);
}

// An event about the tree is the application's: the resource that it concerns is named inside.
Event updateEvent(const Resource& applicationResource, const DDS_Monitoring_ResourceUpdate& update,
    ORX_MonitoringEventTaskKind kind) {
    return {.resourceGuid = applicationResource.base.guid,
        .metricGroupIndex = ORX_MONITORING_APPLICATION_RESOURCE_UPDATE_GROUP,
        .classId = ORX_MONITORING_APPLICATION_CLASS_ID,
        .applicationMetricGroup = &update,
        .kind = kind};
}

} // namespace

ORX_MonitoringEventTaskExecutor* ORX_MonitoringEventTaskExecutor_new(
    const ORX_MonitoringEventProperty_t* eventProperty, const char* threadName, DDS_DataWriter* writer,
    const ORX_MonitoringGlobalsConcurrency* concurrencyModel, const DDS_Octet rootResourceGuid[16]) {
    ORX_FAIL_IF(eventProperty == ORX_NULL);
    ORX_FAIL_IF(threadName == ORX_NULL);
    ORX_FAIL_IF(writer == ORX_NULL);
    ORX_FAIL_IF(concurrencyModel == ORX_NULL);
    ORX_FAIL_IF(rootResourceGuid == ORX_NULL);
    Executor* self = nullptr;
    if (!ORXOsapiHeap_allocateStructure(&self, struct ORX_MonitoringEventTaskExecutor)) {
        return ORX_ERROR(FAILED_TO_ALLOCATE, "'struct ORX_MonitoringEventTaskExecutor' with size %u\n",
            static_cast<unsigned>(sizeof *self));
    }
    if (!initialize(*self, *eventProperty, threadName, writer, *concurrencyModel, rootResourceGuid)) {
        (void)ORX_MonitoringEventTaskExecutor_delete(self);
        return ORX_ERROR(FAILED_TO_INITIALIZE, "ORX_MonitoringEventTaskExecutor\n");
    }
    return self;
}

int ORX_MonitoringEventTaskExecutor_delete(ORX_MonitoringEventTaskExecutor* self) {
    if (self == nullptr)
        return 1;
    if (!finalize(*self))
        return 0;
    ORXOsapiHeap_freeStructure(self);
    return 1;
}

int ORX_MonitoringEventTaskExecutor_postResourceCreationTask(ORX_MonitoringEventTaskExecutor* self,
    const struct ORX_MonitoringResource* resource, const struct ORX_MonitoringResource* applicationResource) {
    ORX_FAIL_IF(self == ORX_NULL);
    ORX_FAIL_IF(resource == ORX_NULL);
    ORX_FAIL_IF(applicationResource == ORX_NULL);
    DDS_Monitoring_ResourceUpdate update{};
    update._d = DDS_Monitoring_ResourceUpdateKind_RESOURCE_UPDATE_CREATION_KIND;
    DDS_Monitoring_NewResourceUpdate& created = update._u.new_resource;
    created.class_id = resource->base.class_id;
    created.name = resource->base.name;
    copyGuid(created.guid, resource->base.guid);
    if (resource->parent != nullptr)
        copyGuid(created.owner_resource_guid, resource->parent->base.guid);
    copyGuid(created.user_resource_guid, resource->base.user_resource_guid);
    const MetricIdsLoan loan{created.metric_ids, resource->base.metric_ids};
    return loan &&
           postTaskAllQueues(*self,
               updateEvent(*applicationResource, update, ORX_MONITORING_EVENT_TASK_KIND_RESOURCE_CREATION),
               resource->concurrencyIndex);
}

int ORX_MonitoringEventTaskExecutor_postDeletionResourceTask(ORX_MonitoringEventTaskExecutor* self,
    const struct ORX_MonitoringResource* resource, const struct ORX_MonitoringResource* applicationResource) {
    ORX_FAIL_IF(self == ORX_NULL);
    ORX_FAIL_IF(resource == ORX_NULL);
    ORX_FAIL_IF(applicationResource == ORX_NULL);
    DDS_Monitoring_ResourceUpdate update{};
    update._d = DDS_Monitoring_ResourceUpdateKind_RESOURCE_UPDATE_DELETION_KIND;
    copyGuid(update._u.delete_resource.guid, resource->base.guid);
    return postTask(*self,
        updateEvent(*applicationResource, update, ORX_MONITORING_EVENT_TASK_KIND_RESOURCE_REMOVAL),
        resource->concurrencyIndex, false);
}

int ORX_MonitoringEventTaskExecutor_postResourceChangeTask(ORX_MonitoringEventTaskExecutor* self,
    const struct ORX_MonitoringResource* resource, const struct ORX_MonitoringResource* applicationResource) {
    ORX_FAIL_IF(self == ORX_NULL);
    ORX_FAIL_IF(resource == ORX_NULL);
    ORX_FAIL_IF(applicationResource == ORX_NULL);
    DDS_Monitoring_ResourceUpdate update{};
    update._d = DDS_Monitoring_ResourceUpdateKind_RESOURCE_UPDATE_CHANGE_KIND;
    copyGuid(update._u.change_resource.guid, resource->base.guid);
    const MetricIdsLoan loan{update._u.change_resource.metric_ids, resource->base.metric_ids};
    return loan &&
           postTask(*self,
               updateEvent(*applicationResource, update, ORX_MONITORING_EVENT_TASK_KIND_RESOURCE_CHANGE),
               resource->concurrencyIndex, false);
}
