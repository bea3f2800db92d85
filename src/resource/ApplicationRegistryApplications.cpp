// The applications of the registry: how they come, are found, and go.
#include <cstring>

#include "src/dataModel/MetricCatalogue.h"
#include "src/log/Log.hpp"
#include "src/resource/ApplicationRegistry.h"
#include "src/resource/ApplicationRegistryLock.hpp"
#include "zddscore/text.h"

namespace {

constexpr ORX_UINT32 orxLogSubmodule = orx::log::submodule::resource;

using Registry = ORX_MonitoringForwarderApplicationRegistry;
using Application = ORX_MonitoringForwarderApplicationResource;
using Impl = ORX_MonitoringForwarderApplicationResourceImpl;
using orx::forwarder::RegistryLock;

Application* findIn(const REDASkiplist* index, const Impl& key) {
    REDASkiplistNode* node = nullptr;
    int isPrecise = 0;
    if (!REDASkiplist_findNode(index, &node, &isPrecise, &key) || !isPrecise)
        return nullptr;
    return static_cast<Application*>(node->userData);
}

bool removeFrom(REDASkiplist* index, const Impl& application, const char* subject) {
    REDASkiplistNode* node = REDASkiplist_removeNodeEA(index, &application);
    if (node == nullptr)
        return ORX_ERROR(FAILED_TO_REMOVE, "%s", subject);
    REDASkiplist_deleteNode(index, node);
    return true;
}

// Into both indexes or into none. A GUID is one application's: a second one that claims it under another name
// is refused, since neither could be told from the other any more.
bool addToIndexes(Registry& self, Impl& application) {
    const char* name = application.parent.fullyQualifiedName;
    if (REDASkiplist_assertNodeEA(self.resourceNameIndex, nullptr, &application, 0, 0) == nullptr) {
        return ORX_ERROR(
            FAILED_TO_ADD, "Application resource (name: %s), into the application registry", name);
    }
    int alreadyExists = 0;
    const REDASkiplistNode* node =
        REDASkiplist_assertNodeEA(self.guidIndex, &alreadyExists, &application, 0, 0);
    if (node == nullptr || alreadyExists) {
        (void)removeFrom(self.resourceNameIndex, application, "Application node from applications list");
        return ORX_ERROR(
            FAILED_TO_ADD, "Application resource (name: %s), into the application registry, by GUID", name);
    }
    application.node = node;
    return true;
}

// From both, whatever happens: what stayed in one would lead to a record that is gone.
void removeFromIndexes(Registry& self, Impl& application) {
    const bool isUnnamed =
        removeFrom(self.resourceNameIndex, application, "Application node from applications list");
    const bool isRemoved =
        removeFrom(self.guidIndex, application, "Application node from applications GUID index");
    application.node = nullptr;
    if (!isUnnamed || !isRemoved)
        (void)ORX_ERROR(FAILED_TO_REMOVE, "Resource node from application registry");
}

// With the mutex held. What was half added is taken back.
Application* add(Registry& self, const char* fullyQualifiedName, const DDS_Monitoring_Resource* resource,
    ORX_MonitoringForwarderMonitoringParticipant* participant) {
    auto* impl = static_cast<Impl*>(REDAFastBufferPool_getBufferWithSize(self.appResourcePool, -1));
    if (impl == nullptr)
        return ORX_ERROR(FAILED_TO_GET, "application resource from fast buffer pool");
    Application* application = &impl->parent;
    bool isInitialized = false;
    bool isIndexed = false;
    if (!ORX_MonitoringForwarderApplicationResource_initialize(
            application, resource, fullyQualifiedName, &self)) {
        (void)ORX_ERROR(FAILED_TO_INITIALIZE, "application resource (%s)", fullyQualifiedName);
    } else if (isInitialized = true; !addToIndexes(self, *impl)) {
        (void)ORX_ERROR(FAILED_TO_ADD, "application resource to applications list");
    } else if (isIndexed = true;
               !ORX_MonitoringForwarderMonitoringParticipant_addApplication(participant, application)) {
        (void)ORX_ERROR(
            FAILED_TO_ADD, "application to the list of applications monitored by a Monitoring Participant ");
    } else {
        return application;
    }
    if (isIndexed)
        removeFromIndexes(self, *impl);
    if (isInitialized)
        ORX_MonitoringForwarderApplicationResource_finalize(application);
    REDAFastBufferPool_returnBuffer(self.appResourcePool, impl);
    return nullptr;
}

bool formName(char* name, const char* resourceName, bool isFullyQualified) {
    constexpr size_t size = ORX_MONITORING_FORWARDER_APPLICATION_NAME_SIZE;
    if (isFullyQualified) {
        if (ORXOsapiUtility_strcpy(name, size - 1, resourceName) == nullptr)
            return ORX_ERROR(FAILED_TO_COPY, "application name (name = %s)", resourceName);
        return true;
    }
    if (ORXOsapiUtility_snprintf(name, size, "/applications/%s", resourceName) < 0)
        return ORX_ERROR(FAILED_TO_COPY, "application fully-qualified name");
    return true;
}

// The applications of a resource registry; of the tree below them nothing is kept.
bool assertApplications(Registry* self, const DDS_Monitoring_ResourceRegistry& resourceRegistry,
    const DDS_GUID_t* participantGuid) {
    const DDS_Long count = DDS_Monitoring_ResourceReferenceSeq_get_length(&resourceRegistry.resources);
    for (DDS_Long i = 0; i < count; ++i) {
        const DDS_Monitoring_Resource* resource =
            *DDS_Monitoring_ResourceReferenceSeq_get_reference(&resourceRegistry.resources, i);
        if (resource == nullptr || resource->class_id != ORX_MONITORING_APPLICATION_CLASS_ID)
            continue;
        if (ORX_MonitoringForwarderApplicationRegistry_assertApplicationResource(
                self, resource->name, 0, resource, participantGuid) == nullptr) {
            return ORX_ERROR(FAILED_TO_ASSERT, "application resource");
        }
    }
    return true;
}

bool keepLoggingConfig(
    Registry* self, const DDS_Monitoring_GUID_t guid, const DDS_Monitoring_LoggingConfig* config) {
    RegistryLock lock{self};
    if (!lock.isHeld())
        return false;
    Application* application =
        ORX_MonitoringForwarderApplicationRegistry_findApplicationResource(self, nullptr, guid);
    if (application != nullptr &&
        !ORX_MonitoringForwarderApplicationResource_setLoggingConfig(application, config))
        return ORX_ERROR(FAILED_TO_SET, "Logging config on application resource");
    return lock.unlock();
}

bool applyDeletion(Registry* self, const DDS_Monitoring_ResourceUpdate& update) {
    if (update._d != DDS_Monitoring_ResourceUpdateKind_RESOURCE_UPDATE_DELETION_KIND)
        return true;
    RegistryLock lock{self};
    if (!lock.isHeld())
        return false;
    const DDS_Octet* guid = update._u.delete_resource.guid;
    if (ORX_MonitoringForwarderApplicationRegistry_findApplicationResource(self, nullptr, guid) != nullptr)
        ORX_MonitoringForwarderApplicationRegistry_deleteApplicationResource(self, guid);
    return lock.unlock();
}

} // namespace

