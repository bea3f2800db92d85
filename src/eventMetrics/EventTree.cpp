// The groups of tree snapshots, which grow with the tree: making or freeing one of ten thousand resources
// takes milliseconds, and no metric mutex is held meanwhile.
#include "src/dataModel/MetricCatalogue.h"
#include "src/eventMetrics/EventPost.hpp"
#include "src/log/Log.hpp"
#include "src/taskExecutor/TaskQueue.hpp"

namespace {

constexpr ORX_UINT32 orxLogSubmodule = orx::log::submodule::event;

// A bound of its own, in place of the queues': a tree that did not fit could never be published.
constexpr REDAInlineMemorySize treeBound = 2147483646;

const ORX_Monitoring_MetricGroupInfo& registryGroup() {
    return ORX_Monitoring_getMetricGroupInfo(
        ORX_MONITORING_APPLICATION_CLASS_ID)[ORX_MONITORING_APPLICATION_RESOURCE_REGISTRY_GROUP];
}

} // namespace

void* orx::event::newTreeGroup(ORX_MonitoringEventTaskExecutor& self, const void* registrySample) {
    if (ORXOsapiSemaphore_take(self.treeMutex, nullptr) != ORX_OSAPI_SEMAPHORE_STATUS_OK)
        return ORX_ERROR(FAILED_TO_LOCK, "Taking tree snapshot mutex\n");
    void* group = registryGroup().mapAppToDistMetricGroupFunction(registrySample, &self.treeMemory);
    (void)ORXOsapiSemaphore_give(self.treeMutex);
    if (group == nullptr) {
        return ORX_ERROR(FAILED_TO_CONVERT_TYPE, "Map Distribution data for metric group index %u\n",
            static_cast<unsigned>(ORX_MONITORING_APPLICATION_RESOURCE_REGISTRY_GROUP));
    }
    return group;
}

void orx::event::deleteTreeGroup(ORX_MonitoringEventTaskExecutor& self, void* treeGroup) {
    // What cannot be freed now goes with the executor.
    if (treeGroup == nullptr ||
        ORXOsapiSemaphore_take(self.treeMutex, nullptr) != ORX_OSAPI_SEMAPHORE_STATUS_OK)
        return;
    registryGroup().deleteDistMetricGroupFunction(treeGroup);
    (void)ORXOsapiSemaphore_give(self.treeMutex);
}

bool orx::event::initializeTreeMemory(
    ORX_MonitoringEventTaskExecutor& self, const ORX_MonitoringEventProperty_t& eventProperty) {
    REDAInlineMemoryProperty property = orx::taskExecutor::arenaProperty(eventProperty.initial_memory_size);
    property.maximal = treeBound;
    self.treeMemory = REDAInlineMemory_new(&property);
    if (self.treeMemory == nullptr)
        return ORX_ERROR(FAILED_TO_CREATE, "Memory manager of tree snapshots\n");
    self.treeMutex = ORXOsapiSemaphore_new(ORX_OSAPI_SEMAPHORE_KIND_MUTEX, nullptr);
    if (self.treeMutex == nullptr)
        return ORX_ERROR(FAILED_TO_CREATE, "Mutex of tree snapshots\n");
    ORXOsapiSemaphore_setRank(self.treeMutex, 4, "tree snapshots");
    return true;
}

void orx::event::finalizeTreeMemory(ORX_MonitoringEventTaskExecutor& self) {
    (void)ORXOsapiSemaphore_delete(self.treeMutex);
    REDAInlineMemory_delete(self.treeMemory);
    self.treeMutex = nullptr;
    self.treeMemory = nullptr;
}
