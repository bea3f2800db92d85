#include "src/resource/ResourceLifecycle.h"

#include <cstring>

#include "orxmonitoring2d/monitoring_resource_support.h"
#include "src/dataModel/MetricCatalogue.h"
#include "src/eventMetrics/EventTaskExecutor.h"
#include "src/log/Log.hpp"
#include "src/resource/GuidText.hpp"
#include "src/resource/MetricSubscription.h"
#include "src/resource/ResourceIdentity.h"
#include "src/resource/ResourceMemory.hpp"
#include "zddscore/heap.h"
#include "zddscore/text.h"

namespace {

constexpr ORX_UINT32 orxLogSubmodule = orx::log::submodule::resource;

// What an assertion is given, but for what it is posted with.
struct Request {
    const DDS_GUID_t* userResourceGuid;
    DDS_UnsignedLong classId;
    const char* resourceName;
    void* userResource;
    ORX_MonitoringResource* parentResource;
    const ORX_MonitoringResourceForwarder* forwarder;

    bool hasName() const { return resourceName != nullptr && *resourceName != '\0'; }
    const DDS_UInt8* guidOctets() const {
        return userResourceGuid != nullptr ? userResourceGuid->value : nullptr;
    }
};

struct Posting {
    const ORX_MonitoringResource* applicationResource;
    ORX_MonitoringEventTaskExecutor* eventTaskExecutor;
};

bool generateExpectedGuid(DDS_Monitoring_GUID_t& expectedGuid, const Request& request) {
    char fullyQualifiedName[ORX_MONITORING_RESOURCE_FULLY_QUALIFIED_NAME_SIZE];
    if (ORX_MonitoringResource_getFullyQualifiedNameI(fullyQualifiedName, sizeof fullyQualifiedName,
            request.parentResource, request.guidOctets(), request.resourceName, request.classId) == 0)
        return ORX_ERROR(FAILED_TO_GET, "Monitoring resource fullyQualifiedName\n");
    if (!ORX_MonitoringResource_generateGuid(
            &expectedGuid, request.guidOctets(), fullyQualifiedName, request.userResource))
        return ORX_ERROR(FAILED_TO_CREATE, "Monitoring resource GUID\n");
    return true;
}

// One resource always stays with one queue. No level: there is one queue.
ORX_UINT32 computeConcurrencyIndex(const DDS_Monitoring_GUID_t& guid) {
    const ORX_MonitoringGlobals* globals = ORX_MonitoringGlobals_get_instance();
    const DDS_UnsignedLong level = globals != nullptr ? globals->eventConcurrency.level : 0;
    const ORX_UINT32 sum = ORX_UINT32{guid[0]} + guid[1] + guid[2] + guid[3];
    return level != 0 ? sum % level : 0;
}

char* duplicateName(const Request& request) {
    if (request.hasName())
        return DDS_String_dup(request.resourceName);
    char guidText[256];
    if (ORXOsapiUtility_snprintf(
            guidText, sizeof guidText, ORX_GUID_FORMAT, ORX_GUID_ARGUMENTS(request.guidOctets())) < 0)
        return nullptr;
    return DDS_String_dup(guidText);
}

bool describe(ORX_MonitoringResource& self, const Request& request) {
    self.concurrencyIndex = computeConcurrencyIndex(self.base.guid);
    self.base.class_id = request.classId;
    if (request.userResourceGuid != nullptr)
        std::memcpy(self.base.user_resource_guid, request.guidOctets(), sizeof self.base.user_resource_guid);
    self.base.name = duplicateName(request);
    if (self.base.name == nullptr)
        return ORX_ERROR(FAILED_TO_COPY, "Monitoring resource name '%s'\n",
            request.resourceName != nullptr ? request.resourceName : "");
    if (request.forwarder != nullptr &&
        !ORX_MonitoringResourceForwarder_copy(&self.forwarder, request.forwarder))
        return ORX_ERROR(FAILED_TO_COPY, "Monitoring resource forwarder\n");
    if (!DDS_Monitoring_GUID_tSeq_initialize(&self.base.children_guids))
        return ORX_ERROR(FAILED_TO_INITIALIZE, "Monitoring resource children\n");
    return true;
}

// Behind the last child.
bool linkToParent(ORX_MonitoringResource& self, ORX_MonitoringResource* parent) {
    if (parent == nullptr)
        return true;
    const bool isFirst = DDS_Monitoring_GUID_tSeq_get_length(&parent->base.children_guids) == 0;
    self.parent = parent;
    if (!ORX_MonitoringResource_addResourceToParentChildrenList(&self))
        return ORX_ERROR(FAILED_TO_ADD, "Resource to the list of children of the parent\n");
    if (isFirst) {
        parent->firstChild = &self;
    } else {
        self.prevSibling = parent->lastChild;
        parent->lastChild->nextSibling = &self;
    }
    parent->lastChild = &self;
    std::memcpy(self.base.owner_guid, parent->base.guid, sizeof self.base.owner_guid);
    return true;
}

// Out of the chain of siblings; a resource that never came into it has no neighbours.
void unlinkFromParent(ORX_MonitoringResource& self) {
    ORX_MonitoringResource* parent = self.parent;
    if (parent == nullptr)
        return;
    if (DDS_Monitoring_GUID_tSeq_get_length(&parent->base.children_guids) == 0) {
        parent->firstChild = nullptr;
        parent->lastChild = nullptr;
    } else {
        if (parent->firstChild == &self)
            parent->firstChild = self.nextSibling;
        if (parent->lastChild == &self)
            parent->lastChild = self.prevSibling;
        if (self.prevSibling != nullptr)
            self.prevSibling->nextSibling = self.nextSibling;
        if (self.nextSibling != nullptr)
            self.nextSibling->prevSibling = self.prevSibling;
    }
    self.prevSibling = nullptr;
    self.nextSibling = nullptr;
    self.parent = nullptr;
}

// Room for all groups and metrics of the class.
bool makeMetricSequences(ORX_MonitoringResource& self) {
    const ORX_Monitoring_ResourceInfo* info = ORX_Monitoring_getResourceInfo(self.base.class_id);
    if (info == nullptr)
        return ORX_ERROR(FAILED_TO_GET, "Resource info for class ID %ull.", self.base.class_id);
    DDS_UnsignedLongSeq* periodicGroups = &self.monitoredPeriodicMetricGroupIndex;
    const auto make = [&](DDS_UnsignedLongSeq* sequence, DDS_UnsignedLong maximum, const char* what) -> bool {
        if (!DDS_UnsignedLongSeq_initialize(sequence))
            return ORX_ERROR(FAILED_TO_INITIALIZE, "%s sequence.", what);
        const bool hasRoom = sequence == periodicGroups
                                 ? orx::resource::makePeriodicGroups(self, maximum)
                                 : DDS_UnsignedLongSeq_set_maximum(sequence, static_cast<DDS_Long>(maximum));
        if (!hasRoom)
            return ORX_ERROR(FAILED_TO_SET, "%s sequence with maximum %u.", what, maximum);
        return true;
    };
    return make(periodicGroups, info->periodicMetricGroupCount, "Monitored periodic metric group index") &&
           make(&self.monitoredEventMetricGroupIndex, info->eventMetricGroupCount,
               "Monitored event metric group index") &&
           make(&self.base.metric_ids, info->metricCount, "Monitored metric IDs") &&
           make(&self.monitoredMetricInfoIndex, info->metricCount, "Monitored metric info index");
}

// Into the lists and then, found by the matcher in its tree, under the selections. Paused meanwhile: once it
// is listed the periodic thread may come by, while its group sequences are still being made.
bool enlist(ORX_MonitoringResourceRegistry* self, ORX_MonitoringResource& resource) {
    ORX_MonitoringResource_setPaused(&resource, 1);
    if (!ORX_MonitoringResourceRegistry_addResourceToResourceLists(self, &resource))
        return ORX_ERROR(FAILED_TO_ADD,
            "Monitoring resource, (GUID: " ORX_GUID_FORMAT "%s%s), into the registry\n",
            ORX_GUID_ARGUMENTS(resource.base.guid), ORX_NAME_ARGUMENTS(resource.base.name));
    if (!ORX_MonitoringResource_applyMetricSelectionList(&resource, self->metricSelectionList))
        return ORX_ERROR(FAILED_TO_REGISTER,
            "Subscribed metrics for resource (GUID: " ORX_GUID_FORMAT "%s%s)",
            ORX_GUID_ARGUMENTS(resource.base.guid), ORX_NAME_ARGUMENTS(resource.base.name));
    ORX_MonitoringResource_setPaused(&resource, 0);
    return true;
}

bool postCreation(ORX_MonitoringResource& resource, const Posting& posting) {
    if (!ORX_MonitoringEventTaskExecutor_postResourceCreationTask(
            posting.eventTaskExecutor, &resource, posting.applicationResource))
        return ORX_ERROR(FAILED_TO_POST, "Created resource update\n");
    if (!ORX_MonitoringEventTaskExecutor_postEventMetricSnapshotTask(
            posting.eventTaskExecutor, &resource, nullptr))
        return ORX_ERROR(FAILED_TO_POST, "Initial event metric snapshot\n");
    return true;
}

void freeResource(ORX_MonitoringResource* self) {
    self->userResource = nullptr;
    DDS_String_free(self->base.name);
    self->base.name = nullptr;
    const struct {
        DDS_UnsignedLongSeq* sequence;
        const char* what;
    } sequences[] = {
        {&self->monitoredPeriodicMetricGroupIndex, "Monitored periodic metric group index sequence."},
        {&self->monitoredEventMetricGroupIndex, "Monitored event metric group index sequence."},
        {&self->base.metric_ids, "Monitored metric IDs sequence."},
        {&self->monitoredMetricInfoIndex, "Monitored metric info index sequence."}};
    for (const auto& [sequence, what] : sequences) {
        if (DDS_UnsignedLongSeq_finalize(sequence))
            continue;
        (void)ORX_ERROR(FAILED_TO_FINALIZE, "%s", what);
        return;
    }
    orx::resource::returnResource(*self);
}

// Whether a removal can be posted as asked. One that cannot for want of its objects is reported, and is not
// posted.
bool checkPosting(int postEventResourceMetricUpdate, const Posting& posting) {
    if (!postEventResourceMetricUpdate)
        return false;
    if (posting.applicationResource != nullptr && posting.eventTaskExecutor != nullptr)
        return true;
    (void)ORX_PRECONDITION_FAILED("\"postEventResourceMetricUpdate && (applicationResource == ((void *)0) || "
                                  "eventTaskExecutor == ((void *)0))\"\n");
    return false;
}

} // namespace

