#include "src/resource/MonitoringResource.h"

#include <cstring>

#include "src/dataModel/MetricCatalogue.h"
#include "src/log/Log.hpp"
#include "src/resource/IndexSequence.h"
#include "src/resource/MonitoringResourceRegistry.h"
#include "zddscore/text.h"

namespace {

constexpr ORX_UINT32 orxLogSubmodule = orx::log::submodule::resource;

const ORX_MonitoringResource* fromOpaque(const ORX_MonitoringOpaqueResource* resource) {
    return reinterpret_cast<const ORX_MonitoringResource*>(resource);
}
const ORX_MonitoringOpaqueResource* toOpaque(const ORX_MonitoringResource* resource) {
    return reinterpret_cast<const ORX_MonitoringOpaqueResource*>(resource);
}

bool standsAt(const DDS_Monitoring_GUID_tSeq& guids, DDS_Long position, const DDS_Monitoring_GUID_t& guid) {
    if (position < 0 || position >= DDS_Monitoring_GUID_tSeq_get_length(&guids))
        return false;
    return std::memcmp(*DDS_Monitoring_GUID_tSeq_get_reference(&guids, position), guid, sizeof guid) == 0;
}

// Position of the resource among its parent's children, or -1.
DDS_Long findAmongChildren(const ORX_MonitoringResource& resource) {
    const DDS_Monitoring_GUID_tSeq& guids = resource.parent->base.children_guids;
    if (standsAt(guids, resource.positionInParent, resource.base.guid))
        return resource.positionInParent;
    const DDS_Long length = DDS_Monitoring_GUID_tSeq_get_length(&guids);
    for (DDS_Long position = 0; position < length; ++position)
        if (standsAt(guids, position, resource.base.guid))
            return position;
    return -1;
}

// The child whose GUID came to another position learns of it. Where it cannot be found its own removal
// searches.
void notePosition(
    const ORX_MonitoringResource& parent, const DDS_Monitoring_GUID_t& guid, DDS_Long position) {
    if (parent.registry == nullptr)
        return;
    ORX_MonitoringResource* child = ORX_MonitoringResourceRegistry_findResource(parent.registry, guid);
    if (child != nullptr && child->parent == &parent)
        child->positionInParent = position;
}

// The groups that identify an entity, in the order in which they are published.
struct LabelGroups {
    DDS_UnsignedLong classId;
    int count;
    DDS_UnsignedLong indexes[4];
};
constexpr LabelGroups labelGroups[] = {
    {ORX_MONITORING_APPLICATION_CLASS_ID, 3, {3, 2, 5}},    /* process id, hostname, logging */
    {ORX_MONITORING_PARTICIPANT_CLASS_ID, 4, {0, 1, 3, 2}}, /* GUID, domain id, platform, product version */
    {ORX_MONITORING_PUBLISHER_CLASS_ID, 1, {0}},            /* GUID */
    {ORX_MONITORING_SUBSCRIBER_CLASS_ID, 1, {0}},           /* GUID */
    {ORX_MONITORING_TOPIC_CLASS_ID, 3, {0, 1, 2}},          /* GUID, topic name, registered type name */
    {ORX_MONITORING_DATA_WRITER_CLASS_ID, 3, {0, 7, 8}},    /* the same three */
    {ORX_MONITORING_DATA_READER_CLASS_ID, 3, {0, 8, 9}},    /* the same three */
};

} // namespace

ORX_MonitoringResource* ORX_MonitoringResource_getFirstChild(ORX_MonitoringResource* self) {
    ORX_FAIL_IF(self == ORX_NULL);
    return self->firstChild;
}

ORX_MonitoringResource* ORX_MonitoringResource_getNextSibling(ORX_MonitoringResource* self) {
    ORX_FAIL_IF(self == ORX_NULL);
    return self->nextSibling;
}

int ORX_MonitoringResource_getOpaqueResourceAccessor(ORX_MonitoringOpaqueResourceAccessor* accessor) {
    ORX_FAIL_IF(accessor == ORX_NULL);
    *accessor = {.getNextSiblingFunction = ORX_MonitoringResource_getNextOpaqueSibling,
        .getFirstChildFunction = ORX_MonitoringResource_getFirstOpaqueChild,
        .getParentFunction = ORX_MonitoringResource_getOpaqueParent,
        .findByGuidFunction = ORX_MonitoringResource_getResourceByGuid,
        .getInfoFunction = ORX_MonitoringResource_getOpaqueInfo};
    return 1;
}

const ORX_MonitoringOpaqueResource* ORX_MonitoringResource_getFirstOpaqueChild(
    const ORX_MonitoringOpaqueResource* self) {
    ORX_FAIL_IF(self == ORX_NULL);
    return toOpaque(fromOpaque(self)->firstChild);
}

