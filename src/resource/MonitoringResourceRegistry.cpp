#include "src/resource/MonitoringResourceRegistry.h"

#include <algorithm>
#include <cstddef>

#include "orxmonitoring2d/monitoring_resource_support.h"
#include "src/log/Log.hpp"
#include "src/resource/GuidText.hpp"
#include "src/resource/ResourceMemory.hpp"
#include "src/resource/ResourcePin.h"
#include "zddscore/fast_buffer_pool.h"
#include "zddscore/heap.h"

namespace {

constexpr ORX_UINT32 orxLogSubmodule = orx::log::submodule::resource;

// Beside the entity locks and outside of the metric mutexes, since a pause takes one of those under it, and
// nobody comes here with a metric mutex.
constexpr int resourcesMutexRank = 2;

constexpr int expectedResources = 8192; /* lookups stay logarithmic beyond */
constexpr int initialIndexNodes = 1024;

bool takeResourcesMutex(const ORX_MonitoringResourceRegistry* self) {
    if (ORXOsapiSemaphore_take(self->resourcesMutex, nullptr) != ORX_OSAPI_SEMAPHORE_STATUS_OK)
        return ORX_ERROR(FAILED_TO_LOCK, "Taking resources mutex in the resource list");
    return true;
}

bool giveResourcesMutex(const ORX_MonitoringResourceRegistry* self) {
    if (ORXOsapiSemaphore_give(self->resourcesMutex) != ORX_OSAPI_SEMAPHORE_STATUS_OK)
        return ORX_ERROR(FAILED_TO_UNLOCK, "Giving resources mutex in the resource list");
    return true;
}

bool addToLists(ORX_MonitoringResourceRegistry* self, ORX_MonitoringResource* resource) {
    if (REDASkiplist_assertNodeEA(self->resourceList, nullptr, resource, 0, 0) == nullptr)
        return ORX_ERROR(FAILED_TO_ADD,
            "Monitoring resource (GUID: " ORX_GUID_FORMAT ", name: %s), into the skiplist of resources.",
            ORX_GUID_ARGUMENTS(resource->base.guid),
            resource->base.name != nullptr ? resource->base.name : "");
    REDAInlineListNode* node = &resource->node.node;
    REDAInlineListNode_init(node);
    resource->node.userData = resource;
    if (resource->parent == nullptr)
        REDAInlineList_addNodeToFrontEA(&self->resourceDeepFirstList, node);
    else
        REDAInlineList_addNodeAfterEA(&self->resourceDeepFirstList, &resource->parent->node.node, node);
    return true;
}

void removeFromLists(ORX_MonitoringResourceRegistry* self, ORX_MonitoringResource* resource) {
    REDASkiplistNode* node = REDASkiplist_removeNodeEA(self->resourceList, resource);
    if (node == nullptr)
        return;
    REDASkiplist_deleteNode(self->resourceList, node);
    REDAInlineList_removeNodeEA(&self->resourceDeepFirstList, &resource->node.node);
}

ORX_MonitoringResource* toResource(const REDAInlineListNode* node) {
    if (node == nullptr)
        return nullptr;
    return static_cast<ORX_MonitoringResource*>(
        reinterpret_cast<const REDAInlineListUserDataNode*>(node)->userData);
}

ORX_MonitoringResource* findNext(
    const ORX_MonitoringResourceRegistry* self, const ORX_MonitoringResource* resource) {
    return toResource(resource == nullptr ? REDAInlineList_getFirst(&self->resourceDeepFirstList)
                                          : REDAInlineListNode_getNext(&resource->node.node));
}

// A walk over more resources than the caches hold would wait for each of them. So what it comes to two steps
// ahead is asked for while its caller is at work on this one: the resource, and behind it the groups of most.
void prefetchBehind(const ORX_MonitoringResource& resource) {
    constexpr size_t line = 64;
    const REDAInlineListNode* node = REDAInlineListNode_getNext(&resource.node.node);
    if (node != nullptr)
        node = REDAInlineListNode_getNext(node);
    if (node == nullptr)
        return;
    const char* second = reinterpret_cast<const char*>(node) - offsetof(ORX_MonitoringResource, node);
    for (size_t i = 0; i <= sizeof resource; i += line)
        __builtin_prefetch(second + i);
}

// The resource behind the given one, or the first, pinned under the mutex in the same breath.
ORX_MonitoringResource* pinNext(const ORX_MonitoringResourceRegistry* self,
    const ORX_MonitoringResource* resource, ORX_MonitoringResourceLockThreadMask lockThreadMask) {
    if (ORXOsapiSemaphore_take(self->resourcesMutex, nullptr) != ORX_OSAPI_SEMAPHORE_STATUS_OK)
        return ORX_ERROR(FAILED_TO_LOCK, "Taking resources mutex");
    ORX_MonitoringResource* found = findNext(self, resource);
    if (found != nullptr && !ORX_MonitoringResource_lock(found, lockThreadMask, 1)) {
        (void)ORX_ERROR(FAILED_TO_LOCK, "Monitoring Resource");
        found = nullptr;
    }
    if (found != nullptr)
        prefetchBehind(*found);
    if (ORXOsapiSemaphore_give(self->resourcesMutex) != ORX_OSAPI_SEMAPHORE_STATUS_OK)
        (void)ORX_ERROR(FAILED_TO_UNLOCK, "Giving resources mutex");
    return found;
}

// Room for the references of a snapshot; what was there need not be kept.
bool reserveReferences(ORX_MonitoringResourceRegistry* self, ORX_INT32 count) {
    if (count <= self->referenceCapacity)
        return true;
    const ORX_INT32 capacity = std::max(count, count < 0x20000000 ? 2 * self->referenceCapacity : 0);
    DDS_Monitoring_ResourceReference* references = nullptr;
    if (!ORXOsapiHeap_allocateArray(
            &references, static_cast<size_t>(capacity), DDS_Monitoring_ResourceReference))
        return false;
    ORXOsapiHeap_freeArray(self->references);
    self->references = references;
    self->referenceCapacity = capacity;
    return true;
}

} // namespace