ORX_MonitoringResource* ORX_MonitoringResourceRegistry_assertResource(ORX_MonitoringResourceRegistry* self,
    const DDS_GUID_t* userResourceGuid, DDS_UnsignedLong classId, const char* resourceName,
    void* userResource, ORX_MonitoringResource* parentResource,
    const ORX_MonitoringResourceForwarder* forwarder, int postEventResourceMetricUpdate,
    const ORX_MonitoringResource* applicationResource, ORX_MonitoringEventTaskExecutor* eventTaskExecutor) {
    ORX_FAIL_IF(self == ORX_NULL);
    const Request request{userResourceGuid, classId, resourceName, userResource, parentResource, forwarder};
    const Posting posting{applicationResource, eventTaskExecutor};
    if (userResourceGuid == nullptr && !request.hasName())
        return ORX_PRECONDITION_FAILED(ORX_GUID_OR_NAME_PRECONDITION);
    if (postEventResourceMetricUpdate && !checkPosting(postEventResourceMetricUpdate, posting))
        return nullptr;

    DDS_Monitoring_GUID_t expectedGuid;
    if (!generateExpectedGuid(expectedGuid, request))
        return nullptr;
    ORX_MonitoringResource* resource = ORX_MonitoringResourceRegistry_findResource(self, expectedGuid);
    if (resource != nullptr)
        return resource;

    resource = orx::resource::takeResource(*self);
    if (resource == nullptr)
        return ORX_ERROR(FAILED_TO_ALLOCATE, "'struct ORX_MonitoringResource' with size %u\n",
            static_cast<unsigned>(sizeof *resource));
    std::memcpy(resource->base.guid, expectedGuid, sizeof resource->base.guid);
    resource->userResource = userResource;
    if (describe(*resource, request) && linkToParent(*resource, parentResource) &&
        makeMetricSequences(*resource) && enlist(self, *resource) &&
        (!postEventResourceMetricUpdate || postCreation(*resource, posting)))
        return resource;
    ORX_MonitoringResourceRegistry_deleteResource(self, resource, 0, applicationResource, eventTaskExecutor);
    return nullptr;
}

