#include "tests/unit/collector/FakeApplication.hpp"

#include <algorithm>
#include <cstring>

#include "orxmonitoring2d/metric_catalogue.h"
#include "reading/Leaves.hpp"
#include "zddsc/type_engine.h"

namespace collector_test {

namespace {

const DDS_TypeMember* armOf(const DDS_TypeDescriptor& unionType, std::uint32_t classId) {
    const DDS_TypeDescriptor& type = reading::resolved(unionType);
    for (DDS_UnsignedLong i = 0; i < type.memberCount; ++i) {
        if (static_cast<std::uint32_t>(type.members[i].labels[0]) == classId)
            return &type.members[i];
    }
    return nullptr;
}

// Writes a number of its own into every leaf of a value that is a number.
class Numbering {
public:
    Numbering(std::uint32_t seed, bool isNegative) : next_(seed), sign_(isNegative ? -1 : 1) {}

    void value(const DDS_TypeDescriptor& declared, void* place) {
        const DDS_TypeDescriptor& type = reading::resolved(declared);
        switch (type.kind) {
        case DDS_TYPE_STRUCT:
            for (DDS_UnsignedLong i = 0; i < type.memberCount; ++i)
                value(*type.members[i].type, static_cast<char*>(place) + type.members[i].offset);
            return;
        case DDS_TYPE_OCTET:
            return put(place, static_cast<DDS_Octet>(next() % 100));
        case DDS_TYPE_LONG:
            return put(place, static_cast<DDS_Long>(sign_ * next()));
        case DDS_TYPE_ULONG:
            return put(place, static_cast<DDS_UnsignedLong>(next()));
        case DDS_TYPE_LONGLONG:
            return put(place, static_cast<DDS_LongLong>(sign_ * (next() + (std::int64_t{1} << 40))));
        case DDS_TYPE_ULONGLONG:
            return put(place, static_cast<DDS_UnsignedLongLong>(next()) + (DDS_UnsignedLongLong{1} << 63));
        case DDS_TYPE_FLOAT:
            return put(place, static_cast<DDS_Float>(next()) + 0.1F);
        default:
            return;
        }
    }

private:
    std::int64_t next() { return next_++; }
    template <typename T> void put(void* place, T number) { std::memcpy(place, &number, sizeof number); }

