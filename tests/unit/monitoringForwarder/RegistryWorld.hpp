// A registry of the forwarder with participants and applications named by small numbers.
#ifndef ORX_TESTS_REGISTRY_WORLD_HPP
#define ORX_TESTS_REGISTRY_WORLD_HPP

#include <string>
#include <vector>

#include "orxmonitoring2d/dds_entities_distribution_support.h"
#include "orxmonitoring2d/dds_logging_support.h"
#include "orxmonitoring2d/monitoring_resource_support.h"
#include "src/dataModel/MetricCatalogue.h"
#include "src/resource/ApplicationRegistry.h"
#include "src/resource/ApplicationSelection.h"
#include "tests/unit/monitoringForwarder/Applications.hpp"

inline DDS_GUID_t guidOf(uint8_t number) {
    DDS_GUID_t guid{};
    guid.value[0] = number;
    guid.value[15] = 0xC1;
    return guid;
}

class RegistryWorld {
public:
    RegistryWorld() : registry{ORX_MonitoringForwarderApplicationRegistry_new()} {}
    ~RegistryWorld() { ORX_MonitoringForwarderApplicationRegistry_delete(registry); }
    RegistryWorld(const RegistryWorld&) = delete;
    RegistryWorld& operator=(const RegistryWorld&) = delete;

    // Where its commands go, or DDS_HANDLE_NIL when it was known or the call failed.
    DDS_InstanceHandle_t addParticipant(uint8_t number) {
        const DDS_GUID_t guid = guidOf(number);
        const DDS_InstanceHandle_t publication = handleOf(number);
        DDS_InstanceHandle_t destination = DDS_HANDLE_NIL;
        isSuccess = ORX_MonitoringForwarderApplicationRegistry_assertParticipant(
            registry, &destination, &guid, &publication);
        return destination;
    }
    ORX_MonitoringForwarderMonitoringParticipant* participant(uint8_t number) {
        const DDS_GUID_t guid = guidOf(number);
        return ORX_MonitoringForwarderApplicationRegistry_findApplicationMonitoringParticipant(
            registry, &guid);
    }
    int pendingCount() const {
        return REDAInlineList_getSize(registry->participantsPendingResourceRegistryRequestList);
    }

    ORX_MonitoringForwarderApplicationResource* addApplication(
        uint8_t number, const char* name, uint8_t participantNumber, bool isFullyQualified = false) {
        DDS_Monitoring_Resource resource;
        DDS_Monitoring_Resource_initialize(&resource);
        resource.guid[15] = number;
        const DDS_GUID_t guid = guidOf(participantNumber);
        auto* application = ORX_MonitoringForwarderApplicationRegistry_assertApplicationResource(
            registry, name, isFullyQualified, &resource, &guid);
        DDS_Monitoring_Resource_finalize(&resource);
        return application;
    }
    ORX_MonitoringForwarderApplicationResource* application(uint8_t number, const char* name = nullptr) {
        DDS_Octet guid[16]{};
        guid[15] = number;
        return ORX_MonitoringForwarderApplicationRegistry_findApplicationResource(registry, name, guid);
    }
    void removeApplication(uint8_t number) {
        DDS_Octet guid[16]{};
        guid[15] = number;
        ORX_MonitoringForwarderApplicationRegistry_deleteApplicationResource(registry, guid);
    }
    bool apply(const DDS_Monitoring_Event* event, uint8_t participantNumber) {
        const DDS_GUID_t guid = guidOf(participantNumber);
        return ORX_MonitoringForwarderApplicationRegistry_processApplicationEventSample(
            registry, event, &guid);
    }
    int applicationCount() const { return REDASkiplist_getNodeCount(registry->guidIndex); }

    ORX_MonitoringForwarderApplicationRegistry* registry;
    bool isSuccess = false;
};

// An event of the class application, owned.
class ApplicationEvent {
public:
    ApplicationEvent() : event_{DDS_Monitoring_EventPluginSupport_create_data()} {
        event_->value._d = static_cast<DDS_Monitoring_ResourceClassId>(ORX_MONITORING_APPLICATION_CLASS_ID);
    }
    ~ApplicationEvent() { DDS_Monitoring_EventPluginSupport_destroy_data(event_); }
    ApplicationEvent(const ApplicationEvent&) = delete;
    ApplicationEvent& operator=(const ApplicationEvent&) = delete;

    struct Entry {
        uint8_t number;
        const char* name;
        DDS_UnsignedLong classId = ORX_MONITORING_APPLICATION_CLASS_ID;
    };
    void setRegistry(const std::vector<Entry>& entries) {
        auto& arm = event_->value._u.application;
        arm.resource_registry = DDS_Monitoring_ResourceRegistryPluginSupport_create_data();
        auto* resources = &arm.resource_registry->resources;
        DDS_Monitoring_ResourceReferenceSeq_set_length(resources, static_cast<DDS_Long>(entries.size()));
        for (size_t i = 0; i < entries.size(); ++i) {
            auto*& reference =
                *DDS_Monitoring_ResourceReferenceSeq_get_reference(resources, static_cast<DDS_Long>(i));
            if (reference == nullptr)
                reference = DDS_Monitoring_ResourcePluginSupport_create_data();
            reference->guid[15] = entries[i].number;
            reference->class_id = static_cast<DDS_Monitoring_ResourceClassId>(entries[i].classId);
            DDS_String_replace(&reference->name, entries[i].name);
        }
    }
    void setUpdate(DDS_Monitoring_ResourceUpdateKind kind, uint8_t number) {
        auto& arm = event_->value._u.application;
        if (arm.resource_update == nullptr)
            arm.resource_update = DDS_Monitoring_ResourceUpdatePluginSupport_create_data();
        arm.resource_update->_d = kind;
        arm.resource_update->_u.delete_resource.guid[15] = number;
    }
    void setLogging(uint8_t number, DDS_Octet facility) {
        event_->resource_guid[15] = number;
        auto& arm = event_->value._u.application;
        arm.logging = DDS_Monitoring_LoggingConfigPluginSupport_create_data();
        DDS_Monitoring_LoggingSettingSeq_set_length(&arm.logging->logging_forwarding, 1);
        DDS_Monitoring_LoggingSettingSeq_get_reference(&arm.logging->logging_forwarding, 0)->facility =
            facility;
    }
    const DDS_Monitoring_Event* get() const { return event_; }

private:
    DDS_Monitoring_Event* event_;
};

#endif