int ORX_MonitoringForwarderApplicationRegistry_processApplicationEventSample(
    ORX_MonitoringForwarderApplicationRegistry* self, const DDS_Monitoring_Event* sample,
    const DDS_GUID_t* participantGuid) {
    ORX_FAIL_IF(self == ORX_NULL);
    ORX_FAIL_IF(sample == ORX_NULL);
    ORX_FAIL_IF(participantGuid == ORX_NULL);
    const DDS_Monitoring_ApplicationEvent& event = sample->value._u.application;
    if (event.resource_registry != nullptr)
        return assertApplications(self, *event.resource_registry, participantGuid);
    if (event.logging != nullptr)
        return keepLoggingConfig(self, sample->resource_guid, event.logging);
    if (event.resource_update != nullptr)
        return applyDeletion(self, *event.resource_update);
    return 1;
}

ORX_MonitoringForwarderApplicationResource*
ORX_MonitoringForwarderApplicationRegistry_assertApplicationResource(
    ORX_MonitoringForwarderApplicationRegistry* self, const char* resourceName, int resourceNameIsFqn,
    const DDS_Monitoring_Resource* monitoringResource, const DDS_GUID_t* participantGuid) {
    ORX_FAIL_IF(self == ORX_NULL);
    ORX_FAIL_IF(resourceName == ORX_NULL);
    ORX_FAIL_IF(monitoringResource == ORX_NULL);
    ORX_FAIL_IF(participantGuid == ORX_NULL);
    char name[ORX_MONITORING_FORWARDER_APPLICATION_NAME_SIZE];
    if (!formName(name, resourceName, resourceNameIsFqn != 0))
        return nullptr;
    RegistryLock lock{self};
    if (!lock.isHeld())
        return nullptr;
    auto* participant = ORX_MonitoringForwarderApplicationRegistry_findApplicationMonitoringParticipant(
        self, participantGuid);
    if (participant == nullptr)
        return ORX_ERROR(FAILED_TO_FIND, "Monitoring Participant from monitoring registry");
    Application* known = ORX_MonitoringForwarderApplicationRegistry_findApplicationResource(
        self, name, monitoringResource->guid);
    if (known != nullptr) {
        if (reinterpret_cast<const Impl*>(known)->monitoringParticipant != participant)
            return ORX_ERROR(INCONSISTENT_FAILURE, "Monitoring participant for application '%s'", name);
        return lock.unlock() ? known : nullptr;
    }
    Application* application = add(*self, name, monitoringResource, participant);
    if (lock.unlock() || application == nullptr)
        return application;
    ORX_MonitoringForwarderApplicationRegistry_deleteApplicationResource(self, monitoringResource->guid);
    return nullptr;
}

