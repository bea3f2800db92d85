// The locks that a command takes, and what it does under them before it is processed.
#include "src/log/Log.hpp"
#include "src/monitoringClass/MonitoringClassImpl.h"
#include "src/monitoringClass/ResourceOperations.h"
#include "src/remoteAdministration/CommandExecution.h"
#include "src/remoteAdministration/CommandText.hpp"
#include "src/resource/MonitoringResourceRegistry.h"
#include "src/resource/ResourcePin.h"

namespace {

constexpr ORX_UINT32 orxLogSubmodule = orx::log::submodule::remoteAdministration;

using Dispatcher = ORX_MonitoringCommandDispatcher;
using EventData = ORX_MonitoringCommandDispatcherEventData;
using Return = ORX_MonitoringCommandDispatcherReturnValue;

#define ORX_PARTICIPANT_TEXT                                                                                 \
    "Monitoring Participant while processing monitoring command with hash: '%d' and UUID: " ORX_UUID_FORMAT

// True when it is off the list and the participant is free again. *isRemoved: it is off the list.
bool takeOffList(Dispatcher* self, EventData* eventData, bool* isRemoved) {
    *isRemoved = false;
    if (!ORX_Monitoring_lockMonitoringParticipant(self->monitoringClass))
        return ORX_ERROR(FAILED_TO_LOCK, ORX_PARTICIPANT_TEXT, ORX_COMMAND_ARGUMENTS(*eventData));
    REDAInlineList_removeNodeEA(&self->pendingCommandList, &eventData->node);
    *isRemoved = true;
    if (!ORX_Monitoring_unlockMonitoringParticipant(self->monitoringClass))
        return ORX_ERROR(FAILED_TO_UNLOCK, ORX_PARTICIPANT_TEXT, ORX_COMMAND_ARGUMENTS(*eventData));
    return true;
}

// The mutex of the process's registry, held for one pass over the resources of a command.
class ResourcesMutex {
public:
    ResourcesMutex() {
        const ORX_MonitoringGlobals* globals = ORX_MonitoringGlobals_get_instance();
        ORX_MonitoringClass* monitoringClass = globals != nullptr ? globals->monitoringClass : nullptr;
        ORX_MonitoringResourceRegistry* registry =
            monitoringClass != nullptr ? ORX_Monitoring_getResourceRegistry(monitoringClass) : nullptr;
        if (registry == nullptr)
            ORX_ERROR(FAILED_TO_GET, "Resource registry");
        else if (ORXOsapiSemaphore_take(registry->resourcesMutex, nullptr) != ORX_OSAPI_SEMAPHORE_STATUS_OK)
            ORX_ERROR(FAILED_TO_LOCK, "Resources mutex");
        else
            mutex_ = registry->resourcesMutex;
    }
    ResourcesMutex(const ResourcesMutex&) = delete;
    ResourcesMutex& operator=(const ResourcesMutex&) = delete;
    explicit operator bool() const { return mutex_ != nullptr; }
    // Once; there is no way out that does not come here.
    bool give() {
        if (ORXOsapiSemaphore_give(mutex_) != ORX_OSAPI_SEMAPHORE_STATUS_OK)
            return ORX_ERROR(FAILED_TO_UNLOCK, "Resources mutex");
        return true;
    }

private:
    ORXOsapiSemaphore* mutex_ = nullptr;
};

constexpr ORX_MonitoringResourceLockThreadMask dispatcherBit = ORX_MONITORING_RESOURCE_LOCK_THREAD_DISPATCHER;

// Unpins the first `count`, up to the first failure. The mutex is held.
bool unpin(ORX_MonitoringResourcePtrSeq* resources, DDS_Long count) {
    for (DDS_Long i = 0; i < count; ++i) {
        ORX_MonitoringResource* resource = *ORX_MonitoringResourcePtrSeq_get_reference(resources, i);
        if (!ORX_MonitoringResource_unlock(resource, dispatcherBit, 1))
            return ORX_ERROR(FAILED_TO_UNLOCK, "Monitoring Resource at index %d", i);
    }
    return true;
}

bool pinAll(ORX_MonitoringResourcePtrSeq* resources, DDS_Long count) {
    for (DDS_Long i = 0; i < count; ++i) {
        ORX_MonitoringResource* resource = *ORX_MonitoringResourcePtrSeq_get_reference(resources, i);
        if (ORX_MonitoringResource_lock(resource, dispatcherBit, 1))
            continue;
        ORX_ERROR(FAILED_TO_LOCK, "Monitoring Resource at index %d", i);
        (void)unpin(resources, i);
        return false;
    }
    return true;
}

} // namespace

