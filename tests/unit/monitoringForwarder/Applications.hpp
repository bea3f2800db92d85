// Applications and a participant as the registry of the forwarder makes them, without one.
#ifndef ORX_TESTS_APPLICATIONS_HPP
#define ORX_TESTS_APPLICATIONS_HPP

#include <cstring>
#include <string>

#include "orxmonitoring2d/dds_logging.h"
#include "src/resource/ApplicationResource.h"

// Never looked into: an application only remembers it.
inline const auto* const someRegistry =
    reinterpret_cast<const ORX_MonitoringForwarderApplicationRegistry*>(alignof(std::max_align_t));

inline DDS_InstanceHandle_t handleOf(uint8_t number) {
    DDS_GUID_t guid{};
    guid.value[15] = number;
    DDS_InstanceHandle_t handle;
    DDS_GUID_to_instance_handle(&guid, &handle);
    return handle;
}

// Initialized while it lives.
class Application {
public:
    explicit Application(uint8_t number, const std::string& name = "/applications/app") {
        DDS_Monitoring_Resource resource;
        DDS_Monitoring_Resource_initialize(&resource);
        resource.guid[15] = number;
        isStanding = ORX_MonitoringForwarderApplicationResource_initialize(
            &impl.parent, &resource, name.c_str(), someRegistry);
        DDS_Monitoring_Resource_finalize(&resource);
    }
    ~Application() {
        if (isStanding)
            ORX_MonitoringForwarderApplicationResource_finalize(&impl.parent);
    }
    Application(const Application&) = delete;
    Application& operator=(const Application&) = delete;

    ORX_MonitoringForwarderApplicationResource* get() { return &impl.parent; }

    ORX_MonitoringForwarderApplicationResourceImpl impl;
    bool isStanding;
};

class Participant {
public:
    explicit Participant(uint8_t destination) {
        const DDS_InstanceHandle_t publication = handleOf(200);
        isStanding = ORX_MonitoringForwarderMonitoringParticipant_initialize(&impl, &publication);
        impl.serviceRequestReaderHandle = handleOf(destination);
    }
    ~Participant() {
        if (isStanding)
            ORX_MonitoringForwarderMonitoringParticipant_finalize(&impl);
    }
    Participant(const Participant&) = delete;
    Participant& operator=(const Participant&) = delete;

    bool add(Application& application) {
        return ORX_MonitoringForwarderMonitoringParticipant_addApplication(&impl, application.get());
    }
    bool remove(Application& application) {
        return ORX_MonitoringForwarderMonitoringParticipant_removeApplication(&impl, application.get());
    }
    DDS_Long count() const {
        return ORX_MonitoringForwarderApplicationResourcePtrSeq_get_length(&impl.applicationsList);
    }
    ORX_MonitoringForwarderApplicationResource* at(DDS_Long i) const {
        return *ORX_MonitoringForwarderApplicationResourcePtrSeq_get_reference(&impl.applicationsList, i);
    }

    ORX_MonitoringForwarderMonitoringParticipant impl;
    bool isStanding;
};

#endif
