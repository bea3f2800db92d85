#include "src/monitoringClass/ResourceOperations.h"

#include "src/entities/LibraryEntities.h"
#include "src/eventMetrics/EventPush.hpp"
#include "src/eventMetrics/EventTaskExecutor.h"
#include "src/log/Log.hpp"
#include "src/logging/MonitoringLogging.h"
#include "src/monitoringClass/MonitoringClassImpl.h"
#include "src/resource/MetricSubscription.h"
#include "src/resource/ResourceLifecycle.h"

namespace {

constexpr ORX_UINT32 orxLogSubmodule = orx::log::submodule::monitoringClass;

ORX_MonitoringClassImpl& implOf(struct ORX_MonitoringClass* monitoringClass) {
    return *reinterpret_cast<ORX_MonitoringClassImpl*>(monitoringClass);
}

// A name in a message: two texts.
const char* nameLabel(const char* name) {
    return name != nullptr && *name != '\0' ? "with name " : "";
}
const char* nameText(const char* name) {
    return name != nullptr ? name : "";
}

DDS_Entity* monitoringParticipantOf(struct ORX_MonitoringClass* self) {
    const ORX_MonitoringLibraryEntities* entities = implOf(self).entities;
    return entities != nullptr ? DDS_DomainParticipant_as_entity(entities->participant) : nullptr;
}

// What a push may meet besides the usual: a pause, a group that is not in force or that owns memory, memory
// that is out, a worker that posts wake.
[[gnu::noinline]] DDS_Boolean pushAnyEventMetric(ORX_MonitoringEventTaskExecutor* executor,
    void* applicationMetricGroup, ORX_MonitoringResource& resource, DDS_UnsignedLong metricGroupIndex) {
    // The pause first: while it lasts the sequence that the subscription is looked up in may be changing.
    if (ORX_MonitoringResource_isPaused(&resource)) {
        ++resource.stats.skippedEventUpdates;
        return DDS_BOOLEAN_TRUE;
    }
    if (!orx::resource::publishesEventGroup(resource, metricGroupIndex))
        return DDS_BOOLEAN_TRUE;
    return ORX_MonitoringEventTaskExecutor_postEventUpdateTask(
               executor, &resource, applicationMetricGroup, metricGroupIndex) != 0;
}

} // namespace

struct ORX_MonitoringResource* ORX_Monitoring_assertResource(struct ORX_MonitoringClass* monitoringClass,
    DDS_UnsignedLong* concurrencyIndex, const DDS_GUID_t* userResourceGuid, DDS_UnsignedLong classId,
    const char* resourceName, void* userResource, struct ORX_MonitoringResource* parentResource,
    const ORX_MonitoringResourceForwarder* forwarder) {
    ORX_FAIL_IF(monitoringClass == ORX_NULL);
    ORX_FAIL_IF(concurrencyIndex == ORX_NULL);
    ORX_FAIL_IF(forwarder == ORX_NULL);
    if (userResourceGuid == nullptr && (resourceName == nullptr || *resourceName == '\0')) {
        // With two backslashes: so the text has always been.
        return ORX_PRECONDITION_FAILED("\"userResourceGuid == ((void *)0) && (resourceName == ((void *)0) || "
                                       "*resourceName == '\\\\0')\"\n");
    }
    const ORX_MonitoringClassImpl& self = implOf(monitoringClass);
    ORX_MonitoringResource* resource = ORX_MonitoringResourceRegistry_assertResource(self.resourceRegistry,
        userResourceGuid, classId, resourceName, userResource, parentResource, forwarder, 1,
        self.parent.rootResource, self.eventTaskExecutor);
    if (resource == nullptr) {
        return ORX_ERROR(
            FAILED_TO_ASSERT, "Monitoring resource %s%s\n", nameLabel(resourceName), nameText(resourceName));
    }
    *concurrencyIndex = resource->concurrencyIndex;
    return resource;
}

void ORX_Monitoring_deleteResource(
    struct ORX_MonitoringClass* monitoringClass, struct ORX_MonitoringResource* resource) {
    ORX_LEAVE_IF(monitoringClass == ORX_NULL);
    ORX_LEAVE_IF(resource == ORX_NULL);
    const ORX_MonitoringClassImpl& self = implOf(monitoringClass);
    ORX_MonitoringResourceRegistry_deleteResource(
        self.resourceRegistry, resource, 1, self.parent.rootResource, self.eventTaskExecutor);
}

void ORX_Monitoring_deleteResourceChildren(
    struct ORX_MonitoringClass* monitoringClass, struct ORX_MonitoringResource* resource) {
    ORX_LEAVE_IF(monitoringClass == ORX_NULL);
    ORX_LEAVE_IF(resource == ORX_NULL);
    const ORX_MonitoringClassImpl& self = implOf(monitoringClass);
    ORX_MonitoringResourceRegistry_deleteResourceChildren(
        self.resourceRegistry, resource, 1, self.parent.rootResource, self.eventTaskExecutor);
}