    std::uint32_t next_;
    const std::int64_t sign_;
};

// Values for the groups that have metrics; the others stay away.
void fill(const DDS_TypeDescriptor& unionType, void* unionValue, ResourceClass resourceClass, bool isPeriodic,
    std::uint32_t seed, bool isNegative) {
    const DDS_TypeMember& arm = *armOf(unionType, collector::classIdOf(resourceClass));
    const DDS_TypeDescriptor& branch = reading::resolved(*arm.type);
    Numbering numbering(seed, isNegative);
    for (DDS_UnsignedLong i = 0; i < branch.memberCount; ++i) {
        if (!collector::groupAt(resourceClass, isPeriodic, i))
            continue;
        const DDS_TypeDescriptor& type = reading::resolved(*branch.members[i].type);
        void* value = DDS_Type_create_data(&type);
        numbering.value(type, value);
        std::memcpy(
            static_cast<char*>(unionValue) + arm.offset + branch.members[i].offset, &value, sizeof value);
    }
}

void setIds(DDS_UnsignedLongSeq& sequence, const std::vector<std::uint32_t>& ids) {
    DDS_UnsignedLongSeq_from_array(&sequence, ids.data(), static_cast<DDS_Long>(ids.size()));
}

} // namespace

void setGuid(DDS_Monitoring_GUID_t& octets, const Guid& guid) {
    std::memcpy(octets, guid.data(), guid.size());
}

std::vector<std::uint32_t> allMetricIds(ResourceClass resourceClass) {
    std::vector<std::uint32_t> ids;
    const std::uint32_t classId = collector::classIdOf(resourceClass);
    for (std::uint32_t i = 0; i < ORX_Monitoring_getResourceInfo(classId)->metricCount; ++i)
        ids.push_back(ORX_Monitoring_getMetricInfo(classId)[i].metricId);
    return ids;
}

Event fullEvent(ResourceClass resourceClass, std::uint32_t seed, bool isNegative) {
    Event event(DDS_Monitoring_EventPluginSupport_create_data());
    event->value._d = collector::classIdOf(resourceClass);
    fill(*DDS_Monitoring_EventUnion_get_typecode(), &event->value, resourceClass, false, seed, isNegative);
    return event;
}

Periodic fullPeriodic(ResourceClass resourceClass, std::uint32_t seed, bool isNegative) {
    Periodic periodic(DDS_Monitoring_PeriodicPluginSupport_create_data());
    periodic->value._d = collector::classIdOf(resourceClass);
    fill(*DDS_Monitoring_PeriodicUnion_get_typecode(), &periodic->value, resourceClass, true, seed,
        isNegative);
    return periodic;
}

FakeApplication::FakeApplication(
    collector::Model& model, std::uint32_t number, std::string name, std::uint32_t life)
    : model_(model), number_(number), life_(life) {
    resources_[guid()] = {
        guid(), {}, ResourceClass::application, std::move(name), allMetricIds(ResourceClass::application)};
}

Guid FakeApplication::guidOf(std::uint32_t resource) const {
    Guid guid{};
    std::memcpy(guid.data(), &number_, sizeof number_);
    std::memcpy(guid.data() + 4, &life_, sizeof life_);
    std::memcpy(guid.data() + 8, &resource, sizeof resource);
    guid[15] = 0x77;
    return guid;
}

Guid FakeApplication::participant() const {
    Guid guid{};
    guid[0] = 0x01;
    std::memcpy(guid.data() + 1, &number_, sizeof number_);
    std::memcpy(guid.data() + 5, &life_, sizeof life_);
    guid[14] = 0x01;
    guid[15] = 0xC1;
    return guid;
}

DDS_SampleInfo FakeApplication::info(unsigned char entity) const {
    DDS_SampleInfo info = DDS_SAMPLEINFO_DEFAULT;
    info.valid_data = 1;
    info.source_timestamp.sec = timeNs / 1'000'000'000;
    info.source_timestamp.nanosec = static_cast<DDS_UnsignedLong>(timeNs % 1'000'000'000);
    std::memcpy(info.publication_handle.keyHash, participant().data(), 12);
    info.publication_handle.keyHash[15] = entity;
    return info;
}

void FakeApplication::publish(Event event, std::uint32_t number, bool isSnapshot) {
    setGuid(event->resource_guid, guidOf(number));
    setGuid(event->info.root_resource_guid, guid());
    event->info.epoch_resource = resourceEpoch;
    event->info.epoch_metric = metricEpoch;
    event->info.is_snapshot = isSnapshot;
    if (!isLost_)
        model_.event(*event, info());
}

void FakeApplication::tellRegistry(std::function<void(std::vector<const FakeResource*>&)> arrange) {
    std::vector<const FakeResource*> told;
    for (const auto& [guid, resource] : resources_)
        told.push_back(&resource);
    if (arrange)
        arrange(told);
    Event event(DDS_Monitoring_EventPluginSupport_create_data());
    event->value._d = static_cast<DDS_Long>(ORX_MONITORING_APPLICATION_CLASS_ID);
    auto* registry = DDS_Monitoring_ResourceRegistryPluginSupport_create_data();
    event->value._u.application.resource_registry = registry;
    const auto count = static_cast<DDS_Long>(told.size());
    DDS_Monitoring_ResourceReferenceSeq_ensure_length(&registry->resources, count, count);
    for (DDS_Long i = 0; i < count; ++i) {
        const FakeResource& resource = *told[static_cast<std::size_t>(i)];
        auto* item = *DDS_Monitoring_ResourceReferenceSeq_get_reference(&registry->resources, i);
        setGuid(item->guid, resource.guid);
        setGuid(item->owner_guid, resource.owner);
        item->class_id = collector::classIdOf(resource.resourceClass);
        DDS_String_replace(&item->name, resource.name.c_str());
        setIds(item->metric_ids, resource.metricIds);
    }
    publish(std::move(event), 0, true);
}

Event FakeApplication::updateSample(DDS_Monitoring_ResourceUpdateKind kind) const {
    Event event(DDS_Monitoring_EventPluginSupport_create_data());
    event->value._d = static_cast<DDS_Long>(ORX_MONITORING_APPLICATION_CLASS_ID);
    event->value._u.application.resource_update = DDS_Monitoring_ResourceUpdatePluginSupport_create_data();
    event->value._u.application.resource_update->_d = kind;
    return event;
}

void FakeApplication::create(
    std::uint32_t number, std::uint32_t owner, ResourceClass resourceClass, std::string name) {
    create(number, owner, resourceClass, std::move(name), allMetricIds(resourceClass));
}

void FakeApplication::create(std::uint32_t number, std::uint32_t owner, ResourceClass resourceClass,
    std::string name, std::vector<std::uint32_t> metricIds) {
    Event event = updateSample(DDS_Monitoring_ResourceUpdateKind_RESOURCE_UPDATE_CREATION_KIND);
    auto& creation = event->value._u.application.resource_update->_u.new_resource;
    setGuid(creation.guid, guidOf(number));
    setGuid(creation.owner_resource_guid, guidOf(owner));
    creation.class_id = collector::classIdOf(resourceClass);
    DDS_String_replace(&creation.name, name.c_str());
    setIds(creation.metric_ids, metricIds);
    resources_[guidOf(number)] = {
        guidOf(number), guidOf(owner), resourceClass, std::move(name), std::move(metricIds)};
    ++resourceEpoch;
    publish(std::move(event), 0, false);
}

void FakeApplication::destroy(std::uint32_t number) {
    std::vector<Guid> gone{guidOf(number)};
    for (std::size_t i = 0; i < gone.size(); ++i) {
        for (const auto& [guid, resource] : resources_) {
            if (resource.owner == gone[i])
                gone.push_back(guid);
        }
    }
    for (const Guid& guid : gone)
        resources_.erase(guid);
    Event event = updateSample(DDS_Monitoring_ResourceUpdateKind_RESOURCE_UPDATE_DELETION_KIND);
    setGuid(event->value._u.application.resource_update->_u.delete_resource.guid, guidOf(number));
    ++resourceEpoch;
    publish(std::move(event), 0, false);
}

void FakeApplication::select(std::uint32_t number, std::vector<std::uint32_t> metricIds) {
    Event event = updateSample(DDS_Monitoring_ResourceUpdateKind_RESOURCE_UPDATE_CHANGE_KIND);
    auto& change = event->value._u.application.resource_update->_u.change_resource;
    setGuid(change.guid, guidOf(number));
    setIds(change.metric_ids, metricIds);
    resources_.at(guidOf(number)).metricIds = std::move(metricIds);
    publish(std::move(event), 0, false);
}

void FakeApplication::lose(const std::function<void()>& steps) {
    isLost_ = true;
    steps();
    isLost_ = false;
}

void FakeApplication::vanish() {
    Event event = updateSample(DDS_Monitoring_ResourceUpdateKind_RESOURCE_UPDATE_DELETION_KIND);
    setGuid(event->value._u.application.resource_update->_u.delete_resource.guid, guid());
    setGuid(event->resource_guid, guid());
    // The forwarder's sample names no root.
    model_.event(*event, info());
}

void FakeApplication::createSmallTree() {
    tellRegistry();
    create(1, 0, ResourceClass::participant, "p");
    create(2, 1, ResourceClass::publisher, "pub");
    create(3, 1, ResourceClass::subscriber, "sub");
    create(4, 1, ResourceClass::topic, "t");
    create(5, 2, ResourceClass::dataWriter, "w");
    create(6, 3, ResourceClass::dataReader, "r");
}

void FakeApplication::send(Event event, std::uint32_t number, bool isSnapshot) {
    if (!isSnapshot)
        ++metricEpoch;
    publish(std::move(event), number, isSnapshot);
}

void FakeApplication::send(Periodic periodic, std::uint32_t number) {
    setGuid(periodic->resource_guid, guidOf(number));
    if (!isLost_)
        model_.periodic(*periodic, info(0x03));
}

void FakeApplication::tellTopic(std::uint32_t number, const std::string& topic, const std::string& type) {
    Event event(DDS_Monitoring_EventPluginSupport_create_data());
    const ResourceClass resourceClass = resources_.at(guidOf(number)).resourceClass;
    event->value._d = collector::classIdOf(resourceClass);
    const auto set = [&](auto& branch) {
        branch.topic_name = DDS_String_dup(topic.c_str());
        branch.registered_type_name = DDS_String_dup(type.c_str());
    };
    if (resourceClass == ResourceClass::topic)
        set(event->value._u.topic);
    else if (resourceClass == ResourceClass::dataWriter)
        set(event->value._u.data_writer);
    else
        set(event->value._u.data_reader);
    send(std::move(event), number);
}

void FakeApplication::tellDomain(std::uint32_t number, std::int32_t domain) {
    Event event(DDS_Monitoring_EventPluginSupport_create_data());
    event->value._d = static_cast<DDS_Long>(ORX_MONITORING_PARTICIPANT_CLASS_ID);
    event->value._u.domain_participant.domain_id = static_cast<DDS_Monitoring_DomainId_t*>(
        DDS_Type_create_data(DDS_Monitoring_DomainId_t_get_typecode()));
    *event->value._u.domain_participant.domain_id = domain;
    send(std::move(event), number);
}

void FakeApplication::tellMatched(std::uint32_t writer, std::int32_t current, bool isSnapshot) {
    Event event(DDS_Monitoring_EventPluginSupport_create_data());
    event->value._d = static_cast<DDS_Long>(ORX_MONITORING_DATA_WRITER_CLASS_ID);
    auto* status = DDS_Monitoring_PublicationMatchedStatusPluginSupport_create_data();
    status->current_count = current;
    event->value._u.data_writer.status_publication_matched_1 = status;
    send(std::move(event), writer, isSnapshot);
}

void FakeApplication::tellWritten(std::uint32_t writer, std::int64_t samples) {
    Periodic periodic(DDS_Monitoring_PeriodicPluginSupport_create_data());
    periodic->value._d = static_cast<DDS_Long>(ORX_MONITORING_DATA_WRITER_CLASS_ID);
    auto* status = DDS_Monitoring_DataWriterProtocolStatusPluginSupport_create_data();
    status->pushed_sample_count = samples;
    periodic->value._u.data_writer.status_protocol_2 = status;
    send(std::move(periodic), writer);
}

} // namespace collector_test