void ORX_MonitoringResourceRegistry_deleteResource(ORX_MonitoringResourceRegistry* self,
    ORX_MonitoringResource* resource, int postEventResourceMetricUpdate,
    const ORX_MonitoringResource* applicationResource, ORX_MonitoringEventTaskExecutor* eventTaskExecutor) {
    ORX_LEAVE_IF(self == ORX_NULL);
    ORX_LEAVE_IF(resource == ORX_NULL);
    const bool isPosted =
        checkPosting(postEventResourceMetricUpdate, {applicationResource, eventTaskExecutor});
    ORX_MonitoringResourceRegistry_deleteResourceChildren(
        self, resource, 0, applicationResource, eventTaskExecutor);
    if (!ORX_MonitoringResource_deleteResourceFromParentChildrenList(resource)) {
        (void)ORX_ERROR(FAILED_TO_DELETE, "Resource form the list of children of the parent\n");
        return;
    }
    unlinkFromParent(*resource);
    if (!ORX_MonitoringResourceRegistry_deleteResourceFromResourceLists(self, resource)) {
        (void)ORX_ERROR(FAILED_TO_DELETE, "Resource node from resource lists.");
        return;
    }
    // A failed post leaves the memory: a part of the event may be queued.
    if (isPosted && !ORX_MonitoringEventTaskExecutor_postDeletionResourceTask(
                        eventTaskExecutor, resource, applicationResource)) {
        (void)ORX_ERROR(FAILED_TO_POST, "Removal resource update\n");
        return;
    }
    freeResource(resource);
}

