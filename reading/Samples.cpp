#include "reading/Samples.hpp"

#include <algorithm>
#include <cstring>
#include <string_view>

#include "orxmonitoring2d/metric_catalogue.h"
#include "reading/Leaves.hpp"

namespace reading {

namespace {

// The member that the discriminator of a union selects, null when it selects none.
const DDS_TypeMember* selectedArm(const DDS_TypeDescriptor& type, const void* value) {
    DDS_Long discriminator;
    std::memcpy(
        &discriminator, static_cast<const char*>(value) + type.discriminatorOffset, sizeof discriminator);
    for (DDS_UnsignedLong i = 0; i < type.memberCount; ++i) {
        const DDS_TypeMember& arm = type.members[i];
        const auto isSelected = [&](DDS_LongLong label) {
            return static_cast<DDS_Long>(label) == discriminator;
        };
        if (std::any_of(arm.labels, arm.labels + arm.labelCount, isSelected))
            return &arm;
    }
    return nullptr;
}

template <typename Visit>
void forEachGroup(const DDS_TypeDescriptor& unionType, const void* unionValue, Visit visit) {
    const DDS_TypeDescriptor& type = resolved(unionType);
    const DDS_TypeMember* arm = selectedArm(type, unionValue);
    if (arm == nullptr)
        return;
    const DDS_TypeDescriptor& branch = resolved(*arm->type);
    const char* base = static_cast<const char*>(unionValue) + arm->offset;
    for (DDS_UnsignedLong i = 0; i < branch.memberCount; ++i) {
        const DDS_TypeMember& member = branch.members[i];
        const std::string_view name = member.name;
        // These two are told as changes of the tree.
        if (name == "resource_update" || name == "resource_registry")
            continue;
        if ((member.flags & DDS_MEMBER_FLAG_OPTIONAL) == 0)
            continue; // the dummy of a class without periodic groups
        const void* value = nullptr;
        std::memcpy(&value, base + member.offset, sizeof value);
        if (value == nullptr)
            continue;
        // An optional string lies behind its member itself, anything else behind the pointer.
        if (resolved(*member.type).kind == DDS_TYPE_STRING)
            value = base + member.offset;
        visit(Group{static_cast<std::uint32_t>(arm->labels[0]), member.name, i, member.type, value});
    }
}

const char* textOf(const char* text) {
    return text != nullptr ? text : "";
}

void visitRegistry(const DDS_Monitoring_ResourceRegistry& registry, EventVisitor& visitor) {
    std::vector<Described> resources;
    const DDS_Long count = DDS_Monitoring_ResourceReferenceSeq_get_length(&registry.resources);
    resources.reserve(static_cast<std::size_t>(count));
    for (DDS_Long i = 0; i < count; ++i) {
        const DDS_Monitoring_Resource* item = DDS_Monitoring_ResourceReferenceSeq_get(&registry.resources, i);
        if (item == nullptr)
            continue;
        resources.push_back({guidOf(item->guid), guidOf(item->owner_guid), item->class_id, textOf(item->name),
            &item->metric_ids});
    }
    visitor.registry(resources);
}

void visitUpdate(const DDS_Monitoring_ResourceUpdate& update, EventVisitor& visitor) {
    switch (update._d) {
    case DDS_Monitoring_ResourceUpdateKind_RESOURCE_UPDATE_CREATION_KIND: {
        const auto& creation = update._u.new_resource;
        return visitor.created({guidOf(creation.guid), guidOf(creation.owner_resource_guid),
            creation.class_id, textOf(creation.name), &creation.metric_ids});
    }
    case DDS_Monitoring_ResourceUpdateKind_RESOURCE_UPDATE_DELETION_KIND:
        return visitor.deleted(guidOf(update._u.delete_resource.guid));
    case DDS_Monitoring_ResourceUpdateKind_RESOURCE_UPDATE_CHANGE_KIND:
        return visitor.selected(guidOf(update._u.change_resource.guid), update._u.change_resource.metric_ids);
    default:
        return;
    }
}

} // namespace

Guid guidOf(const DDS_Monitoring_GUID_t& octets) {
    Guid guid;
    std::memcpy(guid.data(), octets, guid.size());
    return guid;
}

Guid guidOf(const DDS_InstanceHandle_t& handle) {
    Guid guid;
    std::memcpy(guid.data(), handle.keyHash, guid.size());
    return guid;
}

std::int64_t sourceTimeOf(const DDS_SampleInfo& info) {
    return info.source_timestamp.sec * 1'000'000'000 + info.source_timestamp.nanosec;
}

std::vector<std::uint32_t> metricIdsOf(const DDS_UnsignedLongSeq& sequence) {
    std::vector<std::uint32_t> ids;
    for (DDS_Long i = 0; i < DDS_UnsignedLongSeq_get_length(&sequence); ++i)
        ids.push_back(DDS_UnsignedLongSeq_get(&sequence, i));
    return ids;
}

void visit(const DDS_Monitoring_Event& sample, EventVisitor& visitor) {
    if (sample.value._d == static_cast<DDS_Long>(ORX_MONITORING_APPLICATION_CLASS_ID)) {
        const auto& application = sample.value._u.application;
        if (application.resource_registry != nullptr)
            visitRegistry(*application.resource_registry, visitor);
        if (application.resource_update != nullptr)
            visitUpdate(*application.resource_update, visitor);
    }
    forEachGroup(*DDS_Monitoring_EventUnion_get_typecode(), &sample.value,
        [&](const Group& group) { visitor.group(group); });
}

std::vector<Group> groupsOf(const DDS_Monitoring_Periodic& sample) {
    std::vector<Group> groups;
    forEachGroup(*DDS_Monitoring_PeriodicUnion_get_typecode(), &sample.value,
        [&](const Group& group) { groups.push_back(group); });
    return groups;
}

} // namespace reading