[[gnu::hot]] DDS_Boolean ORX_Monitoring_pushEventMetric(struct ORX_MonitoringClass* monitoringClass,
    void* applicationMetricGroup, struct ORX_MonitoringResource* resource,
    DDS_UnsignedLong metricGroupIndex) {
    ORX_FAIL_IF(monitoringClass == ORX_NULL);
    ORX_FAIL_IF(applicationMetricGroup == ORX_NULL);
    ORX_FAIL_IF(resource == ORX_NULL);
    ORX_MonitoringEventTaskExecutor* executor = implOf(monitoringClass).eventTaskExecutor;
    // The usual push: nothing of it is asked twice. The pause first, here too.
    if (!ORX_MonitoringResource_isPaused(resource) && executor != nullptr) [[likely]] {
        ORX_MonitoringTaskExecutor& tasks = *executor->taskExecutor;
        const ORX_UINT32 size = orx::resource::plainEventSize(*resource, metricGroupIndex);
        if (size != 0 && !tasks.wakesByPosts &&
            orx::event::linkPlainEvent(tasks, *resource, applicationMetricGroup, metricGroupIndex, size))
            [[likely]]
            return DDS_BOOLEAN_TRUE;
    }
    return pushAnyEventMetric(executor, applicationMetricGroup, *resource, metricGroupIndex);
}

DDS_Boolean ORX_Monitoring_pauseResourceMetrics(
    struct ORX_MonitoringClass* monitoringClass, struct ORX_MonitoringResource* resource) {
    ORX_FAIL_IF(monitoringClass == ORX_NULL);
    ORX_FAIL_IF(resource == ORX_NULL);
    return ORX_MonitoringResource_pauseMetrics(resource) != 0;
}

// Recursive: a tree of resources is a few levels deep.
DDS_Boolean ORX_Monitoring_pauseResourceChildrenMetrics(
    struct ORX_MonitoringClass* monitoringClass, struct ORX_MonitoringResource* resource) {
    ORX_FAIL_IF(monitoringClass == ORX_NULL);
    ORX_FAIL_IF(resource == ORX_NULL);
    for (ORX_MonitoringResource* child = ORX_MonitoringResource_getFirstChild(resource); child != nullptr;
         child = ORX_MonitoringResource_getNextSibling(child)) {
        const char* name = child->base.name;
        if (!ORX_Monitoring_pauseResourceMetrics(monitoringClass, child)) {
            return ORX_ERROR(FAILED_TO_PROCESS, "Pausing resource %s%s", nameLabel(name), nameText(name));
        }
        if (!ORX_Monitoring_pauseResourceChildrenMetrics(monitoringClass, child)) {
            return ORX_ERROR(
                FAILED_TO_PROCESS, "Pausing children of resource %s%s", nameLabel(name), nameText(name));
        }
    }
    return DDS_BOOLEAN_TRUE;
}

DDS_Boolean ORX_Monitoring_resumeResourceMetrics(
    struct ORX_MonitoringClass* monitoringClass, struct ORX_MonitoringResource* resource) {
    ORX_FAIL_IF(monitoringClass == ORX_NULL);
    ORX_FAIL_IF(resource == ORX_NULL);
    return ORX_MonitoringResource_resumeMetrics(resource, implOf(monitoringClass).eventTaskExecutor) != 0;
}

const ORX_MonitoringProperty_t* ORX_Monitoring_getProperty(struct ORX_MonitoringClass* monitoringClass) {
    ORX_FAIL_IF(monitoringClass == ORX_NULL);
    return implOf(monitoringClass).property;
}

DDS_Boolean ORX_Monitoring_postLogMessage(struct ORX_MonitoringClass* monitoringClass, const char* text,
    ZDDS_Config_SyslogLevel severity, DDS_UnsignedLong messageId, const DDS_Duration_t* timestamp,
    ZDDS_Config_LogFacility facility, const void* structuredData, const char* category,
    DDS_UnsignedLong concurrencyIndex) {
    ORX_FAIL_IF(monitoringClass == ORX_NULL);
    ORX_FAIL_IF(text == ORX_NULL);
    ORX_FAIL_IF(timestamp == ORX_NULL);
    ORX_MonitoringLogging* logging = implOf(monitoringClass).logging;
    if (logging == nullptr)
        return DDS_BOOLEAN_TRUE;
    return ORX_MonitoringLogging_postMessage(logging, text, severity, messageId, timestamp, facility,
               structuredData, category, concurrencyIndex) != 0;
}

DDS_Boolean ORX_Monitoring_lockMonitoringParticipant(struct ORX_MonitoringClass* self) {
    ORX_FAIL_IF(self == ORX_NULL);
    const DDS_Entity* participant = monitoringParticipantOf(self);
    if (participant == nullptr || DDS_Entity_lock(participant) != DDS_RETCODE_OK) {
        return ORX_ERROR(FAILED_TO_LOCK, "Monitoring Participant");
    }
    return DDS_BOOLEAN_TRUE;
}

DDS_Boolean ORX_Monitoring_unlockMonitoringParticipant(struct ORX_MonitoringClass* self) {
    ORX_FAIL_IF(self == ORX_NULL);
    const DDS_Entity* participant = monitoringParticipantOf(self);
    if (participant == nullptr || DDS_Entity_unlock(participant) != DDS_RETCODE_OK) {
        return ORX_ERROR(FAILED_TO_UNLOCK, "Monitoring Participant");
    }
    return DDS_BOOLEAN_TRUE;
}
