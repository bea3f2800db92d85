// The registry as a whole, and its participants.
#include "src/resource/ApplicationRegistry.h"

#include "orxmonitoring2d/dds_entities_distribution_support.h"
#include "orxmonitoring2d/monitoring_resource_support.h"
#include "src/log/Log.hpp"
#include "src/resource/ApplicationRegistryLock.hpp"
#include "zddscore/heap.h"

namespace {

constexpr ORX_UINT32 orxLogSubmodule = orx::log::submodule::resource;

using Registry = ORX_MonitoringForwarderApplicationRegistry;
using MonitoringParticipant = ORX_MonitoringForwarderMonitoringParticipant;

constexpr int expectedEntries = 8192; /* lookups stay logarithmic beyond */
constexpr int initialIndexNodes = 1024;
// The object id of every participant's built-in service-request reader: where commands are sent is computed.
constexpr ORX_UINT32 serviceRequestReaderObjectId = 0x00020087;

REDAFastBufferPool* newPool(size_t size, const char* typeName) {
    constexpr REDAFastBufferPoolProperty property{
        .growth = {.initial = 2, .maximal = REDA_FAST_BUFFER_POOL_UNLIMITED, .increment = -1},
        .multiThreadedAccess = 0,
        .zeroBufferContent = 0,
        .ignoreMaximal = 0,
        .dynamicAlloc = 0};
    return REDAFastBufferPool_newWithParams(
        size, 8, nullptr, nullptr, nullptr, nullptr, &property, typeName, 0);
}

bool makeIndex(REDASkiplist*& index, REDASkiplistDescription& description,
    REDASkiplistCompareFunction compare, const char* allocatorName, const char* indexName) {
    const ORX_INT8 level = REDASkiplist_getOptimumMaximumLevel(expectedEntries);
    if (!REDASkiplist_newDefaultAllocator(&description, level, initialIndexNodes))
        return ORX_ERROR(FAILED_TO_CREATE, "%s", allocatorName);
    index = REDASkiplist_new(&description, compare, nullptr, nullptr, nullptr);
    if (index == nullptr)
        return ORX_ERROR(FAILED_TO_CREATE, "%s", indexName);
    return true;
}

void deleteIndex(REDASkiplist*& index, REDASkiplistDescription& description) {
    REDASkiplist_delete(index);
    index = nullptr;
    REDASkiplist_deleteDefaultAllocator(&description);
}

bool initialize(Registry& self) {
    self.sample = DDS_Monitoring_EventPluginSupport_create_data();
    if (self.sample == nullptr)
        return ORX_ERROR(FAILED_TO_CREATE, "event sample");
    auto& application = self.sample->value._u.application;
    application.resource_update = DDS_Monitoring_ResourceUpdatePluginSupport_create_data();
    if (application.resource_update == nullptr)
        return ORX_ERROR(FAILED_TO_CREATE, "Application event sample");
    self.info = DDS_SAMPLEINFO_DEFAULT;
    self.info.valid_data = DDS_BOOLEAN_TRUE;
    self.appResourcePool = newPool(sizeof(ORX_MonitoringForwarderApplicationResourceImpl),
        "struct ORX_MonitoringForwarderApplicationResourceImpl");
    if (self.appResourcePool == nullptr)
        return ORX_ERROR(FAILED_TO_CREATE, "Application Registry fast buffer pool");
    self.monitoringParticipantPool =
        newPool(sizeof(MonitoringParticipant), "struct ORX_MonitoringForwarderMonitoringParticipant");
    if (self.monitoringParticipantPool == nullptr)
        return ORX_ERROR(FAILED_TO_CREATE, "Monitoring Participant fast buffer pool");
    self.monitoringParticipantNodePool =
        newPool(sizeof(REDAInlineListUserDataNode), "struct REDAInlineListUserDataNode");
    if (self.monitoringParticipantNodePool == nullptr)
        return ORX_ERROR(FAILED_TO_CREATE, "Monitoring Participant node fast buffer pool");
    self.participantsPendingResourceRegistryRequestList = REDAInlineList_new();
    if (self.participantsPendingResourceRegistryRequestList == nullptr)
        return ORX_ERROR(FAILED_TO_CREATE, "Monitoring Participant pending request list");
    self.applicationRegistryMutex = ORX_MonitoringForwarderMutex_new();
    if (self.applicationRegistryMutex == nullptr)
        return ORX_ERROR(FAILED_TO_CREATE, "Application Registry mutex");
    return makeIndex(self.resourceNameIndex, self.resourceNameIndexDesc,
               ORX_MonitoringForwarderApplicationResource_compare,
               "Application resource name index node allocator", "Application resource name index") &&
           makeIndex(self.guidIndex, self.guidIndexDesc,
               ORX_MonitoringForwarderApplicationResource_compareGuid,
               "Application resource GUID index node allocator", "Application resource GUID index") &&
           makeIndex(self.monitoringParticipantIndex, self.monitoringParticipantIndexDesc,
               ORX_MonitoringForwarderMonitoringParticipant_compare,
               "Monitoring Participant index node allocator", "Monitoring Participant index");
}

// Calls finalizeElement for what every node of the index stands for.
template <typename T> void finalizeElements(const REDASkiplist* index, void (*finalizeElement)(T*)) {
    REDASkiplistNode* node = nullptr;
    if (index == nullptr)
        return;
    REDASkiplist_gotoTopNode(index, &node);
    while (REDASkiplist_gotoNextNode(index, &node))
        finalizeElement(static_cast<T*>(node->userData));
}

// Copes with any part of initialize. Participants go first: they still point at their applications. Pools
// take their buffers with them.
void finalize(Registry& self) {
    finalizeElements(self.monitoringParticipantIndex, ORX_MonitoringForwarderMonitoringParticipant_finalize);
    finalizeElements(self.guidIndex, ORX_MonitoringForwarderApplicationResource_finalize);
    deleteIndex(self.resourceNameIndex, self.resourceNameIndexDesc);
    deleteIndex(self.guidIndex, self.guidIndexDesc);
    deleteIndex(self.monitoringParticipantIndex, self.monitoringParticipantIndexDesc);
    REDAFastBufferPool_delete(self.appResourcePool);
    REDAFastBufferPool_delete(self.monitoringParticipantPool);
    REDAFastBufferPool_delete(self.monitoringParticipantNodePool);
    REDAInlineList_delete(self.participantsPendingResourceRegistryRequestList);
    ORX_MonitoringForwarderMutex_delete(self.applicationRegistryMutex);
    if (self.sample != nullptr)
        DDS_Monitoring_EventPluginSupport_destroy_data(self.sample);
    DDS_SampleInfo_finalize(&self.info);
}

MonitoringParticipant* findParticipant(const Registry& self, const DDS_GUID_t& guid) {
    MonitoringParticipant key{};
    key.participantGuid = guid;
    REDASkiplistNode* node = nullptr;
    int isPrecise = 0;
    if (!REDASkiplist_findNode(self.monitoringParticipantIndex, &node, &isPrecise, &key) || !isPrecise)
        return nullptr;
    return static_cast<MonitoringParticipant*>(node->userData);
}

// The participant's built-in reader of service requests.
DDS_InstanceHandle_t serviceRequestReaderOf(const DDS_GUID_t& participantGuid) {
    ORXOsapiRtpsGuid guid;
    DDS_GUID_copy_to_pres_guid(&participantGuid, &guid);
    guid.objectId = serviceRequestReaderObjectId;
    DDS_GUID_t reader;
    DDS_GUID_copy_from_pres_guid(&reader, &guid);
    DDS_InstanceHandle_t handle;
    DDS_GUID_to_instance_handle(&reader, &handle);
    return handle;
}

bool makePending(Registry& self, MonitoringParticipant& participant) {
    auto* node = static_cast<REDAInlineListUserDataNode*>(
        REDAFastBufferPool_getBufferWithSize(self.monitoringParticipantNodePool, -1));
    if (node == nullptr)
        return ORX_ERROR(FAILED_TO_GET, "Monitoring Participant node from buffer pool");
    REDAInlineListNode_init(&node->node);
    node->userData = &participant;
    REDAInlineList_addNodeToBackEA(self.participantsPendingResourceRegistryRequestList, &node->node);
    participant.node = node;
    return true;
}

// Into the index and the list of those to be asked; a participant that failed is in neither.
bool addParticipant(Registry& self, MonitoringParticipant& participant) {
    REDASkiplistNode* node =
        REDASkiplist_assertNodeEA(self.monitoringParticipantIndex, nullptr, &participant, 0, 0);
    if (node == nullptr)
        return ORX_ERROR(FAILED_TO_ADD, "Monitoring Participant into list of participants");
    if (makePending(self, participant))
        return true;
    node = REDASkiplist_removeNodeEA(self.monitoringParticipantIndex, &participant);
    REDASkiplist_deleteNode(self.monitoringParticipantIndex, node);
    return false;
}

MonitoringParticipant* newParticipant(
    Registry& self, const DDS_GUID_t& participantGuid, const DDS_InstanceHandle_t* publicationHandle) {
    auto* participant = static_cast<MonitoringParticipant*>(
        REDAFastBufferPool_getBufferWithSize(self.monitoringParticipantPool, -1));
    if (participant == nullptr)
        return ORX_ERROR(FAILED_TO_GET, "Monitoring Participant");
    if (!ORX_MonitoringForwarderMonitoringParticipant_initialize(participant, publicationHandle)) {
        REDAFastBufferPool_returnBuffer(self.monitoringParticipantPool, participant);
        return ORX_ERROR(FAILED_TO_INITIALIZE, "Monitoring Participant");
    }
    participant->participantGuid = participantGuid;
    participant->serviceRequestReaderHandle = serviceRequestReaderOf(participantGuid);
    if (addParticipant(self, *participant))
        return participant;
    ORX_MonitoringForwarderMonitoringParticipant_finalize(participant);
    REDAFastBufferPool_returnBuffer(self.monitoringParticipantPool, participant);
    return nullptr;
}

} // namespace