void ORX_MonitoringForwarderApplicationRegistry_deleteApplicationResource(
    ORX_MonitoringForwarderApplicationRegistry* self, const DDS_Octet guid[16]) {
    ORX_LEAVE_IF(self == ORX_NULL);
    ORX_LEAVE_IF(guid == ORX_NULL);
    RegistryLock lock{self};
    if (!lock.isHeld())
        return;
    Application* application =
        ORX_MonitoringForwarderApplicationRegistry_findApplicationResource(self, nullptr, guid);
    if (application == nullptr) {
        (void)ORX_WARNING(FAILED_TO_FIND, "Application resource within applications list");
        return;
    }
    auto* impl = reinterpret_cast<Impl*>(application);
    removeFromIndexes(*self, *impl);
    if (impl->monitoringParticipant != nullptr)
        ORX_MonitoringForwarderMonitoringParticipant_removeApplication(
            impl->monitoringParticipant, application);
    ORX_MonitoringForwarderApplicationResource_finalize(application);
    REDAFastBufferPool_returnBuffer(self->appResourcePool, impl);
}

ORX_MonitoringForwarderApplicationResource*
ORX_MonitoringForwarderApplicationRegistry_findApplicationResource(
    ORX_MonitoringForwarderApplicationRegistry* self, const char* resourceName, const DDS_Octet guid[16]) {
    ORX_FAIL_IF(self == ORX_NULL);
    ORX_FAIL_IF(guid == ORX_NULL);
    Impl key{};
    std::memcpy(key.monitoringResource.guid, guid, sizeof key.monitoringResource.guid);
    RegistryLock lock{self};
    if (!lock.isHeld())
        return nullptr;
    // Compared only: borrowed.
    key.parent.fullyQualifiedName = const_cast<char*>(resourceName);
    Application* found = findIn(resourceName != nullptr ? self->resourceNameIndex : self->guidIndex, key);
    return lock.unlock() ? found : nullptr;
}

ORX_MonitoringForwarderApplicationResource* ORX_MonitoringForwarderApplicationRegistry_getFirstApplication(
    ORX_MonitoringForwarderApplicationRegistry* self) {
    ORX_FAIL_IF(self == ORX_NULL);
    REDASkiplistNode* node = nullptr;
    REDASkiplist_gotoTopNode(self->guidIndex, &node);
    if (!REDASkiplist_gotoNextNode(self->guidIndex, &node))
        return nullptr;
    return static_cast<Application*>(node->userData);
}

int ORX_MonitoringForwarderApplicationRegistry_getApplicationsAsSequence(
    ORX_MonitoringForwarderApplicationRegistry* self, ORX_MonitoringOpaqueResourceSeq* rootResourceSeq) {
    ORX_FAIL_IF(self == ORX_NULL);
    ORX_FAIL_IF(rootResourceSeq == ORX_NULL);
    const DDS_Long count = REDASkiplist_getNodeCount(self->guidIndex);
    if (!ORX_MonitoringOpaqueResourceSeq_ensure_length(rootResourceSeq, count, count))
        return ORX_ERROR(FAILED_TO_SET, "length (%d) of the sequence of applications", count);
    REDASkiplistNode* node = nullptr;
    REDASkiplist_gotoTopNode(self->guidIndex, &node);
    for (DDS_Long i = 0; REDASkiplist_gotoNextNode(self->guidIndex, &node); ++i) {
        *ORX_MonitoringOpaqueResourceSeq_get_reference(rootResourceSeq, i) =
            static_cast<ORX_MonitoringOpaqueResource*>(node->userData);
    }
    return 1;
}