ORX_MonitoringLockResult ORX_MonitoringCommandDispatcher_lockLibraryIfRunning(
    ORX_MonitoringCommandDispatcher* self) {
    if (self == nullptr) {
        (void)ORX_PRECONDITION_FAILED("\"self == ((void *)0)\"\n");
        return ORX_MONITORING_LOCK_RESULT_ERROR;
    }
    ORX_MonitoringLockResult result = ORX_MONITORING_LOCK_RESULT_TIMEOUT;
    while (result == ORX_MONITORING_LOCK_RESULT_TIMEOUT && ORX_MonitoringCommandDispatcher_isRunning(self))
        result =
            ORX_Monitoring_lockI(ORX_MONITORING_LOCK_KIND_LIBRARY, 0, 1, 1, &self->property.lock_timeout);
    switch (result) {
    case ORX_MONITORING_LOCK_RESULT_ERROR:
        ORX_ERROR(FAILED_TO_LOCK, "Monitoring Library");
        return result;
    case ORX_MONITORING_LOCK_RESULT_NOT_ENABLED:
        ORX_ERROR(FAILED_TO_LOCK, "The monitoring library is not enabled");
        return result;
    case ORX_MONITORING_LOCK_RESULT_TIMEOUT:
        return ORX_MONITORING_LOCK_RESULT_NOT_ENABLED;
    default:
        return result;
    }
}

ORX_MonitoringCommandDispatcherReturnValue ORX_MonitoringCommandDispatcher_getAndLockMatchingResources(
    ORX_MonitoringCommandDispatcher* self, ORX_MonitoringResourcePtrSeq* resources,
    DDS_Monitoring_MonitoringService_Reply* reply, int* eventDataRemoved,
    ORX_MonitoringCommandDispatcherEventData* eventData, REDAWorker* worker) {
    *eventDataRemoved = 0;
    bool isRemoved = false;
    if (!takeOffList(self, eventData, &isRemoved))
        return ORX_MONITORING_COMMAND_DISPATCHER_RETURN_ERROR;
    *eventDataRemoved = 1;
    const Return result = eventData->getMatchingResources(self, resources, reply, &eventData->command);
    if (result == ORX_MONITORING_COMMAND_DISPATCHER_RETURN_NO_RESOURCE_FOUND)
        return result;
    if (result != ORX_MONITORING_COMMAND_DISPATCHER_RETURN_OK) {
        ORX_ERROR(FAILED_TO_GET, "Monitoring Resources for command with hash %d and UUID: " ORX_UUID_FORMAT,
            ORX_COMMAND_ARGUMENTS(*eventData));
        return result;
    }
    if (!ORX_MonitoringCommandDispatcher_lockResources(resources, worker)) {
        ORX_ERROR(FAILED_TO_LOCK, "Monitoring Resources for command with hash %d and UUID: " ORX_UUID_FORMAT,
            ORX_COMMAND_ARGUMENTS(*eventData));
        return ORX_MONITORING_COMMAND_DISPATCHER_RETURN_ERROR;
    }
    return result;
}

int ORX_MonitoringCommandDispatcher_removeEventDataFromList(ORX_MonitoringCommandDispatcher* self,
    ORX_MonitoringCommandDispatcherEventData* eventData, REDAWorker* /*worker*/) {
    ORX_FAIL_IF(self == ORX_NULL);
    ORX_FAIL_IF(eventData == ORX_NULL);
    const ORX_MonitoringLockResult lock = ORX_MonitoringCommandDispatcher_lockLibraryIfRunning(self);
    if (lock == ORX_MONITORING_LOCK_RESULT_NOT_ENABLED)
        return 0;
    if (lock != ORX_MONITORING_LOCK_RESULT_OK)
        return ORX_ERROR(FAILED_TO_LOCK, "Monitoring Library with return code %d", static_cast<int>(lock));
    bool isRemoved = false;
    (void)takeOffList(self, eventData, &isRemoved);
    if (ORX_Monitoring_unlockI(ORX_MONITORING_LOCK_KIND_LIBRARY, 0, 1) != 0)
        ORX_ERROR(FAILED_TO_UNLOCK, "Monitoring Library");
    return isRemoved;
}

int ORX_MonitoringCommandDispatcher_lockResources(
    ORX_MonitoringResourcePtrSeq* resources, REDAWorker* /*worker*/) {
    ORX_FAIL_IF(resources == ORX_NULL);
    const DDS_Long count = ORX_MonitoringResourcePtrSeq_get_length(resources);
    if (count == 0)
        return 1;
    ResourcesMutex mutex;
    if (!mutex)
        return 0;
    const bool arePinned = pinAll(resources, count);
    return mutex.give() && arePinned;
}

int ORX_MonitoringCommandDispatcher_unlockResources(
    ORX_MonitoringResourcePtrSeq* resources, REDAWorker* /*worker*/) {
    ORX_FAIL_IF(resources == ORX_NULL);
    const DDS_Long count = ORX_MonitoringResourcePtrSeq_get_length(resources);
    if (count == 0)
        return 1;
    ResourcesMutex mutex;
    if (!mutex)
        return 0;
    const bool areUnpinned = unpin(resources, count);
    return mutex.give() && areUnpinned;
}