const ORX_MonitoringOpaqueResource* ORX_MonitoringResource_getNextOpaqueSibling(
    const ORX_MonitoringOpaqueResource* self) {
    ORX_FAIL_IF(self == ORX_NULL);
    return toOpaque(fromOpaque(self)->nextSibling);
}

const ORX_MonitoringOpaqueResource* ORX_MonitoringResource_getOpaqueParent(
    const ORX_MonitoringOpaqueResource* self) {
    ORX_FAIL_IF(self == ORX_NULL);
    return toOpaque(fromOpaque(self)->parent);
}

const ORX_MonitoringOpaqueResource* ORX_MonitoringResource_getResourceByGuid(
    const ORX_MonitoringOpaqueResource* self, const DDS_UInt8 guid[16]) {
    ORX_FAIL_IF(self == ORX_NULL);
    return toOpaque(ORX_MonitoringResourceRegistry_findResource(fromOpaque(self)->registry, guid));
}

void ORX_MonitoringResource_getOpaqueInfo(
    const ORX_MonitoringOpaqueResource* self, ORX_MonitoringOpaqueResourceInfo* info) {
    ORX_LEAVE_IF(self == ORX_NULL);
    ORX_LEAVE_IF(info == ORX_NULL);
    constexpr size_t maximum = sizeof info->name - 1;
    const DDS_Monitoring_Resource& base = fromOpaque(self)->base;
    const char* name = base.name != nullptr ? base.name : "";
    // A name that is too long is known by what fits.
    if (ORXOsapiUtility_strcpy(info->name, maximum, name) == nullptr)
        ORXOsapiUtility_strncpy(info->name, maximum, name, maximum);
    std::memcpy(info->guid, base.guid, sizeof info->guid);
    info->classId = base.class_id;
}

int ORX_MonitoringResource_addResourceToParentChildrenList(ORX_MonitoringResource* resource) {
    ORX_FAIL_IF(resource == ORX_NULL);
    ORX_FAIL_IF(resource->parent == ORX_NULL);
    DDS_Monitoring_GUID_tSeq* guids = &resource->parent->base.children_guids;
    const DDS_Long length = DDS_Monitoring_GUID_tSeq_get_length(guids);
    if (!DDS_Monitoring_GUID_tSeq_ensure_length(guids, length + 1, length + 1))
        return ORX_ERROR(FAILED_TO_SET, "Monitoring resource children sequence length %d\n", length + 1);
    std::memcpy(*DDS_Monitoring_GUID_tSeq_get_reference(guids, length), resource->base.guid,
        sizeof(DDS_Monitoring_GUID_t));
    if (!standsAt(*guids, resource->positionInParent, resource->base.guid))
        resource->positionInParent = length;
    return 1;
}

int ORX_MonitoringResource_deleteResourceFromParentChildrenList(ORX_MonitoringResource* resource) {
    ORX_FAIL_IF(resource == ORX_NULL);
    if (resource->parent == nullptr)
        return 1;
    const DDS_Long position = findAmongChildren(*resource);
    if (position < 0)
        return 1;
    DDS_Monitoring_GUID_tSeq* guids = &resource->parent->base.children_guids;
    const DDS_Long last = DDS_Monitoring_GUID_tSeq_get_length(guids) - 1;
    if (position != last) {
        DDS_Monitoring_GUID_t& vacant = *DDS_Monitoring_GUID_tSeq_get_reference(guids, position);
        std::memcpy(vacant, *DDS_Monitoring_GUID_tSeq_get_reference(guids, last), sizeof vacant);
        notePosition(*resource->parent, vacant, position);
    }
    if (!DDS_Monitoring_GUID_tSeq_set_length(guids, last))
        return ORX_ERROR(FAILED_TO_SET, "Children resource sequence length %d\n", last);
    return 1;
}

int ORX_MonitoringResource_registerLabelMetrics(ORX_MonitoringResource* self) {
    ORX_FAIL_IF(self == ORX_NULL);
    for (const LabelGroups& groups : labelGroups) {
        if (groups.classId != self->base.class_id)
            continue;
        for (int i = 0; i < groups.count; ++i)
            if (!DDS_UnsignedLongSeq_assertElement(&self->monitoredEventMetricGroupIndex, groups.indexes[i]))
                return ORX_ERROR(FAILED_TO_ASSERT,
                    "Metric group index %lu into monitored event metric group index sequence",
                    static_cast<unsigned long>(groups.indexes[i]));
        return 1;
    }
    return ORX_ERROR(BAD_PARAMETER_FAILURE, "Unknown self class ID");
}
