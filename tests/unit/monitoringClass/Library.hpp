// The library as a host runs it, over the loopback engine, reached through its table of operations alone.
#ifndef ORX_TESTS_LIBRARY_HPP
#define ORX_TESTS_LIBRARY_HPP

#include <string>
#include <vector>

#include "middleware/engine/loopback/LoopbackEngine.hpp"
#include "orxmonitoring2d/dds_status.h"
#include "src/dataModel/MetricCatalogue.h"
#include "src/monitoringClass/MonitoringClass.h"
#include "src/monitoringClass/MonitoringClassImpl.h"
#include "src/resource/MonitoringResourceRegistry.h"
#include "tests/helpers/EventReader.hpp"
#include "zddscore/heap.h"

class Library {
public:
    static constexpr DDS_DomainId_t domain = 63;

    Library() {
        zdds::engine::setInstance(&engine);
        ORX_MonitoringProperty_t_initialize(&property);
        property.domain_id = domain;
        property.event.concurrency_level = 3;
        property.event.publication_period = {0, 0};
        property.event.initial_memory_size = 4096;
        property.event.snapshot_delay = {0, 0};
        DDS_String_replace(&property.application_name, "app");
        ORX_MonitoringHost_set_create_function(ORX_Monitoring_create);
    }
    ~Library() {
        (void)stop();
        for (auto* entity : entities_)
            DDS_Entity_delete_observedI(entity);
        ORX_MonitoringProperty_t_finalize_ex(&property, DDS_BOOLEAN_FALSE);
        ORX_MonitoringHost_finalize();
        zdds::engine::setInstance(nullptr);
    }
    Library(const Library&) = delete;
    Library& operator=(const Library&) = delete;

    bool start() {
        table = ORX_MonitoringHost_start(&property);
        return table != nullptr;
    }
    bool stop() {
        table = nullptr;
        return ORX_MonitoringHost_stop() != 0;
    }
    ORX_MonitoringClassImpl& impl() { return *reinterpret_cast<ORX_MonitoringClassImpl*>(table); }

    // Selections for the property, before the start.
    void select(const char* expression, const char* pattern) {
        auto& list = property.metric_selection_list;
        const DDS_Long length = DDS_MonitoringMetricSelectionSeq_get_length(&list);
        DDS_MonitoringMetricSelectionSeq_ensure_length(&list, length + 1, length + 1);
        auto* selection = DDS_MonitoringMetricSelectionSeq_get_reference(&list, length);
        DDS_String_replace(&selection->resource_selection, expression);
        DDS_StringSeq_ensure_length(&selection->enabled_metrics_selection, 1, 1);
        DDS_String_replace(DDS_StringSeq_get_reference(&selection->enabled_metrics_selection, 0), pattern);
    }

    DDS_Entity* newEntity(DDS_EntityKind kind) {
        DDS_GUID_t guid = nextGuid();
        entities_.push_back(DDS_Entity_create_observedI(kind, &guid, 1));
        return entities_.back();
    }
    DDS_GUID_t nextGuid() {
        DDS_GUID_t guid{};
        const auto number = ++made_;
        for (int i = 0; i < 4; ++i)
            guid.value[15 - i] = static_cast<DDS_Octet>(number >> (8 * i));
        return guid;
    }

    // Asserts as a host does: under the library lock.
    ORX_MonitoringResource* assertResource(DDS_UnsignedLong classId, const char* name,
        ORX_MonitoringResource* parent, DDS_Entity* entity, DDS_UnsignedLong* index = nullptr) {
        const ORX_MonitoringResourceForwarder forwarder{getGroup, nullptr};
        DDS_UnsignedLong ownIndex = 0;
        DDS_GUID_t guid{};
        DDS_Entity_get_guid(entity, &guid);
        lockLibrary();
        auto* resource = table->assertResourceFunction(
            table, index != nullptr ? index : &ownIndex, &guid, classId, name, entity, parent, &forwarder);
        unlockLibrary();
        return resource;
    }
    ORX_MonitoringResource* participant(const char* name) {
        return assertResource(ORX_MONITORING_PARTICIPANT_CLASS_ID, name, table->rootResource,
            newEntity(DDS_PARTICIPANT_ENTITY_KIND));
    }
    ORX_MonitoringResource* topic(const char* name, ORX_MonitoringResource* parent) {
        return assertResource(ORX_MONITORING_TOPIC_CLASS_ID, name, parent, newEntity(DDS_TOPIC_ENTITY_KIND));
    }
    void deleteResource(ORX_MonitoringResource* resource) {
        lockLibrary();
        table->deleteResourceFunction(table, resource);
        unlockLibrary();
    }
    bool push(ORX_MonitoringResource* resource, DDS_UnsignedLong group, const void* value) {
        lockMetric(resource->concurrencyIndex);
        const bool result =
            table->pushEventMetricFunction(table, const_cast<void*>(value), resource, group) != 0;
        unlockMetric(resource->concurrencyIndex);
        return result;
    }

    static void lockLibrary() {
        (void)ORX_Monitoring_lockI(ORX_MONITORING_LOCK_KIND_LIBRARY, 0, 1, 1, nullptr);
    }
    static void unlockLibrary() { (void)ORX_Monitoring_unlockI(ORX_MONITORING_LOCK_KIND_LIBRARY, 0, 1); }
    static void lockMetric(DDS_UnsignedLong index) {
        (void)ORX_Monitoring_lockI(ORX_MONITORING_LOCK_KIND_METRIC, index, 1, 1, nullptr);
    }
    static void unlockMetric(DDS_UnsignedLong index) {
        (void)ORX_Monitoring_unlockI(ORX_MONITORING_LOCK_KIND_METRIC, index, 1);
    }

    zdds::engine::LoopbackEngine engine;
    ORX_MonitoringProperty_t property{};
    ORX_MonitoringClass* table = nullptr;

private:
    // Every group of a participant or topic that identifies it.
    static DDS_Boolean getGroup(void** group, const void* userResource, DDS_UnsignedLong index) {
        static DDS_GUID_t guid;
        static DDS_Long number = 7;
        static DDS_Octet version[4] = {1, 2, 3, 4};
        static char text[] = "text";
        const bool isParticipant = DDS_Entity_get_entity_kind(static_cast<const DDS_Entity*>(userResource)) ==
                                   DDS_PARTICIPANT_ENTITY_KIND;
        switch (index) {
        case 0:
            *group = guid.value;
            break;
        case 1:
            *group = isParticipant ? static_cast<void*>(&number) : text;
            break;
        case 2:
            *group = isParticipant ? static_cast<void*>(version) : text;
            break;
        default:
            *group = text;
            break;
        }
        return index < 4;
    }

    std::vector<DDS_Entity*> entities_;
    uint32_t made_ = 0;
};

#endif