int ORX_MonitoringResourceRegistry_compareNode(const void* left, const void* right) {
    return DDS_GUID_compare(static_cast<const DDS_GUID_t*>(left), static_cast<const DDS_GUID_t*>(right));
}

ORX_MonitoringResourceRegistry* ORX_MonitoringResourceRegistry_new(REDAInlineList* metricSelectionList) {
    ORX_FAIL_IF(metricSelectionList == ORX_NULL);
    ORX_MonitoringResourceRegistry* self = nullptr;
    if (!ORXOsapiHeap_allocateStructure(&self, struct ORX_MonitoringResourceRegistry))
        return ORX_ERROR(FAILED_TO_ALLOCATE, "'struct ORX_MonitoringResourceRegistry' with size %u\n",
            static_cast<unsigned>(sizeof *self));
    if (!ORX_MonitoringResourceRegistry_initialize(self, metricSelectionList)) {
        ORXOsapiHeap_freeStructure(self);
        return ORX_ERROR(FAILED_TO_INITIALIZE, "ORX_MonitoringResourceRegistry\n");
    }
    return self;
}

static bool initializeContainers(ORX_MonitoringResourceRegistry* self) {
    self->resourcesMutex = ORXOsapiSemaphore_new(ORX_OSAPI_SEMAPHORE_KIND_MUTEX, nullptr);
    if (self->resourcesMutex == nullptr)
        return ORX_ERROR(FAILED_TO_CREATE, "Resources mutex in the resource list");
    ORXOsapiSemaphore_setRank(self->resourcesMutex, resourcesMutexRank, "resources mutex");
    const ORX_INT8 level = REDASkiplist_getOptimumMaximumLevel(expectedResources);
    if (!REDASkiplist_newDefaultAllocator(&self->resourceListDesc, level, initialIndexNodes))
        return ORX_ERROR(FAILED_TO_CREATE, "Monitoring resource list description\n");
    self->resourceList = REDASkiplist_new(
        &self->resourceListDesc, ORX_MonitoringResourceRegistry_compareNode, nullptr, nullptr, nullptr);
    if (self->resourceList == nullptr)
        return ORX_ERROR(FAILED_TO_CREATE, "Monitoring resource list\n");
    REDAInlineList_init(&self->resourceDeepFirstList);
    self->resourcePool = orx::resource::newResourcePool();
    if (self->resourcePool == nullptr)
        return ORX_ERROR(FAILED_TO_CREATE, "Monitoring resource pool\n");
    if (!DDS_Monitoring_ResourceRegistry_initialize(&self->base))
        return ORX_ERROR(FAILED_TO_INITIALIZE, "Monitoring resource registry base\n");
    return true;
}

int ORX_MonitoringResourceRegistry_initialize(
    ORX_MonitoringResourceRegistry* self, REDAInlineList* metricSelectionList) {
    ORX_FAIL_IF(self == ORX_NULL);
    ORX_FAIL_IF(metricSelectionList == ORX_NULL);
    *self = {};
    if (!initializeContainers(self)) {
        ORX_MonitoringResourceRegistry_finalizeContainersI(self);
        return 0;
    }
    self->metricSelectionList = metricSelectionList;
    return 1;
}