void ORX_MonitoringResourceRegistry_deleteResourceChildren(ORX_MonitoringResourceRegistry* self,
    ORX_MonitoringResource* resource, int postEventResourceMetricUpdate,
    const ORX_MonitoringResource* applicationResource, ORX_MonitoringEventTaskExecutor* eventTaskExecutor) {
    ORX_LEAVE_IF(self == ORX_NULL);
    ORX_LEAVE_IF(resource == ORX_NULL);
    const int isPosted =
        checkPosting(postEventResourceMetricUpdate, {applicationResource, eventTaskExecutor});
    while (ORX_MonitoringResource* child = ORX_MonitoringResource_getFirstChild(resource)) {
        ORX_MonitoringResourceRegistry_deleteResource(
            self, child, isPosted, applicationResource, eventTaskExecutor);
        if (resource->firstChild == child)
            return; /* it could not be unlinked, which was reported */
    }
    if (!DDS_Monitoring_GUID_tSeq_finalize(&resource->base.children_guids))
        (void)ORX_ERROR(FAILED_TO_FINALIZE, "Monitoring resource children");
}

// In the order of GUIDs. A deletion takes further nodes with it, so each one starts from the top.
void ORX_MonitoringResourceRegistry_finalize(ORX_MonitoringResourceRegistry* self) {
    ORX_LEAVE_IF(self == ORX_NULL);
    while (self->resourceList != nullptr) {
        const int count = REDASkiplist_getNodeCount(self->resourceList);
        REDASkiplistNode* node = nullptr;
        REDASkiplist_gotoTopNode(self->resourceList, &node);
        if (!REDASkiplist_gotoNextNode(self->resourceList, &node))
            break;
        ORX_MonitoringResourceRegistry_deleteResource(
            self, static_cast<ORX_MonitoringResource*>(node->userData), 0, nullptr, nullptr);
        if (REDASkiplist_getNodeCount(self->resourceList) == count)
            break; /* reported; do not try for ever */
    }
    ORX_MonitoringResourceRegistry_finalizeContainersI(self);
}

void ORX_MonitoringResourceRegistry_delete(ORX_MonitoringResourceRegistry* self) {
    if (self == nullptr)
        return;
    ORX_MonitoringResourceRegistry_finalize(self);
    ORXOsapiHeap_freeStructure(self);
}