ORX_MonitoringForwarderApplicationRegistry* ORX_MonitoringForwarderApplicationRegistry_new(void) {
    Registry* self;
    if (!ORXOsapiHeap_allocateStructure(&self, ORX_MonitoringForwarderApplicationRegistry))
        return ORX_ERROR(FAILED_TO_ALLOCATE, "struct ORX_MonitoringForwarderApplicationRegistry");
    if (!initialize(*self)) {
        ORX_MonitoringForwarderApplicationRegistry_delete(self);
        return ORX_ERROR(FAILED_TO_INITIALIZE, "struct ORX_MonitoringForwarderApplicationRegistry");
    }
    return self;
}

void ORX_MonitoringForwarderApplicationRegistry_delete(ORX_MonitoringForwarderApplicationRegistry* self) {
    if (self == nullptr)
        return;
    finalize(*self);
    ORXOsapiHeap_freeStructure(self);
}

int ORX_MonitoringForwarderApplicationRegistry_lock(ORX_MonitoringForwarderApplicationRegistry* self) {
    ORX_FAIL_IF(self == ORX_NULL);
    ORX_FAIL_IF(self->applicationRegistryMutex == ORX_NULL);
    return ORX_MonitoringForwarderMutex_lock(self->applicationRegistryMutex);
}