void ORX_MonitoringResourceRegistry_finalizeContainersI(ORX_MonitoringResourceRegistry* self) {
    REDASkiplist_delete(self->resourceList);
    self->resourceList = nullptr;
    REDASkiplist_deleteDefaultAllocator(&self->resourceListDesc);
    self->resourceListDesc = {};
    if (!DDS_Monitoring_ResourceReferenceSeq_has_ownership(&self->base.resources))
        DDS_Monitoring_ResourceReferenceSeq_unloan(&self->base.resources);
    DDS_Monitoring_ResourceRegistry_finalize(&self->base);
    ORXOsapiHeap_freeArray(self->references);
    self->references = nullptr;
    self->referenceCapacity = 0;
    REDAFastBufferPool_delete(self->resourcePool);
    self->resourcePool = nullptr;
    ORXOsapiSemaphore_delete(self->resourcesMutex);
    self->resourcesMutex = nullptr;
    self->metricSelectionList = nullptr;
}

ORX_MonitoringResource* ORX_MonitoringResourceRegistry_findResource(
    const ORX_MonitoringResourceRegistry* self, const DDS_UInt8 guid[16]) {
    ORX_FAIL_IF(self == ORX_NULL);
    ORX_FAIL_IF(guid == ORX_NULL);
    REDASkiplistNode* node = nullptr;
    int preciseMatch = 0;
    // The index looks at nothing of a resource but the GUID at its head, so the GUID itself will do as the
    // key.
    REDASkiplist_findNode(self->resourceList, &node, &preciseMatch, guid);
    return preciseMatch == 1 ? static_cast<ORX_MonitoringResource*>(node->userData) : nullptr;
}

int ORX_MonitoringResourceRegistry_addResourceToResourceLists(
    ORX_MonitoringResourceRegistry* self, ORX_MonitoringResource* resource) {
    ORX_FAIL_IF(self == ORX_NULL);
    ORX_FAIL_IF(resource == ORX_NULL);
    if (!takeResourcesMutex(self))
        return 0;
    const bool isAdded = addToLists(self, resource);
    return giveResourcesMutex(self) && isAdded;
}

int ORX_MonitoringResourceRegistry_deleteResourceFromResourceLists(
    ORX_MonitoringResourceRegistry* self, ORX_MonitoringResource* resource) {
    ORX_FAIL_IF(self == ORX_NULL);
    ORX_FAIL_IF(resource == ORX_NULL);
    if (!takeResourcesMutex(self))
        return 0;
    while (resource->lockCounter != 0)
        if (!ORX_MonitoringResource_letPinsChangeI(self->resourcesMutex))
            return 0;
    removeFromLists(self, resource);
    return giveResourcesMutex(self);
}

int ORX_MonitoringResourceRegistry_refreshSampleSequence(ORX_MonitoringResourceRegistry* self) {
    ORX_FAIL_IF(self == ORX_NULL);
    const int length = REDAInlineList_getSize(&self->resourceDeepFirstList);
    ORX_FAIL_IF(length <= 0);
    DDS_Monitoring_ResourceReferenceSeq* resources = &self->base.resources;
    if (!DDS_Monitoring_ResourceReferenceSeq_has_ownership(resources))
        DDS_Monitoring_ResourceReferenceSeq_unloan(resources);
    if (!reserveReferences(self, length) || !DDS_Monitoring_ResourceReferenceSeq_loan_contiguous(
                                                resources, self->references, length, self->referenceCapacity))
        return ORX_ERROR(FAILED_TO_SET, "Monitoring resource registry base sequence length %d\n", length);
    int i = 0;
    for (ORX_MonitoringResource* resource = ORX_MonitoringResourceRegistry_getFirstResource(self, 0, 0);
         resource != nullptr; resource = ORX_MonitoringResourceRegistry_getNextResource(self, resource, 0, 0))
        self->references[i++] = &resource->base;
    return 1;
}

ORX_MonitoringResource* ORX_MonitoringResourceRegistry_getFirstResource(
    const ORX_MonitoringResourceRegistry* self, int lockResource,
    ORX_MonitoringResourceLockThreadMask lockThreadMask) {
    ORX_FAIL_IF(self == ORX_NULL);
    ORX_FAIL_IF(lockResource && lockThreadMask == ORX_MONITORING_RESOURCE_LOCK_THREAD_MASK_NONE);
    return lockResource ? pinNext(self, nullptr, lockThreadMask) : findNext(self, nullptr);
}

ORX_MonitoringResource* ORX_MonitoringResourceRegistry_getNextResource(
    const ORX_MonitoringResourceRegistry* self, const ORX_MonitoringResource* resource, int lockResource,
    ORX_MonitoringResourceLockThreadMask lockThreadMask) {
    ORX_FAIL_IF(self == ORX_NULL);
    ORX_FAIL_IF(resource == ORX_NULL);
    ORX_FAIL_IF(lockResource && lockThreadMask == ORX_MONITORING_RESOURCE_LOCK_THREAD_MASK_NONE);
    return lockResource ? pinNext(self, resource, lockThreadMask) : findNext(self, resource);
}