int ORX_MonitoringForwarderApplicationRegistry_unlock(ORX_MonitoringForwarderApplicationRegistry* self) {
    ORX_FAIL_IF(self == ORX_NULL);
    ORX_FAIL_IF(self->applicationRegistryMutex == ORX_NULL);
    return ORX_MonitoringForwarderMutex_unlock(self->applicationRegistryMutex);
}

int ORX_MonitoringForwarderApplicationRegistry_assertParticipant(
    ORX_MonitoringForwarderApplicationRegistry* self, DDS_InstanceHandle_t* destination,
    const DDS_GUID_t* participantGuid, const DDS_InstanceHandle_t* publicationHandle) {
    ORX_FAIL_IF(self == ORX_NULL);
    ORX_FAIL_IF(participantGuid == ORX_NULL);
    ORX_FAIL_IF(publicationHandle == ORX_NULL);
    if (destination != nullptr)
        *destination = DDS_HANDLE_NIL;
    orx::forwarder::RegistryLock lock{self};
    if (!lock.isHeld())
        return 0;
    if (findParticipant(*self, *participantGuid) != nullptr)
        return lock.unlock();
    const MonitoringParticipant* participant = newParticipant(*self, *participantGuid, publicationHandle);
    if (participant == nullptr)
        return 0;
    if (destination != nullptr)
        DDS_InstanceHandle_copy(destination, &participant->serviceRequestReaderHandle);
    return lock.unlock();
}

ORX_MonitoringForwarderMonitoringParticipant*
ORX_MonitoringForwarderApplicationRegistry_findApplicationMonitoringParticipant(
    ORX_MonitoringForwarderApplicationRegistry* self, const DDS_GUID_t* guid) {
    ORX_FAIL_IF(self == ORX_NULL);
    ORX_FAIL_IF(guid == ORX_NULL);
    orx::forwarder::RegistryLock lock{self};
    if (!lock.isHeld())
        return nullptr;
    MonitoringParticipant* found = findParticipant(*self, *guid);
    return lock.unlock() ? found : nullptr;
}

void ORX_MonitoringForwarderApplicationRegistry_forgetPendingRequest(
    ORX_MonitoringForwarderApplicationRegistry* self,
    ORX_MonitoringForwarderMonitoringParticipant* participant) {
    if (participant->node == nullptr)
        return;
    REDAInlineList_removeNodeEA(
        self->participantsPendingResourceRegistryRequestList, &participant->node->node);
    REDAFastBufferPool_returnBuffer(self->monitoringParticipantNodePool, participant->node);
    participant->node = nullptr;
}

int ORX_MonitoringForwarderApplicationRegistry_deleteParticipant(
    ORX_MonitoringForwarderApplicationRegistry* self,
    ORX_MonitoringForwarderMonitoringParticipant* participant) {
    // A node that stayed behind would lead the walk of those to be asked to a record that is gone.
    ORX_MonitoringForwarderApplicationRegistry_forgetPendingRequest(self, participant);
    REDASkiplistNode* node = REDASkiplist_removeNodeEA(self->monitoringParticipantIndex, participant);
    if (node == nullptr)
        return ORX_ERROR(FAILED_TO_REMOVE, "Monitoring Participant from list of participants");
    REDASkiplist_deleteNode(self->monitoringParticipantIndex, node);
    ORX_MonitoringForwarderMonitoringParticipant_finalize(participant);
    REDAFastBufferPool_returnBuffer(self->monitoringParticipantPool, participant);
    return 1;
}
